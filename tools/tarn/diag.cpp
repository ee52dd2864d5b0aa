// tarn diag, tarn lasterror
#include "command.h"
#include "diagnosis.h"
#include "live.h"
#include "slave.h"
#include "terminal.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace tarn {

namespace {

constexpr const char *kRawHint = "this firmware's records are not known to tarn, so they are shown "
                                 "as bytes; its manual explains them";

// ---- diag ---------------------------------------------------------------------------------------

struct DiagArguments {
    bool watch = false;
    Watching watching{1000, 0};
};

std::string coloured(const DiagnosisLine &line, bool colour) {
    if (!colour || line.tone == DiagnosisLine::Tone::Plain) {
        return line.text;
    }
    const char *begin = line.tone == DiagnosisLine::Tone::Good   ? "\x1b[32m"
                        : line.tone == DiagnosisLine::Tone::Past ? "\x1b[33m"
                                                                 : "\x1b[31m";
    return begin + line.text + "\x1b[0m";
}

struct RawPart {
    const char *name;
    const char *key;
    std::vector<uint8_t> RawDiagnosis::*bytes;
    size_t record;
};

constexpr RawPart kRawParts[] = {
    {"master", "master", &RawDiagnosis::master, ECAT_MASTER_DIAGNOSTIC_SIZE},
    {"slave", "slaves", &RawDiagnosis::slaves, ECAT_SLAVE_DIAGNOSTIC_SIZE},
    {"state", "states", &RawDiagnosis::states, sizeof(uint32_t)},
    {"detail", "details", &RawDiagnosis::details, ECAT_SLAVE_DIAGNOSTIC_DETAIL_SIZE},
    {"link", "links", &RawDiagnosis::links, ECAT_SLAVE_LINK_STATUS_SIZE},
    {"link down", "link_down", &RawDiagnosis::link_down, ECAT_LINK_DOWN_PORT_STATUS_SIZE},
};

std::vector<std::vector<uint8_t>> records_of(const RawDiagnosis &raw, const RawPart &part) {
    const std::vector<uint8_t> &bytes = raw.*part.bytes;
    std::vector<std::vector<uint8_t>> records;
    for (size_t at = 0; at + part.record <= bytes.size(); at += part.record) {
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        records.emplace_back(first, first + static_cast<std::ptrdiff_t>(part.record));
    }
    return records;
}

Json raw_json(const RawDiagnosis &raw) {
    Json document = Json::object().set("known", false);
    for (const RawPart &part : kRawParts) {
        Json list = Json::array();
        for (const auto &record : records_of(raw, part)) {
            list.add(hex(record, false));
        }
        document.set(part.key, std::move(list));
    }
    return document;
}

std::vector<std::string> raw_lines(const RawDiagnosis &raw) {
    std::vector<std::string> lines;
    for (const RawPart &part : kRawParts) {
        const auto records = records_of(raw, part);
        for (size_t i = 0; i < records.size(); ++i) {
            const std::string name =
                part.name + std::string(records.size() == 1 ? "" : " " + std::to_string(i));
            lines.push_back(format("%-16s", name.c_str()) + hex(records[i], false));
        }
    }
    return lines;
}

// One look at the bus.
class Look {
  public:
    explicit Look(EcatHandle *channel) : channel_(channel), known_(records_are_known(channel)) {}

    [[nodiscard]] bool known() const { return known_; }

    Json json() {
        return known_ ? diagnosis_json(read_known_diagnosis(channel_, names_))
                      : raw_json(read_diagnosis(channel_));
    }

    std::vector<std::string> lines(bool colour) {
        if (!known_) {
            return raw_lines(read_diagnosis(channel_));
        }
        std::vector<std::string> lines;
        for (const DiagnosisLine &line : diagnosis_lines(read_known_diagnosis(channel_, names_))) {
            lines.push_back(coloured(line, colour));
        }
        return lines;
    }

  private:
    EcatHandle *channel_;
    bool known_;
    std::vector<std::string> names_; // of the slaves, asked for once
};

int watch(Context &context, const Watching &watching, Look &look) {
    LiveView view(context.output);
    return view.run(watching, [&] {
        if (context.output.json()) {
            view.add(look.json().set("seconds", view.seconds()));
        } else {
            view.show(look.lines(false));
        }
    });
}

int diag(Context &context, const DiagArguments &arguments) {
    const Output &output = context.output;
    Look look(context.session.channel());
    if (!look.known()) {
        Output::warning(kRawHint);
    }
    if (arguments.watch) {
        return watch(context, arguments.watching, look);
    }
    if (output.json()) {
        output.document(look.json());
        return kSuccess;
    }
    for (const std::string &line : look.lines(terminal::is_terminal(output.stream()))) {
        output.line(line);
    }
    return kSuccess;
}

// ---- lasterror ----------------------------------------------------------------------------------

struct LastErrorArguments {
    uint32_t count = 10;
};

const char *kind_name(uint16_t kind) {
    constexpr const char *kNames[] = {"configuration", "slave state", "slave lost", "frames lost",
                                      "late cycle",    "link down",   "damaged",    "transition"};
    return kind >= 1 && kind <= std::size(kNames) ? kNames[kind - 1U] : "other";
}

// "2026-11-21 19:37:16.123 UTC", or the time since power-up while the card's clock is not set.
std::string time_text(const VcardErrorRecord &record) {
    constexpr uint64_t kSecond = 1'000'000'000;
    if (record.utc_ns == 0) {
        return format("%.3f s after power-up",
                      static_cast<double>(record.time_ns) / static_cast<double>(kSecond));
    }
    const std::chrono::sys_seconds time{
        std::chrono::seconds(static_cast<int64_t>(record.utc_ns / kSecond))};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    return format("%04d-%02u-%02u %02d:%02d:%02d.%03u UTC", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()),
                  static_cast<unsigned>(record.utc_ns % kSecond / 1'000'000));
}

