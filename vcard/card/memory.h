// The memory of a virtual card as its host adapter gives it to the firmware.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace tarn::vcard {

inline constexpr uint32_t kBar0Size = 0x1000;
inline constexpr uint32_t kBar1Size = 0x1000;
inline constexpr uint32_t kBar2Size = 0x800000;
inline constexpr std::array<uint32_t, 3> kBarSizes = {kBar0Size, kBar1Size, kBar2Size};

struct CardMemory {
    std::array<std::span<uint8_t>, 3> bars;

    [[nodiscard]] uint8_t *registers() const { return bars[1].data(); }
    [[nodiscard]] uint8_t *config() const { return bars[2].data(); }
};

// Raises interrupt 0..7 of the card. Callable from any thread of the firmware.
using InterruptLine = std::function<void(unsigned)>;

// One line of the card's log. Callable from any thread of the firmware.
using LogLine = std::function<void(const std::string &)>;

} // namespace tarn::vcard
