#include "vcard/firmware/firmware.h"

#include "base/card_memory.h"
#include "vcard/card/board_io.h"
#include "vcard/card/card_layout.h"
#include "vcard/card/heartbeat.h"
#include "vcard/card/wall_clock.h"
#include "vcard/firmware/board.h"
#include "vcard/firmware/channel.h"

#include <array>
#include <cstdio>
#include <deque>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

namespace tarn::vcard {

namespace {

constexpr size_t kSeenLimit = 1024;

std::shared_ptr<const Network> read_network(const std::string &path) {
    if (path.empty()) {
        return nullptr;
    }
    std::ifstream file(path, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file.is_open() || file.bad()) {
        throw std::invalid_argument("network file " + path + " cannot be read");
    }
    auto network = std::make_shared<Network>();
    const EniVerdict verdict = parse_eni(text, *network);
    if (verdict.status != 0) {
        throw std::invalid_argument("network file " + path + ": " + verdict.text);
    }
    return network;
}

void check_memory(const CardMemory &memory) {
    for (size_t bar = 0; bar < kBarSizes.size(); ++bar) {
        if (memory.bars[bar].size() < kBarSizes[bar]) {
            throw std::invalid_argument("BAR" + std::to_string(bar) + " has " +
                                        std::to_string(memory.bars[bar].size()) + " bytes; " +
                                        std::to_string(kBarSizes[bar]) + " are needed");
        }
    }
}

// Names and versions that others chose must not forge lines or reach the terminal as commands.
std::string without_controls(const std::string &text) {
    std::string line;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= ' ' && byte != 0x7F) {
            line += c;
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned>(byte));
            line += code;
        }
    }
    return line;
}

class SeenLog {
  public:
    void add(SeenRequest request) {
        const std::lock_guard lock(mutex_);
        if (requests_.size() == kSeenLimit) {
            requests_.pop_front();
        }
        requests_.push_back(std::move(request));
    }
    std::vector<SeenRequest> all() const {
        const std::lock_guard lock(mutex_);
        return {requests_.begin(), requests_.end()};
    }
    void clear() {
        const std::lock_guard lock(mutex_);
        requests_.clear();
    }

  private:
    mutable std::mutex mutex_;
    std::deque<SeenRequest> requests_;
};

} // namespace

struct Firmware::State {
    State(CardConfig card, CardMemory bars, InterruptLine line, LogLine log_line, Now clock)
        : config(std::move(card)), layout(config), memory(bars), interrupt(std::move(line)),
          now(std::move(clock)), plain_log(std::move(log_line)),
          log([this](const std::string &text) { plain_log(stamped(text)); }),
          present(read_network(config.network_file)), board(config, files[0], log),
          io(memory.registers(), wiring_of(config)),
          heartbeat(memory.config() + offsetof(ConfigBlock, heartbeat)) {
        check_memory(memory);
    }

    static Wiring wiring_of(const CardConfig &config) {
        Wiring wiring;
        wiring.apply(config.wiring);
        return wiring;
    }

    [[nodiscard]] std::string stamped(const std::string &text) const;
    void boot(Clock::time_point time);
    void choose_version();
    void start(Clock::time_point time);
    bool serve(Clock::time_point time);
    bool serve_reset(Clock::time_point time);
    void begin_reset(Clock::time_point time);
    void take_host_time(Clock::time_point time);
    bool clear_doorbell(uint32_t channel) const;
    void stop_buses();
    [[nodiscard]] ChannelOptions channel_options(uint32_t number);
    [[nodiscard]] uint8_t *block_word(size_t offset) const { return memory.config() + offset; }

    CardConfig config;
    CardLayout layout;
    const CardMemory memory;
    const InterruptLine interrupt;
    const Now now;
    const LogLine plain_log;
    const LogLine log;
    WallClock wall_clock;
    const std::shared_ptr<const Network> present;
    Faults faults;
    SeenLog seen;
    // Guards all below: serve() has one caller, but the control command comes from other threads.
    mutable std::mutex mutex;
    std::array<FileStore, 2> files; // per channel; they outlive resets
    std::array<std::shared_ptr<EepromStore>, 2> eeproms = {std::make_shared<EepromStore>(),
                                                           std::make_shared<EepromStore>()};
    std::array<SlaveFiles, 2> slave_files;
    Board board;
    BoardIo io;
    Heartbeat heartbeat;
    std::vector<std::unique_ptr<Channel>> channels; // none before boot() and during a reset
    std::optional<Clock::time_point> reset_end;
};

std::string Firmware::State::stamped(const std::string &text) const {
    const std::string time = wall_clock.text(now());
    const std::string line = without_controls(text);
    return time.empty() ? line : time + " " + line;
}

void Firmware::State::boot(Clock::time_point time) {
    channels.clear();
    reset_end.reset();
    wall_clock.forget();
    choose_version();
    layout.power_up(memory);
    start(time);
}

void Firmware::State::choose_version() {
    config.firmware_version = board.start_firmware();
    layout.set_firmware_version(config.firmware_version);
}

// Everything that begins anew with the firmware.
void Firmware::State::start(Clock::time_point time) {
    io.restart(time);
    heartbeat.restart(time);
    for (uint32_t number = 0; number < config.channels; ++number) {
        channels.push_back(std::make_unique<Channel>(channel_options(number)));
    }
    log("card " + config.name + " booted: firmware " + config.firmware_version + ", alias " +
        std::to_string(config.alias) + ", " + std::to_string(config.channels) + " channels, " +
        std::to_string(config.rings.slots) + " slots of " + std::to_string(config.rings.slot_size) +
        " bytes, triple buffer generation " + std::to_string(config.generation));
}

