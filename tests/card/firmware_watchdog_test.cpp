// The card's watch over the host: its rules, its commands, and what it does to the slaves.
#include "card/firmware_bench.h"
#include "card/host_model.h"
#include "support/process.h"
#include "tarn_vcard/records.h"
#include "vcard/bus/make_eni.h"
#include "vcard/bus/output_watchdog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tarn;
using namespace std::chrono_literals;
using test::Answer;
using test::Bytes;
using test::eventually;
using testing::HasSubstr;
using vcard::MakeEniOptions;
using vcard::Network;
using vcard::OutputWatchdog;
using Event = vcard::OutputWatchdog::Event;

namespace {

// Slave 0 has no data, slaves 1 and 2 have 16 outputs each, slave 3 has 4, slave 4 has inputs only.
std::string network_text() {
    MakeEniOptions options;
    options.slaves = {{"coupler", 1}, {"dio16", 2}, {"do4", 1}, {"di8", 1}};
    options.cycle_us = 200;
    return make_eni(options);
}

// ---- the rules, on a clock of the test's own --------------------------------------------------

class WatchdogRules : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(parse_eni(network_text(), network).status, 0u);
        watchdog.configure(network);
        watchdog.set_safe_data(1, {{0x12, 0x34}, {}});
        watchdog.enable(true);
    }
    void start(bool hold = false) { watchdog.start(10ms, hold, "test"); }
    Event after(std::chrono::milliseconds time) {
        now += time;
        return watchdog.look(now, counter);
    }
    void expire() {
        after(0ms);
        ASSERT_EQ(after(10ms), Event::Expired);
    }
    vcard::Image image_of(uint8_t value) {
        vcard::Image image;
        memset(image.bytes, value, sizeof image.bytes);
        watchdog.apply(image);
        return image;
    }

    Network network;
    OutputWatchdog watchdog;
    OutputWatchdog::Time now{1h};
    uint32_t counter = 5;
};

TEST_F(WatchdogRules, ExpiresWhenTheCounterStandsStillForTheTime) {
    start();
    EXPECT_EQ(after(0ms), Event::None);
    EXPECT_EQ(after(9ms), Event::None);
    EXPECT_EQ(after(1ms), Event::Expired);
    EXPECT_TRUE(watchdog.expired());
}

TEST_F(WatchdogRules, TheTimeBeginsWithTheFirstCycleAfterTheStart) {
    start();
    EXPECT_EQ(after(100ms), Event::None);
    EXPECT_EQ(after(9ms), Event::None);
    EXPECT_EQ(after(1ms), Event::Expired);
}

TEST_F(WatchdogRules, AnyChangeOfTheCounterFeeds) {
    start();
    after(0ms);
    for (const uint32_t value : {6u, 5u, 0xFFFFFFFFu, 0u}) {
        counter = value;
        EXPECT_EQ(after(10ms), Event::None);
    }
    EXPECT_EQ(after(10ms), Event::Expired);
}

TEST_F(WatchdogRules, ExpiresOnceForOneSilence) {
    start();
    expire();
    EXPECT_EQ(after(100ms), Event::None);
    EXPECT_EQ(watchdog.status().expiries, 1u);
}

TEST_F(WatchdogRules, AFeedGivesTheOutputsBackAndTheWatchGoesOn) {
    start();
    expire();
    ++counter;
    EXPECT_EQ(after(1ms), Event::Released);
    EXPECT_FALSE(watchdog.expired());
    EXPECT_EQ(after(9ms), Event::None);
    EXPECT_EQ(after(1ms), Event::Expired);
    EXPECT_EQ(watchdog.status().expiries, 2u);
}

TEST_F(WatchdogRules, HeldSafeDataStaysThroughAFeed) {
    start(true);
    expire();
    ++counter;
    EXPECT_EQ(after(1ms), Event::None);
    EXPECT_TRUE(watchdog.expired());
}

TEST_F(WatchdogRules, AnotherStartEndsHeldSafeData) {
    start(true);
    expire();
    start(true);
    EXPECT_FALSE(watchdog.expired());
    EXPECT_EQ(after(0ms), Event::None);
}

TEST_F(WatchdogRules, AStopEndsTheSafeDataAndTheWatch) {
    start();
    expire();
    watchdog.stop();
    EXPECT_FALSE(watchdog.expired());
    EXPECT_EQ(after(100ms), Event::None);
}

