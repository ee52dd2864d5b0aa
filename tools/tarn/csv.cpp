#include "csv.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace tarn {

namespace {

std::vector<std::string> split(const std::string &line) {
    std::vector<std::string> cells;
    size_t begin = 0;
    for (;;) {
        const size_t comma = line.find(',', begin);
        std::string cell = line.substr(begin, comma == std::string::npos ? comma : comma - begin);
        const size_t first = cell.find_first_not_of(" \t");
        const size_t last = cell.find_last_not_of(" \t");
        cells.push_back(first == std::string::npos ? "" : cell.substr(first, last - first + 1));
        if (comma == std::string::npos) {
            return cells;
        }
        begin = comma + 1;
    }
}

CsvColumn column_of(const std::string &title) {
    const size_t bar = title.rfind('_');
    if (bar == std::string::npos || bar == 0 || bar + 1 == title.size()) {
        return {printable(title), "", {}};
    }
    return {printable(title.substr(0, bar)), printable(title.substr(bar + 1)), {}};
}

[[noreturn]] void bad_line(size_t number, const std::string &why) {
    throw Failure("line " + std::to_string(number) + " " + why,
                  "the first line has titles, the others a number for each of them");
}

void add_row(std::vector<CsvColumn> &columns, const std::string &line, size_t number) {
    const std::vector<std::string> cells = split(line);
    if (cells.size() != columns.size()) {
        bad_line(number, "has " + counted(cells.size(), "value") + " for " +
                             counted(columns.size(), "column"));
    }
    for (size_t i = 0; i < cells.size(); ++i) {
        const std::optional<double> value = parse_real(cells[i]);
        if (!value || !std::isfinite(*value)) {
            bad_line(number, "has no number in \"" + printable(cells[i]) + "\"");
        }
        columns[i].values.push_back(*value);
    }
}

} // namespace

std::vector<CsvColumn> parse_csv(const std::string &text) {
    std::vector<CsvColumn> columns;
    size_t number = 0;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        ++number;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.empty()) {
            continue;
        }
        if (columns.empty()) {
            for (const std::string &title : split(line)) {
                columns.push_back(column_of(title));
            }
        } else {
            add_row(columns, line, number);
        }
    }
    if (columns.size() < 2 || columns.front().values.size() < 2) {
        throw Failure("there is nothing to draw: two columns and two lines of numbers are needed",
                      "tarn cyclic --csv FILE writes such a file");
    }
    return columns;
}

} // namespace tarn
