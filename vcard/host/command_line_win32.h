// Words of a command line for CreateProcess.
#pragma once

#include <string>

namespace tarn::vcard {

// As the C run time of the new process takes its command line apart: backslashes count only before
// a quotation mark.
std::string quoted(const std::string &word);

} // namespace tarn::vcard
