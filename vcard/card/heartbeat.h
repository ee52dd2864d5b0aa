// The card's four heartbeat counters.
#pragma once

#include <chrono>
#include <cstdint>

namespace tarn::vcard {

inline constexpr uint32_t kHeartbeatCounters = 4;
inline constexpr uint32_t kHeartbeatHz[kHeartbeatCounters] = {1000, 2000, 4000, 8000};

class Heartbeat {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // `words` are the four counters in card memory.
    explicit Heartbeat(uint8_t *words) : words_(words) {}

    // All from 0.
    void restart(Time now);
    void look(Time now) const;

  private:
    uint8_t *words_;
    Time start_;
};

} // namespace tarn::vcard
