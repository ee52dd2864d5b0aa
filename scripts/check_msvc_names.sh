#!/usr/bin/env bash
# Asks clang which names MSVC and MinGW give the members of class EtherCAT, as a program that uses
# them would import them, and compares the pairs with the msvc rows of api/exports.txt.
set -euo pipefail
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Member and a use of it; struct EtherCATFlat is the friend that may use the private ones.
uses=(
    'Open: EtherCAT::Open(0);'
    'GetCount: EtherCAT::GetCount();'
    'GetDriverVersion: EtherCAT::GetDriverVersion();'
    'EtherCATDma: card->EtherCATDma(0, nullptr, 0, 0, 0);'
    'EtherCATMapBarAddress: card->EtherCATMapBarAddress(0);'
    'EtherCATUnmapBarAddress: card->EtherCATUnmapBarAddress(nullptr);'
    'EtherCATWaitForInterrupt: card->EtherCATWaitForInterrupt(0, 0);'
    '~EtherCAT: card->~EtherCAT();'
)
clang=(clang++ -x c++ -std=c++17 -ffreestanding -Iapi/include)

# The one name of the class that a use refers to.
name_of() {
    printf '#include "pci_tarn/driver.h"\nstruct EtherCATFlat { static void use(EtherCAT *card); };
void EtherCATFlat::use([[maybe_unused]] EtherCAT *card) { %s }\n' "$2" |
        "${clang[@]}" --target="$1" -c -o "$work/use.o" -
    llvm-nm --undefined-only "$work/use.o" | sed -nE 's/^ *U (__imp_)?(.*EtherCAT.*)$/\2/p'
}

for use in "${uses[@]}"; do
    statement=${use#*: }
    echo "$(name_of x86_64-pc-windows-msvc "$statement")=$(name_of x86_64-w64-mingw32 "$statement")"
done | LC_ALL=C sort >"$work/compiler"
awk '/^[?]/ {print $1}' api/exports.txt | LC_ALL=C sort >"$work/list"
if ! diff "$work/list" "$work/compiler"; then
    echo "Left: api/exports.txt. Right: what the compiler says."
    exit 1
fi

# No member is forgotten: all that are neither inline nor deleted.
printf '%s\n' "${uses[@]%%:*}" | LC_ALL=C sort >"$work/used"
echo '#include "pci_tarn/driver.h"' |
    "${clang[@]}" -fsyntax-only -Xclang -ast-dump -Xclang -ast-dump-filter=EtherCAT - |
    grep -E '^\|-CXX(Method|Constructor|Destructor)Decl' | grep -vE "' .*(delete|default)|implicit" |
    grep -oE "~?\w+ '" | sed "s/ '//" | LC_ALL=C sort >"$work/declared"
if ! diff "$work/used" "$work/declared"; then
    echo "Left: members that this script uses. Right: members that the header declares."
    exit 1
fi
echo "$(wc -l <"$work/list") members of class EtherCAT have the names that MSVC gives them."
