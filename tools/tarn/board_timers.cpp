// tarn board pwm|pulse
#include "board.h"

#include <cinttypes>

namespace tarn {

namespace {

constexpr uint32_t kDutyMax = 100;

// Which of the outputs are on; the bits of one.
constexpr uint32_t kOutputEnable = 0x54; // register
constexpr uint32_t pwm_bits(uint32_t channel) {
    return uint32_t{1} << channel;
}
constexpr uint32_t pulse_bits(uint32_t channel) {
    return uint32_t{0xC000} >> 2 * channel;
}

bool is_on(BoardHandle *board, uint32_t bits) {
    uint32_t enabled = 0;
    check(BoardBAR1Read(board, kOutputEnable, &enabled), "cannot read which outputs are on");
    return (enabled & bits) == bits;
}

// Times of a timer, as the card makes them: whole ticks of 8 ns.
std::string timer_text(bool on, uint32_t frequency_hz, uint32_t duty) {
    if (frequency_hz == 0) {
        return on ? "on, 0 Hz" : "off, 0 Hz";
    }
    const uint32_t period = BOARD_TIMER_HZ / frequency_hz;
    return format("%s, %u Hz, %u %%, period %u ticks (%" PRIu64 " ns)", on ? "on" : "off",
                  frequency_hz, duty, period, uint64_t{period} * 8);
}

Json timer_json(uint32_t channel, bool on, uint32_t frequency_hz, uint32_t duty) {
    return Json::object()
        .set("channel", channel)
        .set("on", on)
        .set("frequency_hz", frequency_hz)
        .set("duty_percent", duty)
        .set("tick_hz", BOARD_TIMER_HZ);
}

// The library reckons in 32 bits; what does not fit would come out as something else.
void check_timer(uint32_t frequency_hz, uint32_t duty) {
    const uint64_t period = frequency_hz == 0 ? 0 : BOARD_TIMER_HZ / frequency_hz;
    if (period * duty > UINT32_MAX) {
        throw UsageError(
            format("%u %% at %u Hz do not fit the card's timer; at 1 Hz at most 34 %%, "
                   "at 2 Hz at most 68 %%",
                   duty, frequency_hz));
    }
}

struct TimerArguments {
    std::optional<uint32_t> channel;
    std::optional<uint32_t> frequency;
    std::optional<uint32_t> duty;
    std::optional<uint32_t> first;
    std::optional<uint32_t> second;
    std::optional<uint32_t> flag;
    std::optional<uint32_t> count;
    bool stop = false;

