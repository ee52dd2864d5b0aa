#include "vcard/bus/sii.h"

#include "vcard/bus/data_type.h"
#include "vcard/bus/esc_config.h"

#include <algorithm>
#include <concepts>
#include <string>
#include <utility>

namespace tarn::vcard {
namespace {

constexpr size_t kChecked = 14;       // bytes that the checksum is about
constexpr size_t kSmallest = 2048;    // bytes of an EEPROM
constexpr size_t kGrain = 128;        // the size word counts KiBit
constexpr uint16_t kSpi = 0x05;       // PDI of slaves with a processor
constexpr uint16_t kDigitalIo = 0x04; // of those without
constexpr uint8_t kUnassigned = 0xFF; // a PDO without sync manager
constexpr int16_t kBusCurrent = 120;  // mA
constexpr uint16_t kPorts = 0x1111;   // four ports with cables
constexpr size_t kLongestString = 255;
constexpr size_t kMostEntries = 255; // of a PDO

constexpr uint16_t kProtocolBits[] = {0x01, 0x02, 0x04, 0x08, 0x10, 0x20};
constexpr bool MailboxConfig::*kProtocols[] = {&MailboxConfig::aoe, &MailboxConfig::eoe,
                                               &MailboxConfig::coe, &MailboxConfig::foe,
                                               &MailboxConfig::soe, &MailboxConfig::voe};

// Padding has none.
uint8_t data_type(const PdoEntry &entry) {
    return entry.index == 0 ? uint8_t{0} : static_cast<uint8_t>(type_of(entry.type, entry.bits));
}

class Bytes {
  public:
    template <std::integral T>
    void add(T value) {
        bytes_.resize(bytes_.size() + sizeof value);
        put(bytes_, bytes_.size() - sizeof value, value);
    }
    void add(std::span<const uint8_t> bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
    void pad_to(size_t size, uint8_t value) { bytes_.resize(std::max(size, bytes_.size()), value); }
    void pad_even(uint8_t value) {
        if (bytes_.size() % 2 != 0) {
            bytes_.push_back(value);
        }
    }
    [[nodiscard]] size_t size() const { return bytes_.size(); }
    [[nodiscard]] SiiImage &bytes() { return bytes_; }

  private:
    SiiImage bytes_;
};

// Texts are kept once each and named by their numbers from 1; 0 is no text.
class Strings {
  public:
    uint8_t number(const std::string &text) {
        const std::string cut = text.substr(0, kLongestString);
        if (cut.empty()) {
            return 0;
        }
        auto found = std::find(texts_.begin(), texts_.end(), cut);
        if (found == texts_.end()) {
            if (texts_.size() == 0xFF) {
                return 0;
            }
            found = texts_.insert(texts_.end(), cut);
        }
        return static_cast<uint8_t>(found - texts_.begin() + 1);
    }
    [[nodiscard]] Bytes category() const {
        Bytes data;
        data.add(static_cast<uint8_t>(texts_.size()));
        for (const std::string &text : texts_) {
            data.add(static_cast<uint8_t>(text.size()));
            for (const char c : text) {
                data.add(static_cast<uint8_t>(c));
            }
        }
        data.pad_even(0);
        return data;
    }

