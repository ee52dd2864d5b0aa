// How the tool judges the times of wake-ups.
#include "tools/tarn/cycle_series.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using tarn::cycle_series;
using tarn::CycleSeries;

constexpr uint64_t kStart = 7'000'000'000;
constexpr double kCycleUs = 1000;

// Wake-ups of cycles 0, 1, 2, ..., so late each, in microseconds.
std::vector<uint64_t> wakeups(const std::vector<double> &latencies_us) {
    std::vector<uint64_t> times;
    for (size_t i = 0; i < latencies_us.size(); ++i) {
        times.push_back(kStart + i * 1'000'000 + static_cast<uint64_t>(latencies_us[i] * 1000));
    }
    return times;
}

TEST(CycleSeriesTest, EvenWakeUpsHaveNoLatency) {
    const CycleSeries series = cycle_series(wakeups(std::vector<double>(200, 30)), kCycleUs);
    EXPECT_EQ(series.missed, 0U);
    EXPECT_EQ(series.doubled, 0U);
    for (const auto &sample : series.samples) {
        EXPECT_NEAR(sample.latency_us, 0, 0.2);
    }
    EXPECT_EQ(series.samples[1].period_us, 1000);
}

TEST(CycleSeriesTest, ALateWakeUpIsLateOnlyItself) {
    std::vector<double> latencies(200, 0);
    latencies[100] = 400;
    const CycleSeries series = cycle_series(wakeups(latencies), kCycleUs);
    EXPECT_NEAR(series.samples[100].latency_us, 400, 1);
    EXPECT_NEAR(series.samples[101].latency_us, 0, 1);
    EXPECT_EQ(series.samples[101].period_us, 600);
    EXPECT_EQ(series.missed, 0U);
}

TEST(CycleSeriesTest, LatenciesUpToACycleMissNothing) {
    std::vector<double> latencies(200, 0);
    latencies[50] = 800;
    EXPECT_EQ(cycle_series(wakeups(latencies), kCycleUs).missed, 0U);
}

TEST(CycleSeriesTest, CyclesWithoutAWakeUpAreMissed) {
    std::vector<uint64_t> times = wakeups(std::vector<double>(200, 0));
    times.erase(times.begin() + 100, times.begin() + 103);
    const CycleSeries series = cycle_series(times, kCycleUs);
    EXPECT_EQ(series.missed, 3U);
    EXPECT_EQ(series.samples[100].missed, 3U);
    EXPECT_EQ(series.samples[101].missed, 0U);
    EXPECT_NEAR(series.samples[100].latency_us, 0, 1);
}

TEST(CycleSeriesTest, AWakeUpTooManyIsCounted) {
    std::vector<uint64_t> times = wakeups(std::vector<double>(200, 0));
    times.insert(times.begin() + 100, times[99] + 200'000);
    const CycleSeries series = cycle_series(times, kCycleUs);
    EXPECT_EQ(series.doubled, 1U);
    EXPECT_EQ(series.missed, 0U);
}

TEST(CycleSeriesTest, AFirstWakeUpThatIsLateSpoilsNothing) {
    std::vector<double> latencies(200, 0);
    latencies[0] = 700;
    const CycleSeries series = cycle_series(wakeups(latencies), kCycleUs);
    EXPECT_EQ(series.missed, 0U);
    EXPECT_EQ(series.doubled, 0U);
    EXPECT_NEAR(series.samples[0].latency_us, 700, 1);
    EXPECT_NEAR(series.samples[150].latency_us, 0, 1);
}

TEST(CycleSeriesTest, ManyLateWakeUpsDoNotMoveTheGrid) {
    std::vector<double> latencies(2000, 5);
    for (size_t i = 39; i < latencies.size(); i += 40) {
        latencies[i] = 940;
    }
    const CycleSeries series = cycle_series(wakeups(latencies), kCycleUs);
    EXPECT_LT(series.samples[1995].latency_us, 20);
}

TEST(CycleSeriesTest, FollowsABusClockThatDrifts) {
    for (const double drift : {-50e-6, 50e-6}) {
        std::vector<uint64_t> times;
        for (int i = 0; i < 20000; ++i) {
            times.push_back(kStart + static_cast<uint64_t>(i * 1e6 * (1 + drift)));
        }
        const CycleSeries series = cycle_series(times, kCycleUs);
        EXPECT_EQ(series.missed, 0U);
        EXPECT_EQ(series.doubled, 0U);
        EXPECT_LT(series.samples.back().latency_us, 1);
    }
}

TEST(CycleSeriesTest, NothingIsNoSeries) {
    EXPECT_TRUE(cycle_series({}, kCycleUs).samples.empty());
    EXPECT_TRUE(cycle_series({kStart}, 0).samples.empty());
    EXPECT_EQ(cycle_series({kStart}, kCycleUs).samples.size(), 1U);
}

TEST(MedianPeriod, IsTheUsualTimeBetweenTwoWakeUps) {
    EXPECT_EQ(tarn::median_period_us({}), 0);
    EXPECT_EQ(tarn::median_period_us({kStart}), 0);
    EXPECT_EQ(tarn::median_period_us({0, 1000, 2000, 9000, 10000}), 1);
}

TEST(DistributionTest, GivesWhatSoManyDoNotExceed) {
    std::vector<double> values;
    for (int i = 1000; i >= 1; --i) {
        values.push_back(i);
    }
    const tarn::Distribution distribution = tarn::distribution_of(values);
    EXPECT_EQ(distribution.lowest, 1);
    EXPECT_EQ(distribution.p50, 500);
    EXPECT_EQ(distribution.p90, 900);
    EXPECT_EQ(distribution.p99, 990);
    EXPECT_EQ(distribution.p999, 999);
    EXPECT_EQ(distribution.highest, 1000);
    EXPECT_EQ(distribution.mean, 500.5);
}

TEST(DistributionTest, OfNothingIsZero) {
    EXPECT_EQ(tarn::distribution_of({}).highest, 0);
}

TEST(HistogramTest, HoldsEveryValueOnce) {
    std::vector<double> values(990, 12);
    values.insert(values.end(), 10, 5000);
    uint64_t sum = 0;
    const auto bars = tarn::histogram_of(values);
    for (const auto &bar : bars) {
        sum += bar.count;
    }
    EXPECT_EQ(sum, 1000U);
    EXPECT_LE(bars.size(), 20U);
    EXPECT_EQ(bars.back().to, 5000);
}

TEST(HistogramTest, ToleratesNothingAndZeros) {
    EXPECT_EQ(tarn::histogram_of({}).size(), 1U);
    EXPECT_EQ(tarn::histogram_of({0, 0}).front().count, 2U);
}

} // namespace
