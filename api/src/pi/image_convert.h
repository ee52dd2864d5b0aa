// Conversion of whole images between the logical form that applications address and the physical
// form that crosses to the card.
#pragma once

#include "handle/ecat_handle.h"
#include "layout/card_memory_map.h"
#include "pci_tarn/pi.h"

#include <algorithm>
#include <cstdint>

namespace tarn::pi {

// Bytes moved per exchange. A record may name more than the buffers hold.
inline uint32_t exchange_length(const PiTransfer &state) noexcept {
    return std::min(state.physical_length, kPiBufferSize);
}

// Bytes of [offset, offset + count) that lie inside an image of `size` bytes; a count of all ones
// is a count like any other here.
inline uint32_t bounded_count(uint32_t offset, uint32_t count, uint32_t size) noexcept {
    return offset < size ? std::min(count, size - offset) : 0;
}

// Functions for PiTransfer::convert. A logical image has 8,192 bytes, a physical one 4,096; runs
// are cut to that.
void convert_plain(const PiTransfer *state, void *destination, const void *source) noexcept;
void convert_to_physical(const PiTransfer *state, void *physical, const void *logical) noexcept;
void convert_to_logical(const PiTransfer *state, void *logical, const void *physical) noexcept;

// Fills `plan` from the tables of `state`.
void build_plan(PiCopyPlan &plan, const PiTransfer &state) noexcept;

} // namespace tarn::pi
