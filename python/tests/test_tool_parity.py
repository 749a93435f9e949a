"""The package against the `navreq` tool itself (NAVREQ_TOOL, set by make
test-python): the same dump, tree and diff of every example request and fuzz
input, and the same bytes from encode."""

from __future__ import annotations

import json
import os
import subprocess
from pathlib import Path
from typing import List

import pytest

import navreq

from conftest import GOLDEN, GOLDEN_NOW_MS, KINDS, REPO

TOOL = os.environ.get("NAVREQ_TOOL", "")
pytestmark = pytest.mark.skipif(not TOOL, reason="NAVREQ_TOOL names the navreq tool (make test-python sets it)")


def run(*args: str) -> bytes:
    done = subprocess.run([TOOL, *args], capture_output=True, check=False)
    assert done.returncode in (0, 1, 2), done.stderr
    return done.stdout


def inputs() -> List[Path]:
    corpus = sorted((REPO / "fuzz" / "corpus" / "kse_reader").iterdir())
    return [GOLDEN / f"{kind}.hex" for kind in KINDS] + [p for p in corpus if p.is_file()]


@pytest.mark.parametrize("path", inputs(), ids=[p.name for p in inputs()])
def test_dump_and_tree_match_the_tool(path: Path) -> None:
    data = navreq.detect(path.read_bytes()).data
    assert navreq.dump(data).encode("utf-8", "surrogateescape") == run("dump", str(path))
    assert navreq.dump(data, full=True).encode("utf-8", "surrogateescape") == run("dump", "--full", str(path))
    assert navreq.tree(data) == json.loads(run("dump", "--json", str(path)))


@pytest.mark.parametrize("kind", KINDS)
def test_encode_matches_the_tool(kind: str) -> None:
    example = REPO / "examples" / f"{kind}.json"
    doc = json.loads(example.read_text())
    tool_hex = run("encode", kind, str(example), "--now-ms", str(GOLDEN_NOW_MS)).decode().strip()
    ours = navreq.encode(kind, doc.get("param"), extra=doc.get("extra"), now_ms=GOLDEN_NOW_MS, new_session=True)
    assert ours.hex() == tool_hex


@pytest.mark.parametrize("a,b", [("route", "route"), ("plus", "slice"), ("route", "refresh")])
def test_diff_matches_the_tool(a: str, b: str) -> None:
    pa, pb = GOLDEN / f"{a}.hex", GOLDEN / f"{b}.hex"
    done = subprocess.run([TOOL, "diff", "--force", str(pa), str(pb)], capture_output=True, check=False)
    ours = navreq.diff(navreq.detect(pa.read_text()).data, navreq.detect(pb.read_text()).data, force=True)
    assert "".join(d.line + "\n" for d in ours).encode("utf-8", "surrogateescape") == done.stdout
    assert ours.status == done.returncode
