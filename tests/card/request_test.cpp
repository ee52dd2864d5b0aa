// Raw requests through the library to a card's firmware and back.
#include "master_fixture.h"

#include <atomic>
#include <gmock/gmock.h>
#include <thread>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint16_t kSlaveCount = 19;
constexpr uint16_t kAutoClearSet = 51;
constexpr uint16_t kAutoClearGet = 52;

class Requests : public MasterTest {
  protected:
    uint32_t ask(uint16_t code, uint32_t *value) {
        uint32_t length = sizeof *value;
        return pcie_pkt_send(handle_, code, nullptr, 0, reinterpret_cast<uint8_t *>(value),
                             &length);
    }

    uint32_t tell(uint16_t code, uint32_t value) {
        return pcie_pkt_send(handle_, code, reinterpret_cast<const uint8_t *>(&value), sizeof value,
                             nullptr, nullptr);
    }

    std::string printed_pointers() {
        const StdoutCapture capture;
        show_fifo_size(handle_);
        return capture.text();
    }
};

TEST_F(Requests, PacketGoesThroughThePrimaryMailbox) {
    open();
    uint32_t value = 1;
    EXPECT_EQ(tell(kAutoClearSet, value), 0U);
    const std::vector<vcard::SeenRequest> seen = firmware().seen();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].channel, 0U);
    EXPECT_TRUE(seen[0].primary);
    EXPECT_EQ(seen[0].code, kAutoClearSet);
    EXPECT_THAT(seen[0].payload, ElementsAre(1, 0, 0, 0));
}

TEST_F(Requests, ReplyComesBack) {
    open();
    EXPECT_EQ(tell(kAutoClearSet, 1), 0U);
    uint32_t value = 77;
    EXPECT_EQ(ask(kAutoClearGet, &value), 0U);
    EXPECT_EQ(value, 1U);
}

TEST_F(Requests, CommandGoesThroughTheSecondaryMailboxWithCode47) {
    open();
    const uint8_t data[] = {4, 5, 6};
    EcatRunCommand(handle_, data, sizeof data, nullptr, nullptr);
    const std::vector<vcard::SeenRequest> seen = firmware().seen();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_FALSE(seen[0].primary);
    EXPECT_EQ(seen[0].code, 47);
    EXPECT_THAT(seen[0].payload, ElementsAre(4, 5, 6));
}

TEST_F(Requests, CodeThatTheFirmwareDoesNotKnowGives32772) {
    open();
    EXPECT_EQ(pcie_pkt_send(handle_, 0xBEEF, nullptr, 0, nullptr, nullptr), 32772U);
    EXPECT_EQ(EcatRunCommand(handle_, nullptr, 0, nullptr, nullptr), 32772U);
}

TEST_F(Requests, FirmwaresStatusIsReturnedUnchanged) {
    open();
    refuse(Command::SlaveCount, 0xDEADBEEF);
    EXPECT_EQ(pcie_pkt_send(handle_, kSlaveCount, nullptr, 0, nullptr, nullptr), 0xDEADBEEFU);
}

TEST_F(Requests, NullPayloadWithALengthGives32770AndSendsNothing) {
    open();
    EXPECT_EQ(pcie_pkt_send(handle_, 1, nullptr, 1, nullptr, nullptr), 32770U);
    EXPECT_EQ(EcatRunCommand(handle_, nullptr, 1, nullptr, nullptr), 32770U);
    EXPECT_THAT(seen_codes(), IsEmpty());
}

TEST_F(Requests, ReplyWithoutABufferGives80002) {
    open();
    EXPECT_EQ(pcie_pkt_send(handle_, kAutoClearGet, nullptr, 0, nullptr, nullptr), 80002U);
}

TEST_F(Requests, ReplyLargerThanTheBufferGives80002AndTheNextOneWorks) {
    open();
    firmware().faults().oversize_replies = 1;
    uint32_t value = 77;
    EXPECT_EQ(ask(kAutoClearGet, &value), 80002U);
    EXPECT_EQ(value, 77U);
    EXPECT_EQ(ask(kAutoClearGet, &value), 0U);
}

