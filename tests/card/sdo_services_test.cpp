// SDO download and upload, asked slot by slot.
#include "card/mailbox_fixture.h"
#include "tarn_vcard/records.h"

#include <gmock/gmock.h>

using namespace tarn::test;
using namespace std::chrono_literals;

namespace {

class SdoServices : public MailboxTest {
  protected:
    void SetUp() override { start(); }
};

constexpr uint16_t kScratch = 0x5F00;

} // namespace

// ---- what comes back
// ------------------------------------------------------------------------------

TEST_F(SdoServices, UploadGivesTheValueInItsSize) {
    EXPECT_EQ(read<uint32_t>(kDrive, 0x1018, 1), 0x7461726EU);
    EXPECT_EQ(read<uint8_t>(kDrive, 0x1018, 0), 4);
}

TEST_F(SdoServices, DownloadIsReadBack) {
    EXPECT_EQ(write<uint32_t>(kDrive, kScratch, 1, 0x12345678), 0U);
    EXPECT_EQ(read<uint32_t>(kDrive, kScratch, 1), 0x12345678U);
}

TEST_F(SdoServices, SlavesHaveValuesOfTheirOwn) {
    write<uint32_t>(kDrive, kScratch, 1, 1);
    write<uint32_t>(kAnalog, kScratch, 1, 2);
    EXPECT_EQ(read<uint32_t>(kDrive, kScratch, 1), 1U);
    EXPECT_EQ(read<uint32_t>(kAnalog, kScratch, 1), 2U);
}

TEST_F(SdoServices, UploadSendsTheWholeObjectWhateverTheCapacity) {
    Bytes request = upload_request(kDrive, 0x1008, 0);
    request[8] = 4;
    request[9] = 0;
    const Answer answer = bench_.ask(kUpload, request);
    EXPECT_EQ(answer.status, 0U);
    EXPECT_EQ(answer.payload.size(), std::string("drive 1").size());
}

TEST_F(SdoServices, LongObjectsComeWhole) {
    const Answer answer = upload(kDrive, 0x5F03, 0);
    ASSERT_EQ(answer.payload.size(), 4096U);
    EXPECT_EQ(answer.payload[0x123], 0x23 ^ 0x01);
}

TEST_F(SdoServices, DownloadTakes256Bytes) {
    const Bytes data(256, 0xA5);
    EXPECT_EQ(download(kDrive, 0x5F02, 0, data).status, 0U);
    EXPECT_EQ(upload(kDrive, 0x5F02, 0).payload, data);
}

TEST_F(SdoServices, TextsMayBeShorterThanTheirRoom) {
    EXPECT_EQ(download(kDrive, 0x5F01, 0, {'a', 'b'}).status, 0U);
    EXPECT_EQ(upload(kDrive, 0x5F01, 0).payload, (Bytes{'a', 'b'}));
}

TEST_F(SdoServices, ATextOf64CharactersFits) {
    EXPECT_EQ(download(kDrive, 0x5F01, 0, Bytes(64, 'x')).status, 0U);
}

TEST_F(SdoServices, EmptyObjectsGiveAnEmptyReply) {
    const Answer answer = upload(kDrive, 0x5F01, 0);
    EXPECT_EQ(answer.status, 0U);
    EXPECT_TRUE(answer.payload.empty());
}

// ---- abort codes
// ----------------------------------------------------------------------------------

TEST_F(SdoServices, AbsentObject) {
    EXPECT_EQ(upload(kDrive, 0x2FFF, 0).status, 33792U);
    EXPECT_EQ(download(kDrive, 0x2FFF, 0, {0}).status, 33792U);
}

TEST_F(SdoServices, AbsentSubindex) {
    EXPECT_EQ(upload(kDrive, 0x1018, 5).status, 33805U);
    EXPECT_EQ(download(kDrive, kScratch, 99, {0}).status, 33805U);
}

TEST_F(SdoServices, SubindexOfAVariable) {
    EXPECT_EQ(upload(kDrive, 0x1000, 1).status, 33805U);
}

TEST_F(SdoServices, ReadOnlyObject) {
    EXPECT_EQ(download(kDrive, 0x1000, 0, Bytes(4)).status, 33025U);
}

