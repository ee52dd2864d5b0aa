// tarn state, tarn slaves
#include "command.h"
#include "slave.h"
#include "states.h"

#include <chrono>
#include <map>
#include <thread>

namespace tarn {

namespace {

constexpr auto kPollInterval = std::chrono::milliseconds(20);
constexpr uint32_t kNoSlave = UINT32_MAX;

// ---- state --------------------------------------------------------------------------------------

struct StateArguments {
    uint32_t slave = kNoSlave;
    std::string set;
    uint32_t wait_ms = 10000;
};

struct MasterStates {
    uint8_t now = 0;
    uint8_t requested = 0;
};

MasterStates master_states(EcatHandle *channel) {
    MasterStates states;
    check(EcatGetMasterState(channel, &states.now), "cannot ask for the master's state");
    check(EcatGetMasterReqState(channel, &states.requested), "cannot ask for the requested state");
    return states;
}

// How many slaves are in which state.
std::map<uint8_t, uint32_t> slaves_per_state(EcatHandle *channel) {
    std::vector<uint8_t> states(slave_count(channel));
    if (!states.empty()) {
        check(EcatGetSlaveStateEx(channel, static_cast<uint16_t>(states.size()), states.data()),
              "cannot ask for the slaves' states");
    }
    std::map<uint8_t, uint32_t> counts;
    for (const uint8_t state : states) {
        ++counts[state];
    }
    return counts;
}

int show_master(Context &context) {
    EcatHandle *channel = context.session.channel();
    const MasterStates master = master_states(channel);
    const std::map<uint8_t, uint32_t> counts = slaves_per_state(channel);
    if (context.output.json()) {
        Json slaves = Json::object();
        for (const auto &[state, count] : counts) {
            slaves.set(state_name(state).c_str(), count);
        }
        context.output.document(Json::object()
                                    .set("master_state", state_name(master.now))
                                    .set("requested_state", state_name(master.requested))
                                    .set("slaves_per_state", std::move(slaves)));
        return kSuccess;
    }
    context.output.field("master", state_name(master.now) + " (requested " +
                                       state_name(master.requested) + ")");
    std::string text;
    for (const auto &[state, count] : counts) {
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " in " + state_name(state);
    }
    context.output.field("slaves", text.empty() ? "none" : text);
    return kSuccess;
}

int show_slave(Context &context, uint16_t position) {
    EcatHandle *channel = context.session.channel();
    const Slave slave = read_slave(channel, position);
    uint8_t requested = 0;
    const uint32_t status = EcatGetSlaveReqState(channel, position, &requested);
    const bool known = status == PCI_TARN_OK;
    if (!known && status != PCI_TARN_E_NOT_SUPPORTED) {
        check(status, "cannot ask for the requested state of slave " + std::to_string(position));
    }
    const std::string al_text = EcatGetAlStatusCodeMessage(slave.al_status_code);
    if (context.output.json()) {
        context.output.document(
            Json::object()
                .set("position", position)
                .set("state", state_name(slave.state))
                .set("error", slave.error)
                .set("requested_state", known ? Json(state_name(requested)) : Json())
                .set("al_status_code", slave.al_status_code)
                .set("al_status_text", al_text));
        return kSuccess;
    }
    context.output.field("slave", std::to_string(position) +
                                      (slave.name.empty() ? "" : " \"" + slave.name + "\""));
    context.output.field("state", slave_state_text(slave) +
                                      (known ? " (requested " + state_name(requested) + ")" : ""));
    context.output.field("AL status", format("0x%04x ", slave.al_status_code) + al_text);
    return kSuccess;
}

int set_master(Context &context, const StateArguments &arguments) {
    const std::optional<uint8_t> state = parse_state(arguments.set);
    if (!state) {
        throw UsageError("\"" + printable(arguments.set) +
                         "\" is no state: INIT, PREOP, BOOT, SAFEOP or OP");
    }
    EcatHandle *channel = context.session.channel();
    check(EcatRequestMasterState(channel, *state),
          "the master does not take the request for " + state_name(*state));
    const auto start = std::chrono::steady_clock::now();
    while (arguments.wait_ms > 0) {
        const uint8_t now = master_states(channel).now;
        if (now == *state) {
            break;
        }
        if (std::chrono::steady_clock::now() - start >=
            std::chrono::milliseconds(arguments.wait_ms)) {
            throw Failure("the master was asked for " + state_name(*state) + " but is still in " +
                              state_name(now),
                          "tarn slaves shows which slave holds it back; --wait waits longer");
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return show_master(context);
}

int state(Context &context, const StateArguments &arguments) {
    const bool one = arguments.slave != kNoSlave;
    if (one && !arguments.set.empty()) {
        throw UsageError("the card sets states for the whole bus, not for one slave: leave the "
                         "slave out (tarn state --set " +
                         printable(arguments.set) + ")");
    }
    if (!arguments.set.empty()) {
        return set_master(context, arguments);
    }
    return one ? show_slave(context, static_cast<uint16_t>(arguments.slave)) : show_master(context);
}

// ---- slaves -------------------------------------------------------------------------------------

struct SlavesArguments {
    uint32_t slave = kNoSlave;
};

std::string run_text(const BitRun &run) {
    return run.bits == 0 ? "-" : std::to_string(run.bits) + "@" + std::to_string(run.bit);
}

Json run_json(const BitRun &run) {
    return Json::object().set("bit", run.bit).set("bits", run.bits);
}

Json slave_json(const Slave &slave) {
    return Json::object()
        .set("position", slave.position)
        .set("name", slave.name)
        .set("state", state_name(slave.state))
        .set("error", slave.error)
        .set("al_status_code", slave.al_status_code)
        .set("vendor_id", slave.vendor_id)
        .set("product_code", slave.product_code)
        .set("revision_no", slave.revision_no)
        .set("serial_no", slave.serial_no)
        .set("address", slave.address)
        .set("alias", slave.alias)
        .set("outputs", run_json(slave.outputs))
        .set("inputs", run_json(slave.inputs));
}

void print_slaves(const Output &output, const std::vector<Slave> &slaves) {
    Table table({"Pos", "Name", "State", "Vendor", "Product", "Revision", "Serial", "Addr", "Alias",
                 "Outputs", "Inputs"});
    for (const Slave &slave : slaves) {
        table.add({std::to_string(slave.position), slave.name.empty() ? "-" : slave.name,
                   slave_state_text(slave), format("0x%08x", slave.vendor_id),
                   format("0x%08x", slave.product_code), format("0x%08x", slave.revision_no),
                   std::to_string(slave.serial_no), std::to_string(slave.address),
                   std::to_string(slave.alias), run_text(slave.outputs), run_text(slave.inputs)});
    }
    output.text(table.text());
    for (const Slave &slave : slaves) {
        if (slave.al_status_code != 0) {
            output.line("Slave " + std::to_string(slave.position) + ": AL status " +
                        format("0x%04x ", slave.al_status_code) +
                        EcatGetAlStatusCodeMessage(slave.al_status_code));
        }
    }
}

int slaves(Context &context, const SlavesArguments &arguments) {
    EcatHandle *channel = context.session.channel();
    const uint16_t count = slave_count(channel);
    uint32_t first = 0;
    uint32_t last = count;
    if (arguments.slave != kNoSlave) {
        if (arguments.slave >= count) {
            throw Failure(PCI_TARN_E_INVALID_SLAVE, "slave " + std::to_string(arguments.slave) +
                                                        " of " + std::to_string(count));
        }
        first = arguments.slave;
        last = first + 1;
    }
    std::vector<Slave> found;
    for (uint32_t i = first; i < last; ++i) {
        found.push_back(read_slave(channel, static_cast<uint16_t>(i)));
    }
    if (context.output.json()) {
        Json list = Json::array();
        for (const Slave &slave : found) {
            list.add(slave_json(slave));
        }
        context.output.document(list);
    } else if (found.empty()) {
        context.output.line("no slaves; tarn start ENI starts the bus");
    } else {
        print_slaves(context.output, found);
    }
    return kSuccess;
}

} // namespace

void add_state_commands(CLI::App &app, Context &context) {
    const auto state_arguments = std::make_shared<StateArguments>();
    CLI::App *state_command = add_command<StateArguments>(
        app, context, "state", "Show or set EtherCAT states", state_arguments, state);
    add_number(state_command, "SLAVE,-p,--slave", state_arguments->slave,
               "Position of a slave, from 0; without it the master is shown", "POSITION", 0,
               UINT16_MAX);
    state_command
        ->add_option("--set", state_arguments->set,
                     "Ask the master for INIT, PREOP, BOOT, SAFEOP or OP (or 1, 2, 3, 4, 8); it "
                     "takes the whole bus there")
        ->type_name("STATE");
    add_number(state_command, "--wait", state_arguments->wait_ms,
               "With --set: how long to wait until the master is there, 0: not at all", "MS")
        ->default_str("10000");
    state_command->footer(with_global_options("  tarn state\n"
                                              "  tarn state 3\n"
                                              "  tarn state --set SAFEOP\n"));

    const auto slaves_arguments = std::make_shared<SlavesArguments>();
    CLI::App *slaves_command = add_command<SlavesArguments>(
        app, context, "slaves", "List the slaves of the bus", slaves_arguments, slaves);
    add_number(slaves_command, "-p,--slave", slaves_arguments->slave,
               "Only the slave at this position", "POSITION", 0, UINT16_MAX);
    slaves_command->footer(with_global_options(
        "  tarn slaves\n"
        "  tarn slaves -p 2 --json\n"
        "One line per slave:\n"
        "  Pos      position on the bus, from 0; what --slave takes\n"
        "  State    EtherCAT state, with +ERROR while the slave indicates an error; the AL status\n"
        "           of such slaves follows the table\n"
        "  Addr     configured station address\n"
        "  Outputs  run in the physical output image: bits@first bit, - for none\n"
        "  Inputs   the same in the input image\n"));
}

} // namespace tarn
