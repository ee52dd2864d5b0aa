// Opening a board: finding it, its versions, and what its handle holds.
#include "board/board_handle.h"
#include "layout/card_memory_map.h"
#include "pci_tarn/pci_tarn.h"
#include "support/access_recorder.h"
#include "support/capture.h"
#include "support/no_memory.h"
#include "support/virtual_card.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::IsEmpty;

vcard::CardConfig named(const char *name, uint32_t alias = 0) {
    vcard::CardConfig config = VirtualCards::default_card();
    config.name = name;
    config.alias = alias;
    return config;
}

BoardNode node_of(const char *id = "ID0") {
    BoardNode node = {};
    EXPECT_EQ(getBoardHandle(id, &node), 0U);
    return node;
}

uint8_t *bar(uint32_t index) {
    return static_cast<uint8_t *>(node_of().bar[index]);
}

void poke(uint32_t offset, uint32_t value) {
    memcpy(bar(2) + offset, &value, sizeof value);
}

uint32_t peek(uint32_t offset) {
    uint32_t value;
    memcpy(&value, bar(2) + offset, sizeof value);
    return value;
}

void poke_firmware_version(const char *text) {
    char field[32] = {};
    memcpy(field, text, std::min(strlen(text), sizeof field));
    memcpy(bar(2) + 0x008, field, sizeof field);
}

struct Opened {
    uint32_t status;
    BoardHandle *handle;
    std::string printed;
};

Opened open(const char *name = "ID0") {
    int poison = 0;
    Opened opened = {0, reinterpret_cast<BoardHandle *>(&poison), {}};
    const StdoutCapture capture;
    opened.status = BoardOpen(&opened.handle, name);
    opened.printed = capture.text();
    return opened;
}

// ---- finding the card --------------------------------------------------------------------------

class BoardOpening : public testing::Test {
  protected:
    ~BoardOpening() override { BoardClose(handle_); }

    BoardHandle *open_board(const char *name = "ID0") {
        EXPECT_EQ(BoardOpen(&handle_, name), 0U);
        return handle_;
    }

    // Opens with these version words.
    Opened open_with_words(uint32_t config, uint32_t mailbox) {
        poke(0x004, config);
        poke(0x1000, mailbox);
        const Opened opened = open();
        handle_ = opened.handle;
        return opened;
    }

    VirtualCards cards_{{named("first", 3), named("second", 9)}};
    BoardHandle *handle_ = nullptr;
};

TEST_F(BoardOpening, FindsACardByPosition) {
    EXPECT_STREQ(open_board("ID1")->name, "kpcidev1");
}

TEST_F(BoardOpening, FindsACardByAlias) {
    EXPECT_STREQ(open_board("AL9")->name, "kpcidev1");
}

TEST_F(BoardOpening, FindsACardByName) {
    EXPECT_STREQ(open_board("second")->name, "kpcidev1");
}

TEST_F(BoardOpening, PrintsNothingOnSuccess) {
    const Opened opened = open();
    EXPECT_EQ(opened.status, 0U);
    EXPECT_EQ(opened.printed, "");
    BoardClose(opened.handle);
}

TEST_F(BoardOpening, UnknownNameGives80004AndANullHandle) {
    const Opened opened = open("third");
    EXPECT_EQ(opened.status, 80004U);
    EXPECT_EQ(opened.handle, nullptr);
}

TEST_F(BoardOpening, PositionBeyondTheLastCardGives80004) {
    EXPECT_EQ(open("ID2").status, 80004U);
}

TEST_F(BoardOpening, UnknownAliasGives80004) {
    EXPECT_EQ(open("AL4").status, 80004U);
}

TEST_F(BoardOpening, EmptyNameGives80004) {
    EXPECT_EQ(open("").status, 80004U);
}

TEST_F(BoardOpening, NullNameGives80004AndANullHandle) {
    const Opened opened = open(nullptr);
    EXPECT_EQ(opened.status, 80004U);
    EXPECT_EQ(opened.handle, nullptr);
}

TEST_F(BoardOpening, ByPositionNeedsNoConfigurationMagic) {
    poke(0x000, 0);
    open_board("ID0");
    BoardInfo info;
    EXPECT_EQ(BoardGetInfo(handle_, &info), 32771U);
}

class UnmappedBar : public BoardOpening, public testing::WithParamInterface<int32_t> {};

TEST_P(UnmappedBar, Gives80004AndSaysSo) {
    node_of();
    ASSERT_EQ(releaBarPtr("kpcidev0", GetParam()), 0U);
    const Opened opened = open();
    EXPECT_EQ(opened.status, 80004U);
    EXPECT_EQ(opened.handle, nullptr);
    EXPECT_EQ(opened.printed, "get bar addr error!\r\n");
}

