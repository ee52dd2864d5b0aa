// Waits of the C++ library, and those that go by handles, count in milliseconds. This one takes
// 100 ns, and Wine does it without its server.
#include "vcard/bus/cycle_clock.h"

#include <windows.h>

extern "C" {
// What WaitOnAddress() is made of, which takes milliseconds only.
NTSYSAPI LONG NTAPI RtlWaitOnAddress(const void *address, const void *unwanted, SIZE_T size,
                                     const LARGE_INTEGER *timeout);
NTSYSAPI void NTAPI RtlWakeAddressSingle(const void *address);
}

namespace tarn::vcard {

bool CycleClock::wait_until(Time due) {
    using namespace std::chrono;
    using Tick = duration<LONGLONG, std::ratio<1, 10'000'000>>;
    const uint32_t unwanted = 0;
    while (interrupted_ == 0) {
        const Tick left = ceil<Tick>(due - steady_clock::now());
        if (left.count() <= 0) {
            return true;
        }
        LARGE_INTEGER timeout = {};
        timeout.QuadPart = -left.count(); // negative: from now on
        RtlWaitOnAddress(&interrupted_, &unwanted, sizeof(unwanted), &timeout);
    }
    return false;
}

void CycleClock::interrupt() {
    interrupted_ = 1;
    RtlWakeAddressSingle(&interrupted_);
}

} // namespace tarn::vcard
