// tarn cyclic
#include "access_mode.h"
#include "cycle_series.h"
#include "diagnosis.h"
#include "host_file.h"
#include "image.h"
#include "progress.h"
#include "realtime.h"
#include "terminal.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace tarn {

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kWaitMs = 3000; // longer than any cycle, even a late one
constexpr double kLongestRunS = 3600;
constexpr size_t kMostSamples = 40'000'000;
constexpr unsigned kHistogramWidth = 40;

struct Arguments {
    std::string mode = "cycle";
    double duration_s = 5;
    bool fallback = false;
    std::string csv;
};

// ---- the bus's own account ----------------------------------------------------------------------

// What the firmware counts, as far as its records are known.
struct BusCount {
    bool known = false;
    VcardMasterDiagnostics record{};
};

BusCount read_bus(EcatHandle *channel) {
    BusCount bus;
    bus.known = records_are_known(channel);
    if (bus.known) {
        static_assert(sizeof(bus.record) == ECAT_MASTER_DIAGNOSTIC_SIZE);
        check(EcatGetDiagnostics(channel, reinterpret_cast<uint8_t *>(&bus.record), 0, nullptr,
                                 nullptr),
              "cannot ask for the diagnostics");
    }
    return bus;
}

// ---- running ------------------------------------------------------------------------------------

struct Run {
    const AccessMode *mode = nullptr;
    bool fell_back = false;
    std::vector<uint64_t> times; // of the wake-ups, in nanoseconds
    BusCount before;
    BusCount after;
    std::optional<Failure> trouble; // that ended it too early
};

uint64_t now_ns() {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
            .count());
}

const AccessMode &choose_mode(const Arguments &arguments, bool &fell_back) {
    const AccessMode &wanted = parse_access_mode(arguments.mode);
    fell_back = false;
    if (wanted.mode != ECAT_PI_MODE_CYCLE || !arguments.fallback || try_realtime().runs) {
        return wanted;
    }
    fell_back = true;
    Output::warning(std::string(no_realtime().reason()) + "; going on in the mode direct");
    return parse_access_mode("direct");
}

// What a control loop does in each cycle, as far as it changes nothing on the machine. It is the
// time that counts; what a slave has to say stays with tarn pi read.
void read_inputs(EcatHandle *channel, const AccessMode &mode, std::vector<uint8_t> &inputs) {
    if (mode.mode == ECAT_PI_MODE_MANUAL) {
        EcatPIASyncUpdateData(channel, ECAT_PI_SHADOW_INPUT);
    }
    EcatPIRead(channel, ECAT_PI_SHADOW_INPUT, 0, static_cast<uint32_t>(inputs.size()),
               inputs.data());
}

void run_cycles(EcatHandle *channel, const Arguments &arguments, Run &run) {
    EniInfo info{};
    check(EcatGetEniInfo(channel, &info), "cannot ask for the image lengths");
    std::vector<uint8_t> inputs(info.input_length);
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(arguments.duration_s));
    while (!terminal::interrupted() && Clock::now() < end && run.times.size() < kMostSamples) {
        const uint32_t status = EcatPIInputWaitNotify(channel, kWaitMs);
        if (status != PCI_TARN_OK) {
            run.trouble =
                Failure(status, "no bus cycle came within " + std::to_string(kWaitMs) + " ms",
                        "does the bus run (tarn status)?");
            return;
        }
        run.times.push_back(now_ns());
        read_inputs(channel, *run.mode, inputs);
    }
}

Run run_all(Context &context, const Arguments &arguments) {
    EcatHandle *channel = context.session.channel();
    Run run;
    run.mode = &choose_mode(arguments, run.fell_back);
    run.before = read_bus(channel);
    const double cycle_ns = run.before.record.cycle_time_ns;
    if (cycle_ns > 0) {
        const double expected = arguments.duration_s * 1e9 / cycle_ns * 1.1 + 1000;
        run.times.reserve(std::min(static_cast<size_t>(expected), kMostSamples));
    }
    set_access_mode(channel, *run.mode);
    terminal::catch_interrupt();
    // Tells nothing in between: that would disturb what is measured.
    Progress progress("Measuring", context.output.json());
    progress.show(0);
    run_cycles(channel, arguments, run);
    if (run.trouble && run.times.empty()) {
        throw *run.trouble;
    }
    progress.show(1);
    if (!run.trouble) {
        run.after = read_bus(channel);
    }
    return run;
}

// ---- what it says -------------------------------------------------------------------------------

