// The virtual card's services, asked slot by slot without host system and library.
#include "card/firmware_bench.h"
#include "support/process.h"

#include "base/card_memory.h"
#include "tarn_vcard/records.h"
#include "vcard/bus/make_eni.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>
#include <thread>

using namespace tarn::test;
using tarn::vcard::CardConfig;
using tarn::vcard::MakeEniOptions;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

using Codes = std::vector<uint16_t>;

CardConfig quick() {
    CardConfig config;
    config.start_ms = 0;
    config.reset_ms = 0;
    return config;
}

CardConfig starting_in(uint32_t ms) {
    CardConfig config;
    config.start_ms = ms;
    return config;
}

std::string eni_of(std::vector<tarn::vcard::MakeEniSlave> slaves, uint32_t cycle_us = 1000) {
    MakeEniOptions options;
    options.slaves = std::move(slaves);
    options.cycle_us = cycle_us;
    return tarn::vcard::make_eni(options);
}

// Slave 0 has no process data, slave 1 inputs only, slave 2 outputs only.
std::string small_eni() {
    return eni_of({{"coupler", 1}, {"di8", 1}, {"do8", 1}});
}

Bytes text(const std::string &characters) {
    return {characters.begin(), characters.end()};
}

uint32_t u32(const Answer &answer) {
    return value_of<uint32_t>(answer.payload);
}
uint16_t u16(const Answer &answer) {
    return value_of<uint16_t>(answer.payload);
}

} // namespace

// ---- mailboxes -------------------------------------------------------------------------------

TEST(FirmwareMailbox, ReplyCarriesTheRequestsSequence) {
    FirmwareBench bench;
    for (int i = 0; i < 5; ++i) {
        const uint16_t sequence = bench.push(0, true, 11);
        EXPECT_EQ(bench.wait(0, true).sequence, sequence);
    }
}

TEST(FirmwareMailbox, UnknownCodesAreNotImplemented) {
    FirmwareBench bench;
    for (const uint16_t code :
         Codes{0, 6, 8, 15, 16, 33, 44, 49, 54, 91, 97, 103, 127, 128, 65535}) {
        const Answer answer = bench.ask(code);
        EXPECT_EQ(answer.status, 32772U) << code;
        EXPECT_THAT(answer.payload, IsEmpty());
    }
}

TEST(FirmwareMailbox, RawPassThroughIsNotImplemented) {
    FirmwareBench bench;
    EXPECT_EQ(bench.request(0, false, 47, text("abc")).status, 32772U);
}

TEST(FirmwareMailbox, MasterServicesExistOnThePrimaryRingOnly) {
    FirmwareBench bench;
    EXPECT_EQ(bench.request(0, true, 11).status, 0U);
    EXPECT_EQ(bench.request(0, false, 11).status, 32772U);
}

TEST(FirmwareMailbox, EachMailboxRaisesItsInterrupt) {
    FirmwareBench bench;
    const std::vector<std::pair<uint32_t, bool>> mailboxes = {
        {0, true}, {0, false}, {1, true}, {1, false}};
    for (const auto &[channel, primary] : mailboxes) {
        bench.request(channel, primary, 127);
    }
    EXPECT_THAT(bench.interrupts(), ElementsAre(0, 1, 4, 5));
}

TEST(FirmwareMailbox, DoorbellsAreClearedWhenSeen) {
    FirmwareBench bench;
    bench.push(0, true, 11);
    bench.push(1, true, 11);
    EXPECT_EQ(tarn::card::load32(bench.bar(1) + 0x04), 1U);
    EXPECT_EQ(tarn::card::load32(bench.bar(1) + 0x10), 1U);
    bench.serve(1);
    EXPECT_EQ(tarn::card::load32(bench.bar(1) + 0x04), 0U);
    EXPECT_EQ(tarn::card::load32(bench.bar(1) + 0x10), 0U);
}

TEST(FirmwareMailbox, ServeTellsWhetherThereWasWork) {
    FirmwareBench bench;
    EXPECT_FALSE(bench.firmware().serve());
    bench.push(0, true, 11);
    EXPECT_TRUE(bench.firmware().serve());
    EXPECT_FALSE(bench.firmware().serve());
}

TEST(FirmwareMailbox, LengthBeyondTheSlotIsInconsistent) {
    CardConfig config;
    config.rings = {2, 64};
    FirmwareBench bench(config);
    const uint32_t slot = bench.word(0, 6);
    bench.push(0, true, 2, Bytes(48));
    tarn::card::store32(bench.area(0) + slot + 8, 49);
    EXPECT_EQ(bench.wait(0, true).status, 34360U);
    EXPECT_TRUE(bench.logged("49 exceeds the slot"));
}

TEST(FirmwareMailbox, LargestLengthNumberIsInconsistent) {
    FirmwareBench bench;
    bench.push(0, true, 2);
    tarn::card::store32(bench.area(0) + 540 + 8, 0xFFFFFFFF);
    EXPECT_EQ(bench.wait(0, true).status, 34360U);
}

TEST(FirmwareMailbox, SlotPayloadIsLimitedEvenInLargerSlots) {
    CardConfig config;
    config.rings = {1, 102500};
    FirmwareBench bench(config);
    bench.request(0, true, 1, open_record("file", 'w'));
    EXPECT_EQ(bench.request(0, true, 2, Bytes(102384)).status, 0U);
    EXPECT_EQ(bench.request(0, true, 2, Bytes(102385)).status, 34360U);
}

TEST(FirmwareMailbox, ImpossibleCountersEmptyTheRing) {
    FirmwareBench bench;
    bench.set_word(0, 132, 1000);
    bench.serve();
    EXPECT_EQ(bench.word(0, 131), 1000U);
    EXPECT_FALSE(bench.pop(0, true));
    EXPECT_TRUE(bench.logged("impossible counters"));
    EXPECT_EQ(bench.ask(11).status, 0U);
}

TEST(FirmwareMailbox, DescriptorsThatTheHostDamagedAreNotObeyed) {
    FirmwareBench bench;
    const uint16_t sequence = bench.push(0, true, 11);
    for (uint32_t word = 1; word <= 24; ++word) {
        bench.set_word(0, word, 0xFFFFFFFF);
    }
    bench.serve();
    EXPECT_EQ(bench.word(0, 134), 1U);
    EXPECT_EQ(tarn::card::load16(bench.area(0) + 102940 + 4), sequence);
}

TEST(FirmwareMailbox, FullReplyRingHoldsTheReplyAndTheNextRequest) {
    FirmwareBench bench;
    const uint16_t first = bench.push(0, true, 11);
    bench.serve();
    const uint16_t second = bench.push(0, true, 11);
    bench.serve();
    const uint16_t third = bench.push(0, true, 11);
    bench.serve();
    EXPECT_EQ(bench.word(0, 131), 2U); // the third request waits
    EXPECT_EQ(bench.word(0, 134), 1U);
    EXPECT_EQ(bench.pop(0, true)->sequence, first);
    EXPECT_EQ(bench.wait(0, true).sequence, second);
    EXPECT_EQ(bench.wait(0, true).sequence, third);
}

