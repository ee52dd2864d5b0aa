// Reading the CRC element of an ENI file.

#include "pci_tarn/ecat.h"
#include "support/capture.h"
#include "support/temp_dir.h"

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using tarn::test::StdoutCapture;
using tarn::test::TempDir;

constexpr uint32_t kSize = 128;
constexpr size_t kBlock = kSize + 21;
constexpr char kUntouched = '~';

const char *const kNoElement = "buffSize is smaller than head string.\r\n"
                               "can't found the head string(2)\r\n";
const char *const kNoEnd = "can't found the end string in read buff.\r\n"
                           "can't found the head string(2)\r\n";
const char *const kTooLong = "buffSize is smaller than target string.\r\n"
                             "can't found the head string(2)\r\n";

std::string pad(size_t length) {
    return std::string(length, '.');
}

std::string element(const std::string &text) {
    return "<CRC>" + text + "</CRC>";
}

class EniCrc : public testing::Test {
  protected:
    int32_t read_path(const char *path, uint32_t size = kSize) {
        buffer_.assign(size + 1, kUntouched);
        const StdoutCapture capture;
        const int32_t result = __GetEniFileCRC(path, buffer_.data(), size);
        printed_ = capture.text();
        return result;
    }

    int32_t read(const std::string &content, uint32_t size = kSize) {
        std::ofstream("bus.xml", std::ios::binary) << content;
        return read_path("bus.xml", size);
    }

    // The text with the zeros behind it, and one byte that must never be touched.
    static std::string filled(const std::string &text, uint32_t size = kSize) {
        return text + std::string(size - text.size(), '\0') + kUntouched;
    }

    std::string buffer() const { return {buffer_.begin(), buffer_.end()}; }
    bool buffer_untouched() const {
        return buffer_ == std::vector<char>(buffer_.size(), kUntouched);
    }

    TempDir folder_;
    std::vector<char> buffer_;
    std::string printed_;
};

TEST_F(EniCrc, GivesTheTextBetweenTheTags) {
    EXPECT_EQ(read("<a>" + element("4f2a") + "</a>"), 0);
    EXPECT_EQ(buffer(), filled("4f2a"));
    EXPECT_EQ(printed_, "");
}

TEST_F(EniCrc, GivesZerosForAnEmptyElement) {
    EXPECT_EQ(read(element("")), 0);
    EXPECT_EQ(buffer(), filled(""));
}

TEST_F(EniCrc, TakesTheFirstOfTwoElements) {
    EXPECT_EQ(read(element("first") + element("second")), 0);
    EXPECT_EQ(buffer(), filled("first"));
}

TEST_F(EniCrc, Takes128CharactersWithoutTerminator) {
    const std::string text(128, 'c');
    EXPECT_EQ(read(element(text)), 0);
    EXPECT_EQ(buffer(), text + kUntouched);
}

TEST_F(EniCrc, Refuses129Characters) {
    EXPECT_EQ(read(element(std::string(129, 'c'))), -1);
    EXPECT_EQ(printed_, kTooLong);
    EXPECT_TRUE(buffer_untouched());
}

TEST_F(EniCrc, CallsALongTextTooLongWhileItsEndIsInTheBlock) {
    EXPECT_EQ(read(element(std::string(138, 'c'))), -1);
    EXPECT_EQ(printed_, kTooLong);
}

TEST_F(EniCrc, MissesTheEndOfATextThatLeavesTheBlock) {
    EXPECT_EQ(read(element(std::string(139, 'c'))), -1);
    EXPECT_EQ(printed_, kNoEnd);
    EXPECT_TRUE(buffer_untouched());
}

TEST_F(EniCrc, SaysWhenTheFileIsMissing) {
    EXPECT_EQ(read_path("missing.xml"), -1);
    EXPECT_EQ(printed_, "file isn't exist.");
    EXPECT_TRUE(buffer_untouched());
}

TEST_F(EniCrc, TakesANullPathAsMissing) {
    EXPECT_EQ(read_path(nullptr), -1);
    EXPECT_EQ(printed_, "file isn't exist.");
}

TEST_F(EniCrc, RefusesANullBuffer) {
    std::ofstream("bus.xml", std::ios::binary) << element("4f2a");
    EXPECT_EQ(__GetEniFileCRC("bus.xml", nullptr, kSize), -1);
}

