"""diff as `navreq diff` compares, and several threads at once."""

from __future__ import annotations

from concurrent.futures import ThreadPoolExecutor
from typing import List, Tuple

import navreq

from conftest import KINDS, golden_bytes


def edited_route() -> bytes:
    tree = navreq.tree(golden_bytes("route"))
    header = next(f for f in tree["fields"] if f["name"] == "header")["kse"]
    imei = next(f for f in header["fields"] if f["name"] == "imei")
    imei["value"] = "860000000000002"
    return navreq.pack(tree)


def test_no_differences() -> None:
    result = navreq.diff(golden_bytes("route"), golden_bytes("route"))
    assert result == [] and result.status == 0 and result.trouble == []


def test_differences_with_paths_and_values() -> None:
    result = navreq.diff(golden_bytes("route"), edited_route())
    assert [(d.path, d.a, d.b) for d in result] == [("header.imei", '"860000000000001"', '"860000000000002"')]
    assert result.status == 1
    assert result[0].line == 'header.imei: "860000000000001" -> "860000000000002"'
    assert navreq.diff(golden_bytes("route"), edited_route(), ignore=["header.imei"]) == []


def test_trouble_is_reported() -> None:
    result = navreq.diff(golden_bytes("plus"), golden_bytes("slice"))
    assert result.kind_mismatch and result.status == 2
    assert result.trouble and "REQ_ROUTE_PLUS" in result.trouble[0]
    forced = navreq.diff(golden_bytes("plus"), golden_bytes("slice"), ["cmd_name"], force=True)
    assert forced.status == 1 and not forced.kind_mismatch and len(forced) > 0
    unmatched = navreq.diff(golden_bytes("route"), golden_bytes("route"), ["no.such.path"])
    assert unmatched.unmatched_ignores == ["no.such.path"]
    cut = navreq.diff(golden_bytes("route"), golden_bytes("route")[:-5])
    assert cut.status == 2 and cut.trouble[0].startswith("B: ")


def work(kind: str) -> Tuple[str, str, bytes, int, List[str]]:
    data = golden_bytes(kind)
    request = navreq.decode(data)
    text = navreq.dump(data)
    packed = navreq.pack(navreq.tree(data))
    differences = navreq.diff(data, golden_bytes("route"), force=True)
    return repr(request.body), text, packed, len(differences), [d.line for d in differences]


def test_threads_give_the_results_of_one() -> None:
    alone = {kind: work(kind) for kind in KINDS}
    jobs = KINDS * 8
    with ThreadPoolExecutor(max_workers=6) as pool:
        together = list(pool.map(work, jobs))
    for kind, result in zip(jobs, together):
        assert result == alone[kind]


def test_threads_encode_alike() -> None:
    import json
    from conftest import GOLDEN_NOW_MS, REPO

    docs = {k: json.loads((REPO / "examples" / f"{k}.json").read_text()) for k in ("route", "plus", "slice")}

    def encode(kind: str) -> bytes:
        return navreq.encode(kind, docs[kind].get("param"), extra=docs[kind].get("extra"), now_ms=GOLDEN_NOW_MS)

    with ThreadPoolExecutor(max_workers=4) as pool:
        results = list(pool.map(encode, list(docs) * 6))
    for kind, data in zip(list(docs) * 6, results):
        assert data == golden_bytes(kind)
