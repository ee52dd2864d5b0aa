// CANopen data types, and values as they lie in memory.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tarn::vcard {

enum DataType : uint16_t {
    kBoolean = 0x01,
    kInteger8 = 0x02,
    kInteger16 = 0x03,
    kInteger32 = 0x04,
    kUnsigned8 = 0x05,
    kUnsigned16 = 0x06,
    kUnsigned32 = 0x07,
    kReal32 = 0x08,
    kVisibleString = 0x09,
    kOctetString = 0x0A,
    kReal64 = 0x11,
    kInteger64 = 0x15,
    kUnsigned64 = 0x1B,
    kBit1 = 0x30, // and so on up to BIT7
};

// 32 for types without a size of their own.
uint32_t type_bits(uint16_t type);

// The type by its name in the file where its size is the entry's, else by the size alone.
uint16_t type_of(std::string_view name, uint32_t bits);

// Little endian; at most 8 bytes count.
uint64_t number_of(std::span<const uint8_t> bytes);
std::vector<uint8_t> bytes_of(uint64_t value, size_t count);

} // namespace tarn::vcard
