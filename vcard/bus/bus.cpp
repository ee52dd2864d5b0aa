#include "vcard/bus/bus.h"

#include "base/card_memory.h"
#include "vcard/bus/bits.h"
#include "vcard/bus/simulation.h"
#include "vcard/bus/triple_buffer.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace tarn::vcard {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint8_t kInit = 1;
constexpr uint8_t kPreOp = 2;
constexpr uint8_t kBoot = 3;
constexpr uint8_t kSafeOp = 4;
constexpr uint8_t kOp = 8;
constexpr uint8_t kStateMask = 0x0F;
constexpr uint8_t kErrorFlag = 0x10;

// AL status codes
constexpr uint16_t kBootstrapNotSupported = 0x0013;
constexpr uint16_t kSyncManagerWatchdog = 0x001B;

// DL status register: PDI operational, then per port link, loop and communication.
constexpr uint32_t kPorts = 4;
constexpr uint32_t kPdiOperational = 0x0001;
constexpr uint32_t port_link(uint32_t port) {
    return 0x0010U << port;
}
constexpr uint32_t port_loop_closed(uint32_t port) {
    return 0x0100U << (2 * port);
}
constexpr uint32_t port_communication(uint32_t port) {
    return 0x0200U << (2 * port);
}

constexpr uint32_t kNoSlave = ~0U;
constexpr auto kAutoClearDelay = std::chrono::milliseconds(100);

bool known_state(uint8_t state) {
    return state == kInit || state == kPreOp || state == kBoot || state == kSafeOp || state == kOp;
}

// The next state on the way up or down; BOOT is reached from INIT only.
uint8_t next_state(uint8_t from, uint8_t to) {
    if (to < from || to == kBoot) {
        return to;
    }
    return from == kInit ? kPreOp : from == kPreOp ? kSafeOp : kOp;
}

} // namespace

// The lock guards all of it; the cycle thread holds it for a cycle, and lets it go for the
// interrupt.
struct Bus::State {
    struct Slave {
        uint8_t state = kInit; // with the error flag
        uint16_t al_status_code = 0;
        uint32_t parent = kNoSlave;
        std::array<uint32_t, kPorts - 1> children = {kNoSlave, kNoSlave, kNoSlave}; // ports 1..3
        bool unplugged = false; // this slave itself
        bool answers = true;    // neither it nor any slave before it is unplugged
        Clock::time_point error_since;
    };

    explicit State(BusOptions given)
        : options(std::move(given)), area(*options.area),
          fast_outputs(&area.fast_output, area.fast_output_buffers, options.generation),
          shadow_inputs(&area.shadow_input, area.shadow_input_buffers, options.generation) {}

    void log(const std::string &line) const {
        if (options.log) {
            options.log(line);
        }
    }

    void link_slaves();
    void log_order() const;
    void empty_area();
    void write_exchange(const Image &image);
    void step_all(uint8_t to);
    void set_state(uint32_t index, uint8_t to);
    void raise_error(uint32_t index, uint8_t state, uint16_t code);
    void update_answers();
    void refresh();
    void clear_old_errors();
    void take_outputs();
    bool pop_output_queue();
    void push_input_queue(const Image &image);
    void cycle();
    void run();

    BusOptions options;
    PiCardArea &area;
    FastOutputReader fast_outputs;
    ShadowInputWriter shadow_inputs;

    mutable std::mutex mutex;
    std::condition_variable wake;
    std::thread thread;
    bool stopping = false;

    bool configured = false;
    Network network;
    std::vector<Slave> slaves;
    std::vector<uint8_t> states; // what the simulation sees: no error flag, 0 when not answering
    std::optional<Simulation> simulation;
    Image outputs;           // last image taken from the host
    uint8_t output_flag = 0; // flag byte of the last queue entry
    uint32_t output_queue_read = 0;
    uint32_t input_queue_write = 0;
    uint64_t dropped_inputs = 0; // images that found the input queue full
    uint32_t exchange_sequence = 0;
    uint8_t master = kInit;
    uint8_t requested = kInit;
    bool auto_clear = false;
    uint64_t cycles = 0;
};

// ---- configuration ----------------------------------------------------------------------------