TEST_F(SdoServices, WriteOnlyObject) {
    EXPECT_EQ(write<uint16_t>(kDrive, kScratch, 5, 7), 0U);
    EXPECT_EQ(upload(kDrive, kScratch, 5).status, 33026U);
}

TEST_F(SdoServices, DataTooLong) {
    EXPECT_EQ(download(kDrive, kScratch, 1, Bytes(5)).status, 33804U);
}

TEST_F(SdoServices, ATextOf65CharactersIsTooLong) {
    EXPECT_EQ(download(kDrive, 0x5F01, 0, Bytes(65, 'x')).status, 33804U);
}

TEST_F(SdoServices, DataTooShort) {
    EXPECT_EQ(download(kDrive, kScratch, 1, Bytes(3)).status, 34358U);
}

TEST_F(SdoServices, EmptyDataIsTooShort) {
    EXPECT_EQ(download(kDrive, kScratch, 1, {}).status, 34358U);
}

TEST_F(SdoServices, LargestAndSmallestValueAreTaken) {
    EXPECT_EQ(write<int16_t>(kDrive, kScratch, 2, 1000), 0U);
    EXPECT_EQ(write<int16_t>(kDrive, kScratch, 2, -1000), 0U);
    EXPECT_EQ(read<int16_t>(kDrive, kScratch, 2), -1000);
}

TEST_F(SdoServices, ValueTooHigh) {
    EXPECT_EQ(write<int16_t>(kDrive, kScratch, 2, 1001), 33806U);
}

TEST_F(SdoServices, ValueTooLow) {
    EXPECT_EQ(write<int16_t>(kDrive, kScratch, 2, -1001), 33807U);
}

TEST_F(SdoServices, BitsBeyondTheTypeAreTooHigh) {
    EXPECT_EQ(write<uint8_t>(kDrive, kScratch, 7, 1), 0U);
    EXPECT_EQ(write<uint8_t>(kDrive, kScratch, 7, 2), 33806U);
}

TEST_F(SdoServices, RefusedValuesChangeNothing) {
    write<int16_t>(kDrive, kScratch, 2, 5);
    write<int16_t>(kDrive, kScratch, 2, 1001);
    EXPECT_EQ(read<int16_t>(kDrive, kScratch, 2), 5);
}

TEST_F(SdoServices, AModeThatTheDriveDoesNotKnow) {
    EXPECT_EQ(write<int8_t>(kDrive, 0x6060, 0, 7), 32795U); // mapped: the process data count in OP
    request_state(2);
    EXPECT_EQ(write<int8_t>(kDrive, 0x6060, 0, 7), 32770U);
}

TEST_F(SdoServices, WhatIsForPreopIsRefusedInOp) {
    EXPECT_EQ(write<uint16_t>(kDrive, kScratch, 6, 1), 32795U);
    request_state(2);
    EXPECT_EQ(write<uint16_t>(kDrive, kScratch, 6, 1), 0U);
}

TEST_F(SdoServices, AssignedPdosAreForPreop) {
    EXPECT_EQ(write<uint8_t>(kDrive, 0x1C12, 0, 0), 32795U);
    request_state(2);
    EXPECT_EQ(write<uint8_t>(kDrive, 0x1C12, 0, 0), 0U);
}

TEST_F(SdoServices, EntriesOfAListInUseAreLocked) {
    request_state(2);
    EXPECT_EQ(write<uint16_t>(kDrive, 0x1C12, 1, 0x1600), 33799U);
}

TEST_F(SdoServices, AnAbsentPdoCannotBeAssigned) {
    request_state(2);
    write<uint8_t>(kDrive, 0x1C12, 0, 0);
    EXPECT_EQ(write<uint16_t>(kDrive, 0x1C12, 1, 0x16FF), 32839U);
    EXPECT_EQ(write<uint16_t>(kDrive, 0x1C12, 1, 0x1A00), 32839U); // of the other direction
    EXPECT_EQ(write<uint16_t>(kDrive, 0x1C12, 1, 0x1600), 0U);
}

TEST_F(SdoServices, AListTakesNoMoreThanItHolds) {
    request_state(2);
    EXPECT_EQ(write<uint8_t>(kDrive, 0x1C12, 0, 33), 33806U);
}

