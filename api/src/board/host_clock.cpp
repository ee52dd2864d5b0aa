#include "board/host_clock.h"

#include "base/os.h"

int32_t tarn::local_offset_s() noexcept {
    constexpr int64_t kInstant = 1739404800;
    const std::tm local = os::local_time(kInstant);
    return ((local.tm_hour + (local.tm_mday - 13) * 24) * 60 + local.tm_min) * 60 + local.tm_sec;
}
