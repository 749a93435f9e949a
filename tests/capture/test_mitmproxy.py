"""The mitmproxy content view (tools/capture/navreq_mitmproxy.py), for real and in unit.

For real: every example request is posted through mitmdump, recording as a
proxy in front of a local server; mitmdump then reads the saved flows back
headless with the view loaded, and each printed body must be exactly the
tree `navreq dump` prints for the same bytes. In unit: the view and its
priority called on mitmproxy's own test flows.

    make test-mitmproxy     (build/venv/bin/python -m pytest tests/capture)

NAVREQ_TOOL names the navreq tool (default build/dev/tools/navreq/navreq).
"""

from __future__ import annotations

import gzip
import json
import os
import random
import re
import subprocess
import time
from pathlib import Path
from typing import Dict, List, Tuple

import pytest

import proxy_harness as harness

try:
    import navreq  # noqa: F401  (the view's own import must work in this process too)
except ImportError as error:
    pytest.exit(f"the navreq Python package cannot be imported ({error}): build it (make python) "
                "and put it on PYTHONPATH", returncode=4)

from mitmproxy import contentviews
from mitmproxy.test import tflow, tutils

GOLDEN = harness.REPO / "tests" / "tool" / "golden"
KINDS = ("route", "refresh", "location", "navstop", "plus", "slice")
OCTETS = {"Content-Type": "application/octet-stream"}


def example(kind: str) -> bytes:
    return bytes.fromhex((GOLDEN / f"{kind}.hex").read_text())


def damaged() -> bytes:
    """The route search cut inside its body: the header decodes, then decoding stops."""
    return example("route")[:700]


@pytest.fixture(scope="module")
def addon():
    """The script loaded as mitmproxy loads it, its view added for the module's tests."""
    module = harness.load_view_module()
    module.load(None)
    assert contentviews.get("navreq") is module.view
    yield module
    module.done()
    assert contentviews.get("navreq") is None


def text_of(lines) -> str:
    return "".join("".join(text for _, text in line) + "\n" for line in lines)


# --- through a real proxy -------------------------------------------------------------------

# path -> (body as posted, headers, body the view receives)
def posted_bodies() -> Dict[str, Tuple[bytes, Dict[str, str], bytes]]:
    bodies = {f"/req/{kind}": (example(kind), OCTETS, example(kind)) for kind in KINDS}
    route = example("route")
    bodies["/gzip/route"] = (gzip.compress(route), {**OCTETS, "Content-Encoding": "gzip"}, route)
    bodies["/damaged/route"] = (damaged(), OCTETS, damaged())
    bodies["/plain/text"] = (b"lat=39.9&lon=116.4\n", {"Content-Type": "text/plain"}, b"")
    bodies["/echo/location"] = (example("location"), OCTETS, example("location"))
    return bodies


@pytest.fixture(scope="module")
def recorded(tmp_path_factory) -> Path:
    """The flows mitmdump saved while every body was posted through it."""
    bodies = posted_bodies()
    flows, answers = harness.record_posts(tmp_path_factory.mktemp("proxy"),
                                          [(path, body, headers) for path, (body, headers, _) in bodies.items()])
    for path, (status, answer) in answers.items():
        assert status == 200, path
        if path.startswith("/echo/"):
            assert answer == bodies[path][0]
    return flows


REQUEST_LINE = re.compile(r"^\S+: POST http://127\.0\.0\.1:\d+(/\S*)$", re.MULTILINE)


def flow_sections(output: str) -> Dict[str, Tuple[str, str]]:
    """mitmdump's printout split by flow: path -> (request part, response part)."""
    output = output.replace("\r\n", "\n")
    starts = list(REQUEST_LINE.finditer(output))
    sections = {}
    for i, match in enumerate(starts):
        end = starts[i + 1].start() if i + 1 < len(starts) else len(output)
        request, _, response = output[match.start():end].partition("\n << ")
        sections[match.group(1)] = (request, response)
    return sections


def printed(tree: str) -> str:
    """A body's lines as mitmdump prints them: indented by four spaces."""
    return "\n" + "".join(f"    {line}\n" for line in tree.splitlines())


@pytest.fixture(scope="module")
def headless(recorded, tmp_path_factory) -> Dict[str, Tuple[str, str]]:
    result = harness.read_flows(recorded, tmp_path_factory.mktemp("read") / "conf")
    assert result.returncode == 0, result.stderr
    assert "Traceback" not in result.stdout + result.stderr
    assert "Couldn't parse" not in result.stdout
    return flow_sections(result.stdout)