TEST(FirmwareMailbox, FullReplyRingLeavesOtherRingsServed) {
    FirmwareBench bench;
    for (int i = 0; i < 2; ++i) {
        bench.push(0, true, 11);
        bench.serve();
    }
    EXPECT_EQ(bench.request(0, false, 127).status, 32772U);
    EXPECT_EQ(bench.request(1, true, 11).status, 0U);
}

TEST(FirmwareMailbox, ServesManyRequestsOfOneRingInOrder) {
    CardConfig config;
    config.rings = {8, 1024};
    FirmwareBench bench(config);
    std::vector<uint16_t> sent;
    for (int i = 0; i < 8; ++i) {
        sent.push_back(bench.push(0, true, 11));
    }
    for (const uint16_t sequence : sent) {
        EXPECT_EQ(bench.wait(0, true).sequence, sequence);
    }
}

TEST(FirmwareMailbox, CountersWrap) {
    for (const uint32_t slots : {1U, 2U, 64U}) {
        CardConfig config;
        config.rings = {slots, 256};
        config.first_counter = 0xFFFFFFF0;
        FirmwareBench bench(config);
        for (int i = 0; i < 200; ++i) {
            EXPECT_EQ(bench.ask(11).status, 0U);
        }
        EXPECT_EQ(bench.word(0, 131), 184U);
        EXPECT_EQ(bench.word(0, 134), 184U);
    }
}

TEST(FirmwareMailbox, RequestsOfWrongLengthAreRefused) {
    FirmwareBench bench(quick());
    ASSERT_EQ(bench.start(small_eni()), 0U);
    const std::vector<std::pair<uint16_t, size_t>> wrong = {
        {1, 143}, {1, 145}, {3, 0},  {3, 5},  {4, 1},   {5, 1},   {9, 1},   {10, 4}, {11, 1},
        {14, 1},  {17, 0},  {17, 2}, {18, 1}, {19, 2},  {21, 0},  {21, 1},  {21, 4}, {24, 3},
        {32, 1},  {41, 0},  {51, 0}, {51, 8}, {52, 4},  {58, 0},  {59, 1},  {60, 0}, {82, 0},
        {82, 8},  {87, 4},  {88, 0}, {99, 2}, {100, 4}, {101, 1}, {102, 3}, {56, 4}, {53, 1}};
    for (const auto &[code, length] : wrong) {
        EXPECT_EQ(bench.ask(code, Bytes(length)).status, 32770U) << code << " with " << length;
    }
}

TEST(FirmwareMailbox, ReplyThatDoesNotFitTheSlotIsInconsistent) {
    CardConfig config = quick();
    config.rings = {1, 16};
    FirmwareBench bench(config);
    const Answer answer = bench.ask(11);
    EXPECT_EQ(answer.status, 34360U);
    EXPECT_EQ(answer.length, 0U);
}

// ---- files -----------------------------------------------------------------------------------

TEST(FirmwareFiles, GiveBackWhatWasWritten) {
    FirmwareBench bench;
    ASSERT_EQ(bench.send_file("notes.txt", text("hello")), 0U);
    EXPECT_EQ(bench.ask(1, open_record("notes.txt", 'r')).status, 0U);
    EXPECT_EQ(u32(bench.ask(4)), 5U);
    EXPECT_EQ(bench.ask(3, bytes_of(102384U)).payload, text("hello"));
    EXPECT_EQ(bench.ask(5).status, 0U);
}

TEST(FirmwareFiles, LargeFilesGoInChunks) {
    FirmwareBench bench;
    Bytes content(3 * 102384 + 7);
    for (size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<uint8_t>(i * 7 + i / 1000);
    }
    ASSERT_EQ(bench.send_file("big.bin", content), 0U);
    bench.ask(1, open_record("big.bin", 'r'));
    Bytes back;
    while (back.size() < u32(bench.ask(4))) {
        const Answer chunk = bench.ask(3, bytes_of(102384U));
        ASSERT_EQ(chunk.status, 0U);
        back.insert(back.end(), chunk.payload.begin(), chunk.payload.end());
    }
    EXPECT_EQ(back, content);
}

TEST(FirmwareFiles, ReadGivesAsMuchAsAskedAndThenNothing) {
    FirmwareBench bench;
    bench.send_file("f", text("abcdef"));
    bench.ask(1, open_record("f", 'r'));
    EXPECT_EQ(bench.ask(3, bytes_of(4U)).payload, text("abcd"));
    EXPECT_EQ(bench.ask(3, bytes_of(4U)).payload, text("ef"));
    const Answer end = bench.ask(3, bytes_of(4U));
    EXPECT_EQ(end.status, 0U);
    EXPECT_THAT(end.payload, IsEmpty());
}

TEST(FirmwareFiles, SmallSlotsReadInSmallPieces) {
    CardConfig config;
    config.rings = {1, 164};
    FirmwareBench bench(config);
    bench.ask(1, open_record("f", 'w'));
    bench.ask(2, Bytes(148, 1));
    bench.ask(2, Bytes(148, 2));
    bench.ask(5);
    bench.ask(1, open_record("f", 'r'));
    EXPECT_EQ(u32(bench.ask(4)), 296U);
    EXPECT_EQ(bench.ask(3, bytes_of(102384U)).payload, Bytes(148, 1));
    EXPECT_EQ(bench.ask(3, bytes_of(102384U)).payload, Bytes(148, 2));
}

TEST(FirmwareFiles, EmptyFileHasSizeZero) {
    FirmwareBench bench;
    ASSERT_EQ(bench.send_file("empty", {}), 0U);
    EXPECT_EQ(bench.ask(1, open_record("empty", 'r')).status, 0U);
    EXPECT_EQ(u32(bench.ask(4)), 0U);
}

TEST(FirmwareFiles, SeveralNamesAreKeptApart) {
    FirmwareBench bench;
    bench.send_file("a", text("1"));
    bench.send_file("b", text("22"));
    bench.ask(1, open_record("a", 'r'));
    EXPECT_EQ(bench.ask(3, bytes_of(9U)).payload, text("1"));
    bench.ask(1, open_record("b", 'r'));
    EXPECT_EQ(bench.ask(3, bytes_of(9U)).payload, text("22"));
}

TEST(FirmwareFiles, MailboxesOfOneChannelShareTheStore) {
    FirmwareBench bench;
    ASSERT_EQ(bench.send_file("shared", text("x"), 0, false), 0U);
    EXPECT_EQ(bench.request(0, true, 1, open_record("shared", 'r')).status, 0U);
}

TEST(FirmwareFiles, ChannelsHaveStoresOfTheirOwn) {
    FirmwareBench bench;
    bench.send_file("own", text("x"), 0);
    EXPECT_EQ(bench.request(1, true, 1, open_record("own", 'r')).status, 32848U);
}