  private:
    std::vector<std::string> texts_;
};

const char *group_of(SlaveKind kind) {
    switch (kind) {
    case SlaveKind::Coupler:
        return "Coupler";
    case SlaveKind::DigitalIo:
        return "Digital I/O";
    case SlaveKind::AnalogIo:
        return "Analogue I/O";
    case SlaveKind::Drive:
        break;
    }
    return "Drive";
}

Bytes general(const SlaveConfig &slave, Strings &strings) {
    const uint8_t name = strings.number(slave.name);
    const uint8_t group = strings.number(group_of(slave.kind));
    const MailboxConfig &mailbox = slave.mailbox_config;
    Bytes data;
    data.add(group);
    data.add(uint8_t{0}); // image
    data.add(name);       // order number
    data.add(name);
    data.add(uint8_t{0});
    // SDO, PDO assignment, PDO configuration, complete access
    data.add(static_cast<uint8_t>(slave.mailbox && mailbox.coe ? 0x2D : 0));
    data.add(static_cast<uint8_t>(slave.mailbox && mailbox.foe ? 1 : 0));
    data.add(static_cast<uint8_t>(slave.mailbox && mailbox.eoe ? 1 : 0));
    data.add(uint8_t{0});                                                   // SoE channels
    data.add(static_cast<uint8_t>(slave.kind == SlaveKind::Drive ? 1 : 0)); // CiA 402 channels
    data.add(uint8_t{0});
    data.add(uint8_t{0}); // flags
    data.add(kBusCurrent);
    data.add(group);
    data.add(uint8_t{0});
    data.add(kPorts);
    data.pad_to(32, 0);
    return data;
}

Bytes fmmus(const SlaveConfig &slave) {
    Bytes data;
    for (const Fmmu &fmmu : fmmus_of(slave)) {
        data.add(static_cast<uint8_t>(fmmu.outputs ? 1 : 2));
    }
    if (slave.mailbox) {
        data.add(uint8_t{3}); // mailbox state
    }
    data.pad_even(0xFF);
    return data;
}

Bytes sync_managers(const SlaveConfig &slave) {
    Bytes data;
    for (const SyncManager &manager : sync_managers_of(slave)) {
        auto bytes = registers_of(manager);
        bytes[7] = static_cast<uint8_t>(manager.type);
        data.add(bytes);
    }
    return data;
}

Bytes pdo_category(const SlaveConfig &slave, std::span<const SyncManager> managers,
                   const PdoConfig &pdo, SyncManagerType type, Strings &strings) {
    // An entry longer than its 8-bit length is several; a PDO has room for 255.
    std::vector<PdoEntry> entries;
    for (PdoEntry entry : pdo.entries) {
        for (uint32_t rest = entry.bits; rest != 0 && entries.size() < kMostEntries;
             rest -= entry.bits) {
            entry.bits = std::min(rest, 248U);
            entries.push_back(entry);
        }
    }
    Bytes data;
    data.add(pdo.index);
    data.add(static_cast<uint8_t>(entries.size()));
    data.add(pdo.assigned ? sync_manager_of(slave, managers, pdo, type).value_or(kUnassigned)
                          : kUnassigned);
    data.add(uint8_t{0}); // synchronisation
    data.add(strings.number(pdo.name));
    data.add(static_cast<uint16_t>(pdo.fixed ? 0x0010 : 0));
    for (const PdoEntry &entry : entries) {
        data.add(entry.index);
        data.add(entry.subindex);
        data.add(strings.number(entry.name));
        data.add(data_type(entry));
        data.add(static_cast<uint8_t>(entry.bits));
        data.add(uint16_t{0});
    }
    return data;
}

Bytes clocks(const SlaveConfig &slave, Strings &strings) {
    Bytes data;
    data.add(slave.dc_config.cycle0_ns);
    data.add(slave.dc_config.shift_ns);
    data.add(uint32_t{0});                                                  // shift of SYNC1
    data.add(static_cast<int16_t>(slave.dc_config.cycle1_ns != 0 ? 1 : 0)); // factor of SYNC1
    data.add(sync_activation(slave));
    data.add(int16_t{1}); // factor of SYNC0
    data.add(strings.number("DC"));
    data.add(strings.number("distributed clocks"));
    data.pad_to(24, 0);
    return data;
}

void append_category(Bytes &image, uint16_t type, Bytes &&data) {
    data.pad_even(0);
    if (data.size() == 0) {
        return;
    }
    image.add(type);
    image.add(static_cast<uint16_t>(data.size() / 2));
    image.add(data.bytes());
}

void append_categories(Bytes &image, const SlaveConfig &slave) {
    const std::vector<SyncManager> managers = sync_managers_of(slave);
    Strings strings;
    Bytes rest;
    append_category(rest, sii::kGeneral, general(slave, strings));
    append_category(rest, sii::kFmmu, fmmus(slave));
    append_category(rest, sii::kSyncM, sync_managers(slave));
    for (const PdoConfig &pdo : slave.input_pdos) {
        append_category(rest, sii::kTxPdo,
                        pdo_category(slave, managers, pdo, SyncManagerType::Inputs, strings));
    }
    for (const PdoConfig &pdo : slave.output_pdos) {
        append_category(rest, sii::kRxPdo,
                        pdo_category(slave, managers, pdo, SyncManagerType::Outputs, strings));
    }
    if (slave.dc) {
        append_category(rest, sii::kDc, clocks(slave, strings));
    }
    append_category(image, sii::kStrings, strings.category());
    image.add(rest.bytes());
    image.add(uint16_t{sii::kEnd});
}

void put_word(SiiImage &image, uint32_t word, uint16_t value) {
    put(image, size_t{word} * 2, value);
}

void put_mailbox(SiiImage &image, uint32_t word, const MailboxConfig::Area &send,
                 const MailboxConfig::Area &receive) {
    put_word(image, word, send.start);
    put_word(image, word + 1, send.length);
    put_word(image, word + 2, receive.start);
    put_word(image, word + 3, receive.length);
}

void put_mailboxes(SiiImage &image, const MailboxConfig &mailbox) {
    if (mailbox.boot_send && mailbox.boot_receive) {
        put_mailbox(image, sii::kBootstrapMailbox, *mailbox.boot_send, *mailbox.boot_receive);
    }
    put_mailbox(image, sii::kStandardMailbox, mailbox.send, mailbox.receive);
    uint16_t protocols = 0;
    for (size_t i = 0; i < std::size(kProtocols); ++i) {
        protocols |= mailbox.*kProtocols[i] ? kProtocolBits[i] : uint16_t{0};
    }
    put_word(image, sii::kMailboxProtocols, protocols);
}

} // namespace

SiiImage make_sii(const SlaveConfig &slave) {
    Bytes bytes;
    bytes.pad_to(size_t{sii::kFirstCategory} * 2, 0);
    append_categories(bytes, slave);
    const size_t needed = (bytes.size() + kGrain - 1) / kGrain * kGrain;
    bytes.pad_to(std::max(kSmallest, needed), 0xFF);
    SiiImage image = std::move(bytes.bytes());
    put_word(image, sii::kPdiControl, slave.mailbox ? kSpi : kDigitalIo);
    put_word(image, sii::kAlias, slave.alias);
    put(image, size_t{sii::kVendorId} * 2, slave.vendor_id);
    put(image, size_t{sii::kProductCode} * 2, slave.product_code);
    put(image, size_t{sii::kRevisionNo} * 2, slave.revision_no);
    put(image, size_t{sii::kSerialNo} * 2, slave.serial_no);
    if (slave.mailbox) {
        put_mailboxes(image, slave.mailbox_config);
    }
    put_word(image, sii::kSize, static_cast<uint16_t>(image.size() / kGrain - 1));
    put_word(image, sii::kVersion, 1);
    put_word(image, sii::kChecksum, sii_checksum(image));
    return image;
}

uint8_t sii_checksum(std::span<const uint8_t> image) {
    uint32_t crc = 0xFF;
    for (const uint8_t byte : image.first(std::min(kChecked, image.size()))) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc << 1 ^ ((crc & 0x80) != 0 ? 0x07U : 0U)) & 0xFF;
        }
    }
    return static_cast<uint8_t>(crc);
}

bool sii_valid(std::span<const uint8_t> image) {
    return image.size() > kChecked && image[kChecked] == sii_checksum(image);
}

uint16_t sii_alias(std::span<const uint8_t> image) {
    return get16(image, size_t{sii::kAlias} * 2);
}

// ---- store ------------------------------------------------------------------------------------

EepromStore::Key EepromStore::key_of(uint32_t position, const SlaveConfig &slave) {
    return {position, slave.vendor_id, slave.product_code, slave.revision_no, slave.serial_no};
}

SiiImage EepromStore::find(uint32_t position, const SlaveConfig &slave) const {
    const std::scoped_lock lock(mutex_);
    const auto found = images_.find(key_of(position, slave));
    return found != images_.end() ? found->second : make_sii(slave);
}

bool EepromStore::written(uint32_t position, const SlaveConfig &slave) const {
    const std::scoped_lock lock(mutex_);
    return images_.contains(key_of(position, slave));
}

void EepromStore::store(uint32_t position, const SlaveConfig &slave, SiiImage image) {
    const std::scoped_lock lock(mutex_);
    images_[key_of(position, slave)] = std::move(image);
}

} // namespace tarn::vcard
