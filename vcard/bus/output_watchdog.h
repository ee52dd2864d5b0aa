// Watches that the host goes on serving the process image, and puts safe data into the outputs of
// slaves when it does not. The host's sign of life is its access counter, whatever it counts to.
#pragma once

#include "vcard/bus/bits.h"
#include "vcard/bus/network.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarn::vcard {

// Bit 0 is the slave's first output bit.
struct SafeData {
    std::vector<uint8_t> data;
    std::vector<uint8_t> mask; // bits of `data` that count; as long as `data`, or empty: all
};

// Calls come from one thread at a time.
class OutputWatchdog {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // Other slaves: forgets all safe data and stops. Keeps a reference.
    void configure(const Network &network);
    void clear();

    void set_safe_data(uint32_t slave, SafeData data);
    [[nodiscard]] const SafeData *safe_data(uint32_t slave) const; // null: none

    // It watches while it is enabled and started.
    void enable(bool on);
    // `hold`: the safe data stays until stop() or the next start().
    void start(std::chrono::milliseconds timeout, bool hold, std::string label);
    void stop();
    // No cycles from here on. Time counts from the next one.
    void rest() { begins_ = true; }

    enum class Event { None, Expired, Released };
    // One look per cycle.
    Event look(Time now, uint32_t access_counter);

    [[nodiscard]] bool expired() const { return expired_; }
    // Puts the safe data over an image.
    void apply(Image &image) const;

    struct Status {
        uint32_t slaves = 0; // with safe data
        bool enabled = false;
        bool started = false;
        bool expired = false;
        bool hold = false;
        uint32_t timeout_ms = 0;
        uint32_t expiries = 0; // since the configuration
        std::string label;
    };
    [[nodiscard]] Status status() const;

  private:
    void lay_out(const BitRun &run, const SafeData &safe);
    void release();

    const Network *network_ = nullptr;
    std::map<uint32_t, SafeData> slaves_;
    Image mask_; // of the whole image
    Image data_; // no bit outside the mask
    bool enabled_ = false;
    bool started_ = false;
    bool hold_ = false;
    bool expired_ = false;
    bool begins_ = true; // the next look is the first one
    std::chrono::milliseconds timeout_{0};
    std::string label_;
    uint32_t expiries_ = 0;
    Time fed_{};
    uint32_t counter_ = 0;
};

} // namespace tarn::vcard
