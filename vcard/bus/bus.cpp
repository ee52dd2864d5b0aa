#include "vcard/bus/bus.h"

#include "base/card_memory.h"
#include "vcard/bus/bits.h"
#include "vcard/bus/cycle_clock.h"
#include "vcard/bus/esc.h"
#include "vcard/bus/ethercat.h"
#include "vcard/bus/simulation.h"
#include "vcard/bus/topology.h"
#include "vcard/bus/triple_buffer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace tarn::vcard {
namespace {

using Clock = std::chrono::steady_clock;

// AL status codes
constexpr uint16_t kMailboxCoe = 0x0043;
constexpr uint16_t kBootstrapNotSupported = 0x0013;
constexpr uint16_t kSyncManagerWatchdog = 0x001B;

// What of the library's table comes closest.
constexpr uint32_t kBufferLimit = 32807;
constexpr uint32_t kNoSignOfLife = 80003;

constexpr size_t kEscBytes = 0x10000;
constexpr auto kLateLook = std::chrono::milliseconds(10);
constexpr auto kAutoClearDelay = std::chrono::milliseconds(100);

bool known_state(uint8_t state) {
    return state == kInit || state == kPreOp || state == kBoot || state == kSafeOp || state == kOp;
}

// The next state on the way up or down; to and from BOOT the way is by INIT.
uint8_t next_state(uint8_t from, uint8_t to) {
    if (from != to && from != kInit && (from == kBoot || to == kBoot)) {
        return kInit;
    }
    if (to <= from || to == kBoot) {
        return to;
    }
    return from == kInit ? kPreOp : from == kPreOp ? kSafeOp : kOp;
}

} // namespace

// The lock guards all of it; the cycle thread holds it for a cycle, but neither while it waits nor
// for the interrupt.
struct Bus::State {
    struct Slave {
        uint8_t state = kInit; // with the error flag
        uint16_t al_status_code = 0;
        bool answers = true; // as it was when the cables were last looked at
        Clock::time_point error_since;
        bool command_failed = false; // a start command, and that is known already
    };

    explicit State(BusOptions given)
        : options(std::move(given)), area(*options.area),
          fast_outputs(&area.fast_output, area.fast_output_buffers, options.generation),
          shadow_inputs(&area.shadow_input, area.shadow_input_buffers, options.generation),
          eeproms(options.eeproms ? options.eeproms : std::make_shared<EepromStore>()),
          errors(options.utc_ns) {}

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
    void bring(uint32_t index, uint8_t to);
    void climb(uint32_t index);
    uint16_t run_commands(uint32_t index, Transition transition);
    void log_notes();
    void tell();
    SlaveView view(uint32_t index);
    void raise_error(uint32_t index, uint8_t state, uint16_t code);
    void update_answers();
    void observe(bool transition);
    void refresh();
    void load_eeproms();
    void take_al_control(uint32_t index, uint16_t control);
    [[nodiscard]] EscSurroundings surroundings();
    bool unplug(uint32_t index, std::optional<uint32_t> port);
    bool repair(uint32_t index);
    bool wait_late(std::unique_lock<std::mutex> &lock);
    void clear_old_errors();
    void take_outputs();
    bool pop_output_queue();
    void push_input_queue(const Image &image);
    void note_queue_restart(const char *queue);
    void watch_host();
    void cycle(Clock::time_point due);
    void run();

    BusOptions options;
    PiCardArea &area;
    FastOutputReader fast_outputs;
    ShadowInputWriter shadow_inputs;

    mutable std::mutex mutex;
    CycleClock clock;
    std::thread thread;

