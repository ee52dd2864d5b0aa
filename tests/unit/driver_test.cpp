// Kernel driver interface and registry on a machine without a card.
#include "pci_tarn/driver.h"
#include "pci_tarn/status.h"
#include "support/capture.h"
#include "support/card_environment.h"
#include "support/temp_dir.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

using tarn::test::StdoutCapture;
using tarn::test::TempDir;

namespace {

class NoCard : public testing::Test {
  protected:
    NoCard() { tarn::test::enter_card_environment(folder_.path(), 0x0001000000000004); }

  private:
    TempDir folder_;
};

TEST_F(NoCard, CountIsZero) {
    EXPECT_EQ(EtherCATGetCount(), 0U);
    EXPECT_EQ(EtherCAT::GetCount(), 0U);
    uint32_t count = 7;
    EXPECT_EQ(GetBoardCount(&count), 0U);
    EXPECT_EQ(count, 0U);
}

TEST_F(NoCard, CountIntoNothingIsRefused) {
    EXPECT_EQ(GetBoardCount(nullptr), static_cast<uint32_t>(PCI_TARN_E_INVALID_ARGUMENT));
}

TEST_F(NoCard, DriverVersionIsUnknownAndNotSupported) {
    EXPECT_EQ(EtherCATGetDriverVersion(), 0U);
    EXPECT_EQ(EtherCAT::GetDriverVersion(), 0U);
    EXPECT_FALSE(EtherCATVerifyDriverVersion());
}

TEST_F(NoCard, OpeningGivesNothing) {
    EXPECT_EQ(EtherCATOpen(0), nullptr);
    EXPECT_EQ(EtherCATOpen(15), nullptr);
    EXPECT_EQ(EtherCATOpen(0xFFFFFFFF), nullptr);
}

TEST_F(NoCard, NullObjectIsIgnoredByEveryFlatFunction) {
    uint8_t buffer[8] = {};
    EtherCATClose(nullptr);
    EXPECT_EQ(EtherCATMapBarAddress(nullptr, 0), nullptr);
    EtherCATUnmapBarAddress(nullptr, buffer);
    EXPECT_EQ(EtherCATWaitForInterrupt(nullptr, 0, 0), 0U);
    EXPECT_EQ(EtherCATWaitForInterrupt(nullptr, 8, 0), 0U);
    EXPECT_EQ(EtherCATDmaRead(nullptr, 0, buffer, sizeof(buffer), 0), 0U);
    EXPECT_EQ(EtherCATDmaWrite(nullptr, 0, buffer, sizeof(buffer), 0), 0U);
    EXPECT_EQ(EtherCATRead(nullptr, 0, 0, buffer, sizeof(buffer)), 0U);
    EXPECT_EQ(EtherCATWrite(nullptr, 0, 0, buffer, sizeof(buffer)), 0U);
}

TEST_F(NoCard, ListIsBuiltEmpty) {
    EXPECT_EQ(initDevice(), 0U);
    EXPECT_EQ(initDevice(), 0U);
    EXPECT_EQ(InitBoardHandleNode(), 0U);
}

TEST_F(NoCard, NoNameFindsACard) {
    BoardNode node = {};
    for (const char *name : {"ID0", "ID1", "ID-1", "AL0", "tarn0", "", "ID", "IDx"}) {
        EXPECT_EQ(getBoardHandle(name, &node), 32771U) << name;
    }
    EXPECT_EQ(getBoardHandle(nullptr, &node), 32771U);
    EXPECT_EQ(getBoardHandle("ID0", nullptr), 32771U);
    EXPECT_STREQ(node.name, "");
}

TEST_F(NoCard, IndexZeroIsBeyondTheLastCard) {
    BoardInfo info = {};
    EXPECT_EQ(getBoardInfoByIndex(0, &info), 80019U);
    EXPECT_EQ(DriverEnumBoard(0, &info), 80019U);
    EXPECT_EQ(DriverEnumBoard(0, nullptr), 80019U);
    uint32_t out = 5;
    EXPECT_EQ(DriverEnumEcat(0, 0, &out), 80019U);
    EXPECT_EQ(out, 5U);
}

TEST_F(NoCard, DriverInfoHasTheLibrarysVersionAndNoCards) {
    DriverInfo info = {};
    EXPECT_EQ(DriverGetInfo(&info), 0U);
    EXPECT_STREQ(info.driver_version, "0.0.0.0");
    EXPECT_STREQ(info.library_version, "1.9.1[Jun 30 2025]");
    EXPECT_EQ(info.board_count, 0U);
    EXPECT_EQ(DriverGetInfo(nullptr), 32770U);
    EXPECT_EQ(getDriverInfo(nullptr), 32770U);
}

TEST_F(NoCard, DriverInfoAloneLeavesTheLibrarysVersionUntouched) {
    DriverInfo info = {};
    std::strcpy(info.library_version, "mine");
    EXPECT_EQ(getDriverInfo(&info), 0U);
    EXPECT_STREQ(info.library_version, "mine");
}

TEST_F(NoCard, NodeIsRefusedWithTheWholeMessageBecauseTheDriverIsUnknown) {
    const StdoutCapture capture;
    testing::internal::CaptureStderr();
    BoardNode node = {};
    const uint32_t status = InitBoardNodeDataByIndex(3, &node);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, 32782U);
    EXPECT_STREQ(node.name, "kpcidev3");
    EXPECT_EQ(node.driver, nullptr);
    const std::string text = capture.text();
    EXPECT_NE(text.find("InitBoardNodeDataByIndex(238): EtherCAT verify driver version failed!\r"),
              std::string::npos);
    EXPECT_NE(text.find("Current: 0.0.0.0\r"), std::string::npos);
    EXPECT_NE(text.find("Support: 1.0.0.1\r"), std::string::npos);
    EXPECT_NE(text.find("please check pci driver."), std::string::npos);
    EXPECT_NE(errors.find("EtherCAT verify driver version failed!\r"), std::string::npos);
    EXPECT_NE(errors.find("please check pci driver.: "), std::string::npos);
    EXPECT_EQ(InitBoardNodeDataByIndex(0, nullptr), 32770U);
}

