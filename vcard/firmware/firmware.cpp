#include "vcard/firmware/firmware.h"

#include "base/card_memory.h"
#include "vcard/card/card_layout.h"
#include "vcard/firmware/channel.h"

#include <deque>
#include <fstream>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace tarn::vcard {

namespace {

constexpr size_t kSeenLimit = 1024;
constexpr std::chrono::milliseconds kHeartbeatPeriod{1};

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
    State(CardConfig card, CardMemory bars, InterruptLine line, LogLine log_line)
        : config(std::move(card)), layout(config), memory(bars), interrupt(std::move(line)),
          log(std::move(log_line)), present(read_network(config.network_file)) {
        check_memory(memory);
    }

    void boot();
    bool serve(Clock::time_point now);
    bool serve_reset_word();
    bool clear_doorbell(uint32_t channel) const;
    void beat(Clock::time_point now);
    void stop_buses();
    [[nodiscard]] ChannelOptions channel_options(uint32_t number);

    const CardConfig config;
    const CardLayout layout;
    const CardMemory memory;
    const InterruptLine interrupt;
    const LogLine log;
    const std::shared_ptr<const Network> present;
    Faults faults;
    SeenLog seen;
    // Guards all below: serve() has one caller, but the control command comes from other threads.
    mutable std::mutex mutex;
    std::vector<std::unique_ptr<Channel>> channels;
    Clock::time_point last_beat;
};

void Firmware::State::boot() {
    channels.clear();
    layout.power_up(memory);
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
    options.present = present;
    options.seen = [this](SeenRequest request) { seen.add(std::move(request)); };
    return options;
}

bool Firmware::State::serve(Clock::time_point now) {
    bool worked = serve_reset_word();
    for (uint32_t number = 0; number < channels.size(); ++number) {
        // The doorbell first: a request that comes later rings again.
        worked = clear_doorbell(number) || worked;
        worked = channels[number]->serve(now) || worked;
    }
    if (!channels.empty()) {
        beat(now);
    }
    return worked;
}

bool Firmware::State::serve_reset_word() {
    uint8_t *word = memory.config() + offsetof(ConfigBlock, reset_request);
    if (channels.empty() || card::load32(word) != 1) {
        return false;
    }
    log("board reset");
    stop_buses();
    layout.publish(memory);
    card::store32(word, 0);
    return true;
}

bool Firmware::State::clear_doorbell(uint32_t channel) const {
    uint8_t *doorbell = memory.registers() + bar1::kDoorbell[channel];
    if (card::load32(doorbell) == 0) {
        return false;
    }
    card::store32(doorbell, 0);
    return true;
}

void Firmware::State::beat(Clock::time_point now) {
    if (now - last_beat < kHeartbeatPeriod) {
        return;
    }
    last_beat = now;
    for (uint32_t counter = 0; counter < 4; ++counter) {
        card::increment32(memory.config() + offsetof(ConfigBlock, heartbeat) + counter * 4);
    }
}

void Firmware::State::stop_buses() {
    for (const std::unique_ptr<Channel> &channel : channels) {
        channel->stop_bus();
    }
}

Firmware::Firmware(CardConfig config, CardMemory memory, InterruptLine interrupt, LogLine log)
    : state_(std::make_unique<State>(std::move(config), memory, std::move(interrupt),
                                     std::move(log))) {}

Firmware::~Firmware() = default;

void Firmware::boot() {
    const std::lock_guard lock(state_->mutex);
    state_->boot();
}

bool Firmware::serve() {
    const std::lock_guard lock(state_->mutex);
    return state_->serve(Clock::now());
}

void Firmware::shut_down() {
    const std::lock_guard lock(state_->mutex);
    state_->stop_buses();
}

Faults &Firmware::faults() {
    return state_->faults;
}

const CardConfig &Firmware::config() const {
    return state_->config;
}

std::vector<SeenRequest> Firmware::seen() const {
    return state_->seen.all();
}

void Firmware::clear_seen() {
    state_->seen.clear();
}

bool Firmware::slave_fault(uint32_t channel, uint32_t slave, const std::string &fault) {
    const std::lock_guard lock(state_->mutex);
    if (channel >= state_->channels.size()) {
        return false;
    }
    BusControl &control = state_->channels[channel]->control();
    return control.running() && slave < control.bus().network().slaves.size() &&
           control.bus().fault(slave, fault);
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
