#!/usr/bin/env python3
"""Instruction counts of the navreq benchmarks under callgrind.

Timings on a shared, loaded machine move by tens of percent from run to run;
instruction counts do not. For each operation this runs

    valgrind --tool=callgrind --collect-atstart=no navreq_bench --instr-op OP --instr-calls N

(the bench binary toggles collection around exactly N calls, after three
warm-up calls), reads the collected total and prints instructions per call,
then the same summary ratios as the timed run, computed from instructions.

    scripts/bench-callgrind.py [--bench PATH] [--ops OP,OP,...] [--calls N]

Default bench: build/bench/bench/navreq_bench. Exit status 1 when valgrind or
an operation fails.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile

SUMMARY_OPS = [
    "body/kse_stream", "body/protobuf", "body/nanopb", "body/memcpy",
    "body/kse_read", "body/protobuf_parse",
    "request/route", "gzip/default/body", "gzip/zlib_oneshot_6/body",
    "envelope/route_package_stream",
    "scale/location/1000", "scale/location/10000",
    "scale/route/1000", "scale/route/10000",
]
REQUEST_OPS = ["request/refresh", "request/location", "request/navstop", "request/plus", "request/slice"]


def calls_for(op, default):
    """Fewer calls for the large scaling runs: callgrind is about 50x slower."""
    if op.endswith("/10000"):
        return max(1, default // 10)
    if op.endswith("/1000"):
        return max(1, default // 4)
    return default


def measure(bench, op, calls):
    with tempfile.TemporaryDirectory() as tmp:
        out_file = os.path.join(tmp, "callgrind.out")
        proc = subprocess.run(
            ["valgrind", "--tool=callgrind", "--collect-atstart=no",
             "--callgrind-out-file=" + out_file, bench, "--instr-op", op, "--instr-calls", str(calls)],
            capture_output=True, text=True)
        if proc.returncode != 0:
            sys.stderr.write(proc.stderr[-2000:])
            raise RuntimeError("valgrind failed on " + op)
        total = None
        with open(out_file) as f:
            for line in f:
                if line.startswith("totals:") or line.startswith("summary:"):
                    total = int(line.split()[1])
        if total is None:
            raise RuntimeError("no totals in the callgrind output of " + op)
        allocs = re.search(r"allocs_per_call=([0-9.]+)", proc.stdout)
        return total / calls, float(allocs.group(1)) if allocs else float("nan")


def ratio(a, b):
    return a / b if a is not None and b else float("nan")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bench", default="build/bench/bench/navreq_bench")
    parser.add_argument("--ops", default="", help="comma-separated operations (default: summary and requests)")
    parser.add_argument("--calls", type=int, default=40)
    args = parser.parse_args()

    ops = [o for o in args.ops.split(",") if o] or SUMMARY_OPS + REQUEST_OPS
    ir, allocs = {}, {}
    print("%-36s %14s %10s" % ("operation", "instr/call", "allocs"))
    for op in ops:
        try:
            ir[op], allocs[op] = measure(args.bench, op, calls_for(op, args.calls))
        except (RuntimeError, OSError) as e:
            print("bench-callgrind: %s" % e, file=sys.stderr)
            return 1
        print("%-36s %14.0f %10.2f" % (op, ir[op], allocs[op]), flush=True)

    if not all(o in ir for o in SUMMARY_OPS):
        return 0
    route = ir["request/route"]
    essential = ir["body/kse_stream"] + ir["gzip/default/body"] + ir["envelope/route_package_stream"]
    print("summary (instructions):")
    lines = [
        ("kse_body_write_vs_protobuf", ratio(ir["body/kse_stream"], ir["body/protobuf"])),
        ("kse_body_write_vs_nanopb", ratio(ir["body/kse_stream"], ir["body/nanopb"])),
        ("kse_body_write_vs_memcpy", ratio(ir["body/kse_stream"], ir["body/memcpy"])),
        ("kse_body_read_vs_protobuf", ratio(ir["body/kse_read"], ir["body/protobuf_parse"])),
        ("route_request_allocs", allocs["request/route"]),
        ("route_request_overhead_share", (route - essential) / route),
        ("gzip_default_vs_zlib6_oneshot", ratio(ir["gzip/default/body"], ir["gzip/zlib_oneshot_6/body"])),
        ("location_per_fix_10000_vs_1000",
         ratio(ir["scale/location/10000"] / 10000, ir["scale/location/1000"] / 1000)),
        ("route_per_fix_10000_vs_1000", ratio(ir["scale/route/10000"] / 10000, ir["scale/route/1000"] / 1000)),
    ]
    for name, value in lines:
        print("%s %.3f" % (name, value))
    return 0


if __name__ == "__main__":
    sys.exit(main())
