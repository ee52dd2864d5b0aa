// The virtual card's digital lines, PWM and pulse outputs, and latches, register by register.
#include "card/manual_clock.h"

#include "vcard/card/latch.h"
#include "vcard/card/outputs.h"
#include "vcard/card/waveform.h"
#include "vcard/card/wiring.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>

using namespace tarn::test;
using namespace std::chrono_literals;
using tarn::vcard::CardConfig;
using tarn::vcard::Edge;
using tarn::vcard::latch_source;
using tarn::vcard::PulseOutput;
using tarn::vcard::PwmOutput;
using tarn::vcard::Signal;
using tarn::vcard::Waveform;
using tarn::vcard::Wiring;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr uint32_t kEnable = 0x054;
constexpr uint32_t kOutputs = 0x058;
constexpr uint32_t kInputs = 0x06C;
constexpr uint32_t kLatchEnable = 0x120;
constexpr uint32_t kLatchMode = 0x124;
constexpr uint32_t kLatchRun = 0x128;
constexpr uint32_t kLatchClear = 0x12C;
constexpr uint32_t kLatchState = 0x130;
constexpr uint32_t kLatchPort = 0x154;
constexpr uint32_t kSequenceCount = 0x158;

// Plain modes; the falling and the either edge follow the rising one.
constexpr uint32_t kInputRising = 0;
constexpr uint32_t kOutputRising = 3;
constexpr uint32_t kPwmRising = 6;
constexpr uint32_t kPulseRising = 9;
constexpr uint32_t kSharedInputRising = 12;
constexpr uint32_t kAtOnce = 21;
constexpr uint32_t kSequenceInput = 23; // of input 0; three modes per input
constexpr uint32_t kSequencePwm = 23 + 3 * 34;
constexpr uint32_t kSequencePulse = 23 + 3 * 35;
constexpr uint32_t kSequenceSharedPwm = 23 + 3 * 36;

class FirmwareIo : public testing::Test {
  protected:
    explicit FirmwareIo(const CardConfig &config = BoardBench::quick()) : card(config) {}

    void arm(uint32_t mode, uint32_t port = 0) {
        card.write(kLatchEnable, 1);
        card.write(kLatchMode, mode);
        card.write(kLatchPort, port);
        card.write(kLatchRun, 1);
        card.look();
    }
    void arm_sequence(uint32_t mode, uint32_t count) {
        card.write(kSequenceCount, count);
        arm(mode);
    }
    void set_outputs(uint32_t value) {
        card.write(kOutputs, value);
        card.look();
    }
    uint32_t state() { return card.read(kLatchState); }
    uint64_t value(uint32_t channel) { return card.read64(0x134 + 8 * channel); }
    uint64_t sequence(uint32_t channel, uint32_t index) {
        card.write(0x15C + 4 * channel, index);
        card.look();
        return card.read64(0x16C + 8 * channel);
    }
    void start_pwm(uint32_t channel, uint32_t period, uint32_t high) {
        const uint32_t offset = 0x0D8 + 16 * channel;
        card.write(offset, period & 0xFFFF);
        card.write(offset + 4, period >> 16);
        card.write(offset + 8, high & 0xFFFF);
        card.write(offset + 12, high >> 16);
        card.write(kEnable, card.read(kEnable) | 1U << channel);
        card.look();
    }
    void configure_pulse(uint32_t channel, uint32_t period, uint32_t high) {
        card.write(kEnable, card.read(kEnable) | 0xC000U >> (2 * channel));
        card.write(0x194 + 16 * channel, period);
        card.write(0x198 + 16 * channel, high);
    }
    void start_pulse(uint32_t channel, uint32_t count) {
        card.write(0x1D0 + 4 * channel, count);
        card.write(0x1CC, card.read(0x1CC) | 1U << channel);
        card.look();
    }
    std::string described() { return card.firmware().describe_board(); }

    BoardBench card;
};

} // namespace

// ---- waveforms -------------------------------------------------------------------------------

TEST(Waveform, EdgesComeOncePerPeriod) {
    const Waveform wave{100, 10, 4, 0};
    EXPECT_EQ(wave.next_edge(0, Edge::Rising), 100U);
    EXPECT_EQ(wave.next_edge(100, Edge::Rising), 110U);
    EXPECT_EQ(wave.next_edge(0, Edge::Falling), 104U);
    EXPECT_EQ(wave.next_edge(104, Edge::Falling), 114U);
    EXPECT_EQ(wave.next_edge(100, Edge::Either), 104U);
    EXPECT_EQ(wave.next_edge(104, Edge::Either), 110U);
}

