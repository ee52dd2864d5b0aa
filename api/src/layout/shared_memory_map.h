// Layout of the process image file "temp.dat" that all processes of one directory share.
#pragma once

#include "pci_tarn/pi.h"

#include <cstddef>
#include <cstdint>

namespace tarn {

inline constexpr uint32_t kSharedMemorySize = 0xA00000;
inline constexpr uint32_t kSharedMemoryVersion = 0x1597A579;
inline constexpr uint32_t kSlotCount = PCI_TARN_MAX_BOARDS * PCI_TARN_MAX_CHANNELS;
inline constexpr uint32_t kImageSize = 8192; // largest image of one direction, in bytes

// One direction of the process image: where each slave's data lies, physically and logically.
struct PiDirection {
    uint32_t physical_length; // bytes
    PiPhyEntry physical[PCI_TARN_MAX_SLAVES];
    uint32_t participation[PCI_TARN_MAX_SLAVES / 32];
    uint32_t mapped;
    uint32_t logical_length; // bytes
    uint32_t entry_count;
    PiLogicEntry sorted[PCI_TARN_MAX_SLAVES];
    uint16_t logical_address[PCI_TARN_MAX_SLAVES];
};
static_assert(offsetof(PiDirection, physical) == 4);
static_assert(offsetof(PiDirection, participation) == 16388);
static_assert(offsetof(PiDirection, mapped) == 16900);
static_assert(offsetof(PiDirection, logical_length) == 16904);
static_assert(offsetof(PiDirection, entry_count) == 16908);
static_assert(offsetof(PiDirection, sorted) == 16912);
static_assert(offsetof(PiDirection, logical_address) == 33296);
static_assert(sizeof(PiDirection) == 41488);

struct PiInfo {
    uint32_t slave_count;     // written as u16, read as u32
    PiDirection direction[2]; // output, input
    uint16_t fixed_address[PCI_TARN_MAX_SLAVES];
    uint8_t reserved_91172[65544];
    uint32_t fast_output_dirty;
    uint32_t reserved_156720[2];
};
static_assert(offsetof(PiInfo, direction) == 4);
static_assert(offsetof(PiInfo, fixed_address) == 82980);
static_assert(offsetof(PiInfo, fast_output_dirty) == 156716);
static_assert(sizeof(PiInfo) == 156728);

struct ChannelControl {
    uint32_t reinit_mode;
    uint32_t work_count;
    uint8_t reserved_8[248];
};
static_assert(sizeof(ChannelControl) == 256);

struct SharedMemory {
    uint32_t version;
    uint32_t mark;
    uint8_t shadow_input[kSlotCount][kImageSize];
    uint8_t fast_output[kSlotCount][kImageSize];
    PiInfo info[kSlotCount];
    uint8_t normal_output_buffer[kSlotCount][4096];
    uint8_t normal_input_buffer[kSlotCount][4096];
    uint8_t normal_output_cache[kSlotCount][kImageSize];
    uint8_t normal_input_cache[kSlotCount][kImageSize];
    ChannelControl control[kSlotCount];
    uint8_t reserved[kSharedMemorySize - 0x60A708];
};
static_assert(offsetof(SharedMemory, shadow_input) == 0x8);
static_assert(offsetof(SharedMemory, fast_output) == 0x40008);
static_assert(offsetof(SharedMemory, info) == 0x80008);
static_assert(offsetof(SharedMemory, normal_output_buffer) == 0x548708);
static_assert(offsetof(SharedMemory, normal_input_buffer) == 0x568708);
static_assert(offsetof(SharedMemory, normal_output_cache) == 0x588708);
static_assert(offsetof(SharedMemory, normal_input_cache) == 0x5C8708);
static_assert(offsetof(SharedMemory, control) == 0x608708);
static_assert(offsetof(SharedMemory, reserved) == 0x60A708);
static_assert(sizeof(SharedMemory) == kSharedMemorySize);

constexpr uint32_t channel_slot(uint32_t board, uint32_t channel) {
    return board * PCI_TARN_MAX_CHANNELS + channel;
}

} // namespace tarn
