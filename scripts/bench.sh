#!/usr/bin/env bash
# Runs the comparisons side by side and prints ours, reference, ratio and goal; JSON goes to
# build/bench.json. Arguments go to the program (--benchmark_filter=REGEX, --no-scale).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --build --preset linux --target tarn-bench
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
bench=$PWD/build/linux/bin/tarn-bench
json=$PWD/build/bench.json
mkdir -m 700 "$work/run"
cd "$work"
XDG_RUNTIME_DIR=$work/run "$bench" --json="$json" "$@"
