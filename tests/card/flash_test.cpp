// The card's flash through the library.
#include "board_io_fixture.h"
#include "support/guarded_buffer.h"
#include "support/no_memory.h"

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BoardFlash : public BoardTest {
  protected:
    static constexpr uint32_t kSize = 16U << 20;

    std::vector<uint8_t> read(uint32_t address, uint32_t length) {
        std::vector<uint8_t> bytes(length, 0x77);
        EXPECT_EQ(BoardFlashRead(handle_, address, length, bytes.data()), 0U);
        return bytes;
    }
};

// ---- requests ----------------------------------------------------------------------------------

TEST_F(BoardFlash, EraseRequestCarriesAddressAndLength) {
    EXPECT_EQ(BoardFlashErase(handle_, 0x00010200, 0x00003000), 0U);
    const vcard::SeenRequest request = seen_request();
    EXPECT_EQ(request.code, 46);
    EXPECT_THAT(request.payload, ElementsAre(0x00, 0x02, 0x01, 0x00, 0x00, 0x30, 0x00, 0x00));
    EXPECT_FALSE(request.primary);
}

TEST_F(BoardFlash, ReadRequestCarriesAddressAndLength) {
    std::vector<uint8_t> buffer(0x102);
    EXPECT_EQ(BoardFlashRead(handle_, 0x00A0B0C0, 0x102, buffer.data()), 0U);
    const vcard::SeenRequest request = seen_request();
    EXPECT_EQ(request.code, 44);
    EXPECT_THAT(request.payload, ElementsAre(0xC0, 0xB0, 0xA0, 0x00, 0x02, 0x01, 0x00, 0x00));
}

TEST_F(BoardFlash, WriteRequestCarriesAddressAndText) {
    EXPECT_EQ(BoardFlashWrite(handle_, 0x00A0B0C0, "ab"), 0U);
    const vcard::SeenRequest request = seen_request();
    EXPECT_EQ(request.code, 45);
    EXPECT_THAT(request.payload, ElementsAre(0xC0, 0xB0, 0xA0, 0x00, 'a', 'b'));
}

TEST_F(BoardFlash, WriteStopsAtAZeroByte) {
    EXPECT_EQ(BoardFlashWrite(handle_, 0, "ab\0cd"), 0U);
    EXPECT_THAT(seen_request().payload, ElementsAre(0, 0, 0, 0, 'a', 'b'));
}

TEST_F(BoardFlash, EmptyTextSendsTheAddressAlone) {
    EXPECT_EQ(BoardFlashWrite(handle_, 0x01020304 & (kSize - 1), ""), 0U);
    EXPECT_THAT(seen_request().payload, ElementsAre(4, 3, 2, 0));
}

TEST_F(BoardFlash, WriteTakesAllBytesButZero) {
    EXPECT_EQ(BoardFlashWrite(handle_, 0, "\x01\x7F\x80\xFF"), 0U);
    EXPECT_THAT(seen_request().payload, ElementsAre(0, 0, 0, 0, 0x01, 0x7F, 0x80, 0xFF));
}

TEST_F(BoardFlash, WriteReadsNothingBehindTheZeroByte) {
    const GuardedBuffer memory;
    char *text = reinterpret_cast<char *>(memory.at_end(4));
    memcpy(text, "end", 4);
    EXPECT_EQ(BoardFlashWrite(handle_, 0, text), 0U);
}

// ---- what the card does ------------------------------------------------------------------------

TEST_F(BoardFlash, WhatWasWrittenIsReadBack) {
    EXPECT_EQ(BoardFlashErase(handle_, 0, 4096), 0U);
    EXPECT_EQ(BoardFlashWrite(handle_, 10, "hello"), 0U);
    EXPECT_THAT(read(9, 7), ElementsAre(0xFF, 'h', 'e', 'l', 'l', 'o', 0xFF));
}

TEST_F(BoardFlash, LongestTextThatASlotHoldsIsWritten) {
    const std::string text(102400 - 16 - 4, 'x');
    EXPECT_EQ(BoardFlashErase(handle_, 0, 1 << 20), 0U);
    EXPECT_EQ(BoardFlashWrite(handle_, 0, text.c_str()), 0U);
    const std::vector<uint8_t> bytes = read(0, 102384);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), text + "\xFF\xFF\xFF\xFF");
}

TEST_F(BoardFlash, ReadFillsTheBufferAndNoMore) {
    const GuardedBuffer memory;
    EXPECT_EQ(BoardFlashErase(handle_, 0, 4096), 0U);
    uint8_t *buffer = memory.at_end(37);
    memset(buffer, 0, 37);
    EXPECT_EQ(BoardFlashRead(handle_, 0, 37, buffer), 0U);
    EXPECT_TRUE(std::all_of(buffer, buffer + 37, [](uint8_t byte) { return byte == 0xFF; }));
}

TEST_F(BoardFlash, ShortReplyLeavesTheRestOfTheBuffer) {
    uint8_t bytes[4] = {0x77, 0x77, 0x77, 0x77};
    answer(Command::FlashRead, 0);
    EXPECT_EQ(BoardFlashRead(handle_, 0, sizeof bytes, bytes), 0U);
    EXPECT_THAT(bytes, testing::Each(0x77));
}

