#!/usr/bin/env bash
# Regenerates the golden files of the navreq tool tests (tests/tool/golden/):
# the bytes of every example request at a pinned clock, as hex, and both
# views of its dump (text and JSON). The tests compare against these byte for
# byte (a gzip body by what it inflates to, so either compressor passes), so
# run this only when a change of the request bytes is intended, and read the
# diff before committing it.
#
#   scripts/regen-goldens.sh [BUILD_DIR]    (default: build/dev)
#
# Every request is encoded by a fresh process: the location example has an
# empty session_id, so its session identifier stays 0 and its sequence number
# is the first one, and its bytes do not depend on the random device.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/dev}
now_ms=1700000000000

cmake -S "$root" -B "$build" -DNAVREQ_BUILD_TOOLS=ON >/dev/null
cmake --build "$build" --target navreq_cli -j2 >/dev/null
tool="$build/tools/navreq/navreq"
golden="$root/tests/tool/golden"
mkdir -p "$golden"

for kind in route refresh location navstop plus slice; do
  "$tool" encode "$kind" "$root/examples/$kind.json" --now-ms "$now_ms" >"$golden/$kind.hex"
done

# The dumps read the committed hex, as the tests do: a gzip body's bytes (and
# every offset after it) depend on the compressor of the build.
for kind in route refresh location navstop plus slice; do
  "$tool" dump "$golden/$kind.hex" >"$golden/$kind.dump.txt"
  "$tool" dump --json "$golden/$kind.hex" >"$golden/$kind.dump.json"
done

echo "regenerated $(ls "$golden" | wc -l) golden files in $golden; review them with git diff"
