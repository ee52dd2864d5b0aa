#include "vcard/bus/diagnostics.h"

#include "vcard/bus/ethercat.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace tarn::vcard {
namespace {

// What of the library's table comes closest.
constexpr uint32_t kTransitionError = 32788;
constexpr uint32_t kInvalidSlaveState = 32795;
constexpr uint32_t kFrameTimeout = 32829;
constexpr uint32_t kFrameError = 34305;
constexpr uint32_t kSendingTimeout = 34310;
constexpr uint32_t kSlaveDisconnect = 80014;

// What a slave adds for inputs and for outputs; a command that reads and writes counts outputs
// twice.
constexpr uint32_t kReadWkc = 1;
constexpr uint32_t kWriteWkc = 1;
constexpr uint32_t kReadWriteWkc = 2;

constexpr int32_t kLargestDifference = 60;
constexpr int32_t kDifferenceStep = 8;

template <typename T>
void add(T &counter, uint64_t count) {
    const T room = std::numeric_limits<T>::max() - counter;
    counter += static_cast<T>(std::min<uint64_t>(room, count));
}

void flag(uint32_t &flags, bool set, uint32_t bit) {
    flags |= set ? bit : 0;
}

uint16_t cut16(uint32_t value) {
    return static_cast<uint16_t>(std::min<uint32_t>(value, 0xFFFF));
}

uint32_t cut32(uint64_t value) {
    return static_cast<uint32_t>(std::min<uint64_t>(value, 0xFFFFFFFF));
}

uint64_t ns(std::chrono::steady_clock::duration time) {
    return time.count() <= 0
               ? 0
               : static_cast<uint64_t>(
                     std::chrono::duration_cast<std::chrono::nanoseconds>(time).count());
}

// Slaves take outputs from the frames from SAFEOP on, even if they do nothing with them yet.
uint32_t part_of_wkc(const SlaveConfig &slave, uint8_t state) {
    const uint32_t inputs = slave.inputs.length != 0 ? kReadWkc : 0;
    const uint32_t outputs = slave.outputs.length == 0 ? 0
                             : slave.written_only      ? kWriteWkc
                                                       : kReadWriteWkc;
    return state == kOp || state == kSafeOp ? inputs + outputs : 0;
}

std::string hex(uint16_t value) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "0x";
    for (int shift = 12; shift >= 0; shift -= 4) {
        text += kDigits[(value >> shift) & 0xF];
    }
    return text;
}

std::string counted(uint32_t count, const std::string &thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::string loss_text(uint32_t count) {
    return counted(count, "frame") + " did not come back";
}

const char *text_of(PortCounter counter) {
    switch (counter) {
    case PortCounter::Crc:
        return "damaged frame";
    case PortCounter::Rx:
        return "receive error";
    case PortCounter::Forwarded:
        return "forwarded error";
    case PortCounter::LinkLost:
        break;
    }
    return "lost link";
}

} // namespace

// ---- start and stop ---------------------------------------------------------------------------

void BusDiagnostics::configure(const Network &network, const Topology &topology) {
    clear();
    network_ = &network;
    topology_ = &topology;
    slaves_.assign(network.slaves.size(), {});
    errors_before_ = errors_.count();
    for (uint32_t i = 0; i < slaves_.size(); ++i) {
        slaves_[i].now.state = kInit;
        if (network.slaves[i].dc) {
            clocks_.push_back(i);
        }
    }
    if (!clocks_.empty()) {
        const auto stated = std::find_if(clocks_.begin(), clocks_.end(), [&network](uint32_t i) {
            return network.slaves[i].dc_config.reference_clock;
        });
        const auto reference = stated != clocks_.end() ? stated : clocks_.begin();
        reference_ = *reference;
        clocks_.erase(reference);
    }
    counts_.cycle_time_ns = network.cycle_us * 1000;
    counts_.frames_per_cycle = network.frames_per_cycle;
}

