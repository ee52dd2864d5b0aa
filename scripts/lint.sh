#!/usr/bin/env bash
# clang-format over the whole tree, and no switches for an operating system outside its own files.
# With --fix it formats instead of complaining; with --tidy it goes on with clang-tidy over
# everything of ours that the linux preset compiles (several minutes).
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t sources < <(git ls-files -co --exclude-standard '*.h' '*.c' '*.cpp' | while read -r f; do
    [ -e "$f" ] && echo "$f"
done)
if [ "${1:-}" = --fix ]; then
    clang-format -i "${sources[@]}"
    exit 0
fi
clang-format --dry-run --Werror "${sources[@]}"
echo "clang-format: ${#sources[@]} files are clean."

switches=$(grep -nE '_WIN32|__linux__' "${sources[@]}" |
    grep -vE '(_win32|_linux)\.(cpp|h)|api/include/pci_tarn/types.h' || true)
if [ -n "$switches" ]; then
    echo "Operating system switches outside the files of one system:"
    echo "$switches"
    exit 1
fi
echo "No operating system switches outside the files of one system."

[ "${1:-}" = --tidy ] || exit 0
mapfile -t tidy < <(printf '%s\n' "${sources[@]}" |
    grep -E '^(api|vcard|tools)/.*\.cpp$' | grep -v _win32)
printf '%s\n' "${tidy[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy -p build/linux --quiet 2>/dev/null
echo "clang-tidy: ${#tidy[@]} files are clean."