TEST_F(Requests, ReplyOfImpossibleLengthGives80002AndTheNextOneWorks) {
    open();
    firmware().faults().corrupt_replies = 1;
    std::vector<uint8_t> buffer(1 << 20);
    auto length = static_cast<uint32_t>(buffer.size());
    EXPECT_EQ(pcie_pkt_send(handle_, kAutoClearGet, nullptr, 0, buffer.data(), &length), 80002U);
    EXPECT_EQ(length, 0U);
    uint32_t value = 77;
    EXPECT_EQ(ask(kAutoClearGet, &value), 0U);
}

TEST_F(Requests, StaleReplyIsDropped) {
    open();
    tell(kAutoClearSet, 1);
    firmware().faults().stale_replies = 1;
    uint32_t value = 77;
    EXPECT_EQ(ask(kAutoClearGet, &value), 0U);
    EXPECT_EQ(value, 1U);
}

TEST_F(Requests, SecondCopyOfAReplyIsDroppedByTheNextRequest) {
    vcard::CardConfig config = VirtualCards::default_card();
    config.rings = {4, 256};
    open(config);
    firmware().faults().duplicate_replies = 1;
    EXPECT_EQ(tell(kAutoClearSet, 1), 0U);
    uint32_t value = 77;
    EXPECT_EQ(ask(kAutoClearGet, &value), 0U);
    EXPECT_EQ(value, 1U);
}

TEST_F(Requests, ReplyThatNeverComesGives80003AndTheNextRequestWorks) {
    open();
    EcatSetTimeout(handle_, 60);
    firmware().faults().drop_replies = 1;
    EXPECT_EQ(EcatRunCommand(handle_, nullptr, 0, nullptr, nullptr), 80003U);
    EXPECT_TRUE(has_lost_replies());
    EcatSetTimeout(handle_, 20000);
    EXPECT_EQ(EcatRunCommand(handle_, nullptr, 0, nullptr, nullptr), 32772U);
}

TEST_F(Requests, LateReplyIsDroppedByTheNextRequest) {
    open();
    EcatSetTimeout(handle_, 0);
    firmware().faults().delay_ms = 30;
    EXPECT_EQ(EcatRunCommand(handle_, nullptr, 0, nullptr, nullptr), 80003U);
    firmware().faults().delay_ms = 0;
    EcatSetTimeout(handle_, 20000);
    const uint8_t data = 1;
    EXPECT_EQ(EcatRunCommand(handle_, &data, 1, nullptr, nullptr), 32772U);
    EXPECT_EQ(firmware().seen().size(), 2U);
}

TEST_F(Requests, RingThatTheCardDoesNotDrainGives80001) {
    open();
    EcatSetTimeout(handle_, 20);
    firmware().faults().stop_draining = true;
    EXPECT_EQ(EcatRunCommand(handle_, nullptr, 0, nullptr, nullptr), 80003U); // takes the slot
    uint32_t length = 4;
    uint8_t reply[4];
    EXPECT_EQ(EcatRunCommand(handle_, nullptr, 0, reply, &length), 80001U);
    EXPECT_EQ(length, 0U);
}

TEST_F(Requests, PayloadThatNoSlotHoldsGives80001) {
    open();
    EcatSetTimeout(handle_, 20);
    const std::vector<uint8_t> data(102385);
    EXPECT_EQ(EcatRunCommand(handle_, data.data(), 102385, nullptr, nullptr), 80001U);
    EXPECT_THAT(seen_codes(), IsEmpty());
}

TEST_F(Requests, PayloadThatFillsTheSlotIsSent) {
    open();
    const std::vector<uint8_t> data(102384, 0x5A);
    EXPECT_EQ(EcatRunCommand(handle_, data.data(), 102384, nullptr, nullptr), 32772U);
    ASSERT_EQ(firmware().seen().size(), 1U);
    EXPECT_EQ(firmware().seen()[0].payload, std::vector<uint8_t>(256, 0x5A));
}

