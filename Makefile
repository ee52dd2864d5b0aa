# A thin front over the CMake presets; see CMakePresets.json. Outputs lie in build/<preset>/.

.DELETE_ON_ERROR:
.PHONY: all demo test test-linux test-windows test-linux-plain test-linux-asan test-linux-tsan \
        linux windows packages checks tidy docs bench fuzz soak deps deps-all format clean

# Tests that may not have named locks of their own (see tests/support/program) run one at a time.
test_jobs := $(shell unshare --mount true 2>/dev/null && echo 3 || echo 1)

all: linux

demo: deps
	cmake --preset linux
	cmake --build --preset linux --target tarn tarn-vcard
	@scripts/demo.sh

test: checks test-linux test-windows

test-linux: test-linux-plain test-linux-asan test-linux-tsan

test-linux-plain: deps-all linux
	ctest --preset linux -j$(test_jobs)

test-linux-asan: deps
	cmake --preset linux-asan
	cmake --build --preset linux-asan
	ctest --preset linux-asan -j$(test_jobs)

# Without the tests of several processes, and without long loops of one thread.
test-linux-tsan: deps
	cmake --preset linux-tsan
	cmake --build --preset linux-tsan --target test-unit test-engines test-card
	ctest --preset linux-tsan -j$(test_jobs) -R '^(unit|engines|card)\.' \
	    -E 'MemcpyFast|BitMemcpy|FirmwareFlash|UpdateImage|MakeEni|BoardUpdateLarge'

test-windows: windows
	@scripts/test_windows.sh

linux: deps
windows: deps-all
linux windows:
	cmake --preset $@
	cmake --build --preset $@

# build/linux/packages/*.deb and build/windows/packages/*.zip
packages: linux windows
	cd build/linux && cpack
	cd build/windows && cpack

# What needs no running program: list of exports and its index, names for MSVC, declarations of the
# bindings, public headers alone, documentation, format.
checks: deps-all
	scripts/exports.sh --check
	scripts/check_msvc_names.sh
	scripts/bindings.py --check
	scripts/check_headers.sh
	scripts/check_docs.sh
	scripts/lint.sh

tidy: deps-all linux
	scripts/lint.sh --tidy

docs: deps-all
	scripts/exports.sh
	scripts/bindings.py
	scripts/check_docs.sh

bench: linux
	scripts/bench.sh

fuzz: deps-all
	scripts/fuzz.sh

soak: linux
	scripts/soak.sh

deps:
	@scripts/deps.sh

deps-all:
	@scripts/deps.sh --all

format:
	scripts/lint.sh --fix

clean:
	rm -rf build
