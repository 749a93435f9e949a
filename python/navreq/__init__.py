"""Requests of the navigation engine, written and read back by the navreq C++
library: decode, encode, dump, tree, pack, diff, detect, envelope and har,
with the records as typed classes (navreq.records.<namespace>, navreq.params).

Nothing is decoded in Python: every function calls the library, with the GIL
released while it works.
"""

from __future__ import annotations

import json as _json
import os as _os
from dataclasses import dataclass as _dataclass
from pathlib import Path as _Path
from typing import Any, Dict, Iterable, List, NamedTuple, Optional, Union

from navreq import _native
from navreq._record import Record, _resolve
from navreq._request import Command, Request
from navreq.errors import DecodeError, EncodeError, FieldError, HarError, InputError, Problem

PackError = _native.PackError
JsonError = _native.JsonError

__all__ = [
    "Command", "DecodeError", "Detected", "Difference", "DiffResult", "EncodeError", "FieldError",
    "HarEntry", "HarError", "InputError", "JsonError", "PackError", "Problem", "Record", "Request",
    "decode", "detect", "diff", "dump", "encode", "envelope", "har", "har_text", "kinds", "pack", "tree",
]

BytesLike = Union[bytes, bytearray, memoryview]


def decode(data: BytesLike, *, strict: bool = True, max_inflated: int = 256 << 20) -> Request:
    """Reads a request (a Package or a Packet). Strict: any problem raises
    DecodeError, whose ``partial`` is the tolerant reading; tolerant: the
    problems are in ``Request.problems``. A gzip body inflating to more than
    ``max_inflated`` bytes is a problem."""
    request = Request(_native.decode(bytes(data), strict, max_inflated))
    if strict and request.problems:
        raise DecodeError(request.problems, Request(_native.decode(bytes(data), False, max_inflated)))
    return request


def dump(data: BytesLike, *, full: bool = False) -> str:
    """The text `navreq dump` prints for the bytes; never raises. Problems are
    lines of the text. ``full`` shows undecoded runs whole."""
    try:
        return _native.walk_text(bytes(data), False, full)
    except MemoryError:
        return "(no memory to dump these bytes)\n"


def tree(data: BytesLike) -> Dict[str, Any]:
    """The tree `navreq dump --json` prints for the bytes, as dicts; never
    raises. pack() turns it back into the same bytes."""
    try:
        parsed: Dict[str, Any] = _json.loads(_native.walk_text(bytes(data), True, False))
        return parsed
    except MemoryError:
        return {}


def envelope(data: BytesLike) -> Optional[str]:
    """"Package" or "Packet" when the bytes (inflated first when they are a
    gzip stream) start with that envelope, else None; never raises."""
    try:
        return _native.envelope(bytes(data))
    except Exception:
        return None


def pack(tree: Dict[str, Any]) -> bytes:
    """The bytes a tree (as tree() gives it, edited or not) describes. A tree
    that does not describe bytes raises PackError naming the JSON path."""
    return _native.pack(_json.dumps(tree))


class Difference(NamedTuple):
    """A value that differs between A and B: its path, its value in A and in B
    as text (None where it is absent), and the line `navreq diff` prints."""

    path: str
    a: Optional[str]
    b: Optional[str]
    only_a: bool
    only_b: bool
    head_changed: bool
    line: str


class DiffResult(List[Difference]):
    """The differences, in the order of their paths, and what else the
    comparison found: ``status`` is `navreq diff`'s exit status (0 none, 1
    differences, 2 trouble); ``trouble`` the lines saying why (an input with a
    problem, "A: PATH: what"; requests of different commands);
    ``kind_mismatch`` whether the commands differ; ``unmatched_ignores`` the
    ignore patterns that match no path; ``a_kind`` and ``b_kind`` the commands."""

    status: int
    trouble: List[str]
    kind_mismatch: bool
    unmatched_ignores: List[str]
    a_kind: str
    b_kind: str


def diff(a: BytesLike, b: BytesLike, ignore: Iterable[str] = (), *, force: bool = False) -> DiffResult:
    """Compares two requests field by field, as `navreq diff` does. ``ignore``
    leaves out paths (``*`` one level, ``**`` any); ``force`` compares requests
    of different commands."""
    diffs, report = _native.diff(bytes(a), bytes(b), list(ignore), force)
    result = DiffResult(Difference(*d) for d in diffs)
    result.status = report[0]
    result.a_kind = report[1][2]
    result.b_kind = report[2][2]
    result.kind_mismatch = report[3]
    result.unmatched_ignores = list(report[4])
    result.trouble = list(report[5])
    return result


