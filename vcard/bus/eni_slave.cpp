// The parts of a Slave element that the slave's services need. Where a number is unreadable, the
// file is read on as if it were not there: only what a start would do with it is refused.
#include "vcard/bus/eni_reader.h"

#include "layout/card_memory_map.h"
#include "vcard/bus/ethercat.h"
#include "vcard/bus/start_mapping.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>
#include <map>
#include <set>

namespace tarn::vcard::eni {

namespace {

using pugi::xml_node;

constexpr size_t kMaxInitData = 65536;
constexpr size_t kPdoEntries = 128;   // of PDOs that the file does not describe
constexpr uint32_t kMaxPadding = 248; // bits of one entry
constexpr int64_t kMostSyncManagers = 16;
constexpr size_t kMostPdos = 1024; // of one direction, and of a sync manager

void spend(size_t &rest, size_t count, const std::string &where, const char *what) {
    if (count > rest) {
        refuse(kXmlContainsErrors,
               format("%s: with this the file has too %s", where.c_str(), what));
    }
    rest -= count;
}

// The elements Sm0, Sm1 and so on up to Sm15, by their numbers; the first of each number.
std::vector<xml_node> sync_managers(xml_node data) {
    std::map<int64_t, xml_node> managers;
    for (xml_node node : data.children()) {
        const std::optional<int64_t> number =
            std::strncmp(node.name(), "Sm", 2) == 0 ? parse_number(node.name() + 2) : std::nullopt;
        if (number && *number >= 0 && *number < kMostSyncManagers) {
            managers.emplace(*number, node);
        }
    }
    std::vector<xml_node> found;
    for (const auto &[number, node] : managers) {
        found.push_back(node);
    }
    return found;
}

uint32_t number_or(xml_node node, const char *name, uint32_t absent) {
    const std::optional<int64_t> value = parse_number(text_of(node.child(name)));
    return value && *value >= INT64_C(-0x80000000) && *value <= INT64_C(0xFFFFFFFF)
               ? static_cast<uint32_t>(*value)
               : absent;
}

// ---- start commands ---------------------------------------------------------------------------

uint8_t state_of(char letter) {
    switch (std::toupper(static_cast<unsigned char>(letter))) {
    case 'I':
        return kInit;
    case 'P':
        return kPreOp;
    case 'B':
        return kBoot;
    case 'S':
        return kSafeOp;
    case 'O':
        return kOp;
    default:
        return 0;
    }
}

// "PS", "PREOP_TO_SAFEOP", "PreOp->SafeOp": first letters of the states.
Transition parse_transition(const std::string &text) {
    if (text.size() == 2) {
        return {state_of(text[0]), state_of(text[1])};
    }
    size_t end = 0;
    while (end < text.size() && std::isalpha(static_cast<unsigned char>(text[end])) != 0) {
        ++end;
    }
    size_t next = end;
    if (text.substr(end, 4) == "_TO_" || text.substr(end, 4) == "_to_") {
        next += 4;
    }
    while (next < text.size() && std::isalpha(static_cast<unsigned char>(text[next])) == 0) {
        ++next;
    }
    return text.empty() || next >= text.size()
               ? Transition{}
               : Transition{state_of(text[0]), state_of(text[next])};
}

// Several elements, or one element with several words.
std::vector<Transition> read_transitions(xml_node command) {
    std::vector<Transition> transitions;
    for (xml_node node : command.children("Transition")) {
        const std::string text = text_of(node);
        for (size_t begin = 0; begin < text.size();) {
            const size_t end = std::min(text.find_first_of(" ,;|", begin), text.size());
            const Transition transition = parse_transition(text.substr(begin, end - begin));
            if (transition.from != 0 && transition.to != 0) {
                transitions.push_back(transition);
            }
            begin = end + 1;
        }
    }
    return transitions;
}

// Hexadecimal digits in either case, blanks between them; or a length alone, for zeros.
std::vector<uint8_t> read_data(xml_node command, const std::string &where, Allowance &allowance) {
    std::vector<uint8_t> data;
    const xml_node node = command.child("Data");
    if (!node) {
        data.resize(std::min<size_t>(number_or(command, "DataLength", 0), kMaxInitData));
        spend(allowance.zeros, data.size(), where + "/DataLength", "many bytes of no data");
        return data;
    }
    std::string digits = text_of(node);
    std::erase(digits, ' ');
    const bool hexadecimal = std::all_of(digits.begin(), digits.end(),
                                         [](unsigned char c) { return std::isxdigit(c) != 0; });
    if (!hexadecimal || digits.size() % 2 != 0) {
        refuse(kXmlContainsErrors,
               format("%s/Data: \"%.60s\" is not hexadecimal", where.c_str(), digits.c_str()));
    }
    for (size_t i = 0; i < digits.size(); i += 2) {
        data.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return data;
}

InitCommand read_init_command(xml_node node, const std::string &where, Allowance &allowance) {
    InitCommand command;
    command.transitions = read_transitions(node);
    command.command = number_or(node, "Cmd", 0);
    command.ado = static_cast<uint16_t>(number_or(node, "Ado", 0));
    command.data = read_data(node, where, allowance);
    return command;
}

CoeInitCommand read_coe_command(xml_node node, const std::string &where, Allowance &allowance) {
    CoeInitCommand command;
    command.transitions = read_transitions(node);
    command.comment = text_of(node.child("Comment"));
    if (!node.child("Index")) {
        refuse(kXmlContainsErrors, where + "/Index: missing");
    }
    command.index = number16(node, "Index", where, 0);
    const uint16_t subindex = number16(node, "SubIndex", where, 0);
    if (subindex > UINT8_MAX) {
        refuse(kXmlContainsErrors, format("%s/SubIndex: %u needs more than 8 bits", where.c_str(),
                                          static_cast<unsigned>(subindex)));
    }
    command.subindex = static_cast<uint8_t>(subindex);
    command.complete_access = truth(node.attribute("CompleteAccess").value()) ||
                              truth(text_of(node.child("CompleteAccess")).c_str());
    command.ccs = static_cast<uint8_t>(number_or(node, "Ccs", CoeInitCommand::kDownload));
    command.data = read_data(node, where, allowance);
    command.disabled =
        truth(text_of(node.child("Disabled")).c_str()) || truth(node.attribute("Disabled").value());
    return command;
}

template <typename Command>
std::vector<Command> read_commands(xml_node parent, const std::string &where, Allowance &allowance,
                                   Command (*read)(xml_node, const std::string &, Allowance &)) {
    std::vector<Command> commands;
    for (xml_node list : parent.children("InitCmds")) {
        for (xml_node node : list.children("InitCmd")) {
            commands.push_back(read(
                node, where + "/InitCmd[" + std::to_string(commands.size() + 1) + "]", allowance));
        }
    }
    return commands;
}

// ---- mailbox ----------------------------------------------------------------------------------

MailboxConfig::Area read_area(xml_node node) {
    return {static_cast<uint16_t>(number_or(node, "Start", 0)),
            static_cast<uint16_t>(number_or(node, "Length", 0))};
}

std::optional<MailboxConfig::Area> read_boot_area(xml_node node) {
    return node ? std::optional(read_area(node)) : std::nullopt;
}

void read_protocols(xml_node node, MailboxConfig &mailbox) {
    struct Protocol {
        const char *name;
        bool MailboxConfig::*flag;
    };
    constexpr Protocol kProtocols[] = {{"AoE", &MailboxConfig::aoe}, {"EoE", &MailboxConfig::eoe},
                                       {"CoE", &MailboxConfig::coe}, {"FoE", &MailboxConfig::foe},
                                       {"SoE", &MailboxConfig::soe}, {"VoE", &MailboxConfig::voe}};
    bool named = false;
    for (const Protocol &protocol : kProtocols) {
        for (xml_node listed : node.children("Protocol")) {
            mailbox.*protocol.flag |= text_of(listed) == protocol.name;
        }
        mailbox.*protocol.flag |= !node.child(protocol.name).empty();
        named |= mailbox.*protocol.flag;
    }
    if (!named) {
        mailbox.coe = mailbox.foe = true;
    }
}

MailboxConfig read_mailbox(xml_node node, const std::string &where, Allowance &allowance) {
    MailboxConfig mailbox;
    mailbox.send = read_area(node.child("Send"));
    mailbox.receive = read_area(node.child("Recv"));
    for (MailboxConfig::Area *area : {&mailbox.send, &mailbox.receive}) {
        if (area->length == 0) {
            area->length = MailboxConfig::kUsualLength;
        }
    }
    mailbox.boot_send = read_boot_area(node.child("BootStrap").child("Send"));
    mailbox.boot_receive = read_boot_area(node.child("BootStrap").child("Recv"));
    read_protocols(node, mailbox);
    mailbox.coe_commands = read_commands(node.child("CoE"), where + "/Mailbox/CoE/InitCmds",
                                         allowance, read_coe_command);
    return mailbox;
}

// ---- process data -----------------------------------------------------------------------------

void refuse_many_pdos(size_t count, const std::string &where) {
    if (count > kMostPdos) {
        refuse(kArrayBoundsExceeded,
               format("%s: more than %u", where.c_str(), static_cast<unsigned>(kMostPdos)));
    }
}

SyncManagerConfig read_sync_manager(xml_node node, const std::string &where) {
    SyncManagerConfig manager;
    manager.number = static_cast<uint8_t>(parse_number(node.name() + 2).value_or(0));
    manager.type = text_of(node.child("Type"));
    manager.start_address = static_cast<uint16_t>(number_or(node, "StartAddress", 0));
    manager.size = number_or(node, "DefaultSize", 0);
    if (node.child("ControlByte")) {
        manager.control = static_cast<uint8_t>(number_or(node, "ControlByte", 0));
    }
    manager.enable = !node.child("Enable") || truth(text_of(node.child("Enable")).c_str());
    for (xml_node pdo : node.children("Pdo")) {
        if (const std::optional<int64_t> index = parse_number(text_of(pdo))) {
            manager.pdos.push_back(static_cast<uint16_t>(*index));
        }
    }
    refuse_many_pdos(manager.pdos.size(), where + "/ProcessData/" + node.name() + "/Pdo");
    return manager;
}

// A PDO that no image has room for is refused.
PdoConfig read_pdo(xml_node node, bool assigned, const std::string &where) {
    PdoConfig pdo;
    uint64_t bits = 0;
    pdo.index = static_cast<uint16_t>(number_or(node, "Index", 0));
    pdo.name = text_of(node.child("Name"));
    pdo.fixed = truth(node.attribute("Fixed").value());
    pdo.assigned = assigned;
    for (xml_node entry : node.children("Entry")) {
        bits += number_or(entry, "BitLen", 0);
        if (bits > kPiBufferSize * 8) {
            refuse(kOutsideProcessImage,
                   format("%s/Entry/BitLen: a PDO of more than %u bytes, the largest image",
                          where.c_str(), kPiBufferSize));
        }
        pdo.entries.push_back({static_cast<uint16_t>(number_or(entry, "Index", 0)),
                               static_cast<uint8_t>(number_or(entry, "SubIndex", 0)),
                               number_or(entry, "BitLen", 0), text_of(entry.child("Name")),
                               text_of(entry.child("DataType"))});
    }
    return pdo;
}

std::vector<PdoConfig> read_pdos(xml_node data, const char *name, const std::string &where) {
    std::vector<PdoConfig> pdos;
    const std::vector<xml_node> assigned = assigned_pdos(data, name, where);
    const std::string path = where + "/ProcessData/" + name;
    for (xml_node node : assigned) {
        pdos.push_back(read_pdo(node, true, path));
    }
    const std::set<xml_node> known(assigned.begin(), assigned.end());
    for (xml_node node : data.children(name)) {
        if (!known.contains(node)) {
            pdos.push_back(read_pdo(node, false, path));
        }
    }
    return pdos;
}

DcConfig read_dc(xml_node node) {
    DcConfig dc;
    dc.reference_clock = truth(text_of(node.child("ReferenceClock")).c_str());
    dc.cycle0_ns = number_or(node, "CycleTime0", 0);
    dc.cycle1_ns = number_or(node, "CycleTime1", 0);
    dc.shift_ns = static_cast<int32_t>(number_or(node, "ShiftTime", 0));
    return dc;
}

// ---- slaves without PDOs ----------------------------------------------------------------------

using DriveMap = SlaveConfig::DriveMap;

PdoEntry entry_of(const DriveObject &object) {
    return {object.index, 0, object.bits, object.name, object.type};
}

// Channels of 16 bits, or of what is left.
void append_channels(std::vector<PdoEntry> &entries, uint32_t bits, bool outputs, bool analogue) {
    const uint32_t width = analogue ? 16 : 8;
    const auto index = static_cast<uint16_t>((outputs ? 0x7000 : 0x6000) + (analogue ? 0x10 : 0));
    for (uint32_t done = 0; done < bits; done += width) {
        const uint32_t rest = std::min(width, bits - done);
        const auto subindex = static_cast<uint8_t>(done / width % 255 + 1);
        entries.push_back({static_cast<uint16_t>(index + done / width / 255), subindex, rest,
                           outputs ? "Output" : "Input",
                           rest == 16  ? "INT"
                           : rest == 8 ? "USINT"
                                       : "BIT" + std::to_string(rest)});
    }
}

// What the variables have told, and padding in between.
void append_drive_entries(std::vector<PdoEntry> &entries, const SlaveConfig &slave, uint32_t bits,
                          bool outputs) {
    std::vector<std::pair<uint32_t, PdoEntry>> known;
    for (const DriveObject &object : drive_objects()) {
        const uint32_t offset = slave.drive.*object.offset;
        if (object.output == outputs && offset != DriveMap::kUnmapped) {
            known.emplace_back(offset, entry_of(object));
        }
    }
    std::sort(known.begin(), known.end(),
              [](const auto &a, const auto &b) { return a.first < b.first; });
    uint32_t done = 0;
    const auto pad_to = [&](uint32_t offset) {
        for (; done < offset; done += entries.back().bits) {
            entries.push_back({0, 0, std::min(offset - done, kMaxPadding), "", ""});
        }
    };
    for (auto &[offset, entry] : known) {
        if (offset >= done) {
            pad_to(offset);
            done += entry.bits;
            entries.push_back(std::move(entry));
        }
    }
    pad_to(bits);
}

std::string name_of(const PdoEntry &entry, bool outputs) {
    if (entry.index == 0) {
        return {};
    }
    for (const DriveObject &known : drive_objects()) {
        if (known.output == outputs && known.index == entry.index && entry.subindex == 0) {
            return known.name;
        }
    }
    return outputs ? "Output" : "Input";
}

// The PDOs that start commands assign, else the usual one, with what start commands map to them.
std::vector<PdoConfig> written_pdos(const SlaveConfig &slave, bool outputs) {
    std::vector<uint16_t> indices = assigned_by_commands(slave, outputs ? 0x1C12 : 0x1C13);
    if (indices.empty()) {
        indices.push_back(outputs ? 0x1600 : 0x1A00);
    }
    std::vector<PdoConfig> pdos;
    for (const uint16_t index : indices) {
        std::vector<PdoEntry> entries = mapped_by_commands(slave, index);
        for (PdoEntry &entry : entries) {
            entry.name = name_of(entry, outputs);
        }
        pdos.push_back({index, outputs ? "Outputs" : "Inputs", false, true, std::move(entries)});
    }
    return pdos;
}

// Spreads entries over the PDOs that have none, and over further ones when they are many.
void fill(std::vector<PdoConfig> &pdos, std::vector<PdoEntry> entries) {
    size_t done = 0;
    for (size_t i = 0; i < pdos.size() && done < entries.size(); ++i) {
        if (pdos[i].entries.empty()) {
            const size_t end = std::min(done + kPdoEntries, entries.size());
            std::move(entries.begin() + static_cast<ptrdiff_t>(done),
                      entries.begin() + static_cast<ptrdiff_t>(end),
                      std::back_inserter(pdos[i].entries));
            done = end;
        }
        if (i + 1 == pdos.size() && done < entries.size()) {
            pdos.push_back(
                {static_cast<uint16_t>(pdos[i].index + 1), pdos[i].name, false, true, {}});
        }
    }
}

size_t count_entries(const std::vector<PdoConfig> &pdos) {
    size_t count = 0;
    for (const PdoConfig &pdo : pdos) {
        count += pdo.entries.size();
    }
    return count;
}

// True when the slave has got PDOs.
bool describe_run(SlaveConfig &slave, bool outputs) {
    const BitRun &run = outputs ? slave.outputs : slave.inputs;
    std::vector<PdoConfig> &pdos = outputs ? slave.output_pdos : slave.input_pdos;
    if (run.length == 0 || !pdos.empty()) {
        return false;
    }
    pdos = written_pdos(slave, outputs);
    uint32_t mapped = 0;
    for (const PdoConfig &pdo : pdos) {
        mapped += pdo.bits();
    }
    const bool open = std::any_of(pdos.begin(), pdos.end(),
                                  [](const PdoConfig &pdo) { return pdo.entries.empty(); });
    if (!open || mapped >= run.length) {
        return true;
    }
    std::vector<PdoEntry> entries;
    if (slave.kind == SlaveKind::Drive && mapped == 0) {
        append_drive_entries(entries, slave, run.length, outputs);
    } else {
        append_channels(entries, run.length - mapped, outputs, slave.kind == SlaveKind::AnalogIo);
    }
    fill(pdos, std::move(entries));
    return true;
}

} // namespace

std::vector<xml_node> assigned_pdos(xml_node data, const char *name, const std::string &where) {
    const std::string path = where + "/ProcessData/" + name;
    std::vector<xml_node> pdos;
    std::map<int64_t, xml_node> by_index; // the first of each
    for (xml_node pdo : data.children(name)) {
        by_index.emplace(number(pdo, "Index", path, 0), pdo);
        pdos.push_back(pdo);
    }
    refuse_many_pdos(pdos.size(), path);
    std::vector<xml_node> assigned;
    if (pdos.empty()) {
        return assigned;
    }
    for (xml_node manager : sync_managers(data)) {
        for (xml_node listed : manager.children("Pdo")) {
            const std::optional<int64_t> index = parse_number(text_of(listed));
            const auto found = index ? by_index.find(*index) : by_index.end();
            if (found != by_index.end()) {
                assigned.push_back(found->second);
                by_index.erase(found); // a PDO is assigned once
            }
        }
    }
    if (!assigned.empty()) {
        return assigned;
    }
    std::copy_if(pdos.begin(), pdos.end(), std::back_inserter(assigned),
                 [](xml_node pdo) { return !pdo.attribute("Sm").empty(); });
    std::stable_sort(assigned.begin(), assigned.end(), [](xml_node a, xml_node b) {
        return a.attribute("Sm").as_uint() < b.attribute("Sm").as_uint();
    });
    return assigned.empty() ? pdos : assigned;
}

void read_services(xml_node node, SlaveConfig &slave, const std::string &where,
                   Allowance &allowance) {
    const xml_node mailbox = node.child("Mailbox");
    slave.mailbox = !mailbox.empty();
    if (slave.mailbox) {
        slave.mailbox_config = read_mailbox(mailbox, where, allowance);
    }
    const xml_node dc = node.child("DC");
    slave.dc = !dc.empty();
    slave.dc_config = read_dc(dc);
    slave.init_commands = read_commands(node, where + "/InitCmds", allowance, read_init_command);
    const xml_node data = node.child("ProcessData");
    for (xml_node manager : sync_managers(data)) {
        slave.sync_managers.push_back(read_sync_manager(manager, where));
    }
    slave.output_pdos = read_pdos(data, "RxPdo", where);
    slave.input_pdos = read_pdos(data, "TxPdo", where);
}

void describe_runs(SlaveConfig &slave, const std::string &where, Allowance &allowance) {
    for (const bool outputs : {true, false}) {
        if (describe_run(slave, outputs)) {
            spend(allowance.entries, count_entries(outputs ? slave.output_pdos : slave.input_pdos),
                  where + "/ProcessData", "much data without PDOs");
        }
    }
}

} // namespace tarn::vcard::eni