TEST(Waveform, LimitedWaveEndsLow) {
    const Waveform wave{0, 10, 4, 2};
    EXPECT_TRUE(wave.level(13));
    EXPECT_FALSE(wave.level(20));
    EXPECT_TRUE(wave.ended(20));
    EXPECT_FALSE(wave.ended(19));
    EXPECT_EQ(wave.periods(1000), 2U);
    EXPECT_EQ(wave.next_edge(10, Edge::Rising), std::nullopt);
    EXPECT_EQ(wave.next_edge(10, Edge::Falling), 14U);
    EXPECT_EQ(wave.next_edge(14, Edge::Falling), std::nullopt);
}

TEST(Waveform, InvertedWaveSwapsItsLevelsAndEdges) {
    const Waveform wave{100, 10, 4, 2, true};
    EXPECT_TRUE(wave.level(99));
    EXPECT_FALSE(wave.level(100));
    EXPECT_TRUE(wave.level(104));
    EXPECT_TRUE(wave.level(120));
    EXPECT_EQ(wave.next_edge(0, Edge::Falling), 100U);
    EXPECT_EQ(wave.next_edge(0, Edge::Rising), 104U);
    EXPECT_EQ(wave.next_edge(100, Edge::Either), 104U);
    EXPECT_EQ(wave.next_edge(114, Edge::Either), std::nullopt);
}

TEST(Waveform, FullHighTimeLeavesNoGap) {
    const Waveform wave{5, 10, 10, 3};
    EXPECT_TRUE(wave.level(14));
    EXPECT_EQ(wave.next_edge(0, Edge::Rising), 5U);
    EXPECT_EQ(wave.next_edge(5, Edge::Rising), std::nullopt);
    EXPECT_EQ(wave.next_edge(5, Edge::Either), 35U);
    EXPECT_EQ(wave.next_edge(35, Edge::Falling), std::nullopt);
    const Waveform endless{5, 10, 11, 0};
    EXPECT_EQ(endless.next_edge(5, Edge::Falling), std::nullopt);
}

TEST(Waveform, WithoutPeriodOrHighTimeThereAreNoEdges) {
    EXPECT_EQ((Waveform{0, 0, 5, 0}.next_edge(0, Edge::Either)), std::nullopt);
    EXPECT_EQ((Waveform{1, 5, 0, 0}.next_edge(0, Edge::Either)), std::nullopt);
    EXPECT_FALSE((Waveform{0, 0, 5, 0}.level(3)));
    EXPECT_EQ((Waveform{1, 5, 0, 0}.periods(11)), 2U);
}

// ---- wiring ----------------------------------------------------------------------------------

TEST(Wiring, IsStraightByDefault) {
    EXPECT_EQ(Wiring().describe(), "");
}

TEST(Wiring, TakesSeveralWires) {
    Wiring wiring;
    wiring.apply("all:open+3:out31+4:pwm3+5:pulse0+6:high+7:low+8:straight");
    const std::string text = wiring.describe();
    EXPECT_THAT(text,
                HasSubstr("0:open+1:open+2:open+3:out31+4:pwm3+5:pulse0+6:high+7:low+9:open"));
    Wiring again;
    again.apply(text);
    EXPECT_EQ(again.describe(), text);
}

TEST(Wiring, RefusesWhatIsNoWireAndChangesNothing) {
    for (const char *text :
         {"32:high", "-1:high", "0:out32", "0:pwm4", "0:pulse4", "0:out", "0:", "0", ":high",
          "x:high", "0:higher", "1:high+2:nothing", "+0:high", "0:out99999999999"}) {
        Wiring wiring;
        EXPECT_THROW(wiring.apply(text), std::invalid_argument) << text;
        EXPECT_EQ(wiring.describe(), "") << text;
    }
}

TEST(Wiring, CardWithAnImpossibleWiringIsRefused) {
    CardConfig config;
    config.wiring = "0:nowhere";
    EXPECT_THROW(const FirmwareBench bench(config), std::invalid_argument);
}

// ---- digital lines ---------------------------------------------------------------------------

TEST_F(FirmwareIo, OutputsComeBackOnTheInputs) {
    for (const uint32_t value : {0x00000001U, 0x80000000U, 0xA5A5A5A5U, 0U}) {
        set_outputs(value);
        EXPECT_EQ(card.read(kInputs), value);
        EXPECT_EQ(card.read(kOutputs), value);
    }
}

TEST_F(FirmwareIo, HostCannotWriteInputs) {
    card.write(kInputs, 0xFFFFFFFF);
    card.look();
    EXPECT_EQ(card.read(kInputs), 0U);
}

