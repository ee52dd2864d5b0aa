// tarn watchdog config, enable, start, stop, query, feed
#include "diagnosis.h"
#include "live.h"
#include "slave.h"
#include "slave_service.h"
#include "terminal.h"
#include "values.h"

#include <tarn_vcard/records.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

namespace tarn {

namespace {

constexpr uint32_t kQueryBytes = 4096; // an image
constexpr double kLongestFeedS = 1e6;

// "0A0B0C", also in several words and with 0x in front.
std::vector<uint8_t> parse_hex(const std::vector<std::string> &words) {
    std::string digits;
    for (const std::string &word : words) {
        const bool prefix = word.starts_with("0x") || word.starts_with("0X");
        digits += prefix ? word.substr(2) : word;
    }
    return parse_hex_bytes(digits);
}

void tell(Context &context, const std::string &text, Json json) {
    if (context.output.json()) {
        context.output.document(json);
    } else {
        context.output.line(text);
    }
}

// ---- config, enable, start, stop ----------------------------------------------------------------

struct ConfigArguments {
    SlaveChoice slave;
    std::vector<std::string> data;
    std::string mask;
};

int config(Context &context, const ConfigArguments &arguments) {
    const std::vector<uint8_t> data = parse_hex(arguments.data);
    std::vector<uint8_t> mask;
    if (!arguments.mask.empty()) {
        mask = parse_hex({arguments.mask});
        if (mask.size() != data.size()) {
            throw UsageError("--mask has " + counted(mask.size(), "byte") + ", the data " +
                             counted(data.size(), "byte"));
        }
    }
    check(EcatPIWatchDogConfig(context.session.channel(), arguments.slave.position, 0,
                               mask.empty() ? nullptr : mask.data(), data.data(),
                               static_cast<uint32_t>(data.size())),
          "cannot set the safe data of " + arguments.slave.text());
    Json json = Json::object()
                    .set("slave", arguments.slave.position)
                    .set("safe_data", hex(data, false))
                    .set("mask", mask.empty() ? Json() : Json(hex(mask, false)));
    tell(context,
         "Safe data of " + arguments.slave.text() + ": " + hex(data, true) +
             (mask.empty() ? "" : ", mask " + hex(mask, true)),
         std::move(json));
    return kSuccess;
}

struct EnableArguments {
    std::string flag;
};

int enable(Context &context, const EnableArguments &arguments) {
    const bool on = arguments.flag == "on";
    check(EcatPIWatchDogEnable(context.session.channel(), on ? 1 : 0),
          std::string("cannot switch the watchdog ") + arguments.flag);
    tell(context, "Watchdog " + arguments.flag, Json::object().set("enabled", on));
    return kSuccess;
}

struct StartArguments {
    uint32_t value = 0;
    std::string text;
};

int start(Context &context, const StartArguments &arguments) {
    check(EcatPIWatchDogStart(context.session.channel(), arguments.value, arguments.text.c_str()),
          "cannot start the watchdog");
    tell(context, "Watchdog started with " + std::to_string(arguments.value),
         Json::object()
             .set("started", true)
             .set("value", arguments.value)
             .set("text", arguments.text));
    return kSuccess;
}

int stop(Context &context, const NoArguments &) {
    check(EcatPIWatchDogStop(context.session.channel()), "cannot stop the watchdog");
    tell(context, "Watchdog stopped", Json::object().set("started", false));
    return kSuccess;
}

// ---- query --------------------------------------------------------------------------------------

struct Answer {
    uint32_t first = 0;
    uint32_t second = 0;
    std::vector<uint8_t> data;
    std::vector<uint8_t> mask;
};

Answer ask(EcatHandle *channel, const SlaveChoice &slave) {
    Answer answer;
    answer.data.resize(kQueryBytes);
    answer.mask.resize(kQueryBytes);
    uint32_t length = kQueryBytes;
    check(EcatPIWatchDogQuery(channel, slave.position, &answer.first, &answer.second,
                              answer.data.data(), answer.mask.data(), &length),
          "cannot ask for the watchdog of " + slave.text());
    length = std::min(length, kQueryBytes);
    answer.data.resize(length);
    answer.mask.resize(length);
    return answer;
}

constexpr struct {
    uint32_t bit;
    const char *name;
} kFlags[] = {
    {VCARD_WATCHDOG_CONFIGURED, "configured"}, {VCARD_WATCHDOG_MASKED, "masked"},
    {VCARD_WATCHDOG_ENABLED, "enabled"},       {VCARD_WATCHDOG_STARTED, "started"},
    {VCARD_WATCHDOG_WATCHING, "watching"},     {VCARD_WATCHDOG_EXPIRED, "expired"},
    {VCARD_WATCHDOG_HOLDS, "holds"},
};

std::string flag_text(uint32_t flags) {
    std::string text;
    for (const auto &flag : kFlags) {
        if ((flags & flag.bit) != 0) {
            text += (text.empty() ? "" : ", ") + std::string(flag.name);
        }
    }
    return text.empty() ? "nothing configured" : text;
}

Json answer_json(const Answer &answer, const SlaveChoice &slave, bool known) {
    Json json = Json::object()
                    .set("slave", slave.position)
                    .set("first_status", answer.first)
                    .set("second_status", answer.second);
    if (known) {
        Json flags = Json::object();
        for (const auto &flag : kFlags) {
            flags.set(flag.name, (answer.first & flag.bit) != 0);
        }
        json.set("flags", std::move(flags)).set("expirations", answer.second);
    }
    return std::move(json.set("first_block", hex(answer.data, false))
                         .set("second_block", hex(answer.mask, false)));
}

int query(Context &context, const SlaveChoice &slave) {
    EcatHandle *channel = context.session.channel();
    const Answer answer = ask(channel, slave);
    const bool known = records_are_known(channel);
    const Output &output = context.output;
    if (output.json()) {
        output.document(answer_json(answer, slave, known));
        return kSuccess;
    }
    output.field("status",
                 format("0x%08x", answer.first) + (known ? " " + flag_text(answer.first) : ""));
    output.field(known ? "expired" : "second status",
                 known ? counted(answer.second, "time") + " since the start of the bus"
                       : std::to_string(answer.second));
    const auto block = [](const std::vector<uint8_t> &bytes) {
        return bytes.empty() ? "none" : hex(bytes, true);
    };
    output.field(known ? "safe data" : "first block", block(answer.data));
    output.field(known ? "mask" : "second block", block(answer.mask));
    return kSuccess;
}

// ---- feed ---------------------------------------------------------------------------------------

struct FeedArguments {
    uint32_t every_ms = 0; // 0: once
    double for_s = 0;      // 0: until Ctrl-C
};

uint64_t feed_on(EcatHandle *channel, const FeedArguments &arguments) {
    terminal::catch_interrupt();
    if (arguments.for_s <= 0) {
        std::fprintf(stderr, "feeding every %u ms until Ctrl-C\n", arguments.every_ms);
        std::fflush(stderr);
    }
    const auto start = std::chrono::steady_clock::now();
    // How long it goes on, in milliseconds.
    const auto rest_ms = [&] {
        const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
        return arguments.for_s > 0 ? 1000 * (arguments.for_s - passed.count())
                                   : std::numeric_limits<double>::infinity();
    };
    uint64_t count = 0;
    do {
        check(EcatPIWatchDogFeed(channel), "cannot feed the watchdog");
        ++count;
        const double pause = std::clamp<double>(std::ceil(rest_ms()), 0, arguments.every_ms);
        pause_for(static_cast<uint32_t>(pause));
    } while (!terminal::interrupted() && rest_ms() > 0);
    return count;
}

// What the watchdog does when this program feeds it no more: flags of the whole channel, told about
// any slave that has outputs. Nothing when the firmware does not say.
std::optional<uint32_t> watchdog_flags(EcatHandle *channel) {
    const uint16_t slaves = records_are_known(channel) ? slave_count(channel) : uint16_t{0};
    for (uint16_t slave = 0; slave < slaves; ++slave) {
        uint32_t flags = 0;
        uint32_t second = 0;
        uint32_t length = kQueryBytes;
        const uint32_t status =
            EcatPIWatchDogQuery(channel, slave, &flags, &second, nullptr, nullptr, &length);
        if (status == PCI_TARN_OK) {
            return flags;
        }
        if (no_answer(status)) {
            break;
        }
    }
    return std::nullopt;
}

std::string aftermath(std::optional<uint32_t> flags) {
    if (!flags) {
        return "If the watchdog is started, the card brings the safe data when no program feeds it "
               "on; tarn watchdog stop ends that";
    }
    return (*flags & VCARD_WATCHDOG_EXPIRED) != 0
               ? "The watchdog has expired: the outputs have the safe data"
           : (*flags & VCARD_WATCHDOG_WATCHING) != 0
               ? "The watchdog goes on watching: the card brings the safe data when no program "
                 "feeds it on; tarn watchdog stop ends that"
               : "The watchdog is not watching, the outputs stay as they are";
}

int feed(Context &context, const FeedArguments &arguments) {
    if (arguments.for_s > 0 && arguments.every_ms == 0) {
        throw UsageError("--for needs --every");
    }
    EcatHandle *channel = context.session.channel();
    if (arguments.every_ms == 0) {
        check(EcatPIWatchDogFeed(channel), "cannot feed the watchdog");
        tell(context, "Watchdog fed 1 time", Json::object().set("fed", 1));
        return kSuccess;
    }
    const uint64_t count = feed_on(channel, arguments);
    const std::optional<uint32_t> flags = watchdog_flags(channel);
    Json json = Json::object()
                    .set("fed", count)
                    .set("interrupted", terminal::interrupted())
                    .set("watching", flags ? Json((*flags & VCARD_WATCHDOG_WATCHING) != 0) : Json())
                    .set("expired", flags ? Json((*flags & VCARD_WATCHDOG_EXPIRED) != 0) : Json());
    tell(context, "Watchdog fed " + counted(count, "time") + "\n" + aftermath(flags),
         std::move(json));
    return kSuccess;
}

// ---- command line -------------------------------------------------------------------------------

void add_configuration(CLI::App &watchdog, Context &context) {
    const auto arguments = std::make_shared<ConfigArguments>();
    CLI::App *command = add_command<ConfigArguments>(
        watchdog, context, "config", "Set what a slave's outputs become when the host falls silent",
        arguments, config);
    add_slave(command, arguments->slave);
    command->add_option("HEX", arguments->data, "Safe data, bytes of two digits")->required();
    command->add_option("--mask", arguments->mask, "Bits of the data that count; all without it")
        ->type_name("HEX");
    command->footer(with_global_options("  tarn watchdog config 2 0000\n"
                                        "  tarn watchdog config 2 00ff --mask 00ff\n"));

    const auto flag = std::make_shared<EnableArguments>();
    CLI::App *enable_command = add_command<EnableArguments>(
        watchdog, context, "enable", "Switch the watchdog on or off", flag, enable);
    enable_command->add_option("FLAG", flag->flag, "on or off")
        ->required()
        ->check(CLI::IsMember({"on", "off"}));
    enable_command->footer(with_global_options("  tarn watchdog enable on\n"));
}

void add_running(CLI::App &watchdog, Context &context) {
    const auto arguments = std::make_shared<StartArguments>();
    CLI::App *command = add_command<StartArguments>(watchdog, context, "start",
                                                    "Start watching the host", arguments, start);
    add_number(command, "VALUE", arguments->value, "Time-out in milliseconds on the virtual card",
               "VALUE")
        ->required();
    command->add_option("TEXT", arguments->text, "Text for the firmware");
    command->footer(with_global_options(
        "  tarn watchdog start 500\n"
        "  tarn watchdog start 500 hold\n"
        "What value and text mean is up to the firmware. On the virtual card the value is the "
        "time-out\n"
        "in milliseconds, and with the text \"hold\" the safe data stays until the watchdog is "
        "stopped\n"
        "or started again.\n"));
    add_command<NoArguments>(watchdog, context, "stop", "Stop watching the host",
                             std::make_shared<NoArguments>(), stop)
        ->footer(with_global_options("  tarn watchdog stop\n"));
}

void add_query_and_feed(CLI::App &watchdog, Context &context) {
    const auto slave = std::make_shared<SlaveChoice>();
    CLI::App *query_command =
        add_command<SlaveChoice>(watchdog, context, "query",
                                 "Show what the card's watchdog holds for a slave", slave, query);
    add_slave(query_command, *slave);
    query_command->footer(with_global_options("  tarn watchdog query 2\n"));

    const auto arguments = std::make_shared<FeedArguments>();
    CLI::App *command = add_command<FeedArguments>(
        watchdog, context, "feed", "Tell the watchdog that the host is alive", arguments, feed);
    add_number(command, "--every", arguments->every_ms, "Feed again and again, so often", "MS", 1);
    add_seconds(command, "--for", arguments->for_s, "For so long; without it until Ctrl-C", 0.001,
                kLongestFeedS);
    command->footer(with_global_options(
        "  tarn watchdog feed\n"
        "  tarn watchdog feed --every 100 --for 10\n"
        "Each read or write of the process image feeds the watchdog as well, in whatever "
        "program.\n"
        "At the end of --every, also by Ctrl-C, it says what the watchdog does from then on.\n"));
}

} // namespace

void add_watchdog_commands(CLI::App &app, Context &context) {
    CLI::App *watchdog = app.add_subcommand(
        "watchdog", "Safe outputs for when no program serves the process image any more");
    watchdog->require_subcommand(0, 1);
    watchdog->footer(
        with_global_options("  tarn watchdog config 2 0000\n"
                            "  tarn watchdog enable on\n"
                            "  tarn watchdog start 500\n"
                            "  tarn watchdog feed --every 100\n"
                            "tarn watchdog config --help and so on explain the options.\n"));
    add_configuration(*watchdog, context);
    add_running(*watchdog, context);
    add_query_and_feed(*watchdog, context);
}

} // namespace tarn