    [[nodiscard]] bool configures() const { return frequency || duty || first || second || flag; }
    [[nodiscard]] bool changes() const { return configures() || count || stop; }
};

void need_channel(const TimerArguments &arguments) {
    if (!arguments.channel) {
        throw UsageError("which channel, 0 to 3?");
    }
}

template <typename Show>
void show_channels(const Output &output, const std::optional<uint32_t> &channel, Show show) {
    Json list = Json::array();
    for (uint32_t i = channel.value_or(0); i <= channel.value_or(BOARD_IO_CHANNELS - 1); ++i) {
        show(i, list);
    }
    if (output.json()) {
        output.document(list);
    }
}

// ---- PWM ----------------------------------------------------------------------------------------

void show_pwm(Context &context, const std::optional<uint32_t> &channel) {
    BoardHandle *board = context.session.board();
    show_channels(context.output, channel, [&](uint32_t i, Json &list) {
        uint32_t frequency = 0;
        uint32_t duty = 0;
        check(BoardPWMGetConfig(board, i, &frequency, &duty), "cannot read the PWM output");
        const bool on = is_on(board, pwm_bits(i));
        if (context.output.json()) {
            list.add(timer_json(i, on, frequency, duty));
        } else {
            context.output.field(format("pwm %u", i).c_str(), timer_text(on, frequency, duty));
        }
    });
}

int pwm(Context &context, const TimerArguments &arguments) {
    if (arguments.frequency.has_value() != arguments.duty.has_value()) {
        throw UsageError("a PWM output needs both --frequency and --duty");
    }
    if (arguments.frequency) {
        check_timer(*arguments.frequency, *arguments.duty);
    }
    if (arguments.changes()) {
        need_channel(arguments);
    }
    BoardHandle *board = context.session.board();
    if (arguments.stop) {
        check(BoardPWMStop(board, *arguments.channel), "cannot stop the PWM output");
    } else if (arguments.frequency) {
        check(BoardPWMOutput(board, *arguments.channel, *arguments.frequency,
                             static_cast<int32_t>(*arguments.duty)),
              "cannot start the PWM output");
    }
    show_pwm(context, arguments.channel);
    return kSuccess;
}

// ---- pulses -------------------------------------------------------------------------------------

struct PulseConfig {
    uint32_t first = 0;
    int32_t flag = 0;
    uint32_t second = 0;
    uint32_t frequency = 0;
    uint32_t duty = 0;
};

PulseConfig read_pulse(BoardHandle *board, uint32_t channel) {
    PulseConfig config;
    check(BoardPulseGetConfig(board, channel, &config.first, &config.flag, &config.second,
                              &config.frequency, &config.duty),
          "cannot read the pulse output");
    return config;
}

void show_pulses(Context &context, const std::optional<uint32_t> &channel) {
    BoardHandle *board = context.session.board();
    show_channels(context.output, channel, [&](uint32_t i, Json &list) {
        const PulseConfig config = read_pulse(board, i);
        const bool on = is_on(board, pulse_bits(i));
        if (context.output.json()) {
            list.add(timer_json(i, on, config.frequency, config.duty)
                         .set("first", config.first)
                         .set("flag", config.flag != 0)
                         .set("second", config.second));
        } else {
            context.output.field(format("pulse %u", i).c_str(),
                                 timer_text(on, config.frequency, config.duty) +
                                     format(", settings 0x%x 0x%x, flag %d", config.first,
                                            config.second, config.flag != 0 ? 1 : 0));
        }
    });
}

void configure_pulse(BoardHandle *board, const TimerArguments &arguments) {
    const PulseConfig now = read_pulse(board, *arguments.channel);
    const uint32_t frequency = arguments.frequency.value_or(now.frequency);
    const uint32_t duty = arguments.duty.value_or(now.duty);
    check_timer(frequency, duty);
    check(BoardPulseConfig(board, *arguments.channel, arguments.first.value_or(now.first),
                           arguments.flag ? static_cast<int32_t>(*arguments.flag) : now.flag,
                           arguments.second.value_or(now.second), frequency, duty),
          "cannot set up the pulse output");
}

int pulse(Context &context, const TimerArguments &arguments) {
    if (arguments.changes()) {
        need_channel(arguments);
    }
    if (arguments.frequency && arguments.duty) {
        check_timer(*arguments.frequency, *arguments.duty);
    }
    BoardHandle *board = context.session.board();
    if (arguments.stop) {
        check(BoardPulseStop(board, *arguments.channel), "cannot stop the pulse output");
    }
    if (arguments.configures()) {
        configure_pulse(board, arguments);
    }
    if (arguments.count) {
        check(BoardPulseOutput(board, *arguments.channel, *arguments.count),
              "cannot start the pulses");
    }
    show_pulses(context, arguments.channel);
    return kSuccess;
}

// ---- command line -------------------------------------------------------------------------------

void add_timer_options(CLI::App *command, TimerArguments &arguments) {
    add_number(command, "CHANNEL", arguments.channel, "Channel; all without it", "0..3", 0,
               BOARD_IO_CHANNELS - 1);
    add_number(command, "--frequency", arguments.frequency, "Frequency", "HZ", 0, BOARD_TIMER_HZ);
    add_number(command, "--duty", arguments.duty, "High time in percent of the period", "PERCENT",
               0, kDutyMax);
    command->add_flag("--stop", arguments.stop, "Switch the output off; its settings stay");
}

// Only when all options are there.
void let_stop_stand_alone(CLI::App *command) {
    CLI::Option *stop = command->get_option("--stop");
    for (CLI::Option *option : command->get_options()) {
        if (option != stop && !option->get_positional() && option != command->get_help_ptr()) {
            stop->excludes(option);
        }
    }
}

} // namespace

void add_timer_commands(CLI::App &board, Context &context) {
    const auto pwm_arguments = std::make_shared<TimerArguments>();
    CLI::App *command = add_command<TimerArguments>(
        board, context, "pwm", "Show, start or stop PWM outputs", pwm_arguments, pwm);
    add_timer_options(command, *pwm_arguments);
    let_stop_stand_alone(command);
    command->footer(with_global_options("  tarn board pwm\n"
                                        "  tarn board pwm 0 --frequency 1000 --duty 50\n"
                                        "  tarn board pwm 0 --stop\n"
                                        "Times are rounded down to ticks of 8 ns.\n"));

    const auto pulse_arguments = std::make_shared<TimerArguments>();
    command = add_command<TimerArguments>(board, context, "pulse",
                                          "Show, set up, start or stop pulse outputs",
                                          pulse_arguments, pulse);
    add_timer_options(command, *pulse_arguments);
    add_number(command, "--first", pulse_arguments->first, "First setting word", "N");
    add_number(command, "--second", pulse_arguments->second, "Second setting word", "N");
    add_number(command, "--flag", pulse_arguments->flag, "Flag of the output", "0|1", 0, 1);
    add_number(command, "--count", pulse_arguments->count, "Start that many pulses", "N");
    let_stop_stand_alone(command);
    command->footer(with_global_options("  tarn board pulse 1 --frequency 2000 --duty 50 --count "
                                        "100\n"
                                        "  tarn board pulse 1 --stop\n"
                                        "Settings that are not given stay as they are, as far as "
                                        "whole Hz and percent show them.\n"));
}

} // namespace tarn
