// Board registry against virtual cards.
#include "pci_tarn/driver.h"
#include "pci_tarn/status.h"
#include "support/capture.h"
#include "support/virtual_card.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

using namespace tarn;
using tarn::test::StdoutCapture;
using tarn::test::VirtualCards;

namespace {

std::vector<vcard::CardConfig> named_cards(const std::vector<std::string> &names) {
    std::vector<vcard::CardConfig> cards = VirtualCards::default_cards(names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        cards[i].name = names[i];
    }
    return cards;
}

// Name of the node that a board name finds; the status when it finds none.
std::string found(const char *name) {
    BoardNode node = {};
    const uint32_t status = getBoardHandle(name, &node);
    return status == 0 ? node.name : std::to_string(status);
}

void spoil_magic(const char *board) {
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle(board, &node), 0U);
    *static_cast<volatile uint32_t *>(node.bar[2]) = 0x12345678;
}

// ---- building the list -----------------------------------------------------------------------

TEST(Registry, NodeOfACardIsComplete) {
    const VirtualCards cards(VirtualCards::default_cards(3));
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle("ID2", &node), 0U);
    EXPECT_STREQ(node.name, "kpcidev2");
    EXPECT_EQ(node.index, 2U);
    EXPECT_NE(node.driver, nullptr);
    for (int bar = 0; bar < 3; ++bar) {
        EXPECT_NE(node.bar[bar], nullptr) << bar;
    }
    for (int bar = 3; bar < 6; ++bar) {
        EXPECT_EQ(node.bar[bar], nullptr) << bar;
    }
    for (const uint32_t length : node.bar_length) {
        EXPECT_EQ(length, 0U);
    }
}

TEST(Registry, OnlyTheFieldsBeforeNextAreCopied) {
    const VirtualCards cards(VirtualCards::default_cards(2));
    struct {
        uint8_t node[128];
        uint8_t behind[16];
    } copy;
    std::memset(&copy, 0xA5, sizeof(copy));
    ASSERT_EQ(getBoardHandle("ID0", &copy), 0U);
    for (const uint8_t byte : copy.behind) {
        EXPECT_EQ(byte, 0xA5);
    }
}

TEST(Registry, ListIsBuiltOnceAndNewCardsAreNotSeen) {
    VirtualCards cards;
    EXPECT_EQ(initDevice(), 0U);
    cards.stop();
    vcard::ServerOptions options;
    options.cards = VirtualCards::default_cards(3);
    options.log = [](const std::string &) {};
    const vcard::Server more(options);
    uint32_t count = 0;
    EXPECT_EQ(GetBoardCount(&count), 0U);
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(initDevice(), 0U);
    EXPECT_EQ(found("ID1"), "32771");
}

TEST(Registry, CountAloneDoesNotBuildTheList) {
    VirtualCards cards;
    uint32_t count = 0;
    EXPECT_EQ(GetBoardCount(&count), 0U);
    EXPECT_EQ(count, 1U);
    cards.stop();
    EXPECT_EQ(found("ID0"), "32771");
}

TEST(Registry, BuildingAgainListsEveryCardTwice) {
    const VirtualCards cards;
    EXPECT_EQ(found("ID1"), "32771");
    EXPECT_EQ(InitBoardHandleNode(), 0U);
    EXPECT_EQ(found("ID1"), "kpcidev0");
    EXPECT_EQ(found("tarn0"), "32771");
}

TEST(Registry, ThreadsThatRaceForTheFirstCallSeeTheWholeList) {
    const VirtualCards cards(VirtualCards::default_cards(4));
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] { EXPECT_EQ(found("ID3"), "kpcidev3"); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(found("ID4"), "32771");
}

TEST(Registry, EleventhCardHasIndexZero) {
    const VirtualCards cards(VirtualCards::default_cards(13));
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle("ID10", &node), 0U);
    EXPECT_STREQ(node.name, "kpcidev10");
    EXPECT_EQ(node.index, 0U);
    ASSERT_EQ(getBoardHandle("ID12", &node), 0U);
    EXPECT_EQ(node.index, 2U);
    ASSERT_EQ(getBoardHandle("ID9", &node), 0U);
    EXPECT_EQ(node.index, 9U);
}

// ---- a driver that is too old ----------------------------------------------------------------

class OldDriver : public testing::Test {
  protected:
    static vcard::ServerOptions options() {
        vcard::ServerOptions options;
        options.cards = VirtualCards::default_cards(1);
        options.driver_version = 0x0001000000000000;
        return options;
    }
    const VirtualCards cards_{options()};
};

