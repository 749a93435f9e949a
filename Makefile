# Two commands do everything on a fresh Debian machine:
#   make demo   build and run the main example
#   make test   build and run every test (plain, then under ASan + UBSan)
.PHONY: all deps demo test test-dev test-asan test-tsan bench fuzz cross-test format clean

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

test: test-dev test-asan test-tsan

test-dev: deps
	cmake --preset dev
	cmake --build --preset dev
	ctest --preset dev

test-asan: deps
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

test-tsan: deps
	cmake --preset tsan
	cmake --build --preset tsan
	ctest --preset tsan --no-tests=ignore

# libFuzzer targets, each for FUZZ_SECONDS (default 60); FUZZ_TARGETS picks some.
fuzz: deps
	@scripts/fuzz.sh

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf build
