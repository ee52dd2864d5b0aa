// The card's end of the socket channel: echo, log, refusals, a host that does not read.
#include "base/card_memory.h"
#include "card/firmware_bench.h"
#include "support/process.h"
#include "tarn_vcard/records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

using namespace tarn;
using test::Bytes;
using testing::HasSubstr;

namespace {

struct Message {
    uint32_t type = 0;
    uint32_t parameter = 0;
    Bytes payload;
};

class SocketTest : public testing::TestWithParam<uint32_t> {
  protected:
    uint32_t channel() const { return GetParam(); }
    // Of a ring, by the first word of its descriptor.
    uint32_t &counter(uint32_t descriptor, uint32_t which) {
        uint8_t *area = bench.area(channel());
        return *reinterpret_cast<uint32_t *>(area + bench.word(channel(), descriptor) + which * 4);
    }
    uint8_t *slot(uint32_t descriptor, uint32_t count) {
        return bench.area(channel()) + bench.word(channel(), descriptor + 1) +
               size_t{count & 15} * 1040;
    }
    static constexpr uint32_t kIn = 17;
    static constexpr uint32_t kOut = 21;

    bool has_room() { return counter(kOut, 1) - counter(kOut, 0) < 16; }
    void post(uint32_t type, uint32_t parameter, const Bytes &payload, uint32_t length) {
        uint32_t &write = counter(kOut, 1);
        uint8_t *at = slot(kOut, write);
        card::store32(at, type);
        card::store32(at + 4, parameter);
        card::store32(at + 8, length);
        std::copy(payload.begin(), payload.end(), at + 16);
        ++write;
    }
    void post(uint32_t type, uint32_t parameter, const Bytes &payload = {}) {
        post(type, parameter, payload, static_cast<uint32_t>(payload.size()));
    }
    void post_text(const std::string &text) {
        post(VCARD_SOCKET_LOG, 0, {text.begin(), text.end()});
    }
    std::optional<Message> fetch() {
        bench.serve(1);
        uint32_t &read = counter(kIn, 0);
        if (read == counter(kIn, 1)) {
            return std::nullopt;
        }
        const uint8_t *at = slot(kIn, read);
        Message message{card::load32(at), card::load32(at + 4), {}};
        message.payload.assign(at + 16, at + 16 + card::load32(at + 8));
        ++read;
        return message;
    }
    void expect_echo(uint32_t parameter, const Bytes &payload) {
        const auto message = fetch();
        ASSERT_TRUE(message.has_value());
        EXPECT_EQ(message->type, VCARD_SOCKET_ECHO);
        EXPECT_EQ(message->parameter, parameter);
        EXPECT_EQ(message->payload, payload);
    }
    void expect_error(uint32_t type, uint32_t parameter, uint32_t length, uint32_t reason) {
        const auto message = fetch();
        ASSERT_TRUE(message.has_value());
        EXPECT_EQ(message->type, VCARD_SOCKET_ERROR);
        EXPECT_EQ(message->parameter, parameter);
        const auto error = test::value_of<VcardSocketError>(message->payload);
        EXPECT_EQ(message->payload.size(), sizeof error);
        EXPECT_EQ(error.type, type);
        EXPECT_EQ(error.parameter, parameter);
        EXPECT_EQ(error.length, length);
        EXPECT_EQ(error.reason, reason);
    }