ChannelOptions Firmware::State::channel_options(uint32_t number) {
    ChannelOptions options;
    options.number = number;
    options.config = &config;
    options.layout = &layout;
    options.area = memory.config() + channel_area_offset(number);
    options.interrupt = interrupt;
    options.log = log;
    options.faults = &faults;
    options.files = &files[number];
    options.slave_files = &slave_files[number];
    options.eeproms = eeproms[number];
    options.board = &board;
    options.present = present;
    options.utc_ns = [this] { return wall_clock.utc_ns(now()); };
    options.seen = [this](SeenRequest request) { seen.add(std::move(request)); };
    return options;
}

bool Firmware::State::serve(Clock::time_point time) {
    bool worked = serve_reset(time);
    if (channels.empty()) {
        return worked;
    }
    take_host_time(time);
    io.look(time);
    heartbeat.look(time);
    for (uint32_t number = 0; number < channels.size(); ++number) {
        // The doorbell first: a request that comes later rings again.
        worked = clear_doorbell(number) || worked;
        worked = channels[number]->serve(time) || worked;
    }
    return worked;
}

bool Firmware::State::serve_reset(Clock::time_point time) {
    bool worked = false;
    if (!channels.empty() && card::load32(block_word(offsetof(ConfigBlock, reset_request))) == 1) {
        begin_reset(time);
        worked = true;
    }
    if (reset_end && time >= *reset_end) {
        reset_end.reset();
        choose_version();
        start(time);
        layout.restart(memory);
        worked = true;
    }
    return worked;
}

// Until the end the card is silent: no magic, not alive, no replies.
void Firmware::State::begin_reset(Clock::time_point time) {
    log("board reset");
    card::store32(block_word(offsetof(ConfigBlock, alive)), 1);
    card::store32(block_word(offsetof(ConfigBlock, magic)), 0);
    for (const std::unique_ptr<Channel> &channel : channels) {
        channel->shut_down(time);
    }
    channels.clear();
    reset_end = time + std::chrono::milliseconds(config.reset_ms);
}

void Firmware::State::take_host_time(Clock::time_point time) {
    const uint64_t utc_ns = card::load64(block_word(offsetof(ConfigBlock, host_time_ns)));
    const uint32_t offset = card::load32(block_word(offsetof(ConfigBlock, local_offset_s)));
    if (wall_clock.look(time, utc_ns, static_cast<int32_t>(offset))) {
        log("time taken over from the host");
    }
}

bool Firmware::State::clear_doorbell(uint32_t channel) const {
    uint8_t *doorbell = memory.registers() + bar1::kDoorbell[channel];
    if (card::load32(doorbell) == 0) {
        return false;
    }
    card::store32(doorbell, 0);
    return true;
}

void Firmware::State::stop_buses() {
    for (const std::unique_ptr<Channel> &channel : channels) {
        channel->stop_bus();
    }
}

Firmware::Firmware(CardConfig config, CardMemory memory, InterruptLine interrupt, LogLine log,
                   Now now)
    : state_(std::make_unique<State>(std::move(config), memory, std::move(interrupt),
                                     std::move(log), std::move(now))) {}

Firmware::~Firmware() = default;

void Firmware::boot() {
    const std::lock_guard lock(state_->mutex);
    state_->boot(state_->now());
}

bool Firmware::serve() {
    const std::lock_guard lock(state_->mutex);
    return state_->serve(state_->now());
}

void Firmware::shut_down() {
    const std::lock_guard lock(state_->mutex);
    state_->stop_buses();
}

Faults &Firmware::faults() {
    return state_->faults;
}

CardConfig Firmware::config() const {
    const std::lock_guard lock(state_->mutex);
    return state_->config;
}

std::vector<SeenRequest> Firmware::seen() const {
    return state_->seen.all();
}

void Firmware::clear_seen() {
    state_->seen.clear();
}

bool Firmware::slave_fault(uint32_t channel, uint32_t slave, const std::string &fault,
                           const SlaveFaultArguments &arguments) {
    const std::lock_guard lock(state_->mutex);
    if (channel >= state_->channels.size()) {
        return false;
    }
    BusControl &control = state_->channels[channel]->control();
    return control.running() && slave < control.bus().network().slaves.size() &&
           control.bus().fault(slave, fault, arguments);
}

bool Firmware::bus_fault(uint32_t channel, const std::string &fault, uint32_t number) {
    const std::lock_guard lock(state_->mutex);
    if (channel >= state_->channels.size()) {
        return false;
    }
    BusControl &control = state_->channels[channel]->control();
    return control.running() && control.bus().bus_fault(fault, number);
}

Bus::PiStatus Firmware::pi_status(uint32_t channel) const {
    const std::lock_guard lock(state_->mutex);
    return channel < state_->channels.size() ? state_->channels[channel]->bus().pi_status()
                                             : Bus::PiStatus{};
}

void Firmware::wire(const std::string &wires) {
    const std::lock_guard lock(state_->mutex);
    state_->io.wiring().apply(wires);
}

std::string Firmware::describe_board() const {
    const std::lock_guard lock(state_->mutex);
    if (state_->reset_end) {
        return "board: being reset\n";
    }
    const std::string time = state_->wall_clock.text(state_->now());
    return "board: " + state_->board.describe() + ", time " + (time.empty() ? "not set" : time) +
           "\n" + state_->io.describe();
}

std::string Firmware::describe() const {
    const std::lock_guard lock(state_->mutex);
    std::string text;
    for (const std::unique_ptr<Channel> &channel : state_->channels) {
        text += channel->describe() + "\n";
    }
    return text;
}

} // namespace tarn::vcard
