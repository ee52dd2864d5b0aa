// The virtual card's heartbeats, clock, LEDs and reset.
#include "card/manual_clock.h"

#include "support/access_recorder.h"
#include "vcard/bus/make_eni.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tarn::test;
using namespace std::chrono_literals;
using tarn::vcard::CardConfig;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr uint32_t kMagic = 0x5AA5C33C;
constexpr uint64_t kSecond = 1'000'000'000;

std::string small_eni() {
    tarn::vcard::MakeEniOptions options;
    options.slaves = {{"dio8", 2}};
    return tarn::vcard::make_eni(options);
}

class FirmwareBoardState : public testing::Test {
  protected:
    explicit FirmwareBoardState(const CardConfig &config = BoardBench::quick()) : card(config) {}

    void set_time(uint64_t utc_ns, int32_t offset_s) {
        tarn::card::store64(card.bench().bar(2) + 0x1A0, utc_ns);
        card.set_block(0x1A8, static_cast<uint32_t>(offset_s));
        card.look();
    }
    std::string described() { return card.firmware().describe_board(); }

    BoardBench card;
};

class FirmwareSlowReset : public FirmwareBoardState {
  protected:
    FirmwareSlowReset() : FirmwareBoardState(config()) {}
    static CardConfig config() {
        CardConfig config = BoardBench::quick();
        config.reset_ms = 100;
        return config;
    }
};

} // namespace

// ---- heartbeats ------------------------------------------------------------------------------

TEST_F(FirmwareBoardState, HeartbeatsHaveTheirOwnRates) {
    card.pass(1s);
    EXPECT_EQ(card.block(0x190), 1000U);
    EXPECT_EQ(card.block(0x194), 2000U);
    EXPECT_EQ(card.block(0x198), 4000U);
    EXPECT_EQ(card.block(0x19C), 8000U);
    card.pass(1ms);
    EXPECT_EQ(card.block(0x190), 1001U);
    EXPECT_EQ(card.block(0x19C), 8008U);
}

TEST_F(FirmwareBoardState, HeartbeatsWrap) {
    card.pass(std::chrono::seconds(0x100000000 / 8000 + 1));
    EXPECT_LT(card.block(0x19C), 8000U);
}

TEST_F(FirmwareBoardState, HostCannotStopTheHeart) {
    card.pass(10ms);
    card.set_block(0x190, 0xFFFFFFFF);
    card.pass(1ms);
    EXPECT_EQ(card.block(0x190), 11U);
}

// ---- clock -----------------------------------------------------------------------------------

TEST_F(FirmwareBoardState, ClockIsNotSetAtFirst) {
    EXPECT_THAT(described(), HasSubstr("time not set"));
}

TEST_F(FirmwareBoardState, HostTimeIsTakenOverAndRunsOn) {
    set_time(1739404800 * kSecond, 8 * 3600);
    EXPECT_THAT(described(), HasSubstr("time 2025-02-13 08:00:00.000"));
    card.pass(90s + 250ms);
    EXPECT_THAT(described(), HasSubstr("time 2025-02-13 08:01:30.250"));
    EXPECT_EQ(tarn::card::load64(card.bench().bar(2) + 0x1A0), 1739404800 * kSecond);
}

TEST_F(FirmwareBoardState, OffsetAloneDoesNotTurnTheClockBack) {
    set_time(1739404800 * kSecond, 0);
    card.pass(10s);
    card.set_block(0x1A8, static_cast<uint32_t>(-3600));
    card.look();
    EXPECT_THAT(described(), HasSubstr("time 2025-02-12 23:00:10.000"));
}

TEST_F(FirmwareBoardState, LogLinesCarryTheTime) {
    EXPECT_FALSE(card.bench().logged("2025-02-13"));
    set_time(1739404800 * kSecond, 0);
    EXPECT_TRUE(card.bench().logged("2025-02-13 00:00:00.000 time taken over"));
    card.advance(5s);
    card.ask(47);
    EXPECT_TRUE(card.bench().logged("2025-02-13 00:00:05.000 channel 0: secondary ring: command"));
}

