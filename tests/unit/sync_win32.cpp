#include "pci_tarn/pci_tarn.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace {

TEST(ThreadPriority, NinetyNineIsRealTime) {
    const DWORD before = GetPriorityClass(GetCurrentProcess());
    int priority = 0;
    EcatOsThread *thread = ecat_os_thread_create(
        &priority,
        [](void *arg) -> void * {
            *static_cast<int *>(arg) = GetThreadPriority(GetCurrentThread());
            return nullptr;
        },
        99);
    ASSERT_NE(thread, nullptr);
    ecat_os_thread_join(thread);
    const DWORD during = GetPriorityClass(GetCurrentProcess());
    SetPriorityClass(GetCurrentProcess(), before);
    if (priority == 0) {
        GTEST_SKIP() << "this process may not use real-time priorities";
    }
    EXPECT_EQ(priority, 15);
    // A process without the privilege gets the high class in place of the real-time one.
    EXPECT_TRUE(during == REALTIME_PRIORITY_CLASS || during == HIGH_PRIORITY_CLASS) << during;
}

} // namespace
