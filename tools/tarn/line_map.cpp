#include "line_map.h"

#include <algorithm>
#include <cstdint>

namespace tarn {

namespace {

struct Unit {
    size_t original; // bytes of the original
    size_t parsed;   // bytes of the copy
    bool line_end;
};

Unit next_unit(std::string_view text, TextEncoding encoding) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    if (encoding == TextEncoding::Utf8 || encoding == TextEncoding::Latin1) {
        const bool two = encoding == TextEncoding::Latin1 && byte(0) >= 0x80;
        return {1, two ? 2U : 1U, byte(0) == '\n'};
    }
    if (text.size() < 2) {
        return {1, 0, false};
    }
    const bool little = encoding == TextEncoding::Utf16Little;
    const unsigned unit = static_cast<unsigned>(byte(little ? 1 : 0) << 8 | byte(little ? 0 : 1));
    // Each half of a surrogate pair stands for two of the four bytes.
    const bool surrogate = unit >= 0xD800 && unit < 0xE000;
    const size_t parsed = unit < 0x80 ? 1 : unit < 0x800 || surrogate ? 2 : 3;
    return {2, parsed, unit == '\n'};
}

} // namespace

LineMap::LineMap(std::string_view text, TextEncoding encoding)
    : known_(encoding != TextEncoding::Other) {
    size_t original = 0;
    size_t parsed = 0;
    while (known_ && original < text.size()) {
        const Unit unit = next_unit(text.substr(original), encoding);
        if (unit.line_end) {
            ends_.push_back({original, parsed});
        }
        original += unit.original;
        parsed += unit.parsed;
    }
}

size_t LineMap::of_parsed(std::ptrdiff_t offset) const {
    if (!known_ || offset < 0) {
        return 0;
    }
    const auto end = std::lower_bound(
        ends_.begin(), ends_.end(), static_cast<size_t>(offset),
        [](const LineEnd &line_end, size_t place) { return line_end.parsed < place; });
    return static_cast<size_t>(end - ends_.begin()) + 1;
}

size_t LineMap::of_original(size_t offset) const {
    if (!known_) {
        return 0;
    }
    const auto end = std::lower_bound(
        ends_.begin(), ends_.end(), offset,
        [](const LineEnd &line_end, size_t place) { return line_end.original < place; });
    return static_cast<size_t>(end - ends_.begin()) + 1;
}

} // namespace tarn
