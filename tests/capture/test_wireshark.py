"""The packet dissector under tshark, against the tool's own tree.

Every example request is sent as the body of one HTTP POST, each in a single
TCP segment (tshark_harness.py). Every field the dissector shows is compared,
in order, with `navreq dump --json` of the same bytes: name, where its bytes
are, value.

Run with `make test-wireshark`, or with NAVREQ_LUA and NAVREQ_TOOL set.
"""

import gzip
import json
import os
import random
import resource
import subprocess
import tempfile
import time
import xml.etree.ElementTree as ET

import pytest

from tshark_harness import ETH_IP_TCP, LUA, ROOT, TOOL, capture, tshark

GOLDEN = ROOT / "tests/tool/golden"
EXAMPLES = sorted(p.stem for p in GOLDEN.glob("*.hex"))


def example(name):
    return bytes.fromhex("".join(GOLDEN.joinpath(name + ".hex").read_text().split()))


def http_post(body, content_encoding=None, content_type=None):
    head = b"POST /nav/request HTTP/1.1\r\nHost: nav.example\r\n"
    if content_type:
        head += b"Content-Type: " + content_type + b"\r\n"
    if content_encoding:
        head += b"Content-Encoding: " + content_encoding + b"\r\n"
    return head + b"Content-Length: %d\r\n\r\n" % len(body) + body


def dump(body):
    with tempfile.NamedTemporaryFile() as f:
        f.write(body)
        f.flush()
        run = subprocess.run([str(TOOL), "dump", "--json", "--paths", "--raw", f.name], capture_output=True)
    assert run.returncode in (0, 1, 2), run.stderr
    return json.loads(run.stdout)


# What the dissector should show, computed here from the tool's tree: one
# (field, offset or None, length, value or None) per value, in tree order.
# Offsets are checked in the frame; tshark's output gives those of a tab of its
# own (an inflated body, gathered bytes) no fixed origin.

KIND = {0: "int", 1: "int", 2: "int", 3: "int", 12: "int", 4: "real", 5: "real", 6: "string", 7: "string",
        8: "map", 9: "list", 10: "record", 13: "bytes"}


def expect_nodes(nodes, record, base, out, prefix=None):
    for node in nodes:
        abbr = prefix or ("navreq.%s.%s" % (record, node["name"]))
        expect_node(node, abbr, base, out)


def type_args(declared):
    """"list<Point>" -> ["Point"], "map<string,list<Tag>>" -> ["string", "list<Tag>"]."""
    inner, args, depth, start = declared[declared.index("<") + 1:-1], [], 0, 0
    for i, c in enumerate(inner):
        depth += c == "<"
        depth -= c == ">"
        if c == "," and depth == 0:
            args.append(inner[start:i])
            start = i + 1
    return args + [inner[start:]]


def expect_node(node, abbr, base, out, declared=None):
    declared = node.get("declared", declared)
    kind = KIND[node["type"]]
    at = None if base is None else base + node["at"]
    carried = node.get("kse") or node.get("message")
    if kind == "list" and "items" not in node:
        kind = "bytes"
    if kind == "int":
        out.append((abbr, at, node["len"], str(node["value"])))
    elif kind == "real":
        out.append((abbr, at, node["len"], float(node["value"])))
    elif kind == "string":
        out.append((abbr, at, node["len"], node["value"]))
    elif kind == "bytes":
        data = node.get("gzip") or (carried or {}).get("hex") or node.get("hex", "")
        if node["type"] == 13:
            size = len(node["gzip"]) // 2 if "gzip" in node else carried["size"] if carried else len(data) // 2
            start = None if at is None else at + node["len"] - size
        else:
            size, start = len(data) // 2, None
        out.append((abbr, start, size, data if data else None))
        inner = None if "gzip" in node else start
        if node.get("kse"):
            expect_nodes(node["kse"]["fields"], node["kse"]["record"], inner, out)
        elif node.get("message"):
            for f in node["message"]["fields"]:
                pos = None if inner is None else inner + f["at"]
                if "count" in f:
                    out.append(("navreq.entries", pos, f["len"], str(f["count"])))
                else:
                    value = str(f["value"]) if f["wire"] != 2 else f["value"]
                    out.append(("navreq.StopEvent." + f["name"], pos, f["len"], value))
    elif kind == "record":
        out.append((abbr, at, node["len"], None))
        expect_nodes(node["fields"], declared, base, out)
    elif kind == "list":
        out.append((abbr, at, node["len"], str(node["count"])))
        for item in node["items"]:
            expect_node(item, abbr + ".item", base, out, type_args(declared)[0])
    else:
        out.append((abbr, at, node["len"], str(node["count"])))
        for entry in node["entries"]:
            key_type, value_type = type_args(declared)
            expect_node(entry["key"], abbr + ".key", base, out, key_type)
            expect_node(entry["value"], abbr + ".value", base, out, value_type)