const char kOldDriverText[] = "EtherCAT verify driver version failed!\r\nCurrent: 1.0.0.0\r\n"
                              "Support: 1.0.0.1\r\nplease check pci driver.";

TEST_F(OldDriver, IsReportedWithTheWholeMessageOnBothOutputs) {
    const StdoutCapture capture;
    testing::internal::CaptureStderr();
    const uint32_t status = initDevice();
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, 32782U);
    EXPECT_EQ(capture.text(),
              std::string("InitBoardNodeDataByIndex(238): ") + kOldDriverText + "\n");
    EXPECT_EQ(errors.find(std::string(kOldDriverText) + ": "), 0U) << errors;
}

TEST_F(OldDriver, OnlyTheFirstCallerLearnsOfIt) {
    BoardInfo info = {};
    EXPECT_EQ(getBoardInfoByIndex(0, &info), 1U);
    EXPECT_EQ(getBoardInfoByIndex(0, &info), 80019U);
    EXPECT_EQ(initDevice(), 0U);
    EXPECT_EQ(found("ID0"), "32771");
}

TEST_F(OldDriver, FirstLookUpFailsWithOne) {
    EXPECT_EQ(found("ID0"), "1");
}

TEST_F(OldDriver, FirstWaitFailsWithOne) {
    EXPECT_EQ(waitInterrupt(nullptr, 0, 0), 1U);
}

TEST_F(OldDriver, FirstDriverInfoFailsWithOneButTellsTheLibrarysVersion) {
    DriverInfo info = {};
    EXPECT_EQ(DriverGetInfo(&info), 1U);
    EXPECT_STREQ(info.library_version, "1.9.1[Jun 30 2025]");
    EXPECT_STREQ(info.driver_version, "");
    EXPECT_EQ(DriverGetInfo(&info), 0U);
    EXPECT_STREQ(info.driver_version, "1.0.0.0");
    EXPECT_EQ(info.board_count, 1U);
}

// ---- names -----------------------------------------------------------------------------------

TEST(RegistryName, PositionCountsFromZero) {
    const VirtualCards cards(VirtualCards::default_cards(2));
    EXPECT_EQ(found("ID0"), "kpcidev0");
    EXPECT_EQ(found("ID1"), "kpcidev1");
}

TEST(RegistryName, PositionEqualToTheCountFails) {
    const VirtualCards cards;
    EXPECT_EQ(found("ID1"), "32771");
}

TEST(RegistryName, PositionOutOfRangeFails) {
    const VirtualCards cards;
    EXPECT_EQ(found("ID2"), "32771");
    EXPECT_EQ(found("ID-1"), "32771");
    EXPECT_EQ(found("ID2147483647"), "32771");
    EXPECT_EQ(found("ID4294967296"), "32771");
    EXPECT_EQ(found("ID99999999999999999999999"), "32771");
}

TEST(RegistryName, PositionMayBeFollowedByAnything) {
    const VirtualCards cards(named_cards({"first", "ID0xyz"}));
    EXPECT_EQ(found("ID0xyz"), "kpcidev0");
    EXPECT_EQ(found("ID 1"), "kpcidev1");
}

TEST(RegistryName, PositionWithoutANumberIsTakenAsACardName) {
    const VirtualCards cards(named_cards({"first", "IDEA"}));
    EXPECT_EQ(found("IDEA"), "kpcidev1");
    EXPECT_EQ(found("ID"), "32771");
}

TEST(RegistryName, AliasFindsTheCardWithThatSwitch) {
    auto configs = VirtualCards::default_cards(3);
    configs[0].alias = 15;
    configs[1].alias = 4;
    const VirtualCards cards(configs);
    EXPECT_EQ(found("AL15"), "kpcidev0");
    EXPECT_EQ(found("AL4"), "kpcidev1");
    EXPECT_EQ(found("AL2"), "kpcidev2");
    EXPECT_EQ(found("AL3"), "32771");
    EXPECT_EQ(found("AL16"), "32771");
    EXPECT_EQ(found("AL-1"), "32771");
}

TEST(RegistryName, AliasThatTwoCardsShareFindsNone) {
    auto configs = VirtualCards::default_cards(3);
    configs[0].alias = 5;
    configs[2].alias = 5;
    const VirtualCards cards(configs);
    EXPECT_EQ(found("AL5"), "32771");
    EXPECT_EQ(found("ID0"), "kpcidev0");
    EXPECT_EQ(found("ID2"), "kpcidev2");
    EXPECT_EQ(found("tarn2"), "kpcidev2");
}

