#!/usr/bin/env bash
# Builds the fuzz targets with Clang and runs each for SECONDS_EACH (default 60) seconds. What a
# target finds is kept in build/fuzz/found; the corpora grow in build/fuzz/corpus.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset fuzz
cmake --build --preset fuzz --target fuzz-eni fuzz-logic_map fuzz-bits fuzz-firmware
for target in eni logic_map bits firmware; do
    corpus=build/fuzz/corpus/$target
    mkdir -p "$corpus" build/fuzz/found
    echo "== fuzz-$target"
    build/fuzz/bin/fuzz-$target -max_total_time="${SECONDS_EACH:-60}" -max_len=8192 \
        -artifact_prefix=build/fuzz/found/$target- -print_final_stats=1 "$corpus" \
        $([ -d "fuzz/corpus/$target" ] && echo "fuzz/corpus/$target") 2>&1 | tail -12
done
