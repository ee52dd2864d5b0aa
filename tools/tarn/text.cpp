#include "text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace tarn {

std::string format(const char *text, ...) {
    std::array<char, 512> line{};
    va_list arguments;
    va_start(arguments, text);
    std::vsnprintf(line.data(), line.size(), text, arguments);
    va_end(arguments);
    return line.data();
}

namespace {

// Bytes of the well-formed UTF-8 character at the start of the text, 0 when there is none.
size_t utf8_length(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t first = byte(0);
    if (first < 0x80) {
        return 1;
    }
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    // Overlong forms, surrogates and code points past the end of Unicode.
    if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
        (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F)) {
        return 0;
    }
    return length;
}

} // namespace

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const size_t length = utf8_length(text);
        const auto first = static_cast<uint8_t>(text.front());
        if (length == 0 || first < 0x20 || first == 0x7F) {
            result += '?';
        } else {
            result += text.substr(0, length);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

size_t display_width(std::string_view text) {
    size_t width = 0;
    for (const char c : text) {
        width += (static_cast<uint8_t>(c) & 0xC0) != 0x80;
    }
    return width;
}

std::string clipped(std::string_view text, size_t columns) {
    size_t end = 0;
    for (size_t width = 0; end < text.size(); ++end) {
        width += (static_cast<uint8_t>(text[end]) & 0xC0) != 0x80;
        if (width > columns) {
            break;
        }
    }
    return std::string(text.substr(0, end));
}

std::string joined(const std::vector<std::string> &texts, const char *separator) {
    std::string all;
    for (const std::string &text : texts) {
        all += (all.empty() ? "" : separator) + text;
    }
    return all;
}

std::optional<uint64_t> parse_unsigned(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    uint64_t value = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<int64_t> parse_signed(std::string_view text) {
    const bool negative = text.starts_with("-");
    if (negative || text.starts_with("+")) {
        text.remove_prefix(1);
    }
    const std::optional<uint64_t> magnitude = parse_unsigned(text);
    const uint64_t limit = negative ? uint64_t{1} << 63 : (uint64_t{1} << 63) - 1;
    if (!magnitude || *magnitude > limit) {
        return std::nullopt;
    }
    return static_cast<int64_t>(negative ? 0 - *magnitude : *magnitude);
}

std::optional<double> parse_real(const std::string &text) {
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size()) {
        return std::nullopt;
    }
    return value;
}

std::string hex(const std::vector<uint8_t> &data, bool blanks) {
    std::string result;
    for (const uint8_t byte : data) {
        if (blanks && !result.empty()) {
            result += ' ';
        }
        result += format("%02x", byte);
    }
    return result;
}

std::string size_text(uint64_t bytes) {
    constexpr uint64_t kFewBytes = 10'000;
    constexpr double kKiB = 1 << 10;
    constexpr double kMiB = 1 << 20;
    const auto size = static_cast<double>(bytes);
    return bytes < kFewBytes ? counted(bytes, "byte")
           : size < kMiB     ? format("%.1f KiB", size / kKiB)
                             : format("%.1f MiB", size / kMiB);
}

std::string hex_dump(uint32_t address, const std::vector<uint8_t> &data, unsigned digits) {
    constexpr size_t kWidth = 16;
    std::string text;
    for (size_t i = 0; i < data.size(); i += kWidth) {
        const std::vector<uint8_t> row(
            data.begin() + static_cast<std::ptrdiff_t>(i),
            data.begin() + static_cast<std::ptrdiff_t>(std::min(i + kWidth, data.size())));
        std::string shown;
        for (const uint8_t byte : row) {
            shown += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
        }
        text += format("%0*x  ", static_cast<int>(digits), address + static_cast<uint32_t>(i));
        text += hex(row, true) + std::string(3 * (kWidth - row.size()), ' ') + "  " + shown + "\n";
    }
    return text;
}

std::string counted(uint64_t count, const char *noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace tarn
