# Everything starts here: `make test` and `make demo` work on a fresh Debian 12 machine.
BUILD      ?= build
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

.PHONY: all deps configure build test test-asan fuzz demo screenshots install package clean

all: build

deps:
	scripts/install-deps.sh

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_ARGS)

configure: deps $(BUILD)/build.ninja

build: configure
	cmake --build $(BUILD) -j $(JOBS)

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS) --timeout 600

$(ASAN_BUILD)/build.ninja: | deps
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTINTERA_SANITIZE=ON $(CMAKE_ARGS)

test-asan: deps $(ASAN_BUILD)/build.ninja
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS) --timeout 900

# Every fuzz target under libFuzzer, AddressSanitizer and UBSan (clang), FUZZ_SECONDS each. The fuzz
# build holds the libraries the targets need and nothing else; the seed corpus is written once by
# the ordinary build's demo and emulators (fuzz/make-seeds.py).
$(FUZZ_BUILD)/build.ninja: | deps
	cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
	  -DTINTERA_FUZZ=ON $(CMAKE_ARGS)

fuzz: deps $(FUZZ_BUILD)/build.ninja $(BUILD)/build.ninja
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target tintera_fuzzers
	test -f $(FUZZ_BUILD)/seeds/.complete || \
	  cmake --build $(BUILD) -j $(JOBS) --target tintera tintera-catalog tintera-cloudsim tintera-devsim tintera-devctl
	fuzz/run-fuzzers.sh $(FUZZ_BUILD) $(BUILD) $(FUZZ_SECONDS)

demo: build
	$(BUILD)/src/cli/tintera demo

# The windows whose look changed, drawn by Xvfb, as PNGs in $(BUILD)/screenshots (not a test).
screenshots: build
	cmake --build $(BUILD) --target screenshots

install: build
	cmake --install $(BUILD)

# Debian packages in $(BUILD)/packages: tintera-sync and tintera-sync-emulators.
package: build
	cd $(BUILD) && cpack --config CPackConfig.cmake

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)