TEST(FirmwareFiles, NameOfAllCharactersIsAccepted) {
    FirmwareBench bench;
    EXPECT_EQ(bench.send_file(std::string(127, 'n'), text("x")), 0U);
}

TEST(FirmwareFiles, NameWithoutEndIsInvalid) {
    FirmwareBench bench;
    EXPECT_EQ(bench.ask(1, open_record(std::string(128, 'n'), 'w')).status, 32770U);
}

TEST(FirmwareFiles, EmptyNameCannotBeOpened) {
    FirmwareBench bench;
    EXPECT_EQ(bench.ask(1, open_record("", 'w')).status, 32848U);
}

TEST(FirmwareFiles, UnknownDirectionIsInvalid) {
    FirmwareBench bench;
    EXPECT_EQ(bench.ask(1, open_record("f", 'x')).status, 32770U);
}

TEST(FirmwareFiles, MissingFileCannotBeOpened) {
    FirmwareBench bench;
    EXPECT_EQ(bench.ask(1, open_record("f", 'r')).status, 32848U);
    EXPECT_TRUE(bench.logged("no file \"f\""));
}

TEST(FirmwareFiles, NothingGoesWithoutOpen) {
    FirmwareBench bench;
    EXPECT_EQ(bench.ask(2, text("x")).status, 32849U);
    EXPECT_EQ(bench.ask(3, bytes_of(1U)).status, 32850U);
    EXPECT_EQ(bench.ask(4).status, 32850U);
    EXPECT_EQ(bench.ask(5).status, 32837U);
}

TEST(FirmwareFiles, DirectionOfTheTransferIsKept) {
    FirmwareBench bench;
    bench.send_file("f", text("x"));
    bench.ask(1, open_record("f", 'r'));
    EXPECT_EQ(bench.ask(2, text("y")).status, 32849U);
    bench.ask(1, open_record("f", 'w'));
    EXPECT_EQ(bench.ask(3, bytes_of(1U)).status, 32850U);
}

TEST(FirmwareFiles, OpeningForWritingDropsTheOldContent) {
    FirmwareBench bench;
    bench.send_file("f", text("old"));
    bench.ask(1, open_record("f", 'w'));
    EXPECT_EQ(bench.request(0, false, 1, open_record("f", 'r')).status, 32848U);
}

TEST(FirmwareFiles, FileBeyondThirtyTwoMebibytesIsRefused) {
    FirmwareBench bench;
    bench.ask(1, open_record("huge", 'w'));
    const Bytes chunk(102384);
    uint32_t sent = 0;
    uint32_t status = 0;
    while (status == 0 && sent < (33U << 20)) {
        status = bench.ask(2, chunk).status;
        sent += status == 0 ? 102384 : 0;
    }
    EXPECT_EQ(status, 32849U);
    EXPECT_EQ(sent, (32U << 20) / 102384 * 102384);
    EXPECT_EQ(bench.ask(5).status, 0U);
    EXPECT_EQ(bench.ask(1, open_record("huge", 'r')).status, 32848U);
}

TEST(FirmwareFiles, StoreHasRoomForSixtyFourNames) {
    FirmwareBench bench;
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(bench.send_file("file" + std::to_string(i), text("x")), 0U);
    }
    EXPECT_EQ(bench.send_file("one more", text("x")), 32769U);
    EXPECT_EQ(bench.send_file("file7", text("again")), 0U);
}

// ---- bus -------------------------------------------------------------------------------------

TEST(FirmwareBus, StartWithoutFileFails) {
    FirmwareBench bench(quick());
    EXPECT_EQ(bench.ask(9).status, 32773U);
    EXPECT_TRUE(bench.logged("32773"));
}

TEST(FirmwareBus, StartsWithTheFileThatWasSent) {
    FirmwareBench bench(quick());
    EXPECT_EQ(bench.start(small_eni()), 0U);
    EXPECT_EQ(u32(bench.ask(11)), 1U);
    EXPECT_EQ(bench.ask(18).payload, Bytes{8});
    EXPECT_TRUE(bench.logged("channel 0: bus started, 3 slaves, cycle 1000 us"));
}

TEST(FirmwareBus, StartRepliesWithStatusOnly) {
    FirmwareBench bench(quick());
    const std::string eni = small_eni();
    bench.send_file("eni_temp.xml", text(eni));
    EXPECT_EQ(bench.ask(9).length, 0U);
}

TEST(FirmwareBus, BrokenFileIsRefusedWithItsVerdict) {
    FirmwareBench bench(quick());
    EXPECT_EQ(bench.start("<EtherCATConfig><Config>"), 32774U);
    EXPECT_EQ(u32(bench.ask(11)), 0U);
    EXPECT_EQ(bench.ask(19).status, 32775U);
    EXPECT_TRUE(bench.logged("command 9 refused (32774)"));
}

TEST(FirmwareBus, FailedStartForgetsTheConfigurationOfBefore) {
    FirmwareBench bench(quick());
    ASSERT_EQ(bench.start(small_eni()), 0U);
    bench.ask(10);
    ASSERT_EQ(bench.start("no xml"), 32774U);
    EXPECT_EQ(bench.ask(19).status, 32775U);
}

TEST(FirmwareBus, SecondStartIsRefusedAndChangesNothing) {
    FirmwareBench bench(quick());
    ASSERT_EQ(bench.start(small_eni()), 0U);
    EXPECT_EQ(bench.ask(9).status, 32815U);
    EXPECT_EQ(u32(bench.ask(11)), 1U);
    EXPECT_EQ(u16(bench.ask(19)), 3U);
}

TEST(FirmwareBus, StartIsAnsweredOnlyWhenTheTimeIsOver) {
    FirmwareBench bench(starting_in(150));
    bench.send_file("eni_temp.xml", text(small_eni()));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(bench.ask(9).status, 0U);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(150));
}

TEST(FirmwareBus, StartUnderWayLeavesAllRingsServed) {
    FirmwareBench bench(starting_in(100000));
    bench.send_file("eni_temp.xml", text(small_eni()));
    bench.push(0, true, 9);
    bench.serve();
    EXPECT_EQ(bench.request(0, false, 127).status, 32772U);
    EXPECT_EQ(bench.request(1, true, 11).status, 0U);
    EXPECT_EQ(u32(bench.ask(56)), uint32_t{VCARD_BUS_STARTING});
    EXPECT_EQ(u32(bench.ask(11)), 0U);
    EXPECT_EQ(bench.ask(9).status, 32815U);
}

