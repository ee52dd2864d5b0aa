// tarn board di|do|latch|seqlatch|led|heartbeat|time|reset|watch|bar1
#include "board.h"
#include "command.h"
#include "live.h"
#include "terminal.h"

#include <array>
#include <chrono>
#include <thread>

namespace tarn {

namespace {

constexpr uint32_t kLatchHz = BOARD_TIMER_HZ; // the counter that the latches capture
constexpr uint32_t kBar1Size = 0x1000;
constexpr uint32_t kResetPatienceMs = 30000;

std::string bits_text(uint32_t value) {
    std::string text;
    for (int bit = 31; bit >= 0; --bit) {
        text += (value >> bit & 1) != 0 ? '1' : '0';
        text += bit % 8 == 0 && bit != 0 ? " " : "";
    }
    return text;
}

Json bits_json(uint32_t value) {
    Json list = Json::array();
    for (uint32_t bit = 0; bit < 32; ++bit) {
        if ((value >> bit & 1) != 0) {
            list.add(bit);
        }
    }
    return Json::object().set("value", value).set("high", std::move(list));
}

uint32_t read_word(BoardHandle *board, uint32_t (*read)(BoardHandle *, uint32_t *),
                   const char *what) {
    uint32_t value = 0;
    check(read(board, &value), std::string("cannot read the ") + what);
    return value;
}

void print_bits(const Output &output, const char *name, uint32_t value) {
    if (output.json()) {
        output.document(bits_json(value));
        return;
    }
    output.field(name, format("0x%08x", value));
    output.field("bits 31..0", bits_text(value));
}

// What a command has done, when there is nothing else to say.
void done(const Output &output, const std::string &text) {
    if (output.json()) {
        output.document(Json::object().set("done", text));
    } else {
        output.line(text);
    }
}

// ---- digital inputs and outputs -----------------------------------------------------------------

int digital_inputs(Context &context, const NoArguments &) {
    print_bits(context.output, "inputs",
               read_word(context.session.board(), BoardDIRead, "digital inputs"));
    return kSuccess;
}

struct OutputArguments {
    std::optional<uint32_t> value;
    std::vector<uint32_t> set;
    std::vector<uint32_t> clear;
};

uint32_t mask_of(const std::vector<uint32_t> &bits) {
    uint32_t mask = 0;
    for (const uint32_t bit : bits) {
        mask |= 1U << bit;
    }
    return mask;
}

int digital_outputs(Context &context, const OutputArguments &arguments) {
    BoardHandle *board = context.session.board();
    uint32_t value = read_word(board, BoardDORead, "digital outputs");
    const uint32_t wanted =
        (arguments.value.value_or(value) | mask_of(arguments.set)) & ~mask_of(arguments.clear);
    if (arguments.value || wanted != value) {
        check(BoardDOWrite(board, wanted), "cannot set the digital outputs");
        value = read_word(board, BoardDORead, "digital outputs");
    }
    print_bits(context.output, "outputs", value);
    return kSuccess;
}

// ---- latches ------------------------------------------------------------------------------------

struct Capture {
    bool latched = false;
    uint64_t ticks = 0;
};

std::string ticks_text(uint64_t ticks) {
    const uint64_t ns = ticks / kLatchHz * 1'000'000'000 + ticks % kLatchHz * 8;
    return std::to_string(ticks) + " ticks, " + std::to_string(ns / 1'000'000'000) +
           format(".%09llu s", static_cast<unsigned long long>(ns % 1'000'000'000));
}

Capture read_latch(BoardHandle *board, uint32_t channel) {
    uint32_t latched = 0;
    uint32_t low = 0;
    uint32_t high = 0;
    check(BoardLatchState(board, channel, &latched), "cannot read the latch");
    check(BoardLatchOnRead(board, channel, &low, &high), "cannot read the latch");
    return {latched != 0, uint64_t{high} << 32 | low};
}

std::string latch_text(const Capture &capture) {
    return capture.latched ? ticks_text(capture.ticks) : "waits";
}

Json ticks_json(const Capture &capture) {
    return capture.latched ? Json(capture.ticks) : Json(nullptr);
}

int latch_status(Context &context, const NoArguments &) {
    BoardHandle *board = context.session.board();
    Json list = Json::array();
    for (uint32_t channel = 0; channel < BOARD_IO_CHANNELS; ++channel) {
        const Capture capture = read_latch(board, channel);
        if (context.output.json()) {
            list.add(Json::object()
                         .set("channel", channel)
                         .set("latched", capture.latched)
                         .set("ticks", ticks_json(capture))
                         .set("tick_hz", kLatchHz));
        } else {
            context.output.field(format("latch %u", channel).c_str(), latch_text(capture));
        }
    }
    if (context.output.json()) {
        context.output.document(list);
    }
    return kSuccess;
}

struct Action {
    const char *name;
    const char *description;
    uint32_t (*run)(BoardHandle *);
    const char *done;
};

constexpr Action kLatchActions[] = {
    {"enable", "Enable the latches", BoardLatchEnable, "latches enabled"},
    {"disable", "Disable the latches", BoardLatchDisable, "latches disabled"},
    {"run", "Let the latches wait for their source", BoardLatchRun, "latches run"},
    {"stop", "Stop the latches", BoardLatchStop, "latches stopped"},
    {"clear", "Forget what was latched", BoardLatchClear, "latches cleared"},
    {"reset-counter", "Set the counter to 0", BoardLatchCounterReset, "latch counter reset"},
};

struct NumberArgument {
    uint32_t number = 0;
};

int latch_config(Context &context, const NumberArgument &arguments) {
    check(BoardLatchCfg(context.session.board(), arguments.number), "cannot set the latch source");
    done(context.output, "latch source " + std::to_string(arguments.number));
    return kSuccess;
}

int latch_port(Context &context, const NumberArgument &arguments) {
    check(BoardLatchPortSel(context.session.board(), arguments.number),
          "cannot select the latch port");
    done(context.output, "latch port " + std::to_string(arguments.number));
    return kSuccess;
}

void add_latch(CLI::App &board, Context &context) {
    const auto none = std::make_shared<NoArguments>();
    CLI::App *latch = add_command<NoArguments>(
        board, context, "latch", "Capture the 125 MHz counter on an edge; without more: show it",
        none, latch_status);
    latch->require_subcommand(0, 1);
    latch->footer(with_global_options(
        "  tarn board latch config 3\n"
        "  tarn board latch clear && tarn board latch enable\n"
        "  tarn board latch run\n"
        "  tarn board latch\n"
        "One tick is 8 ns. What the sources are is the firmware's affair; for the "
        "virtual card\nsee docs/virtual-card.md.\n"));
    for (const Action &action : kLatchActions) {
        add_command<NoArguments>(*latch, context, action.name, action.description, none,
                                 [&action](Context &running, const NoArguments &) -> int {
                                     check(action.run(running.session.board()),
                                           std::string("latch ") + action.name);
                                     done(running.output, action.done);
                                     return kSuccess;
                                 });
    }
    const auto mode = std::make_shared<NumberArgument>();
    CLI::App *config = add_command<NumberArgument>(*latch, context, "config", "Choose the source",
                                                   mode, latch_config);
    add_number(config, "SOURCE", mode->number, "Number of the source", "N", 0, BOARD_LATCH_MODE_MAX)
        ->required();
    const auto port = std::make_shared<NumberArgument>();
    CLI::App *select =
        add_command<NumberArgument>(*latch, context, "port", "Choose the port", port, latch_port);
    add_number(select, "PORT", port->number, "Number of the port", "N")->required();
}

// ---- sequence latches ---------------------------------------------------------------------------

int sequence_config(Context &context, const NumberArgument &arguments) {
    check(BoardSeqLatchCfg(context.session.board(), static_cast<int32_t>(arguments.number)),
          "cannot set the source of the sequence latch");
    done(context.output, "sequence latch source " + std::to_string(arguments.number));
    return kSuccess;
}

int sequence_run(Context &context, const NumberArgument &arguments) {
    check(BoardSeqLatchRun(context.session.board(), arguments.number),
          "cannot start the sequence latch");
    done(context.output, "sequence latch records " + counted(arguments.number, "value"));
    return kSuccess;
}

struct SequenceArguments {
    uint32_t channel = 0;
    uint32_t first = 0;
    uint32_t count = 1;
};

// The card may take a moment until the value follows the index, so it is asked for twice.
uint64_t sequence_value(BoardHandle *board, uint32_t channel, uint32_t index) {
    constexpr auto kMoment = std::chrono::milliseconds(3);
    uint32_t low = 0;
    uint32_t high = 0;
    check(BoardSeqLatchOnRead(board, channel, index, &low, &high),
          "cannot read the sequence latch");
    std::this_thread::sleep_for(kMoment);
    check(BoardSeqLatchOnRead(board, channel, index, &low, &high),
          "cannot read the sequence latch");
    return uint64_t{high} << 32 | low;
}

int sequence_read(Context &context, const SequenceArguments &arguments) {
    const uint64_t end = uint64_t{arguments.first} + arguments.count;
    if (end > BOARD_SEQ_LATCH_COUNT_MAX) {
        throw UsageError("a sequence has at most " + std::to_string(BOARD_SEQ_LATCH_COUNT_MAX) +
                         " values");
    }
    BoardHandle *board = context.session.board();
    Json list = Json::array();
    for (uint32_t index = arguments.first; index < end; ++index) {
        const uint64_t ticks = sequence_value(board, arguments.channel, index);
        if (context.output.json()) {
            list.add(Json::object().set("index", index).set("ticks", ticks));
        } else {
            context.output.field(format("value %u", index).c_str(), ticks_text(ticks));
        }
    }
    if (context.output.json()) {
        context.output.document(Json::object()
                                    .set("channel", arguments.channel)
                                    .set("tick_hz", kLatchHz)
                                    .set("values", std::move(list)));
    }
    return kSuccess;
}

void add_sequence(CLI::App &board, Context &context) {
    CLI::App *group = board.add_subcommand("seqlatch", "Record a row of captures per channel");
    group->require_subcommand(0, 1);
    group->footer(with_global_options("  tarn board latch enable\n"
                                      "  tarn board seqlatch config 23\n"
                                      "  tarn board seqlatch run 100\n"
                                      "  tarn board seqlatch read 0 --count 100\n"
                                      "One tick is 8 ns. tarn board latch stop ends it.\n"));
    const auto mode = std::make_shared<NumberArgument>();
    CLI::App *config = add_command<NumberArgument>(*group, context, "config", "Choose the source",
                                                   mode, sequence_config);
    add_number(config, "SOURCE", mode->number, "Number of the source", "N",
               BOARD_SEQ_LATCH_MODE_MIN, BOARD_SEQ_LATCH_MODE_MAX)
        ->required();
    const auto count = std::make_shared<NumberArgument>();
    CLI::App *run =
        add_command<NumberArgument>(*group, context, "run", "Start to record", count, sequence_run);
    add_number(run, "COUNT", count->number, "How many values per channel", "N", 0,
               BOARD_SEQ_LATCH_COUNT_MAX)
        ->required();
    const auto values = std::make_shared<SequenceArguments>();
    CLI::App *read = add_command<SequenceArguments>(
        *group, context, "read", "Show what was recorded", values, sequence_read);
    add_number(read, "CHANNEL", values->channel, "Latch channel", "0..3", 0, BOARD_IO_CHANNELS - 1)
        ->required();
    add_number(read, "--first", values->first, "First value", "INDEX", 0,
               BOARD_SEQ_LATCH_COUNT_MAX - 1)
        ->default_str("0");
    add_number(read, "--count", values->count, "How many values", "N", 1, BOARD_SEQ_LATCH_COUNT_MAX)
        ->default_str("1");
}

// ---- LEDs, life signs, time, reset --------------------------------------------------------------

struct LedArguments {
    uint32_t first = 0;
    uint32_t second = 0;
};

int led(Context &context, const LedArguments &arguments) {
    check(BoardLedCtrl(context.session.board(), static_cast<uint16_t>(arguments.first),
                       static_cast<uint16_t>(arguments.second)),
          "cannot set the LEDs");
    done(context.output, format("LEDs set to 0x%04x, 0x%04x", arguments.first, arguments.second));
    return kSuccess;
}

std::array<uint32_t, BOARD_IO_CHANNELS> heartbeats(BoardHandle *board) {
    std::array<uint32_t, BOARD_IO_CHANNELS> values = {};
    for (uint32_t i = 0; i < values.size(); ++i) {
        check(BoardHeardCnt(board, i, &values[i]), "cannot read the heartbeat");
    }
    return values;
}

int heartbeat(Context &context, const NumberArgument &arguments) {
    BoardHandle *board = context.session.board();
    const auto start = std::chrono::steady_clock::now();
    const auto before = heartbeats(board);
    terminal::catch_interrupt();
    pause_for(arguments.number);
    const auto now = heartbeats(board);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const bool alive = BoardIsAlive(board);
    const bool counts = now != before;
    Json list = Json::array();
    Table table({"Counter", "Value", "Per second"});
    for (uint32_t i = 0; i < now.size(); ++i) {
        const double rate = (now[i] - before[i]) / seconds;
        list.add(Json::object().set("counter", i).set("value", now[i]).set("per_second", rate));
        table.add({std::to_string(i), std::to_string(now[i]), format("%.1f", rate)});
    }
    if (context.output.json()) {
        context.output.document(Json::object()
                                    .set("alive", alive)
                                    .set("counting", counts)
                                    .set("heartbeat", std::move(list)));
    } else {
        context.output.line(!alive    ? "The firmware says that it is not alive"
                            : !counts ? "The firmware says that it is alive, but counts nothing"
                                      : "The firmware is alive");
        context.output.text(table.text());
    }
    return alive && counts ? kSuccess : kFailure;
}

struct TimeArguments {
    std::optional<int64_t> utc;
};

int set_time(Context &context, const TimeArguments &arguments) {
    check(BoardSetDeviceSystemTime(context.session.board(), arguments.utc.value_or(0)),
          "cannot hand over the time");
    done(context.output, arguments.utc ? "the card's time is set to " +
                                             std::to_string(*arguments.utc) + " s since 1970, UTC"
                                       : "the card's time is set to the time of this computer");
    return kSuccess;
}

struct ResetArguments {
    uint32_t wait_ms = kResetPatienceMs;
};

// The word by which a card is told to reset; it goes back to 0 when that is done.
bool reset_is_pending(BoardHandle *board) {
    constexpr size_t kResetRequest = 0x188;
    const auto *bar2 = static_cast<const uint8_t *>(getBarPtr(board, 2));
    return bar2 == nullptr ||
           *reinterpret_cast<const volatile uint32_t *>(bar2 + kResetRequest) != 0;
}

// The card is back when it is alive, its configuration block is valid and it answers.
bool is_back(BoardHandle *board, BoardInfo &info) {
    return BoardIsAlive(board) && !reset_is_pending(board) &&
           BoardCheckVersion(board, 0) == PCI_TARN_OK && BoardGetInfo(board, &info) == PCI_TARN_OK;
}

int reset(Context &context, const ResetArguments &arguments) {
    BoardHandle *board = context.session.board();
    BoardInfo before{};
    check(BoardGetInfo(board, &before), "cannot read the card");
    const uint32_t status = BoardReset(board);
    if (status == PCI_TARN_E_NOT_SUPPORTED) {
        throw Failure(status, "this firmware cannot reset itself",
                      "switch the computer off and on, or update the firmware: tarn update IMAGE");
    }
    check(status, "cannot reset the card");
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(arguments.wait_ms);
    BoardInfo now{};
    while (!is_back(board, now)) {
        if (std::chrono::steady_clock::now() >= end) {
            throw Failure(PCI_TARN_E_TIMEOUT,
                          "the card has been told to reset and has not come back within " +
                              std::to_string(arguments.wait_ms) + " ms",
                          "wait, then look with tarn board heartbeat; if it stays silent, switch "
                          "the computer off and on");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (context.output.json()) {
        context.output.document(Json::object()
                                    .set("firmware", printable(now.firmware_version))
                                    .set("firmware_before", printable(before.firmware_version)));
    } else {
        const std::string version = printable(now.firmware_version);
        const std::string former = printable(before.firmware_version);
        context.output.line("The card has been reset: firmware " + version +
                            (version == former ? "" : ", before " + former) +
                            "; its buses are stopped");
    }
    return kSuccess;
}

// ---- watch --------------------------------------------------------------------------------------

int watch(Context &context, const Watching &watching) {
    BoardHandle *board = context.session.board();
    LiveView view(context.output);
    return view.run(watching, [&] {
        const uint32_t inputs = read_word(board, BoardDIRead, "digital inputs");
        const uint32_t outputs = read_word(board, BoardDORead, "digital outputs");
        std::array<Capture, BOARD_IO_CHANNELS> captures;
        for (uint32_t channel = 0; channel < captures.size(); ++channel) {
            captures[channel] = read_latch(board, channel);
        }
        if (context.output.json()) {
            Json latches = Json::array();
            for (const Capture &capture : captures) {
                latches.add(ticks_json(capture));
            }
            view.add(Json::object()
                         .set("seconds", view.seconds())
                         .set("inputs", inputs)
                         .set("outputs", outputs)
                         .set("latches", std::move(latches)));
            return;
        }
        std::vector<std::string> lines = {format("inputs   0x%08x  ", inputs) + bits_text(inputs),
                                          format("outputs  0x%08x  ", outputs) +
                                              bits_text(outputs)};
        for (uint32_t channel = 0; channel < captures.size(); ++channel) {
            lines.push_back(format("latch %u  ", channel) + latch_text(captures[channel]));
        }
        view.show(lines);
    });
}

// ---- raw registers ------------------------------------------------------------------------------

struct Bar1Arguments {
    bool raw = false;
    uint32_t offset = 0;
    std::optional<uint32_t> value;
};

int bar1(Context &context, const Bar1Arguments &arguments) {
    if (!arguments.raw) {
        throw UsageError("this touches a register of the card as it is; say so with --raw");
    }
    if (arguments.offset % 4 != 0) {
        throw UsageError("registers lie at multiples of 4");
    }
    BoardHandle *board = context.session.board();
    if (arguments.value) {
        check(BoardBAR1Write(board, arguments.offset, *arguments.value),
              "cannot write the register");
    }
    uint32_t value = 0;
    check(BoardBAR1Read(board, arguments.offset, &value), "cannot read the register");
    if (context.output.json()) {
        context.output.document(Json::object().set("offset", arguments.offset).set("value", value));
    } else {
        context.output.field(format("0x%03x", arguments.offset).c_str(), format("0x%08x", value));
    }
    return kSuccess;
}

// ---- command line -------------------------------------------------------------------------------

void add_digital(CLI::App &board, Context &context) {
    const auto none = std::make_shared<NoArguments>();
    add_command<NoArguments>(board, context, "di", "Read the digital inputs", none, digital_inputs)
        ->footer(with_global_options("  tarn board di\n"));
    const auto outputs = std::make_shared<OutputArguments>();
    CLI::App *command = add_command<OutputArguments>(
        board, context, "do", "Show or set the digital outputs", outputs, digital_outputs);
    add_number(command, "VALUE", outputs->value, "All outputs at once", "BITS");
    for (auto &[name, list, text] :
         {std::tuple{"--set", &outputs->set, "Outputs to switch on, after VALUE"},
          std::tuple{"--clear", &outputs->clear, "Outputs to switch off, after that"}}) {
        command->add_option(name, *list, text)
            ->type_name("BIT")
            ->check(CLI::Range(0, 31).description(""));
    }
    command->footer(with_global_options("  tarn board do\n"
                                        "  tarn board do 0x0f\n"
                                        "  tarn board do --set 3 --clear 0 1\n"));
}

void add_firmware(CLI::App &board, Context &context) {
    const auto leds = std::make_shared<LedArguments>();
    CLI::App *command = add_command<LedArguments>(board, context, "led", "Set the LEDs", leds, led);
    add_number(command, "FIRST", leds->first, "First value, 16 bits", "N", 0, UINT16_MAX)
        ->required();
    add_number(command, "SECOND", leds->second, "Second value, 16 bits", "N", 0, UINT16_MAX)
        ->required();
    command->footer(with_global_options("  tarn board led 1 0x00ff\n"
                                        "What the values do is the firmware's affair.\n"));

    const auto beat = std::make_shared<NumberArgument>(NumberArgument{500});
    command = add_command<NumberArgument>(board, context, "heartbeat",
                                          "Is the firmware alive, and how fast do its tasks count",
                                          beat, heartbeat);
    add_number(command, "--during-ms", beat->number, "Time to count in", "MS", 1, 60000)
        ->default_str("500");
    command->footer(
        with_global_options("  tarn board heartbeat\n"
                            "Exit status 1 when the firmware is not alive or no counter "
                            "moves. A card that is reset is not\nalive until it is back.\n"));

    const auto time = std::make_shared<TimeArguments>();
    command =
        add_command<TimeArguments>(board, context, "time", "Set the card's clock", time, set_time);
    command
        ->add_option_function<std::string>(
            "--utc",
            [time](const std::string &text) {
                time->utc = parse_signed(text);
                if (!time->utc || *time->utc == 0 || *time->utc > INT64_MAX / 1'000'000'000 ||
                    *time->utc < INT64_MIN / 1'000'000'000) {
                    throw CLI::ValidationError("--utc", "\"" + text + "\" is no time");
                }
            },
            "Seconds since 1970; the time of this computer otherwise")
        ->type_name("SECONDS");
    command->footer(with_global_options("  tarn board time\n"));

    const auto restart = std::make_shared<ResetArguments>();
    command = add_command<ResetArguments>(board, context, "reset",
                                          "Reset the card; its buses end, an update takes effect",
                                          restart, reset);
    add_number(command, "--wait-ms", restart->wait_ms, "How long to wait until it is back", "MS")
        ->default_str(std::to_string(kResetPatienceMs));
    command->footer(with_global_options("  tarn board reset\n"));
}

void add_watch(CLI::App &board, Context &context) {
    const auto watching = std::make_shared<Watching>();
    CLI::App *command =
        add_command<Watching>(board, context, "watch",
                              "Show inputs, outputs and latches as they change", watching, watch);
    add_watching(command, *watching);
    command->footer(with_global_options("  tarn board watch\n"
                                        "  tarn board watch --count 10 --json\n"));
}

void add_bar1(CLI::App &board, Context &context) {
    const auto arguments = std::make_shared<Bar1Arguments>();
    CLI::App *command = add_command<Bar1Arguments>(board, context, "bar1",
                                                   "Read or write a register", arguments, bar1);
    command->add_flag("--raw", arguments->raw, "Yes, I mean it: what a write does nobody checks");
    add_number(command, "OFFSET", arguments->offset, "Byte offset in BAR1", "OFFSET", 0,
               kBar1Size - 4)
        ->required();
    add_number(command, "VALUE", arguments->value, "What to write, 32 bits", "VALUE");
    command->footer(with_global_options("  tarn board bar1 --raw 0x6c\n"
                                        "  tarn board bar1 --raw 0x58 1\n"));
}

} // namespace

void add_board_io_commands(CLI::App &app, Context &context) {
    CLI::App *board =
        app.add_subcommand("board", "Inputs, outputs, latches, timers and clock of the card");
    board->require_subcommand(0, 1);
    add_digital(*board, context);
    add_latch(*board, context);
    add_sequence(*board, context);
    add_timer_commands(*board, context);
    add_firmware(*board, context);
    add_watch(*board, context);
    add_bar1(*board, context);
    board->footer(with_global_options("  tarn board di\n"
                                      "  tarn board do --set 0\n"
                                      "  tarn board pwm 0 --frequency 1000 --duty 50\n"
                                      "  tarn board watch\n"
                                      "tarn board di --help and so on explain the options.\n"));
}

} // namespace tarn