TEST_F(WatchdogRules, DoesNotWatchWhileItIsDisabled) {
    watchdog.enable(false);
    start();
    EXPECT_EQ(after(0ms), Event::None);
    EXPECT_EQ(after(100ms), Event::None);
    watchdog.enable(true);
    EXPECT_EQ(after(100ms), Event::None);
    EXPECT_EQ(after(10ms), Event::Expired);
    watchdog.enable(false);
    EXPECT_FALSE(watchdog.expired());
}

TEST_F(WatchdogRules, EnablingOnceMoreChangesNothing) {
    start();
    expire();
    watchdog.enable(true);
    EXPECT_TRUE(watchdog.expired());
}

TEST_F(WatchdogRules, DoesNotWatchBeforeTheStart) {
    EXPECT_EQ(after(0ms), Event::None);
    EXPECT_EQ(after(100ms), Event::None);
}

TEST_F(WatchdogRules, TimeWithoutCyclesDoesNotCount) {
    start();
    after(0ms);
    watchdog.rest();
    EXPECT_EQ(after(100ms), Event::None);
    EXPECT_EQ(after(10ms), Event::Expired);
}

TEST_F(WatchdogRules, ARestKeepsWhatHasExpired) {
    start();
    expire();
    watchdog.rest();
    EXPECT_EQ(after(1ms), Event::None);
    EXPECT_TRUE(watchdog.expired());
}

TEST_F(WatchdogRules, ANewConfigurationForgetsSafeDataAndStops) {
    start();
    expire();
    watchdog.configure(network);
    EXPECT_FALSE(watchdog.expired());
    EXPECT_EQ(watchdog.safe_data(1), nullptr);
    EXPECT_EQ(watchdog.status().expiries, 0u);
    EXPECT_FALSE(watchdog.status().started);
    EXPECT_TRUE(watchdog.status().enabled);
}

TEST_F(WatchdogRules, WithoutMaskAllBitsTakeTheirSafeValue) {
    const vcard::Image image = image_of(0xFF);
    EXPECT_EQ(image.bytes[0], 0x12);
    EXPECT_EQ(image.bytes[1], 0x34);
    EXPECT_EQ(image.bytes[2], 0xFF);
}

TEST_F(WatchdogRules, OnlyBitsOfTheMaskTakeTheirSafeValue) {
    watchdog.set_safe_data(1, {{0x0A, 0xFF}, {0x0F, 0x00}});
    const vcard::Image image = image_of(0xF0);
    EXPECT_EQ(image.bytes[0], 0xFA);
    EXPECT_EQ(image.bytes[1], 0xF0);
}

TEST_F(WatchdogRules, BitsBehindTheSlavesLastOneDoNotCount) {
    watchdog.set_safe_data(3, {{0xFF}, {}});
    const vcard::Image image = image_of(0);
    EXPECT_EQ(image.bytes[4], 0x0F);
}

TEST_F(WatchdogRules, LaterSafeDataOfASlaveReplacesTheEarlier) {
    watchdog.set_safe_data(1, {{0xFF, 0xFF}, {0x01, 0x00}});
    const vcard::Image image = image_of(0);
    EXPECT_EQ(image.bytes[0], 0x01);
    EXPECT_EQ(image.bytes[1], 0x00);
}

TEST_F(WatchdogRules, SafeDataStartsAtTheSlavesFirstBitWhereverThatLies) {
    network.slaves[3].outputs.offset = 35;
    watchdog.set_safe_data(3, {{0x05}, {}});
    const vcard::Image image = image_of(0);
    EXPECT_EQ(image.bytes[4], 0x05 << 3);
    EXPECT_EQ(image.bytes[5], 0x00);
}

// ---- the commands -----------------------------------------------------------------------------

constexpr uint16_t kStart = 39;
constexpr uint16_t kStop = 40;
constexpr uint16_t kConfig = 92;
constexpr uint16_t kQuery = 93;
constexpr uint16_t kEnable = 94;

class WatchdogCommands : public testing::Test {
  protected:
    WatchdogCommands() : bench(quick()) {}
    void SetUp() override { ASSERT_EQ(bench.start(network_text()), 0u); }

