// The card's clock, which the host sets through two words of the configuration block. It runs on
// through resets.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace tarn::vcard {

class WallClock {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // Takes the words over when they have changed; true when they have.
    bool look(Time now, uint64_t utc_ns, int32_t offset_s);

    // Forgets the time, as a card does that loses its power.
    void forget();

    // Local time as "2025-02-13 08:00:00.000"; empty while the host has not set it. Callable from
    // any thread.
    [[nodiscard]] std::string text(Time now) const;

    // Time since 1970 without the offset, 0 while the host has not set it. Callable from any
    // thread.
    [[nodiscard]] uint64_t utc_ns(Time now) const;

  private:
    mutable std::mutex mutex_;
    uint64_t utc_ns_ = 0; // since 1970, of the words; 0: not set
    int32_t offset_s_ = 0;
    Time taken_; // when utc_ns_ was the time
};

} // namespace tarn::vcard
