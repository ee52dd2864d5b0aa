#include "pci_tarn/pci_tarn.h"

#include <gtest/gtest.h>

namespace {

constexpr uint64_t kAllOnes = 0xFFFFFFFFFFFFFFFF;

TEST(Tick, UnknownUnitGivesAllOnes) {
    EXPECT_EQ(get_current_tick(4), kAllOnes);
    EXPECT_EQ(get_current_tick(5), kAllOnes);
    EXPECT_EQ(get_current_tick(INT32_MAX), kAllOnes);
}

TEST(Tick, NegativeUnitGivesAllOnes) {
    EXPECT_EQ(get_current_tick(-1), kAllOnes);
    EXPECT_EQ(get_current_tick(INT32_MIN), kAllOnes);
}

TEST(Tick, UnitsAreSecondsToNanoseconds) {
    const uint64_t before = get_tick_ns();
    const uint64_t ticks[] = {get_current_tick(0), get_current_tick(1), get_current_tick(2),
                              get_current_tick(3)};
    const uint64_t after = get_tick_ns();
    const uint64_t unit_ns[] = {1'000'000'000, 1'000'000, 1'000, 1};
    for (int unit = 0; unit < 4; ++unit) {
        EXPECT_GE(ticks[unit], before / unit_ns[unit]) << unit;
        EXPECT_LE(ticks[unit], after / unit_ns[unit]) << unit;
    }
}

TEST(Tick, ShortNamesAreTheirUnits) {
    const uint64_t before = get_current_tick(3);
    const uint64_t ms = get_tick_ms();
    const uint64_t us = get_tick_us();
    const uint64_t ns = get_tick_ns();
    const uint64_t after = get_current_tick(3);
    EXPECT_GE(ms, before / 1'000'000);
    EXPECT_LE(ms, after / 1'000'000);
    EXPECT_GE(us, before / 1'000);
    EXPECT_LE(us, after / 1'000);
    EXPECT_GE(ns, before);
    EXPECT_LE(ns, after);
}

TEST(Tick, NeverGoesBack) {
    uint64_t last = get_tick_ns();
    for (int i = 0; i < 100'000; ++i) {
        const uint64_t now = get_tick_ns();
        ASSERT_GE(now, last);
        last = now;
    }
}

TEST(TickConversion, TruncatesTowardZero) {
    const int64_t duration = 2'999'999'999;
    EXPECT_EQ(get_current_tick_seconds(&duration), 2u);
    EXPECT_EQ(get_current_tick_milliseconds(&duration), 2'999u);
    EXPECT_EQ(get_current_tick_microseconds(&duration), 2'999'999u);
    EXPECT_EQ(get_current_tick_nanoseconds(&duration), 2'999'999'999u);
}

TEST(TickConversion, TruncatesNegativeDurationsTowardZero) {
    const int64_t duration = -1'999'999'999;
    EXPECT_EQ(get_current_tick_seconds(&duration), kAllOnes);
    EXPECT_EQ(get_current_tick_milliseconds(&duration), static_cast<uint64_t>(-1'999));
    EXPECT_EQ(get_current_tick_microseconds(&duration), static_cast<uint64_t>(-1'999'999));
    EXPECT_EQ(get_current_tick_nanoseconds(&duration), static_cast<uint64_t>(-1'999'999'999));
}

TEST(TickConversion, DoesNotOverflow) {
    const int64_t duration = INT64_MAX;
    EXPECT_EQ(get_current_tick_seconds(&duration), 9'223'372'036u);
    EXPECT_EQ(get_current_tick_nanoseconds(&duration), 9'223'372'036'854'775'807u);
}

TEST(TickConversion, NullGivesAllOnes) {
    EXPECT_EQ(get_current_tick_seconds(nullptr), kAllOnes);
    EXPECT_EQ(get_current_tick_milliseconds(nullptr), kAllOnes);
    EXPECT_EQ(get_current_tick_microseconds(nullptr), kAllOnes);
    EXPECT_EQ(get_current_tick_nanoseconds(nullptr), kAllOnes);
}

TEST(Sleep, LastsAtLeastTheTimeAsked) {
    for (uint32_t us : {1u, 50u, 100u, 1000u, 2500u, 20'000u}) {
        for (int i = 0; i < 5; ++i) {
            const uint64_t before = get_tick_ns();
            __usleep_window(us);
            ASSERT_GE(get_tick_ns() - before, uint64_t{us} * 1000) << us;
        }
    }
}

// A sleep of the shortest kind costs 50 microseconds and more.
TEST(Sleep, ZeroDoesNotSleep) {
    const uint64_t before = get_tick_ms();
    for (int i = 0; i < 1'000'000; ++i) {
        __usleep_window(0);
    }
    EXPECT_LT(get_tick_ms() - before, 30'000u);
}

} // namespace