    static vcard::CardConfig quick() {
        vcard::CardConfig config;
        config.start_ms = 0;
        config.reset_ms = 0;
        return config;
    }
    static Bytes block(uint32_t slave, uint32_t length, const Bytes &rest) {
        const uint32_t words[4] = {slave, 0, 0, length};
        Bytes bytes = test::bytes_of(words);
        bytes.insert(bytes.end(), rest.begin(), rest.end());
        bytes.resize(bytes.size() + 4);
        return bytes;
    }
    static Bytes start_block(uint32_t value, const std::string &text) {
        Bytes bytes = test::bytes_of(value);
        bytes.insert(bytes.end(), text.begin(), text.end());
        bytes.push_back(0);
        return bytes;
    }
    uint32_t config(uint32_t slave, uint32_t length, const Bytes &rest) {
        return bench.ask(kConfig, block(slave, length, rest)).status;
    }
    uint32_t enable(uint32_t flag) { return bench.ask(kEnable, test::bytes_of(flag)).status; }
    uint32_t start(uint32_t timeout_ms, const std::string &text = "") {
        return bench.ask(kStart, start_block(timeout_ms, text)).status;
    }
    uint32_t stop() { return bench.ask(kStop).status; }
    Answer query(uint32_t slave, uint32_t room) {
        return bench.ask(kQuery, block(slave, room, {}));
    }
    uint32_t flags() { return test::value_of<std::array<uint32_t, 4>>(query(1, 2).payload)[1]; }
    uint32_t expiries() { return test::value_of<std::array<uint32_t, 4>>(query(1, 2).payload)[2]; }
    bool expires() {
        return eventually([this] { return (flags() & VCARD_WATCHDOG_EXPIRED) != 0; });
    }
    bool logs(const std::string &text) {
        return eventually([&] {
            bench.serve();
            return bench.logged(text);
        });
    }
    PiCardArea &area() { return *reinterpret_cast<PiCardArea *>(bench.area(0) + 803400); }

    test::FirmwareBench bench;
};

TEST_F(WatchdogCommands, SafeDataIsTaken) {
    EXPECT_EQ(config(1, 2, {1, 2}), 0u);
    EXPECT_EQ(config(2, 2, {0xFF, 0xFF, 1, 2}), 0u);
    EXPECT_EQ(config(3, 1, {1}), 0u);
}

TEST_F(WatchdogCommands, ABlockShorterThanItsHeaderIsASizeError) {
    EXPECT_EQ(bench.ask(kConfig, Bytes(19)).status, 90000u);
    EXPECT_EQ(bench.ask(kConfig).status, 90000u);
}

TEST_F(WatchdogCommands, ABlockOfAnotherLengthThanItsOneOrTwoPartsIsASizeError) {
    EXPECT_EQ(config(1, 2, {1}), 90000u);
    EXPECT_EQ(config(1, 2, {1, 2, 3}), 90000u);
    EXPECT_EQ(config(1, 2, {1, 2, 3, 4, 5}), 90000u);
}

TEST_F(WatchdogCommands, OtherRequestsOfWrongLengthAreSizeErrors) {
    EXPECT_EQ(bench.ask(kEnable, Bytes(3)).status, 90000u);
    EXPECT_EQ(bench.ask(kEnable, Bytes(5)).status, 90000u);
    EXPECT_EQ(bench.ask(kStart, Bytes(4)).status, 90000u);
    EXPECT_EQ(bench.ask(kStop, Bytes(1)).status, 90000u);
    EXPECT_EQ(bench.ask(kQuery, Bytes(19)).status, 90000u);
    EXPECT_EQ(bench.ask(kQuery, Bytes(21)).status, 90000u);
}

TEST_F(WatchdogCommands, NoDataIsADataError) {
    EXPECT_EQ(config(1, 0, {}), 90001u);
}

TEST_F(WatchdogCommands, AReservedWordThatIsNotZeroIsADataError) {
    for (const size_t at : {4u, 8u}) {
        Bytes bytes = block(1, 2, {1, 2});
        bytes[at] = 1;
        EXPECT_EQ(bench.ask(kConfig, bytes).status, 90001u);
    }
}

TEST_F(WatchdogCommands, ATextWithoutItsZeroOrWithAnotherIsADataError) {
    EXPECT_EQ(bench.ask(kStart, {1, 0, 0, 0, 'x'}).status, 90001u);
    EXPECT_EQ(bench.ask(kStart, {1, 0, 0, 0, 'x', 0, 'y', 0}).status, 90001u);
}

