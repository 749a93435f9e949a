#!/usr/bin/env bash
# Regenerates the nanopb code of the navigation stop event from its schema.
#
#   scripts/regen-proto.sh           rewrite src/proto/ from proto/
#   scripts/regen-proto.sh --check   generate into a scratch folder and compare
#                                    with src/proto/: exit 0 when current, 1
#                                    when stale, 77 when no generator is found
#
# The generated .pb.c/.pb.h are checked in so that phone cross builds need only
# the nanopb runtime library, not protoc and the Python generator on the build
# host. Run this after any change to proto/ (schema or generator options).
#
# Environment: NANOPB_GENERATOR (path of nanopb_generator.py; default: the one
# on PATH, then /usr/bin/nanopb_generator.py).
set -euo pipefail

SCRIPT_DIR="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
REPO_ROOT="$(cd "${SCRIPT_DIR}/.." && pwd)"
PROTO_DIR="${REPO_ROOT}/proto"
OUT_DIR="${REPO_ROOT}/src/proto"
SCHEMAS=(normal_traj_server)

mode=write
case "${1:-}" in
  "") ;;
  --check) mode=check ;;
  -h|--help) sed -n '2,14p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'; exit 0 ;;
  *) echo "regen-proto: unknown argument '$1' (try --help)" >&2; exit 2 ;;
esac

generator="${NANOPB_GENERATOR:-}"
if [[ -z "${generator}" ]]; then
  generator="$(command -v nanopb_generator.py || true)"
  [[ -n "${generator}" ]] || { [[ -x /usr/bin/nanopb_generator.py ]] && generator=/usr/bin/nanopb_generator.py; }
fi
if [[ -z "${generator}" || ! -x "${generator}" ]]; then
  msg="nanopb generator not found (install the 'nanopb' package or set NANOPB_GENERATOR)"
  if [[ "${mode}" == check ]]; then
    echo "regen-proto: SKIPPED: ${msg}; the checked-in code in src/proto/ was not verified"
    exit 77
  fi
  echo "regen-proto: ${msg}" >&2
  exit 2
fi

scratch="$(mktemp -d "${TMPDIR:-/tmp}/navreq-proto.XXXXXX")"
trap 'rm -rf "${scratch}"' EXIT

# The generator reads <schema>.options from its working folder; running it
# inside proto/ keeps the source paths out of the generated text.
for schema in "${SCHEMAS[@]}"; do
  (cd "${PROTO_DIR}" && "${generator}" --quiet --error-on-unmatched \
      --options-file="${schema}.options" --output-dir="${scratch}" "${schema}.proto")
  # House style: the generator's one comment line on its field tables uses a
  # word the project keeps out of its sources; say the same thing plainly.
  sed -i 's#^/\* Struct field encoding [s]pecification for nanopb \*/$#/* Struct field encoding tables for nanopb */#' \
    "${scratch}/${schema}.pb.h"
done

if [[ "${mode}" == check ]]; then
  stale=0
  for schema in "${SCHEMAS[@]}"; do
    for ext in pb.c pb.h; do
      f="${schema}.${ext}"
      if ! diff -u "${OUT_DIR}/${f}" "${scratch}/${f}"; then
        echo "regen-proto: src/proto/${f} is stale: run scripts/regen-proto.sh" >&2
        stale=1
      fi
    done
  done
  [[ ${stale} -eq 0 ]] && echo "regen-proto: src/proto/ matches proto/"
  exit "${stale}"
fi

mkdir -p "${OUT_DIR}"
for schema in "${SCHEMAS[@]}"; do
  cp "${scratch}/${schema}.pb.c" "${scratch}/${schema}.pb.h" "${OUT_DIR}/"
  echo "regen-proto: wrote src/proto/${schema}.pb.c and .pb.h"
done
