// ecat_bitmemcpy against a model that copies one bit after the other.
#include "pci_tarn/pi.h"
#include "support/guarded_buffer.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

using tarn::test::GuardedBuffer;
using Bytes = std::vector<uint8_t>;

bool bit(const uint8_t *bytes, uint32_t n) {
    return (bytes[n / 8] >> n % 8 & 1) != 0;
}

void copy_bit_by_bit(uint8_t *to, uint32_t to_bit, const uint8_t *from, uint32_t from_bit,
                     uint32_t bits) {
    for (uint32_t i = 0; i < bits; ++i) {
        const uint32_t n = to_bit + i;
        const auto one = static_cast<uint8_t>(1 << n % 8);
        to[n / 8] =
            static_cast<uint8_t>(bit(from, from_bit + i) ? to[n / 8] | one : to[n / 8] & ~one);
    }
}

uint32_t bytes_of(uint32_t first_bit, uint32_t bits) {
    return (first_bit + bits + 7) / 8;
}

uint32_t dice() {
    static std::mt19937 engine(20);
    return static_cast<uint32_t>(engine());
}

void fill(uint8_t *bytes, size_t count) {
    std::generate_n(bytes, count, [] { return static_cast<uint8_t>(dice()); });
}

// One copy between exactly as many bytes as the runs touch, at the given places.
void expect_copy(uint8_t *to, uint32_t to_bit, uint8_t *from, uint32_t from_bit, uint32_t bits) {
    const uint32_t to_bytes = bytes_of(to_bit, bits);
    const uint32_t from_bytes = bytes_of(from_bit, bits);
    fill(to, to_bytes);
    fill(from, from_bytes);
    Bytes expected(to, to + to_bytes);
    copy_bit_by_bit(expected.data(), to_bit, from, from_bit, bits);
    ecat_bitmemcpy(to, to_bit, from, from_bit, bits);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), to))
        << bits << " bits from " << from_bit << " to " << to_bit;
}

TEST(BitMemcpy, ReturnsTheDestination) {
    uint8_t to[2] = {};
    const uint8_t from[2] = {};
    EXPECT_EQ(ecat_bitmemcpy(to, 3, from, 1, 9), to);
}

TEST(BitMemcpy, ZeroBitsTouchNothing) {
    uint8_t to[1] = {0xA5};
    EXPECT_EQ(ecat_bitmemcpy(to, 3, nullptr, 5, 0), to);
    EXPECT_EQ(to[0], 0xA5);
    EXPECT_EQ(ecat_bitmemcpy(nullptr, 100, nullptr, 200, 0), nullptr);
}

TEST(BitMemcpy, ThirteenBitsFromBitFiveToBitTwoLeaveTheOthersAlone) {
    const uint8_t from[3] = {0xE0, 0xFF, 0x03}; // bits 5 to 17 set
    uint8_t to[3] = {};
    ecat_bitmemcpy(to, 2, from, 5, 13);
    EXPECT_EQ(to[0], 0xFC);
    EXPECT_EQ(to[1], 0x7F);
    EXPECT_EQ(to[2], 0x00);

    const uint8_t zeros[3] = {};
    uint8_t ones[3] = {0xFF, 0xFF, 0xFF};
    ecat_bitmemcpy(ones, 2, zeros, 5, 13);
    EXPECT_EQ(ones[0], 0x03);
    EXPECT_EQ(ones[1], 0x80);
    EXPECT_EQ(ones[2], 0xFF);
}

TEST(BitMemcpy, WholeBytesKeepTheUpperBitsOfTheLastOne) {
    const uint8_t from[4] = {0, 0x11, 0x22, 0xFF};
    uint8_t to[4] = {0xCC, 0xCC, 0xCC, 0xC0};
    ecat_bitmemcpy(to, 8, from, 8, 19);
    EXPECT_EQ(to[0], 0xCC);
    EXPECT_EQ(to[1], 0x11);
    EXPECT_EQ(to[2], 0x22);
    EXPECT_EQ(to[3], 0xC7);
}

