#include "vcard/bus/data_type.h"

#include <algorithm>
#include <cstring>

namespace tarn::vcard {

uint32_t type_bits(uint16_t type) {
    switch (type) {
    case kBoolean:
        return 1;
    case kInteger8:
    case kUnsigned8:
        return 8;
    case kInteger16:
    case kUnsigned16:
        return 16;
    case kInteger64:
    case kUnsigned64:
    case kReal64:
        return 64;
    default:
        return type >= kBit1 && type < kBit1 + 7 ? 1U + type - kBit1 : 32;
    }
}

uint16_t type_of(std::string_view name, uint32_t bits) {
    struct Named {
        std::string_view name;
        uint16_t type;
    };
    static constexpr Named kNamed[] = {
        {"SINT", kInteger8},       {"INT", kInteger16},       {"DINT", kInteger32},
        {"LINT", kInteger64},      {"USINT", kUnsigned8},     {"UINT", kUnsigned16},
        {"UDINT", kUnsigned32},    {"ULINT", kUnsigned64},    {"REAL", kReal32},
        {"LREAL", kReal64},        {"BOOL", kBoolean},        {"BOOLEAN", kBoolean},
        {"BIT", kBoolean},         {"BYTE", kUnsigned8},      {"WORD", kUnsigned16},
        {"DWORD", kUnsigned32},    {"LWORD", kUnsigned64},    {"BITARR8", kUnsigned8},
        {"BITARR16", kUnsigned16}, {"BITARR32", kUnsigned32},
    };
    for (const Named &named : kNamed) {
        if (name == named.name && type_bits(named.type) == bits) {
            return named.type;
        }
    }
    switch (bits) {
    case 1:
        return kBoolean;
    case 8:
        return kUnsigned8;
    case 16:
        return kUnsigned16;
    case 32:
        return kUnsigned32;
    case 64:
        return kUnsigned64;
    default:
        return bits != 0 && bits < 8 ? static_cast<uint16_t>(kBit1 + bits - 1)
                                     : uint16_t{kOctetString};
    }
}

uint64_t number_of(std::span<const uint8_t> bytes) {
    uint64_t value = 0;
    std::memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof value));
    return value;
}

std::vector<uint8_t> bytes_of(uint64_t value, size_t count) {
    std::vector<uint8_t> bytes(count);
    std::memcpy(bytes.data(), &value, std::min(count, sizeof value));
    return bytes;
}

} // namespace tarn::vcard