INSTANTIATE_TEST_SUITE_P(Bars, UnmappedBar, testing::Values(1, 2));

TEST_F(BoardOpening, WithoutMemoryGives34359AndLeavesTheHandleUntouched) {
    if (*TARN_SANITIZE != '\0') {
        GTEST_SKIP() << "a sanitizer brings an allocator of its own";
    }
    node_of();
    int poison = 0;
    auto *handle = reinterpret_cast<BoardHandle *>(&poison);
    uint32_t status = 0;
    std::string printed;
    {
        const StdoutCapture capture;
        {
            const NoMemory none;
            status = BoardOpen(&handle, "ID0");
        }
        printed = capture.text();
    }
    EXPECT_EQ(status, 34359U);
    EXPECT_EQ(handle, reinterpret_cast<BoardHandle *>(&poison));
    EXPECT_EQ(printed,
              "malloc error.(" + std::to_string(sizeof(BoardHandle)) + ")[BoardOpen:740]\r\n");
}

// ---- versions ----------------------------------------------------------------------------------

std::string version_error(const char *config, const char *mailbox, const char *advice) {
    return "[libpci_tarn] BoardOpen version error\r\n"
           "device Config  compatible version: 0x" +
           std::string(config) +
           " != libpci_tarn Config  compatible version: 0x06000000\r\n"
           "device Mailbox compatible version: 0x" +
           mailbox + " != libpci_tarn Mailbox compatible version: 0x00000001\r\n" + advice + "\r\n";
}

constexpr const char *kUpdateLibrary = "Please update libpci_tarn";
constexpr const char *kUpdateFirmware = "Please update device's firmware";

TEST_F(BoardOpening, VersionWordsThatAreNotSetPass) {
    EXPECT_EQ(open_with_words(0, 0).status, 0U);
}

TEST_F(BoardOpening, OuterBytesAloneDoNotSetAVersionWord) {
    EXPECT_EQ(open_with_words(0x070000FF, 0x050000FF).status, 0U);
}

TEST_F(BoardOpening, ExpectedVersionWordsPass) {
    EXPECT_EQ(open_with_words(0x00060000, 0x00000101).status, 0U);
}

TEST_F(BoardOpening, UpperByteOfAVersionWordIsIgnored) {
    EXPECT_EQ(open_with_words(0x07060000, 0x99000103).status, 0U);
}

TEST_F(BoardOpening, ConfigurationWordWithALowByteFails) {
    const Opened opened = open_with_words(0x00060001, 0x00000101);
    EXPECT_EQ(opened.status, 80012U);
    EXPECT_EQ(opened.handle, nullptr);
    EXPECT_EQ(opened.printed, version_error("00000600", "00000001", kUpdateFirmware));
}

TEST_F(BoardOpening, OlderConfigurationFails) {
    const Opened opened = open_with_words(0x00050000, 0);
    EXPECT_EQ(opened.status, 80012U);
    EXPECT_EQ(opened.printed, version_error("05000000", "00000001", kUpdateFirmware));
}

TEST_F(BoardOpening, MailboxWordWithoutALowByteFails) {
    const Opened opened = open_with_words(0x00060000, 0x00000100);
    EXPECT_EQ(opened.status, 80012U);
    EXPECT_EQ(opened.printed, version_error("06000000", "00010000", kUpdateFirmware));
}

TEST_F(BoardOpening, OlderMailboxAsksForNewerFirmware) {
    const Opened opened = open_with_words(0x00060000, 0x00000200);
    EXPECT_EQ(opened.status, 80012U);
    EXPECT_EQ(opened.printed, version_error("06000000", "00020000", kUpdateFirmware));
}

TEST_F(BoardOpening, NewerMailboxAsksForANewerLibrary) {
    const Opened opened = open_with_words(0x00060000, 0x00000204);
    EXPECT_EQ(opened.status, 80012U);
    EXPECT_EQ(opened.printed, version_error("06000000", "00000002", kUpdateLibrary));
}

TEST_F(BoardOpening, LowByteOfThreeStillAsksForNewerFirmware) {
    EXPECT_EQ(open_with_words(0x00060000, 0x00000203).printed,
              version_error("06000000", "00000002", kUpdateFirmware));
}

TEST_F(BoardOpening, UpperByteOfTheMailboxWordAsksForANewerLibrary) {
    EXPECT_EQ(open_with_words(0x00060000, 0x01000202).printed,
              version_error("06000000", "00000002", kUpdateLibrary));
}

TEST_F(BoardOpening, AdviceLooksAtTheMailboxEvenWhenTheConfigurationFailed) {
    EXPECT_EQ(open_with_words(0x00050000, 0x00000104).printed,
              version_error("05000000", "00000001", kUpdateLibrary));
}

