#include "vcard/bus/network.h"

#include "layout/card_memory_map.h"
#include "vcard/bus/eni_reader.h"
#include "vcard/bus/ethercat.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>
#include <optional>
#include <set>

namespace tarn::vcard {
namespace {

using namespace eni;
using pugi::xml_node;

constexpr uint32_t kMaxSlaves = 4096;
constexpr uint32_t kMinCycleUs = 62;
constexpr uint32_t kMaxCycleUs = 1'000'000;

// ---- process data -----------------------------------------------------------------------------

// One mapped object of a slave, at its bit position inside the slave's run.
struct Entry {
    uint32_t index;
    uint32_t offset;
    uint32_t bits;
    bool digital; // by size or by its data type
};

// The run that the elements `name` (or `alias`) of a ProcessData element describe together.
BitRun read_run(xml_node data, const char *name, const char *alias, const std::string &where) {
    uint64_t begin = UINT64_MAX;
    uint64_t end = 0;
    for (xml_node part : data.children()) {
        if (std::strcmp(part.name(), name) != 0 && std::strcmp(part.name(), alias) != 0) {
            continue;
        }
        const std::string path = where + "/ProcessData/" + part.name();
        const uint64_t start = number(part, "BitStart", path, 0);
        const uint64_t length = number(part, "BitLength", path, 0);
        if (length != 0) {
            begin = std::min(begin, start);
            end = std::max(end, start + length);
        }
    }
    if (end == 0) {
        return {};
    }
    if (end > kPiBufferSize * 8) {
        refuse(kOutsideProcessImage,
               format("%s/ProcessData/%s: bits from %u on lie beyond %u bytes, the largest image",
                      where.c_str(), name, static_cast<uint32_t>(begin), kPiBufferSize));
    }
    return {static_cast<uint32_t>(begin), static_cast<uint32_t>(end - begin)};
}

std::vector<Entry> read_entries(xml_node data, const char *name, const BitRun &run,
                                const std::string &where) {
    std::vector<Entry> entries;
    const std::string path = where + "/ProcessData/" + name + "/Entry";
    uint64_t offset = 0;
    for (xml_node pdo : assigned_pdos(data, name, where)) {
        for (xml_node node : pdo.children("Entry")) {
            const uint32_t bits = number(node, "BitLen", path, 0);
            const uint32_t index = number(node, "Index", path, 0);
            if (index != 0 && offset + bits <= run.length) { // index 0: padding
                const std::string type = text_of(node.child("DataType"));
                entries.push_back(
                    {index, static_cast<uint32_t>(offset), bits,
                     bits < 16 || type.starts_with("BIT") || type.starts_with("BOOL")});
            }
            offset += bits;
        }
    }
    return entries;
}

// ---- kinds of slaves --------------------------------------------------------------------------

using DriveMap = SlaveConfig::DriveMap;

// In lower case and without blanks. Some tools say "mode of operation" instead of "modes".
std::string plain_name(std::string name) {
    std::erase(name, ' ');
    std::transform(name.begin(), name.end(), name.begin(), [](char c) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    });
    return name.starts_with("modeof") ? name.insert(4, "s") : name;
}

void map_drive_objects(const std::vector<Entry> &entries, bool output, DriveMap &map) {
    for (const Entry &entry : entries) {
        for (const DriveObject &object : drive_objects()) {
            if (object.index == entry.index && object.output == output &&
                object.bits == entry.bits && map.*object.offset == DriveMap::kUnmapped) {
                map.*object.offset = entry.offset;
            }
        }
    }
}

bool is_drive(const DriveMap &map) {
    return map.controlword != DriveMap::kUnmapped && map.statusword != DriveMap::kUnmapped;
}

SlaveKind kind_of(const SlaveConfig &slave, const std::vector<Entry> &outputs,
                  const std::vector<Entry> &inputs) {
    if (slave.outputs.length == 0 && slave.inputs.length == 0) {
        return SlaveKind::Coupler;
    }
    if (is_drive(slave.drive)) {
        return SlaveKind::Drive;
    }
    const auto digital = [](const std::vector<Entry> &entries, const BitRun &run) {
        return entries.empty() ? run.length <= 16
                               : std::all_of(entries.begin(), entries.end(),
                                             [](const Entry &entry) { return entry.digital; });
    };
    return digital(outputs, slave.outputs) && digital(inputs, slave.inputs) ? SlaveKind::DigitalIo
                                                                            : SlaveKind::AnalogIo;
}

// Files without PDOs name the objects of drives in the variables of the process image only. Finds
// them by the names of the variables inside their runs.
void map_drive_variables(xml_node image, bool output, Network &network,
                         const std::vector<size_t> &undescribed) {
    for (xml_node variable : image.children("Variable")) {
        std::string name = text_of(variable.child("Name"));
        name.erase(0, name.rfind('.') + 1);
        name = plain_name(std::move(name));
        const auto objects = drive_objects();
        const auto object =
            std::find_if(objects.begin(), objects.end(), [&](const DriveObject &known) {
                return known.output == output && name == plain_name(known.name);
            });
        const std::optional<int64_t> offset = parse_number(text_of(variable.child("BitOffs")));
        if (object == objects.end() || !offset) {
            continue;
        }
        for (const size_t index : undescribed) {
            SlaveConfig &slave = network.slaves[index];
            const BitRun &run = output ? slave.outputs : slave.inputs;
            if (*offset >= run.offset && *offset + object->bits <= run.offset + run.length) {
                slave.drive.*object->offset = static_cast<uint32_t>(*offset) - run.offset;
            }
        }
    }
}

// ---- slaves -----------------------------------------------------------------------------------

// Port B to D as 1 to 3, else 0: A leads to the master.
uint8_t port_of_letter(const std::string &letter) {
    return letter.size() == 1 && letter[0] >= 'B' && letter[0] <= 'D'
               ? static_cast<uint8_t>(letter[0] - 'A')
               : uint8_t{0};
}

// The slave whose port this one hangs on: that of the selected PreviousPort or of the first one.
void read_previous(xml_node node, const std::vector<SlaveConfig> &before, const std::string &where,
                   SlaveConfig &slave) {
    if (before.empty()) {
        return;
    }
    xml_node port = node.child("PreviousPort");
    for (xml_node candidate : node.children("PreviousPort")) {
        if (truth(candidate.attribute("Selected").value())) {
            port = candidate;
            break;
        }
    }
    slave.previous_port = port_of_letter(text_of(port.child("Port")));
    slave.previous_port_slave = static_cast<uint16_t>(before.size() - 1);
    if (port.child("PhysAddr")) {
        const uint16_t address = number16(port, "PhysAddr", where + "/PreviousPort", 0);
        for (size_t i = before.size(); i-- > 0;) {
            if (before[i].fixed_address == address) {
                slave.previous_port_slave = static_cast<uint16_t>(i);
                return;
            }
        }
    }
}

// Reads one Slave element. True when the file describes its process data by PDOs.
bool read_slave(xml_node node, Network &network, Allowance &allowance) {
    const size_t index = network.slaves.size();
    const std::string where = slave_path(index);
    const xml_node info = node.child("Info");
    const std::string info_path = where + "/Info";
    if (!info) {
        refuse(kXmlContainsErrors, info_path + ": missing");
    }
    SlaveConfig slave;
    slave.name = text_of(info.child("Name"));
    if (slave.name.empty()) {
        slave.name = "Slave " + std::to_string(index + 1);
    }
    slave.vendor_id = number(info, "VendorId", info_path, 0);
    slave.product_code = number(info, "ProductCode", info_path, 0);
    slave.revision_no = number(info, "RevisionNo", info_path, 0);
    slave.serial_no = number(info, "SerialNo", info_path, 0);
    if (slave.serial_no == 0) { // means "any": the simulated slave still has one of its own
        slave.serial_no = 1'000'001 + static_cast<uint32_t>(index);
    }
    slave.fixed_address =
        number16(info, "PhysAddr", info_path, static_cast<uint16_t>(1001 + index));
    slave.auto_increment_address =
        number16(info, "AutoIncAddr", info_path, static_cast<uint16_t>(-static_cast<int>(index)));
    const std::optional<int64_t> alias =
        parse_number(info.child("Identification").attribute("Value").value());
    slave.alias = static_cast<uint16_t>(alias.value_or(0));
    read_previous(node, network.slaves, where, slave);

    const xml_node data = node.child("ProcessData");
    slave.outputs = read_run(data, "Send", "Send", where);
    slave.inputs = read_run(data, "Recv", "Receive", where);
    const std::vector<Entry> outputs = read_entries(data, "RxPdo", slave.outputs, where);
    const std::vector<Entry> inputs = read_entries(data, "TxPdo", slave.inputs, where);
    map_drive_objects(outputs, true, slave.drive);
    map_drive_objects(inputs, false, slave.drive);
    slave.kind = kind_of(slave, outputs, inputs);
    read_services(node, slave, where, allowance);
    network.slaves.push_back(std::move(slave));
    return !outputs.empty() || !inputs.empty();
}

void read_slaves(xml_node config, Network &network) {
    std::vector<size_t> undescribed;
    Allowance allowance;
    for (xml_node node : config.children("Slave")) {
        if (network.slaves.size() == kMaxSlaves) {
            refuse(kArrayBoundsExceeded, format("Config/Slave: more than %u slaves", kMaxSlaves));
        }
        if (!read_slave(node, network, allowance)) {
            undescribed.push_back(network.slaves.size() - 1);
        }
    }
    if (network.slaves.empty()) {
        refuse(kXmlContainsErrors, "Config/Slave: the file has no slaves");
    }
    const xml_node image = config.child("ProcessImage");
    map_drive_variables(image.child("Outputs"), true, network, undescribed);
    map_drive_variables(image.child("Inputs"), false, network, undescribed);
    for (const size_t index : undescribed) {
        if (is_drive(network.slaves[index].drive)) {
            network.slaves[index].kind = SlaveKind::Drive;
        }
    }
    for (size_t i = 0; i < network.slaves.size(); ++i) {
        describe_runs(network.slaves[i], slave_path(i), allowance);
    }
}

// ---- image and cycle --------------------------------------------------------------------------

// Length of one direction's image: as stated, else up to the end of the furthest run.
uint32_t read_image(xml_node image, const char *direction, BitRun SlaveConfig::*run,
                    const char *element, const Network &network) {
    const std::string path = format("Config/ProcessImage/%s", direction);
    const xml_node node = image.child(direction);
    const bool stated = !node.child("ByteSize").empty();
    uint32_t bytes = number(node, "ByteSize", path, 0);
    if (bytes > kPiBufferSize) {
        refuse(kOutsideProcessImage, format("%s/ByteSize: an image of %u bytes, at most %u fit",
                                            path.c_str(), bytes, kPiBufferSize));
    }
    for (size_t i = 0; i < network.slaves.size(); ++i) {
        const BitRun &bits = network.slaves[i].*run;
        const uint32_t end = bits.offset + bits.length;
        if (bits.length == 0 || end <= bytes * 8) {
            continue;
        }
        if (stated) {
            refuse(kOutsideProcessImage,
                   format("%s/ProcessData/%s: bits %u..%u lie outside the %u bytes of %s/ByteSize",
                          slave_path(i).c_str(), element, bits.offset, end - 1, bytes,
                          path.c_str()));
        }
        bytes = (end + 7) / 8;
    }
    return bytes;
}

// The shortest cycle of all tasks drives the bus.
uint32_t read_cycle(xml_node config) {
    uint32_t cycle = 0;
    for (xml_node cyclic : config.children("Cyclic")) {
        const uint32_t us = number(cyclic, "CycleTime", "Config/Cyclic", 0);
        if (us != 0 && (cycle == 0 || us < cycle)) {
            cycle = us;
        }
    }
    return cycle == 0 ? 1000 : std::clamp(cycle, kMinCycleUs, kMaxCycleUs);
}

// What a logical command of the cyclic frames carries: bytes of the image of one direction.
struct CyclicCommand {
    bool outputs;
    bool both;     // reads and writes
    int64_t begin; // in the image
    int64_t length;
    int64_t address;
};

std::vector<CyclicCommand> read_cyclic_commands(xml_node config) {
    std::vector<CyclicCommand> found;
    for (xml_node cyclic : config.children("Cyclic")) {
        for (xml_node frame : cyclic.children("Frame")) {
            for (xml_node command : frame.children("Cmd")) {
                const auto value = [&](const char *name) {
                    return parse_number(text_of(command.child(name))).value_or(-1);
                };
                const int64_t code = value("Cmd");
                const bool both = code == kLogicalReadWrite;
                const int64_t length = std::min<int64_t>(value("DataLength"), kPiBufferSize);
                if (code == kLogicalWrite || both) {
                    found.push_back({true, both, value("OutputOffs"), length, value("Addr")});
                }
                if (code == kLogicalRead || both) {
                    found.push_back({false, both, value("InputOffs"), length, value("Addr")});
                }
            }
        }
    }
    return found;
}

// The command that carries a byte of the image, and where.
struct CarriedByte {
    const CyclicCommand *command = nullptr; // none
    uint32_t address = 0;
};
using CarriedImage = std::vector<CarriedByte>;

// The bytes of one direction's image when the commands' data lie `shift` bytes behind where they
// say. Of several commands for a byte the first counts.
CarriedImage carry_image(const std::vector<CyclicCommand> &commands, bool outputs, int64_t shift) {
    CarriedImage image(kPiBufferSize);
    std::set<int64_t> rest;
    for (int64_t byte = 0; byte < kPiBufferSize; ++byte) {
        rest.insert(rest.end(), byte);
    }
    for (const CyclicCommand &command : commands) {
        if (command.outputs != outputs || command.begin < 0 || command.begin > UINT32_MAX ||
            command.address < 0 || command.address > UINT32_MAX) {
            continue;
        }
        const int64_t begin = command.begin + shift;
        auto byte = rest.lower_bound(begin);
        while (byte != rest.end() && *byte < begin + command.length) {
            image[static_cast<size_t>(*byte)] = {
                &command, static_cast<uint32_t>(command.address + *byte - begin)};
            byte = rest.erase(byte);
        }
    }
    return image;
}

bool carries(const CarriedImage &image, const BitRun &run) {
    return run.length == 0 || (image[run.offset / 8].command != nullptr &&
                               image[(run.offset + run.length - 1) / 8].command != nullptr);
}

// Tools count a command's place in the image to its data or to its header; some count the bits of
// the slaves from the first data. The shift is the one with which commands carry all runs.
std::optional<CarriedImage> find_carried(const std::vector<CyclicCommand> &commands, bool outputs,
                                         const std::vector<SlaveConfig> &slaves) {
    constexpr int64_t kHeader = 10;
    int64_t first = 0;
    for (const CyclicCommand &command : commands) {
        if (command.outputs == outputs && command.begin >= 0) {
            first = first == 0 ? command.begin : std::min(first, command.begin);
        }
    }
    for (const int64_t shift : {int64_t{0}, kHeader, -first}) {
        CarriedImage image = carry_image(commands, outputs, shift);
        if (std::all_of(slaves.begin(), slaves.end(), [&](const SlaveConfig &slave) {
                return carries(image, outputs ? slave.outputs : slave.inputs);
            })) {
            return image;
        }
    }
    return std::nullopt;
}

void read_logical_addresses(xml_node config, Network &network) {
    const std::vector<CyclicCommand> commands = read_cyclic_commands(config);
    for (const bool outputs : {true, false}) {
        const std::optional<CarriedImage> image = find_carried(commands, outputs, network.slaves);
        for (SlaveConfig &slave : network.slaves) {
            const BitRun &run = outputs ? slave.outputs : slave.inputs;
            if (image && run.length != 0) {
                const CarriedByte &byte = (*image)[run.offset / 8];
                (outputs ? slave.output_address : slave.input_address) = byte.address;
                slave.written_only = outputs ? !byte.command->both : slave.written_only;
            }
        }
    }
}

// The cyclic frames of all tasks; a file without any still exchanges data.
uint32_t count_frames(xml_node config) {
    size_t frames = 0;
    for (xml_node cyclic : config.children("Cyclic")) {
        const auto found = cyclic.children("Frame");
        frames += static_cast<size_t>(std::distance(found.begin(), found.end()));
    }
    return static_cast<uint32_t>(std::clamp<size_t>(frames, 1, 0xFFFF));
}

// Files that misspell the name of the encoding are Latin-1 all the same.
pugi::xml_encoding encoding_of(std::string_view xml) {
    const std::string_view head = xml.substr(0, 200);
    const size_t declaration = head.find("<?xml");
    const std::string_view text =
        declaration == std::string_view::npos
            ? std::string_view()
            : head.substr(declaration, head.find("?>", declaration) - declaration);
    return text.find("8859") != std::string_view::npos ? pugi::encoding_latin1
                                                       : pugi::encoding_auto;
}

uint32_t line_of(std::string_view xml, ptrdiff_t offset) {
    const auto end = static_cast<size_t>(std::max<ptrdiff_t>(offset, 0));
    const std::string_view before = xml.substr(0, end);
    return 1 + static_cast<uint32_t>(std::count(before.begin(), before.end(), '\n'));
}

void read(std::string_view xml, Network &network) {
    pugi::xml_document document;
    const pugi::xml_parse_result result =
        document.load_buffer(xml.data(), xml.size(), pugi::parse_default, encoding_of(xml));
    const xml_node root = document.document_element();
    if (!result) {
        refuse(kXmlContainsErrors, format("%s: %s (line %u)", root ? root.name() : "XML",
                                          result.description(), line_of(xml, result.offset)));
    }
    if (std::strcmp(root.name(), "EncryptedEtherCATConfig") == 0) {
        refuse(kXmlContainsErrors, "EncryptedEtherCATConfig: encrypted files cannot be read");
    }
    if (std::strcmp(root.name(), "EtherCATConfig") != 0) {
        refuse(kXmlContainsErrors,
               format("%.60s: the root element must be EtherCATConfig", root.name()));
    }
    const xml_node config = root.child("Config");
    if (!config) {
        refuse(kXmlContainsErrors, "EtherCATConfig/Config: missing");
    }
    read_slaves(config, network);
    const xml_node image = config.child("ProcessImage");
    network.output_bytes = read_image(image, "Outputs", &SlaveConfig::outputs, "Send", network);
    network.input_bytes = read_image(image, "Inputs", &SlaveConfig::inputs, "Recv", network);
    network.cycle_us = read_cycle(config);
    network.frames_per_cycle = count_frames(config);
    read_logical_addresses(config, network);
    network.crc =
        document.find_node([](xml_node node) { return std::strcmp(node.name(), "CRC") == 0; })
            .child_value();
}

} // namespace

