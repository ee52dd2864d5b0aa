// The raw queue operations on rings in plain memory.
#include "pci_tarn/channel.h"

#include <cstring>
#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kSlotSize = 64;
constexpr uint32_t kRead = 0;
constexpr uint32_t kWrite = 1;

struct Ring {
    explicit Ring(uint32_t slots, uint32_t slot_size = kSlotSize, uint32_t first_counter = 0)
        : memory(size_t{slots} * slot_size, 0xEE), counters{first_counter, first_counter},
          view{counters, memory.data(), slots - 1, slot_size} {}

    uint8_t *slot(uint32_t n) { return memory.data() + size_t{n} * view.slot_size; }

    Bytes memory;
    uint32_t counters[2];
    MailboxRing view;
};

// A slot image with a payload of this length.
Bytes image(uint32_t payload, uint8_t first = 1) {
    Bytes bytes(16 + size_t{payload});
    std::iota(bytes.begin(), bytes.end(), first);
    memcpy(&bytes[8], &payload, sizeof payload);
    return bytes;
}

int32_t push(Ring &ring, const Bytes &bytes) {
    return mailbox_queue_push(&ring.view, bytes.data(), static_cast<uint32_t>(bytes.size()));
}

void set_length(Ring &ring, uint32_t slot, uint32_t length) {
    memcpy(ring.slot(slot) + 8, &length, sizeof length);
}

// ---- push --------------------------------------------------------------------------------------

TEST(RingPush, CopiesTheImageIntoTheSlotAndAdvancesTheWriteCounterOnly) {
    Ring ring(2);
    EXPECT_EQ(push(ring, image(10)), 0);
    EXPECT_EQ(Bytes(ring.slot(0), ring.slot(0) + 26), image(10));
    EXPECT_EQ(ring.slot(0)[26], 0xEE);
    EXPECT_EQ(ring.counters[kWrite], 1U);
    EXPECT_EQ(ring.counters[kRead], 0U);
}

TEST(RingPush, FillsTheSlotsInTurn) {
    Ring ring(2);
    push(ring, image(1, 10));
    push(ring, image(1, 20));
    EXPECT_EQ(ring.slot(0)[0], 10);
    EXPECT_EQ(ring.slot(1)[0], 20);
}

TEST(RingPush, AcceptsOneMoreWhenMaskSlotsAreFilled) {
    Ring ring(4);
    ring.counters[kWrite] = 3;
    EXPECT_EQ(push(ring, image(1)), 0);
    EXPECT_EQ(push(ring, image(1)), -2);
    EXPECT_EQ(ring.counters[kWrite], 4U);
}

TEST(RingPush, RingOfOneSlotTakesOne) {
    Ring ring(1);
    EXPECT_EQ(push(ring, image(1)), 0);
    EXPECT_EQ(push(ring, image(1)), -2);
}

TEST(RingPush, ImageOfTheSlotSizeFits) {
    Ring ring(2);
    EXPECT_EQ(push(ring, image(kSlotSize - 16)), 0);
    EXPECT_EQ(ring.slot(1)[0], 0xEE);
}

TEST(RingPush, LongerImageIsRefused) {
    Ring ring(2);
    EXPECT_EQ(push(ring, image(kSlotSize - 15)), -1);
    EXPECT_EQ(ring.counters[kWrite], 0U);
    EXPECT_EQ(ring.slot(0)[0], 0xEE);
}

TEST(RingPush, LengthIsLookedAtBeforeTheRoom) {
    Ring ring(1);
    push(ring, image(1));
    EXPECT_EQ(push(ring, image(kSlotSize)), -1);
}

TEST(RingPush, WorksAcrossTheWrapOfTheCounters) {
    Ring ring(4, kSlotSize, 0xFFFFFFFE);
    for (uint8_t i = 0; i < 4; ++i) {
        EXPECT_EQ(push(ring, image(1, static_cast<uint8_t>(10 * i))), 0);
    }
    EXPECT_EQ(push(ring, image(1)), -2);
    EXPECT_EQ(ring.counters[kWrite], 2U);
    EXPECT_EQ(ring.slot(2)[0], 0);  // 0xFFFFFFFE
    EXPECT_EQ(ring.slot(0)[0], 20); // wrapped to 0
}

TEST(RingPush, EmptyImageTakesASlot) {
    Ring ring(1);
    const uint8_t nothing = 0;
    EXPECT_EQ(mailbox_queue_push(&ring.view, &nothing, 0), 0);
    EXPECT_EQ(ring.counters[kWrite], 1U);
    EXPECT_EQ(ring.slot(0)[0], 0xEE);
}

TEST(RingPush, NullRingIsRefused) {
    const uint8_t data[16] = {};
    EXPECT_EQ(mailbox_queue_push(nullptr, data, sizeof data), -1);
}

TEST(RingPush, UnboundRingIsRefused) {
    MailboxRing ring = {nullptr, nullptr, 0, kSlotSize};
    const uint8_t data[16] = {};
    EXPECT_EQ(mailbox_queue_push(&ring, data, sizeof data), -1);
}

TEST(RingPush, NullDataIsRefused) {
    Ring ring(1);
    EXPECT_EQ(mailbox_queue_push(&ring.view, nullptr, 16), -1);
    EXPECT_EQ(mailbox_queue_push(&ring.view, nullptr, 0), -1);
    EXPECT_EQ(ring.counters[kWrite], 0U);
}

