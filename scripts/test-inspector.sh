#!/bin/sh
# Browser tests of the inspector page:
#   scripts/test-inspector.sh PAGE NAVREQ_TOOL [NODE_TEST_OPTION...]
# (e.g. --test-name-pattern=compare to run one suite).
# Run from the source tree's root. puppeteer-core is installed (from the
# committed lock) under build/inspector/npm, never in the source tree, and
# again only when the lock changes.
set -eu

if [ $# -lt 2 ]; then
  echo "usage: $0 PAGE NAVREQ_TOOL [NODE_TEST_OPTION...]" >&2
  exit 64
fi
page=$1
tool=$2
shift 2
root=$(cd "$(dirname "$0")/.." && pwd)
out=${NAVREQ_INSPECTOR_OUT:-$root/build/inspector}
npmdir=$out/npm
src=$root/tests/inspector

for f in "$page" "$tool"; do
  [ -e "$f" ] || { echo "$0: $f does not exist" >&2; exit 66; }
done

mkdir -p "$npmdir"
stamp=$npmdir/.lock-installed
if [ ! -d "$npmdir/node_modules/puppeteer-core" ] || ! cmp -s "$src/package-lock.json" "$stamp"; then
  cp "$src/package.json" "$src/package-lock.json" "$npmdir/"
  npm ci --prefix "$npmdir" --no-audit --no-fund --loglevel=error >"$out/npm-ci.log" 2>&1 || {
    cat "$out/npm-ci.log" >&2
    exit 1
  }
  cp "$src/package-lock.json" "$stamp"
fi

abs() { (cd "$(dirname "$1")" && echo "$(pwd)/$(basename "$1")"); }

NODE_PATH=$npmdir/node_modules \
NAVREQ_INSPECTOR_PAGE=$(abs "$page") \
NAVREQ_TOOL=$(abs "$tool") \
NAVREQ_GOLDEN_DIR=$root/tests/tool/golden \
NAVREQ_INSPECTOR_OUT=$out \
  exec node --test "$@" "$src/inspector.test.cjs"
