#include "states.h"

#include "text.h"

#include <pci_tarn/ecat.h>

#include <algorithm>
#include <cctype>

namespace tarn {

namespace {

constexpr struct {
    uint8_t state;
    const char *name;
} kStates[] = {{ECAT_STATE_INIT, "INIT"},
               {ECAT_STATE_PREOP, "PREOP"},
               {ECAT_STATE_BOOT, "BOOT"},
               {ECAT_STATE_SAFEOP, "SAFEOP"},
               {ECAT_STATE_OP, "OP"}};

} // namespace

std::string state_name(uint8_t state) {
    for (const auto &known : kStates) {
        if (known.state == state) {
            return known.name;
        }
    }
    return state == 0 ? "none" : std::to_string(state);
}

std::string state_with_error(uint8_t state, bool error) {
    return state_name(state) + (error ? "+ERROR" : "");
}

std::optional<uint8_t> parse_state(const std::string &text) {
    std::string upper = text;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const std::optional<uint64_t> number = parse_unsigned(text);
    for (const auto &known : kStates) {
        if (upper == known.name || number == known.state) {
            return known.state;
        }
    }
    return std::nullopt;
}

} // namespace tarn