TEST_F(FirmwareIo, InputsAreWiredFromOutside) {
    card.firmware().wire("3:high+4:out0+5:open");
    set_outputs(0x21);
    EXPECT_EQ(card.read(kInputs), 0x19U);
    EXPECT_THAT(described(), HasSubstr("wired 3:high+4:out0+5:open"));
    card.firmware().wire("all:straight");
    card.look();
    EXPECT_EQ(card.read(kInputs), 0x21U);
    EXPECT_THAT(described(), Not(HasSubstr("wired")));
}

TEST_F(FirmwareIo, WiringOutlivesAReset) {
    card.firmware().wire("3:high");
    card.reset();
    EXPECT_EQ(card.read(kInputs), 8U);
}

TEST_F(FirmwareIo, InputFollowsAPwmOutputThatItHangsOn) {
    card.firmware().wire("0:pwm2");
    start_pwm(2, 125000, 62500); // 1 ms
    EXPECT_EQ(card.read(kInputs), 1U);
    card.pass(500us);
    EXPECT_EQ(card.read(kInputs), 0U);
    card.pass(500us);
    EXPECT_EQ(card.read(kInputs), 1U);
}

class FirmwareWiredIo : public FirmwareIo {
  protected:
    FirmwareWiredIo() : FirmwareIo(config()) {}
    static CardConfig config() {
        CardConfig config = BoardBench::quick();
        config.wiring = "all:low+7:high";
        return config;
    }
};

TEST_F(FirmwareWiredIo, ConfigurationSaysHowInputsAreWired) {
    set_outputs(0xFFFFFFFF);
    EXPECT_EQ(card.read(kInputs), 0x80U);
}

// ---- PWM -------------------------------------------------------------------------------------

TEST_F(FirmwareIo, PwmRunsAtTheProgrammedPeriod) {
    start_pwm(0, 125000, 31250);
    card.pass(10ms);
    EXPECT_THAT(described(), HasSubstr("pwm 0: 1000 Hz, 25 %, 10 periods"));
}

TEST_F(FirmwareIo, PwmPeriodIsMadeOfTwoHalves) {
    card.write(0x0D8, 0xABCDE848); // the high halves of the words do not count
    card.write(0x0DC, 1);
    card.write(0x0E0, 0xF424);
    card.write(kEnable, 1);
    card.look();
    card.pass(3ms);
    EXPECT_THAT(described(), HasSubstr("pwm 0: 1000 Hz, 50 %, 3 periods"));
}

TEST_F(FirmwareIo, PwmWithoutItsEnableBitStandsStill) {
    start_pwm(1, 1250, 625);
    card.write(kEnable, 0);
    card.look();
    card.pass(10ms);
    EXPECT_THAT(described(), Not(HasSubstr("pwm 1")));
    start_pwm(1, 1250, 625);
    card.pass(1ms);
    card.write(kEnable, 0);
    card.look();
    EXPECT_THAT(described(), HasSubstr("pwm 1: off, 100 periods"));
}

TEST_F(FirmwareIo, PwmStartsAnewWhenItsSettingChanges) {
    start_pwm(3, 125000, 62500);
    card.pass(2500us);
    start_pwm(3, 250000, 62500);
    card.pass(2ms);
    EXPECT_THAT(described(), HasSubstr("pwm 3: 500 Hz, 25 %, 3 periods"));
}

TEST_F(FirmwareIo, PwmWithPeriodZeroIsLow) {
    card.firmware().wire("0:pwm0");
    start_pwm(0, 0, 0);
    card.pass(1ms);
    EXPECT_EQ(card.read(kInputs), 0U);
    start_pwm(0, 0, 5000);
    card.pass(1ms);
    EXPECT_EQ(card.read(kInputs), 0U);
}

TEST_F(FirmwareIo, PwmOfMoreThanAHundredPercentIsHigh) {
    card.firmware().wire("0:pwm0");
    start_pwm(0, 1000, 0xFFFFFFFF);
    card.pass(12345us);
    EXPECT_EQ(card.read(kInputs), 1U);
}

// ---- pulses ----------------------------------------------------------------------------------

TEST_F(FirmwareIo, PulsesStopWhenTheCountIsReached) {
    configure_pulse(1, 1250, 625); // 10 us
    start_pulse(1, 250);
    card.pass(1ms);
    EXPECT_THAT(described(), HasSubstr("pulse 1: 100 pulses, 150 to come at 100000 Hz, 50 %"));
    card.pass(1500us);
    EXPECT_THAT(described(), HasSubstr("pulse 1: 250 pulses\n"));
    card.pass(10ms);
    EXPECT_THAT(described(), HasSubstr("pulse 1: 250 pulses\n"));
}

