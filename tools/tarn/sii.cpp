#include "sii.h"

#include "text.h"

#include <algorithm>
#include <span>

namespace tarn {

namespace {

enum Category : uint16_t {
    kStrings = 10,
    kDataTypes = 20,
    kGeneral = 30,
    kFmmu = 40,
    kSyncManagers = 41,
    kTxPdo = 50,
    kRxPdo = 51,
    kClocks = 60,
    kEnd = 0xFFFF,
};

constexpr size_t kSizeWord = 0x3E;

// Reads beyond the end give zeros; the parsers look at sizes where it matters.
class Bytes {
  public:
    explicit Bytes(std::span<const uint8_t> data) : data_(data) {}

    [[nodiscard]] size_t size() const { return data_.size(); }
    [[nodiscard]] uint8_t u8(size_t place) const {
        return place < data_.size() ? data_[place] : uint8_t{0};
    }
    [[nodiscard]] uint16_t u16(size_t place) const {
        return static_cast<uint16_t>(u8(place) | u8(place + 1) << 8);
    }
    [[nodiscard]] uint32_t u32(size_t place) const {
        return u16(place) | uint32_t{u16(place + 2)} << 16;
    }
    [[nodiscard]] uint16_t word(size_t number) const { return u16(2 * number); }

  private:
    std::span<const uint8_t> data_;
};

// ---- header -------------------------------------------------------------------------------------

SiiMailbox mailbox_at(const Bytes &bytes, size_t word) {
    return {bytes.word(word), bytes.word(word + 1), bytes.word(word + 2), bytes.word(word + 3)};
}

void parse_header(const std::vector<uint8_t> &data, Sii &sii) {
    const Bytes bytes(data);
    sii.pdi_control = bytes.word(0);
    sii.pdi_configuration = bytes.word(1);
    sii.alias = bytes.word(4);
    sii.checksum = bytes.u8(14);
    sii.right_checksum = sii_checksum(data);
    sii.vendor_id = bytes.u32(16);
    sii.product_code = bytes.u32(20);
    sii.revision_no = bytes.u32(24);
    sii.serial_no = bytes.u32(28);
    sii.bootstrap = mailbox_at(bytes, 0x14);
    sii.mailbox = mailbox_at(bytes, 0x18);
    sii.protocols = bytes.word(0x1C);
    sii.version = bytes.word(0x3F);
    sii.declared_size = sii_declared_size(data);
    if (!sii.checksum_ok()) {
        sii.problems.push_back(format("the checksum is 0x%02x and should be 0x%02x", sii.checksum,
                                      sii.right_checksum));
    }
    if (sii.vendor_id == 0 || sii.vendor_id == UINT32_MAX) {
        sii.problems.push_back(format("0x%08x is no vendor", sii.vendor_id));
    }
    if (sii.declared_size == 0) {
        sii.problems.push_back("the size of the EEPROM is not given");
    } else if (data.size() > sii.declared_size) {
        sii.problems.push_back("it has " + counted(data.size(), "byte") + ", and the EEPROM has " +
                               std::to_string(sii.declared_size));
    }
}

// ---- categories ---------------------------------------------------------------------------------

void split_categories(const std::vector<uint8_t> &data, Sii &sii) {
    constexpr size_t kHead = 4;
    const Bytes bytes(data);
    size_t place = kSiiHeaderSize;
    while (place + 2 <= data.size() && bytes.u16(place) != kEnd) {
        const uint16_t type = bytes.u16(place);
        const size_t size = size_t{2} * bytes.u16(place + 2);
        const size_t begin = place + kHead;
        if (begin > data.size() || size > data.size() - begin) {
            sii.problems.push_back(format("category %u at 0x%04x goes beyond the end", type,
                                          static_cast<unsigned>(place)));
            sii.used_size = data.size();
            return;
        }
        const auto first = data.begin() + static_cast<std::ptrdiff_t>(begin);
        sii.categories.push_back({type, begin, {first, first + static_cast<std::ptrdiff_t>(size)}});
        place = begin + size;
    }
    if (place + 2 > data.size()) {
        sii.problems.push_back("the end of the categories is missing");
    }
    sii.used_size = std::min(place + 2, data.size());
}

void parse_strings(const SiiCategory &category, Sii &sii) {
    const Bytes bytes(category.data);
    size_t place = 1;
    for (unsigned i = 0; i < bytes.u8(0); ++i) {
        const size_t size = bytes.u8(place);
        if (place + 1 + size > bytes.size()) {
            sii.problems.push_back(format("string %u goes beyond its category", i + 1));
            return;
        }
        const auto *text = reinterpret_cast<const char *>(category.data.data() + place + 1);
        sii.strings.push_back(printable({text, size}));
        place += 1 + size;
    }
}

std::string string_of(const Sii &sii, uint8_t number) {
    return number == 0                    ? ""
           : number <= sii.strings.size() ? sii.strings[number - 1U]
                                          : format("(string %u is missing)", number);
}

void parse_general(const SiiCategory &category, Sii &sii) {
    const Bytes bytes(category.data);
    SiiGeneral &general = sii.general;
    general.present = true;
    general.group = string_of(sii, bytes.u8(0));
    general.order = string_of(sii, bytes.u8(2));
    general.name = string_of(sii, bytes.u8(3));
    general.coe = bytes.u8(5);
    general.foe = bytes.u8(6);
    general.eoe = bytes.u8(7);
    general.flags = bytes.u8(11);
    general.ebus_ma = static_cast<int16_t>(bytes.u16(12));
    general.ports = bytes.u16(16);
}

void parse_sync_managers(const SiiCategory &category, Sii &sii) {
    constexpr size_t kSize = 8;
    const Bytes bytes(category.data);
    for (size_t at = 0; at + kSize <= bytes.size(); at += kSize) {
        sii.sync_managers.push_back({bytes.u16(at), bytes.u16(at + 2), bytes.u8(at + 4),
                                     bytes.u8(at + 6), bytes.u8(at + 7)});
    }
}

void parse_pdos(const SiiCategory &category, Sii &sii) {
    constexpr size_t kSize = 8; // of a PDO's head and of an entry
    const Bytes bytes(category.data);
    for (size_t at = 0; at + kSize <= bytes.size();) {
        SiiPdo pdo;
        pdo.to_host = category.type == kTxPdo;
        pdo.index = bytes.u16(at);
        pdo.sync_manager = bytes.u8(at + 3);
        pdo.name = string_of(sii, bytes.u8(at + 5));
        pdo.flags = bytes.u16(at + 6);
        const size_t count = bytes.u8(at + 2);
        at += kSize;
        if (count * kSize > bytes.size() - at) {
            sii.problems.push_back(
                format("the entries of PDO 0x%04x go beyond its category", pdo.index));
            return;
        }
        for (size_t i = 0; i < count; ++i, at += kSize) {
            pdo.entries.push_back({bytes.u16(at), bytes.u8(at + 2), bytes.u8(at + 4),
                                   bytes.u8(at + 5), string_of(sii, bytes.u8(at + 3))});
        }
        sii.pdos.push_back(std::move(pdo));
    }
}

void parse_clocks(const SiiCategory &category, Sii &sii) {
    constexpr size_t kSize = 24;
    const Bytes bytes(category.data);
    for (size_t at = 0; at + kSize <= bytes.size(); at += kSize) {
        sii.clocks.push_back({string_of(sii, bytes.u8(at + 18)), bytes.u16(at + 14), bytes.u32(at),
                              bytes.u32(at + 4)});
    }
}

void parse_fmmus(const SiiCategory &category, Sii &sii) {
    sii.fmmus = category.data;
}

struct Parser {
    uint16_t type;
    const char *name;
    void (*parse)(const SiiCategory &, Sii &); // null: shown as bytes
};

// Strings come first: the others name them.
constexpr Parser kParsers[] = {
    {kStrings, "strings", parse_strings},
    {kDataTypes, "data types", nullptr},
    {kGeneral, "general", parse_general},
    {kFmmu, "FMMUs", parse_fmmus},
    {kSyncManagers, "sync managers", parse_sync_managers},
    {kTxPdo, "TxPDOs", parse_pdos},
    {kRxPdo, "RxPDOs", parse_pdos},
    {kClocks, "distributed clocks", parse_clocks},
};

const Parser *parser_of(uint16_t type) {
    const auto *found = std::find_if(std::begin(kParsers), std::end(kParsers),
                                     [&](const Parser &parser) { return parser.type == type; });
    return found != std::end(kParsers) ? found : nullptr;
}

} // namespace

uint32_t SiiPdo::bits() const {
    uint32_t sum = 0;
    for (const SiiPdoEntry &entry : entries) {
        sum += entry.bits;
    }
    return sum;
}

uint8_t sii_checksum(const std::vector<uint8_t> &data) {
    constexpr size_t kCovered = 14;
    constexpr uint8_t kPolynomial = 0x07;
    uint8_t crc = 0xFF;
    for (size_t i = 0; i < std::min(kCovered, data.size()); ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = static_cast<uint8_t>(crc << 1 ^ ((crc & 0x80) != 0 ? kPolynomial : 0));
        }
    }
    return crc;
}

