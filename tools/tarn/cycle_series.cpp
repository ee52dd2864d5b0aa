#include "cycle_series.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace tarn {

namespace {

constexpr size_t kSeedSamples = 64;
constexpr double kEarly = 0.15; // part of a cycle that a wake-up may come before the grid
// How far a wake-up moves the grid towards itself at most, in cycles. One in twenty comes before
// the grid then, whatever the others do, and a bus clock that goes differently is followed.
constexpr double kLateStep = 6e-5;
constexpr double kEarlyStep = 19 * kLateStep;

double distance_behind(double phase, double origin, double cycle) {
    return phase >= origin ? phase - origin : phase - origin + cycle;
}

// Where the grid lies at first: at the wake-up that the others come the least behind, in all. At or
// before the first wake-up.
double grid_origin(const std::vector<uint64_t> &times, double cycle_ns) {
    std::vector<double> phases;
    for (size_t i = 0; i < std::min(times.size(), kSeedSamples); ++i) {
        phases.push_back(std::fmod(static_cast<double>(times[i] - times[0]), cycle_ns));
    }
    double origin = 0;
    double least = std::numeric_limits<double>::max();
    for (const double candidate : phases) {
        double behind = 0;
        for (const double phase : phases) {
            behind += distance_behind(phase, candidate, cycle_ns);
        }
        if (behind < least) {
            least = behind;
            origin = candidate;
        }
    }
    return origin > 0 ? origin - cycle_ns : 0;
}

class Grid {
  public:
    Grid(double origin, double cycle) : line_(origin - cycle), cycle_(cycle) {}

    // Goes on to the cycle of a wake-up; returns how many cycles further that is, and how far
    // behind the grid the wake-up came.
    int64_t advance(double time, double &latency) {
        const auto cycles = static_cast<int64_t>(std::floor((time - line_) / cycle_ + kEarly));
        if (cycles > 0) {
            line_ += static_cast<double>(cycles) * cycle_;
        }
        const double late = time - line_;
        latency = std::max(late, 0.0);
        if (cycles > 0) {
            line_ += std::clamp(late, -kEarlyStep * cycle_, kLateStep * cycle_);
        }
        return cycles;
    }

  private:
    double line_;
    double cycle_;
};

double nice_width(double range, double bars) {
    const double raw = std::max(range / bars, 1.0);
    const double unit = std::pow(10.0, std::floor(std::log10(raw)));
    for (const double step : {1.0, 2.0, 5.0}) {
        if (step * unit >= raw) {
            return step * unit;
        }
    }
    return 10 * unit;
}

} // namespace

CycleSeries cycle_series(const std::vector<uint64_t> &times, double cycle_us) {
    CycleSeries series;
    if (times.empty() || !(cycle_us > 0)) {
        return series;
    }
    const double cycle_ns = cycle_us * 1000;
    Grid grid(grid_origin(times, cycle_ns), cycle_ns);
    series.samples.reserve(times.size());
    for (size_t i = 0; i < times.size(); ++i) {
        const auto time = static_cast<double>(times[i] - times[0]);
        CycleSample sample;
        double latency = 0;
        const int64_t cycles = grid.advance(time, latency);
        if (cycles <= 0) {
            ++series.doubled;
        }
        sample.seconds = time / 1e9;
        sample.period_us = i == 0 ? 0 : static_cast<double>(times[i] - times[i - 1]) / 1000;
        sample.latency_us = latency / 1000;
        sample.missed = i == 0 || cycles <= 1 ? 0 : static_cast<uint32_t>(cycles - 1);
        series.missed += sample.missed;
        series.samples.push_back(sample);
    }
    return series;
}

double median_period_us(const std::vector<uint64_t> &times) {
    std::vector<uint64_t> periods;
    for (size_t i = 1; i < times.size(); ++i) {
        periods.push_back(times[i] - times[i - 1]);
    }
    if (periods.empty()) {
        return 0;
    }
    const auto middle = periods.begin() + static_cast<std::ptrdiff_t>(periods.size() / 2);
    std::nth_element(periods.begin(), middle, periods.end());
    return static_cast<double>(*middle) / 1000;
}

Distribution distribution_of(std::vector<double> values) {
    if (values.empty()) {
        return {};
    }
    std::sort(values.begin(), values.end());
    // The smallest value that so many of all do not exceed.
    const auto at = [&](double part) {
        const double rank = std::ceil(part * static_cast<double>(values.size()));
        return values[static_cast<size_t>(std::max(rank, 1.0)) - 1];
    };
    return {values.front(),
            std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size()),
            at(0.5),
            at(0.9),
            at(0.99),
            at(0.999),
            values.back()};
}

std::vector<HistogramBar> histogram_of(const std::vector<double> &values) {
    constexpr double kBars = 15;
    std::vector<HistogramBar> bars;
    const Distribution distribution = distribution_of(values);
    // Bars are chosen for nearly all values; the few beyond share the last one.
    const double width = nice_width(distribution.p99 * 1.1, kBars);
    const auto count = static_cast<size_t>(distribution.p99 * 1.1 / width) + 1;
    for (size_t i = 0; i < count; ++i) {
        bars.push_back({width * static_cast<double>(i), width * static_cast<double>(i + 1), 0});
    }
    for (const double value : values) {
        const size_t bar = std::min(static_cast<size_t>(std::max(value, 0.0) / width), count - 1);
        ++bars[bar].count;
    }
    while (bars.size() > 1 && bars.back().count == 0) {
        bars.pop_back();
    }
    bars.back().to = std::max(bars.back().to, distribution.highest);
    return bars;
}

} // namespace tarn
