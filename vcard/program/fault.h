// Faults on demand: what the command line names and what it does to a card.
#pragma once

#include "vcard/firmware/firmware.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarn::vcard {

struct FaultKind {
    const char *name;
    const char *argument; // empty: none
    const char *text;
    const char *number = ""; // a second argument; empty: none
};

// All faults of a card, in the order of the help.
const std::vector<FaultKind> &fault_kinds();

// "4" or "4:1". Throws std::invalid_argument with a text for the user.
struct SlavePlace {
    uint32_t slave;
    std::optional<uint32_t> port;
};
SlavePlace parse_slave_place(const std::string &text);

// Sets a fault. `words` are its name and arguments; "status" takes the code, the command it applies
// to and how often. Throws std::invalid_argument with a text for the user.
void set_fault(Firmware &card, uint32_t channel, const std::vector<std::string> &words);

} // namespace tarn::vcard
