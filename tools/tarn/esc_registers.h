// Registers of EtherCAT slave controllers (ESC) by name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarn {

struct EscRegister {
    uint32_t address = 0;
    uint32_t size = 0; // bytes, 1 to 8
    std::string name;
};

// All that lie whole in a range, by address.
std::vector<EscRegister> esc_registers(uint32_t address, uint32_t length);

// The register at an address.
std::optional<EscRegister> esc_register(uint32_t address);

// What a value of the register means, as "OP" for the AL status; empty when there is nothing to
// say.
std::string esc_meaning(const EscRegister &known, uint64_t value);

} // namespace tarn
