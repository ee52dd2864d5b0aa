#!/usr/bin/env bash
# Compiles every public header alone, as C11 and as C++17, with GCC, Clang and MinGW.
set -euo pipefail
cd "$(dirname "$0")/.."

count=0
for header in api/include/pci_tarn/*.h vcard/include/tarn_vcard/*.h; do
    for compiler in gcc clang x86_64-w64-mingw32-gcc; do
        for language in c:c11 c++:c++17; do
            printf '#include "%s"\ntypedef int after_the_header;\n' "${header#*/include/}" |
                "$compiler" -x "${language%%:*}" -std="${language##*:}" -fsyntax-only -Wall -Wextra \
                    -Wpedantic -Wshadow -Wconversion -Werror -Iapi/include -Ivcard/include -
            count=$((count + 1))
        done
    done
done
echo "$count header compilations passed."