def shown(pdml_text, frame):
    """The dissector's fields of one frame: (field, pos, size, show)."""
    packets = ET.fromstring(pdml_text).findall("packet")
    fields = []
    for proto in packets[frame - 1].findall("proto"):
        if proto.get("name") != "navreq":
            continue
        for f in proto.iter("field"):
            name = f.get("name")
            if name.startswith("navreq.") and name != "navreq.record":
                fields.append((name, int(f.get("pos")), int(f.get("size")), f.get("show")))
    return fields


def compare(expected, actual):
    assert [e[0] for e in expected] == [a[0] for a in actual]
    for e, a in zip(expected, actual):
        name, at, size, value = e
        where = "%s (expected @%s+%s %r, shown @%s+%s %r)" % (name, at, size, value, a[1], a[2], a[3])
        assert a[2] == size, where
        if at is not None:
            assert a[1] == at, where
        if isinstance(value, float):
            assert float(a[3]) == pytest.approx(value, rel=1e-12), where
        elif value is not None:
            # Bytes are shown as hex with colons.
            assert a[3] == value or a[3].replace(":", "") == value, where


@pytest.fixture(scope="module")
def examples_pdml(tmp_path_factory):
    assert LUA.exists(), "build the dissector first: make wireshark"
    assert TOOL.exists(), "build the tool first: make wireshark"
    tmp = tmp_path_factory.mktemp("examples")
    bodies = [example(name) for name in EXAMPLES]
    packets = [http_post(b) for b in bodies]
    # The same route search sent with a gzip Content-Encoding, and declared as
    # generic binary (offered through the media type table, not the heuristics).
    packets.append(http_post(gzip.compress(bodies[EXAMPLES.index("route")]), content_encoding=b"gzip"))
    packets.append(http_post(bodies[EXAMPLES.index("navstop")], content_type=b"application/octet-stream"))
    pcap = capture(tmp, packets)
    return bodies, tshark(pcap, "-T", "pdml")


@pytest.mark.parametrize("name", EXAMPLES)
def test_every_field_of_every_example(examples_pdml, name):
    bodies, pdml = examples_pdml
    i = EXAMPLES.index(name)
    tree = dump(bodies[i])
    expected = []
    body_at = ETH_IP_TCP + len(http_post(bodies[i])) - len(bodies[i])
    expect_nodes(tree["fields"], tree["record"], body_at, expected)
    actual = shown(pdml, i + 1)
    assert len(actual) > 10
    compare(expected, actual)


def test_content_encoded_body_is_read_once_inflated(examples_pdml):
    bodies, pdml = examples_pdml
    body = bodies[EXAMPLES.index("route")]
    tree = dump(body)
    expected = []
    expect_nodes(tree["fields"], tree["record"], None, expected)  # offsets in HTTP's inflated body
    compare(expected, shown(pdml, len(EXAMPLES) + 1))


def test_a_body_that_is_a_gzip_stream_is_inflated_into_its_own_tab(tmp_path):
    """No Content-Encoding: the body itself is gzip, as the tool reads any input."""
    body = gzip.compress(example("slice"))
    pcap = capture(tmp_path, [http_post(body)])
    tree = dump(body)
    assert "gzip" in tree
    expected = []
    expect_nodes(tree["fields"], tree["record"], None, expected)
    compare(expected, shown(tshark(pcap, "-T", "pdml"), 1))
    assert "Inflated request" in tshark(pcap, "-x")


def test_generic_binary_content_type(examples_pdml):
    bodies, pdml = examples_pdml
    body = bodies[EXAMPLES.index("navstop")]
    tree = dump(body)
    expected = []
    body_at = ETH_IP_TCP + len(http_post(body, content_type=b"application/octet-stream")) - len(body)
    expect_nodes(tree["fields"], tree["record"], body_at, expected)
    compare(expected, shown(pdml, len(EXAMPLES) + 2))


def test_the_pure_lua_json_reader_gives_the_same_tree(examples_pdml, tmp_path):
    """Without lua-cjson (no C modules found), lua-dkjson reads the tool's answers."""
    bodies, pdml = examples_pdml
    pcap = capture(tmp_path, [http_post(b) for b in bodies])
    slow = tshark(pcap, "-T", "pdml", env={"LUA_CPATH_5_2": "/nonexistent/?.so"})
    for i in range(len(bodies)):
        assert shown(slow, i + 1) == shown(pdml, i + 1)


def test_a_tool_that_cannot_run_is_said_once(tmp_path):
    bodies = [example(name) for name in EXAMPLES]
    pcap = capture(tmp_path, [http_post(b) for b in bodies])
    verbose = tshark(pcap, "-V", env={"NAVREQ_TOOL": str(tmp_path / "no-such-navreq")})
    assert verbose.count("[Expert Info (Error/Undecoded): navreq dump exited with 127") == 1
    assert "navreq request, Package" not in verbose


