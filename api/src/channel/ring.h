// One ring in card memory: its counters, its slots and how a view of it is bound. Counters run
// freely modulo 2^32; a mask of 0 is a ring of one slot.
#pragma once

#include "base/card_memory.h"
#include "layout/card_memory_map.h"
#include "pci_tarn/channel.h"

#include <cstddef>
#include <cstdint>

namespace tarn {

struct RingCounters {
    uint32_t read;
    uint32_t write;

    [[nodiscard]] uint32_t filled() const noexcept { return write - read; }
    [[nodiscard]] bool empty() const noexcept { return write == read; }
};

inline RingCounters ring_counters(const MailboxRing &ring) noexcept {
    const uint32_t write = card::load32(&ring.pointers[1]);
    return {card::load32(&ring.pointers[0]), write};
}

// Whether one more slot of `size` bytes, header included, can be written now.
inline bool ring_accepts(const MailboxRing &ring, RingCounters counters, uint64_t size) noexcept {
    return counters.filled() <= ring.mask && size <= ring.slot_size;
}

inline uint8_t *ring_slot(const MailboxRing &ring, uint32_t counter) noexcept {
    return ring.slots + size_t{counter & ring.mask} * ring.slot_size;
}

inline SlotHeader *ring_slot_header(const MailboxRing &ring, uint32_t counter) noexcept {
    return reinterpret_cast<SlotHeader *>(ring_slot(ring, counter));
}

inline void ring_advance_read(const MailboxRing &ring) noexcept {
    card::increment32(&ring.pointers[0]);
}

inline void ring_advance_write(const MailboxRing &ring) noexcept {
    card::increment32(&ring.pointers[1]);
}

// The view that a descriptor of a channel area stands for, as in
// bind_ring(area, &ChannelHeader::primary_out). The card names the slot size before the mask.
inline MailboxRing bind_ring(uint8_t *area, RingDescriptor ChannelHeader::*which) noexcept {
    const RingDescriptor &descriptor = reinterpret_cast<const ChannelHeader *>(area)->*which;
    MailboxRing ring;
    ring.pointers = reinterpret_cast<uint32_t *>(area + card::load32(&descriptor.pointers));
    ring.slots = area + card::load32(&descriptor.slots);
    ring.mask = card::load32(&descriptor.mask);
    ring.slot_size = card::load32(&descriptor.slot_size);
    return ring;
}

// Whether counters and slots lie in the `size` bytes at `memory`; at least `reach` bytes of each
// slot are touched, however small the card says that it is. A slot that holds no header is none.
inline bool ring_lies_in(const MailboxRing &ring, const uint8_t *memory, uint64_t size,
                         uint64_t reach) noexcept {
    const auto start = reinterpret_cast<uintptr_t>(memory);
    const uint64_t pointers = reinterpret_cast<uintptr_t>(ring.pointers) - start;
    const uint64_t slots = reinterpret_cast<uintptr_t>(ring.slots) - start;
    const uint64_t last = uint64_t{ring.mask} * ring.slot_size;
    const uint64_t touched = ring.slot_size > reach ? ring.slot_size : reach;
    return ring.slot_size >= kSlotHeaderSize && pointers <= size &&
           size - pointers >= 2 * sizeof(uint32_t) && slots <= size && last <= size - slots &&
           touched <= size - slots - last;
}

// A ring that is nowhere.
inline bool ring_absent(const MailboxRing &ring) noexcept {
    return ring.pointers == nullptr || ring.slots == nullptr;
}

} // namespace tarn
