// The watchdog's requests byte by byte, and what becomes of the replies.
#include "fake_master.h"

#include "pci_tarn/pi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr int kStart = 39;
constexpr int kStop = 40;
constexpr int kConfig = 92;
constexpr int kQuery = 93;
constexpr int kEnable = 94;

class Watchdog : public testing::Test {
  protected:
    EcatHandle *handle() { return master.handle(); }
    const Seen &request() { return master.primary.seen.at(0); }
    uint32_t query() {
        return EcatPIWatchDogQuery(handle(), 0x01020304, &first, &second, front.data(), back.data(),
                                   &length);
    }
    void reply_to_query(uint32_t n, const Bytes &blocks, uint32_t status = 0) {
        master.replies[kQuery] = {{.status = status,
                                   .payload = bytes_of(0x01020304U) + bytes_of(0xAAAA0001U) +
                                              bytes_of(0xBBBB0002U) + bytes_of(n) + blocks}};
    }

    FakeMaster master;
    uint32_t first = 0xCCCCCCCC;
    uint32_t second = 0xCCCCCCCC;
    uint32_t length = 3;
    Bytes front = Bytes(4, 0xCC);
    Bytes back = Bytes(4, 0xCC);
};

// ---- configuration -----------------------------------------------------------------------------

TEST_F(Watchdog, AConfigurationWithoutMaskCarriesTheDataBehindTheHeader) {
    const Bytes data = {0xA1, 0xA2, 0xA3};
    EXPECT_EQ(EcatPIWatchDogConfig(handle(), 0x01020304, 0, nullptr, data.data(), 3), 0U);
    EXPECT_EQ(request().code, kConfig);
    EXPECT_EQ(request().payload,
              (Bytes{4,    3,    2,    1, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, // header
                     0xA1, 0xA2, 0xA3, 0, 0, 0, 0}));
}

TEST_F(Watchdog, AConfigurationWithMaskCarriesTheMaskFirst) {
    const Bytes data = {0xA1, 0xA2, 0xA3};
    const Bytes mask = {0xF1, 0xF2, 0xF3};
    EXPECT_EQ(EcatPIWatchDogConfig(handle(), 1, 0, mask.data(), data.data(), 3), 0U);
    EXPECT_EQ(request().payload,
              (Bytes{1,    0,    0,    0,    0,    0,    0, 0, 0, 0, 0, 0, 3, 0, 0, 0, // header
                     0xF1, 0xF2, 0xF3, 0xA1, 0xA2, 0xA3, 0, 0, 0, 0}));
}

TEST_F(Watchdog, AConfigurationOfNothingIsHeaderAndSpareBytes) {
    const uint8_t data = 7;
    EXPECT_EQ(EcatPIWatchDogConfig(handle(), 1, 0, nullptr, &data, 0), 0U);
    EXPECT_THAT(request().payload, SizeIs(20));
}

