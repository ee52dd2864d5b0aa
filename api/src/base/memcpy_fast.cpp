// Copies of up to 128 bytes are a few moves of one width that overlap in the middle: one class per
// width and no table of cases, because a jump that depends on the size is a jump mispredicted.
// Longer copies go in blocks of 128 bytes to an aligned destination; the first and the last bytes
// are unaligned pieces that overlap those. No move leaves either region. String instructions are
// left out on purpose: on uncached card memory they move single bytes.
//
// The functions for AVX2 are leaves that keep everything in registers: MinGW aligns its stack to
// 16 bytes only, and a 32-byte register that is saved there would fault.

#include "pci_tarn/base.h"

#include <immintrin.h>

#define TARN_AVX2 __attribute__((target("avx2")))

namespace {

// Beyond this many bytes a copy bypasses the cache, which it would only flush.
constexpr uint64_t kLargeCopy = 0x200000;
constexpr uint64_t kBlock = 128;

using To = uint8_t *;
using From = const uint8_t *;

inline __m128i load16(From from) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(from));
}

inline void store16(To to, __m128i value) noexcept {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(to), value);
}

inline void stream16(To to, __m128i value) noexcept {
    _mm_stream_si128(reinterpret_cast<__m128i *>(to), value);
}

TARN_AVX2 inline __m256i load32(From from) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(from));
}

TARN_AVX2 inline void store32(To to, __m256i value) noexcept {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to), value);
}

TARN_AVX2 inline void stream32(To to, __m256i value) noexcept {
    _mm256_stream_si256(reinterpret_cast<__m256i *>(to), value);
}

// 1 to 3 bytes: first, middle and last.
inline void copy_1_to_3(To to, From from, uint64_t count) noexcept {
    const uint8_t first = from[0];
    const uint8_t middle = from[count / 2];
    const uint8_t last = from[count - 1];
    to[0] = first;
    to[count / 2] = middle;
    to[count - 1] = last;
}

inline uint32_t load4(From from) noexcept {
    uint32_t value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}

inline void store4(To to, uint32_t value) noexcept {
    __builtin_memcpy(to, &value, sizeof value);
}

// 4 to 16 bytes: two pieces from each end, which are the same piece below 8.
inline void copy_4_to_16(To to, From from, uint64_t count) noexcept {
    const uint64_t second = count / 8 * 4;
    const uint64_t last = count - 4;
    const uint32_t a = load4(from), b = load4(from + second);
    const uint32_t c = load4(from + last - second), d = load4(from + last);
    store4(to, a);
    store4(to + second, b);
    store4(to + last - second, c);
    store4(to + last, d);
}

inline void copy_16_to_32(To to, From from, uint64_t count) noexcept {
    const __m128i a = load16(from), b = load16(from + count - 16);
    store16(to, a);
    store16(to + count - 16, b);
}

inline void copy_32_to_64(To to, From from, uint64_t count) noexcept {
    const __m128i a = load16(from), b = load16(from + 16);
    const __m128i c = load16(from + count - 32), d = load16(from + count - 16);
    store16(to, a);
    store16(to + 16, b);
    store16(to + count - 32, c);
    store16(to + count - 16, d);
}

inline void copy_64_to_128(To to, From from, uint64_t count) noexcept {
    copy_32_to_64(to, from, 64);
    copy_32_to_64(to + count - 64, from + count - 64, 64);
}

TARN_AVX2 inline void copy_64_to_128_avx2(To to, From from, uint64_t count) noexcept {
    const __m256i a = load32(from), b = load32(from + 32);
    const __m256i c = load32(from + count - 64), d = load32(from + count - 32);
    store32(to, a);
    store32(to + 32, b);
    store32(to + count - 64, c);
    store32(to + count - 32, d);
}

TARN_AVX2 inline void copy_128_to_256_avx2(To to, From from, uint64_t count) noexcept {
    const __m256i a = load32(from), b = load32(from + 32);
    const __m256i c = load32(from + 64), d = load32(from + 96);
    const __m256i e = load32(from + count - 128), f = load32(from + count - 96);
    const __m256i g = load32(from + count - 64), h = load32(from + count - 32);
    store32(to, a);
    store32(to + 32, b);
    store32(to + 64, c);
    store32(to + 96, d);
    store32(to + count - 128, e);
    store32(to + count - 96, f);
    store32(to + count - 64, g);
    store32(to + count - 32, h);
}

