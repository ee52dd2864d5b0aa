// The registers and the memory of a slave's EtherCAT slave controller, 64 KiB.
#pragma once

#include "vcard/bus/bits.h"
#include "vcard/bus/diagnostics.h"
#include "vcard/bus/network.h"
#include "vcard/bus/sii.h"
#include "vcard/bus/topology.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tarn::vcard {

namespace esc {
// Registers by their addresses.
inline constexpr uint32_t kType = 0x0000;
inline constexpr uint32_t kStationAddress = 0x0010;
inline constexpr uint32_t kStationAlias = 0x0012;
inline constexpr uint32_t kDlControl = 0x0100;
inline constexpr uint32_t kDlStatus = 0x0110;
inline constexpr uint32_t kAlControl = 0x0120;
inline constexpr uint32_t kAlStatus = 0x0130;
inline constexpr uint32_t kAlStatusCode = 0x0134;
inline constexpr uint32_t kPdiControl = 0x0140;
inline constexpr uint32_t kRxErrors = 0x0300; // per port damaged frames and receive errors
inline constexpr uint32_t kForwardedErrors = 0x0308;
inline constexpr uint32_t kLostLinks = 0x0310;
inline constexpr uint32_t kWatchdogDivider = 0x0400;
inline constexpr uint32_t kPdiWatchdog = 0x0410;
inline constexpr uint32_t kProcessDataWatchdog = 0x0420;
inline constexpr uint32_t kWatchdogStatus = 0x0440;
inline constexpr uint32_t kEepromConfiguration = 0x0500;
inline constexpr uint32_t kEepromControl = 0x0502;
inline constexpr uint32_t kEepromAddress = 0x0504;
inline constexpr uint32_t kEepromData = 0x0508;
inline constexpr uint32_t kFmmus = 0x0600;
inline constexpr uint32_t kSyncManagers = 0x0800;
inline constexpr uint32_t kClocks = 0x0900;
inline constexpr uint32_t kSystemTime = 0x0910;
inline constexpr uint32_t kReceiveTime = 0x0918;
inline constexpr uint32_t kSystemTimeOffset = 0x0920;
inline constexpr uint32_t kSystemTimeDelay = 0x0928;
inline constexpr uint32_t kSystemTimeDifference = 0x092C;
inline constexpr uint32_t kSyncActivation = 0x0980;
inline constexpr uint32_t kSync0CycleTime = 0x09A0;
inline constexpr uint32_t kDigitalOutputs = 0x0F00; // what lies from here on may be process data
inline constexpr uint32_t kEnd = 0x3000;            // nothing lies behind: reads as 0
} // namespace esc

// What the registers show of the bus that goes on around them.
struct EscSurroundings {
    const Network &network;
    const Topology &topology;
    BusDiagnostics &diagnostics;
    EepromStore &eeproms;
    const Image &outputs; // as the slaves hold them
    const Image &inputs;
    uint64_t time_ns; // of the reference clock
};

// What a slave does with a value of its AL control register, by its state with error flag: goes to
// a state, with a code when that is an error.
struct AlAnswer {
    uint8_t state = 0;
    uint16_t code = 0;
};
// Nothing: it stays as it is.
std::optional<AlAnswer> answer_al_control(uint8_t state, uint16_t control);

class EscMemory {
  public:
    // A slave that has been powered up, in INIT. Keeps a reference to the configuration.
    EscMemory(uint32_t index, const SlaveConfig &slave, const EepromStore &eeproms);

    // What master and start commands write when the slave changes its state.
    void change_state(uint8_t from, uint8_t to, EepromStore &eeproms);

    // `state` with its error flag. The range must lie inside the 64 KiB, for write() too.
    void read(uint32_t address, std::span<uint8_t> data, const SlaveCondition &state,
              const EscSurroundings &around);
    // What cannot be written stays. Gives the value of the AL control register when that was
    // written: the slave is asked for a state.
    std::optional<uint16_t> write(uint32_t address, std::span<const uint8_t> data,
                                  const EscSurroundings &around);

  private:
    void power_up(const EepromStore &eeproms);
    void store(uint32_t address, std::span<const uint8_t> data);
    [[nodiscard]] bool writable(uint32_t address) const;
    void set_sync_managers(size_t first, size_t end, bool on);
    void set_fmmus(bool on);
    void run_commands(uint8_t from, uint8_t to, EepromStore &eeproms);
    void load_eeprom(std::span<const uint8_t> image);
    void run_eeprom_command(EepromStore &eeproms);
    void show_state(const SlaveCondition &state, const EscSurroundings &around);
    void show_counters(const BusDiagnostics &diagnostics);
    void show_clocks(const EscSurroundings &around);
    void show_process_data(const EscSurroundings &around);

    const uint32_t index_;
    const SlaveConfig &slave_;
    bool commands_fmmus_ = false;        // start commands see to the FMMUs
    bool commands_mailbox_ = false;      // the same for the sync managers of the mailbox
    bool commands_process_data_ = false; // and for the others
    bool delay_written_ = false;         // the host has set the delay
    uint16_t eeprom_status_ = 0;         // without errors of single commands
    std::vector<uint8_t> bytes_;
};

// The memories of all slaves of a bus. Each is made when it is looked at first.
class EscMemories {
  public:
    void power_up(const Network &network);
    void clear();

    // A slave goes from one state to another.
    void change_state(uint32_t slave, uint8_t from, uint8_t to, EepromStore &eeproms);
    // A slave comes back and was brought to its state in the meantime.
    void restart(uint32_t slave) { memories_[slave].reset(); }

    // `state` without the error flag. Lives until restart(), clear() or power_up().
    EscMemory &at(uint32_t slave, uint8_t state, EepromStore &eeproms);

  private:
    const Network *network_ = nullptr;
    std::vector<std::unique_ptr<EscMemory>> memories_;
};

} // namespace tarn::vcard