TEST_F(SdoServices, FixedMappingsCannotBeWritten) {
    request_state(2);
    EXPECT_EQ(write<uint8_t>(kDrive, 0x1600, 0, 0), 33025U);
}

TEST_F(SdoServices, EntriesBehindTheCountAreAbsent) {
    EXPECT_EQ(upload(kDrive, 0x1C12, 1).status, 0U);
    EXPECT_EQ(upload(kDrive, 0x1C12, 2).status, 33805U);
}

// ---- complete access
// ------------------------------------------------------------------------------

TEST_F(SdoServices, CompleteUploadFromSubindex0HasThePaddedCount) {
    const Answer answer = upload(kDrive, 0x1018, 0, true);
    ASSERT_EQ(answer.payload.size(), 18U);
    EXPECT_EQ(answer.payload[0], 4);
    EXPECT_EQ(answer.payload[1], 0);
    EXPECT_EQ(answer.payload[2], 0x6E);
}

TEST_F(SdoServices, CompleteUploadFromSubindex1HasTheEntriesOnly) {
    const Answer answer = upload(kDrive, 0x1018, 1, true);
    ASSERT_EQ(answer.payload.size(), 16U);
    EXPECT_EQ(answer.payload[0], 0x6E);
}

TEST_F(SdoServices, CompleteUploadOfAListEndsAtItsCount) {
    EXPECT_EQ(upload(kDrive, 0x1C13, 0, true).payload, (Bytes{1, 0, 0x00, 0x1A}));
}

TEST_F(SdoServices, CompleteUploadShowsZerosForWhatIsWriteOnly) {
    write<uint16_t>(kDrive, kScratch, 5, 0xFFFF);
    const Answer answer = upload(kDrive, kScratch, 1, true);
    ASSERT_GT(answer.payload.size(), 20U);
    EXPECT_EQ(answer.payload[18], 0); // behind 4 + 2 + 8 + 4 bytes
    EXPECT_EQ(answer.payload[19], 0);
}

TEST_F(SdoServices, CompleteAccessFromSubindex2IsNotSupported) {
    EXPECT_EQ(upload(kDrive, 0x1018, 2, true).status, 33801U);
    EXPECT_EQ(download(kDrive, kScratch, 2, Bytes(4), true).status, 33801U);
}

TEST_F(SdoServices, CompleteAccessToAVariableIsNotSupported) {
    EXPECT_EQ(upload(kDrive, 0x1000, 0, true).status, 33801U);
    EXPECT_EQ(download(kDrive, 0x5F01, 0, {'x'}, true).status, 33801U);
}

TEST_F(SdoServices, CompleteDownloadWritesAList) {
    request_state(2);
    EXPECT_EQ(download(kDrive, 0x1C12, 0, {1, 0, 0x00, 0x16}, true).status, 0U);
    EXPECT_EQ(upload(kDrive, 0x1C12, 0, true).payload, (Bytes{1, 0, 0x00, 0x16}));
}

TEST_F(SdoServices, CompleteDownloadOfAListWithoutItsCount) {
    request_state(2);
    EXPECT_EQ(download(kDrive, 0x1C12, 1, {0x00, 0x16}, true).status, 0U);
    EXPECT_EQ(read<uint8_t>(kDrive, 0x1C12, 0), 1);
}

TEST_F(SdoServices, CompleteDownloadOfAListThatIsShorterThanItsCount) {
    request_state(2);
    EXPECT_EQ(download(kDrive, 0x1C12, 0, {2, 0, 0x00, 0x16}, true).status, 34358U);
}

TEST_F(SdoServices, CompleteDownloadMayEndBehindAnyEntry) {
    EXPECT_EQ(download(kDrive, kScratch, 1, {9, 0, 0, 0, 5, 0}, true).status, 0U);
    EXPECT_EQ(read<uint32_t>(kDrive, kScratch, 1), 9U);
    EXPECT_EQ(read<int16_t>(kDrive, kScratch, 2), 5);
}