TEST_F(FirmwareIo, StartBitStaysUntilTheCountIsReached) {
    configure_pulse(1, 1250, 625);
    start_pulse(1, 250);
    EXPECT_EQ(card.read(0x1CC), 2U);
    card.pass(2499us);
    EXPECT_EQ(card.read(0x1CC), 2U);
    card.pass(1us);
    EXPECT_EQ(card.read(0x1CC), 0U);
}

TEST_F(FirmwareIo, CountRegisterCountsThePulsesDown) {
    configure_pulse(1, 1250, 625);
    start_pulse(1, 250);
    EXPECT_EQ(card.read(0x1D4), 250U);
    card.pass(15us);
    EXPECT_EQ(card.read(0x1D4), 249U);
    card.pass(985us);
    EXPECT_EQ(card.read(0x1D4), 150U);
    card.pass(10ms);
    EXPECT_EQ(card.read(0x1D4), 0U);
}

TEST_F(FirmwareIo, DisabledTrainEndsWithWhatItLeftUndone) {
    configure_pulse(0, 125000, 1000);
    start_pulse(0, 100);
    card.advance(10ms);
    card.write(kEnable, 0);
    card.look();
    EXPECT_EQ(card.read(0x1D0), 90U);
    EXPECT_EQ(card.read(0x1CC), 0U);
    card.pass(10ms);
    EXPECT_EQ(card.read(0x1D0), 90U);
}

TEST_F(FirmwareIo, StartWithoutEnableBitsKeepsTheCount) {
    start_pulse(2, 9);
    EXPECT_EQ(card.read(0x1CC), 0U);
    EXPECT_EQ(card.read(0x1D8), 9U);
}

TEST_F(FirmwareIo, AnotherCountBeginsARunningTrainAnew) {
    configure_pulse(0, 125000, 1000);
    start_pulse(0, 10);
    card.pass(4ms);
    card.write(0x1D0, 3);
    card.look();
    EXPECT_THAT(described(), HasSubstr("pulse 0: 4 pulses, 3 to come"));
    card.pass(10ms);
    EXPECT_THAT(described(), HasSubstr("pulse 0: 7 pulses\n"));
    EXPECT_EQ(card.read(0x1CC), 0U);
}

TEST_F(FirmwareIo, CountZeroEndsARunningTrain) {
    configure_pulse(0, 125000, 1000);
    start_pulse(0, 10);
    card.pass(4ms);
    card.write(0x1D0, 0);
    card.look();
    EXPECT_EQ(card.read(0x1CC), 0U);
    card.pass(10ms);
    EXPECT_THAT(described(), HasSubstr("pulse 0: 4 pulses\n"));
}

TEST_F(FirmwareIo, NextTrainCanBeStartedBeforeTheCardHasSeenTheEndOfTheLast) {
    configure_pulse(0, 1250, 625);
    start_pulse(0, 5);
    card.advance(1ms);
    start_pulse(0, 7);
    EXPECT_EQ(card.read(0x1D0), 7U);
    card.pass(1ms);
    EXPECT_THAT(described(), HasSubstr("pulse 0: 12 pulses\n"));
}

TEST_F(FirmwareIo, StartOfOneOutputLeavesTheTrainOfAnother) {
    configure_pulse(0, 125000, 1000);
    configure_pulse(1, 125000, 1000);
    start_pulse(0, 10);
    card.pass(1500us);
    start_pulse(1, 10);
    EXPECT_EQ(card.read(0x1CC), 3U);
    card.pass(500us);
    EXPECT_THAT(described(), HasSubstr("pulse 0: 2 pulses, 8 to come"));
}

// As by a host that read the word before the train was over and writes it for another output.
TEST_F(FirmwareIo, StartBitThatComesBackAfterTheEndGivesNoPulses) {
    configure_pulse(0, 1250, 625);
    start_pulse(0, 5);
    card.pass(1ms);
    card.write(0x1CC, 1);
    card.pass(1ms);
    EXPECT_EQ(card.read(0x1CC), 0U);
    EXPECT_THAT(described(), HasSubstr("pulse 0: 5 pulses\n"));
}

TEST_F(FirmwareIo, PulseBlockThatIsZeroedWhileTrainsRunStaysZero) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        configure_pulse(channel, 125000, 1000);
        start_pulse(channel, 10);
    }
    card.pass(3ms);
    card.write(kEnable, 0);
    for (uint32_t offset = 0x18C; offset < 0x1E4; offset += 4) {
        card.write(offset, 0);
    }
    card.pass(1ms);
    for (uint32_t offset = 0x18C; offset < 0x1E4; offset += 4) {
        EXPECT_EQ(card.read(offset), 0U) << offset;
    }
}

