// One mailbox of a card in plain memory with a clock of its own, behind the sources of the requests
// alone: nothing here waits, and every time-out is exact. The card works when the host waits for
// its interrupt. Where there are several, the clock and the sleeps are those of the first.
#pragma once

#include "channel/request.h"
#include "layout/card_memory_map.h"
#include "pci_tarn/channel.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarn::test {

using Bytes = std::vector<uint8_t>;

struct Reply {
    uint32_t status = 0;
    Bytes payload = {};
    std::optional<uint32_t> length = {};   // instead of the payload's
    std::optional<uint16_t> sequence = {}; // instead of the request's
};

struct Seen {
    uint16_t code;
    uint16_t sequence;
    Bytes payload;
};

struct Geometry {
    uint32_t slots = 1;
    uint32_t slot_size = 102400;
    uint32_t first_counter = 0;
};

class FakeCard {
  public:
    explicit FakeCard(Geometry geometry = {});
    ~FakeCard();
    FakeCard(const FakeCard &) = delete;
    FakeCard &operator=(const FakeCard &) = delete;

    CommandChannel &channel() { return *channel_; }
    uint32_t &out_read() { return out_pointers_[0]; }
    uint32_t &out_write() { return out_pointers_[1]; }
    uint32_t &in_read() { return in_pointers_[0]; }
    uint32_t &in_write() { return in_pointers_[1]; }
    uint8_t *out_slot(uint32_t counter) { return slot(channel_->out, counter); }
    uint8_t *in_slot(uint32_t counter) { return slot(channel_->in, counter); }

    // Takes every request out of the ring and answers it. True when there was one.
    bool serve();
    void push_reply(uint16_t sequence, const Reply &reply);

    // Codes of the requests seen, in order.
    std::vector<int> codes() const;

    // Gives the replies to one request; none: the card stays silent.
    std::function<std::vector<Reply>(const Seen &)> answer = [](const Seen &) {
        return std::vector<Reply>{{}};
    };
    std::vector<Seen> seen;

    // What the host side did.
    std::vector<uint32_t> waits;  // limit of each interrupt wait
    std::vector<uint32_t> sleeps; // microseconds
    int locks = 0;                // taken and not released
    int locked = 0;               // taken ever
    std::string printed;
    uint32_t doorbell = 0;
    int copies = 0;

    // Hooks into the host's waiting. `on_wait` replaces the interrupt wait and gives its result.
    std::function<uint32_t(uint32_t limit_ms)> on_wait;
    std::function<void()> on_sleep;
    std::function<void()> on_copy;
    std::function<void()> on_lock;
    bool answers_while_spinning = false;

    void pass_ms(uint64_t ms);
    uint64_t now_ms() const;
    uint64_t now_ns = 5'000'000'000;

    uint32_t interrupt_wait(uint32_t limit_ms);

  private:
    static uint8_t *slot(const MailboxRing &ring, uint32_t counter) {
        return ring.slots + size_t{counter & ring.mask} * ring.slot_size;
    }

    std::vector<uint8_t> out_slots_;
    std::vector<uint8_t> in_slots_;
    uint32_t out_pointers_[2];
    uint32_t in_pointers_[2];
    std::unique_ptr<CommandChannel> channel_;
};

template <typename T>
T at(const uint8_t *address) {
    T value;
    std::memcpy(&value, address, sizeof value);
    return value;
}

template <typename T>
Bytes bytes_of(T value) {
    Bytes bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

} // namespace tarn::test
