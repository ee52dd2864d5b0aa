// The short bit copy, inline for the loops that convert whole images.
#pragma once

#include <cstdint>
#include <cstring>

namespace tarn::pi {

inline constexpr uint32_t kShortCopyBits = 56; // fits one 64-bit word at any two bit phases

template <typename Word>
Word load_word(const uint8_t *from) noexcept {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

template <typename Word>
void store_word(uint8_t *to, Word word) noexcept {
    std::memcpy(to, &word, sizeof word);
}

// The first `bytes` (1 to 8) bytes as a little-endian number; no other byte is read.
inline uint64_t load_bytes(const uint8_t *from, uint32_t bytes) noexcept {
    if (bytes == 8) {
        return load_word<uint64_t>(from);
    }
    if (bytes >= 4) {
        const uint64_t high = load_word<uint32_t>(from + bytes - 4);
        return load_word<uint32_t>(from) | high << (8 * bytes - 32);
    }
    if (bytes >= 2) {
        const uint64_t high = from[bytes - 1];
        return load_word<uint16_t>(from) | high << (8 * bytes - 8);
    }
    return *from;
}

// The counterpart: writes the low `bytes` (1 to 8) bytes of `word` and no other.
inline void store_bytes(uint8_t *to, uint64_t word, uint32_t bytes) noexcept {
    if (bytes == 8) {
        store_word(to, word);
    } else if (bytes >= 4) {
        store_word(to, static_cast<uint32_t>(word));
        store_word(to + bytes - 4, static_cast<uint32_t>(word >> (8 * bytes - 32)));
    } else if (bytes >= 2) {
        store_word(to, static_cast<uint16_t>(word));
        to[bytes - 1] = static_cast<uint8_t>(word >> (8 * bytes - 8));
    } else {
        *to = static_cast<uint8_t>(word);
    }
}

// Copies 1 to kShortCopyBits bits between bit phases below 8; touches no byte outside the runs.
inline void copy_short_bits(uint8_t *to, uint32_t to_phase, const uint8_t *from,
                            uint32_t from_phase, uint32_t bits) noexcept {
    const uint64_t mask = ~uint64_t{0} >> (64 - bits);
    const uint64_t value = load_bytes(from, (from_phase + bits + 7) / 8) >> from_phase & mask;
    const uint32_t bytes = (to_phase + bits + 7) / 8;
    const uint64_t kept = load_bytes(to, bytes) & ~(mask << to_phase);
    store_bytes(to, kept | value << to_phase, bytes);
}

// More than kShortCopyBits bits.
void copy_long_bits(uint8_t *to, uint32_t to_phase, const uint8_t *from, uint32_t from_phase,
                    uint32_t bits) noexcept;

inline void copy_bits(uint8_t *to, uint32_t to_bit, const uint8_t *from, uint32_t from_bit,
                      uint32_t bits) noexcept {
    if (bits == 0) {
        return; // the pointers may be null then
    }
    to += to_bit / 8;
    from += from_bit / 8;
    if (bits <= kShortCopyBits) {
        copy_short_bits(to, to_bit % 8, from, from_bit % 8, bits);
    } else {
        copy_long_bits(to, to_bit % 8, from, from_bit % 8, bits);
    }
}

} // namespace tarn::pi
