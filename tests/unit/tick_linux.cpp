#include "pci_tarn/pci_tarn.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/time.h>

namespace {

TEST(Sleep, GoesOnAfterASignal) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every_ms = {{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &every_ms, nullptr);
    const uint64_t before = get_tick_us();
    __usleep_window(20'000);
    const uint64_t slept = get_tick_us() - before;
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GE(slept, 20'000u);
}

} // namespace