TEST_F(FirmwareBoardState, ClockRunsThroughAReset) {
    set_time(1739404800 * kSecond, 0);
    card.advance(1s);
    card.reset();
    card.pass(1s);
    EXPECT_THAT(described(), HasSubstr("time 2025-02-13 00:00:02.000"));
}

TEST_F(FirmwareBoardState, ClockIsLostWithThePower) {
    set_time(1739404800 * kSecond, 0);
    card.firmware().boot();
    card.look();
    EXPECT_THAT(described(), HasSubstr("time not set"));
}

TEST_F(FirmwareBoardState, TimesAtTheEndsOfTheRangeAreShown) {
    set_time(0x7FFFFFFFFFFFFFFF, 0);
    card.pass(1000s);
    EXPECT_THAT(described(), HasSubstr("time 2262-04-1"));
    set_time(0x8000000000000000, 0);
    EXPECT_THAT(described(), HasSubstr("time 1677-09-2"));
    set_time(0xFFFFFFFFFFFFFFFF, 0);
    EXPECT_THAT(described(), HasSubstr("time 1970-01-01"));
}

TEST_F(FirmwareBoardState, ImpossibleOffsetsAreLeftOut) {
    for (const int32_t offset : {INT32_MAX, INT32_MIN, 86401, -86401}) {
        set_time(1739404800 * kSecond, offset);
        EXPECT_THAT(described(), HasSubstr("time 2025-02-13 00:00:00.000")) << offset;
    }
}

TEST_F(FirmwareBoardState, ControlCharactersDoNotReachTheLog) {
    card.ask(1, open_record("a\nb\x1B[2J\x7F", 'r'));
    EXPECT_TRUE(card.bench().logged("no file \"a\\x0ab\\x1b[2J\\x7f\""));
    EXPECT_FALSE(card.bench().logged("\n"));
}

// ---- commands --------------------------------------------------------------------------------

TEST_F(FirmwareBoardState, LedValuesAreRemembered) {
    EXPECT_EQ(card.ask(43, {0x34, 0x12, 0xFF, 0xFF}).status, 0U);
    EXPECT_THAT(described(), HasSubstr("LEDs 4660 65535"));
}

TEST_F(FirmwareBoardState, LedCommandOfAnotherLengthIsRefused) {
    EXPECT_EQ(card.ask(43, Bytes(3)).status, 32770U);
    EXPECT_EQ(card.ask(43, Bytes(5)).status, 32770U);
}

TEST_F(FirmwareBoardState, TimeoutTriggerIsRemembered) {
    EXPECT_EQ(card.ask(60, bytes_of(1U)).status, 0U);
    EXPECT_THAT(described(), HasSubstr("time-out trigger 1"));
    EXPECT_EQ(card.ask(102, bytes_of(0U)).status, 0U);
    EXPECT_THAT(described(), HasSubstr("time-out trigger 0"));
}

TEST_F(FirmwareBoardState, BoardCommandsExistOnTheBoardsMailboxOnly) {
    for (const uint16_t code : std::vector<uint16_t>{33, 43, 44, 45, 46}) {
        EXPECT_NE(card.ask(code, Bytes(8)).status, 32772U) << code;
        EXPECT_EQ(card.bench().request(0, true, code, Bytes(8)).status, 32772U) << code;
        EXPECT_EQ(card.bench().request(1, true, code, Bytes(8)).status, 32772U) << code;
        EXPECT_EQ(card.bench().request(1, false, code, Bytes(8)).status, 32772U) << code;
    }
}

TEST_F(FirmwareBoardState, StopAfterLeavesLaterRequestsInTheRing) {
    card.firmware().faults().stop_after = 2;
    EXPECT_EQ(card.ask(43, Bytes(4)).status, 0U);
    EXPECT_EQ(card.ask(43, Bytes(4)).status, 0U);
    card.bench().push(0, false, 43, Bytes(4));
    card.bench().serve(10);
    EXPECT_FALSE(card.bench().pop(0, false).has_value());
    EXPECT_TRUE(card.firmware().faults().stop_draining);
    card.firmware().faults().stop_draining = false;
    EXPECT_EQ(card.bench().wait(0, false).status, 0U);
}

