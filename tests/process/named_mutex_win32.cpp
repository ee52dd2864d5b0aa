// The named locks are mutexes of the system: any process finds them by name.
#include "pci_tarn/pci_tarn.h"
#include "process/foreign/foreign.h"
#include "support/peer.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace tarn::test;

int foreign_takes(const std::string &name) {
    return run_program(program_path("test-foreign"), {"take", name}).status;
}

// Takes the mutex of mailbox 14/1/1 and dies with it.
TARN_PEER(mailbox_holder) {
    driverLock(getMutex_mailbox(14, 1, 1));
    Flag(arguments.at(0)).raise();
    wait_for_the_end();
}

TEST(NamedMutexByName, ForeignProcessFindsItByName) {
    EXPECT_EQ(foreign_takes("obr_mutex_str_1_3_0_1"), kTaken);
    EXPECT_EQ(foreign_takes("obr_mutex_str_2_15_1_0"), kTaken);
    EXPECT_EQ(foreign_takes("obr_mutex_str_3_0_1"), kTaken);
    EXPECT_EQ(foreign_takes("obr_mutex_str_3_0_1_0"), kNoMutex);
    EXPECT_EQ(foreign_takes("obr_mutex_str_1_16_0_0"), kNoMutex);
}

TEST(NamedMutexByName, IsHeldAgainstAForeignProcess) {
    driverLock(getMutex_mailbox(14, 0, 1));
    EXPECT_EQ(foreign_takes("obr_mutex_str_1_14_0_1"), kHeldByOthers);
    EXPECT_EQ(foreign_takes("obr_mutex_str_1_14_0_0"), kTaken);
    driverUnlock(getMutex_mailbox(14, 0, 1));
    EXPECT_EQ(foreign_takes("obr_mutex_str_1_14_0_1"), kTaken);
}

TEST(NamedMutexByName, AllHandlesOfAnImageAreTheOneName) {
    driverLock(getMutex_pi(14, 0, 4));
    EXPECT_EQ(foreign_takes("obr_mutex_str_3_14_0"), kHeldByOthers);
    driverUnlock(getMutex_pi(14, 0, 4));
}

TEST(NamedMutexByName, AbandonedByAKilledProcessIsTakenByTheNext) {
    const Flag held;
    Peer holder("mailbox_holder", {held.name()});
    ASSERT_TRUE(held.wait());
    EXPECT_EQ(foreign_takes("obr_mutex_str_1_14_1_1"), kHeldByOthers);
    holder.kill();
    EXPECT_EQ(foreign_takes("obr_mutex_str_1_14_1_1"), kAbandoned);
    EXPECT_EQ(foreign_takes("obr_mutex_str_1_14_1_1"), kTaken);
}

TEST(NamedMutexByName, AbandonedByAForeignProcessIsTakenByTheLibrary) {
    const Flag held;
    BackgroundProcess foreign(program_path("test-foreign"),
                              {"hold", "obr_mutex_str_2_14_1_1", held.name()});
    ASSERT_TRUE(held.wait());
    foreign.kill_now();
    EXPECT_EQ(driverLock(getMutex_sock(14, 1, 1)), 0U);
    EXPECT_EQ(driverUnlock(getMutex_sock(14, 1, 1)), 0U);
    EXPECT_EQ(foreign_takes("obr_mutex_str_2_14_1_1"), kTaken);
}

} // namespace
