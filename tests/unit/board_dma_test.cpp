// Copies by DMA that take one transfer or several, with a driver that answers as the test says.
#include "board/dma_copy.h"
#include "board/driver_version.h"

#include <array>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace {

using tarn::dma_copy;
using tarn::driver_has_dma;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Asked {
    uint32_t address;
    ptrdiff_t offset; // in the buffer
    uint32_t length;
    bool operator==(const Asked &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Asked &asked) {
    return out << asked.address << "+" << asked.offset << "/" << asked.length;
}

class DmaCopy : public testing::Test {
  protected:
    // The driver reports these numbers, one after the other.
    uint32_t copy(int32_t length, std::vector<uint32_t> reported) {
        size_t next = 0;
        return dma_copy(
            0x1000, buffer_.data(), length, [&](uint32_t address, void *part, uint32_t rest) {
                asked_.push_back({address, static_cast<uint8_t *>(part) - buffer_.data(), rest});
                return reported.at(next++);
            });
    }

    std::array<uint8_t, 16> buffer_ = {};
    std::vector<Asked> asked_;
};

TEST_F(DmaCopy, OneTransferThatMovesAllIsEnough) {
    EXPECT_EQ(copy(100, {100}), 0U);
    EXPECT_THAT(asked_, ElementsAre(Asked{0x1000, 0, 100}));
}

TEST_F(DmaCopy, ShortTransfersGoOnWithTheRest) {
    EXPECT_EQ(copy(100, {40, 1, 59}), 0U);
    EXPECT_THAT(asked_, ElementsAre(Asked{0x1000, 0, 100}, Asked{0x1000 + 40, 40, 60},
                                    Asked{0x1000 + 41, 41, 59}));
}

TEST_F(DmaCopy, TransferThatMovesNothingIsAFailure) {
    EXPECT_EQ(copy(100, {0}), 32771U);
    EXPECT_THAT(asked_, ElementsAre(Asked{0x1000, 0, 100}));
}

TEST_F(DmaCopy, LaterTransferThatMovesNothingIsAFailure) {
    EXPECT_EQ(copy(100, {99, 0}), 32771U);
    EXPECT_THAT(asked_, ElementsAre(Asked{0x1000, 0, 100}, Asked{0x1000 + 99, 99, 1}));
}

TEST_F(DmaCopy, ReportOfMoreThanAskedRepeatsTheSameRequest) {
    EXPECT_EQ(copy(100, {101, 0xFFFFFFFF, 100}), 0U);
    EXPECT_THAT(asked_,
                ElementsAre(Asked{0x1000, 0, 100}, Asked{0x1000, 0, 100}, Asked{0x1000, 0, 100}));
}

TEST_F(DmaCopy, ReportOfMoreThanTheRestRepeatsTheRest) {
    EXPECT_EQ(copy(100, {60, 41, 40}), 0U);
    EXPECT_THAT(asked_, ElementsAre(Asked{0x1000, 0, 100}, Asked{0x1000 + 60, 60, 40},
                                    Asked{0x1000 + 60, 60, 40}));
}

TEST_F(DmaCopy, LengthZeroIsRefusedUnasked) {
    EXPECT_EQ(copy(0, {}), 32771U);
    EXPECT_THAT(asked_, IsEmpty());
}

TEST_F(DmaCopy, NegativeLengthIsRefusedUnasked) {
    EXPECT_EQ(copy(-1, {}), 32771U);
    EXPECT_THAT(asked_, IsEmpty());
}

TEST_F(DmaCopy, LongestCopyIsAskedForAtOnce) {
    EXPECT_EQ(copy(0x7FFFFFFF, {0x7FFFFFFF}), 0U);
    EXPECT_THAT(asked_, ElementsAre(Asked{0x1000, 0, 0x7FFFFFFF}));
}

TEST_F(DmaCopy, CardAddressWrapsAtItsEnd) {
    uint32_t second = 77;
    EXPECT_EQ(dma_copy(0xFFFFFFFF, buffer_.data(), 2,
                       [&](uint32_t address, void *, uint32_t) {
                           second = address;
                           return 1U;
                       }),
              0U);
    EXPECT_EQ(second, 0U);
}

// ---- version of the driver ---------------------------------------------------------------------

TEST(DriverVersion, DmaComesWithVersion1004) {
    for (const char *version : {"1.0.0.4", "1.0.0.5", "1.0.1.0", "1.1.0.0", "2.0.0.0"}) {
        EXPECT_TRUE(driver_has_dma(version)) << version;
    }
    for (const char *version : {"1.0.0.3", "1.0.0.0", "0.9.9.9", "0.65535.0.4", "0.0.0.0"}) {
        EXPECT_FALSE(driver_has_dma(version)) << version;
    }
}

TEST(DriverVersion, WithoutFourNumbersThereIsNoDma) {
    for (const char *version : {"", "1", "1.0.0", "1.0.0.", "1.0.0.x", "x.0.0.4", "1,0,0,4"}) {
        EXPECT_FALSE(driver_has_dma(version)) << version;
    }
}

TEST(DriverVersion, WhatFollowsTheFourNumbersIsIgnored) {
    EXPECT_TRUE(driver_has_dma("1.0.0.4 beta"));
    EXPECT_TRUE(driver_has_dma("1.0.0.4.9"));
    EXPECT_FALSE(driver_has_dma("1.0.0.3 beta"));
}

TEST(DriverVersion, NegativeNumbersAreLargeOnes) {
    EXPECT_TRUE(driver_has_dma("-1.0.0.4"));
    EXPECT_TRUE(driver_has_dma("1.0.-1.0"));
}

} // namespace
