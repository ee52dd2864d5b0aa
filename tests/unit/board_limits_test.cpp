// The board functions' arguments: both sides of each limit, missing outputs, missing handles.
#include "board_fixture.h"
#include "pci_tarn/board.h"

#include <climits>

namespace {

using namespace tarn;
using namespace tarn::test;

class BoardLimits : public PlainBoard {
  protected:
    uint32_t value_ = 77;
};

// ---- limits ------------------------------------------------------------------------------------

TEST_F(BoardLimits, LatchModeTwentyOneIsAccepted) {
    EXPECT_EQ(BoardLatchCfg(board(), 21), 0U);
    EXPECT_EQ(peek<uint32_t>(bar1() + 0x124), 21U);
}
TEST_F(BoardLimits, LatchModeZeroIsAccepted) {
    EXPECT_EQ(BoardLatchCfg(board(), 0), 0U);
}
TEST_F(BoardLimits, LatchModeTwentyTwoIsRefused) {
    EXPECT_EQ(BoardLatchCfg(board(), 22), 32770U);
}
TEST_F(BoardLimits, HugeLatchModeIsRefused) {
    EXPECT_EQ(BoardLatchCfg(board(), 0xFFFFFFFF), 32770U);
}

TEST_F(BoardLimits, SequenceLatchModeTwentyTwoIsRefused) {
    EXPECT_EQ(BoardSeqLatchCfg(board(), 22), 32770U);
}
TEST_F(BoardLimits, SequenceLatchModeTwentyThreeIsAccepted) {
    EXPECT_EQ(BoardSeqLatchCfg(board(), 23), 0U);
    EXPECT_EQ(peek<uint32_t>(bar1() + 0x124), 23U);
}
TEST_F(BoardLimits, SequenceLatchModeHundredThirtySixIsAccepted) {
    EXPECT_EQ(BoardSeqLatchCfg(board(), 136), 0U);
    EXPECT_EQ(peek<uint32_t>(bar1() + 0x124), 136U);
}
TEST_F(BoardLimits, SequenceLatchModeHundredThirtySevenIsRefused) {
    EXPECT_EQ(BoardSeqLatchCfg(board(), 137), 32770U);
}
TEST_F(BoardLimits, NegativeSequenceLatchModeIsRefused) {
    EXPECT_EQ(BoardSeqLatchCfg(board(), -1), 32770U);
    EXPECT_EQ(BoardSeqLatchCfg(board(), INT_MIN), 32770U);
}

TEST_F(BoardLimits, SequenceOfThousandTwentyThreeIsAccepted) {
    EXPECT_EQ(BoardSeqLatchRun(board(), 1023), 0U);
    EXPECT_EQ(peek<uint32_t>(bar1() + 0x158), 1023U);
}
TEST_F(BoardLimits, SequenceOfNoneIsAccepted) {
    EXPECT_EQ(BoardSeqLatchRun(board(), 0), 0U);
    EXPECT_EQ(peek<uint32_t>(bar1() + 0x158), 0U);
}
TEST_F(BoardLimits, SequenceOfThousandTwentyFourIsRefused) {
    EXPECT_EQ(BoardSeqLatchRun(board(), 1024), 32770U);
}
TEST_F(BoardLimits, SequenceOfARoundNumberBeyondIsRefused) {
    EXPECT_EQ(BoardSeqLatchRun(board(), 2048), 32770U); // 0 in its low ten bits
}

TEST_F(BoardLimits, ChannelThreeIsTheLastOne) {
    EXPECT_EQ(BoardLatchState(board(), 3, &value_), 0U);
    EXPECT_EQ(BoardLatchState(board(), 4, &value_), 32770U);
    EXPECT_EQ(BoardLatchOnRead(board(), 3, &value_, &value_), 0U);
    EXPECT_EQ(BoardLatchOnRead(board(), 4, &value_, &value_), 32770U);
    EXPECT_EQ(BoardSeqLatchOnRead(board(), 3, 0, &value_, &value_), 0U);
    EXPECT_EQ(BoardSeqLatchOnRead(board(), 4, 0, &value_, &value_), 32770U);
    EXPECT_EQ(BoardPWMOutput(board(), 3, 1, 1), 0U);
    EXPECT_EQ(BoardPWMOutput(board(), 4, 1, 1), 32770U);
    EXPECT_EQ(BoardPWMStop(board(), 3), 0U);
    EXPECT_EQ(BoardPWMStop(board(), 4), 32770U);
    EXPECT_EQ(BoardPWMGetConfig(board(), 3, &value_, &value_), 0U);
    EXPECT_EQ(BoardPWMGetConfig(board(), 4, &value_, &value_), 32770U);
    EXPECT_EQ(BoardPulseConfig(board(), 3, 0, 0, 0, 1, 1), 0U);
    EXPECT_EQ(BoardPulseConfig(board(), 4, 0, 0, 0, 1, 1), 32770U);
    EXPECT_EQ(BoardPulseGetConfig(board(), 3, &value_, nullptr, &value_, &value_, &value_), 0U);
    EXPECT_EQ(BoardPulseGetConfig(board(), 4, &value_, nullptr, &value_, &value_, &value_), 32770U);
    EXPECT_EQ(BoardPulseOutput(board(), 3, 1), 0U);
    EXPECT_EQ(BoardPulseOutput(board(), 4, 1), 32770U);
    EXPECT_EQ(BoardPulseStop(board(), 3), 0U);
    EXPECT_EQ(BoardPulseStop(board(), 4), 32770U);
}

TEST_F(BoardLimits, RefusedChannelLeavesTheOutputs) {
    int32_t flag = 77;
    EXPECT_EQ(BoardLatchState(board(), 4, &value_), 32770U);
    EXPECT_EQ(BoardLatchOnRead(board(), 4, &value_, &value_), 32770U);
    EXPECT_EQ(BoardSeqLatchOnRead(board(), 4, 0, &value_, &value_), 32770U);
    EXPECT_EQ(BoardPWMGetConfig(board(), 4, &value_, &value_), 32770U);
    EXPECT_EQ(BoardPulseGetConfig(board(), 4, &value_, &flag, &value_, &value_, &value_), 32770U);
    EXPECT_EQ(value_, 77U);
    EXPECT_EQ(flag, 77);
}

TEST_F(BoardLimits, HeartbeatThreeIsTheLastOne) {
    poke(bar2() + 0x190 + 12, 5U);
    EXPECT_EQ(BoardHeardCnt(board(), 3, &value_), 0U);
    EXPECT_EQ(value_, 5U);
}
TEST_F(BoardLimits, HeartbeatFourGivesZeroAndIsRefused) {
    EXPECT_EQ(BoardHeardCnt(board(), 4, &value_), 32770U);
    EXPECT_EQ(value_, 0U);
}
TEST_F(BoardLimits, HugeHeartbeatGivesZeroAndIsRefused) {
    EXPECT_EQ(BoardHeardCnt(board(), 0xFFFFFFFF, &value_), 32770U);
    EXPECT_EQ(value_, 0U);
}

// ---- missing outputs ---------------------------------------------------------------------------

TEST_F(BoardLimits, MissingOutputsGive32770) {
    EXPECT_EQ(BoardDIRead(board(), nullptr), 32770U);
    EXPECT_EQ(BoardDORead(board(), nullptr), 32770U);
    EXPECT_EQ(BoardLatchState(board(), 0, nullptr), 32770U);
    EXPECT_EQ(BoardLatchOnRead(board(), 0, nullptr, &value_), 32770U);
    EXPECT_EQ(BoardLatchOnRead(board(), 0, &value_, nullptr), 32770U);
    EXPECT_EQ(BoardSeqLatchOnRead(board(), 0, 0, nullptr, &value_), 32770U);
    EXPECT_EQ(BoardSeqLatchOnRead(board(), 0, 0, &value_, nullptr), 32770U);
    EXPECT_EQ(BoardHeardCnt(board(), 0, nullptr), 32770U);
    EXPECT_EQ(BoardHeardCnt(board(), 4, nullptr), 32770U);
    EXPECT_EQ(value_, 77U);
}

TEST_F(BoardLimits, OutputsOfTheSettingsMayBeMissing) {
    EXPECT_EQ(BoardPWMGetConfig(board(), 0, nullptr, nullptr), 0U);
    EXPECT_EQ(BoardPulseGetConfig(board(), 0, nullptr, nullptr, nullptr, nullptr, nullptr), 0U);
}

TEST_F(BoardLimits, RawReadWithoutAPlaceIsAccepted) {
    EXPECT_EQ(BoardBAR1Read(board(), 0, nullptr), 0U);
}

TEST_F(BoardLimits, HostTimeWithoutAnAddressGives32770) {
    EXPECT_EQ(Bar2SetDeviceSystemTime(nullptr, 1), 32770U);
}

// ---- missing handles ---------------------------------------------------------------------------

TEST(BoardNull, RegisterFunctionsAnswerInvalidHandle) {
    uint32_t value = 77;
    int32_t flag = 77;
    EXPECT_EQ(BoardDIRead(nullptr, &value), 80013U);
    EXPECT_EQ(BoardDORead(nullptr, &value), 80013U);
    EXPECT_EQ(BoardDOWrite(nullptr, 1), 80013U);
    EXPECT_EQ(BoardLatchEnable(nullptr), 80013U);
    EXPECT_EQ(BoardLatchDisable(nullptr), 80013U);
    EXPECT_EQ(BoardLatchCfg(nullptr, 1), 80013U);
    EXPECT_EQ(BoardLatchRun(nullptr), 80013U);
    EXPECT_EQ(BoardLatchStop(nullptr), 80013U);
    EXPECT_EQ(BoardLatchClear(nullptr), 80013U);
    EXPECT_EQ(BoardLatchCounterReset(nullptr), 80013U);
    EXPECT_EQ(BoardLatchPortSel(nullptr, 1), 80013U);
    EXPECT_EQ(BoardLatchState(nullptr, 0, &value), 80013U);
    EXPECT_EQ(BoardLatchOnRead(nullptr, 0, &value, &value), 80013U);
    EXPECT_EQ(BoardSeqLatchCfg(nullptr, 23), 80013U);
    EXPECT_EQ(BoardSeqLatchRun(nullptr, 1), 80013U);
    EXPECT_EQ(BoardSeqLatchOnRead(nullptr, 0, 0, &value, &value), 80013U);
    EXPECT_EQ(BoardPWMOutput(nullptr, 0, 1, 1), 80013U);
    EXPECT_EQ(BoardPWMStop(nullptr, 0), 80013U);
    EXPECT_EQ(BoardPWMGetConfig(nullptr, 0, &value, &value), 80013U);
    EXPECT_EQ(BoardPulseConfig(nullptr, 0, 1, 1, 1, 1, 1), 80013U);
    EXPECT_EQ(BoardPulseGetConfig(nullptr, 0, &value, &flag, &value, &value, &value), 80013U);
    EXPECT_EQ(BoardPulseOutput(nullptr, 0, 1), 80013U);
    EXPECT_EQ(BoardPulseStop(nullptr, 0), 80013U);
    EXPECT_EQ(BoardBAR1Read(nullptr, 0, &value), 80013U);
    EXPECT_EQ(BoardBAR1Write(nullptr, 0, 1), 80013U);
    EXPECT_EQ(BoardHeardCnt(nullptr, 0, &value), 80013U);
    EXPECT_EQ(BoardSetTimeout(nullptr, 1), 80013U);
    EXPECT_EQ(BoardSetDeviceSystemTime(nullptr, 1), 80013U);
    EXPECT_EQ(__BoardIOModuleReset(nullptr), 80013U);
    EXPECT_EQ(value, 77U);
    EXPECT_EQ(flag, 77);
}

TEST(BoardNull, MissingHandleIsFoundBeforeABadArgument) {
    uint32_t value = 77;
    EXPECT_EQ(BoardDIRead(nullptr, nullptr), 80013U);
    EXPECT_EQ(BoardLatchCfg(nullptr, 22), 80013U);
    EXPECT_EQ(BoardLatchState(nullptr, 4, nullptr), 80013U);
    EXPECT_EQ(BoardLatchOnRead(nullptr, 4, nullptr, nullptr), 80013U);
    EXPECT_EQ(BoardSeqLatchCfg(nullptr, 0), 80013U);
    EXPECT_EQ(BoardSeqLatchRun(nullptr, 1024), 80013U);
    EXPECT_EQ(BoardSeqLatchOnRead(nullptr, 4, 0, nullptr, nullptr), 80013U);
    EXPECT_EQ(BoardPWMStop(nullptr, 4), 80013U);
    EXPECT_EQ(BoardPulseStop(nullptr, 4), 80013U);
    EXPECT_EQ(BoardBAR1Read(nullptr, 0, nullptr), 80013U);
    EXPECT_EQ(BoardHeardCnt(nullptr, 4, &value), 80013U);
    EXPECT_EQ(value, 77U);
}

TEST(BoardNull, RequestsAnswerInvalidHandle) {
    EXPECT_EQ(BoardLedCtrl(nullptr, 1, 2), 80013U);
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(nullptr, 1), 80013U);
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(nullptr, 0), 80013U);
}

