// Wake-ups of a program, put in order by the cycle that they belong to.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarn {

struct CycleSample {
    double seconds = 0;    // since the first wake-up
    double period_us = 0;  // since the wake-up before
    double latency_us = 0; // behind the even grid of the cycles
    uint32_t missed = 0;   // cycles without a wake-up just before this one
};

struct CycleSeries {
    std::vector<CycleSample> samples;
    uint64_t missed = 0;  // cycles without a wake-up
    uint64_t doubled = 0; // wake-ups beyond one in a cycle
};

// What the times of wake-ups say, in nanoseconds, with cycles of `cycle_us`. Cycles lie on an even
// grid through the earliest twentieth of the wake-ups, which follows a bus clock that runs a little
// faster or slower than the computer's.
CycleSeries cycle_series(const std::vector<uint64_t> &times, double cycle_us);

// The time of a cycle when nobody tells it: the median time between two wake-ups.
double median_period_us(const std::vector<uint64_t> &times);

struct Distribution {
    double lowest = 0;
    double mean = 0;
    double p50 = 0;
    double p90 = 0;
    double p99 = 0;
    double p999 = 0;
    double highest = 0;
};

// All 0 when there are no values.
Distribution distribution_of(std::vector<double> values);

struct HistogramBar {
    double from = 0;
    double to = 0;
    uint64_t count = 0;
};

// Bars of a width of 1, 2, 5, 10, 20, ... from 0 on; the last one reaches to the highest value.
std::vector<HistogramBar> histogram_of(const std::vector<double> &values);

} // namespace tarn
