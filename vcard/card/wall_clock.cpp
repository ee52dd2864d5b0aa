#include "vcard/card/wall_clock.h"

#include <array>
#include <cstdio>

namespace tarn::vcard {

namespace {

constexpr int32_t kLargestOffset = 24 * 3600; // what lies beyond is nonsense

} // namespace

bool WallClock::look(Time now, uint64_t utc_ns, int32_t offset_s) {
    const std::lock_guard lock(mutex_);
    if (utc_ns == utc_ns_ && offset_s == offset_s_) {
        return false;
    }
    if (utc_ns != utc_ns_) {
        taken_ = now;
    }
    utc_ns_ = utc_ns;
    offset_s_ = offset_s;
    return utc_ns != 0;
}

void WallClock::forget() {
    const std::lock_guard lock(mutex_);
    utc_ns_ = 0;
    offset_s_ = 0;
}

uint64_t WallClock::utc_ns(Time now) const {
    using namespace std::chrono;
    const std::lock_guard lock(mutex_);
    const auto since = duration_cast<nanoseconds>(now - taken_).count();
    return utc_ns_ == 0 ? 0 : utc_ns_ + static_cast<uint64_t>(since);
}

std::string WallClock::text(Time now) const {
    using namespace std::chrono;
    const std::lock_guard lock(mutex_);
    if (utc_ns_ == 0) {
        return {};
    }
    const bool sane = offset_s_ >= -kLargestOffset && offset_s_ <= kLargestOffset;
    // In milliseconds nothing that the host writes overflows. Times before 1970 are negative.
    const milliseconds since = milliseconds(static_cast<int64_t>(utc_ns_) / 1'000'000) +
                               duration_cast<milliseconds>(now - taken_) +
                               seconds(sane ? offset_s_ : 0);
    const sys_time<milliseconds> local(since);
    const sys_days day = floor<days>(local);
    const year_month_day date(day);
    const hh_mm_ss time(local - day);
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d.%03d",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()),
                  static_cast<int>(time.subseconds().count()));
    return text.data();
}

} // namespace tarn::vcard