TEST(FirmwareBus, StartStepsThroughTheStates) {
    FirmwareBench bench(starting_in(30));
    bench.send_file("eni_temp.xml", text(small_eni()));
    bench.push(0, true, 9);
    bench.serve();
    std::vector<uint8_t> states;
    EXPECT_TRUE(eventually([&] { // the card takes one step per look, however late the look
        const uint8_t state = bench.ask(18).payload.at(0);
        if (states.empty() || states.back() != state) {
            states.push_back(state);
        }
        return state == 8;
    }));
    EXPECT_THAT(states, ElementsAre(1, 2, 4, 8));
}

TEST(FirmwareBus, StopWordAbortsAStartUnderWay) {
    FirmwareBench bench(starting_in(100000));
    bench.send_file("eni_temp.xml", text(small_eni()));
    bench.push(0, true, 9);
    bench.serve();
    bench.set_word(0, 130, 1);
    EXPECT_EQ(bench.wait(0, true).status, 32833U);
    EXPECT_EQ(bench.word(0, 130), 0U);
    EXPECT_EQ(u32(bench.ask(56)), uint32_t{VCARD_BUS_NOT_CONFIGURED});
}

TEST(FirmwareBus, StopRequestAbortsAStartUnderWay) {
    FirmwareBench bench(starting_in(100000));
    bench.send_file("eni_temp.xml", text(small_eni()));
    const uint16_t start = bench.push(0, true, 9);
    bench.serve();
    const uint16_t stop = bench.push(0, true, 10);
    const Answer aborted = bench.wait(0, true);
    EXPECT_EQ(aborted.sequence, start);
    EXPECT_EQ(aborted.status, 32833U);
    const Answer stopped = bench.wait(0, true);
    EXPECT_EQ(stopped.sequence, stop);
    EXPECT_EQ(stopped.status, 0U);
}

TEST(FirmwareBus, StartsAgainAfterAnAbort) {
    FirmwareBench bench(starting_in(30));
    bench.send_file("eni_temp.xml", text(small_eni()));
    bench.push(0, true, 9);
    bench.set_word(0, 130, 0);
    bench.serve(1);
    bench.set_word(0, 130, 1);
    EXPECT_EQ(bench.wait(0, true).status, 32833U);
    EXPECT_EQ(bench.ask(9).status, 0U);
}

TEST(FirmwareBus, StopWordStopsARunningBus) {
    FirmwareBench bench(quick());
    ASSERT_EQ(bench.start(small_eni()), 0U);
    bench.set_word(0, 130, 1);
    bench.serve();
    EXPECT_EQ(bench.word(0, 130), 0U);
    EXPECT_EQ(u32(bench.ask(11)), 0U);
}

TEST(FirmwareBus, StopWordOfOneChannelLeavesTheOtherRunning) {
    FirmwareBench bench(quick());
    ASSERT_EQ(bench.start(small_eni(), 0), 0U);
    ASSERT_EQ(bench.start(small_eni(), 1), 0U);
    bench.set_word(1, 130, 1);
    bench.serve();
    EXPECT_EQ(u32(bench.request(0, true, 11)), 1U);
    EXPECT_EQ(u32(bench.request(1, true, 11)), 0U);
}

TEST(FirmwareBus, StopStopsAndKeepsTheConfiguration) {
    FirmwareBench bench(quick());
    ASSERT_EQ(bench.start(small_eni()), 0U);
    const Answer stopped = bench.ask(10);
    EXPECT_EQ(stopped.status, 0U);
    EXPECT_EQ(stopped.length, 0U);
    EXPECT_EQ(u32(bench.ask(11)), 0U);
    EXPECT_EQ(bench.ask(18).payload, Bytes{1});
    EXPECT_EQ(u16(bench.ask(19)), 3U);
    EXPECT_TRUE(bench.logged("channel 0: bus stopped"));
}

TEST(FirmwareBus, StopOfAStoppedBusSucceeds) {
    FirmwareBench bench;
    EXPECT_EQ(bench.ask(10).status, 0U);
}

TEST(FirmwareBus, RaisesTheCycleInterruptOfItsChannel) {
    FirmwareBench bench(quick());
    ASSERT_EQ(bench.start(small_eni(), 1), 0U);
    EXPECT_TRUE(eventually([&] { return testing::Matches(Contains(6U))(bench.interrupts()); }));
    EXPECT_THAT(bench.interrupts(), Not(Contains(2U)));
}

TEST(FirmwareBus, BusStatusFollowsTheBus) {
    FirmwareBench bench(quick());
    EXPECT_EQ(u32(bench.ask(56)), uint32_t{VCARD_BUS_NOT_CONFIGURED});
    bench.start(small_eni());
    EXPECT_EQ(u32(bench.ask(56)), uint32_t{VCARD_BUS_RUNNING});
    EXPECT_TRUE(bench.firmware().slave_fault(0, 1, "safeop-error"));
    EXPECT_EQ(u32(bench.ask(56)), uint32_t{VCARD_BUS_FAULT});
    bench.ask(10);
    EXPECT_EQ(u32(bench.ask(56)), uint32_t{VCARD_BUS_NOT_CONFIGURED});
}

TEST(FirmwareBus, MasterStateMovesOnRequest) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    EXPECT_EQ(bench.ask(17, {4}).status, 0U);
    EXPECT_EQ(bench.ask(18).payload, Bytes{4});
    EXPECT_EQ(bench.ask(50).payload, Bytes{4});
    EXPECT_EQ(bench.ask_slave(87, 2).payload, Bytes{4});
    EXPECT_EQ(bench.ask(17, {8}).status, 0U);
    EXPECT_EQ(bench.ask(18).payload, Bytes{8});
}

TEST(FirmwareBus, ImpossibleMasterStatesAreInvalidTransitions) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    for (const uint8_t state : Bytes{0, 3, 5, 7, 9, 16, 255}) {
        EXPECT_EQ(bench.ask(17, {state}).status, 32779U) << unsigned{state};
    }
    EXPECT_EQ(bench.ask(18).payload, Bytes{8});
}

TEST(FirmwareBus, MasterStateRequestNeedsARunningBus) {
    FirmwareBench bench(quick());
    EXPECT_EQ(bench.ask(17, {8}).status, 32775U);
    bench.start(small_eni());
    bench.ask(10);
    EXPECT_EQ(bench.ask(17, {8}).status, 32826U);
}

TEST(FirmwareBus, FixedNetworkTakesTheFileThatFits) {
    CardConfig config = quick();
    config.network_file = testing::TempDir() + "firmware_fixed_network.xml";
    std::ofstream(config.network_file) << small_eni();
    FirmwareBench bench(config);
    std::remove(config.network_file.c_str());
    EXPECT_EQ(bench.start(small_eni()), 0U);
}

TEST(FirmwareBus, FixedNetworkRefusesAnotherFile) {
    CardConfig config = quick();
    config.network_file = testing::TempDir() + "firmware_other_network.xml";
    std::ofstream(config.network_file) << small_eni();
    FirmwareBench bench(config);
    std::remove(config.network_file.c_str());
    EXPECT_NE(bench.start(eni_of({{"coupler", 1}, {"do8", 1}, {"di8", 1}})), 0U);
    EXPECT_EQ(u32(bench.ask(11)), 0U);
    EXPECT_TRUE(bench.logged("command 9 refused"));
}

