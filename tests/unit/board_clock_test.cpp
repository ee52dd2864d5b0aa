// The time that a board is told, and its offset of local time.
#include "board_fixture.h"
#include "pci_tarn/board.h"
#include "support/this_process.h"

#include <climits>
#include <ctime>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;

constexpr uint64_t kBillion = 1'000'000'000;

class BoardClock : public PlainBoard {
  protected:
    uint64_t told() { return peek<uint64_t>(bar2() + 0x1A0); }
    int32_t offset() { return peek<int32_t>(bar2() + 0x1A8); }

    int32_t offset_in(const char *zone) {
        set_time_zone(zone);
        EXPECT_EQ(BoardSetDeviceSystemTime(board(), 1), 0U);
        return offset();
    }
};

TEST_F(BoardClock, HostTimeIsOneStoreOf64BitsAndOneOf32) {
    if (!can_record_accesses()) {
        GTEST_SKIP() << "a thread sanitizer accesses memory on behalf of the program";
    }
    set_time_zone("PST8");
    uint32_t status = 77;
    EXPECT_THAT(accesses([&] { status = BoardSetDeviceSystemTime(board(), 1739404801); }),
                ElementsAre(store_of(kBar2, 0x1A0, 8, 1739404801 * kBillion),
                            store_of(kBar2, 0x1A8, 4, 0xFFFF8F80)));
    EXPECT_EQ(status, 0U);
}

TEST_F(BoardClock, HostTimeByAddressIsTheSame) {
    set_time_zone("IST-5:30");
    EXPECT_EQ(Bar2SetDeviceSystemTime(bar2(), 1739404801), 0U);
    EXPECT_EQ(told(), 1739404801 * kBillion);
    EXPECT_EQ(offset(), 19800);
}

TEST_F(BoardClock, TheWordBehindTheOffsetStays) {
    EXPECT_EQ(BoardSetDeviceSystemTime(board(), 1), 0U);
    EXPECT_EQ(peek<uint32_t>(bar2() + 0x1AC), 0xEEEEEEEEU);
}

TEST_F(BoardClock, OneIsASecondAfterTheEpoch) {
    EXPECT_EQ(BoardSetDeviceSystemTime(board(), 1), 0U);
    EXPECT_EQ(told(), kBillion);
}

TEST_F(BoardClock, TimesBefore1970AreNegativeNanoseconds) {
    EXPECT_EQ(BoardSetDeviceSystemTime(board(), -1), 0U);
    EXPECT_EQ(told(), 0 - kBillion);
}

TEST_F(BoardClock, TimesTooLateForTheWordWrap) {
    EXPECT_EQ(BoardSetDeviceSystemTime(board(), INT64_MAX), 0U);
    EXPECT_EQ(told(), static_cast<uint64_t>(INT64_MAX) * kBillion);
}

TEST_F(BoardClock, ZeroIsNow) {
    const auto before = static_cast<uint64_t>(time(nullptr));
    EXPECT_EQ(BoardSetDeviceSystemTime(board(), 0), 0U);
    const auto after = static_cast<uint64_t>(time(nullptr));
    EXPECT_EQ(told() % kBillion, 0U);
    EXPECT_GE(told() / kBillion, before);
    EXPECT_LE(told() / kBillion, after);
}

TEST_F(BoardClock, OffsetOfUtcIsNone) {
    EXPECT_EQ(offset_in("UTC0"), 0);
}
TEST_F(BoardClock, OffsetEastOfGreenwichIsPositive) {
    EXPECT_EQ(offset_in("IST-5:30"), 19800);
}
TEST_F(BoardClock, OffsetWestOfGreenwichIsNegative) {
    EXPECT_EQ(offset_in("PST8"), -28800);
}
TEST_F(BoardClock, OffsetAnHourWestIsStillTheDayBefore) {
    EXPECT_EQ(offset_in("AZO1"), -3600);
}
TEST_F(BoardClock, OffsetFarEastIsLaterTheSameDay) {
    EXPECT_EQ(offset_in("NZT-13"), 46800);
}
TEST_F(BoardClock, OffsetCountsMinutesAndSeconds) {
    EXPECT_EQ(offset_in("LMT-0:53:28"), 3208);
}
TEST_F(BoardClock, OffsetIsThatOfTheFixedDayWhateverTheTime) {
    set_time_zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(BoardSetDeviceSystemTime(board(), 1752537600), 0U); // in July
    EXPECT_EQ(offset(), 3600);
}

} // namespace
