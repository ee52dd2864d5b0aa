// What a bus counts about itself: frames, working counters, cycle times, states, links, clocks.
#pragma once

#include "tarn_vcard/diagnostics.h"
#include "vcard/bus/error_list.h"
#include "vcard/bus/network.h"
#include "vcard/bus/topology.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace tarn::vcard {

// What the master sees of a slave.
struct SlaveCondition {
    uint8_t state = 0; // 0x10 set on error; 0: does not answer
    uint16_t al_status_code = 0;
};

enum class PortCounter { Crc, Rx, Forwarded, LinkLost };
inline constexpr size_t kPortCounters = 4;

// Calls come from one thread at a time.
class BusDiagnostics {
  public:
    using Time = std::chrono::steady_clock::time_point;

    explicit BusDiagnostics(ErrorList &errors) : errors_(errors) {}

    // Begins to count anew. Keeps references to both; all slaves are in INIT, all links there.
    void configure(const Network &network, const Topology &topology);
    void clear();
    void start(Time now);
    void stop(Time now);

    // To be called after each change of states or links. `transition`: the master asked for it.
    void observe(uint8_t master, uint8_t requested, std::span<const SlaveCondition> slaves,
                 bool transition);

    // A cycle that was due at `due` begins at `now`. True when its frames come back, so that
    // process data is exchanged.
    bool begin_cycle(Time due, Time now);
    // No cycles from here on; the next one is the first of a new series.
    void interrupt_cycles() { last_begin_.reset(); }

    // Faults on demand. Cables are pulled in the topology.
    void lose_frames(uint32_t count) { frames_to_lose_ = count; }
    void note_late_cycle(std::chrono::microseconds time);
    // False where the configuration has no such port.
    bool add_port_errors(uint32_t slave, uint32_t port, PortCounter counter, uint32_t count);

    [[nodiscard]] VcardMasterDiagnostics master(Time now) const;
    [[nodiscard]] VcardSlaveDiagnostics slave(uint32_t index) const;
    [[nodiscard]] uint32_t master_flags() const;
    [[nodiscard]] uint32_t slave_flags(uint32_t index) const;
    [[nodiscard]] VcardSlaveDetail detail(uint32_t index) const;
    [[nodiscard]] VcardLinkStatus links(uint32_t index) const;
    [[nodiscard]] VcardLinkDown first_link_down() const;
    [[nodiscard]] uint32_t slaves() const { return static_cast<uint32_t>(slaves_.size()); }

    // The same counters as a slave's registers show them: 8 bits that a write clears.
    [[nodiscard]] uint8_t register_counter(uint32_t slave, uint32_t port,
                                           PortCounter counter) const;
    void clear_register_counters(uint32_t slave, std::span<const PortCounter> counters);
    // Of the slave's clock from the reference clock.
    [[nodiscard]] int32_t dc_difference_ns(uint32_t slave) const { return slaves_[slave].dc_ns; }
    // Delay from the reference clock to the slave.
    [[nodiscard]] uint32_t dc_delay_ns(uint32_t slave) const;

  private:
    struct Port {
        bool link = true;
        uint64_t changed_ns = 0;
        std::array<uint32_t, kPortCounters> counts{};
        std::array<uint32_t, kPortCounters> cleared_at{}; // by a write to the registers

        [[nodiscard]] uint32_t count(PortCounter counter) const {
            return counts[static_cast<size_t>(counter)];
        }
    };
    struct Slave {
        SlaveCondition now;
        uint8_t previous_state = 0;
        uint16_t last_al_status_code = 0;
        uint32_t state_changes = 0;
        uint32_t times_lost = 0;
        uint32_t wkc_errors = 0;
        uint32_t wkc = 0;
        uint32_t expected_wkc = 0;
        uint64_t changed_ns = 0;
        int32_t dc_ns = 0;
        std::array<Port, VCARD_PORTS> ports;
    };

    // Those of the record, under their names.
    struct Counts {
        uint64_t frames_sent = 0;
        uint64_t frames_lost = 0;
        uint64_t cycles = 0;
        uint64_t late_cycles = 0;
        uint32_t wkc_errors = 0;
        uint32_t state_changes = 0;
        uint32_t links_lost = 0;
        uint32_t crc_errors = 0;
        uint32_t cycle_time_ns = 0;
        uint32_t cycle_min_ns = 0;
        uint32_t cycle_max_ns = 0;
        uint32_t latest_ns = 0;
        uint32_t dc_largest_ns = 0;
        uint32_t frames_per_cycle = 0;
    };

    void observe_slave(uint32_t index, const SlaveCondition &seen, bool transition);
    void observe_links();
    void note_link_down(uint32_t slave);
    void note_slave_lost(uint32_t slave);
    void count_working_counters();
    void measure_cycle(Time due, Time now);
    uint32_t take_lost_frames();
    void step_clocks();
    [[nodiscard]] std::string name_of(uint32_t slave) const;
    [[nodiscard]] bool configured(uint32_t slave, uint32_t port) const;
    [[nodiscard]] bool down(uint32_t slave, uint32_t port) const;
    [[nodiscard]] bool different(const Slave &slave) const;
    [[nodiscard]] uint16_t index_of(uint32_t neighbour) const;
    [[nodiscard]] VcardPortStatus port_status(uint32_t slave, uint32_t port) const;

    ErrorList &errors_;
    const Network *network_ = nullptr;
    const Topology *topology_ = nullptr;
    std::vector<Slave> slaves_;
    std::vector<uint32_t> wrong_;  // slaves that do not do their part of the working counter now
    std::vector<uint32_t> clocks_; // slaves with distributed clocks but the reference
    uint32_t reference_ = VCARD_NO_SLAVE;
    size_t next_clock_ = 0;
    std::minstd_rand random_;

    uint8_t master_ = 1;
    uint8_t requested_ = 1;
    uint32_t wkc_now_ = 0;
    uint32_t expected_wkc_ = 0;
    uint32_t last_wkc_ = 0;
    uint32_t frames_to_lose_ = 0;
    uint32_t loss_entry_ = 0; // the error list's entry of a loss that goes on
    uint32_t loss_length_ = 0;
    uint32_t errors_before_ = 0;
    std::optional<Time> started_;
    std::optional<Time> last_begin_;
    uint64_t ran_ns_ = 0;
    uint64_t measured_ns_ = 0; // sum of the measured cycle times
    uint64_t measured_cycles_ = 0;
    Counts counts_;
};

} // namespace tarn::vcard
