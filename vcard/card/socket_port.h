// The card's end of the socket channel: single messages in both directions, without replies. It
// trusts nothing that the host can write.
#pragma once

#include "vcard/card/card_layout.h"
#include "vcard/card/slot_ring.h"

#include <cstdint>
#include <vector>

namespace tarn::vcard {

struct SocketMessage {
    uint32_t type = 0;
    uint32_t parameter = 0;
    uint32_t length = 0;          // as the host wrote it
    std::vector<uint8_t> payload; // empty when the length is impossible
};

class SocketPort {
  public:
    SocketPort(uint8_t *area, const MailboxPlace &place)
        : from_host_(area, place.requests), to_host_(area, place.replies) {}

    // Most payload bytes of a slot.
    [[nodiscard]] uint32_t capacity() const { return from_host_.slot_size - kSlotHeaderSize; }
    [[nodiscard]] uint32_t slots() const { return from_host_.mask + 1; }

    enum class Taken { Nothing, Message, BadLength, BadCounters };
    // Consumes the oldest message. With impossible counters the ring is emptied instead.
    Taken take(SocketMessage &message);

    [[nodiscard]] bool has_room() const;
    // Call only when there is room. The payload must fit a slot.
    void put(const SocketMessage &message);

  private:
    SlotRing from_host_;
    SlotRing to_host_;
};

} // namespace tarn::vcard
