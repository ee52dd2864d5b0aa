// Objects of a slave: what goes out byte by byte, and what comes back.
#include "fake_master.h"

#include "pci_tarn/slave.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace tarn::test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr uint32_t kLimit = 256;

class SdoDownload : public testing::Test {
  protected:
    uint32_t run(uint32_t size, uint8_t complete_access = 0) {
        return EcatCoeSDODownloadEx(master.handle(), 0x0102, 0x6040, 0x03, complete_access, size,
                                    data.data(), 0x0A0B0C0D);
    }
    const Bytes &request() { return master.primary.seen.at(0).payload; }

    FakeMaster master;
    const Bytes data = counted(kLimit + 1);
};

TEST_F(SdoDownload, SendsHeaderAndDataAndNoMore) {
    EXPECT_EQ(run(4, 1), 0U);
    EXPECT_THAT(master.primary.seen, SizeIs(1));
    EXPECT_EQ(master.primary.seen[0].code, 12);
    EXPECT_THAT(request(), ElementsAre(0x02, 0x01, 0x40, 0x60, 0x03, 1, 0, 0, 4, 0, 0, 0, 0x0D,
                                       0x0C, 0x0B, 0x0A, 1, 2, 3, 4));
}

TEST_F(SdoDownload, PlainFormHasNoCompleteAccess) {
    EXPECT_EQ(EcatCoeSDODownload(master.handle(), 0x0102, 0x6040, 3, 2, data.data(), 700), 0U);
    EXPECT_THAT(request(), ElementsAre(0x02, 0x01, 0x40, 0x60, 3, 0, 0, 0, 2, 0, 0, 0, 0xBC, 0x02,
                                       0, 0, 1, 2));
}

TEST_F(SdoDownload, CompleteAccessIsSentAsGiven) {
    EXPECT_EQ(run(1, 0xA5), 0U);
    EXPECT_EQ(request()[5], 0xA5);
}

TEST_F(SdoDownload, Of256BytesIsARequestOf272) {
    EXPECT_EQ(run(256), 0U);
    EXPECT_THAT(request(), SizeIs(272));
    EXPECT_EQ(at<uint32_t>(request().data() + 8), 256U);
    EXPECT_EQ(Bytes(request().begin() + 16, request().end()), counted(256));
}