TEST_F(BoardOpening, CheckVersionPrintsOnlyWhenAsked) {
    open_board();
    poke(0x004, 0x00060001);
    const StdoutCapture capture;
    EXPECT_EQ(BoardCheckVersion(handle_, 0), 80012U);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(BoardCheckVersion(handle_, 1), 80012U);
    EXPECT_EQ(capture.text(), version_error("00000600", "00000001", kUpdateFirmware));
}

TEST_F(BoardOpening, CheckVersionPasses) {
    open_board();
    EXPECT_EQ(BoardCheckVersion(handle_, 1), 0U);
}

TEST_F(BoardOpening, StructVersionIsTheRawMailboxWord) {
    open_board();
    EXPECT_EQ(BoardGetStructVersion(handle_), 0x00000103U);
    poke(0x1000, 0x12345678);
    EXPECT_EQ(BoardGetStructVersion(handle_), 0x12345678U);
}

struct VersionText {
    const char *text;
    uint32_t packed;
};

class FirmwareVersion : public BoardOpening, public testing::WithParamInterface<VersionText> {};

TEST_P(FirmwareVersion, IsPackedFromItsText) {
    poke_firmware_version(GetParam().text);
    EXPECT_EQ(open_board()->firmware_version, GetParam().packed);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, FirmwareVersion,
    testing::Values(VersionText{"1.12.12", 0x010C0C00}, VersionText{"1.9.1", 0x01090100},
                    VersionText{"255.255.255", 0xFFFFFF00}, VersionText{"257.258.259", 0x01020300},
                    VersionText{"1.2.3-rc4", 0x01020300}, VersionText{"0.0.0", 0},
                    VersionText{"2.3", 0}, VersionText{"2.3.", 0}, VersionText{"v1.2.3", 0},
                    VersionText{"", 0}, VersionText{"-1.-1.-1", 0xFFFFFF00},
                    // fills the field, with no end inside it
                    VersionText{"1.2.0000000000000000000000000004", 0x01020400}));

// ---- what the handle holds ---------------------------------------------------------------------

TEST_F(BoardOpening, HandleHoldsTheRegistrysNode) {
    const BoardNode node = node_of("ID1");
    open_board("ID1");
    EXPECT_EQ(memcmp(handle_, &node, 128), 0);
    EXPECT_EQ(handle_->index, 1U);
    EXPECT_NE(handle_->driver, nullptr);
}

TEST_F(BoardOpening, TimeOutStartsAtTwentySeconds) {
    EXPECT_EQ(open_board()->timeout_ms, 20000U);
}

TEST_F(BoardOpening, ChannelIsTheSecondaryMailboxOfChannelZero) {
    // Words whose places and meanings differ from each other.
    const uint32_t in[4] = {0x100, 0x200, 64, 1};   // 0x1024: pointers, slots, size, mask
    const uint32_t out[4] = {0x300, 0x400, 128, 3}; // 0x1034
    memcpy(bar(2) + 0x1024, in, sizeof in);
    memcpy(bar(2) + 0x1034, out, sizeof out);
    const CommandChannel &channel = open_board()->channel;
    uint8_t *area = bar(2) + 0x1000;
    EXPECT_EQ(channel.in.pointers, reinterpret_cast<uint32_t *>(area + 0x100));
    EXPECT_EQ(channel.in.slots, area + 0x200);
    EXPECT_EQ(channel.in.slot_size, 64U);
    EXPECT_EQ(channel.in.mask, 1U);
    EXPECT_EQ(channel.out.pointers, reinterpret_cast<uint32_t *>(area + 0x300));
    EXPECT_EQ(channel.out.slots, area + 0x400);
    EXPECT_EQ(channel.out.slot_size, 128U);
    EXPECT_EQ(channel.out.mask, 3U);
    EXPECT_EQ(channel.doorbell, reinterpret_cast<uint32_t *>(bar(1) + 4));
    EXPECT_EQ(channel.interrupt, 1U);
    EXPECT_EQ(channel.device, handle_);
    EXPECT_EQ(channel.second_lock, nullptr);
}

TEST_F(BoardOpening, HandlesOfOneCardShareItsSecondaryMailboxLock) {
    BoardHandle *other = nullptr;
    open_board("ID1");
    ASSERT_EQ(BoardOpen(&other, "ID1"), 0U);
    EXPECT_NE(other, handle_);
    EXPECT_EQ(handle_->channel.lock, mailbox_mutex[1][0][1]);
    EXPECT_EQ(other->channel.lock, handle_->channel.lock);
    EXPECT_EQ(BoardClose(other), 0U);
}

TEST_F(BoardOpening, WritesNothingToTheCard) {
    node_of();
    const std::vector<uint8_t> header(bar(2) + 0x1000, bar(2) + 0x1000 + 0x220);
    open_board();
    EXPECT_EQ(std::vector<uint8_t>(bar(2) + 0x1000, bar(2) + 0x1000 + 0x220), header);
    EXPECT_THAT(cards_.card().seen(), IsEmpty());
}

