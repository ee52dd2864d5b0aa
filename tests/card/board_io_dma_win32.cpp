// Copies by DMA through the driver, with the test itself as the card's side of each transfer.
#include "driver_fixture.h"
#include "pci_tarn/board.h"
#include "raw_card_win32.h"

#include <numeric>
#include <thread>
#include <vector>

namespace {

using namespace tarn;
using namespace tarn::test;

class RawDma : public testing::Test {
  protected:
    static constexpr int32_t kLength = 100;
    static constexpr uint32_t kTimeoutMs = 20000;

    ~RawDma() override { wait(); }

    void start_read() {
        user_ = std::thread([this] {
            status_ =
                CDMA_ReadDataFromDevice(card_.get(), 0x1000, buffer_.data(), kLength, kTimeoutMs);
        });
    }
    void start_write() {
        std::iota(buffer_.begin(), buffer_.end(), uint8_t{1});
        user_ = std::thread([this] {
            status_ =
                CDMA_WriteDataToDevice(card_.get(), 0x1000, buffer_.data(), kLength, kTimeoutMs);
        });
    }
    void wait() {
        if (user_.joinable()) {
            user_.join();
        }
    }
    vcard::FirmwareEvent expect_transfer(uint32_t kind, uint32_t address, uint32_t length) {
        const vcard::FirmwareEvent transfer = raw_.next_transfer();
        EXPECT_EQ(transfer.kind, kind);
        EXPECT_EQ(transfer.first, address);
        EXPECT_EQ(transfer.length, length);
        return transfer;
    }

    RawCard raw_;
    OpenCard card_ = open_card();
    std::vector<uint8_t> buffer_ = std::vector<uint8_t>(kLength);
    uint32_t status_ = 77;
    std::thread user_;
};

TEST_F(RawDma, ReadGoesOnWhereAShortTransferEnded) {
    start_read();
    vcard::FirmwareEvent transfer = expect_transfer(vcard::kDmaRead, 0x1000, 100);
    raw_.node().store(transfer, std::vector<uint8_t>(40, 0xAA));
    raw_.node().complete(transfer, true, 40);
    transfer = expect_transfer(vcard::kDmaRead, 0x1000 + 40, 60);
    raw_.node().store(transfer, std::vector<uint8_t>(60, 0xBB));
    raw_.node().complete(transfer, true, 60);
    wait();
    EXPECT_EQ(status_, 0U);
    std::vector<uint8_t> expected(40, 0xAA);
    expected.resize(100, 0xBB);
    EXPECT_EQ(buffer_, expected);
}

TEST_F(RawDma, WriteGoesOnWhereAShortTransferEnded) {
    start_write();
    vcard::FirmwareEvent transfer = expect_transfer(vcard::kDmaWrite, 0x1000, 100);
    raw_.node().complete(transfer, true, 99);
    transfer = expect_transfer(vcard::kDmaWrite, 0x1000 + 99, 1);
    std::vector<uint8_t> last(1);
    EXPECT_TRUE(raw_.node().fetch(transfer, last));
    raw_.node().complete(transfer, true, 1);
    wait();
    EXPECT_EQ(status_, 0U);
    EXPECT_EQ(last[0], 100);
}

TEST_F(RawDma, TransferOfNothingGives32771) {
    start_read();
    raw_.node().complete(expect_transfer(vcard::kDmaRead, 0x1000, 100), true, 0);
    wait();
    EXPECT_EQ(status_, 32771U);
}

TEST_F(RawDma, RefusedTransferGives32771) {
    start_write();
    raw_.node().complete(expect_transfer(vcard::kDmaWrite, 0x1000, 100), false, 0);
    wait();
    EXPECT_EQ(status_, 32771U);
}

TEST_F(RawDma, TransferThatIsNotAnsweredInTimeGives32771) {
    EXPECT_EQ(CDMA_ReadDataFromDevice(card_.get(), 0x1000, buffer_.data(), kLength, 20), 32771U);
}

} // namespace
