// Copies by DMA, and the driver versions that can do them.
#include "driver_fixture.h"
#include "pci_tarn/board.h"

#include <cstring>
#include <numeric>
#include <string>
#include <vector>

namespace {

using namespace tarn;
using namespace tarn::test;

constexpr uint32_t kTimeoutMs = 20000;
constexpr uint32_t kFree = 0x600000; // card memory that nobody uses
constexpr uint32_t kBar2 = 0x800000;

class BoardDma : public testing::Test {
  protected:
    uint8_t *bar2() { return static_cast<uint8_t *>(EtherCATMapBarAddress(card_.get(), 2)); }

    static std::vector<uint8_t> row(size_t size) {
        std::vector<uint8_t> bytes(size);
        std::iota(bytes.begin(), bytes.end(), uint8_t{1});
        return bytes;
    }

    VirtualCards cards_;
    OpenCard card_ = open_card();
};

TEST_F(BoardDma, ReadsWhatTheCardHolds) {
    const std::vector<uint8_t> expected = row(300000);
    memcpy(bar2() + kFree, expected.data(), expected.size());
    std::vector<uint8_t> read(expected.size());
    EXPECT_EQ(CDMA_ReadDataFromDevice(card_.get(), kFree, read.data(), 300000, kTimeoutMs), 0U);
    EXPECT_EQ(read, expected);
}

TEST_F(BoardDma, WritesWhatTheCardShallHold) {
    std::vector<uint8_t> bytes = row(300000);
    EXPECT_EQ(CDMA_WriteDataToDevice(card_.get(), kFree, bytes.data(), 300000, kTimeoutMs), 0U);
    EXPECT_EQ(memcmp(bar2() + kFree, bytes.data(), bytes.size()), 0);
    EXPECT_EQ(bar2()[kFree + 300000], 0);
}

TEST_F(BoardDma, OneByteIsEnough) {
    uint8_t byte = 0;
    EXPECT_EQ(CDMA_ReadDataFromDevice(card_.get(), 0, &byte, 1, kTimeoutMs), 0U);
    EXPECT_EQ(byte, 0x3C);
}

TEST_F(BoardDma, LengthZeroGives32771) {
    uint8_t byte = 0x77;
    EXPECT_EQ(CDMA_ReadDataFromDevice(card_.get(), 0, &byte, 0, kTimeoutMs), 32771U);
    EXPECT_EQ(CDMA_WriteDataToDevice(card_.get(), kFree, &byte, 0, kTimeoutMs), 32771U);
    EXPECT_EQ(byte, 0x77);
}

TEST_F(BoardDma, NegativeLengthGives32771) {
    uint8_t byte = 0x77;
    EXPECT_EQ(CDMA_ReadDataFromDevice(card_.get(), 0, &byte, -1, kTimeoutMs), 32771U);
    EXPECT_EQ(CDMA_WriteDataToDevice(card_.get(), kFree, &byte, -1, kTimeoutMs), 32771U);
    EXPECT_EQ(byte, 0x77);
}

TEST_F(BoardDma, MissingBufferGives32771) {
    EXPECT_EQ(CDMA_ReadDataFromDevice(card_.get(), 0, nullptr, 4, kTimeoutMs), 32771U);
    EXPECT_EQ(CDMA_WriteDataToDevice(card_.get(), kFree, nullptr, 4, kTimeoutMs), 32771U);
}

TEST_F(BoardDma, CopyPastTheCardsMemoryGives32771) {
    uint8_t bytes[8] = {};
    EXPECT_EQ(CDMA_ReadDataFromDevice(card_.get(), kBar2 - 8, bytes, 8, kTimeoutMs), 0U);
    EXPECT_EQ(CDMA_ReadDataFromDevice(card_.get(), kBar2 - 7, bytes, 8, kTimeoutMs), 32771U);
    EXPECT_EQ(CDMA_WriteDataToDevice(card_.get(), kBar2 - 7, bytes, 8, kTimeoutMs), 32771U);
}

TEST_F(BoardDma, CardThatHasGoneGives32771) {
    uint8_t bytes[8] = {};
    cards_.stop();
    EXPECT_EQ(CDMA_ReadDataFromDevice(card_.get(), 0, bytes, 8, kTimeoutMs), 32771U);
    EXPECT_EQ(CDMA_WriteDataToDevice(card_.get(), kFree, bytes, 8, kTimeoutMs), 32771U);
}

TEST_F(BoardDma, BoardsNeverUseIt) {
    BoardHandle *board = nullptr;
    ASSERT_EQ(BoardOpen(&board, "ID0"), 0U);
    EXPECT_EQ(CDMA_IsEnable(), 1U);
    EXPECT_EQ(BoardCDMAIsEnable(board), 0U);
    BoardClose(board);
}

// ---- driver versions ---------------------------------------------------------------------------

// A process looks for its cards once, so there is one version per test.
struct DriverVersion {
    const char *name;
    uint64_t version;
    uint32_t can;
};

void PrintTo(const DriverVersion &version, std::ostream *out) {
    *out << version.name;
}

uint32_t asked_with(uint64_t version) {
    vcard::ServerOptions options;
    options.cards = VirtualCards::default_cards(1);
    options.driver_version = version;
    const VirtualCards cards(options);
    return CDMA_IsEnable();
}

class CdmaIsEnable : public testing::TestWithParam<DriverVersion> {};

TEST_P(CdmaIsEnable, VersionsAroundTheFirstOneThatCan) {
    EXPECT_EQ(asked_with(GetParam().version), GetParam().can);
}

INSTANTIATE_TEST_SUITE_P(Versions, CdmaIsEnable,
                         testing::Values(DriverVersion{"1_0_0_1", 0x0001000000000001, 0},
                                         DriverVersion{"1_0_0_3", 0x0001000000000003, 0},
                                         DriverVersion{"1_0_0_4", 0x0001000000000004, 1},
                                         DriverVersion{"1_0_0_5", 0x0001000000000005, 1},
                                         DriverVersion{"1_0_1_0", 0x0001000000010000, 1},
                                         DriverVersion{"1_1_0_0", 0x0001000100000000, 1},
                                         DriverVersion{"2_0_0_0", 0x0002000000000000, 1},
                                         DriverVersion{"65535_0_0_0", 0xFFFF000000000000, 1}),
                         [](const auto &test) { return test.param.name; });

TEST(CdmaIsEnableWithout, SupportedDriver) {
    EXPECT_EQ(asked_with(0x0000FFFFFFFFFFFF), 0U); // the list of cards cannot be built
}

TEST(CdmaIsEnableWithout, AnyCard) {
    VirtualCards cards;
    cards.stop();
    EXPECT_EQ(CDMA_IsEnable(), 0U);
}

} // namespace