@pytest.fixture(scope="module")
def headless_without_view(recorded, tmp_path_factory) -> Dict[str, Tuple[str, str]]:
    result = harness.read_flows(recorded, tmp_path_factory.mktemp("plain") / "conf", scripts=())
    assert result.returncode == 0, result.stderr
    return flow_sections(result.stdout)


def test_every_flow_was_recorded_and_printed(headless):
    assert sorted(headless) == sorted(posted_bodies())


@pytest.mark.parametrize("kind", KINDS)
def test_example_request_printed_as_navreq_dump(headless, kind):
    request, _ = headless[f"/req/{kind}"]
    tree = harness.navreq_dump(example(kind))
    assert tree.startswith(("Package, ", "Packet, "))
    assert printed(tree) in request


def test_request_sent_with_content_encoding_gzip(headless):
    request, _ = headless["/gzip/route"]
    assert "Content-Encoding: gzip" in request
    # mitmproxy removes the Content-Encoding before the view sees the body
    assert printed(harness.navreq_dump(example("route"))) in request


def test_damaged_request_shows_what_decoded_and_where_it_stopped(headless):
    request, _ = headless["/damaged/route"]
    tree = harness.navreq_dump(damaged())
    assert "! decoding stopped at offset 263: " in tree
    assert printed(tree) in request


def test_response_holding_a_request_printed_as_navreq_dump(headless):
    _, response = headless["/echo/location"]
    assert printed(harness.navreq_dump(example("location"))) in response


def test_other_bodies_left_as_mitmproxy_shows_them(headless, headless_without_view):
    assert headless["/plain/text"] == headless_without_view["/plain/text"]
    request, response = headless["/plain/text"]
    assert "lat=39.9&lon=116.4" in request and "stored" in response
    # the server's answers to the requests are short texts, shown as such
    assert headless["/req/route"][1] == headless_without_view["/req/route"][1]
    # and without the script, a request is not shown as a tree
    assert "@0+1 0 version" in headless["/req/route"][0]
    assert "@0+1 0 version" not in headless_without_view["/req/route"][0]


def test_without_the_package_the_script_says_so_once(recorded, tmp_path):
    # A package of that name that cannot be imported, first on the path.
    shadow = tmp_path / "shadow" / "navreq"
    shadow.mkdir(parents=True)
    (shadow / "__init__.py").write_text('raise ImportError("navreq stand-in that cannot be imported")\n')
    env = {**os.environ, "PYTHONPATH": str(shadow.parent)}
    result = harness.read_flows(recorded, tmp_path / "conf", env=env)
    output = result.stdout + result.stderr
    assert result.returncode == 0, output
    assert output.count("navreq view not loaded") == 1, output
    assert "make python" in output and "PYTHONPATH=" in output
    assert "Traceback" not in output
    # the flows are still shown, by mitmproxy's own views
    assert "POST http://127.0.0.1:" in output and "@0+1 0 version" not in output


# --- in unit, on mitmproxy's test flows ------------------------------------------------------

def request_flow(body: bytes, headers=((b"content-type", b"application/octet-stream"),)):
    return tflow.tflow(req=tutils.treq(content=body, headers=headers))


@pytest.mark.parametrize("kind", KINDS)
def test_priority_and_lines_of_each_example(addon, kind):
    data = example(kind)
    flow = request_flow(data)
    assert addon.view.render_priority(data, content_type="application/octet-stream", flow=flow,
                                      http_message=flow.request) == addon.PRIORITY > 1
    description, lines = addon.view(data, flow=flow, http_message=flow.request)
    lines = list(lines)
    assert text_of(lines) == harness.navreq_dump(data)
    assert description == "navreq " + ("Packet" if kind in ("location", "navstop") else "Package")
    assert lines[1][0][0] == "offset" and lines[1][0][1].lstrip().startswith("@0+")
    assert not any(style == "error" for line in lines for style, _ in line)


def test_auto_mode_picks_the_view(addon):
    flow = request_flow(example("route"))
    description, lines, error = contentviews.get_message_content_view("auto", flow.request, flow)
    assert error is None
    assert description == "navreq Package"
    assert text_of(lines) == harness.navreq_dump(example("route"))


def test_auto_mode_after_content_encoding_gzip(addon):
    route = example("route")
    flow = tflow.tflow(resp=tutils.tresp(content=b""))
    flow.response.headers["content-encoding"] = "gzip"
    flow.response.raw_content = gzip.compress(route)
    description, lines, error = contentviews.get_message_content_view("auto", flow.response, flow)
    assert error is None
    assert description == "[decoded gzip] navreq Package"
    assert text_of(lines) == harness.navreq_dump(route)


