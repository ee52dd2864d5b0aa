#include "vcard/card/ring_port.h"

#include "base/card_memory.h"

#include <algorithm>
#include <cstring>

namespace tarn::vcard {

RingPort::RingPort(uint8_t *area, const MailboxPlace &place)
    : requests_(area, place.requests), replies_(area, place.replies) {}

uint32_t RingPort::capacity() const {
    return std::min(requests_.slot_size - kSlotHeaderSize, kSlotPayloadLimit - 1);
}

RingPort::Taken RingPort::take(RequestSlot &request) {
    const uint32_t filled = requests_.filled();
    if (filled == 0) {
        return Taken::Nothing;
    }
    if (filled > requests_.mask + 1) {
        card::store32(requests_.read, card::load32(requests_.write));
        return Taken::BadCounters;
    }
    const uint32_t read = card::load32(requests_.read);
    const uint8_t *slot = requests_.slot(read);
    request.code = card::load16(slot + offsetof(SlotHeader, code));
    request.sequence = card::load16(slot + offsetof(SlotHeader, sequence));
    request.length = card::load32(slot + offsetof(SlotHeader, length));
    request.payload.clear();
    const bool good = request.length <= capacity();
    if (good) {
        const uint8_t *payload = slot + kSlotHeaderSize;
        request.payload.assign(payload, payload + request.length);
    }
    card::store32(requests_.read, read + 1);
    return good ? Taken::Request : Taken::BadLength;
}

bool RingPort::has_room() const {
    const uint32_t filled = replies_.filled();
    // Counters that cannot be are the host's doing; take the ring as empty, so that it heals.
    return filled <= replies_.mask || filled > replies_.mask + 1;
}

void RingPort::put(const ReplySlot &reply) {
    if (replies_.impossible()) {
        card::store32(replies_.write, card::load32(replies_.read));
    }
    const uint32_t write = card::load32(replies_.write);
    uint8_t *slot = replies_.slot(write);
    card::store16(slot + offsetof(SlotHeader, code), reply.code);
    card::store16(slot + offsetof(SlotHeader, sequence), reply.sequence);
    card::store32(slot + offsetof(SlotHeader, length), reply.length);
    card::store32(slot + offsetof(SlotHeader, status), reply.status);
    const size_t size = std::min<size_t>(reply.payload.size(), capacity());
    if (size > 0) {
        std::memcpy(slot + kSlotHeaderSize, reply.payload.data(), size);
    }
    card::store32(replies_.write, write + 1);
}

} // namespace tarn::vcard
