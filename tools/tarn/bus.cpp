// tarn start, tarn stop, tarn reset, tarn status
#include "command.h"
#include "progress.h"
#include "states.h"

#include <tarn_vcard/records.h>

#include <chrono>
#include <fstream>
#include <thread>

namespace tarn {

namespace {

constexpr uint32_t kMailboxVersionMask = 0xFF0000FF; // of word 0 of the channel area
constexpr size_t kProcessDataVersion = 803400;       // byte of the channel area
constexpr uint32_t kCrcOffset = 16;                  // of the extended ENI information
constexpr uint32_t kCrcSize = 64;
constexpr uint32_t kEniInfoSize = 144;
constexpr auto kPollInterval = std::chrono::milliseconds(20);

// A value that the card may refuse to give, for example because nothing is configured.
template <typename T>
struct Answer {
    uint32_t status = 0;
    T value{};

    [[nodiscard]] bool known() const { return status == PCI_TARN_OK; }
    [[nodiscard]] Json json() const { return known() ? Json(value) : Json(nullptr); }
};

template <typename T>
Answer<T> ask(EcatHandle *channel, uint32_t (*get)(EcatHandle *, T *), const char *what) {
    Answer<T> answer;
    answer.status = get(channel, &answer.value);
    if (no_answer(answer.status)) {
        throw Failure(answer.status, std::string("cannot ask for the ") + what);
    }
    return answer;
}

// ---- start --------------------------------------------------------------------------------------

struct StartArguments {
    std::string eni;
    uint32_t wait_op_ms = 10000;
};

// The card brings the bus up by itself; its answer to the start need not mean that all is done.
void wait_for_op(EcatHandle *channel, uint32_t wait_ms) {
    const auto start = std::chrono::steady_clock::now();
    uint8_t state = 0;
    while (true) {
        check(EcatGetMasterState(channel, &state), "cannot ask for the master's state");
        if (state == ECAT_STATE_OP) {
            return;
        }
        if (std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(wait_ms)) {
            throw Failure("the bus runs, but the master is in " + state_name(state) +
                              " and not in OP",
                          "tarn slaves shows which slave holds it back; --wait-op waits longer");
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

// A start on a running bus is refused by the card, but not before the new file has replaced the
// one it runs with and the process image of all programs has been cleared. So it is not tried.
void check_startable(EcatHandle *channel, const std::string &eni) {
    if (EcatBusIsRunning(channel)) {
        throw Failure(PCI_TARN_E_ALREADY_STARTED, "cannot start the bus with " + printable(eni));
    }
}

int start(Context &context, const StartArguments &arguments) {
    if (!std::ifstream(arguments.eni, std::ios::binary)) {
        throw Failure(PCI_TARN_E_OPEN_FILE, printable(arguments.eni));
    }
    EcatHandle *channel = context.session.channel();
    check_startable(channel, arguments.eni);
    double seconds = 0;
    {
        Progress progress("Starting the bus", context.output.json());
        const uint32_t status =
            EcatBusRunEx(channel, arguments.eni.c_str(), Progress::report, &progress);
        check(status, "cannot start the bus with " + printable(arguments.eni));
        if (arguments.wait_op_ms > 0) {
            wait_for_op(channel, arguments.wait_op_ms);
        }
        seconds = progress.seconds();
    }
    uint8_t state = 0;
    uint16_t slaves = 0;
    EniInfo eni{};
    check(EcatGetMasterState(channel, &state), "cannot ask for the master's state");
    check(EcatGetSlaveCount(channel, &slaves), "cannot ask for the number of slaves");
    check(EcatGetEniInfo(channel, &eni), "cannot ask for the image lengths");
    if (context.output.json()) {
        context.output.document(Json::object()
                                    .set("started", true)
                                    .set("master_state", state_name(state))
                                    .set("slaves", slaves)
                                    .set("output_bytes", eni.output_length)
                                    .set("input_bytes", eni.input_length)
                                    .set("seconds", seconds));
        return kSuccess;
    }
    context.output.line("Bus started: master in " + state_name(state) + ", " +
                        counted(slaves, "slave") + ", outputs " +
                        counted(eni.output_length, "byte") + ", inputs " +
                        counted(eni.input_length, "byte") + format(", %.2f s", seconds));
    return kSuccess;
}

// ---- stop and reset -----------------------------------------------------------------------------

int done(const Context &context, const char *key, const char *text) {
    if (context.output.json()) {
        context.output.document(Json::object().set(key, true));
    } else {
        context.output.line(text);
    }
    return kSuccess;
}

int stop(Context &context, const NoArguments &) {
    check(EcatBusStop(context.session.channel()), "cannot stop the bus");
    return done(context, "stopped", "Bus stopped");
}

int reset(Context &context, const NoArguments &) {
    check(EcatReset(context.session.channel()), "cannot reset the master");
    return done(context, "reset", "Master and I/O module reset, bus stopped");
}

// ---- status -------------------------------------------------------------------------------------

struct StatusArguments {
    std::string eni; // empty: do not compare
};

std::string bus_status_name(uint32_t status) {
    switch (status) {
    case VCARD_BUS_NOT_CONFIGURED:
        return "not configured";
    case VCARD_BUS_STARTING:
        return "starting";
    case VCARD_BUS_RUNNING:
        return "running";
    case VCARD_BUS_FAULT:
        return "a slave has left its state";
    default:
        return "";
    }
}

struct Protocol {
    uint32_t mailbox; // interface version of the rings
    uint32_t process_data;
    [[nodiscard]] uint32_t generation() const {
        return process_data == 0x03000000 ? 1 : process_data == 0x06000000 ? 2 : 0;
    }
};

// Which protocols the card's firmware speaks, from the version words of the channel area.
Protocol protocol_of(EcatHandle *channel) {
    const auto *area = static_cast<const volatile uint32_t *>(__EcatGetMailBoxPtr(channel));
    const uint32_t word = area[kProcessDataVersion / sizeof(uint32_t)];
    uint32_t decoded = 0x01000000;
    if ((word & 0x00FFFF00) != 0) {
        decoded = (word & 0xFF) != 0 ? (word >> 8) & 0xFFFF : (word & 0xFFFFFF00) << 8;
    }
    return {area[0] & kMailboxVersionMask, decoded};
}

// Text that identifies the configuration the card runs; empty when it has none.
std::string running_crc(EcatHandle *channel) {
    char info[kEniInfoSize + 1] = {};
    if (EcatGetEniInfoEx(channel, info, kEniInfoSize) != PCI_TARN_OK) {
        return {};
    }
    info[kCrcOffset + kCrcSize] = '\0';
    return printable(info + kCrcOffset);
}

template <typename T, typename Show>
std::string text_of(const Answer<T> &answer, Show show) {
    return answer.known() ? show(answer.value) : status_text(answer.status);
}

template <typename T>
std::string text_of(const Answer<T> &answer) {
    return text_of(answer, [](T value) { return std::to_string(value); });
}

// Whether the running configuration is that of the file; any other failure ends the command.
bool runs_with(EcatHandle *channel, const std::string &eni) {
    const uint32_t status = EcatCheckRunningEni(channel, eni.c_str());
    if (status == UINT32_MAX) {
        throw Failure("the library finds no CRC element in " + printable(eni),
                      "tarn eni check FILE explains it");
    }
    if (status != PCI_TARN_E_ENI_MISMATCH) {
        check(status, "cannot compare with " + printable(eni));
    }
    return status == PCI_TARN_OK;
}

struct ChannelStatus {
    Answer<uint32_t> bus;
    bool running = false;
    Answer<uint8_t> master;
    Answer<uint8_t> requested;
    Answer<uint16_t> slaves;
    Answer<uint16_t> active;
    Answer<EniInfo> eni;
    Answer<uint32_t> enabled;
    Answer<uint32_t> ready_lost;
    Answer<uint32_t> auto_clear;
    Protocol protocol;
    uint32_t work_count = 0;
    std::string crc;
};

ChannelStatus channel_status(EcatHandle *channel) {
    ChannelStatus now;
    now.bus = ask<uint32_t>(channel, EcatBusStatus, "bus status");
    now.running = EcatBusIsRunning(channel);
    now.master = ask<uint8_t>(channel, EcatGetMasterState, "master's state");
    now.requested = ask<uint8_t>(channel, EcatGetMasterReqState, "requested state");
    now.slaves = ask<uint16_t>(channel, EcatGetSlaveCount, "number of slaves");
    now.active = ask<uint16_t>(channel, EcatGetActiveSlaveCount, "number of active slaves");
    now.eni = ask<EniInfo>(channel, EcatGetEniInfo, "image lengths");
    now.enabled = ask<uint32_t>(channel, EcatPIEnableGet, "process image switch");
    now.ready_lost = ask<uint32_t>(channel, EcatReadyLostTimeoutGet, "ready-lost time-out");
    now.auto_clear = ask<uint32_t>(channel, EcatAutoClearSlaveStateErrorEnableGet,
                                   "automatic clearing of errors");
    now.protocol = protocol_of(channel);
    now.work_count = __EcatBusCtrlWorkCntGet(channel);
    now.crc = running_crc(channel);
    return now;
}

Json state_json(const Answer<uint8_t> &answer) {
    return answer.known() ? Json(state_name(answer.value)) : Json();
}

Json switch_json(const Answer<uint32_t> &answer) {
    return answer.known() ? Json(answer.value != 0) : Json();
}

Json status_json(const Session &session, const ChannelStatus &now) {
    const bool sizes = now.eni.known();
    return Json::object()
        .set("board", session.target().board)
        .set("channel", session.target().channel)
        .set("running", now.running)
        .set("bus_status", now.bus.json())
        .set("bus_status_text", now.bus.known() ? bus_status_name(now.bus.value) : "")
        .set("master_state", state_json(now.master))
        .set("requested_state", state_json(now.requested))
        .set("slaves", now.slaves.json())
        .set("active_slaves", now.active.json())
        .set("output_bytes", sizes ? Json(now.eni.value.output_length) : Json())
        .set("input_bytes", sizes ? Json(now.eni.value.input_length) : Json())
        .set("process_image_enabled", switch_json(now.enabled))
        .set("request_timeout_ms", session.timeout_ms())
        .set("ready_lost_timeout", now.ready_lost.json())
        .set("auto_clear_errors", switch_json(now.auto_clear))
        .set("protocol_generation", now.protocol.generation())
        .set("mailbox_version", now.protocol.mailbox)
        .set("work_count", now.work_count)
        .set("eni_crc", now.crc.empty() ? Json() : Json(now.crc));
}

std::string bus_text(const ChannelStatus &now) {
    const std::string name = now.bus.known() ? bus_status_name(now.bus.value) : "";
    return std::string(now.running ? "running" : "stopped") + ", status " + text_of(now.bus) +
           (name.empty() ? "" : " (" + name + ")");
}

std::string slaves_text(const ChannelStatus &now) {
    return now.slaves.known() && now.active.known()
               ? text_of(now.slaves) + " configured, " + text_of(now.active) + " active"
               : status_text(now.slaves.known() ? now.active.status : now.slaves.status);
}

std::string on_off(uint32_t on) {
    return on != 0 ? "on" : "off";
}

std::string image_text(const ChannelStatus &now) {
    if (!now.eni.known()) {
        return status_text(now.eni.status);
    }
    return "outputs " + counted(now.eni.value.output_length, "byte") + ", inputs " +
           counted(now.eni.value.input_length, "byte");
}

std::string protocol_text(const Protocol &protocol) {
    return format("mailbox %u, process data 0x%08x", protocol.mailbox, protocol.process_data) +
           (protocol.generation() != 0
                ? " (generation " + std::to_string(protocol.generation()) + ")"
                : "");
}

void print_status(const Output &output, const Session &session, const ChannelStatus &now) {
    output.field("card", printable(session.target().board) + ", channel " +
                             std::to_string(session.target().channel));
    output.field("bus", bus_text(now));
    output.field("master", text_of(now.master, state_name) + " (requested " +
                               text_of(now.requested, state_name) + ")");
    output.field("slaves", slaves_text(now));
    output.field("image", image_text(now));
    output.field("time-outs", "request " + std::to_string(session.timeout_ms()) +
                                  " ms, ready lost " + text_of(now.ready_lost));
    output.field("image service", text_of(now.enabled, on_off));
    output.field("auto clear", text_of(now.auto_clear, on_off));
    output.field("protocol", protocol_text(now.protocol));
    output.field("work count", std::to_string(now.work_count));
    output.field("ENI CRC", now.crc.empty() ? "none" : now.crc);
}

int status(Context &context, const StatusArguments &arguments) {
    EcatHandle *channel = context.session.channel();
    const ChannelStatus now = channel_status(channel);
    const bool compare = !arguments.eni.empty();
    const bool same = compare && runs_with(channel, arguments.eni);
    if (context.output.json()) {
        Json document = status_json(context.session, now);
        if (compare) {
            document.set("eni_matches", same);
        }
        context.output.document(document);
    } else {
        print_status(context.output, context.session, now);
        if (compare) {
            context.output.field("ENI file",
                                 same ? "is the one that runs" : "is not the one that runs");
        }
    }
    return compare && !same ? kFailure : kSuccess;
}

} // namespace

void add_bus_commands(CLI::App &app, Context &context) {
    const auto none = std::make_shared<NoArguments>();

    const auto start_arguments = std::make_shared<StartArguments>();
    CLI::App *start_command = add_command<StartArguments>(
        app, context, "start", "Start the bus with an ENI file", start_arguments, start);
    start_command->add_option("ENI", start_arguments->eni, "ENI file")->required();
    add_number(start_command, "--wait-op", start_arguments->wait_op_ms,
               "How long to wait until the master is in OP, 0: not at all", "MS")
        ->default_str("10000");
    start_command->footer(with_global_options(
        "  tarn start machine.xml\n"
        "  tarn start machine.xml --board tarn0 --channel 1 --json\n"
        "The file goes to the card, which brings the slaves up to OP. The bus keeps running when\n"
        "tarn ends. Progress goes to standard error; with --json as one object per line.\n"
        "The process image is described in temp.dat of the current directory: run everything\n"
        "that uses this channel here.\n"));

    add_command<NoArguments>(app, context, "stop", "Stop the bus", none, stop)
        ->footer(with_global_options("  tarn stop\n"
                                     "  tarn stop --channel 1\n"));

    add_command<NoArguments>(app, context, "reset",
                             "Reset the master and the card's own outputs; stops the bus", none,
                             reset)
        ->footer(with_global_options("  tarn reset\n"));

    const auto status_arguments = std::make_shared<StatusArguments>();
    CLI::App *status_command = add_command<StatusArguments>(
        app, context, "status", "Show what the master is doing", status_arguments, status);
    status_command
        ->add_option("--eni", status_arguments->eni,
                     "Also compare with this ENI file; exit status 1 when the bus runs "
                     "with another one")
        ->type_name("FILE");
    status_command->footer(with_global_options("  tarn status\n"
                                               "  tarn status --eni machine.xml\n"));
}

} // namespace tarn
