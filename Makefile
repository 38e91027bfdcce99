# Entry points: `make run` and `make test` do the whole set-up on a fresh Debian machine.
BUILD    ?= build
ASAN     ?= build-asan
JOBS     ?= $(shell nproc)
CMAKE_GEN = cmake -G Ninja -DCMAKE_BUILD_TYPE=Release

.PHONY: all deps configure build run test bench asan fuzz screenshots package clean

all: build

deps:
	@./scripts/install-deps.sh

# Configure every time (about a second): new subsystem folders are picked up.
configure: deps
	@$(CMAKE_GEN) -S . -B $(BUILD) > $(BUILD).configure.log 2>&1 || (cat $(BUILD).configure.log; exit 1)

build: configure
	cmake --build $(BUILD) -j $(JOBS)

run: build
	$(BUILD)/bin/zyl

test: build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS) -LE long

bench: build
	cmake --build $(BUILD) --target benchmarks -j $(JOBS)
	@for b in $(BUILD)/bin/bench_*; do echo "== $$b"; $$b --benchmark_min_time=0.2; done

asan: deps
	cmake -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZYL_SANITIZE=ON -S . -B $(ASAN)
	cmake --build $(ASAN) -j $(JOBS)
	cd $(ASAN) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

fuzz: build
	cd $(BUILD) && ZYL_FUZZ_CASES=2000000 ctest --output-on-failure -R 'Fuzz|Random|Corrupt|Survives|Garbage'

# Debian package build/package/zyl_<version>_<arch>.deb (binaries, data, menu entry, guide, Python module).
package: build
	cd $(BUILD) && cpack -G DEB

screenshots: build
	./scripts/screenshots.sh $(BUILD)

clean:
	rm -rf $(BUILD) $(ASAN)
