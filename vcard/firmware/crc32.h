// CRC-32 as Ethernet has it.
#pragma once

#include <cstdint>
#include <span>

namespace tarn::vcard {

// `crc` is the result for what lies before `data`.
uint32_t crc32(std::span<const uint8_t> data, uint32_t crc = 0);

} // namespace tarn::vcard
