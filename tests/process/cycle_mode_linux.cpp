// When a program ends in cycle mode, its threads end before what it cleans up afterwards. Windows
// ends all threads by itself.
#include "pci_tarn/pci_tarn.h"
#include "support/peer.h"
#include "support/thread_rights.h"
#include "support/virtual_card.h"
#include "vcard/bus/make_eni.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace {

using namespace tarn;
using test::Peer;

constexpr int kNoCycles = 2;
constexpr int kStillSwapping = 3;

std::atomic<uint32_t> calls = 0;

// Registered before the library's own: runs after it.
void expect_no_more_cycles() {
    const uint32_t before = calls;
    __usleep_window(50'000);
    if (calls != before) {
        std::_Exit(kStillSwapping);
    }
}

// The program ends with its handles open, which are no leak as long as somebody has them.
EcatHandle *opened[2];

EcatHandle *start_swapping() {
    EcatHandle *&handle = *std::find(std::begin(opened), std::end(opened), nullptr);
    if (EcatOpen(&handle, "ID0", 0) != 0 || EcatPIASyncModeSet(handle, ECAT_PI_MODE_CYCLE) != 0) {
        std::_Exit(kNoCycles);
    }
    EcatPIAsyncModeCycleCallbackHook(handle, nullptr, [](void *, EcatHandle *) { ++calls; });
    return handle;
}

void see_cycles() {
    const uint32_t before = calls;
    if (!test::eventually([&] { return calls > before + 10; })) {
        std::_Exit(kNoCycles);
    }
}

TARN_PEER(ends_while_swapping) {
    static const test::RealtimeAnswer granted(true);
    std::atexit(expect_no_more_cycles);
    start_swapping();
    start_swapping();
    see_cycles();
    std::exit(0);
}

// The thread of the other handle ends, and the one that ends the program is not waited for.
TARN_PEER(ends_on_one_of_two_threads) {
    static const test::RealtimeAnswer granted(true);
    std::atexit(expect_no_more_cycles);
    start_swapping();
    EcatHandle *const handle = start_swapping();
    see_cycles();
    EcatPIAsyncModeCycleCallbackHook(handle, nullptr, [](void *, EcatHandle *) { std::exit(0); });
    test::wait_for_the_end();
}

class CycleModeEnd : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(EcatOpen(&handle_, "ID0", 0), 0U);
        std::ofstream("io.xml", std::ios::binary) << vcard::make_eni({.slaves = {{"dio8", 4}}});
        ASSERT_EQ(EcatBusRun(handle_, "io.xml"), 0U);
    }
    void TearDown() override { EcatClose(handle_); }

    const test::VirtualCards cards_;
    EcatHandle *handle_ = nullptr;
};

TEST_F(CycleModeEnd, TheThreadsEndBeforeTheProgramsOwnCleanUp) {
    EXPECT_EQ(Peer("ends_while_swapping").join(), 0);
}

TEST_F(CycleModeEnd, FromACallbackTheOtherThreadsEndToo) {
    EXPECT_EQ(Peer("ends_on_one_of_two_threads").join(), 0);
}

} // namespace
