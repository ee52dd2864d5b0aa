// The host's clock, as cards are told it.
#pragma once

#include <cstdint>

namespace tarn {

inline constexpr uint64_t kNsPerSecond = 1'000'000'000;

// Seconds that local time is ahead of UTC, taken at one fixed instant, a 13th at 00:00 UTC. West
// of Greenwich it is still the 12th then, so the day term makes the result negative. Cards expect
// the offset of that instant, not today's.
int32_t local_offset_s() noexcept;

} // namespace tarn
