// Whether a kernel driver can transfer by DMA, told by its version.
#pragma once

#include <cstdint>
#include <cstdio>

namespace tarn {

// False for a text that does not begin with four numbers joined by dots. Two of them make a 32-bit
// word each, with wrap-around.
inline bool driver_has_dma(const char *version) noexcept {
    // The first driver that can: 1.0.0.4.
    constexpr uint32_t kFirstMajorMinor = 0x10000;
    constexpr uint32_t kFirstBuildRevision = 4;
    int field[4] = {};
    if (std::sscanf(version, "%d.%d.%d.%d", &field[0], &field[1], &field[2], &field[3]) != 4) {
        return false;
    }
    const auto join = [](int high, int low) {
        return (static_cast<uint32_t>(high) << 16) + static_cast<uint32_t>(low);
    };
    const uint32_t major_minor = join(field[0], field[1]);
    return major_minor > kFirstMajorMinor ||
           (major_minor == kFirstMajorMinor && join(field[2], field[3]) >= kFirstBuildRevision);
}

} // namespace tarn
