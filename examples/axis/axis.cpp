// Moves a CiA 402 drive there and back in cyclic synchronous position mode, with a new target in
// every bus cycle, and records what happened: time, target and actual position, cycle jitter,
// missed cycles. Usage: example-axis-cpp ENI [options]; --help lists them.
//
// The ENI file maps each slave's data to logical addresses; examples/eni/axis.xml is one for a bus
// with a drive and a cycle of 1 ms. `tarn plot axis.csv` draws the recording.
#include <pci_tarn/pci_tarn.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// ---- what the drive takes and gives -------------------------------------------------------------

#pragma pack(push, 1)
struct Outputs {
    uint16_t controlword = 0;
    int8_t mode = 8; // cyclic synchronous position
    uint8_t spare = 0;
    int32_t target_position = 0;
    int32_t target_velocity = 0;
    int16_t target_torque = 0;
};
struct Inputs {
    uint16_t statusword = 0;
    int8_t mode = 0;
    uint8_t spare = 0;
    int32_t position = 0;
    int32_t velocity = 0;
    int16_t torque = 0;
};
#pragma pack(pop)

// The statusword bits that tell the state, and the state that we want.
constexpr uint16_t kStateMask = 0x006F;
constexpr uint16_t kOperationEnabled = 0x0027;

bool is_fault(uint16_t statusword) {
    return (statusword & 0x004F) == 0x0008 || (statusword & 0x004F) == 0x000F;
}

// The controlword that takes a drive one state nearer to Operation enabled. A fault is reset by the
// rising edge of bit 7, so the bit goes up and down while the fault is there.
uint16_t next_controlword(uint16_t statusword, uint16_t last) {
    switch (statusword & kStateMask) {
    case 0x0021: // ready to switch on
        return 0x0007;
    case 0x0023: // switched on
    case kOperationEnabled:
        return 0x000F;
    default:
        if (is_fault(statusword)) {
            return last == 0x0080 ? 0x0000 : 0x0080;
        }
        return 0x0006; // switch on disabled, or on the way there
    }
}

// ---- settings -----------------------------------------------------------------------------------

struct Settings {
    std::string eni;
    std::string board = "ID0";
    std::string csv = "axis.csv";
    uint32_t mode = ECAT_PI_MODE_CYCLE;
    uint16_t slave = 1;
    double seconds = 4;      // there and back
    double distance = 20000; // increments
    double cycle_us = 1000;  // of the ENI file
};

constexpr char kUsage[] =
    "usage: %s ENI [--board NAME] [--slave POSITION] [--mode cycle|direct|manual]\n"
    "       [--seconds S] [--distance INCREMENTS] [--cycle-us US] [--csv FILE]\n";

double number(const std::string &option, const std::string &text, double lowest, double highest) {
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(value >= lowest && value <= highest)) {
        throw std::invalid_argument(option + " takes a number from " + std::to_string(lowest) +
                                    " to " + std::to_string(highest));
    }
    return value;
}

uint32_t mode_number(const std::string &name) {
    if (name == "cycle") {
        return ECAT_PI_MODE_CYCLE;
    }
    if (name == "direct") {
        return ECAT_PI_MODE_DIRECT;
    }
    if (name == "manual") {
        return ECAT_PI_MODE_MANUAL;
    }
    throw std::invalid_argument("--mode takes cycle, direct or manual");
}

void set_option(Settings &settings, const std::string &option, const std::string &text) {
    if (option == "--board") {
        settings.board = text;
    } else if (option == "--csv") {
        settings.csv = text;
    } else if (option == "--mode") {
        settings.mode = mode_number(text);
    } else if (option == "--slave") {
        settings.slave = static_cast<uint16_t>(number(option, text, 0, 65535));
    } else if (option == "--seconds") {
        settings.seconds = number(option, text, 0.01, 3600);
    } else if (option == "--distance") {
        settings.distance = number(option, text, -1e9, 1e9);
    } else if (option == "--cycle-us") {
        settings.cycle_us = number(option, text, 62, 1e6);
    } else {
        throw std::invalid_argument("unknown option " + option);
    }
}

Settings settings_of(int argc, char **argv) {
    Settings settings;
    if (argc < 2 || std::string(argv[1]).starts_with("--")) {
        throw std::invalid_argument("an ENI file is missing");
    }
    settings.eni = argv[1];
    for (int i = 2; i < argc; i += 2) {
        if (i + 1 == argc) {
            throw std::invalid_argument(std::string(argv[i]) + " needs a value");
        }
        set_option(settings, argv[i], argv[i + 1]);
    }
    return settings;
}

// ---- channel and bus ----------------------------------------------------------------------------

void check(const char *what, uint32_t status) {
    if (status != PCI_TARN_OK) {
        throw std::runtime_error(std::string(what) + ": " + DriverGetErrStr(status) + " (" +
                                 std::to_string(status) + ")");
    }
}

