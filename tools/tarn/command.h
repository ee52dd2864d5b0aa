// What all commands share: the global options, the session, the output, and how to add options.
#pragma once

#include "output.h"
#include "session.h"
#include "text.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <limits>

namespace tarn {

struct Context {
    explicit Context(FILE *results) : output(results) {}

    Target target;
    Session session{target};
    Output output;
    std::function<int()> run; // the command that was given; returns the exit status
};

struct NoArguments {};

// One function per command family; each adds its commands to the command line.
void add_board_commands(CLI::App &app, Context &context);     // boards, info, version
void add_board_io_commands(CLI::App &app, Context &context);  // board di, do, latch, pwm, ...
void add_storage_commands(CLI::App &app, Context &context);   // flash, file, update
void add_bus_commands(CLI::App &app, Context &context);       // start, stop, reset, status
void add_state_commands(CLI::App &app, Context &context);     // state, slaves
void add_pi_commands(CLI::App &app, Context &context);        // pi read, pi write, pi watch
void add_eni_commands(CLI::App &app, Context &context);       // eni check
void add_sdo_commands(CLI::App &app, Context &context);       // sdo upload, download, list
void add_foe_commands(CLI::App &app, Context &context);       // foe read, foe write
void add_eeprom_commands(CLI::App &app, Context &context);    // eeprom read, write, decode
void add_memory_commands(CLI::App &app, Context &context);    // mem read, mem write
void add_diagnosis_commands(CLI::App &app, Context &context); // diag, lasterror
void add_mode_command(CLI::App &app, Context &context);       // mode
void add_queue_commands(CLI::App &app, Context &context);     // queue size, pop, push, watch
void add_watchdog_commands(CLI::App &app, Context &context);  // watchdog config, enable, ...
void add_socket_commands(CLI::App &app, Context &context);    // sock send, sock recv
void add_cyclic_command(CLI::App &app, Context &context);     // cyclic
void add_plot_command(CLI::App &app, Context &context);       // plot
void add_error_command(CLI::App &app, Context &context);      // error

// A command with its own arguments; `run` is called with them once all is parsed.
template <typename Arguments>
CLI::App *add_command(CLI::App &app, Context &context, const char *name, const char *description,
                      std::shared_ptr<Arguments> arguments,
                      std::function<int(Context &, const Arguments &)> run) {
    CLI::App *command = app.add_subcommand(name, description);
    command->callback([&context, command, arguments, run] {
        if (!command->get_subcommands().empty()) {
            return; // a command below this one was given
        }
        context.run = [&context, arguments, run] { return run(context, *arguments); };
    });
    return command;
}

template <typename T>
struct OptionalValue {
    using type = T;
};
template <typename T>
struct OptionalValue<std::optional<T>> {
    using type = T;
};
template <typename T>
T number_as(uint64_t number) {
    return static_cast<typename OptionalValue<T>::type>(number);
}

// A number option; takes decimal and 0x. An optional number stays empty when it is not given.
template <typename T>
CLI::Option *add_number(CLI::App *app, const std::string &names, T &value,
                        const std::string &description, const char *unit, uint64_t lowest = 0,
                        uint64_t highest = std::numeric_limits<uint32_t>::max()) {
    const auto take = [&value, names, lowest, highest](const std::string &text) {
        const std::optional<uint64_t> number = parse_unsigned(text);
        if (!number || *number < lowest || *number > highest) {
            throw CLI::ValidationError(names, "\"" + text + "\" is no number from " +
                                                  std::to_string(lowest) + " to " +
                                                  std::to_string(highest));
        }
        value = number_as<T>(*number);
    };
    return app->add_option_function<std::string>(names, take, description)->type_name(unit);
}

// A time in seconds, also a part of one.
inline CLI::Option *add_seconds(CLI::App *app, const std::string &name, double &value,
                                const std::string &description, double lowest, double highest) {
    const auto take = [&value, name, lowest, highest](const std::string &text) {
        const double seconds = parse_real(text).value_or(-1);
        if (!(seconds >= lowest && seconds <= highest)) { // also what is no number at all
            throw CLI::ValidationError(name, format("\"%s\" is no time from %g to %g seconds",
                                                    text.c_str(), lowest, highest));
        }
        value = seconds;
    };
    return app->add_option_function<std::string>(name, take, description)->type_name("SECONDS");
}

// The last paragraphs of a command's help. A group of commands gives them to those that are added
// to it later.
std::string with_global_options(const char *examples);

} // namespace tarn
