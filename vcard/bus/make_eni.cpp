#include "vcard/bus/make_eni.h"

#include "layout/card_memory_map.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace tarn::vcard {
namespace {

constexpr uint32_t kVendorId = 0x7461726E;
constexpr uint32_t kRevision = 0x00010000;
constexpr uint32_t kMaxSlaves = 4096;
constexpr uint32_t kLogicalLimit = 8192; // bytes of a logical image
constexpr uint32_t kFirstAddress = 1001;
constexpr uint32_t kOutputBase = 0x01000000; // logical addresses on the wire
constexpr uint32_t kInputBase = 0x01010000;
constexpr uint32_t kFrameData = 1400; // process data bytes of one command

// From here on slaves are described without start commands, sync managers and names, and the image
// without variables: hosts read a mapping only from files below 5 MiB.
constexpr size_t kManySlaves = 64;

struct Entry {
    const char *type;
    uint32_t bits;
    uint32_t index; // object; the sub-index counts from 1 unless single
    const char *name;
};

// `count` times the entry, or one entry each for the objects of a drive.
struct Side {
    uint32_t count = 0;
    const Entry *entries = nullptr;
    bool distinct = false; // entries[0..count-1], else entries[0] repeated

    [[nodiscard]] const Entry &entry(uint32_t i) const { return entries[distinct ? i : 0]; }
    [[nodiscard]] uint32_t bits() const {
        uint32_t sum = 0;
        for (uint32_t i = 0; i < count; ++i) {
            sum += entry(i).bits;
        }
        return sum;
    }
};

constexpr Entry kDigitalOut = {"BITARR8", 8, 0x7000, "Outputs"};
constexpr Entry kDigitalIn = {"BITARR8", 8, 0x6000, "Inputs"};
constexpr Entry kDigitalOut4 = {"BIT4", 4, 0x7000, "Outputs"};
constexpr Entry kDigitalIn4 = {"BIT4", 4, 0x6000, "Inputs"};
constexpr Entry kAnalogOut = {"INT", 16, 0x7010, "Output"};
constexpr Entry kAnalogIn = {"INT", 16, 0x6010, "Input"};
constexpr Entry kDriveOut[] = {{"UINT", 16, 0x6040, "Controlword"},
                               {"SINT", 8, 0x6060, "Modes of operation"},
                               {"USINT", 8, 0, ""},
                               {"DINT", 32, 0x607A, "Target position"},
                               {"DINT", 32, 0x60FF, "Target velocity"},
                               {"INT", 16, 0x6071, "Target torque"}};
constexpr Entry kDriveIn[] = {{"UINT", 16, 0x6041, "Statusword"},
                              {"SINT", 8, 0x6061, "Modes of operation display"},
                              {"USINT", 8, 0, ""},
                              {"DINT", 32, 0x6064, "Position actual value"},
                              {"DINT", 32, 0x606C, "Velocity actual value"},
                              {"INT", 16, 0x6077, "Torque actual value"}};

struct Kind {
    SlaveKindInfo info;
    uint32_t product;
    Side outputs;
    Side inputs;
    bool drive = false;
    bool mailbox = true; // simple digital slaves have none
};

constexpr Side channels(uint32_t count, const Entry &entry) {
    return {count, &entry, false};
}
constexpr Side objects(const Entry *entries, uint32_t count) {
    return {count, entries, true};
}

const Kind kKinds[] = {
    {{"coupler", "bus coupler without process data"}, 0x1000, {}, {}},
    {{"di4", "4 digital inputs"}, 0x1104, {}, channels(1, kDigitalIn4), false, false},
    {{"di8", "8 digital inputs"}, 0x1108, {}, channels(1, kDigitalIn), false, false},
    {{"di16", "16 digital inputs"}, 0x1116, {}, channels(2, kDigitalIn), false, false},
    {{"do4", "4 digital outputs"}, 0x1204, channels(1, kDigitalOut4), {}, false, false},
    {{"do8", "8 digital outputs"}, 0x1208, channels(1, kDigitalOut), {}, false, false},
    {{"do16", "16 digital outputs"}, 0x1216, channels(2, kDigitalOut), {}, false, false},
    {{"dio8", "8 digital outputs, read back on 8 inputs"},
     0x1308,
     channels(1, kDigitalOut),
     channels(1, kDigitalIn),
     false,
     false},
    {{"dio16", "16 digital outputs, read back on 16 inputs"},
     0x1316,
     channels(2, kDigitalOut),
     channels(2, kDigitalIn)},
    {{"ai2", "2 analogue inputs of 16 bits"}, 0x1402, {}, channels(2, kAnalogIn)},
    {{"ai4", "4 analogue inputs of 16 bits"}, 0x1404, {}, channels(4, kAnalogIn)},
    {{"ai8", "8 analogue inputs of 16 bits"}, 0x1408, {}, channels(8, kAnalogIn)},
    {{"ao2", "2 analogue outputs of 16 bits"}, 0x1502, channels(2, kAnalogOut), {}},
    {{"ao4", "4 analogue outputs of 16 bits"}, 0x1504, channels(4, kAnalogOut), {}},
    {{"ao8", "8 analogue outputs of 16 bits"}, 0x1508, channels(8, kAnalogOut), {}},
    {{"aio4", "4 analogue outputs, read back on 4 inputs"},
     0x1604,
     channels(4, kAnalogOut),
     channels(4, kAnalogIn)},
    {{"drive", "CiA 402 servo drive"},
     0x1402402,
     objects(kDriveOut, std::size(kDriveOut)),
     objects(kDriveIn, std::size(kDriveIn)),
     true},
};

struct Slave {
    const Kind *kind;
    uint32_t output_offset; // bits
    uint32_t input_offset;
};

[[gnu::format(printf, 2, 3)]] void append(std::string &out, const char *text, ...) {
    std::array<char, 1024> line{};
    va_list arguments;
    va_start(arguments, text);
    const int length = std::vsnprintf(line.data(), line.size(), text, arguments);
    va_end(arguments);
    out.append(line.data(), static_cast<size_t>(std::max(length, 0)));
}

[[gnu::format(printf, 1, 2)]] std::string format(const char *text, ...) {
    std::array<char, 256> line{};
    va_list arguments;
    va_start(arguments, text);
    std::vsnprintf(line.data(), line.size(), text, arguments);
    va_end(arguments);
    return line.data();
}

const Kind &find_kind(const std::string &name) {
    for (const Kind &kind : kKinds) {
        if (name == kind.info.kind) {
            return kind;
        }
    }
    std::string known;
    for (const Kind &kind : kKinds) {
        known += known.empty() ? "" : ", ";
        known += kind.info.kind;
    }
    throw std::invalid_argument("unknown kind of slave \"" + name + "\"; known kinds: " + known);
}

// Image bytes of one direction.
uint32_t image_bytes(uint32_t bits, uint32_t asked, const char *direction) {
    const uint32_t needed = (bits + 7) / 8;
    if (needed > kPiBufferSize || asked > kPiBufferSize) {
        throw std::invalid_argument(format("the %s image needs %u bytes, at most %u fit", direction,
                                           std::max(needed, asked), kPiBufferSize));
    }
    if (asked != 0 && asked < needed) {
        throw std::invalid_argument(
            format("the %s image needs %u bytes, %u are asked for", direction, needed, asked));
    }
    return std::max(asked, needed);
}

// ---- logical mapping --------------------------------------------------------------------------

// Logical addresses of one direction. Slaves without data stand at the end of the image: in
// between they would hide the slave before them from searches by address.
std::vector<uint32_t> logical_addresses(const std::vector<Slave> &slaves, Side Kind::*side,
                                        const MakeEniOptions &options, const char *direction) {
    uint32_t bits = 0;
    uint32_t with_data = 0;
    for (const Slave &slave : slaves) {
        const uint32_t length = (slave.kind->*side).bits();
        bits += length;
        with_data += length != 0 ? 1 : 0;
    }
    const uint32_t image = options.logical_bytes * 8;
    if (image != 0 && image < bits) {
        throw std::invalid_argument(format("the logical %s image needs %u bytes, %u are asked for",
                                           direction, (bits + 7) / 8, options.logical_bytes));
    }
    const uint32_t spare = image == 0 ? 0 : image - bits;
    const uint32_t gap = with_data > 1 ? spare / (with_data - 1) / 8 * 8 : 0;
    std::vector<uint32_t> addresses(slaves.size(), std::min(std::max(bits, image), 65535U));
    uint32_t next = 0;
    uint32_t placed = 0;
    for (size_t n = 0; n < slaves.size(); ++n) {
        const size_t i = options.reversed_mapping ? slaves.size() - 1 - n : n;
        const uint32_t length = (slaves[i].kind->*side).bits();
        if (length == 0) {
            continue;
        }
        const bool last = ++placed == with_data;
        addresses[i] = last && image != 0 ? image - length : next;
        next += length + gap;
    }
    return addresses;
}

std::string mapping_comment(const std::vector<Slave> &slaves, const MakeEniOptions &options) {
    const std::vector<uint32_t> inputs = logical_addresses(slaves, &Kind::inputs, options, "input");
    const std::vector<uint32_t> outputs =
        logical_addresses(slaves, &Kind::outputs, options, "output");
    const char *const on = options.logical_mapping ? "true" : "false";
    std::string out;
    append(out,
           "<!-- @@##ENI_PDO_LIST##@@{\"master\":{\"slave_logic_addr_mapping\":"
           "{\"input\":%s,\"output\":%s},\"slave_infos\":[",
           on, on);
    for (size_t i = 0; i < slaves.size(); ++i) {
        append(out, "%s{\"input_logic_addr\":%u,\"output_logic_addr\":%u}", i == 0 ? "" : ",",
               inputs[i], outputs[i]);
    }
    return out + "]}} -->\n";
}

// ---- elements ---------------------------------------------------------------------------------

void append_init_command(std::string &out, const char *transition, const char *comment,
                         unsigned command, uint32_t address, uint32_t offset, const char *data) {
    append(out,
           "<InitCmd><Transition>%s</Transition><Comment>%s</Comment><Cmd>%u</Cmd><Adp>%u</Adp>"
           "<Ado>%u</Ado><Data>%s</Data><Cnt>1</Cnt><Retries>3</Retries></InitCmd>\n",
           transition, comment, command, address, offset, data);
}

std::string hex16(uint32_t value) {
    return format("%02x%02x", value & 0xFF, value >> 8 & 0xFF);
}

void append_master(std::string &out) {
    out += "<Master><Info><Name>tarn</Name><Destination>ffffffffffff</Destination>"
           "<Source>000000000000</Source><EtherType>a488</EtherType></Info>\n<InitCmds>\n"
           "<InitCmd><Transition>IP</Transition><BeforeSlave>1</BeforeSlave>"
           "<Comment>clear FMMUs</Comment><Cmd>8</Cmd><Adp>0</Adp><Ado>1536</Ado>"
           "<DataLength>256</DataLength><Retries>3</Retries></InitCmd>\n"
           "<InitCmd><Transition>IP</Transition><BeforeSlave>1</BeforeSlave>"
           "<Comment>clear sync managers</Comment><Cmd>8</Cmd><Adp>0</Adp><Ado>2048</Ado>"
           "<DataLength>256</DataLength><Retries>3</Retries></InitCmd>\n"
           "</InitCmds></Master>\n";
}

// A run and, for few slaves, the sync manager that carries it.
void append_run(std::string &out, const char *element, uint32_t offset, uint32_t bits) {
    if (bits != 0) {
        append(out, "<%s><BitStart>%u</BitStart><BitLength>%u</BitLength></%s>", element, offset,
               bits, element);
    }
}

void append_sync_manager(std::string &out, const char *type, unsigned number, uint32_t bits,
                         uint32_t pdo) {
    const bool outputs = number == 2;
    append(out,
           "<Sm%u><Type>%s</Type><DefaultSize>%u</DefaultSize><StartAddress>%u</StartAddress>"
           "<ControlByte>%u</ControlByte><Enable>1</Enable><Pdo>#x%04x</Pdo></Sm%u>\n",
           number, type, (bits + 7) / 8, outputs ? 0x1100U : 0x1400U, outputs ? 0x64U : 0x20U, pdo,
           number);
}

void append_pdo(std::string &out, const char *element, unsigned sync_manager, uint32_t pdo,
                const Side &side, bool named) {
    append(out, "<%s Fixed=\"1\" Sm=\"%u\"><Index>#x%04x</Index><Name>%s</Name>", element,
           sync_manager, pdo, sync_manager == 2 ? "Outputs" : "Inputs");
    for (uint32_t i = 0; i < side.count; ++i) {
        const Entry &entry = side.entry(i);
        if (entry.index == 0) {
            append(out, "<Entry><Index>#x0</Index><BitLen>%u</BitLen></Entry>", entry.bits);
            continue;
        }
        append(out, "<Entry><Index>#x%04x</Index><SubIndex>%u</SubIndex><BitLen>%u</BitLen>",
               entry.index, side.distinct ? 0 : i + 1, entry.bits);
        if (named) {
            append(out, "<Name>%s</Name>", entry.name);
        }
        append(out, "<DataType>%s</DataType></Entry>", entry.type);
    }
    append(out, "</%s>\n", element);
}

void append_process_data(std::string &out, const Slave &slave, bool compact) {
    const uint32_t outputs = slave.kind->outputs.bits();
    const uint32_t inputs = slave.kind->inputs.bits();
    if (outputs == 0 && inputs == 0) {
        return;
    }
    out += "<ProcessData>";
    append_run(out, "Send", slave.output_offset, outputs);
    append_run(out, "Recv", slave.input_offset, inputs);
    out += '\n';
    if (outputs != 0 && !compact) {
        append_sync_manager(out, "Outputs", 2, outputs, 0x1600);
    }
    if (inputs != 0 && !compact) {
        append_sync_manager(out, "Inputs", 3, inputs, 0x1A00);
    }
    if (outputs != 0) {
        append_pdo(out, "RxPdo", 2, 0x1600, slave.kind->outputs, !compact);
    }
    if (inputs != 0) {
        append_pdo(out, "TxPdo", 3, 0x1A00, slave.kind->inputs, !compact);
    }
    out += "</ProcessData>\n";
}

void append_mailbox(std::string &out, bool drive) {
    out += "<Mailbox><Send><Start>4096</Start><Length>128</Length></Send>"
           "<Recv><Start>4224</Start><Length>128</Length><PollTime>20</PollTime></Recv>"
           "<Protocol>CoE</Protocol><Protocol>FoE</Protocol>";
    if (drive) {
        out += "<CoE><InitCmds><InitCmd><Transition>PS</Transition>"
               "<Comment>cyclic synchronous position</Comment><Timeout>3000</Timeout><Ccs>1</Ccs>"
               "<Index>#x6060</Index><SubIndex>0</SubIndex><Data>08</Data></InitCmd></InitCmds>"
               "</CoE>";
    }
    out += "</Mailbox>\n";
}

void append_dc(std::string &out, uint32_t cycle_us) {
    append(out,
           "<DC><PotentialReferenceClock>1</PotentialReferenceClock>"
           "<ReferenceClock>0</ReferenceClock><CycleTime0>%u</CycleTime0>"
           "<CycleTime1>0</CycleTime1><ShiftTime>0</ShiftTime></DC>\n",
           cycle_us * 1000);
}

void append_slave(std::string &out, const Slave &slave, uint32_t index, uint32_t cycle_us,
                  bool compact) {
    const uint32_t address = kFirstAddress + index;
    const uint32_t increment = (0x10000 - index) & 0xFFFF;
    append(out,
           "<Slave><Info><Name>%s %u</Name><PhysAddr>%u</PhysAddr><AutoIncAddr>%u</AutoIncAddr>"
           "<VendorId>%u</VendorId><ProductCode>%u</ProductCode><RevisionNo>%u</RevisionNo>"
           "</Info>\n",
           slave.kind->info.kind, index + 1, address, increment, kVendorId, slave.kind->product,
           kRevision);
    append_process_data(out, slave, compact);
    if (slave.kind->mailbox) {
        append_mailbox(out, slave.kind->drive);
    }
    if (slave.kind->drive) {
        append_dc(out, cycle_us);
    }
    if (!compact) {
        out += "<InitCmds>\n";
        append_init_command(out, "IP", "set station address", 2, increment, 0x0010,
                            hex16(address).c_str());
        append_init_command(out, "IP", "request PREOP", 5, address, 0x0120, "0200");
        append_init_command(out, "PS", "request SAFEOP", 5, address, 0x0120, "0400");
        append_init_command(out, "SO", "request OP", 5, address, 0x0120, "0800");
        out += "</InitCmds>\n";
    }
    if (index != 0) {
        append(out,
               "<PreviousPort Selected=\"1\"><Port>B</Port><PhysAddr>%u</PhysAddr>"
               "</PreviousPort>",
               address - 1);
    }
    out += "</Slave>\n";
}

void append_cyclic_commands(std::string &out, unsigned command, const char *comment, uint32_t base,
                            uint32_t bytes, const char *offset_element) {
    for (uint32_t offset = 0; offset < bytes; offset += kFrameData) {
        append(out,
               "<Frame><Cmd><State>SAFEOP</State><State>OP</State><Comment>%s</Comment>"
               "<Cmd>%u</Cmd><Addr>%u</Addr><DataLength>%u</DataLength><%s>%u</%s></Cmd></Frame>\n",
               comment, command, base + offset, std::min(kFrameData, bytes - offset),
               offset_element, offset, offset_element);
    }
}

void append_cyclic(std::string &out, uint32_t cycle_us, uint32_t output_bytes, uint32_t input_bytes,
                   uint32_t slaves) {
    append(out, "<Cyclic><CycleTime>%u</CycleTime><Priority>1</Priority><TaskId>1</TaskId>\n",
           cycle_us);
    append_cyclic_commands(out, 11, "outputs", kOutputBase, output_bytes, "OutputOffs");
    append_cyclic_commands(out, 10, "inputs", kInputBase, input_bytes, "InputOffs");
    append(out,
           "<Frame><Cmd><State>PREOP</State><State>SAFEOP</State><State>OP</State>"
           "<Comment>AL status</Comment><Cmd>7</Cmd><Adp>0</Adp><Ado>304</Ado>"
           "<DataLength>2</DataLength><Cnt>%u</Cnt></Cmd></Frame>\n</Cyclic>\n",
           slaves);
}

void append_image(std::string &out, const char *direction, uint32_t bytes,
                  const std::vector<Slave> &slaves, Side Kind::*side, uint32_t Slave::*offset,
                  bool variables) {
    append(out, "<%s><ByteSize>%u</ByteSize>\n", direction, bytes);
    for (uint32_t s = 0; variables && s < slaves.size(); ++s) {
        const Side &data = slaves[s].kind->*side;
        uint32_t bit = slaves[s].*offset;
        for (uint32_t i = 0; i < data.count; ++i) {
            const Entry &entry = data.entry(i);
            if (entry.index != 0) {
                append(out, "<Variable><Name>%s %u.%s.%s", slaves[s].kind->info.kind, s + 1,
                       direction, entry.name);
                if (!data.distinct) {
                    append(out, " %u", i + 1);
                }
                append(out,
                       "</Name><DataType>%s</DataType><BitSize>%u</BitSize><BitOffs>%u</BitOffs>"
                       "</Variable>\n",
                       entry.type, entry.bits, bit);
            }
            bit += entry.bits;
        }
    }
    append(out, "</%s>\n", direction);
}

// 64 hexadecimal digits that change with the text: four FNV-1a hashes of different starts.
std::string digest(const std::string &text) {
    std::string out;
    for (uint64_t lane = 0; lane < 4; ++lane) {
        uint64_t hash = UINT64_C(0xCBF29CE484222325) + lane * UINT64_C(0x9E3779B97F4A7C15);
        for (const char c : text) {
            hash = (hash ^ static_cast<unsigned char>(c)) * UINT64_C(0x100000001B3);
        }
        append(out, "%08x%08x", static_cast<uint32_t>(hash >> 32), static_cast<uint32_t>(hash));
    }
    return out;
}

std::vector<Slave> place_slaves(const MakeEniOptions &options, uint32_t &output_bits,
                                uint32_t &input_bits) {
    std::vector<Slave> slaves;
    output_bits = input_bits = 0;
    for (const MakeEniSlave &group : options.slaves) {
        const Kind &kind = find_kind(group.kind);
        if (group.count > kMaxSlaves || slaves.size() + group.count > kMaxSlaves) {
            throw std::invalid_argument(format("more than %u slaves", kMaxSlaves));
        }
        for (uint32_t i = 0; i < group.count; ++i) {
            slaves.push_back({&kind, output_bits, input_bits});
            output_bits += kind.outputs.bits();
            input_bits += kind.inputs.bits();
        }
    }
    if (slaves.empty()) {
        throw std::invalid_argument("a network needs at least one slave");
    }
    return slaves;
}

} // namespace

