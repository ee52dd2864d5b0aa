#include "output.h"

#include "text.h"

#include <algorithm>

namespace tarn {

std::string Table::text() const {
    std::vector<size_t> widths;
    for (const auto &row : rows_) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], display_width(row[i]));
        }
    }
    std::string text;
    for (const auto &row : rows_) {
        for (size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size()) {
                text.append(widths[i] - display_width(row[i]) + 2, ' ');
            }
        }
        text += '\n';
    }
    return text;
}

void Output::text(const std::string &text) const {
    if (std::ferror(results_) != 0) {
        return;
    }
    const bool written = std::fwrite(text.data(), 1, text.size(), results_) == text.size();
    if (std::fflush(results_) != 0 || !written) {
        throw Failure("cannot write to standard output", "is the disk full?");
    }
}

void Output::line(const std::string &text) const {
    this->text(text + "\n");
}

void Output::document(const Json &json) const {
    line(json.text());
}

void Output::field(const char *name, const std::string &value) const {
    line(format("%-16s", name) + value);
}

void Output::warning(const std::string &text) {
    std::fprintf(stderr, "tarn: warning: %s\n", text.c_str());
    std::fflush(stderr);
}

void Output::error(const std::string &text) {
    std::fprintf(stderr, "tarn: %s\n", text.c_str());
    std::fflush(stderr);
}

} // namespace tarn
