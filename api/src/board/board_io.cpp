// Digital inputs and outputs, latches, raw registers, and the idle state of all of them.
#include "base/card_memory.h"
#include "board/board_handle.h"
#include "layout/card_memory_map.h"
#include "pci_tarn/board.h"
#include "pci_tarn/status.h"

using namespace tarn;

namespace {

uint32_t store(const BoardHandle *handle, uint32_t offset, uint32_t value) noexcept {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    card::store32(registers(*handle) + offset, value);
    return PCI_TARN_OK;
}

uint32_t load(const BoardHandle *handle, uint32_t offset, uint32_t *value) noexcept {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (value == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *value = card::load32(registers(*handle) + offset);
    return PCI_TARN_OK;
}

// Values of 64 bits do not lie at multiples of 8, so they take two reads; reading the low word
// comes first.
void load_value(const BoardHandle &handle, uint32_t offset, uint32_t *low,
                uint32_t *high) noexcept {
    *low = card::load32(registers(handle) + offset);
    *high = card::load32(registers(handle) + offset + 4);
}

uint32_t check_value(const BoardHandle *handle, uint32_t channel, const uint32_t *low,
                     const uint32_t *high) noexcept {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const bool valid = channel < bar1::kIoChannels && low != nullptr && high != nullptr;
    return valid ? PCI_TARN_OK : PCI_TARN_E_INVALID_ARGUMENT;
}

void clear_words(uint8_t *registers, uint32_t begin, uint32_t end) noexcept {
    for (uint32_t offset = begin; offset < end; offset += 4) {
        card::store32(registers + offset, 0);
    }
}

} // namespace

uint32_t BoardDIRead(BoardHandle *handle, uint32_t *value) {
    return load(handle, bar1::kDigitalInputs, value);
}

uint32_t BoardDORead(BoardHandle *handle, uint32_t *value) {
    return load(handle, bar1::kDigitalOutputs, value);
}

uint32_t BoardDOWrite(BoardHandle *handle, uint32_t value) {
    return store(handle, bar1::kDigitalOutputs, value);
}

uint32_t BoardLatchEnable(BoardHandle *handle) {
    return store(handle, bar1::kLatchEnable, 1);
}

uint32_t BoardLatchDisable(BoardHandle *handle) {
    return store(handle, bar1::kLatchEnable, 0);
}

uint32_t BoardLatchCfg(BoardHandle *handle, uint32_t mode) {
    if (handle != nullptr && mode > BOARD_LATCH_MODE_MAX) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    return store(handle, bar1::kLatchMode, mode);
}

uint32_t BoardLatchRun(BoardHandle *handle) {
    return store(handle, bar1::kLatchRun, 1);
}

uint32_t BoardLatchStop(BoardHandle *handle) {
    return store(handle, bar1::kLatchRun, 0);
}

uint32_t BoardLatchClear(BoardHandle *handle) {
    return store(handle, bar1::kLatchClear, 1);
}

uint32_t BoardLatchCounterReset(BoardHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    card::store8(registers(*handle) + bar1::kLatchCounterReset, 1);
    return PCI_TARN_OK;
}

uint32_t BoardLatchPortSel(BoardHandle *handle, uint32_t port) {
    return store(handle, bar1::kLatchPortSelect, port);
}

uint32_t BoardLatchState(BoardHandle *handle, uint32_t channel, uint32_t *latched) {
    if (handle != nullptr && channel >= bar1::kIoChannels) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const uint32_t status = load(handle, bar1::kLatchState, latched);
    if (status == PCI_TARN_OK) {
        *latched = *latched >> channel & 1;
    }
    return status;
}

uint32_t BoardLatchOnRead(BoardHandle *handle, uint32_t channel, uint32_t *low, uint32_t *high) {
    const uint32_t status = check_value(handle, channel, low, high);
    if (status == PCI_TARN_OK) {
        load_value(*handle, bar1::kLatchValue + channel * bar1::kCounterStride, low, high);
    }
    return status;
}

uint32_t BoardSeqLatchCfg(BoardHandle *handle, int32_t mode) {
    if (handle != nullptr && (mode < BOARD_SEQ_LATCH_MODE_MIN || mode > BOARD_SEQ_LATCH_MODE_MAX)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    return store(handle, bar1::kLatchMode, static_cast<uint32_t>(mode));
}

uint32_t BoardSeqLatchRun(BoardHandle *handle, uint32_t count) {
    if (handle != nullptr && count > BOARD_SEQ_LATCH_COUNT_MAX) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const uint32_t status = store(handle, bar1::kSequenceCount, count);
    return status == PCI_TARN_OK ? BoardLatchRun(handle) : status;
}

uint32_t BoardSeqLatchOnRead(BoardHandle *handle, uint32_t channel, uint32_t index, uint32_t *low,
                             uint32_t *high) {
    const uint32_t status = check_value(handle, channel, low, high);
    if (status == PCI_TARN_OK) {
        card::store32(registers(*handle) + bar1::kSequenceIndex + channel * 4, index);
        load_value(*handle, bar1::kSequenceValue + channel * bar1::kCounterStride, low, high);
    }
    return status;
}

uint32_t BoardBAR1Read(BoardHandle *handle, uint32_t offset, uint32_t *value) {
    if (handle != nullptr && value == nullptr) {
        return PCI_TARN_OK;
    }
    return load(handle, offset, value);
}

uint32_t BoardBAR1Write(BoardHandle *handle, uint32_t offset, uint32_t value) {
    return store(handle, offset, value);
}

// The order is required: outputs go off first, latches are disabled before they are cleared. So is
// the width: digital outputs 16 to 31 stay as they are.
uint32_t __BoardIOModuleReset(BoardHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    uint8_t *bar = registers(*handle);
    card::store16(bar + bar1::kOutputEnable, 0);
    card::store16(bar + bar1::kDigitalOutputs, 0);
    clear_words(bar, bar1::kPwm, bar1::kPwmEnd);
    clear_words(bar, bar1::kPulse, bar1::kPulseEnd);
    clear_words(bar, bar1::kLatchEnable, bar1::kLatchClear);
    clear_words(bar, bar1::kLatchPortSelect, bar1::kSequenceIndex);
    card::store32(bar + bar1::kLatchClear, 1);
    clear_words(bar, bar1::kSequenceIndex, bar1::kSequenceIndexEnd);
    card::store8(bar + bar1::kLatchCounterReset, 1);
    return PCI_TARN_OK;
}
