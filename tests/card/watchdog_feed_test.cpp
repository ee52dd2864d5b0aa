// The watchdog through the library: each kind of access feeds it, with and without mapping.
#include "card/master_fixture.h"
#include "support/process.h"
#include "tarn_vcard/records.h"

namespace {

using namespace tarn;
using tarn::test::eventually;
using Bytes = std::vector<uint8_t>;

struct Kind {
    uint32_t generation;
    bool mapped;
};

class WatchdogFeed : public test::MasterTest, public testing::WithParamInterface<Kind> {
  protected:
    void SetUp() override {
        vcard::CardConfig card = test::VirtualCards::default_card();
        card.generation = GetParam().generation;
        open(card);
        vcard::MakeEniOptions options;
        options.slaves = {{"do4", 1}, {"dio16", 2}};
        options.logical_mapping = options.reversed_mapping = GetParam().mapped;
        ASSERT_EQ(EcatBusRun(handle_, write_eni(vcard::make_eni(options))), 0u);
    }
    void watch(const char *text = nullptr) {
        const Bytes data = {0x12, 0x34};
        ASSERT_EQ(EcatPIWatchDogConfig(handle_, 1, 0, nullptr, data.data(), 2), 0u);
        ASSERT_EQ(EcatPIWatchDogEnable(handle_, 1), 0u);
        ASSERT_EQ(EcatPIWatchDogStart(handle_, 3, text), 0u);
    }
    auto watchdog() { return firmware().pi_status(0).watchdog; }
    bool expired() {
        return eventually([this] { return watchdog().expired; });
    }
    // Only a watchdog that was fed can expire once more.
    template <typename Access>
    void expect_feeds(const char *what, Access access) {
        ASSERT_TRUE(expired()) << what;
        const uint32_t before = watchdog().expiries;
        access();
        EXPECT_TRUE(eventually([&] { return watchdog().expiries > before; })) << what;
    }
};

TEST_P(WatchdogFeed, EveryAccessFeeds) {
    watch();
    uint8_t byte = 0;
    expect_feeds("read", [&] { EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, 1, &byte); });
    expect_feeds("read of outputs",
                 [&] { EcatPIRead(handle_, ECAT_PI_NORMAL_OUTPUT, 0, 1, &byte); });
    expect_feeds("write", [&] { EcatPIWrite(handle_, ECAT_PI_FAST_OUTPUT, 0, 1, &byte); });
    expect_feeds("masked write",
                 [&] { EcatPIMaskWrite(handle_, ECAT_PI_FAST_OUTPUT, 0, 1, &byte, &byte); });
    expect_feeds("refused write", [&] { EcatPIWrite(handle_, ECAT_PI_SHADOW_INPUT, 0, 1, &byte); });
    expect_feeds("push", [&] { EcatPIOutputQueuePush(handle_, 0, 0); });
    expect_feeds("feed", [&] { EcatPIWatchDogFeed(handle_); });
}

TEST_P(WatchdogFeed, ReadsInsideASlaveFeed) {
    if (!GetParam().mapped) {
        GTEST_SKIP() << "slaves are addressed through the mapping";
    }
    watch();
    uint8_t byte = 0;
    expect_feeds("slave read",
                 [&] { EcatSlavePIRead(handle_, ECAT_PI_SHADOW_INPUT, 1, 1, &byte); });
    expect_feeds("slave write",
                 [&] { EcatSlavePIWrite(handle_, ECAT_PI_FAST_OUTPUT, 1, 1, &byte); });
}

TEST_P(WatchdogFeed, SafeDataIsReadBackFromTheSlave) {
    watch("hold");
    ASSERT_TRUE(expired());
    EXPECT_TRUE(eventually([&] {
        Bytes image(64);
        EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, 64, image.data());
        const Bytes safe = {0x12, 0x34};
        return std::search(image.begin(), image.end(), safe.begin(), safe.end()) != image.end();
    }));
}

TEST_P(WatchdogFeed, AQueryGivesBackWhatWasConfigured) {
    const Bytes data = {0x12, 0x34};
    const Bytes mask = {0xF0, 0x0F};
    ASSERT_EQ(EcatPIWatchDogConfig(handle_, 1, 0, mask.data(), data.data(), 2), 0u);
    uint32_t first = 0;
    uint32_t second = 9;
    uint32_t length = 8;
    Bytes blocks[2] = {Bytes(8), Bytes(8)};
    EXPECT_EQ(EcatPIWatchDogQuery(handle_, 1, &first, &second, blocks[0].data(), blocks[1].data(),
                                  &length),
              0u);
    EXPECT_EQ(length, 2u);
    EXPECT_EQ(first, uint32_t{VCARD_WATCHDOG_CONFIGURED | VCARD_WATCHDOG_MASKED});
    EXPECT_EQ(second, 0u);
    EXPECT_EQ(Bytes(blocks[0].begin(), blocks[0].begin() + 2), data);
    EXPECT_EQ(Bytes(blocks[1].begin(), blocks[1].begin() + 2), mask);
}

TEST_P(WatchdogFeed, AQueryWithTooLittleRoomIsRefusedAndHurtsNobody) {
    const Bytes data = {0x12, 0x34};
    ASSERT_EQ(EcatPIWatchDogConfig(handle_, 1, 0, nullptr, data.data(), 2), 0u);
    uint32_t length = 1;
    Bytes block(1);
    EXPECT_EQ(EcatPIWatchDogQuery(handle_, 1, nullptr, nullptr, block.data(), nullptr, &length),
              90007u);
    EXPECT_EQ(block, Bytes(1));
}

TEST_P(WatchdogFeed, ARefusalOfTheCardIsHandedThrough) {
    const Bytes data(5);
    EXPECT_EQ(EcatPIWatchDogConfig(handle_, 1, 0, nullptr, data.data(), 5), 90005u);
    EXPECT_EQ(EcatPIWatchDogConfig(handle_, 3, 0, nullptr, data.data(), 2), 90006u);
    EXPECT_EQ(EcatPIWatchDogStart(handle_, 5, nullptr), 90004u);
    EXPECT_EQ(EcatPIWatchDogStop(handle_), 0u);
}

INSTANTIATE_TEST_SUITE_P(Kinds, WatchdogFeed,
                         testing::Values(Kind{1, false}, Kind{2, false}, Kind{1, true},
                                         Kind{2, true}));

} // namespace