    bool configured = false;
    Network network;
    const std::shared_ptr<EepromStore> eeproms;
    EscMemories memories;
    Topology topology;
    ErrorList errors;
    BusDiagnostics diagnostics{errors};
    std::chrono::microseconds late_on_demand{0};
    std::vector<Slave> slaves;
    std::vector<SlaveCondition> conditions; // what the diagnostics see
    std::vector<uint8_t> states; // what the simulation sees: no error flag, 0 when not answering
    std::optional<Simulation> simulation;
    Image outputs; // last image taken from the host
    OutputWatchdog watchdog;
    uint32_t output_queue_read = 0;
    uint32_t input_queue_write = 0;
    uint32_t input_queue_start = 0; // the host's counter before this run
    bool input_queue_full = false;  // when the last image came
    bool input_queue_used = false;  // a host that never reads it misses nothing
    PiStatus pi;                    // what is counted; the rest is filled in when asked for
    uint32_t exchange_sequence = 0;
    uint8_t master = kInit;
    uint8_t requested = kInit;
    bool auto_clear = false;
    uint64_t cycles = 0;
    SlaveMailboxes mailboxes;
    std::vector<std::string> notes;       // for the log, whose thread is not the cycle thread
    std::atomic<bool> cycle_noted{false}; // there are notes that the cycle thread made
};

// ---- configuration ----------------------------------------------------------------------------

void Bus::State::link_slaves() {
    slaves.assign(network.slaves.size(), {});
    states.assign(network.slaves.size(), kInit);
    conditions.assign(network.slaves.size(), {});
    topology = Topology(network);
    diagnostics.configure(network, topology);
    load_eeproms();
}

// The slaves are powered up: what was written to their EEPROMs takes effect.
void Bus::State::load_eeproms() {
    for (uint32_t i = 0; i < network.slaves.size(); ++i) {
        SlaveConfig &slave = network.slaves[i];
        if (eeproms->written(i, slave)) {
            const SiiImage image = eeproms->find(i, slave);
            slave.alias = sii_valid(image) ? sii_alias(image) : uint16_t{0};
        }
    }
    memories.power_up(network);
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
    input_queue_start = input_queue_write;
    input_queue_full = false;
    input_queue_used = false;
    pi = {};
    outputs = {};
    fast_outputs.skip();
    const Image empty;
    shadow_inputs.publish(empty.bytes, network.input_bytes);
    write_exchange(empty);
}

// ---- states -----------------------------------------------------------------------------------

void Bus::State::raise_error(uint32_t index, uint8_t state, uint16_t code) {
    Slave &slave = slaves[index];
    if (const auto now = static_cast<uint8_t>(slave.state & kStateMask); now < state) {
        memories.change_state(index, now, state, *eeproms);
    }
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
    if (const uint16_t code = run_commands(index, {now, to}); code != 0 && to != kInit) {
        raise_error(index, now, code);
        return;
    }
    memories.change_state(index, now, to, *eeproms);
    slave.state = to;
    slave.al_status_code = 0;
}

SlaveView Bus::State::view(uint32_t index) {
    return {index, slaves[index].state, network.slaves[index], *simulation};
}

// Start commands of a transition, run in the lower of its states, or in the other one when that is
// INIT, which has no mailbox. Gives an AL status code.
uint16_t Bus::State::run_commands(uint32_t index, Transition transition) {
    if (!network.slaves[index].mailbox || !network.slaves[index].mailbox_config.coe ||
        transition.from == transition.to || transition.from == kBoot || transition.to == kBoot) {
        return 0;
    }
    SlaveView slave = view(index);
    const auto [lower, upper] = std::minmax(transition.from, transition.to);
    slave.state = lower == kInit ? upper : lower;
    bool &known = slaves[index].command_failed;
    if (std::optional<std::string> trouble = mailboxes.run_commands(slave, transition)) {
        if (!std::exchange(known, true)) {
            notes.push_back(std::move(*trouble));
        }
        return kMailboxCoe;
    }
    known = false;
    return transition == Transition{kPreOp, kSafeOp} ? mailboxes.check_process_data(index) : 0;
}

void Bus::State::log_notes() {
    for (const std::string &note : std::exchange(notes, {})) {
        log(note);
    }
}

// The same for notes of the cycle thread, which does not wait for the log.
void Bus::State::tell() {
    std::vector<std::string> lines;
    {
        const std::scoped_lock lock(mutex);
        cycle_noted = false;
        lines.swap(notes);
    }
    for (const std::string &line : lines) {
        log(line);
    }
}

