#!/usr/bin/env bash
# Compares the export table of a library with the list of exports.
# Usage: check_exports.sh LIBRARY (a .so or a .dll)
set -euo pipefail
cd "$(dirname "$0")/.."
library=$1
list=$(grep -E '^[A-Za-z_]' api/exports.txt | awk '{print $1}' | LC_ALL=C sort)

case "$library" in
*.dll)
    dump=$(x86_64-w64-mingw32-objdump -p "$library")
    table=$(sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' <<<"$dump" |
        sed -nE 's/^\s*\[ *[0-9]+\]( \+base\[[^]]*\])?\s+([0-9a-f]+ )?(\S+)$/\3/p' | LC_ALL=C sort)
    imports=$(sed -nE 's/^\s*DLL Name: (.*)$/\1/p' <<<"$dump" | tr 'A-Z' 'a-z' | sort -u)
    foreign=$(grep -vxE '(kernel32|msvcrt|setupapi|advapi32|user32|ntdll|ws2_32|winmm|api-ms-win-.*)\.dll' <<<"$imports" || true)
    if [ -n "$foreign" ]; then
        echo "Imports that are not the system's: $foreign"
        exit 1
    fi
    ;;
*)
    table=$(readelf -W --dyn-syms "$library" |
        awk '$7 != "UND" && ($5 == "GLOBAL" || $5 == "WEAK") {print $8}' |
        sed 's/@.*//' | grep -vx PCI_TARN | LC_ALL=C sort)
    ;;
esac

if ! diff <(echo "$list") <(echo "$table") >/tmp/exports.$$; then
    echo "Left: listed but not exported. Right: exported but not listed."
    grep '^[<>]' /tmp/exports.$$ | head -40
    rm -f /tmp/exports.$$
    exit 1
fi
rm -f /tmp/exports.$$
echo "$(wc -l <<<"$list") exports, exactly those of the list."
