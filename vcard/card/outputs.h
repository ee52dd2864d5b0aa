// The PWM and pulse outputs of a card.
#pragma once

#include "vcard/card/waveform.h"

#include <cstdint>
#include <string>

namespace tarn::vcard {

// What the registers of one output say.
struct OutputSetting {
    bool enabled = false;
    uint32_t period = 0; // ticks
    uint32_t high = 0;   // ticks
    bool inverted = false;
    bool operator==(const OutputSetting &) const = default;
};

class PwmOutput {
  public:
    // Starts a new period when the setting has changed.
    void look(Ticks now, const OutputSetting &setting);

    [[nodiscard]] const Waveform &wave() const { return wave_; }
    [[nodiscard]] bool running() const { return wave_.period > 0; }
    [[nodiscard]] uint64_t periods(Ticks now) const { return done_ + wave_.periods(now); }

    // Empty while it never ran.
    [[nodiscard]] std::string describe(Ticks now) const;

  private:
    OutputSetting setting_;
    Waveform wave_;
    uint64_t done_ = 0; // periods of earlier settings
};

class PulseOutput {
  public:
    // `start`: begin a train of `count` pulses, which ends one that runs. A train goes on with
    // what is left of it when the setting changes, and ends when the output is disabled.
    void look(Ticks now, const OutputSetting &setting, bool start, uint32_t count);

    [[nodiscard]] const Waveform &wave() const { return wave_; }
    [[nodiscard]] bool running(Ticks now) const { return wave_.period > 0 && !wave_.ended(now); }
    // Pulses of the train that are to come; 0: none runs.
    [[nodiscard]] uint32_t left(Ticks now) const;
    [[nodiscard]] uint64_t pulses(Ticks now) const { return done_ + wave_.periods(now); }

    // Empty while it never ran.
    [[nodiscard]] std::string describe(Ticks now) const;

  private:
    void stop(Ticks now);
    void begin(Ticks now, uint32_t count);

    OutputSetting setting_;
    Waveform wave_;
    uint64_t done_ = 0; // pulses of earlier trains and settings
};

} // namespace tarn::vcard
