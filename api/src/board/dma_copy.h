// A copy by DMA in as many transfers as it takes.
#pragma once

#include "pci_tarn/status.h"

#include <cstdint>

namespace tarn {

// `transfer(card_address, buffer, length)` returns the bytes that it moved.
template <typename Transfer>
uint32_t dma_copy(uint32_t card_address, uint8_t *buffer, int32_t length, Transfer &&transfer) {
    if (length <= 0) {
        return PCI_TARN_E_GENERAL;
    }
    auto rest = static_cast<uint32_t>(length);
    for (;;) {
        const uint32_t moved = transfer(card_address, static_cast<void *>(buffer), rest);
        if (moved == 0) {
            return PCI_TARN_E_GENERAL;
        }
        if (moved == rest) {
            return PCI_TARN_OK;
        }
        // More than was asked for counts as nothing, and the same request is made again: required.
        if (moved < rest) {
            card_address += moved;
            buffer += moved;
            rest -= moved;
        }
    }
}

} // namespace tarn
