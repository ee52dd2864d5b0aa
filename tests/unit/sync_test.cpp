#include "pci_tarn/pci_tarn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string_view>
#include <thread>

namespace {

constexpr int32_t kTimeout = 258;

class Semaphore : public testing::Test {
  protected:
    ~Semaphore() override { ecat_os_sem_destroy(semaphore_); }
    EcatOsSem *semaphore_ = ecat_os_sem_create();
};

TEST_F(Semaphore, BeginsAtZero) {
    ASSERT_NE(semaphore_, nullptr);
    EXPECT_EQ(ecat_os_sem_time_wait(semaphore_, 0), kTimeout);
}

TEST_F(Semaphore, WaitTakesTheCount) {
    EXPECT_NE(ecat_os_sem_post(semaphore_), 0);
    EXPECT_EQ(ecat_os_sem_time_wait(semaphore_, 0), 0);
    EXPECT_EQ(ecat_os_sem_time_wait(semaphore_, 0), kTimeout);
}

TEST_F(Semaphore, SecondPostFailsAndLeavesOneCount) {
    EXPECT_NE(ecat_os_sem_post(semaphore_), 0);
    EXPECT_EQ(ecat_os_sem_post(semaphore_), 0);
    EXPECT_EQ(ecat_os_sem_time_wait(semaphore_, 0), 0);
    EXPECT_EQ(ecat_os_sem_time_wait(semaphore_, 0), kTimeout);
}

TEST_F(Semaphore, WaitEndsWithTheTimeOut) {
    EXPECT_EQ(ecat_os_sem_time_wait(semaphore_, 20), kTimeout);
}

TEST_F(Semaphore, PostWakesAWaitingThread) {
    std::atomic<int32_t> result = -2;
    std::thread waiter([&] { result = ecat_os_sem_time_wait(semaphore_, 60'000); });
    __usleep_window(5'000);
    ecat_os_sem_post(semaphore_);
    waiter.join();
    EXPECT_EQ(result, 0);
}

TEST_F(Semaphore, HugeTimeOutIsALongWaitAndNotAShortOne) {
    for (uint64_t timeout_ms : {uint64_t{0xFFFFFFFF}, uint64_t{0x100000000}, UINT64_MAX}) {
        std::atomic<int32_t> result = -2;
        std::thread waiter([&] { result = ecat_os_sem_time_wait(semaphore_, timeout_ms); });
        __usleep_window(20'000);
        ecat_os_sem_post(semaphore_);
        waiter.join();
        EXPECT_EQ(result, 0) << timeout_ms;
    }
}

TEST_F(Semaphore, PostOfNullSaysSoAndFails) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(ecat_os_sem_post(nullptr), -1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::StartsWith("sem_post error."));
}

TEST_F(Semaphore, WaitForNullFails) {
    EXPECT_EQ(ecat_os_sem_time_wait(nullptr, 0), -1);
}

TEST_F(Semaphore, DestroyOfNullIsIgnored) {
    ecat_os_sem_destroy(nullptr);
}

TEST(Thread, RunsItsEntryWithItsArgument) {
    std::atomic<int> value = 1;
    EcatOsThread *thread = ecat_os_thread_create(
        &value,
        [](void *arg) -> void * {
            *static_cast<std::atomic<int> *>(arg) += 41;
            return nullptr;
        },
        0);
    ASSERT_NE(thread, nullptr);
    ecat_os_thread_join(thread);
    EXPECT_EQ(value, 42);
}

TEST(Thread, ResultOfTheEntryIsDiscarded) {
    EcatOsThread *thread = ecat_os_thread_create(
        nullptr, [](void *arg) { return arg; }, 1);
    ASSERT_NE(thread, nullptr);
    ecat_os_thread_join(thread);
}

TEST(Thread, JoinWaitsForTheEnd) {
    std::atomic<bool> done = false;
    EcatOsThread *thread = ecat_os_thread_create(
        &done,
        [](void *arg) -> void * {
            __usleep_window(20'000);
            *static_cast<std::atomic<bool> *>(arg) = true;
            return nullptr;
        },
        98);
    ecat_os_thread_join(thread);
    EXPECT_TRUE(done);
}

TEST(Thread, NullEntryIsRefused) {
    EXPECT_EQ(ecat_os_thread_create(nullptr, nullptr, 0), nullptr);
}

TEST(Thread, JoinOfNullIsIgnored) {
    ecat_os_thread_join(nullptr);
}

TEST(DriverLock, NullMeansNoLock) {
    EXPECT_EQ(driverLock(nullptr), 0u);
    EXPECT_EQ(driverUnlock(nullptr), 0u);
}

TEST(DriverLock, TakesAndGivesBack) {
    void *lock = getMutex_mailbox(15, 1, 1);
    EXPECT_EQ(driverLock(lock), 0u);
    EXPECT_EQ(driverUnlock(lock), 0u);
}

TEST(DriverLock, IsRecursivePerThread) {
    void *lock = getMutex_mailbox(15, 1, 0);
    driverLock(lock);
    driverLock(lock);
    std::atomic<bool> entered = false;
    std::thread other([&] {
        driverLock(lock);
        entered = true;
        driverUnlock(lock);
    });
    driverUnlock(lock);
    __usleep_window(20'000);
    EXPECT_FALSE(entered);
    driverUnlock(lock);
    other.join();
    EXPECT_TRUE(entered);
}

TEST(DriverLock, ExcludesOtherThreads) {
    void *lock = getMutex_sock(15, 1, 1);
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 500; ++i) {
            driverLock(lock);
            ++count;
            driverUnlock(lock);
        }
    };
    std::thread first(work), second(work);
    first.join();
    second.join();
    EXPECT_EQ(count, 1000);
}

TEST(DriverLock, UnlockByAStrangerChangesNothing) {
    if (std::string_view(TARN_SANITIZE).find("thread") != std::string_view::npos) {
        GTEST_SKIP() << "the thread sanitizer reports what is shown here";
    }
    void *lock = getMutex_sock(15, 1, 0);
    driverLock(lock);
    std::thread stranger([&] { EXPECT_EQ(driverUnlock(lock), 0u); });
    stranger.join();
    std::atomic<bool> entered = false;
    std::thread other([&] {
        driverLock(lock);
        entered = true;
        driverUnlock(lock);
    });
    __usleep_window(20'000);
    EXPECT_FALSE(entered);
    driverUnlock(lock);
    other.join();
}

} // namespace
