// Periods and high times: what is stored for a frequency and a duty, and what is read back.
#include "board_fixture.h"
#include "pci_tarn/board.h"

namespace {

using namespace tarn;
using namespace tarn::test;

struct Ticks {
    uint32_t period;
    uint32_t high;
    bool operator==(const Ticks &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Ticks &ticks) {
    return out << ticks.period << "/" << ticks.high;
}

struct Settings {
    uint32_t frequency;
    uint32_t duty;
    bool operator==(const Settings &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Settings &settings) {
    return out << settings.frequency << " Hz " << settings.duty << " %";
}

class BoardTimer : public PlainBoard {
  protected:
    uint32_t half(size_t offset) { return peek<uint32_t>(bar1() + offset); }

    Ticks pwm(uint32_t frequency, int32_t duty) {
        EXPECT_EQ(BoardPWMOutput(board(), 0, frequency, duty), 0U);
        return {half(0x0DC) << 16 | half(0x0D8), half(0x0E4) << 16 | half(0x0E0)};
    }
    Ticks pulse(uint32_t frequency, uint32_t duty) {
        EXPECT_EQ(BoardPulseConfig(board(), 0, 0, 0, 0, frequency, duty), 0U);
        return {half(0x194), half(0x198)};
    }

    Settings pwm_of(Ticks ticks) {
        poke(bar1() + 0x0D8, ticks.period & 0xFFFF);
        poke(bar1() + 0x0DC, ticks.period >> 16);
        poke(bar1() + 0x0E0, ticks.high & 0xFFFF);
        poke(bar1() + 0x0E4, ticks.high >> 16);
        Settings settings = {77, 77};
        EXPECT_EQ(BoardPWMGetConfig(board(), 0, &settings.frequency, &settings.duty), 0U);
        return settings;
    }
    Settings pulse_of(Ticks ticks) {
        poke(bar1() + 0x194, ticks.period);
        poke(bar1() + 0x198, ticks.high);
        Settings settings = {77, 77};
        EXPECT_EQ(BoardPulseGetConfig(board(), 0, nullptr, nullptr, nullptr, &settings.frequency,
                                      &settings.duty),
                  0U);
        return settings;
    }
};

TEST_F(BoardTimer, ThousandHertzAtFiftyPercent) {
    EXPECT_EQ(pwm(1000, 50), (Ticks{125000, 62500}));
    EXPECT_EQ(half(0x0D8), 0xE848U);
    EXPECT_EQ(half(0x0DC), 0x1U);
    EXPECT_EQ(half(0x0E0), 62500U);
    EXPECT_EQ(half(0x0E4), 0U);
    EXPECT_EQ(pulse(1000, 50), (Ticks{125000, 62500}));
}

TEST_F(BoardTimer, FrequencyZeroGivesZerosAndEnablesAllTheSame) {
    poke(bar1() + 0x054, 0U);
    EXPECT_EQ(pwm(0, 50), (Ticks{0, 0}));
    EXPECT_EQ(half(0x054), 1U);
    EXPECT_EQ(pulse(0, 50), (Ticks{0, 0}));
    EXPECT_EQ(half(0x054), 0xC001U);
}

TEST_F(BoardTimer, DutyZeroGivesNoHighTime) {
    EXPECT_EQ(pwm(1000, 0), (Ticks{125000, 0}));
    EXPECT_EQ(pulse(1000, 0), (Ticks{125000, 0}));
}

TEST_F(BoardTimer, DutyHundredIsThePeriod) {
    EXPECT_EQ(pwm(1000, 100), (Ticks{125000, 125000}));
    EXPECT_EQ(pulse(1000, 100), (Ticks{125000, 125000}));
}

TEST_F(BoardTimer, PeriodAndHighTimeAreRoundedDown) {
    EXPECT_EQ(pwm(3, 50), (Ticks{41666666, 20833333}));
    EXPECT_EQ(pwm(7000000, 50), (Ticks{17, 8}));
}

TEST_F(BoardTimer, HighestFrequencyHasAPeriodOfOneTick) {
    EXPECT_EQ(pwm(125000000, 100), (Ticks{1, 1}));
    EXPECT_EQ(pwm(125000000, 99), (Ticks{1, 0}));
}

TEST_F(BoardTimer, FrequencyAboveTheClockGivesAPeriodOfZero) {
    EXPECT_EQ(pwm(125000001, 50), (Ticks{0, 0}));
    EXPECT_EQ(pulse(0xFFFFFFFF, 50), (Ticks{0, 0}));
}

TEST_F(BoardTimer, OneHertzAtThirtyFourPercentStillFits) {
    EXPECT_EQ(pwm(1, 34), (Ticks{125000000, 42500000}));
    EXPECT_EQ(pulse(1, 34), (Ticks{125000000, 42500000}));
}

TEST_F(BoardTimer, OneHertzAtThirtyFivePercentWraps) {
    // 4,375,000,000 - 4,294,967,296, divided by 100
    EXPECT_EQ(pwm(1, 35), (Ticks{125000000, 800327}));
    EXPECT_EQ(pulse(1, 35), (Ticks{125000000, 800327}));
}

TEST_F(BoardTimer, TwoHertzWrapsFromSixtyNinePercentOn) {
    EXPECT_EQ(pwm(2, 68), (Ticks{62500000, 42500000}));
    EXPECT_EQ(pwm(2, 69), (Ticks{62500000, 175327}));
}

TEST_F(BoardTimer, NegativeDutyCountsAsItsBits) {
    // 125000 * 0xFFFFFFFF is -125000 in 32 bits
    EXPECT_EQ(pwm(1000, -1), (Ticks{125000, (0U - 125000U) / 100}));
}

TEST_F(BoardTimer, ReadsBackWhatWasSet) {
    pwm(1000, 50);
    Settings settings = {};
    EXPECT_EQ(BoardPWMGetConfig(board(), 0, &settings.frequency, &settings.duty), 0U);
    EXPECT_EQ(settings, (Settings{1000, 50}));
    pulse(10000, 25);
    EXPECT_EQ(BoardPulseGetConfig(board(), 0, nullptr, nullptr, nullptr, &settings.frequency,
                                  &settings.duty),
              0U);
    EXPECT_EQ(settings, (Settings{10000, 25}));
}

TEST_F(BoardTimer, RoundingToTicksCanCostAPercent) {
    pwm(20000, 25); // 1562.5 ticks of 6250
    Settings settings = {};
    EXPECT_EQ(BoardPWMGetConfig(board(), 0, &settings.frequency, &settings.duty), 0U);
    EXPECT_EQ(settings, (Settings{20000, 24}));
}

TEST_F(BoardTimer, PeriodZeroReadsBackAsNothing) {
    EXPECT_EQ(pwm_of({0, 0}), (Settings{0, 0}));
    EXPECT_EQ(pulse_of({0, 0}), (Settings{0, 0}));
}

TEST_F(BoardTimer, HighTimeWithoutAPeriodIsNoCrash) {
    EXPECT_EQ(pwm_of({0, 5}), (Settings{0, 0}));
    EXPECT_EQ(pulse_of({0, 5}), (Settings{0, 0}));
}

TEST_F(BoardTimer, NoHighTimeReadsBackAsDutyZero) {
    EXPECT_EQ(pwm_of({125000, 0}), (Settings{1000, 0}));
    EXPECT_EQ(pulse_of({125000, 0}), (Settings{1000, 0}));
}

TEST_F(BoardTimer, LargestHighTimeThatReadsBackWithoutWrap) {
    EXPECT_EQ(pwm_of({125000000, 42949672}), (Settings{1, 34}));
    EXPECT_EQ(pulse_of({125000000, 42949672}), (Settings{1, 34}));
}

TEST_F(BoardTimer, HighTimeBeyondWrapsWhenItIsReadBack) {
    // 4,294,967,300 wraps to 4
    EXPECT_EQ(pwm_of({125000000, 42949673}), (Settings{1, 0}));
    EXPECT_EQ(pulse_of({4, 42949673}), (Settings{31250000, 1}));
}

} // namespace
