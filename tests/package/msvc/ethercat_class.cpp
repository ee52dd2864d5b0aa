// Class EtherCAT, private members included, as a C++ program that MSVC compiles uses it.
#include "console.h"

#include <pci_tarn/pci_tarn.h>

extern "C" {
int _fltused = 1;

void *memset(void *destination, int value, decltype(sizeof(0)) count) {
    for (auto *byte = static_cast<volatile char *>(destination); count > 0; --count) {
        *byte++ = static_cast<char>(value);
    }
    return destination;
}
}

namespace {

// A card that was never opened: all zeros, as a new one is before Open().
alignas(EtherCAT) char storage[sizeof(EtherCAT)];

void *const invalid_handle = reinterpret_cast<void *>(~0ULL);

} // namespace

// The friend that may use the private members.
struct EtherCATFlat {
    static void check_private_members(EtherCAT *card) {
        CHECK(EtherCAT::Open(1000) == invalid_handle);
        char byte = 1;
        CHECK(card->EtherCATDma(0, &byte, 1, 0, 0) == 0);
        CHECK(byte == 1);
    }
};

extern "C" void start() {
    auto *card = reinterpret_cast<EtherCAT *>(storage);
    CHECK(EtherCAT::GetCount() == EtherCATGetCount());
    CHECK(EtherCAT::GetDriverVersion() == EtherCATGetDriverVersion());
    CHECK(card->EtherCATMapBarAddress(6) == nullptr);
    card->EtherCATUnmapBarAddress(nullptr);
    CHECK(card->EtherCATWaitForInterrupt(8, 0) == 0xFFFFFFFF);
    EtherCATFlat::check_private_members(card);
    card->~EtherCAT();
    end("class EtherCAT");
}
