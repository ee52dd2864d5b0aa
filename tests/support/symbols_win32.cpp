#include "support/symbols.h"

#include <cstring>
#include <windows.h>

namespace tarn::test {

void *find_export(const char *name) {
    const FARPROC found = GetProcAddress(GetModuleHandleA("pci_tarn.dll"), name);
    void *address = nullptr;
    static_assert(sizeof(address) == sizeof(found));
    std::memcpy(&address, &found, sizeof(address));
    return address;
}

} // namespace tarn::test
