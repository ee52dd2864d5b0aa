// FoE and the clean-up of card files, asked slot by slot.
#include "card/mailbox_fixture.h"

#include "vcard/firmware/slave_files.h"

#include <gmock/gmock.h>

using namespace tarn::test;
using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

class FoeServices : public MailboxTest {
  protected:
    void SetUp() override { start(); }

    // A file through the slave and back.
    void expect_kept(uint16_t slave, const std::string &name, const Bytes &content) {
        ASSERT_EQ(send_card_file(content), 0U);
        ASSERT_EQ(foe_write(slave, name), 0U);
        remove("__foe_temp.bin");
        ASSERT_EQ(foe_read(slave, name), 0U);
        EXPECT_TRUE(card_file() == content);
    }
};

} // namespace

TEST_F(FoeServices, EverySlaveHasAFileToRead) {
    for (const uint16_t slave : {kDrive, kAnalog, kCoupler}) {
        ASSERT_EQ(foe_read(slave, "device.txt"), 0U);
        const Bytes content = card_file();
        EXPECT_THAT(std::string(content.begin(), content.end()), HasSubstr("vendor 0x7461726E"));
    }
}

TEST_F(FoeServices, WhatIsWrittenIsReadBack) {
    expect_kept(kDrive, "parameters.bin", {1, 2, 3, 4, 5});
}

TEST_F(FoeServices, EmptyFilesAreKept) {
    expect_kept(kDrive, "empty", {});
}

TEST_F(FoeServices, FilesAreReplaced) {
    expect_kept(kDrive, "file", Bytes(1000, 1));
    expect_kept(kDrive, "file", Bytes(10, 2));
}

TEST_F(FoeServices, ReadingAndWritingHaveNoReplyData) {
    EXPECT_TRUE(bench_.request(0, false, kFoeRead, foe(kDrive, "device.txt")).payload.empty());
}

TEST_F(FoeServices, SlavesHaveFilesOfTheirOwn) {
    expect_kept(kDrive, "file", {1});
    EXPECT_EQ(foe_read(kAnalog, "file"), 32848U);
}

TEST_F(FoeServices, FilesOutliveTheBus) {
    expect_kept(kDrive, "file", {1, 2});
    bench_.ask(kStop);
    start();
    ASSERT_EQ(foe_read(kDrive, "file"), 0U);
    EXPECT_EQ(card_file(), (Bytes{1, 2}));
}

TEST_F(FoeServices, AnotherSlaveInTheSamePlaceHasFilesOfItsOwn) {
    expect_kept(kDrive, "file", {1, 2});
    bench_.ask(kStop);
    tarn::vcard::MakeEniOptions options;
    options.slaves = {{"ai2"}};
    start(tarn::vcard::make_eni(options));
    EXPECT_EQ(foe_read(kDrive, "file"), 32848U);
}

TEST_F(FoeServices, ASlaveThatComesBackHasItsFilesStill) {
    expect_kept(kDrive, "file", {1, 2});
    bench_.ask(kStop);
    tarn::vcard::MakeEniOptions options;
    options.slaves = {{"ai2"}};
    start(tarn::vcard::make_eni(options));
    EXPECT_EQ(foe_read(kDrive, "device.txt"), 0U); // of the one in its place
    bench_.ask(kStop);
    start();
    ASSERT_EQ(foe_read(kDrive, "file"), 0U);
    EXPECT_EQ(card_file(), (Bytes{1, 2}));
}

TEST_F(FoeServices, NamesOf127CharactersAreNames) {
    expect_kept(kDrive, std::string(127, 'n'), {7});
}

TEST_F(FoeServices, NamesThatDoNotEndAreRefused) {
    EXPECT_EQ(foe_read(kDrive, std::string(128, 'n')), 32770U);
    EXPECT_EQ(
        bench_.request(0, false, kFoeRead, foe(kDrive, "device.txt", std::string(128, 'c'))).status,
        32770U);
}

TEST_F(FoeServices, EmptyNamesAreRefused) {
    EXPECT_EQ(foe_read(kDrive, ""), 32770U);
}

TEST_F(FoeServices, RequestsOfAnotherLengthAreRefused) {
    EXPECT_EQ(bench_.request(0, false, kFoeRead, Bytes(257)).status, 32770U);
    EXPECT_EQ(bench_.request(0, false, kFoeWrite, Bytes(259)).status, 32770U);
}

TEST_F(FoeServices, ThePrimaryMailboxHasNoFoe) {
    EXPECT_EQ(bench_.ask(kFoeRead, foe(kDrive, "device.txt")).status, 32772U);
}

// ---- what slaves refuse
// ---------------------------------------------------------------------------

