#include "vcard/card/heartbeat.h"

#include "base/card_memory.h"

namespace tarn::vcard {

void Heartbeat::restart(Time now) {
    start_ = now;
    look(now);
}

void Heartbeat::look(Time now) const {
    constexpr uint64_t kMicrosecondsPerSecond = 1'000'000;
    const auto passed = static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(now - start_).count());
    for (uint32_t n = 0; n < kHeartbeatCounters; ++n) {
        const auto count = static_cast<uint32_t>(passed * kHeartbeatHz[n] / kMicrosecondsPerSecond);
        uint8_t *word = words_ + size_t{n} * 4;
        if (card::load32(word) != count) {
            card::store32(word, count);
        }
    }
}

} // namespace tarn::vcard
