#!/usr/bin/env bash
# Cross-build the project for other CPUs and run its tests under qemu-user.
#
#   scripts/cross-test.sh [ARCH...] [-- EXTRA_CMAKE_ARGS...]
#       ARCH: arm64 (aarch64, little-endian) and/or s390x (big-endian);
#       default: both.
#
# For each ARCH: scripts/prepare-cross.sh ARCH, then configure
# build/cross/<arch>/build with cmake/toolchains/<triplet>.cmake (Release,
# benchmarks and fuzzers off), build with -j2 and run ctest through the
# emulator. Logs: build/cross/<arch>/logs/. Ends with one verdict line per
# ARCH; the exit status is non-zero when any ARCH failed.
#
# Environment: NAVREQ_CROSS_JOBS (build jobs, default 2), CTEST_PARALLEL_LEVEL
# (ctest's own), CMAKE_GENERATOR (cmake's own).
set -euo pipefail

SCRIPT_DIR="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
REPO_ROOT="$(cd "${SCRIPT_DIR}/.." && pwd)"
JOBS="${NAVREQ_CROSS_JOBS:-2}"

die() { printf '[cross-test] ERROR: %s\n' "$*" >&2; exit 2; }
say() { printf '\n[cross-test] ==== %s\n' "$*"; }

triplet_of() {
  case "$1" in
    arm64) echo aarch64-linux-gnu ;;
    s390x) echo s390x-linux-gnu ;;
    *) return 1 ;;
  esac
}

ARCHES=()
EXTRA=()
while [[ $# -gt 0 ]]; do
  case "$1" in
    -h|--help) sed -n '2,15p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'; exit 0 ;;
    --) shift; EXTRA=("$@"); break ;;
    *) triplet_of "$1" >/dev/null || die "unknown architecture '$1' (supported: arm64 s390x)"
       ARCHES+=("$1"); shift ;;
  esac
done
[[ ${#ARCHES[@]} -gt 0 ]] || ARCHES=(arm64 s390x)

cd "${REPO_ROOT}"
[[ -f CMakeLists.txt ]] || die "no CMakeLists.txt at ${REPO_ROOT}"

now() { date +%s.%N; }
secs() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.1fs", b - a }'; }

# run LOG CMD...: show the output and keep it in LOG
run() {
  local log="$1"; shift
  printf '[cross-test] $ %s\n' "$*" | tee "${log}"
  "$@" 2>&1 | tee -a "${log}"
}

VERDICTS=()
FAILED=0
for arch in "${ARCHES[@]}"; do
  triplet="$(triplet_of "${arch}")"
  toolchain="${REPO_ROOT}/cmake/toolchains/${triplet}.cmake"
  bdir="build/cross/${arch}/build"
  logs="${REPO_ROOT}/build/cross/${arch}/logs"
  mkdir -p "${logs}"
  stage=prepare; t_prep=-; t_build=-; t_test=-

  say "${arch}: prepare"
  t0="$(now)"
  if "${SCRIPT_DIR}/prepare-cross.sh" "${arch}"; then
    t1="$(now)"; t_prep="$(secs "$t0" "$t1")"
    stage=configure
    say "${arch}: configure + build"
    if run "${logs}/configure.log" cmake -S . -B "${bdir}" \
          -DCMAKE_TOOLCHAIN_FILE="${toolchain}" \
          -DNAVREQ_TARGET_ROOT="${REPO_ROOT}/build/cross/${arch}/root" \
          -DCMAKE_BUILD_TYPE=Release \
          -DNAVREQ_BUILD_BENCHMARKS=OFF \
          -DNAVREQ_BUILD_FUZZERS=OFF \
          "${EXTRA[@]}" \
       && { stage=build; run "${logs}/build.log" cmake --build "${bdir}" -j"${JOBS}"; }; then
      t2="$(now)"; t_build="$(secs "$t1" "$t2")"
      stage=test
      say "${arch}: test (qemu)"
      if run "${logs}/test.log" ctest --test-dir "${bdir}" --output-on-failure --no-tests=error; then
        stage=ok
      fi
      t_test="$(secs "$t2" "$(now)")"
    else
      t_build="$(secs "$t1" "$(now)")"
    fi
  fi

  timing="prepare ${t_prep}, configure+build ${t_build}, test ${t_test}"
  if [[ "${stage}" == ok ]]; then
    summary="$(grep -E 'tests passed' "${logs}/test.log" | tail -1 || true)"
    VERDICTS+=("cross-test ${arch} (${triplet}): PASS - ${summary:-tests passed} (${timing})")
  else
    FAILED=1
    VERDICTS+=("cross-test ${arch} (${triplet}): FAIL at ${stage} (${timing}; logs: build/cross/${arch}/logs/)")
  fi
done

printf '\n'
printf '%s\n' "${VERDICTS[@]}"
exit "${FAILED}"
