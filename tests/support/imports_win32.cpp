#include "support/imports_win32.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace tarn::test {
namespace {

template <typename T>
T *at(HMODULE module, uint64_t offset) {
    return reinterpret_cast<T *>(reinterpret_cast<uint8_t *>(module) + offset);
}

// The place in the module's import table that holds the function's address; null when there is
// none.
FARPROC *find_slot(HMODULE module, const char *function) {
    const auto *dos = at<IMAGE_DOS_HEADER>(module, 0);
    const auto *headers = at<IMAGE_NT_HEADERS>(module, static_cast<uint64_t>(dos->e_lfanew));
    const auto &directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto *from = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
         from->Name != 0; ++from) {
        const auto *names = at<IMAGE_THUNK_DATA>(module, from->OriginalFirstThunk);
        auto *slots = at<FARPROC>(module, from->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++slots) {
            if (!IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal) &&
                std::strcmp(at<IMAGE_IMPORT_BY_NAME>(module, names->u1.AddressOfData)->Name,
                            function) == 0) {
                return slots;
            }
        }
    }
    return nullptr;
}

void store(FARPROC *slot, FARPROC value) {
    DWORD protection = 0;
    VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
    *slot = value;
    VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

} // namespace

ReplacedImport::ReplacedImport(const char *module, const char *function, FARPROC replacement) {
    HMODULE loaded = GetModuleHandleA(module);
    slot_ = loaded != nullptr ? find_slot(loaded, function) : nullptr;
    if (slot_ == nullptr) {
        throw std::runtime_error(std::string(module) + " does not import " + function);
    }
    former_ = *slot_;
    store(slot_, replacement);
}

ReplacedImport::~ReplacedImport() {
    store(slot_, former_);
}

} // namespace tarn::test
