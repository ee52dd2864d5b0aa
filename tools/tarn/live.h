// Values that change while one looks at them.
#pragma once

#include "command.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tarn {

// How often to look.
struct Watching {
    uint32_t interval_ms = 200;
    uint32_t count = 0; // 0: until Ctrl-C
};

void add_watching(CLI::App *command, Watching &watching);

// One sample after the other. On a terminal the lines stay in place; otherwise those that have
// changed are printed, with the time since the start. With --json one array, an element a line.
class LiveView {
  public:
    explicit LiveView(const Output &output);

    // Calls `look`, which shows one sample, until the count is reached or Ctrl-C. Returns the exit
    // status: a JSON array that is open when `look` throws is completed with what went wrong.
    int run(const Watching &watching, const std::function<void()> &look);

    void show(const std::vector<std::string> &now);
    void add(const Json &row);
    [[nodiscard]] double seconds() const; // since the start

  private:
    using Clock = std::chrono::steady_clock;

    void repeat(const Watching &watching, const std::function<void()> &look);
    void fail(const Failure &failure);

    const Output &output_;
    bool in_place_;
    bool first_ = true; // element of the array
    std::vector<std::string> shown_;
    Clock::time_point start_ = Clock::now();
};

// Sleeps, but no longer than until Ctrl-C.
void pause_for(uint32_t interval_ms);

} // namespace tarn
