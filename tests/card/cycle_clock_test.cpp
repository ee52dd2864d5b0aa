// What the cycle thread waits with.
#include "vcard/bus/cycle_clock.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

using namespace std::chrono_literals;
using tarn::vcard::CycleClock;
using Clock = std::chrono::steady_clock;

TEST(CycleClock, NeverEndsAWaitEarly) {
    CycleClock clock;
    for (int i = 0; i < 50; ++i) {
        const Clock::time_point due = Clock::now() + 300us;
        EXPECT_TRUE(clock.wait_until(due));
        EXPECT_GE(Clock::now(), due);
    }
}

TEST(CycleClock, APastMomentIsReached) {
    CycleClock clock;
    EXPECT_TRUE(clock.wait_until(Clock::now() - 1h));
}

TEST(CycleClock, AnInterruptEndsALongWait) {
    CycleClock clock;
    std::thread interrupts([&] { clock.interrupt(); });
    EXPECT_FALSE(clock.wait_until(Clock::now() + 1h));
    interrupts.join();
}

TEST(CycleClock, AnInterruptEndsTheWaitsThatFollow) {
    CycleClock clock;
    clock.interrupt();
    EXPECT_FALSE(clock.wait_until(Clock::now() + 1h));
    EXPECT_FALSE(clock.wait_until(Clock::now() - 1h));
}

TEST(CycleClock, WaitsCountAgainAfterAReset) {
    CycleClock clock;
    clock.interrupt();
    clock.reset();
    EXPECT_TRUE(clock.wait_until(Clock::now() + 1ms));
}

} // namespace