TEST(RegistryName, AliasWithoutANumberIsTakenAsACardName) {
    const VirtualCards cards(named_cards({"ALPHA"}));
    EXPECT_EQ(found("ALPHA"), "kpcidev0");
}

TEST(RegistryName, CardNameMustBeEqual) {
    const VirtualCards cards(named_cards({"axis", "axis2"}));
    EXPECT_EQ(found("axis"), "kpcidev0");
    EXPECT_EQ(found("axis2"), "kpcidev1");
    EXPECT_EQ(found("axi"), "32771");
    EXPECT_EQ(found("Axis"), "32771");
    EXPECT_EQ(found("axis "), "32771");
    EXPECT_EQ(found(""), "32771");
}

TEST(RegistryName, CardNameOfFullLengthIsFound) {
    const std::string name(31, 'n');
    const VirtualCards cards(named_cards({name}));
    EXPECT_EQ(found(name.c_str()), "kpcidev0");
    EXPECT_EQ(found((name + "n").c_str()), "32771");
}

TEST(RegistryName, CardNameThatTwoCardsBearFindsNone) {
    const VirtualCards cards(named_cards({"same", "other", "same"}));
    EXPECT_EQ(found("same"), "32771");
    EXPECT_EQ(found("other"), "kpcidev1");
}

TEST(RegistryName, CardWithoutConfigurationIsFoundByPositionOnly) {
    const VirtualCards cards(VirtualCards::default_cards(2));
    spoil_magic("ID1");
    EXPECT_EQ(found("tarn1"), "32771");
    EXPECT_EQ(found("AL1"), "32771");
    EXPECT_EQ(found("ID1"), "kpcidev1");
    EXPECT_EQ(found("tarn0"), "kpcidev0");
}

TEST(RegistryName, EveryUnreadableCardIsReportedDuringASearch) {
    const VirtualCards cards(VirtualCards::default_cards(3));
    spoil_magic("ID0");
    spoil_magic("ID2");
    const StdoutCapture capture;
    EXPECT_EQ(found("tarn1"), "kpcidev1");
    const std::string line =
        "getBoardInfoByBoardHandle(381): bar2->config.magic != BAR_CONFIG_DONE_MAGIC\n";
    EXPECT_EQ(capture.text(), line + line);
}

// ---- information -----------------------------------------------------------------------------

TEST(RegistryInfo, TellsWhatTheCardSays) {
    auto configs = VirtualCards::default_cards(2);
    configs[1].name = "axis";
    configs[1].model = "the model";
    configs[1].firmware_version = "1.12.7";
    configs[1].alias = 9;
    configs[1].channels = 1;
    const VirtualCards cards(configs);
    BoardInfo info = {};
    ASSERT_EQ(DriverEnumBoard(1, &info), 0U);
    EXPECT_STREQ(info.name, "axis");
    EXPECT_STREQ(info.model, "the model");
    EXPECT_STREQ(info.firmware_version, "1.12.7");
    EXPECT_EQ(info.alias, 9U);
    EXPECT_EQ(info.channel_count, 1U);
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle("ID1", &node), 0U);
    EXPECT_EQ(info.id, *static_cast<const uint32_t *>(node.bar[1]));
    EXPECT_EQ(getBoardAliasByBoardHandle(&node), 9U);
    BoardInfo same = {};
    EXPECT_EQ(getBoardInfoByIndex(1, &same), 0U);
    EXPECT_STREQ(same.name, "axis");
    EXPECT_EQ(getBoardInfoByBoardHandle(&node, nullptr), 32771U);
}

TEST(RegistryInfo, IndexBeyondTheLastCardIsRefused) {
    const VirtualCards cards(VirtualCards::default_cards(2));
    BoardInfo info = {};
    EXPECT_EQ(DriverEnumBoard(2, &info), 80019U);
    EXPECT_EQ(DriverEnumBoard(0xFFFFFFFF, &info), 80019U);
    EXPECT_EQ(DriverEnumBoard(0, nullptr), 32771U);
}

TEST(RegistryInfo, AliasFollowsTheSwitch) {
    const VirtualCards cards;
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle("ID0", &node), 0U);
    static_cast<volatile uint32_t *>(node.bar[1])[24 / 4] = 0xFFFFFFF3;
    EXPECT_EQ(getBoardAliasByBoardHandle(&node), 12U);
    EXPECT_EQ(found("AL12"), "kpcidev0");
}

