// The master functions without a handle, and those that need none.

#include "pci_tarn/ecat.h"

#include <array>
#include <gtest/gtest.h>

namespace {

void progress_must_not_be_called(void *, float) {
    ADD_FAILURE();
}

TEST(EcatNull, OpenAndCloseAnswerInvalidHandle) {
    BoardHandle *board = nullptr;
    uint32_t channel = 7;
    BoardInfo info = {};
    EXPECT_EQ(EcatClose(nullptr), 80013u);
    EXPECT_EQ(EcatCheckPdoVersionMatch(nullptr), 80013u);
    EXPECT_EQ(EcatGetBoardHandle(nullptr, &board), 80013u);
    EXPECT_EQ(EcatGetCurrentChannel(nullptr, &channel), 80013u);
    EXPECT_EQ(EcatGetInfo(nullptr, &info), 80013u);
    EXPECT_EQ(channel, 7u);
}

TEST(EcatNull, AddressesAreNull) {
    EXPECT_EQ(__EcatGetConfigPtr(nullptr), nullptr);
    EXPECT_EQ(__EcatGetMailBoxPtr(nullptr), nullptr);
    EXPECT_EQ(__EcatGetPiInfo(nullptr), nullptr);
}

TEST(EcatNull, BusFunctionsAnswerInvalidHandle) {
    uint32_t status = 7;
    EniInfo info = {1, 2, 3, 4};
    std::array<char, 16> text = {};
    EXPECT_EQ(EcatBusRun(nullptr, "missing.xml"), 80013u);
    EXPECT_EQ(EcatBusRunEx(nullptr, "missing.xml", progress_must_not_be_called, nullptr), 80013u);
    EXPECT_EQ(EcatBusStop(nullptr), 80013u);
    EXPECT_EQ(EcatReset(nullptr), 80013u);
    EXPECT_EQ(EcatBusStatus(nullptr, &status), 80013u);
    EXPECT_EQ(EcatRequestMasterState(nullptr, ECAT_STATE_OP), 80013u);
    EXPECT_EQ(EcatCheckRunningEni(nullptr, "missing.xml"), 80013u);
    EXPECT_EQ(EcatGetEniInfo(nullptr, &info), 80013u);
    EXPECT_EQ(EcatGetEniInfoEx(nullptr, &info, sizeof info), 80013u);
    EXPECT_EQ(EcatGetFirmwareCompileMsg(nullptr, text.data(), text.size()), 80013u);
    EXPECT_EQ(status, 7u);
    EXPECT_EQ(info.word0, 1u);
    EXPECT_EQ(info.input_length, 4u);
}

TEST(EcatNull, BusDoesNotRun) {
    EXPECT_FALSE(EcatBusIsRunning(nullptr));
}

TEST(EcatNull, WorkCountIsZero) {
    EXPECT_EQ(__EcatBusCtrlWorkCntGet(nullptr), 0u);
}

TEST(EcatNull, StateFunctionsAnswerInvalidHandle) {
    uint8_t byte = 0xFF;
    uint16_t word = 7;
    uint32_t value = 7;
    std::array<uint8_t, 56> record = {};
    EXPECT_EQ(EcatGetMasterState(nullptr, &byte), 80013u);
    EXPECT_EQ(EcatGetMasterReqState(nullptr, &byte), 80013u);
    EXPECT_EQ(EcatGetSlaveCount(nullptr, &word), 80013u);
    EXPECT_EQ(EcatGetActiveSlaveCount(nullptr, &word), 80013u);
    EXPECT_EQ(EcatGetSlaveState(nullptr, 0, &byte), 80013u);
    EXPECT_EQ(EcatGetSlaveStateEx(nullptr, 1, &byte), 80013u);
    EXPECT_EQ(EcatGetSlaveReqState(nullptr, 0, &byte), 80013u);
    EXPECT_EQ(EcatGetSlaveReqStateEx(nullptr, 1, &byte), 80013u);
    EXPECT_EQ(EcatGetSlaveVendorID(nullptr, 0, &value), 80013u);
    EXPECT_EQ(EcatGetSlaveProductCode(nullptr, 0, &value), 80013u);
    EXPECT_EQ(EcatGetSlaveRevisionNo(nullptr, 0, &value), 80013u);
    EXPECT_EQ(EcatGetSlaveSerialNo(nullptr, 0, &value), 80013u);
    EXPECT_EQ(EcatGetSlaveAlias(nullptr, 0, &value), 80013u);
    EXPECT_EQ(EcatGetSlaveFixAddr(nullptr, 0, &word), 80013u);
    EXPECT_EQ(EcatGetSlaveDLStatus(nullptr, 0, &word), 80013u);
    EXPECT_EQ(EcatGetSlaveALStatusCode(nullptr, 0, &word), 80013u);
    EXPECT_EQ(EcatGetSlaveInfo(nullptr, 0, record.data()), 80013u);
    EXPECT_EQ(EcatGetSlavePIOutputsInfo(nullptr, 0, &word, &word), 80013u);
    EXPECT_EQ(EcatGetSlavePIInputsInfo(nullptr, 0, &word, &word), 80013u);
    EXPECT_EQ(EcatClearSlaveStateError(nullptr, 0), 80013u);
    EXPECT_EQ(EcatReadyLostTimeoutSet(nullptr, 1), 80013u);
    EXPECT_EQ(EcatReadyLostTimeoutGet(nullptr, &value), 80013u);
    EXPECT_EQ(ECAT_TIMEOUT_TRIGGER(nullptr, 1), 80013u);
    EXPECT_EQ(EcatSetTimeout(nullptr, 1), 80013u);
    // Nothing was written, not even masked.
    EXPECT_EQ(byte, 0xFF);
    EXPECT_EQ(word, 7u);
    EXPECT_EQ(value, 7u);
}

TEST(EcatNull, AutoClearAnswersInvalidArgument) {
    uint32_t enable = 7;
    EXPECT_EQ(EcatAutoClearSlaveStateErrorEnableSet(nullptr, 1), 32770u);
    EXPECT_EQ(EcatAutoClearSlaveStateErrorEnableGet(nullptr, &enable), 32770u);
    EXPECT_EQ(enable, 7u);
}

TEST(EcatNull, SlavesAreNeitherActiveNorReady) {
    EXPECT_FALSE(EcatSlaveIsActive(nullptr, 0));
    EXPECT_FALSE(EcatSlaveIsReady(nullptr, 0));
}

TEST(EcatNull, RmEnableDoesNothing) {
    EXPECT_EQ(EcatRMEnable(), 0u);
}

TEST(EcatNull, RmEnableGetNeedsNoHandle) {
    uint32_t enable = 0;
    EXPECT_EQ(EcatRMEnableGet(nullptr, &enable), 0u);
    EXPECT_EQ(enable, 1u);
    EXPECT_EQ(EcatRMEnableGet(nullptr, nullptr), 32770u);
}

TEST(EcatOpenArguments, NullOutIsRefused) {
    EXPECT_EQ(EcatOpen(nullptr, "ID0", 0), 32770u);
    EXPECT_EQ(EcatOpenEx(nullptr, "ID0", 0, 1), 32770u);
}

TEST(EcatOpenArguments, NullNameFindsNoDevice) {
    int other = 0;
    auto *handle = reinterpret_cast<EcatHandle *>(&other);
    EXPECT_EQ(EcatOpen(&handle, nullptr, 0), 80004u);
    EXPECT_EQ(handle, nullptr);
}

TEST(EcatOpenArguments, UnknownCardIsNotFound) {
    int other = 0;
    auto *handle = reinterpret_cast<EcatHandle *>(&other);
    EXPECT_EQ(EcatOpenEx(&handle, "no such card", 0, 0), 80004u);
    EXPECT_EQ(handle, nullptr);
}

} // namespace
