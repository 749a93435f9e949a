#!/usr/bin/env bash
# Writes the Python examples of the README's "Python" section into OUTDIR, one
# file per ```python block (test_readme_N.py), for make test-python to run
# with pytest and check with mypy: the README's code is code that works.
#
#   scripts/readme-python-examples.sh OUTDIR
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=${1:?usage: readme-python-examples.sh OUTDIR}
rm -rf "$out"
mkdir -p "$out"
awk -v out="$out" '
  /^## / { in_section = ($0 == "## Python") }
  in_section && /^```python$/ { n++; file = out "/test_readme_" n ".py"; inside = 1; next }
  inside && /^```$/ { inside = 0; close(file); next }
  inside { print > file }
  END { if (n == 0) { print "readme-python-examples: no python block in the Python section" > "/dev/stderr"; exit 1 } }
' "$root/README.md"
echo "readme-python-examples: $(ls "$out" | wc -l) file(s) in $out"
