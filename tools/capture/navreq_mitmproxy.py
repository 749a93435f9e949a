"""A mitmproxy content view that shows navreq requests as `navreq dump` prints them.

    mitmproxy -s tools/capture/navreq_mitmproxy.py
    mitmdump -nr FLOWS -s tools/capture/navreq_mitmproxy.py --flow-detail 4

A request or response body that is a request of this system (a Package or a
Packet, plain or as a gzip stream) is shown as its tree: every field with its
offset, tag, name, type and value, problems in the "error" style, and for a
damaged request everything that decoded and the offset where decoding
stopped. mitmproxy picks the view by itself for such bodies; every other body
keeps the view it had.

The view decodes nothing itself: the navreq Python package (`make python`,
then PYTHONPATH=build/venv/lib/python3.11/site-packages for mitmproxy) reads
the bytes, inflating them when they are a gzip stream, so the tree is byte for
byte the one `navreq dump` prints for the same body. mitmproxy hands the view
a body whose Content-Encoding it has already removed.
"""

from __future__ import annotations

import logging
import sys
from pathlib import Path
from typing import Any, Iterator, List, Optional, Tuple

from mitmproxy import contentviews

try:
    import navreq
except ImportError as _error:  # reported once, in load(), with the fix
    navreq = None  # type: ignore[assignment]  # every use checks it first
    _IMPORT_ERROR: Optional[str] = str(_error)
else:
    _IMPORT_ERROR = None

VIEW_NAME = "navreq"

# Above the 1 that mitmproxy's own views give a body of a Content-Type they
# claim (application/x-protobuf, application/json, ...): a navreq request is
# shown as a tree whatever type the phone declared.
PRIORITY = 2.0


def _site_packages() -> str:
    """Where `make python` installs the package: the checkout's venv, which
    mitmproxy (Debian's python3) sees only through PYTHONPATH."""
    tail = Path("build", "venv", "lib", f"python{sys.version_info[0]}.{sys.version_info[1]}", "site-packages")
    here = Path(__file__).resolve()
    if len(here.parents) > 2 and (here.parents[2] / "tools" / "capture" / here.name).is_file():
        return str(here.parents[2] / tail)
    return str(Path("<navreq checkout>") / tail)  # a copy of the script outside the checkout


HOW_TO_FIX = (f"build it with `make python` in the navreq checkout and start mitmproxy with "
              f"PYTHONPATH={_site_packages()}")

Line = List[Tuple[str, str]]

# What `navreq dump` writes into a value's line when something is wrong with it:
# "  ! " and the problem at the line's end, or a marker inside the line.
_LINE_END_MARKER = "  ! "
_PROBLEM_MARKERS = (_LINE_END_MARKER, " (incomplete)", "gzip stream that does not inflate")


def envelope(data: bytes) -> Optional[str]:
    """"Package" or "Packet" when DATA is a navreq request, else None."""
    if navreq is None or not data:
        return None
    try:
        return navreq.envelope(bytes(data))
    except Exception:  # a raise here would make mitmproxy show every body as Raw
        return None


def _split_markers(text: str) -> Line:
    """Splits a field line's text into plain and "error" parts.

    The markers count only outside quoted values: a string value is printed
    between quotes with `"` and `\\` escaped, so a value holding a marker's
    text is not a problem.
    """
    if "!" not in text and "(incomplete)" not in text and "does not inflate" not in text:
        return [("text", text)]  # the usual line: nothing to scan
    parts: Line = []
    start = 0
    i = 0
    quoted = False
    n = len(text)
    while i < n:
        c = text[i]
        if quoted:
            if c == "\\":
                i += 1  # the escaped character
            elif c == '"':
                quoted = False
            i += 1
            continue
        if c == '"':
            quoted = True
            i += 1
            continue
        marker = next((m for m in _PROBLEM_MARKERS if text.startswith(m, i)), None)
        if marker is None:
            i += 1
            continue
        if i > start:
            parts.append(("text", text[start:i]))
        if marker == _LINE_END_MARKER:  # the rest of the line says what is wrong
            parts.append(("error", text[i:]))
            return parts
        parts.append(("error", marker))
        i += len(marker)
        start = i
    if start < n:
        parts.append(("text", text[start:]))
    return parts


def styled_lines(tree: str) -> Iterator[Line]:
    """`navreq dump` text as mitmproxy lines, produced as they are read.

    Field lines (`@OFFSET+LENGTH TAG NAME TYPE: VALUE`) show the offset in the
    "offset" style; problem lines (`! ...`) and the undecoded bytes listed under
    them are "error"; the lines above the fields that say what the bytes are
    are "header". mitmproxy's console and web front ends take the first few
    hundred lines of a large tree until asked for more, so the lines are made
    one at a time.
    """
    rows = tree.split("\n")  # not splitlines(): a quoted value keeps U+2028 and U+0085 as they are
    if rows[-1] == "":
        rows.pop()
    undecoded_indent = -1  # the indentation of the "! undecoded" line whose hex rows follow
    for raw in rows:
        stripped = raw.lstrip(" ")
        first = stripped[:1]
        if first == "@":
            undecoded_indent = -1
            end = stripped.find(" ")
            if end < 0:
                end = len(stripped)
            at = len(raw) - len(stripped) + end
            yield [("offset", raw[:at])] + _split_markers(raw[at:])
            continue
        indent = len(raw) - len(stripped)
        if undecoded_indent >= 0 and indent > undecoded_indent:
            yield [("error", raw)]
            continue
        undecoded_indent = -1
        if first == "!":
            if stripped.startswith("! undecoded"):
                undecoded_indent = indent
            yield [("error", raw)]
        elif indent == 0:
            yield [("header", raw)]
        else:  # the hex rows of a long byte value
            yield [("text", raw)]


