// PDO assignments and mappings as a slave's CoE start commands write them.
#pragma once

#include "vcard/bus/network.h"

#include <cstdint>
#include <vector>

namespace tarn::vcard {

// The PDOs that the list at `index` (0x1C12, 0x1C13) gets.
std::vector<uint16_t> assigned_by_commands(const SlaveConfig &slave, uint16_t index);

// The entries that the PDO at `index` gets; without names.
std::vector<PdoEntry> mapped_by_commands(const SlaveConfig &slave, uint16_t index);

} // namespace tarn::vcard
