// ecat_bitmemcpy: unaligned words, one shift, exactly masked ends.
#include "pi/bitmemcpy.h"

#include "pci_tarn/pi.h"

#include <immintrin.h>

namespace tarn::pi {

namespace {

// Runs shorter than this are not worth the wide loop.
constexpr uint32_t kWideBytes = 64;

bool has_avx2() noexcept {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}

const bool g_wide = has_avx2();

// 64 bits from bit `phase` (1 to 7) on; reads 9 bytes.
uint64_t load_shifted(const uint8_t *from, uint32_t phase) noexcept {
    return load_word<uint64_t>(from) >> phase | load_word<uint64_t>(from + 1) << (8 - phase);
}

// Writes a multiple of 32 bytes to a whole byte from a bit phase of 1 to 7; reads one byte more
// than it writes. Kept a leaf that spills nothing: the Windows ABI does not align the stack for
// 32-byte registers.
__attribute__((target("avx2"), noinline)) void
copy_shifted_wide(uint8_t *to, const uint8_t *from, uint32_t phase, uint32_t bytes) noexcept {
    const __m128i down = _mm_cvtsi32_si128(static_cast<int>(phase));
    const __m128i up = _mm_cvtsi32_si128(static_cast<int>(8 - phase));
    for (const uint8_t *end = from + bytes; from != end; from += 32, to += 32) {
        // Each 64-bit lane takes its low bits from its own 8 bytes and the rest from the 8 bytes
        // that start one further on.
        const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i_u *>(from));
        const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i_u *>(from + 1));
        _mm256_storeu_si256(
            reinterpret_cast<__m256i_u *>(to),
            _mm256_or_si256(_mm256_srl_epi64(low, down), _mm256_sll_epi64(high, up)));
    }
}

// `bits` bits from one whole byte to another.
void copy_whole_bytes(uint8_t *to, const uint8_t *from, uint32_t bits) noexcept {
    const uint32_t bytes = bits / 8;
    std::memcpy(to, from, bytes);
    if (bits % 8 != 0) {
        copy_short_bits(to + bytes, 0, from + bytes, 0, bits % 8);
    }
}

// At least 64 bits between different phases.
void copy_shifted(uint8_t *to, uint32_t to_phase, const uint8_t *from, uint32_t from_phase,
                  uint32_t bits) noexcept {
    const uint32_t phase = (from_phase - to_phase) % 8; // of the source once `to` is a whole byte
    const uint64_t end = uint64_t{to_phase} + bits - 1; // last bit of the run, from to's first
    const uint8_t *const last = to + end / 8;
    const uint32_t kept_tail = 7 - static_cast<uint32_t>(end % 8); // bits of `last` that stay

    // First word: the destination's own low bits, then the run.
    const uint64_t first = from_phase > to_phase
                               ? load_shifted(from, phase)
                               : load_word<uint64_t>(from) << (to_phase - from_phase);
    const uint64_t run = ~uint64_t{0} << to_phase;
    store_word(to, (load_word<uint64_t>(to) & ~run) | (first & run));
    to += 8;
    from += from_phase > to_phase ? 8 : 7;

    // Whole words; one more source byte than destination bytes is part of the run.
    uint32_t rest = bits - (64 - to_phase);
    if (rest >= 8 * kWideBytes && g_wide) {
        const uint32_t bytes = rest / 256 * 32;
        copy_shifted_wide(to, from, phase, bytes);
        to += bytes;
        from += bytes;
        rest -= 8 * bytes;
    }
    for (; rest >= 64; rest -= 64, to += 8, from += 8) {
        store_word(to, load_shifted(from, phase));
    }
    if (rest == 0) {
        return;
    }

    // Last word: the eight bytes that end in `last`, most of them written a second time.
    uint8_t *const tail = to - (7 - (last - to));
    const uint8_t *const source = from - (to - tail);
    uint64_t word = load_word<uint64_t>(source) >> phase;
    if (phase > kept_tail) { // the ninth byte is part of the run
        word |= load_word<uint64_t>(source + 1) << (8 - phase);
    }
    const uint64_t mask = ~uint64_t{0} >> kept_tail;
    store_word(tail, (load_word<uint64_t>(tail) & ~mask) | (word & mask));
}

} // namespace

void copy_long_bits(uint8_t *to, uint32_t to_phase, const uint8_t *from, uint32_t from_phase,
                    uint32_t bits) noexcept {
    if (to_phase == from_phase) {
        if (to_phase != 0) {
            const uint32_t head = 8 - to_phase;
            copy_short_bits(to++, to_phase, from++, to_phase, head);
            bits -= head;
        }
        copy_whole_bytes(to, from, bits);
    } else if (bits >= 64) {
        copy_shifted(to, to_phase, from, from_phase, bits);
    } else {
        copy_short_bits(to, to_phase, from, from_phase, kShortCopyBits);
        copy_short_bits(to + kShortCopyBits / 8, to_phase, from + kShortCopyBits / 8, from_phase,
                        bits - kShortCopyBits);
    }
}

} // namespace tarn::pi

void *ecat_bitmemcpy(void *destination, uint32_t destination_bit, const void *source,
                     uint32_t source_bit, uint32_t bits) {
    tarn::pi::copy_bits(static_cast<uint8_t *>(destination), destination_bit,
                        static_cast<const uint8_t *>(source), source_bit, bits);
    return destination;
}