void BusDiagnostics::clear() {
    slaves_.clear();
    wrong_.clear();
    clocks_.clear();
    reference_ = VCARD_NO_SLAVE;
    next_clock_ = 0;
    master_ = requested_ = kInit;
    wkc_now_ = expected_wkc_ = last_wkc_ = 0;
    frames_to_lose_ = loss_entry_ = loss_length_ = 0;
    errors_before_ = errors_.count();
    started_.reset();
    last_begin_.reset();
    ran_ns_ = measured_ns_ = measured_cycles_ = 0;
    counts_ = {};
}

void BusDiagnostics::start(Time now) {
    started_ = now;
}

void BusDiagnostics::stop(Time now) {
    if (started_) {
        ran_ns_ += ns(now - *started_);
        started_.reset();
    }
    interrupt_cycles();
}

// ---- states and links -------------------------------------------------------------------------

void BusDiagnostics::observe(uint8_t master, uint8_t requested,
                             std::span<const SlaveCondition> slaves, bool transition) {
    master_ = master;
    requested_ = requested;
    observe_links();
    for (uint32_t i = 0; i < slaves_.size(); ++i) {
        observe_slave(i, slaves[i], transition);
    }
    count_working_counters();
}

void BusDiagnostics::observe_slave(uint32_t index, const SlaveCondition &seen, bool transition) {
    Slave &slave = slaves_[index];
    const SlaveCondition before = slave.now;
    if (before.state == seen.state && before.al_status_code == seen.al_status_code) {
        return;
    }
    slave.now = seen;
    if (seen.al_status_code != 0) {
        slave.last_al_status_code = seen.al_status_code;
    }
    if (before.state != seen.state) {
        slave.previous_state = before.state;
        slave.changed_ns = errors_.time_ns();
        add(slave.state_changes, 1);
        add(counts_.state_changes, 1);
    }
    if (seen.state == 0) {
        slave.dc_ns = 0;
        add(slave.times_lost, 1);
        note_slave_lost(index);
    } else if ((seen.state & VCARD_STATE_ERROR) != 0) {
        const bool refused = transition && (before.state & VCARD_STATE_ERROR) == 0;
        errors_.add({refused ? VCARD_ERROR_TRANSITION : VCARD_ERROR_SLAVE_STATE,
                     refused ? kTransitionError : kInvalidSlaveState, static_cast<uint16_t>(index),
                     0xFFFF, seen.al_status_code,
                     name_of(index) + (refused ? " refuses a state" : " shows an error") +
                         ", AL status code " + hex(seen.al_status_code)});
    }
}

// Of several slaves that are lost with one cable only the first is listed.
void BusDiagnostics::note_slave_lost(uint32_t slave) {
    if (topology_->plugged(slave, 0)) {
        return;
    }
    const uint32_t behind = topology_->behind(slave);
    errors_.add({VCARD_ERROR_SLAVE_LOST, kSlaveDisconnect, static_cast<uint16_t>(slave), 0xFFFF, 0,
                 name_of(slave) +
                     (behind == 0 ? " does not answer"
                                  : " and " + std::to_string(behind) + " behind do not answer")});
}

void BusDiagnostics::observe_links() {
    for (uint32_t i = 0; i < slaves_.size(); ++i) {
        for (uint32_t p = 0; p < VCARD_PORTS; ++p) {
            Port &port = slaves_[i].ports[p];
            const bool link = !down(i, p);
            if (link == port.link) {
                continue;
            }
            port.link = link;
            port.changed_ns = errors_.time_ns();
            if (!link) {
                add(port.counts[static_cast<size_t>(PortCounter::LinkLost)], 1);
            }
            if (!link && p == 0) { // each cable leads to one port 0
                add(counts_.links_lost, 1);
                note_link_down(i);
            }
        }
    }
}

// Listed at the end that is nearer to the master.
void BusDiagnostics::note_link_down(uint32_t slave) {
    uint32_t upper = topology_->neighbour(slave, 0);
    uint32_t port = topology_->neighbour_port(slave, 0);
    if (upper == Topology::kMaster || port == Topology::kPorts) {
        upper = slave;
        port = 0;
    }
    errors_.add({VCARD_ERROR_LINK_DOWN, kSlaveDisconnect, static_cast<uint16_t>(upper),
                 static_cast<uint16_t>(port), 0,
                 "no link at port " + std::to_string(port) + " of " + name_of(upper)});
}

