// Reading of ENI elements: numbers, texts, and the parts of a Slave element.
#pragma once

#include "vcard/bus/network.h"

#include <pugixml.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::vcard::eni {

enum Status : uint32_t {
    kXmlContainsErrors = 32774,
    kVerificationErrors = 32811,
    kArrayBoundsExceeded = 32827,
    kOutsideProcessImage = 34058,
};

// What ends the reading of a file; parse_eni() turns it into the verdict.
struct Refusal {
    EniVerdict verdict;
};

[[gnu::format(printf, 1, 2)]] std::string format(const char *text, ...);
[[noreturn]] void refuse(uint32_t status, std::string text);

// All text of an element in one line: CDATA sections and plain text joined, blanks at the ends
// removed, each run of blanks and line ends in between made one blank.
std::string text_of(pugi::xml_node node);

// Decimal, #xHEX or 0xHEX, with or without a sign.
std::optional<int64_t> parse_number(std::string_view text);

// The number in child `name` of `node`. Negative numbers stand for the same bits without a sign,
// as some tools write revisions. `where` is the path of `node` for the message.
uint32_t number(pugi::xml_node node, const char *name, const std::string &where, uint32_t absent);
uint16_t number16(pugi::xml_node node, const char *name, const std::string &where, uint16_t absent);

// "1" and "true".
bool truth(const char *text);

// The CiA 402 objects that the drive model knows, as PDO entries.
struct DriveObject {
    uint16_t index;
    bool output;
    uint8_t bits;
    uint32_t SlaveConfig::DriveMap::*offset;
    const char *name;
    const char *type;
};
std::span<const DriveObject> drive_objects();

std::string slave_path(size_t index);

// What a file may ask for beyond its own size, all slaves together: a few words would else fill
// the memory.
struct Allowance {
    size_t zeros = 16U << 20;  // bytes of commands that give the length of their data only
    size_t entries = 1U << 18; // of PDOs that the file does not describe
};

// The PDOs of one direction ("RxPdo" or "TxPdo") that are assigned to sync managers, in the order
// of the process data: as the SmN elements list them, else by the PDOs' own Sm attributes, else
// all. Each comes once.
std::vector<pugi::xml_node> assigned_pdos(pugi::xml_node data, const char *name,
                                          const std::string &where);

// Mailbox, start commands, sync managers, PDOs and DC of a Slave element.
void read_services(pugi::xml_node node, SlaveConfig &slave, const std::string &where,
                   Allowance &allowance);

// Gives a slave whose file has runs but no PDOs the PDOs that the runs must come from.
void describe_runs(SlaveConfig &slave, const std::string &where, Allowance &allowance);

} // namespace tarn::vcard::eni
