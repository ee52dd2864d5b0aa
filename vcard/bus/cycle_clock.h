// Waits for the moments at which cycles are due, as precisely as the system's timers allow. One
// thread waits, any other may end its waiting.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace tarn::vcard {

class CycleClock {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // Waits until `due`, no time at all when that is past. False once it is interrupted.
    bool wait_until(Time due);
    // Ends the wait, and all that follow.
    void interrupt();
    // Waits count again.
    void reset() { interrupted_ = 0; }

  private:
    // The system waits on this very word: a wait that begins behind interrupt() ends at once.
    std::atomic<uint32_t> interrupted_{0};
    static_assert(sizeof(interrupted_) == sizeof(uint32_t));
};

} // namespace tarn::vcard