void BusDiagnostics::count_working_counters() {
    wrong_.clear();
    wkc_now_ = expected_wkc_ = 0;
    for (uint32_t i = 0; i < slaves_.size(); ++i) {
        Slave &slave = slaves_[i];
        slave.expected_wkc = part_of_wkc(network_->slaves[i], master_);
        slave.wkc = part_of_wkc(network_->slaves[i], slave.now.state & kStateMask);
        expected_wkc_ += slave.expected_wkc;
        wkc_now_ += slave.wkc;
        if (slave.wkc != slave.expected_wkc) {
            wrong_.push_back(i);
        }
    }
    if (master_ != kSafeOp && master_ != kOp) {
        last_wkc_ = 0; // nothing is exchanged
    }
}

// ---- the cycle --------------------------------------------------------------------------------

bool BusDiagnostics::begin_cycle(Time due, Time now) {
    measure_cycle(due, now);
    step_clocks();
    add(counts_.frames_sent, counts_.frames_per_cycle);
    if (const uint32_t lost = take_lost_frames(); lost != 0) {
        add(counts_.frames_lost, lost);
        loss_length_ += lost;
        if (!errors_.change(loss_entry_, loss_text(loss_length_))) {
            loss_entry_ = errors_.add({VCARD_ERROR_FRAMES_LOST, kFrameTimeout, VCARD_NO_SLAVE,
                                       0xFFFF, 0, loss_text(loss_length_)});
        }
        return false;
    }
    loss_entry_ = loss_length_ = 0;
    last_wkc_ = wkc_now_;
    if (!wrong_.empty()) {
        add(counts_.wkc_errors, 1);
        for (const uint32_t slave : wrong_) {
            add(slaves_[slave].wkc_errors, 1);
        }
    }
    return true;
}

void BusDiagnostics::measure_cycle(Time due, Time now) {
    add(counts_.cycles, 1);
    const uint64_t late = ns(now - due);
    if (late > counts_.cycle_time_ns / 2) {
        add(counts_.late_cycles, 1);
    }
    counts_.latest_ns = std::max(counts_.latest_ns, cut32(late));
    if (last_begin_) {
        const uint64_t time = ns(now - *last_begin_);
        const uint32_t cut = cut32(time);
        counts_.cycle_min_ns = measured_cycles_ == 0 ? cut : std::min(counts_.cycle_min_ns, cut);
        counts_.cycle_max_ns = std::max(counts_.cycle_max_ns, cut);
        measured_ns_ += time;
        ++measured_cycles_;
    }
    last_begin_ = now;
}

uint32_t BusDiagnostics::take_lost_frames() {
    const uint32_t lost = std::min(frames_to_lose_, counts_.frames_per_cycle);
    frames_to_lose_ -= lost;
    return lost;
}

// The master asks one slave per cycle for its difference, as a frame has room for one. It wanders
// about 0.
void BusDiagnostics::step_clocks() {
    if (clocks_.empty()) {
        return;
    }
    next_clock_ = (next_clock_ + 1) % clocks_.size();
    Slave &slave = slaves_[clocks_[next_clock_]];
    const uint8_t state = slave.now.state & kStateMask;
    if (state != kSafeOp && state != kOp) {
        slave.dc_ns = 0;
        return;
    }
    const auto step = static_cast<int32_t>(random_() % (2 * kDifferenceStep + 1)) - kDifferenceStep;
    slave.dc_ns =
        std::clamp(slave.dc_ns - slave.dc_ns / 8 + step, -kLargestDifference, kLargestDifference);
    counts_.dc_largest_ns =
        std::max(counts_.dc_largest_ns, static_cast<uint32_t>(std::abs(slave.dc_ns)));
}

void BusDiagnostics::note_late_cycle(std::chrono::microseconds time) {
    errors_.add({VCARD_ERROR_LATE_CYCLE, kSendingTimeout, VCARD_NO_SLAVE, 0xFFFF, 0,
                 "a cycle began " + std::to_string(time.count()) + " us late"});
}

