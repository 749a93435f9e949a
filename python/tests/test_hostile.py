"""Hostile bytes: nothing crashes, decode raises only DecodeError, and dump,
tree and envelope never raise; whatever decodes packs back to its bytes."""

from __future__ import annotations

from pathlib import Path
from typing import List

import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

import navreq

from conftest import KINDS, REPO, golden_bytes


def corpus() -> List[Path]:
    files = sorted((REPO / "fuzz" / "corpus").rglob("*")) + sorted((REPO / "fuzz" / "regressions").rglob("*"))
    return [f for f in files if f.is_file()]


def check_bytes(data: bytes) -> None:
    assert isinstance(navreq.dump(data), str)
    assert isinstance(navreq.dump(data, full=True), str)
    tree = navreq.tree(data)
    assert isinstance(tree, dict)
    assert navreq.envelope(data) in (None, "Package", "Packet")
    tolerant = navreq.decode(data, strict=False)
    try:
        request = navreq.decode(data)
    except navreq.DecodeError as e:
        assert e.problems
        assert isinstance(e.partial, navreq.Request)
        assert tolerant.problems
    else:
        assert request.ok and tolerant.ok
        assert navreq.pack(tree) == data


def test_corpora_exist() -> None:
    assert len(corpus()) > 20


@pytest.mark.parametrize("path", corpus(), ids=lambda p: f"{p.parent.name}/{p.name}")
def test_fuzz_corpus(path: Path) -> None:
    check_bytes(path.read_bytes())


@settings(max_examples=300)
@given(st.binary(max_size=300))
def test_random_bytes(data: bytes) -> None:
    check_bytes(data)


@settings(max_examples=300)
@given(st.sampled_from(KINDS), st.data())
def test_mutated_examples(kind: str, data: st.DataObject) -> None:
    original = bytearray(golden_bytes(kind))
    edits = data.draw(st.lists(st.tuples(st.integers(0, len(original) - 1), st.integers(0, 255)), max_size=4))
    for at, value in edits:
        original[at] = value
    cut = data.draw(st.integers(0, len(original)))
    check_bytes(bytes(original[:cut]))


def test_inflate_limit_is_a_problem() -> None:
    with pytest.raises(navreq.DecodeError) as e:
        navreq.decode(golden_bytes("route"), max_inflated=16)
    assert any(p.kind == "limit_exceeded" for p in e.value.problems)
    assert navreq.decode(golden_bytes("route"), strict=False, max_inflated=16).body is None