// What ends with the scope: an open channel, a running bus.
using Channel = std::unique_ptr<EcatHandle, decltype(&EcatClose)>;
using RunningBus = std::unique_ptr<EcatHandle, decltype(&EcatBusStop)>;

volatile std::sig_atomic_t interrupted = 0;

void on_interrupt(int) {
    interrupted = 1;
}

void catch_interrupt() {
    std::signal(SIGINT, on_interrupt);
    std::signal(SIGTERM, on_interrupt);
#ifdef SIGBREAK // Ctrl-Break
    std::signal(SIGBREAK, on_interrupt);
#endif
}

// The data-swap thread of cycle mode asks for real-time priority and ends without a word where the
// system refuses it. So we ask in the same way first.
bool realtime_is_granted() {
    bool granted = false;
    EcatOsThread *thread = ecat_os_thread_create(
        &granted,
        [](void *arg) -> void * {
            *static_cast<bool *>(arg) = true;
            return nullptr;
        },
        99);
    ecat_os_thread_join(thread);
    return granted;
}

void enter_mode(EcatHandle *channel, uint32_t mode) {
    if (mode == ECAT_PI_MODE_CYCLE && !realtime_is_granted()) {
        throw std::runtime_error(
            "cycle mode does not run: the system refuses real-time priority to this program "
            "(tarn mode says what to grant); --mode direct or --mode manual goes without");
    }
    check("mode", EcatPIASyncModeSet(channel, mode));
}

// ---- the axis -----------------------------------------------------------------------------------

// What a drive can be told: positions beyond its range end at the last one.
int32_t target_of(double position) {
    using Limits = std::numeric_limits<int32_t>;
    return static_cast<int32_t>(
        std::lround(std::clamp(position, double{Limits::min()}, double{Limits::max()})));
}

// One cycle after the other: wait for the bus, take the inputs, give the outputs. The outputs reach
// the drive with the next bus cycle.
class Axis {
  public:
    Axis(EcatHandle *channel, const Settings &settings)
        : channel_(channel), slave_(settings.slave), mode_(settings.mode) {}

    void wait_for_cycle() {
        // Longer than any cycle, even a late one.
        check("no bus cycle", EcatPIInputWaitNotify(channel_, 3000));
        if (mode_ == ECAT_PI_MODE_MANUAL) {
            check("inputs", EcatPIASyncUpdateData(channel_, ECAT_PI_SHADOW_INPUT));
        }
        const uint32_t status =
            EcatSlavePIRead(channel_, ECAT_PI_SHADOW_INPUT, slave_, sizeof(inputs_), &inputs_);
        operational_ = status != PCI_TARN_E_SLAVE_NOT_READY;
        if (operational_) {
            check("read", status);
        }
    }

    void give(const Outputs &outputs) {
        outputs_ = outputs;
        const uint32_t status =
            EcatSlavePIWrite(channel_, ECAT_PI_FAST_OUTPUT, slave_, sizeof(outputs_), &outputs_);
        if (status != PCI_TARN_E_SLAVE_NOT_READY) { // written all the same
            check("write", status);
        }
        if (mode_ == ECAT_PI_MODE_MANUAL) {
            check("outputs", EcatPIASyncUpdateData(channel_, ECAT_PI_FAST_OUTPUT));
        }
    }

    // Until the drive holds its position, enabled.
    void enable() {
        constexpr int kMostCycles = 20000;
        for (int i = 0; i < kMostCycles && interrupted == 0; ++i) {
            wait_for_cycle();
            if (operational_ && (inputs_.statusword & kStateMask) == kOperationEnabled) {
                return;
            }
            Outputs outputs;
            outputs.controlword = next_controlword(inputs_.statusword, outputs_.controlword);
            outputs.target_position = inputs_.position; // no jump when it is enabled
            give(outputs);
        }
        if (interrupted == 0) {
            throw std::runtime_error("the drive does not come to Operation enabled; statusword " +
                                     std::to_string(inputs_.statusword));
        }
    }

    void move_to(double position) {
        if (!operational_) {
            throw std::runtime_error("the drive has left the state OP");
        }
        if (is_fault(inputs_.statusword)) {
            throw std::runtime_error("the drive is in fault; statusword " +
                                     std::to_string(inputs_.statusword));
        }
        Outputs outputs = outputs_;
        outputs.controlword = 0x000F;
        outputs.target_position = target_of(position);
        give(outputs);
    }

    // Takes the voltage off, and waits some cycles so that the drive gets to know.
    void disable() {
        Outputs outputs = outputs_;
        outputs.controlword = 0;
        outputs.target_position = inputs_.position;
        give(outputs);
        for (int i = 0; i < 10; ++i) {
            wait_for_cycle();
        }
    }