bool BusDiagnostics::add_port_errors(uint32_t slave, uint32_t port, PortCounter counter,
                                     uint32_t count) {
    if (slave >= slaves_.size() || port >= VCARD_PORTS || !configured(slave, port) ||
        !topology_->answers(slave)) {
        return false;
    }
    add(slaves_[slave].ports[port].counts[static_cast<size_t>(counter)], count);
    if (counter == PortCounter::Crc && count != 0) {
        add(counts_.crc_errors, count);
    }
    if (count != 0) {
        errors_.add({VCARD_ERROR_CRC, kFrameError, static_cast<uint16_t>(slave),
                     static_cast<uint16_t>(port), 0,
                     counted(count, text_of(counter)) + " at port " + std::to_string(port) +
                         " of " + name_of(slave)});
    }
    return true;
}

// ---- records ----------------------------------------------------------------------------------

std::string BusDiagnostics::name_of(uint32_t slave) const {
    return "slave " + std::to_string(slave) + " \"" + network_->slaves[slave].name + "\"";
}

bool BusDiagnostics::configured(uint32_t slave, uint32_t port) const {
    return topology_->neighbour(slave, port) != Topology::kNobody;
}

bool BusDiagnostics::down(uint32_t slave, uint32_t port) const {
    return configured(slave, port) && !topology_->plugged(slave, port);
}

bool BusDiagnostics::different(const Slave &slave) const {
    return slave.now.state != requested_;
}

VcardMasterDiagnostics BusDiagnostics::master(Time now) const {
    VcardMasterDiagnostics record{};
    record.frames_sent = counts_.frames_sent;
    record.frames_lost = counts_.frames_lost;
    record.cycles = counts_.cycles;
    record.late_cycles = counts_.late_cycles;
    record.wkc_errors = counts_.wkc_errors;
    record.state_changes = counts_.state_changes;
    record.links_lost = counts_.links_lost;
    record.crc_errors = counts_.crc_errors;
    record.cycle_time_ns = counts_.cycle_time_ns;
    record.cycle_min_ns = counts_.cycle_min_ns;
    record.cycle_max_ns = counts_.cycle_max_ns;
    record.latest_ns = counts_.latest_ns;
    record.dc_largest_ns = counts_.dc_largest_ns;
    record.frames_per_cycle = cut16(counts_.frames_per_cycle);
    record.run_time_ns = ran_ns_ + (started_ ? ns(now - *started_) : 0);
    record.cycle_mean_ns = measured_cycles_ == 0 ? 0 : cut32(measured_ns_ / measured_cycles_);
    for (const uint32_t clock : clocks_) {
        record.dc_difference_ns = std::max(uint32_t{record.dc_difference_ns},
                                           static_cast<uint32_t>(std::abs(slaves_[clock].dc_ns)));
    }
    record.working_counter = last_wkc_;
    record.expected_counter = expected_wkc_;
    record.errors_listed = errors_.count() - errors_before_;
    record.flags = master_flags();
    record.slaves_configured = static_cast<uint16_t>(slaves_.size());
    record.dc_slaves =
        static_cast<uint16_t>(clocks_.size() + (reference_ != VCARD_NO_SLAVE ? 1 : 0));
    record.dc_reference = static_cast<uint16_t>(reference_);
    record.state = master_;
    record.requested_state = requested_;
    uint32_t present = 0;
    uint32_t operational = 0;
    uint32_t in_error = 0;
    uint32_t links_down = 0;
    for (uint32_t i = 0; i < slaves_.size(); ++i) {
        const uint8_t state = slaves_[i].now.state;
        present += state != 0 ? 1U : 0U;
        operational += state == kOp ? 1U : 0U;
        in_error += (state & VCARD_STATE_ERROR) != 0 ? 1U : 0U;
        links_down += down(i, 0) ? 1U : 0U;
    }
    record.slaves_present = cut16(present);
    record.slaves_operational = cut16(operational);
    record.slaves_in_error = cut16(in_error);
    record.links_down = cut16(links_down);
    return record;
}

