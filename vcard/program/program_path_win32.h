// Where this program lies.
#pragma once

#include <string>

namespace tarn::vcard {

std::string program_path();

} // namespace tarn::vcard
