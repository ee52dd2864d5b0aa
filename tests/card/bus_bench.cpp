#include "card/bus_bench.h"

#include "support/process.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace tarn::test {

namespace fs = std::filesystem;
using namespace tarn::vcard;

namespace {

template <typename Record>
struct Field {
    const char *name;
    uint64_t (*value)(const Record &);
};

#define FIELD(Record, name)                                                                        \
    {                                                                                              \
#name, [](const Record &record) { return static_cast<uint64_t>(record.name); }             \
    }

constexpr uint32_t kRealTime = 0x0002; // late cycles

constexpr Field<VcardMasterDiagnostics> kMaster[] = {
    FIELD(VcardMasterDiagnostics, frames_lost),
    FIELD(VcardMasterDiagnostics, wkc_errors),
    FIELD(VcardMasterDiagnostics, state_changes),
    FIELD(VcardMasterDiagnostics, links_lost),
    FIELD(VcardMasterDiagnostics, crc_errors),
    FIELD(VcardMasterDiagnostics, cycle_time_ns),
    FIELD(VcardMasterDiagnostics, working_counter),
    FIELD(VcardMasterDiagnostics, expected_counter),
    FIELD(VcardMasterDiagnostics, errors_listed),
    {"flags", [](const VcardMasterDiagnostics &r) { return uint64_t{r.flags & ~kRealTime}; }},
    FIELD(VcardMasterDiagnostics, frames_per_cycle),
    FIELD(VcardMasterDiagnostics, slaves_configured),
    FIELD(VcardMasterDiagnostics, slaves_present),
    FIELD(VcardMasterDiagnostics, slaves_operational),
    FIELD(VcardMasterDiagnostics, slaves_in_error),
    FIELD(VcardMasterDiagnostics, dc_slaves),
    FIELD(VcardMasterDiagnostics, dc_reference),
    FIELD(VcardMasterDiagnostics, links_down),
    FIELD(VcardMasterDiagnostics, state),
    FIELD(VcardMasterDiagnostics, requested_state),
};

constexpr Field<VcardSlaveDiagnostics> kSlave[] = {
    FIELD(VcardSlaveDiagnostics, state),          FIELD(VcardSlaveDiagnostics, requested_state),
    FIELD(VcardSlaveDiagnostics, al_status_code), FIELD(VcardSlaveDiagnostics, state_changes),
    FIELD(VcardSlaveDiagnostics, wkc_errors),     FIELD(VcardSlaveDiagnostics, times_lost),
    FIELD(VcardSlaveDiagnostics, crc_errors[0]),  FIELD(VcardSlaveDiagnostics, crc_errors[1]),
    FIELD(VcardSlaveDiagnostics, crc_errors[2]),  FIELD(VcardSlaveDiagnostics, crc_errors[3]),
    FIELD(VcardSlaveDiagnostics, links_lost[0]),  FIELD(VcardSlaveDiagnostics, links_lost[1]),
    FIELD(VcardSlaveDiagnostics, links_lost[2]),  FIELD(VcardSlaveDiagnostics, links_lost[3]),
    FIELD(VcardSlaveDiagnostics, dl_status),      FIELD(VcardSlaveDiagnostics, fixed_address),
};

constexpr Field<uint32_t> kFlags[] = {{"flags", [](const uint32_t &v) { return uint64_t{v}; }}};

constexpr Field<VcardSlaveDetail> kDetail[] = {
    FIELD(VcardSlaveDetail, changed_ns),      FIELD(VcardSlaveDetail, state),
    FIELD(VcardSlaveDetail, previous_state),  FIELD(VcardSlaveDetail, last_al_status_code),
    FIELD(VcardSlaveDetail, working_counter), FIELD(VcardSlaveDetail, expected_counter),
};

constexpr Field<VcardLinkStatus> kLinks[] = {
    FIELD(VcardLinkStatus, slave),
    FIELD(VcardLinkStatus, fixed_address),
    FIELD(VcardLinkStatus, parent),
    FIELD(VcardLinkStatus, dl_status),
    FIELD(VcardLinkStatus, vendor_id),
    FIELD(VcardLinkStatus, product_code),
    FIELD(VcardLinkStatus, present),
    FIELD(VcardLinkStatus, state),
    FIELD(VcardLinkStatus, ports_configured),
    FIELD(VcardLinkStatus, ports_down),
    FIELD(VcardLinkStatus, links_lost),
};

constexpr Field<VcardPortStatus> kPort[] = {
    FIELD(VcardPortStatus, link),           FIELD(VcardPortStatus, loop_closed),
    FIELD(VcardPortStatus, communication),  FIELD(VcardPortStatus, configured),
    FIELD(VcardPortStatus, neighbour),      FIELD(VcardPortStatus, neighbour_port),
    FIELD(VcardPortStatus, down),           FIELD(VcardPortStatus, crc_errors),
    FIELD(VcardPortStatus, rx_errors),      FIELD(VcardPortStatus, forwarded_errors),
    FIELD(VcardPortStatus, links_lost),     FIELD(VcardPortStatus, changed_ns),
    FIELD(VcardPortStatus, propagation_ns),
};

#undef FIELD

class Differences {
  public:
    template <typename Record, size_t Count>
    void look(const std::string &where, const Field<Record> (&fields)[Count], const Record &before,
              const Record &after) {
        for (const Field<Record> &field : fields) {
            if (field.value(before) != field.value(after)) {
                found.push_back(where + "." + field.name);
            }
        }
    }