TEST_F(WatchdogCommands, AFlagThatIsNeitherZeroNorOneIsACommandError) {
    EXPECT_EQ(enable(2), 90002u);
    EXPECT_EQ(enable(0xFFFFFFFF), 90002u);
}

TEST_F(WatchdogCommands, NoTimeIsACommandError) {
    ASSERT_EQ(config(1, 2, {1, 2}), 0u);
    EXPECT_EQ(start(0), 90002u);
}

TEST_F(WatchdogCommands, ATextThatIsTooLongFindsNoMemory) {
    ASSERT_EQ(config(1, 2, {1, 2}), 0u);
    EXPECT_EQ(start(1000, std::string(64, 'x')), 90003u);
    EXPECT_EQ(start(1000, std::string(63, 'x')), 0u);
}

TEST_F(WatchdogCommands, AStartWithoutSafeDataIsAFunctionError) {
    EXPECT_EQ(start(1000), 90004u);
}

TEST_F(WatchdogCommands, MoreDataThanTheSlaveHasOutputsIsOutOfRange) {
    EXPECT_EQ(config(1, 3, {1, 2, 3}), 90005u);
    EXPECT_EQ(config(3, 2, {1, 2}), 90005u);
    EXPECT_EQ(config(1, 0xFFFFFFFF, {1, 2}), 90005u);
}

TEST_F(WatchdogCommands, AnUnknownSlaveIsASlaveError) {
    EXPECT_EQ(config(5, 2, {1, 2}), 90006u);
    EXPECT_EQ(config(0xFFFFFFFF, 2, {1, 2}), 90006u);
    EXPECT_EQ(query(5, 2).status, 90006u);
}

TEST_F(WatchdogCommands, ASlaveWithoutOutputsIsABufferSizeError) {
    EXPECT_EQ(config(0, 1, {1}), 90007u);
    EXPECT_EQ(config(4, 1, {1}), 90007u);
    EXPECT_EQ(query(4, 1).status, 90007u);
}

TEST_F(WatchdogCommands, LessDataThanTheSlaveHasOutputsIsABufferSizeError) {
    EXPECT_EQ(config(1, 1, {1}), 90007u);
}

TEST_F(WatchdogCommands, AQueryWithTooLittleRoomIsABufferSizeErrorThatNamesTheLength) {
    ASSERT_EQ(config(1, 2, {1, 2}), 0u);
    const Answer answer = query(1, 1);
    EXPECT_EQ(answer.status, 90007u);
    ASSERT_EQ(answer.payload.size(), 16u);
    EXPECT_EQ(answer.payload[12], 2);
}

TEST_F(WatchdogCommands, AQueryGivesDataAndMask) {
    ASSERT_EQ(config(1, 2, {0xF0, 0x0F, 0x12, 0x34}), 0u);
    const Answer answer = query(1, 100);
    EXPECT_EQ(answer.status, 0u);
    EXPECT_EQ(Bytes(answer.payload.begin() + 16, answer.payload.end()),
              (Bytes{0x12, 0x34, 0xF0, 0x0F}));
    EXPECT_EQ(answer.payload[0], 1);
    EXPECT_EQ(answer.payload[12], 2);
    EXPECT_EQ(answer.payload[4], VCARD_WATCHDOG_CONFIGURED | VCARD_WATCHDOG_MASKED);
}

TEST_F(WatchdogCommands, AQueryOfDataWithoutMaskGivesAMaskOfOnes) {
    ASSERT_EQ(config(1, 2, {0x12, 0x34}), 0u);
    const Answer answer = query(1, 2);
    EXPECT_EQ(Bytes(answer.payload.begin() + 16, answer.payload.end()),
              (Bytes{0x12, 0x34, 0xFF, 0xFF}));
    EXPECT_EQ(flags(), uint32_t{VCARD_WATCHDOG_CONFIGURED});
}

TEST_F(WatchdogCommands, ASlaveWithoutSafeDataIsAnsweredWithLengthZero) {
    const Answer answer = query(2, 2);
    EXPECT_EQ(answer.status, 0u);
    EXPECT_EQ(answer.payload.size(), 16u);
    EXPECT_EQ(answer.payload[12], 0);
}

