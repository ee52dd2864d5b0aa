// memcpy_fast against the C library's memcpy, both through a pointer.
#include "bench/goals.h"
#include "pci_tarn/base.h"

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace tarn::bench {

namespace {

using Copy = void *(*)(void *, const void *, uint64_t);

Copy volatile g_ours = memcpy_fast;
void *(*volatile g_memcpy)(void *, const void *, size_t) = std::memcpy;

template <typename Function>
void copy_fixed(benchmark::State &state, Function copy, size_t size, size_t misaligned) {
    std::vector<uint8_t> source(size + 128, 1);
    std::vector<uint8_t> destination(size + 128);
    const uint8_t *from = source.data() + misaligned;
    uint8_t *to = destination.data() + (misaligned * 3) % 64;
    for (auto _ : state) {
        copy(to, from, size);
        benchmark::ClobberMemory();
    }
}

// Sizes in an order that a branch predictor cannot learn.
template <typename Function>
void copy_random(benchmark::State &state, Function copy, uint32_t largest) {
    std::vector<uint32_t> sizes(16384);
    std::mt19937 random(7);
    for (uint32_t &size : sizes) {
        size = 1 + static_cast<uint32_t>(random() % largest);
    }
    std::vector<uint8_t> source(4096, 1);
    std::vector<uint8_t> destination(4096);
    size_t i = 0;
    for (auto _ : state) {
        copy(destination.data(), source.data(), sizes[i++ & 16383]);
        benchmark::ClobberMemory();
    }
}

// Walks through far more memory than the caches hold.
template <typename Function>
void copy_cold(benchmark::State &state, Function copy, size_t size) {
    static std::vector<uint8_t> source(256U << 20, 1);
    static std::vector<uint8_t> destination(256U << 20, 2);
    size_t at = 0;
    for (auto _ : state) {
        copy(destination.data() + at, source.data() + at, size);
        benchmark::ClobberMemory();
        at += size;
        if (at + size > source.size()) {
            at = 0;
        }
    }
}

void fixed(const std::string &name, double goal, size_t size, size_t misaligned = 0) {
    compare(
        name, Goal::SpeedAtLeast, goal,
        [=](benchmark::State &state) { copy_fixed(state, Copy(g_ours), size, misaligned); },
        [=](benchmark::State &state) { copy_fixed(state, g_memcpy, size, misaligned); });
}

void random_sizes(const std::string &name, double goal, uint32_t largest) {
    compare(
        name, Goal::SpeedAtLeast, goal,
        [=](benchmark::State &state) { copy_random(state, Copy(g_ours), largest); },
        [=](benchmark::State &state) { copy_random(state, g_memcpy, largest); });
}

void cold(const std::string &name, double goal, size_t size) {
    compare(
        name, Goal::SpeedAtLeast, goal,
        [=](benchmark::State &state) { copy_cold(state, Copy(g_ours), size); },
        [=](benchmark::State &state) { copy_cold(state, g_memcpy, size); });
}

} // namespace

void register_memory() {
    for (const size_t size : {8U, 16U, 24U, 32U, 48U, 64U, 80U, 96U, 112U, 128U}) {
        fixed("memcpy_fast small/" + std::to_string(size) + " B", 0.75, size);
    }
    random_sizes("memcpy_fast random 1..16 B", 1.05, 16);
    random_sizes("memcpy_fast random 1..128 B", 1.05, 128);
    fixed("memcpy_fast 256 B", 1.0, 256);
    fixed("memcpy_fast 1 KiB", 0.75, 1024);
    fixed("memcpy_fast 4 KiB aligned", 1.1, 4096);
    fixed("memcpy_fast 4 KiB unaligned", 1.5, 4096, 5);
    fixed("memcpy_fast 64 KiB", 0.75, 65536);
    fixed("memcpy_fast 1 MiB", 0.95, 1U << 20);
    cold("memcpy_fast 4 MiB cold", 1.2, 4U << 20);
    cold("memcpy_fast 16 MiB cold", 1.2, 16U << 20);
}

} // namespace tarn::bench
