// One EtherCAT channel's bus: slaves, EtherCAT states, the cycle, and the card's side of the
// process image. Data is exchanged in every cycle from SAFEOP up, whatever the enable word of the
// card area says: that word is the host's own note.
#pragma once

#include "layout/card_memory_map.h"
#include "vcard/bus/diagnostics.h"
#include "vcard/bus/error_list.h"
#include "vcard/bus/network.h"
#include "vcard/bus/output_watchdog.h"
#include "vcard/bus/sii.h"
#include "vcard/bus/slave_fault.h"
#include "vcard/bus/slave_mailboxes.h"
#include "vcard/card/memory.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tarn::vcard {

struct BusOptions {
    PiCardArea *area;                      // process image part of the channel area
    uint32_t *slave_ready;                 // kSlaveReadyWords words
    uint32_t generation;                   // triple buffer protocol, 1 or 2
    std::function<void()> cycle_interrupt; // once per cycle, on the cycle thread
    LogLine log;
    std::function<uint64_t()> utc_ns{};     // the card's clock, 0 while it is not set; empty: none
    std::shared_ptr<EepromStore> eeproms{}; // null: the bus has one of its own
};

// All functions may be called while the cycle thread runs; calls come from one thread at a time.
class Bus {
  public:
    explicit Bus(BusOptions options);
    ~Bus();
    Bus(const Bus &) = delete;
    Bus &operator=(const Bus &) = delete;

    // Takes a configuration: writes the image lengths into the card area, empties buffers, index
    // words and queues that the host does not own, and puts all slaves into INIT.
    void configure(Network network);

    // Starts the cycle thread. States move only through request_state().
    void start();

    // Ends the cycle thread, clears the slave ready bitmap and puts all slaves into INIT. Keeps
    // the configuration.
    void stop();

    // Forgets the configuration; stops first.
    void clear();

    [[nodiscard]] bool configured() const;
    [[nodiscard]] bool running() const;
    [[nodiscard]] const Network &network() const; // empty while not configured
    [[nodiscard]] uint64_t cycles() const;

    // Master state, 1 2 3 4 8. False when the transition is not allowed (BOOT only from INIT and
    // back; OP only through PREOP and SAFEOP is done step by step inside).
    bool request_state(uint8_t state);
    [[nodiscard]] uint8_t master_state() const;
    [[nodiscard]] uint8_t requested_master_state() const;

    struct SlaveStatus {
        uint8_t state = 1; // 0x10 set on error; 0 while unplugged
        uint8_t requested = 1;
        uint16_t al_status_code = 0;
        uint16_t dl_status = 0; // DL status register: links and loops of the four ports
    };
    [[nodiscard]] SlaveStatus slave(uint32_t index) const; // index must be in range
    [[nodiscard]] uint32_t active_slaves() const;          // slaves that answer
    bool clear_slave_error(uint32_t index);
    void set_auto_clear(bool on);
    [[nodiscard]] bool auto_clear() const;

    // A fault of one slave. False when there is no such fault, slave or port, or when the slave
    // does not answer and would have to.
    bool fault(uint32_t index, const std::string &fault, const SlaveFaultArguments &arguments = {});
    // A fault of the bus: "lose-frames" (frames), "late-cycle" (microseconds). False when unknown
    // or when the bus does not run.
    bool bus_fault(const std::string &fault, uint32_t number);

    // The slave's object dictionary. Both give an SDO abort code; `index` must be in range, and the
    // slave must have a mailbox.
    uint32_t read_object(uint32_t index, const ObjectAddress &address, std::vector<uint8_t> &data);
    uint32_t write_object(uint32_t index, const ObjectAddress &address,
                          std::span<const uint8_t> data);
    [[nodiscard]] MailboxFaults mailbox_faults(uint32_t index) const; // index must be in range

    // Registers and memory of a slave by bytes, its EEPROM by words from which bytes are counted. A
    // write of an odd length leaves the last word's high byte as it is. The index must be in range.
    enum class Access { Done, NoAnswer, OutOfRange };
    Access read_memory(uint32_t index, uint32_t address, std::span<uint8_t> data);
    Access write_memory(uint32_t index, uint32_t address, std::span<const uint8_t> data);
    Access read_eeprom(uint32_t index, uint32_t word, std::span<uint8_t> data);
    Access write_eeprom(uint32_t index, uint32_t word, std::span<const uint8_t> data);

    // The watchdog of the outputs, with the lock held.
    void use_watchdog(const std::function<void(OutputWatchdog &)> &use);

    // Process image, queues and watchdog. Counters begin at 0 with each configuration.
    struct PiStatus {
        uint64_t cycles = 0;
        uint32_t input_queue = 0; // images that lie in it
        uint32_t output_queue = 0;
        uint64_t inputs_dropped = 0;  // images that found the input queue full
        uint64_t outputs_taken = 0;   // images out of the output queue
        uint64_t queue_restarts = 0;  // because of impossible counters
        uint64_t cycles_left_out = 0; // that the thread was too late for
        uint8_t output_flag = 0;      // of the last image out of the output queue
        OutputWatchdog::Status watchdog;
    };
    [[nodiscard]] PiStatus pi_status() const;

    // Logs what the cycle thread has noted. To be called now and then.
    void tell();

    // What the bus has counted, all of one moment.
    void read_diagnostics(const std::function<void(const BusDiagnostics &)> &read) const;
    ErrorList &errors();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarn::vcard