TEST_F(FirmwareIo, FlagBitInvertsAPulseOutput) {
    card.firmware().wire("all:open+0:pulse1");
    card.write(0x1E0, 2);
    card.look();
    EXPECT_EQ(card.read(kInputs), 1U);
    configure_pulse(1, 125000, 62500);
    start_pulse(1, 2);
    EXPECT_EQ(card.read(kInputs), 0U);
    card.pass(500us);
    EXPECT_EQ(card.read(kInputs), 1U);
    card.pass(500us);
    EXPECT_EQ(card.read(kInputs), 0U);
    card.pass(10ms);
    EXPECT_EQ(card.read(kInputs), 1U);
    EXPECT_EQ(card.read(0x1E0), 2U);
}

TEST_F(FirmwareIo, FlagBitThatChangesGoesOnWithTheTrain) {
    card.firmware().wire("all:open+0:pulse0");
    configure_pulse(0, 125000, 62500);
    start_pulse(0, 10);
    card.pass(4ms);
    card.write(0x1E0, 1);
    card.look();
    EXPECT_EQ(card.read(kInputs), 0U);
    EXPECT_THAT(described(), HasSubstr("pulse 0: 4 pulses, 6 to come"));
}

TEST_F(FirmwareIo, LatchTakesTheEdgesOfAnInvertedPulse) {
    card.write(0x1E0, 1);
    configure_pulse(0, 125000, 62500);
    card.look();
    arm(kPulseRising);
    card.advance(1ms);
    start_pulse(0, 3);
    card.pass(3ms);
    EXPECT_EQ(value(0), 125000U + 62500U);
}

TEST_F(FirmwareIo, PulseStartNeedsBothEnableBits) {
    configure_pulse(0, 1250, 625);
    for (const uint32_t bits : {0U, 0x8000U, 0x4000U, 0x3F0FU}) {
        card.write(kEnable, bits);
        start_pulse(0, 5);
        card.pass(1ms);
        EXPECT_EQ(card.read(0x1CC), 0U);
        EXPECT_THAT(described(), Not(HasSubstr("pulse"))) << bits;
    }
    card.write(kEnable, 0xC000);
    start_pulse(0, 5);
    card.pass(1ms);
    EXPECT_THAT(described(), HasSubstr("pulse 0: 5 pulses"));
}

TEST_F(FirmwareIo, PulsesEndWhenTheyAreDisabled) {
    configure_pulse(3, 125000, 1000);
    start_pulse(3, 100);
    card.pass(10ms);
    card.write(kEnable, 0);
    card.look();
    card.pass(100ms);
    EXPECT_THAT(described(), HasSubstr("pulse 3: 10 pulses\n"));
}

TEST_F(FirmwareIo, AnotherStartBeginsATrainAnew) {
    configure_pulse(0, 125000, 1000);
    start_pulse(0, 10);
    card.pass(4ms);
    start_pulse(0, 10);
    card.pass(100ms);
    EXPECT_THAT(described(), HasSubstr("pulse 0: 14 pulses\n"));
}

TEST_F(FirmwareIo, RunningTrainTakesANewPeriod) {
    configure_pulse(0, 125000, 1000);
    start_pulse(0, 10);
    card.pass(4ms);
    configure_pulse(0, 1250, 625);
    card.look();
    card.pass(30us);
    EXPECT_THAT(described(), HasSubstr("pulse 0: 7 pulses, 3 to come"));
    card.pass(1ms);
    EXPECT_THAT(described(), HasSubstr("pulse 0: 10 pulses\n"));
}

TEST_F(FirmwareIo, CountZeroGivesNoPulses) {
    configure_pulse(0, 1250, 625);
    start_pulse(0, 0);
    card.pass(1ms);
    EXPECT_EQ(card.read(0x1CC), 0U);
    EXPECT_THAT(described(), Not(HasSubstr("pulse")));
}

TEST_F(FirmwareIo, SettingWordsIdleCountsAndFlagsStayAsTheHostWroteThem) {
    for (uint32_t offset = 0x18C; offset < 0x1CC; offset += 4) {
        card.write(offset, offset * 0x01010101U);
    }
    for (uint32_t offset = 0x1D0; offset < 0x1E4; offset += 4) {
        card.write(offset, ~offset);
    }
    card.pass(5ms);
    for (uint32_t offset = 0x18C; offset < 0x1CC; offset += 4) {
        EXPECT_EQ(card.read(offset), offset * 0x01010101U);
    }
    for (uint32_t offset = 0x1D0; offset < 0x1E4; offset += 4) {
        EXPECT_EQ(card.read(offset), ~offset);
    }
}

