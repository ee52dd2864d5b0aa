// Statuses that the firmware answers with.
#pragma once

#include <cstdint>

namespace tarn::vcard::status {

inline constexpr uint32_t kNoError = 0;
inline constexpr uint32_t kMemoryLimit = 32769;
inline constexpr uint32_t kInvalidArguments = 32770;
inline constexpr uint32_t kGeneralError = 32771;
inline constexpr uint32_t kNotImplemented = 32772;
inline constexpr uint32_t kNoConfigurationFile = 32773;
inline constexpr uint32_t kNotConfigured = 32775;
inline constexpr uint32_t kInvalidSlaveIndex = 32778;
inline constexpr uint32_t kInvalidTransition = 32779;
inline constexpr uint32_t kTransitionError = 32788;
inline constexpr uint32_t kCallTimeout = 32792;
inline constexpr uint32_t kWrongWorkingCounter = 32794;
inline constexpr uint32_t kInvalidSlaveState = 32795;
inline constexpr uint32_t kBufferLimit = 32807;
inline constexpr uint32_t kVerification = 32811;
inline constexpr uint32_t kSlaveStateNotReached = 32813;
inline constexpr uint32_t kAlreadyStarted = 32815;
inline constexpr uint32_t kNoThread = 32816;
inline constexpr uint32_t kNoMailbox = 32818;
inline constexpr uint32_t kNoCoe = 32819;
inline constexpr uint32_t kEepromRead = 32817;
inline constexpr uint32_t kEepromWrite = 32825;
inline constexpr uint32_t kNotStarted = 32826;
inline constexpr uint32_t kOutOfBounds = 32827;
inline constexpr uint32_t kBusy = 32831;
inline constexpr uint32_t kAborted = 32833;
inline constexpr uint32_t kNoRegion = 32834;
inline constexpr uint32_t kNotPermitted = 32837;
inline constexpr uint32_t kBadObject = 32839;
inline constexpr uint32_t kCannotOpenFile = 32848;
inline constexpr uint32_t kCannotWriteFile = 32849;
inline constexpr uint32_t kCannotReadFile = 32850;
inline constexpr uint32_t kCannotDecode = 32853;
inline constexpr uint32_t kCoeReadOnly = 33025;
inline constexpr uint32_t kCoeWriteOnly = 33026;
inline constexpr uint32_t kNoRights = 33281;
inline constexpr uint32_t kNoFoe = 33584;
inline constexpr uint32_t kNoObject = 33792;
inline constexpr uint32_t kObjectAccessDenied = 33799;
inline constexpr uint32_t kCoeServiceNotSupported = 33801;
inline constexpr uint32_t kMailboxInvalidSize = 33804;
inline constexpr uint32_t kNoSubObject = 33805;
inline constexpr uint32_t kEntryTooHigh = 33806;
inline constexpr uint32_t kEntryTooLow = 33807;
inline constexpr uint32_t kMailboxAnsweredError = 34337;
inline constexpr uint32_t kDataTooShort = 34358;
inline constexpr uint32_t kInconsistentLength = 34360;
inline constexpr uint32_t kWatchdogSize = 90000;
inline constexpr uint32_t kWatchdogData = 90001;
inline constexpr uint32_t kWatchdogCommand = 90002;
inline constexpr uint32_t kWatchdogMemory = 90003;
inline constexpr uint32_t kWatchdogFunction = 90004;
inline constexpr uint32_t kWatchdogOffset = 90005;
inline constexpr uint32_t kWatchdogSlave = 90006;
inline constexpr uint32_t kWatchdogSlaveSize = 90007;

} // namespace tarn::vcard::status
