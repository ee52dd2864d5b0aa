// Process data as values: hexadecimal, decimal, binary and typed, in both ways. Data is a run of
// bits, packed from bit 0 of its first byte, least significant byte first.
#pragma once

#include "json.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarn {

struct Format {
    enum class Kind { Auto, Hex, Decimal, Binary, Unsigned, Signed, Float };
    Kind kind = Kind::Auto;
    uint32_t bits = 8; // of one value of the typed kinds

    [[nodiscard]] bool typed() const { return kind >= Kind::Unsigned; }
};

// Names of all formats, for the help.
inline constexpr const char *kFormatNames =
    "hex, dec, bin, u8, i8, u16, i16, u32, i32, u64, i64, f32 or f64";

// Throws UsageError.
Format parse_format(const std::string &name);

struct BitData {
    std::vector<uint8_t> bytes;
    uint32_t bits = 0;
};

// A number of up to 8 bytes, least significant byte first.
uint64_t little_endian(const uint8_t *bytes, size_t count);

// "0a0B0c", two digits per byte. Throws UsageError.
std::vector<uint8_t> parse_hex_bytes(const std::string &digits);

// Throws UsageError when a typed format does not divide the run.
void check_whole_values(const Format &format, uint32_t bits);

// Largest run that is shown or written as one number.
inline constexpr uint32_t kNumberBits = 64;

// Lines of text. Auto, hex, dec and bin show a run of up to 64 bits as one number when `as_number`
// says so or when its bits fill no whole bytes, else byte by byte; `first_byte` is the offset that
// a dump of several lines counts from. Throws UsageError when a typed format does not divide the
// run.
std::vector<std::string> show(const Format &format, const BitData &data, bool as_number,
                              uint32_t first_byte);

// "hex", "value" of up to 64 bits and "values" of a typed format, as members of an object.
void show_json(const Format &format, const BitData &data, Json &object);

// The values of a typed format. Throws UsageError as show() does.
std::vector<Json> values_json(const Format &format, const BitData &data);

// What was written on the command line: values of the type; rows of hexadecimal digits for hex;
// otherwise numbers, one of `run_bits` bits, or bytes when there are several or `run_bits` is 0.
// Throws UsageError.
BitData parse_values(const Format &format, const std::vector<std::string> &texts,
                     uint32_t run_bits);

} // namespace tarn
