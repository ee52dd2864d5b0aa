// The process image functions without a handle.
#include "pci_tarn/pi.h"
#include "pci_tarn/status.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

constexpr uint32_t kNoHandle = 80013;
constexpr uint32_t kInvalidArgument = 32770;
constexpr uint32_t kOutOfImage = 34058;

uint8_t g_data[8];
uint32_t g_word;

TEST(PiNull, ReadsAndWritesWantAHandle) {
    uint32_t offset = 0;
    uint32_t length = 8;
    EXPECT_EQ(EcatPIRead(nullptr, 0, 0, 8, g_data), kNoHandle);
    EXPECT_EQ(EcatPIWrite(nullptr, 0, 0, 8, g_data), kNoHandle);
    EXPECT_EQ(EcatPIMaskWrite(nullptr, 0, 0, 8, g_data, g_data), kNoHandle);
    EXPECT_EQ(__EcatPIRead_NotCheck(nullptr, 0, &offset, &length, g_data), kNoHandle);
}

TEST(PiNull, ThePlainFunctionsLookAtTheHandleBeforeTheIndex) {
    EXPECT_EQ(EcatPIRead(nullptr, 9, 0, 8, g_data), kNoHandle);
    EXPECT_EQ(EcatPIClear(nullptr, 9), kNoHandle);
    EXPECT_EQ(EcatPINMap(nullptr, 9, nullptr), kNoHandle);
    EXPECT_EQ(EcatPIGetRange(nullptr, 9, 0, nullptr, nullptr), kNoHandle);
    EXPECT_EQ(EcatSlavePIGetRange(nullptr, 9, 0, nullptr, nullptr), kNoHandle);
    EXPECT_EQ(EcatSlavePIClear(nullptr, 9, 0), kNoHandle);
}

TEST(PiNull, TheFunctionsInsideASlaveLookAtTheIndexBeforeTheHandle) {
    EXPECT_EQ(EcatSlavePIReadEx(nullptr, 5, 0, 0, 8, g_data), kOutOfImage);
    EXPECT_EQ(EcatSlavePIWriteEx(nullptr, 5, 0, 0, 8, g_data), kOutOfImage);
    EXPECT_EQ(EcatSlavePIMaskWriteEx(nullptr, 5, 0, 0, 8, g_data, g_data), kOutOfImage);
    EXPECT_EQ(EcatSlavePIRead(nullptr, 5, 0, 8, g_data), kOutOfImage);
    EXPECT_EQ(EcatSlavePIWrite(nullptr, 5, 0, 8, g_data), kOutOfImage);
    EXPECT_EQ(EcatSlavePIMaskWrite(nullptr, 5, 0, 8, g_data, g_data), kOutOfImage);

    EXPECT_EQ(EcatSlavePIReadEx(nullptr, 4, 0, 0, 8, g_data), kNoHandle);
    EXPECT_EQ(EcatSlavePIWriteEx(nullptr, 4, 0, 0, 8, g_data), kNoHandle);
    EXPECT_EQ(EcatSlavePIMaskWriteEx(nullptr, 4, 0, 0, 8, g_data, g_data), kNoHandle);
    EXPECT_EQ(EcatSlavePIRead(nullptr, 4, 0, 8, g_data), kNoHandle);
    EXPECT_EQ(EcatSlavePIWrite(nullptr, 4, 0, 8, g_data), kNoHandle);
    EXPECT_EQ(EcatSlavePIMaskWrite(nullptr, 4, 0, 8, g_data, g_data), kNoHandle);
}

TEST(PiNull, TheEnableFamilyCallsAMissingHandleAnInvalidArgument) {
    EXPECT_EQ(EcatPIEnableSet(nullptr, 0), kInvalidArgument);
    EXPECT_EQ(EcatPIEnableSet(nullptr, 1), kInvalidArgument);
    EXPECT_EQ(EcatPIEnable(nullptr), kInvalidArgument);
    EXPECT_EQ(EcatPIDisable(nullptr), kInvalidArgument);
    EXPECT_EQ(EcatPIEnableGet(nullptr, &g_word), kInvalidArgument);
}

TEST(PiNull, TheReinitModesLookAtTheHandleBeforeThePointer) {
    EXPECT_EQ(EcatPIReinitModeSet(nullptr, 2), kNoHandle);
    EXPECT_EQ(EcatPIReinitModeGet(nullptr, nullptr), kNoHandle);
    EXPECT_EQ(EcatPIReinitModeSetGlobal(nullptr, 2), kNoHandle);
    EXPECT_EQ(EcatPIReinitModeGetGlobal(nullptr, nullptr), kNoHandle);
}

