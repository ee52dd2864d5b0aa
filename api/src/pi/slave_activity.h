// Whether the slaves behind a piece of the process image are active.
#pragma once

#include <cstdint>

struct EcatHandle;

namespace tarn::pi {

// Status of an access to `length` bytes at `offset` of a direction's image: 0, or 80015 when it
// touches a slave that is not active.
uint32_t check_active(const EcatHandle &handle, uint32_t direction, uint32_t offset,
                      uint32_t length) noexcept;

} // namespace tarn::pi
