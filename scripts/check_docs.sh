#!/usr/bin/env bash
# Runs Doxygen over the public headers; anything undocumented is an error.
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p build/doxygen
doxygen docs/Doxyfile >build/doxygen/log.txt 2>&1 || {
    grep -E 'warning|error' build/doxygen/log.txt | head -40
    exit 1
}
echo "Doxygen found nothing undocumented."
