// Tables of numbers in comma-separated text, as tarn cyclic and the axis example write them.
#pragma once

#include <string>
#include <vector>

namespace tarn {

struct CsvColumn {
    std::string name; // "position"
    std::string unit; // "inc", from a title "position_inc"; empty without
    std::vector<double> values;
};

// The first line has the titles. Throws Failure, which names the line.
std::vector<CsvColumn> parse_csv(const std::string &text);

} // namespace tarn
