#include "vcard/card/board_io.h"

#include "base/card_memory.h"
#include "layout/card_memory_map.h"

#include <cstdio>

namespace tarn::vcard {

namespace {

constexpr uint32_t kChannelStride = 16; // of PWM and pulse registers
constexpr uint32_t kValueStride = 8;
constexpr uint32_t kPulseEnableBits = 0xC000; // of channel 0; two bits lower for each next one
constexpr uint32_t kCountMask = 0x3FF;
constexpr int kNanosecondsPerTick = 1'000'000'000 / static_cast<int>(kTicksPerSecond);

struct Block {
    uint32_t begin;
    uint32_t end;
};

// Everything that a restart clears.
constexpr Block kIoBlocks[] = {
    {bar1::kOutputEnable, bar1::kDigitalOutputs + 4},
    {bar1::kDigitalInputs, bar1::kDigitalInputs + 4},
    {bar1::kPwm, bar1::kPwmEnd},
    {bar1::kLatchEnable, bar1::kLatchCounterReset + 4},
};

std::string hexadecimal(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08x", static_cast<unsigned>(value));
    return text;
}

std::string line(const std::string &what, const std::string &text) {
    return text.empty() ? "" : what + ": " + text + "\n";
}

} // namespace

uint32_t BoardIo::read(uint32_t offset) const {
    return card::load32(registers_ + offset);
}

// Unchanged words are left alone: the host looks at them all the time.
void BoardIo::write(uint32_t offset, uint32_t value) const {
    if (read(offset) != value) {
        card::store32(registers_ + offset, value);
    }
}

void BoardIo::write_value(uint32_t offset, uint64_t value) const {
    write(offset, static_cast<uint32_t>(value));
    write(offset + 4, static_cast<uint32_t>(value >> 32));
}

uint32_t BoardIo::take(uint32_t offset) const {
    return read(offset) == 0
               ? 0
               : __atomic_exchange_n(reinterpret_cast<uint32_t *>(registers_ + offset), 0,
                                     __ATOMIC_ACQ_REL);
}

bool BoardIo::replace(uint32_t offset, uint32_t expected, uint32_t value) const {
    return __atomic_compare_exchange_n(reinterpret_cast<uint32_t *>(registers_ + offset), &expected,
                                       value, false, __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE);
}

Ticks BoardIo::ticks(Time now) const {
    const auto passed = std::chrono::duration_cast<std::chrono::nanoseconds>(now - origin_).count();
    return static_cast<Ticks>(passed / kNanosecondsPerTick);
}

void BoardIo::restart(Time now) {
    for (const Block &block : kIoBlocks) {
        for (uint32_t offset = block.begin; offset < block.end; offset += 4) {
            card::store32(registers_ + offset, 0);
        }
    }
    origin_ = now;
    last_look_ = 0;
    outputs_ = 0;
    wired_ = wiring_;
    pwm_ = {};
    pulses_ = {};
    counts_ = {};
    latch_ = {};
    publish(0);
}

const Waveform *BoardIo::wave_of(const Signal &signal) const {
    switch (signal.kind) {
    case Signal::Kind::Pwm:
        return &pwm_[signal.index].wave();
    case Signal::Kind::Pulse:
        return &pulses_[signal.index].wave();
    case Signal::Kind::Output:
        return nullptr;
    case Signal::Kind::Input:
        break;
    }
    const InputSource &source = wired_[signal.index];
    if (source.kind == InputSource::Kind::Pwm) {
        return &pwm_[source.index].wave();
    }
    return source.kind == InputSource::Kind::Pulse ? &pulses_[source.index].wave() : nullptr;
}

bool BoardIo::input_level(const InputSource &source, Ticks now) const {
    switch (source.kind) {
    case InputSource::Kind::Open:
    case InputSource::Kind::Low:
        return false;
    case InputSource::Kind::High:
        return true;
    case InputSource::Kind::Output:
        return (outputs_ >> source.index & 1) != 0;
    case InputSource::Kind::Pwm:
        return pwm_[source.index].wave().level(now);
    case InputSource::Kind::Pulse:
        return pulses_[source.index].wave().level(now);
    }
    return false;
}

Levels BoardIo::levels(Ticks now) const {
    Levels levels;
    levels.outputs = outputs_;
    for (uint32_t n = 0; n < kDigitalLines; ++n) {
        levels.inputs |= static_cast<uint32_t>(input_level(wired_[n], now)) << n;
    }
    for (uint32_t n = 0; n < kOutputChannels; ++n) {
        levels.pwm |= static_cast<uint32_t>(pwm_[n].wave().level(now)) << n;
        levels.pulse |= static_cast<uint32_t>(pulses_[n].wave().level(now)) << n;
    }
    return levels;
}

void BoardIo::look(Time time) {
    const Ticks now = ticks(time);
    latch_.follow(last_look_, now, [this](const Signal &signal) { return wave_of(signal); });
    const Levels before = levels(now);
    outputs_ = read(bar1::kDigitalOutputs);
    wired_ = wiring_;
    const uint32_t enabled = read(bar1::kOutputEnable);
    look_at_pwm(now, enabled);
    look_at_pulses(now, enabled);
    look_at_latch(now);
    latch_.compare(now, before, levels(now));
    publish(now);
    last_look_ = now;
}

// Both numbers of a PWM channel lie in the low halves of two words.
void BoardIo::look_at_pwm(Ticks now, uint32_t enabled) {
    const auto halves = [this](uint32_t offset) {
        return (read(offset + 4) << 16) | (read(offset) & 0xFFFF);
    };
    for (uint32_t n = 0; n < kOutputChannels; ++n) {
        const uint32_t offset = bar1::kPwm + n * kChannelStride;
        pwm_[n].look(now, {(enabled >> n & 1) != 0, halves(offset), halves(offset + 8)});
    }
}

// While a train runs its start bit stays set, so another count is what starts it anew.
void BoardIo::look_at_pulses(Ticks now, uint32_t enabled) {
    const uint32_t starts = read(bar1::kPulseStart);
    const uint32_t flags = read(bar1::kPulseFlags);
    for (uint32_t n = 0; n < kOutputChannels; ++n) {
        const uint32_t offset = bar1::kPulse + n * kChannelStride;
        const uint32_t bits = kPulseEnableBits >> (2 * n);
        const uint32_t count = read(bar1::kPulseCount + n * 4);
        const uint32_t left = pulses_[n].left(now);
        const bool train = counts_[n] > 0;
        const bool bit = (starts >> n & 1) != 0;
        const bool start = train ? count != counts_[n] : bit;
        pulses_[n].look(
            now,
            {(enabled & bits) == bits, read(offset + 8), read(offset + 12), (flags >> n & 1) != 0},
            start, count);
        const uint32_t undone = train && !start ? left : count;
        if (!show_train(now, n, count, undone) && bit) {
            end_start_bit(n, undone);
        }
    }
}

// `undone` is what a train that no longer runs has left. True while there is a train.
bool BoardIo::show_train(Ticks now, uint32_t channel, uint32_t count, uint32_t undone) {
    const bool running = pulses_[channel].running(now);
    const uint32_t shown = running ? pulses_[channel].left(now) : undone;
    if (count != shown && !replace(bar1::kPulseCount + channel * 4, count, shown)) {
        counts_[channel] = count; // the host has just stored another one, for the next look
        return true;
    }
    counts_[channel] = running ? shown : 0;
    return running;
}

// A host that starts the next train at this moment stores the count first; its start must not be
// lost.
void BoardIo::end_start_bit(uint32_t channel, uint32_t count) const {
    auto *word = reinterpret_cast<uint32_t *>(registers_ + bar1::kPulseStart);
    const uint32_t bit = 1U << channel;
    __atomic_fetch_and(word, ~bit, __ATOMIC_ACQ_REL);
    if (read(bar1::kPulseCount + channel * 4) != count) {
        __atomic_fetch_or(word, bit, __ATOMIC_ACQ_REL);
    }
}

void BoardIo::look_at_latch(Ticks now) {
    if (card::load<uint8_t>(registers_ + bar1::kLatchCounterReset) != 0) {
        card::store8(registers_ + bar1::kLatchCounterReset, 0);
        latch_.reset_counter(now);
    }
    if (take(bar1::kLatchClear) != 0) {
        latch_.clear();
    }
    LatchSetting setting;
    setting.armed = (read(bar1::kLatchEnable) & read(bar1::kLatchRun) & 1) != 0;
    setting.mode = read(bar1::kLatchMode);
    setting.port = read(bar1::kLatchPortSelect);
    setting.count = read(bar1::kSequenceCount) & kCountMask;
    latch_.look(now, setting);
}

// Values before the bits that announce them.
void BoardIo::publish(Ticks now) {
    write(bar1::kDigitalInputs, levels(now).inputs);
    for (uint32_t n = 0; n < kOutputChannels; ++n) {
        write_value(bar1::kLatchValue + n * kValueStride, latch_.value(n));
        const uint32_t index = read(bar1::kSequenceIndex + n * 4);
        write_value(bar1::kSequenceValue + n * kValueStride, latch_.sequence_value(n, index));
    }
    write(bar1::kLatchState, latch_.state());
}

std::string BoardIo::describe() const {
    const std::string wires = wired_.describe();
    std::string text = "outputs " + hexadecimal(outputs_) + ", inputs " +
                       hexadecimal(levels(last_look_).inputs) +
                       (wires.empty() ? "" : ", wired " + wires) + "\n";
    for (uint32_t n = 0; n < kOutputChannels; ++n) {
        text += line("pwm " + std::to_string(n), pwm_[n].describe(last_look_));
    }
    for (uint32_t n = 0; n < kOutputChannels; ++n) {
        text += line("pulse " + std::to_string(n), pulses_[n].describe(last_look_));
    }
    return text + line("latch", latch_.describe());
}

} // namespace tarn::vcard
