#include "pci_tarn/pci_tarn.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

namespace {

const uint8_t *bytes(const std::string &text) {
    return reinterpret_cast<const uint8_t *>(text.data());
}

uint32_t size(const std::string &text) {
    return static_cast<uint32_t>(text.size());
}

std::string hex(const uint8_t (&digest)[20]) {
    std::string text;
    for (const uint8_t byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string final_hex(SHA1Context &context) {
    uint8_t digest[20] = {};
    EXPECT_EQ(SHA1Final(digest, &context), 0);
    return hex(digest);
}

std::string digest_of(const std::string &message) {
    SHA1Context context;
    EXPECT_EQ(SHA1Init(&context), 0);
    EXPECT_EQ(SHA1Update(&context, bytes(message), size(message)), 0);
    return final_hex(context);
}

std::string alphabet(size_t length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        text += static_cast<char>('a' + i % 26);
    }
    return text;
}

TEST(Sha1, ContextHasItsLayout) {
    EXPECT_EQ(offsetof(SHA1Context, intermediate_hash), 0u);
    EXPECT_EQ(offsetof(SHA1Context, length_low), 20u);
    EXPECT_EQ(offsetof(SHA1Context, length_high), 24u);
    EXPECT_EQ(offsetof(SHA1Context, message_block_index), 28u);
    EXPECT_EQ(offsetof(SHA1Context, message_block), 30u);
    EXPECT_EQ(offsetof(SHA1Context, computed), 96u);
    EXPECT_EQ(offsetof(SHA1Context, corrupted), 100u);
    EXPECT_EQ(sizeof(SHA1Context), 104u);
}

TEST(Sha1, InitSetsEveryFieldButTheBlock) {
    SHA1Context context;
    std::memset(&context, 0xAA, sizeof context);
    ASSERT_EQ(SHA1Init(&context), 0);
    EXPECT_EQ(context.intermediate_hash[0], 0x67452301u);
    EXPECT_EQ(context.intermediate_hash[1], 0xEFCDAB89u);
    EXPECT_EQ(context.intermediate_hash[2], 0x98BADCFEu);
    EXPECT_EQ(context.intermediate_hash[3], 0x10325476u);
    EXPECT_EQ(context.intermediate_hash[4], 0xC3D2E1F0u);
    EXPECT_EQ(context.length_low, 0u);
    EXPECT_EQ(context.length_high, 0u);
    EXPECT_EQ(context.message_block_index, 0);
    EXPECT_EQ(context.computed, 0);
    EXPECT_EQ(context.corrupted, 0);
}

TEST(Sha1, EmptyMessage) {
    SHA1Context context;
    SHA1Init(&context);
    EXPECT_EQ(final_hex(context), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

TEST(Sha1, StandardVectors) {
    EXPECT_EQ(digest_of("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(digest_of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
}

TEST(Sha1, MillionLettersInPieces) {
    SHA1Context context;
    SHA1Init(&context);
    const std::string piece(1000, 'a');
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(SHA1Update(&context, bytes(piece), size(piece)), 0);
    }
    EXPECT_EQ(final_hex(context), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

const std::pair<size_t, const char *> kLengths[] = {
    {1, "86f7e437faa5a7fce15d1ddcb9eaeaea377667b8"},
    {54, "52c4ac98d05f285b2d9b086703fe0463a3045475"},
    {55, "a617d006d1ca12671785098a19a87fe58443bde9"},
    {56, "4ad5bb7ae3c4024768d364b77c52128ea3cffebe"},
    {57, "e1b3b34da0f7b299090824d9aa81fff6711a79ad"},
    {63, "fc8a5ab77259625085ead3ec96515b3b8d933fad"},
    {64, "93249d4c2f8903ebf41ac358473148ae6ddd7042"},
    {65, "cf2a63cc308225cf07b498d2309a01dd0df52f67"},
    {119, "edd0f1133d0e4ca5f3e98bb7e0295f31d20d2cdb"},
    {120, "23a58eee587aa1f50d19a969ab36a3fe3e88c393"},
    {127, "4add81c7de2e43d621cdb34132bbb23178f4c500"},
    {128, "3698f9beb7cdf5b1e1ce786672fb234143d4df89"},
    {129, "1d96f2c973fdd492d08f2a16f950d654912b61ca"},
    {1000, "0c1e754ad8a0130e18bf2d3b0a57e29ad95e75cd"},
};

TEST(Sha1, LengthsAroundTheBlockBorders) {
    for (const auto &[length, digest] : kLengths) {
        EXPECT_EQ(digest_of(alphabet(length)), digest) << length;
    }
}

TEST(Sha1, PiecesGiveTheSameDigestAsTheWhole) {
    const std::string message = alphabet(200);
    for (uint32_t cut = 1; cut < 200; ++cut) {
        SHA1Context context;
        SHA1Init(&context);
        SHA1Update(&context, bytes(message), cut);
        SHA1Update(&context, bytes(message) + cut, 200 - cut);
        ASSERT_EQ(final_hex(context), digest_of(message)) << cut;
    }
}

TEST(Sha1, SecondFinalGivesTheSameDigest) {
    SHA1Context context;
    SHA1Init(&context);
    SHA1Update(&context, bytes("abc"), 3);
    const std::string first = final_hex(context);
    EXPECT_EQ(final_hex(context), first);
}

TEST(Sha1, FinalClearsBlockAndLengths) {
    SHA1Context context;
    SHA1Init(&context);
    SHA1Update(&context, bytes("abc"), 3);
    final_hex(context);
    const uint8_t zeros[64] = {};
    EXPECT_EQ(std::memcmp(context.message_block, zeros, 64), 0);
    EXPECT_EQ(context.length_low, 0u);
    EXPECT_EQ(context.length_high, 0u);
    EXPECT_NE(context.computed, 0);
}

TEST(Sha1, InitAfterFinalBeginsAnew) {
    SHA1Context context;
    SHA1Init(&context);
    final_hex(context);
    SHA1Init(&context);
    SHA1Update(&context, bytes("abc"), 3);
    EXPECT_EQ(final_hex(context), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST(Sha1, NoBytesAndNullPointersAreFine) {
    EXPECT_EQ(SHA1Update(nullptr, nullptr, 0), 0);
}

TEST(Sha1, NoBytesAfterFinalAreFine) {
    SHA1Context context;
    SHA1Init(&context);
    final_hex(context);
    EXPECT_EQ(SHA1Update(&context, bytes("a"), 0), 0);
    EXPECT_EQ(context.corrupted, 0);
}

TEST(Sha1, NullPointersAreRefused) {
    SHA1Context context;
    uint8_t digest[20];
    SHA1Init(&context);
    EXPECT_EQ(SHA1Init(nullptr), 1);
    EXPECT_EQ(SHA1Update(nullptr, bytes("a"), 1), 1);
    EXPECT_EQ(SHA1Update(&context, nullptr, 1), 1);
    EXPECT_EQ(SHA1Final(nullptr, &context), 1);
    EXPECT_EQ(SHA1Final(digest, nullptr), 1);
    EXPECT_EQ(final_hex(context), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

TEST(Sha1, BytesAfterFinalSpoilTheContext) {
    SHA1Context context;
    uint8_t digest[20];
    SHA1Init(&context);
    final_hex(context);
    EXPECT_EQ(SHA1Update(&context, bytes("a"), 1), 3);
    EXPECT_EQ(context.corrupted, 3);
    EXPECT_EQ(SHA1Final(digest, &context), 3);
    EXPECT_EQ(SHA1Final(digest, &context), 3);
    EXPECT_EQ(SHA1Update(&context, bytes("a"), 1), 3);
}

TEST(Sha1, CarriesTheBitCountIntoTheHighWord) {
    SHA1Context context;
    SHA1Init(&context);
    context.length_low = 0xFFFFFFF8;
    EXPECT_EQ(SHA1Update(&context, bytes("a"), 1), 0);
    EXPECT_EQ(context.length_low, 0u);
    EXPECT_EQ(context.length_high, 1u);
    EXPECT_EQ(context.corrupted, 0);
}

TEST(Sha1, OverflowOfTheBitCountEndsTheLoopAndIsReportedLater) {
    SHA1Context context;
    uint8_t digest[20];
    SHA1Init(&context);
    context.length_low = 0xFFFFFFF8;
    context.length_high = 0xFFFFFFFF;
    EXPECT_EQ(SHA1Update(&context, bytes("abc"), 3), 0);
    EXPECT_EQ(context.message_block_index, 1);
    EXPECT_EQ(context.corrupted, 1);
    EXPECT_EQ(SHA1Update(&context, bytes("abc"), 3), 1);
    EXPECT_EQ(SHA1Final(digest, &context), 1);
}

} // namespace