TEST(BitMemcpy, OffsetsThatAreEqualModuloEightAreNotWholeBytes) {
    const uint8_t from[3] = {0xFF, 0xFF, 0xFF};
    uint8_t to[3] = {};
    ecat_bitmemcpy(to, 3, from, 11, 8);
    EXPECT_EQ(to[0], 0xF8);
    EXPECT_EQ(to[1], 0x07);
    EXPECT_EQ(to[2], 0x00);
}

TEST(BitMemcpy, EqualsTheModelAtEverySmallOffsetAndLength) {
    Bytes to(64);
    Bytes from(64);
    for (uint32_t bits = 0; bits <= 200; ++bits) {
        for (uint32_t to_bit = 0; to_bit < 18; ++to_bit) {
            for (uint32_t from_bit = 0; from_bit < 18; ++from_bit) {
                ASSERT_NO_FATAL_FAILURE(
                    expect_copy(to.data(), to_bit, from.data(), from_bit, bits));
            }
        }
    }
}

TEST(BitMemcpy, EqualsTheModelAtRandomLargeLengths) {
    Bytes to(16384);
    Bytes from(16384);
    for (int round = 0; round < 300; ++round) {
        const uint32_t bits = dice() % 65536;
        ASSERT_NO_FATAL_FAILURE(
            expect_copy(to.data(), dice() % 4096, from.data(), dice() % 4096, bits));
    }
}

TEST(BitMemcpy, NeighboursOfTheDestinationStay) {
    for (uint32_t bits : {1U, 5U, 56U, 57U, 63U, 64U, 65U, 127U, 500U, 1000U, 4096U}) {
        for (uint32_t phase = 0; phase < 64; ++phase) {
            Bytes from(1024, 0xFF);
            Bytes to(1024, 0);
            const uint32_t first = 8 * 64 + phase % 8;
            ecat_bitmemcpy(to.data(), first, from.data(), phase / 8, bits);
            for (uint32_t n = 0; n < 8 * to.size(); ++n) {
                ASSERT_EQ(bit(to.data(), n), n >= first && n < first + bits) << n;
            }
        }
    }
}

TEST(BitMemcpy, TouchesNoByteBehindTheRuns) {
    const GuardedBuffer to;
    const GuardedBuffer from;
    for (uint32_t bits = 1; bits <= 700; ++bits) {
        for (uint32_t phase = 0; phase < 64; ++phase) {
            const uint32_t to_bit = phase % 8;
            const uint32_t from_bit = phase / 8;
            ASSERT_NO_FATAL_FAILURE(expect_copy(to.at_end(bytes_of(to_bit, bits)), to_bit,
                                                from.at_end(bytes_of(from_bit, bits)), from_bit,
                                                bits));
        }
    }
}

TEST(BitMemcpy, TouchesNoByteBeforeTheRuns) {
    const GuardedBuffer to;
    const GuardedBuffer from;
    for (uint32_t bits = 1; bits <= 700; ++bits) {
        for (uint32_t phase = 0; phase < 64; ++phase) {
            ASSERT_NO_FATAL_FAILURE(
                expect_copy(to.at_start(), phase % 8, from.at_start(), phase / 8, bits));
        }
    }
}

TEST(BitMemcpy, NeedsNoAlignment) {
    Bytes to(256);
    Bytes from(256);
    for (uint32_t to_byte = 0; to_byte < 8; ++to_byte) {
        for (uint32_t from_byte = 0; from_byte < 8; ++from_byte) {
            ASSERT_NO_FATAL_FAILURE(
                expect_copy(to.data() + to_byte, 3, from.data() + from_byte, 6, 333));
        }
    }
}

TEST(BitMemcpy, OffsetsReachBeyondTheFirstEightKilobytes) {
    Bytes to(20000);
    Bytes from(20000);
    expect_copy(to.data(), 8 * 19000 + 1, from.data(), 8 * 18000 + 7, 999);
}

} // namespace
