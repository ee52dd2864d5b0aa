// The content of a slave's EEPROM: its slave information interface (SII).
#pragma once

#include "json.h"
#include "output.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tarn {

inline constexpr size_t kSiiHeaderSize = 128;    // bytes before the first category
inline constexpr size_t kSiiConfigSize = 16;     // bytes that the checksum closes
inline constexpr size_t kSiiAliasOffset = 8;     // byte of the station alias
inline constexpr size_t kSiiSizeMax = 2 * 65536; // all that word addresses reach

struct SiiMailbox {
    uint16_t out_offset = 0; // host to slave
    uint16_t out_size = 0;
    uint16_t in_offset = 0;
    uint16_t in_size = 0;
};

struct SiiCategory {
    uint16_t type = 0;
    size_t offset = 0; // byte of its data
    std::vector<uint8_t> data;
};

struct SiiSyncManager {
    uint16_t start = 0;
    uint16_t length = 0;
    uint8_t control = 0;
    uint8_t enable = 0;
    uint8_t type = 0;
};

struct SiiPdoEntry {
    uint16_t index = 0;
    uint8_t subindex = 0;
    uint8_t data_type = 0;
    uint8_t bits = 0;
    std::string name;
};

struct SiiPdo {
    bool to_host = false; // TxPDO
    uint16_t index = 0;
    uint8_t sync_manager = 0;
    uint16_t flags = 0;
    std::string name;
    std::vector<SiiPdoEntry> entries;

    [[nodiscard]] uint32_t bits() const;
};

struct SiiClock {
    std::string name;
    uint16_t assign_activate = 0;
    uint32_t cycle_ns = 0;
    uint32_t shift_ns = 0;
};

struct SiiGeneral {
    bool present = false;
    std::string group;
    std::string order;
    std::string name;
    uint8_t coe = 0;
    uint8_t foe = 0;
    uint8_t eoe = 0;
    uint8_t flags = 0;
    int16_t ebus_ma = 0;
    uint16_t ports = 0; // four bits each
};

struct Sii {
    uint16_t pdi_control = 0;
    uint16_t pdi_configuration = 0;
    uint16_t alias = 0;
    uint8_t checksum = 0;
    uint8_t right_checksum = 0;
    uint32_t vendor_id = 0;
    uint32_t product_code = 0;
    uint32_t revision_no = 0;
    uint32_t serial_no = 0;
    SiiMailbox bootstrap;
    SiiMailbox mailbox;
    uint16_t protocols = 0;
    uint16_t version = 0;
    size_t declared_size = 0; // bytes; 0 when what it says cannot be
    size_t used_size = 0;     // bytes up to the end of the categories
    SiiGeneral general;
    std::vector<std::string> strings; // the first one is number 1
    std::vector<uint8_t> fmmus;
    std::vector<SiiSyncManager> sync_managers;
    std::vector<SiiPdo> pdos;
    std::vector<SiiClock> clocks;
    std::vector<SiiCategory> categories;
    std::vector<std::string> problems; // what is wrong; empty when it can be written

    [[nodiscard]] bool checksum_ok() const { return checksum == right_checksum; }
};

// Of the first 14 bytes.
uint8_t sii_checksum(const std::vector<uint8_t> &data);

// Bytes that the EEPROM has by its own word; 0 when it cannot be, as in an empty one. The data must
// have the header.
size_t sii_declared_size(const std::vector<uint8_t> &data);

// Takes any data; what is wrong with it is among the problems.
Sii parse_sii(const std::vector<uint8_t> &data);

void print_sii(const Output &output, const Sii &sii);
Json sii_json(const Sii &sii);

} // namespace tarn
