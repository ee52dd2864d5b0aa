// How a program waits for the bus cycle in the handle's access mode.
#pragma once

#include "handle/ecat_handle.h"

#include <cstdint>

namespace tarn::pi {

// Runs the mode's wake-up function: 0 when woken, non-zero on time-out, soon when there is none.
uint32_t wake_up(EcatHandle &handle, uint32_t timeout_ms) noexcept;

} // namespace tarn::pi