TEST_F(BoardOpening, CloseLeavesTheMappingsOfTheRegistry) {
    BoardClose(open_board());
    handle_ = nullptr;
    EXPECT_EQ(peek(0), 0x5AA5C33CU);
    open_board();
}

TEST_F(BoardOpening, CanBeRepeatedAThousandTimes) {
    for (int i = 0; i < 1000; ++i) {
        BoardHandle *board = nullptr;
        ASSERT_EQ(BoardOpen(&board, "ID0"), 0U);
        ASSERT_EQ(BoardClose(board), 0U);
    }
}

// ---- information -------------------------------------------------------------------------------

TEST_F(BoardOpening, InfoTellsTextsAliasChannelsAndIdentification) {
    open_board("ID1");
    BoardInfo info = {};
    EXPECT_EQ(BoardGetInfo(handle_, &info), 0U);
    EXPECT_STREQ(info.name, "second");
    EXPECT_STREQ(info.model, VirtualCards::default_card().model.c_str());
    EXPECT_STREQ(info.firmware_version, VirtualCards::default_card().firmware_version.c_str());
    EXPECT_EQ(info.alias, 9U);
    EXPECT_EQ(info.channel_count, 2U);
    uint32_t id;
    memcpy(&id, handle_->bar[1], sizeof id);
    EXPECT_EQ(info.id, id);
}

TEST_F(BoardOpening, InfoWithoutARecordGives32770) {
    EXPECT_EQ(BoardGetInfo(open_board(), nullptr), 32770U);
}

TEST_F(BoardOpening, AliasIsTheSwitchReadInverted) {
    open_board();
    const uint32_t alias_register = ~0xC5U;
    memcpy(bar(1) + 0x18, &alias_register, sizeof alias_register);
    uint32_t alias = 77;
    EXPECT_EQ(BoardGetInfo_Alias(handle_, &alias), 0U);
    EXPECT_EQ(alias, 5U);
}

TEST_F(BoardOpening, AliasWithoutAPlaceGives32770) {
    EXPECT_EQ(BoardGetInfo_Alias(open_board(), nullptr), 32770U);
}

// ---- idle state of inputs and outputs ----------------------------------------------------------

std::vector<Access> zeros(size_t begin, size_t end) {
    std::vector<Access> stores;
    for (size_t offset = begin; offset < end; offset += 4) {
        stores.push_back(store_of(0, offset, 4, 0));
    }
    return stores;
}

TEST_F(BoardOpening, IoModuleResetStoresTheIdleStateInItsOrderAndWidths) {
    if (!can_record_accesses()) {
        GTEST_SKIP() << "a thread sanitizer accesses memory on behalf of the program";
    }
    open_board();
    cards_.stop(); // the card takes some of the words back
    memset(bar(1), 0xEE, 0x1000);
    AccessRecorder recorder({{bar(1), 0x1000}});
    const uint32_t status = __BoardIOModuleReset(handle_);
    const std::vector<Access> accesses = recorder.stop();
    EXPECT_EQ(status, 0U);

    std::vector<Access> expected = {store_of(0, 0x054, 2, 0), store_of(0, 0x058, 2, 0)};
    const auto then = [&](const std::vector<Access> &more) {
        expected.insert(expected.end(), more.begin(), more.end());
    };
    then(zeros(0x0D8, 0x118));
    then(zeros(0x18C, 0x1E4));
    then(zeros(0x120, 0x12C));
    then(zeros(0x154, 0x15C));
    then({store_of(0, 0x12C, 4, 1)});
    then(zeros(0x15C, 0x16C));
    then({store_of(0, 0x1E4, 1, 1)});
    EXPECT_EQ(accesses, expected);
}

TEST_F(BoardOpening, IoModuleResetStoresZerosAndTwoOnes) {
    open_board();
    cards_.stop(); // the card takes some of the words back
    memset(bar(1), 0xEE, 0x1000);
    EXPECT_EQ(__BoardIOModuleReset(handle_), 0U);
    std::vector<uint8_t> expected(0x1000, 0xEE);
    const auto zero = [&](size_t begin, size_t end) {
        std::fill(expected.data() + begin, expected.data() + end, uint8_t{0});
    };
    zero(0x054, 0x056);
    zero(0x058, 0x05A);
    zero(0x0D8, 0x118);
    zero(0x120, 0x130);
    zero(0x154, 0x16C);
    zero(0x18C, 0x1E4);
    expected[0x12C] = 1;
    expected[0x1E4] = 1;
    EXPECT_EQ(std::vector<uint8_t>(bar(1), bar(1) + 0x1000), expected);
}

} // namespace
