// EtherCAT states by name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarn {

// "OP" for 8; the number when it is no state.
std::string state_name(uint8_t state);
// "OP+ERROR" when there is one.
std::string state_with_error(uint8_t state, bool error);

// A name in either case, or a number.
std::optional<uint8_t> parse_state(const std::string &text);

} // namespace tarn
