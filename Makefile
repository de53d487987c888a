# One word each: see the README. CMake does the work; BUILD names another build directory.
BUILD ?= build
export JOBS ?= $(shell nproc)
MAKEFLAGS += --no-print-directory
# "make -j demo" is to install first and build then; JOBS says how many jobs a build has.
.NOTPARALLEL:

WITHOUT_TESTS = -DRAVELO_TESTS=OFF -DRAVELO_BENCH=OFF
WITH_TESTS = -DRAVELO_TESTS=ON -DRAVELO_BENCH=ON
BUILD_IN = @packaging/build.sh
INSTALL = @packaging/install-dependencies.sh
TEST_IN = @packaging/test.sh

.PHONY: all build deps demo test test-long test-build check asan clang m32 fuzz bench soak format install package clean

all: build

build:
	$(BUILD_IN) "$(BUILD)" $(WITHOUT_TESTS)

# Install with apt-get what of the build's needs is missing; the targets below do so by themselves.
deps:
	$(INSTALL)

# Governs the recorded workload in examples/orders and shows what is done about it.
demo: deps build
	@examples/demo.sh "$(BUILD)"

test-build:
	$(INSTALL) tests
	$(BUILD_IN) "$(BUILD)" $(WITH_TESTS)

test: test-build
	$(TEST_IN) "$(BUILD)" -LE long

# The rounds that take long: races, restarts, sweeps in full, the model, the package.
test-long: test-build
	$(TEST_IN) "$(BUILD)" -L long

# What a change has to pass besides the tests: layout, linter, scripts, warnings of both compilers.
check:
	$(INSTALL) tests lint
	@.ci/check.sh

# Presets of CMakePresets.json: the tests under AddressSanitizer (with leak checking) and UBSan,
# built by clang++, and in a 32-bit build.
asan clang m32:
	$(INSTALL) $(if $(filter m32,$@),m32 tests,$(if $(filter clang,$@),clang) tests)
	$(BUILD_IN) build-$@ --preset $@
	$(TEST_IN) build-$@ -LE long

# Each fuzz target for FUZZ_SECONDS, one after the other.
FUZZ_SECONDS ?= 60
fuzz:
	$(INSTALL) fuzz
	$(BUILD_IN) build-fuzz --preset fuzz
	@fuzz/run.sh build-fuzz $(FUZZ_SECONDS)

# The benchmarks; BENCH_FLAGS are Google Benchmark's.
bench:
	$(INSTALL) tests
	$(BUILD_IN) build-release --preset release
	@build-release/ravelo_bench $(BENCH_FLAGS)

# As many passes as PASSES says, a million when left out, watching memory and open files.
soak:
	$(INSTALL) tests
	$(BUILD_IN) build-release --preset release
	@build-release/ravelo_soak $(PASSES)

format:
	$(INSTALL) lint
	@git ls-files -z -co --exclude-standard '*.cpp' '*.h' '*.c' | xargs -0 clang-format-19 -i

# DESTDIR puts the files below a folder; PREFIX is where they will be used.
PREFIX ?= /usr/local
install: build
	@umask 022 && cmake --install "$(BUILD)" --prefix "$(PREFIX)"
	@[ "$$(id -u)" != 0 ] || chown -Rh --reference=. "$(BUILD)" # so that its owner can go on

# build-release/*.deb, with everything in it.
package:
	$(INSTALL) package
	@rm -f build-release/*.deb
	$(BUILD_IN) build-release --preset release -DRAVELO_BENCH=OFF -DRAVELO_WERROR=OFF -DRAVELO_COMPLETE=ON
	@umask 022 && cd build-release && cpack

clean:
	@rm -rf "$(BUILD)" build-release build-asan build-clang build-fuzz build-m32 build-check-*
