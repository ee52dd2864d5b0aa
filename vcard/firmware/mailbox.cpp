#include "vcard/firmware/mailbox.h"

#include <algorithm>
#include <utility>

namespace tarn::vcard {

namespace {

constexpr uint32_t kOversize = 16; // bytes that an oversized reply gets on top
constexpr uint32_t kCorruptLength = 0xFFFFFFF0;

} // namespace

bool take_fault(std::atomic<uint32_t> &remaining) {
    uint32_t count = remaining.load();
    while (count > 0) {
        if (remaining.compare_exchange_weak(count, count - 1)) {
            return true;
        }
    }
    return false;
}

Mailbox::Mailbox(bool primary, RingPort port, FileStore &files, Faults &faults,
                 std::function<void()> ring)
    : primary_(primary), port_(port), transfer_(files), faults_(faults), ring_(std::move(ring)) {}

void Mailbox::answer(uint16_t code, uint16_t sequence, Reply reply, Clock::time_point now) {
    if (take_fault(faults_.drop_replies)) {
        return;
    }
    const Clock::time_point due = now + std::chrono::milliseconds(faults_.delay_ms.load());
    if (take_fault(faults_.stale_replies)) {
        const auto stale = static_cast<uint16_t>(sequence ^ 0x8000U);
        waiting_.push_back({{code, stale, 0, 0, {}}, due});
    }
    ReplySlot slot{code, sequence, 0, reply.status, std::move(reply.payload)};
    if (take_fault(faults_.oversize_replies)) {
        slot.payload.resize(std::min<size_t>(slot.payload.size() + kOversize, port_.capacity()));
    }
    slot.length = static_cast<uint32_t>(slot.payload.size());
    if (take_fault(faults_.corrupt_replies)) {
        slot.length = kCorruptLength;
    }
    if (take_fault(faults_.duplicate_replies)) {
        waiting_.push_back({slot, due});
    }
    waiting_.push_back({std::move(slot), due});
}

bool Mailbox::flush(Clock::time_point now) {
    bool sent = false;
    while (!waiting_.empty() && waiting_.front().due <= now && port_.has_room()) {
        port_.put(waiting_.front().slot);
        waiting_.pop_front();
        sent = true;
    }
    if (sent && !faults_.no_interrupts) {
        ring_();
    }
    return sent;
}

} // namespace tarn::vcard
