#!/usr/bin/env bash
# Installs the Debian packages navreq needs, only those missing. Silent when
# everything is there; runs `apt-get update` only when something must be installed.
#
#   scripts/install-deps.sh [GROUP...]   groups: build (default), bench, cross, inspector, python, capture
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
# The Python package (make python, make test-python): Debian's Python 3.11 and
# its own tools only.
python_pkgs=(
  python3-dev python3-venv python3-pip python3-setuptools python3-wheel  # building and installing the package
  pybind11-dev python3-pybind11                                          # the extension's bindings
  python3-pytest python3-hypothesis mypy                                 # its tests and type checks
  python3-protobuf protobuf-compiler                                     # make bench-python's reference
)
inspector_pkgs=(
  emscripten                  # the reader in WebAssembly (brings clang, lld, binaryen, node-acorn)
  chromium                    # the inspector's browser tests, headless
  bzip2                       # unpacking zlib's Debian source (scripts/fetch-zlib-source.sh)
)
capture_pkgs=(
  tshark wireshark-common     # the packet dissector, headless (text2pcap builds the test captures)
  lua-cjson                   # the dissector's JSON reader (C, for tshark's Lua 5.2)
  lua-dkjson                  # its fallback (pure Lua), tested too
  python3-pytest              # the capture tests
  # The mitmproxy content view (tools/capture) reads through the Python
  # package: with the python group.
  mitmproxy                   # mitmdump, the console and mitmweb
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
    python) wanted+=("${python_pkgs[@]}") ;;
    *) echo "install-deps: unknown group '$g' (build, bench, cross, inspector, python, capture)" >&2; exit 64 ;;
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