TEST_F(SdoDownload, Of257BytesIsRefusedUnsent) {
    EXPECT_EQ(run(257), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(SdoDownload, PlainFormTakes256BytesToo) {
    EXPECT_EQ(EcatCoeSDODownload(master.handle(), 1, 2, 3, 256, data.data(), 700), 0U);
    EXPECT_THAT(request(), SizeIs(272));
}

TEST_F(SdoDownload, PlainFormRefuses257Bytes) {
    EXPECT_EQ(EcatCoeSDODownload(master.handle(), 1, 2, 3, 257, data.data(), 700), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(SdoDownload, NegativeSizeIsRefused) {
    EXPECT_EQ(EcatCoeSDODownload(master.handle(), 1, 2, 3, -1, data.data(), 700), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(SdoDownload, OfNothingIsTheHeaderAlone) {
    EXPECT_EQ(run(0), 0U);
    EXPECT_THAT(request(), SizeIs(16));
}

TEST_F(SdoDownload, OfNothingNeedsNoData) {
    EXPECT_EQ(EcatCoeSDODownloadEx(master.handle(), 1, 2, 3, 0, 0, nullptr, 700), 0U);
    EXPECT_THAT(request(), SizeIs(16));
}

TEST_F(SdoDownload, NullDataWithASizeIsRefused) {
    EXPECT_EQ(EcatCoeSDODownloadEx(master.handle(), 1, 2, 3, 0, 1, nullptr, 700), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(SdoDownload, NullHandleComesBeforeTheSize) {
    EXPECT_EQ(EcatCoeSDODownloadEx(nullptr, 1, 2, 3, 0, 257, nullptr, 700), 80013U);
    EXPECT_EQ(EcatCoeSDODownload(nullptr, 1, 2, 3, -1, nullptr, 700), 80013U);
}

TEST_F(SdoDownload, HoldsThePrimaryMailboxOnly) {
    run(4);
    EXPECT_THAT(master.log, ElementsAre("primary 12 under primary"));
    EXPECT_EQ(master.secondary.locked, 0);
    EXPECT_TRUE(master.all_released());
}

TEST_F(SdoDownload, AbortCodeOfTheFirmwarePassesThrough) {
    master.replies[12] = {{.status = 34180}};
    EXPECT_EQ(run(4), 34180U);
    EXPECT_THAT(master.log, SizeIs(1));
}

TEST_F(SdoDownload, ReplyWithDataIsTooLarge) {
    master.replies[12] = {{.payload = {1}}};
    EXPECT_EQ(run(4), 80002U);
}

TEST_F(SdoDownload, WaitsAsLongAsTheHandleSaysAndNotAsTheRecord) {
    master.replies[12] = {};
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(run(4), 80003U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_TRUE(master.all_released());
}

TEST_F(SdoDownload, TimeOutArgumentOfZeroStillWaitsForTheCard) {
    EXPECT_EQ(EcatCoeSDODownload(master.handle(), 1, 2, 3, 4, data.data(), 0), 0U);
    EXPECT_EQ(at<uint32_t>(request().data() + 12), 0U);
}

TEST(SdoDownloadSlots, RequestThatFitsNoSlotEndsIn80001AfterTheWholeTimeOut) {
    FakeMaster master({.slot_size = 64});
    const Bytes data = counted(49);
    EXPECT_EQ(EcatCoeSDODownload(master.handle(), 1, 2, 3, 32, data.data(), 700), 0U);
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(EcatCoeSDODownload(master.handle(), 1, 2, 3, 33, data.data(), 700), 80001U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_THAT(master.log, SizeIs(1));
    EXPECT_TRUE(master.all_released());
}

TEST(SdoDownloadSlots, DataOfAnEarlierCallDoesNotComeAlong) {
    FakeMaster master;
    const Bytes data = counted(8);
    EcatCoeSDODownload(master.handle(), 1, 2, 3, 8, data.data(), 700);
    EcatCoeSDODownload(master.handle(), 1, 2, 3, 1, data.data(), 700);
    EXPECT_THAT(master.primary.seen.at(1).payload, SizeIs(17));
}

class SdoUpload : public testing::Test {
  protected:
    uint32_t run(uint8_t complete_access = 0) {
        return EcatCoeSDOUploadEx(master.handle(), 0x0102, 0x6041, 0x03, complete_access, &size,
                                  data.data(), 0x0A0B0C0D);
    }
    void answer(size_t bytes, uint32_t status = 0) {
        master.replies[13] = {{.status = status, .payload = counted(bytes)}};
    }
    const Bytes &request() { return master.primary.seen.at(0).payload; }

    FakeMaster master;
    Bytes data = Bytes(1000, 0xCC);
    uint32_t size = 4;
};

TEST_F(SdoUpload, SendsTheCapacityAndARecordOfFullLength) {
    answer(4);
    EXPECT_EQ(run(1), 0U);
    EXPECT_EQ(master.primary.seen[0].code, 13);
    ASSERT_THAT(request(), SizeIs(272));
    EXPECT_THAT(
        Bytes(request().begin(), request().begin() + 16),
        ElementsAre(0x02, 0x01, 0x41, 0x60, 0x03, 1, 0, 0, 4, 0, 0, 0, 0x0D, 0x0C, 0x0B, 0x0A));
    EXPECT_THAT(Bytes(request().begin() + 16, request().end()), Each(0));
}

TEST_F(SdoUpload, IsOneRequest) {
    size = 1000;
    answer(600); // far more than one mailbox of a slave holds
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(master.log, ElementsAre("primary 13 under primary"));
    EXPECT_EQ(size, 600U);
}

TEST_F(SdoUpload, HoldsThePrimaryMailboxOnly) {
    answer(4);
    run();
    EXPECT_THAT(master.log, ElementsAre("primary 13 under primary"));
    EXPECT_EQ(master.secondary.locked, 0);
    EXPECT_TRUE(master.all_released());
}

TEST_F(SdoUpload, PlainFormHasNoCompleteAccess) {
    answer(2);
    EXPECT_EQ(EcatCoeSDOUpload(master.handle(), 7, 0x1018, 1, &size, data.data(), 900), 0U);
    EXPECT_THAT(Bytes(request().begin(), request().begin() + 16),
                ElementsAre(7, 0, 0x18, 0x10, 1, 0, 0, 0, 4, 0, 0, 0, 0x84, 0x03, 0, 0));
    EXPECT_EQ(size, 2U);
}

TEST_F(SdoUpload, CompleteAccessIsSentAsGiven) {
    EXPECT_EQ(run(0xA5), 0U);
    EXPECT_EQ(request()[5], 0xA5);
}

TEST_F(SdoUpload, GivesTheValueAndItsSize) {
    answer(3);
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(size, 3U);
    EXPECT_THAT(Bytes(data.begin(), data.begin() + 4), ElementsAre(1, 2, 3, 0xCC));
}

TEST_F(SdoUpload, ValueOfExactlyTheCapacityFits) {
    size = 6;
    answer(6);
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(size, 6U);
}

TEST_F(SdoUpload, ValueOf6BytesDoesNotFitInto4) {
    answer(6);
    EXPECT_EQ(run(), 80002U);
    EXPECT_EQ(size, 0U);
    EXPECT_THAT(data, Each(0xCC));
}

TEST_F(SdoUpload, CapacityHasNoLimit) {
    size = 0xFFFFFFFF;
    answer(1000);
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(at<uint32_t>(request().data() + 8), 0xFFFFFFFFU);
    EXPECT_EQ(size, 1000U);
}

TEST_F(SdoUpload, AbortCodeOfTheFirmwarePassesThroughAndLeavesNoSize) {
    answer(0, 34186);
    EXPECT_EQ(run(), 34186U);
    EXPECT_EQ(size, 0U);
    EXPECT_THAT(data, Each(0xCC));
}

TEST_F(SdoUpload, DataBesideAnAbortCodeArrives) {
    answer(2, 34186);
    EXPECT_EQ(run(), 34186U);
    EXPECT_EQ(size, 2U);
    EXPECT_EQ(data[1], 2);
}

TEST_F(SdoUpload, WaitsAsLongAsTheHandleSaysAndLeavesNoSize) {
    master.replies[13] = {};
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(run(), 80003U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_EQ(size, 0U);
    EXPECT_TRUE(master.all_released());
}

TEST_F(SdoUpload, NullHandleLeavesTheSize) {
    EXPECT_EQ(EcatCoeSDOUploadEx(nullptr, 1, 2, 3, 0, &size, data.data(), 700), 80013U);
    EXPECT_EQ(EcatCoeSDOUpload(nullptr, 1, 2, 3, &size, data.data(), 700), 80013U);
    EXPECT_EQ(size, 4U);
}

TEST_F(SdoUpload, NullHandleComesBeforeANullSize) {
    EXPECT_EQ(EcatCoeSDOUploadEx(nullptr, 1, 2, 3, 0, nullptr, data.data(), 700), 80013U);
}

TEST_F(SdoUpload, NullSizeIsRefused) {
    EXPECT_EQ(EcatCoeSDOUpload(master.handle(), 1, 2, 3, nullptr, data.data(), 700), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(SdoUpload, NullDataWithACapacityIsRefused) {
    EXPECT_EQ(EcatCoeSDOUpload(master.handle(), 1, 2, 3, &size, nullptr, 700), 32770U);
    EXPECT_TRUE(master.nothing_happened());
    EXPECT_EQ(size, 4U);
}

TEST_F(SdoUpload, WithoutCapacityNeedsNoDataAndTakesAnEmptyValueOnly) {
    size = 0;
    EXPECT_EQ(EcatCoeSDOUpload(master.handle(), 1, 2, 3, &size, nullptr, 700), 0U);
    answer(1);
    EXPECT_EQ(EcatCoeSDOUpload(master.handle(), 1, 2, 3, &size, nullptr, 700), 80002U);
    EXPECT_EQ(size, 0U);
}

TEST(SdoUploadSlots, RecordOf272BytesDoesNotFitASmallSlot) {
    FakeMaster master({.slot_size = 64});
    uint8_t data[4];
    uint32_t size = sizeof data;
    EXPECT_EQ(EcatCoeSDOUpload(master.handle(), 1, 2, 3, &size, data, 700), 80001U);
    EXPECT_EQ(size, 0U);
    EXPECT_TRUE(master.log.empty());
    EXPECT_TRUE(master.all_released());
}

} // namespace
