# One word each: see the README. CMake does the work; BUILD names another build directory.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?= -DRAVELO_TESTS=OFF -DRAVELO_BENCH=OFF

.PHONY: all build deps test-deps m32-deps lint-deps demo test asan clang m32 fuzz bench soak preset lint format install package clean

all: build

build:
	@cmake -S . -B $(BUILD) $(CMAKE_FLAGS) > $(BUILD).log 2>&1 || { cat $(BUILD).log; exit 1; }
	@rm -f $(BUILD).log
	@cmake --build $(BUILD) -j $(JOBS)

# Install with apt-get what of the build's needs, or the tests' as well, is missing.
deps:
	@packaging/install-dependencies.sh

test-deps:
	@packaging/install-dependencies.sh tests

m32-deps:
	@packaging/install-dependencies.sh m32

# Governs the recorded workload in examples/orders and shows what is done about it.
demo: deps
	@$(MAKE) --no-print-directory build
	@examples/demo.sh $(BUILD)

test: test-deps
	@$(MAKE) --no-print-directory build CMAKE_FLAGS="-DRAVELO_TESTS=ON -DRAVELO_BENCH=ON"
	@ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# Presets of CMakePresets.json: the tests under AddressSanitizer (with leak checking) and UBSan,
# built by clang++, and in a 32-bit build.
asan clang: test-deps
m32: m32-deps
asan clang m32:
	@$(MAKE) --no-print-directory preset PRESET=$@
	@ctest --preset $@ -j $(JOBS)

# Each fuzz target for FUZZ_SECONDS, one after the other.
FUZZ_SECONDS ?= 60
fuzz: test-deps
	@packaging/install-dependencies.sh fuzz
	@$(MAKE) --no-print-directory preset PRESET=fuzz
	@fuzz/run.sh build-fuzz $(FUZZ_SECONDS)

# The benchmarks; BENCH_FLAGS are Google Benchmark's.
bench: test-deps
	@$(MAKE) --no-print-directory preset PRESET=release
	@build-release/ravelo_bench $(BENCH_FLAGS)

# As many passes as PASSES says, a million when left out, watching memory and open files.
soak: test-deps
	@$(MAKE) --no-print-directory preset PRESET=release
	@build-release/ravelo_soak $(PASSES)

preset:
	@cmake --preset $(PRESET) > build-$(PRESET).log 2>&1 || { cat build-$(PRESET).log; exit 1; }
	@rm -f build-$(PRESET).log
	@cmake --build --preset $(PRESET) -j $(JOBS)

# Another version of the tools sees and lays out the same code differently.
LLVM := 14
CLANG_FORMAT ?= clang-format-$(LLVM)
CLANG_TIDY ?= clang-tidy-$(LLVM)
pinned = @$(1) --version 2>&1 | grep -q 'version $(LLVM)\.' || \
	{ echo "$(1) is not version $(LLVM), which this tree is laid out with" >&2; exit 1; }

lint-deps:
	@packaging/install-dependencies.sh lint

lint: lint-deps
	$(call pinned,$(CLANG_FORMAT))
	$(call pinned,$(CLANG_TIDY))
	@$(MAKE) --no-print-directory build CMAKE_FLAGS="-DRAVELO_TESTS=ON -DRAVELO_BENCH=ON"
	@git ls-files -co --exclude-standard '*.cpp' '*.h' | xargs $(CLANG_FORMAT) --dry-run --Werror
	@git ls-files -co --exclude-standard '*.cpp' | xargs -P $(JOBS) -n 4 $(CLANG_TIDY) --quiet -p $(BUILD)

format: lint-deps
	$(call pinned,$(CLANG_FORMAT))
	@git ls-files -co --exclude-standard '*.cpp' '*.h' | xargs $(CLANG_FORMAT) -i

# DESTDIR puts the files below a folder; PREFIX is where they will be used.
PREFIX ?= /usr/local
install: build
	@cmake --install $(BUILD) --prefix $(PREFIX)

# build-release/*.deb
package: deps
	@packaging/install-dependencies.sh package
	@cmake --preset release -DRAVELO_BENCH=OFF > build-release.log 2>&1 || { cat build-release.log; exit 1; }
	@rm -f build-release.log build-release/*.deb
	@cmake --build --preset release -j $(JOBS)
	@cd build-release && cpack

clean:
	@rm -rf build build-release build-asan build-clang build-fuzz build-m32