TEST(FirmwareBus, ShutDownEndsTheBuses) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    bench.firmware().shut_down();
    bench.clear_interrupts();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_THAT(bench.interrupts(), IsEmpty());
}

// ---- what the master tells -------------------------------------------------------------------

TEST(FirmwareQueries, NeedAConfiguration) {
    FirmwareBench bench;
    for (const uint16_t code : Codes{19, 20, 32}) {
        EXPECT_EQ(bench.ask(code).status, 32775U) << code;
    }
    for (const uint16_t code :
         Codes{21, 22, 23, 24, 25, 26, 27, 28, 29, 41, 53, 57, 58, 59, 87, 88}) {
        EXPECT_EQ(bench.ask_slave(code, 0).status, 32775U) << code;
    }
    EXPECT_EQ(bench.ask(82, bytes_of(144U)).status, 32775U);
}

TEST(FirmwareQueries, RefuseASlaveThatIsNotThere) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    for (const uint16_t code : Codes{21, 22, 23, 24, 25, 26, 27, 28, 29, 41, 53, 57, 58, 87}) {
        EXPECT_EQ(bench.ask_slave(code, 3).status, 32778U) << code;
        EXPECT_EQ(bench.ask_slave(code, 65535).status, 32778U) << code;
    }
    EXPECT_TRUE(bench.logged("slave 3 of 3"));
}

TEST(FirmwareQueries, RepliesHaveTheirDocumentedLengths) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    const std::vector<std::pair<uint16_t, uint32_t>> plain = {
        {11, 4}, {14, 0}, {18, 1}, {19, 2}, {20, 2}, {32, 16}, {50, 1}, {52, 4}, {56, 4}, {100, 4}};
    for (const auto &[code, length] : plain) {
        const Answer answer = bench.ask(code);
        EXPECT_EQ(answer.status, 0U) << code;
        EXPECT_EQ(answer.length, length) << code;
    }
    const std::vector<std::pair<uint16_t, uint32_t>> of_slaves = {
        {21, 1}, {22, 4}, {24, 4}, {25, 4}, {26, 4},  {27, 4},
        {28, 4}, {29, 2}, {53, 2}, {57, 2}, {58, 56}, {87, 1}};
    for (const auto &[code, length] : of_slaves) {
        const Answer answer = bench.ask_slave(code, 1);
        EXPECT_EQ(answer.status, 0U) << code;
        EXPECT_EQ(answer.length, length) << code;
    }
    const std::vector<uint16_t> setters = {51, 60, 99, 102};
    for (const uint16_t code : setters) {
        const Answer answer = bench.ask(code, bytes_of(1U));
        EXPECT_EQ(answer.status, 0U) << code;
        EXPECT_EQ(answer.length, 0U) << code;
    }
}

TEST(FirmwareQueries, CountsSlaves) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    EXPECT_EQ(u16(bench.ask(19)), 3U);
    EXPECT_EQ(u16(bench.ask(20)), 3U);
}

TEST(FirmwareQueries, UnpluggedSlavesAreNotActive) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    ASSERT_TRUE(bench.firmware().slave_fault(0, 1, "unplug"));
    EXPECT_EQ(u16(bench.ask(19)), 3U);
    EXPECT_EQ(u16(bench.ask(20)), 1U);
    EXPECT_EQ(bench.ask_slave(21, 1).payload, Bytes{0});
}

TEST(FirmwareQueries, RegionsAreSizeThenOffsetInBits) {
    FirmwareBench bench(quick());
    bench.start(eni_of({{"coupler", 1}, {"do8", 2}, {"di8", 1}}));
    const Bytes second = bench.ask_slave(23, 2).payload;
    ASSERT_THAT(second, SizeIs(4));
    EXPECT_EQ(second[0] + second[1] * 256, 8);
    const Bytes first = bench.ask_slave(23, 1).payload;
    EXPECT_EQ(second[2] + second[3] * 256, first[2] + first[3] * 256 + 8);
}

TEST(FirmwareQueries, SlaveWithoutDataHasNoRegion) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    EXPECT_EQ(bench.ask_slave(22, 0).status, 32834U);
    EXPECT_EQ(bench.ask_slave(23, 0).status, 32834U);
    EXPECT_EQ(bench.ask_slave(23, 1).status, 32834U);
    EXPECT_EQ(bench.ask_slave(22, 2).status, 32834U);
}

TEST(FirmwareQueries, IdentityAgreesWithTheSlaveRecord) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    const Answer answer = bench.ask_slave(58, 1);
    const auto record = value_of<VcardSlaveInfo>(answer.payload);
    EXPECT_EQ(u32(bench.ask_slave(24, 1)), record.vendor_id);
    EXPECT_EQ(u32(bench.ask_slave(25, 1)), record.product_code);
    EXPECT_EQ(u32(bench.ask_slave(26, 1)), record.revision_no);
    EXPECT_EQ(u32(bench.ask_slave(27, 1)), record.serial_no);
    EXPECT_EQ(u32(bench.ask_slave(28, 1)), record.alias);
    EXPECT_EQ(u16(bench.ask_slave(29, 1)), record.fixed_address);
    EXPECT_EQ(u16(bench.ask_slave(57, 1)), record.al_status_code);
    EXPECT_EQ(bench.ask_slave(21, 1).payload, Bytes{record.state});
    EXPECT_EQ(bench.ask_slave(87, 1).payload, Bytes{record.requested_state});
    EXPECT_NE(record.vendor_id, 0U);
    EXPECT_NE(std::string(record.name), "");
    EXPECT_EQ(record.state, 8U);
}

TEST(FirmwareQueries, LongSlaveNamesAreCutBetweenCharacters) {
    FirmwareBench bench(quick());
    std::string eni = eni_of({{"coupler", 1}});
    const size_t begin = eni.find("<Name>", eni.find("<Slave>")) + 6;
    const size_t end = eni.find("</Name>", begin);
    eni.replace(begin, end - begin, "123456789012345678901234567890\xC3\xA4\xC3\xA4");
    ASSERT_EQ(bench.start(eni), 0U);
    const auto record = value_of<VcardSlaveInfo>(bench.ask_slave(58, 0).payload);
    EXPECT_STREQ(record.name, "123456789012345678901234567890");
}

TEST(FirmwareQueries, StatesOfManySlavesComeInOneReply) {
    FirmwareBench bench(quick());
    bench.start(eni_of({{"coupler", 1}, {"di8", 9}}));
    for (const uint16_t code : Codes{59, 88}) {
        EXPECT_THAT(bench.ask_slave(code, 10).payload, testing::AllOf(SizeIs(10), Each(8)));
        EXPECT_THAT(bench.ask_slave(code, 4).payload, SizeIs(4));
        EXPECT_THAT(bench.ask_slave(code, 4096).payload, SizeIs(10));
        EXPECT_THAT(bench.ask_slave(code, 0).payload, IsEmpty());
    }
}

