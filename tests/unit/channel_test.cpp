// Channels and boards without a card: records, filling them, null arguments.
#include "pci_tarn/pci_tarn.h"
#include "support/capture.h"

#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

namespace {

TEST(CommandChannelRecord, HasItsFieldsInTheirPlaces) {
    EXPECT_EQ(offsetof(CommandChannel, lock), 0U);
    EXPECT_EQ(offsetof(CommandChannel, second_lock), 8U);
    EXPECT_EQ(offsetof(CommandChannel, device), 16U);
    EXPECT_EQ(offsetof(CommandChannel, out), 24U);
    EXPECT_EQ(offsetof(CommandChannel, in), 48U);
    EXPECT_EQ(offsetof(CommandChannel, doorbell), 72U);
    EXPECT_EQ(offsetof(CommandChannel, interrupt), 80U);
    EXPECT_EQ(offsetof(CommandChannel, transfer_buffer), 84U);
    EXPECT_EQ(sizeof(CommandChannel), 102472U);
}

TEST(CommandChannelRecord, RingViewHasItsFieldsInTheirPlaces) {
    EXPECT_EQ(offsetof(MailboxRing, pointers), 0U);
    EXPECT_EQ(offsetof(MailboxRing, slots), 8U);
    EXPECT_EQ(offsetof(MailboxRing, mask), 16U);
    EXPECT_EQ(offsetof(MailboxRing, slot_size), 20U);
    EXPECT_EQ(sizeof(MailboxRing), 24U);
}

class MailboxInit : public testing::Test {
  protected:
    MailboxInit() { memset(channel.get(), 0xAA, sizeof *channel); }

    void expect_filled() const {
        EXPECT_EQ(channel->lock, &lock);
        EXPECT_EQ(channel->device, &device);
        EXPECT_EQ(channel->out.pointers, counters);
        EXPECT_EQ(channel->out.slots, slots);
        EXPECT_EQ(channel->out.mask, 3U);
        EXPECT_EQ(channel->out.slot_size, 64U);
        EXPECT_EQ(channel->in.pointers, counters + 2);
        EXPECT_EQ(channel->in.slots, slots + 256);
        EXPECT_EQ(channel->in.mask, 1U);
        EXPECT_EQ(channel->in.slot_size, 128U);
        EXPECT_EQ(channel->doorbell, &doorbell);
        EXPECT_EQ(channel->interrupt, 5U);
        EXPECT_EQ(channel->transfer_buffer[0], 0xAA);
        EXPECT_EQ(channel->transfer_buffer[PCI_TARN_CHUNK_SIZE - 1], 0xAA);
    }

    std::unique_ptr<CommandChannel> channel = std::make_unique<CommandChannel>();
    int lock = 0;
    int second_lock = 0;
    int device = 0;
    uint32_t counters[4] = {};
    uint8_t slots[512] = {};
    uint32_t doorbell = 0;
    MailboxRing out = {counters, slots, 3, 64};
    MailboxRing in = {counters + 2, slots + 256, 1, 128};
};

TEST_F(MailboxInit, FillsTheChannelAndLeavesTheSecondLock) {
    EXPECT_EQ(mailbox_init(channel.get(), &lock, &device, &out, &in, &doorbell, 5), 0);
    expect_filled();
    void *untouched = nullptr;
    memset(&untouched, 0xAA, sizeof untouched);
    EXPECT_EQ(channel->second_lock, untouched);
}

TEST_F(MailboxInit, SocketVariantSetsTheSecondLockToo) {
    EXPECT_EQ(
        mailbox_sock_init(channel.get(), &lock, &second_lock, &device, &out, &in, &doorbell, 5), 0);
    expect_filled();
    EXPECT_EQ(channel->second_lock, &second_lock);
}

TEST_F(MailboxInit, NullRingsAreAbsent) {
    EXPECT_EQ(mailbox_init(channel.get(), &lock, &device, nullptr, nullptr, &doorbell, 5), 0);
    EXPECT_EQ(channel->out.pointers, nullptr);
    EXPECT_EQ(mailbox_queue_pop(&channel->in, slots), -1);
}

TEST_F(MailboxInit, NullChannelIsIgnored) {
    EXPECT_EQ(mailbox_init(nullptr, &lock, &device, &out, &in, &doorbell, 5), 0);
    EXPECT_EQ(mailbox_sock_init(nullptr, &lock, &second_lock, &device, &out, &in, &doorbell, 5), 0);
}

TEST(NullHandle, RawRequestsGive80013) {
    uint8_t reply[4];
    uint32_t length = sizeof reply;
    EXPECT_EQ(pcie_pkt_send(nullptr, 1, nullptr, 0, reply, &length), 80013U);
    EXPECT_EQ(EcatRunCommand(nullptr, nullptr, 0, reply, &length), 80013U);
    EXPECT_EQ(length, sizeof reply);
}

TEST(NullHandle, IsLookedAtBeforeThePayload) {
    EXPECT_EQ(pcie_pkt_send(nullptr, 1, nullptr, 1, nullptr, nullptr), 80013U);
    EXPECT_EQ(EcatRunCommand(nullptr, nullptr, 1, nullptr, nullptr), 80013U);
}

TEST(NullHandle, ShowFifoSizeGives80013AndPrintsNothing) {
    const tarn::test::StdoutCapture capture;
    EXPECT_EQ(show_fifo_size(nullptr), 80013);
    EXPECT_EQ(capture.text(), "");
}

TEST(NullHandle, BoardFunctionsGive80013) {
    BoardInfo info;
    uint32_t alias = 77;
    EXPECT_EQ(BoardCheckVersion(nullptr, 1), 80013U);
    EXPECT_EQ(BoardGetInfo(nullptr, &info), 80013U);
    EXPECT_EQ(BoardGetInfo_Alias(nullptr, &alias), 80013U);
    EXPECT_EQ(alias, 77U);
    EXPECT_EQ(__BoardIOModuleReset(nullptr), 80013U);
}

TEST(NullHandle, BoardStructVersionIsZeroAndNoStatus) {
    EXPECT_EQ(BoardGetStructVersion(nullptr), 0U);
}

TEST(NullHandle, BoardCloseIsFine) {
    EXPECT_EQ(BoardClose(nullptr), 0U);
}

TEST(NullHandle, BoardOpenWithoutAPlaceForTheHandleGives32770) {
    EXPECT_EQ(BoardOpen(nullptr, "ID0"), 32770U);
}

TEST(NullName, BoardOpenGives80004AndANullHandle) {
    int poison = 0;
    auto *board = reinterpret_cast<BoardHandle *>(&poison);
    EXPECT_EQ(BoardOpen(&board, nullptr), 80004U);
    EXPECT_EQ(board, nullptr);
}

} // namespace
