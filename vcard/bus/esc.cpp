#include "vcard/bus/esc.h"

#include "vcard/bus/esc_config.h"
#include "vcard/bus/ethercat.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace tarn::vcard {
namespace {

// AL status codes
constexpr uint16_t kInvalidStateChange = 0x0011;
constexpr uint16_t kUnknownState = 0x0012;
constexpr uint16_t kSyncManagerWatchdog = 0x001B;

// Registers at power-up.
constexpr uint8_t kEscType = 0x11;
constexpr uint16_t kBuild = 2;
constexpr uint8_t kRamKiB = 8;
constexpr uint8_t kPortDescriptor = 0xFF; // four ports with cables
constexpr uint16_t kFeatures = 0x00C0;    // enhanced link detection, separate error counters
constexpr uint16_t kClockFeatures = 0x000C;
constexpr uint16_t kUsualDivider = 0x09C2; // 100 us
constexpr uint16_t kUsualWatchdog = 1000;  // 100 ms
constexpr uint16_t kSpeedCounterStart = 0x1000;

// EEPROM control and status register.
constexpr uint16_t kEepromWriteEnable = 0x0001;
constexpr uint16_t kEeprom8Bytes = 0x0040;
constexpr uint16_t kEepromRead = 0x0100;
constexpr uint16_t kEepromWrite = 0x0200;
constexpr uint16_t kEepromReload = 0x0400;
constexpr uint16_t kEepromCommands = 0x0700;
constexpr uint16_t kEepromChecksumError = 0x0800;
constexpr uint16_t kEepromNotLoaded = 0x1000;
constexpr uint16_t kEepromCommandError = 0x2000;
constexpr uint16_t kEepromWriteError = 0x4000;
constexpr size_t kEepromDataSize = 8;

// What a master may write; the rest of the registers stays.
struct Range {
    uint32_t begin;
    uint32_t end;
};
constexpr Range kWritable[] = {
    {0x0010, 0x0012}, {0x0020, 0x0022}, {0x0030, 0x0032}, {0x0100, 0x0104}, {0x0108, 0x010A},
    {0x0120, 0x0122}, {0x0200, 0x0202}, {0x0400, 0x0402}, {0x0410, 0x0412}, {0x0420, 0x0422},
    {0x0500, 0x0510}, {0x0600, 0x0680}, {0x0800, 0x0840}, {0x0F80, 0x3000},
};
constexpr Range kWritableClocks[] = {
    {0x0920, 0x092C}, {0x0930, 0x0932}, {0x0934, 0x0936},
    {0x0980, 0x0982}, {0x0990, 0x0998}, {0x09A0, 0x09AA},
};
constexpr uint32_t kSyncManagerStatus = 5; // bytes of a sync manager that stay
constexpr uint32_t kSyncManagerPdi = 7;

struct CounterRange {
    Range range;
    std::array<PortCounter, 3> counters;
    size_t count;
};
// A write to one counter clears all of its group.
constexpr CounterRange kCounterRanges[] = {
    {{0x0300, 0x030C}, {PortCounter::Crc, PortCounter::Rx, PortCounter::Forwarded}, 3},
    {{0x0310, 0x0314}, {PortCounter::LinkLost}, 1},
};

template <size_t Size>
bool inside(const Range (&ranges)[Size], uint32_t address) {
    return std::any_of(std::begin(ranges), std::end(ranges), [address](const Range &range) {
        return address >= range.begin && address < range.end;
    });
}

bool overlap(uint32_t address, size_t length, uint32_t begin, uint32_t end) {
    return length != 0 && address < end && address + length > begin;
}

} // namespace

// ---- power-up and states ----------------------------------------------------------------------

