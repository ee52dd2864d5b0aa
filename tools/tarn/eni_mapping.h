// The mapping of slaves to logical addresses that an ENI file carries in a comment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarn {

struct MappingFinding {
    bool error;
    std::optional<size_t> place; // byte of the file
    std::string text;
};

struct MappingReport {
    std::vector<MappingFinding> findings;
    bool used = false; // logical addresses count in at least one direction
};

// `output_bits` and `input_bits` are the lengths of the slaves' physical runs.
MappingReport check_mapping(const std::string &path, const std::string &text, uint32_t slaves,
                            const std::vector<uint32_t> &output_bits,
                            const std::vector<uint32_t> &input_bits);

} // namespace tarn
