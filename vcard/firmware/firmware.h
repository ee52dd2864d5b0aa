// The card's firmware in software: serves the command rings of both channels and runs their buses.
// It knows nothing of the host system: a host adapter gives it memory, interrupt lines and a
// thread that calls serve().
#pragma once

#include "vcard/bus/bus.h"
#include "vcard/bus/slave_fault.h"
#include "vcard/card/config.h"
#include "vcard/card/memory.h"
#include "vcard/firmware/faults.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarn::vcard {

// One request as the card saw it; tests read these back.
struct SeenRequest {
    uint32_t channel;
    bool primary; // primary or secondary mailbox
    uint16_t code;
    std::vector<uint8_t> payload; // first 256 bytes
};

class Firmware {
  public:
    // The clock that all of the card goes by, but for the cycles of its buses.
    using Now = std::function<std::chrono::steady_clock::time_point()>;

    Firmware(CardConfig config, CardMemory memory, InterruptLine interrupt, LogLine log,
             Now now = std::chrono::steady_clock::now);
    ~Firmware();
    Firmware(const Firmware &) = delete;
    Firmware &operator=(const Firmware &) = delete;

    // The card is powered up: publishes the configuration block and the channel areas.
    void boot();

    // Serves everything that is due now and never blocks. Returns true when it found work, so that
    // the caller looks again soon. Called from one thread; at the latest every millisecond.
    bool serve();

    // Ends the buses. The memory stays as it is.
    void shut_down();

    Faults &faults();
    // With the firmware version that runs now.
    CardConfig config() const;

    // The last requests seen, oldest first (at most 1,024); clear_seen() forgets them.
    std::vector<SeenRequest> seen() const;
    void clear_seen();

    // A fault of one slave of a running bus, or of the bus, as Bus::fault() and Bus::bus_fault()
    // know them. False when there is no such slave, port or fault.
    bool slave_fault(uint32_t channel, uint32_t slave, const std::string &fault,
                     const SlaveFaultArguments &arguments = {});
    bool bus_fault(uint32_t channel, const std::string &fault, uint32_t number);

    // Process image of a channel; zeros where there is no such channel, or during a reset.
    Bus::PiStatus pi_status(uint32_t channel) const;

    // Wires digital inputs anew, as Wiring::apply() says.
    void wire(const std::string &wires);

    // For `tarn-vcard status`: one line per channel about its bus, and what the board does.
    std::string describe() const;
    std::string describe_board() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarn::vcard