TEST(PulseOutput, LargestCountDoesNotOverflow) {
    PulseOutput output;
    output.look(0, {true, 1, 1}, true, 0xFFFFFFFF);
    EXPECT_TRUE(output.running(0xFFFFFFFE));
    EXPECT_FALSE(output.running(0xFFFFFFFF));
    EXPECT_EQ(output.pulses(0x1FFFFFFFF), 0xFFFFFFFFU);
}

// ---- latches ---------------------------------------------------------------------------------

TEST_F(FirmwareIo, LatchCapturesTheCounterAtARisingInput) {
    arm(kInputRising);
    card.advance(1ms);
    set_outputs(1);
    EXPECT_EQ(state(), 1U);
    EXPECT_EQ(value(0), 125000U);
    EXPECT_EQ(value(1), 0U);
}

TEST_F(FirmwareIo, LatchIsSetOnceUntilItIsCleared) {
    arm(kInputRising);
    card.advance(1ms);
    set_outputs(1);
    set_outputs(0);
    card.advance(1ms);
    set_outputs(1);
    EXPECT_EQ(value(0), 125000U);
    card.write(kLatchClear, 1);
    card.look();
    EXPECT_EQ(card.read(kLatchClear), 0U);
    EXPECT_EQ(state(), 0U);
    EXPECT_EQ(value(0), 0U);
    set_outputs(0);
    set_outputs(1);
    EXPECT_EQ(state(), 1U);
    EXPECT_EQ(value(0), 250000U);
}

TEST_F(FirmwareIo, EachChannelHasItsOwnInput) {
    arm(kInputRising);
    card.advance(1us);
    set_outputs(0x4);
    EXPECT_EQ(state(), 4U);
    card.advance(1us);
    set_outputs(0xF);
    EXPECT_EQ(state(), 0xFU);
    EXPECT_EQ(value(2), 125U);
    EXPECT_EQ(value(3), 250U);
}

TEST_F(FirmwareIo, FallingAndEitherEdgeHaveTheirModes) {
    arm(kInputRising + 1);
    set_outputs(1);
    EXPECT_EQ(state(), 0U);
    set_outputs(0);
    EXPECT_EQ(state(), 1U);
    card.write(kLatchClear, 1);
    arm(kInputRising + 2);
    set_outputs(2);
    EXPECT_EQ(state(), 2U);
}

TEST_F(FirmwareIo, PortSelectsTheFirstInput) {
    arm(kInputRising, 30);
    set_outputs(0x80000001);
    EXPECT_EQ(state(), 0x6U); // 30, 31, then 0 and 1
}

TEST_F(FirmwareIo, SharedInputLatchesAllChannels) {
    arm(kSharedInputRising, 5);
    set_outputs(0x1F);
    EXPECT_EQ(state(), 0U);
    set_outputs(0x3F);
    EXPECT_EQ(state(), 0xFU);
}

TEST_F(FirmwareIo, OutputsAreSourcesWhateverTheWiring) {
    card.firmware().wire("all:open");
    arm(kOutputRising, 8);
    set_outputs(0x100);
    EXPECT_EQ(state(), 1U);
}

TEST_F(FirmwareIo, ModeTwentyOneLatchesAtOnce) {
    card.advance(2us);
    arm(kAtOnce);
    EXPECT_EQ(state(), 0xFU);
    EXPECT_EQ(value(3), 250U);
}

TEST_F(FirmwareIo, LatchNeedsEnableAndRun) {
    card.write(kLatchMode, kInputRising);
    card.write(kLatchRun, 1);
    set_outputs(1);
    EXPECT_EQ(state(), 0U);
    card.write(kLatchRun, 0);
    card.write(kLatchEnable, 1);
    set_outputs(0);
    set_outputs(1);
    EXPECT_EQ(state(), 0U);
    card.write(kLatchRun, 1);
    set_outputs(0);
    set_outputs(1);
    EXPECT_EQ(state(), 1U);
}

TEST_F(FirmwareIo, LatchedValueStaysAfterTheStop) {
    arm(kInputRising);
    card.advance(1us);
    set_outputs(1);
    card.write(kLatchRun, 0);
    card.write(kLatchEnable, 0);
    card.pass(1ms);
    EXPECT_EQ(state(), 1U);
    EXPECT_EQ(value(0), 125U);
}

TEST_F(FirmwareIo, RunAndEdgeThatTheCardSeesTogetherLatch) {
    card.write(kLatchEnable, 1);
    card.write(kLatchRun, 1);
    card.write(kOutputs, 1);
    card.look();
    EXPECT_EQ(state(), 1U);
}

TEST_F(FirmwareIo, ModesWithoutASourceLatchNothing) {
    for (const uint32_t mode : {22U, 137U, 0x80000000U, 0xFFFFFFFFU}) {
        arm(mode);
        set_outputs(0xFFFFFFFF);
        set_outputs(0);
        EXPECT_EQ(state(), 0U) << mode;
    }
}