// ---- reset -----------------------------------------------------------------------------------

TEST_F(FirmwareSlowReset, MagicIsGoneWhileTheResetRuns) {
    card.reset();
    EXPECT_EQ(card.block(0), 0U);
    EXPECT_EQ(card.block(0x18C), 1U);
    EXPECT_EQ(card.block(0x188), 1U);
    EXPECT_THAT(described(), HasSubstr("being reset"));
    card.pass(99ms);
    EXPECT_EQ(card.block(0), 0U);
    card.pass(1ms);
    EXPECT_EQ(card.block(0), kMagic);
    EXPECT_EQ(card.block(0x18C), 0U);
    EXPECT_EQ(card.block(0x188), 0U);
}

// A host that sees the alive word may ask for the next reset, so the request must be taken back
// before; and the configuration block must be valid by then.
TEST_F(FirmwareSlowReset, AliveWordIsTheLastThatTheResetWrites) {
    if (!can_record_accesses()) {
        GTEST_SKIP() << "a thread sanitizer accesses memory on behalf of the program";
    }
    card.reset();
    card.advance(100ms);
    AccessRecorder recorder({{card.bench().bar(2), 0x1000}});
    card.look();
    std::vector<Access> marks;
    for (const Access &access : recorder.stop()) {
        const bool mark = access.offset == 0 || access.offset == 0x188 || access.offset == 0x18C;
        if (access.kind == Access::Kind::Store && mark) {
            marks.push_back(access);
        }
    }
    ASSERT_GE(marks.size(), 3U);
    marks.erase(marks.begin(), marks.end() - 3);
    EXPECT_THAT(marks, testing::ElementsAre(store_of(0, 0x188, 4, 0), store_of(0, 0, 4, kMagic),
                                            store_of(0, 0x18C, 4, 0)));
}

TEST_F(FirmwareSlowReset, RequestsOfTheMeantimeAreServedAfterwards) {
    card.reset();
    card.bench().push(0, false, 43, Bytes(4));
    card.pass(50ms);
    EXPECT_FALSE(card.bench().pop(0, false).has_value());
    card.pass(50ms);
    EXPECT_EQ(card.bench().wait(0, false).status, 0U);
}

TEST_F(FirmwareSlowReset, SlaveFaultsAndStatusAreHarmlessMeanwhile) {
    card.reset();
    EXPECT_FALSE(card.firmware().slave_fault(0, 0, "unplug"));
    EXPECT_EQ(card.firmware().describe(), "");
    card.firmware().wire("0:high");
    card.firmware().shut_down();
}

TEST_F(FirmwareBoardState, ResetAnswersAStartUnderWay) {
    CardConfig config = BoardBench::quick();
    config.start_ms = 1000000;
    BoardBench slow(config);
    const std::string eni = small_eni();
    ASSERT_EQ(slow.bench().send_file("eni_temp.xml", {eni.begin(), eni.end()}), 0U);
    slow.bench().push(0, true, 9);
    slow.look();
    slow.reset();
    EXPECT_EQ(slow.bench().wait(0, true).status, 32833U);
}

TEST_F(FirmwareBoardState, ResetEndsTheBusAndForgetsItsConfiguration) {
    CardConfig config = BoardBench::quick();
    FirmwareBench bench(config);
    ASSERT_EQ(bench.start(small_eni()), 0U);
    EXPECT_THAT(bench.firmware().describe(), HasSubstr("channel 0: running"));
    tarn::card::store32(bench.bar(2) + 0x188, 1);
    bench.serve(1);
    EXPECT_THAT(bench.firmware().describe(), HasSubstr("channel 0: stopped, not configured"));
    EXPECT_EQ(tarn::card::load32(bench.area(0) + 0x1CB370), 0U);
}