    std::vector<std::string> found;
};

} // namespace

std::vector<std::string> changes(const Snapshot &before, const Snapshot &after) {
    Differences differences;
    differences.look("master", kMaster, before.master, after.master);
    for (size_t i = 0; i < before.slaves.size(); ++i) {
        const std::string number = std::to_string(i);
        differences.look("slave " + number, kSlave, before.slaves[i], after.slaves[i]);
        differences.look("state " + number, kFlags, before.flags[i], after.flags[i]);
        differences.look("detail " + number, kDetail, before.details[i], after.details[i]);
        differences.look("links " + number, kLinks, before.links[i], after.links[i]);
        for (size_t p = 0; p < VCARD_PORTS; ++p) {
            differences.look("port " + number + ":" + std::to_string(p), kPort,
                             before.links[i].ports[p], after.links[i].ports[p]);
        }
    }
    if (before.first_down.slave != after.first_down.slave ||
        before.first_down.port != after.first_down.port) {
        differences.found.emplace_back("first_down");
    }
    if (before.errors.size() != after.errors.size()) {
        differences.found.emplace_back("errors");
    }
    return differences.found;
}

Network BusBench::network_of(std::vector<MakeEniSlave> slaves, uint32_t cycle_us) {
    MakeEniOptions options;
    options.slaves = std::move(slaves);
    options.cycle_us = cycle_us;
    Network network;
    const EniVerdict verdict = parse_eni(make_eni(options), network);
    EXPECT_EQ(verdict.status, 0U) << verdict.text;
    return network;
}

Network BusBench::read_eni(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string xml{std::istreambuf_iterator<char>(stream), {}};
    Network network;
    const EniVerdict verdict = parse_eni(xml, network);
    EXPECT_EQ(verdict.status, 0U) << file << ": " << verdict.text;
    return network;
}

std::vector<fs::path> BusBench::eni_files() {
    std::vector<fs::path> files;
    const char *folder = std::getenv("TARN_ENI_DIR");
    for (const fs::path &place :
         {source_path("examples/eni"), fs::path(folder != nullptr ? folder : "")}) {
        if (!place.empty() && fs::is_directory(place)) {
            for (const auto &entry : fs::directory_iterator(place)) {
                if (entry.path().extension() == ".xml") {
                    files.push_back(entry.path());
                }
            }
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void BusBench::run(Network network, uint8_t state) {
    network_ = network;
    bus_.configure(std::move(network));
    bus_.start();
    ASSERT_TRUE(bus_.request_state(state));
}

void BusBench::restart(uint8_t state) {
    bus_.stop();
    run(network_, state);
}

void BusBench::cycles(uint64_t count) {
    const uint64_t target = bus_.cycles() + count + 1;
    EXPECT_TRUE(eventually([&] { return bus_.cycles() >= target; }));
}

Snapshot BusBench::snapshot() const {
    Snapshot seen;
    bus_.read_diagnostics([&seen](const BusDiagnostics &diagnostics) {
        seen.master = diagnostics.master(std::chrono::steady_clock::now());
        for (uint32_t i = 0; i < diagnostics.slaves(); ++i) {
            seen.slaves.push_back(diagnostics.slave(i));
            seen.flags.push_back(diagnostics.slave_flags(i));
            seen.details.push_back(diagnostics.detail(i));
            seen.links.push_back(diagnostics.links(i));
        }
        seen.first_down = diagnostics.first_link_down();
    });
    seen.errors = const_cast<Bus &>(bus_).errors().newest_first();
    return seen;
}

std::vector<uint8_t> BusBench::memory(uint32_t slave, uint32_t address, size_t length) {
    std::vector<uint8_t> data(length);
    EXPECT_EQ(bus_.read_memory(slave, address, data), Bus::Access::Done);
    return data;
}

uint32_t BusBench::word(uint32_t slave, uint32_t address, size_t length) {
    uint32_t value = 0;
    const std::vector<uint8_t> data = memory(slave, address, length);
    for (size_t i = length; i-- > 0;) {
        value = value << 8 | data[i];
    }
    return value;
}

void BusBench::write_memory(uint32_t slave, uint32_t address, const std::vector<uint8_t> &data) {
    EXPECT_EQ(bus_.write_memory(slave, address, data), Bus::Access::Done);
}

std::vector<uint8_t> BusBench::eeprom(uint32_t slave) {
    std::vector<uint8_t> start(128);
    EXPECT_EQ(bus_.read_eeprom(slave, 0, start), Bus::Access::Done);
    std::vector<uint8_t> image((start[0x7C] + start[0x7D] * 256U + 1) * 128);
    EXPECT_EQ(bus_.read_eeprom(slave, 0, image), Bus::Access::Done);
    return image;
}

void BusBench::write_eeprom(uint32_t slave, uint32_t word, const std::vector<uint8_t> &data) {
    EXPECT_EQ(bus_.write_eeprom(slave, word, data), Bus::Access::Done);
}

} // namespace tarn::test
