#include "values.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>

namespace tarn {

namespace {

using Kind = Format::Kind;

constexpr struct {
    const char *name;
    Format format;
} kFormats[] = {
    {"hex", {Kind::Hex}},          {"dec", {Kind::Decimal}},      {"bin", {Kind::Binary}},
    {"u8", {Kind::Unsigned, 8}},   {"u16", {Kind::Unsigned, 16}}, {"u32", {Kind::Unsigned, 32}},
    {"u64", {Kind::Unsigned, 64}}, {"i8", {Kind::Signed, 8}},     {"i16", {Kind::Signed, 16}},
    {"i32", {Kind::Signed, 32}},   {"i64", {Kind::Signed, 64}},   {"f32", {Kind::Float, 32}},
    {"f64", {Kind::Float, 64}},
};

uint64_t mask_of(uint32_t bits) {
    return bits >= 64 ? UINT64_MAX : (uint64_t{1} << bits) - 1;
}

// ---- showing ------------------------------------------------------------------------------------

uint64_t number(const BitData &data) {
    return little_endian(data.bytes.data(), data.bytes.size());
}

std::vector<uint64_t> typed_values(const Format &format, const BitData &data) {
    check_whole_values(format, data.bits);
    std::vector<uint64_t> values;
    for (size_t i = 0; i < data.bytes.size(); i += format.bits / 8) {
        values.push_back(little_endian(&data.bytes[i], format.bits / 8));
    }
    return values;
}

int64_t signed_value(uint64_t value, uint32_t bits) {
    const uint32_t unused = 64 - bits;
    return static_cast<int64_t>(value << unused) >> unused;
}

double real_value(uint64_t value, uint32_t bits) {
    return bits == 32 ? static_cast<double>(std::bit_cast<float>(static_cast<uint32_t>(value)))
                      : std::bit_cast<double>(value);
}

std::string typed_text(const Format &format, uint64_t value) {
    switch (format.kind) {
    case Kind::Signed:
        return std::to_string(signed_value(value, format.bits));
    case Kind::Float:
        return tarn::format("%.*g", format.bits == 32 ? 9 : 17, real_value(value, format.bits));
    default:
        return std::to_string(value);
    }
}

Json typed_json(const Format &format, uint64_t value) {
    switch (format.kind) {
    case Kind::Signed:
        return signed_value(value, format.bits);
    case Kind::Float:
        return real_value(value, format.bits);
    default:
        return value;
    }
}

// Most significant bit first, as binary numbers are written.
std::string binary(uint64_t value, uint32_t bits) {
    std::string text;
    for (uint32_t bit = bits; bit-- > 0;) {
        text += (value >> bit & 1) != 0 ? '1' : '0';
    }
    return text;
}

std::string number_text(Kind kind, const BitData &data) {
    if (kind == Kind::Decimal || data.bits == 1) {
        return std::to_string(number(data));
    }
    if (kind == Kind::Binary) {
        return binary(number(data), data.bits);
    }
    const std::string digits = hex({data.bytes.rbegin(), data.bytes.rend()}, false);
    return "0x" + digits.substr(digits.size() - (data.bits + 3) / 4);
}

std::string byte_text(Kind kind, uint8_t byte) {
    return kind == Kind::Decimal  ? tarn::format("%3u", byte)
           : kind == Kind::Binary ? binary(byte, 8)
                                  : tarn::format("%02x", byte);
}

std::vector<std::string> dump(Kind kind, const BitData &data, uint32_t first_byte) {
    const size_t per_line = kind == Kind::Binary ? 8 : 16;
    std::vector<std::string> lines;
    for (size_t i = 0; i < data.bytes.size(); ++i) {
        if (i % per_line == 0) {
            lines.push_back(tarn::format("%04x ", static_cast<unsigned>(first_byte + i)));
        }
        lines.back() += (i % 8 == 0 && i % per_line != 0 ? "  " : " ");
        lines.back() += byte_text(kind, data.bytes[i]);
    }
    return lines;
}

// ---- parsing ------------------------------------------------------------------------------------

[[noreturn]] void bad_value(const std::string &text, const std::string &why) {
    throw UsageError("\"" + printable(text) + "\" " + why);
}

uint64_t parse_binary(const std::string &text, uint32_t bits) {
    const size_t prefix = text.starts_with("0b") ? 2 : 0;
    const std::string digits = text.substr(prefix);
    if (digits.empty() || digits.size() > bits ||
        digits.find_first_not_of("01") != std::string::npos) {
        bad_value(text, "is no binary number of up to " + counted(bits, "bit"));
    }
    uint64_t value = 0;
    for (const char digit : digits) {
        value = value << 1 | (digit == '1' ? 1U : 0U);
    }
    return value;
}

// A negative number fits when its sign does; hexadecimal stands for the bits of signed types, too.
uint64_t parse_integer(Kind kind, const std::string &text, uint32_t bits) {
    if (text.starts_with("-")) {
        const std::optional<int64_t> value = parse_signed(text);
        if (!value) {
            bad_value(text, "is no number");
        }
        if (kind == Kind::Unsigned || signed_value(static_cast<uint64_t>(*value), bits) != *value) {
            bad_value(text, "does not fit");
        }
        return static_cast<uint64_t>(*value) & mask_of(bits);
    }
    const std::optional<uint64_t> value = parse_unsigned(text);
    if (!value) {
        bad_value(text, "is no number");
    }
    const bool sign = kind == Kind::Signed && !text.starts_with("0x") && !text.starts_with("0X");
    if (*value > mask_of(sign ? bits - 1 : bits)) {
        bad_value(text, "does not fit into " + counted(bits, "bit"));
    }
    return *value;
}

// Infinity fits only when it was written as such.
uint64_t parse_float(const std::string &text, uint32_t bits) {
    const std::optional<double> value = parse_real(text);
    if (!value) {
        bad_value(text, "is no number");
    }
    const float single = std::strtof(text.c_str(), nullptr);
    const bool infinite = bits == 32 ? std::isinf(single) : std::isinf(*value);
    if (infinite && text.find_first_of("0123456789") != std::string::npos) {
        bad_value(text, "does not fit into " + counted(bits, "bit"));
    }
    return bits == 32 ? std::bit_cast<uint32_t>(single) : std::bit_cast<uint64_t>(*value);
}

uint64_t parse_one(const Format &format, const std::string &text, uint32_t bits) {
    switch (format.kind) {
    case Kind::Binary:
        return parse_binary(text, bits);
    case Kind::Float:
        return parse_float(text, bits);
    default:
        return parse_integer(format.kind, text, bits);
    }
}

void append(BitData &data, uint64_t value, uint32_t bits) {
    for (uint32_t i = 0; i < bits; i += 8) {
        data.bytes.push_back(static_cast<uint8_t>(value >> i));
    }
    data.bits += bits;
}

} // namespace

uint64_t little_endian(const uint8_t *bytes, size_t count) {
    uint64_t value = 0;
    for (size_t i = 0; i < count; ++i) {
        value |= uint64_t{bytes[i]} << (8 * i);
    }
    return value;
}

std::vector<uint8_t> parse_hex_bytes(const std::string &digits) {
    const bool all = digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    if (!all || digits.empty() || digits.size() % 2 != 0) {
        bad_value(digits, "is no row of hexadecimal bytes, two digits each");
    }
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(*parse_unsigned("0x" + digits.substr(i, 2))));
    }
    return bytes;
}

