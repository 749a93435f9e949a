# Two commands do everything on a fresh Debian machine:
#   make demo   build and run the main example
#   make test   build and run every test: the API reference (Doxygen, no
#               warning allowed), plain (zlib, then libdeflate), under ASan +
#               UBSan, under TSan, cross-built for aarch64 and s390x, and the
#               browser inspector in headless Chromium, the Python package, and
#               the capture tools (mitmproxy view, HAR, Wireshark dissector)
#
#   make python        the Python package `navreq` (python/) installed into the
#                      venv build/venv (Debian's /usr/bin/python3, its system
#                      packages visible): build/venv/bin/python -c 'import navreq'.
#                      Its extension is built in build/release, beside make demo's.
#   make test-python   its pytest suite (the README's examples and parity with the
#                      tool included) and mypy --strict on the suite and the package
#   make bench-python  what reading the route request costs from Python: decode +
#                      to_dict beside python3-protobuf parsing the body's mirror +
#                      MessageToDict, and beside the C++ DecodeRequest alone
#                      (navreq_bench); prints the table and the two ratios
#   make capture       what QA needs to read captured requests: mitmproxy and tshark
#                      from Debian, the Python package, the Wireshark dissector
#   make test-capture  the mitmproxy view through a real mitmdump, the dissector
#                      under tshark, and the three compared on the same requests
.PHONY: all deps demo docs test test-dev test-libdeflate test-asan test-tsan test-inspector inspector open-inspector \
	python test-python bench-python capture test-capture wireshark test-wireshark test-mitmproxy mitmproxy-screenshot \
	bench bench-callgrind bench-size fuzz cross-test format clean

all: test

deps:
	@scripts/install-deps.sh build

# Encodes the example route search with a pinned clock and shows its decoded tree.
NAVREQ := build/release/tools/navreq/navreq
demo: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target navreq_cli >/dev/null
	$(NAVREQ) encode route examples/route.json --now-ms 1700000000000 -o build/release/route.bin
	$(NAVREQ) dump build/release/route.bin

test: docs test-dev test-libdeflate test-asan test-tsan cross-test test-inspector test-python test-capture

# The Python package: built through the release preset (python/setup.py) and
# installed with pip, without build isolation or an index (everything comes
# from Debian).
VENV := build/venv
python:
	@scripts/install-deps.sh build python
	@test -x $(VENV)/bin/python || /usr/bin/python3 -m venv --system-site-packages $(VENV)
	$(VENV)/bin/python -m pip install --quiet --no-build-isolation --no-index --no-deps ./python

# Hypothesis runs derandomized (its "ci" profile, python/tests/conftest.py).
# The README's Python examples run as tests too, from the repository's top;
# the tool of the same build tree is the reference of the parity tests.
test-python: python
	cmake --build --preset release --target navreq_cli >/dev/null
	scripts/readme-python-examples.sh build/python-examples
	NAVREQ_TOOL=$(NAVREQ) HYPOTHESIS_PROFILE=ci $(VENV)/bin/python -m pytest -q -p no:cacheprovider python/tests build/python-examples
	$(VENV)/bin/python -m mypy --strict --no-incremental --cache-dir=/dev/null python/tests build/python-examples
	cd $(VENV)/lib/python3.11/site-packages && $(CURDIR)/$(VENV)/bin/python -m mypy --strict --no-incremental --cache-dir=/dev/null -p navreq

# The public headers' reference (Doxygen, docs/Doxyfile): build/docs/html.
# Any warning fails, an undocumented public declaration included.
docs: deps
	@mkdir -p build/docs
	@rm -rf build/docs/html
	doxygen docs/Doxyfile
	@echo "docs: build/docs/html/index.html"

test-dev: deps
	cmake --preset dev
	cmake --build --preset dev
	ctest --preset dev

# The plain suite once more with the other compressor: no test may depend on
# zlib's exact output.
test-libdeflate: deps
	cmake --preset libdeflate
	cmake --build --preset libdeflate
	ctest --preset libdeflate

test-asan: deps
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

test-tsan: deps
	cmake --preset tsan
	cmake --build --preset tsan
	ctest --preset tsan --no-tests=error

# The whole suite built for aarch64 (little-endian, like the phones) and s390x
# (big-endian), run under qemu-user: the bytes must not depend on the host.
cross-test: deps
	scripts/cross-test.sh arm64 s390x

# The browser inspector: the library's reader and the tool's walker and diff
# in WebAssembly (emscripten), inlined with the page into one HTML file that
# works straight from disk.
INSPECTOR_PAGE := build/inspector/navreq-inspector.html
inspector:
	@scripts/install-deps.sh build inspector
	@scripts/fetch-zlib-source.sh build/inspector-deps
	cmake --preset inspector
	cmake --build --preset inspector
	@echo "inspector: $(INSPECTOR_PAGE) ($$(stat -c %s $(INSPECTOR_PAGE)) bytes)"

