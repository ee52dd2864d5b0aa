// Small helpers for text and numbers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

// printf into a string of at most 511 characters.
[[gnu::format(printf, 1, 2)]] std::string format(const char *text, ...);

// Text that a card or a file gave, made safe for a terminal and for JSON: control characters and
// bytes that are no UTF-8 become '?'.
std::string printable(std::string_view text);

// Columns of a string on a terminal: its UTF-8 characters.
size_t display_width(std::string_view text);
// The beginning that fits into so many columns.
std::string clipped(std::string_view text, size_t columns);

// "a, b, c".
std::string joined(const std::vector<std::string> &texts, const char *separator);

// A whole number, decimal or with 0x; nothing else in the text.
std::optional<uint64_t> parse_unsigned(std::string_view text);
// The same with an optional sign in front.
std::optional<int64_t> parse_signed(std::string_view text);
std::optional<double> parse_real(const std::string &text);

// "01 ff 20", or without blanks.
std::string hex(const std::vector<uint8_t> &data, bool blanks);

// Lines of 16 bytes with their address, of so many digits, and their characters.
std::string hex_dump(uint32_t address, const std::vector<uint8_t> &data, unsigned digits);

// "9999 bytes", "16.0 KiB", "9.0 MiB".
std::string size_text(uint64_t bytes);

// "1 slave", "2 slaves".
std::string counted(uint64_t count, const char *noun);

} // namespace tarn
