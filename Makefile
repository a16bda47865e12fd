# The project's commands. Each installs what it needs first (Debian packages).
#   make test      build with warnings as errors and run every test
#   make demo      the main job on embedded defaults
#   make bench     build and run the benchmarks
#   make windows   cross-compile for 64-bit Windows with MinGW-w64
#   make windows-test  run the Windows checks of that build under Wine
#   make fuzz      run the decoder's fuzz target (FUZZ_SECONDS, default 60)
#   make coverage  run every test in a coverage build and print line coverage per library

BUILD        ?= build
BUILD_BENCH  ?= build-bench
BUILD_WIN    ?= build-windows
BUILD_FUZZ   ?= build-fuzz
BUILD_COV    ?= build-coverage
BUILD_TYPE   ?= RelWithDebInfo
JOBS         ?= $(shell nproc)
FUZZ_SECONDS ?= 60
CMAKE_GEN    := -G Ninja

.PHONY: all deps test build demo bench windows windows-test fuzz coverage clean format

all: build

deps:
	@scripts/install-deps.sh linux

build: deps
	cmake -S . -B $(BUILD) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DQUILLORN_WERROR=ON
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

demo: build
	scripts/demo.sh $(BUILD)/apps/quillorn

bench: deps
	cmake -S . -B $(BUILD_BENCH) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release -DQUILLORN_BENCH=ON -DQUILLORN_WERROR=ON
	cmake --build $(BUILD_BENCH) -j $(JOBS) --target run_benchmarks

windows:
	@scripts/install-deps.sh windows
	@scripts/fetch-windows-sources.sh $(BUILD_WIN)/third_party
	cmake -S . -B $(BUILD_WIN) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release \
	  -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DQUILLORN_PORTABLE_ONLY=ON \
	  -DQUILLORN_WIN_SOURCES=$(abspath $(BUILD_WIN))/third_party -DQUILLORN_WERROR=ON
	cmake --build $(BUILD_WIN) -j $(JOBS)

windows-test: windows
	@scripts/install-deps.sh wine
	win/tests/run-under-wine.sh $(BUILD_WIN)

fuzz:
	@scripts/install-deps.sh linux fuzz
	cmake -S . -B $(BUILD_FUZZ) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUILLORN_FUZZ=ON \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DQUILLORN_WERROR=OFF
	cmake --build $(BUILD_FUZZ) -j $(JOBS) --target codec_fuzz
	mkdir -p $(BUILD_FUZZ)/corpus-work
	$(BUILD_FUZZ)/transport/codec_fuzz -max_total_time=$(FUZZ_SECONDS) -max_len=4096 \
	  $(BUILD_FUZZ)/corpus-work fuzz/corpus/codec

# Counts from an earlier run are removed first, so the figures are this run's alone.
coverage:
	@scripts/install-deps.sh linux coverage
	cmake -S . -B $(BUILD_COV) $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DQUILLORN_COVERAGE=ON -DQUILLORN_WERROR=ON
	cmake --build $(BUILD_COV) -j $(JOBS)
	find $(BUILD_COV) -name '*.gcda' -delete
	ctest --test-dir $(BUILD_COV) --output-on-failure -j $(JOBS)
	gcovr -r . $(BUILD_COV) -j $(JOBS) --exclude-unreachable-branches \
	  -e '.*_test\.cpp' -e '.*_for_test\.h' -e '.*_test_support\.h' -e 'tests/' -e 'bench/' -e 'fuzz/' \
	  -e 'build[^/]*/' --json-summary $(BUILD_COV)/coverage.json
	scripts/coverage-report.py $(BUILD_COV)/coverage.json | tee $(BUILD_COV)/coverage.txt

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(BUILD_BENCH) $(BUILD_WIN) $(BUILD_FUZZ) $(BUILD_COV)
