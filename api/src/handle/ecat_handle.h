#pragma once

#include "base/card_memory.h"
#include "board/board_handle.h"
#include "layout/card_memory_map.h"
#include "layout/shared_memory_map.h"
#include "pci_tarn/channel.h"
#include "pci_tarn/pi.h"

#include <cstdint>

namespace tarn {

// Copies between the logical and the physical image of one direction, in the order of the table
// that is sorted by logical address; what lies side by side in both images is one run. Made anew
// whenever the views are refreshed, and private to this process.
struct PiCopyRun {
    uint16_t logical;  // first bit
    uint16_t physical; // first bit
    uint32_t bits;
};
struct PiCopyPlan {
    uint32_t count;
    PiCopyRun runs[PCI_TARN_MAX_SLAVES];
};

// The card's bulk copy engine for the socket channel. Off: nothing here sets it, whoever knows the
// addresses of the machine does.
struct BulkCopy {
    uint32_t enabled;
    EtherCAT *device;
    uint64_t base; // address that stands for the start of BAR memory
};

} // namespace tarn

// Context of one opened EtherCAT channel. Both the master services and the process image work on
// it. One zeroed heap block; every member is plain data.
struct EcatHandle {
    uint32_t channel;
    uint32_t pi_interrupt; // cycle interrupt: 2 or 6
    BoardHandle *board;    // owned
    uint8_t *area;         // channel area in BAR2
    uint8_t *registers;    // BAR1
    CommandChannel primary;
    CommandChannel secondary;
    CommandChannel socket;
    tarn::BulkCopy bulk;

    // process image
    uint8_t *normal_output_cache;
    uint8_t *normal_output_buffer;
    uint8_t *normal_input_cache;
    uint8_t *normal_input_buffer;
    tarn::PiInfo *pi_info;
    tarn::ChannelControl *control; // of the memory that the images lie in
    uint8_t *fast_output;
    uint8_t *shadow_input;
    PiArea areas[5];
    tarn::PiCopyPlan plans[2]; // output, input
    PiNormalObject normal_output_object;
    PiNormalObject normal_input_object;
    PiMasterObject fast_output_object;
    PiExchangeObject card_area_object;
    PiSlaveObject shadow_input_object;
    EcatPIAsyncState async;
    uint32_t cycles_seen; // of those that this process was told of
    EcatHandle *next_swapping;

    uint32_t reinit_mode; // 0: take the shared word of (board, channel)
    uint32_t pd_version;  // decoded process data interface version
    uint32_t timeout_ms;
};

namespace tarn {

inline constexpr uint32_t kPdVersionFirst = 0x03000000;  // first triple buffer protocol
inline constexpr uint32_t kPdVersionSecond = 0x06000000; // second

// Version of the channel's mailbox interface; the bits between are not part of it.
inline uint32_t interface_version(const EcatHandle &handle) noexcept {
    return card::load32(handle.area) & 0xFF0000FF;
}

inline PiCardArea *pi_card_area(const EcatHandle &handle) noexcept {
    return reinterpret_cast<PiCardArea *>(handle.area + kPiCardOffset);
}

inline const uint32_t *slave_ready_words(const EcatHandle &handle) noexcept {
    return reinterpret_cast<const uint32_t *>(handle.area + kSlaveReadyOffset);
}

} // namespace tarn
