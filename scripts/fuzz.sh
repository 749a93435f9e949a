#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, ASan + UBSan) and runs each in turn.
#
#   scripts/fuzz.sh                     every target, FUZZ_SECONDS (default 60) each
#   FUZZ_SECONDS=600 scripts/fuzz.sh    longer runs
#   FUZZ_TARGETS="kse_reader kse_writer" scripts/fuzz.sh
#
# Environment:
#   FUZZ_SECONDS     seconds per target (default 60)
#   FUZZ_TARGETS     space-separated target names (default: all the build makes)
#   FUZZ_BUILD_DIR   build folder (default build/fuzz)
#   FUZZ_JOBS        build jobs (default 2)
#
# The committed seeds (fuzz/corpus/<target>/) and crash reproducers
# (fuzz/regressions/<target>/) are read, never written: what a run discovers
# goes to $FUZZ_BUILD_DIR/fuzz-corpus/<target>/ and is reused by the next run.
# A crash, leak, timeout or broken invariant leaves its input in
# $FUZZ_BUILD_DIR/fuzz-artifacts/<target>/ and makes the script fail; copy the
# input into fuzz/regressions/<target>/ so that every test run replays it.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${FUZZ_SECONDS:-60}
build=${FUZZ_BUILD_DIR:-build/fuzz}
jobs=${FUZZ_JOBS:-2}

if ! [[ "$seconds" =~ ^[0-9]+$ ]] || [ "$seconds" -lt 1 ]; then
  echo "fuzz.sh: FUZZ_SECONDS must be a whole number of seconds, got '$seconds'" >&2
  exit 64
fi
for tool in clang clang++ cmake; do
  if ! command -v "$tool" >/dev/null; then
    echo "fuzz.sh: $tool is missing (scripts/install-deps.sh installs it)" >&2
    exit 69
  fi
done

echo "fuzz.sh: building the fuzz targets in $build"
mkdir -p "$build"
cmake -S . -B "$build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNAVREQ_BUILD_FUZZERS=ON -DNAVREQ_BUILD_TESTS=OFF \
  -DNAVREQ_BUILD_EXAMPLES=OFF -DNAVREQ_WERROR=ON >"$build/configure.log" 2>&1 ||
  { cat "$build/configure.log" >&2; exit 1; }
cmake --build "$build" --target fuzzers -j "$jobs" >"$build/build.log" 2>&1 ||
  { tail -n 60 "$build/build.log" >&2; exit 1; }

IFS=';' read -r -a available <"$build/fuzz/fuzz_targets.txt"
if [ -n "${FUZZ_TARGETS:-}" ]; then
  read -r -a targets <<<"$FUZZ_TARGETS"
  for t in "${targets[@]}"; do
    if ! [[ " ${available[*]} " == *" $t "* ]]; then
      echo "fuzz.sh: unknown target '$t' (this build has: ${available[*]})" >&2
      exit 64
    fi
  done
else
  targets=("${available[@]}")
fi

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

failed=()
summary=()
for t in "${targets[@]}"; do
  work="$build/fuzz-corpus/$t"
  artifacts="$build/fuzz-artifacts/$t"
  log="$build/fuzz-logs/$t.log"
  mkdir -p "$work" "$artifacts" "$(dirname "$log")"
  inputs=("$work" "fuzz/corpus/$t")
  [ -d "fuzz/regressions/$t" ] && inputs+=("fuzz/regressions/$t")
  echo "fuzz.sh: fuzz_$t for ${seconds}s (log: $log)"
  status=0
  "$build/fuzz/fuzz_$t" -max_total_time="$seconds" -print_final_stats=1 -close_fd_mask=1 \
    -rss_limit_mb=4096 -timeout=60 -artifact_prefix="$artifacts/" "${inputs[@]}" >"$log" 2>&1 || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  seeds=$(find "fuzz/corpus/$t" -type f | wc -l)
  found=$(find "$work" -type f | wc -l)
  line="fuzz_$t: ${runs:-?} executions in ${seconds}s; seed corpus $seeds files, discovered corpus $found files"
  if [ "$status" -ne 0 ]; then
    line="$line; FAILED (exit $status), see $log and $artifacts/"
    failed+=("$t")
    grep -m 5 -E "ERROR|invariant broken|runtime error|Test unit written" "$log" >&2 || true
  fi
  summary+=("$line")
done

echo
echo "fuzz.sh: summary"
printf '  %s\n' "${summary[@]}"
if [ "${#failed[@]}" -ne 0 ]; then
  echo "fuzz.sh: ${#failed[@]} target(s) failed: ${failed[*]}" >&2
  echo "fuzz.sh: keep each failing input in fuzz/regressions/<target>/ once understood" >&2
  exit 1
fi