TEST_F(EniCrc, FindsNothingInAnEmptyFile) {
    EXPECT_EQ(read(""), -1);
    EXPECT_EQ(printed_, kNoElement);
    EXPECT_TRUE(buffer_untouched());
}

TEST_F(EniCrc, FindsNothingInAFileWithoutTheElement) {
    EXPECT_EQ(read(pad(3 * kBlock + 50)), -1);
    EXPECT_EQ(printed_, kNoElement);
}

TEST_F(EniCrc, DoesNotSearchABlockShorterThanSixBytes) {
    EXPECT_EQ(read("<CRC>"), -1);
    EXPECT_EQ(printed_, kNoElement);
}

TEST_F(EniCrc, SearchesABlockOfSixBytes) {
    EXPECT_EQ(read("<CRC>x"), -1);
    EXPECT_EQ(printed_, kNoEnd);
}

TEST_F(EniCrc, FindsTheElementInALaterBlock) {
    EXPECT_EQ(read(pad(2 * kBlock + 10) + element("4f2a")), 0);
    EXPECT_EQ(buffer(), filled("4f2a"));
}

TEST_F(EniCrc, FindsTheElementAtTheStartOfABlock) {
    EXPECT_EQ(read(pad(kBlock) + element("4f2a")), 0);
    EXPECT_EQ(buffer(), filled("4f2a"));
}

TEST_F(EniCrc, FindsTheElementAtTheEndOfABlock) {
    const std::string crc = element("4f2a");
    EXPECT_EQ(read(pad(kBlock - crc.size()) + crc + pad(40)), 0);
    EXPECT_EQ(buffer(), filled("4f2a"));
}

TEST_F(EniCrc, MissesAStartTagThatStraddlesTwoBlocks) {
    EXPECT_EQ(read(pad(kBlock - 2) + element("4f2a") + pad(20)), -1);
    EXPECT_EQ(printed_, kNoElement);
}

TEST_F(EniCrc, MissesAnEndTagThatStraddlesTwoBlocks) {
    EXPECT_EQ(read(pad(kBlock - 12) + element("4f2a") + pad(20)), -1);
    EXPECT_EQ(printed_, kNoEnd);
}

TEST_F(EniCrc, DoesNotReadOnForTheEndTag) {
    EXPECT_EQ(read(pad(kBlock - 5) + "<CRC>" + "4f2a</CRC>"), -1);
    EXPECT_EQ(printed_, kNoEnd);
}

TEST_F(EniCrc, DoesNotTryASecondElementAfterABrokenOne) {
    EXPECT_EQ(read(pad(kBlock - 8) + "<CRC>4f2" + element("good")), -1);
    EXPECT_EQ(printed_, kNoEnd);
    EXPECT_TRUE(buffer_untouched());
}

TEST_F(EniCrc, IgnoresAnEndTagBeforeTheStartTag) {
    EXPECT_EQ(read("</CRC>" + element("4f2a")), 0);
    EXPECT_EQ(buffer(), filled("4f2a"));
}

TEST_F(EniCrc, DoesNotTakeAStaleEndTagOfTheSameBlock) {
    const std::string before = pad(50) + "</CRC>";
    EXPECT_EQ(read(before + pad(kBlock - 9 - before.size()) + "<CRC>4f2a"), -1);
    EXPECT_EQ(printed_, kNoEnd);
}

TEST_F(EniCrc, DoesNotTakeAStaleEndTagOfTheBlockBefore) {
    const std::string before = pad(60) + "</CRC>";
    EXPECT_EQ(read(before + pad(kBlock - before.size()) + "<CRC>4f2a"), -1);
    EXPECT_EQ(printed_, kNoEnd);
}

TEST_F(EniCrc, SizesItsBlocksByTheBuffer) {
    EXPECT_EQ(read(pad(25) + element("4f2a"), 4), 0);
    EXPECT_EQ(buffer(), filled("4f2a", 4));
}

TEST_F(EniCrc, RefusesTextForABufferOfNoBytes) {
    EXPECT_EQ(read(element("4"), 0), -1);
    EXPECT_EQ(printed_, kTooLong);
    EXPECT_EQ(read(element(""), 0), 0);
    EXPECT_TRUE(buffer_untouched());
}

} // namespace
