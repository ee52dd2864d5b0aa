#include "vcard/host/serving.h"

namespace tarn::vcard {

using Clock = std::chrono::steady_clock;

bool SpinCredit::allows() {
    if (credit_ > 0) {
        return true;
    }
    credit_ = credit_ > -kTrialAfter ? credit_ - 1 : 1;
    return false;
}

bool serve_until_quiet(Firmware &firmware, SpinCredit &spin) {
    constexpr auto kSpin = std::chrono::microseconds(50);
    if (!firmware.serve() || !spin.allows()) {
        return false;
    }
    const auto start = Clock::now();
    auto last = start;
    bool waited = false;
    for (;;) {
        const auto now = Clock::now();
        if (now - start >= kServingTick) {
            return true;
        }
        if (firmware.serve()) {
            if (waited) {
                spin.paid();
            }
            waited = false;
            last = now;
        } else if (now - last < kSpin) {
            waited = true;
            __builtin_ia32_pause();
        } else {
            spin.failed();
            return false;
        }
    }
}

} // namespace tarn::vcard
