// What the card has been asked, as its codes.
#pragma once

#include "vcard/firmware/firmware.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarn::test {

inline std::vector<uint16_t> seen_codes(const vcard::Firmware &firmware) {
    std::vector<uint16_t> codes;
    for (const vcard::SeenRequest &request : firmware.seen()) {
        codes.push_back(request.code);
    }
    return codes;
}

inline size_t seen_count(const vcard::Firmware &firmware, uint16_t code) {
    const std::vector<uint16_t> codes = seen_codes(firmware);
    return static_cast<size_t>(std::count(codes.begin(), codes.end(), code));
}

} // namespace tarn::test
