#!/usr/bin/env bash
# `cmake --install` for Linux into a folder, and programs built against it.
. "$(dirname "$0")/common.sh"
cmake --install "$build" --prefix "$work/prefix" >install.log
expect_linux_installation "$work/prefix"

# The first programs fit on a page.
for example in "$work"/prefix/share/doc/pci-tarn/examples/{*.{c,cpp,cs,py},cmake_consumer/*.c}; do
    [ "$(wc -l <"$example")" -lt 60 ] || fail "$example has 60 lines or more"
done
echo "The installation for Linux is complete and can be built against."
