#include "vcard/card/wiring.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace tarn::vcard {

namespace {

using Kind = InputSource::Kind;

struct SourceName {
    std::string_view name;
    Kind kind;
    uint32_t count; // 0: the name carries no number
};

constexpr SourceName kNames[] = {
    {"out", Kind::Output, kDigitalLines},
    {"pwm", Kind::Pwm, kOutputChannels},
    {"pulse", Kind::Pulse, kOutputChannels},
    {"high", Kind::High, 0},
    {"low", Kind::Low, 0},
    {"open", Kind::Open, 0},
};

std::optional<uint32_t> number_below(std::string_view text, uint32_t limit) {
    uint32_t value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || stop != text.data() + text.size() || value >= limit) {
        return std::nullopt;
    }
    return value;
}

std::optional<InputSource> parse_source(std::string_view text) {
    for (const SourceName &name : kNames) {
        if (name.count == 0 && text == name.name) {
            return InputSource{name.kind, 0};
        }
        if (name.count > 0 && text.starts_with(name.name)) {
            const auto index = number_below(text.substr(name.name.size()), name.count);
            return index ? std::optional(InputSource{name.kind, *index}) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::string text_of(const InputSource &source) {
    for (const SourceName &name : kNames) {
        if (name.kind == source.kind) {
            return std::string(name.name) + (name.count > 0 ? std::to_string(source.index) : "");
        }
    }
    return {};
}

InputSource straight(uint32_t input) {
    return {Kind::Output, input};
}

} // namespace

Wiring::Wiring() {
    for (uint32_t input = 0; input < kDigitalLines; ++input) {
        sources_[input] = straight(input);
    }
}

void Wiring::apply(const std::string &text) {
    auto sources = sources_;
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::string_view wire = rest.substr(0, rest.find('+'));
        rest.remove_prefix(std::min(wire.size() + 1, rest.size()));
        const std::string_view where = wire.substr(0, wire.find(':'));
        const std::string_view what = wire.substr(std::min(where.size() + 1, wire.size()));
        const bool all = where == "all";
        const auto input = all ? 0 : number_below(where, kDigitalLines);
        const auto source = what == "straight" ? InputSource{} : parse_source(what);
        if (!input || !source) {
            throw std::invalid_argument(
                "\"" + std::string(wire) +
                "\" wires no input; INPUT:SOURCE with an input from 0 to 31 or \"all\" and a "
                "source "
                "out0..out31, pwm0..pwm3, pulse0..pulse3, high, low, open or straight");
        }
        for (uint32_t n = *input; n < (all ? kDigitalLines : *input + 1); ++n) {
            sources[n] = what == "straight" ? straight(n) : *source;
        }
    }
    sources_ = sources;
}

std::string Wiring::describe() const {
    std::string text;
    for (uint32_t input = 0; input < kDigitalLines; ++input) {
        if (sources_[input] != straight(input)) {
            text +=
                (text.empty() ? "" : "+") + std::to_string(input) + ":" + text_of(sources_[input]);
        }
    }
    return text;
}

} // namespace tarn::vcard
