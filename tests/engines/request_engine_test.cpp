// The request transaction, step by step.
#include "fake_card.h"

#include "base/card_memory.h"
#include "handle/ecat_handle.h"

#include <atomic>
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <thread>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr Command kCode{0x1234};

void record_fraction(void *arg, float fraction) {
    static_cast<std::vector<float> *>(arg)->push_back(fraction);
}

std::vector<Reply> silent(const Seen &) {
    return {};
}

Bytes counted(size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

uint32_t ask(FakeCard &card, uint32_t timeout_ms = 100) {
    return transact(card.channel(), {.code = kCode}, timeout_ms);
}

// ---- the request slot --------------------------------------------------------------------------

TEST(RequestSlot, CarriesCodeSequenceLengthAndPayload) {
    FakeCard card({.first_counter = 0x00031F00});
    const Bytes data = counted(33);
    EXPECT_EQ(transact(card.channel(), {.code = kCode, .data = data.data(), .length = 33}, 100),
              0U);
    const uint8_t *slot = card.out_slot(0x00031F00);
    EXPECT_EQ(at<uint16_t>(slot + 2), 0x1234);
    EXPECT_EQ(at<uint16_t>(slot + 4), 0x1F00);
    EXPECT_EQ(at<uint32_t>(slot + 8), 33U);
    EXPECT_EQ(Bytes(slot + 16, slot + 16 + 33), data);
    EXPECT_EQ(card.out_write(), 0x00031F01U);
}

TEST(RequestSlot, LeavesItsReservedBytesAndStatusAsTheyWere) {
    FakeCard card;
    ask(card);
    const uint8_t *slot = card.out_slot(0);
    EXPECT_EQ(at<uint16_t>(slot + 0), 0xEEEE);
    EXPECT_EQ(at<uint16_t>(slot + 6), 0xEEEE);
    EXPECT_EQ(at<uint32_t>(slot + 12), 0xEEEEEEEEU);
    EXPECT_EQ(slot[16], 0xEE);
}

TEST(RequestSlot, IsFilledHeaderFirstThenPayloadThenPublishedThenTheDoorbellRings) {
    FakeCard card;
    const Bytes data = counted(8);
    card.on_copy = [&] {
        const uint8_t *slot = card.out_slot(0);
        EXPECT_EQ(at<uint16_t>(slot + 2), 0x1234);
        EXPECT_EQ(at<uint16_t>(slot + 4), 0);
        EXPECT_EQ(at<uint32_t>(slot + 8), 8U);
        EXPECT_EQ(slot[16], 0xEE);
        EXPECT_EQ(card.out_write(), 0U);
        EXPECT_EQ(card.doorbell, 0U);
    };
    transact(card.channel(), {.code = kCode, .data = data.data(), .length = 8}, 100);
    EXPECT_EQ(card.copies, 1);
    EXPECT_EQ(card.out_write(), 1U);
    EXPECT_EQ(card.doorbell, 1U);
}

TEST(RequestSlot, UsesTheSlotThatTheWriteCounterDesignates) {
    FakeCard card({.slots = 4, .slot_size = 64, .first_counter = 6});
    ask(card);
    EXPECT_EQ(at<uint16_t>(card.out_slot(6) + 2), 0x1234);
    EXPECT_EQ(at<uint16_t>(card.out_slot(5) + 2), 0xEEEE);
}

TEST(RequestSlot, SequenceRepeatsAfter65536Requests) {
    FakeCard card({.first_counter = 0xFFFF});
    ask(card);
    ask(card);
    EXPECT_EQ(card.seen[0].sequence, 0xFFFF);
    EXPECT_EQ(card.seen[1].sequence, 0);
}

// ---- waiting for a free slot -------------------------------------------------------------------

TEST(FreeSlot, IsThereWhileNoMoreThanMaskSlotsAreFilled) {
    FakeCard card({.slots = 4, .slot_size = 64});
    card.out_write() = 3;
    card.out_read() = 0;
    card.answer = silent;
    EXPECT_EQ(ask(card, 0), 80003U);
    EXPECT_EQ(card.out_write(), 4U);
}

TEST(FreeSlot, FullRingEndsIn80001AfterTheTimeOutAndWritesNothing) {
    FakeCard card({.slots = 2, .slot_size = 64});
    card.out_write() = 2;
    const uint64_t start = card.now_ms();
    uint8_t reply[4];
    uint32_t length = sizeof reply;
    EXPECT_EQ(
        transact(card.channel(), {.code = kCode, .reply = reply, .reply_length = &length}, 100),
        80001U);
    EXPECT_EQ(card.now_ms() - start, 100U);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(card.out_write(), 2U);
    EXPECT_EQ(card.doorbell, 0U);
    EXPECT_EQ(card.out_slot(0)[2], 0xEE);
}

TEST(FreeSlot, IsPolledEveryMillisecond) {
    FakeCard card;
    card.out_write() = 1;
    ask(card, 50);
    EXPECT_THAT(card.sleeps, SizeIs(50));
    EXPECT_THAT(card.sleeps, Each(1000U));
}

TEST(FreeSlot, TimeOutZeroLooksOnce) {
    FakeCard card;
    card.out_write() = 1;
    EXPECT_EQ(ask(card, 0), 80001U);
    EXPECT_THAT(card.sleeps, IsEmpty());
}

TEST(FreeSlot, IsTakenAsSoonAsTheCardDrains) {
    FakeCard card;
    card.out_write() = 1;
    card.on_sleep = [&] {
        if (card.sleeps.size() == 7) {
            card.out_read() = 1;
        }
    };
    EXPECT_EQ(ask(card), 0U);
    EXPECT_THAT(card.sleeps, SizeIs(7));
}

TEST(FreeSlot, RequestThatFillsTheSlotFits) {
    FakeCard card({.slot_size = 64});
    const Bytes data = counted(48);
    EXPECT_EQ(transact(card.channel(), {.code = kCode, .data = data.data(), .length = 48}, 100),
              0U);
    EXPECT_EQ(card.seen.at(0).payload, data);
}

TEST(FreeSlot, RequestThatNeverFitsEndsIn80001AfterTheWholeTimeOut) {
    FakeCard card({.slot_size = 64});
    const Bytes data = counted(49);
    const uint64_t start = card.now_ms();
    EXPECT_EQ(transact(card.channel(), {.code = kCode, .data = data.data(), .length = 49}, 250),
              80001U);
    EXPECT_EQ(card.now_ms() - start, 250U);
    EXPECT_EQ(card.out_write(), 0U);
}

TEST(FreeSlot, LengthNear32BitsDoesNotWrapIntoASmallOne) {
    FakeCard card({.slot_size = 64});
    const uint8_t data = 0;
    EXPECT_EQ(transact(card.channel(), {.code = kCode, .data = &data, .length = 0xFFFFFFF8}, 3),
              80001U);
    EXPECT_EQ(card.out_write(), 0U);
}

TEST(FreeSlot, ProgressIsNeverCalledWithoutOne) {
    FakeCard card;
    card.out_write() = 1;
    std::vector<float> fractions;
    EXPECT_EQ(transact(card.channel(), {.code = kCode}, 20, record_fraction, &fractions), 80001U);
    EXPECT_THAT(fractions, IsEmpty());
}

// ---- waiting for the reply ---------------------------------------------------------------------

TEST(ReplyWait, BlocksInRoundsOf40Milliseconds) {
    FakeCard card;
    card.answer = silent;
    const uint64_t start = card.now_ms();
    EXPECT_EQ(ask(card, 100), 80003U);
    EXPECT_THAT(card.waits, ElementsAre(40U, 40U, 40U));
    EXPECT_EQ(card.now_ms() - start, 120U);
}

TEST(ReplyWait, LastRoundIsNotCutShort) {
    FakeCard card;
    card.answer = silent;
    EXPECT_EQ(ask(card, 1), 80003U);
    EXPECT_THAT(card.waits, ElementsAre(40U));
}

TEST(ReplyWait, TimeOutStartsAfreshAfterTheWaitForASlot) {
    FakeCard card;
    card.out_write() = 1;
    card.on_sleep = [&] {
        if (card.sleeps.size() == 90) {
            card.out_read() = 1;
        }
    };
    card.on_wait = [&](uint32_t) {
        card.pass_ms(40);
        if (card.waits.size() == 2) {
            card.serve();
        }
        return 258U;
    };
    EXPECT_EQ(ask(card, 100), 0U);
}

TEST(ReplyWait, TimeOutLeavesTheReplyLengthZeroAndTheRequestSent) {
    FakeCard card;
    card.answer = silent;
    uint8_t reply[4];
    uint32_t length = sizeof reply;
    EXPECT_EQ(
        transact(card.channel(), {.code = kCode, .reply = reply, .reply_length = &length}, 10),
        80003U);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(card.out_write(), 1U);
}

TEST(ReplyWait, TimeOutZeroTakesAReplyThatIsThere) {
    FakeCard card({.slots = 2, .slot_size = 64});
    card.push_reply(0, {.status = 7});
    EXPECT_EQ(ask(card, 0), 7U);
    EXPECT_THAT(card.waits, IsEmpty());
}

TEST(ReplyWait, TimeOutZeroWithoutAReplyEndsAtOnce) {
    FakeCard card;
    EXPECT_EQ(ask(card, 0), 80003U);
    EXPECT_THAT(card.waits, IsEmpty());
}

TEST(ReplyWait, DropsRepliesOfEarlierRequests) {
    FakeCard card({.slots = 4, .slot_size = 64, .first_counter = 10});
    card.push_reply(8, {.status = 1});
    card.push_reply(9, {.status = 2});
    EXPECT_EQ(ask(card), 0U);
    EXPECT_EQ(card.in_read(), card.in_write());
}

TEST(ReplyWait, DropsStaleRepliesBeforeItLooksAtTheTime) {
    FakeCard card({.slots = 4, .slot_size = 64, .first_counter = 10});
    card.push_reply(8, {.status = 1});
    card.push_reply(9, {.status = 2});
    card.push_reply(10, {.status = 3});
    EXPECT_EQ(ask(card, 0), 3U);
}

TEST(ReplyWait, ReplyThatComesTooLateIsDroppedByTheNextRequest) {
    FakeCard card({.slots = 2, .slot_size = 64});
    card.answer = [&](const Seen &request) {
        return card.seen.empty() ? std::vector<Reply>{}
                                 : std::vector<Reply>{{.status = 1, .sequence = uint16_t{0}},
                                                      {.status = 2, .sequence = request.sequence}};
    };
    EXPECT_EQ(ask(card), 80003U);
    EXPECT_EQ(ask(card), 2U);
}

TEST(ReplyWait, NeverLooksAtTheReplysCommandCode) {
    FakeCard card;
    card.push_reply(0, {.status = 4});
    card.in_slot(0)[2] = 0x99;
    EXPECT_EQ(ask(card), 4U);
}

TEST(ReplyWait, ReplyThatComesWithinMicrosecondsNeedsNoInterrupt) {
    FakeCard card;
    card.answers_while_spinning = true;
    for (int i = 0; i < 300; ++i) { // a trial comes at the latest after 256 requests
        card.waits.clear();
        ask(card);
    }
    EXPECT_THAT(card.waits, IsEmpty());
}

TEST(ReplyWait, OneLatchedInterruptCostsNoSleep) {
    FakeCard card;
    card.on_wait = [&](uint32_t) {
        if (card.waits.size() == 2) {
            card.serve();
        }
        return 0U;
    };
    EXPECT_EQ(ask(card), 0U);
    EXPECT_THAT(card.sleeps, IsEmpty());
}

TEST(ReplyWait, DriverThatReportsArrivalsAllTheTimeDoesNotMakeItSpin) {
    FakeCard card;
    card.on_wait = [](uint32_t) { return 0U; };
    EXPECT_EQ(ask(card, 100), 80003U);
    EXPECT_THAT(card.sleeps, SizeIs(100));
    EXPECT_THAT(card.sleeps, Each(1000U));
}

TEST(ReplyWait, DriverThatCannotWaitDoesNotMakeItSpin) {
    FakeCard card;
    card.on_wait = [](uint32_t) { return 0xFFFFFFFFU; };
    EXPECT_EQ(ask(card, 100), 80003U);
    EXPECT_THAT(card.waits, SizeIs(100));
    EXPECT_THAT(card.sleeps, SizeIs(100));
}

// ---- taking the reply --------------------------------------------------------------------------

struct TakenReply {
    uint32_t status;
    uint32_t length;
    Bytes buffer;
};

TakenReply take(FakeCard &card, uint32_t capacity) {
    TakenReply taken{0, capacity, Bytes(capacity + 1, 0xAA)};
    taken.status =
        transact(card.channel(),
                 {.code = kCode, .reply = taken.buffer.data(), .reply_length = &taken.length}, 100);
    return taken;
}

TEST(Reply, AsLongAsTheCapacityIsAccepted) {
    FakeCard card;
    card.answer = [](const Seen &) { return std::vector<Reply>{{.payload = {1, 2, 3, 4}}}; };
    const TakenReply taken = take(card, 4);
    EXPECT_EQ(taken.status, 0U);
    EXPECT_EQ(taken.length, 4U);
    EXPECT_EQ(taken.buffer, (Bytes{1, 2, 3, 4, 0xAA}));
}

TEST(Reply, OneByteLongerGives80002AndIsConsumedUncopied) {
    FakeCard card;
    card.answer = [](const Seen &) { return std::vector<Reply>{{.payload = {1, 2, 3, 4, 5}}}; };
    const TakenReply taken = take(card, 4);
    EXPECT_EQ(taken.status, 80002U);
    EXPECT_EQ(taken.length, 0U);
    EXPECT_THAT(taken.buffer, Each(0xAA));
    EXPECT_EQ(card.in_read(), 1U);
}

TEST(Reply, TooLongHidesTheFirmwaresStatus) {
    FakeCard card;
    card.answer = [](const Seen &) {
        return std::vector<Reply>{{.status = 32778, .payload = {1, 2, 3, 4, 5}}};
    };
    EXPECT_EQ(take(card, 4).status, 80002U);
}

TEST(Reply, IsCopiedThoughTheFirmwareReportsAnError) {
    FakeCard card;
    card.answer = [](const Seen &) {
        return std::vector<Reply>{{.status = 32778, .payload = {9, 8}}};
    };
    const TakenReply taken = take(card, 4);
    EXPECT_EQ(taken.status, 32778U);
    EXPECT_EQ(taken.length, 2U);
    EXPECT_EQ(taken.buffer, (Bytes{9, 8, 0xAA, 0xAA, 0xAA}));
}

TEST(Reply, EmptyOneNeedsNoBuffer) {
    FakeCard card;
    EXPECT_EQ(ask(card), 0U);
}

TEST(Reply, EmptyOneSetsTheLengthToZero) {
    FakeCard card;
    const TakenReply taken = take(card, 4);
    EXPECT_EQ(taken.status, 0U);
    EXPECT_EQ(taken.length, 0U);
}

TEST(Reply, PayloadWithoutABufferGives80002) {
    FakeCard card;
    card.answer = [](const Seen &) { return std::vector<Reply>{{.payload = {1}}}; };
    EXPECT_EQ(ask(card), 80002U);
    EXPECT_EQ(card.in_read(), 1U);
}

TEST(Reply, PayloadWithoutALengthPointerGives80002) {
    FakeCard card;
    card.answer = [](const Seen &) { return std::vector<Reply>{{.payload = {1}}}; };
    uint8_t reply = 0xAA;
    EXPECT_EQ(transact(card.channel(), {.code = kCode, .reply = &reply}, 100), 80002U);
    EXPECT_EQ(reply, 0xAA);
}

TEST(Reply, PayloadWithALengthPointerOnlyGives80002) {
    FakeCard card;
    card.answer = [](const Seen &) { return std::vector<Reply>{{.payload = {1}}}; };
    uint32_t length = 100;
    EXPECT_EQ(transact(card.channel(), {.code = kCode, .reply_length = &length}, 100), 80002U);
    EXPECT_EQ(length, 0U);
}

TEST(Reply, LengthThatNoSlotHoldsGives80002) {
    FakeCard card({.slot_size = 64});
    card.answer = [](const Seen &) { return std::vector<Reply>{{.length = 49}}; };
    EXPECT_EQ(take(card, 100000).status, 80002U);
    card.answer = [](const Seen &) { return std::vector<Reply>{{.length = 0xFFFFFFFF}}; };
    EXPECT_EQ(take(card, 100000).status, 80002U);
}

TEST(Reply, FirmwaresStatusIsReturnedUnchanged) {
    FakeCard card;
    card.answer = [](const Seen &) { return std::vector<Reply>{{.status = 0xDEADBEEF}}; };
    EXPECT_EQ(ask(card), 0xDEADBEEFU);
}

// ---- progress ----------------------------------------------------------------------------------

std::vector<float> fractions_of(FakeCard &card, uint32_t timeout_ms, uint32_t *status = nullptr) {
    std::vector<float> fractions;
    const uint32_t result =
        transact(card.channel(), {.code = kCode}, timeout_ms, record_fraction, &fractions);
    if (status != nullptr) {
        *status = result;
    }
    return fractions;
}

TEST(Progress, RisesWithTheLogarithmOfTheTimeWaited) {
    FakeCard card;
    card.on_wait = [&](uint32_t) { // the look at the ring before it took no time worth counting
        card.now_ns = (card.now_ns / 1'000'000 + 40) * 1'000'000;
        return 258U;
    };
    // floor(ln(e + 1) * 1000 / ln(1001)) / 1000 at e = 0, 40, 80, 120
    const std::vector<float> fractions = fractions_of(card, 1000);
    ASSERT_THAT(fractions, SizeIs(26)); // 25 rounds and the end
    EXPECT_EQ(fractions[0], 0.0F);
    EXPECT_EQ(fractions[1], 537.0F / 1000.0F);
    EXPECT_EQ(fractions[2], 636.0F / 1000.0F);
    EXPECT_EQ(fractions[3], 694.0F / 1000.0F);
    EXPECT_EQ(fractions[24], 994.0F / 1000.0F);
    EXPECT_EQ(fractions[25], 1.0F);
}

TEST(Progress, WorksWithTheLongestTimeOut) {
    FakeCard card;
    card.on_wait = [&](uint32_t) {
        card.pass_ms(100000);
        if (card.waits.size() == 2) {
            card.serve();
        }
        return 258U;
    };
    const std::vector<float> fractions = fractions_of(card, 0xFFFFFFFF);
    ASSERT_THAT(fractions, SizeIs(3));
    EXPECT_EQ(fractions[0], 0.0F);
    EXPECT_GT(fractions[1], 0.51F);
    EXPECT_LT(fractions[1], 0.53F);
    EXPECT_EQ(fractions[2], 1.0F);
}

TEST(Progress, EndsWithOneOnSuccess) {
    FakeCard card;
    uint32_t status = 1;
    EXPECT_EQ(fractions_of(card, 100, &status).back(), 1.0F);
    EXPECT_EQ(status, 0U);
}

TEST(Progress, EndsWithOneOnAFirmwareError) {
    FakeCard card;
    card.answer = [](const Seen &) { return std::vector<Reply>{{.status = 32774}}; };
    uint32_t status = 0;
    EXPECT_EQ(fractions_of(card, 100, &status).back(), 1.0F);
    EXPECT_EQ(status, 32774U);
}

TEST(Progress, EndsWithOneWhenTheReplyDoesNotFit) {
    FakeCard card;
    card.answer = [](const Seen &) { return std::vector<Reply>{{.payload = {1}}}; };
    uint32_t status = 0;
    EXPECT_EQ(fractions_of(card, 100, &status).back(), 1.0F);
    EXPECT_EQ(status, 80002U);
}

TEST(Progress, EndsWithOneOnATimeOut) {
    FakeCard card;
    card.answer = silent;
    uint32_t status = 0;
    const std::vector<float> fractions = fractions_of(card, 100, &status);
    EXPECT_EQ(fractions.back(), 1.0F);
    EXPECT_THAT(fractions, SizeIs(4)); // three rounds and the end
    EXPECT_EQ(status, 80003U);
}

TEST(Progress, IsReportedOnceWhenTheReplyIsThereAtOnce) {
    FakeCard card;
    card.push_reply(0, {});
    EXPECT_THAT(fractions_of(card, 100), ElementsAre(1.0F));
}

// ---- the lock ----------------------------------------------------------------------------------

TEST(RequestLock, IsNotTakenByTheBareTransaction) {
    FakeCard card;
    ask(card);
    EXPECT_EQ(card.locked, 0);
}

TEST(RequestLock, IsHeldFromBeforeTheRequestUntilAfterTheLastProgress) {
    FakeCard card;
    card.answer = [&](const Seen &) {
        EXPECT_EQ(card.locks, 1);
        return std::vector<Reply>{{}};
    };
    const auto progress = [](void *arg, float) {
        EXPECT_EQ(static_cast<FakeCard *>(arg)->locks, 1);
    };
    EXPECT_EQ(transact_locked(card.channel(), {.code = kCode}, 100, progress, &card), 0U);
    EXPECT_EQ(card.locks, 0);
    EXPECT_EQ(card.locked, 1);
}

TEST(RequestLock, IsReleasedAfterEveryFailure) {
    FakeCard card;
    card.answer = silent;
    EXPECT_EQ(transact_locked(card.channel(), {.code = kCode}, 10), 80003U);
    card.out_write() += 2;
    EXPECT_EQ(transact_locked(card.channel(), {.code = kCode}, 10), 80001U);
    EXPECT_EQ(card.locks, 0);
    EXPECT_EQ(card.locked, 2);
}

TEST(RequestLock, MayBeAbsent) {
    FakeCard card;
    card.channel().lock = nullptr;
    EXPECT_EQ(transact_locked(card.channel(), {.code = kCode}, 100), 0U);
    EXPECT_EQ(card.locked, 0);
}

// ---- the exported wrappers ---------------------------------------------------------------------

std::unique_ptr<EcatHandle> handle_with(FakeCard &primary_or_secondary, bool primary) {
    auto handle = std::make_unique<EcatHandle>();
    (primary ? handle->primary : handle->secondary) = primary_or_secondary.channel();
    handle->timeout_ms = 200;
    return handle;
}

TEST(RawRequest, PacketGoesThroughThePrimaryMailboxUnderItsLock) {
    FakeCard card;
    const auto handle = handle_with(card, true);
    card.answer = [](const Seen &) { return std::vector<Reply>{{.payload = {5}}}; };
    const Bytes data = {1, 2, 3};
    uint8_t reply = 0;
    uint32_t length = 1;
    EXPECT_EQ(pcie_pkt_send(handle.get(), 0xBEEF, data.data(), 3, &reply, &length), 0U);
    EXPECT_EQ(card.seen.at(0).code, 0xBEEF);
    EXPECT_EQ(card.seen.at(0).payload, data);
    EXPECT_EQ(reply, 5);
    EXPECT_EQ(length, 1U);
    EXPECT_EQ(card.locked, 1);
    EXPECT_EQ(card.locks, 0);
}

TEST(RawRequest, PacketWaitsTenSecondsWhateverTheHandleSays) {
    FakeCard card;
    const auto handle = handle_with(card, true);
    card.answer = silent;
    const uint64_t start = card.now_ms();
    EXPECT_EQ(pcie_pkt_send(handle.get(), 1, nullptr, 0, nullptr, nullptr), 80003U);
    EXPECT_EQ(card.now_ms() - start, 10000U);
}

TEST(RawRequest, CommandGoesThroughTheSecondaryMailboxWithCode47) {
    FakeCard card;
    const auto handle = handle_with(card, false);
    const Bytes data = {4, 5};
    EXPECT_EQ(EcatRunCommand(handle.get(), data.data(), 2, nullptr, nullptr), 0U);
    EXPECT_EQ(card.seen.at(0).code, 47);
    EXPECT_EQ(card.seen.at(0).payload, data);
    EXPECT_EQ(card.locked, 1);
}

TEST(RawRequest, CommandWaitsAsLongAsTheHandleSays) {
    FakeCard card;
    const auto handle = handle_with(card, false);
    card.answer = silent;
    const uint64_t start = card.now_ms();
    EXPECT_EQ(EcatRunCommand(handle.get(), nullptr, 0, nullptr, nullptr), 80003U);
    EXPECT_EQ(card.now_ms() - start, 200U);
}

TEST(RawRequest, PayloadThatIsNullIsRefusedBeforeAnythingIsSent) {
    FakeCard card;
    const auto handle = handle_with(card, true);
    handle->secondary = card.channel();
    EXPECT_EQ(pcie_pkt_send(handle.get(), 1, nullptr, 1, nullptr, nullptr), 32770U);
    EXPECT_EQ(EcatRunCommand(handle.get(), nullptr, 1, nullptr, nullptr), 32770U);
    EXPECT_EQ(card.out_write(), 0U);
}

// ---- many requests -----------------------------------------------------------------------------

class ManyRequests : public testing::TestWithParam<uint32_t> {};

TEST_P(ManyRequests, RunThroughTheRingAndAcrossTheWrapOfItsCounters) {
    FakeCard card({.slots = GetParam(), .slot_size = 64, .first_counter = 0xFFFF8000});
    card.answer = [](const Seen &request) {
        return std::vector<Reply>{{.payload = request.payload}};
    };
    for (uint32_t i = 0; i < 65537; ++i) {
        uint32_t echo = 0;
        uint32_t length = sizeof echo;
        ASSERT_EQ(transact(card.channel(),
                           {.code = kCode,
                            .data = &i,
                            .length = sizeof i,
                            .reply = &echo,
                            .reply_length = &length},
                           100),
                  0U);
        ASSERT_EQ(echo, i);
        card.seen.clear();
        card.waits.clear();
    }
    EXPECT_EQ(card.out_write(), 0xFFFF8000U + 65537U);
    EXPECT_EQ(card.in_read(), card.out_write());
}

INSTANTIATE_TEST_SUITE_P(Slots, ManyRequests, testing::Values(1U, 2U, 64U));

// A card on another thread: what is published is complete when its counter shows it. A thread
// sanitizer finds a missing order here.
TEST(ConcurrentCard, SeesWholeRequestsAndGivesWholeReplies) {
    FakeCard card({.slots = 2, .slot_size = 160});
    card.answer = [](const Seen &request) {
        return std::vector<Reply>{{.payload = request.payload}};
    };
    card.on_wait = [](uint32_t) {
        std::this_thread::yield();
        return 258U;
    };
    std::atomic<bool> done = false;
    std::thread firmware([&] {
        while (!done) {
            card.serve();
            card.seen.clear();
            std::this_thread::yield();
        }
    });
    for (uint32_t i = 0; i < 5000; ++i) {
        const Bytes data(140, static_cast<uint8_t>(i));
        Bytes reply(140);
        uint32_t length = 140;
        ASSERT_EQ(transact(card.channel(),
                           {.code = kCode,
                            .data = data.data(),
                            .length = 140,
                            .reply = reply.data(),
                            .reply_length = &length},
                           0xFFFFFFFF),
                  0U);
        ASSERT_EQ(reply, data);
    }
    done = true;
    firmware.join();
}

} // namespace