EscMemory::EscMemory(uint32_t index, const SlaveConfig &slave, const EepromStore &eeproms)
    : index_(index), slave_(slave),
      commands_fmmus_(sets_registers(slave, esc::kFmmus, esc::kFmmus + kFmmus * kFmmuSize)),
      commands_mailbox_(
          sets_registers(slave, esc::kSyncManagers, esc::kSyncManagers + 2 * kSyncManagerSize)),
      commands_process_data_(
          sets_registers(slave, esc::kSyncManagers + (slave.mailbox ? 2 * kSyncManagerSize : 0),
                         esc::kSyncManagers + kSyncManagers * kSyncManagerSize)),
      bytes_(esc::kEnd) {
    power_up(eeproms);
}

void EscMemory::power_up(const EepromStore &eeproms) {
    bytes_[esc::kType] = kEscType;
    put(bytes_, 0x0002, kBuild);
    bytes_[0x0004] = kFmmus;
    bytes_[0x0005] = kSyncManagers;
    bytes_[0x0006] = kRamKiB;
    bytes_[0x0007] = kPortDescriptor;
    put(bytes_, 0x0008, static_cast<uint16_t>(kFeatures | (slave_.dc ? kClockFeatures : 0)));
    put(bytes_, esc::kDlControl, uint32_t{1});
    put(bytes_, esc::kWatchdogDivider, kUsualDivider);
    put(bytes_, esc::kPdiWatchdog, kUsualWatchdog);
    put(bytes_, esc::kProcessDataWatchdog, kUsualWatchdog);
    if (slave_.dc) {
        put(bytes_, 0x0930, kSpeedCounterStart);
        bytes_[0x0934] = 4; // filter depths
        bytes_[0x0935] = 12;
    }
    const SiiImage image = eeproms.find(index_, slave_);
    if (sii_valid(image)) {
        put(bytes_, esc::kPdiControl, get16(image, size_t{sii::kPdiControl} * 2));
        put(bytes_, esc::kStationAlias, slave_.alias);
    }
    load_eeprom(image);
    put(bytes_, esc::kEepromControl, eeprom_status_);
}

void EscMemory::change_state(uint8_t from, uint8_t to, EepromStore &eeproms) {
    if (from == kInit && to != kInit) {
        put(bytes_, esc::kStationAddress, slave_.fixed_address);
    }
    const bool was_exchanging = from == kSafeOp || from == kOp;
    const bool exchanges = to == kSafeOp || to == kOp;
    const size_t mailbox = slave_.mailbox ? 2 : 0;
    if (from == kInit || to == kInit) {
        set_sync_managers(0, mailbox, to != kInit && (to == kBoot || !commands_mailbox_));
    }
    if (to == kBoot && slave_.mailbox_config.boot_send && slave_.mailbox_config.boot_receive) {
        put(bytes_, esc::kSyncManagers, slave_.mailbox_config.boot_send->start);
        put(bytes_, esc::kSyncManagers + 2, slave_.mailbox_config.boot_send->length);
        put(bytes_, esc::kSyncManagers + kSyncManagerSize,
            slave_.mailbox_config.boot_receive->start);
        put(bytes_, esc::kSyncManagers + kSyncManagerSize + 2,
            slave_.mailbox_config.boot_receive->length);
    }
    if (to == kInit || (was_exchanging != exchanges && !commands_process_data_)) {
        set_sync_managers(mailbox, kSyncManagers, exchanges);
    }
    if (to == kInit || (was_exchanging != exchanges && !commands_fmmus_)) {
        set_fmmus(exchanges);
    }
    if (was_exchanging && !exchanges) {
        put(bytes_, esc::kSyncActivation, uint16_t{0});
    }
    if (exchanges && !was_exchanging && slave_.dc &&
        !sets_registers(slave_, esc::kSync0CycleTime, esc::kSync0CycleTime + 8)) {
        put(bytes_, esc::kSync0CycleTime, slave_.dc_config.cycle0_ns);
        put(bytes_, esc::kSync0CycleTime + 4, slave_.dc_config.cycle1_ns);
    }
    if (exchanges && !was_exchanging && slave_.dc && slave_.dc_config.cycle0_ns != 0) {
        put(bytes_, esc::kSyncActivation, sync_activation(slave_));
    }
    run_commands(from, to, eeproms);
    put(bytes_, esc::kAlControl, uint16_t{to});
}

