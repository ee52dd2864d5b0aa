#include "vcard/firmware/crc32.h"

#include <array>

namespace tarn::vcard {

namespace {

constexpr uint32_t kPolynomial = 0xEDB88320;

constexpr std::array<uint32_t, 256> make_table() {
    std::array<uint32_t, 256> table{};
    for (uint32_t byte = 0; byte < table.size(); ++byte) {
        uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? value >> 1 ^ kPolynomial : value >> 1;
        }
        table[byte] = value;
    }
    return table;
}

constexpr std::array<uint32_t, 256> kTable = make_table();

} // namespace

uint32_t crc32(std::span<const uint8_t> data, uint32_t crc) {
    crc = ~crc;
    for (const uint8_t byte : data) {
        crc = crc >> 8 ^ kTable[(crc ^ byte) & 0xFF];
    }
    return ~crc;
}

} // namespace tarn::vcard