# Builds the inspector and opens it in the desktop's browser (or says where it is).
open-inspector: inspector
	@if command -v xdg-open >/dev/null 2>&1; then xdg-open $(INSPECTOR_PAGE); \
	else echo "open file://$(CURDIR)/$(INSPECTOR_PAGE) in a browser"; fi

# The inspector in headless Chromium, checked against the host tool's dump and
# diff of every example request (scripts/test-inspector.sh).
test-inspector: inspector
	cmake --preset dev
	cmake --build --preset dev --target navreq_cli
	ctest --preset inspector

# The packet dissector for Wireshark / tshark: build/wireshark/navreq.lua, its
# fields written from the record declarations, reading every body through the
# release navreq tool (whose path it keeps).
WIRESHARK_LUA := build/wireshark/navreq.lua
wireshark:
	@scripts/install-deps.sh build capture
	cmake --preset release
	cmake --build --preset release --target navreq_wireshark
	@mkdir -p build/wireshark
	cp build/release/wireshark/navreq.lua $(WIRESHARK_LUA)
	@echo "wireshark: wireshark -X lua_script:$(WIRESHARK_LUA)"

# Everything for reading captured requests: mitmproxy and tshark from Debian,
# the Python package (which the mitmproxy view reads through) and the dissector.
capture: python wireshark
	@echo "capture: mitmproxy -s tools/capture/navreq_mitmproxy.py (PYTHONPATH=$(VENV)/lib/python3.11/site-packages);"
	@echo "         wireshark -X lua_script:$(WIRESHARK_LUA); navreq dump FILE.har"

# The capture tests (tests/capture) read through the release tool and package:
# the mitmproxy view through a real mitmdump and on mitmproxy's test flows, the
# dissector under tshark, and the view, tshark and dump compared field by field.
CAPTURE_ENV = NAVREQ_TOOL=$(CURDIR)/$(NAVREQ) NAVREQ_LUA=$(CURDIR)/$(WIRESHARK_LUA)
CAPTURE_PYTEST = $(CAPTURE_ENV) $(VENV)/bin/python -m pytest -q -p no:cacheprovider
test-capture: capture
	cmake --build --preset release --target navreq_cli >/dev/null
	$(CAPTURE_PYTEST) tests/capture
	$(VENV)/bin/python -m mypy --no-incremental --cache-dir=/dev/null --ignore-missing-imports \
	  tools/capture tests/capture scripts/mitmproxy-screenshot.py

# One tool of the three at a time.
test-wireshark: capture
	$(CAPTURE_PYTEST) tests/capture/test_wireshark.py
test-mitmproxy: capture
	$(CAPTURE_PYTEST) tests/capture/test_mitmproxy.py

# docs/images/mitmproxy-view.png: mitmproxy's console showing a request through the view.
mitmproxy-screenshot: python
	@scripts/install-deps.sh build capture
	$(VENV)/bin/python scripts/mitmproxy-screenshot.py

# Benchmarks: time, allocations and size of every request, the route body
# beside libprotobuf and nanopb, the compressors, scaling; ends with a summary.
# GZIP_BACKEND=libdeflate measures the build option instead of the zlib default.
GZIP_BACKEND ?= zlib
BENCH_CONFIGURE = cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DNAVREQ_WERROR=ON \
	  -DNAVREQ_BUILD_BENCHMARKS=ON -DNAVREQ_GZIP_BACKEND=$(GZIP_BACKEND) \
	  -DNAVREQ_BUILD_TESTS=OFF -DNAVREQ_BUILD_TOOLS=OFF -DNAVREQ_BUILD_EXAMPLES=OFF
bench:
	@scripts/install-deps.sh build bench
	$(BENCH_CONFIGURE)
	cmake --build build/bench -j2 --target navreq_bench
	build/bench/bench/navreq_bench --benchmark_repetitions=5 --benchmark_min_time=0.1 \
	  --benchmark_report_aggregates_only=true \
	  --benchmark_out=build/bench/bench-results.json --benchmark_out_format=json

# Not a test: figures, whatever they are (scripts/bench-python.py). The C++
# side is the bench configuration's navreq_bench, built as `make bench` builds it.
bench-python: python
	@scripts/install-deps.sh build bench
	$(BENCH_CONFIGURE)
	cmake --build build/bench -j2 --target navreq_bench
	$(VENV)/bin/python scripts/bench-python.py --bench build/bench/bench/navreq_bench

# The same figures from instruction counts (repeatable on a busy machine).
bench-callgrind:
	@scripts/install-deps.sh build bench
	$(BENCH_CONFIGURE)
	cmake --build build/bench -j2 --target navreq_bench
	scripts/bench-callgrind.py --bench build/bench/bench/navreq_bench

# What navreq adds to a stripped aarch64 program at -Os in the size
# configuration (preset size-aarch64), each figure beside an empty program
# built the same way; ends with a summary. scripts/bench-size.sh --plain
# measures MinSizeRel without the size configuration.
bench-size:
	scripts/bench-size.sh

# libFuzzer targets, each for FUZZ_SECONDS (default 60); FUZZ_TARGETS picks some.
fuzz: deps
	@scripts/fuzz.sh

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
