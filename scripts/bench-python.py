#!/usr/bin/python3
"""What reading the route request costs from Python, beside protocol buffers
and the C++ library alone, on the same content (make bench-python).

Three readers side by side:
  - navreq.decode of the example route request (tests/tool/golden/route.hex),
    alone and followed by the body's to_dict();
  - Debian's python3-protobuf parsing the route body's protocol-buffers mirror
    (bench/route_body.proto, compiled here with protoc), alone and followed by
    MessageToDict; the message is filled once, outside the timed loop, from
    the decoded body's to_dict;
  - the C++ DecodeRequest alone: the benchmark read/decode_request/route of
    navreq_bench (the `bench` target's build, build/bench).

Each Python figure is the minimum over several timeit repeats, per call. Not a
test: it reports, and exits 0 whatever the ratios are (1 when something
cannot run).

  scripts/bench-python.py [--bench build/bench/bench/navreq_bench] [--repeat 7]
"""

from __future__ import annotations

import argparse
import importlib
import json
import subprocess
import sys
import tempfile
import timeit
from pathlib import Path
from typing import Any, Callable, Dict, List, Tuple

ROOT = Path(__file__).resolve().parent.parent
PROTO = ROOT / "bench" / "route_body.proto"
ROUTE_HEX = ROOT / "tests" / "tool" / "golden" / "route.hex"
CPP_BENCHMARK = "read/decode_request/route"
# The goals the figures are read against.
GOAL_VS_PROTOBUF = 1.0
GOAL_VS_CPP = 3.0


def best_per_call(fns: List[Callable[[], object]], repeat: int) -> List[float]:
    """Seconds per call of each function: the fastest of `repeat` runs of
    enough calls to last about 0.2 s each (the minimum is the run least
    disturbed by the machine). The runs take turns, so that a busy spell of
    the machine falls on every function alike rather than on one."""
    timers = [timeit.Timer(fn) for fn in fns]
    numbers = [max(1, timer.autorange()[0]) for timer in timers]
    best = [float("inf")] * len(fns)
    for _ in range(repeat):
        for i, (timer, number) in enumerate(zip(timers, numbers)):
            best[i] = min(best[i], timer.timeit(number) / number)
    return best


def compile_mirror(out_dir: Path) -> Any:
    """The route body's mirror module, compiled by protoc into out_dir."""
    subprocess.run(["protoc", f"--proto_path={PROTO.parent}", f"--python_out={out_dir}", PROTO.name],
                   check=True)
    sys.path.insert(0, str(out_dir))
    return importlib.import_module(PROTO.stem + "_pb2")


def fit_mirror(value: Any, descriptor: Any) -> Any:
    """A record's dict as the mirror's JSON mapping takes it: the mirror wraps
    each inner list of a list of lists in a message of one repeated field."""
    if not isinstance(value, dict):
        return value
    out: Dict[str, Any] = {}
    for name, item in value.items():
        field = descriptor.fields_by_name.get(name)
        if field is None or field.message_type is None:
            out[name] = item
            continue
        sub = field.message_type
        if sub.GetOptions().map_entry:
            value_field = sub.fields_by_name["value"]
            out[name] = {k: fit_mirror(v, value_field.message_type) if value_field.message_type else v
                         for k, v in item.items()}
        elif isinstance(item, list):
            if item and isinstance(item[0], list):
                inner = sub.fields[0]
                out[name] = [{inner.name: [fit_mirror(x, inner.message_type) for x in row]} for row in item]
            else:
                out[name] = [fit_mirror(x, sub) for x in item]
        else:
            out[name] = fit_mirror(item, sub)
    return out


