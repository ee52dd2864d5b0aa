#include "channel/reply_spin.h"

#include "channel/ring.h"
#include "pci_tarn/base.h"

#include <atomic>

namespace {

constexpr uint64_t kSpinNs = 20'000;
constexpr int kCreditOfSuccess = 8; // misses in a row that one success pays for
constexpr int kTrialAfter = 256;    // waits without a look between two trials

std::atomic<int> credit{kCreditOfSuccess};

} // namespace

bool tarn::spin_for_reply(const MailboxRing &in) noexcept {
    const int now = credit.load(std::memory_order_relaxed);
    if (now <= 0) {
        credit.store(now > -kTrialAfter ? now - 1 : 1, std::memory_order_relaxed);
        return false;
    }
    const uint64_t end = get_tick_ns() + kSpinNs;
    do {
        if (!ring_counters(in).empty()) {
            credit.store(kCreditOfSuccess, std::memory_order_relaxed);
            return true;
        }
        __builtin_ia32_pause();
    } while (get_tick_ns() < end);
    credit.store(now - 1, std::memory_order_relaxed);
    return false;
}
