// Lookups in the direction blocks of the PI info record. The record lies in memory that other
// processes write: counts and slave indices out of it are bounded here.
#pragma once

#include "layout/shared_memory_map.h"
#include "pi/range_search.h"

#include <algorithm>
#include <cstdint>

namespace tarn::pi {

inline uint32_t bounded_slaves(uint32_t count) noexcept {
    return std::min<uint32_t>(count, PCI_TARN_MAX_SLAVES);
}

// A slave that the tables do not hold has no data.
inline PiPhyEntry physical_run(const PiPhyEntry *physical, uint16_t slave) noexcept {
    return slave < PCI_TARN_MAX_SLAVES ? physical[slave] : PiPhyEntry{};
}

// Entries of the table sorted by logical address that overlap a run of bits. A run that wraps
// past bit 65,535 overlaps nothing.
IndexRange logical_range(const PiDirection &direction, uint16_t start, uint16_t count) noexcept;

// The same over the slaves in physical order.
IndexRange physical_range(const PiDirection &direction, uint32_t slave_count, uint16_t start,
                          uint16_t count) noexcept;

} // namespace tarn::pi
