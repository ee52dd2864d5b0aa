#include "vcard/bus/esc_config.h"

#include "vcard/bus/esc.h"
#include "vcard/bus/ethercat.h"

#include <algorithm>

namespace tarn::vcard {
namespace {

// Control bytes: mode, direction, interrupts, watchdog.
constexpr uint8_t kMailboxOutControl = 0x26;
constexpr uint8_t kMailboxInControl = 0x22;
constexpr uint8_t kOutputsControl = 0x64;
constexpr uint8_t kInputsControl = 0x20;

constexpr uint16_t kOutputsStart = 0x1100; // where nothing is stated
constexpr uint16_t kInputsStart = 0x1400;
constexpr uint32_t kLogicalOutputs = 0x01000000; // where no cyclic command names an address
constexpr uint32_t kLogicalInputs = 0x01010000;

constexpr uint16_t kSync0 = 0x0300;
constexpr uint16_t kSync0And1 = 0x0700;

uint16_t bytes_for(uint64_t bits) {
    return static_cast<uint16_t>(std::min<uint64_t>((bits + 7) / 8, UINT16_MAX));
}

const std::vector<PdoConfig> &pdos_of(const SlaveConfig &slave, bool outputs) {
    return outputs ? slave.output_pdos : slave.input_pdos;
}

// The bytes that the PDOs of a sync manager need; 0 when it lists none.
uint16_t assigned_bytes(const SlaveConfig &slave, const SyncManagerConfig &manager, bool outputs) {
    uint64_t bits = 0;
    for (const PdoConfig &pdo : pdos_of(slave, outputs)) {
        if (std::find(manager.pdos.begin(), manager.pdos.end(), pdo.index) != manager.pdos.end()) {
            bits += pdo.bits();
        }
    }
    return bytes_for(bits);
}

void set_mailbox(std::vector<SyncManager> &managers, const MailboxConfig &mailbox) {
    managers.resize(2);
    managers[0] = {mailbox.send.start, mailbox.send.length, kMailboxOutControl, true,
                   SyncManagerType::MailboxOut};
    managers[1] = {mailbox.receive.start, mailbox.receive.length, kMailboxInControl, true,
                   SyncManagerType::MailboxIn};
}

SyncManagerType type_of(const SyncManagerConfig &config) {
    if (config.type == "Outputs") {
        return SyncManagerType::Outputs;
    }
    if (config.type == "Inputs") {
        return SyncManagerType::Inputs;
    }
    return config.type == "MBoxOut"  ? SyncManagerType::MailboxOut
           : config.type == "MBoxIn" ? SyncManagerType::MailboxIn
                                     : SyncManagerType::Unused;
}

uint8_t usual_control(SyncManagerType type) {
    switch (type) {
    case SyncManagerType::MailboxOut:
        return kMailboxOutControl;
    case SyncManagerType::MailboxIn:
        return kMailboxInControl;
    case SyncManagerType::Outputs:
        return kOutputsControl;
    case SyncManagerType::Inputs:
        return kInputsControl;
    default:
        return 0;
    }
}

// Where a start command's FMMU of this direction leads to; else the usual place.
uint16_t start_of(const SlaveConfig &slave, bool outputs) {
    for (const InitCommand &command : slave.init_commands) {
        if (command.ado < esc::kFmmus || command.ado >= esc::kSyncManagers) {
            continue;
        }
        for (size_t at = 0; at + kFmmuSize <= command.data.size(); at += kFmmuSize) {
            const uint16_t physical = get16(command.data, at + 8);
            if ((command.data[at + 11] & (outputs ? 2 : 1)) != 0 &&
                physical >= esc::kDigitalOutputs) {
                return physical;
            }
        }
    }
    return outputs ? kOutputsStart : kInputsStart;
}

// The length of a sync manager for process data: that of its PDOs, else as stated, else all data of
// its direction.
uint16_t process_data_length(const SlaveConfig &slave, const SyncManagerConfig &config,
                             bool outputs) {
    if (!config.pdos.empty()) {
        return assigned_bytes(slave, config, outputs);
    }
    return config.size != 0 ? static_cast<uint16_t>(config.size)
                            : bytes_for((outputs ? slave.outputs : slave.inputs).length);
}

// What the file leaves open stays, or becomes what is usual for the type.
void set_stated(std::vector<SyncManager> &managers, const SlaveConfig &slave,
                const SyncManagerConfig &config) {
    if (config.number >= kSyncManagers) {
        return;
    }
    managers.resize(std::max<size_t>(managers.size(), size_t{config.number} + 1));
    SyncManager &manager = managers[config.number];
    if (const SyncManagerType type = type_of(config);
        type != SyncManagerType::Unused && type != manager.type) {
        manager = {.control = usual_control(type), .type = type};
    }
    manager.control = config.control.value_or(manager.control);
    manager.enable = config.enable;
    const bool outputs = manager.type == SyncManagerType::Outputs;
    const bool process_data = outputs || manager.type == SyncManagerType::Inputs;
    if (config.start_address != 0) {
        manager.start = config.start_address;
    } else if (process_data) {
        manager.start = start_of(slave, outputs);
    }
    if (process_data) {
        manager.length = process_data_length(slave, config, outputs);
    } else if (config.size != 0) {
        manager.length = static_cast<uint16_t>(config.size);
    }
}

SyncManagerType type_of(uint8_t control) {
    const bool mailbox = (control & 3) == 2;
    const bool outputs = (control & 0x0C) == 0x04;
    return mailbox ? (outputs ? SyncManagerType::MailboxOut : SyncManagerType::MailboxIn)
                   : (outputs ? SyncManagerType::Outputs : SyncManagerType::Inputs);
}

// What start commands write to the registers of sync managers counts more than anything else. A
// command may begin and end inside a sync manager.
void take_commands(std::vector<SyncManager> &managers, const SlaveConfig &slave) {
    for (const InitCommand &command : slave.init_commands) {
        if (!sets_registers(command, esc::kSyncManagers,
                            esc::kSyncManagers + kSyncManagers * kSyncManagerSize)) {
            continue;
        }
        const size_t begin = command.ado - esc::kSyncManagers;
        const size_t end =
            std::min(begin + command.data.size(), size_t{kSyncManagers} * kSyncManagerSize);
        for (size_t number = begin / kSyncManagerSize; number * kSyncManagerSize < end; ++number) {
            auto bytes = registers_of(number < managers.size() ? managers[number] : SyncManager{});
            for (size_t i = 0; i < bytes.size(); ++i) {
                const size_t at = number * kSyncManagerSize + i;
                if (at >= begin && at < end) {
                    bytes[i] = command.data[at - begin];
                }
            }
            if (get16(bytes, 2) != 0) {
                managers.resize(std::max(managers.size(), number + 1));
                managers[number] = {get16(bytes, 0), get16(bytes, 2), bytes[4], (bytes[6] & 1) != 0,
                                    type_of(bytes[4])};
            }
        }
    }
}

void add_missing(std::vector<SyncManager> &managers, const SlaveConfig &slave, bool outputs) {
    const auto type = outputs ? SyncManagerType::Outputs : SyncManagerType::Inputs;
    const BitRun &run = outputs ? slave.outputs : slave.inputs;
    const bool present = std::any_of(managers.begin(), managers.end(),
                                     [type](const SyncManager &m) { return m.type == type; });
    if (run.length == 0 || present || managers.size() >= kSyncManagers) {
        return;
    }
    if (slave.mailbox && !outputs) { // sync manager 2 is for outputs, whether there are any or not
        managers.resize(std::max<size_t>(managers.size(), 3));
    }
    managers.push_back(
        {start_of(slave, outputs), bytes_for(run.length), usual_control(type), true, type});
}

} // namespace

bool writes(const InitCommand &command) {
    return command.command == kFixedWrite || command.command == kPositionWrite ||
           command.command == kBroadcastWrite;
}

bool sets_registers(const InitCommand &command, uint32_t begin, uint32_t end) {
    const bool bootstrap = !command.transitions.empty() &&
                           std::all_of(command.transitions.begin(), command.transitions.end(),
                                       [](const Transition &to) { return to.to == kBoot; });
    return writes(command) && command.ado >= begin && command.ado < end && !bootstrap &&
           std::any_of(command.data.begin(), command.data.end(),
                       [](uint8_t byte) { return byte != 0; });
}

bool sets_registers(const SlaveConfig &slave, uint32_t begin, uint32_t end) {
    return std::any_of(
        slave.init_commands.begin(), slave.init_commands.end(),
        [begin, end](const InitCommand &command) { return sets_registers(command, begin, end); });
}

std::vector<SyncManager> sync_managers_of(const SlaveConfig &slave) {
    std::vector<SyncManager> managers;
    if (slave.mailbox) {
        set_mailbox(managers, slave.mailbox_config);
    }
    for (const SyncManagerConfig &config : slave.sync_managers) {
        set_stated(managers, slave, config);
    }
    take_commands(managers, slave);
    add_missing(managers, slave, true);
    add_missing(managers, slave, false);
    return managers;
}

std::optional<uint8_t> sync_manager_of(const SlaveConfig &slave,
                                       std::span<const SyncManager> managers, const PdoConfig &pdo,
                                       SyncManagerType type) {
    for (const SyncManagerConfig &config : slave.sync_managers) {
        if (std::find(config.pdos.begin(), config.pdos.end(), pdo.index) != config.pdos.end()) {
            return config.number;
        }
    }
    const auto found = std::find_if(managers.begin(), managers.end(),
                                    [type](const SyncManager &m) { return m.type == type; });
    return found == managers.end() ? std::nullopt
                                   : std::optional(static_cast<uint8_t>(found - managers.begin()));
}

uint16_t sync_activation(const SlaveConfig &slave) {
    for (const InitCommand &command : slave.init_commands) {
        if (command.ado == esc::kSyncActivation && command.data.size() >= 2 &&
            get16(command.data, 0) != 0) {
            return get16(command.data, 0);
        }
    }
    return slave.dc_config.cycle1_ns != 0 ? kSync0And1 : kSync0;
}

std::vector<Fmmu> fmmus_of(const SlaveConfig &slave) {
    std::vector<Fmmu> fmmus;
    const std::vector<SyncManager> managers = sync_managers_of(slave);
    for (const bool outputs : {true, false}) {
        const BitRun &run = outputs ? slave.outputs : slave.inputs;
        const auto type = outputs ? SyncManagerType::Outputs : SyncManagerType::Inputs;
        const auto manager = std::find_if(managers.begin(), managers.end(),
                                          [type](const SyncManager &m) { return m.type == type; });
        if (run.length == 0 || manager == managers.end()) {
            continue;
        }
        const uint32_t first = run.offset / 8;
        const uint32_t last = (run.offset + run.length - 1) / 8;
        const std::optional<uint32_t> &stated =
            outputs ? slave.output_address : slave.input_address;
        fmmus.push_back({stated.value_or((outputs ? kLogicalOutputs : kLogicalInputs) + first),
                         static_cast<uint8_t>(run.offset % 8),
                         static_cast<uint8_t>((run.offset + run.length - 1) % 8),
                         static_cast<uint16_t>(last - first + 1), manager->start, outputs});
    }
    return fmmus;
}

std::array<uint8_t, kSyncManagerSize> registers_of(const SyncManager &manager) {
    std::array<uint8_t, kSyncManagerSize> bytes{};
    put(bytes, 0, manager.start);
    put(bytes, 2, manager.length);
    bytes[4] = manager.control;
    bytes[6] = manager.enable ? 1 : 0;
    return bytes;
}

std::array<uint8_t, kFmmuSize> registers_of(const Fmmu &fmmu) {
    std::array<uint8_t, kFmmuSize> bytes{};
    put(bytes, 0, fmmu.logical);
    put(bytes, 4, fmmu.length);
    bytes[6] = fmmu.logical_start_bit;
    bytes[7] = fmmu.logical_stop_bit;
    put(bytes, 8, fmmu.physical);
    bytes[11] = fmmu.outputs ? 2 : 1;
    bytes[12] = 1; // active
    return bytes;
}

} // namespace tarn::vcard
