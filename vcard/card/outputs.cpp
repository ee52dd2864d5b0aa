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
    wave_.inverted = setting_.inverted;
}

void PulseOutput::begin(Ticks now, uint32_t count) {
    stop(now);
    if (setting_.enabled && setting_.period > 0 && count > 0) {
        wave_ = {now, setting_.period, setting_.high, count, setting_.inverted};
    }
}

uint32_t PulseOutput::left(Ticks now) const {
    return static_cast<uint32_t>(wave_.limit - wave_.periods(now));
}

void PulseOutput::look(Ticks now, const OutputSetting &setting, bool start, uint32_t count) {
    if (setting != setting_) {
        setting_ = setting;
        begin(now, left(now));
    }
    if (start) {
        begin(now, count);
    }
}

std::string PulseOutput::describe(Ticks now) const {
    if (pulses(now) == 0 && !running(now)) {
        return {};
    }
    std::string text = std::to_string(pulses(now)) + " pulses";
    if (running(now)) {
        text += ", " + std::to_string(left(now)) + " to come at " + rate(wave_);
    }
    return text;
}

} // namespace tarn::vcard
