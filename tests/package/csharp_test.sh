#!/usr/bin/env bash
# The C# binding under Mono: every declaration finds its function, and the example does its job.
. "$(dirname "$0")/common.sh"
export LD_LIBRARY_PATH=$build/lib
binding=("$source_dir"/bindings/csharp/*.cs)
mcs -warnaserror -out:declarations.exe "$source_dir/tests/package/Declarations.cs" "${binding[@]}"
grep -E '^[A-Za-z_]' "$source_dir/api/exports.txt" | awk '$2 == "func" {print $1}' >functions
expect_output 0 "$(wc -l <functions) functions" mono declarations.exe functions

mcs -warnaserror -out:FirstLight.exe "$source_dir/examples/FirstLight.cs" "${binding[@]}"
start_card
expect_first_light mono FirstLight.exe
echo "The C# binding works."
