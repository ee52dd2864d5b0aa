// Numbers of EtherCAT that several parts of the bus need.
#pragma once

#include <cstdint>

namespace tarn::vcard {

// States of slaves and master; a slave's state byte has the error flag as well.
inline constexpr uint8_t kInit = 1;
inline constexpr uint8_t kPreOp = 2;
inline constexpr uint8_t kBoot = 3;
inline constexpr uint8_t kSafeOp = 4;
inline constexpr uint8_t kOp = 8;
inline constexpr uint8_t kStateMask = 0x0F;
inline constexpr uint8_t kErrorFlag = 0x10;

// Commands in frames.
inline constexpr uint32_t kPositionWrite = 2;
inline constexpr uint32_t kFixedWrite = 5;
inline constexpr uint32_t kBroadcastWrite = 8;
inline constexpr uint32_t kLogicalRead = 10;
inline constexpr uint32_t kLogicalWrite = 11;
inline constexpr uint32_t kLogicalReadWrite = 12;

// Time that a frame takes for a cable and the slave at its end.
inline constexpr uint32_t kHopNs = 620;

} // namespace tarn::vcard
