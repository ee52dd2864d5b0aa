#include "vcard/card/latch.h"

#include <iterator>

namespace tarn::vcard {

namespace {

using Kind = Signal::Kind;

// One group of three modes: rising, falling, either edge.
struct Group {
    Kind kind;
    bool shared; // all channels wait for the same signal, else channel n for the n-th
};

constexpr Group kPlainGroups[] = {
    {Kind::Input, false}, {Kind::Output, false}, {Kind::Pwm, false},  {Kind::Pulse, false},
    {Kind::Input, true},  {Kind::Pwm, true},     {Kind::Pulse, true},
};

// After one group per digital input.
constexpr Group kSequenceGroups[] = {
    {Kind::Input, false}, {Kind::Output, false}, {Kind::Pwm, false},
    {Kind::Pulse, false}, {Kind::Pwm, true},     {Kind::Pulse, true},
};

constexpr uint32_t kEdges = 3;
static_assert(std::size(kPlainGroups) * kEdges == kLatchAtOnce);
static_assert((kDigitalLines + std::size(kSequenceGroups)) * kEdges ==
              kLastSequenceMode - kFirstSequenceMode + 1);

constexpr uint32_t lines_of(Kind kind) {
    return kind == Kind::Input || kind == Kind::Output ? kDigitalLines : kOutputChannels;
}

// The port counts where a group reaches all lines of its kind.
Signal pick(const Group &group, uint32_t port, uint32_t channel) {
    const uint32_t lines = lines_of(group.kind);
    const uint32_t first = group.shared || lines == kDigitalLines ? port % lines : 0;
    return {group.kind, group.shared ? first : (first + channel) % lines};
}

} // namespace

bool Levels::of(const Signal &signal) const {
    switch (signal.kind) {
    case Kind::Input:
        return (inputs >> signal.index & 1) != 0;
    case Kind::Output:
        return (outputs >> signal.index & 1) != 0;
    case Kind::Pwm:
        return (pwm >> signal.index & 1) != 0;
    case Kind::Pulse:
        return (pulse >> signal.index & 1) != 0;
    }
    return false;
}

std::optional<LatchSource> latch_source(uint32_t mode, uint32_t port, uint32_t channel) {
    if (mode < kLatchAtOnce) {
        return LatchSource{pick(kPlainGroups[mode / kEdges], port, channel),
                           static_cast<Edge>(mode % kEdges)};
    }
    if (mode < kFirstSequenceMode || mode > kLastSequenceMode) {
        return std::nullopt;
    }
    const uint32_t group = (mode - kFirstSequenceMode) / kEdges;
    const auto edge = static_cast<Edge>((mode - kFirstSequenceMode) % kEdges);
    if (group < kDigitalLines) {
        return LatchSource{{Kind::Input, group}, edge};
    }
    return LatchSource{pick(kSequenceGroups[group - kDigitalLines], port, channel), edge};
}

void Latch::clear() {
    channels_ = {};
}

void Latch::empty_sequences() {
    for (Channel &channel : channels_) {
        channel.sequence.clear();
    }
}

void Latch::look(Ticks now, const LatchSetting &setting) {
    const bool started = setting.armed && !setting_.armed;
    if (started || setting.mode != setting_.mode) {
        empty_sequences();
    }
    setting_ = setting;
    if (setting.mode == kLatchAtOnce) {
        for (uint32_t channel = 0; channel < kOutputChannels; ++channel) {
            capture(channel, now);
        }
    }
}

std::optional<LatchSource> Latch::waited_for(uint32_t channel) const {
    return latch_source(setting_.mode, setting_.port, channel);
}

bool Latch::wants(uint32_t channel) const {
    if (!setting_.armed) {
        return false;
    }
    return sequential() ? channels_[channel].sequence.size() < setting_.count
                        : !channels_[channel].latched;
}

void Latch::capture(uint32_t channel, Ticks at) {
    if (!wants(channel)) {
        return;
    }
    Channel &latch = channels_[channel];
    const uint64_t value = at - zero_;
    if (sequential()) {
        latch.sequence.push_back(value);
    } else {
        latch.value = value;
        latch.latched = true;
    }
}

void Latch::compare(Ticks now, const Levels &before, const Levels &after) {
    for (uint32_t channel = 0; channel < kOutputChannels; ++channel) {
        const auto source = waited_for(channel);
        if (!source || before.of(source->signal) == after.of(source->signal)) {
            continue;
        }
        const Edge edge = after.of(source->signal) ? Edge::Rising : Edge::Falling;
        if (source->edge == Edge::Either || source->edge == edge) {
            capture(channel, now);
        }
    }
}

uint32_t Latch::state() const {
    uint32_t bits = 0;
    for (uint32_t channel = 0; channel < kOutputChannels; ++channel) {
        const Channel &latch = channels_[channel];
        const bool full = setting_.count > 0 && latch.sequence.size() >= setting_.count;
        bits |= (sequential() ? full : latch.latched) ? 1U << channel : 0;
    }
    return bits;
}

uint64_t Latch::sequence_value(uint32_t channel, uint32_t index) const {
    const std::vector<uint64_t> &sequence = channels_[channel].sequence;
    return index < sequence.size() ? sequence[index] : 0;
}

std::string Latch::describe() const {
    std::string text;
    for (uint32_t channel = 0; channel < kOutputChannels; ++channel) {
        const Channel &latch = channels_[channel];
        const std::string number = (text.empty() ? "" : ", ") + std::to_string(channel) + ": ";
        if (!latch.sequence.empty()) {
            text += number + std::to_string(latch.sequence.size()) + " values";
        } else if (latch.latched) {
            text += number + std::to_string(latch.value) + " ticks";
        }
    }
    if (!setting_.armed && text.empty()) {
        return {};
    }
    return "mode " + std::to_string(setting_.mode) + (setting_.armed ? " running" : " stopped") +
           (text.empty() ? ", nothing captured" : ", ") + text;
}

} // namespace tarn::vcard