void Bus::State::link_slaves() {
    slaves.assign(network.slaves.size(), {});
    states.assign(network.slaves.size(), kInit);
    for (uint32_t i = 1; i < slaves.size(); ++i) {
        uint32_t parent = network.slaves[i].previous_port_slave;
        if (parent >= i) {
            parent = i - 1;
        }
        slaves[i].parent = parent;
        for (uint32_t &child : slaves[parent].children) {
            if (child == kNoSlave) {
                child = i;
                break;
            }
        }
    }
}

// Hosts search the slaves by their offsets; such a file works, but a look-up by offset may miss.
void Bus::State::log_order() const {
    const auto check = [this](BitRun SlaveConfig::*run, const char *element) {
        uint32_t last = 0;
        for (size_t i = 0; i < network.slaves.size(); ++i) {
            const BitRun &bits = network.slaves[i].*run;
            if (bits.length == 0) {
                continue;
            }
            if (bits.offset < last) {
                log("Config/Slave[" + std::to_string(i + 1) + "]/ProcessData/" + element +
                    ": lies before the data of an earlier slave");
                return;
            }
            last = bits.offset;
        }
    };
    check(&SlaveConfig::outputs, "Send");
    check(&SlaveConfig::inputs, "Recv");
}

// The exchange area's sequence is odd only while the area is written: its reader waits for that.
void Bus::State::write_exchange(const Image &image) {
    card::store32(&area.sequence, exchange_sequence + 1);
    std::atomic_signal_fence(std::memory_order_seq_cst); // data between the two stores
    std::memcpy(area.exchange, image.bytes, network.output_bytes);
    exchange_sequence += 2;
    card::store32(&area.sequence, exchange_sequence);
}

// Outputs sent so far do not count, and no input image of an earlier run stays visible.
void Bus::State::empty_area() {
    card::store32(&area.output_length, network.output_bytes);
    card::store32(&area.input_length, network.input_bytes);
    output_queue_read = card::load32(&area.output_queue_write);
    card::store32(&area.output_queue_read, output_queue_read);
    input_queue_write = card::load32(&area.input_queue_read);
    card::store32(&area.input_queue_write, input_queue_write);
    dropped_inputs = 0;
    outputs = {};
    output_flag = 0;
    fast_outputs.skip();
    const Image empty;
    shadow_inputs.publish(empty.bytes, network.input_bytes);
    write_exchange(empty);
}

// ---- states -----------------------------------------------------------------------------------

void Bus::State::raise_error(uint32_t index, uint8_t state, uint16_t code) {
    Slave &slave = slaves[index];
    slave.state = state | kErrorFlag;
    slave.al_status_code = code;
    slave.error_since = Clock::now();
}

// One step of one slave. A slave in error follows downwards and to INIT only, which acknowledges
// the error.
void Bus::State::set_state(uint32_t index, uint8_t to) {
    Slave &slave = slaves[index];
    if (!slave.answers) {
        return;
    }
    const uint8_t now = slave.state & kStateMask;
    if ((slave.state & kErrorFlag) != 0 && to >= now && to != kInit) {
        return;
    }
    if (to == kBoot && !network.slaves[index].mailbox) {
        raise_error(index, kInit, kBootstrapNotSupported);
        return;
    }
    slave.state = to;
    slave.al_status_code = 0;
}

void Bus::State::step_all(uint8_t to) {
    for (uint32_t i = 0; i < slaves.size(); ++i) {
        set_state(i, to);
    }
    master = to;
}

void Bus::State::update_answers() {
    for (Slave &slave : slaves) {
        const bool before = slave.answers;
        slave.answers =
            !slave.unplugged && (slave.parent == kNoSlave || slaves[slave.parent].answers);
        if (slave.answers && !before) { // plugged in again: the master brings it to its own state
            slave.state = master == kBoot ? kInit : master;
            slave.al_status_code = 0;
        }
    }
}

// What follows from the slaves' states: the simulation's view and the card's ready bitmap.
void Bus::State::refresh() {
    std::array<uint32_t, kSlaveReadyWords> ready{};
    for (uint32_t i = 0; i < slaves.size(); ++i) {
        states[i] = slaves[i].answers ? slaves[i].state & kStateMask : 0;
        if (slaves[i].answers && slaves[i].state == kOp) {
            ready[i / 32] |= 1U << (i % 32);
        }
    }
    if (simulation) {
        simulation->set_states(states);
    }
    for (uint32_t word = 0; word < kSlaveReadyWords; ++word) {
        card::store32(&options.slave_ready[word], ready[word]);
    }
}