TEST(FirmwareQueries, ErrorOfASlaveShowsAndClears) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    ASSERT_TRUE(bench.firmware().slave_fault(0, 1, "safeop-error"));
    EXPECT_EQ(bench.ask_slave(21, 1).payload, Bytes{0x14});
    EXPECT_NE(u16(bench.ask_slave(57, 1)), 0U);
    EXPECT_EQ(bench.ask_slave(41, 1).status, 0U);
    EXPECT_EQ(bench.ask_slave(21, 1).payload.at(0) & 0x10, 0);
}

TEST(FirmwareQueries, EniInformationTellsSlavesCycleAndImages) {
    FirmwareBench bench(quick());
    MakeEniOptions options;
    options.slaves = {{"coupler", 1}, {"do8", 1}, {"di8", 1}};
    options.cycle_us = 2000;
    options.output_bytes = 12;
    options.input_bytes = 34;
    ASSERT_EQ(bench.start(tarn::vcard::make_eni(options)), 0U);
    const auto words = value_of<std::array<uint32_t, 4>>(bench.ask(32).payload);
    EXPECT_THAT(words, ElementsAre(3, 2000, 12, 34));
}

TEST(FirmwareQueries, EniIdentityCarriesTheCrcText) {
    FirmwareBench bench(quick());
    const std::string eni = small_eni();
    ASSERT_EQ(bench.start(eni), 0U);
    const size_t begin = eni.find("<CRC>") + 5;
    const std::string crc = eni.substr(begin, eni.find("</CRC>") - begin);
    const Answer answer = bench.ask(82, bytes_of(144U));
    ASSERT_EQ(answer.length, 144U);
    EXPECT_EQ(Bytes(answer.payload.begin(), answer.payload.begin() + 16), bench.ask(32).payload);
    Bytes padded = text(crc);
    padded.resize(128);
    EXPECT_EQ(Bytes(answer.payload.begin() + 16, answer.payload.end()), padded);
}

TEST(FirmwareQueries, EniIdentityIsCutToTheSizeAsked) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    EXPECT_EQ(bench.ask(82, bytes_of(0U)).length, 0U);
    EXPECT_EQ(bench.ask(82, bytes_of(7U)).length, 7U);
    EXPECT_EQ(bench.ask(82, bytes_of(145U)).length, 144U);
    EXPECT_EQ(bench.ask(82, bytes_of(0xFFFFFFFFU)).length, 144U);
}

// ---- settings --------------------------------------------------------------------------------

TEST(FirmwareSettings, KeepTheirValuesPerChannel) {
    FirmwareBench bench;
    EXPECT_EQ(bench.request(0, true, 51, bytes_of(1U)).status, 0U);
    EXPECT_EQ(bench.request(1, true, 99, bytes_of(777U)).status, 0U);
    EXPECT_EQ(u32(bench.request(0, true, 52)), 1U);
    EXPECT_EQ(u32(bench.request(1, true, 52)), 0U);
    EXPECT_EQ(u32(bench.request(0, true, 100)), 0U);
    EXPECT_EQ(u32(bench.request(1, true, 100)), 777U);
}

TEST(FirmwareSettings, TimeoutTriggersOfChannelAndBoardAreApart) {
    FirmwareBench bench;
    EXPECT_EQ(bench.request(0, true, 60, bytes_of(5U)).status, 0U);
    EXPECT_EQ(bench.request(0, false, 60, bytes_of(6U)).status, 0U);
    EXPECT_THAT(bench.firmware().describe(), HasSubstr("time-out trigger 5"));
    EXPECT_THAT(bench.firmware().describe_board(), HasSubstr("time-out trigger 6"));
    EXPECT_EQ(bench.request(0, true, 102, bytes_of(0U)).status, 0U);
    EXPECT_EQ(bench.request(0, false, 102, bytes_of(0U)).status, 0U);
    EXPECT_THAT(bench.firmware().describe(), HasSubstr("time-out trigger 0"));
    EXPECT_THAT(bench.firmware().describe_board(), HasSubstr("time-out trigger 0"));
}

TEST(FirmwareSettings, SecondChannelTakesItsTriggerOnBothMailboxes) {
    FirmwareBench bench;
    for (const bool primary : {true, false}) {
        EXPECT_EQ(bench.request(1, primary, 60, bytes_of(5U)).status, 0U);
        EXPECT_THAT(bench.firmware().describe(), HasSubstr("time-out trigger 5"));
        EXPECT_EQ(bench.request(1, primary, 102, bytes_of(0U)).status, 0U);
        EXPECT_THAT(bench.firmware().describe(), Not(HasSubstr("time-out trigger 5")));
    }
}

TEST(FirmwareSettings, BuildTextEndsWithNul) {
    CardConfig config;
    config.firmware_version = "1.13.9";
    FirmwareBench bench(config);
    const Bytes build = bench.ask(101).payload;
    ASSERT_FALSE(build.empty());
    EXPECT_EQ(build.back(), 0);
    EXPECT_LE(build.size(), 64U);
    EXPECT_THAT(std::string(build.begin(), build.end()), HasSubstr("1.13.9"));
}

TEST(FirmwareSettings, ProcessImageEnableIsAnswered) {
    FirmwareBench bench;
    EXPECT_EQ(bench.ask(14).status, 0U);
}

// ---- board -----------------------------------------------------------------------------------

