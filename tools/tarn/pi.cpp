// tarn pi read, tarn pi write, tarn pi watch
#include "byte_output.h"
#include "live.h"
#include "selection.h"

namespace tarn {

namespace {

// ---- read ---------------------------------------------------------------------------------------

struct ReadArguments {
    Selection selection;
    bool raw = false;
};

int read(Context &context, const ReadArguments &arguments) {
    if (arguments.raw && context.output.json()) {
        throw UsageError("--raw and --json both want standard output");
    }
    EcatHandle *channel = context.session.channel();
    const Place place = arguments.raw ? resolve(channel, arguments.selection, 1)
                                      : resolve_to_show(channel, arguments.selection);
    BitData data;
    const uint32_t status = read_run(channel, place.area, place.run, data);
    warn_not_ready(status);
    if (arguments.raw) {
        give_bytes(context.output, "-", data.bytes);
    } else if (context.output.json()) {
        Json document = run_json(place);
        show_json(place.format, data, document);
        add_warning(document, status);
        context.output.document(document);
    } else {
        for (const std::string &line : show(place, data)) {
            context.output.line(line);
        }
    }
    return kSuccess;
}

// ---- write --------------------------------------------------------------------------------------

struct WriteArguments {
    Selection selection;
    std::vector<std::string> values;
};

int write(Context &context, const WriteArguments &arguments) {
    EcatHandle *channel = context.session.channel();
    Place place;
    const BitData data = given_values(channel, arguments.selection, arguments.values, place);
    const uint32_t status = write_run(channel, place.area, place.run, data);
    warn_not_ready(status);
    if (context.output.json()) {
        Json document = run_json(place);
        document.set("hex", hex(data.bytes, false));
        add_warning(document, status);
        context.output.document(document);
    } else {
        context.output.line("Wrote " + counted(place.run.bits, "bit") + " at bit " +
                            std::to_string(place.run.bit) + " of " + place.area.name);
    }
    return kSuccess;
}

// ---- watch --------------------------------------------------------------------------------------

struct WatchArguments {
    Selection selection;
    Watching watching;
};

int watch(Context &context, const WatchArguments &arguments) {
    EcatHandle *channel = context.session.channel();
    const Place place = resolve_to_show(channel, arguments.selection);
    LiveView view(context.output);
    uint32_t warned = PCI_TARN_OK;
    return view.run(arguments.watching, [&] {
        BitData data;
        const uint32_t status = read_run(channel, place.area, place.run, data);
        if (context.output.json()) {
            Json row = run_json(place);
            row.set("seconds", view.seconds());
            show_json(place.format, data, row);
            add_warning(row, status);
            view.add(row);
            return;
        }
        if (status != warned) {
            warn_not_ready(status);
        }
        warned = status;
        view.show(show(place, data));
    });
}

// ---- command line -------------------------------------------------------------------------------

constexpr const char *kAreaHelp =
    "Areas: 0 output and 1 input, the images that a program with a data-swap thread exchanges;\n"
    "2 fast-output, written straight to the card; 3 card, what the card says of the outputs; 4\n"
    "shadow-input, read straight from the card. 3 and 4 are read only.\n";

} // namespace

void add_pi_commands(CLI::App &app, Context &context) {
    CLI::App *pi = app.add_subcommand("pi", "Read, write or watch the process image");
    pi->require_subcommand(0, 1);
    pi->footer(with_global_options("  tarn pi read\n"
                                   "  tarn pi write --slave 1 0x00ff\n"
                                   "  tarn pi watch --slave 0 --offset 4 --format i32\n"
                                   "tarn pi read --help and so on explain the options.\n"));

    const auto read_arguments = std::make_shared<ReadArguments>();
    CLI::App *read_command =
        add_command<ReadArguments>(*pi, context, "read", "Read process data", read_arguments, read);
    add_selection(read_command, read_arguments->selection, "shadow-input");
    read_command->add_flag("--raw", read_arguments->raw, "Write the bytes as they are");
    read_command->footer(with_global_options(
        (std::string("  tarn pi read\n"
                     "  tarn pi read --slave 2\n"
                     "  tarn pi read --slave 0 --offset 3 --length 4 --format i32\n"
                     "  tarn pi read --bit 12:4 --format bin --area fast-output\n"
                     "  tarn pi read --raw >inputs.bin\n") +
         kSelectionHelp + kAreaHelp)
            .c_str()));

    const auto write_arguments = std::make_shared<WriteArguments>();
    CLI::App *write_command = add_command<WriteArguments>(
        *pi, context, "write", "Write process data", write_arguments, write);
    add_selection(write_command, write_arguments->selection, "fast-output");
    write_command
        ->add_option("VALUE", write_arguments->values,
                     "Values in the given format; - reads bytes from standard input")
        ->required();
    write_command->footer(with_global_options(
        (std::string("  tarn pi write --slave 1 0x00ff\n"
                     "  tarn pi write --slave 0 --offset 3 --format i32 -5000\n"
                     "  tarn pi write --bit 12 1\n"
                     "  tarn pi write --offset 0 --format hex 0a0b0c0d\n"
                     "  tarn pi write - <outputs.bin\n"
                     "Only the bits that the values fill are changed. Without --format one value "
                     "is a number\n"
                     "as wide as the bits, the length or the slave that was chosen (up to 64 "
                     "bits); several\n"
                     "values, or one at --offset without --length, are bytes.\n") +
         kSelectionHelp + kAreaHelp)
            .c_str()));

    const auto watch_arguments = std::make_shared<WatchArguments>();
    CLI::App *watch_command = add_command<WatchArguments>(
        *pi, context, "watch", "Show process data as it changes", watch_arguments, watch);
    add_selection(watch_command, watch_arguments->selection, "shadow-input");
    add_watching(watch_command, watch_arguments->watching);
    watch_command->footer(with_global_options(
        (std::string("  tarn pi watch\n"
                     "  tarn pi watch --slave 0 --offset 3 --length 4 --format i32 --count 20\n"
                     "On a terminal the values stay in place; otherwise lines that have changed "
                     "are printed,\n"
                     "with the time since the start. With --json one array of samples.\n") +
         kSelectionHelp + kAreaHelp)
            .c_str()));
}

} // namespace tarn
