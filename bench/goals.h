// Each comparison is a pair of benchmarks "NAME/ours" and "NAME/reference"; its goal says which
// ratio we aim at. Nothing here passes or fails: `make bench` reports.
#pragma once

#include <benchmark/benchmark.h>
#include <string>

namespace tarn::bench {

enum class Goal {
    SpeedAtLeast, // reference time / our time
    CostAtMost,   // our time / reference time
};

// Registers both halves of a comparison. `ours` and `reference` are callables of
// (benchmark::State &).
template <typename Ours, typename Reference>
void compare(const std::string &name, Goal goal, double value, Ours ours, Reference reference,
             bool wall_clock = false);

void set_goal(const std::string &name, Goal goal, double value);

template <typename Ours, typename Reference>
void compare(const std::string &name, Goal goal, double value, Ours ours, Reference reference,
             bool wall_clock) {
    set_goal(name, goal, value);
    auto *first = benchmark::RegisterBenchmark((name + "/ours").c_str(), ours);
    auto *second = benchmark::RegisterBenchmark((name + "/reference").c_str(), reference);
    if (wall_clock) {
        first->UseRealTime();
        second->UseRealTime();
    }
}

// Each file adds its comparisons.
void register_memory();
void register_bits();
void register_locks();
void register_card();

// How cost grows with the bus; printed as a table of its own.
void print_scale();

} // namespace tarn::bench
