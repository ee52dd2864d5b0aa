// The wait for a channel's cycle interrupt. The driver has one wait for all handles of a process on
// a channel: one thread does it, and tells the others.
#pragma once

#include "handle/ecat_handle.h"

#include <cstdint>

namespace tarn::pi {

// From now on the handle is told of cycles; those that another one of the process was told of do
// not count. One that the driver still keeps, because nobody waited for it, comes at once.
void begin_cycle_wait(EcatHandle &handle) noexcept;

// Waits at most 2 ms. Returns 0 when there was a cycle that the handle was not told of yet, 258 on
// time-out, any other value when the driver failed.
uint32_t wait_cycle_slice(EcatHandle &handle) noexcept;

} // namespace tarn::pi
