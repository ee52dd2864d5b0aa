// Any bytes as an ENI file: a verdict or a network whose runs lie inside its images, and slaves
// whose dictionaries, EEPROMs and registers can be made, read and written.
#include "vcard/bus/diagnostics.h"
#include "vcard/bus/error_list.h"
#include "vcard/bus/esc.h"
#include "vcard/bus/network.h"
#include "vcard/bus/object_dictionary.h"
#include "vcard/bus/sii.h"
#include "vcard/bus/simulation.h"
#include "vcard/bus/slave_mailboxes.h"
#include "vcard/bus/topology.h"

#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

using namespace tarn::vcard;

constexpr uint8_t kStates[] = {1, 2, 4, 8, 4, 2, 1, 3};

void check_runs(const Network &network) {
    for (const SlaveConfig &slave : network.slaves) {
        if (slave.outputs.offset + slave.outputs.length > network.output_bytes * 8 ||
            slave.inputs.offset + slave.inputs.length > network.input_bytes * 8) {
            std::abort();
        }
    }
}

// Every entry is read, and written with what was read, with one byte more and one less.
void use_dictionary(ObjectDictionary &dictionary, SlaveView &slave) {
    std::vector<ObjectAddress> addresses;
    for (const auto &[index, object] : dictionary.objects()) {
        addresses.push_back({index, 0, true});
        addresses.push_back({index, 1, true});
        for (const ObjectEntry &entry : object.entries) {
            addresses.push_back({index, entry.subindex, false});
        }
    }
    for (const ObjectAddress &address : addresses) {
        std::vector<uint8_t> data;
        (void)dictionary.read(address, slave, data);
        (void)dictionary.write(address, slave, data);
        data.push_back(0);
        (void)dictionary.write(address, slave, data);
        data.resize(data.size() >= 2 ? data.size() - 2 : 0);
        (void)dictionary.write(address, slave, data);
    }
    (void)dictionary.mapping_fits(true);
    (void)dictionary.mapping_fits(false);
}

void use_mailboxes(const Network &network, Simulation &simulation) {
    SlaveMailboxes mailboxes;
    mailboxes.configure(network);
    for (uint32_t i = 0; i < network.slaves.size(); ++i) {
        SlaveView slave{i, 2, network.slaves[i], simulation};
        for (size_t k = 1; k < std::size(kStates); ++k) {
            (void)mailboxes.run_commands(slave, {kStates[k - 1], kStates[k]});
        }
        for (const uint8_t state : {2, 8}) {
            slave.state = state;
            use_dictionary(mailboxes.dictionary(i), slave);
        }
        (void)mailboxes.check_process_data(i);
    }
}

void use_memories(const Network &network, const Simulation &simulation) {
    ErrorList errors({});
    const Topology topology(network);
    BusDiagnostics diagnostics(errors);
    diagnostics.configure(network, topology);
    diagnostics.start({});
    EepromStore eeproms;
    const EscSurroundings around{
        network, topology, diagnostics, eeproms, simulation.outputs(), simulation.inputs(), 1};
    for (uint32_t i = 0; i < network.slaves.size(); ++i) {
        if (!sii_valid(make_sii(network.slaves[i]))) {
            std::abort();
        }
        EscMemory memory(i, network.slaves[i], eeproms);
        std::vector<uint8_t> bytes(0x10000);
        for (size_t k = 1; k < std::size(kStates); ++k) {
            memory.change_state(kStates[k - 1], kStates[k], eeproms);
            memory.read(0, bytes, {kStates[k], 0}, around);
        }
        (void)memory.write(0, bytes, around);
        memory.read(0, bytes, {8, 0}, around);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Network network;
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    const EniVerdict verdict = parse_eni(text, network);
    if (verdict.status != 0) {
        if (verdict.text.empty()) {
            std::abort();
        }
        return 0;
    }
    check_runs(network);
    Simulation simulation(network);
    use_mailboxes(network, simulation);
    use_memories(network, simulation);
    return 0;
}
