// The five process image areas of a handle.
#pragma once

#include "base/lock_guard.h"
#include "handle/ecat_handle.h"

#include <cstdint>

namespace tarn::pi {

inline constexpr uint32_t kAreaCount = 5;

// Direction whose tables describe the area.
inline constexpr uint32_t kAreaDirection[kAreaCount] = {
    ECAT_PI_DIRECTION_OUTPUT, ECAT_PI_DIRECTION_INPUT, ECAT_PI_DIRECTION_OUTPUT,
    ECAT_PI_DIRECTION_OUTPUT, ECAT_PI_DIRECTION_INPUT};

// Words that all processes share about (board, channel); null when there is no shared memory.
ChannelControl *channel_control(const EcatHandle &handle) noexcept;

// Runs an area's exchange under its lock.
inline uint32_t exchange_locked(PiArea &area) noexcept {
    const NamedLockGuard guard(area.lock);
    return area.ops->exchange(area.object, &area.state);
}

// Marks the fast outputs and publishes them.
uint32_t publish_fast_output(EcatHandle &handle) noexcept;

} // namespace tarn::pi
