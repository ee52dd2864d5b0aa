// Finds what is wrong in an ENI file before a card refuses it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarn {

struct Finding {
    enum class Severity { Error, Warning };
    Severity severity;
    size_t line; // from 1; 0: the file as a whole
    std::string text;
};

struct EniReport {
    std::vector<Finding> findings; // by line
    uint64_t bytes = 0;
    uint32_t slaves = 0;
    uint32_t output_bytes = 0;
    uint32_t input_bytes = 0;
    uint32_t cycle_us = 0; // 0: not given
    std::string crc;       // empty: none that the library finds
    bool mapping = false;

    [[nodiscard]] size_t count(Finding::Severity severity) const;
};

// Throws Failure when the file cannot be read.
EniReport check_eni(const std::string &path);

} // namespace tarn
