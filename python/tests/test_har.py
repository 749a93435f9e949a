"""har and har_text: every example request inside a HAR file built here, its
body written in each form proxies and browsers use, read back to the same
bytes; skipped entries and their reasons; files that are not HAR; and the
same entries as `navreq dump --json FILE.har` (NAVREQ_TOOL)."""

from __future__ import annotations

import base64
import gzip
import json
import os
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any, Dict, List, Optional

import pytest
from hypothesis import given
from hypothesis import strategies as st

import navreq

from conftest import KINDS, golden_bytes

TOOL = os.environ.get("NAVREQ_TOOL", "")

GZIP_HEADER = [{"name": "Content-Encoding", "value": "gzip"}]


def entry(url: str, text: Optional[str], *, method: str = "POST", encoding: Optional[str] = None,
          headers: Optional[List[Dict[str, str]]] = None, body_size: int = -1) -> Dict[str, Any]:
    """A HAR 1.2 entry as a capture tool exports it; no postData when text is None."""
    request: Dict[str, Any] = {"method": method, "url": url, "httpVersion": "HTTP/1.1",
                               "headers": headers or [], "bodySize": body_size}
    if text is not None:
        post: Dict[str, Any] = {"mimeType": "application/octet-stream", "text": text}
        if encoding is not None:
            post["encoding"] = encoding
        request["postData"] = post
    return {"startedDateTime": "2023-11-14T22:13:20.000Z", "time": 1, "request": request}


def har_document(entries: List[Dict[str, Any]]) -> str:
    # json.dumps writes a lone surrogate as the escape `\udcXX`, as Python writers of HAR do.
    return json.dumps({"log": {"version": "1.2", "creator": {"name": "test", "version": "1"},
                               "entries": entries}})


def not_utf8(data: bytes) -> bool:
    try:
        data.decode("utf-8")
    except UnicodeDecodeError:
        return True
    return False


def forms(data: bytes) -> List[Dict[str, Any]]:
    """The request in every form, in this order: base64, Latin-1 code points,
    UTF-8 with surrogate escapes, a gzip stream in base64, the text of a body
    the writer inflated while its headers still say gzip."""
    return [
        entry("https://nav.example/base64", base64.b64encode(data).decode(), encoding="base64",
              body_size=len(data)),
        entry("https://nav.example/latin1", data.decode("latin-1"), body_size=len(data)),
        entry("https://nav.example/escapes", data.decode("utf-8", "surrogateescape"), body_size=len(data)),
        entry("https://nav.example/gzip", base64.b64encode(gzip.compress(data, mtime=0)).decode(),
              encoding="base64", headers=GZIP_HEADER),
        entry("https://nav.example/inflated", data.decode("latin-1"), headers=GZIP_HEADER),
    ]


@pytest.mark.parametrize("kind", KINDS)
def test_every_body_form_reads_back_to_the_request(kind: str) -> None:
    data = golden_bytes(kind)
    # The escapes form holds escapes only when some bytes are not UTF-8.
    assert not_utf8(data)
    entries = navreq.har_text(har_document(forms(data)))
    assert [(e.index, e.method, e.form, e.gzip, e.inflated_by_writer, e.skipped, e.reason) for e in entries] == [
        (0, "POST", "base64", False, False, None, ""),
        (1, "POST", "latin-1", False, False, None, ""),
        (2, "POST", "surrogate escapes", False, False, None, ""),
        (3, "POST", "base64", True, False, None, ""),
        (4, "POST", "latin-1", False, True, None, ""),
    ]
    assert all(e.request for e in entries)
    assert [e.url.rpartition("/")[2] for e in entries] == ["base64", "latin1", "escapes", "gzip", "inflated"]
    assert [e.data for e in entries[:3]] + [entries[4].data] == [data] * 4
    assert gzip.decompress(entries[3].data) == data
    # tree (as dump) and decode read the gzip stream themselves: the same request either way.
    assert navreq.tree(entries[3].data)["fields"] == navreq.tree(data)["fields"]
    inflated = navreq.decode(entries[3].data)
    assert inflated.request_gzip and not navreq.decode(data).request_gzip
    assert inflated.body == navreq.decode(data).body


def test_skipped_entries_say_why() -> None:
    route = golden_bytes("route")
    entries = navreq.har_text(har_document([
        entry("https://nav.example/damaged", route.decode("utf-8", "replace")),
        entry("https://nav.example/page", None, method="GET"),
        entry("https://nav.example/json", '{"a": 1}'),
        entry("https://nav.example/short", base64.b64encode(route).decode(), encoding="base64",
              body_size=len(route) + 1),
        entry("https://nav.example/bad-gzip", base64.b64encode(b"\x1f\x8b\x08\x00garbage").decode(),
              encoding="base64", headers=GZIP_HEADER),
    ]))
    assert [(e.index, e.method, e.skipped, e.request) for e in entries] == [
        (0, "POST", "damaged", False), (1, "GET", "no-body", False), (2, "POST", "not-request", False),
        (3, "POST", "damaged", False), (4, "POST", "not-inflated", False)]
    assert entries[0].reason.startswith("damaged: ") and "U+FFFD" in entries[0].reason
    assert entries[0].data == b"" and entries[0].form is None
    assert entries[1].reason == "no body" and entries[1].data == b"" and entries[1].form is None
    # A body that is not a request keeps its bytes, for whoever wants to look at them.
    assert entries[2].data == b'{"a": 1}' and entries[2].form == "latin-1"
    assert entries[2].reason == "not a request of this system (8 bytes, application/octet-stream)"
    assert entries[3].reason.startswith("damaged: ") and entries[3].data == b""
    assert entries[4].reason.startswith("a gzip body that does not inflate: ")
    assert entries[4].data.startswith(b"\x1f\x8b") and entries[4].gzip


