#include "command.h"
#include "terminal.h"

#include <cstring>

namespace tarn {

namespace {

constexpr const char *kFooter =
    "Any global option may stand before or after the command. Numbers may be written with 0x.\n"
    "tarn COMMAND --help explains a command and gives examples.\n"
    "\n"
    "The EtherCAT master runs on the card: a bus that was started keeps running when tarn ends,\n"
    "and any number of tarn calls may work on it at once. They share the process image through\n"
    "the file temp.dat of the current directory: run all programs that use one channel in the\n"
    "same directory.\n"
    "\n"
    "Exit status: 0 success, 1 failure, 2 wrong usage. Results go to standard output, failures,\n"
    "warnings, progress and the library's own messages to standard error.";

void add_global_options(CLI::App &app, Context &context, bool &json) {
    app.add_option("--board", context.target.board,
                   "Card: its name, ID<n> for the n-th card from 0, or AL<n> for the card whose "
                   "alias switch stands at n")
        ->type_name("NAME")
        ->default_str("ID0");
    add_number(&app, "--channel", context.target.channel, "EtherCAT channel of the card", "0|1", 0,
               PCI_TARN_MAX_CHANNELS - 1)
        ->default_str("0");
    add_number(&app, "--timeout", context.target.timeout_ms,
               "How long to wait for each answer of the card", "MS")
        ->default_str("20000");
    app.add_flag("--json", json, "Print one JSON document instead of text");
}

int usage_error(Context &context, const char *text) {
    Output::error(std::string(text) + "; tarn --help shows how to use it");
    if (context.output.json()) {
        context.output.document(Json::object().set("error", Json::object().set("usage", text)));
    }
    return kUsage;
}

int failure(const Context &context, const Failure &failure) {
    Output::error(failure.what());
    if (context.output.json()) {
        context.output.document(Json::object().set("error", failure.json()));
    }
    return kFailure;
}

int run_command(CLI::App &app, Context &context, int argc, char **argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        context.output.text(app.help());
        return kSuccess;
    }
    if (!context.run) {
        throw UsageError("a command is missing");
    }
    return context.run();
}

int run(int argc, char **argv) {
    Context context(terminal::take_output());
    bool json = false;
    CLI::App app("Everything that an application can ask of an EtherCAT master card, from a shell.",
                 "tarn");
    app.fallthrough();
    app.require_subcommand(0, 1); // a missing command is reported below, a wrong one as such
    app.footer(kFooter);
    add_global_options(app, context, json);
    add_board_commands(app, context);
    add_bus_commands(app, context);
    add_state_commands(app, context);
    add_pi_commands(app, context);
    add_eni_commands(app, context);
    add_board_io_commands(app, context);
    add_storage_commands(app, context);
    add_sdo_commands(app, context);
    add_foe_commands(app, context);
    add_eeprom_commands(app, context);
    add_memory_commands(app, context);
    add_diagnosis_commands(app, context);
    add_mode_command(app, context);
    add_queue_commands(app, context);
    add_watchdog_commands(app, context);
    add_socket_commands(app, context);
    add_cyclic_command(app, context);
    add_plot_command(app, context);
    add_error_command(app, context);

    // Known before the command line is understood, so that a usage error keeps to it as well.
    for (int i = 1; i < argc; ++i) {
        context.output.use_json(context.output.json() || std::strcmp(argv[i], "--json") == 0);
    }
    try {
        return run_command(app, context, argc, argv);
    } catch (const CLI::ParseError &error) {
        return usage_error(context, error.what());
    } catch (const UsageError &error) {
        return usage_error(context, error.what());
    } catch (const Failure &error) {
        return failure(context, error);
    } catch (const std::exception &error) {
        return failure(context, Failure(error.what()));
    }
}

} // namespace

std::string with_global_options(const char *examples) {
    return std::string("Examples:\n") + examples +
           "\nGlobal options: --board NAME, --channel 0|1, --timeout MS, --json (tarn --help)";
}

} // namespace tarn

int main(int argc, char **argv) {
    try {
        return tarn::run(argc, argv);
    } catch (...) { // out of memory, before there is anything to say it with
        return tarn::kFailure;
    }
}