void Bus::State::clear_old_errors() {
    bool changed = false;
    const Clock::time_point now = Clock::now();
    for (Slave &slave : slaves) {
        if ((slave.state & kErrorFlag) != 0 && now - slave.error_since >= kAutoClearDelay) {
            slave.state = master;
            slave.al_status_code = 0;
            changed = true;
        }
    }
    if (changed) {
        refresh();
    }
}

// ---- the cycle --------------------------------------------------------------------------------

bool Bus::State::pop_output_queue() {
    const uint32_t written = card::load32(&area.output_queue_write);
    const uint32_t level = written - output_queue_read;
    if (level == 0) {
        return false;
    }
    if (level > kPiQueueEntries) { // no host counts like this: take up its count
        output_queue_read = written;
        card::store32(&area.output_queue_read, output_queue_read);
        return false;
    }
    const uint8_t *entry = area.output_queue[output_queue_read % kPiQueueEntries];
    std::memcpy(outputs.bytes, entry, network.output_bytes);
    output_flag = entry[kPiQueueFlagByte];
    card::store32(&area.output_queue_read, ++output_queue_read);
    return true;
}

// Queued images go out one per cycle; the triple buffer's newest image follows them.
void Bus::State::take_outputs() {
    if (!pop_output_queue()) {
        fast_outputs.take(outputs.bytes, network.output_bytes);
    }
}

// A full queue keeps what it has: the host reads the oldest images first.
void Bus::State::push_input_queue(const Image &image) {
    if (input_queue_write - card::load32(&area.input_queue_read) >= kPiQueueEntries) {
        ++dropped_inputs;
        return;
    }
    std::memcpy(area.input_queue[input_queue_write % kPiQueueEntries], image.bytes,
                network.input_bytes);
    card::store32(&area.input_queue_write, ++input_queue_write);
}

void Bus::State::cycle() {
    if (auto_clear) {
        clear_old_errors();
    }
    take_outputs();
    simulation->step(outputs);
    shadow_inputs.publish(simulation->inputs().bytes, network.input_bytes);
    push_input_queue(simulation->inputs());
    write_exchange(simulation->outputs());
    ++cycles;
}

// Deadlines are absolute. Cycles that were missed are left out, not made up for.
void Bus::State::run() {
    std::unique_lock lock(mutex);
    const auto period = std::chrono::microseconds(network.cycle_us);
    Clock::time_point deadline = Clock::now() + period;
    while (!wake.wait_until(lock, deadline, [this] { return stopping; })) {
        if (master == kSafeOp || master == kOp) {
            cycle();
            if (options.cycle_interrupt) {
                lock.unlock();
                options.cycle_interrupt();
                lock.lock();
            }
        }
        deadline += period;
        const Clock::time_point now = Clock::now();
        if (now > deadline) {
            deadline += (now - deadline) / period * period + period;
        }
    }
}

// ---- interface --------------------------------------------------------------------------------

Bus::Bus(BusOptions options) : state_(std::make_unique<State>(std::move(options))) {}

Bus::~Bus() {
    stop();
}

void Bus::configure(Network network) {
    stop();
    const std::scoped_lock lock(state_->mutex);
    State &s = *state_;
    s.network = std::move(network);
    s.configured = true;
    s.cycles = 0;
    s.master = s.requested = kInit;
    s.link_slaves();
    s.simulation.emplace(s.network);
    s.empty_area();
    s.refresh();
    s.log_order();
}

void Bus::start() {
    State &s = *state_;
    if (s.thread.joinable() || !configured()) {
        return;
    }
    s.stopping = false;
    s.thread = std::thread([&s] { s.run(); });
}

