// tarn mode
#include "access_mode.h"
#include "realtime.h"

#include <chrono>

namespace tarn {

namespace {

constexpr uint32_t kWakeups = 20;
constexpr uint32_t kPatienceMs = 3000; // longer than any cycle, even a late one

struct Arguments {
    std::string mode;
};

int show_modes(Context &context) {
    const Realtime realtime = try_realtime();
    if (context.output.json()) {
        Json modes = Json::array();
        for (const AccessMode &mode : access_modes()) {
            modes.add(Json::object()
                          .set("mode", mode.mode)
                          .set("name", mode.name)
                          .set("exchange", mode.exchange)
                          .set("wakes", mode.wakes)
                          .set("usable", mode.mode != ECAT_PI_MODE_CYCLE || realtime.runs));
        }
        context.output.document(
            Json::object().set("modes", std::move(modes)).set("realtime", realtime_json(realtime)));
        return kSuccess;
    }
    Table table({"Mode", "Name", "Process data is exchanged", "A wait ends with"});
    for (const AccessMode &mode : access_modes()) {
        table.add({std::to_string(mode.mode), mode.name, mode.exchange, mode.wakes});
    }
    context.output.text(table.text());
    context.output.line("Real-time priority " + realtime_text(realtime));
    if (!realtime.full) {
        for (const std::string &line : how_to_grant_realtime()) {
            context.output.line("  " + line);
        }
    }
    return kSuccess;
}

int try_mode(Context &context, const AccessMode &mode) {
    EcatHandle *channel = context.session.channel();
    set_access_mode(channel, mode);
    const Wakeups wakeups = count_wakeups(channel, kWakeups, kPatienceMs);
    if (wakeups.count == 0 && EcatBusIsRunning(channel)) {
        throw Failure(std::string("the bus runs, and in the mode ") + mode.name +
                          " no cycle woke this program within " + std::to_string(kPatienceMs) +
                          " ms",
                      "do the card's interrupts reach this computer?");
    }
    if (context.output.json()) {
        context.output.document(Json::object()
                                    .set("mode", mode.mode)
                                    .set("name", mode.name)
                                    .set("works", true)
                                    .set("wakeups", wakeups.count)
                                    .set("period_us", wakeups.period_us));
        return kSuccess;
    }
    context.output.field("mode", std::string(mode.name) + " works on this machine");
    context.output.field("wake-ups",
                         wakeups.count == 0 ? "none: no bus runs on this channel"
                         : wakeups.count == 1
                             ? "1"
                             : format("%u, one every %.0f us", wakeups.count, wakeups.period_us));
    return kSuccess;
}

int mode(Context &context, const Arguments &arguments) {
    return arguments.mode.empty() ? show_modes(context)
                                  : try_mode(context, parse_access_mode(arguments.mode));
}

} // namespace

const std::vector<AccessMode> &access_modes() {
    static const std::vector<AccessMode> modes = {
        {ECAT_PI_MODE_DIRECT, "direct", "in each read and write", "the card's cycle interrupt"},
        {ECAT_PI_MODE_CYCLE, "cycle", "by a real-time thread, once per bus cycle",
         "the thread's exchange"},
        {ECAT_PI_MODE_MANUAL, "manual", "when the program says EcatPIASyncUpdateData()",
         "the card's cycle interrupt"},
    };
    return modes;
}

const AccessMode &parse_access_mode(const std::string &text) {
    const std::optional<uint64_t> number = parse_unsigned(text);
    for (const AccessMode &mode : access_modes()) {
        if (text == mode.name || number == mode.mode) {
            return mode;
        }
    }
    throw UsageError("\"" + printable(text) + "\" is no mode: " + kAccessModeNames + " or 0 to 2");
}

void set_access_mode(EcatHandle *channel, const AccessMode &mode) {
    if (mode.mode == ECAT_PI_MODE_CYCLE && !try_realtime().runs) {
        throw no_realtime();
    }
    check(EcatPIASyncModeSet(channel, mode.mode),
          std::string("cannot enter the mode ") + mode.name);
}

Wakeups count_wakeups(EcatHandle *channel, uint32_t count, uint32_t patience_ms) {
    using Clock = std::chrono::steady_clock;
    Wakeups wakeups;
    Clock::time_point first;
    Clock::time_point last;
    while (wakeups.count < count && EcatPIInputWaitNotify(channel, patience_ms) == PCI_TARN_OK) {
        last = Clock::now();
        if (wakeups.count++ == 0) {
            first = last;
        }
    }
    if (wakeups.count > 1) {
        wakeups.period_us =
            std::chrono::duration<double, std::micro>(last - first).count() / (wakeups.count - 1);
    }
    return wakeups;
}

void add_mode_command(CLI::App &app, Context &context) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App *command = add_command<Arguments>(
        app, context, "mode", "Show or try how programs exchange data", arguments, mode);
    command->add_option("MODE", arguments->mode, std::string(kAccessModeNames) + ", or 0 to 2");
    command->footer(with_global_options(
        "  tarn mode\n"
        "  tarn mode cycle\n"
        "A mode belongs to a program's own handle; no command can set it for another program. "
        "Without\n"
        "MODE this lists the modes and says whether cycle mode has the real-time priority that it "
        "needs\n"
        "here, and what to grant otherwise. With MODE it enters the mode and counts some "
        "wake-ups.\n"));
}

} // namespace tarn