// Brings a slave to a state, step by step, wherever it is; an error ends the way. A slave in error
// goes down at once, and from BOOT to INIT only.
void Bus::State::bring(uint32_t index, uint8_t to) {
    Slave &slave = slaves[index];
    const auto now = static_cast<uint8_t>(slave.state & kStateMask);
    if ((slave.state & kErrorFlag) != 0) {
        if (now != kBoot || to == kInit) {
            set_state(index, to);
        }
        return;
    }
    do {
        set_state(index, next_state(slave.state, to));
    } while (slave.answers && slave.state != to && (slave.state & kErrorFlag) == 0);
}

// Takes a slave's error away and brings it to the master's state, step by step.
void Bus::State::climb(uint32_t index) {
    Slave &slave = slaves[index];
    slave.state &= kStateMask;
    slave.al_status_code = 0;
    bring(index, master == kBoot ? kInit : master);
}

void Bus::State::step_all(uint8_t to) {
    for (uint32_t i = 0; i < slaves.size(); ++i) {
        bring(i, to);
    }
    master = to;
    observe(true);
}

void Bus::State::update_answers() {
    for (uint32_t i = 0; i < slaves.size(); ++i) {
        Slave &slave = slaves[i];
        const bool before = slave.answers;
        slave.answers = topology.answers(i);
        if (slave.answers && !before) { // plugged in again: the master brings it to its own state
            slave.state = kInit;
            memories.restart(i);
            climb(i);
        }
    }
}

void Bus::State::observe(bool transition) {
    for (size_t i = 0; i < slaves.size(); ++i) {
        const Slave &slave = slaves[i];
        conditions[i] =
            slave.answers ? SlaveCondition{slave.state, slave.al_status_code} : SlaveCondition{};
    }
    diagnostics.observe(master, requested, conditions, transition);
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
    observe(false);
}

void Bus::State::clear_old_errors() {
    bool changed = false;
    const Clock::time_point now = Clock::now();
    for (Slave &slave : slaves) {
        if ((slave.state & kErrorFlag) != 0 && now - slave.error_since >= kAutoClearDelay) {
            climb(static_cast<uint32_t>(&slave - slaves.data()));
            cycle_noted = cycle_noted || !notes.empty();
            changed = true;
        }
    }
    if (changed) {
        refresh();
    }
}

// ---- the cycle --------------------------------------------------------------------------------

// No host counts like this: the queue begins anew where the host's counter stands.
void Bus::State::note_queue_restart(const char *queue) {
    ++pi.queue_restarts;
    notes.push_back(std::string(queue) + " queue: impossible counters, begun anew");
    cycle_noted = true;
}

bool Bus::State::pop_output_queue() {
    const uint32_t written = card::load32(&area.output_queue_write);
    const uint32_t level = written - output_queue_read;
    if (level == 0) {
        return false;
    }
    if (level > kPiQueueEntries) {
        output_queue_read = written;
        card::store32(&area.output_queue_read, output_queue_read);
        note_queue_restart("output");
        return false;
    }
    const uint8_t *entry = area.output_queue[output_queue_read % kPiQueueEntries];
    std::memcpy(outputs.bytes, entry, network.output_bytes);
    if (network.output_bytes <= kPiQueueFlagByte) {
        pi.output_flag = entry[kPiQueueFlagByte];
    }
    ++pi.outputs_taken;
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
    const uint32_t read = card::load32(&area.input_queue_read);
    const uint32_t level = input_queue_write - read;
    input_queue_used = input_queue_used || read != input_queue_start;
    if (level > kPiQueueEntries) {
        input_queue_write = read;
        note_queue_restart("input");
    }
    const bool full = level == kPiQueueEntries;
    if (full) {
        ++pi.inputs_dropped;
        if (input_queue_used && !std::exchange(input_queue_full, full)) {
            errors.add({VCARD_ERROR_QUEUE_FULL, kBufferLimit, VCARD_NO_SLAVE, 0xFFFF, 0,
                        "input images found the queue full"});
        }
        return;
    }
    input_queue_full = false;
    std::memcpy(area.input_queue[input_queue_write % kPiQueueEntries], image.bytes,
                network.input_bytes);
    card::store32(&area.input_queue_write, ++input_queue_write);
}