    test::FirmwareBench bench;
};

TEST_P(SocketTest, RingsHaveSixteenSlotsOf1040Bytes) {
    for (const uint32_t descriptor : {kIn, kOut}) {
        EXPECT_EQ(bench.word(channel(), descriptor + 2), 1040u);
        EXPECT_EQ(bench.word(channel(), descriptor + 3), 15u);
    }
}

TEST_P(SocketTest, AnEchoComesBackAsItIs) {
    Bytes payload(1024);
    std::iota(payload.begin(), payload.end(), uint8_t{0});
    post(VCARD_SOCKET_ECHO, 0xDEADBEEF, payload);
    expect_echo(0xDEADBEEF, payload);
    EXPECT_FALSE(fetch().has_value());
}

TEST_P(SocketTest, AnEmptyEchoComesBackEmpty) {
    post(VCARD_SOCKET_ECHO, 1);
    expect_echo(1, {});
}

TEST_P(SocketTest, AnAnswerRaisesTheSocketInterrupt) {
    bench.clear_interrupts();
    post(VCARD_SOCKET_ECHO, 1);
    bench.serve();
    EXPECT_EQ(bench.interrupts(), std::vector<unsigned>{channel() * 4 + 3});
}

TEST_P(SocketTest, WithoutInterruptsTheAnswerComesNevertheless) {
    bench.firmware().faults().no_interrupts = true;
    bench.clear_interrupts();
    post(VCARD_SOCKET_ECHO, 1);
    expect_echo(1, {});
    EXPECT_TRUE(bench.interrupts().empty());
}

TEST_P(SocketTest, EveryPieceIsAMessageOfItsOwn) {
    for (uint8_t i = 0; i < 16; ++i) {
        post(VCARD_SOCKET_ECHO, 5, {i});
    }
    for (uint8_t i = 0; i < 16; ++i) {
        expect_echo(5, {i});
    }
}

TEST_P(SocketTest, TextGoesIntoTheLogLineByLine) {
    post_text("first line\nsecond \x1b[1m line\r\n\nthird");
    bench.serve();
    const std::string place = "channel " + std::to_string(channel()) + ": message: ";
    EXPECT_TRUE(bench.logged(place + "first line"));
    EXPECT_TRUE(bench.logged(place + "second \\x1b[1m line"));
    EXPECT_TRUE(bench.logged(place + "third"));
    EXPECT_FALSE(fetch().has_value());
}

TEST_P(SocketTest, AZeroEndsALineOfText) {
    post_text(std::string("one\0two\0", 8));
    bench.serve();
    EXPECT_TRUE(bench.logged("message: one"));
    EXPECT_TRUE(bench.logged("message: two"));
}

TEST_P(SocketTest, EmptyTextIsNoLine) {
    post_text("");
    post_text("\n\n");
    bench.serve();
    EXPECT_FALSE(bench.logged("message:"));
}

TEST_P(SocketTest, AnUnknownTypeIsAnsweredWithAnError) {
    post(77, 88, {1, 2, 3});
    expect_error(77, 88, 3, VCARD_SOCKET_UNKNOWN_TYPE);
    EXPECT_TRUE(bench.logged("message of type 77 refused"));
}

TEST_P(SocketTest, TheErrorsOwnTypeIsUnknown) {
    post(VCARD_SOCKET_ERROR, 1);
    expect_error(VCARD_SOCKET_ERROR, 1, 0, VCARD_SOCKET_UNKNOWN_TYPE);
}

TEST_P(SocketTest, AnImpossibleLengthIsAnsweredWithAnErrorAndTheNextMessageComes) {
    post(VCARD_SOCKET_ECHO, 1, {}, 1025);
    post(VCARD_SOCKET_ECHO, 2, {}, 0xFFFFFFFF);
    post(VCARD_SOCKET_ECHO, 3);
    expect_error(VCARD_SOCKET_ECHO, 1, 1025, VCARD_SOCKET_BAD_LENGTH);
    expect_error(VCARD_SOCKET_ECHO, 2, 0xFFFFFFFF, VCARD_SOCKET_BAD_LENGTH);
    expect_echo(3, {});
}

TEST_P(SocketTest, ImpossibleCountersEmptyTheRing) {
    counter(kOut, 1) += 1000;
    bench.serve();
    EXPECT_TRUE(bench.logged("socket: impossible counters"));
    EXPECT_EQ(counter(kOut, 0), counter(kOut, 1));
    post(VCARD_SOCKET_ECHO, 3);
    expect_echo(3, {});
}

TEST_P(SocketTest, ImpossibleCountersOfTheInboundRingHeal) {
    counter(kIn, 0) += 1000;
    post(VCARD_SOCKET_ECHO, 3);
    expect_echo(3, {});
}

TEST_P(SocketTest, AHostThatDoesNotReadFindsItsRingFullAndLosesNothing) {
    uint32_t posted = 0;
    for (int round = 0; round < 10; ++round) {
        while (has_room()) {
            post(VCARD_SOCKET_ECHO, posted++);
        }
        bench.serve();
    }
    EXPECT_FALSE(has_room());
    EXPECT_EQ(posted, 48u); // 16 in each ring, 16 that wait between them
    EXPECT_THAT(bench.firmware().describe(), HasSubstr("32 messages in, 16 out, 16 waiting"));
    for (uint32_t i = 0; i < posted; ++i) {
        expect_echo(i, {});
    }
    EXPECT_FALSE(fetch().has_value());
}

TEST_P(SocketTest, WhatIsNotDrainedStaysInTheRing) {
    bench.firmware().faults().stop_draining = true;
    post(VCARD_SOCKET_ECHO, 3);
    EXPECT_FALSE(fetch().has_value());
    EXPECT_EQ(counter(kOut, 1) - counter(kOut, 0), 1u);
    bench.firmware().faults().stop_draining = false;
    expect_echo(3, {});
}

TEST_P(SocketTest, MessagesOutliveAResetOfTheCard) {
    bench.firmware().faults().stop_draining = true;
    post(VCARD_SOCKET_ECHO, 3);
    card::store32(bench.bar(2) + 0x188, 1);
    bench.serve();
    bench.firmware().faults().stop_draining = false;
    std::optional<Message> message;
    ASSERT_TRUE(test::eventually([&] {
        message = fetch();
        return message.has_value();
    }));
    EXPECT_EQ(message->parameter, 3u);
}

TEST_P(SocketTest, CountersWrap) {
    for (const uint32_t descriptor : {kIn, kOut}) {
        counter(descriptor, 0) = counter(descriptor, 1) = 0xFFFFFFF8;
    }
    for (uint32_t i = 0; i < 40; ++i) {
        post(VCARD_SOCKET_ECHO, i);
        expect_echo(i, {});
    }
}

INSTANTIATE_TEST_SUITE_P(Channels, SocketTest, testing::Values(0u, 1u));

} // namespace