size_t sii_declared_size(const std::vector<uint8_t> &data) {
    constexpr size_t kKilobit = 128; // bytes
    const size_t size = (size_t{Bytes(data).word(kSizeWord)} + 1) * kKilobit;
    return data.size() >= kSiiHeaderSize && size <= kSiiSizeMax ? size : 0;
}

Sii parse_sii(const std::vector<uint8_t> &data) {
    Sii sii;
    if (data.size() < kSiiHeaderSize) {
        sii.problems.push_back("it has " + counted(data.size(), "byte") +
                               ", and the header alone has " + std::to_string(kSiiHeaderSize));
        return sii;
    }
    if (data.size() % 2 != 0) {
        sii.problems.push_back("it has an odd number of bytes, and an EEPROM has words");
    }
    parse_header(data, sii);
    split_categories(data, sii);
    for (const Parser &parser : kParsers) {
        for (const SiiCategory &category : sii.categories) {
            if (category.type == parser.type && parser.parse != nullptr) {
                parser.parse(category, sii);
            }
        }
    }
    return sii;
}

// ---- showing ------------------------------------------------------------------------------------

namespace {

struct Name {
    unsigned value;
    const char *name;
};

std::string bit_names(std::span<const Name> names, unsigned value) {
    std::string text;
    for (const Name &bit : names) {
        if ((value & bit.value) != 0) {
            text += (text.empty() ? "" : ", ") + std::string(bit.name);
        }
    }
    return text.empty() ? "none" : text;
}

constexpr Name kProtocols[] = {{1, "AoE"}, {2, "EoE"},  {4, "CoE"},
                               {8, "FoE"}, {16, "SoE"}, {32, "VoE"}};
constexpr Name kCoeDetails[] = {{1, "SDO"},
                                {2, "SDO information"},
                                {4, "PDO assignment"},
                                {8, "PDO configuration"},
                                {16, "upload at startup"},
                                {32, "complete access"}};
constexpr const char *kPortKinds[] = {"unused", "MII", "reserved", "EBUS", "fast hot connect"};
constexpr const char *kFmmuKinds[] = {"unused", "outputs", "inputs", "mailbox state"};
constexpr const char *kSyncManagerKinds[] = {"unused", "mailbox out", "mailbox in", "outputs",
                                             "inputs"};

template <size_t size>
std::string name_of(const char *const (&names)[size], unsigned value) {
    return value < size ? names[value] : format("0x%02x", value);
}

std::string mailbox_text(const SiiMailbox &mailbox) {
    return mailbox.out_size == 0 && mailbox.in_size == 0
               ? "none"
               : format("out %u bytes at 0x%04x, in %u bytes at 0x%04x", mailbox.out_size,
                        mailbox.out_offset, mailbox.in_size, mailbox.in_offset);
}

std::string ports_text(uint16_t ports) {
    std::string text;
    for (unsigned port = 0; port < 4; ++port) {
        text += (port == 0 ? "" : ", ") + name_of(kPortKinds, ports >> (4 * port) & 0xF);
    }
    return text;
}

std::string checksum_text(const Sii &sii) {
    return format("0x%02x ", sii.checksum) +
           (sii.checksum_ok() ? "OK" : format("wrong, should be 0x%02x", sii.right_checksum));
}

void print_header(const Output &output, const Sii &sii) {
    output.field("vendor", format("0x%08x", sii.vendor_id));
    output.field("product", format("0x%08x", sii.product_code));
    output.field("revision", format("0x%08x", sii.revision_no));
    output.field("serial number", std::to_string(sii.serial_no));
    output.field("alias", std::to_string(sii.alias));
    output.field("PDI", format("control 0x%04x, configuration 0x%04x", sii.pdi_control,
                               sii.pdi_configuration));
    output.field("checksum", checksum_text(sii));
    output.field("size", (sii.declared_size == 0 ? "unknown" : size_text(sii.declared_size)) +
                             ", " + size_text(sii.used_size) + " used, version " +
                             std::to_string(sii.version));
    output.field("mailbox", mailbox_text(sii.mailbox));
    output.field("in BOOT", mailbox_text(sii.bootstrap));
    output.field("protocols", bit_names(kProtocols, sii.protocols));
}

void print_general(const Output &output, const SiiGeneral &general) {
    if (!general.present) {
        return;
    }
    output.field("name", general.name);
    output.field("group", general.group);
    output.field("order number", general.order);
    output.field("CoE", bit_names(kCoeDetails, general.coe));
    output.field("E-bus", std::to_string(general.ebus_ma) + " mA");
    output.field("ports", ports_text(general.ports));
}

void print_pdo(const Output &output, const SiiPdo &pdo) {
    output.line(
        format("%s 0x%04x, ", pdo.to_host ? "TxPDO" : "RxPDO", pdo.index) +
        (pdo.sync_manager == 0xFF ? "not assigned" : "SM" + std::to_string(pdo.sync_manager)) +
        ", " + counted(pdo.bits(), "bit") + (pdo.name.empty() ? "" : "  " + pdo.name));
    for (const SiiPdoEntry &entry : pdo.entries) {
        output.line(format("  0x%04x:%02x  %2u bits  ", entry.index, entry.subindex, entry.bits) +
                    (entry.index == 0 ? "(gap)" : entry.name));
    }
}

void print_tables(const Output &output, const Sii &sii) {
    for (size_t i = 0; i < sii.fmmus.size(); ++i) {
        if (sii.fmmus[i] != 0xFF) { // fills the last word up
            output.field(("FMMU" + std::to_string(i)).c_str(), name_of(kFmmuKinds, sii.fmmus[i]));
        }
    }
    for (size_t i = 0; i < sii.sync_managers.size(); ++i) {
        const SiiSyncManager &manager = sii.sync_managers[i];
        output.field(("SM" + std::to_string(i)).c_str(),
                     name_of(kSyncManagerKinds, manager.type) +
                         format(", %u bytes at 0x%04x, control 0x%02x, %s", manager.length,
                                manager.start, manager.control,
                                (manager.enable & 1) != 0 ? "enabled" : "off"));
    }
    for (const SiiPdo &pdo : sii.pdos) {
        print_pdo(output, pdo);
    }
    for (const SiiClock &clock : sii.clocks) {
        output.field("DC", format("AssignActivate 0x%04x, cycle %u ns, shift %d ns  ",
                                  clock.assign_activate, clock.cycle_ns,
                                  static_cast<int32_t>(clock.shift_ns)) +
                               clock.name);
    }
}

bool shown_as_bytes(const SiiCategory &category) {
    const Parser *parser = parser_of(category.type);
    return parser == nullptr || parser->parse == nullptr;
}

std::string category_name(uint16_t type) {
    const Parser *parser = parser_of(type);
    return "category " + std::to_string(type) +
           (parser != nullptr ? std::string(" (") + parser->name + ")" : "");
}

Json mailbox_json(const SiiMailbox &mailbox) {
    return Json::object()
        .set("out_offset", mailbox.out_offset)
        .set("out_size", mailbox.out_size)
        .set("in_offset", mailbox.in_offset)
        .set("in_size", mailbox.in_size);
}

Json pdo_json(const SiiPdo &pdo) {
    Json entries = Json::array();
    for (const SiiPdoEntry &entry : pdo.entries) {
        entries.add(Json::object()
                        .set("index", entry.index)
                        .set("subindex", entry.subindex)
                        .set("bits", entry.bits)
                        .set("data_type", entry.data_type)
                        .set("name", entry.name));
    }
    return Json::object()
        .set("direction", pdo.to_host ? "tx" : "rx")
        .set("index", pdo.index)
        .set("sync_manager", pdo.sync_manager)
        .set("flags", pdo.flags)
        .set("bits", pdo.bits())
        .set("name", pdo.name)
        .set("entries", std::move(entries));
}

Json sync_manager_json(const SiiSyncManager &manager) {
    return Json::object()
        .set("start", manager.start)
        .set("length", manager.length)
        .set("control", manager.control)
        .set("enabled", (manager.enable & 1) != 0)
        .set("type", name_of(kSyncManagerKinds, manager.type));
}

Json clock_json(const SiiClock &clock) {
    return Json::object()
        .set("name", clock.name)
        .set("assign_activate", clock.assign_activate)
        .set("cycle_ns", clock.cycle_ns)
        .set("shift_ns", static_cast<int32_t>(clock.shift_ns));
}

Json category_json(const SiiCategory &category) {
    Json json = Json::object()
                    .set("type", category.type)
                    .set("offset", category.offset)
                    .set("length", category.data.size());
    if (shown_as_bytes(category)) {
        json.set("hex", hex(category.data, false));
    }
    return json;
}

Json general_json(const SiiGeneral &general) {
    if (!general.present) {
        return nullptr;
    }
    return Json::object()
        .set("name", general.name)
        .set("group", general.group)
        .set("order_number", general.order)
        .set("coe_details", general.coe)
        .set("foe_details", general.foe)
        .set("eoe_details", general.eoe)
        .set("flags", general.flags)
        .set("ebus_ma", general.ebus_ma)
        .set("ports", general.ports);
}

template <typename T, typename ToJson>
Json list_json(const std::vector<T> &list, const ToJson &to_json) {
    Json json = Json::array();
    for (const T &item : list) {
        json.add(to_json(item));
    }
    return json;
}

Json text_json(const std::string &text) {
    return text;
}

} // namespace

