// What the waits of the library return, as the driver's own do.
#pragma once

#include "pci_tarn/base.h"

#include <cstdint>

namespace tarn {

inline constexpr uint32_t kWaitArrived = 0;
inline constexpr uint32_t kWaitTimedOut = 258;

// For a loop that goes on after a wait that failed, which comes back at once: at the priority of
// the data-swap thread such a loop would stop the machine.
inline void rest_after_failed_wait(uint32_t result) noexcept {
    constexpr uint32_t kRestUs = 1000;
    if (result != kWaitArrived && result != kWaitTimedOut) {
        __usleep_window(kRestUs);
    }
}

} // namespace tarn
