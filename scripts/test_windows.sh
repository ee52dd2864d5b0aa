#!/usr/bin/env bash
# Runs the tests of the Windows build under Wine, in a prefix of its own, and ends its server.
set -euo pipefail
cd "$(dirname "$0")/.."
export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all WINEARCH=win64
stop_wine() {
    wineserver -k 2>/dev/null || true
    wineserver -w 2>/dev/null || true
}
trap stop_wine EXIT
# The first start makes the prefix; later ones take it as it is.
/usr/lib/wine/wine64 wineboot -i >/dev/null 2>&1 || true
ctest --preset windows