void Bus::State::watch_host() {
    const auto event = watchdog.look(Clock::now(), card::load32(&area.access_counter));
    if (event == OutputWatchdog::Event::None) {
        return;
    }
    const OutputWatchdog::Status status = watchdog.status();
    const std::string name = status.label.empty() ? "watchdog" : "watchdog " + status.label;
    if (event == OutputWatchdog::Event::Released) {
        notes.push_back(name + " fed again: the host's outputs count");
    } else {
        const std::string text = name + " expired after " + std::to_string(status.timeout_ms) +
                                 " ms: safe data in " + std::to_string(status.slaves) +
                                 (status.slaves == 1 ? " slave" : " slaves");
        errors.add({VCARD_ERROR_WATCHDOG, kNoSignOfLife, VCARD_NO_SLAVE, 0xFFFF, 0, text});
        notes.push_back(text);
    }
    cycle_noted = true;
}

// Slaves see nothing of a cycle whose frames are lost, and the host reads the inputs of before.
void Bus::State::cycle(Clock::time_point due) {
    if (auto_clear) {
        clear_old_errors();
    }
    take_outputs();
    watch_host();
    if (diagnostics.begin_cycle(due, Clock::now())) {
        if (watchdog.expired()) {
            Image safe = outputs;
            watchdog.apply(safe);
            simulation->step(safe);
        } else {
            simulation->step(outputs);
        }
    }
    shadow_inputs.publish(simulation->inputs().bytes, network.input_bytes);
    push_input_queue(simulation->inputs());
    write_exchange(simulation->outputs());
    ++cycles;
}

// The late cycle on demand, which a demand of 0 ends. False when the bus is to stop.
bool Bus::State::wait_late(std::unique_lock<std::mutex> &lock) {
    if (late_on_demand.count() == 0 || (master != kSafeOp && master != kOp)) {
        return true;
    }
    const Clock::time_point begin = Clock::now();
    for (Clock::time_point now = begin; now < begin + late_on_demand; now = Clock::now()) {
        const Clock::time_point look = std::min(begin + late_on_demand, now + kLateLook);
        lock.unlock();
        const bool go_on = clock.wait_until(look);
        lock.lock();
        if (!go_on) {
            return false;
        }
    }
    const auto waited = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
    const auto wanted = std::exchange(late_on_demand, std::chrono::microseconds(0));
    diagnostics.note_late_cycle(wanted.count() != 0 ? wanted : waited);
    return true;
}

