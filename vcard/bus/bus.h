// One EtherCAT channel's bus: slaves, EtherCAT states, the cycle, and the card's side of the
// process image. Data is exchanged in every cycle from SAFEOP up, whatever the enable word of the
// card area says: that word is the host's own note.
#pragma once

#include "layout/card_memory_map.h"
#include "vcard/bus/network.h"
#include "vcard/card/memory.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarn::vcard {

struct BusOptions {
    PiCardArea *area;                      // process image part of the channel area
    uint32_t *slave_ready;                 // kSlaveReadyWords words
    uint32_t generation;                   // triple buffer protocol, 1 or 2
    std::function<void()> cycle_interrupt; // once per cycle, on the cycle thread
    LogLine log;
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

    // "unplug" (this slave and all behind it), "safeop-error", "none". False when unknown.
    bool fault(uint32_t index, const std::string &fault);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarn::vcard
