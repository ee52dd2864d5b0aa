// Values that change while one looks at them.
#pragma once

#include "output.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace tarn {

// On a terminal the lines stay in place; otherwise those that have changed are printed, with the
// time since the start.
class LiveLines {
  public:
    explicit LiveLines(const Output &output);

    void show(const std::vector<std::string> &now);
    [[nodiscard]] double seconds() const; // since the start

  private:
    using Clock = std::chrono::steady_clock;

    const Output &output_;
    bool in_place_;
    std::vector<std::string> shown_;
    Clock::time_point start_ = Clock::now();
};

// Sleeps, but no longer than until Ctrl-C.
void pause_for(uint32_t interval_ms);

} // namespace tarn