TEST_F(NoCard, BarOfANodeThatIsNotListedIsRefusedWithAMessage) {
    const StdoutCapture capture;
    BoardNode node = {};
    std::strcpy(node.name, "mine");
    EXPECT_EQ(getBarPtr(&node, 1), nullptr);
    EXPECT_NE(capture.text().find("INF: getBarPtr<114>: type err: 2 dev:mine"), std::string::npos);
    EXPECT_EQ(getBarPtr(nullptr, 1), nullptr);
}

TEST_F(NoCard, ReleasingABarFindsNoCard) {
    EXPECT_EQ(releaBarPtr("kpcidev0", 0), 2U);
    EXPECT_EQ(releaBarPtr("", 0), 2U);
    EXPECT_EQ(releaBarPtr(nullptr, 0), 2U);
}

TEST_F(NoCard, InformationOfNoBoardIsRefused) {
    BoardInfo info = {};
    EXPECT_EQ(getBoardInfoByBoardHandle(nullptr, &info), 32771U);
    EXPECT_EQ(getBoardAliasByBoardHandle(nullptr), 0U);
}

TEST_F(NoCard, InformationOfAnUnmappedBoardIsRefusedWithAMessage) {
    const StdoutCapture capture;
    const BoardNode node = {};
    BoardInfo info = {};
    EXPECT_EQ(getBoardInfoByBoardHandle(&node, &info), 32771U);
    EXPECT_NE(
        capture.text().find("getBoardInfoByBoardHandle(403): vBarPtr[1],vBarPtr[1] is nul.\n"),
        std::string::npos);
    EXPECT_EQ(getBoardAliasByBoardHandle(&node), 0U);
}

// A board is nothing but its mapped memory here.
struct MemoryBoard {
    uint32_t bar1[0x1000 / 4] = {};
    uint32_t bar2[0x2000 / 4] = {};
    BoardNode node = {};

    MemoryBoard() {
        bar1[0] = 0xCAFE0001;
        bar1[24 / 4] = ~7U;
        bar2[0] = 0x5AA5C33C;
        std::strcpy(reinterpret_cast<char *>(bar2) + 8, "1.2.3");
        bar2[44 / 4] = 2;
        std::strcpy(reinterpret_cast<char *>(bar2) + 72, "a model");
        std::strcpy(reinterpret_cast<char *>(bar2) + 104, "a name");
        node.bar[1] = bar1;
        node.bar[2] = bar2;
    }
};

TEST_F(NoCard, BoardInformationComesFromItsRegisters) {
    const MemoryBoard board;
    BoardInfo info = {};
    ASSERT_EQ(getBoardInfoByBoardHandle(&board.node, &info), 0U);
    EXPECT_STREQ(info.model, "a model");
    EXPECT_STREQ(info.firmware_version, "1.2.3");
    EXPECT_STREQ(info.name, "a name");
    EXPECT_EQ(info.alias, 7U);
    EXPECT_EQ(info.channel_count, 2U);
    EXPECT_EQ(info.id, 0xCAFE0001U);
    EXPECT_EQ(getBoardAliasByBoardHandle(&board.node), 7U);
}

TEST_F(NoCard, BoardTextWithoutAnEndIsCut) {
    MemoryBoard board;
    std::memset(reinterpret_cast<char *>(board.bar2) + 104, 'x', 32);
    BoardInfo info = {};
    ASSERT_EQ(getBoardInfoByBoardHandle(&board.node, &info), 0U);
    EXPECT_EQ(std::string(info.name), std::string(31, 'x'));
}

TEST_F(NoCard, BoardWithoutConfigurationIsRefusedWithAMessage) {
    const StdoutCapture capture;
    MemoryBoard board;
    board.bar2[0] = 0x5AA5C33D;
    BoardInfo info = {};
    EXPECT_EQ(getBoardInfoByBoardHandle(&board.node, &info), 32771U);
    EXPECT_NE(capture.text().find("getBoardInfoByBoardHandle(381): bar2->config.magic != "
                                  "BAR_CONFIG_DONE_MAGIC\n"),
              std::string::npos);
    EXPECT_STREQ(info.name, "");
}

TEST_F(NoCard, WaitingOnNoBoardReturnsAtOnce) {
    const BoardNode node = {};
    EXPECT_EQ(waitInterrupt(nullptr, 1, 1000), 0U);
    EXPECT_EQ(waitInterrupt(&node, 1, 1000), 0U);
}

TEST_F(NoCard, ClosingAnEmptyListDoesNothing) {
    closeDevice();
    EXPECT_EQ(initDevice(), 0U);
    closeDevice();
}

} // namespace