TEST_F(BoardFlash, NothingCanBeReadIntoNothing) {
    EXPECT_EQ(BoardFlashRead(handle_, 0, 0, nullptr), 0U);
    EXPECT_EQ(seen_request().payload.size(), 8U);
}

TEST_F(BoardFlash, StatusOfTheFirmwareComesBackAsItIs) {
    uint8_t byte = 0x77;
    answer(Command::FlashErase, 32825);
    EXPECT_EQ(BoardFlashErase(handle_, 0, 4096), 32825U);
    answer(Command::FlashRead, 32850);
    EXPECT_EQ(BoardFlashRead(handle_, 0, 1, &byte), 32850U);
    answer(Command::FlashWrite, 32849);
    EXPECT_EQ(BoardFlashWrite(handle_, 0, "x"), 32849U);
    EXPECT_EQ(byte, 0x77);
}

TEST_F(BoardFlash, RangeBeyondTheFlashIsTheFirmwaresToRefuse) {
    uint8_t byte = 0;
    EXPECT_EQ(BoardFlashRead(handle_, kSize - 1, 1, &byte), 0U);
    EXPECT_EQ(BoardFlashRead(handle_, kSize, 1, &byte), 32827U);
    EXPECT_EQ(BoardFlashErase(handle_, 0xFFFFFFFF, 0xFFFFFFFF), 32827U);
    EXPECT_EQ(BoardFlashWrite(handle_, kSize, "x"), 32827U);
}

// ---- failures ----------------------------------------------------------------------------------

TEST_F(BoardFlash, ReplyWithDataToAnEraseGives80002) {
    firmware().faults().oversize_replies = 1;
    EXPECT_EQ(BoardFlashErase(handle_, 0, 4096), 80002U);
}

TEST_F(BoardFlash, ReplyWithDataToAWriteGives80002) {
    firmware().faults().oversize_replies = 1;
    EXPECT_EQ(BoardFlashWrite(handle_, 0, "x"), 80002U);
}

TEST_F(BoardFlash, MoreDataThanAskedGives80002AndIsNotCopied) {
    const GuardedBuffer memory;
    uint8_t *buffer = memory.at_end(8);
    memset(buffer, 0x77, 8);
    firmware().faults().oversize_replies = 1;
    EXPECT_EQ(BoardFlashRead(handle_, 0, 8, buffer), 80002U);
    EXPECT_TRUE(std::all_of(buffer, buffer + 8, [](uint8_t byte) { return byte == 0x77; }));
}

TEST_F(BoardFlash, LostReplyGives80003) {
    uint8_t byte = 0;
    BoardSetTimeout(handle_, 50);
    expect_loses_its_reply([this] { return BoardFlashErase(handle_, 0, 4096); });
    expect_loses_its_reply([&] { return BoardFlashRead(handle_, 0, 1, &byte); });
    expect_loses_its_reply([this] { return BoardFlashWrite(handle_, 0, "x"); });
}

TEST_F(BoardFlash, NoFreeSlotGives80001) {
    uint8_t byte = 0;
    BoardSetTimeout(handle_, 20);
    firmware().faults().stop_draining = true;
    EXPECT_EQ(BoardFlashErase(handle_, 0, 4096), 80003U); // fills the one slot
    EXPECT_EQ(BoardFlashErase(handle_, 0, 4096), 80001U);
    EXPECT_EQ(BoardFlashRead(handle_, 0, 1, &byte), 80001U);
    EXPECT_EQ(BoardFlashWrite(handle_, 0, "x"), 80001U);
}

TEST_F(BoardFlash, EraseAndReadNeedASlotOfTwentyFourBytes) {
    uint8_t byte = 0;
    BoardSetTimeout(handle_, 20);
    handle_->channel.out.slot_size = 23;
    EXPECT_EQ(BoardFlashErase(handle_, 0, 4096), 80001U);
    EXPECT_EQ(BoardFlashRead(handle_, 0, 1, &byte), 80001U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
    BoardSetTimeout(handle_, 20000);
    handle_->channel.out.slot_size = 24;
    EXPECT_EQ(BoardFlashErase(handle_, 0, 4096), 0U);
    EXPECT_EQ(BoardFlashRead(handle_, 0, 1, &byte), 0U);
}

TEST_F(BoardFlash, WriteNeedsASlotForAddressAndText) {
    BoardSetTimeout(handle_, 20);
    handle_->channel.out.slot_size = 22;
    EXPECT_EQ(BoardFlashWrite(handle_, 0, "abc"), 80001U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
    BoardSetTimeout(handle_, 20000);
    EXPECT_EQ(BoardFlashWrite(handle_, 0, "ab"), 0U);
}

TEST_F(BoardFlash, MissingBufferOrTextGives32770) {
    EXPECT_EQ(BoardFlashRead(handle_, 0, 1, nullptr), 32770U);
    EXPECT_EQ(BoardFlashWrite(handle_, 0, nullptr), 32770U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

TEST_F(BoardFlash, WriteWithoutMemoryGives32769) {
    if (*TARN_SANITIZE != 0) {
        GTEST_SKIP() << "a sanitizer brings an allocator of its own";
    }
    const std::string text(65536, 'x');
    uint32_t status = 0;
    {
        const NoMemory none;
        status = BoardFlashWrite(handle_, 0, text.c_str());
    }
    EXPECT_EQ(status, 32769U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
}

} // namespace
