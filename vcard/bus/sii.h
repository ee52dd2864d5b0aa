// The EEPROM of a slave (SII, slave information interface), as ETG.1000.6 and ETG.2010 lay it out.
#pragma once

#include "vcard/bus/network.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <span>
#include <tuple>
#include <vector>

namespace tarn::vcard {

// Words of the part that every EEPROM has.
namespace sii {
inline constexpr uint32_t kPdiControl = 0x00;
inline constexpr uint32_t kAlias = 0x04;
inline constexpr uint32_t kChecksum = 0x07;
inline constexpr uint32_t kVendorId = 0x08;
inline constexpr uint32_t kProductCode = 0x0A;
inline constexpr uint32_t kRevisionNo = 0x0C;
inline constexpr uint32_t kSerialNo = 0x0E;
inline constexpr uint32_t kBootstrapMailbox = 0x14; // receive offset and size, send offset and size
inline constexpr uint32_t kStandardMailbox = 0x18;
inline constexpr uint32_t kMailboxProtocols = 0x1C;
inline constexpr uint32_t kSize = 0x3E; // KiBit - 1
inline constexpr uint32_t kVersion = 0x3F;
inline constexpr uint32_t kFirstCategory = 0x40;

enum Category : uint16_t {
    kStrings = 10,
    kGeneral = 30,
    kFmmu = 40,
    kSyncM = 41,
    kTxPdo = 50,
    kRxPdo = 51,
    kDc = 60,
    kEnd = 0xFFFF,
};
} // namespace sii

using SiiImage = std::vector<uint8_t>;

// The image that a slave of this configuration left its factory with.
SiiImage make_sii(const SlaveConfig &slave);

// CRC-8 of the first 14 bytes: polynomial 0x07, initial value 0xFF.
uint8_t sii_checksum(std::span<const uint8_t> image);
// Whether the checksum word fits; else the slave takes nothing from its EEPROM.
bool sii_valid(std::span<const uint8_t> image);
uint16_t sii_alias(std::span<const uint8_t> image);

// The images of a channel's slaves that were written to, by position and identity. It outlives
// starts of the bus and resets of the card. Functions may be called from any thread.
class EepromStore {
  public:
    // Position and identity.
    using Key = std::tuple<uint32_t, uint32_t, uint32_t, uint32_t, uint32_t>;
    static Key key_of(uint32_t position, const SlaveConfig &slave);

    // The written image, or the one of the factory.
    [[nodiscard]] SiiImage find(uint32_t position, const SlaveConfig &slave) const;
    [[nodiscard]] bool written(uint32_t position, const SlaveConfig &slave) const;
    void store(uint32_t position, const SlaveConfig &slave, SiiImage image);

  private:
    mutable std::mutex mutex_;
    std::map<Key, SiiImage> images_;
};

} // namespace tarn::vcard
