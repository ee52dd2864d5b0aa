#!/usr/bin/env bash
# The ZIP for Windows: what it holds, and a program that is built against it with CMake and MinGW and
# runs under Wine.
. "$(dirname "$0")/common.sh"
name=pci-tarn-$(version)-win64
zip=$(make_package ZIP)
[ "$zip" = "packages/$name.zip" ] || fail "name: $zip"
unzip -q "$zip"
expect_files "$name" bin/{pci_tarn.dll,tarn.exe,tarn-vcard.exe,tarn_vcard.sys,tarn_vcard.inf} \
    lib/{pci_tarn.lib,libpci_tarn.dll.a,pci_tarn.def} \
    include/pci_tarn/{pci_tarn,version}.h include/pci_tarn/cjson/{cJSON,cJSON_Utils}.h \
    lib/cmake/pci_tarn/pci_tarn-config{,-version}.cmake python/pci_tarn/__init__.py \
    share/pci_tarn/csharp/Native.cs \
    share/doc/pci-tarn/{README.md,THIRD-PARTY.txt,examples/first_light.c,docs/linking.md}
expect_output 0 "exactly those of the list" \
    "$source_dir/scripts/check_exports.sh" "$name/bin/pci_tarn.dll"

wine=$source_dir/scripts/wine.sh
expect_output 0 "Device not find" "$wine" "$name/bin/tarn.exe" error 80004

consumer=$name/share/doc/pci-tarn/examples/cmake_consumer
cmake -S "$consumer" -B cell -G Ninja "-DCMAKE_PREFIX_PATH=$work/$name" \
    "-DCMAKE_TOOLCHAIN_FILE=$source_dir/cmake/mingw-w64.cmake" \
    -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH >cell.log
cmake --build cell >>cell.log || fail "$(cat cell.log)"
expect_files cell cell.exe pci_tarn.dll
expect_output 2 "compiled with $(version)" "$wine" cell/cell.exe
expect_output 1 "open: Device not find (80004)" "$wine" cell/cell.exe none.xml nobody
echo "The ZIP is complete and can be built against."
