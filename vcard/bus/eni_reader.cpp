#include "vcard/bus/eni_reader.h"

#include <array>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace tarn::vcard::eni {

using pugi::xml_node;

std::string format(const char *text, ...) {
    std::array<char, 512> line{};
    va_list arguments;
    va_start(arguments, text);
    std::vsnprintf(line.data(), line.size(), text, arguments);
    va_end(arguments);
    return line.data();
}

void refuse(uint32_t status, std::string text) {
    throw Refusal{{status, std::move(text)}};
}

std::string text_of(xml_node node) {
    std::string text;
    bool gap = false;
    for (xml_node part : node.children()) {
        if (part.type() != pugi::node_pcdata && part.type() != pugi::node_cdata) {
            continue;
        }
        for (const char *c = part.value(); *c != 0; ++c) {
            if (std::isspace(static_cast<unsigned char>(*c)) != 0) {
                gap = !text.empty();
                continue;
            }
            if (gap) {
                text += ' ';
                gap = false;
            }
            text += *c;
        }
    }
    return text;
}

std::optional<int64_t> parse_number(std::string_view text) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) {
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.starts_with("#x") || text.starts_with("#X") || text.starts_with("0x") ||
        text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty() || text.size() > 16) {
        return std::nullopt;
    }
    int64_t value = 0;
    for (const char c : text) {
        const int digit = c >= '0' && c <= '9'   ? c - '0'
                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                 : 99;
        if (digit >= base || value > (INT64_MAX - digit) / base) {
            return std::nullopt;
        }
        value = value * base + digit;
    }
    return negative ? -value : value;
}

uint32_t number(xml_node node, const char *name, const std::string &where, uint32_t absent) {
    const xml_node child = node.child(name);
    if (!child) {
        return absent;
    }
    const std::string text = text_of(child);
    const std::optional<int64_t> value = parse_number(text);
    if (!value || *value > INT64_C(0xFFFFFFFF) || *value < INT64_C(-0x80000000)) {
        refuse(kXmlContainsErrors,
               format("%s/%s: \"%.60s\" is not a number", where.c_str(), name, text.c_str()));
    }
    return static_cast<uint32_t>(*value);
}

uint16_t number16(xml_node node, const char *name, const std::string &where, uint16_t absent) {
    const uint32_t value = number(node, name, where, absent);
    if (value > 0xFFFF && value < 0xFFFF8000) {
        refuse(kXmlContainsErrors,
               format("%s/%s: %u needs more than 16 bits", where.c_str(), name, value));
    }
    return static_cast<uint16_t>(value);
}

bool truth(const char *text) {
    return std::strcmp(text, "1") == 0 || std::strcmp(text, "true") == 0;
}

std::span<const DriveObject> drive_objects() {
    using Map = SlaveConfig::DriveMap;
    static constexpr DriveObject kObjects[] = {
        {0x6040, true, 16, &Map::controlword, "Controlword", "UINT"},
        {0x6060, true, 8, &Map::mode, "Modes of operation", "SINT"},
        {0x607A, true, 32, &Map::target_position, "Target position", "DINT"},
        {0x60FF, true, 32, &Map::target_velocity, "Target velocity", "DINT"},
        {0x6071, true, 16, &Map::target_torque, "Target torque", "INT"},
        {0x6041, false, 16, &Map::statusword, "Statusword", "UINT"},
        {0x6061, false, 8, &Map::mode_display, "Modes of operation display", "SINT"},
        {0x6064, false, 32, &Map::actual_position, "Position actual value", "DINT"},
        {0x606C, false, 32, &Map::actual_velocity, "Velocity actual value", "DINT"},
        {0x6077, false, 16, &Map::actual_torque, "Torque actual value", "INT"},
    };
    return kObjects;
}

std::string slave_path(size_t index) {
    return "Config/Slave[" + std::to_string(index + 1) + "]";
}

} // namespace tarn::vcard::eni
