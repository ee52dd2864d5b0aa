#!/usr/bin/env bash
# Compares the export table of a library with the list of exports, tells data from functions, and
# looks that a DLL imports from the system only.
# Usage: check_exports.sh LIBRARY (a .so or a .dll)
set -euo pipefail
library=$(realpath "$1")
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# DLLs that every Windows has.
system_dlls='(kernel32|msvcrt|ucrtbase|setupapi|advapi32|user32|ntdll|ws2_32|winmm|api-ms-win-[a-z0-9-]+)\.dll'

fail() {
    echo "$library: $*"
    exit 1
}

# Rows of the list that begin with one of these characters, as "name data" or "name code".
list_rows() {
    grep -E "^[$1]" api/exports.txt | sed -E 's/=\S+//' |
        awk '{print $1, $2 == "data" ? "data" : "code"}' | LC_ALL=C sort
}

# Name and kind of each entry of a DLL's export table: by its section, code is in .text.
dll_rows() {
    x86_64-w64-mingw32-objdump -p "$library" >"$work/dump"
    # Pairs "ordinal address", then "ordinal name"; both tables count from the ordinal base.
    sed -n '/Export Address Table --/,/Name Pointer\] Table/p' "$work/dump" |
        sed -nE 's/^\s*\[ *([0-9]+)\] \+base\[ *[0-9]+\] ([0-9a-f]+) Export RVA.*$/\1 \2/p' >"$work/addresses"
    sed -n '/Name Pointer\] Table/,/^$/p' "$work/dump" |
        sed -nE 's/^\s*\[ *([0-9]+)\]( \+base\[[^]]*\])?\s+([0-9a-f]+ )?(\S+)$/\1 \4/p' >"$work/names"
    read -r start size < <(x86_64-w64-mingw32-objdump -h "$library" |
        awk '$2 == ".text" {print $4, $3}')
    base=$(sed -nE 's/^ImageBase\s+([0-9a-f]+)$/\1/p' "$work/dump")
    first=$((16#$start - 16#$base)) last=$((16#$start - 16#$base + 16#$size))
    join <(LC_ALL=C sort "$work/names") <(LC_ALL=C sort "$work/addresses") |
        while read -r _ name address; do
            ((16#$address >= first && 16#$address < last)) && echo "$name code" || echo "$name data"
        done | LC_ALL=C sort
}

check_imports() {
    local foreign
    foreign=$(sed -nE 's/^\s*DLL Name: (.*)$/\1/p' "$work/dump" | tr 'A-Z' 'a-z' | sort -u |
        grep -vxE "$system_dlls" || true)
    [ -z "$foreign" ] || fail "imports that are not the system's:" $foreign
}

case "$library" in
*.dll)
    list_rows 'A-Za-z_?' >"$work/list"
    dll_rows >"$work/table"
    check_imports
    ;;
*)
    list_rows 'A-Za-z_' >"$work/list"
    readelf -W --dyn-syms "$library" |
        awk '$7 != "UND" && ($5 == "GLOBAL" || $5 == "WEAK") {
            sub("@.*", "", $8); print $8, $4 == "FUNC" ? "code" : "data"}' |
        grep -vx 'PCI_TARN data' | LC_ALL=C sort >"$work/table"
    ;;
esac

[ -s "$work/table" ] || fail "no export table was read"
diff "$work/list" "$work/table" >"$work/diff" || {
    echo "Left: listed but not exported so. Right: exported but not listed so."
    grep '^[<>]' "$work/diff" | head -40
    exit 1
}
echo "$(wc -l <"$work/list") exports, exactly those of the list."