TEST(PiNull, TheOutputQueueWantsAHandle) {
    EXPECT_EQ(EcatPIOutputQueuePush(nullptr, 1, 0), kNoHandle);
}

TEST(PiNull, TheLengthOfAnAreaWantsAHandle) {
    EXPECT_EQ(__set_pi_area_complete_info_pdo_len(nullptr, 0, 8), kNoHandle);
}

TEST(PiNull, TheAccessModesWantTheirState) {
    EXPECT_EQ(__EcatPIASyncModeInit(nullptr, 0, 0), kInvalidArgument);
    EXPECT_EQ(__EcatPIASyncModeReset(nullptr), kInvalidArgument);
    EXPECT_EQ(__EcatPIASyncModeDestroy(nullptr), kInvalidArgument);
    EXPECT_EQ(__EcatPIASyncDirectAccessModeInit(nullptr), kNoHandle);
}

TEST(PiNull, WithoutAHandleNoCycleComes) {
    EXPECT_EQ(__EcatPIWaitSignal(nullptr), 1u);
    EXPECT_EQ(__Ecat_PI_ASync_WakeupByInterrup(nullptr, 0), 1u);
}

TEST(PiAsyncState, InitClearsTheStateAndMakesASemaphore) {
    EcatPIAsyncState state;
    std::memset(&state, 0xA5, sizeof state);
    EXPECT_EQ(__EcatPIASyncModeInit(&state, 0, 1), 0u);
    EXPECT_EQ(state.mode, 0u);
    EXPECT_EQ(state.stop, 0u);
    EXPECT_EQ(state.thread, nullptr);
    EXPECT_EQ(state.callback_arg, nullptr);
    EXPECT_EQ(state.callback, nullptr);
    EXPECT_EQ(state.wakeup, nullptr);
    ASSERT_NE(state.semaphore, nullptr);
    EXPECT_EQ(ecat_os_sem_time_wait(state.semaphore, 0), 258); // nothing posted yet
    EXPECT_NE(ecat_os_sem_post(state.semaphore), 0);
    EXPECT_EQ(ecat_os_sem_time_wait(state.semaphore, 0), 0);
    __EcatPIASyncModeDestroy(&state);
}

TEST(PiAsyncState, ResetForgetsTheWakeUpAndKeepsTheSemaphore) {
    EcatPIAsyncState state;
    __EcatPIASyncModeInit(&state, 0, 0);
    state.wakeup = __Ecat_PI_ASync_WakeupByInterrup;
    EXPECT_EQ(__EcatPIASyncModeReset(&state), 0u);
    EXPECT_EQ(state.wakeup, nullptr);
    EXPECT_NE(state.semaphore, nullptr);
    __EcatPIASyncModeDestroy(&state);
}

TEST(PiAsyncState, ResetOfTheCycleModeStopsAndJoinsItsThreadOnce) {
    EcatPIAsyncState state;
    __EcatPIASyncModeInit(&state, 0, 0);
    state.mode = 1;
    state.thread = ecat_os_thread_create(
        &state,
        [](void *arg) -> void * {
            auto *own = static_cast<EcatPIAsyncState *>(arg);
            while (__atomic_load_n(&own->stop, __ATOMIC_ACQUIRE) == 0) {
                __usleep_window(100);
            }
            return nullptr;
        },
        0);
    ASSERT_NE(state.thread, nullptr);
    EXPECT_EQ(__EcatPIASyncModeReset(&state), 0u);
    EXPECT_EQ(state.stop, 1u);
    EXPECT_EQ(state.thread, nullptr);
    EXPECT_EQ(__EcatPIASyncModeReset(&state), 0u); // nothing left to join
    EXPECT_EQ(__EcatPIASyncModeDestroy(&state), 0u);
}

TEST(PiAsyncState, DestroyAlsoGivesBackTheSemaphore) {
    EcatPIAsyncState state;
    __EcatPIASyncModeInit(&state, 0, 0);
    state.wakeup = __Ecat_PI_ASync_WakeupByInterrup;
    EXPECT_EQ(__EcatPIASyncModeDestroy(&state), 0u);
    EXPECT_EQ(state.semaphore, nullptr);
    EXPECT_EQ(state.wakeup, nullptr);
    EXPECT_EQ(__EcatPIASyncModeDestroy(&state), 0u); // a second time is harmless
}

} // namespace
