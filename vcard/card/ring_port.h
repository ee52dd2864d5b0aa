// The card's end of one mailbox: takes requests out of the host's ring and puts replies into the
// card's ring. It trusts nothing that the host can write: places and masks are the card's own.
#pragma once

#include "vcard/card/card_layout.h"
#include "vcard/card/slot_ring.h"

#include <cstdint>
#include <span>
#include <vector>

namespace tarn::vcard {

struct RequestSlot {
    uint16_t code = 0;
    uint16_t sequence = 0;
    uint32_t length = 0;          // as the host wrote it
    std::vector<uint8_t> payload; // empty when the length is impossible
};

struct ReplySlot {
    uint16_t code = 0;
    uint16_t sequence = 0;
    uint32_t length = 0; // as the host shall read it
    uint32_t status = 0;
    std::vector<uint8_t> payload; // fits a slot
};

class RingPort {
  public:
    RingPort(uint8_t *area, const MailboxPlace &place);

    // Most payload bytes of a slot.
    [[nodiscard]] uint32_t capacity() const;

    enum class Taken { Nothing, Request, BadLength, BadCounters };
    // Consumes the oldest request. With impossible counters the ring is emptied instead.
    Taken take(RequestSlot &request);

    [[nodiscard]] bool has_room() const;
    // Call only when there is room.
    void put(const ReplySlot &reply);

    [[nodiscard]] uint32_t slots() const { return replies_.mask + 1; }

  private:
    SlotRing requests_;
    SlotRing replies_;
};

} // namespace tarn::vcard