def _candidate_lines(tree: str) -> Iterator[str]:
    """The lines of TREE that hold a problem marker's text, each once, in no order."""
    seen = set()
    for marker in ("!", "(incomplete)", "does not inflate"):
        at = tree.find(marker)
        while at >= 0:
            start = tree.rfind("\n", 0, at) + 1
            end = tree.find("\n", at)
            if end < 0:
                end = len(tree)
            if start not in seen:
                seen.add(start)
                yield tree[start:end]
            at = tree.find(marker, end)


def count_problems(tree: str) -> int:
    """The problems `navreq dump` reports in TREE, one per line that reports any.

    A stop and the undecoded bytes after it count once. Only the lines that
    hold a marker's text are looked at (a quoted value may hold it too).
    """
    problems = 0
    for line in _candidate_lines(tree):
        stripped = line.lstrip(" ")
        if stripped.startswith("!"):
            problems += not stripped.startswith("! undecoded")
        elif stripped.startswith("@"):
            end = stripped.find(" ")
            problems += end > 0 and any(s == "error" for s, _ in _split_markers(stripped[end:]))
    return problems


def _envelope_of(tree: str) -> Optional[str]:
    """The envelope that TREE's opening lines name ("Package, 1485 bytes")."""
    for line in tree.split("\n", 2)[:2]:
        name = line.split(", ", 1)[0]
        if name in ("Package", "Packet"):
            return name
    return None


def describe(data: bytes) -> Tuple[str, Iterator[Line]]:
    """The view's description and lines for DATA; never raises."""
    if navreq is None:
        return "navreq (not loaded)", iter([[("error", "navreq cannot be imported: " + HOW_TO_FIX)]])
    try:
        tree = navreq.dump(bytes(data))
    except Exception as error:  # the package promises not to raise; mitmproxy must not see it
        return "navreq", iter([[("error", f"navreq.dump failed: {error!r}")]])
    kind = _envelope_of(tree)
    description = f"navreq {kind}" if kind else "navreq (no envelope recognised)"
    problems = count_problems(tree)
    if problems:
        description += f", {problems} problem{'s' if problems != 1 else ''}"
    return description, styled_lines(tree)


class ViewNavreq(contentviews.View):
    """The View API of Debian's mitmproxy 8: an instance, added and removed by load() and done().

    The metadata (Content-Type, flow, message) is not needed: the bytes say what they are.
    """

    name = VIEW_NAME

    def __call__(self, data: bytes, *, content_type: Optional[str] = None, flow: Any = None,
                 http_message: Any = None, **unknown_metadata: Any) -> Tuple[str, Iterator[Any]]:
        return describe(data)

    def render_priority(self, data: bytes, *, content_type: Optional[str] = None, flow: Any = None,
                        http_message: Any = None, **unknown_metadata: Any) -> float:
        return PRIORITY if envelope(data) else 0.0


view: Any = ViewNavreq()

if hasattr(contentviews, "Contentview"):  # mitmproxy 12 and later: prettify() gives plain text

    class NavreqContentview(contentviews.Contentview):  # type: ignore[name-defined,misc]
        name = VIEW_NAME

        def prettify(self, data: bytes, metadata: Any) -> str:
            if navreq is None:
                raise ValueError("navreq cannot be imported: " + HOW_TO_FIX)
            return str(navreq.dump(bytes(data)))

        def render_priority(self, data: bytes, metadata: Any) -> float:
            return PRIORITY if envelope(data) else 0.0

    view = NavreqContentview()


def _warn(message: str) -> None:
    try:
        from mitmproxy import ctx

        ctx.log.warn(message)  # mitmproxy 8: its own log, shown in every front end
    except AttributeError:  # no running master, or a mitmproxy that logs through logging
        logging.getLogger(__name__).warning(message)


def _registered() -> Any:
    get = getattr(contentviews, "get", None)  # mitmproxy 8 looks views up by name
    return get(VIEW_NAME) if get is not None else None


def load(loader: Any) -> None:
    if navreq is None:
        _warn(f"navreq view not loaded: the navreq Python package cannot be imported ({_IMPORT_ERROR}); "
              f"{HOW_TO_FIX}")
        return
    if _registered() is None:  # mitmproxy refuses a second view of the same name
        contentviews.add(view)


def done() -> None:
    remove = getattr(contentviews, "remove", None)
    if remove is not None and _registered() is view:
        remove(view)
