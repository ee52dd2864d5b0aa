// tarn queue size, pop, push, watch
#include "host_file.h"
#include "live.h"
#include "selection.h"

namespace tarn {

namespace {

constexpr uint32_t kQueueEntries = 128;
constexpr uint64_t kLongestWaitMs = 3'600'000;

Area area_of(uint32_t index) {
    return parse_area(std::to_string(index));
}

// ---- size and watch -----------------------------------------------------------------------------

struct Fill {
    uint32_t input = 0;
    uint32_t output = 0;
};

Fill read_fill(EcatHandle *channel) {
    Fill fill;
    check(EcatPIInputQueueSize(channel, &fill.input), "cannot ask for the input queue");
    check(EcatPIOutputQueueSize(channel, &fill.output), "cannot ask for the output queue");
    return fill;
}

Json fill_json(const Fill &fill) {
    return Json::object()
        .set("input", fill.input)
        .set("output", fill.output)
        .set("entries", kQueueEntries);
}

std::string fill_text(uint32_t count) {
    return format("%u of %u%s", count, kQueueEntries, count >= kQueueEntries ? ", full" : "");
}

int size(Context &context, const NoArguments &) {
    const Fill fill = read_fill(context.session.channel());
    if (context.output.json()) {
        context.output.document(fill_json(fill));
        return kSuccess;
    }
    context.output.field("input queue", fill_text(fill.input));
    context.output.field("output queue", fill_text(fill.output));
    return kSuccess;
}

int watch(Context &context, const Watching &watching) {
    EcatHandle *channel = context.session.channel();
    LiveView view(context.output);
    return view.run(watching, [&] {
        const Fill fill = read_fill(channel);
        if (context.output.json()) {
            view.add(fill_json(fill).set("seconds", view.seconds()));
        } else {
            view.show({"input " + fill_text(fill.input) + "   output " + fill_text(fill.output)});
        }
    });
}

// ---- pop ----------------------------------------------------------------------------------------

struct PopArguments {
    Selection selection;
    bool newest = false;
    uint32_t wait_ms = 100;
};

void take_image(EcatHandle *channel, const PopArguments &arguments) {
    const uint32_t status = EcatPIInputQueuePop(channel, arguments.newest ? 1 : 0, //
                                                arguments.wait_ms);
    if (status != PCI_TARN_OK) {
        throw Failure(status,
                      "no image came into the input queue within " +
                          std::to_string(arguments.wait_ms) + " ms",
                      "does the bus run (tarn status), and does another program take the images?");
    }
}

int pop(Context &context, const PopArguments &arguments) {
    EcatHandle *channel = context.session.channel();
    const Place place = resolve_to_show(channel, arguments.selection);
    take_image(channel, arguments);
    BitData data;
    const uint32_t status = read_run(channel, place.area, place.run, data);
    const uint32_t left = read_fill(channel).input;
    warn_not_ready(status);
    if (context.output.json()) {
        Json document = run_json(place);
        show_json(place.format, data, document);
        add_warning(document, status);
        context.output.document(document.set("left", left));
        return kSuccess;
    }
    for (const std::string &line : show(place, data)) {
        context.output.line(line);
    }
    return kSuccess;
}

// ---- push ---------------------------------------------------------------------------------------

struct PushArguments {
    Selection selection;
    std::vector<std::string> values;
    std::string file;
    uint8_t flag = 0;
    uint32_t wait_ms = 100;
};

BitData file_values(EcatHandle *channel, const PushArguments &arguments, Place &place) {
    place = resolve(channel, arguments.selection, 0);
    return whole_bytes(read_file_or_input(arguments.file), "in the file", place);
}

// Puts what was given into the image that is pushed as a whole. Returns the status of slaves that
// are not active.
uint32_t fill_image(EcatHandle *channel, const PushArguments &arguments) {
    if (arguments.values.empty() && arguments.file.empty()) {
        return PCI_TARN_OK;
    }
    Place place;
    const BitData data = arguments.file.empty()
                             ? given_values(channel, arguments.selection, arguments.values, place)
                             : file_values(channel, arguments, place);
    return write_run(channel, place.area, place.run, data);
}

int push(Context &context, const PushArguments &arguments) {
    EcatHandle *channel = context.session.channel();
    const uint32_t bytes = image_bytes(channel, arguments.selection.area);
    const uint32_t status = fill_image(channel, arguments);
    warn_not_ready(status);
    check(EcatPIOutputQueuePush(channel, arguments.flag, arguments.wait_ms),
          "the output queue stayed full for " + std::to_string(arguments.wait_ms) + " ms");
    const uint32_t waiting = read_fill(channel).output;
    if (context.output.json()) {
        Json document =
            Json::object().set("bytes", bytes).set("flag", arguments.flag).set("waiting", waiting);
        add_warning(document, status);
        context.output.document(document);
        return kSuccess;
    }
    context.output.line("Pushed " + counted(bytes, "byte") + " with flag " +
                        std::to_string(arguments.flag));
    return kSuccess;
}

// ---- command line -------------------------------------------------------------------------------

void add_size_and_watch(CLI::App &queue, Context &context) {
    add_command<NoArguments>(queue, context, "size", "How many images wait in both queues",
                             std::make_shared<NoArguments>(), size)
        ->footer(with_global_options("  tarn queue size\n"));
    const auto watching = std::make_shared<Watching>();
    CLI::App *command = add_command<Watching>(
        queue, context, "watch", "Show how the queues fill and empty", watching, watch);
    add_watching(command, *watching);
    command->footer(with_global_options("  tarn queue watch --interval-ms 50\n"));
}

void add_pop(CLI::App &queue, Context &context) {
    const auto arguments = std::make_shared<PopArguments>();
    arguments->selection.area = area_of(ECAT_PI_NORMAL_INPUT);
    CLI::App *command = add_command<PopArguments>(
        queue, context, "pop", "Take an image out of the input queue", arguments, pop);
    command->add_flag("--newest", arguments->newest,
                      "The newest image, dropping the older ones, instead of the oldest");
    add_number(command, "--wait", arguments->wait_ms, "How long to wait for an image", "MS", 0,
               kLongestWaitMs)
        ->default_str("100");
    add_part_options(command, arguments->selection);
    command->footer(with_global_options(
        (std::string("  tarn queue pop\n"
                     "  tarn queue pop --newest --slave 1 --offset 4 --format i32\n"
                     "The card puts one image per bus cycle into the queue of 128 and keeps the "
                     "oldest. All\n"
                     "programs take from the same queue: what one takes, no other gets. The image "
                     "is then in\n"
                     "the area input (tarn pi read --area input).\n") +
         kSelectionHelp)
            .c_str()));
}

void add_push(CLI::App &queue, Context &context) {
    const auto arguments = std::make_shared<PushArguments>();
    arguments->selection.area = area_of(ECAT_PI_NORMAL_OUTPUT);
    CLI::App *command = add_command<PushArguments>(
        queue, context, "push", "Put an image into the output queue", arguments, push);
    CLI::Option *values =
        command->add_option("VALUE", arguments->values,
                            "Values in the given format; - reads bytes from standard input");
    command->add_option("--file", arguments->file, "Bytes of a file instead")
        ->type_name("FILE")
        ->excludes(values);
    add_number(command, "--flag", arguments->flag, "Flag byte of the entry", "BYTE", 0, UINT8_MAX)
        ->default_str("0");
    add_number(command, "--wait", arguments->wait_ms, "How long to wait for a free entry", "MS", 0,
               kLongestWaitMs)
        ->default_str("100");
    add_part_options(command, arguments->selection);
    command->footer(with_global_options(
        (std::string(
             "  tarn queue push --slave 2 0x00ff\n"
             "  tarn queue push --offset 0 --format hex 0a0b0c0d --flag 1\n"
             "  tarn queue push --file outputs.bin\n"
             "The values go into the area output, whose image is pushed as a whole; without "
             "values it is\n"
             "pushed as it is. One program at a time may push.\n") +
         kSelectionHelp)
            .c_str()));
}

} // namespace

void add_queue_commands(CLI::App &app, Context &context) {
    CLI::App *queue = app.add_subcommand("queue", "The card's queues of process images");
    queue->require_subcommand(0, 1);
    queue->footer(with_global_options("  tarn queue size\n"
                                      "  tarn queue pop --newest --slave 2\n"
                                      "  tarn queue push --slave 2 0x00ff\n"
                                      "tarn queue pop --help and so on explain the options.\n"));
    add_size_and_watch(*queue, context);
    add_pop(*queue, context);
    add_push(*queue, context);
}

} // namespace tarn
