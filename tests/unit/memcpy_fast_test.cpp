#include "pci_tarn/pci_tarn.h"
#include "support/guarded_buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

constexpr size_t kGuard = 192;
constexpr uint8_t kGuardByte = 0xC7;

uint8_t pattern(size_t i) {
    return static_cast<uint8_t>(i * 31 + (i >> 8) * 7 + 1);
}

// A source with the pattern and a destination of guard bytes, each at its own misalignment.
class Regions {
  public:
    explicit Regions(size_t largest) : source_(largest + 2 * kGuard), to_(largest + 2 * kGuard) {
        for (size_t i = 0; i < source_.size(); ++i) {
            source_[i] = pattern(i);
        }
    }

    // Copies, and checks the bytes, the guards on both sides and the result.
    testing::AssertionResult copies(size_t count, size_t to_offset, size_t from_offset) {
        const size_t end = to_offset + count + kGuard;
        std::memset(to_.data(), kGuardByte, end);
        uint8_t *to = to_.data() + to_offset;
        const uint8_t *from = source_.data() + from_offset;
        if (memcpy_fast(to, from, count) != to) {
            return testing::AssertionFailure() << "wrong result at count " << count;
        }
        if (std::memcmp(to, from, count) != 0) {
            return testing::AssertionFailure() << "wrong bytes at count " << count << " to "
                                               << to_offset << " from " << from_offset;
        }
        for (size_t i = 0; i < end; ++i) {
            const bool outside = i < to_offset || i >= to_offset + count;
            if (outside && to_[i] != kGuardByte) {
                return testing::AssertionFailure() << "byte " << i << " written at count " << count;
            }
        }
        return testing::AssertionSuccess();
    }

  private:
    std::vector<uint8_t> source_;
    std::vector<uint8_t> to_;
};

TEST(MemcpyFast, NothingWithNullPointers) {
    EXPECT_EQ(memcpy_fast(nullptr, nullptr, 0), nullptr);
}

TEST(MemcpyFast, NothingTouchesNothing) {
    uint8_t byte = 5;
    EXPECT_EQ(memcpy_fast(&byte, nullptr, 0), &byte);
    EXPECT_EQ(byte, 5);
}

TEST(MemcpyFast, EveryCountTo300AtEveryMisalignmentOfTheDestination) {
    Regions regions(300);
    for (size_t count = 0; count <= 300; ++count) {
        for (size_t offset = 0; offset < 64; ++offset) {
            ASSERT_TRUE(regions.copies(count, offset, 5));
        }
    }
}

TEST(MemcpyFast, EveryCountTo300AtEveryMisalignmentOfTheSource) {
    Regions regions(300);
    for (size_t count = 0; count <= 300; ++count) {
        for (size_t offset = 0; offset < 64; ++offset) {
            ASSERT_TRUE(regions.copies(count, 3, offset));
        }
    }
}

TEST(MemcpyFast, SizesAroundTheBlockBorders) {
    Regions regions(70000);
    for (size_t count : {383u, 384u, 385u, 511u, 512u, 513u, 1023u, 1024u, 1025u, 4095u, 4096u,
                         4097u, 8192u, 65535u, 65536u, 65537u}) {
        for (size_t offset : {0u, 1u, 15u, 16u, 17u, 31u, 32u, 33u}) {
            ASSERT_TRUE(regions.copies(count, offset, 0));
            ASSERT_TRUE(regions.copies(count, offset, 7));
        }
    }
}

// The border counts what is left once the destination is aligned, so both sides of it are met at
// different counts for different destinations.
TEST(MemcpyFast, SizesAroundTheLargeCopy) {
    Regions regions(0x200000 + 300);
    for (size_t count : {0x1FFFFFu, 0x200000u, 0x200001u, 0x20000Fu, 0x200010u, 0x200011u,
                         0x200020u, 0x200021u, 0x200080u, 0x200100u}) {
        for (size_t offset : {0u, 1u, 31u}) {
            ASSERT_TRUE(regions.copies(count, offset, 0));
            ASSERT_TRUE(regions.copies(count, offset, offset));
            ASSERT_TRUE(regions.copies(count, offset, 5));
        }
    }
}

TEST(MemcpyFast, SeveralMegabytes) {
    Regions regions(0x500000);
    ASSERT_TRUE(regions.copies(0x500000, 0, 0));
    ASSERT_TRUE(regions.copies(0x4FFFFF, 13, 29));
}

// A page nobody may touch on each side of both regions: one byte too many is a fault.
void copy_at_the_guards(const tarn::test::GuardedBuffer &to, const tarn::test::GuardedBuffer &from,
                        size_t count) {
    for (uint8_t *target : {to.at_start(), to.at_end(count)}) {
        for (const uint8_t *source : {from.at_start(), from.at_end(count)}) {
            std::memset(target, 0, count);
            memcpy_fast(target, source, count);
            ASSERT_EQ(std::memcmp(target, source, count), 0) << count;
        }
    }
}

TEST(MemcpyFast, ReadsAndWritesNothingBeyondTheRegions) {
    const tarn::test::GuardedBuffer to, from;
    for (size_t i = 0; i < tarn::test::GuardedBuffer::kCapacity; ++i) {
        from.at_start()[i] = pattern(i);
    }
    for (size_t count = 0; count <= 300; ++count) {
        copy_at_the_guards(to, from, count);
    }
    for (size_t count : {511u, 512u, 4095u, 4096u, 4097u, 65535u, 65536u}) {
        copy_at_the_guards(to, from, count);
    }
}

TEST(MemcpyFast, NeighbouringRegionsDoNotMix) {
    for (size_t count = 1; count <= 300; ++count) {
        std::vector<uint8_t> memory(2 * count);
        for (size_t i = 0; i < 2 * count; ++i) {
            memory[i] = pattern(i);
        }
        const std::vector<uint8_t> before = memory;
        memcpy_fast(memory.data() + count, memory.data(), count);
        ASSERT_EQ(std::memcmp(memory.data(), before.data(), count), 0) << count;
        ASSERT_EQ(std::memcmp(memory.data() + count, before.data(), count), 0) << count;
    }
}

TEST(DriverFastMemcpy, IsTheSameCopy) {
    uint8_t to[40] = {};
    uint8_t from[40];
    for (size_t i = 0; i < sizeof from; ++i) {
        from[i] = pattern(i);
    }
    EXPECT_EQ(DriverFastMemcpy(to, from, 33), to);
    EXPECT_EQ(std::memcmp(to, from, 33), 0);
    EXPECT_EQ(to[33], 0);
    EXPECT_EQ(DriverFastMemcpy(nullptr, nullptr, 0), nullptr);
}

} // namespace
