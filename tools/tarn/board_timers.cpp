// tarn board pwm|pulse
#include "board.h"

#include <cinttypes>

namespace tarn {

namespace {

constexpr uint32_t kDutyMax = 100;

// Times of a timer, as the card makes them: whole ticks of 8 ns.
std::string timer_text(uint32_t frequency_hz, uint32_t duty) {
    if (frequency_hz == 0) {
        return "0 Hz";
    }
    const uint32_t period = BOARD_TIMER_HZ / frequency_hz;
    return format("%u Hz, %u %%, period %u ticks (%" PRIu64 " ns)", frequency_hz, duty, period,
                  uint64_t{period} * 8);
}

Json timer_json(uint32_t channel, uint32_t frequency_hz, uint32_t duty) {
    return Json::object()
        .set("channel", channel)
        .set("frequency_hz", frequency_hz)
        .set("duty_percent", duty)
        .set("tick_hz", BOARD_TIMER_HZ);
}

// The times are reckoned in 32 bits on the card's side of the interface; what does not fit would
// come out as something else.
void check_timer(uint32_t frequency_hz, uint32_t duty) {
    const uint64_t period = frequency_hz == 0 ? 0 : BOARD_TIMER_HZ / frequency_hz;
    if (period * duty > UINT32_MAX) {
        throw UsageError(
            format("%u %% at %u Hz do not fit the card's timer; at 1 Hz at most 34 %%, "
                   "at 2 Hz at most 68 %%",
                   duty, frequency_hz));
    }
    if (frequency_hz > BOARD_TIMER_HZ) {
        throw UsageError("the timers count at " + std::to_string(BOARD_TIMER_HZ) + " Hz");
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
};

uint32_t need_channel(const TimerArguments &arguments) {
    if (!arguments.channel) {
        throw UsageError("which channel, 0 to 3?");
    }
    return *arguments.channel;
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
        if (context.output.json()) {
            list.add(timer_json(i, frequency, duty));
        } else {
            context.output.field(format("pwm %u", i).c_str(), timer_text(frequency, duty));
        }
    });
}

int pwm(Context &context, const TimerArguments &arguments) {
    BoardHandle *board = context.session.board();
    if (arguments.stop) {
        check(BoardPWMStop(board, need_channel(arguments)), "cannot stop the PWM output");
    } else if (arguments.frequency || arguments.duty) {
        if (!arguments.frequency || !arguments.duty) {
            throw UsageError("a PWM output needs both --frequency and --duty");
        }
        check_timer(*arguments.frequency, *arguments.duty);
        check(BoardPWMOutput(board, need_channel(arguments), *arguments.frequency,
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
        if (context.output.json()) {
            list.add(timer_json(i, config.frequency, config.duty)
                         .set("first", config.first)
                         .set("flag", config.flag != 0)
                         .set("second", config.second));
        } else {
            context.output.field(format("pulse %u", i).c_str(),
                                 timer_text(config.frequency, config.duty) +
                                     format(", settings 0x%x 0x%x, flag %d", config.first,
                                            config.second, config.flag != 0 ? 1 : 0));
        }
    });
}

bool configures(const TimerArguments &arguments) {
    return arguments.frequency || arguments.duty || arguments.first || arguments.second ||
           arguments.flag;
}

int pulse(Context &context, const TimerArguments &arguments) {
    BoardHandle *board = context.session.board();
    if (arguments.stop) {
        check(BoardPulseStop(board, need_channel(arguments)), "cannot stop the pulse output");
    } else if (configures(arguments)) {
        const uint32_t channel = need_channel(arguments);
        const PulseConfig now = read_pulse(board, channel);
        const uint32_t frequency = arguments.frequency.value_or(now.frequency);
        const uint32_t duty = arguments.duty.value_or(now.duty);
        check_timer(frequency, duty);
        check(BoardPulseConfig(board, channel, arguments.first.value_or(now.first),
                               arguments.flag ? static_cast<int32_t>(*arguments.flag) : now.flag,
                               arguments.second.value_or(now.second), frequency, duty),
              "cannot set up the pulse output");
    }
    if (arguments.count && !arguments.stop) {
        check(BoardPulseOutput(board, need_channel(arguments), *arguments.count),
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

} // namespace

void add_timer_commands(CLI::App &board, Context &context) {
    const auto pwm_arguments = std::make_shared<TimerArguments>();
    CLI::App *command = add_command<TimerArguments>(
        board, context, "pwm", "Show, start or stop PWM outputs", pwm_arguments, pwm);
    add_timer_options(command, *pwm_arguments);
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
    command->footer(with_global_options("  tarn board pulse 1 --frequency 2000 --duty 50 --count "
                                        "100\n"
                                        "  tarn board pulse 1 --stop\n"
                                        "Settings that are not given stay as they are, as far as "
                                        "whole Hz and percent show them.\n"));
}

} // namespace tarn