struct Findings {
    double cycle_us = 0;
    CycleSeries series;
    std::vector<double> latencies;
    std::vector<double> periods;
    std::vector<double> jitters; // difference of the periods from the cycle, without sign
};

Findings judge(const Run &run) {
    Findings findings;
    findings.cycle_us = run.before.record.cycle_time_ns > 0
                            ? run.before.record.cycle_time_ns / 1000.0
                            : median_period_us(run.times);
    findings.series = cycle_series(run.times, findings.cycle_us);
    for (const CycleSample &sample : findings.series.samples) {
        findings.latencies.push_back(sample.latency_us);
        if (&sample != &findings.series.samples.front()) {
            findings.periods.push_back(sample.period_us);
            findings.jitters.push_back(std::abs(sample.period_us - findings.cycle_us));
        }
    }
    return findings;
}

// By value: the numbers of a record are not aligned.
uint64_t increase(uint64_t after, uint64_t before) {
    return after - std::min(after, before);
}

uint64_t bus_cycles(const Run &run) {
    return increase(run.after.record.cycles, run.before.record.cycles);
}

uint64_t late_bus_cycles(const Run &run) {
    return increase(run.after.record.late_cycles, run.before.record.late_cycles);
}

// Cycles of the bus that did not wake this program. A gap in which the bus itself began no cycle is
// not the program's; the bus's count alone holds some cycles from before and after the measurement.
uint64_t missed_by_program(const Run &run, const Findings &findings) {
    if (!run.after.known) {
        return findings.series.missed;
    }
    const uint64_t cycles = bus_cycles(run);
    return std::min<uint64_t>(findings.series.missed,
                              cycles - std::min<uint64_t>(cycles, run.times.size()));
}

double seconds_of(const Findings &findings) {
    return findings.series.samples.empty() ? 0 : findings.series.samples.back().seconds;
}

Json distribution_json(const Distribution &distribution) {
    return Json::object()
        .set("min", distribution.lowest)
        .set("mean", distribution.mean)
        .set("p50", distribution.p50)
        .set("p90", distribution.p90)
        .set("p99", distribution.p99)
        .set("p99.9", distribution.p999)
        .set("max", distribution.highest);
}

Json histogram_json(const std::vector<double> &values) {
    Json bars = Json::array();
    for (const HistogramBar &bar : histogram_of(values)) {
        bars.add(Json::object().set("from", bar.from).set("to", bar.to).set("count", bar.count));
    }
    return bars;
}

Json findings_json(const Run &run, const Findings &findings) {
    Json bus;
    if (run.after.known) {
        bus = Json::object()
                  .set("cycles", bus_cycles(run))
                  .set("late", late_bus_cycles(run))
                  .set("longest_us", run.after.record.cycle_max_ns / 1000.0);
    }
    return Json::object()
        .set("mode", run.mode->name)
        .set("fell_back", run.fell_back)
        .set("seconds", seconds_of(findings))
        .set("cycle_us", findings.cycle_us)
        .set("wakeups", run.times.size())
        .set("missed", missed_by_program(run, findings))
        .set("gaps", findings.series.missed)
        .set("doubled", findings.series.doubled)
        .set("period_us", distribution_json(distribution_of(findings.periods)))
        .set("jitter_us", distribution_json(distribution_of(findings.jitters)))
        .set("latency_us", distribution_json(distribution_of(findings.latencies)))
        .set("histogram", histogram_json(findings.latencies))
        .set("bus", std::move(bus));
}

std::vector<std::string> distribution_row(const char *name, const std::vector<double> &values) {
    const Distribution distribution = distribution_of(values);
    std::vector<std::string> row = {name};
    for (const double value :
         {distribution.lowest, distribution.mean, distribution.p50, distribution.p90,
          distribution.p99, distribution.p999, distribution.highest}) {
        row.push_back(format("%.1f", value));
    }
    return row;
}

// As long as the bar's share of the highest one, and a mark where there is anything at all.
std::string bar_text(uint64_t count, uint64_t highest) {
    const uint64_t length = highest == 0 ? 0 : count * kHistogramWidth / highest;
    return length > 0 ? std::string(length, '#') : count > 0 ? "." : "";
}

