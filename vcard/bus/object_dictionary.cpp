#include "vcard/bus/object_dictionary.h"

#include "vcard/bus/error_list.h"
#include "vcard/bus/ethercat.h"
#include "vcard/bus/simulation.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

namespace tarn::vcard {

namespace {

using namespace sdo_abort;

constexpr uint16_t kAssignments = 0x1C10; // of the sync managers
constexpr uint16_t kAssignmentsEnd = 0x1C30;

bool is_signed(uint16_t type) {
    return type == kInteger8 || type == kInteger16 || type == kInteger32 || type == kInteger64;
}

int64_t limited_value(const ObjectEntry &entry, uint64_t raw) {
    if (is_signed(entry.type) && entry.bits < 64) {
        const unsigned shift = 64 - entry.bits;
        return static_cast<int64_t>(raw << shift) >> shift;
    }
    return static_cast<int64_t>(raw);
}

// ---- single entries ---------------------------------------------------------------------------

// Held outputs count in OP only; before, an entry keeps what was written to it.
bool shows_image(const ObjectEntry &entry, uint8_t state) {
    return entry.in_image &&
           ((entry.access & VCARD_OBJECT_MAPPED_TO_INPUTS) != 0 || (state & kStateMask) == kOp);
}

std::vector<uint8_t> read_image(const ObjectEntry &entry, const SlaveView &slave) {
    const bool inputs = (entry.access & VCARD_OBJECT_MAPPED_TO_INPUTS) != 0;
    const Image &image = inputs ? slave.simulation.inputs() : slave.simulation.outputs();
    std::vector<uint8_t> bytes(entry.bytes());
    for (uint32_t done = 0; done < entry.bits; done += 8) {
        bytes[done / 8] = static_cast<uint8_t>(
            get_bits(image, entry.offset + done, std::min(entry.bits - done, 8U)));
    }
    return bytes;
}

std::vector<uint8_t> value_of(const ObjectEntry &entry, const SlaveView &slave) {
    if (entry.live.get != nullptr) {
        return bytes_of(entry.live.get(slave), entry.bytes());
    }
    return shows_image(entry, slave.state) ? read_image(entry, slave) : entry.value;
}

uint32_t check_write(const ObjectEntry &entry, uint8_t state) {
    if ((entry.access & (VCARD_OBJECT_WRITE | VCARD_OBJECT_WRITE_RUNNING)) == 0) {
        return kReadOnly;
    }
    const bool allowed = (state & kStateMask) == kPreOp
                             ? (entry.access & VCARD_OBJECT_WRITE) != 0
                             : (entry.access & VCARD_OBJECT_WRITE_RUNNING) != 0;
    return allowed ? kNone : kWrongState;
}

uint32_t check_length(const ObjectEntry &entry, size_t length) {
    if (length > entry.bytes()) {
        return kTooLong;
    }
    return length < entry.bytes() && !entry.text() ? kTooShort : kNone;
}

uint32_t check_range(const ObjectEntry &entry, std::span<const uint8_t> data) {
    if (entry.text() || entry.bits > 64) {
        return kNone;
    }
    const uint64_t raw = number_of(data);
    if (entry.bits % 8 != 0 && (raw >> entry.bits) != 0) {
        return kTooHigh;
    }
    const auto &choices = entry.choices;
    if (!choices.empty() && std::find(choices.begin(), choices.end(), raw) == choices.end()) {
        return kInvalidValue;
    }
    if (!entry.limited) {
        return kNone;
    }
    const int64_t value = limited_value(entry, raw);
    return value > entry.maximum ? kTooHigh : value < entry.minimum ? kTooLow : kNone;
}

// ---- complete access --------------------------------------------------------------------------

class BitWriter {
  public:
    explicit BitWriter(std::vector<uint8_t> &bytes) : bytes_(bytes) {}

    void add(std::span<const uint8_t> value, uint32_t bits) {
        for (uint32_t i = 0; i < bits; ++i, ++used_) {
            if (used_ % 8 == 0) {
                bytes_.push_back(0);
            }
            const bool set = i / 8 < value.size() && (value[i / 8] >> (i % 8) & 1) != 0;
            bytes_.back() = static_cast<uint8_t>(bytes_.back() | (set ? 1U << (used_ % 8) : 0U));
        }
    }

