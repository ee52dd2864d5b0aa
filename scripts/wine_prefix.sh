#!/usr/bin/env bash
# Makes a Wine prefix of the build tree ready: the driver of the virtual cards of this build, a
# device node for each card, a wineserver that stays.
#   scripts/wine_prefix.sh PREFIX [FOLDER OF THE PROGRAMS]
set -euo pipefail
cd "$(dirname "$0")/.."
export WINEPREFIX=$1 WINEDEBUG=${WINEDEBUG:--all} WINEARCH=win64
bin=${2:-$PWD/build/windows/bin}
windows=$WINEPREFIX/drive_c/windows
driver=$windows/system32/drivers/tarn_vcard.sys
wine() {
    # Wine's services keep what the first program has open.
    scripts/wine.sh "$@" >/dev/null 2>&1 </dev/null
}

stop_wine() {
    wineserver -k 2>/dev/null || true
    wineserver -w
}

# The first start makes the prefix; later ones take it as it is. One whose first start did not come
# to its end is made anew.
made=$WINEPREFIX/made
mkdir -p "$WINEPREFIX"
if [ ! -e "$made" ]; then
    stop_wine
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    wine wineboot -i
    touch "$made"
fi

if ! cmp -s "$bin/tarn_vcard.sys" "$driver" ||
    ! cmp -s "$bin/tarn_vcard.inf" "$windows/inf/tarn_vcard.inf"; then
    stop_wine
    rm -f "$driver"
    cp "$bin/tarn_vcard.inf" "$windows/inf/" # here Wine looks for the driver's description
    wine "$bin/tarn-vcard.exe" install --cards 16 || {
        echo "the driver cannot be installed in $WINEPREFIX" >&2
        exit 1
    }
    # New nodes are started with the system.
    stop_wine
fi
wineserver -p 2>/dev/null || true
wine cmd /c exit
