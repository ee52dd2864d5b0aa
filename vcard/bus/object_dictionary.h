// The CoE object dictionary of a simulated slave.
#pragma once

#include "tarn_vcard/records.h"
#include "vcard/bus/data_type.h"
#include "vcard/bus/network.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace tarn::vcard {

class Simulation;

// SDO abort codes.
namespace sdo_abort {
inline constexpr uint32_t kNone = 0;
inline constexpr uint32_t kUnsupportedAccess = 0x06010000;
inline constexpr uint32_t kWriteOnly = 0x06010001;
inline constexpr uint32_t kReadOnly = 0x06010002;
inline constexpr uint32_t kCountNotZero = 0x06010003; // entry of a list that is in use
inline constexpr uint32_t kNoCompleteAccess = 0x06010004;
inline constexpr uint32_t kNoObject = 0x06020000;
inline constexpr uint32_t kNotMappable = 0x06040041;
inline constexpr uint32_t kTooLong = 0x06070012;
inline constexpr uint32_t kTooShort = 0x06070013;
inline constexpr uint32_t kNoSubindex = 0x06090011;
inline constexpr uint32_t kInvalidValue = 0x06090030;
inline constexpr uint32_t kTooHigh = 0x06090031;
inline constexpr uint32_t kTooLow = 0x06090032;
inline constexpr uint32_t kWrongState = 0x08000022;
} // namespace sdo_abort

// "0x06010002 (read only)".
std::string abort_text(uint32_t abort);

struct ObjectAddress {
    uint16_t index = 0;
    uint8_t subindex = 0;
    bool complete = false;
};

// "0x6060:00".
std::string object_text(const ObjectAddress &address);

// The slave around the dictionary, for the objects whose values it computes.
struct SlaveView {
    uint32_t number;
    uint8_t state; // with the error flag
    const SlaveConfig &config;
    Simulation &simulation;
};

struct ObjectEntry {
    // Values that are not in memory.
    struct Live {
        uint64_t (*get)(const SlaveView &) = nullptr;
        uint32_t (*set)(SlaveView &, uint64_t) = nullptr; // gives an abort code
    };

    uint8_t subindex = 0;
    std::string name;
    uint16_t type = kUnsigned8;
    uint32_t bits = 8;
    uint16_t access = VCARD_OBJECT_READ;
    std::vector<uint8_t> value;
    bool limited = false; // minimum and maximum count
    int64_t minimum = 0;
    int64_t maximum = 0;
    std::vector<uint64_t> choices; // the values that it may have; empty: any
    Live live;
    bool in_image = false; // offset is the bit in the process image
    uint32_t offset = 0;

    [[nodiscard]] uint32_t bytes() const { return (bits + 7) / 8; }
    [[nodiscard]] bool text() const { return type == kVisibleString; }
};

struct DictionaryObject {
    std::string name;
    uint8_t code = VCARD_OBJECT_VARIABLE;
    // A list: subindex 0 can be written and says how many of the entries count.
    bool list = false;
    bool outputs = false;             // a list: of PDOs or entries for outputs, else for inputs
    std::vector<ObjectEntry> entries; // by subindex

    [[nodiscard]] const ObjectEntry *find(uint8_t subindex) const;
    [[nodiscard]] ObjectEntry *find(uint8_t subindex);
    [[nodiscard]] uint8_t count() const; // value of subindex 0
    // The entries of a list that count; nothing of other objects.
    [[nodiscard]] std::vector<uint32_t> listed() const;
};

class ObjectDictionary {
  public:
    // `cycle_us` is the cycle of the bus.
    ObjectDictionary(const SlaveConfig &slave, uint32_t cycle_us);

    // Both give an abort code.
    [[nodiscard]] uint32_t read(const ObjectAddress &address, const SlaveView &slave,
                                std::vector<uint8_t> &data) const;
    [[nodiscard]] uint32_t write(const ObjectAddress &address, SlaveView &slave,
                                 std::span<const uint8_t> data);

    // Bits that the assigned PDOs of one direction carry now.
    [[nodiscard]] uint32_t mapped_bits(bool outputs) const;
    // Whether they are still as many as the configuration has given the slave.
    [[nodiscard]] bool mapping_fits(bool outputs) const;

    [[nodiscard]] const std::map<uint16_t, DictionaryObject> &objects() const { return objects_; }

  private:
    [[nodiscard]] std::vector<uint8_t> list() const;
    [[nodiscard]] uint32_t read_complete(const DictionaryObject &object, uint8_t first,
                                         const SlaveView &slave, std::vector<uint8_t> &data) const;
    [[nodiscard]] uint32_t write_complete(uint16_t index, DictionaryObject &object, uint8_t first,
                                          SlaveView &slave, std::span<const uint8_t> data);
    [[nodiscard]] uint32_t write_complete_list(uint16_t index, DictionaryObject &object,
                                               uint8_t first, SlaveView &slave,
                                               std::span<const uint8_t> data);
    [[nodiscard]] uint32_t write_entry(uint16_t index, DictionaryObject &object, ObjectEntry &entry,
                                       SlaveView &slave, std::span<const uint8_t> data);
    [[nodiscard]] uint32_t check_list_entry(uint16_t index, const DictionaryObject &list,
                                            uint64_t value) const;
    [[nodiscard]] bool can_be_mapped(uint32_t mapping, bool outputs) const;

    std::map<uint16_t, DictionaryObject> objects_;
    uint32_t configured_output_bits_ = 0;
    uint32_t configured_input_bits_ = 0;
};

// What a slave's dictionary holds after power-up.
std::map<uint16_t, DictionaryObject> make_objects(const SlaveConfig &slave, uint32_t cycle_us);

} // namespace tarn::vcard