Json error_json(const VcardErrorRecord &record) {
    const auto number_or_null = [](uint16_t number) {
        return number == UINT16_MAX ? Json() : Json(number);
    };
    return Json::object()
        .set("number", uint32_t{record.number})
        .set("time", time_text(record))
        .set("time_ns", uint64_t{record.time_ns})
        .set("utc_ns", uint64_t{record.utc_ns})
        .set("kind", kind_name(record.kind))
        .set("slave", number_or_null(record.slave))
        .set("port", number_or_null(record.port))
        .set("al_status_code", uint16_t{record.al_status_code})
        .set("status", uint32_t{record.status})
        .set("status_text", DriverGetErrStr(record.status))
        .set("text", record.text);
}

// All that the firmware keeps, as it came.
std::vector<uint8_t> read_errors(EcatHandle *channel) {
    std::vector<uint8_t> data(VCARD_ERROR_RECORDS * sizeof(VcardErrorRecord));
    auto length = static_cast<uint32_t>(data.size());
    check(EcatGetLastError(channel, data.data(), length, &length), "cannot ask for the last error");
    data.resize(std::min<size_t>(length, data.size()));
    return data;
}

std::vector<VcardErrorRecord> records_in(const std::vector<uint8_t> &data) {
    std::vector<VcardErrorRecord> records(data.size() / sizeof(VcardErrorRecord));
    if (!records.empty()) {
        std::memcpy(records.data(), data.data(), records.size() * sizeof(VcardErrorRecord));
    }
    for (VcardErrorRecord &record : records) {
        record.text[sizeof(record.text) - 1] = '\0';
    }
    return records;
}

void print_errors(const Output &output, const std::vector<VcardErrorRecord> &records) {
    if (records.empty()) {
        output.line("no error since the card was switched on");
    }
    for (const VcardErrorRecord &record : records) {
        output.line(std::to_string(record.number) + "  " + time_text(record) + "  " +
                    printable(record.text));
        if (record.status != 0) {
            const std::string hint = hint_of(record.status);
            output.line("   " + status_text(record.status) + (hint.empty() ? "" : "; " + hint));
        }
    }
}

int last_error(Context &context, const LastErrorArguments &arguments) {
    EcatHandle *channel = context.session.channel();
    const Output &output = context.output;
    const bool known = records_are_known(channel);
    const std::vector<uint8_t> data = read_errors(channel);
    if (!known) {
        Output::warning(kRawHint);
        if (output.json()) {
            output.document(Json::object().set("known", false).set("hex", hex(data, false)));
        } else {
            output.text(hex_dump(0, data, 4));
        }
        return kSuccess;
    }
    std::vector<VcardErrorRecord> records = records_in(data);
    if (arguments.count != 0 && records.size() > arguments.count) {
        records.resize(arguments.count);
    }
    if (!output.json()) {
        print_errors(output, records);
        return kSuccess;
    }
    Json list = Json::array();
    for (const VcardErrorRecord &record : records) {
        list.add(error_json(record));
    }
    output.document(Json::object().set("known", true).set("errors", std::move(list)));
    return kSuccess;
}

} // namespace

void add_diagnosis_commands(CLI::App &app, Context &context) {
    const auto diag_arguments = std::make_shared<DiagArguments>();
    CLI::App *command = add_command<DiagArguments>(app, context, "diag",
                                                   "Show how the bus does: links, errors, "
                                                   "cycle, clocks",
                                                   diag_arguments, diag);
    CLI::Option *watch =
        command->add_flag("--watch", diag_arguments->watch, "Show it as it changes");
    add_watching(command, diag_arguments->watching);
    for (const char *option : {"--interval-ms", "--count"}) {
        command->get_option(option)->needs(watch);
    }
    command->footer(with_global_options(
        "  tarn diag\n"
        "  tarn diag --watch\n"
        "  tarn diag --json\n"
        "One line per slave; branches of the line are set in:\n"
        "  Ports 0..3  what hangs on each port: a slave, the master, - for nothing, DOWN for a "
        "link that\n              should be there\n"
        "  CRC         damaged frames, per port when there are any\n"
        "  Links lost  times that the link went down, per port\n"
        "  Lost        times that the slave stopped answering\n"
        "  WKC         cycles in which it did not do its part\n"
        "  Changes     changes of its state\n"
        "  DC ns       its clock minus the reference clock\n"
        "Counters begin with the start of the bus. On a terminal, without --watch, what is wrong "
        "is red,\nwhat was wrong is yellow, and slaves in OP are green.\n"));

    const auto error_arguments = std::make_shared<LastErrorArguments>();
    command = add_command<LastErrorArguments>(app, context, "lasterror",
                                              "Show the errors that the firmware has noted",
                                              error_arguments, last_error);
    add_number(command, "--count", error_arguments->count, "The newest so many, 0: all it keeps",
               "N")
        ->default_str("10");
    command->footer(with_global_options("  tarn lasterror\n"
                                        "  tarn lasterror --count 1 --json\n"
                                        "Newest first. They stay until the card is reset.\n"));
}

} // namespace tarn