def test_request_that_is_itself_a_gzip_stream(addon):
    data = gzip.compress(example("slice"))
    assert addon.view.render_priority(data) == addon.PRIORITY
    description, lines = addon.view(data)
    lines = list(lines)
    assert description == "navreq Package"
    assert lines[0] == [("header", lines[0][0][1])]
    assert lines[0][0][1].startswith(f"gzip stream, {len(data)} bytes, ")
    assert text_of(lines) == harness.navreq_dump(data)


def test_damaged_request_highlights_the_stop(addon):
    data = damaged()
    description, lines = addon.view(data)
    lines = list(lines)
    assert description == "navreq Package, 1 problem"
    assert text_of(lines) == harness.navreq_dump(data)
    errors = [text for line in lines for style, text in line if style == "error"]
    assert errors[0] == "  ! decoding stopped at offset 263: bad count: count 1183 exceeds the 432 bytes left"
    assert errors[1] == "  ! undecoded, 437 bytes:"
    assert errors[2:] == [line[0][1] for line in lines[-3:]]  # the undecoded bytes listed under it
    assert errors[-1] == "    ... 373 more bytes (--full shows them)"
    # everything above the stop decoded and is shown as fields
    assert all(line[0][0] == "offset" for line in lines[1:-5])


def test_unknown_tag_highlighted_at_the_end_of_its_line(addon):
    # The route search with one more Package field: tag 10, an 8-bit integer 5.
    data = example("route") + bytes([0xA0, 0x05])
    description, lines = addon.view(data)
    lines = list(lines)
    assert text_of(lines) == harness.navreq_dump(data)
    assert description == "navreq Package, 1 problem"
    assert lines[-1] == [("offset", "  @1485+2"), ("text", " 10 int8: 5"), ("error", "  ! unknown tag")]


def test_body_that_does_not_inflate_highlighted(addon):
    # The route search's gzip body (at 268, after its 5-byte head) with 40 bytes of its deflate data flipped.
    data = bytearray(example("route"))
    assert data[268:270] == b"\x1f\x8b"
    data[288:328] = bytes(b ^ 0x55 for b in data[288:328])
    description, lines = addon.view(bytes(data))
    lines = list(lines)
    assert text_of(lines) == harness.navreq_dump(bytes(data))
    body = next(line for line in lines if line[0][1] == "  @263+1188")
    assert body[1:] == [("text", " 8 body bytes[1183]: "), ("error", "gzip stream that does not inflate")]
    assert description == "navreq Package, 2 problems"  # the body's line, and the stop under it


def test_a_value_holding_a_line_separator_stays_on_its_line(addon):
    # "phone" (the header's identity_e) replaced by as many bytes: "a", U+2028, "b".
    data = example("route").replace(b"phone", b"a\xe2\x80\xa8b", 1)
    lines = list(addon.view(data)[1])
    assert text_of(lines) == harness.navreq_dump(data)
    assert [("offset", "    @49+7"), ("text", ' 7 identity_e string: "a\u2028b"')] in lines


@pytest.mark.parametrize("text, parts", [
    (' 2 cmd_name string: "a  ! b"', [("text", ' 2 cmd_name string: "a  ! b"')]),
    (' 2 x string: "q\\"  ! z"  ! unknown tag', [("text", ' 2 x string: "q\\"  ! z"'), ("error", "  ! unknown tag")]),
    (" 3 l list<int32>[5] (incomplete)", [("text", " 3 l list<int32>[5]"), ("error", " (incomplete)")]),
    (" 8 body bytes[3]: gzip stream that does not inflate",
     [("text", " 8 body bytes[3]: "), ("error", "gzip stream that does not inflate")]),
    (' 1 v bytes[2]: 2121 "!!"', [("text", ' 1 v bytes[2]: 2121 "!!"')]),
])
def test_markers_count_outside_quoted_values_only(addon, text, parts):
    assert addon._split_markers(text) == parts


FOREIGN = [
    b"",
    b"hello, proxy",
    b'{"lat": 39.9, "lon": 116.4}',
    b"\x89PNG\r\n\x1a\n\x00\x00\x00\rIHDR\x00\x00\x00\x10\x00\x00\x00\x10\x08\x06",
    b"\x1f\x8b",  # a gzip magic and nothing else
    gzip.compress(b"not a request"),
    gzip.compress(example("route"))[:40],  # a gzip stream cut short
]


