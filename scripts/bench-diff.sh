#!/usr/bin/env bash
# Time and peak memory of `navreq diff` on two large route requests that
# differ at every via point: the requests are encoded from examples/route.json
# with VIA via points (default 9000: about 1 MB of body once inflated), the
# second with every via point moved, a third with one via point more at the
# front (every field of every via point differs). Prints the inflated body
# size, then the elapsed time and maximum resident set size of the text and
# the --json diff of each pair.
#
#   scripts/bench-diff.sh [NAVREQ] [VIA]
#
# NAVREQ defaults to the release preset's build/release/tools/navreq/navreq.
# Measure release builds; nothing here is asserted, it reports.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
navreq=${1:-$root/build/release/tools/navreq/navreq}
via=${2:-9000}
[[ -x $navreq ]] || { echo "bench-diff: no navreq at $navreq (cmake --preset release && cmake --build --preset release)" >&2; exit 2; }
[[ -x /usr/bin/time ]] || { echo "bench-diff: /usr/bin/time is needed (apt-get install time)" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The via points: distinct coordinates and names, as a long route has them.
# C has one via point more, at the front: every via point's every field
# differs from A's at the same position.
points='[range($first; $n) | {latitude: (39.5 + . * 0.00001 + $shift), longitude: (116.5 + . * 0.00001 + $shift),
          primaryText: "via point \(.)", secondaryText: "a street of the route, number \(.)", pointType: 3}]'
make_request() {  # NAME FIRST SHIFT
  jq --argjson n "$via" --argjson first "$2" --argjson shift "$3" ".param.viaPoints = $points" \
    "$root/examples/route.json" >"$work/$1.json"
  "$navreq" encode route "$work/$1.json" --now-ms 1700000000000 -o "$work/$1.bin"
}
make_request a 0 0
make_request b 0 0.001
make_request c -1 0

"$navreq" dump "$work/a.bin" >"$work/a.dump" || true
echo "requests: $(stat -c %s "$work/a.bin") and $(stat -c %s "$work/b.bin") bytes;" \
  "$(grep -m1 -o '[0-9]* bytes inflated' "$work/a.dump") (A's body)"

measure() {
  local label=$1
  shift
  local status=0
  /usr/bin/time -v "$navreq" diff "$@" >"$work/out" 2>"$work/time" || status=$?
  local rss elapsed
  rss=$(sed -n 's/^[[:space:]]*Maximum resident set size (kbytes): //p' "$work/time")
  elapsed=$(sed -n 's/^[[:space:]]*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$work/time")
  printf '%-6s exit %d, %8d lines out, %s elapsed, %6.1f MB peak\n' "$label" "$status" \
    "$(wc -l <"$work/out")" "$elapsed" "$(echo "$rss / 1024" | bc -l)"
}
echo "A and B: every via point moved"
measure text "$work/a.bin" "$work/b.bin"
measure json --json "$work/a.bin" "$work/b.bin"
echo "A and C: every via point one place later"
measure text "$work/a.bin" "$work/c.bin"
measure json --json "$work/a.bin" "$work/c.bin"