  private:
    std::vector<uint8_t> &bytes_;
    size_t used_ = 0;
};

class BitReader {
  public:
    explicit BitReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    [[nodiscard]] size_t left() const { return bytes_.size() * 8 - used_; }
    std::vector<uint8_t> take(uint32_t bits) {
        std::vector<uint8_t> value((bits + 7) / 8);
        for (uint32_t i = 0; i < bits; ++i, ++used_) {
            const unsigned bit = (unsigned{bytes_[used_ / 8]} >> (used_ % 8)) & 1U;
            value[i / 8] = static_cast<uint8_t>(value[i / 8] | bit << (i % 8));
        }
        return value;
    }
    void skip(uint32_t bits) { used_ += std::min<size_t>(bits, left()); }

  private:
    std::span<const uint8_t> bytes_;
    size_t used_ = 0;
};

constexpr uint32_t kCountBits = 16; // subindex 0 and its padding

bool writable(const ObjectEntry &entry) {
    return (entry.access & (VCARD_OBJECT_WRITE | VCARD_OBJECT_WRITE_RUNNING)) != 0;
}

} // namespace

// ---- texts ------------------------------------------------------------------------------------

std::string abort_text(uint32_t abort) {
    struct Text {
        uint32_t abort;
        const char *text;
    };
    static constexpr Text kTexts[] = {
        {kUnsupportedAccess, "access not supported"},
        {kWriteOnly, "write only"},
        {kReadOnly, "read only"},
        {kCountNotZero, "subindex 0 is not 0"},
        {kNoCompleteAccess, "no complete access"},
        {kNoObject, "no such object"},
        {kNotMappable, "cannot be mapped"},
        {kTooLong, "data too long"},
        {kTooShort, "data too short"},
        {kNoSubindex, "no such subindex"},
        {kInvalidValue, "invalid value"},
        {kTooHigh, "value too high"},
        {kTooLow, "value too low"},
        {kWrongState, "not in this state"},
    };
    const auto *found = std::find_if(std::begin(kTexts), std::end(kTexts),
                                     [abort](const Text &text) { return text.abort == abort; });
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", abort);
    return std::string(code) +
           (found == std::end(kTexts) ? std::string() : std::string(" (") + found->text + ")");
}

std::string object_text(const ObjectAddress &address) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%04X:%02X%s", static_cast<unsigned>(address.index),
                  static_cast<unsigned>(address.subindex), address.complete ? " complete" : "");
    return text;
}

// ---- objects ----------------------------------------------------------------------------------

const ObjectEntry *DictionaryObject::find(uint8_t subindex) const {
    const auto found =
        std::lower_bound(entries.begin(), entries.end(), subindex,
                         [](const ObjectEntry &entry, uint8_t at) { return entry.subindex < at; });
    return found != entries.end() && found->subindex == subindex ? &*found : nullptr;
}

ObjectEntry *DictionaryObject::find(uint8_t subindex) {
    return const_cast<ObjectEntry *>(std::as_const(*this).find(subindex));
}

uint8_t DictionaryObject::count() const {
    const ObjectEntry *entry = find(0);
    return entry != nullptr && !entry->value.empty() ? entry->value.front() : 0;
}

std::vector<uint32_t> DictionaryObject::listed() const {
    std::vector<uint32_t> values;
    for (const ObjectEntry &entry : entries) {
        if (list && entry.subindex != 0 && entry.subindex <= count()) {
            values.push_back(static_cast<uint32_t>(number_of(entry.value)));
        }
    }
    return values;
}

// ---- dictionary -------------------------------------------------------------------------------

ObjectDictionary::ObjectDictionary(const SlaveConfig &slave, uint32_t cycle_us)
    : objects_(make_objects(slave, cycle_us)), configured_output_bits_(mapped_bits(true)),
      configured_input_bits_(mapped_bits(false)) {}

uint32_t ObjectDictionary::read(const ObjectAddress &address, const SlaveView &slave,
                                std::vector<uint8_t> &data) const {
    data.clear();
    if (address.index == VCARD_OBJECT_LIST_INDEX) {
        if (address.subindex != 0 || address.complete) {
            return address.complete ? kNoCompleteAccess : kNoSubindex;
        }
        data = list();
        return kNone;
    }
    const auto found = objects_.find(address.index);
    if (found == objects_.end()) {
        return kNoObject;
    }
    const DictionaryObject &object = found->second;
    if (address.complete) {
        return read_complete(object, address.subindex, slave, data);
    }
    const ObjectEntry *entry = object.find(address.subindex);
    if (entry == nullptr || (object.list && address.subindex > object.count())) {
        return kNoSubindex;
    }
    if ((entry->access & VCARD_OBJECT_READ) == 0) {
        return kWriteOnly;
    }
    data = value_of(*entry, slave);
    return kNone;
}

