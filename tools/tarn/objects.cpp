#include "objects.h"

#include "text.h"

#include <algorithm>
#include <iterator>

namespace tarn {

namespace {

struct Entry {
    uint8_t subindex;
    const char *name;
    const char *type;
};

// A row of objects with the same entries. An object without entries of its own has one value, at
// subindex 0; one with entries has their number there. `repeated` is what all subindices from 1 on
// are that are not named.
struct Object {
    uint16_t first;
    uint16_t last;
    const char *name;
    const char *type; // of the value; null when there are entries
    std::span<const Entry> entries{};
    const char *repeated = nullptr;
};

constexpr Entry kIdentity[] = {{1, "Vendor ID", "uint32"},
                               {2, "Product code", "uint32"},
                               {3, "Revision", "uint32"},
                               {4, "Serial number", "uint32"}};
constexpr Entry kErrorSettings[] = {{1, "Local error reaction", "uint32"},
                                    {2, "Sync error counter limit", "uint16"}};
constexpr Entry kSyncManager[] = {{1, "Synchronization type", "uint16"},
                                  {2, "Cycle time", "uint32"},
                                  {3, "Shift time", "uint32"},
                                  {4, "Synchronization types supported", "uint16"},
                                  {5, "Minimum cycle time", "uint32"},
                                  {6, "Calc and copy time", "uint32"},
                                  {7, "Minimum delay time", "uint32"},
                                  {8, "Get cycle time", "uint16"},
                                  {9, "Delay time", "uint32"},
                                  {10, "Sync0 cycle time", "uint32"},
                                  {11, "SM event missed", "uint16"},
                                  {12, "Cycle time too small", "uint16"},
                                  {13, "Shift time too short", "uint16"},
                                  {14, "RxPDO toggle failed", "uint16"},
                                  {15, "Minimum cycle distance", "uint32"},
                                  {16, "Maximum cycle distance", "uint32"},
                                  {17, "Minimum SM sync distance", "uint32"},
                                  {18, "Maximum SM sync distance", "uint32"},
                                  {32, "Sync error", "bool"}};
constexpr Entry kRange[] = {{1, "Minimum", "int32"}, {2, "Maximum", "int32"}};
constexpr Entry kEncoderResolution[] = {{1, "Encoder increments", "uint32"},
                                        {2, "Motor revolutions", "uint32"}};
constexpr Entry kGearRatio[] = {{1, "Motor revolutions", "uint32"},
                                {2, "Shaft revolutions", "uint32"}};
constexpr Entry kFeedConstant[] = {{1, "Feed", "uint32"}, {2, "Shaft revolutions", "uint32"}};
constexpr Entry kFactor[] = {{1, "Numerator", "uint32"}, {2, "Divisor", "uint32"}};
constexpr Entry kHomingSpeeds[] = {{1, "Speed during search for switch", "uint32"},
                                   {2, "Speed during search for zero", "uint32"}};
constexpr Entry kInterpolationTime[] = {{1, "Period", "uint8"}, {2, "Exponent", "int8"}};
constexpr Entry kDigitalOutputs[] = {{1, "Physical outputs", "uint32"}, {2, "Bit mask", "uint32"}};

constexpr Object kObjects[] = {
    {0x1000, 0x1000, "Device type", "uint32"},
    {0x1001, 0x1001, "Error register", "uint8"},
    {0x1003, 0x1003, "Pre-defined error field", nullptr, {}, "uint32"},
    {0x1008, 0x1008, "Device name", "string"},
    {0x1009, 0x1009, "Hardware version", "string"},
    {0x100A, 0x100A, "Software version", "string"},
    {0x100B, 0x100B, "Bootloader version", "string"},
    {0x1010, 0x1010, "Store parameters", nullptr, {}, "uint32"},
    {0x1011, 0x1011, "Restore default parameters", nullptr, {}, "uint32"},
    {0x1018, 0x1018, "Identity", nullptr, kIdentity},
    {0x10F1, 0x10F1, "Error settings", nullptr, kErrorSettings},
    {0x10F8, 0x10F8, "Timestamp", "uint64"},
    {0x1600, 0x17FF, "RxPDO mapping", nullptr, {}, "uint32"},
    {0x1A00, 0x1BFF, "TxPDO mapping", nullptr, {}, "uint32"},
    {0x1C00, 0x1C00, "Sync manager types", nullptr, {}, "uint8"},
    {0x1C10, 0x1C2F, "Sync manager PDO assignment", nullptr, {}, "uint16"},
    {0x1C30, 0x1C3F, "Sync manager parameters", nullptr, kSyncManager},
    {0x6007, 0x6007, "Abort connection option code", "int16"},
    {0x603F, 0x603F, "Error code", "uint16"},
    {0x6040, 0x6040, "Controlword", "uint16"},
    {0x6041, 0x6041, "Statusword", "uint16"},
    {0x6042, 0x6042, "vl target velocity", "int16"},
    {0x6043, 0x6043, "vl velocity demand", "int16"},
    {0x6044, 0x6044, "vl velocity actual value", "int16"},
    {0x605A, 0x605A, "Quick stop option code", "int16"},
    {0x605B, 0x605B, "Shutdown option code", "int16"},
    {0x605C, 0x605C, "Disable operation option code", "int16"},
    {0x605D, 0x605D, "Halt option code", "int16"},
    {0x605E, 0x605E, "Fault reaction option code", "int16"},
    {0x6060, 0x6060, "Modes of operation", "int8"},
    {0x6061, 0x6061, "Modes of operation display", "int8"},
    {0x6062, 0x6062, "Position demand value", "int32"},
    {0x6063, 0x6063, "Position actual internal value", "int32"},
    {0x6064, 0x6064, "Position actual value", "int32"},
    {0x6065, 0x6065, "Following error window", "uint32"},
    {0x6066, 0x6066, "Following error time out", "uint16"},
    {0x6067, 0x6067, "Position window", "uint32"},
    {0x6068, 0x6068, "Position window time", "uint16"},
    {0x6069, 0x6069, "Velocity sensor actual value", "int32"},
    {0x606B, 0x606B, "Velocity demand value", "int32"},
    {0x606C, 0x606C, "Velocity actual value", "int32"},
    {0x606D, 0x606D, "Velocity window", "uint16"},
    {0x606E, 0x606E, "Velocity window time", "uint16"},
    {0x606F, 0x606F, "Velocity threshold", "uint16"},
    {0x6070, 0x6070, "Velocity threshold time", "uint16"},
    {0x6071, 0x6071, "Target torque", "int16"},
    {0x6072, 0x6072, "Max torque", "uint16"},
    {0x6073, 0x6073, "Max current", "uint16"},
    {0x6074, 0x6074, "Torque demand", "int16"},
    {0x6075, 0x6075, "Motor rated current", "uint32"},
    {0x6076, 0x6076, "Motor rated torque", "uint32"},
    {0x6077, 0x6077, "Torque actual value", "int16"},
    {0x6078, 0x6078, "Current actual value", "int16"},
    {0x6079, 0x6079, "DC link circuit voltage", "uint32"},
    {0x607A, 0x607A, "Target position", "int32"},
    {0x607B, 0x607B, "Position range limit", nullptr, kRange},
    {0x607C, 0x607C, "Home offset", "int32"},
    {0x607D, 0x607D, "Software position limit", nullptr, kRange},
    {0x607E, 0x607E, "Polarity", "uint8"},
    {0x607F, 0x607F, "Max profile velocity", "uint32"},
    {0x6080, 0x6080, "Max motor speed", "uint32"},
    {0x6081, 0x6081, "Profile velocity", "uint32"},
    {0x6082, 0x6082, "End velocity", "uint32"},
    {0x6083, 0x6083, "Profile acceleration", "uint32"},
    {0x6084, 0x6084, "Profile deceleration", "uint32"},
    {0x6085, 0x6085, "Quick stop deceleration", "uint32"},
    {0x6086, 0x6086, "Motion profile type", "int16"},
    {0x6087, 0x6087, "Torque slope", "uint32"},
    {0x6088, 0x6088, "Torque profile type", "int16"},
    {0x608F, 0x608F, "Position encoder resolution", nullptr, kEncoderResolution},
    {0x6090, 0x6090, "Velocity encoder resolution", nullptr, kEncoderResolution},
    {0x6091, 0x6091, "Gear ratio", nullptr, kGearRatio},
    {0x6092, 0x6092, "Feed constant", nullptr, kFeedConstant},
    {0x6096, 0x6096, "Velocity factor", nullptr, kFactor},
    {0x6097, 0x6097, "Acceleration factor", nullptr, kFactor},
    {0x6098, 0x6098, "Homing method", "int8"},
    {0x6099, 0x6099, "Homing speeds", nullptr, kHomingSpeeds},
    {0x609A, 0x609A, "Homing acceleration", "uint32"},
    {0x60B0, 0x60B0, "Position offset", "int32"},
    {0x60B1, 0x60B1, "Velocity offset", "int32"},
    {0x60B2, 0x60B2, "Torque offset", "int16"},
    {0x60B8, 0x60B8, "Touch probe function", "uint16"},
    {0x60B9, 0x60B9, "Touch probe status", "uint16"},
    {0x60BA, 0x60BA, "Touch probe 1 positive edge", "int32"},
    {0x60BB, 0x60BB, "Touch probe 1 negative edge", "int32"},
    {0x60BC, 0x60BC, "Touch probe 2 positive edge", "int32"},
    {0x60BD, 0x60BD, "Touch probe 2 negative edge", "int32"},
    {0x60C0, 0x60C0, "Interpolation sub mode select", "int16"},
    {0x60C1, 0x60C1, "Interpolation data record", nullptr, {}, "int32"},
    {0x60C2, 0x60C2, "Interpolation time", nullptr, kInterpolationTime},
    {0x60C5, 0x60C5, "Max acceleration", "uint32"},
    {0x60C6, 0x60C6, "Max deceleration", "uint32"},
    {0x60E0, 0x60E0, "Positive torque limit", "uint16"},
    {0x60E1, 0x60E1, "Negative torque limit", "uint16"},
    {0x60F4, 0x60F4, "Following error actual value", "int32"},
    {0x60FA, 0x60FA, "Control effort", "int32"},
    {0x60FC, 0x60FC, "Position demand internal value", "int32"},
    {0x60FD, 0x60FD, "Digital inputs", "uint32"},
    {0x60FE, 0x60FE, "Digital outputs", nullptr, kDigitalOutputs},
    {0x60FF, 0x60FF, "Target velocity", "int32"},
    {0x6402, 0x6402, "Motor type", "uint16"},
    {0x6403, 0x6403, "Motor catalogue number", "string"},
    {0x6404, 0x6404, "Motor manufacturer", "string"},
    {0x6502, 0x6502, "Supported drive modes", "uint32"},
    {0x6505, 0x6505, "Drive manufacturer address", "string"},
    {0x67FF, 0x67FF, "Single device type", "uint32"},
};

const Object *find_object(uint16_t index) {
    const auto *found =
        std::find_if(std::begin(kObjects), std::end(kObjects), [&](const Object &object) {
            return index >= object.first && index <= object.last;
        });
    return found != std::end(kObjects) ? found : nullptr;
}

KnownEntry of_type(std::string name, const char *type) {
    return {std::move(name), &parse_object_type(type)};
}

} // namespace

std::string known_object_name(uint16_t index) {
    const Object *object = find_object(index);
    if (object == nullptr) {
        return "";
    }
    return std::string(object->name) +
           (object->first != object->last ? " " + std::to_string(index - object->first) : "");
}

std::optional<KnownEntry> known_entry(uint16_t index, uint8_t subindex) {
    const Object *object = find_object(index);
    if (object == nullptr) {
        return std::nullopt;
    }
    const std::string name = known_object_name(index);
    if (object->type != nullptr) {
        return subindex == 0 ? std::optional(of_type(name, object->type)) : std::nullopt;
    }
    if (subindex == 0) {
        return of_type(name + ": number of entries", "uint8");
    }
    for (const Entry &entry : object->entries) {
        if (entry.subindex == subindex) {
            return of_type(name + ": " + entry.name, entry.type);
        }
    }
    if (object->repeated == nullptr) {
        return std::nullopt;
    }
    return of_type(name + " entry " + std::to_string(subindex), object->repeated);
}

std::vector<IndexRange> known_ranges() {
    std::vector<IndexRange> ranges;
    for (const Object &object : kObjects) {
        ranges.push_back({object.first, object.last});
    }
    return ranges;
}

std::vector<EntryData> split_complete(uint16_t index, const std::vector<uint8_t> &data) {
    constexpr size_t kFirst = 2; // subindex 0 and the byte that fills it up
    const Object *object = find_object(index);
    if (object == nullptr || object->type != nullptr || data.size() < kFirst) {
        return {};
    }
    std::vector<EntryData> entries{{0, {data[0]}}};
    size_t place = kFirst;
    for (uint32_t subindex = 1; place < data.size(); ++subindex) {
        const auto entry =
            subindex <= data[0] ? known_entry(index, static_cast<uint8_t>(subindex)) : std::nullopt;
        const size_t size = entry ? entry->type->size() : 0;
        if (size == 0 || size > data.size() - place) {
            return {};
        }
        const auto begin = data.begin() + static_cast<std::ptrdiff_t>(place);
        entries.push_back(
            {static_cast<uint8_t>(subindex), {begin, begin + static_cast<std::ptrdiff_t>(size)}});
        place += size;
    }
    // Slaves may leave entries out, and then it is not known which.
    return entries.size() == data[0] + size_t{1} ? entries : std::vector<EntryData>{};
}

} // namespace tarn
