// What of the watchdog needs no service of the card: feeding, and memory that is used up.
#include "card/pi_fixture.h"
#include "support/no_memory.h"

#include <thread>

namespace {

class Watchdog : public tarn::test::PiTest {
  protected:
    void SetUp() override { open(); }
};

TEST_F(Watchdog, FeedingCountsTheAccessCounterUp) {
    const uint32_t before = access_counter();
    EXPECT_EQ(EcatPIWatchDogFeed(handle_), 0u);
    EXPECT_EQ(access_counter(), before + 1);
    EXPECT_EQ(EcatPIWatchDogFeed(handle_), 0u);
    EXPECT_EQ(access_counter(), before + 2);
}

TEST_F(Watchdog, FeedingWraps) {
    card().access_counter = 0xFFFFFFFF;
    EXPECT_EQ(EcatPIWatchDogFeed(handle_), 0u);
    EXPECT_EQ(access_counter(), 0u);
}

TEST_F(Watchdog, FeedingAsksTheCardNothing) {
    EcatPIWatchDogFeed(handle_);
    EXPECT_TRUE(seen_codes().empty());
}

TEST_F(Watchdog, FeedingWaitsForNoLock) {
    driverLock(getMutex_mailbox(0, 0, 0));
    driverLock(getMutex_pi(0, 0, 0));
    std::thread([this] { EXPECT_EQ(EcatPIWatchDogFeed(handle_), 0u); }).join();
    driverUnlock(getMutex_pi(0, 0, 0));
    driverUnlock(getMutex_mailbox(0, 0, 0));
}

TEST_F(Watchdog, ReadsAndWritesFeedItAsWell) {
    use_tables({{0, 64, 0}}, {{0, 64, 0}}, 8, false);
    set_all_active();
    const uint32_t before = access_counter();
    uint8_t value = 0;
    EXPECT_EQ(EcatPIWrite(handle_, ECAT_PI_FAST_OUTPUT, 0, 1, &value), 0u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, 1, &value), 0u);
    EXPECT_EQ(access_counter(), before + 2);
}

TEST_F(Watchdog, WithoutMemoryNothingIsSent) {
    if (std::string(TARN_SANITIZE) != "") {
        GTEST_SKIP() << "the sanitizers' allocators end the process";
    }
    const tarn::test::Bytes data(100000);
    const std::string text(100000, 'x');
    uint32_t length = 50000;
    uint32_t first = 7;
    uint32_t status[3] = {};
    {
        const tarn::test::NoMemory none;
        status[0] = EcatPIWatchDogConfig(handle_, 1, 0, nullptr, data.data(), 100000);
        status[1] = EcatPIWatchDogStart(handle_, 1, text.c_str());
        status[2] = EcatPIWatchDogQuery(handle_, 1, &first, nullptr, nullptr, nullptr, &length);
    }
    EXPECT_EQ(status[0], 32769u);
    EXPECT_EQ(status[1], 90003u);
    EXPECT_EQ(status[2], 32769u);
    EXPECT_EQ(first, 7u);
    EXPECT_EQ(length, 50000u);
    EXPECT_TRUE(seen_codes().empty());
}

} // namespace
