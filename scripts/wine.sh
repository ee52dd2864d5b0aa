#!/usr/bin/env bash
# Runs a Windows program of this build under Wine, in a prefix inside the build tree.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX=${WINEPREFIX:-$root/build/wine} WINEDEBUG=${WINEDEBUG:--all} WINEARCH=win64
exec /usr/lib/wine/wine64 "$@"
