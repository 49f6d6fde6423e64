# Tovo: one command per job. Every target installs what it needs first.
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
CMAKE_FLAGS ?=
JOBS ?= $(shell nproc)

.PHONY: setup configure build test unit demo run package bench sanitize fuzz format clean

setup:
	@scripts/setup

configure: setup
	@cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

# Every suite: unit, integration (real processes, mounts, daemons) and gui (offscreen).
test: build
	@ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS)

unit: build
	@ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS) -L unit

demo: build
	@scripts/demo --demo-tovoable

run: build
	@scripts/demo

# A Debian package of what the build folder holds: the window, tovo, their files.
package: build
	@cd $(BUILD_DIR) && cpack -G DEB

bench: setup
	@cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release -DTOVO_BUILD_APP=ON -DTOVO_BUILD_TESTS=OFF >/dev/null
	@cmake --build build-release -j $(JOBS)
	@for b in build-release/Benchmarks/*Benchmark build-release/Benchmarks/startup/StartupBenchmark; do echo "== $$b"; $$b; done

# Core and system suites under AddressSanitizer and UndefinedBehaviorSanitizer.
sanitize: setup
	@cmake -S . -B build-sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTOVO_SANITIZE=ON -DTOVO_BUILD_APP=OFF -DTOVO_BUILD_BENCHMARKS=OFF >/dev/null
	@cmake --build build-sanitize -j $(JOBS)
	@ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --test-dir build-sanitize --output-on-failure -j $(JOBS)

FUZZ_SECONDS ?= 60
fuzz: setup
	@cmake -S . -B build-fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTOVO_FUZZ=ON >/dev/null
	@cmake --build build-fuzz -j $(JOBS)
	@scripts/fuzz $(FUZZ_SECONDS)

format:
	@git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

clean:
	@rm -rf $(BUILD_DIR) build-release build-sanitize build-fuzz
