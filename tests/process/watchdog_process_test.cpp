// The card's watchdog over processes that die or stall.
#include "pci_tarn/pci_tarn.h"
#include "support/peer.h"
#include "support/virtual_card.h"
#include "vcard/bus/make_eni.h"

#include <fstream>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace tarn;
using test::eventually;
using test::Peer;
using test::Signal;

constexpr uint32_t kTimeoutMs = 50;

EcatHandle *open_channel() {
    EcatHandle *handle = nullptr;
    return EcatOpen(&handle, "ID0", 0) == 0 ? handle : nullptr;
}

// Serves the process image without end.
TARN_PEER(serves_outputs) {
    EcatHandle *handle = open_channel();
    const uint8_t value = 0x55;
    for (;;) {
        EcatPIWrite(handle, ECAT_PI_FAST_OUTPUT, 0, 1, &value);
        __usleep_window(500);
    }
}

class WatchdogProcess : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(handle, nullptr);
        std::ofstream("io.xml", std::ios::binary) << vcard::make_eni({.slaves = {{"dio8", 1}}});
        ASSERT_EQ(EcatBusRun(handle, "io.xml"), 0u);
        ASSERT_EQ(EcatRequestMasterState(handle, ECAT_STATE_OP), 0u);
        const uint8_t safe = 0xA0;
        ASSERT_EQ(EcatPIWatchDogConfig(handle, 0, 0, nullptr, &safe, 1), 0u);
        ASSERT_EQ(EcatPIWatchDogEnable(handle, 1), 0u);
    }
    ~WatchdogProcess() override { EcatClose(handle); }

    void watch(const char *text) { ASSERT_EQ(EcatPIWatchDogStart(handle, kTimeoutMs, text), 0u); }
    // The slave's inputs repeat its outputs. A look into the queue is no access.
    bool slave_holds(uint8_t value) {
        return eventually([&] {
            if (EcatPIInputQueuePop(handle, 1, 0) != 0) {
                return false;
            }
            void *inputs = nullptr;
            EcatPINMap(handle, ECAT_PI_NORMAL_INPUT, &inputs);
            return *static_cast<uint8_t *>(inputs) == value;
        });
    }

    test::VirtualCards cards;
    EcatHandle *handle = open_channel();
};

TEST_F(WatchdogProcess, SafeDataComesWhenTheHostIsKilled) {
    Peer host("serves_outputs");
    ASSERT_TRUE(slave_holds(0x55));
    watch("host");
    ASSERT_TRUE(slave_holds(0x55));
    host.kill();
    EXPECT_TRUE(slave_holds(0xA0));
}

TEST_F(WatchdogProcess, OutputsComeBackWithAnotherProcess) {
    watch("host");
    ASSERT_TRUE(slave_holds(0xA0));
    const Peer host("serves_outputs");
    EXPECT_TRUE(slave_holds(0x55));
}

TEST_F(WatchdogProcess, WithoutWatchdogTheOutputsOfAKilledHostStay) {
    {
        Peer host("serves_outputs");
        ASSERT_TRUE(slave_holds(0x55));
        host.kill();
    }
    const uint64_t cycles = cards.card().pi_status(0).cycles;
    ASSERT_TRUE(eventually([&] { return cards.card().pi_status(0).cycles > cycles + 200; }));
    EXPECT_TRUE(slave_holds(0x55));
}

TEST_F(WatchdogProcess, AHostThatStallsFindsItsOutputsSafeAndGetsThemBack) {
    Peer host("serves_outputs");
    ASSERT_TRUE(slave_holds(0x55));
    watch("host");
    host.process().send_signal(Signal::kFreeze);
    EXPECT_TRUE(slave_holds(0xA0));
    host.process().send_signal(Signal::kThaw);
    EXPECT_TRUE(slave_holds(0x55));
}

TEST_F(WatchdogProcess, HeldSafeDataStaysWhenTheHostIsBack) {
    watch("hold");
    ASSERT_TRUE(slave_holds(0xA0));
    const Peer host("serves_outputs");
    const uint64_t cycles = cards.card().pi_status(0).cycles;
    ASSERT_TRUE(eventually([&] { return cards.card().pi_status(0).cycles > cycles + 500; }));
    EXPECT_TRUE(slave_holds(0xA0));
    ASSERT_EQ(EcatPIWatchDogStop(handle), 0u);
    EXPECT_TRUE(slave_holds(0x55));
}

} // namespace