TEST_F(SdoServices, CompleteDownloadThatEndsInsideAnEntry) {
    EXPECT_EQ(download(kDrive, kScratch, 1, {9, 0, 0, 0, 5}, true).status, 34358U);
    EXPECT_EQ(read<uint32_t>(kDrive, kScratch, 1), 0U); // nothing of it is taken
}

TEST_F(SdoServices, CompleteDownloadOfTooMuch) {
    request_state(2);
    EXPECT_EQ(download(kDrive, kScratch, 1, Bytes(60), true).status, 33804U);
}

TEST_F(SdoServices, CompleteDownloadOfAReadOnlyRecord) {
    EXPECT_EQ(download(kDrive, 0x1018, 0, Bytes(18), true).status, 33025U);
}

// ---- slaves that cannot answer
// --------------------------------------------------------------------

TEST_F(SdoServices, SlaveWithoutMailbox) {
    EXPECT_EQ(upload(kSimple, 0x1000, 0).status, 32818U);
    EXPECT_EQ(download(kSimple, 0x1000, 0, {0}).status, 32818U);
}

TEST_F(SdoServices, SlaveIndexOutOfRange) {
    EXPECT_EQ(upload(4, 0x1000, 0).status, 32778U);
    EXPECT_EQ(download(4, 0x1000, 0, {0}).status, 32778U);
}

TEST_F(SdoServices, NoMailboxInInit) {
    request_state(1);
    EXPECT_EQ(upload(kDrive, 0x1000, 0).status, 32795U);
}

TEST_F(SdoServices, NoCoeInBoot) {
    request_state(1);
    request_state(3);
    EXPECT_EQ(upload(kDrive, 0x1000, 0).status, 32795U);
}

TEST_F(SdoServices, UnpluggedSlave) {
    fault(kDrive, "unplug");
    EXPECT_EQ(upload(kDrive, 0x1000, 0).status, 32794U);
}

TEST_F(SdoServices, StoppedBus) {
    bench_.ask(kStop);
    EXPECT_EQ(upload(kDrive, 0x1000, 0).status, 32826U);
}

TEST(SdoServicesWithoutBus, AreRefused) {
    FirmwareBench bench(BoardBench::quick());
    EXPECT_EQ(bench.ask(13, Bytes(272)).status, 32775U);
    EXPECT_EQ(bench.ask(12, Bytes(16)).status, 32775U);
}

TEST_F(SdoServices, SlaveWithoutCoe) {
    bench_.ask(kStop);
    std::string eni = usual_eni();
    const std::string list = "<Protocol>CoE</Protocol>";
    eni.erase(eni.rfind(list), list.size());
    start(eni);
    EXPECT_EQ(upload(kCoupler, 0x1000, 0).status, 32819U);
}

// ---- requests
// -------------------------------------------------------------------------------------

TEST_F(SdoServices, UploadOfAnotherLengthIsRefused) {
    EXPECT_EQ(bench_.ask(kUpload, Bytes(271)).status, 32770U);
}

TEST_F(SdoServices, DownloadWithoutARecordIsRefused) {
    EXPECT_EQ(bench_.ask(kDownload, Bytes(15)).status, 32770U);
    EXPECT_EQ(bench_.ask(kDownload).status, 32770U);
}

TEST_F(SdoServices, DownloadOf257BytesIsRefused) {
    EXPECT_EQ(download(kDrive, 0x5F02, 0, Bytes(257)).status, 32770U);
}

TEST_F(SdoServices, DownloadWhoseLengthIsWrongIsRefused) {
    Bytes request = sdo(kDrive, kScratch, 1, Bytes(4));
    request[8] = 3;
    EXPECT_EQ(bench_.ask(kDownload, request).status, 34360U);
}

TEST_F(SdoServices, TheSecondaryMailboxHasNoSdo) {
    EXPECT_EQ(bench_.request(0, false, kUpload, upload_request(kDrive, 0x1000, 0)).status, 32772U);
}

// ---- time
// -----------------------------------------------------------------------------------------

TEST_F(SdoServices, ASilentSlaveTimesOut) {
    fault(kDrive, "mailbox-silent");
    post(true, kUpload, upload_request(kDrive, 0x1000, 0, false, 200));
    pass(199ms);
    EXPECT_FALSE(bench_.pop(0, true));
    pass(1ms);
    const auto answer = bench_.pop(0, true);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 32792U);
}