EniVerdict parse_eni(std::string_view xml, Network &network) {
    network = {};
    try {
        read(xml, network);
    } catch (const Refusal &refusal) {
        network = {};
        return refusal.verdict;
    }
    return {};
}

EniVerdict compare_networks(const Network &configured, const Network &present) {
    if (configured.slaves.size() != present.slaves.size()) {
        return {kVerificationErrors, "Config/Slave: " + std::to_string(configured.slaves.size()) +
                                         " slaves configured, " +
                                         std::to_string(present.slaves.size()) + " are present"};
    }
    struct Property {
        const char *element;
        uint32_t SlaveConfig::*value;
    };
    constexpr Property kIdentity[] = {{"VendorId", &SlaveConfig::vendor_id},
                                      {"ProductCode", &SlaveConfig::product_code},
                                      {"RevisionNo", &SlaveConfig::revision_no}};
    for (size_t i = 0; i < present.slaves.size(); ++i) {
        for (const Property &property : kIdentity) {
            const uint32_t wanted = configured.slaves[i].*property.value;
            const uint32_t found = present.slaves[i].*property.value;
            if (wanted != found) {
                return {kVerificationErrors,
                        format("%s/Info/%s: 0x%08X configured, 0x%08X is present",
                               slave_path(i).c_str(), property.element, wanted, found)};
            }
        }
    }
    return {};
}

} // namespace tarn::vcard