TEST_F(Requests, WorkWithoutInterrupts) {
    open();
    firmware().faults().no_interrupts = true;
    uint32_t value = 77;
    EXPECT_EQ(ask(kAutoClearGet, &value), 0U);
}

TEST_F(Requests, EndWithATimeOutWhenTheCardIsGone) {
    open();
    EcatSetTimeout(handle_, 50);
    cards_->stop();
    EXPECT_EQ(EcatRunCommand(handle_, nullptr, 0, nullptr, nullptr), 80003U);
}

TEST_F(Requests, ThreadsTakeTurnsAndEachGetsItsOwnReply) {
    open();
    std::atomic<int> wrong = 0;
    const auto work = [&](bool primary) {
        for (int i = 0; i < 300; ++i) {
            uint32_t value = 77;
            uint32_t length = sizeof value;
            const uint32_t status =
                primary ? pcie_pkt_send(handle_, kAutoClearGet, nullptr, 0,
                                        reinterpret_cast<uint8_t *>(&value), &length)
                        : EcatRunCommand(handle_, nullptr, 0, nullptr, nullptr);
            if (status != (primary ? 0U : 32772U)) {
                ++wrong;
            }
        }
    };
    std::thread others[] = {std::thread(work, true), std::thread(work, false),
                            std::thread(work, false)};
    work(true);
    for (std::thread &other : others) {
        other.join();
    }
    EXPECT_EQ(wrong, 0);
}

class RequestRings : public Requests, public testing::WithParamInterface<uint32_t> {};

// The default card's requests come one by one; the counters pass their 32-bit wrap and the
// sequence its 16-bit one.
TEST_P(RequestRings, Carry65537RequestsInARowAcrossTheWrapOfTheirCounters) {
    vcard::CardConfig config = VirtualCards::default_card();
    config.rings = {GetParam(), 256};
    config.first_counter = 0xFFFF8000;
    open(config);
    for (uint32_t i = 0; i < 65537; ++i) {
        ASSERT_EQ(tell(kAutoClearSet, i & 1), 0U) << i;
    }
    uint32_t value = 77;
    EXPECT_EQ(ask(kAutoClearGet, &value), 0U);
    EXPECT_EQ(value, 0U);
}

INSTANTIATE_TEST_SUITE_P(Slots, RequestRings, testing::Values(1U, 2U, 64U));

TEST_F(Requests, ShowFifoSizePrintsTheCountersAtTheirFixedPlaces) {
    open();
    EXPECT_EQ(tell(kAutoClearSet, 1), 0U);
    EcatRunCommand(handle_, nullptr, 0, nullptr, nullptr);
    cards_->stop();
    for (uint32_t i = 0; i < 4; ++i) { // any values will do to tell the places apart
        poke(area() + 131 * 4 + i * 4, 10 + i);
        poke(area() + 51335 * 4 + i * 4, 0xFFFFFFFF - i);
    }
    EXPECT_EQ(printed_pointers(), "mail_module_h: \r\n"
                                  "<miso>p tr_w:13 ptr_r:12 \r\n"
                                  "<mosi>p tr_w:11 ptr_r:10 \r\n"
                                  "mail_module_l: \r\n"
                                  "<miso>p tr_w:-4 ptr_r:-3 \r\n"
                                  "<mosi>p tr_w:-2 ptr_r:-1 \r\n");
}

TEST_F(Requests, ShowFifoSizeReturnsTheLengthOfTheLastLine) {
    open();
    cards_->stop();
    for (uint32_t i = 0; i < 4; ++i) {
        poke(area() + 51335 * 4 + i * 4, 7U);
    }
    const StdoutCapture capture;
    EXPECT_EQ(show_fifo_size(handle_), sizeof "<mosi>p tr_w:7 ptr_r:7 \r\n" - 1);
}

} // namespace
