// Faults on demand: what the command line names and what it does to a card.
#pragma once

#include "vcard/firmware/firmware.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::vcard {

struct FaultKind {
    const char *name;
    const char *argument; // empty: none
    const char *text;
};

// All faults of a card, in the order of the help.
const std::vector<FaultKind> &fault_kinds();

// Sets a fault. `words` are its name and arguments; "status" takes the code, the command it applies
// to and how often. Throws std::invalid_argument with a text for the user.
void set_fault(Firmware &card, uint32_t channel, const std::vector<std::string> &words);

} // namespace tarn::vcard
