#!/usr/bin/env bash
# Runs the tests of the Windows build under Wine, two at a time in prefixes of their own, and ends
# their servers.
set -euo pipefail
cd "$(dirname "$0")/.."
export WINEDEBUG=-all WINEARCH=win64
unset WINEPREFIX
prefixes=("$PWD/build/wine" "$PWD/build/wine-2")
stop_wine() {
    for prefix in "${prefixes[@]}"; do
        WINEPREFIX=$prefix wineserver -k 2>/dev/null || true
        WINEPREFIX=$prefix wineserver -w 2>/dev/null || true
    done
}
trap stop_wine EXIT
for prefix in "${prefixes[@]}"; do
    scripts/wine_prefix.sh "$prefix"
done
ctest --preset windows -j2 "$@"

# What Linux has and Windows has not, and the other way round.
if [ -e build/linux/bin/tarn-vcard ]; then
    scripts/test_lists.py
else
    echo "Not compared with the tests on Linux: build/linux is not built."
fi