TEST(RegistryInfo, DriverVersionAndCountAreTold) {
    vcard::ServerOptions options;
    options.cards = VirtualCards::default_cards(2);
    options.driver_version = 0x0001000200030004;
    const VirtualCards cards(options);
    DriverInfo info = {};
    ASSERT_EQ(DriverGetInfo(&info), 0U);
    EXPECT_STREQ(info.driver_version, "1.2.3.4");
    EXPECT_STREQ(info.library_version, "1.9.1[Jun 30 2025]");
    EXPECT_EQ(info.board_count, 2U);
}

TEST(RegistryInfo, LongestDriverVersionFits) {
    vcard::ServerOptions options;
    options.cards = VirtualCards::default_cards(1);
    options.driver_version = 0xFFFFFFFFFFFFFFFF;
    const VirtualCards cards(options);
    DriverInfo info = {};
    ASSERT_EQ(getDriverInfo(&info), 0U);
    EXPECT_STREQ(info.driver_version, "65535.65535.65535.65535");
}

TEST(RegistryInfo, ExistingChannelsAreTold) {
    auto configs = VirtualCards::default_cards(2);
    configs[1].channels = 1;
    const VirtualCards cards(configs);
    uint32_t out = 7;
    EXPECT_EQ(DriverEnumEcat(0, 0, &out), 0U);
    EXPECT_EQ(out, 128U);
    out = 7;
    EXPECT_EQ(DriverEnumEcat(0, 1, &out), 0U);
    EXPECT_EQ(out, 128U);
    EXPECT_EQ(DriverEnumEcat(0, 0, nullptr), 0U);
}

TEST(RegistryInfo, MissingChannelSucceedsAndWritesNothing) {
    auto configs = VirtualCards::default_cards(2);
    configs[1].channels = 1;
    const VirtualCards cards(configs);
    uint32_t out = 7;
    EXPECT_EQ(DriverEnumEcat(0, 2, &out), 0U);
    EXPECT_EQ(DriverEnumEcat(0, 0xFFFFFFFF, &out), 0U);
    EXPECT_EQ(DriverEnumEcat(1, 1, &out), 0U);
    EXPECT_EQ(DriverEnumEcat(2, 0, &out), 80019U);
    EXPECT_EQ(out, 7U);
}

// A card that claims more channels than any card has.
TEST(RegistryInfo, ThirdChannelIsNeverTold) {
    const VirtualCards cards;
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle("ID0", &node), 0U);
    static_cast<volatile uint32_t *>(node.bar[2])[0x2C / 4] = 5;
    uint32_t out = 7;
    EXPECT_EQ(DriverEnumEcat(0, 2, &out), 0U);
    EXPECT_EQ(out, 7U);
}

// ---- BARs ------------------------------------------------------------------------------------

TEST(RegistryBar, AddressIsTheCachedOne) {
    const VirtualCards cards;
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle("ID0", &node), 0U);
    EXPECT_EQ(getBarPtr(&node, 2), node.bar[2]);
    EXPECT_EQ(getBarPtr(&node, 0), node.bar[0]);
}

TEST(RegistryBar, ReleasedBarIsMappedAgainOnUse) {
    const VirtualCards cards;
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle("ID0", &node), 0U);
    EXPECT_EQ(releaBarPtr("kpcidev0", 0), 0U);
    EXPECT_EQ(releaBarPtr("kpcidev0", 0), 1U);
    EXPECT_NE(getBarPtr(&node, 0), nullptr);
    EXPECT_EQ(releaBarPtr("kpcidev0", 0), 0U);
}

TEST(RegistryBar, ReleasingLooksForANodeThatTheNameBeginsWith) {
    const VirtualCards cards(VirtualCards::default_cards(11));
    BoardNode second = {};
    BoardNode eleventh = {};
    ASSERT_EQ(getBoardHandle("ID1", &second), 0U);
    ASSERT_EQ(getBoardHandle("ID10", &eleventh), 0U);
    // "kpcidev10" begins with kpcidev1.
    EXPECT_EQ(releaBarPtr("kpcidev10", 0), 0U);
    EXPECT_EQ(releaBarPtr("kpcidev1", 0), 1U);
    EXPECT_EQ(releaBarPtr("kpcidev0 and more", 0), 0U);
    EXPECT_EQ(getBarPtr(&eleventh, 0), eleventh.bar[0]);
}

