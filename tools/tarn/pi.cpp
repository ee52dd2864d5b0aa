// tarn pi read, tarn pi write, tarn pi watch
#include "command.h"
#include "image.h"
#include "live.h"
#include "terminal.h"

namespace tarn {

namespace {

// Which part of the image, as the command line gives it.
struct Selection {
    std::optional<uint32_t> slave;
    std::optional<uint32_t> offset; // bytes, in the image or in the slave's run
    std::optional<uint32_t> length; // bytes
    std::optional<BitRun> bits;     // the same in bits
    Area area;
    Format format;
};

// The same part, resolved on the running bus.
struct Place {
    Area area;
    Format format;
    BitRun run;     // in the image
    bool as_number; // rather one number than bytes
    bool exact;     // the run was asked for in this width
};

BitRun parse_bits(const std::string &text) {
    const size_t colon = text.find(':');
    const std::optional<uint64_t> bit = parse_unsigned(text.substr(0, colon));
    const std::optional<uint64_t> count =
        colon == std::string::npos ? 1 : parse_unsigned(text.substr(colon + 1));
    if (!bit || !count || *bit > UINT16_MAX || *count == 0 || *count > UINT16_MAX) {
        throw CLI::ValidationError("--bit", "\"" + text + "\" is no BIT or BIT:COUNT");
    }
    return {static_cast<uint32_t>(*bit), static_cast<uint32_t>(*count)};
}

// The part of a whole (the image, or a slave's run in it) that was selected. Typed values give the
// length when nothing else does; 0 values: all that follows.
BitRun part_of(const BitRun &whole, const Selection &selection, uint32_t values,
               const std::string &name) {
    BitRun part{0, whole.bits};
    if (selection.bits) {
        part = *selection.bits;
    } else if (selection.offset || selection.length) {
        part.bit = 8 * selection.offset.value_or(0);
        part.bits = part.bit < whole.bits ? whole.bits - part.bit : 0;
        if (selection.length) {
            part.bits = 8 * *selection.length;
        } else if (selection.format.typed() && selection.offset && values > 0) {
            part.bits = values * selection.format.bits;
        }
    }
    if (part.bits == 0 || part.bit + part.bits > whole.bits) {
        const std::string at = selection.bits ? "bit " + std::to_string(part.bit)
                                              : "byte " + std::to_string(part.bit / 8);
        throw Failure(PCI_TARN_E_OUT_OF_PI,
                      (part.bits == 0 ? "nothing" : counted(part.bits, "bit")) + " at " + at +
                          " of " + name + ", which has " + counted(whole.bits, "bit"));
    }
    part.bit += whole.bit;
    return part;
}

Place resolve(EcatHandle *channel, const Selection &selection, uint32_t values) {
    const Area &area = selection.area;
    const bool output = area.direction == ECAT_PI_DIRECTION_OUTPUT;
    const bool part = selection.bits || selection.offset || selection.length;
    BitRun whole{0, 8 * image_bytes(channel, area)};
    std::string name = std::string("the ") + (output ? "output" : "input") + " image";
    if (selection.slave) {
        const auto slave = static_cast<uint16_t>(*selection.slave);
        name = std::string("the ") + (output ? "outputs" : "inputs") + " of slave " +
               std::to_string(slave);
        whole = slave_run(channel, area.direction, slave);
        if (whole.bits == 0) {
            throw Failure(PCI_TARN_E_NO_PI_REGION, name);
        }
    }
    return {area, selection.format, part_of(whole, selection, values, name),
            selection.slave || selection.bits,
            selection.bits || selection.length || (selection.slave && !part)};
}

void warn_not_ready(uint32_t status) {
    if (status != PCI_TARN_OK) {
        Output::warning(status_text(status) + ": the data was transferred all the same; " +
                        hint_of(status));
    }
}

Json run_json(const Place &place) {
    return Json::object()
        .set("area", place.area.name)
        .set("bit", place.run.bit)
        .set("bits", place.run.bits);
}

void add_warning(Json &json, uint32_t status) {
    if (status != PCI_TARN_OK) {
        json.set("warning", Failure(status, "the data was transferred all the same").json());
    }
}

// ---- read ---------------------------------------------------------------------------------------

struct ReadArguments {
    Selection selection;
    bool raw = false;
};

int read(Context &context, const ReadArguments &arguments) {
    EcatHandle *channel = context.session.channel();
    const Place place = resolve(channel, arguments.selection, 1);
    BitData data;
    const uint32_t status = read_run(channel, place.area, place.run, data);
    warn_not_ready(status);
    if (arguments.raw) {
        terminal::set_binary(context.output.stream());
        context.output.text({data.bytes.begin(), data.bytes.end()});
    } else if (context.output.json()) {
        Json document = run_json(place);
        show_json(place.format, data, document);
        add_warning(document, status);
        context.output.document(document);
    } else {
        for (const std::string &line :
             show(place.format, data, place.as_number, place.run.bit / 8)) {
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

BitData standard_input() {
    terminal::set_binary(stdin);
    BitData data;
    for (int byte = std::getchar(); byte != EOF; byte = std::getchar()) {
        data.bytes.push_back(static_cast<uint8_t>(byte));
    }
    data.bits = static_cast<uint32_t>(8 * data.bytes.size());
    return data;
}

int write(Context &context, const WriteArguments &arguments) {
    EcatHandle *channel = context.session.channel();
    const bool from_input = arguments.values == std::vector<std::string>{"-"};
    const auto count = from_input ? 0 : static_cast<uint32_t>(arguments.values.size());
    Place place = resolve(channel, arguments.selection, count);
    const BitData data =
        from_input ? standard_input()
                   : parse_values(place.format, arguments.values, place.exact ? place.run.bits : 0);
    if (data.bits == 0 || data.bits > place.run.bits) {
        throw Failure(PCI_TARN_E_OUT_OF_PI, counted(data.bits, "bit") + " of values for " +
                                                counted(place.run.bits, "bit") + " of data");
    }
    place.run.bits = data.bits;
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
    const Place place = resolve(channel, arguments.selection, 1);
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
        view.show(show(place.format, data, place.as_number, place.run.bit / 8));
    });
}

// ---- command line -------------------------------------------------------------------------------

constexpr const char *kSelectionHelp =
    "Without --offset, --length, --bit or --slave the whole image is meant. Bytes and bits count\n"
    "from 0, bit n is bit n mod 8 of byte n / 8. With --slave they count inside the slave's data,\n"
    "which also works when that does not begin at a whole byte; otherwise in the whole image, at\n"
    "logical addresses when the ENI file maps them.\n";

constexpr const char *kAreaHelp =
    "Areas: 0 output and 1 input, the images that a program with a data-swap thread exchanges;\n"
    "2 fast-output, written straight to the card; 3 card, what the card says of the outputs; 4\n"
    "shadow-input, read straight from the card. 3 and 4 are read only.\n";

template <typename T>
void add_optional_number(CLI::App *command, const char *name, std::optional<T> &value,
                         const char *description, const char *unit) {
    command
        ->add_option_function<std::string>(
            name,
            [&value, name](const std::string &text) {
                const std::optional<uint64_t> number = parse_unsigned(text);
                if (!number || *number > UINT16_MAX) {
                    throw CLI::ValidationError(name,
                                               "\"" + text + "\" is no number from 0 to 65535");
                }
                value = static_cast<T>(*number);
            },
            description)
        ->type_name(unit);
}

void add_selection(CLI::App *command, Selection &selection, const char *default_area) {
    selection.area = parse_area(default_area);
    add_optional_number(command, "-p,--slave", selection.slave,
                        "Data of the slave at this position", "POSITION");
    add_optional_number(command, "--offset", selection.offset, "First byte", "BYTE");
    add_optional_number(command, "--length", selection.length, "Number of bytes", "BYTES");
    CLI::Option *bit = command->add_option_function<std::string>(
        "--bit", [&selection](const std::string &text) { selection.bits = parse_bits(text); },
        "First bit, and how many (1)");
    bit->type_name("BIT[:COUNT]");
    bit->excludes(command->get_option("--offset"))->excludes(command->get_option("--length"));
    command
        ->add_option_function<std::string>(
            "--area", [&selection](const std::string &text) { selection.area = parse_area(text); },
            std::string(kAreaNames) + ", or 0 to 4")
        ->type_name("AREA")
        ->default_str(default_area);
    command
        ->add_option_function<std::string>(
            "--format",
            [&selection](const std::string &text) { selection.format = parse_format(text); },
            kFormatNames)
        ->type_name("FORMAT");
}

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