TEST_F(FirmwareIo, CounterResetStartsTheCounterAtZero) {
    arm(kInputRising);
    card.pass(5ms);
    *(card.bench().bar(1) + 0x1E4) = 1;
    card.look();
    EXPECT_EQ(*(card.bench().bar(1) + 0x1E4), 0);
    card.advance(1us);
    set_outputs(1);
    EXPECT_EQ(value(0), 125U);
}

TEST_F(FirmwareIo, CounterHasSixtyFourBits) {
    arm(kInputRising);
    card.advance(100s);
    set_outputs(1);
    EXPECT_EQ(value(0), 12'500'000'000ULL);
}

TEST_F(FirmwareIo, PwmEdgesAreCapturedWhenTheyHappenNotWhenTheyAreSeen) {
    start_pwm(2, 1000, 250);
    arm(kPwmRising + 1);
    card.pass(1ms);
    EXPECT_EQ(state(), 4U);
    EXPECT_EQ(value(2), 250U);
}

TEST_F(FirmwareIo, PulseThatIsOverAtTheNextLookIsCaptured) {
    configure_pulse(1, 1000, 100);
    arm(kPulseRising);
    card.advance(1us);
    start_pulse(1, 1);
    card.pass(1ms);
    EXPECT_EQ(state(), 2U);
    EXPECT_EQ(value(1), 125U);
}

TEST_F(FirmwareIo, InputOnAPwmOutputIsCapturedAtItsEdge) {
    card.firmware().wire("0:pwm0");
    card.look();
    start_pwm(0, 1000, 250);
    arm(kInputRising);
    card.pass(1ms);
    EXPECT_EQ(value(0), 1000U);
}

TEST(LatchSource, EveryModeHasOneOrIsKnownToHaveNone) {
    for (uint32_t mode = 0; mode < 140; ++mode) {
        const bool expected = mode < 21 || (mode >= 23 && mode <= 136);
        for (uint32_t channel = 0; channel < 4; ++channel) {
            const auto source = latch_source(mode, 0xFFFFFFFF, channel);
            ASSERT_EQ(source.has_value(), expected) << mode;
            if (source) {
                const bool wide = source->signal.kind == Signal::Kind::Input ||
                                  source->signal.kind == Signal::Kind::Output;
                EXPECT_LT(source->signal.index, wide ? 32U : 4U) << mode;
            }
        }
    }
}

TEST(LatchSource, PlainModesGoInThrees) {
    const auto source = [](uint32_t mode) { return latch_source(mode, 2, 1).value(); };
    EXPECT_EQ(source(8).edge, Edge::Either);
    EXPECT_EQ(source(8).signal.kind, Signal::Kind::Pwm);
    EXPECT_EQ(source(8).signal.index, 1U);
    EXPECT_EQ(source(4).signal.index, 3U);  // output port + channel
    EXPECT_EQ(source(13).signal.index, 2U); // input port
    EXPECT_EQ(source(15).signal.kind, Signal::Kind::Pwm);
    EXPECT_EQ(source(15).signal.index, 2U);
    EXPECT_EQ(source(20).signal.kind, Signal::Kind::Pulse);
    EXPECT_EQ(source(20).edge, Edge::Either);
}

TEST(LatchSource, SequenceModesNameInputsFirst) {
    EXPECT_EQ(latch_source(23, 9, 3)->signal.index, 0U);
    EXPECT_EQ(latch_source(118, 9, 3)->signal.index, 31U);
    EXPECT_EQ(latch_source(118, 9, 3)->edge, Edge::Either);
    EXPECT_EQ(latch_source(119, 9, 3)->signal.index, 12U);
    EXPECT_EQ(latch_source(136, 9, 3)->signal.kind, Signal::Kind::Pulse);
    EXPECT_EQ(latch_source(136, 9, 3)->signal.index, 1U);
}

// ---- sequence latches ------------------------------------------------------------------------

TEST_F(FirmwareIo, SequenceAppendsAValuePerEdge) {
    arm_sequence(kSequenceInput + 2, 3);
    for (uint32_t edge = 1; edge <= 3; ++edge) {
        EXPECT_EQ(state(), 0U);
        card.advance(1us);
        set_outputs(edge & 1);
    }
    EXPECT_EQ(state(), 0xFU);
    for (uint32_t channel = 0; channel < 4; ++channel) {
        EXPECT_EQ(sequence(channel, 0), 125U);
        EXPECT_EQ(sequence(channel, 1), 250U);
        EXPECT_EQ(sequence(channel, 2), 375U);
        EXPECT_EQ(sequence(channel, 3), 0U);
    }
}

TEST_F(FirmwareIo, SequenceStopsAtItsCount) {
    arm_sequence(kSequenceInput + 2, 2);
    for (uint32_t edge = 1; edge <= 5; ++edge) {
        card.advance(1us);
        set_outputs(edge & 1);
    }
    EXPECT_EQ(sequence(0, 1), 250U);
    EXPECT_EQ(sequence(0, 2), 0U);
}

TEST_F(FirmwareIo, SequenceTakesTheLargestCountBetweenTwoLooks) {
    start_pwm(1, 100, 50);
    arm_sequence(kSequencePwm, 1023);
    card.pass(1ms); // 1,250 periods
    EXPECT_EQ(state(), 2U);
    EXPECT_EQ(sequence(1, 0), 100U);
    EXPECT_EQ(sequence(1, 1022), 102300U);
    EXPECT_EQ(sequence(1, 1023), 0U);
}

TEST_F(FirmwareIo, SequenceCountHasTenBits) {
    arm_sequence(kSequenceInput, 0xFFFFFC01);
    set_outputs(1);
    EXPECT_EQ(state(), 0xFU);
}

TEST_F(FirmwareIo, SequenceOfNoValuesStaysEmpty) {
    arm_sequence(kSequenceInput, 0);
    set_outputs(1);
    EXPECT_EQ(state(), 0U);
    EXPECT_EQ(sequence(0, 0), 0U);
}

TEST_F(FirmwareIo, SequenceOfPulsesHasThemAll) {
    configure_pulse(2, 1000, 100);
    arm_sequence(kSequencePulse, 5);
    card.advance(8us);
    start_pulse(2, 5);
    card.pass(1ms);
    EXPECT_EQ(state(), 4U);
    for (uint32_t index = 0; index < 5; ++index) {
        EXPECT_EQ(sequence(2, index), 1000U + 1000U * index);
    }
}

TEST_F(FirmwareIo, SharedPwmFillsAllSequences) {
    start_pwm(3, 1000, 100);
    card.write(kSequenceCount, 4);
    arm(kSequenceSharedPwm, 3);
    card.pass(1ms);
    EXPECT_EQ(state(), 0xFU);
    EXPECT_EQ(sequence(0, 3), sequence(3, 3));
}

TEST_F(FirmwareIo, NewRunAndClearEmptyTheSequences) {
    arm_sequence(kSequenceInput, 1);
    card.advance(1us);
    set_outputs(1);
    card.write(kLatchRun, 0);
    card.look();
    EXPECT_EQ(sequence(0, 0), 125U);
    card.write(kLatchRun, 1);
    card.look();
    EXPECT_EQ(state(), 0U);
    EXPECT_EQ(sequence(0, 0), 0U);
    set_outputs(0);
    set_outputs(1);
    EXPECT_EQ(state(), 0xFU);
    card.write(kLatchClear, 1);
    card.look();
    EXPECT_EQ(state(), 0U);
}

TEST_F(FirmwareIo, AnyReadIndexIsAnswered) {
    arm_sequence(kSequenceInput, 1);
    set_outputs(1);
    for (const uint32_t index : {1U, 1023U, 1024U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(sequence(2, index), 0U);
    }
}

TEST_F(FirmwareIo, LatchShowsInTheStatus) {
    EXPECT_THAT(described(), Not(HasSubstr("latch")));
    arm(kInputRising);
    EXPECT_THAT(described(), HasSubstr("latch: mode 0 running, nothing captured"));
    card.advance(1us);
    set_outputs(2);
    EXPECT_THAT(described(), HasSubstr("1: 125 ticks"));
    arm_sequence(kSequenceInput + 2, 10);
    set_outputs(3);
    EXPECT_THAT(described(), HasSubstr("0: 1 values"));
}

// ---- whatever the host writes ----------------------------------------------------------------

TEST_F(FirmwareIo, SurvivesGarbageInAllRegisters) {
    std::mt19937 generator(125);
    const auto random = [&generator] { return static_cast<uint32_t>(generator()); };
    card.firmware().wire("1:pwm1+2:pulse2+3:pwm3");
    for (int round = 0; round < 20000; ++round) {
        const uint32_t offset = 0x54 + 4 * (random() % 0x66);
        const uint32_t value = random() % 3 == 0 ? random() : random() % 3;
        card.write(offset, value);
        card.pass(std::chrono::nanoseconds(random() % 2'000'000));
    }
    EXPECT_FALSE(described().empty());
    card.reset();
    EXPECT_EQ(state(), 0U);
    set_outputs(5);
    EXPECT_EQ(card.read(kInputs) & 1, 1U);
}
