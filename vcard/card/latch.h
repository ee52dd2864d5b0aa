// The latches of a card: four channels that capture the 125 MHz counter at edges of their source.
#pragma once

#include "vcard/card/waveform.h"
#include "vcard/card/wiring.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarn::vcard {

struct Signal {
    enum class Kind { Input, Output, Pwm, Pulse };
    Kind kind;
    uint32_t index;
};

// Levels of all signals, a bit each.
struct Levels {
    uint32_t inputs = 0;
    uint32_t outputs = 0;
    uint32_t pwm = 0;
    uint32_t pulse = 0;

    [[nodiscard]] bool of(const Signal &signal) const;
};

struct LatchSource {
    Signal signal;
    Edge edge;
};

inline constexpr uint32_t kLatchAtOnce = 21; // plain mode without a signal
inline constexpr uint32_t kFirstSequenceMode = 23;
inline constexpr uint32_t kLastSequenceMode = 136;
inline constexpr uint32_t kMaxSequenceCount = 1023;

// What a channel waits for; nothing for modes without a signal.
std::optional<LatchSource> latch_source(uint32_t mode, uint32_t port, uint32_t channel);

// What the registers say.
struct LatchSetting {
    bool armed = false; // enabled and running
    uint32_t mode = 0;
    uint32_t port = 0;
    uint32_t count = 0;
};

class Latch {
  public:
    // The three in this order, with what the host has written since the last look.
    void reset_counter(Ticks now) { zero_ = now; }
    void clear();
    void look(Ticks now, const LatchSetting &setting);

    // Captures at edges of a signal between two looks.
    template <typename WaveOf>
    void follow(Ticks from, Ticks to, const WaveOf &wave_of) {
        for (uint32_t channel = 0; channel < kOutputChannels; ++channel) {
            const auto source = waited_for(channel);
            const Waveform *wave = source ? wave_of(source->signal) : nullptr;
            Ticks at = from;
            while (wave != nullptr && wants(channel)) {
                const auto edge = wave->next_edge(at, source->edge);
                if (!edge || *edge > to) {
                    break;
                }
                capture(channel, *edge);
                at = *edge;
            }
        }
    }

    // Captures where a level has changed by what the card has just seen.
    void compare(Ticks now, const Levels &before, const Levels &after);

    [[nodiscard]] uint32_t state() const; // bit per channel
    [[nodiscard]] uint64_t value(uint32_t channel) const { return channels_[channel].value; }
    // 0 where there is none.
    [[nodiscard]] uint64_t sequence_value(uint32_t channel, uint32_t index) const;

    // Empty while nothing is armed or captured.
    [[nodiscard]] std::string describe() const;

  private:
    struct Channel {
        bool latched = false;
        uint64_t value = 0;
        std::vector<uint64_t> sequence;
    };

    [[nodiscard]] bool sequential() const { return setting_.mode >= kFirstSequenceMode; }
    [[nodiscard]] std::optional<LatchSource> waited_for(uint32_t channel) const;
    [[nodiscard]] bool wants(uint32_t channel) const;
    void capture(uint32_t channel, Ticks at);
    void empty_sequences();

    LatchSetting setting_;
    std::array<Channel, kOutputChannels> channels_;
    Ticks zero_ = 0; // where the counter was last reset
};

} // namespace tarn::vcard