// ---- pop ---------------------------------------------------------------------------------------

TEST(RingPop, CopiesHeaderAndPayloadAndNoMore) {
    Ring ring(2);
    push(ring, image(10));
    Bytes out(kSlotSize, 0xAA);
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out.data()), 0);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 26), image(10));
    EXPECT_EQ(Bytes(out.begin() + 26, out.end()), Bytes(kSlotSize - 26, 0xAA));
    EXPECT_EQ(ring.counters[kRead], 1U);
    EXPECT_EQ(ring.counters[kWrite], 1U);
}

TEST(RingPop, EmptyPayloadGivesTheHeader) {
    Ring ring(1);
    push(ring, image(0));
    Bytes out(kSlotSize, 0xAA);
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out.data()), 0);
    EXPECT_EQ(out[15], 16);
    EXPECT_EQ(out[16], 0xAA);
}

TEST(RingPop, GivesTheOldestFirst) {
    Ring ring(4);
    push(ring, image(1, 10));
    push(ring, image(1, 20));
    uint8_t out[kSlotSize];
    mailbox_queue_pop(&ring.view, out);
    EXPECT_EQ(out[0], 10);
    mailbox_queue_pop(&ring.view, out);
    EXPECT_EQ(out[0], 20);
}

TEST(RingPop, EmptyRingGivesNothing) {
    Ring ring(2, kSlotSize, 7);
    Bytes out(kSlotSize, 0xAA);
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out.data()), -1);
    EXPECT_EQ(out, Bytes(kSlotSize, 0xAA));
}

TEST(RingPop, PayloadThatFillsTheSlotIsGiven) {
    Ring ring(1);
    push(ring, image(kSlotSize - 16));
    uint8_t out[kSlotSize];
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out), 0);
}

TEST(RingPop, PayloadBeyondTheSlotIsRefusedAndBlocksTheRing) {
    Ring ring(2);
    push(ring, image(1));
    push(ring, image(1));
    set_length(ring, 0, kSlotSize - 15);
    uint8_t out[kSlotSize];
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out), -1);
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out), -1);
    EXPECT_EQ(ring.counters[kRead], 0U);
}

TEST(RingPop, PayloadOf102385BytesIsRefusedThoughTheSlotWouldHoldIt) {
    Ring ring(1, 110000);
    push(ring, image(102385));
    Bytes out(110000);
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out.data()), -1);
    EXPECT_EQ(ring.counters[kRead], 0U);
}

TEST(RingPop, PayloadOf102384BytesIsGiven) {
    Ring ring(1, 102400);
    push(ring, image(102384));
    Bytes out(102400);
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out.data()), 0);
    EXPECT_EQ(out, image(102384));
}

TEST(RingPop, LengthNear32BitsDoesNotWrapIntoASmallOne) {
    Ring ring(1);
    push(ring, image(1));
    set_length(ring, 0, 0xFFFFFFF8);
    uint8_t out[kSlotSize];
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out), -1);
    EXPECT_EQ(ring.counters[kRead], 0U);
}

TEST(RingPop, WorksAcrossTheWrapOfTheCounters) {
    Ring ring(4, kSlotSize, 0xFFFFFFFF);
    push(ring, image(1, 10));
    push(ring, image(1, 20));
    uint8_t out[kSlotSize];
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out), 0);
    EXPECT_EQ(ring.counters[kRead], 0U);
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out), 0);
    EXPECT_EQ(out[0], 20);
    EXPECT_EQ(mailbox_queue_pop(&ring.view, out), -1);
}

TEST(RingPop, NullRingIsRefused) {
    uint8_t out[kSlotSize];
    EXPECT_EQ(mailbox_queue_pop(nullptr, out), -1);
}

TEST(RingPop, UnboundRingIsRefused) {
    MailboxRing ring = {nullptr, nullptr, 0, kSlotSize};
    uint8_t out[kSlotSize];
    EXPECT_EQ(mailbox_queue_pop(&ring, out), -1);
}

TEST(RingPop, NullBufferIsRefused) {
    Ring ring(1);
    push(ring, image(1));
    EXPECT_EQ(mailbox_queue_pop(&ring.view, nullptr), -1);
    EXPECT_EQ(ring.counters[kRead], 0U);
}

class RingTraffic : public testing::TestWithParam<uint32_t> {};

TEST_P(RingTraffic, KeepsOrderAndContentOverManyRounds) {
    Ring ring(GetParam(), kSlotSize, 0xFFFFFF00);
    uint8_t out[kSlotSize];
    uint8_t next_in = 0;
    uint8_t next_out = 0;
    for (int round = 0; round < 1000; ++round) {
        while (push(ring, image(4, next_in)) == 0) {
            ++next_in;
        }
        EXPECT_EQ(ring.counters[kWrite] - ring.counters[kRead], GetParam());
        for (uint32_t taken = 0; taken < GetParam(); ++taken) {
            ASSERT_EQ(mailbox_queue_pop(&ring.view, out), 0);
            ASSERT_EQ(out[0], next_out++);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Slots, RingTraffic, testing::Values(1U, 2U, 64U));

} // namespace