// Off: cleared.
void EscMemory::set_sync_managers(size_t first, size_t end, bool on) {
    const std::vector<SyncManager> managers =
        on ? sync_managers_of(slave_) : std::vector<SyncManager>();
    for (size_t i = first; i < end; ++i) {
        const auto bytes = registers_of(i < managers.size() ? managers[i] : SyncManager{});
        std::copy(bytes.begin(), bytes.end(),
                  bytes_.begin() + static_cast<ptrdiff_t>(esc::kSyncManagers + i * bytes.size()));
    }
}

void EscMemory::set_fmmus(bool on) {
    const auto begin = bytes_.begin() + esc::kFmmus;
    std::fill_n(begin, kFmmus * kFmmuSize, uint8_t{0});
    if (!on) {
        return;
    }
    ptrdiff_t offset = 0;
    for (const Fmmu &fmmu : fmmus_of(slave_)) {
        const auto bytes = registers_of(fmmu);
        std::copy(bytes.begin(), bytes.end(), begin + offset);
        offset += kFmmuSize;
    }
}

void EscMemory::run_commands(uint8_t from, uint8_t to, EepromStore &eeproms) {
    for (const InitCommand &command : slave_.init_commands) {
        const auto &when = command.transitions;
        if (!writes(command) ||
            std::find(when.begin(), when.end(), Transition{from, to}) == when.end()) {
            continue;
        }
        store(command.ado, command.data);
        if (!overlap(command.ado, command.data.size(), esc::kEepromControl,
                     esc::kEepromControl + 2)) {
            continue;
        }
        // The master asks for the identity; it does not write to the EEPROM.
        if ((get16(bytes_, esc::kEepromControl) & kEepromCommands) == kEepromRead) {
            run_eeprom_command(eeproms);
        } else {
            put(bytes_, esc::kEepromControl, eeprom_status_);
        }
    }
}

// ---- reading ----------------------------------------------------------------------------------

void EscMemory::read(uint32_t address, std::span<uint8_t> data, const SlaveCondition &state,
                     const EscSurroundings &around) {
    show_state(state, around);
    show_counters(around.diagnostics);
    show_process_data(around);
    if (slave_.dc) {
        show_clocks(around);
    }
    for (size_t i = 0; i < data.size(); ++i) {
        data[i] = address + i < bytes_.size() ? bytes_[address + i] : 0;
    }
}

void EscMemory::show_state(const SlaveCondition &state, const EscSurroundings &around) {
    put(bytes_, esc::kDlStatus, around.topology.dl_status(index_));
    put(bytes_, esc::kAlStatus, uint16_t{state.state});
    put(bytes_, esc::kAlStatusCode, state.al_status_code);
    bytes_[esc::kWatchdogStatus] = state.al_status_code == kSyncManagerWatchdog ? 0 : 1;
}

void EscMemory::show_counters(const BusDiagnostics &diagnostics) {
    for (uint32_t port = 0; port < VCARD_PORTS; ++port) {
        const auto count = [&](PortCounter counter) {
            return diagnostics.register_counter(index_, port, counter);
        };
        bytes_[esc::kRxErrors + 2 * port] = count(PortCounter::Crc);
        bytes_[esc::kRxErrors + 2 * port + 1] = count(PortCounter::Rx);
        bytes_[esc::kForwardedErrors + port] = count(PortCounter::Forwarded);
        bytes_[esc::kLostLinks + port] = count(PortCounter::LinkLost);
    }
}

