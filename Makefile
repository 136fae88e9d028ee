# Everything starts here: `make test` and `make demo` work on a fresh Debian 12 machine.
BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

.PHONY: all deps configure build test test-asan demo install package clean

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

demo: build
	$(BUILD)/src/cli/tintera demo

install: build
	cmake --install $(BUILD)

# Debian packages in $(BUILD)/packages: tintera-sync and tintera-sync-emulators.
package: build
	cd $(BUILD) && cpack --config CPackConfig.cmake

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