void print_sii(const Output &output, const Sii &sii) {
    print_header(output, sii);
    print_general(output, sii.general);
    print_tables(output, sii);
    for (size_t i = 0; i < sii.strings.size(); ++i) {
        output.field(("string " + std::to_string(i + 1)).c_str(), sii.strings[i]);
    }
    for (const SiiCategory &category : sii.categories) {
        if (shown_as_bytes(category)) {
            output.line(category_name(category.type) + ", " +
                        counted(category.data.size(), "byte"));
            output.text(hex_dump(static_cast<uint32_t>(category.offset), category.data, 4));
        }
    }
    for (const std::string &problem : sii.problems) {
        output.line("problem: " + problem);
    }
}

Json sii_json(const Sii &sii) {
    return Json::object()
        .set("vendor_id", sii.vendor_id)
        .set("product_code", sii.product_code)
        .set("revision_no", sii.revision_no)
        .set("serial_no", sii.serial_no)
        .set("alias", sii.alias)
        .set("pdi_control", sii.pdi_control)
        .set("pdi_configuration", sii.pdi_configuration)
        .set("checksum", sii.checksum)
        .set("checksum_ok", sii.checksum_ok())
        .set("size", sii.declared_size)
        .set("used", sii.used_size)
        .set("version", sii.version)
        .set("mailbox", mailbox_json(sii.mailbox))
        .set("boot_mailbox", mailbox_json(sii.bootstrap))
        .set("protocols", bit_names(kProtocols, sii.protocols))
        .set("general", general_json(sii.general))
        .set("strings", list_json(sii.strings, text_json))
        .set("fmmus", list_json(sii.fmmus, [](uint8_t kind) { return Json(kind); }))
        .set("sync_managers", list_json(sii.sync_managers, sync_manager_json))
        .set("pdos", list_json(sii.pdos, pdo_json))
        .set("clocks", list_json(sii.clocks, clock_json))
        .set("categories", list_json(sii.categories, category_json))
        .set("problems", list_json(sii.problems, text_json));
}

} // namespace tarn
