// The card's I/O registers in BAR1 and what stands behind them. The registers are plain memory:
// what the host stores is seen at the next look, and only what stands there then.
#pragma once

#include "vcard/card/latch.h"
#include "vcard/card/outputs.h"
#include "vcard/card/wiring.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

namespace tarn::vcard {

class BoardIo {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // `registers` is the start of BAR1.
    BoardIo(uint8_t *registers, const Wiring &wiring) : registers_(registers), wiring_(wiring) {}

    // The idle state: registers cleared, outputs off, the counter at 0. The wiring stays.
    void restart(Time now);

    void look(Time now);

    // Takes effect at the next look.
    Wiring &wiring() { return wiring_; }

    // A line for each thing that is not idle.
    [[nodiscard]] std::string describe() const;

  private:
    [[nodiscard]] Ticks ticks(Time now) const;
    [[nodiscard]] const Waveform *wave_of(const Signal &signal) const;
    [[nodiscard]] bool input_level(const InputSource &source, Ticks now) const;
    [[nodiscard]] Levels levels(Ticks now) const;
    void look_at_pwm(Ticks now, uint32_t enabled);
    void look_at_pulses(Ticks now, uint32_t enabled);
    [[nodiscard]] bool show_train(Ticks now, uint32_t channel, uint32_t count, uint32_t undone);
    void end_start_bit(uint32_t channel, uint32_t count) const;
    void look_at_latch(Ticks now);
    void publish(Ticks now);

    [[nodiscard]] uint32_t read(uint32_t offset) const;
    void write(uint32_t offset, uint32_t value) const;
    void write_value(uint32_t offset, uint64_t value) const;
    [[nodiscard]] uint32_t take(uint32_t offset) const; // leaves 0
    // False, and nothing written, when the host has stored another value than `expected`.
    [[nodiscard]] bool replace(uint32_t offset, uint32_t expected, uint32_t value) const;

    uint8_t *registers_;
    Wiring wiring_;
    Wiring wired_; // as of the last look
    Time origin_;
    Ticks last_look_ = 0;
    uint32_t outputs_ = 0;
    std::array<PwmOutput, kOutputChannels> pwm_;
    std::array<PulseOutput, kOutputChannels> pulses_;
    std::array<uint32_t, kOutputChannels> counts_{}; // as last shown; 0: no train
    Latch latch_;
};

} // namespace tarn::vcard