// What is left of a long copy once its first piece has brought the destination to a boundary.
struct Rest {
    To to;
    From from;
    uint64_t count;

    Rest(To first_to, From first_from, uint64_t whole, uint64_t piece) noexcept {
        const uint64_t skip = piece - (reinterpret_cast<uintptr_t>(first_to) & (piece - 1));
        to = first_to + skip;
        from = first_from + skip;
        count = whole - skip;
    }

    bool is_large() const noexcept { return count > kLargeCopy; }
    bool has_block() const noexcept { return count > kBlock; }
    void next() noexcept {
        to += kBlock;
        from += kBlock;
        count -= kBlock;
    }
};

// From 65 bytes on.
void *copy_long_sse2(void *destination, const void *source, uint64_t count) noexcept {
    const auto to = static_cast<To>(destination);
    const auto from = static_cast<From>(source);
    if (count <= kBlock) {
        copy_64_to_128(to, from, count);
        return destination;
    }
    store16(to, load16(from));
    Rest rest(to, from, count, 16);
    if (rest.is_large()) {
        for (; rest.has_block(); rest.next()) {
            for (uint64_t i = 0; i < kBlock; i += 16) {
                stream16(rest.to + i, load16(rest.from + i));
            }
        }
        _mm_sfence();
    } else {
        for (; rest.has_block(); rest.next()) {
            copy_64_to_128(rest.to, rest.from, kBlock);
        }
    }
    copy_64_to_128(to + count - kBlock, from + count - kBlock, kBlock);
    return destination;
}

TARN_AVX2 void *copy_long_avx2(void *destination, const void *source, uint64_t count) noexcept {
    const auto to = static_cast<To>(destination);
    const auto from = static_cast<From>(source);
    if (count <= kBlock) {
        copy_64_to_128_avx2(to, from, count);
        return destination;
    }
    if (count <= 2 * kBlock) {
        copy_128_to_256_avx2(to, from, count);
        return destination;
    }
    store32(to, load32(from));
    Rest rest(to, from, count, 32);
    if (rest.is_large()) {
        for (; rest.has_block(); rest.next()) {
            const __m256i a = load32(rest.from), b = load32(rest.from + 32);
            const __m256i c = load32(rest.from + 64), d = load32(rest.from + 96);
            stream32(rest.to, a);
            stream32(rest.to + 32, b);
            stream32(rest.to + 64, c);
            stream32(rest.to + 96, d);
        }
        _mm_sfence();
    } else {
        for (; rest.has_block(); rest.next()) {
            copy_64_to_128_avx2(rest.to, rest.from, kBlock);
        }
    }
    copy_64_to_128_avx2(to + count - kBlock, from + count - kBlock, kBlock);
    return destination;
}

using CopyLong = void *(void *, const void *, uint64_t) noexcept;

constinit CopyLong *copy_long = copy_long_sse2;

// Once, at load, before the other initialisers.
[[gnu::constructor(101)]] void choose_copy_long() noexcept {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2")) {
        copy_long = copy_long_avx2;
    }
}

} // namespace

void *memcpy_fast(void *destination, const void *source, uint64_t count) {
    const auto to = static_cast<To>(destination);
    const auto from = static_cast<From>(source);
    if (count > 32) [[unlikely]] { // keeps the small ones on the straight line
        if (count > 64) {
            return copy_long(destination, source, count);
        }
        copy_32_to_64(to, from, count);
    } else if (count >= 16) {
        copy_16_to_32(to, from, count);
    } else if (count >= 4) {
        copy_4_to_16(to, from, count);
    } else if (count != 0) {
        copy_1_to_3(to, from, count);
    }
    return destination;
}

void *DriverFastMemcpy(void *destination, const void *source, uint64_t count) {
    return memcpy_fast(destination, source, count);
}