TEST_F(FoeServices, AbsentFile) {
    EXPECT_EQ(foe_read(kDrive, "nothing"), 32848U);
    EXPECT_TRUE(bench_.logged("slave 0, file \"nothing\": not found"));
}

TEST_F(FoeServices, AFileThatIsNotReadLeavesNothingOnTheCard) {
    foe_read(kDrive, "nothing");
    uint32_t status = 0;
    card_file(&status);
    EXPECT_NE(status, 0U);
}

TEST_F(FoeServices, ReadOnlyFile) {
    send_card_file({1});
    EXPECT_EQ(foe_write(kDrive, "device.txt"), 32837U);
}

TEST_F(FoeServices, ProtectedFilesNeedAPasswordThatNobodySends) {
    EXPECT_EQ(foe_read(kDrive, "service.dat"), 33281U);
    send_card_file({1});
    EXPECT_EQ(foe_write(kDrive, "service.dat"), 33281U);
}

TEST_F(FoeServices, FirmwareIsWrittenInBootOnly) {
    send_card_file({1, 2, 3});
    EXPECT_EQ(foe_write(kDrive, "firmware.efw"), 32795U);
    request_state(1);
    request_state(3);
    EXPECT_EQ(foe_write(kDrive, "firmware.efw"), 0U);
    ASSERT_EQ(foe_read(kDrive, "firmware.efw"), 0U);
    EXPECT_EQ(card_file(), (Bytes{1, 2, 3}));
}

TEST_F(FoeServices, ASlaveHasRoomFor32MiB) {
    send_card_file(Bytes(20U << 20));
    EXPECT_EQ(foe_write(kDrive, "first"), 0U);
    EXPECT_EQ(foe_write(kDrive, "second"), 32849U);
    EXPECT_EQ(foe_write(kDrive, "first"), 0U); // in place of the first
    EXPECT_EQ(foe_write(kAnalog, "second"), 0U);
}

TEST_F(FoeServices, AFileOf25MiBFits) {
    send_card_file(Bytes(25U << 20));
    EXPECT_EQ(foe_write(kDrive, "large"), 0U);
}

TEST_F(FoeServices, AFileOf25MiBAndOneByteIsTooLarge) {
    send_card_file(Bytes((25U << 20) + 1));
    EXPECT_EQ(foe_write(kDrive, "large"), 32849U);
}

TEST_F(FoeServices, WritingNeedsTheCardFile) {
    EXPECT_EQ(foe_write(kDrive, "file"), 32850U);
}

// ---- slaves that cannot answer
// --------------------------------------------------------------------

TEST_F(FoeServices, RefusedInInit) {
    request_state(1);
    EXPECT_EQ(foe_read(kDrive, "device.txt"), 32795U);
}

TEST_F(FoeServices, ServedInPreop) {
    request_state(2);
    EXPECT_EQ(foe_read(kDrive, "device.txt"), 0U);
}

TEST_F(FoeServices, SlaveWithoutMailbox) {
    EXPECT_EQ(foe_read(kSimple, "device.txt"), 32818U);
}

TEST_F(FoeServices, SlaveWithoutFoe) {
    bench_.ask(kStop);
    std::string eni = usual_eni();
    const std::string protocol = "<Protocol>FoE</Protocol>";
    eni.erase(eni.rfind(protocol), protocol.size());
    start(eni);
    EXPECT_EQ(foe_read(kCoupler, "device.txt"), 33584U);
    EXPECT_EQ(foe_read(kDrive, "device.txt"), 0U);
}

TEST_F(FoeServices, UnpluggedSlave) {
    fault(kDrive, "unplug");
    EXPECT_EQ(foe_read(kDrive, "device.txt"), 32794U);
}

TEST_F(FoeServices, SlaveIndexOutOfRange) {
    EXPECT_EQ(foe_read(4, "device.txt"), 32778U);
}

TEST_F(FoeServices, StoppedBus) {
    bench_.ask(kStop);
    EXPECT_EQ(foe_read(kDrive, "device.txt"), 32826U);
}

// ---- time
// -----------------------------------------------------------------------------------------

TEST_F(FoeServices, ABusySlaveGoesOnLater) {
    fault(kDrive, "foe-busy");
    post(false, kFoeRead, foe(kDrive, "device.txt"));
    pass(4999ms);
    EXPECT_FALSE(bench_.pop(0, false));
    fault(kDrive, "none");
    EXPECT_EQ(bench_.wait(0, false).status, 0U);
    EXPECT_FALSE(card_file().empty());
}

