#!/usr/bin/env bash
# The driver of the virtual cards and their device nodes as a user installs and removes them, in a
# Wine prefix of this test's own.
. "$(dirname "$0")/common.sh"
export WINEPREFIX=$build/driver-install-wine WINEDEBUG=-all WINEARCH=win64
wine=$source_dir/scripts/wine.sh

stop_wine() {
    timeout 300 wineserver -k 2>/dev/null || true
    timeout 300 wineserver -w 2>/dev/null || true
}
leave() {
    stop_wine
    rm -rf "$WINEPREFIX"
    finish
}
trap leave EXIT

# New nodes are started with the system. Its services keep what the first program has open.
restart_system() {
    stop_wine
    wineserver -p
    "$wine" cmd /c exit >/dev/null 2>&1 </dev/null
}

# The exit status and the text of tarn-vcard. Into a file: what it leaves running may hold a pipe.
expect_vcard() {
    local status=$1 text=$2 got=0
    shift 2
    "$wine" "$build/bin/tarn-vcard.exe" "$@" >vcard.log 2>&1 </dev/null || got=$?
    [ "$got" = "$status" ] || fail "$*: exit status $got instead of $status: $(cat vcard.log)"
    grep -qF -- "$text" vcard.log || fail "$*: no \"$text\" in: $(cat vcard.log)"
}

# So many nodes there are, and no more.
expect_nodes() {
    expect_vcard 1 "there are device nodes for $1 of $(($1 + 1)) cards; \"tarn-vcard install" \
        start --cards $(($1 + 1))
    [ "$1" -gt 0 ] || return 0
    expect_vcard 0 "tarn-vcard started" start --cards "$1"
    expect_vcard 0 "tarn-vcard stopped" stop
}

# INF files of the driver that the system keeps.
packages() {
    grep -il "root.tarn_vcard" -r "$WINEPREFIX/drive_c/windows/inf" --include='*.inf' | wc -l
}

stop_wine
rm -rf "$WINEPREFIX"
mkdir -p "$WINEPREFIX"
"$wine" wineboot -i >/dev/null 2>&1 </dev/null || fail "no Wine prefix"
restart_system
expect_nodes 0

# An installation that fails leaves nothing behind.
echo "no INF file" >broken.inf
expect_vcard 1 "cannot install the driver" install --cards 2 --inf "$work/broken.inf"
expect_vcard 0 "removed the device nodes of 0 cards" uninstall

# Without a catalog of signatures: Wine would not keep a copy of the INF file, as Windows does.
mkdir unsigned
cp "$build/bin/tarn_vcard.sys" unsigned/
grep -v '^CatalogFile' "$build/bin/tarn_vcard.inf" >unsigned/tarn_vcard.inf
expect_vcard 0 "there are device nodes for 3 cards" \
    install --cards 3 --inf "$work/unsigned/tarn_vcard.inf"
restart_system
expect_nodes 3
[ "$(packages)" = 1 ] || fail "no driver package after the installation"

# More nodes; those that there are stay, also when fewer are asked for.
expect_vcard 0 "there are device nodes for 5 cards" \
    install --cards 5 --inf "$work/unsigned/tarn_vcard.inf"
restart_system
expect_nodes 5
expect_vcard 0 "there are device nodes for 5 cards" \
    install --inf "$work/unsigned/tarn_vcard.inf"
expect_nodes 5

expect_vcard 0 "removed the device nodes of 5 cards" uninstall
expect_nodes 0
[ "$(packages)" = 0 ] || fail "the driver's package is still there"
expect_vcard 0 "removed the device nodes of 0 cards" uninstall
restart_system
expect_nodes 0

# The driver beside the program.
expect_vcard 0 "there are device nodes for 1 card" install
restart_system
expect_nodes 1
echo "Device nodes come and go."
