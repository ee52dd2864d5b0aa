#include "fake_card.h"

#include "base/card_memory.h"
#include "base/console.h"
#include "pci_tarn/base.h"
#include "pci_tarn/driver.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace tarn::test {

namespace {

std::vector<FakeCard *> mailboxes;

} // namespace

// The one that the clock and the sleeps belong to.
static FakeCard &present() {
    return *mailboxes.front();
}

FakeCard::FakeCard(Geometry geometry)
    : out_slots_(size_t{geometry.slots} * geometry.slot_size, 0xEE),
      in_slots_(out_slots_.size(), 0xEE), out_pointers_{geometry.first_counter,
                                                        geometry.first_counter},
      in_pointers_{geometry.first_counter, geometry.first_counter},
      channel_(std::make_unique<CommandChannel>()) {
    channel_->lock = this;
    channel_->device = this;
    channel_->out = {out_pointers_, out_slots_.data(), geometry.slots - 1, geometry.slot_size};
    channel_->in = {in_pointers_, in_slots_.data(), geometry.slots - 1, geometry.slot_size};
    channel_->doorbell = &doorbell;
    channel_->interrupt = 5;
    mailboxes.push_back(this);
}

FakeCard::~FakeCard() {
    std::erase(mailboxes, this);
}

void FakeCard::pass_ms(uint64_t ms) {
    present().now_ns += ms * 1'000'000;
}

uint64_t FakeCard::now_ms() const {
    return present().now_ns / 1'000'000;
}

void FakeCard::push_reply(uint16_t sequence, const Reply &reply) {
    const uint32_t counter = in_write();
    uint8_t *slot = in_slot(counter);
    card::store16(slot + 4, reply.sequence.value_or(sequence));
    card::store32(slot + 8, reply.length.value_or(static_cast<uint32_t>(reply.payload.size())));
    card::store32(slot + 12, reply.status);
    if (!reply.payload.empty()) {
        std::memcpy(slot + 16, reply.payload.data(), reply.payload.size());
    }
    card::store32(&in_write(), counter + 1);
}

bool FakeCard::serve() {
    bool served = false;
    while (card::load32(&out_write()) != out_read()) {
        const uint8_t *slot = out_slot(out_read());
        const auto length = at<uint32_t>(slot + 8);
        Seen request{at<uint16_t>(slot + 2), at<uint16_t>(slot + 4),
                     Bytes(slot + 16, slot + 16 + length)};
        card::store32(&out_read(), out_read() + 1);
        const std::vector<Reply> replies = answer(request);
        for (const Reply &reply : replies) {
            push_reply(request.sequence, reply);
        }
        seen.push_back(std::move(request));
        served = served || !replies.empty();
    }
    return served;
}

std::vector<int> FakeCard::codes() const {
    std::vector<int> all;
    for (const Seen &request : seen) {
        all.push_back(request.code);
    }
    return all;
}

uint32_t FakeCard::interrupt_wait(uint32_t limit_ms) {
    waits.push_back(limit_ms);
    if (on_wait) {
        return on_wait(limit_ms);
    }
    if (serve()) {
        return 0;
    }
    pass_ms(limit_ms);
    return 258;
}

} // namespace tarn::test

// ---- what the channel sources need of the other rooms ------------------------------------------

using tarn::test::FakeCard;
using tarn::test::mailboxes;
using tarn::test::present;

int tarn::print(const char *format, ...) noexcept {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    present().printed += text;
    return length;
}

uint64_t get_tick_ms(void) {
    return present().now_ns / 1'000'000;
}

uint64_t get_tick_ns(void) {
    present().now_ns += 1000; // so that a loop that looks at the clock ends
    if (present().answers_while_spinning) {
        present().serve();
    }
    return present().now_ns;
}

void __usleep_window(uint32_t microseconds) {
    present().sleeps.push_back(microseconds);
    present().now_ns += uint64_t{microseconds} * 1000;
    if (present().on_sleep) {
        present().on_sleep();
    }
}

void *memcpy_fast(void *destination, const void *source, uint64_t count) {
    ++present().copies;
    if (present().on_copy) {
        present().on_copy();
    }
    return std::memcpy(destination, source, count);
}

uint32_t driverLock(void *lock) {
    auto *card = static_cast<FakeCard *>(lock);
    ++card->locks;
    ++card->locked;
    if (card->on_lock) {
        card->on_lock();
    }
    return 0;
}

uint32_t driverUnlock(void *lock) {
    --static_cast<FakeCard *>(lock)->locks;
    return 0;
}

uint32_t waitInterrupt(const void *device, uint8_t interrupt, uint32_t timeout_ms) {
    const auto card = std::find(mailboxes.begin(), mailboxes.end(), device);
    if (card == mailboxes.end() || interrupt != 5) {
        return 0xFFFFFFFF;
    }
    return (*card)->interrupt_wait(timeout_ms);
}