TEST_F(FoeServices, ASlaveThatStaysBusyIsGivenUpAfterFiveSeconds) {
    fault(kDrive, "foe-busy");
    post(false, kFoeRead, foe(kDrive, "device.txt"));
    pass(4999ms);
    EXPECT_FALSE(bench_.pop(0, false));
    pass(1ms);
    const auto answer = bench_.pop(0, false);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 32831U);
}

TEST_F(FoeServices, ASlaveThatIsBusyForFoeAnswersSdo) {
    fault(kDrive, "foe-busy");
    EXPECT_EQ(upload(kDrive, 0x1000, 0).status, 0U);
}

TEST_F(FoeServices, ASilentSlaveTimesOutAfterTenSeconds) {
    fault(kDrive, "mailbox-silent");
    post(false, kFoeRead, foe(kDrive, "device.txt"));
    pass(9999ms);
    EXPECT_FALSE(bench_.pop(0, false));
    pass(1ms);
    const auto answer = bench_.pop(0, false);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 32792U);
}

// Opening, then 116 bytes in each exchange, the last of them not full.
TEST_F(FoeServices, ASlowSlaveTakesTwentyMillisecondsForAnExchange) {
    send_card_file(Bytes(232));
    fault(kDrive, "mailbox-slow");
    post(false, kFoeWrite, foe(kDrive, "file"));
    pass(79ms);
    EXPECT_FALSE(bench_.pop(0, false));
    pass(1ms);
    const auto answer = bench_.pop(0, false);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 0U);
}

TEST_F(FoeServices, TheCardServesOnWhileASlaveIsBusy) {
    fault(kDrive, "foe-busy");
    post(false, kFoeRead, foe(kDrive, "device.txt"));
    EXPECT_EQ(upload(kAnalog, 0x1000, 0).status, 0U);
    EXPECT_EQ(foe_read(kAnalog, "device.txt"), 0U);
}

// ---- clean-up
// -------------------------------------------------------------------------------------

TEST_F(FoeServices, CleanUpRemovesTheCardFile) {
    send_card_file({1});
    EXPECT_EQ(remove("__foe_temp.bin"), 0U);
    uint32_t status = 0;
    card_file(&status);
    EXPECT_EQ(status, 32848U);
}

TEST_F(FoeServices, CleanUpOfAnUnknownFile) {
    EXPECT_EQ(remove("__foe_temp.bin"), 32848U);
    EXPECT_EQ(remove("../eni_temp.xml"), 32848U);
}

TEST_F(FoeServices, CleanUpLeavesOtherFiles) {
    send_card_file({1});
    remove("__foe_temp.bin");
    EXPECT_EQ(bench_.ask(1, open_record("eni_temp.xml", 'r')).status, 0U);
}

TEST_F(FoeServices, CleanUpWithoutAName) {
    EXPECT_EQ(bench_.request(0, false, kRemove, {}).status, 32770U);
    EXPECT_EQ(bench_.request(0, false, kRemove, {0}).status, 32770U);
    EXPECT_EQ(bench_.request(0, false, kRemove, Bytes(15, 'x')).status, 32770U);
}

TEST_F(FoeServices, CleanUpEndsATransferUnderWay) {
    fault(kDrive, "foe-busy");
    post(false, kFoeRead, foe(kDrive, "device.txt"));
    post(false, kRemove, Bytes{'_', 0});
    EXPECT_EQ(bench_.wait(0, false).status, 32833U); // of the transfer
    EXPECT_EQ(bench_.wait(0, false).status, 32848U);
    fault(kDrive, "none");
    bench_.serve();
    uint32_t status = 0;
    card_file(&status);
    EXPECT_EQ(status, 32848U);
}

// ---- the slave's side
// -----------------------------------------------------------------------------

TEST(SlaveFiles, ASlaveKeeps32Files) {
    using namespace tarn::vcard;
    SlaveFiles files;
    const SlaveConfig config;
    const FoeSlave slave{0, config, 8};
    const auto content = std::make_shared<const FileContent>(FileContent{1});
    for (int i = 3; i < 32; ++i) { // three are there at first
        EXPECT_EQ(files.write(slave, std::to_string(i), content), FoeAnswer::Done);
    }
    EXPECT_EQ(files.write(slave, "one more", content), FoeAnswer::DiskFull);
    EXPECT_EQ(files.write(slave, "3", content), FoeAnswer::Done);
}

TEST(SlaveFiles, AllSlavesTogetherKeep256MiB) {
    using namespace tarn::vcard;
    SlaveFiles files;
    const SlaveConfig config;
    // The same bytes each time: they count for each slave.
    const auto content = std::make_shared<const FileContent>(FileContent(25U << 20));
    uint32_t slave = 0;
    while (files.write({slave, config, 8}, "large", content) == FoeAnswer::Done) {
        ++slave;
    }
    EXPECT_EQ(slave, 10U);
}