uint32_t ObjectDictionary::write(const ObjectAddress &address, SlaveView &slave,
                                 std::span<const uint8_t> data) {
    if (address.index == VCARD_OBJECT_LIST_INDEX) {
        return kReadOnly;
    }
    const auto found = objects_.find(address.index);
    if (found == objects_.end()) {
        return kNoObject;
    }
    DictionaryObject &object = found->second;
    if (address.complete) {
        return write_complete(address.index, object, address.subindex, slave, data);
    }
    ObjectEntry *entry = object.find(address.subindex);
    return entry == nullptr ? kNoSubindex : write_entry(address.index, object, *entry, slave, data);
}

uint32_t ObjectDictionary::write_entry(uint16_t index, DictionaryObject &object, ObjectEntry &entry,
                                       SlaveView &slave, std::span<const uint8_t> data) {
    uint32_t abort = check_write(entry, slave.state);
    if (abort == kNone) {
        abort = check_length(entry, data.size());
    }
    if (abort == kNone) {
        abort = check_range(entry, data);
    }
    if (abort == kNone && object.list && entry.subindex != 0) {
        abort =
            object.count() != 0 ? kCountNotZero : check_list_entry(index, object, number_of(data));
    }
    if (abort == kNone && entry.live.set != nullptr) {
        return entry.live.set(slave, number_of(data));
    }
    if (abort == kNone) {
        entry.value.assign(data.begin(), data.end());
    }
    return abort;
}

uint32_t ObjectDictionary::read_complete(const DictionaryObject &object, uint8_t first,
                                         const SlaveView &slave, std::vector<uint8_t> &data) const {
    if (first > 1) {
        return kUnsupportedAccess;
    }
    if (object.code == VCARD_OBJECT_VARIABLE) {
        return kNoCompleteAccess;
    }
    BitWriter writer(data);
    for (const ObjectEntry &entry : object.entries) {
        if (entry.subindex < first || (object.list && entry.subindex > object.count())) {
            continue;
        }
        const bool readable = (entry.access & VCARD_OBJECT_READ) != 0;
        writer.add(readable ? value_of(entry, slave) : std::vector<uint8_t>(),
                   entry.subindex == 0 ? kCountBits : entry.bits);
    }
    return kNone;
}

uint32_t ObjectDictionary::write_complete(uint16_t index, DictionaryObject &object, uint8_t first,
                                          SlaveView &slave, std::span<const uint8_t> data) {
    if (first > 1) {
        return kUnsupportedAccess;
    }
    if (object.code == VCARD_OBJECT_VARIABLE) {
        return kNoCompleteAccess;
    }
    if (object.list) {
        return write_complete_list(index, object, first, slave, data);
    }
    if (std::none_of(object.entries.begin(), object.entries.end(), writable)) {
        return kReadOnly;
    }
    if (data.size() * 8 < (first == 0 ? kCountBits : 1U)) {
        return kTooShort;
    }
    // Nothing is taken unless all of it fits; the data may end behind any entry.
    std::vector<std::pair<ObjectEntry *, std::vector<uint8_t>>> values;
    BitReader reader(data);
    reader.skip(first == 0 ? kCountBits : 0);
    for (ObjectEntry &entry : object.entries) {
        if (entry.subindex == 0) {
            continue;
        }
        if (reader.left() < entry.bits) {
            if (reader.left() < 8) { // padding
                break;
            }
            return kTooShort;
        }
        std::vector<uint8_t> value = reader.take(entry.bits);
        if (!writable(entry)) {
            continue;
        }
        uint32_t abort = check_write(entry, slave.state);
        abort = abort == kNone ? check_range(entry, value) : abort;
        if (abort != kNone) {
            return abort;
        }
        values.emplace_back(&entry, std::move(value));
    }
    if (reader.left() >= 8) {
        return kTooLong;
    }
    for (auto &[entry, value] : values) {
        const uint32_t abort = write_entry(index, object, *entry, slave, value);
        if (abort != kNone) {
            return abort;
        }
    }
    return kNone;
}