TEST_F(WatchdogCommands, TheFlagsFollowTheCommands) {
    ASSERT_EQ(config(1, 2, {1, 2}), 0u);
    ASSERT_EQ(enable(1), 0u);
    EXPECT_EQ(flags(), 0x05u);
    ASSERT_EQ(start(1000000), 0u);
    EXPECT_EQ(flags(), 0x1Du);
    ASSERT_EQ(start(1000000, "hold"), 0u);
    EXPECT_EQ(flags(), 0x5Du);
    ASSERT_EQ(enable(0), 0u);
    EXPECT_EQ(flags(), 0x49u);
    ASSERT_EQ(stop(), 0u);
    EXPECT_EQ(flags(), 0x01u);
}

TEST_F(WatchdogCommands, AStopWithoutAStartIsNoError) {
    EXPECT_EQ(stop(), 0u);
}

TEST_F(WatchdogCommands, SafeDataNeedsAConfiguration) {
    test::FirmwareBench fresh(quick());
    EXPECT_EQ(fresh.ask(kConfig, block(1, 2, {1, 2})).status, 32775u);
    EXPECT_EQ(fresh.ask(kQuery, block(1, 2, {})).status, 32775u);
    EXPECT_EQ(fresh.ask(kEnable, test::bytes_of(uint32_t{1})).status, 0u);
    EXPECT_EQ(fresh.ask(kStart, start_block(1, "")).status, 90004u);
    EXPECT_EQ(fresh.ask(kStop).status, 0u);
}

TEST_F(WatchdogCommands, TheSecondaryMailboxHasNone) {
    for (const uint16_t code : {kStart, kStop, kConfig, kQuery, kEnable}) {
        EXPECT_EQ(bench.request(0, false, code).status, 32772u);
    }
}

TEST_F(WatchdogCommands, ChannelsWatchForThemselves) {
    ASSERT_EQ(bench.start(network_text(), 1), 0u);
    ASSERT_EQ(config(1, 2, {1, 2}), 0u);
    const Answer other = bench.request(1, true, kQuery, block(1, 2, {}));
    EXPECT_EQ(other.status, 0u);
    EXPECT_EQ(other.payload[12], 0);
}

TEST_F(WatchdogCommands, ABusStopEndsTheWatchAndKeepsTheData) {
    ASSERT_EQ(config(1, 2, {1, 2}), 0u);
    ASSERT_EQ(enable(1), 0u);
    ASSERT_EQ(start(1), 0u);
    ASSERT_TRUE(expires());
    ASSERT_EQ(bench.ask(10).status, 0u);
    EXPECT_EQ(flags(), 0x05u);
    EXPECT_GE(expiries(), 1u);
}

TEST_F(WatchdogCommands, ABusStartForgetsTheDataAndKeepsTheSwitch) {
    ASSERT_EQ(config(1, 2, {1, 2}), 0u);
    ASSERT_EQ(enable(1), 0u);
    ASSERT_EQ(bench.ask(10).status, 0u);
    ASSERT_EQ(bench.ask(9).status, 0u);
    EXPECT_EQ(flags(), uint32_t{VCARD_WATCHDOG_ENABLED});
}

TEST_F(WatchdogCommands, AResetOfTheCardClearsAll) {
    ASSERT_EQ(config(1, 2, {1, 2}), 0u);
    ASSERT_EQ(enable(1), 0u);
    card::store32(bench.bar(2) + 0x188, 1);
    bench.serve();
    ASSERT_EQ(bench.start(network_text()), 0u);
    EXPECT_EQ(flags(), 0u);
}

TEST_F(WatchdogCommands, AnExpiryIsLoggedListedAndShown) {
    ASSERT_EQ(config(1, 2, {1, 2}), 0u);
    ASSERT_EQ(enable(1), 0u);
    ASSERT_EQ(start(2, "conveyor"), 0u);
    EXPECT_TRUE(logs("watchdog conveyor expired after 2 ms: safe data in 1 slave"));
    EXPECT_THAT(bench.firmware().describe(),
                HasSubstr("watchdog: 1 slaves configured, enabled, started with 2 ms "
                          "\"conveyor\", EXPIRED, expired 1 times"));
    card::increment32(&area().access_counter);
    EXPECT_TRUE(logs("watchdog conveyor fed again"));
}

// ---- what the slaves see ----------------------------------------------------------------------