def test_har_reads_the_file_and_har_text_takes_bytes(tmp_path: Path) -> None:
    route = golden_bytes("route")
    text = har_document(forms(route))
    path = tmp_path / "capture.har"
    path.write_text(text)
    from_path = navreq.har(path)
    assert from_path == navreq.har(str(path)) == navreq.har_text(text.encode()) == navreq.har_text(text)
    assert navreq.har_text(bytearray(b"\xef\xbb\xbf" + text.encode())) == from_path
    assert navreq.har_text(memoryview(text.encode())) == from_path
    assert len(from_path) == 5 and from_path[0].data == route
    assert navreq.har_text('{"log": {"entries": []}}') == []


@pytest.mark.parametrize("text,message", [
    ("", "not a HAR file: not a JSON object"),
    ("[]", "not a HAR file: not a JSON object"),
    ("{}", 'not a HAR file: no "log" object'),
    ('{"log": {}}', 'not a HAR file: no "log.entries" array'),
    ('{"log": {"entries": {}}}', "log.entries: expected an array"),
    ('{"log": {"entries": [{"request": {"url": 3}}]}}', "log.entries[0].request.url: expected a string"),
    ('{"log": ', "not valid JSON at line 1, column 9: the text ends where a value was expected"),
    ('{"log": {"entries": []}} x', "not valid JSON at line 1, column 26"),
])
def test_not_a_har_file_raises_har_error(text: str, message: str) -> None:
    with pytest.raises(navreq.HarError) as raised:
        navreq.har_text(text)
    assert str(raised.value).startswith(message)
    assert isinstance(raised.value, ValueError)


def test_several_threads_read_at_once() -> None:
    texts = [har_document(forms(golden_bytes(kind))) for kind in KINDS]
    with ThreadPoolExecutor(max_workers=4) as pool:
        results = list(pool.map(navreq.har_text, texts * 4))
    assert results == [navreq.har_text(t) for t in texts] * 4
    assert [r[0].data for r in results[:len(KINDS)]] == [golden_bytes(kind) for kind in KINDS]


def test_nesting_past_the_bound_is_refused() -> None:
    with pytest.raises(navreq.HarError, match="nested more than 256 levels deep"):
        navreq.har_text('{"log": ' + '{"a": ' * 300)


@given(st.binary(max_size=400))
def test_hostile_text_raises_only_har_error(text: bytes) -> None:
    # Mostly the opening of a HAR file, so that the reader gets past its first bytes.
    for candidate in (text, b'{"log": {"entries": [{"request": ' + text):
        try:
            entries = navreq.har_text(candidate)
        except navreq.HarError as e:
            assert str(e) and "\n" not in str(e)
        else:
            assert all(e.request == (e.skipped is None) for e in entries)


@given(st.integers(min_value=0, max_value=len(golden_bytes("route")) - 1), st.integers(min_value=0, max_value=255))
def test_a_changed_body_byte_is_never_read_as_the_request(at: int, value: int) -> None:
    route = bytearray(golden_bytes("route"))
    route[at] = value
    body = bytes(route)
    (read,) = navreq.har_text(har_document([entry("https://nav.example/b64", base64.b64encode(body).decode(),
                                                  encoding="base64")]))
    # Recovered exactly when it is a request at all; never other bytes.
    assert read.data == body or (read.skipped is not None and read.data in (b"", body))


def test_a_missing_file_raises_os_error(tmp_path: Path) -> None:
    with pytest.raises(FileNotFoundError):
        navreq.har(tmp_path / "absent.har")


def test_a_request_file_is_not_a_har_file() -> None:
    with pytest.raises(navreq.HarError):
        navreq.har_text(golden_bytes("route"))


@pytest.mark.skipif(not TOOL, reason="NAVREQ_TOOL names the navreq tool (make test-python sets it)")
@pytest.mark.parametrize("kind", KINDS)
def test_entries_match_the_tool(kind: str, tmp_path: Path) -> None:
    data = golden_bytes(kind)
    path = tmp_path / f"{kind}.har"
    path.write_text(har_document(forms(data) + [
        entry("https://nav.example/damaged", data.decode("utf-8", "replace")),
        entry("https://nav.example/page", None, method="GET"),
        entry("https://nav.example/json", '{"a": 1}'),
    ]))
    done = subprocess.run([TOOL, "dump", "--json", str(path)], capture_output=True, check=False)
    # 1: the damaged entry; every request in it reads cleanly (status 0 each, below).
    assert done.returncode == 1, done.stderr
    tool = json.loads(done.stdout)["entries"]
    ours = navreq.har(path)
    assert len(ours) == len(tool) == 8
    for mine, theirs in zip(ours, tool):
        assert (mine.index, mine.method, mine.url) == (theirs["index"], theirs["method"], theirs["url"])
        if mine.request:
            assert (mine.form, mine.gzip, mine.inflated_by_writer) == (
                theirs["form"], theirs["gzip"], theirs["inflated_by_writer"])
            assert navreq.tree(mine.data) == theirs["tree"] and theirs["status"] == 0
        else:
            assert (mine.skipped, mine.reason) == (theirs["skipped"], theirs["reason"])
            assert "tree" not in theirs
