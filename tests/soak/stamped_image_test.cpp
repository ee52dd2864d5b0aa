// That the soak test would see a torn image.
#include "soak/stamped_image.h"

#include <gtest/gtest.h>

namespace {

using tarn::test::StampedImage;

constexpr uint32_t kBytes = 64;

StampedImage stamped(uint32_t sequence) {
    StampedImage image(kBytes);
    image.stamp(sequence);
    return image;
}

TEST(StampedImage, IsWhole) {
    for (const uint32_t sequence : {1u, 2u, 0xFFFFFFFFu}) {
        EXPECT_TRUE(stamped(sequence).whole());
        EXPECT_EQ(stamped(sequence).sequence(), sequence);
    }
}

TEST(StampedImage, ZerosAreWholeAndHaveSequenceZero) {
    EXPECT_TRUE(StampedImage(kBytes).whole());
    EXPECT_EQ(StampedImage(kBytes).sequence(), 0u);
}

TEST(StampedImage, PartsOfTwoNeighboursAreNotWhole) {
    for (uint32_t cut = 1; cut < kBytes; ++cut) {
        StampedImage older = stamped(7);
        StampedImage newer = stamped(8);
        std::memcpy(newer.data(), older.data(), cut);
        EXPECT_FALSE(newer.whole()) << cut;
    }
}

TEST(StampedImage, AStampAfterZerosIsNotWholeInParts) {
    for (uint32_t cut = 1; cut < kBytes; ++cut) {
        StampedImage zeros(kBytes);
        StampedImage first = stamped(1);
        std::memcpy(zeros.data(), first.data(), cut);
        EXPECT_FALSE(zeros.whole()) << cut;
    }
}

} // namespace