TEST(FirmwareBoard, AliveWordStaysZeroAndHeartbeatsAdvance) {
    FirmwareBench bench;
    bench.serve(1);
    std::array<uint32_t, 4> before{};
    for (uint32_t i = 0; i < 4; ++i) {
        before[i] = tarn::card::load32(bench.bar(2) + 0x190 + i * 4);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
    bench.serve(1);
    for (uint32_t i = 0; i < 4; ++i) {
        EXPECT_GT(tarn::card::load32(bench.bar(2) + 0x190 + i * 4), before[i]);
    }
    EXPECT_EQ(tarn::card::load32(bench.bar(2) + 0x18C), 0U);
}

TEST(FirmwareBoard, ResetStopsBothBusesAndPublishesAgain) {
    FirmwareBench bench(quick());
    bench.start(small_eni(), 0);
    bench.start(small_eni(), 1);
    tarn::card::store32(bench.bar(2), 0);
    tarn::card::store32(bench.bar(2) + 0x68, 0xFFFFFFFF);
    bench.set_word(0, 5, 0);
    tarn::card::store32(bench.bar(2) + 0x188, 1);
    bench.serve();
    EXPECT_EQ(tarn::card::load32(bench.bar(2) + 0x188), 0U);
    EXPECT_EQ(tarn::card::load32(bench.bar(2)), 0x5AA5C33CU);
    EXPECT_STREQ(reinterpret_cast<const char *>(bench.bar(2) + 0x68), "tarn0");
    EXPECT_EQ(bench.word(0, 5), 524U);
    EXPECT_EQ(u32(bench.request(0, true, 11)), 0U);
    EXPECT_EQ(u32(bench.request(1, true, 11)), 0U);
}

TEST(FirmwareBoard, DescribesEachChannelAndMoreOfThoseWithABus) {
    FirmwareBench bench(quick());
    bench.start(small_eni(), 1);
    const std::string described = bench.firmware().describe();
    EXPECT_EQ(std::count(described.begin(), described.end(), '\n'), 4);
    EXPECT_THAT(described, HasSubstr("channel 0: stopped, not configured"));
    EXPECT_THAT(described, HasSubstr("\n  queues: input "));
    EXPECT_THAT(described, HasSubstr("\n  watchdog: 0 slaves configured, disabled, stopped"));
    EXPECT_THAT(described, HasSubstr("channel 1: running, 3 of 3 slaves, state 8"));
}

TEST(FirmwareBoard, SlaveFaultNeedsARunningBusAndASlave) {
    FirmwareBench bench(quick());
    EXPECT_FALSE(bench.firmware().slave_fault(0, 0, "unplug"));
    bench.start(small_eni());
    EXPECT_FALSE(bench.firmware().slave_fault(0, 3, "unplug"));
    EXPECT_FALSE(bench.firmware().slave_fault(2, 0, "unplug"));
    EXPECT_FALSE(bench.firmware().slave_fault(0, 0, "melt"));
    EXPECT_TRUE(bench.firmware().slave_fault(0, 0, "none"));
}

TEST(FirmwareBoard, RemembersTheLastRequests) {
    FirmwareBench bench;
    bench.ask(99, bytes_of(7U));
    bench.request(1, false, 47, Bytes(300, 9));
    const auto seen = bench.firmware().seen();
    ASSERT_THAT(seen, SizeIs(2));
    EXPECT_EQ(seen[0].channel, 0U);
    EXPECT_TRUE(seen[0].primary);
    EXPECT_EQ(seen[0].code, 99);
    EXPECT_EQ(seen[0].payload, bytes_of(7U));
    EXPECT_EQ(seen[1].channel, 1U);
    EXPECT_FALSE(seen[1].primary);
    EXPECT_THAT(seen[1].payload, SizeIs(256));
    bench.firmware().clear_seen();
    EXPECT_THAT(bench.firmware().seen(), IsEmpty());
}

TEST(FirmwareBoard, RemembersOneThousandAndTwentyFourRequests) {
    FirmwareBench bench;
    bench.ask(18);
    for (int i = 0; i < 1024; ++i) {
        bench.ask(11);
    }
    const auto seen = bench.firmware().seen();
    EXPECT_THAT(seen, SizeIs(1024));
    EXPECT_EQ(seen.front().code, 11);
}

// ---- faults ----------------------------------------------------------------------------------

TEST(FirmwareFaults, DropSwallowsReplies) {
    FirmwareBench bench;
    bench.firmware().faults().drop_replies = 2;
    bench.push(0, true, 11);
    bench.serve();
    bench.push(0, true, 11);
    bench.serve();
    EXPECT_FALSE(bench.pop(0, true));
    EXPECT_EQ(bench.ask(11).status, 0U);
    EXPECT_THAT(bench.firmware().seen(), SizeIs(3));
}

TEST(FirmwareFaults, DuplicateSendsTwice) {
    FirmwareBench bench;
    bench.firmware().faults().duplicate_replies = 1;
    const uint16_t sequence = bench.push(0, true, 11);
    EXPECT_EQ(bench.wait(0, true).sequence, sequence);
    EXPECT_EQ(bench.wait(0, true).sequence, sequence);
    EXPECT_NE(bench.ask(11).sequence, sequence);
    EXPECT_FALSE(bench.pop(0, true));
}

TEST(FirmwareFaults, StaleReplyComesFirst) {
    FirmwareBench bench;
    bench.firmware().faults().stale_replies = 1;
    const uint16_t sequence = bench.push(0, true, 11);
    EXPECT_NE(bench.wait(0, true).sequence, sequence);
    EXPECT_EQ(bench.wait(0, true).sequence, sequence);
}

TEST(FirmwareFaults, CorruptReplyHasAnImpossibleLength) {
    FirmwareBench bench;
    bench.firmware().faults().corrupt_replies = 1;
    EXPECT_GT(bench.ask(11).length, 102384U);
    EXPECT_EQ(bench.ask(11).length, 4U);
}

TEST(FirmwareFaults, OversizeReplyHasPayloadOnTop) {
    FirmwareBench bench;
    bench.firmware().faults().oversize_replies = 1;
    EXPECT_GT(bench.ask(10).length, 0U);
    EXPECT_EQ(bench.ask(10).length, 0U);
}

TEST(FirmwareFaults, DelayHoldsReplies) {
    FirmwareBench bench;
    bench.firmware().faults().delay_ms = 40;
    const auto begin = std::chrono::steady_clock::now();
    bench.ask(11);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(40));
}

TEST(FirmwareFaults, DelayOfOneRingLeavesTheOthersServed) {
    FirmwareBench bench;
    bench.firmware().faults().delay_ms = 100000;
    bench.push(0, true, 11);
    bench.serve();
    bench.firmware().faults().delay_ms = 0;
    EXPECT_EQ(bench.request(0, false, 127).status, 32772U);
    EXPECT_FALSE(bench.pop(0, true));
}

TEST(FirmwareFaults, StatusReplacesTheService) {
    FirmwareBench bench;
    auto &faults = bench.firmware().faults();
    faults.status_code = 99;
    faults.status = 32831;
    faults.status_count = 1;
    EXPECT_EQ(bench.ask(11).status, 0U);
    EXPECT_EQ(bench.ask(99, bytes_of(5U)).status, 32831U);
    EXPECT_EQ(u32(bench.ask(100)), 0U);
    EXPECT_EQ(bench.ask(99, bytes_of(5U)).status, 0U);
}

TEST(FirmwareFaults, StatusForAnyCommand) {
    FirmwareBench bench;
    bench.firmware().faults().status = 32771;
    bench.firmware().faults().status_count = 2;
    EXPECT_EQ(bench.ask(11).status, 32771U);
    EXPECT_EQ(bench.ask(18).status, 32771U);
    EXPECT_EQ(bench.ask(11).status, 0U);
}

TEST(FirmwareFaults, RefusedChunkLeavesNoFile) {
    FirmwareBench bench;
    bench.ask(1, open_record("f", 'w'));
    bench.ask(2, text("first"));
    bench.firmware().faults().refuse_chunks = true;
    EXPECT_EQ(bench.ask(2, text("second")).status, 32849U);
    bench.firmware().faults().refuse_chunks = false;
    EXPECT_EQ(bench.ask(5).status, 0U);
    EXPECT_EQ(bench.ask(1, open_record("f", 'r')).status, 32848U);
}