TEST(RegistryBar, ReleasingAnUnknownNameFails) {
    const VirtualCards cards;
    EXPECT_EQ(initDevice(), 0U);
    EXPECT_EQ(releaBarPtr("kpcidev5", 0), 2U);
    EXPECT_EQ(releaBarPtr("kpcidev", 0), 2U);
    EXPECT_EQ(releaBarPtr("", 0), 2U);
}

TEST(RegistryBar, ReleasingABarThatIsNotMappedFails) {
    const VirtualCards cards;
    EXPECT_EQ(initDevice(), 0U);
    for (const int32_t bar : {3, 5, 6, -1, 1000}) {
        EXPECT_EQ(releaBarPtr("kpcidev0", bar), 1U) << bar;
    }
}

TEST(RegistryBar, BarThatCannotBeMappedIsReported) {
    const VirtualCards cards;
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle("ID0", &node), 0U);
    for (const int32_t bar : {3, 6, -1}) {
        const StdoutCapture capture;
        EXPECT_EQ(getBarPtr(&node, bar), nullptr);
        EXPECT_EQ(capture.text(), "getBarPtr(95): mmap kpcidev0:bar" + std::to_string(bar) +
                                      " failed! please check params.(0)\n");
    }
}

TEST(RegistryBar, BoardThatIsNotListedIsReported) {
    const VirtualCards cards;
    EXPECT_EQ(initDevice(), 0U);
    BoardNode foreign = {};
    std::strcpy(foreign.name, "stranger");
    foreign.driver = reinterpret_cast<EtherCAT *>(&foreign);
    const StdoutCapture capture;
    EXPECT_EQ(getBarPtr(&foreign, 1), nullptr);
    EXPECT_EQ(capture.text(), "INF: getBarPtr<114>: type err: 2 dev:stranger\n");
}

TEST(RegistryBar, BoardWithoutBarsIsReportedAndNotFoundByItsName) {
    const VirtualCards cards;
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle("ID0", &node), 0U);
    ASSERT_EQ(releaBarPtr("kpcidev0", 1), 0U);
    const StdoutCapture capture;
    EXPECT_EQ(found("tarn0"), "32771");
    EXPECT_EQ(capture.text(), "getBoardInfoByBoardHandle(403): vBarPtr[1],vBarPtr[1] is nul.\n");
}

// ---- cards that cannot be opened -------------------------------------------------------------

TEST(Registry, CardThatCannotBeOpenedGetsANodeWithoutADriver) {
    const VirtualCards cards;
    BoardNode node = {};
    const StdoutCapture capture;
    EXPECT_EQ(InitBoardNodeDataByIndex(1, &node), 0U);
    EXPECT_STREQ(node.name, "kpcidev1");
    EXPECT_EQ(node.index, 1U);
    EXPECT_EQ(node.driver, nullptr);
    EXPECT_EQ(getBarPtr(&node, 0), nullptr);
    EXPECT_EQ(capture.text(), "INF: getBarPtr<114>: type err: 2 dev:kpcidev1\n");
}

// ---- interrupts and the end ------------------------------------------------------------------

TEST(Registry, WaitsForAnInterruptOfTheCard) {
    const VirtualCards cards;
    BoardNode node = {};
    ASSERT_EQ(getBoardHandle("ID0", &node), 0U);
    EXPECT_EQ(waitInterrupt(&node, 7, 1), 258U);
    EXPECT_EQ(waitInterrupt(&node, 8, 1), 0xFFFFFFFFU);
    EXPECT_EQ(waitInterrupt(nullptr, 7, 1), 0U);
}

TEST(Registry, ClosingEmptiesTheListForGood) {
    const VirtualCards cards(VirtualCards::default_cards(2));
    EXPECT_EQ(found("ID1"), "kpcidev1");
    closeDevice();
    EXPECT_EQ(found("ID0"), "32771");
    BoardInfo info = {};
    EXPECT_EQ(DriverEnumBoard(0, &info), 80019U);
    EXPECT_EQ(initDevice(), 0U);
    EXPECT_EQ(releaBarPtr("kpcidev0", 0), 2U);
    DriverInfo driver = {};
    EXPECT_EQ(getDriverInfo(&driver), 0U);
    EXPECT_EQ(driver.board_count, 2U);
    closeDevice();
}

} // namespace
