"""The proxy's view, tshark's fields and `navreq dump` name the same fields with the same values.

Every example request (tests/tool/golden/*.hex) is posted over HTTP through a
real mitmdump recording in front of a local server, and the route search once
more with Content-Encoding: gzip. From the saved flows:
- the proxy's view is the navreq content view as mitmproxy picks it ("auto")
  for each saved request, its lines read back as a tree;
- the same HTTP requests, as the client sent them to the proxy, make a capture
  that tshark reads with the dissector (`-T pdml`);
- `navreq dump --json` of the body the proxy saved is the reference.

For every node of the reference, in tree order, each front end must show a
node with the same record and field name (the dissector's naming:
`Record.field`, a list's elements `field.item`, a map's `field.key` and
`field.value`, the stop event's fields under `StopEvent`, its map counts as
`field entries`) and the same value, read with the reference's type: integers
and counts as numbers, reals as numbers of their declared width, strings as
text, byte arrays as their bytes. A record shows its type's name; a byte array
that carries a record or the stop event shows its size and what it carries
(its bytes are the records under it, compared field by field). Leaves and
containers are compared alike.

Offsets and lengths, for every node: the view shows `@OFFSET+LENGTH` as dump
does (from the start of the buffer that holds the node: the body, a byte
array's value, an inflated body). The dissector's items cover a node's head and
value, except a byte array's, which covers its value only (after its head and
length); they are in the frame, or in a tab of their own from 0 (a body sent
with Content-Encoding, an inflated body, and a Packet's payload, which the
wire spreads over one head per byte and the dissector gathers). Positions are
compared as pdml prints them, which moves an item that starts before its
parent item (pdml_position()).

Not compared: problems (missing fields, unknown tags, undecoded bytes; the
examples have none, and test_mitmproxy.py and test_wireshark.py check how each
front end shows them), a carried byte array's own bytes (the view shows the
record instead; its fields are compared), and the opening lines. The dissector
builds its tree from `navreq dump --json`, the reference itself: what its
comparison catches is the tree it builds (names, nesting, values as shown,
positions); the view reads through the Python package, apart from the tool.

    make test-capture   (NAVREQ_TOOL and NAVREQ_LUA name the tool and the dissector)
"""

from __future__ import annotations

import gzip
import json
import re
import struct
import subprocess
import xml.etree.ElementTree as ET
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Tuple

import pytest

import proxy_harness as harness
import tshark_harness as shark

from mitmproxy import contentviews
from mitmproxy.net.http.http1 import assemble_request

GOLDEN = harness.REPO / "tests" / "tool" / "golden"
EXAMPLES = sorted(p.stem for p in GOLDEN.glob("*.hex"))
OCTETS = {"Content-Type": "application/octet-stream"}


class Node(NamedTuple):
    """A node as a front end shows it: its record and field name, its value as
    shown (text), and where its bytes are."""

    record: str
    field: str
    text: str
    at: int
    size: int


class Shown(NamedTuple):
    """A node as compared: its value in the reference's terms."""

    record: str
    field: str
    value: str
    at: int
    size: int


class Expected(NamedTuple):
    """A node of the reference: KIND says how a shown value is read."""

    record: str
    field: str
    kind: str  # int, float, double, string, bytes, pbytes, count, record, carried
    value: str  # canonical, as canonical() makes it of a shown text
    at: int
    len: int
    shark_at: int  # the position pdml gives tshark's item (pdml_position())
    shark_len: int


# --- the reference: navreq dump --json ------------------------------------------------------

def type_args(declared: str) -> List[str]:
    """The arguments of a container's declared type: "map<string,list<Tag>>" -> ["string", "list<Tag>"]."""
    inner = declared[declared.index("<") + 1:declared.rindex(">")]
    args, depth, start = [], 0, 0
    for i, c in enumerate(inner):
        depth += {"<": 1, ">": -1}.get(c, 0)
        if c == "," and depth == 0:
            args.append(inner[start:i])
            start = i + 1
    return args + [inner[start:]]


def real(value: float, kind: str) -> str:
    """A real as the number it is in its declared width."""
    if kind == "float":
        value = struct.unpack("<f", struct.pack("<f", value))[0]
    return repr(value)


def pdml_position(start: int, parent_start: int) -> int:
    """The position pdml prints for an item starting at START of its tab whose
    parent item starts at PARENT_START of its own: an item that starts before its
    parent is taken to be in a part of the parent's bytes, and printed from it."""
    return start + parent_start if start < parent_start else start


