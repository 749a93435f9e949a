"""A mitmproxy content view that shows navreq requests as `navreq dump` prints them.

    mitmproxy -s tools/capture/navreq_mitmproxy.py
    mitmdump -nr FLOWS -s tools/capture/navreq_mitmproxy.py --flow-detail 4

A request or response body that is a request of this system (a Package or a
Packet, plain or as a gzip stream) is shown as its tree: every field with its
offset, tag, name, type and value, problems in the "error" style, and for a
damaged request everything that decoded and the offset where decoding
stopped. mitmproxy picks the view by itself for such bodies; every other body
keeps the view it had.

The view decodes nothing itself: the navreq Python package (`make python`)
reads the bytes, inflating them when they are a gzip stream, so the tree is
byte for byte the one `navreq dump` prints for the same body. mitmproxy hands
the view a body whose Content-Encoding it has already removed.
"""

from __future__ import annotations

import logging
from typing import Any, Iterator, List, Optional, Tuple

from mitmproxy import contentviews

try:
    import navreq
except ImportError as _error:  # reported once, in load(), with the fix
    navreq = None
    _IMPORT_ERROR: Optional[str] = str(_error)
else:
    _IMPORT_ERROR = None

VIEW_NAME = "navreq"

# Above the 1 that mitmproxy's own views give a body whose Content-Type they
# claim (application/x-protobuf, application/octet-stream through Hex's 0.2):
# a navreq request is shown as a tree whatever type the phone declared.
PRIORITY = 2.0

HOW_TO_FIX = (
    "build the navreq Python package with `make python` in the navreq checkout and start "
    "mitmproxy with it on the path: PYTHONPATH=build/python mitmdump -s "
    "tools/capture/navreq_mitmproxy.py ..."
)

Line = List[Tuple[str, str]]

# Markers that `navreq dump` appends to a value's line: what is wrong with it.
_PROBLEM_MARKERS = ("  ! ", " (incomplete)", "gzip stream that does not inflate")


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
                i += 2
                continue
            if c == '"':
                quoted = False
        elif c == '"':
            quoted = True
        else:
            for marker in _PROBLEM_MARKERS:
                if text.startswith(marker, i):
                    if i > start:
                        parts.append(("text", text[start:i]))
                    if marker.startswith("  ! "):  # the rest of the line says what is wrong
                        parts.append(("error", text[i:]))
                        return parts
                    parts.append(("error", marker))
                    i += len(marker)
                    start = i
                    break
            else:
                i += 1
                continue
            continue
        i += 1
    if start < n:
        parts.append(("text", text[start:]))
    return parts


def styled_lines(tree: str) -> Tuple[List[Line], int]:
    """`navreq dump` text as mitmproxy lines, and the number of problems in it.

    Field lines (`@OFFSET+LENGTH TAG NAME TYPE: VALUE`) show the offset in the
    "offset" style; problem lines (`! ...`) and the undecoded bytes listed under
    them are "error"; the lines above the fields that say what the bytes are
    are "header".
    """
    lines: List[Line] = []
    problems = 0
    undecoded_indent = -1  # the indentation of the "! undecoded" line whose hex rows follow
    for raw in tree.splitlines():
        stripped = raw.lstrip(" ")
        indent = len(raw) - len(stripped)
        if undecoded_indent >= 0 and indent > undecoded_indent and not stripped.startswith("@"):
            lines.append([("error", raw)])
            continue
        undecoded_indent = -1
        if stripped.startswith("!"):
            if stripped.startswith("! undecoded"):
                undecoded_indent = indent  # the same stop as the line above it
            else:
                problems += 1
            lines.append([("error", raw)])
        elif stripped.startswith("@"):
            end = stripped.find(" ")
            if end < 0:
                end = len(stripped)
            head = raw[: indent + end]
            parts = _split_markers(stripped[end:])
            problems += any(style == "error" for style, _ in parts)
            lines.append([("offset", head)] + parts)
        elif indent == 0:
            lines.append([("header", raw)])
        else:  # the hex rows of a long byte value
            lines.append([("text", raw)])
    return lines, problems


def describe(data: bytes) -> Tuple[str, List[Line]]:
    """The view's description and lines for DATA; never raises."""
    if navreq is None:
        return "navreq (not loaded)", [[("error", "navreq cannot be imported: " + HOW_TO_FIX)]]
    try:
        tree = navreq.dump(bytes(data))
    except Exception as error:  # the package promises not to raise; mitmproxy must not see it
        return "navreq", [[("error", f"navreq.dump failed: {error!r}")]]
    lines, problems = styled_lines(tree)
    kind = envelope(data)
    description = f"navreq {kind}" if kind else "navreq (no envelope recognised)"
    if problems:
        description += f", {problems} problem{'s' if problems != 1 else ''}"
    return description, lines


class ViewNavreq(contentviews.View):
    """mitmproxy 8 to 11: a View instance, added and removed by load() and done()."""

    name = VIEW_NAME

    def __call__(self, data: bytes, **metadata: Any) -> Tuple[str, Iterator[Line]]:
        description, lines = describe(data)
        return description, iter(lines)

    def render_priority(self, data: bytes, **metadata: Any) -> float:
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


def load(loader: Any) -> None:
    if navreq is None:
        _warn(f"navreq view not loaded: {_IMPORT_ERROR}; {HOW_TO_FIX}")
        return
    if contentviews.get(VIEW_NAME) is None:
        contentviews.add(view)


def done() -> None:
    remove = getattr(contentviews, "remove", None)
    if remove is not None and contentviews.get(VIEW_NAME) is view:
        remove(view)
