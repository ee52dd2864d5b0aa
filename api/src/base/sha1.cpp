#include "pci_tarn/base.h"

#include <bit>
#include <cstddef>
#include <cstring>

static_assert(offsetof(SHA1Context, length_low) == 20);
static_assert(offsetof(SHA1Context, length_high) == 24);
static_assert(offsetof(SHA1Context, message_block_index) == 28);
static_assert(offsetof(SHA1Context, message_block) == 30);
static_assert(offsetof(SHA1Context, computed) == 96);
static_assert(offsetof(SHA1Context, corrupted) == 100);
static_assert(sizeof(SHA1Context) == 104);

namespace {

enum Result : int32_t { kSuccess = 0, kNull = 1, kStateError = 3 };

constexpr int16_t kBlockSize = 64;
constexpr int16_t kLengthOffset = 56; // where the bit length stands in the last block

uint32_t load_big_endian(const uint8_t *bytes) noexcept {
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

void store_big_endian(uint8_t *bytes, uint32_t word) noexcept {
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<uint8_t>(word >> (24 - 8 * i));
    }
}

struct Round {
    uint32_t constant;
    uint32_t (*mix)(uint32_t b, uint32_t c, uint32_t d);
};

uint32_t choose(uint32_t b, uint32_t c, uint32_t d) {
    return (b & c) | (~b & d);
}
uint32_t parity(uint32_t b, uint32_t c, uint32_t d) {
    return b ^ c ^ d;
}
uint32_t majority(uint32_t b, uint32_t c, uint32_t d) {
    return (b & c) | (b & d) | (c & d);
}

constexpr Round kRounds[4] = {
    {0x5A827999, choose},
    {0x6ED9EBA1, parity},
    {0x8F1BBCDC, majority},
    {0xCA62C1D6, parity},
};

void process_block(SHA1Context &context) noexcept {
    uint32_t w[80];
    for (int t = 0; t < 16; ++t) {
        w[t] = load_big_endian(context.message_block + 4 * t);
    }
    for (int t = 16; t < 80; ++t) {
        w[t] = std::rotl(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
    }
    uint32_t *hash = context.intermediate_hash;
    uint32_t a = hash[0], b = hash[1], c = hash[2], d = hash[3], e = hash[4];
    for (int t = 0; t < 80; ++t) {
        const Round &round = kRounds[t / 20];
        const uint32_t sum = std::rotl(a, 5) + round.mix(b, c, d) + e + w[t] + round.constant;
        e = d;
        d = c;
        c = std::rotl(b, 30);
        b = a;
        a = sum;
    }
    hash[0] += a;
    hash[1] += b;
    hash[2] += c;
    hash[3] += d;
    hash[4] += e;
    context.message_block_index = 0;
}

void append(SHA1Context &context, uint8_t byte) noexcept {
    context.message_block[context.message_block_index++] = byte;
}

// False when the bit count no longer fits 64 bits.
bool count_byte(SHA1Context &context) noexcept {
    context.length_low += 8;
    return context.length_low != 0 || ++context.length_high != 0;
}

void pad_to(SHA1Context &context, int16_t index) noexcept {
    while (context.message_block_index < index) {
        append(context, 0);
    }
}

void pad_message(SHA1Context &context) noexcept {
    append(context, 0x80);
    if (context.message_block_index > kLengthOffset) {
        pad_to(context, kBlockSize);
        process_block(context);
    }
    pad_to(context, kLengthOffset);
    store_big_endian(context.message_block + kLengthOffset, context.length_high);
    store_big_endian(context.message_block + kLengthOffset + 4, context.length_low);
    process_block(context);
}

} // namespace

int32_t SHA1Init(SHA1Context *context) {
    if (context == nullptr) {
        return kNull;
    }
    constexpr uint32_t initial[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    std::memcpy(context->intermediate_hash, initial, sizeof initial);
    context->length_low = 0;
    context->length_high = 0;
    context->message_block_index = 0;
    context->computed = 0;
    context->corrupted = 0;
    return kSuccess;
}

int32_t SHA1Update(SHA1Context *context, const uint8_t *data, uint32_t length) {
    if (length == 0) {
        return kSuccess;
    }
    if (context == nullptr || data == nullptr) {
        return kNull;
    }
    if (context->computed != 0) {
        context->corrupted = kStateError;
    }
    if (context->corrupted != 0) {
        return context->corrupted;
    }
    for (uint32_t i = 0; i < length && context->corrupted == 0; ++i) {
        append(*context, data[i]);
        if (!count_byte(*context)) {
            context->corrupted = kNull; // required code of an overflown bit count
        }
        if (context->message_block_index == kBlockSize) {
            process_block(*context);
        }
    }
    return kSuccess; // also after an overflow: the next call reports it
}

int32_t SHA1Final(uint8_t digest[20], SHA1Context *context) {
    if (digest == nullptr || context == nullptr) {
        return kNull;
    }
    if (context->corrupted != 0) {
        return context->corrupted;
    }
    if (context->computed == 0) {
        pad_message(*context);
        std::memset(context->message_block, 0, sizeof context->message_block);
        context->length_low = 0;
        context->length_high = 0;
        context->computed = 1;
    }
    for (int i = 0; i < 5; ++i) {
        store_big_endian(digest + 4 * i, context->intermediate_hash[i]);
    }
    return kSuccess;
}