uint32_t BusDiagnostics::master_flags() const {
    uint32_t flags = 0;
    flag(flags, counts_.frames_lost != 0, VCARD_MASTER_FRAMES_LOST);
    flag(flags, counts_.late_cycles != 0, VCARD_MASTER_LATE_CYCLES);
    flag(flags, !wrong_.empty(), VCARD_MASTER_WKC_WRONG);
    flag(flags, counts_.crc_errors != 0, VCARD_MASTER_CRC_ERRORS);
    flag(flags, errors_.count() != errors_before_, VCARD_MASTER_ERROR_LISTED);
    for (uint32_t i = 0; i < slaves_.size(); ++i) {
        const Slave &slave = slaves_[i];
        flag(flags, slave.now.state == 0, VCARD_MASTER_SLAVE_ABSENT);
        flag(flags, (slave.now.state & VCARD_STATE_ERROR) != 0, VCARD_MASTER_SLAVE_ERROR);
        flag(flags, different(slave), VCARD_MASTER_STATE_DIFFERENT);
        flag(flags, down(i, 0), VCARD_MASTER_LINK_DOWN);
    }
    return flags;
}

VcardSlaveDiagnostics BusDiagnostics::slave(uint32_t index) const {
    const Slave &slave = slaves_[index];
    VcardSlaveDiagnostics record{};
    record.state = slave.now.state;
    record.requested_state = requested_;
    record.al_status_code = slave.now.al_status_code;
    record.state_changes = slave.state_changes;
    record.wkc_errors = slave.wkc_errors;
    record.times_lost = slave.times_lost;
    for (uint32_t p = 0; p < VCARD_PORTS; ++p) {
        record.crc_errors[p] = cut16(slave.ports[p].count(PortCounter::Crc));
        record.links_lost[p] = cut16(slave.ports[p].count(PortCounter::LinkLost));
    }
    record.dc_difference_ns = slave.dc_ns;
    record.dl_status = topology_->dl_status(index);
    record.fixed_address = network_->slaves[index].fixed_address;
    return record;
}

uint32_t BusDiagnostics::slave_flags(uint32_t index) const {
    const Slave &slave = slaves_[index];
    uint32_t flags = 0;
    flag(flags, slave.now.state == 0, VCARD_SLAVE_ABSENT);
    flag(flags, (slave.now.state & VCARD_STATE_ERROR) != 0, VCARD_SLAVE_ERROR);
    flag(flags, different(slave), VCARD_SLAVE_STATE_DIFFERENT);
    flag(flags, slave.wkc != slave.expected_wkc, VCARD_SLAVE_WKC_WRONG);
    flag(flags, slave.times_lost != 0, VCARD_SLAVE_WAS_LOST);
    flag(flags, slave.wkc_errors != 0, VCARD_SLAVE_WKC_ERRORS);
    flag(flags, network_->slaves[index].dc, VCARD_SLAVE_DC);
    for (uint32_t p = 0; p < VCARD_PORTS; ++p) {
        flag(flags, slave.ports[p].count(PortCounter::Crc) != 0, VCARD_SLAVE_CRC_ERRORS);
        flag(flags, down(index, p), VCARD_SLAVE_LINK_DOWN_0 << p);
    }
    return flags;
}

VcardSlaveDetail BusDiagnostics::detail(uint32_t index) const {
    const Slave &slave = slaves_[index];
    VcardSlaveDetail record{};
    record.changed_ns = slave.changed_ns;
    record.state = slave.now.state;
    record.previous_state = slave.previous_state;
    record.last_al_status_code = slave.last_al_status_code;
    record.working_counter = static_cast<uint16_t>(slave.wkc);
    record.expected_counter = static_cast<uint16_t>(slave.expected_wkc);
    return record;
}

uint16_t BusDiagnostics::index_of(uint32_t neighbour) const {
    return neighbour == Topology::kMaster   ? VCARD_MASTER
           : neighbour == Topology::kNobody ? VCARD_NO_SLAVE
                                            : static_cast<uint16_t>(neighbour);
}

