// Line numbers of places that the XML parser counts in its own, UTF-8 copy of a file.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace tarn {

enum class TextEncoding { Utf8, Latin1, Utf16Little, Utf16Big, Other };

class LineMap {
  public:
    // `encoding` is that of the original text.
    LineMap(std::string_view text, TextEncoding encoding);

    // Line, from 1, of a byte of the UTF-8 copy; 0 when the encoding is not followed.
    [[nodiscard]] size_t of_parsed(std::ptrdiff_t offset) const;
    // Line of a byte of the original text.
    [[nodiscard]] size_t of_original(size_t offset) const;

  private:
    struct LineEnd {
        size_t original;
        size_t parsed;
    };
    bool known_ = true;
    std::vector<LineEnd> ends_;
};

} // namespace tarn