void progress_must_not_be_called(void *, float) {
    ADD_FAILURE();
}

TEST(BoardNull, ResetFlashAndFilesAnswerInvalidArguments) {
    uint32_t value = 77;
    EXPECT_EQ(BoardReset(nullptr), 32770U);
    EXPECT_EQ(BoardFlashErase(nullptr, 0, 1), 32770U);
    EXPECT_EQ(BoardFlashRead(nullptr, 0, 4, &value), 32770U);
    EXPECT_EQ(BoardFlashWrite(nullptr, 0, "x"), 32770U);
    EXPECT_EQ(BoardFileDownload(nullptr, "missing", "name", progress_must_not_be_called, nullptr),
              32770U);
    EXPECT_EQ(BoardFileUpload(nullptr, "missing", "name", progress_must_not_be_called, nullptr),
              32770U);
    EXPECT_EQ(BoardUpdate(nullptr, "missing"), 32770U);
    EXPECT_EQ(BoardUpdateEx(nullptr, "missing", progress_must_not_be_called, nullptr), 32770U);
    EXPECT_EQ(value, 77U);
}

TEST(BoardNull, BoardIsNotAlive) {
    EXPECT_FALSE(BoardIsAlive(nullptr));
}

TEST(BoardNull, DmaIsStillNotUsed) {
    EXPECT_EQ(BoardCDMAIsEnable(nullptr), 0U);
}

TEST(BoardNull, DmaWithoutACardGives32771) {
    uint8_t byte = 0;
    EXPECT_EQ(CDMA_ReadDataFromDevice(nullptr, 0, &byte, 1, 1), 32771U);
    EXPECT_EQ(CDMA_WriteDataToDevice(nullptr, 0, &byte, 1, 1), 32771U);
}

} // namespace
