#!/usr/bin/env bash
# Both import libraries hold every name of the list: functions with a thunk, data without one.
. "$(dirname "$0")/common.sh"

list() { grep -E '^[A-Za-z_?]' "$source_dir/api/exports.txt" | sed -E 's/=\S+//'; }
list | sed -E 's/^(\S+).*/__imp_\1/' | LC_ALL=C sort >expected
list | awk '$2 != "data" {print $1}' | LC_ALL=C sort >>expected

for library in pci_tarn.lib libpci_tarn.dll.a; do
    llvm-nm --defined-only "$build/lib/$library" 2>/dev/null |
        sed -nE 's/^[0-9a-f]+ [A-Z] (\S+)$/\1/p' |
        grep -vE '^(_head_|.*NULL_THUNK_DATA|__nm_|__IMPORT_DESCRIPTOR|__NULL_IMPORT|\x7f|lib.*_iname|\.|.*_dll_iname|hname|fthunk)' |
        LC_ALL=C sort >names
    diff <(LC_ALL=C sort expected) names >difference || {
        cat difference
        fail "$library: left: listed but not there; right: there but not listed"
    }
done
echo "Both import libraries hold the $(list | wc -l) names of the list."
