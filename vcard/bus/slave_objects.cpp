// What the object dictionaries of the simulated slaves hold.
#include "vcard/bus/esc_config.h"
#include "vcard/bus/ethercat.h"
#include "vcard/bus/object_dictionary.h"
#include "vcard/bus/simulation.h"
#include "vcard/bus/start_mapping.h"

#include <algorithm>
#include <set>
#include <span>

namespace tarn::vcard {

namespace {

using Objects = std::map<uint16_t, DictionaryObject>;

constexpr uint16_t kRead = VCARD_OBJECT_READ;
constexpr uint16_t kWriteAnytime = VCARD_OBJECT_WRITE | VCARD_OBJECT_WRITE_RUNNING;
constexpr uint16_t kReadWrite = kRead | kWriteAnytime;
constexpr uint16_t kReadWritePreOp = VCARD_OBJECT_READ | VCARD_OBJECT_WRITE;

constexpr uint8_t kAssignmentSize = 32; // PDOs of a sync manager
constexpr uint8_t kMappingSize = 16;    // entries of a PDO, at least
constexpr uint8_t kMaxEntries = 254;

// ---- values -----------------------------------------------------------------------------------

ObjectEntry entry_of(uint8_t subindex, std::string name, uint16_t type, uint16_t access,
                     uint64_t value = 0) {
    ObjectEntry entry;
    entry.subindex = subindex;
    entry.name = std::move(name);
    entry.type = type;
    entry.bits = type_bits(type);
    entry.access = access;
    entry.value = bytes_of(value, entry.bytes());
    return entry;
}

ObjectEntry limited_entry(uint8_t subindex, std::string name, uint16_t type, int64_t minimum,
                          int64_t maximum, int64_t value) {
    ObjectEntry entry =
        entry_of(subindex, std::move(name), type, kReadWrite, static_cast<uint64_t>(value));
    entry.limited = true;
    entry.minimum = minimum;
    entry.maximum = maximum;
    return entry;
}

ObjectEntry string_entry(uint8_t subindex, std::string name, uint32_t size, uint16_t access,
                         const std::string &value) {
    ObjectEntry entry = entry_of(subindex, std::move(name), kVisibleString, access);
    entry.bits = size * 8;
    entry.value.assign(value.begin(), value.end());
    return entry;
}

ObjectEntry octets_entry(uint8_t subindex, std::string name, uint16_t access,
                         std::vector<uint8_t> value) {
    ObjectEntry entry = entry_of(subindex, std::move(name), kOctetString, access);
    entry.bits = static_cast<uint32_t>(value.size() * 8);
    entry.value = std::move(value);
    return entry;
}

// ---- objects ----------------------------------------------------------------------------------

void add_variable(Objects &objects, uint16_t index, ObjectEntry entry) {
    DictionaryObject object;
    object.name = entry.name;
    object.entries.push_back(std::move(entry));
    objects.insert_or_assign(index, std::move(object));
}

void add_record(Objects &objects, uint16_t index, std::string name,
                std::vector<ObjectEntry> entries) {
    DictionaryObject object;
    object.name = std::move(name);
    object.code = VCARD_OBJECT_RECORD;
    const uint8_t last = entries.back().subindex;
    object.entries.push_back(entry_of(0, "Last subindex", kUnsigned8, kRead, last));
    for (ObjectEntry &entry : entries) {
        object.entries.push_back(std::move(entry));
    }
    objects.insert_or_assign(index, std::move(object));
}

// A list of `values`, with room for at least `size`; what exceeds the largest list is left out.
void add_list(Objects &objects, uint16_t index, std::string name, bool outputs, uint16_t type,
              uint16_t access, std::vector<uint32_t> values, size_t size) {
    values.resize(std::min<size_t>(values.size(), kMaxEntries));
    size = std::max(size, values.size());
    DictionaryObject object;
    object.name = std::move(name);
    object.code = VCARD_OBJECT_ARRAY;
    object.list = true;
    object.outputs = outputs;
    object.entries.push_back(entry_of(0, "Entries", kUnsigned8, access, values.size()));
    object.entries.front().limited = true;
    object.entries.front().maximum = static_cast<int64_t>(size);
    for (size_t i = 0; i < size; ++i) {
        object.entries.push_back(entry_of(static_cast<uint8_t>(i + 1),
                                          "Entry " + std::to_string(i + 1), type, access,
                                          i < values.size() ? values[i] : 0));
    }
    objects.insert_or_assign(index, std::move(object));
}

// The entry, made when it is not there yet. Objects with more than subindex 0 are records.
ObjectEntry &entry_at(Objects &objects, uint16_t index, uint8_t subindex,
                      const std::string &object_name) {
    DictionaryObject &object = objects[index];
    if (object.name.empty()) {
        object.name = object_name;
    }
    if (ObjectEntry *known = object.find(subindex)) {
        return *known;
    }
    if (subindex != 0 && object.find(0) == nullptr) {
        object.entries.insert(object.entries.begin(),
                              entry_of(0, "Last subindex", kUnsigned8, kRead));
    }
    if (subindex != 0) {
        object.code = VCARD_OBJECT_RECORD;
    }
    const auto place = std::find_if(object.entries.begin(), object.entries.end(),
                                    [&](const ObjectEntry &e) { return e.subindex > subindex; });
    ObjectEntry entry;
    entry.subindex = subindex;
    ObjectEntry &made = *object.entries.insert(place, std::move(entry));
    ObjectEntry &first = object.entries.front();
    if (subindex != 0 && first.access == kRead && first.type == kUnsigned8 && !first.in_image) {
        first.value = {object.entries.back().subindex};
    }
    return made;
}

// ---- communication ----------------------------------------------------------------------------

uint32_t device_type(const SlaveConfig &slave) {
    constexpr uint32_t kModularDevice = 5001;
    constexpr uint32_t kInputsAndOutputs = 401;
    constexpr uint32_t kServoDrive = 0x00020192;
    const uint32_t inputs = slave.inputs.length != 0 ? 1 : 0;
    const uint32_t outputs = slave.outputs.length != 0 ? 2 : 0;
    switch (slave.kind) {
    case SlaveKind::Coupler:
        return kModularDevice;
    case SlaveKind::DigitalIo:
        return kInputsAndOutputs | (inputs | outputs) << 16;
    case SlaveKind::AnalogIo:
        return kInputsAndOutputs | (inputs | outputs) << 18;
    default:
        return kServoDrive;
    }
}

bool drive_failed(const SlaveView &slave) {
    const Simulation::DriveSlave *drive = slave.simulation.drive(slave.number);
    return drive != nullptr && (drive->drive.state() == DriveState::Fault ||
                                drive->drive.state() == DriveState::FaultReactionActive);
}

uint64_t error_register(const SlaveView &slave) {
    constexpr uint64_t kGeneric = 0x01;
    constexpr uint64_t kCommunication = 0x10;
    return (slave.state & kErrorFlag) != 0 || drive_failed(slave) ? kGeneric | kCommunication : 0;
}

std::string version(uint32_t revision) {
    return std::to_string(revision >> 16) + "." + std::to_string(revision & 0xFFFF);
}

void add_identity(Objects &objects, const SlaveConfig &slave) {
    add_variable(objects, 0x1000,
                 entry_of(0, "Device type", kUnsigned32, kRead, device_type(slave)));
    ObjectEntry error = entry_of(0, "Error register", kUnsigned8, kRead);
    error.live.get = error_register;
    add_variable(objects, 0x1001, std::move(error));
    const auto text = [&](uint16_t index, const char *name, const std::string &value) {
        add_variable(objects, index,
                     string_entry(0, name, static_cast<uint32_t>(value.size()), kRead, value));
    };
    text(0x1008, "Device name", slave.name);
    text(0x1009, "Hardware version", version(slave.revision_no));
    text(0x100A, "Software version", version(slave.revision_no));
    add_record(objects, 0x1018, "Identity",
               {entry_of(1, "Vendor ID", kUnsigned32, kRead, slave.vendor_id),
                entry_of(2, "Product code", kUnsigned32, kRead, slave.product_code),
                entry_of(3, "Revision number", kUnsigned32, kRead, slave.revision_no),
                entry_of(4, "Serial number", kUnsigned32, kRead, slave.serial_no)});
    add_record(objects, 0x10F1, "Error settings",
               {entry_of(1, "Local error reaction", kUnsigned32, kRead, 1),
                entry_of(2, "Sync error counter limit", kUnsigned16, kReadWrite, 4)});
}

void add_sync_parameters(Objects &objects, uint16_t index, const char *name,
                         const SlaveConfig &slave, uint32_t cycle_us) {
    constexpr uint64_t kFreeRun = 0;
    constexpr uint64_t kSyncManagerEvent = 1;
    constexpr uint64_t kDcSync0 = 2;
    constexpr uint64_t kInputsWithOutputs = 0x22;
    const uint64_t supported = slave.dc ? 0x0007 : 0x0003; // free run, sync manager, SYNC0
    constexpr uint64_t kMinimumCycleNs = 62'000;
    const uint32_t cycle_ns =
        slave.dc_config.cycle0_ns != 0 ? slave.dc_config.cycle0_ns : cycle_us * 1000;
    const bool inputs = index == 0x1C33;
    const uint64_t type = slave.dc_config.cycle0_ns != 0         ? kDcSync0
                          : !inputs && slave.outputs.length != 0 ? kSyncManagerEvent
                          : inputs && slave.outputs.length != 0  ? kInputsWithOutputs
                          : slave.inputs.length != 0             ? kSyncManagerEvent
                                                                 : kFreeRun;
    ObjectEntry types = entry_of(1, "Synchronization type", kUnsigned16, kReadWritePreOp, type);
    types.choices = {kFreeRun, kSyncManagerEvent};
    if (inputs && slave.outputs.length != 0) {
        types.choices.push_back(kInputsWithOutputs);
    }
    if (slave.dc) {
        types.choices.push_back(kDcSync0);
    }
    add_record(objects, index, name,
               {std::move(types), entry_of(2, "Cycle time", kUnsigned32, kReadWritePreOp, cycle_ns),
                entry_of(3, "Shift time", kUnsigned32, kRead,
                         static_cast<uint32_t>(slave.dc_config.shift_ns)),
                entry_of(4, "Synchronization types supported", kUnsigned16, kRead, supported),
                entry_of(5, "Minimum cycle time", kUnsigned32, kRead, kMinimumCycleNs),
                entry_of(6, "Calc and copy time", kUnsigned32, kRead, 10'000),
                entry_of(9, "Delay time", kUnsigned32, kRead),
                entry_of(11, "SM event missed", kUnsigned16, kRead),
                entry_of(12, "Cycle time too small", kUnsigned16, kRead),
                entry_of(32, "Sync error", kBoolean, kRead)});
}

// ---- PDOs -------------------------------------------------------------------------------------

bool is_output_pdo(uint16_t index) {
    return index >= 0x1600 && index < 0x1800;
}
bool is_input_pdo(uint16_t index) {
    return index >= 0x1A00 && index < 0x1C00;
}

void add_mappings(Objects &objects, const std::vector<PdoConfig> &pdos, bool outputs) {
    for (const PdoConfig &pdo : pdos) {
        const bool is_pdo = outputs ? is_output_pdo(pdo.index) : is_input_pdo(pdo.index);
        if (!is_pdo || objects.contains(pdo.index)) {
            continue;
        }
        std::vector<uint32_t> values;
        for (const PdoEntry &entry : pdo.entries) {
            values.push_back(static_cast<uint32_t>(entry.index) << 16 |
                             static_cast<uint32_t>(entry.index == 0 ? 0 : entry.subindex) << 8 |
                             (entry.bits & 0xFF));
        }
        add_list(objects, pdo.index, pdo.name.empty() ? "PDO mapping" : pdo.name, outputs,
                 kUnsigned32, pdo.fixed ? kRead : kReadWritePreOp, std::move(values), kMappingSize);
    }
}

// Types of the sync managers; of four, slaves keep the usual order where nothing else is known.
std::vector<SyncManagerType> sync_manager_types(std::span<const SyncManager> managers) {
    std::vector<SyncManagerType> types = {SyncManagerType::MailboxOut, SyncManagerType::MailboxIn,
                                          SyncManagerType::Outputs, SyncManagerType::Inputs};
    types.resize(std::max(types.size(), managers.size()), SyncManagerType::Unused);
    for (size_t i = 0; i < managers.size(); ++i) {
        if (managers[i].type != SyncManagerType::Unused) {
            types[i] = managers[i].type;
        }
    }
    return types;
}

void add_assignment(Objects &objects, const SlaveConfig &slave,
                    std::span<const SyncManager> managers,
                    const std::vector<SyncManagerType> &types, size_t number) {
    const SyncManagerType type = types[number];
    const auto index = static_cast<uint16_t>(0x1C10 + number);
    const std::string name = "Sync manager " + std::to_string(number) + " PDO assignment";
    const bool outputs = type == SyncManagerType::Outputs;
    if (!outputs && type != SyncManagerType::Inputs) {
        add_variable(objects, index, entry_of(0, name, kUnsigned8, kRead));
        return;
    }
    const auto first =
        static_cast<size_t>(std::find(types.begin(), types.end(), type) - types.begin());
    std::vector<uint32_t> values;
    for (const PdoConfig &pdo : outputs ? slave.output_pdos : slave.input_pdos) {
        if (pdo.assigned && pdo.index != 0) {
            const size_t stated = sync_manager_of(slave, managers, pdo, type).value_or(first);
            const bool known = stated < types.size() && types[stated] == type;
            if ((known ? stated : first) == number) {
                values.push_back(pdo.index);
            }
        }
    }
    add_list(objects, index, outputs ? "Output PDO assignment" : "Input PDO assignment", outputs,
             kUnsigned16, kReadWritePreOp, std::move(values), kAssignmentSize);
}

void add_sync_managers(Objects &objects, const SlaveConfig &slave, uint32_t cycle_us) {
    const std::vector<SyncManager> managers = sync_managers_of(slave);
    const std::vector<SyncManagerType> types = sync_manager_types(managers);
    std::vector<ObjectEntry> entries;
    for (size_t i = 0; i < types.size(); ++i) {
        entries.push_back(entry_of(static_cast<uint8_t>(i + 1), "Sync manager " + std::to_string(i),
                                   kUnsigned8, kRead, static_cast<uint64_t>(types[i])));
    }
    add_record(objects, 0x1C00, "Sync manager types", std::move(entries));
    objects[0x1C00].code = VCARD_OBJECT_ARRAY;
    add_mappings(objects, slave.output_pdos, true);
    add_mappings(objects, slave.input_pdos, false);
    for (size_t i = 0; i < types.size(); ++i) {
        add_assignment(objects, slave, managers, types, i);
    }
    add_sync_parameters(objects, 0x1C32, "Output sync manager", slave, cycle_us);
    add_sync_parameters(objects, 0x1C33, "Input sync manager", slave, cycle_us);
}

// ---- drives -----------------------------------------------------------------------------------

Simulation::DriveSlave &drive_of(const SlaveView &slave) {
    return *slave.simulation.drive(slave.number);
}

using DriveMap = SlaveConfig::DriveMap;

// In OP the process data count for what is mapped.
bool from_image(const SlaveView &slave, uint32_t DriveMap::*mapped) {
    return (slave.state & kStateMask) == kOp && slave.config.drive.*mapped != DriveMap::kUnmapped;
}

template <auto Field, uint32_t DriveMap::*Mapped>
uint64_t command_value(const SlaveView &slave) {
    const Simulation::DriveSlave &drive = drive_of(slave);
    return static_cast<uint64_t>(from_image(slave, Mapped) ? drive.command.*Field
                                                           : drive.settings.*Field);
}

template <auto Field>
uint32_t set_command(SlaveView &slave, uint64_t value) {
    auto &field = drive_of(slave).settings.*Field;
    field = static_cast<std::remove_reference_t<decltype(field)>>(value);
    return sdo_abort::kNone;
}

template <auto Field>
uint64_t feedback_value(const SlaveView &slave) {
    return static_cast<uint64_t>(drive_of(slave).feedback.*Field);
}

template <auto Field>
uint64_t profile_value(const SlaveView &slave) {
    return static_cast<uint64_t>(drive_of(slave).drive.profile().*Field);
}

constexpr double kMostVelocity = Drive::kCyclicVelocityLimit;
constexpr double kMostAcceleration = 100'000'000;

// A start command may ask for more than the drive can.
template <auto Field>
uint32_t set_profile(SlaveView &slave, uint64_t value) {
    const double most = Field == &DriveProfile::velocity ? kMostVelocity : kMostAcceleration;
    drive_of(slave).drive.profile().*Field = std::min(static_cast<double>(value), most);
    return sdo_abort::kNone;
}

uint64_t selected_mode(const SlaveView &slave) {
    return command_value<&DriveCommand::mode, &DriveMap::mode>(slave);
}

uint32_t select_mode(SlaveView &slave, uint64_t value) {
    const auto mode = static_cast<int8_t>(value);
    if (mode != 0 && !drive_of(slave).drive.select(mode)) {
        return sdo_abort::kInvalidValue;
    }
    drive_of(slave).settings.mode = mode;
    return sdo_abort::kNone;
}

uint64_t present_mode(const SlaveView &slave) {
    return static_cast<uint64_t>(drive_of(slave).drive.mode());
}

uint64_t error_code(const SlaveView &slave) {
    constexpr uint64_t kCommunication = 0x7500;
    return drive_failed(slave) ? kCommunication : 0;
}

struct DriveObject {
    uint16_t index;
    const char *name;
    uint16_t type;
    ObjectEntry::Live live;
};

const DriveObject kDriveObjects[] = {
    {0x603F, "Error code", kUnsigned16, {error_code, nullptr}},
    {0x6040,
     "Controlword",
     kUnsigned16,
     {command_value<&DriveCommand::controlword, &DriveMap::controlword>,
      set_command<&DriveCommand::controlword>}},
    {0x6041, "Statusword", kUnsigned16, {feedback_value<&DriveFeedback::statusword>, nullptr}},
    {0x6060, "Modes of operation", kInteger8, {selected_mode, select_mode}},
    {0x6061, "Modes of operation display", kInteger8, {present_mode, nullptr}},
    {0x6064,
     "Position actual value",
     kInteger32,
     {feedback_value<&DriveFeedback::position>, nullptr}},
    {0x606C,
     "Velocity actual value",
     kInteger32,
     {feedback_value<&DriveFeedback::velocity>, nullptr}},
    {0x6071,
     "Target torque",
     kInteger16,
     {command_value<&DriveCommand::target_torque, &DriveMap::target_torque>,
      set_command<&DriveCommand::target_torque>}},
    {0x6077, "Torque actual value", kInteger16, {feedback_value<&DriveFeedback::torque>, nullptr}},
    {0x607A,
     "Target position",
     kInteger32,
     {command_value<&DriveCommand::target_position, &DriveMap::target_position>,
      set_command<&DriveCommand::target_position>}},
    {0x6081,
     "Profile velocity",
     kUnsigned32,
     {profile_value<&DriveProfile::velocity>, set_profile<&DriveProfile::velocity>}},
    {0x6083,
     "Profile acceleration",
     kUnsigned32,
     {profile_value<&DriveProfile::acceleration>, set_profile<&DriveProfile::acceleration>}},
    {0x6084,
     "Profile deceleration",
     kUnsigned32,
     {profile_value<&DriveProfile::deceleration>, set_profile<&DriveProfile::deceleration>}},
    {0x6085,
     "Quick stop deceleration",
     kUnsigned32,
     {profile_value<&DriveProfile::quick_stop>, set_profile<&DriveProfile::quick_stop>}},
    {0x60FF,
     "Target velocity",
     kInteger32,
     {command_value<&DriveCommand::target_velocity, &DriveMap::target_velocity>,
      set_command<&DriveCommand::target_velocity>}},
};

// `units` times ten to the power of `exponent` seconds.
struct InterpolationTime {
    uint32_t units;
    int exponent;
};

// Exact where 8 bits allow it, in milliseconds rather than anything else; else rounded.
InterpolationTime interpolation_time(uint32_t cycle_us) {
    struct Unit {
        uint32_t us;
        int exponent;
    };
    constexpr uint32_t kMost = 255;
    static constexpr Unit kExact[] = {{1000, -3},   {100, -4},     {10, -5},      {1, -6},
                                      {10'000, -2}, {100'000, -1}, {1'000'000, 0}};
    for (const Unit &unit : kExact) {
        if (cycle_us % unit.us == 0 && cycle_us / unit.us <= kMost) {
            return {cycle_us / unit.us, unit.exponent};
        }
    }
    Unit unit{1, -6};
    while ((cycle_us + unit.us / 2) / unit.us > kMost) {
        unit = {unit.us * 10, unit.exponent + 1};
    }
    return {(cycle_us + unit.us / 2) / unit.us, unit.exponent};
}

void add_drive_objects(Objects &objects, uint32_t cycle_us) {
    for (const DriveObject &row : kDriveObjects) {
        ObjectEntry entry =
            entry_of(0, row.name, row.type, row.live.set == nullptr ? kRead : kReadWrite);
        entry.live = row.live;
        if (row.index == 0x6081) {
            entry.limited = true;
            entry.maximum = static_cast<int64_t>(kMostVelocity);
        } else if (row.index >= 0x6083 && row.index <= 0x6085) {
            entry.limited = true;
            entry.minimum = 1;
            entry.maximum = static_cast<int64_t>(kMostAcceleration);
        }
        add_variable(objects, row.index, std::move(entry));
    }
    const InterpolationTime time = interpolation_time(cycle_us);
    add_record(objects, 0x60C2, "Interpolation time period",
               {entry_of(1, "Interpolation time units", kUnsigned8, kReadWrite, time.units),
                limited_entry(2, "Interpolation time index", kInteger8, -128, 63, time.exponent)});
    add_variable(objects, 0x6502,
                 entry_of(0, "Supported drive modes", kUnsigned32, kRead, kSupportedDriveModes));
}

// ---- process data -----------------------------------------------------------------------------

void add_process_entry(Objects &objects, const PdoEntry &pdo, bool outputs, bool assigned,
                       std::optional<uint32_t> offset) {
    const auto object = objects.find(pdo.index);
    if (object != objects.end() && object->second.list) {
        return; // nothing of a list is process data
    }
    const bool known = object != objects.end() && object->second.find(pdo.subindex) != nullptr;
    ObjectEntry &entry = entry_at(objects, pdo.index, pdo.subindex, pdo.name);
    if (!known) {
        const uint8_t subindex = entry.subindex;
        entry =
            entry_of(subindex, pdo.name, type_of(pdo.type, pdo.bits), outputs ? kReadWrite : kRead);
        entry.bits = pdo.bits;
        entry.value.assign(entry.bytes(), 0);
    }
    if (!assigned ||
        (entry.access & (VCARD_OBJECT_MAPPED_TO_OUTPUTS | VCARD_OBJECT_MAPPED_TO_INPUTS)) != 0) {
        return;
    }
    // A command that the slave shows among its inputs is a command still.
    const uint16_t as_input = entry.live.set != nullptr ? entry.access : kRead;
    entry.access = outputs ? kReadWritePreOp | VCARD_OBJECT_MAPPED_TO_OUTPUTS
                           : as_input | VCARD_OBJECT_MAPPED_TO_INPUTS;
    if (entry.live.get == nullptr && offset && entry.bits == pdo.bits) {
        entry.in_image = true;
        entry.offset = *offset;
    }
}

void add_process_data(Objects &objects, const std::vector<PdoConfig> &pdos, const BitRun &run,
                      bool outputs) {
    uint64_t done = 0;
    for (const PdoConfig &pdo : pdos) { // the assigned ones first
        for (const PdoEntry &entry : pdo.entries) {
            const bool inside = pdo.assigned && done + entry.bits <= run.length;
            if (entry.index != 0 && entry.bits != 0) {
                add_process_entry(objects, entry, outputs, pdo.assigned,
                                  inside ? std::optional(run.offset + static_cast<uint32_t>(done))
                                         : std::nullopt);
            }
            done += pdo.assigned ? entry.bits : 0;
        }
    }
}

// ---- manufacturer's objects -------------------------------------------------------------------

constexpr uint16_t kScratch = 0x5F00;
constexpr size_t kOctets = 256;
constexpr size_t kPattern = 4096;

// For trying out services: values of several types that mean nothing to the slave.
void add_scratch(Objects &objects) {
    std::vector<uint8_t> pattern(kPattern);
    for (size_t i = 0; i < pattern.size(); ++i) {
        pattern[i] = static_cast<uint8_t>(i ^ i >> 8);
    }
    add_record(objects, kScratch, "Scratch area",
               {entry_of(1, "Number", kUnsigned32, kReadWrite),
                limited_entry(2, "Limited number", kInteger16, -1000, 1000, 0),
                entry_of(3, "Long number", kUnsigned64, kReadWrite),
                entry_of(4, "Real number", kReal32, kReadWrite),
                entry_of(5, "Written only", kUnsigned16, kWriteAnytime),
                entry_of(6, "Set in PREOP", kUnsigned16, kReadWritePreOp),
                entry_of(7, "Switch", kBoolean, kReadWrite)});
    add_variable(objects, kScratch + 1, string_entry(0, "Scratch text", 64, kReadWrite, ""));
    add_variable(objects, kScratch + 2,
                 octets_entry(0, "Scratch octets", kReadWrite, std::vector<uint8_t>(kOctets)));
    add_variable(objects, kScratch + 3, octets_entry(0, "Test pattern", kRead, std::move(pattern)));
}

// ---- start commands ---------------------------------------------------------------------------

void add_named_entry(Objects &objects, const CoeInitCommand &command) {
    const bool with_count = command.complete_access && command.subindex == 0;
    const size_t header = with_count ? 2 : 0;
    const size_t given = command.data.size() > header ? command.data.size() - header : 0;
    const uint8_t subindex = command.complete_access ? 1 : command.subindex;
    ObjectEntry &entry = entry_at(objects, command.index, subindex,
                                  command.comment.empty() ? "Start parameter" : command.comment);
    const size_t size = given == 0 ? 4 : given; // a command that reads may name no size
    const auto bits = static_cast<uint32_t>(size * 8);
    entry = entry_of(subindex, command.comment, type_of({}, bits), kReadWrite);
    entry.bits = bits;
    entry.value.assign(size, 0);
}

constexpr uint16_t kIdentityEnd = 0x1020; // no start command changes what a slave is

// A start command may set what the slave would not let others set, and beyond a profile's limits:
// its tool knew the slave.
void let_command_write(ObjectEntry &entry, const CoeInitCommand &command) {
    const bool shown =
        entry.live.set == nullptr &&
        (entry.live.get != nullptr || (entry.access & VCARD_OBJECT_MAPPED_TO_INPUTS) != 0);
    if (command.index < kIdentityEnd || shown) {
        return;
    }
    entry.access |= VCARD_OBJECT_WRITE;
    if (!entry.choices.empty() && !command.complete_access) {
        entry.choices.push_back(number_of(command.data));
    }
    if (entry.limited && command.index >= 0x6000 && !command.complete_access &&
        command.data.size() == entry.bytes() && entry.bytes() <= sizeof(int32_t)) {
        entry.maximum = std::max(entry.maximum, static_cast<int64_t>(number_of(command.data)));
    }
}

void let_command_write(DictionaryObject &object, const CoeInitCommand &command) {
    for (ObjectEntry &entry : object.entries) {
        const bool whole = object.list || (command.complete_access && entry.subindex != 0);
        if (whole || (!command.complete_access && entry.subindex == command.subindex)) {
            let_command_write(entry, command);
        }
    }
}

// What start commands map to a PDO is there, too.
void add_mapped_objects(Objects &objects, const SlaveConfig &slave) {
    std::set<uint16_t> pdos;
    for (const CoeInitCommand &command : slave.mailbox_config.coe_commands) {
        if (is_output_pdo(command.index) || is_input_pdo(command.index)) {
            pdos.insert(command.index);
        }
    }
    for (const uint16_t pdo : pdos) {
        for (const PdoEntry &entry : mapped_by_commands(slave, pdo)) {
            const auto object = objects.find(entry.index);
            if (entry.index != 0 &&
                (object == objects.end() || object->second.find(entry.subindex) == nullptr)) {
                add_process_entry(objects, entry, is_output_pdo(pdo), false, std::nullopt);
            }
        }
    }
}

// What the configuration's start commands name is there, and they may write it: their tool would
// not have written them otherwise. Lists are as long as they are.
void add_named_objects(Objects &objects, const SlaveConfig &slave) {
    for (const CoeInitCommand &command : slave.mailbox_config.coe_commands) {
        const bool outputs = is_output_pdo(command.index);
        if (!objects.contains(command.index) && (outputs || is_input_pdo(command.index))) {
            add_list(objects, command.index, "PDO mapping", outputs, kUnsigned32, kReadWritePreOp,
                     {}, kMappingSize);
        }
        const auto object = objects.find(command.index);
        const bool named =
            object != objects.end() && (command.complete_access || object->second.list ||
                                        object->second.find(command.subindex) != nullptr);
        if (!named) {
            add_named_entry(objects, command);
        } else if (command.ccs == CoeInitCommand::kDownload) {
            let_command_write(object->second, command);
        }
    }
}

} // namespace

Objects make_objects(const SlaveConfig &slave, uint32_t cycle_us) {
    Objects objects;
    add_identity(objects, slave);
    add_sync_managers(objects, slave, cycle_us);
    if (slave.kind == SlaveKind::Drive) {
        add_drive_objects(objects, cycle_us);
    }
    add_process_data(objects, slave.output_pdos, slave.outputs, true);
    add_process_data(objects, slave.input_pdos, slave.inputs, false);
    add_scratch(objects);
    add_mapped_objects(objects, slave);
    add_named_objects(objects, slave);
    return objects;
}

} // namespace tarn::vcard
