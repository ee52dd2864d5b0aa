#include "base/os.h"
#include "pci_tarn/base.h"

namespace {

constexpr uint64_t kNoTick = UINT64_MAX;

uint64_t in_units_of(int64_t unit_ns, const int64_t *duration_ns) noexcept {
    return duration_ns == nullptr ? kNoTick : static_cast<uint64_t>(*duration_ns / unit_ns);
}

enum TickUnit { kSeconds, kMilliseconds, kMicroseconds, kNanoseconds, kUnitCount };

constexpr uint64_t (*kConversions[kUnitCount])(const int64_t *duration_ns) = {
    get_current_tick_seconds,
    get_current_tick_milliseconds,
    get_current_tick_microseconds,
    get_current_tick_nanoseconds,
};

} // namespace

uint64_t get_current_tick_seconds(const int64_t *duration_ns) {
    return in_units_of(1'000'000'000, duration_ns);
}

uint64_t get_current_tick_milliseconds(const int64_t *duration_ns) {
    return in_units_of(1'000'000, duration_ns);
}

uint64_t get_current_tick_microseconds(const int64_t *duration_ns) {
    return in_units_of(1'000, duration_ns);
}

uint64_t get_current_tick_nanoseconds(const int64_t *duration_ns) {
    return in_units_of(1, duration_ns);
}

uint64_t get_current_tick(int32_t unit) {
    if (unit < 0 || unit >= kUnitCount) {
        return kNoTick;
    }
    const auto now = static_cast<int64_t>(tarn::os::monotonic_ns());
    return kConversions[unit](&now);
}

uint64_t get_tick_ms(void) {
    return get_current_tick(kMilliseconds);
}

uint64_t get_tick_us(void) {
    return get_current_tick(kMicroseconds);
}

uint64_t get_tick_ns(void) {
    return get_current_tick(kNanoseconds);
}

void __usleep_window(uint32_t microseconds) {
    tarn::os::sleep_us(microseconds);
}
