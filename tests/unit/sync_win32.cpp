#include "pci_tarn/pci_tarn.h"
#include "support/imports_win32.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace {

BOOL WINAPI refuse_class(HANDLE, DWORD) {
    return FALSE;
}

bool runs_without_the_right(uint32_t priority) {
    const tarn::test::ReplacedImport refusal("pci_tarn.dll", "SetPriorityClass",
                                             tarn::test::as_import(refuse_class));
    bool ran = false;
    EcatOsThread *thread = ecat_os_thread_create(
        &ran,
        [](void *arg) -> void * {
            *static_cast<bool *>(arg) = true;
            return nullptr;
        },
        priority);
    EXPECT_NE(thread, nullptr);
    ecat_os_thread_join(thread);
    return ran;
}

TEST(ThreadPriority, WithoutTheRightTheEntryNeverRuns) {
    EXPECT_FALSE(runs_without_the_right(99));
}

TEST(ThreadPriority, OtherPrioritiesRunWithoutTheRight) {
    for (const uint32_t priority : {0U, 1U, 98U, 100U, 0xFFFFFFFFU}) {
        EXPECT_TRUE(runs_without_the_right(priority)) << priority;
    }
}

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
