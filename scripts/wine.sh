#!/usr/bin/env bash
# Runs a Windows program of this build under Wine. Without WINEPREFIX it takes one of the prefixes
# inside the build tree that no other run uses, and waits when there is none: programs that use the
# cards would meet each other's in one prefix.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
export WINEDEBUG=${WINEDEBUG:--all} WINEARCH=win64
wine=(/usr/lib/wine/wine64)
# Wine needs the page at 0x7FFE0000 in each process. With a random layout the heap of one process in
# some two thousand lies there, and that process does not start.
if setarch -R true 2>/dev/null; then
    wine=(setarch -R "${wine[@]}")
fi
if [ -n "${WINEPREFIX:-}" ]; then
    exec "${wine[@]}" "$@"
fi
while true; do
    for prefix in "$root"/build/wine "$root"/build/wine-2; do
        exec 9>"$prefix.lock"
        if flock -n 9; then
            # The lock is not passed on: Wine's servers outlive this.
            status=0
            WINEPREFIX=$prefix "${wine[@]}" "$@" 9>&- || status=$?
            exit "$status"
        fi
    done
    sleep 0.05
done