std::string histogram_text(const std::vector<double> &values) {
    const std::vector<HistogramBar> bars = histogram_of(values);
    uint64_t highest = 0;
    for (const HistogramBar &bar : bars) {
        highest = std::max(highest, bar.count);
    }
    std::string text;
    for (const HistogramBar &bar : bars) {
        const std::string line = format("%7.0f to %7.0f us %9llu  ", bar.from, bar.to,
                                        static_cast<unsigned long long>(bar.count)) +
                                 bar_text(bar.count, highest);
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

std::string bus_text(const Run &run) {
    if (!run.after.known) {
        return run.before.known ? "not known any more" : "not told by this firmware";
    }
    return format("%llu cycles, %llu of them late; longest since the start %.1f us",
                  static_cast<unsigned long long>(bus_cycles(run)),
                  static_cast<unsigned long long>(late_bus_cycles(run)),
                  run.after.record.cycle_max_ns / 1000.0);
}

void show_findings(const Output &output, const Run &run, const Findings &findings) {
    const double seconds = seconds_of(findings);
    output.field("mode", std::string(run.mode->name) +
                             (run.fell_back ? ", because cycle mode does not run here" : ""));
    output.field("cycle", format("%.1f us%s", findings.cycle_us,
                                 run.before.known ? "" : " (median of the wake-ups)"));
    output.field(
        "this program",
        counted(run.times.size(), "wake-up") + format(" in %.1f s, ", seconds) +
            counted(missed_by_program(run, findings), "cycle") + " missed" +
            (findings.series.doubled == 0
                 ? ""
                 : ", " + std::to_string(findings.series.doubled) + " right behind another"));
    output.field("the bus", bus_text(run));
    Table table({"us", "min", "mean", "p50", "p90", "p99", "p99.9", "max"});
    table.add(distribution_row("period", findings.periods));
    table.add(distribution_row("jitter", findings.jitters));
    table.add(distribution_row("latency", findings.latencies));
    output.text("\n" + table.text() + "\nlatency\n" + histogram_text(findings.latencies));
}

void write_csv(const std::string &path, const Findings &findings) {
    std::string text = "time_s,jitter_us,latency_us,missed_cycles\n";
    bool first = true;
    for (const CycleSample &sample : findings.series.samples) {
        text += format("%.9f,%.3f,%.3f,%u\n", sample.seconds,
                       first ? 0 : sample.period_us - findings.cycle_us, sample.latency_us,
                       sample.missed);
        first = false;
    }
    replace_file(path, {text.begin(), text.end()});
}

// What was measured is shown also when something went wrong.
std::optional<Failure> save(const Arguments &arguments, const Findings &findings) {
    try {
        if (!arguments.csv.empty()) {
            write_csv(arguments.csv, findings);
        }
        return std::nullopt;
    } catch (const Failure &failure) {
        return failure;
    }
}

int cyclic(Context &context, const Arguments &arguments) {
    parse_access_mode(arguments.mode); // what is wrong is told before the card is asked
    if (!arguments.csv.empty()) {
        check_writable(arguments.csv);
    }
    const Run run = run_all(context, arguments);
    const Findings findings = judge(run);
    const std::optional<Failure> unsaved = save(arguments, findings);
    const std::optional<Failure> &trouble = run.trouble ? run.trouble : unsaved;
    if (context.output.json()) {
        Json document = findings_json(run, findings);
        if (trouble) {
            document.set("error", trouble->json());
        }
        context.output.document(document);
    } else {
        show_findings(context.output, run, findings);
    }
    if (trouble) {
        Output::error(trouble->what());
        return kFailure;
    }
    return kSuccess;
}

} // namespace

void add_cyclic_command(CLI::App &app, Context &context) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App *command = add_command<Arguments>(
        app, context, "cyclic", "Run along with the bus and measure how evenly", arguments, cyclic);
    add_seconds(command, "--duration", arguments->duration_s, "For so long, or until Ctrl-C", 0.01,
                kLongestRunS)
        ->default_str("5");
    command->add_option("--mode", arguments->mode, std::string(kAccessModeNames) + ", or 0 to 2")
        ->type_name("MODE")
        ->default_str("cycle");
    command->add_flag("--fallback", arguments->fallback,
                      "Go on in the mode direct where cycle mode has no real-time priority");
    command->add_option("--csv", arguments->csv, "Write one line per wake-up to a file")
        ->type_name("FILE");
    command->footer(with_global_options(
        "  tarn cyclic --duration 10\n"
        "  tarn cyclic --mode direct --json\n"
        "  tarn cyclic --csv cycles.csv && tarn plot cycles.csv\n"
        "It waits for each bus cycle and reads the inputs; outputs are left alone. \"latency\" is "
        "how far\n"
        "a wake-up came behind the even grid of the cycles, \"jitter\" how far the time between "
        "two\n"
        "wake-ups is from the cycle time. A late wake-up is the computer's fault unless the bus "
        "counted\n"
        "a late cycle of its own.\n"));
}

} // namespace tarn
