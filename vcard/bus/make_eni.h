// Writes ENI files for networks that are described in a few words; examples and tests use them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::vcard {

struct MakeEniSlave {
    std::string kind; // "coupler", "di8", "do8", "dio8", "dio16", "ai4", "ao4", "drive" and so on
    uint32_t count = 1;
};

struct MakeEniOptions {
    std::vector<MakeEniSlave> slaves;
    uint32_t cycle_us = 1000;
    bool logical_mapping = false;  // the mapping comment says true for both directions
    bool reversed_mapping = false; // logical addresses in the reverse order of the slaves
    uint32_t logical_bytes = 0;    // spreads the logical addresses over an image of this size
    uint32_t output_bytes = 0;     // physical image; 0: as large as needed
    uint32_t input_bytes = 0;
};

// Kinds that MakeEniSlave::kind may name, with one line about each.
struct SlaveKindInfo {
    const char *kind;
    const char *text;
};
const std::vector<SlaveKindInfo> &slave_kinds();

// The file's text. Throws std::invalid_argument with a text for the user (unknown kind, more than
// 4,096 slaves, image too large).
std::string make_eni(const MakeEniOptions &options);

} // namespace tarn::vcard