void Bus::stop() {
    State &s = *state_;
    if (s.thread.joinable()) {
        {
            const std::scoped_lock lock(s.mutex);
            s.stopping = true;
        }
        s.wake.notify_all();
        s.thread.join();
        if (s.dropped_inputs != 0) {
            s.log(std::to_string(s.dropped_inputs) + " input images found the queue full");
        }
    }
    const std::scoped_lock lock(s.mutex);
    s.master = s.requested = kInit;
    for (State::Slave &slave : s.slaves) {
        slave.state = kInit;
        slave.al_status_code = 0;
    }
    s.refresh();
}

void Bus::clear() {
    stop();
    const std::scoped_lock lock(state_->mutex);
    State &s = *state_;
    s.configured = false;
    s.simulation.reset();
    s.network = {};
    s.slaves.clear();
    s.states.clear();
    card::store32(&s.area.output_length, 0);
    card::store32(&s.area.input_length, 0);
}

bool Bus::configured() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->configured;
}

bool Bus::running() const {
    return state_->thread.joinable();
}

const Network &Bus::network() const {
    return state_->network;
}

uint64_t Bus::cycles() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->cycles;
}

bool Bus::request_state(uint8_t state) {
    if (!running() || !known_state(state)) {
        return false;
    }
    const std::scoped_lock lock(state_->mutex);
    State &s = *state_;
    const bool into_boot = state == kBoot && s.master != kInit && s.master != kBoot;
    const bool out_of_boot = s.master == kBoot && state != kInit && state != kBoot;
    if (into_boot || out_of_boot) {
        return false;
    }
    s.requested = state;
    do {
        s.step_all(s.master == state ? state : next_state(s.master, state));
    } while (s.master != state);
    s.refresh();
    return true;
}

uint8_t Bus::master_state() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->master;
}

uint8_t Bus::requested_master_state() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->requested;
}

Bus::SlaveStatus Bus::slave(uint32_t index) const {
    const std::scoped_lock lock(state_->mutex);
    const State &s = *state_;
    const State::Slave &slave = s.slaves[index];
    SlaveStatus status;
    status.requested = s.requested;
    if (!slave.answers) {
        status.state = 0;
        return status;
    }
    status.state = slave.state;
    status.al_status_code = slave.al_status_code;
    uint32_t dl = kPdiOperational;
    for (uint32_t port = 0; port < kPorts; ++port) {
        const uint32_t child = port == 0 ? kNoSlave : slave.children[port - 1];
        const bool linked = port == 0 || (child != kNoSlave && s.slaves[child].answers);
        dl |= linked ? port_link(port) | port_communication(port) : port_loop_closed(port);
    }
    status.dl_status = static_cast<uint16_t>(dl);
    return status;
}

uint32_t Bus::active_slaves() const {
    const std::scoped_lock lock(state_->mutex);
    uint32_t count = 0;
    for (const State::Slave &slave : state_->slaves) {
        count += slave.answers ? 1 : 0;
    }
    return count;
}

bool Bus::clear_slave_error(uint32_t index) {
    const std::scoped_lock lock(state_->mutex);
    State &s = *state_;
    if (index >= s.slaves.size() || !s.slaves[index].answers) {
        return false;
    }
    State::Slave &slave = s.slaves[index];
    if ((slave.state & kErrorFlag) != 0) {
        slave.state = s.master == kBoot ? kInit : s.master;
        slave.al_status_code = 0;
        s.refresh();
    }
    return true;
}

void Bus::set_auto_clear(bool on) {
    const std::scoped_lock lock(state_->mutex);
    state_->auto_clear = on;
}

bool Bus::auto_clear() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->auto_clear;
}

bool Bus::fault(uint32_t index, const std::string &fault) {
    const std::scoped_lock lock(state_->mutex);
    State &s = *state_;
    if (index >= s.slaves.size()) {
        return false;
    }
    State::Slave &slave = s.slaves[index];
    if (fault == "unplug") {
        slave.unplugged = true;
    } else if (fault == "safeop-error") {
        if (!slave.answers) {
            return false;
        }
        s.raise_error(index, kSafeOp, kSyncManagerWatchdog);
    } else if (fault == "none") {
        slave.unplugged = false;
        if ((slave.state & kErrorFlag) != 0) {
            slave.state = s.master == kBoot ? kInit : s.master;
            slave.al_status_code = 0;
        }
    } else {
        return false;
    }
    s.update_answers();
    s.refresh();
    return true;
}

} // namespace tarn::vcard
