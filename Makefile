# The project's commands. Each installs what it needs first (Debian packages).
#   make test      build with warnings as errors and run every test
#   make demo      the main job on embedded defaults
#   make bench     build and run the benchmarks
#   make windows   cross-compile for 64-bit Windows with MinGW-w64
#   make windows-test  run the Windows checks of that build under Wine
#   make fuzz      run the decoder's fuzz target (FUZZ_SECONDS, default 60)

BUILD        ?= build
BUILD_BENCH  ?= build-bench
BUILD_WIN    ?= build-windows
BUILD_FUZZ   ?= build-fuzz
BUILD_TYPE   ?= RelWithDebInfo
JOBS         ?= $(shell nproc)
FUZZ_SECONDS ?= 60
CMAKE_GEN    := -G Ninja

.PHONY: all deps test build demo bench windows windows-test fuzz clean format

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

format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	rm -rf $(BUILD) $(BUILD_BENCH) $(BUILD_WIN) $(BUILD_FUZZ)