// The receive times are those of one frame that went to the end of each branch and back.
void EscMemory::show_clocks(const EscSurroundings &around) {
    const int32_t difference = around.diagnostics.dc_difference_ns(index_);
    const uint32_t delay = around.diagnostics.dc_delay_ns(index_);
    const uint64_t offset = get32(bytes_, esc::kSystemTimeOffset) |
                            uint64_t{get32(bytes_, esc::kSystemTimeOffset + 4)} << 32;
    const uint64_t time = around.time_ns + static_cast<uint64_t>(int64_t{difference}) + offset;
    put(bytes_, esc::kClocks, delay);
    for (uint32_t port = 1; port < VCARD_PORTS; ++port) {
        const uint32_t received = around.topology.plugged(index_, port)
                                      ? delay + kHopNs * around.topology.hops_to_end(index_, port)
                                      : 0;
        put(bytes_, esc::kClocks + 4 * port, received);
    }
    put(bytes_, esc::kSystemTime, time);
    put(bytes_, esc::kReceiveTime, uint64_t{delay});
    if (!delay_written_) { // until then the master's own measurement
        put(bytes_, esc::kSystemTimeDelay, delay);
    }
    const uint32_t sign = difference < 0 ? 0x80000000U : 0;
    put(bytes_, esc::kSystemTimeDifference, sign | static_cast<uint32_t>(std::abs(difference)));
}

// Buffered sync managers in the order of their numbers share the slave's run of each direction.
void EscMemory::show_process_data(const EscSurroundings &around) {
    std::array<uint32_t, 2> done{}; // bits of inputs and outputs
    for (size_t i = slave_.mailbox ? 2 : 0; i < kSyncManagers; ++i) {
        const size_t at = esc::kSyncManagers + i * kSyncManagerSize;
        const uint32_t start = get16(bytes_, at);
        const uint32_t length = get16(bytes_, at + 2);
        const uint8_t control = bytes_[at + 4];
        const bool active = (bytes_[at + 6] & 1) != 0 && (control & 3) != 2;
        if (!active || start < esc::kDigitalOutputs || start + length > esc::kEnd) {
            continue;
        }
        const bool outputs = (control & 0x0C) == 0x04;
        const BitRun &run = outputs ? slave_.outputs : slave_.inputs;
        const Image &image = outputs ? around.outputs : around.inputs;
        uint32_t &bits = done[outputs ? 1 : 0];
        for (uint32_t byte = 0; byte < length && bits < run.length; ++byte) {
            const uint32_t count = std::min(run.length - bits, 8U);
            bytes_[start + byte] = static_cast<uint8_t>(get_bits(image, run.offset + bits, count));
            bits += count;
        }
    }
}

// ---- writing ----------------------------------------------------------------------------------

bool EscMemory::writable(uint32_t address) const {
    if (address >= esc::kSyncManagers && address < esc::kClocks) {
        const uint32_t byte = address % kSyncManagerSize;
        if (byte == kSyncManagerStatus || byte == kSyncManagerPdi) {
            return false;
        }
    }
    return inside(kWritable, address) || (slave_.dc && inside(kWritableClocks, address));
}

void EscMemory::store(uint32_t address, std::span<const uint8_t> data) {
    for (size_t i = 0; i < data.size(); ++i) {
        const uint32_t to = address + static_cast<uint32_t>(i);
        if (writable(to)) {
            bytes_[to] = data[i];
        }
    }
}

std::optional<uint16_t> EscMemory::write(uint32_t address, std::span<const uint8_t> data,
                                         const EscSurroundings &around) {
    for (const CounterRange &group : kCounterRanges) {
        if (overlap(address, data.size(), group.range.begin, group.range.end)) {
            around.diagnostics.clear_register_counters(
                index_, std::span(group.counters).first(group.count));
        }
    }
    store(address, data);
    delay_written_ |=
        overlap(address, data.size(), esc::kSystemTimeDelay, esc::kSystemTimeDelay + 4);
    if (overlap(address, data.size(), esc::kEepromControl, esc::kEepromControl + 2)) {
        run_eeprom_command(around.eeproms);
    }
    if (overlap(address, data.size(), esc::kAlControl, esc::kAlControl + 1)) {
        return get16(bytes_, esc::kAlControl);
    }
    return std::nullopt;
}

// What the slave made of its EEPROM stays in the register until it loads it again.
void EscMemory::load_eeprom(std::span<const uint8_t> image) {
    eeprom_status_ = kEeprom8Bytes;
    if (!sii_valid(image)) {
        eeprom_status_ |= kEepromChecksumError | kEepromNotLoaded;
    }
}