// Deadlines are absolute. Cycles that were missed are left out, not made up for.
void Bus::State::run() {
    const auto period = std::chrono::microseconds(network.cycle_us);
    Clock::time_point deadline = Clock::now() + period;
    while (clock.wait_until(deadline)) {
        std::unique_lock lock(mutex);
        if (!wait_late(lock)) {
            return;
        }
        const bool exchanging = master == kSafeOp || master == kOp;
        if (exchanging) {
            cycle(deadline);
        } else {
            diagnostics.interrupt_cycles();
            watchdog.rest();
        }
        lock.unlock();
        if (exchanging && options.cycle_interrupt) {
            options.cycle_interrupt();
        }
        deadline += period;
        const Clock::time_point now = Clock::now();
        if (now > deadline) {
            const auto missed = (now - deadline) / period + 1;
            deadline += missed * period;
            lock.lock();
            pi.cycles_left_out += exchanging ? static_cast<uint64_t>(missed) : 0;
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
    s.mailboxes.configure(s.network);
    s.simulation.emplace(s.network);
    s.watchdog.configure(s.network);
    s.empty_area();
    s.refresh();
    s.log_order();
}

void Bus::start() {
    State &s = *state_;
    if (s.thread.joinable() || !configured()) {
        return;
    }
    s.clock.reset();
    s.diagnostics.start(Clock::now());
    s.thread = std::thread([&s] { s.run(); });
}

void Bus::stop() {
    State &s = *state_;
    if (s.thread.joinable()) {
        s.clock.interrupt();
        s.thread.join();
        s.tell();
        if (s.input_queue_used && s.pi.inputs_dropped != 0) {
            s.log(std::to_string(s.pi.inputs_dropped) + " input images found the queue full");
        }
    }
    const std::scoped_lock lock(s.mutex);
    s.log_notes();
    s.late_on_demand = std::chrono::microseconds(0);
    s.watchdog.stop();
    s.diagnostics.stop(Clock::now());
    s.master = s.requested = kInit;
    for (State::Slave &slave : s.slaves) {
        s.memories.change_state(static_cast<uint32_t>(&slave - s.slaves.data()),
                                slave.state & kStateMask, kInit, *s.eeproms);
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
    s.watchdog.clear();
    s.mailboxes.clear();
    s.network = {};
    s.slaves.clear();
    s.conditions.clear();
    s.states.clear();
    s.diagnostics.clear();
    s.memories.clear();
    s.topology = {};
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
    s.log_notes();
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
    status.dl_status = s.topology.dl_status(index);
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
        s.climb(index);
        s.refresh();
        s.log_notes();
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

// ---- registers and EEPROM ---------------------------------------------------------------------

EscSurroundings Bus::State::surroundings() {
    return {network,
            topology,
            diagnostics,
            *eeproms,
            simulation->outputs(),
            simulation->inputs(),
            errors.time_ns()};
}

void Bus::State::take_al_control(uint32_t index, uint16_t control) {
    Slave &slave = slaves[index];
    const std::optional<AlAnswer> answer = answer_al_control(slave.state, control);
    if (!answer) {
        return;
    }
    slave.state &= kStateMask;
    slave.al_status_code = 0;
    if (answer->code != 0) {
        raise_error(index, answer->state, answer->code);
    } else {
        set_state(index, answer->state);
    }
    refresh();
}

Bus::Access Bus::read_memory(uint32_t index, uint32_t address, std::span<uint8_t> data) {
    const std::scoped_lock lock(state_->mutex);
    State &s = *state_;
    if (size_t{address} + data.size() > kEscBytes) {
        return Access::OutOfRange;
    }
    if (!s.slaves[index].answers) {
        return Access::NoAnswer;
    }
    const State::Slave &slave = s.slaves[index];
    s.memories.at(index, slave.state & kStateMask, *s.eeproms)
        .read(address, data, {slave.state, slave.al_status_code}, s.surroundings());
    return Access::Done;
}

Bus::Access Bus::write_memory(uint32_t index, uint32_t address, std::span<const uint8_t> data) {
    const std::scoped_lock lock(state_->mutex);
    State &s = *state_;
    if (size_t{address} + data.size() > kEscBytes) {
        return Access::OutOfRange;
    }
    if (!s.slaves[index].answers) {
        return Access::NoAnswer;
    }
    EscMemory &memory = s.memories.at(index, s.slaves[index].state & kStateMask, *s.eeproms);
    if (const auto control = memory.write(address, data, s.surroundings())) {
        s.take_al_control(index, *control);
    }
    s.log_notes();
    return Access::Done;
}

Bus::Access Bus::read_eeprom(uint32_t index, uint32_t word, std::span<uint8_t> data) {
    const std::scoped_lock lock(state_->mutex);
    if (!state_->slaves[index].answers) {
        return Access::NoAnswer;
    }
    const SiiImage image = state_->eeproms->find(index, state_->network.slaves[index]);
    if (size_t{word} * 2 + data.size() > image.size()) {
        return Access::OutOfRange;
    }
    std::copy_n(image.begin() + static_cast<ptrdiff_t>(word) * 2, data.size(), data.begin());
    return Access::Done;
}

Bus::Access Bus::write_eeprom(uint32_t index, uint32_t word, std::span<const uint8_t> data) {
    const std::scoped_lock lock(state_->mutex);
    if (!state_->slaves[index].answers) {
        return Access::NoAnswer;
    }
    const SlaveConfig &slave = state_->network.slaves[index];
    SiiImage image = state_->eeproms->find(index, slave);
    if (size_t{word} * 2 + data.size() > image.size()) {
        return Access::OutOfRange;
    }
    if (!data.empty()) {
        std::copy(data.begin(), data.end(), image.begin() + static_cast<ptrdiff_t>(word) * 2);
        state_->eeproms->store(index, slave, std::move(image));
    }
    return Access::Done;
}

// ---- faults -----------------------------------------------------------------------------------

bool Bus::State::unplug(uint32_t index, std::optional<uint32_t> port) {
    if (!port) {
        topology.unplug(index);
        return true;
    }
    return topology.unplug(index, *port);
}

bool Bus::State::repair(uint32_t index) {
    Slave &slave = slaves[index];
    topology.plug_in(index);
    mailboxes.end_faults(index);
    if ((slave.state & kErrorFlag) != 0) {
        climb(index);
    }
    return true;
}

namespace {

constexpr std::pair<const char *, PortCounter> kPortFaults[] = {
    {"crc-errors", PortCounter::Crc},
    {"rx-errors", PortCounter::Rx},
    {"forwarded-errors", PortCounter::Forwarded},
};

} // namespace

bool Bus::fault(uint32_t index, const std::string &fault, const SlaveFaultArguments &arguments) {
    const std::scoped_lock lock(state_->mutex);
    State &s = *state_;
    if (index >= s.slaves.size()) {
        return false;
    }
    for (const auto &[name, counter] : kPortFaults) {
        if (fault == name) {
            return s.diagnostics.add_port_errors(index, arguments.port.value_or(0), counter,
                                                 arguments.number);
        }
    }
    if (s.mailboxes.set_fault(index, fault)) {
        return true;
    }
    bool done = false;
    if (fault == "unplug") {
        done = s.unplug(index, arguments.port);
    } else if (fault == "none") {
        done = s.repair(index);
    } else if ((fault == "safeop-error" || fault == "al-status") && s.slaves[index].answers) {
        s.raise_error(index, kSafeOp,
                      fault == "al-status" ? static_cast<uint16_t>(arguments.number)
                                           : kSyncManagerWatchdog);
        done = true;
    }
    if (done) {
        s.update_answers();
        s.refresh();
        s.log_notes();
    }
    return done;
}

bool Bus::bus_fault(const std::string &fault, uint32_t number) {
    if (!running()) {
        return false;
    }
    const std::scoped_lock lock(state_->mutex);
    if (fault == "lose-frames") {
        state_->diagnostics.lose_frames(number);
    } else if (fault == "late-cycle") {
        state_->late_on_demand = std::chrono::microseconds(number);
    } else {
        return false;
    }
    return true;
}

uint32_t Bus::read_object(uint32_t index, const ObjectAddress &address,
                          std::vector<uint8_t> &data) {
    const std::scoped_lock lock(state_->mutex);
    return state_->mailboxes.dictionary(index).read(address, state_->view(index), data);
}

uint32_t Bus::write_object(uint32_t index, const ObjectAddress &address,
                           std::span<const uint8_t> data) {
    const std::scoped_lock lock(state_->mutex);
    SlaveView slave = state_->view(index);
    return state_->mailboxes.dictionary(index).write(address, slave, data);
}

MailboxFaults Bus::mailbox_faults(uint32_t index) const {
    const std::scoped_lock lock(state_->mutex);
    return state_->mailboxes.faults(index);
}

void Bus::use_watchdog(const std::function<void(OutputWatchdog &)> &use) {
    const std::scoped_lock lock(state_->mutex);
    use(state_->watchdog);
}

void Bus::tell() {
    if (state_->cycle_noted) {
        state_->tell();
    }
}

Bus::PiStatus Bus::pi_status() const {
    const std::scoped_lock lock(state_->mutex);
    const State &s = *state_;
    PiStatus status = s.pi;
    status.cycles = s.cycles;
    status.input_queue =
        std::min(s.input_queue_write - card::load32(&s.area.input_queue_read), kPiQueueEntries);
    status.output_queue =
        std::min(card::load32(&s.area.output_queue_write) - s.output_queue_read, kPiQueueEntries);
    status.watchdog = s.watchdog.status();
    return status;
}

void Bus::read_diagnostics(const std::function<void(const BusDiagnostics &)> &read) const {
    const std::scoped_lock lock(state_->mutex);
    read(state_->diagnostics);
}

ErrorList &Bus::errors() {
    return state_->errors;
}

} // namespace tarn::vcard
