// Periods and high times of the PWM and pulse timers, in ticks. All of it is arithmetic in 32 bits
// that wraps, which is required: the card's users see the numbers that come of it.
#pragma once

#include "layout/card_memory_map.h"

#include <cstdint>

namespace tarn {

struct Timer {
    uint32_t period;
    uint32_t high;
};

constexpr Timer make_timer(uint32_t frequency_hz, uint32_t duty_percent) {
    const uint32_t period = frequency_hz == 0 ? 0 : bar1::kTimerHz / frequency_hz;
    return {period, period * duty_percent / 100};
}

constexpr uint32_t frequency_of(Timer timer) {
    return timer.period == 0 ? 0 : bar1::kTimerHz / timer.period;
}

// A card does not show a high time without a period; it would divide by zero.
constexpr uint32_t duty_of(Timer timer) {
    return timer.period == 0 ? 0 : timer.high * 100 / timer.period;
}

} // namespace tarn