@pytest.mark.parametrize("data", FOREIGN, ids=range(len(FOREIGN)))
def test_other_bodies_get_priority_zero_and_never_raise(addon, data):
    flow = request_flow(data)
    assert addon.view.render_priority(data, content_type="application/octet-stream", flow=flow,
                                      http_message=flow.request) == 0
    description, lines = addon.view(data, flow=flow)  # chosen by hand, it still shows what it can
    lines = list(lines)
    assert description.startswith("navreq")
    assert text_of(lines) == harness.navreq_dump(data)
    _, lines, error = contentviews.get_message_content_view("auto", flow.request, flow)
    assert error is None
    assert not text_of(lines).startswith(("Package", "Packet", "no envelope"))


def test_other_messages_than_http(addon):
    tcp = tflow.ttcpflow()
    tcp.messages[0].content = example("refresh")
    description, lines, error = contentviews.get_tcp_content_view("auto", tcp.messages[0].content, tcp)
    assert error is None and description == "navreq Package"


def test_a_second_copy_of_the_script_leaves_the_first_view_alone(addon):
    # mitmproxy refuses two views of one name; a second copy loaded beside the
    # first neither adds a view nor removes the first one's.
    module = harness.load_view_module()
    module.load(None)
    assert [v.name for v in contentviews.views].count("navreq") == 1
    assert contentviews.get("navreq") is addon.view
    module.done()
    assert contentviews.get("navreq") is addon.view


def test_newer_contentview_api_where_mitmproxy_has_it(monkeypatch):
    # Newer mitmproxy registers Contentview objects whose prettify() gives the text;
    # a stand-in base class of that shape makes the script take that branch.
    class Contentview:
        name = "base"

        def render_priority(self, data, metadata):
            return 0

    monkeypatch.setattr(contentviews, "Contentview", Contentview, raising=False)
    module = harness.load_view_module()
    assert isinstance(module.view, Contentview) and module.view.name == "navreq"
    for data in (example("route"), damaged(), gzip.compress(example("navstop"))):
        assert module.view.prettify(data, None) == harness.navreq_dump(data)
        assert module.view.render_priority(data, None) == module.PRIORITY
    assert module.view.render_priority(b"hello, proxy", None) == 0


# --- size ----------------------------------------------------------------------------------

def test_render_time_of_a_large_request(addon, tmp_path, record_property):
    """A location upload of about 1 MB on the wire (22,300 fixes): the whole tree
    must come out as `navreq dump` prints it; the time is measured, not asserted."""
    data = large_location_upload(tmp_path)
    start = time.perf_counter()
    priority = addon.view.render_priority(data)
    description, lines = addon.view(data)
    # Each line's text kept as a string, as mitmproxy's front ends keep what they show.
    texts = ["".join(text for _, text in next(lines)) for _ in range(512)]  # the console's first screenful
    shown = time.perf_counter() - start
    texts += ["".join(text for _, text in line) for line in lines]
    whole = time.perf_counter() - start
    assert priority == addon.PRIORITY and description == "navreq Packet"
    assert "".join(text + "\n" for text in texts) == harness.navreq_dump(data)
    record_property("bytes", len(data))
    record_property("first_512_lines_s", round(shown, 3))
    record_property("all_lines_s", round(whole, 3))
    print(f"\n{len(data)} bytes, {len(texts)} lines: first 512 lines in {shown:.3f} s,"
          f" every line in {whole:.3f} s")


def large_location_upload(tmp_path: Path) -> bytes:
    params = json.loads((harness.REPO / "examples" / "location.json").read_text())
    fix = params["param"]["locations"][0]
    rng = random.Random(7)
    lat, lon, fixes = 39.8, 116.3, []
    for i in range(22300):  # a fix moves a little and reads its sensors with noise
        lat += rng.uniform(-0.001, 0.001)
        lon += rng.uniform(-0.001, 0.001)
        fixes.append({**fix, "latitude": round(lat, 6), "longitude": round(lon, 6),
                      "timeSeconds": 1699000000 + i, "speed": round(rng.uniform(0, 40), 2),
                      "heading": float(rng.randrange(360)), "scalarA": round(rng.uniform(0, 20), 1),
                      "scalarC": round(rng.uniform(0, 100), 1), "scalarD": round(rng.uniform(30, 50), 1)})
    params["param"]["locations"] = fixes
    (tmp_path / "large.json").write_text(json.dumps(params))
    out = tmp_path / "large.bin"
    subprocess.run([str(harness.NAVREQ_TOOL), "encode", "location", str(tmp_path / "large.json"),
                    "--now-ms", "1700000000000", "-o", str(out)], check=True, timeout=120)
    data = out.read_bytes()
    assert 900_000 < len(data) < 1_100_000
    return data