TEST_F(SdoServices, ASilentSlaveMayRecoverInTime) {
    fault(kDrive, "mailbox-silent");
    post(true, kUpload, upload_request(kDrive, 0x1000, 0, false, 200));
    pass(100ms);
    fault(kDrive, "none");
    const Answer answer = bench_.wait(0, true);
    EXPECT_EQ(answer.status, 0U);
    EXPECT_EQ(value_of<uint32_t>(answer.payload), 0x00020192U);
}

TEST_F(SdoServices, OthersAreServedWhileASlaveIsSilent) {
    fault(kDrive, "mailbox-silent");
    post(true, kUpload, upload_request(kDrive, 0x1000, 0, false, 200));
    EXPECT_EQ(upload(kAnalog, 0x1000, 0).status, 0U);
}

TEST_F(SdoServices, NoTimeoutGivenMeansThreeSeconds) {
    fault(kDrive, "mailbox-silent");
    post(true, kUpload, upload_request(kDrive, 0x1000, 0, false, 0));
    pass(2999ms);
    EXPECT_FALSE(bench_.pop(0, true));
    pass(1ms);
    EXPECT_TRUE(bench_.pop(0, true));
}

TEST_F(SdoServices, ASlowSlaveTakesTwentyMillisecondsForAnExchange) {
    fault(kDrive, "mailbox-slow");
    post(true, kUpload, upload_request(kDrive, 0x1000, 0));
    pass(19ms);
    EXPECT_FALSE(bench_.pop(0, true));
    pass(1ms);
    EXPECT_TRUE(bench_.pop(0, true));
}

// A mailbox of 128 bytes carries 112 bytes first and 119 in each segment.
TEST_F(SdoServices, LongDataTakeAnExchangePerSegment) {
    fault(kDrive, "mailbox-slow");
    post(true, kDownload, sdo(kDrive, 0x5F02, 0, Bytes(256)));
    pass(59ms);
    EXPECT_FALSE(bench_.pop(0, true));
    pass(1ms);
    const auto answer = bench_.pop(0, true);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 0U);
}

TEST_F(SdoServices, ASlowSlaveTimesOutWhenItsExchangesTakeTooLong) {
    fault(kDrive, "mailbox-slow");
    post(true, kUpload, upload_request(kDrive, 0x5F03, 0, false, 500)); // 35 exchanges
    pass(500ms);
    const auto answer = bench_.pop(0, true);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 32792U);
}

TEST_F(SdoServices, SixtyFourMayWaitForASilentSlave) {
    fault(kDrive, "mailbox-silent");
    for (int i = 0; i < 64; ++i) {
        post(true, kUpload, upload_request(kDrive, 0x1000, 0));
    }
    EXPECT_FALSE(bench_.pop(0, true));
    EXPECT_EQ(upload(kDrive, 0x1000, 0).status, 32831U);
    EXPECT_EQ(upload(kAnalog, 0x1000, 0).status, 0U); // nothing waits for this one
}

TEST_F(SdoServices, AStopEndsWhatStillWaits) {
    fault(kDrive, "mailbox-silent");
    post(true, kUpload, upload_request(kDrive, 0x1000, 0));
    post(true, kStop, {});
    const Answer answer = bench_.wait(0, true);
    EXPECT_EQ(answer.status, 32833U);
}

TEST_F(SdoServices, PullingTheCableEndsWhatStillWaits) {
    fault(kDrive, "mailbox-silent");
    post(true, kUpload, upload_request(kDrive, 0x1000, 0));
    fault(kDrive, "unplug");
    EXPECT_EQ(bench_.wait(0, true).status, 32794U);
}

TEST_F(SdoServices, SlavesWithoutMailboxHaveNoMailboxFaults) {
    EXPECT_FALSE(bench_.firmware().slave_fault(0, kSimple, "mailbox-silent"));
}

TEST_F(SdoServices, TheLogNamesTheObjectAndTheAbort) {
    upload(kDrive, 0x2FFF, 7);
    EXPECT_TRUE(bench_.logged("slave 0, 0x2FFF:07: 0x06020000 (no such object)"));
}
