# What the tests of the packages share: a folder of their own, checks, and a virtual card. Sourced
# with the build folder as the first argument of the test.
set -euo pipefail

# The test, and what it starts, has named locks of its own, as tests/support/program gives them to
# the test programs: two tests that run at once would wait for each other's.
if [ ! -e /dev/shm/own_locks_of_a_test ] &&
    unshare --mount mount -t tmpfs tmpfs /dev/shm 2>/dev/null; then
    exec unshare --mount sh -c 'mount -t tmpfs tmpfs /dev/shm &&
        mkdir /dev/shm/own_locks_of_a_test && exec "$0" "$@"' "$0" "$@"
fi

source_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-package.XXXXXX")
card=

finish() {
    [ -z "$card" ] || "$card" stop >/dev/null 2>&1 || true
    rm -rf "$work"
}
trap finish EXIT
cd "$work"

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# A file or folder below the first argument for each of the others.
expect_files() {
    local root=$1 name
    shift
    for name in "$@"; do
        [ -e "$root/$name" ] || fail "$name is missing in $root"
    done
}

# Makes the package of this kind and names its file, which lies in packages/.
make_package() {
    cpack --config "$build/CPackConfig.cmake" -G "$1" -B "$work/packages" >cpack.log 2>&1 ||
        fail "$(cat cpack.log)"
    ls packages/*."${1,,}"
}

# The text that a command prints (both outputs), and its exit status.
expect_output() {
    local status=$1 text=$2 out got=0
    shift 2
    out=$("$@" 2>&1 </dev/null) || got=$?
    [ "$got" = "$status" ] || fail "$*: exit status $got instead of $status: $out"
    grep -qF -- "$text" <<<"$out" || fail "$*: no \"$text\" in: $out"
}

# A card in software for programs of this test, and an ENI file for 8 bytes of inputs and outputs.
start_card() {
    export XDG_RUNTIME_DIR=$work/run
    mkdir -m 700 "$XDG_RUNTIME_DIR"
    card=${1:-$build/bin/tarn-vcard}
    "$card" start --each start-ms=30 >/dev/null
    "$card" make-eni -o io.xml --slave dio8:8 >/dev/null
}

# As expect_output 0, for a program whose outputs come back as inputs some bus cycles later: tried
# again when the machine was too busy for them.
expect_exchange() {
    local text=$1 attempt
    shift
    for attempt in $(seq 20); do
        "$@" >exchange.log 2>&1 || fail "$*: exit status $?: $(cat exchange.log)"
        ! grep -qF -- "$text" exchange.log || return 0
    done
    fail "$*: no \"$text\" in: $(cat exchange.log)"
}

# One of the first programs, as a user runs it.
expect_first_light() {
    expect_exchange "wrote 0a, read 0a 0a 0a 0a 0a 0a 0a 0a" "$@" io.xml
    expect_output 1 "Device not find (80004)" "$@" io.xml nobody
    expect_output 1 "Can't open file (32848)" "$@" none.xml
    expect_output 2 "usage: " "$@"
}

# What an installation for Linux holds and what is built against it, with a card running.
expect_linux_installation() {
    local root=$1
    expect_files "$root" bin/tarn bin/tarn-vcard include/pci_tarn/{pci_tarn,version}.h \
        include/pci_tarn/cjson/{cJSON,cJSON_Utils}.h lib/libpci_tarn.so{,.1,".$(version)"} \
        lib/cmake/pci_tarn/pci_tarn-config{,-version}.cmake lib/pkgconfig/pci_tarn.pc \
        lib/python3/dist-packages/pci_tarn/__init__.py share/pci_tarn/csharp/Native.cs \
        share/doc/pci-tarn/{README.md,THIRD-PARTY.txt,examples/first_light.c,docs/linking.md}
    readelf -d "$root/lib/libpci_tarn.so" | grep -qF '[libpci_tarn.so.1]' || fail "soname"
    start_card "$root/bin/tarn-vcard"
    expect_output 0 "tarn0" "$root/bin/tarn" boards

    # pkg-config
    local flags
    export PKG_CONFIG_PATH=$root/lib/pkgconfig
    [ "$(pkg-config --modversion pci_tarn)" = "$(version)" ] || fail "version of the .pc file"
    read -ra flags < <(pkg-config --cflags --libs pci_tarn)
    local examples=$root/share/doc/pci-tarn/examples
    gcc -std=c11 -Wall -Werror "$examples/first_light.c" "${flags[@]}" -o first_light_c
    g++ -std=c++17 -Wall -Werror "$examples/first_light.cpp" "${flags[@]}" -o first_light_cpp
    expect_first_light env "LD_LIBRARY_PATH=$root/lib" ./first_light_c
    expect_first_light env "LD_LIBRARY_PATH=$root/lib" ./first_light_cpp

    # CMake
    cmake -S "$examples/cmake_consumer" -B cell -G Ninja "-DCMAKE_PREFIX_PATH=$root" >cell.log
    cmake --build cell >>cell.log || fail "$(cat cell.log)"
    expect_exchange '{"step":7,"inputs":[0,0,0,0,0,0,0,255]}' ./cell/cell io.xml

    # Python finds the library of its own installation.
    export PYTHONPATH=$root/lib/python3/dist-packages PYTHONDONTWRITEBYTECODE=1
    expect_first_light /usr/bin/python3 "$examples/first_light.py"
}

version() {
    sed -nE 's/^#define PCI_TARN_VERSION "(.*)"$/\1/p' "$source_dir/api/include/pci_tarn/version.h"
}
