#include "vcard/card/slot_ring.h"

#include "base/card_memory.h"

namespace tarn::vcard {

SlotRing::SlotRing(uint8_t *area, const RingDescriptor &place)
    : read(area + place.pointers), write(area + place.pointers + 4), slots(area + place.slots),
      slot_size(place.slot_size), mask(place.mask) {}

uint8_t *SlotRing::slot(uint32_t counter) const {
    return slots + size_t{counter & mask} * slot_size;
}

uint32_t SlotRing::filled() const {
    return card::load32(write) - card::load32(read);
}

} // namespace tarn::vcard
