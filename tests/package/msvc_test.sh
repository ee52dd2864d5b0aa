#!/usr/bin/env bash
# Programs that are compiled as MSVC compiles them find the package, are linked with its import
# library and run beside the DLL. No SDK is needed: they bring their own entry point.
. "$(dirname "$0")/common.sh"
cmake --install "$build" --prefix "$work/installed" >install.log
printf 'LIBRARY kernel32.dll\nEXPORTS\nGetStdHandle\nWriteFile\nExitProcess\n' >kernel32.def
llvm-dlltool -m i386:x86-64 -d kernel32.def -l kernel32.lib

folder=$source_dir/tests/package/msvc
{
    cmake -S "$folder" -B programs -G Ninja -DCMAKE_BUILD_TYPE=Release \
        "-DCMAKE_TOOLCHAIN_FILE=$folder/toolchain.cmake" "-DSYSTEM_LIBRARY=$work/kernel32.lib" \
        "-DCMAKE_PREFIX_PATH=$work/installed"
    cmake --build programs --verbose
} >programs.log 2>&1 || fail "$(cat programs.log)"
grep -q 'lib/pci_tarn\.lib' programs.log || fail "not linked with pci_tarn.lib: $(cat programs.log)"

cp installed/bin/pci_tarn.dll programs/
wine=$source_dir/scripts/wine.sh
expect_output 0 "flat interface: passed" "$wine" programs/flat_interface.exe
expect_output 0 "class EtherCAT: passed" "$wine" programs/ethercat_class.exe
echo "Programs compiled as by MSVC run with the DLL."
