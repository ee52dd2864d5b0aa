// tarn-test-driver-version.dll: put into the programs that the tests start under Wine.
#include "support/driver_version/import_patch.h"

#include <cstdio>
#include <windows.h>

namespace {

uint64_t wanted_version() {
    char text[64] = {};
    unsigned field[4] = {};
    GetEnvironmentVariableA(tarn::test::kVersionVariable, text, sizeof(text) - 1);
    if (std::sscanf(text, "%u.%u.%u.%u", &field[0], &field[1], &field[2], &field[3]) != 4) {
        return tarn::test::kDefaultDriverVersion;
    }
    uint64_t version = 0;
    for (const unsigned value : field) {
        version = version << 16 | (value & 0xFFFFU);
    }
    return version;
}

} // namespace

// Called when the program's imports are there and nothing of it has run.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void *) {
    if (reason == DLL_PROCESS_ATTACH && GetModuleHandleA("pci_tarn.dll") != nullptr) {
        tarn::test::patch_driver_version(wanted_version());
    }
    return TRUE;
}
