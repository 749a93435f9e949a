#!/usr/bin/env bash
# What navreq adds to an app's program, measured on aarch64 (make bench-size).
#
#   scripts/bench-size.sh [--plain]
#
# Builds the size probes of bench/size with the cross g++ at -Os (preset
# size-aarch64: MinSizeRel, NAVREQ_SIZE_OPTIMIZED=ON) and prints, for each
# stripped probe, its sections and what it adds to the empty baseline program
# built the same way. --plain measures MinSizeRel without the size
# configuration instead (build/size-aarch64-plain), the figure to compare with.
#
# Counted: text (code, read-only data, unwind tables, symbol and relocation
# tables of the dynamic link: the read-only segment) + data (initialised
# writable data, GOT, .data.rel.ro), as binutils' size reports them: the bytes
# the program file grows by. bss takes no file bytes and is shown apart.
#
# Ends with a `size summary:` block (bytes; the last line is a ratio):
#   entry_functions_bytes       the six entry functions
#   read_only_bytes             DecodeRequest alone (links navreq::read only)
#   route_body_writer_bytes     SerializeKSE of a CarRouteReq alone
#   nanopb_route_body_bytes     nanopb's encoder of the benchmarks' mirror of the same body
#   route_body_writer_vs_nanopb the two above, divided
set -euo pipefail

SCRIPT_DIR="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
REPO_ROOT="$(cd "${SCRIPT_DIR}/.." && pwd)"
cd "${REPO_ROOT}"

BDIR=build/size-aarch64
EXTRA=()
case "${1:-}" in
  "") ;;
  --plain) BDIR=build/size-aarch64-plain; EXTRA=(-B "${BDIR}" -DNAVREQ_SIZE_OPTIMIZED=OFF) ;;
  -h|--help) sed -n '2,22p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'; exit 0 ;;
  *) echo "bench-size: unknown argument '$1' (see --help)" >&2; exit 2 ;;
esac

NAVREQ_CROSS_QUIET=1 scripts/prepare-cross.sh arm64
cmake --preset size-aarch64 "${EXTRA[@]}" >/dev/null
cmake --build "${BDIR}" -j2 --target navreq_size_probes

SIZE_TOOL=aarch64-linux-gnu-size
command -v "${SIZE_TOOL}" >/dev/null || { echo "bench-size: ${SIZE_TOOL} not found" >&2; exit 2; }

# text data bss of a probe, from binutils' Berkeley format.
sections_of() {
  "${SIZE_TOOL}" -B "${BDIR}/bench/size/navreq_size_$1.stripped" | awk 'NR == 2 { print $1, $2, $3 }'
}

read -r base_text base_data base_bss <<<"$(sections_of baseline)"
printf '\naarch64, %s (%s)\n' "$(awk -F= '/^CMAKE_BUILD_TYPE:/ { print $2 }' "${BDIR}/CMakeCache.txt")" \
  "$( [[ ${BDIR} == *plain ]] && echo "plain" || echo "NAVREQ_SIZE_OPTIMIZED=ON")"
printf '%-20s %10s %10s %10s %12s %12s %12s\n' probe text data bss added_text added_data added_bytes
printf '%-20s %10d %10d %10d\n' baseline "${base_text}" "${base_data}" "${base_bss}"
declare -A ADDED
for probe in entry_functions read_only route_body_writer nanopb_route_body; do
  read -r text data bss <<<"$(sections_of "${probe}")"
  added_text=$((text - base_text))
  added_data=$((data - base_data))
  ADDED[${probe}]=$((added_text + added_data))
  printf '%-20s %10d %10d %10d %12d %12d %12d\n' "${probe}" "${text}" "${data}" "${bss}" \
    "${added_text}" "${added_data}" "${ADDED[${probe}]}"
done

printf '\nsize summary:\n'
printf 'entry_functions_bytes %d\n' "${ADDED[entry_functions]}"
printf 'read_only_bytes %d\n' "${ADDED[read_only]}"
printf 'route_body_writer_bytes %d\n' "${ADDED[route_body_writer]}"
printf 'nanopb_route_body_bytes %d\n' "${ADDED[nanopb_route_body]}"
awk -v a="${ADDED[route_body_writer]}" -v b="${ADDED[nanopb_route_body]}" \
  'BEGIN { printf "route_body_writer_vs_nanopb %.3f\n", a / b }'
