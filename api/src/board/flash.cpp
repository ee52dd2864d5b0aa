// The card's flash, which only its firmware reaches.
#include "board/board_handle.h"
#include "channel/request.h"
#include "layout/commands.h"
#include "pci_tarn/base.h"
#include "pci_tarn/board.h"
#include "pci_tarn/status.h"

#include <cstdlib>
#include <cstring>

using namespace tarn;

uint32_t BoardFlashErase(BoardHandle *handle, uint32_t address, uint32_t length) {
    if (handle == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const FlashRangeRecord range = {address, length};
    return transact_locked(handle->channel,
                           {.code = Command::FlashErase, .data = &range, .length = sizeof range},
                           handle->timeout_ms);
}

uint32_t BoardFlashRead(BoardHandle *handle, uint32_t address, uint32_t length, void *buffer) {
    if (handle == nullptr || (buffer == nullptr && length > 0)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const FlashRangeRecord range = {address, length};
    uint32_t capacity = length;
    return transact_locked(handle->channel,
                           {.code = Command::FlashRead,
                            .data = &range,
                            .length = sizeof range,
                            .reply = buffer,
                            .reply_length = &capacity},
                           handle->timeout_ms);
}

uint32_t BoardFlashWrite(BoardHandle *handle, uint32_t address, const char *data) {
    if (handle == nullptr || data == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const size_t data_size = std::strlen(data);
    const size_t size = sizeof address + data_size;
    if (size > UINT32_MAX) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    auto *payload = static_cast<uint8_t *>(std::malloc(size));
    if (payload == nullptr) {
        return PCI_TARN_E_MEMORY;
    }
    std::memcpy(payload, &address, sizeof address);
    memcpy_fast(payload + sizeof address, data, data_size);
    const uint32_t status = transact_locked(
        handle->channel,
        {.code = Command::FlashWrite, .data = payload, .length = static_cast<uint32_t>(size)},
        handle->timeout_ms);
    std::free(payload);
    return status;
}