def cpp_decode_seconds(bench: Path, repeat: int) -> float:
    """The C++ DecodeRequest of the route request, from navreq_bench: the
    fastest repetition's time per iteration."""
    with tempfile.TemporaryDirectory() as tmp:
        out = Path(tmp) / "bench.json"
        subprocess.run([str(bench), f"--benchmark_filter=^{CPP_BENCHMARK}$",
                        f"--benchmark_repetitions={repeat}", "--benchmark_min_time=0.2",
                        f"--benchmark_out={out}", "--benchmark_out_format=json"],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        runs = [b for b in json.loads(out.read_text())["benchmarks"]
                if b.get("run_type") == "iteration" and b["name"].startswith(CPP_BENCHMARK)]
    if not runs:
        raise RuntimeError(f"{bench} ran no benchmark {CPP_BENCHMARK}")
    scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    return min(b["real_time"] * scale[b["time_unit"]] for b in runs)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bench", type=Path, default=ROOT / "build" / "bench" / "bench" / "navreq_bench")
    parser.add_argument("--repeat", type=int, default=7)
    parser.add_argument("--build-dir", type=Path, default=ROOT / "build" / "bench-python")
    args = parser.parse_args()

    import navreq
    from google.protobuf import json_format
    from google.protobuf.internal import api_implementation

    route = bytes.fromhex(ROUTE_HEX.read_text().strip())
    request = navreq.decode(route)
    body = request.body
    assert body is not None and request.ok

    args.build_dir.mkdir(parents=True, exist_ok=True)
    mirror = compile_mirror(args.build_dir)
    message = mirror.CarRouteReq()
    json_format.ParseDict(fit_mirror(body.to_dict(bytes_as="base64"), message.DESCRIPTOR), message)
    wire = message.SerializeToString()

    def navreq_decode() -> object:
        return navreq.decode(route)

    def navreq_decode_dict() -> object:
        decoded = navreq.decode(route)
        assert decoded.body is not None
        return decoded.body.to_dict()

    def protobuf_parse() -> object:
        return mirror.CarRouteReq.FromString(wire)

    def protobuf_parse_dict() -> object:
        return json_format.MessageToDict(mirror.CarRouteReq.FromString(wire), preserving_proto_field_name=True)

    def native_decode() -> object:
        return navreq._native.decode(route, True, 256 << 20)

    timed: List[Tuple[str, Callable[[], object]]] = [
        ("navreq.decode(route)", navreq_decode),
        ("  of which the C++ read + plain values", native_decode),
        ("navreq.decode(route) + body.to_dict()", navreq_decode_dict),
        ("protobuf CarRouteReq.FromString(body)", protobuf_parse),
        ("protobuf FromString + MessageToDict", protobuf_parse_dict),
    ]
    rows = list(zip([name for name, _ in timed], best_per_call([fn for _, fn in timed], args.repeat)))
    cpp = cpp_decode_seconds(args.bench, 5) if args.bench.exists() else None
    if cpp is not None:
        rows.append((f"C++ DecodeRequest ({CPP_BENCHMARK})", cpp))

    print(f"python {sys.version.split()[0]}, protobuf {api_implementation.Type()} implementation "
          f"(google.protobuf {importlib.import_module('google.protobuf').__version__})")
    print(f"route request: {len(route)} bytes ({ROUTE_HEX.relative_to(ROOT)}), body {request.body_size} bytes "
          f"inflated; its protobuf mirror: {len(wire)} bytes")
    if cpp is not None:
        print("the C++ figure decodes the route request navreq_bench encodes from examples/route.json: "
              "the same content as the golden, other clock digits")
    width = max(len(name) for name, _ in rows)
    print(f"\n{'':{width}}  us per call (min of {args.repeat} repeats)")
    for name, seconds in rows:
        print(f"{name:{width}}  {seconds * 1e6:10.2f}")
    ratio_pb = rows[2][1] / rows[4][1]
    print(f"\nnavreq (decode + to_dict) / protobuf (parse + MessageToDict): {ratio_pb:.2f} "
          f"(goal <= {GOAL_VS_PROTOBUF:g}){'' if ratio_pb <= GOAL_VS_PROTOBUF else '  MISSED'}")
    if cpp is None:
        print(f"navreq Python decode / C++ decode: not measured ({args.bench} missing: make bench builds it)")
    else:
        ratio_cpp = rows[0][1] / cpp
        print(f"navreq Python decode / C++ decode: {ratio_cpp:.2f} "
              f"(goal <= {GOAL_VS_CPP:g}){'' if ratio_cpp <= GOAL_VS_CPP else '  MISSED'}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
