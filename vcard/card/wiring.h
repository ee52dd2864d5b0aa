// What the digital inputs of a card are wired to.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace tarn::vcard {

inline constexpr uint32_t kDigitalLines = 32;
inline constexpr uint32_t kOutputChannels = 4; // of PWM, pulses and latches each

struct InputSource {
    enum class Kind { Open, Low, High, Output, Pwm, Pulse };
    Kind kind = Kind::Open; // an open input reads low
    uint32_t index = 0;
    bool operator==(const InputSource &) const = default;
};

class Wiring {
  public:
    Wiring(); // input n to output n

    [[nodiscard]] const InputSource &operator[](uint32_t input) const { return sources_[input]; }

    // INPUT:SOURCE, several joined with "+". INPUT is a number or "all"; SOURCE is "out0" to
    // "out31", "pwm0" to "pwm3", "pulse0" to "pulse3", "high", "low", "open", or "straight", the
    // output of the same number. Throws std::invalid_argument with a text for the user and changes
    // nothing then.
    void apply(const std::string &text);

    // The inputs that are not wired straight, as apply() takes them.
    [[nodiscard]] std::string describe() const;

  private:
    std::array<InputSource, kDigitalLines> sources_;
};

} // namespace tarn::vcard