// A command is done when it was written; the register then shows how it ended.
void EscMemory::run_eeprom_command(EepromStore &eeproms) {
    const uint16_t control = get16(bytes_, esc::kEepromControl);
    const uint64_t address = uint64_t{get32(bytes_, esc::kEepromAddress)} * 2;
    SiiImage image = eeproms.find(index_, slave_);
    uint16_t error = 0;
    switch (control & kEepromCommands) {
    case 0:
        break;
    case kEepromRead:
        for (size_t i = 0; i < kEepromDataSize; ++i) {
            bytes_[esc::kEepromData + i] = address + i < image.size() ? image[address + i] : 0xFF;
        }
        break;
    case kEepromWrite:
        if ((control & kEepromWriteEnable) == 0) {
            error = kEepromWriteError;
        } else if (address + 2 > image.size()) {
            error = kEepromCommandError;
        } else {
            put(image, address, get16(bytes_, esc::kEepromData));
            eeproms.store(index_, slave_, std::move(image));
        }
        break;
    case kEepromReload:
        load_eeprom(image); // the alias is taken at power-up only
        break;
    default:
        error = kEepromCommandError;
        break;
    }
    put(bytes_, esc::kEepromControl, static_cast<uint16_t>(eeprom_status_ | error));
}

// ---- AL control -------------------------------------------------------------------------------

// An error must be acknowledged before the slave follows again.
std::optional<AlAnswer> answer_al_control(uint8_t state, uint16_t control) {
    struct Way {
        uint8_t from;
        uint8_t to;
    };
    static constexpr Way kWays[] = {
        {kInit, kPreOp},   {kInit, kBoot},   {kBoot, kInit},    {kPreOp, kInit},
        {kPreOp, kSafeOp}, {kSafeOp, kInit}, {kSafeOp, kPreOp}, {kSafeOp, kOp},
        {kOp, kInit},      {kOp, kPreOp},    {kOp, kSafeOp},
    };
    const auto wanted = static_cast<uint8_t>(control & kStateMask);
    const auto now = static_cast<uint8_t>(state & kStateMask);
    const bool error = (state & VCARD_STATE_ERROR) != 0;
    if (error && (control & VCARD_STATE_ERROR) == 0) {
        return std::nullopt;
    }
    const bool known = wanted == kInit || wanted == kPreOp || wanted == kBoot ||
                       wanted == kSafeOp || wanted == kOp;
    if (!known) {
        return AlAnswer{now, kUnknownState};
    }
    const bool way = std::any_of(std::begin(kWays), std::end(kWays), [&](const Way &candidate) {
        return candidate.from == now && candidate.to == wanted;
    });
    if (wanted != now && !way) {
        return AlAnswer{now, kInvalidStateChange};
    }
    return wanted == now && !error ? std::nullopt : std::optional(AlAnswer{wanted, 0});
}

// ---- the slaves of a bus ----------------------------------------------------------------------

void EscMemories::power_up(const Network &network) {
    network_ = &network;
    memories_.clear();
    memories_.resize(network.slaves.size());
}

void EscMemories::clear() {
    network_ = nullptr;
    memories_.clear();
}

void EscMemories::change_state(uint32_t slave, uint8_t from, uint8_t to, EepromStore &eeproms) {
    if (memories_[slave] && from != to) {
        memories_[slave]->change_state(from, to, eeproms);
    }
}

EscMemory &EscMemories::at(uint32_t slave, uint8_t state, EepromStore &eeproms) {
    std::unique_ptr<EscMemory> &memory = memories_[slave];
    if (!memory) {
        memory = std::make_unique<EscMemory>(slave, network_->slaves[slave], eeproms);
        uint8_t now = kInit;
        for (const uint8_t next : {kPreOp, kSafeOp, kOp}) {
            if (state != kBoot && next <= state) {
                memory->change_state(now, next, eeproms);
                now = next;
            }
        }
        if (state == kBoot) {
            memory->change_state(kInit, kBoot, eeproms);
        }
    }
    return *memory;
}

} // namespace tarn::vcard
