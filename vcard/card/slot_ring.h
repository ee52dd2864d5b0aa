// One ring of slots in card memory. Places and mask are the card's own, whatever the host writes.
#pragma once

#include "layout/card_memory_map.h"

#include <cstdint>

namespace tarn::vcard {

struct SlotRing {
    uint8_t *read;
    uint8_t *write;
    uint8_t *slots;
    uint32_t slot_size;
    uint32_t mask;

    SlotRing(uint8_t *area, const RingDescriptor &place);

    [[nodiscard]] uint8_t *slot(uint32_t counter) const;
    [[nodiscard]] uint32_t filled() const;
    // No host and no card counts like this.
    [[nodiscard]] bool impossible() const { return filled() > mask + 1; }
};

} // namespace tarn::vcard
