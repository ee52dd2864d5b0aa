// Bits of process images. Bit n is bit n mod 8 of byte n / 8.
#pragma once

#include "layout/card_memory_map.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace tarn::vcard {

// An image with room for whole 8-byte accesses at its last bit.
struct alignas(64) Image {
    uint8_t bytes[kPiBufferSize + 8] = {};
};

// At most 32 bits from bit `offset`.
inline uint32_t get_bits(const Image &image, uint32_t offset, uint32_t count) {
    uint64_t word = 0;
    std::memcpy(&word, image.bytes + offset / 8, sizeof(word));
    return static_cast<uint32_t>((word >> (offset % 8)) & ((UINT64_C(1) << count) - 1));
}

inline void set_bits(Image &image, uint32_t offset, uint32_t count, uint32_t value) {
    uint64_t word = 0;
    std::memcpy(&word, image.bytes + offset / 8, sizeof(word));
    const uint64_t mask = ((UINT64_C(1) << count) - 1) << (offset % 8);
    word = (word & ~mask) | ((static_cast<uint64_t>(value) << (offset % 8)) & mask);
    std::memcpy(image.bytes + offset / 8, &word, sizeof(word));
}

inline void copy_bits(Image &to, uint32_t to_offset, const Image &from, uint32_t from_offset,
                      uint32_t count) {
    if (to_offset % 8 == 0 && from_offset % 8 == 0) {
        std::memcpy(to.bytes + to_offset / 8, from.bytes + from_offset / 8, count / 8);
        to_offset += count / 8 * 8;
        from_offset += count / 8 * 8;
        count %= 8;
    }
    while (count != 0) {
        const uint32_t step = std::min<uint32_t>(count, 32);
        set_bits(to, to_offset, step, get_bits(from, from_offset, step));
        to_offset += step;
        from_offset += step;
        count -= step;
    }
}

inline void clear_bits(Image &image, uint32_t offset, uint32_t count) {
    while (count != 0) {
        const uint32_t step = std::min<uint32_t>(count, 32);
        set_bits(image, offset, step, 0);
        offset += step;
        count -= step;
    }
}

} // namespace tarn::vcard
