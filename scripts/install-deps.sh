#!/usr/bin/env bash
# Installs the Debian packages navreq needs, only those missing. Silent when
# everything is there; runs `apt-get update` only when something must be installed.
#
#   scripts/install-deps.sh [GROUP...]   groups: build (default), bench, cross, inspector, capture
set -euo pipefail

build_pkgs=(
  cmake make g++ pkg-config   # toolchain
  zlib1g-dev                  # gzip of request bodies
  libdeflate-dev              # the other compressor (make test-libdeflate)
  nanopb libnanopb-dev        # protocol-buffers stop event (generator + runtime)
  nlohmann-json3-dev          # the tool's parameter JSON
  libcli11-dev                # the tool's command line
  libgtest-dev libgmock-dev   # tests
  clang libclang-rt-14-dev    # sanitizer and fuzzer builds
  python3                     # nanopb generator, the API reference's comment filter
  doxygen                     # the API reference (make docs)
)
bench_pkgs=(libbenchmark-dev libprotobuf-dev protobuf-compiler libdeflate-dev valgrind)
cross_pkgs=(g++-aarch64-linux-gnu g++-s390x-linux-gnu qemu-user)
inspector_pkgs=(
  emscripten                  # the reader in WebAssembly (brings clang, lld, binaryen, node-acorn)
  chromium                    # the inspector's browser tests, headless
  bzip2                       # unpacking zlib's Debian source (scripts/fetch-zlib-source.sh)
)
capture_pkgs=(
  mitmproxy                   # the content view (tools/capture) and its tests: mitmdump, the console
  python3-pytest mypy         # the view's tests (tests/capture)
  tmux chromium               # the console's screenshot (scripts/mitmproxy-screenshot.py)
)
# npm installs the tests' pinned puppeteer-core; a Node.js that came with its
# own npm (the machine's) is kept.
command -v npm >/dev/null 2>&1 || inspector_pkgs+=(nodejs npm)

groups=("$@")
[ ${#groups[@]} -eq 0 ] && groups=(build)

wanted=()
for g in "${groups[@]}"; do
  case "$g" in
    build) wanted+=("${build_pkgs[@]}") ;;
    bench) wanted+=("${bench_pkgs[@]}") ;;
    cross) wanted+=("${cross_pkgs[@]}") ;;
    inspector) wanted+=("${inspector_pkgs[@]}") ;;
    capture) wanted+=("${capture_pkgs[@]}") ;;
    *) echo "install-deps: unknown group '$g' (build, bench, cross, inspector, capture)" >&2; exit 64 ;;
  esac
done

missing=()
for p in "${wanted[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
