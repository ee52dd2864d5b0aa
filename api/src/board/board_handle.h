#pragma once

#include "layout/card_memory_map.h"
#include "pci_tarn/channel.h"
#include "pci_tarn/driver.h"

#include <cstddef>
#include <cstdint>

// Context of one opened card. It begins with the fields of a BoardNode up to `index`, so that the
// registry's functions take either.
struct BoardHandle {
    char name[40];
    uint32_t bar_length[6];
    void *bar[6];
    EtherCAT *driver;
    uint32_t index;
    CommandChannel channel;    // same rings and lock as channel 0's secondary mailbox
    uint32_t firmware_version; // major << 24 | minor << 16 | patch << 8; 0 when unparsable
    uint32_t timeout_ms;
};

namespace tarn {
inline constexpr size_t kBoardNodeCopySize = offsetof(BoardNode, next);
static_assert(kBoardNodeCopySize == 128);
static_assert(offsetof(BoardHandle, bar) == offsetof(BoardNode, bar));
static_assert(offsetof(BoardHandle, driver) == offsetof(BoardNode, driver));
static_assert(offsetof(BoardHandle, index) == offsetof(BoardNode, index));
static_assert(offsetof(BoardHandle, channel) == kBoardNodeCopySize);

inline constexpr uint32_t kDefaultTimeoutMs = 20000;

inline uint8_t *registers(const BoardHandle &handle) noexcept {
    return static_cast<uint8_t *>(handle.bar[1]);
}

inline ConfigBlock *config(const BoardHandle &handle) noexcept {
    return static_cast<ConfigBlock *>(handle.bar[2]);
}
} // namespace tarn
