#include "esc_registers.h"

#include "states.h"
#include "text.h"

#include <pci_tarn/pci_tarn.h>

#include <algorithm>

namespace tarn {

namespace {

struct Row {
    uint16_t address;
    uint8_t size;
    const char *name;
};

constexpr Row kRows[] = {
    {0x0000, 1, "Type"},
    {0x0001, 1, "Revision"},
    {0x0002, 2, "Build"},
    {0x0004, 1, "FMMUs supported"},
    {0x0005, 1, "Sync managers supported"},
    {0x0006, 1, "RAM size (KiB)"},
    {0x0007, 1, "Port descriptor"},
    {0x0008, 2, "Features supported"},
    {0x0010, 2, "Configured station address"},
    {0x0012, 2, "Configured station alias"},
    {0x0020, 1, "Write register enable"},
    {0x0021, 1, "Write register protection"},
    {0x0030, 1, "ESC write enable"},
    {0x0031, 1, "ESC write protection"},
    {0x0040, 1, "ESC reset ECAT"},
    {0x0041, 1, "ESC reset PDI"},
    {0x0100, 4, "DL control"},
    {0x0108, 2, "Physical read/write offset"},
    {0x0110, 2, "DL status"},
    {0x0120, 2, "AL control"},
    {0x0130, 2, "AL status"},
    {0x0134, 2, "AL status code"},
    {0x0138, 1, "RUN LED override"},
    {0x0139, 1, "ERR LED override"},
    {0x0140, 1, "PDI control"},
    {0x0141, 1, "ESC configuration"},
    {0x0150, 1, "PDI configuration"},
    {0x0151, 1, "Sync/latch PDI configuration"},
    {0x0152, 2, "Extended PDI configuration"},
    {0x0200, 2, "ECAT event mask"},
    {0x0204, 4, "PDI AL event mask"},
    {0x0210, 2, "ECAT event request"},
    {0x0220, 4, "AL event request"},
    {0x0300, 2, "RX error counter port 0"},
    {0x0302, 2, "RX error counter port 1"},
    {0x0304, 2, "RX error counter port 2"},
    {0x0306, 2, "RX error counter port 3"},
    {0x0308, 1, "Forwarded RX errors port 0"},
    {0x0309, 1, "Forwarded RX errors port 1"},
    {0x030A, 1, "Forwarded RX errors port 2"},
    {0x030B, 1, "Forwarded RX errors port 3"},
    {0x030C, 1, "ECAT processing unit errors"},
    {0x030D, 1, "PDI errors"},
    {0x0310, 1, "Lost link counter port 0"},
    {0x0311, 1, "Lost link counter port 1"},
    {0x0312, 1, "Lost link counter port 2"},
    {0x0313, 1, "Lost link counter port 3"},
    {0x0400, 2, "Watchdog divider"},
    {0x0410, 2, "Watchdog time PDI"},
    {0x0420, 2, "Watchdog time process data"},
    {0x0440, 2, "Watchdog status process data"},
    {0x0442, 1, "Watchdog counter process data"},
    {0x0443, 1, "Watchdog counter PDI"},
    {0x0500, 1, "EEPROM configuration"},
    {0x0501, 1, "EEPROM PDI access state"},
    {0x0502, 2, "EEPROM control/status"},
    {0x0504, 4, "EEPROM address"},
    {0x0508, 8, "EEPROM data"},
    {0x0510, 2, "MII management control/status"},
    {0x0900, 4, "DC receive time port 0"},
    {0x0904, 4, "DC receive time port 1"},
    {0x0908, 4, "DC receive time port 2"},
    {0x090C, 4, "DC receive time port 3"},
    {0x0910, 8, "DC system time"},
    {0x0918, 8, "DC receive time processing unit"},
    {0x0920, 8, "DC system time offset"},
    {0x0928, 4, "DC system time delay"},
    {0x092C, 4, "DC system time difference"},
    {0x0930, 2, "DC speed counter start"},
    {0x0932, 2, "DC speed counter difference"},
    {0x0934, 1, "DC time difference filter depth"},
    {0x0935, 1, "DC speed counter filter depth"},
    {0x0980, 1, "DC cyclic unit control"},
    {0x0981, 1, "DC activation"},
    {0x0982, 2, "DC pulse length"},
    {0x0984, 1, "DC activation status"},
    {0x098E, 1, "DC SYNC0 status"},
    {0x098F, 1, "DC SYNC1 status"},
    {0x0990, 8, "DC start time"},
    {0x0998, 8, "DC next SYNC1 pulse"},
    {0x09A0, 4, "DC SYNC0 cycle time"},
    {0x09A4, 4, "DC SYNC1 cycle time"},
    {0x09A8, 1, "DC latch 0 control"},
    {0x09A9, 1, "DC latch 1 control"},
    {0x09AE, 1, "DC latch 0 status"},
    {0x09AF, 1, "DC latch 1 status"},
    {0x09B0, 8, "DC latch 0 positive edge"},
    {0x09B8, 8, "DC latch 0 negative edge"},
    {0x09C0, 8, "DC latch 1 positive edge"},
    {0x09C8, 8, "DC latch 1 negative edge"},
};

// Rows that repeat for each FMMU and each sync manager; addresses are offsets.
constexpr Row kFmmuRows[] = {
    {0x0, 4, "logical start address"},
    {0x4, 2, "length"},
    {0x6, 1, "logical start bit"},
    {0x7, 1, "logical stop bit"},
    {0x8, 2, "physical start address"},
    {0xA, 1, "physical start bit"},
    {0xB, 1, "type"},
    {0xC, 1, "activate"},
};
constexpr Row kSyncManagerRows[] = {
    {0x0, 2, "physical start address"},
    {0x2, 2, "length"},
    {0x4, 1, "control"},
    {0x5, 1, "status"},
    {0x6, 1, "activate"},
    {0x7, 1, "PDI control"},
};

template <size_t rows>
void add_units(std::vector<EscRegister> &all, const char *unit, uint32_t begin, uint32_t step,
               const Row (&table)[rows]) {
    constexpr unsigned kUnits = 16;
    for (unsigned i = 0; i < kUnits; ++i) {
        for (const Row &row : table) {
            all.push_back({begin + i * step + row.address, row.size,
                           unit + std::to_string(i) + " " + row.name});
        }
    }
}

std::vector<EscRegister> make_registers() {
    std::vector<EscRegister> all;
    for (const Row &row : kRows) {
        all.push_back({row.address, row.size, row.name});
    }
    add_units(all, "FMMU", 0x0600, 16, kFmmuRows);
    add_units(all, "SM", 0x0800, 8, kSyncManagerRows);
    std::sort(all.begin(), all.end(), [](const EscRegister &one, const EscRegister &other) {
        return one.address < other.address;
    });
    return all;
}

const std::vector<EscRegister> &all_registers() {
    static const std::vector<EscRegister> all = make_registers();
    return all;
}

std::string al_state(uint64_t value) {
    return state_with_error(value & 0x0F, (value & 0x10) != 0);
}

// Per port: whether a link is there, and whether frames turn round or pass.
std::string dl_status(uint64_t value) {
    std::string text;
    for (unsigned port = 0; port < 4; ++port) {
        const bool link = (value >> (4 + port) & 1) != 0;
        const bool closed = (value >> (8 + 2 * port) & 1) != 0;
        text += (port == 0 ? "" : ", ") + format("port %u ", port) +
                (link     ? closed ? "link but closed" : "link"
                 : closed ? "no link"
                          : "open");
    }
    return text;
}

} // namespace

std::vector<EscRegister> esc_registers(uint32_t address, uint32_t length) {
    std::vector<EscRegister> found;
    for (const EscRegister &known : all_registers()) {
        if (known.address >= address && known.address + known.size <= address + length) {
            found.push_back(known);
        }
    }
    return found;
}

std::optional<EscRegister> esc_register(uint32_t address) {
    for (const EscRegister &known : all_registers()) {
        if (known.address == address) {
            return known;
        }
    }
    return std::nullopt;
}

std::string esc_meaning(const EscRegister &known, uint64_t value) {
    switch (known.address) {
    case 0x0110:
        return dl_status(value);
    case 0x0120:
    case 0x0130:
        return al_state(value);
    case 0x0134:
        return EcatGetAlStatusCodeMessage(static_cast<uint16_t>(value));
    default:
        return "";
    }
}

} // namespace tarn
