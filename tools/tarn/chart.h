// Curves over a common axis as a picture that any browser shows.
#pragma once

#include "csv.h"

#include <string>
#include <vector>

namespace tarn {

// An SVG document: the first column is the common axis; columns of one unit share a panel, those of
// the unit "cycles" are drawn as bars. Throws Failure when there are too many panels.
std::string draw_chart(const std::string &title, const std::vector<CsvColumn> &columns);

} // namespace tarn
