#include "base/card_memory.h"
#include "base/console.h"
#include "layout/shared_memory_map.h"
#include "pci_tarn/shared.h"

#include <cstring>

constinit void *__pi_shared_memory = nullptr;
constinit uint32_t __proc_id = 1;

namespace tarn {
namespace {

constexpr uint32_t kLayoutMark = 3;

// Versions whose layout is a relative of ours. The getter warns, and goes on, in a range that is
// one narrower at both ends than the range for which an update is announced: required.
constexpr uint32_t kFirstAnnounced = 0x1597A570;
constexpr uint32_t kLastAnnounced = 0x1597A958;
constexpr uint32_t kFirstTolerated = 0x1597A571;
constexpr uint32_t kLastTolerated = 0x1597A957;

SharedMemory *view() noexcept {
    return static_cast<SharedMemory *>(__pi_shared_memory);
}

// Arithmetic on numbers: without a view this gives a small address and no fault.
void *slot_area(size_t offset, size_t size, uint32_t board, uint32_t channel) noexcept {
    const auto base = reinterpret_cast<uintptr_t>(__pi_shared_memory);
    return reinterpret_cast<void *>(base + offset + channel_slot(board, channel) * size);
}

void check_version() noexcept {
    const uint32_t version = card::load32(&view()->version);
    if (version < kFirstTolerated || version > kLastTolerated) {
        pi_shared_memory_init();
    } else if (version != kSharedMemoryVersion) {
        print("[WARNING] pi_shared_memory version err. please keep the version of the "
              "libpci_tarn.so your program uses consistent. restart ecatbusrun.");
    }
}

} // namespace
} // namespace tarn

using namespace tarn;

void pi_shared_memory_init(void) {
    if (view() == nullptr) {
        return;
    }
    const uint32_t version = card::load32(&view()->version);
    if (version == kSharedMemoryVersion) {
        return;
    }
    if (version >= kFirstAnnounced && version <= kLastAnnounced) {
        print("pi_shared_memory version update. %u -> %u\r\n", version, kSharedMemoryVersion);
    }
    card::store32(&view()->version, kSharedMemoryVersion);
    constexpr size_t kept = offsetof(SharedMemory, mark);
    std::memset(static_cast<uint8_t *>(__pi_shared_memory) + kept, 0, kSharedMemorySize - kept);
    card::store32(&view()->mark, kLayoutMark);
}

void *getSharedMemory_piinfo(uint32_t board, uint32_t channel) {
    if (view() != nullptr) {
        check_version();
    }
    return slot_area(offsetof(SharedMemory, info), sizeof(PiInfo), board, channel);
}

void *getSharedMemory_pishadowinput(uint32_t board, uint32_t channel) {
    return slot_area(offsetof(SharedMemory, shadow_input), kImageSize, board, channel);
}

void *getSharedMemory_pifast(uint32_t board, uint32_t channel) {
    return slot_area(offsetof(SharedMemory, fast_output), kImageSize, board, channel);
}

void *getSharedMemory_piNormalBuffOutput(uint32_t board, uint32_t channel) {
    return slot_area(offsetof(SharedMemory, normal_output_buffer),
                     sizeof(SharedMemory::normal_output_buffer[0]), board, channel);
}

void *getSharedMemory_piNormalBuffInput(uint32_t board, uint32_t channel) {
    return slot_area(offsetof(SharedMemory, normal_input_buffer),
                     sizeof(SharedMemory::normal_input_buffer[0]), board, channel);
}

void *getSharedMemory_piNormalCacheOutput(uint32_t board, uint32_t channel) {
    return slot_area(offsetof(SharedMemory, normal_output_cache), kImageSize, board, channel);
}

void *getSharedMemory_piNormalCacheInput(uint32_t board, uint32_t channel) {
    return slot_area(offsetof(SharedMemory, normal_input_cache), kImageSize, board, channel);
}
