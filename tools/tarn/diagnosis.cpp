#include "diagnosis.h"

#include "errors.h"
#include "output.h"
#include "slave.h"
#include "states.h"
#include "text.h"

#include <tarn_vcard/records.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <numeric>
#include <span>
#include <sstream>

namespace tarn {

namespace {

constexpr uint16_t kSlavesPerRequest = 2000;

// ---- asking -------------------------------------------------------------------------------------

void append(std::vector<uint8_t> &to, const void *from, size_t size) {
    const auto *bytes = static_cast<const uint8_t *>(from);
    to.insert(to.end(), bytes, bytes + size);
}

void ask_records(EcatHandle *channel, const std::vector<uint16_t> &slaves, bool with_master,
                 RawDiagnosis &raw) {
    const auto count = static_cast<uint16_t>(slaves.size());
    std::vector<uint8_t> records(slaves.size() * ECAT_SLAVE_DIAGNOSTIC_SIZE + 1);
    uint8_t master[ECAT_MASTER_DIAGNOSTIC_SIZE] = {};
    check(EcatGetDiagnostics(channel, with_master ? master : nullptr, count, slaves.data(),
                             records.data()),
          "cannot ask for the diagnostics");
    append(raw.slaves, records.data(), slaves.size() * ECAT_SLAVE_DIAGNOSTIC_SIZE);
    if (with_master) {
        append(raw.master, master, sizeof(master));
    }
}

void ask_states(EcatHandle *channel, const std::vector<uint16_t> &slaves, bool with_master,
                RawDiagnosis &raw) {
    const auto count = static_cast<uint16_t>(slaves.size());
    std::vector<uint32_t> states(slaves.size() + 1);
    std::vector<uint8_t> details(slaves.size() * ECAT_SLAVE_DIAGNOSTIC_DETAIL_SIZE + 1);
    uint32_t master = 0;
    check(EcatGetSlaveDiagnosticStates(channel, with_master ? &master : nullptr, count,
                                       slaves.data(), states.data(), details.data()),
          "cannot ask for the diagnostic states");
    if (with_master) {
        append(raw.states, &master, sizeof(master));
    }
    append(raw.states, states.data(), slaves.size() * sizeof(uint32_t));
    append(raw.details, details.data(), slaves.size() * ECAT_SLAVE_DIAGNOSTIC_DETAIL_SIZE);
}

void ask_links(EcatHandle *channel, uint16_t count, RawDiagnosis &raw) {
    uint8_t down[ECAT_LINK_DOWN_PORT_STATUS_SIZE] = {};
    check(EcatGetFirstLinkDownPortStatus(channel, down), "cannot ask for the first link down");
    append(raw.link_down, down, sizeof(down));
    if (count == 0) {
        return;
    }
    raw.links.resize(size_t{count} * ECAT_SLAVE_LINK_STATUS_SIZE);
    check(EcatNetDiagnosticsGetSlaveLinkStatus(channel, raw.links.data(), &count),
          "cannot ask for the links");
    raw.links.resize(size_t{count} * ECAT_SLAVE_LINK_STATUS_SIZE);
}

// The n-th record of a row; zeros when the row is shorter.
template <typename Record>
Record record_at(const std::vector<uint8_t> &bytes, size_t number) {
    Record record{};
    if ((number + 1) * sizeof(Record) <= bytes.size()) {
        std::memcpy(&record, bytes.data() + number * sizeof(Record), sizeof(Record));
    }
    return record;
}

std::string name_of(EcatHandle *channel, uint16_t position) {
    VcardSlaveInfo info{};
    if (EcatGetSlaveInfo(channel, position, &info) != PCI_TARN_OK) {
        return "";
    }
    info.name[sizeof(info.name) - 1] = '\0';
    return printable(info.name);
}

// ---- topology -----------------------------------------------------------------------------------

// The port behind which the last of a slave's neighbours away from the master is: the line goes on
// there, the other ports begin branches. Frames pass ports in the order 0, 3, 1, 2.
uint16_t last_neighbour(const VcardLinkStatus &links) {
    for (const size_t port : {2U, 1U, 3U}) {
        if (links.ports[port].configured != 0) {
            return links.ports[port].neighbour;
        }
    }
    return VCARD_NO_SLAVE;
}

void find_depths(std::vector<SlaveDiagnosis> &slaves) {
    for (size_t i = 0; i < slaves.size(); ++i) {
        const size_t parent = slaves[i].links.parent;
        if (slaves[i].has_links && parent < i) {
            const bool straight = last_neighbour(slaves[parent].links) == i;
            slaves[i].depth = slaves[parent].depth + (straight ? 0 : 1);
        }
    }
}

} // namespace

bool records_are_known(EcatHandle *channel) {
    char text[257] = {};
    const uint32_t status = EcatGetFirmwareCompileMsg(channel, text, sizeof(text) - 1);
    if (no_answer(status)) {
        throw Failure(status, "cannot ask for the firmware");
    }
    return status == PCI_TARN_OK && std::string_view(text).starts_with("tarn-vcard ");
}

RawDiagnosis read_diagnosis(EcatHandle *channel) {
    RawDiagnosis raw;
    const uint16_t count = slave_count(channel);
    std::vector<uint16_t> all(count);
    std::iota(all.begin(), all.end(), uint16_t{0});
    size_t done = 0;
    do {
        const size_t size = std::min<size_t>(kSlavesPerRequest, all.size() - done);
        const auto first = all.begin() + static_cast<std::ptrdiff_t>(done);
        const std::vector<uint16_t> slaves(first, first + static_cast<std::ptrdiff_t>(size));
        ask_records(channel, slaves, done == 0, raw);
        ask_states(channel, slaves, done == 0, raw);
        done += size;
    } while (done < all.size());
    ask_links(channel, count, raw);
    return raw;
}

Diagnosis read_known_diagnosis(EcatHandle *channel, std::vector<std::string> &names) {
    const RawDiagnosis raw = read_diagnosis(channel);
    Diagnosis diagnosis;
    diagnosis.master = record_at<VcardMasterDiagnostics>(raw.master, 0);
    diagnosis.link_down = record_at<VcardLinkDown>(raw.link_down, 0);
    diagnosis.slaves.resize(raw.slaves.size() / sizeof(VcardSlaveDiagnostics));
    names.resize(diagnosis.slaves.size());
    for (size_t i = 0; i < diagnosis.slaves.size(); ++i) {
        SlaveDiagnosis &slave = diagnosis.slaves[i];
        slave.counters = record_at<VcardSlaveDiagnostics>(raw.slaves, i);
        slave.detail = record_at<VcardSlaveDetail>(raw.details, i);
        slave.flags = record_at<uint32_t>(raw.states, i + 1); // behind the master's
        slave.has_links = (i + 1) * sizeof(VcardLinkStatus) <= raw.links.size();
        slave.links = record_at<VcardLinkStatus>(raw.links, i);
        slave.links.name[sizeof(slave.links.name) - 1] = '\0';
        if (names[i].empty()) {
            names[i] = slave.has_links ? printable(slave.links.name)
                                       : name_of(channel, static_cast<uint16_t>(i));
        }
        slave.name = names[i];
    }
    find_depths(diagnosis.slaves);
    return diagnosis;
}

// ---- showing ------------------------------------------------------------------------------------

namespace {

using Tone = DiagnosisLine::Tone;

struct Flag {
    uint32_t bit;
    const char *text;
};

constexpr Flag kMasterNow[] = {
    {VCARD_MASTER_WKC_WRONG, "the working counter is wrong"},
    {VCARD_MASTER_SLAVE_ABSENT, "a slave does not answer"},
    {VCARD_MASTER_SLAVE_ERROR, "a slave shows an error"},
    {VCARD_MASTER_STATE_DIFFERENT, "a slave is not in the requested state"},
    {VCARD_MASTER_LINK_DOWN, "a link is down"},
};
constexpr Flag kMasterPast[] = {
    {VCARD_MASTER_FRAMES_LOST, "frames were lost"},
    {VCARD_MASTER_LATE_CYCLES, "cycles began late"},
    {VCARD_MASTER_CRC_ERRORS, "frames came in damaged"},
    {VCARD_MASTER_ERROR_LISTED, "tarn lasterror has entries"},
};
constexpr uint32_t kSlaveNow = VCARD_SLAVE_ABSENT | VCARD_SLAVE_ERROR |
                               VCARD_SLAVE_STATE_DIFFERENT | VCARD_SLAVE_WKC_WRONG |
                               VCARD_SLAVE_LINK_DOWN_0 | VCARD_SLAVE_LINK_DOWN_1 |
                               VCARD_SLAVE_LINK_DOWN_2 | VCARD_SLAVE_LINK_DOWN_3;
constexpr uint32_t kSlavePast =
    VCARD_SLAVE_WAS_LOST | VCARD_SLAVE_CRC_ERRORS | VCARD_SLAVE_WKC_ERRORS;

std::vector<std::string> flag_texts(std::span<const Flag> flags, uint32_t bits) {
    std::vector<std::string> texts;
    for (const Flag &flag : flags) {
        if ((bits & flag.bit) != 0) {
            texts.emplace_back(flag.text);
        }
    }
    return texts;
}

std::string state_text(uint8_t state) {
    return state_with_error(state & 0x0F, (state & VCARD_STATE_ERROR) != 0);
}

std::string microseconds(uint64_t ns) {
    return format("%.1f", static_cast<double>(ns) / 1000.0);
}

std::string field(const char *name, const std::string &value) {
    return format("%-16s", name) + value;
}

DiagnosisLine problem_line(Tone tone, const char *name, const std::vector<std::string> &texts) {
    return {tone, field(name, joined(texts, ", "))};
}

std::string dc_text(const VcardMasterDiagnostics &master) {
    if (master.dc_slaves == 0) {
        return "no slave uses it";
    }
    return counted(master.dc_slaves, "slave") +
           (master.dc_reference == VCARD_NO_SLAVE
                ? ", no reference clock"
                : ", reference clock " + std::to_string(master.dc_reference)) +
           format(", difference %u ns, largest %u ns", master.dc_difference_ns,
                  master.dc_largest_ns);
}

std::string cycle_text(const VcardMasterDiagnostics &master) {
    const std::string measured = master.cycle_mean_ns == 0
                                     ? "not measured yet"
                                     : "min " + microseconds(master.cycle_min_ns) + ", mean " +
                                           microseconds(master.cycle_mean_ns) + ", max " +
                                           microseconds(master.cycle_max_ns) + " us";
    return microseconds(master.cycle_time_ns) + " us: " + measured + "; " +
           std::to_string(master.cycles) + " cycles, " + std::to_string(master.late_cycles) +
           " late, latest " + microseconds(master.latest_ns) + " us";
}

void add_master(const VcardMasterDiagnostics &master, std::vector<DiagnosisLine> &lines) {
    const auto plain = [&](const char *name, const std::string &value, bool past) {
        lines.push_back({past ? Tone::Past : Tone::Plain, field(name, value)});
    };
    plain("master",
          state_text(master.state) + " (requested " + state_text(master.requested_state) + "), " +
              counted(master.slaves_configured, "slave") +
              format(": %u present, %u in OP, %u in error", master.slaves_present,
                     master.slaves_operational, master.slaves_in_error),
          false);
    plain("frames",
          std::to_string(master.frames_sent) + " sent, " + std::to_string(master.frames_lost) +
              format(" lost, %u per cycle", master.frames_per_cycle),
          master.frames_lost != 0);
    plain("working counter",
          format("%u of %u, %u wrong", master.working_counter, master.expected_counter,
                 master.wkc_errors),
          master.wkc_errors != 0);
    plain("cycle", cycle_text(master), master.late_cycles != 0);
    plain("clocks", dc_text(master), false);
    plain("links",
          format("%u down, ", master.links_down) + counted(master.links_lost, "time") + " lost, " +
              counted(master.crc_errors, "damaged frame"),
          master.links_lost != 0 || master.crc_errors != 0);
    plain("since start",
          format("%.1f s, ", static_cast<double>(master.run_time_ns) / 1e9) +
              counted(master.state_changes, "state change") + ", " +
              counted(master.errors_listed, "listed error"),
          false);
}

std::string neighbour_text(const VcardPortStatus &port) {
    if (port.down != 0) {
        return "DOWN";
    }
    return port.link == 0                     ? "-"
           : port.neighbour == VCARD_MASTER   ? "master"
           : port.neighbour == VCARD_NO_SLAVE ? "?"
                                              : std::to_string(port.neighbour);
}

// What hangs on ports 0 to 3.
std::string ports_text(const SlaveDiagnosis &slave) {
    if (!slave.has_links) {
        return "?";
    }
    std::string text;
    for (const VcardPortStatus &port : slave.links.ports) {
        text += (text.empty() ? "" : " ") + neighbour_text(port);
    }
    return text;
}

// One number when the ports agree in being 0, else one per port.
std::string per_port(const uint16_t (&values)[VCARD_PORTS]) {
    const bool none = std::all_of(std::begin(values), std::end(values),
                                  [](uint16_t value) { return value == 0; });
    return none ? "0" : format("%u/%u/%u/%u", values[0], values[1], values[2], values[3]);
}

std::vector<std::string> slave_row(size_t position, const SlaveDiagnosis &slave) {
    const VcardSlaveDiagnostics &counters = slave.counters;
    uint16_t crc_errors[VCARD_PORTS];
    uint16_t links_lost[VCARD_PORTS];
    std::memcpy(crc_errors, counters.crc_errors, sizeof(crc_errors));
    std::memcpy(links_lost, counters.links_lost, sizeof(links_lost));
    const bool clock = (slave.flags & VCARD_SLAVE_DC) != 0;
    std::string branch;
    for (unsigned i = 0; i < slave.depth; ++i) {
        branch += i + 1 == slave.depth ? "+-" : "| ";
    }
    return {branch + std::to_string(position) + (slave.name.empty() ? "" : " " + slave.name),
            state_text(counters.state),
            ports_text(slave),
            per_port(crc_errors),
            per_port(links_lost),
            std::to_string(counters.times_lost),
            std::to_string(counters.wkc_errors),
            std::to_string(counters.state_changes),
            clock ? std::to_string(counters.dc_difference_ns) : "-"};
}

Tone slave_tone(const SlaveDiagnosis &slave) {
    return (slave.flags & kSlaveNow) != 0                   ? Tone::Bad
           : (slave.flags & kSlavePast) != 0                ? Tone::Past
           : (slave.counters.state & 0x0F) == ECAT_STATE_OP ? Tone::Good
                                                            : Tone::Plain;
}

void add_slaves(const Diagnosis &diagnosis, std::vector<DiagnosisLine> &lines) {
    if (diagnosis.slaves.empty()) {
        return;
    }
    Table table(
        {"Slave", "State", "Ports 0..3", "CRC", "Links lost", "Lost", "WKC", "Changes", "DC ns"});
    for (size_t i = 0; i < diagnosis.slaves.size(); ++i) {
        table.add(slave_row(i, diagnosis.slaves[i]));
    }
    std::istringstream text(table.text());
    std::string line;
    std::getline(text, line);
    lines.push_back({Tone::Plain, line});
    for (const SlaveDiagnosis &slave : diagnosis.slaves) {
        std::getline(text, line);
        lines.push_back({slave_tone(slave), line});
    }
}

void add_slave_problems(const Diagnosis &diagnosis, std::vector<DiagnosisLine> &lines) {
    for (size_t i = 0; i < diagnosis.slaves.size(); ++i) {
        const uint16_t code = diagnosis.slaves[i].counters.al_status_code;
        if (code != 0) {
            lines.push_back({Tone::Bad, "Slave " + std::to_string(i) +
                                            format(": AL status 0x%04x ", code) +
                                            EcatGetAlStatusCodeMessage(code)});
        }
    }
}

Json port_json(const VcardPortStatus &port) {
    return Json::object()
        .set("link", port.link != 0)
        .set("configured", port.configured != 0)
        .set("down", port.down != 0)
        .set("neighbour", port.neighbour == VCARD_MASTER     ? Json("master")
                          : port.neighbour == VCARD_NO_SLAVE ? Json()
                                                             : Json(uint16_t{port.neighbour}))
        .set("crc_errors", uint32_t{port.crc_errors})
        .set("rx_errors", uint32_t{port.rx_errors})
        .set("forwarded_errors", uint32_t{port.forwarded_errors})
        .set("links_lost", uint32_t{port.links_lost})
        .set("propagation_ns", uint32_t{port.propagation_ns});
}

Json slave_json(size_t position, const SlaveDiagnosis &slave) {
    const VcardSlaveDiagnostics &counters = slave.counters;
    const VcardSlaveDetail &detail = slave.detail;
    Json json = Json::object()
                    .set("position", position)
                    .set("name", slave.name)
                    .set("state", state_text(counters.state))
                    .set("requested_state", state_text(counters.requested_state))
                    .set("previous_state", state_text(detail.previous_state))
                    .set("al_status_code", uint16_t{counters.al_status_code})
                    .set("last_al_status_code", uint16_t{detail.last_al_status_code})
                    .set("flags", slave.flags)
                    .set("state_changes", uint32_t{counters.state_changes})
                    .set("wkc_errors", uint32_t{counters.wkc_errors})
                    .set("working_counter", uint16_t{detail.working_counter})
                    .set("expected_counter", uint16_t{detail.expected_counter})
                    .set("times_lost", uint32_t{counters.times_lost})
                    .set("dl_status", uint16_t{counters.dl_status})
                    .set("address", uint16_t{counters.fixed_address})
                    .set("dc", (slave.flags & VCARD_SLAVE_DC) != 0)
                    .set("dc_difference_ns", int32_t{counters.dc_difference_ns});
    if (slave.has_links) {
        Json ports = Json::array();
        for (const VcardPortStatus &port : slave.links.ports) {
            ports.add(port_json(port));
        }
        json.set("parent", slave.links.parent == VCARD_MASTER ? Json("master")
                                                              : Json(uint16_t{slave.links.parent}));
        json.set("ports", std::move(ports));
    }
    return json;
}

Json master_json(const VcardMasterDiagnostics &master) {
    return Json::object()
        .set("state", state_text(master.state))
        .set("requested_state", state_text(master.requested_state))
        .set("flags", uint32_t{master.flags})
        .set("run_time_ns", uint64_t{master.run_time_ns})
        .set("slaves_configured", uint16_t{master.slaves_configured})
        .set("slaves_present", uint16_t{master.slaves_present})
        .set("slaves_operational", uint16_t{master.slaves_operational})
        .set("slaves_in_error", uint16_t{master.slaves_in_error})
        .set("frames_sent", uint64_t{master.frames_sent})
        .set("frames_lost", uint64_t{master.frames_lost})
        .set("frames_per_cycle", uint16_t{master.frames_per_cycle})
        .set("working_counter", uint32_t{master.working_counter})
        .set("expected_counter", uint32_t{master.expected_counter})
        .set("wkc_errors", uint32_t{master.wkc_errors})
        .set("cycles", uint64_t{master.cycles})
        .set("late_cycles", uint64_t{master.late_cycles})
        .set("cycle_time_ns", uint32_t{master.cycle_time_ns})
        .set("cycle_min_ns", uint32_t{master.cycle_min_ns})
        .set("cycle_mean_ns", uint32_t{master.cycle_mean_ns})
        .set("cycle_max_ns", uint32_t{master.cycle_max_ns})
        .set("latest_ns", uint32_t{master.latest_ns})
        .set("dc_slaves", uint16_t{master.dc_slaves})
        .set("dc_reference",
             master.dc_reference == VCARD_NO_SLAVE ? Json() : Json(uint16_t{master.dc_reference}))
        .set("dc_difference_ns", uint32_t{master.dc_difference_ns})
        .set("dc_largest_ns", uint32_t{master.dc_largest_ns})
        .set("state_changes", uint32_t{master.state_changes})
        .set("links_down", uint16_t{master.links_down})
        .set("links_lost", uint32_t{master.links_lost})
        .set("crc_errors", uint32_t{master.crc_errors})
        .set("errors_listed", uint32_t{master.errors_listed});
}

std::vector<std::string> problems_now(const Diagnosis &diagnosis) {
    std::vector<std::string> problems = flag_texts(kMasterNow, diagnosis.master.flags);
    if (diagnosis.link_down.slave != VCARD_NO_SLAVE) {
        problems.push_back(format("the first link down is slave %u port %u",
                                  diagnosis.link_down.slave, diagnosis.link_down.port));
    }
    return problems;
}

Json texts_json(const std::vector<std::string> &texts) {
    Json list = Json::array();
    for (const std::string &text : texts) {
        list.add(text);
    }
    return list;
}

} // namespace

std::vector<DiagnosisLine> diagnosis_lines(const Diagnosis &diagnosis) {
    std::vector<DiagnosisLine> lines;
    add_master(diagnosis.master, lines);
    const std::vector<std::string> now = problems_now(diagnosis);
    const std::vector<std::string> past = flag_texts(kMasterPast, diagnosis.master.flags);
    lines.push_back(now.empty() ? DiagnosisLine{Tone::Good, field("now", "nothing is wrong")}
                                : problem_line(Tone::Bad, "now", now));
    if (!past.empty()) {
        lines.push_back(problem_line(Tone::Past, "before", past));
    }
    add_slaves(diagnosis, lines);
    add_slave_problems(diagnosis, lines);
    return lines;
}

Json diagnosis_json(const Diagnosis &diagnosis) {
    Json slaves = Json::array();
    for (size_t i = 0; i < diagnosis.slaves.size(); ++i) {
        slaves.add(slave_json(i, diagnosis.slaves[i]));
    }
    const VcardLinkDown &down = diagnosis.link_down;
    return Json::object()
        .set("known", true)
        .set("now", texts_json(problems_now(diagnosis)))
        .set("before", texts_json(flag_texts(kMasterPast, diagnosis.master.flags)))
        .set("master", master_json(diagnosis.master))
        .set("link_down", down.slave == VCARD_NO_SLAVE ? Json()
                                                       : Json::object()
                                                             .set("slave", uint16_t{down.slave})
                                                             .set("port", uint16_t{down.port}))
        .set("slaves", std::move(slaves));
}

} // namespace tarn
