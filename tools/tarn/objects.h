// Objects that are the same on every slave that has them: those of the CoE communication area and
// of the CiA 402 drive profile.
#pragma once

#include "object_value.h"

#include <optional>
#include <span>
#include <string>

namespace tarn {

struct KnownEntry {
    std::string name; // "Identity: Vendor ID"
    const ObjectType *type = nullptr;
};

// Nothing when the entry is none of them.
std::optional<KnownEntry> known_entry(uint16_t index, uint8_t subindex);

// Name of the object as a whole; empty when it is none of them.
std::string known_object_name(uint16_t index);

struct IndexRange {
    uint16_t first;
    uint16_t last;
};
// Where they all are.
std::vector<IndexRange> known_ranges();

// A part of what complete access gives.
struct EntryData {
    uint8_t subindex;
    std::vector<uint8_t> data;
};

// The entries of a known object in what complete access gave: subindex 0 fills two bytes, the
// others follow one another. Empty when the object is not known or the data does not fit it.
std::vector<EntryData> split_complete(uint16_t index, const std::vector<uint8_t> &data);

} // namespace tarn
