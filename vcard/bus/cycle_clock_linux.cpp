#include "vcard/bus/cycle_clock.h"

#include <linux/futex.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace tarn::vcard {

namespace {

// The clock of std::chrono::steady_clock.
std::timespec monotonic_time(CycleClock::Time time) {
    using namespace std::chrono;
    const nanoseconds since = time.time_since_epoch();
    const auto whole = duration_cast<seconds>(since);
    return {whole.count(), (since - whole).count()};
}

// A thread that does not ask for it is woken up to 50 us late.
void ask_for_fine_timer() {
    thread_local const int asked = prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    static_cast<void>(asked); // where it is refused the cycles are less punctual
}

} // namespace

bool CycleClock::wait_until(Time due) {
    ask_for_fine_timer();
    const std::timespec end = monotonic_time(due);
    while (interrupted_ == 0 && std::chrono::steady_clock::now() < due) {
        syscall(SYS_futex, &interrupted_, FUTEX_WAIT_BITSET_PRIVATE, 0, &end, nullptr,
                FUTEX_BITSET_MATCH_ANY);
    }
    return interrupted_ == 0;
}

void CycleClock::interrupt() {
    interrupted_ = 1;
    syscall(SYS_futex, &interrupted_, FUTEX_WAKE_PRIVATE, 1);
}

} // namespace tarn::vcard