TEST_F(FirmwareBoardState, ResetClearsTheIoRegisters) {
    for (uint32_t offset = 0x54; offset < 0x1E8; offset += 4) {
        if (offset != 0x188 && (offset < 0x5C || offset >= 0xD8)) {
            card.write(offset, 0x01010101);
        }
    }
    card.pass(1ms);
    card.reset();
    for (uint32_t offset = 0x54; offset < 0x5C; offset += 4) {
        EXPECT_EQ(card.read(offset), 0U) << offset;
    }
    EXPECT_EQ(card.read(0x6C), 0U);
    for (uint32_t offset = 0xD8; offset < 0x1E8; offset += 4) {
        if (offset < 0x118 || offset >= 0x120) {
            EXPECT_EQ(card.read(offset), 0U) << offset;
        }
    }
    EXPECT_THAT(described(), Not(HasSubstr("pwm")));
}

TEST_F(FirmwareBoardState, ResetRestartsHeartbeatsAndForgetsSettings) {
    card.ask(43, Bytes(4, 9));
    card.ask(60, bytes_of(7U));
    card.pass(500ms);
    card.reset();
    EXPECT_EQ(card.block(0x190), 0U);
    EXPECT_THAT(described(), HasSubstr("LEDs 0 0, time-out trigger 0"));
    card.pass(2ms);
    EXPECT_EQ(card.block(0x190), 2U);
}

TEST_F(FirmwareBoardState, ResetKeepsTheCountersOfTheRings) {
    card.ask(43, Bytes(4));
    card.ask(43, Bytes(4));
    card.reset();
    EXPECT_EQ(card.bench().word(0, 51336), 2U);
    EXPECT_EQ(card.ask(43, Bytes(4)).sequence, 2U);
}

TEST_F(FirmwareBoardState, ResetKeepsRepliesThatLieInTheRing) {
    const uint16_t sequence = card.bench().push(0, false, 43, Bytes(4));
    card.look();
    card.reset();
    const auto answer = card.bench().pop(0, false);
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(answer->sequence, sequence);
}

TEST_F(FirmwareBoardState, ResetHealsImpossibleCounters) {
    card.bench().set_word(0, 51335, 500);
    card.bench().set_word(0, 51336, 100);
    card.bench().set_word(0, 51337, 77);
    card.reset();
    EXPECT_EQ(card.ask(43, Bytes(4)).status, 0U);
}

TEST_F(FirmwareBoardState, ResetKeepsTheCardsFiles) {
    const Bytes content(1000, 42);
    ASSERT_EQ(card.bench().send_file("recipe", content, 0, false), 0U);
    ASSERT_EQ(card.bench().send_file("other", content, 1), 0U);
    card.reset();
    EXPECT_EQ(card.ask(1, open_record("recipe", 'r')).status, 0U);
    EXPECT_EQ(card.ask(3, bytes_of(2000U)).payload, content);
    EXPECT_EQ(card.bench().request(1, true, 1, open_record("other", 'r')).status, 0U);
    EXPECT_EQ(card.bench().request(0, true, 1, open_record("other", 'r')).status, 32848U);
}

TEST_F(FirmwareBoardState, ResetEndsATransferWithoutItsFile) {
    ASSERT_EQ(card.ask(1, open_record("half", 'w')).status, 0U);
    ASSERT_EQ(card.ask(2, Bytes(10)).status, 0U);
    card.reset();
    EXPECT_EQ(card.ask(2, Bytes(10)).status, 32849U);
    EXPECT_EQ(card.ask(1, open_record("half", 'r')).status, 32848U);
}

TEST_F(FirmwareBoardState, OtherValuesOfTheResetWordDoNothing) {
    card.pass(5ms);
    for (const uint32_t value : {2U, 0x100U, 0xFFFFFFFFU}) {
        card.set_block(0x188, value);
        card.look();
        EXPECT_EQ(card.block(0x188), value);
        EXPECT_EQ(card.block(0x190), 5U);
    }
}

TEST_F(FirmwareBoardState, ResetGivesIdentificationAndAliasBack) {
    const uint32_t identification = card.read(0);
    const uint32_t alias = card.read(0x18);
    card.write(0, 0);
    card.write(0x18, 0x55);
    card.reset();
    EXPECT_EQ(card.read(0), identification);
    EXPECT_EQ(card.read(0x18), alias);
}