def reference(tree: Dict[str, Any], body_at: int) -> List[Expected]:
    """Every node of dump's JSON tree in order; BODY_AT is where the body starts in the frame.

    BASE below is where a node's buffer starts in the tab tshark shows it in
    (the frame, or an inflated body's or a Packet's payload's own tab, from 0);
    PARENT where its parent item starts in its tab (the body, for the envelope's
    fields, under tshark's item of the whole request)."""
    out: List[Expected] = []

    def add(record: str, field: str, kind: str, value: str, node: Dict[str, Any], base: int, parent: int,
            item: Optional[Tuple[int, int]] = None) -> int:
        """Adds a node whose tshark item is ITEM (start, size), or the node's bytes; returns the item's start."""
        start, size = item or (base + node["at"], node["len"])
        out.append(Expected(record, field, kind, value, node["at"], node["len"], pdml_position(start, parent), size))
        return start

    def walk(node: Dict[str, Any], record: str, field: str, declared: str, base: int, parent: int) -> None:
        declared = node.get("declared", declared)
        wire = node["type"]
        if wire in (0, 1, 2, 3, 12):
            add(record, field, "int", str(node["value"]), node, base, parent)
        elif wire in (4, 5):
            kind = "float" if declared == "float" else "double"
            add(record, field, kind, real(float(node["value"]), kind), node, base, parent)
        elif wire in (6, 7):
            add(record, field, "string", node["value"], node, base, parent)
        elif wire == 10:
            at = add(record, field, "record", "{%s}" % declared, node, base, parent)
            for child in node["fields"]:
                walk(child, declared, child["name"], "", base, at)
        elif wire == 9 and "items" in node:
            at = add(record, field, "count", str(node["count"]), node, base, parent)
            for item in node["items"]:
                walk(item, record, field + ".item", type_args(declared)[0], base, at)
        elif wire == 8:
            at = add(record, field, "count", str(node["count"]), node, base, parent)
            key_type, value_type = type_args(declared)
            for entry in node["entries"]:
                walk(entry["key"], record, field + ".key", key_type, base, at)
                walk(entry["value"], record, field + ".value", value_type, base, at)
        else:  # a byte array (13), or an unsigned-byte list (9) given as its bytes
            byte_array(node, record, field, base, parent)

    def byte_array(node: Dict[str, Any], record: str, field: str, base: int, parent: int) -> None:
        carried = node.get("kse") or node.get("message")
        size = (len(node["gzip"]) // 2 if "gzip" in node else carried["size"] if carried
                else len(node["hex"]) // 2)
        # A byte array's item covers its value, which ends the node; an
        # unsigned-byte list's bytes are gathered into a tab of their own.
        gathered = node["type"] != 13
        item = (0 if gathered else base + node["at"] + node["len"] - size, size)
        if not carried:
            add(record, field, "bytes", node["hex"], node, base, parent, item)
            return
        what = node["kse"]["record"] if "kse" in node else "StopEvent"
        at = add(record, field, "carried", "bytes[%d] -> %s" % (size, what), node, base, parent, item)
        inner = 0 if "gzip" in node else at  # an inflated body is shown in a tab of its own
        if "kse" in node:
            for child in node["kse"]["fields"]:
                walk(child, what, child["name"], "", inner, at)
            return
        for f in node["message"]["fields"]:
            if "count" in f:
                add("StopEvent", f["name"] + " entries", "count", str(f["count"]), f, inner, at)
            elif f["wire"] == 2:
                add("StopEvent", f["name"], "pbytes", f["hex"], f, inner, at)
            else:
                add("StopEvent", f["name"], "int", str(f["value"]), f, inner, at)

    for top in tree["fields"]:
        walk(top, tree["record"], top["name"], "", body_at, body_at)
    return out


def dump_json(body: bytes) -> Dict[str, Any]:
    run = subprocess.run([str(shark.TOOL), "dump", "--json", "--raw", "-"], input=body, capture_output=True,
                         timeout=harness.RUN_TIMEOUT)
    assert run.returncode == 0, run.stderr.decode(errors="replace")
    tree: Dict[str, Any] = json.loads(run.stdout)
    return tree


# --- the proxy's view: its lines read back as a tree ----------------------------------------

FIELD_LINE = re.compile(r"@(\d+)\+(\d+) (.*)")
FIELD_HEAD = re.compile(r"(\d+) (\w+) (.*)")
ELEMENT_HEAD = re.compile(r"\[\d+\](?: (key|value))? (.*)")
PROTOBUF_HEAD = re.compile(r"#\d+ (\w+) (varint|fixed32|fixed64|bytes\[\d+\]|entries): ?(.*)")
SCALAR_TYPES = {"bool", "int8", "int16", "int32", "int64", "uint8", "uint16", "uint32", "uint64",
                "float", "double", "string"}
CARRIED = re.compile(r"(?:gzip, \d+ bytes inflated \(offsets below count in them\) )?-> (.+)")
ESCAPES = {"n": b"\n", "r": b"\r", "t": b"\t", '"': b'"', "\\": b"\\"}


def unquote(text: str) -> str:
    """A value dump prints between quotes, back to its text."""
    assert text[:1] == '"' and text[-1:] == '"', text
    out, i, inner = b"", 0, text[1:-1]
    while i < len(inner):
        if inner[i] != "\\":
            out += inner[i].encode()
            i += 1
        elif inner[i + 1] == "x":
            out += bytes.fromhex(inner[i + 2:i + 4])
            i += 4
        else:
            out += ESCAPES[inner[i + 1]]
            i += 2
    return out.decode()


def view_nodes(lines: List[List[Tuple[str, str]]]) -> List[Node]:
    """The view's lines as nodes: the record of a field is the type named by the
    line it is indented under; an element is named by its container's field."""
    texts = ["".join(text for _, text in line) for line in lines]
    assert texts and not texts[0].startswith(" "), texts[:1]
    root = texts[0].split(", ", 1)[0]
    # Per indentation level: (record named by the line, the line's record and field).
    scopes: Dict[int, Tuple[Optional[str], str, str]] = {0: (root, root, "")}
    nodes: List[Node] = []
    for text in texts[1:]:
        stripped = text.lstrip(" ")
        depth = (len(text) - len(stripped)) // 2
        line = FIELD_LINE.fullmatch(stripped)
        if line is None:  # the rows of a byte array too long for its line
            assert re.fullmatch(r"[0-9a-f]+", stripped), text
            last = nodes.pop()
            nodes.append(last._replace(text=last.text + stripped))
            continue
        at, size, rest = int(line.group(1)), int(line.group(2)), line.group(3)
        inside, parent_record, parent_field = scopes[depth - 1]
        protobuf = PROTOBUF_HEAD.fullmatch(rest)
        element = ELEMENT_HEAD.fullmatch(rest)
        if protobuf:
            name, kind, value = protobuf.groups()
            record, field = "StopEvent", name + (" entries" if kind == "entries" else "")
            text_value = value.split(" ", 1)[0] if kind.startswith("bytes") else value
            nodes.append(Node(record, field, "" if text_value == "(empty)" else text_value, at, size))
            continue
        if element:
            record, field = parent_record, parent_field + "." + (element.group(1) or "item")
            typed = element.group(2)
        else:
            head = FIELD_HEAD.fullmatch(rest)
            assert head and inside, text
            record, field, typed = inside, head.group(2), head.group(3)
        declared, _, value = typed.partition(": ")
        declared = declared.rstrip(":")
        named: Optional[str] = None
        count = re.fullmatch(r"(?:list|map)<.*>\[(\d+)\]", declared)
        array = re.fullmatch(r"u?bytes\[(\d+)\]", declared)
        carried = CARRIED.fullmatch(value) if array else None
        if count:
            shown = count.group(1)
        elif array and carried:
            named = "StopEvent" if carried.group(1) == "protocol-buffers message" else carried.group(1)
            shown = "bytes[%s] -> %s" % (array.group(1), named)
        elif array:
            shown = "" if value == "(empty)" else value.split(" ", 1)[0]
        elif declared == "string":
            shown = unquote(value)
        elif declared in SCALAR_TYPES:
            shown = value
        else:
            named, shown = declared, "{%s}" % declared
        scopes[depth] = (named, record, field)
        nodes.append(Node(record, field, shown, at, size))
    return nodes


def proxy_view(flow: Any) -> Tuple[str, List[Node]]:
    description, lines, error = contentviews.get_message_content_view("auto", flow.request, flow)
    assert error is None, error
    return description, view_nodes(list(lines))


# --- tshark's fields --------------------------------------------------------------------------

CARRIES = re.compile(r" \((\w+)\)$")
COLON_HEX = re.compile(r"[0-9a-f]{2}(?::[0-9a-f]{2})*")


def shark_nodes(packet: ET.Element) -> List[Node]:
    """The dissector's items of one frame, in tree order, as nodes."""
    nodes: List[Node] = []
    for proto in packet.findall("proto"):
        if proto.get("name") != "navreq":
            continue
        for item in proto.iter("field"):
            name, label, show = item.get("name", ""), item.get("showname", ""), item.get("show", "")
            if not name.startswith("navreq.") or name == "navreq.record":
                continue
            pos, size = int(item.get("pos", "-1")), int(item.get("size", "-1"))
            if name == "navreq.entries":  # "#2 attributes entries: 1"
                counted = re.fullmatch(r"#\d+ (\w+) entries: \d+", label)
                assert counted, label
                nodes.append(Node("StopEvent", counted.group(1) + " entries", show, pos, size))
                continue
            _, record, field = name.split(".", 2)
            carries = CARRIES.search(label)
            if carries and show == "":
                show = "{%s}" % carries.group(1)
            elif carries and COLON_HEX.fullmatch(show):
                show = "bytes[%d] -> %s" % (size, carries.group(1))
            nodes.append(Node(record, field, show, pos, size))
    return nodes


# --- one value read as its reference's kind --------------------------------------------------

def canonical(kind: str, text: str, front_end: str) -> str:
    """TEXT as a front end shows a value of KIND, in the reference's terms."""
    if kind in ("int", "count"):
        return str(int(text))
    if kind in ("float", "double"):
        return real(float(text), kind)
    if kind == "bytes" and front_end == "tshark":
        return text.replace(":", "")  # tshark shows bytes as hex with colons
    if kind == "pbytes" and front_end == "tshark":
        return text.encode().hex()  # the stop event's strings are shown as text
    return text


def compare(front_end: str, expected: List[Expected], shown: List[Node]) -> None:
    """Asserts that SHOWN names the nodes of EXPECTED with the same values and offsets."""
    assert [(n.record, n.field) for n in shown] == [(e.record, e.field) for e in expected], front_end
    if front_end == "view":
        want = [Shown(e.record, e.field, e.value, e.at, e.len) for e in expected]
    else:
        want = [Shown(e.record, e.field, e.value, e.shark_at, e.shark_len) for e in expected]
    got = [Shown(n.record, n.field, canonical(e.kind, n.text, front_end), n.at, n.size)
           for e, n in zip(expected, shown)]
    assert got == want, front_end


# --- the posts, the flows, the capture --------------------------------------------------------

def example(name: str) -> bytes:
    return bytes.fromhex((GOLDEN / f"{name}.hex").read_text())


# Every example as its body, and the route search once more sent with
# Content-Encoding: gzip, which the proxy and tshark both remove before the
# front ends see the body (tshark shows it in a tab of its own, from 0).
CASES = EXAMPLES + ["route-content-encoding-gzip"]


def posted(case: str) -> Tuple[bytes, Dict[str, str]]:
    if case == "route-content-encoding-gzip":
        return gzip.compress(example("route"), mtime=0), {**OCTETS, "Content-Encoding": "gzip"}
    return example(case), OCTETS


@pytest.fixture(scope="module")
def three_views(tmp_path_factory: pytest.TempPathFactory) -> Dict[str, Tuple[bytes, Any, ET.Element, int]]:
    """Per case: the body the proxy saved (its Content-Encoding removed), its
    flow, tshark's packet of the same request and where the body starts there."""
    assert shark.LUA.exists(), "build the dissector first: make wireshark"
    work = tmp_path_factory.mktemp("three")
    flows_file, answers = harness.record_posts(work, [(f"/req/{c}", *posted(c)) for c in CASES])
    assert all(status == 200 for status, _ in answers.values()), answers
    flows = harness.saved_flows(flows_file)
    assert [f.request.path for f in flows] == [f"/req/{c}" for c in CASES]
    requests = [assemble_request(f.request) for f in flows]  # as the client sent them to the proxy
    packets = ET.fromstring(shark.tshark(shark.capture(work, requests), "-T", "pdml")).findall("packet")
    assert len(packets) == len(flows)
    views = {}
    for case, flow, request, packet in zip(CASES, flows, requests, packets):
        sent, headers = posted(case)
        assert request.endswith(sent)  # the request as posted, body and all
        body_at = 0 if "Content-Encoding" in headers else shark.ETH_IP_TCP + len(request) - len(sent)
        views[case] = (flow.request.content, flow, packet, body_at)
    return views


@pytest.fixture(scope="module")
def view_loaded() -> Iterator[Any]:
    """The view script loaded as mitmproxy loads it, so that "auto" can pick it."""
    module = harness.load_view_module()
    module.load(None)
    yield module
    module.done()


@pytest.mark.parametrize("case", CASES)
def test_view_tshark_and_dump_show_the_same_fields(three_views, view_loaded, case: str) -> None:
    body, flow, packet, body_at = three_views[case]
    assert body == example(case.split("-", 1)[0])
    tree = dump_json(body)
    expected = reference(tree, body_at)
    description, view = proxy_view(flow)
    decoded = "[decoded gzip] " if "Content-Encoding" in posted(case)[1] else ""
    assert description == decoded + "navreq " + tree["record"]
    compare("view", expected, view)
    compare("tshark", expected, shark_nodes(packet))
    leaves = sum(e.kind not in ("record", "count", "carried") for e in expected)
    assert leaves > 5 and len(expected) > leaves  # values and containers both
