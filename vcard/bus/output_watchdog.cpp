#include "vcard/bus/output_watchdog.h"

#include <utility>

namespace tarn::vcard {

void OutputWatchdog::configure(const Network &network) {
    clear();
    network_ = &network;
}

void OutputWatchdog::clear() {
    stop();
    network_ = nullptr;
    slaves_.clear();
    mask_ = {};
    data_ = {};
    expiries_ = 0;
}

void OutputWatchdog::set_safe_data(uint32_t slave, SafeData data) {
    lay_out(network_->slaves[slave].outputs, data);
    slaves_[slave] = std::move(data);
}

const SafeData *OutputWatchdog::safe_data(uint32_t slave) const {
    const auto found = slaves_.find(slave);
    return found != slaves_.end() ? &found->second : nullptr;
}

// Bits behind the slave's last one do not count.
void OutputWatchdog::lay_out(const BitRun &run, const SafeData &safe) {
    const auto bit_of = [](const std::vector<uint8_t> &bytes, uint32_t bit) {
        return static_cast<uint32_t>(bytes[bit / 8] >> bit % 8 & 1);
    };
    for (uint32_t bit = 0; bit < run.length; ++bit) {
        const uint32_t counts = safe.mask.empty() ? 1 : bit_of(safe.mask, bit);
        set_bits(mask_, run.offset + bit, 1, counts);
        set_bits(data_, run.offset + bit, 1, counts & bit_of(safe.data, bit));
    }
}

void OutputWatchdog::release() {
    expired_ = false;
    begins_ = true;
}

void OutputWatchdog::enable(bool on) {
    if (on != enabled_) {
        enabled_ = on;
        release();
    }
}

void OutputWatchdog::start(std::chrono::milliseconds timeout, bool hold, std::string label) {
    timeout_ = timeout;
    hold_ = hold;
    label_ = std::move(label);
    started_ = true;
    release();
}

void OutputWatchdog::stop() {
    started_ = false;
    release();
}

OutputWatchdog::Event OutputWatchdog::look(Time now, uint32_t access_counter) {
    if (!enabled_ || !started_) {
        return Event::None;
    }
    const bool fed = std::exchange(counter_, access_counter) != access_counter;
    if (std::exchange(begins_, false) || fed) {
        fed_ = now;
        if (expired_ && fed && !hold_) {
            expired_ = false;
            return Event::Released;
        }
    } else if (!expired_ && now - fed_ >= timeout_) {
        expired_ = true;
        ++expiries_;
        return Event::Expired;
    }
    return Event::None;
}

void OutputWatchdog::apply(Image &image) const {
    for (size_t i = 0; i < kPiBufferSize; ++i) {
        image.bytes[i] = static_cast<uint8_t>((image.bytes[i] & ~mask_.bytes[i]) | data_.bytes[i]);
    }
}

OutputWatchdog::Status OutputWatchdog::status() const {
    Status status;
    status.slaves = static_cast<uint32_t>(slaves_.size());
    status.enabled = enabled_;
    status.started = started_;
    status.expired = expired_;
    status.hold = started_ && hold_;
    status.timeout_ms = static_cast<uint32_t>(timeout_.count());
    status.expiries = expiries_;
    status.label = label_;
    return status;
}

} // namespace tarn::vcard