uint32_t ObjectDictionary::write_complete_list(uint16_t index, DictionaryObject &object,
                                               uint8_t first, SlaveView &slave,
                                               std::span<const uint8_t> data) {
    ObjectEntry &counter = object.entries.front();
    if (const uint32_t abort = check_write(counter, slave.state); abort != kNone) {
        return abort;
    }
    const size_t header = first == 0 ? kCountBits / 8 : 0;
    if (data.size() < std::max<size_t>(header, 1)) {
        return kTooShort;
    }
    const size_t width = object.entries.back().bytes();
    const size_t given = (data.size() - header) / width;
    const size_t count = first == 0 ? data[0] : given;
    if (count >= object.entries.size()) {
        return kTooHigh;
    }
    if ((data.size() - header) % width != 0 || given < count) {
        return kTooShort;
    }
    if (given >= object.entries.size()) {
        return kTooLong;
    }
    const auto value = [&](size_t i) { return data.subspan(header + i * width, width); };
    for (size_t i = 0; i < count; ++i) {
        const uint32_t abort = check_list_entry(index, object, number_of(value(i)));
        if (abort != kNone) {
            return abort;
        }
    }
    for (size_t i = 0; i < count; ++i) {
        object.entries[i + 1].value.assign(value(i).begin(), value(i).end());
    }
    counter.value = {static_cast<uint8_t>(count)};
    return kNone;
}

// ---- mapping ----------------------------------------------------------------------------------

// Lists are PDO assignments and PDO mappings.
uint32_t ObjectDictionary::check_list_entry(uint16_t index, const DictionaryObject &list,
                                            uint64_t value) const {
    if (index < kAssignments || index >= kAssignmentsEnd) {
        return can_be_mapped(static_cast<uint32_t>(value), list.outputs) ? kNone : kNotMappable;
    }
    const auto pdo = objects_.find(static_cast<uint16_t>(value));
    const bool fits = pdo != objects_.end() && pdo->second.list &&
                      pdo->second.outputs == list.outputs && pdo->first < kAssignments;
    return value == 0 || fits ? kNone : kNotMappable;
}

// A mapping is index, subindex and bits of an entry; index 0 is padding.
bool ObjectDictionary::can_be_mapped(uint32_t mapping, bool outputs) const {
    if (mapping >> 16 == 0) {
        return true;
    }
    const auto object = objects_.find(static_cast<uint16_t>(mapping >> 16));
    if (object == objects_.end()) {
        return false;
    }
    const ObjectEntry *entry = object->second.find(static_cast<uint8_t>(mapping >> 8));
    return entry != nullptr && entry->bits == (mapping & 0xFF) &&
           (outputs ? writable(*entry) : (entry->access & VCARD_OBJECT_READ) != 0);
}

uint32_t ObjectDictionary::mapped_bits(bool outputs) const {
    uint32_t bits = 0;
    for (auto assignment = objects_.lower_bound(kAssignments);
         assignment != objects_.end() && assignment->first < kAssignmentsEnd; ++assignment) {
        if (assignment->second.outputs != outputs) {
            continue;
        }
        for (const uint32_t pdo : assignment->second.listed()) {
            const auto mapping = objects_.find(static_cast<uint16_t>(pdo));
            if (mapping == objects_.end()) {
                continue;
            }
            for (const uint32_t entry : mapping->second.listed()) {
                bits += entry & 0xFF;
            }
        }
    }
    return bits;
}

bool ObjectDictionary::mapping_fits(bool outputs) const {
    return mapped_bits(outputs) == (outputs ? configured_output_bits_ : configured_input_bits_);
}

// ---- object list ------------------------------------------------------------------------------

std::vector<uint8_t> ObjectDictionary::list() const {
    static_assert(sizeof(VcardObjectEntry) == 64);
    std::vector<uint8_t> data;
    for (const auto &[index, object] : objects_) {
        for (const ObjectEntry &entry : object.entries) {
            if (object.list && entry.subindex > object.count()) {
                continue;
            }
            VcardObjectEntry record{};
            record.index = index;
            record.subindex = entry.subindex;
            record.object_code = object.code;
            record.data_type = entry.type;
            record.access = entry.access;
            record.bits = entry.bits;
            copy_text(record.name, entry.subindex == 0 ? object.name : entry.name);
            const auto *first = reinterpret_cast<const uint8_t *>(&record);
            data.insert(data.end(), first, first + sizeof record);
        }
    }
    return data;
}

} // namespace tarn::vcard