TEST_F(Watchdog, AReservedArgumentThatIsNotZeroSendsNothing) {
    const Bytes data(4);
    EXPECT_EQ(EcatPIWatchDogConfig(handle(), 1, 1, nullptr, data.data(), 4), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(Watchdog, AConfigurationWithoutDataSendsNothing) {
    EXPECT_EQ(EcatPIWatchDogConfig(handle(), 1, 0, nullptr, nullptr, 4), 32770U);
    EXPECT_EQ(EcatPIWatchDogConfig(handle(), 1, 0, nullptr, nullptr, 0), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(Watchdog, AConfigurationLongerThanAnyBlockIsOutOfMemory) {
    const uint8_t byte = 0;
    EXPECT_EQ(EcatPIWatchDogConfig(handle(), 1, 0, &byte, &byte, 0x80000000), 32769U);
    EXPECT_EQ(EcatPIWatchDogConfig(handle(), 1, 0, nullptr, &byte, 0xFFFFFFFF), 32769U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(Watchdog, AConfigurationThatNoSlotHoldsFindsTheRingFull) {
    const Bytes data(102400);
    EXPECT_EQ(EcatPIWatchDogConfig(handle(), 1, 0, nullptr, data.data(), 102400), 80001U);
}

// ---- switching ---------------------------------------------------------------------------------

TEST_F(Watchdog, EnableSendsTheFlag) {
    EXPECT_EQ(EcatPIWatchDogEnable(handle(), 0x01020304), 0U);
    EXPECT_EQ(request().code, kEnable);
    EXPECT_THAT(request().payload, ElementsAre(4, 3, 2, 1));
}

TEST_F(Watchdog, StartSendsTheValueAndTheTextWithItsZero) {
    EXPECT_EQ(EcatPIWatchDogStart(handle(), 0x01020304, "pdo"), 0U);
    EXPECT_EQ(request().code, kStart);
    EXPECT_THAT(request().payload, ElementsAre(4, 3, 2, 1, 'p', 'd', 'o', 0));
}

TEST_F(Watchdog, StartTakesNoTextForAnEmptyOne) {
    EXPECT_EQ(EcatPIWatchDogStart(handle(), 1, nullptr), 0U);
    EXPECT_EQ(EcatPIWatchDogStart(handle(), 1, ""), 0U);
    EXPECT_THAT(master.primary.seen[0].payload, ElementsAre(1, 0, 0, 0, 0));
    EXPECT_THAT(master.primary.seen[1].payload, ElementsAre(1, 0, 0, 0, 0));
}

TEST_F(Watchdog, StopSendsNoData) {
    EXPECT_EQ(EcatPIWatchDogStop(handle()), 0U);
    EXPECT_EQ(request().code, kStop);
    EXPECT_THAT(request().payload, IsEmpty());
}

// ---- query -------------------------------------------------------------------------------------

TEST_F(Watchdog, AQuerySendsTheHeaderOnly) {
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(request().code, kQuery);
    EXPECT_THAT(request().payload,
                ElementsAre(4, 3, 2, 1, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0));
}

TEST_F(Watchdog, AQueryGivesStatusWordsAndBothBlocks) {
    reply_to_query(3, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(first, 0xAAAA0001U);
    EXPECT_EQ(second, 0xBBBB0002U);
    EXPECT_EQ(length, 3U);
    EXPECT_THAT(front, ElementsAre(1, 2, 3, 0xCC));
    EXPECT_THAT(back, ElementsAre(4, 5, 6, 0xCC));
}

TEST_F(Watchdog, ShorterBlocksFollowEachOther) {
    reply_to_query(2, {1, 2, 3, 4});
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(length, 2U);
    EXPECT_THAT(front, ElementsAre(1, 2, 0xCC, 0xCC));
    EXPECT_THAT(back, ElementsAre(3, 4, 0xCC, 0xCC));
}

TEST_F(Watchdog, ALengthOfNoneInTheReplyCopiesNothing) {
    reply_to_query(0, {});
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(first, 0xAAAA0001U);
    EXPECT_EQ(front, Bytes(4, 0xCC));
    EXPECT_EQ(back, Bytes(4, 0xCC));
}

TEST_F(Watchdog, ALengthInTheReplyThatCannotBeCopiesNoMoreThanTheCallersBlocks) {
    reply_to_query(0xFFFFFFFF, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(length, 0xFFFFFFFFU);
    EXPECT_THAT(front, ElementsAre(1, 2, 3, 0xCC));
    EXPECT_EQ(back[3], 0xCC);
}

TEST_F(Watchdog, BlocksOfTheCardThatAreLongerAreCutToTheCallers) {
    reply_to_query(5, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    EXPECT_EQ(query(), 0U);
    EXPECT_EQ(length, 5U);
    EXPECT_THAT(front, ElementsAre(1, 2, 3, 0xCC));
    EXPECT_THAT(back, ElementsAre(6, 7, 8, 0xCC));
}

TEST_F(Watchdog, ARefusedQueryTellsTheLengthThatTheCardNeeds) {
    reply_to_query(8, {}, 90007);
    EXPECT_EQ(query(), 90007U);
    EXPECT_EQ(length, 8U);
    EXPECT_THAT(front, ElementsAre(0xCC, 0xCC, 0xCC, 0xCC));
}

TEST_F(Watchdog, EachOutputOfAQueryIsOptionalButTheLength) {
    reply_to_query(3, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(EcatPIWatchDogQuery(handle(), 1, nullptr, nullptr, nullptr, nullptr, &length), 0U);
    EXPECT_EQ(EcatPIWatchDogQuery(handle(), 1, nullptr, &second, nullptr, back.data(), &length),
              0U);
    EXPECT_EQ(second, 0xBBBB0002U);
    EXPECT_THAT(back, ElementsAre(4, 5, 6, 0xCC));
    EXPECT_EQ(EcatPIWatchDogQuery(handle(), 1, &first, nullptr, front.data(), nullptr, &length),
              0U);
    EXPECT_EQ(first, 0xAAAA0001U);
    EXPECT_THAT(front, ElementsAre(1, 2, 3, 0xCC));
}

TEST_F(Watchdog, AQueryWithoutLengthSendsNothing) {
    EXPECT_EQ(EcatPIWatchDogQuery(handle(), 1, &first, &second, nullptr, nullptr, nullptr), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(Watchdog, AQueryOfZeroBytesHasNoRoomForTheReply) {
    reply_to_query(0, {});
    length = 0;
    EXPECT_EQ(query(), 80002U);
    EXPECT_THAT(request().payload, SizeIs(20));
    EXPECT_EQ(first, 0U);
    EXPECT_EQ(second, 0U);
    EXPECT_EQ(length, 0U);
}

TEST_F(Watchdog, BlocksThatDoNotFitAreNotCopied) {
    reply_to_query(6, Bytes(12, 0x42));
    EXPECT_EQ(query(), 80002U);
    EXPECT_EQ(front, Bytes(4, 0xCC));
    EXPECT_EQ(first, 0U);
    EXPECT_EQ(length, 3U);
}

TEST_F(Watchdog, ARefusedQueryStillGivesStatusWordsAndLength) {
    reply_to_query(2, {1, 2, 3, 4}, 90006);
    EXPECT_EQ(query(), 90006U);
    EXPECT_EQ(first, 0xAAAA0001U);
    EXPECT_EQ(second, 0xBBBB0002U);
    EXPECT_EQ(length, 2U);
    EXPECT_EQ(front, Bytes(4, 0xCC));
    EXPECT_EQ(back, Bytes(4, 0xCC));
}

TEST_F(Watchdog, AQueryWithoutReplyGivesZerosAndTheOwnLength) {
    master.replies[kQuery] = {};
    EXPECT_EQ(query(), 80003U);
    EXPECT_EQ(first, 0U);
    EXPECT_EQ(second, 0U);
    EXPECT_EQ(length, 3U);
}

TEST_F(Watchdog, AQueryLongerThanAnyBlockIsOutOfMemory) {
    length = 0x7FFFFFFF;
    EXPECT_EQ(query(), 32769U);
    EXPECT_TRUE(master.nothing_happened());
}

// ---- all of them -------------------------------------------------------------------------------

struct Call {
    const char *name;
    int code;
    uint32_t (*run)(EcatHandle *);
};

const Call kCalls[] = {
    {"Config", kConfig,
     [](EcatHandle *handle) {
         const uint8_t data = 0;
         return EcatPIWatchDogConfig(handle, 1, 0, nullptr, &data, 1);
     }},
    {"Enable", kEnable, [](EcatHandle *handle) { return EcatPIWatchDogEnable(handle, 1); }},
    {"Start", kStart, [](EcatHandle *handle) { return EcatPIWatchDogStart(handle, 1, ""); }},
    {"Stop", kStop, EcatPIWatchDogStop},
    {"Query", kQuery,
     [](EcatHandle *handle) {
         uint32_t length = 1;
         return EcatPIWatchDogQuery(handle, 1, nullptr, nullptr, nullptr, nullptr, &length);
     }},
};

class WatchdogCall : public testing::TestWithParam<Call> {
  protected:
    FakeMaster master;
};

INSTANTIATE_TEST_SUITE_P(All, WatchdogCall, testing::ValuesIn(kCalls),
                         [](const auto &call) { return std::string(call.param.name); });

TEST_P(WatchdogCall, WantsAHandle) {
    EXPECT_EQ(GetParam().run(nullptr), 80013U);
}

TEST_P(WatchdogCall, IsOneRequestOnThePrimaryMailboxUnderItsLock) {
    EXPECT_EQ(GetParam().run(master.handle()), 0U);
    EXPECT_THAT(master.log,
                ElementsAre("primary " + std::to_string(GetParam().code) + " under primary"));
    EXPECT_TRUE(master.all_released());
}

TEST_P(WatchdogCall, PassesTheFirmwaresStatusThrough) {
    for (uint32_t status = 90000; status <= 90007; ++status) {
        master.replies[GetParam().code] = {{.status = status}};
        EXPECT_EQ(GetParam().run(master.handle()), status);
    }
}

TEST_P(WatchdogCall, WithoutReplyItTimesOutAfterTheHandlesTimeOut) {
    master.replies[GetParam().code] = {};
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(GetParam().run(master.handle()), 80003U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_TRUE(master.all_released());
}

TEST_P(WatchdogCall, AFullRingIsReportedAfterTheHandlesTimeOut) {
    master.primary.out_write() += 1;
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(GetParam().run(master.handle()), 80001U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_THAT(master.log, IsEmpty());
}

TEST_P(WatchdogCall, AReplyWithDataThatNobodyAskedForDoesNotFit) {
    if (GetParam().code == kQuery) {
        GTEST_SKIP() << "a query asks for data";
    }
    master.replies[GetParam().code] = {{.payload = {1}}};
    EXPECT_EQ(GetParam().run(master.handle()), 80002U);
}

TEST(WatchdogFeed, WantsAHandle) {
    EXPECT_EQ(EcatPIWatchDogFeed(nullptr), 80013U);
}

} // namespace