    [[nodiscard]] const Inputs &inputs() const { return inputs_; }
    [[nodiscard]] const Outputs &outputs() const { return outputs_; }

  private:
    EcatHandle *channel_;
    uint16_t slave_;
    uint32_t mode_;
    bool operational_ = false; // the slave takes part in the exchange
    Inputs inputs_;
    Outputs outputs_;
};

// An S-curve from 0 to 1: speed and acceleration begin and end at 0.
double s_curve(double part) {
    const double x = std::clamp(part, 0.0, 1.0);
    return x * x * x * (10 + x * (6 * x - 15));
}

// Where the axis should be: there in the first half of the time, back in the second.
double profile(const Settings &settings, double seconds) {
    const double half = settings.seconds / 2;
    return settings.distance *
           (seconds < half ? s_curve(seconds / half) : s_curve(2 - seconds / half));
}

struct Record {
    double seconds = 0;
    double jitter_us = 0; // time since the last cycle, less the cycle time
    int32_t target = 0;
    int32_t position = 0;
    uint32_t missed = 0; // cycles of the bus in which we were not awake
};

// Room made beforehand costs no time in the loop. A very long recording takes more as it grows.
size_t expected_records(const Settings &settings) {
    constexpr double kMost = 4e6;
    return static_cast<size_t>(
        std::min(settings.seconds * 1e6 / settings.cycle_us * 1.2 + 100, kMost));
}

std::vector<Record> move(Axis &axis, const Settings &settings) {
    using Clock = std::chrono::steady_clock;
    std::vector<Record> records;
    records.reserve(expected_records(settings));
    axis.enable();
    const double from = axis.inputs().position;
    const Clock::time_point start = Clock::now();
    double last = 0;
    while (interrupted == 0 && last < settings.seconds) {
        axis.wait_for_cycle();
        const double now = std::chrono::duration<double>(Clock::now() - start).count();
        axis.move_to(from + profile(settings, now));
        const double period_us = (now - last) * 1e6;
        const double cycles = std::max(1.0, std::round(period_us / settings.cycle_us));
        Record record;
        record.seconds = now;
        record.jitter_us = records.empty() ? 0 : period_us - settings.cycle_us;
        record.target = axis.outputs().target_position;
        record.position = axis.inputs().position;
        record.missed = records.empty() ? 0 : static_cast<uint32_t>(cycles) - 1;
        records.push_back(record);
        last = now;
    }
    axis.disable();
    return records;
}

// ---- the recording ------------------------------------------------------------------------------

void write_csv(const std::string &path, const std::vector<Record> &records) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(path.c_str(), "wb"),
                                                                std::fclose);
    if (file == nullptr) {
        throw std::runtime_error("cannot write " + path);
    }
    std::fprintf(file.get(), "time_s,target_inc,position_inc,jitter_us,missed_cycles\n");
    for (const Record &record : records) {
        std::fprintf(file.get(), "%.6f,%d,%d,%.1f,%u\n", record.seconds, record.target,
                     record.position, record.jitter_us, record.missed);
    }
    if (std::fflush(file.get()) != 0) {
        throw std::runtime_error("cannot write " + path);
    }
}

void print_summary(const Settings &settings, const std::vector<Record> &records) {
    double worst = 0;
    unsigned long missed = 0;
    for (const Record &record : records) {
        worst = std::max(worst, std::abs(record.jitter_us));
        missed += record.missed;
    }
    std::printf("%s after %zu cycles; worst jitter %.0f us, %lu cycles missed\n"
                "recorded in %s (tarn plot draws it)\n",
                interrupted != 0 ? "interrupted" : "moved there and back", records.size(), worst,
                missed, settings.csv.c_str());
}

void run(const Settings &settings) {
    EcatHandle *handle = nullptr;
    check("open", EcatOpen(&handle, settings.board.c_str(), 0));
    const Channel channel(handle, EcatClose);
    catch_interrupt();
    check("start", EcatBusRun(handle, settings.eni.c_str()));
    const RunningBus bus(handle, EcatBusStop);
    enter_mode(handle, settings.mode);
    Axis axis(handle, settings);
    const std::vector<Record> records = move(axis, settings);
    write_csv(settings.csv, records);
    print_summary(settings, records);
}

} // namespace

int main(int argc, char **argv) try {
    if (argc == 2 && std::string(argv[1]) == "--help") {
        std::printf(kUsage, argv[0]);
        return 0;
    }
    const Settings settings = settings_of(argc, argv);
    run(settings);
    return 0;
} catch (const std::invalid_argument &error) {
    std::fprintf(stderr, "%s\n", error.what());
    std::fprintf(stderr, kUsage, argv[0]);
    return 2;
} catch (const std::exception &error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
