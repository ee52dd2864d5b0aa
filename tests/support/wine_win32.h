// What the tests do differently under Wine, which is a Windows without a few things.
#pragma once

#include <windows.h>

namespace tarn::test {

inline bool under_wine() {
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

} // namespace tarn::test