class WatchdogOutputs : public WatchdogCommands, public testing::WithParamInterface<uint32_t> {
  protected:
    void SetUp() override {
        vcard::CardConfig card = quick();
        card.generation = GetParam();
        own = std::make_unique<test::FirmwareBench>(card);
        ASSERT_EQ(own->start(network_text()), 0u);
        outputs = std::make_unique<test::HostOutputs>(own_area(), GetParam());
        inputs = std::make_unique<test::HostInputs>(own_area(), GetParam());
    }
    PiCardArea &own_area() { return *reinterpret_cast<PiCardArea *>(own->area(0) + 803400); }
    void watch(const Bytes &rest, const std::string &text = "") {
        ASSERT_EQ(own->ask(kConfig, block(1, 2, rest)).status, 0u);
        ASSERT_EQ(own->ask(kEnable, test::bytes_of(uint32_t{1})).status, 0u);
        ASSERT_EQ(own->ask(kStart, start_block(2, text)).status, 0u);
    }
    void write(const Bytes &bytes) {
        outputs->publish(bytes.data(), static_cast<uint32_t>(bytes.size()));
    }
    void feed() { card::increment32(&own_area().access_counter); }
    // Inputs of the slaves 1 and 2 repeat their outputs.
    bool newest_is(const Bytes &bytes) {
        uint8_t image[4096];
        return inputs->pull(image, own_area().input_length) &&
               std::equal(bytes.begin(), bytes.end(), image);
    }
    bool slaves_see(const Bytes &bytes) {
        return eventually([&] { return newest_is(bytes); });
    }
    // One feed holds for 2 ms, which this thread may sleep through.
    bool slaves_see_while_fed(const Bytes &bytes) {
        return eventually([&] {
            feed();
            return newest_is(bytes);
        });
    }

    std::unique_ptr<test::FirmwareBench> own;
    std::unique_ptr<test::HostOutputs> outputs;
    std::unique_ptr<test::HostInputs> inputs;
};

TEST_P(WatchdogOutputs, SafeDataReplacesTheOutputsOfItsSlaveOnly) {
    write({0xAA, 0xBB, 0xCC, 0xDD, 0x0F});
    watch({0x12, 0x34});
    EXPECT_TRUE(slaves_see({0x12, 0x34, 0xCC, 0xDD}));
}

TEST_P(WatchdogOutputs, TheMaskKeepsTheHostsBits) {
    write({0xAA, 0xBB, 0xCC, 0xDD, 0x0F});
    watch({0x0F, 0x00, 0x05, 0xFF});
    EXPECT_TRUE(slaves_see({0xA5, 0xBB, 0xCC, 0xDD}));
}

TEST_P(WatchdogOutputs, OutputsWrittenMeanwhileCountAfterTheFeed) {
    watch({0x12, 0x34});
    ASSERT_TRUE(slaves_see({0x12, 0x34}));
    write({0xAA, 0xBB, 0xCC, 0xDD});
    EXPECT_TRUE(slaves_see({0x12, 0x34, 0xCC, 0xDD}));
    EXPECT_TRUE(slaves_see_while_fed({0xAA, 0xBB, 0xCC, 0xDD}));
}

TEST_P(WatchdogOutputs, HeldSafeDataEndsWithTheStop) {
    write({0xAA, 0xBB});
    watch({0x12, 0x34}, "hold");
    ASSERT_TRUE(slaves_see({0x12, 0x34}));
    feed();
    ASSERT_TRUE(slaves_see({0x12, 0x34}));
    ASSERT_EQ(own->ask(kStop).status, 0u);
    EXPECT_TRUE(slaves_see({0xAA, 0xBB}));
}

TEST_P(WatchdogOutputs, QueuedImagesAreTakenMeanwhileAndDoNotReachTheSlave) {
    watch({0x12, 0x34});
    ASSERT_TRUE(slaves_see({0x12, 0x34}));
    const Bytes image = {0x77, 0x77, 0x66, 0x66};
    std::copy(image.begin(), image.end(),
              own_area().output_queue[own_area().output_queue_write % 128]);
    card::increment32(&own_area().output_queue_write);
    EXPECT_TRUE(slaves_see({0x12, 0x34, 0x66, 0x66}));
}

INSTANTIATE_TEST_SUITE_P(Generations, WatchdogOutputs, testing::Values(1u, 2u));

} // namespace
