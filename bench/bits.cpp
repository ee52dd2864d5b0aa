// ecat_bitmemcpy against a reference that loads 8 bytes, shifts and masks both ends exactly.
#include "bench/goals.h"
#include "pci_tarn/pi.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace tarn::bench {

namespace {

uint64_t low_mask(uint32_t bits) {
    return bits >= 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
}

uint64_t load_up_to_8(const uint8_t *from, uint32_t bytes) {
    uint64_t value = 0;
    if (bytes >= 8) {
        std::memcpy(&value, from, 8);
    } else {
        for (uint32_t i = 0; i < bytes; ++i) {
            value |= uint64_t{from[i]} << (8 * i);
        }
    }
    return value;
}

// Up to 56 bits at once: what fits one load at any phase.
void put_bits(uint8_t *to, uint32_t bit, uint64_t value, uint32_t bits) {
    to += bit / 8;
    bit %= 8;
    const uint32_t bytes = (bit + bits + 7) / 8;
    const uint64_t mask = low_mask(bits) << bit;
    uint64_t old = load_up_to_8(to, bytes);
    old = (old & ~mask) | ((value << bit) & mask);
    if (bytes == 8) {
        std::memcpy(to, &old, 8);
    } else {
        for (uint32_t i = 0; i < bytes; ++i) {
            to[i] = static_cast<uint8_t>(old >> (8 * i));
        }
    }
}

uint64_t get_bits(const uint8_t *from, uint32_t bit, uint32_t bits) {
    from += bit / 8;
    bit %= 8;
    return (load_up_to_8(from, (bit + bits + 7) / 8) >> bit) & low_mask(bits);
}

__attribute__((noinline)) void *reference_bits(void *destination, uint32_t destination_bit,
                                               const void *source, uint32_t source_bit,
                                               uint32_t bits) {
    auto *to = static_cast<uint8_t *>(destination);
    const auto *from = static_cast<const uint8_t *>(source);
    while (bits != 0) {
        // After the first piece the destination stands on a byte.
        const uint32_t piece = std::min<uint32_t>(bits, 56 - destination_bit % 8);
        put_bits(to, destination_bit, get_bits(from, source_bit, piece), piece);
        destination_bit += piece;
        source_bit += piece;
        bits -= piece;
    }
    return destination;
}

using BitCopy = void *(*)(void *, uint32_t, const void *, uint32_t, uint32_t);
BitCopy volatile g_ours = ecat_bitmemcpy;
BitCopy volatile g_reference = reference_bits;

void copy(benchmark::State &state, BitCopy function, uint32_t to, uint32_t from, uint32_t bits) {
    std::vector<uint8_t> source(16384, 0x5A);
    std::vector<uint8_t> destination(16384);
    for (auto _ : state) {
        function(destination.data(), to, source.data(), from, bits);
        benchmark::ClobberMemory();
    }
}

void shifted(const std::string &name, double goal, uint32_t bits) {
    compare(
        name, Goal::CostAtMost, goal,
        [=](benchmark::State &state) { copy(state, g_ours, 3, 6, bits); },
        [=](benchmark::State &state) { copy(state, g_reference, 3, 6, bits); });
}

void in_phase(const std::string &name, double goal, uint32_t bits) {
    compare(
        name, Goal::CostAtMost, goal,
        [=](benchmark::State &state) { copy(state, g_ours, 16, 8, bits); },
        [=](benchmark::State &state) {
            std::vector<uint8_t> source(16384, 0x5A);
            std::vector<uint8_t> destination(16384);
            void *(*volatile function)(void *, const void *, size_t) = std::memcpy;
            for (auto _ : state) {
                function(destination.data() + 2, source.data() + 1, bits / 8);
                benchmark::ClobberMemory();
            }
        });
}

// The whole map of a large bus, one call per slave.
void map(benchmark::State &state, BitCopy function) {
    std::vector<uint8_t> source(8192 + 8, 0x5A);
    std::vector<uint8_t> destination(8192 + 8);
    for (auto _ : state) {
        for (uint32_t i = 0; i < 4096; ++i) {
            function(destination.data(), 16 * (4095 - i) + 3, source.data(), 16 * i, 13);
        }
        benchmark::ClobberMemory();
    }
}

} // namespace

void register_bits() {
    shifted("ecat_bitmemcpy 1 bit", 1.2, 1);
    shifted("ecat_bitmemcpy 7 bits", 1.2, 7);
    shifted("ecat_bitmemcpy 13 bits", 1.2, 13);
    shifted("ecat_bitmemcpy 32 bits", 1.2, 32);
    shifted("ecat_bitmemcpy 56 bits", 1.2, 56);
    shifted("ecat_bitmemcpy 100 bits", 1.3, 100);
    shifted("ecat_bitmemcpy 1,000 bits shifted", 1.3, 1000);
    shifted("ecat_bitmemcpy 65,536 bits shifted", 1.2, 65536);
    in_phase("ecat_bitmemcpy 1,000 bits in phase", 1.15, 1000);
    in_phase("ecat_bitmemcpy 65,536 bits in phase", 1.15, 65536);
    compare(
        "map of 4,096 slaves, one by one", Goal::CostAtMost, 1.2,
        [](benchmark::State &state) { map(state, g_ours); },
        [](benchmark::State &state) { map(state, g_reference); });
}

} // namespace tarn::bench
