#include "vcard/card/outputs.h"

#include <algorithm>

namespace tarn::vcard {

namespace {

std::string rate(const Waveform &wave) {
    const uint64_t duty = std::min<uint64_t>(uint64_t{wave.high} * 100 / wave.period, 100);
    return std::to_string(kTicksPerSecond / wave.period) + " Hz, " + std::to_string(duty) + " %";
}

} // namespace

void PwmOutput::look(Ticks now, const OutputSetting &setting) {
    if (setting == setting_) {
        return;
    }
    setting_ = setting;
    done_ += wave_.periods(now);
    wave_ = setting.enabled ? Waveform{now, setting.period, setting.high, 0} : Waveform{};
}

std::string PwmOutput::describe(Ticks now) const {
    if (!running() && done_ == 0) {
        return {};
    }
    return (running() ? rate(wave_) : std::string("off")) + ", " + std::to_string(periods(now)) +
           " periods";
}

void PulseOutput::stop(Ticks now) {
    done_ += wave_.periods(now);
    wave_ = {};
}

void PulseOutput::look(Ticks now, const OutputSetting &setting, bool start, uint32_t count) {
    const bool possible = setting.enabled && setting.period > 0;
    if (running(now) && setting != setting_) {
        const auto left = static_cast<uint32_t>(wave_.limit - wave_.periods(now));
        stop(now);
        if (possible) {
            wave_ = {now, setting.period, setting.high, left};
        }
    }
    setting_ = setting;
    if (start && possible && count > 0) {
        stop(now);
        wave_ = {now, setting.period, setting.high, count};
    }
}

std::string PulseOutput::describe(Ticks now) const {
    if (pulses(now) == 0 && !running(now)) {
        return {};
    }
    std::string text = std::to_string(pulses(now)) + " pulses";
    if (running(now)) {
        text +=
            ", " + std::to_string(wave_.limit - wave_.periods(now)) + " to come at " + rate(wave_);
    }
    return text;
}

} // namespace tarn::vcard
