// Where and how much of a fault on demand.
#pragma once

#include <cstdint>
#include <optional>

namespace tarn::vcard {

struct SlaveFaultArguments {
    std::optional<uint32_t> port;
    uint32_t number = 0; // of errors; the AL status code
};

} // namespace tarn::vcard