def test_fields_filter_and_values(tmp_path):
    bodies = [example(name) for name in EXAMPLES]
    pcap = capture(tmp_path, [http_post(b) for b in bodies])
    out = tshark(pcap, "-T", "fields", "-e", "navreq.Package.cmd_name", "-e", "navreq.Packet.kind")
    lines = out.splitlines()
    for name, line, body in zip(EXAMPLES, lines, bodies):
        top = {f["name"]: f for f in dump(body)["fields"]}
        cmd, kind = line.split("\t")
        assert cmd == top.get("cmd_name", {}).get("value", ""), name
        assert kind == str(top["kind"]["value"]) if "kind" in top else kind == "", name
    # Filtering on a declared field finds the route search alone.
    out = tshark(pcap, "-Y", 'navreq.Package.cmd_name == "CMD_ROUTE_CAR_SNS"', "-T", "fields", "-e", "frame.number")
    assert out.split() == [str(EXAMPLES.index("route") + 1)]


def test_damaged_request_shows_its_problems_as_expert_info(tmp_path):
    body = bytearray(example("slice"))
    body[47] ^= 0x5A  # a head inside the Header: repeated tags, missing fields, a type mismatch
    cut = example("route")[:300]  # the body's length runs past the end
    nested = bytearray(example("navstop"))
    nested[3] ^= 0x10  # the auth record's first head: its api_key is missing
    pcap = capture(tmp_path, [http_post(bytes(body)), http_post(cut), http_post(bytes(nested))])
    verbose = tshark(pcap, "-V")
    frames = verbose.split("\nFrame ")
    assert len(frames) == 3
    damaged, short = dump(bytes(body)), dump(cut)
    in_auth = dump(bytes(nested))["fields"][1]["missing"]
    assert [m["name"] for m in in_auth] == ["api_key"]
    assert frames[2].count("[Expert Info (Warning/Malformed): missing: 0 api_key (string)]") == 1

    def count(tree, key):
        return json.dumps(tree).count(key)

    assert frames[0].count("[Expert Info (Warning/Malformed): missing:") == sum(
        len(m) for m in find_all(damaged, "missing"))
    assert frames[0].count("[Expert Info (Warning/Malformed): type mismatch") == count(damaged, '"type mismatch"')
    assert frames[0].count("[Expert Info (Warning/Malformed): repeated tag") == count(damaged, '"repeated tag"')
    assert count(damaged, '"repeated tag"') > 0 and find_all(damaged, "missing")
    assert frames[1].count("[Expert Info (Error/Malformed): undecoded at") == len(find_all(short, "undecoded"))
    assert len(find_all(short, "undecoded")) == 1
    assert "navreq request, Package" in frames[0] and "navreq request, Package" in frames[1]


def test_damaged_bytes_never_break_the_dissector(tmp_path):
    """Every example with bytes flipped, cut or doubled: whatever the tool
    answers, the tree is built without a Lua error (tshark() checks)."""
    rng = random.Random(20231114)
    packets = []
    for name in EXAMPLES:
        body = example(name)
        for _ in range(30):
            damaged = bytearray(body)
            for _ in range(rng.randint(1, 4)):
                damaged[rng.randrange(len(damaged))] ^= 1 << rng.randrange(8)
            cut = rng.randrange(len(damaged) + 1) if rng.random() < 0.3 else len(damaged)
            packets.append(http_post(bytes(damaged[:cut]) + bytes(damaged[:cut][:rng.randrange(8)])))
    pcap = capture(tmp_path, packets)
    verbose = tshark(pcap, "-V")
    assert verbose.count("\nnavreq request, ") > len(packets) // 2


def find_all(tree, key):
    found = []
    if isinstance(tree, dict):
        for k, v in tree.items():
            if k == key:
                found.append(v)
            found.extend(find_all(v, key))
    elif isinstance(tree, list):
        for v in tree:
            found.extend(find_all(v, key))
    return found


def test_bodies_that_are_not_requests_are_left_alone(tmp_path):
    pcap = capture(tmp_path, [http_post(b'{"route": 1}', content_type=b"application/json"),
                              http_post(b"\x10\x00 binary, not a request"),
                              # Past the quick look, the tool finds no envelope in it.
                              http_post(gzip.compress(b"text, not a request")),
                              http_post(b"plain text")])
    out = tshark(pcap, "-Y", "navreq", "-T", "fields", "-e", "frame.number")
    assert out.split() == []


def test_time_to_open_a_thousand_requests(tmp_path):
    """Measured and printed, not asserted: tshark listing a capture of 1,000
    requests (as Wireshark does when it opens one), distinct bodies so that no
    answer comes from the cache."""
    bodies = [example(name) for name in EXAMPLES]
    packets = []
    for i in range(1000):
        body = bytearray(bodies[i % len(bodies)])
        # Distinct digits in a string value (the imei, in every example's
        # envelope) keep every body new.
        at = body.find(b"860000000000001")
        assert at >= 0
        body[at:at + 15] = b"86%013d" % i
        packets.append(http_post(bytes(body)))
    pcap = capture(tmp_path, packets)
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.monotonic()
    listing = tshark(pcap)
    elapsed = time.monotonic() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    assert sum(" navreq " in line for line in listing.splitlines()) == 1000
    cpu = (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)
    print("\ntshark listed 1000 requests in %.1f s (%.1f s of CPU, the tool's included; load %.1f)"
          % (elapsed, cpu, os.getloadavg()[0]))
