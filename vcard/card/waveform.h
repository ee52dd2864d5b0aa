// A periodic signal on the time line of the card's 125 MHz counter.
#pragma once

#include <cstdint>
#include <optional>

namespace tarn::vcard {

using Ticks = uint64_t; // of 8 ns

inline constexpr Ticks kTicksPerSecond = 125'000'000;

enum class Edge { Rising, Falling, Either };

// Each period begins with its high time. A high time of a whole period or more leaves no gap. An
// inverted signal is high where another is low.
struct Waveform {
    Ticks start = 0;
    uint32_t period = 0; // 0: no signal
    uint32_t high = 0;
    uint32_t limit = 0; // periods; 0: endless
    bool inverted = false;

    [[nodiscard]] bool level(Ticks now) const;
    [[nodiscard]] uint64_t periods(Ticks now) const; // that are over
    [[nodiscard]] bool ended(Ticks now) const;

    // The first edge later than `after`.
    [[nodiscard]] std::optional<Ticks> next_edge(Ticks after, Edge edge) const;

  private:
    [[nodiscard]] std::optional<Ticks> next(Ticks after, Ticks first) const;
    [[nodiscard]] std::optional<Ticks> next_plain_edge(Ticks after, Edge edge) const;
};

} // namespace tarn::vcard