class Detected(NamedTuple):
    """The bytes of an input and the form they were written in: "raw", "hex",
    "xxd", "hexdump", "c_array", "base64" or "base64url"."""

    data: bytes
    form: str


def detect(text: Union[str, BytesLike]) -> Detected:
    """Reads a request as people hand it over: raw bytes, hex, xxd or hexdump -C
    output, a C array, base64. Text that is broken raises InputError naming
    the form, line and column."""
    raw = text.encode("utf-8", "surrogateescape") if isinstance(text, str) else bytes(text)
    data, form = _native.detect(raw)
    if data is None:
        raise InputError(*form)
    return Detected(data, form)


@_dataclass(frozen=True)
class HarEntry:
    """An entry of a HAR file's ``log.entries``: its ``index`` (from 0, as
    ``FILE.har#N`` counts), its request's ``method`` and ``url`` ("" when
    absent), and its body. ``data`` is the body as the client sent it, a
    request or a gzip stream of one (``gzip``; dump(), tree() and decode()
    read it as it is, inflating it); ``form`` says how the body
    text became bytes ("base64", "latin-1", "utf-8", "surrogate escapes";
    None when no body text was read); ``inflated_by_writer`` that the
    headers say gzip but the text was the inflated body. ``skipped`` is None for a request, else "no-body",
    "not-request", "damaged" or "not-inflated", with the ``reason`` in one
    line; ``data`` then holds the bytes recovered for "not-request" and
    "not-inflated", and is empty otherwise."""

    index: int
    method: str
    url: str
    data: bytes
    form: Optional[str]
    gzip: bool
    inflated_by_writer: bool
    skipped: Optional[str]
    reason: str

    @property
    def request(self) -> bool:
        """The body is a request of this system."""
        return self.skipped is None


def har_text(text: Union[str, BytesLike]) -> List[HarEntry]:
    """The entries of a HAR file already read, as `navreq dump FILE.har` reads
    them; a str is taken as its UTF-8 bytes (surrogate escapes as the bytes
    they stand for). Text that is not a HAR file raises HarError."""
    raw = text.encode("utf-8", "surrogateescape") if isinstance(text, str) else bytes(text)
    entries, error = _native.har(raw)
    if entries is None:
        raise HarError(error)
    return [HarEntry(*e) for e in entries]


def har(path: Union[str, "_os.PathLike[str]"]) -> List[HarEntry]:
    """The entries of the HAR file at ``path`` (see har_text)."""
    return har_text(_Path(path).read_bytes())


def kinds() -> List[str]:
    """The request kinds encode() writes: "route", "refresh", ..."""
    return [name for name, _fn, _param in _native.kinds()]


def _param_given(record: str, value: Any, root: str) -> Any:
    """A parameter object for the extension: JSON text (the tool's parameter
    JSON, from a dict) or (record name, plain values) of a navreq.params record."""
    if isinstance(value, dict):
        return _json.dumps(value)
    if record:
        cls = _resolve("navreq.params", record)
        if isinstance(value, cls):
            return (record, value._to_plain(root))
        raise FieldError(root, f"expected navreq.params.{record} or a dict, got {type(value).__name__}")
    raise FieldError(root, f"expected a dict, got {type(value).__name__}")


def encode(kind: str, params: Any = None, *, extra: Any = None, now_ms: Optional[int] = None,
           seed: Optional[int] = None, new_session: bool = False) -> bytes:
    """The bytes `navreq encode KIND` writes for the same parameters: ``params``
    and ``extra`` as navreq.params records, or as dicts of the tool's parameter
    JSON (the "param" and "extra" of examples/*.json). ``now_ms`` pins the
    clock, ``seed`` the location session's digits; ``new_session`` starts a
    fresh location session first (as a new process of the tool has). Invalid
    parameters raise FieldError (records) or JsonError (dicts) naming the
    path; an entry function that fails raises EncodeError."""
    records = {name: param for name, _fn, param in _native.kinds()}
    if kind not in records:
        raise JsonError(f"unknown kind \"{kind}\" (one of {', '.join(records)})")
    # The stop event's parameters are three strings, not a record.
    record = records[kind] if records[kind].isidentifier() else ""
    param_given = None if params is None else _param_given(record, params, "param")
    extra_given = None if extra is None else _param_given("ReqExtraParam", extra, "extra")
    try:
        rc, data, printed, logged, threw, function = _native.encode(
            kind, param_given, extra_given, now_ms, seed, new_session)
    except _native.FieldError as e:
        raise FieldError.from_native(str(e)) from None
    if threw or rc != 0:
        raise EncodeError(function, rc, list(printed), list(logged), threw or None)
    return data