TEST(FirmwareFaults, ChunkLostToAStatusLeavesNoFile) {
    FirmwareBench bench;
    bench.ask(1, open_record("f", 'w'));
    bench.firmware().faults().status_code = 2;
    bench.firmware().faults().status = 32771;
    bench.firmware().faults().status_count = 1;
    bench.ask(2, text("lost"));
    bench.ask(2, text("kept"));
    bench.ask(5);
    EXPECT_EQ(bench.ask(1, open_record("f", 'r')).status, 32848U);
}

TEST(FirmwareFaults, BrokenDownloadLeavesNoOldConfiguration) {
    FirmwareBench bench(quick());
    ASSERT_EQ(bench.start(small_eni()), 0U);
    bench.ask(10);
    bench.firmware().faults().refuse_chunks = true;
    bench.send_file("eni_temp.xml", text(small_eni()));
    EXPECT_EQ(bench.ask(9).status, 32773U);
}

TEST(FirmwareFaults, StopDrainingLeavesRequestsInTheRings) {
    FirmwareBench bench;
    bench.firmware().faults().stop_draining = true;
    bench.push(0, true, 11);
    bench.serve();
    EXPECT_EQ(bench.word(0, 131), 0U);
    EXPECT_FALSE(bench.pop(0, true));
    bench.firmware().faults().stop_draining = false;
    EXPECT_EQ(bench.wait(0, true).status, 0U);
}

TEST(FirmwareFaults, StopWordWorksWhileRingsAreNotDrained) {
    FirmwareBench bench(quick());
    bench.start(small_eni());
    bench.firmware().faults().stop_draining = true;
    bench.set_word(0, 130, 1);
    bench.serve();
    EXPECT_EQ(bench.word(0, 130), 0U);
    EXPECT_THAT(bench.firmware().describe(), HasSubstr("channel 0: stopped"));
}

TEST(FirmwareFaults, NoInterruptsKeepsRepliesComing) {
    FirmwareBench bench(quick());
    bench.firmware().faults().no_interrupts = true;
    EXPECT_EQ(bench.start(small_eni()), 0U);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_THAT(bench.interrupts(), IsEmpty());
}

// ---- nonsense --------------------------------------------------------------------------------

namespace {

// The host may write at any time and with no order, which is a race by nature.
__attribute__((no_sanitize("thread"))) void scribble(uint8_t *at, const Bytes &bytes) {
    for (size_t i = 0; i < bytes.size(); ++i) {
        reinterpret_cast<volatile uint8_t *>(at)[i] = bytes[i];
    }
}

class Scribbler {
  public:
    explicit Scribbler(FirmwareBench &bench) : bench_(bench) {}

    void write_somewhere() {
        const auto [bar, begin, size] = targets_[pick(targets_.size())];
        Bytes bytes(1 + pick(bar == 2 && pick(8) == 0 ? 3000 : 24));
        const bool words = pick(2) == 0; // small numbers pass more checks than random ones do
        for (uint8_t &byte : bytes) {
            byte = static_cast<uint8_t>(words ? pick(4) == 0 ? pick(128) : 0 : pick(256));
        }
        const size_t length = std::min<size_t>(bytes.size(), size);
        bytes.resize(length);
        scribble(bench_.bar(bar) + begin + pick(size - length + 1), bytes);
    }

    size_t pick(size_t count) { return random_() % count; }

  private:
    struct Target {
        size_t bar;
        size_t begin;
        size_t size;
    };
    static constexpr size_t kArea = 0x1000;
    const std::vector<Target> targets_ = {
        {0, 0, 0x1000},
        {1, 0, 0x1000},
        {2, 0, 0x200},
        {2, 0, 0x800000},
        {2, kArea, 600},              // descriptors, stop word, primary pointers, first slot
        {2, kArea + 520, 20},         // stop word and primary pointers
        {2, kArea + 540, 32},         // header of the first request
        {2, kArea + 205340, 48},      // secondary pointers, first slot
        {2, kArea + 803400, 300},     // process image words
        {2, kArea + 803400, 1077544}, // process image
        {2, kArea + 0x1CB370, 512},   // slave ready words
        {2, kArea + 0x1FFC00, 600},   // the other channel
        {2, kArea + 0x1FFC00 + 803400, 300},
    };
    FirmwareBench &bench_;
    std::mt19937 random_{20250630};
};

void survive_scribbling(CardConfig config) {
    FirmwareBench bench(config);
    ASSERT_EQ(bench.start(small_eni()), 0U);
    Scribbler scribbler(bench);
    for (int round = 0; round < 5000; ++round) {
        scribbler.write_somewhere();
        bench.firmware().serve();
        if (scribbler.pick(4) == 0) {
            // Step a request counter, so that slots are taken with whatever lies in them.
            const uint32_t word = std::array{132U, 51336U}[scribbler.pick(2)];
            bench.set_word(0, word, bench.word(0, word - 1) + 1);
            bench.set_word(0, word + 1, bench.word(0, word + 2)); // all replies taken
            bench.firmware().serve();
        }
    }
    // A reset heals what the host has damaged.
    tarn::card::store32(bench.bar(2) + 0x188, 1);
    bench.serve();
    for (const uint32_t channel : {0U, 1U}) {
        for (const uint32_t word : {131U, 133U, 51335U, 51337U}) {
            bench.set_word(channel, word, bench.word(channel, word + 1));
        }
        EXPECT_EQ(bench.request(channel, true, 11).status, 0U);
        EXPECT_EQ(bench.request(channel, false, 47).status, 32772U);
    }
    EXPECT_EQ(bench.start(small_eni()), 0U);
}

} // namespace

TEST(FirmwareNonsense, SurvivesAHostThatWritesGarbage) {
    survive_scribbling(quick());
}

TEST(FirmwareNonsense, SurvivesGarbageWithTheFirstGenerationAndManySlots) {
    CardConfig config = quick();
    config.generation = 1;
    config.rings = {64, 3200};
    survive_scribbling(config);
}

TEST(FirmwareNonsense, SurvivesRandomRequestsOfEveryCode) {
    FirmwareBench bench(quick());
    ASSERT_EQ(bench.start(small_eni()), 0U);
    std::mt19937 random(4711);
    for (int round = 0; round < 4000; ++round) {
        Bytes payload(random() % 4 == 0 ? random() % 300 : random() % 9);
        for (uint8_t &byte : payload) {
            byte = static_cast<uint8_t>(random() % 2 == 0 ? 0 : random());
        }
        const auto code = static_cast<uint16_t>(random() % 130);
        const bool primary = random() % 2 == 0;
        if (code != 9) { // a start is answered later
            bench.request(0, primary, code, payload);
        }
    }
    EXPECT_EQ(bench.ask(11).status, 0U);
}