void check_whole_values(const Format &format, uint32_t bits) {
    if (format.typed() && bits % format.bits != 0) {
        throw UsageError(counted(bits, "bit") + " are no whole number of " +
                         std::to_string(format.bits) +
                         "-bit values; choose them with --offset and --length");
    }
}

Format parse_format(const std::string &name) {
    for (const auto &known : kFormats) {
        if (name == known.name) {
            return known.format;
        }
    }
    bad_value(name, std::string("is no format: ") + kFormatNames);
}

std::vector<std::string> show(const Format &format, const BitData &data, bool as_number,
                              uint32_t first_byte) {
    if (!format.typed()) {
        const bool one = data.bits <= kNumberBits && (as_number || data.bits % 8 != 0);
        return one ? std::vector{number_text(format.kind, data)}
                   : dump(format.kind, data, first_byte);
    }
    std::string line;
    for (const uint64_t value : typed_values(format, data)) {
        line += (line.empty() ? "" : " ") + typed_text(format, value);
    }
    return {line};
}

std::vector<Json> values_json(const Format &format, const BitData &data) {
    std::vector<Json> values;
    for (const uint64_t value : typed_values(format, data)) {
        values.push_back(typed_json(format, value));
    }
    return values;
}

void show_json(const Format &format, const BitData &data, Json &object) {
    object.set("hex", hex(data.bytes, false));
    if (data.bits <= kNumberBits) {
        object.set("value", number(data));
    }
    if (format.typed()) {
        Json list = Json::array();
        for (Json &value : values_json(format, data)) {
            list.add(std::move(value));
        }
        object.set("values", std::move(list));
    }
}

BitData parse_values(const Format &format, const std::vector<std::string> &texts,
                     uint32_t run_bits) {
    const bool one = run_bits > 0 && run_bits <= kNumberBits && texts.size() == 1;
    const uint32_t width = format.typed() ? format.bits : one ? run_bits : 8;
    BitData data;
    for (const std::string &text : texts) {
        if (format.kind == Kind::Hex) {
            for (const uint8_t byte : parse_hex_bytes(text)) {
                append(data, byte, 8);
            }
        } else {
            append(data, parse_one(format, text, width), width);
        }
    }
    return data;
}

} // namespace tarn
