// The cycle mode in several processes, and at the end of one.
#include "pci_tarn/pci_tarn.h"
#include "support/peer.h"
#include "support/thread_rights.h"
#include "support/virtual_card.h"
#include "vcard/bus/make_eni.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

namespace {

using namespace tarn;
using test::Flag;
using test::Peer;

EcatHandle *open_channel() {
    EcatHandle *handle = nullptr;
    return EcatOpen(&handle, "ID0", 0) == 0 ? handle : nullptr;
}

EcatHandle *start_bus() {
    EcatHandle *handle = open_channel();
    std::ofstream("io.xml", std::ios::binary) << vcard::make_eni({.slaves = {{"dio8", 4}}});
    EXPECT_EQ(EcatBusRun(handle, "io.xml"), 0U);
    EXPECT_EQ(EcatRequestMasterState(handle, ECAT_STATE_OP), 0U);
    return handle;
}

bool serves_cycles(EcatHandle *handle) {
    if (EcatPIASyncModeSet(handle, ECAT_PI_MODE_CYCLE) != 0) {
        return false;
    }
    for (int i = 0; i < 10; ++i) {
        if (EcatPIInputWaitNotify(handle, 20000) != 0) {
            return false;
        }
    }
    return true;
}

// Ends its program in cycle mode, with all that a program cleans up at its end.
TARN_PEER(ends_in_cycle_mode) {
    static const test::RealtimeAnswer granted(true);
    EcatHandle *handle = open_channel();
    EcatHandle *other = open_channel();
    std::exit(serves_cycles(handle) && serves_cycles(other) ? 0 : 1);
}

// Is gone in cycle mode without any of that.
TARN_PEER(is_gone_in_cycle_mode) {
    static const test::RealtimeAnswer granted(true);
    EcatHandle *handle = open_channel();
    std::_Exit(serves_cycles(handle) ? 0 : 1);
}

// The same on the data-swap thread, while another one of the process goes on.
int end_in_callback(EcatCycleCallback callback) {
    static const test::RealtimeAnswer granted(true);
    EcatHandle *other = open_channel();
    EcatHandle *handle = open_channel();
    if (!serves_cycles(other)) {
        return 2;
    }
    EcatPIAsyncModeCycleCallbackHook(handle, nullptr, callback);
    serves_cycles(handle);
    test::wait_for_the_end();
}

TARN_PEER(ends_in_callback) {
    return end_in_callback([](void *, EcatHandle *) { std::exit(0); });
}

TARN_PEER(is_gone_in_callback) {
    return end_in_callback([](void *, EcatHandle *) { std::_Exit(0); });
}

// Exchanges in every cycle until it is told to end.
TARN_PEER(swapper) {
    static const test::RealtimeAnswer granted(true);
    EcatHandle *handle = open_channel();
    if (!serves_cycles(handle)) {
        return 1;
    }
    Flag(arguments.at(0)).raise();
    const Flag done(arguments.at(1));
    const bool told = done.wait();
    EcatClose(handle);
    return told ? 0 : 1;
}

TEST(CycleModeProcess, AProgramMayEndInCycleMode) {
    const test::VirtualCards cards;
    EcatHandle *handle = start_bus();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Peer("ends_in_cycle_mode").join(), 0);
    }
    EcatClose(handle);
}

TEST(CycleModeProcess, AProgramMayBeGoneInCycleMode) {
    const test::VirtualCards cards;
    EcatHandle *handle = start_bus();
    EXPECT_EQ(Peer("is_gone_in_cycle_mode").join(), 0);
    EcatClose(handle);
}

TEST(CycleModeProcess, ACallbackMayEndTheProgram) {
    const test::VirtualCards cards;
    EcatHandle *handle = start_bus();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Peer("ends_in_callback").join(), 0);
    }
    EcatClose(handle);
}

TEST(CycleModeProcess, ACallbackMayEndTheProgramWithoutCleanUp) {
    const test::VirtualCards cards;
    EcatHandle *handle = start_bus();
    EXPECT_EQ(Peer("is_gone_in_callback").join(), 0);
    EcatClose(handle);
}

TEST(CycleModeProcess, WhatOneProcessWritesTheThreadOfAnotherPublishes) {
    const test::VirtualCards cards;
    EcatHandle *handle = start_bus();
    const Flag ready;
    const Flag done;
    Peer peer("swapper", {ready.name(), done.name()});
    ASSERT_TRUE(ready.wait());
    ASSERT_EQ(EcatPIASyncModeSet(handle, ECAT_PI_MODE_MANUAL), 0U); // writes only mark
    for (uint8_t value = 1; value < 20; ++value) {
        ASSERT_EQ(EcatPIWrite(handle, ECAT_PI_FAST_OUTPUT, 0, 1, &value), 0U);
        uint8_t seen = 0;
        EXPECT_TRUE(test::eventually([&] {
            EcatPIRead(handle, ECAT_PI_SHADOW_INPUT, 0, 1, &seen); // as the other one fetched it
            return seen == value;
        }));
    }
    done.raise();
    EXPECT_EQ(peer.join(), 0);
    EcatClose(handle);
}

TEST(CycleModeProcess, OneThatIsKilledLeavesTheChannelToTheOthers) {
    const test::VirtualCards cards;
    const test::RealtimeAnswer granted(true);
    EcatHandle *handle = start_bus();
    ASSERT_TRUE(serves_cycles(handle));
    for (int i = 0; i < 3; ++i) {
        const Flag ready;
        const Flag done;
        Peer peer("swapper", {ready.name(), done.name()});
        ASSERT_TRUE(ready.wait());
        peer.kill();
        for (int cycle = 0; cycle < 10; ++cycle) {
            EXPECT_EQ(EcatPIInputWaitNotify(handle, 20000), 0U);
        }
    }
    EcatClose(handle);
}

} // namespace
