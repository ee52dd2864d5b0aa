# A thin front over the CMake presets; see CMakePresets.json. Outputs lie in build/<preset>/.

.DELETE_ON_ERROR:
.PHONY: all demo test test-linux test-windows test-linux-plain test-linux-asan test-linux-tsan \
        linux windows checks tidy docs bench fuzz soak deps format clean

all: linux

demo: linux
	@scripts/demo.sh

test: checks test-linux test-windows

test-linux: test-linux-plain test-linux-asan test-linux-tsan

test-linux-plain: linux
	ctest --preset linux

test-linux-asan test-linux-tsan: test-linux-%: deps
	cmake --preset linux-$*
	cmake --build --preset linux-$*
	ctest --preset linux-$*

test-windows: windows
	@scripts/test_windows.sh

linux windows: deps
	cmake --preset $@
	cmake --build --preset $@

# What needs no running program: list of exports and its index, public headers alone, documentation,
# format.
checks: deps
	scripts/exports.sh --check
	scripts/check_headers.sh
	scripts/check_docs.sh
	scripts/lint.sh

tidy: linux
	scripts/lint.sh --tidy

docs: deps
	scripts/exports.sh
	scripts/check_docs.sh

bench: linux
	scripts/bench.sh

fuzz: deps
	scripts/fuzz.sh

soak: linux
	scripts/soak.sh

deps:
	@scripts/deps.sh

format:
	scripts/lint.sh --fix

clean:
	rm -rf build