VcardPortStatus BusDiagnostics::port_status(uint32_t slave, uint32_t port) const {
    const Port &counts = slaves_[slave].ports[port];
    const uint32_t neighbour = topology_->neighbour(slave, port);
    const uint32_t neighbour_port = topology_->neighbour_port(slave, port);
    const bool answers = topology_->answers(slave);
    const bool link = answers && topology_->plugged(slave, port);
    VcardPortStatus record{};
    record.link = link ? 1 : 0;
    record.loop_closed = answers && !link ? 1 : 0;
    record.communication = link ? 1 : 0;
    record.configured = neighbour != Topology::kNobody ? 1 : 0;
    record.neighbour = index_of(neighbour);
    record.neighbour_port =
        neighbour_port == Topology::kPorts ? 0xFF : static_cast<uint8_t>(neighbour_port);
    record.down = down(slave, port) ? 1 : 0;
    record.crc_errors = counts.count(PortCounter::Crc);
    record.rx_errors = counts.count(PortCounter::Rx);
    record.forwarded_errors = counts.count(PortCounter::Forwarded);
    record.links_lost = counts.count(PortCounter::LinkLost);
    record.changed_ns = counts.changed_ns;
    record.propagation_ns = link ? kHopNs : 0;
    if (neighbour == Topology::kMaster) {
        copy_text(record.neighbour_name, "master");
    } else if (neighbour != Topology::kNobody) {
        copy_text(record.neighbour_name, network_->slaves[neighbour].name);
    }
    return record;
}

VcardLinkStatus BusDiagnostics::links(uint32_t index) const {
    const SlaveConfig &config = network_->slaves[index];
    VcardLinkStatus record{};
    record.slave = static_cast<uint16_t>(index);
    record.fixed_address = config.fixed_address;
    record.parent = index_of(topology_->neighbour(index, 0));
    record.dl_status = topology_->dl_status(index);
    record.vendor_id = config.vendor_id;
    record.product_code = config.product_code;
    record.present = topology_->answers(index) ? 1 : 0;
    record.state = slaves_[index].now.state;
    for (uint32_t p = 0; p < VCARD_PORTS; ++p) {
        record.ports[p] = port_status(index, p);
        record.ports_configured |= static_cast<uint8_t>(record.ports[p].configured << p);
        record.ports_down |= static_cast<uint8_t>(record.ports[p].down << p);
        record.links_lost += record.ports[p].links_lost;
    }
    copy_text(record.name, config.name);
    return record;
}

VcardLinkDown BusDiagnostics::first_link_down() const {
    for (uint32_t i = 0; i < slaves_.size(); ++i) {
        for (uint32_t p = 0; p < VCARD_PORTS; ++p) {
            if (down(i, p)) {
                return {static_cast<uint16_t>(i), static_cast<uint16_t>(p)};
            }
        }
    }
    return {VCARD_NO_SLAVE, 0xFFFF};
}

// ---- registers --------------------------------------------------------------------------------

uint8_t BusDiagnostics::register_counter(uint32_t slave, uint32_t port, PortCounter counter) const {
    const Port &counts = slaves_[slave].ports[port];
    const auto which = static_cast<size_t>(counter);
    return static_cast<uint8_t>(
        std::min<uint32_t>(counts.counts[which] - counts.cleared_at[which], 0xFF));
}

void BusDiagnostics::clear_register_counters(uint32_t slave,
                                             std::span<const PortCounter> counters) {
    for (Port &port : slaves_[slave].ports) {
        for (const PortCounter counter : counters) {
            const auto which = static_cast<size_t>(counter);
            port.cleared_at[which] = port.counts[which];
        }
    }
}

uint32_t BusDiagnostics::dc_delay_ns(uint32_t slave) const {
    if (!network_->slaves[slave].dc || reference_ >= slave) {
        return 0;
    }
    const uint32_t there = topology_->hops(slave);
    const uint32_t reference = topology_->hops(reference_);
    return there > reference ? (there - reference) * kHopNs : 0;
}

} // namespace tarn::vcard
