#include "pci_tarn/pci_tarn.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace {

bool exists(const char *name) {
    HANDLE mutex = OpenMutexA(SYNCHRONIZE, FALSE, name);
    if (mutex != nullptr) {
        CloseHandle(mutex);
    }
    return mutex != nullptr;
}

TEST(NamedMutex, HasItsNameByRole) {
    EXPECT_TRUE(exists("obr_mutex_str_1_3_0_1"));
    EXPECT_TRUE(exists("obr_mutex_str_1_15_1_0"));
    EXPECT_TRUE(exists("obr_mutex_str_2_0_0_0"));
    EXPECT_TRUE(exists("obr_mutex_str_3_15_1"));
    EXPECT_FALSE(exists("obr_mutex_str_3_15_1_0"));
    EXPECT_FALSE(exists("obr_mutex_str_1_16_0_0"));
}

DWORD WINAPI lock_and_die(void *lock) {
    driverLock(lock);
    return 0;
}

TEST(NamedMutex, AbandonedIsAcquired) {
    void *lock = getMutex_mailbox(14, 1, 0);
    HANDLE thread = CreateThread(nullptr, 0, lock_and_die, lock, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    EXPECT_EQ(driverLock(lock), 0u);
    EXPECT_EQ(driverUnlock(lock), 0u);
}

TEST(NamedMutex, FiveHandlesOfOneImageAreOneMutex) {
    driverLock(getMutex_pi(14, 1, 0));
    // Another thread finds it taken through any of the five handles.
    HANDLE thread = CreateThread(
        nullptr, 0,
        [](void *) -> DWORD {
            for (uint32_t index = 0; index < 5; ++index) {
                if (WaitForSingleObject(getMutex_pi(14, 1, index), 0) != WAIT_TIMEOUT) {
                    return 1;
                }
            }
            return 0;
        },
        nullptr, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    DWORD result = 2;
    GetExitCodeThread(thread, &result);
    CloseHandle(thread);
    driverUnlock(getMutex_pi(14, 1, 0));
    EXPECT_EQ(result, 0u);
}

} // namespace
