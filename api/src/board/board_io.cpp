#include "base/card_memory.h"
#include "board/board_handle.h"
#include "layout/card_memory_map.h"
#include "pci_tarn/board.h"
#include "pci_tarn/status.h"

using namespace tarn;

namespace {

void clear_words(uint8_t *registers, uint32_t begin, uint32_t end) noexcept {
    for (uint32_t offset = begin; offset < end; offset += 4) {
        card::store32(registers + offset, 0);
    }
}

} // namespace

// The order is required: outputs go off first, latches are disabled before they are cleared.
uint32_t __BoardIOModuleReset(BoardHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    auto *registers = static_cast<uint8_t *>(handle->bar[1]);
    card::store16(registers + bar1::kOutputEnable, 0);
    card::store16(registers + bar1::kDigitalOutputs, 0);
    clear_words(registers, bar1::kPwm, bar1::kPwmEnd);
    clear_words(registers, bar1::kPulse, bar1::kPulseEnd);
    clear_words(registers, bar1::kLatchEnable, bar1::kLatchClear);
    clear_words(registers, bar1::kLatchPortSelect, bar1::kSequenceIndex);
    card::store32(registers + bar1::kLatchClear, 1);
    clear_words(registers, bar1::kSequenceIndex, bar1::kSequenceIndexEnd);
    card::store8(registers + bar1::kLatchCounterReset, 1);
    return PCI_TARN_OK;
}
