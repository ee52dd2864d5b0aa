// Sync managers and FMMUs of a slave, as its configuration states them or as they follow from it.
#pragma once

#include "vcard/bus/network.h"

#include <array>
#include <concepts>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tarn::vcard {

// Types as the EEPROM names them.
enum class SyncManagerType : uint8_t { Unused = 0, MailboxOut, MailboxIn, Outputs, Inputs };

struct SyncManager {
    uint16_t start = 0;
    uint16_t length = 0;
    uint8_t control = 0;
    bool enable = false;
    SyncManagerType type = SyncManagerType::Unused;
};

struct Fmmu {
    uint32_t logical = 0;
    uint8_t logical_start_bit = 0;
    uint8_t logical_stop_bit = 7;
    uint16_t length = 0; // bytes
    uint16_t physical = 0;
    bool outputs = false;
};

inline constexpr uint32_t kSyncManagers = 8;
inline constexpr uint32_t kFmmus = 8;
inline constexpr uint32_t kSyncManagerSize = 8; // in the registers
inline constexpr uint32_t kFmmuSize = 16;

// Whether a start command writes to registers.
bool writes(const InitCommand &command);

// Whether a start command sets registers of a range: writes there more than zeros, which clear, and
// not on the way to BOOT only.
bool sets_registers(const InitCommand &command, uint32_t begin, uint32_t end);
bool sets_registers(const SlaveConfig &slave, uint32_t begin, uint32_t end);

// By their numbers, as many as the slave uses.
std::vector<SyncManager> sync_managers_of(const SlaveConfig &slave);

// The number of the sync manager that carries an assigned PDO of `type`'s direction. `managers` are
// those of the slave.
std::optional<uint8_t> sync_manager_of(const SlaveConfig &slave,
                                       std::span<const SyncManager> managers, const PdoConfig &pdo,
                                       SyncManagerType type);

// The activation register of a slave with distributed clocks: what a start command writes there,
// else what the cycle times say.
uint16_t sync_activation(const SlaveConfig &slave);

// Outputs, then inputs; none for a direction without data.
std::vector<Fmmu> fmmus_of(const SlaveConfig &slave);

// As they lie in the registers, and as the EEPROM has sync managers (with the type at the end).
std::array<uint8_t, kSyncManagerSize> registers_of(const SyncManager &manager);
std::array<uint8_t, kFmmuSize> registers_of(const Fmmu &fmmu);

inline uint16_t get16(std::span<const uint8_t> bytes, size_t at) {
    return static_cast<uint16_t>(bytes[at] | bytes[at + 1] << 8);
}
inline uint32_t get32(std::span<const uint8_t> bytes, size_t at) {
    return get16(bytes, at) | static_cast<uint32_t>(get16(bytes, at + 2)) << 16;
}
template <std::integral T>
void put(std::span<uint8_t> bytes, size_t at, T value) {
    for (size_t i = 0; i < sizeof value; ++i) {
        bytes[at + i] = static_cast<uint8_t>(static_cast<uint64_t>(value) >> (8 * i));
    }
}

} // namespace tarn::vcard