const std::vector<SlaveKindInfo> &slave_kinds() {
    static const std::vector<SlaveKindInfo> kinds = [] {
        std::vector<SlaveKindInfo> found;
        for (const Kind &kind : kKinds) {
            found.push_back(kind.info);
        }
        return found;
    }();
    return kinds;
}

std::string make_eni(const MakeEniOptions &options) {
    if (options.cycle_us < 62 || options.cycle_us > 1'000'000) {
        throw std::invalid_argument(
            format("a cycle of %u us; 62 to 1000000 us are possible", options.cycle_us));
    }
    if (options.logical_bytes > kLogicalLimit) {
        throw std::invalid_argument(format("a logical image of %u bytes, at most %u fit",
                                           options.logical_bytes, kLogicalLimit));
    }
    uint32_t output_bits = 0;
    uint32_t input_bits = 0;
    const std::vector<Slave> slaves = place_slaves(options, output_bits, input_bits);
    const uint32_t output_bytes = image_bytes(output_bits, options.output_bytes, "output");
    const uint32_t input_bytes = image_bytes(input_bits, options.input_bytes, "input");
    const bool compact = slaves.size() > kManySlaves;

    std::string rest = "<Config>\n";
    append_master(rest);
    for (size_t i = 0; i < slaves.size(); ++i) {
        append_slave(rest, slaves[i], static_cast<uint32_t>(i), options.cycle_us, compact);
    }
    append_cyclic(rest, options.cycle_us, output_bytes, input_bytes,
                  static_cast<uint32_t>(slaves.size()));
    rest += "<ProcessImage>\n";
    append_image(rest, "Inputs", input_bytes, slaves, &Kind::inputs, &Slave::input_offset,
                 !compact);
    append_image(rest, "Outputs", output_bytes, slaves, &Kind::outputs, &Slave::output_offset,
                 !compact);
    rest += "</ProcessImage>\n</Config>\n";
    rest += mapping_comment(slaves, options);
    rest += "</EtherCATConfig>\n";

    // Hosts look for the CRC element in the first 149 bytes.
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<EtherCATConfig>\n<CRC>" + digest(rest) +
           "</CRC>\n" + rest;
}

} // namespace tarn::vcard
