// Command codes of the firmware and the fixed records that travel with them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn {

enum class Command : uint16_t {
    FileOpen = 1,
    FileWrite = 2,
    FileRead = 3,
    FileSize = 4,
    FileClose = 5,
    BusStart = 9,
    BusStop = 10,
    BusIsRunning = 11,
    PiEnable = 14,
    RequestMasterState = 17,
    MasterState = 18,
    SlaveCount = 19,
    ActiveSlaveCount = 20,
    SlaveState = 21,
    SlaveInputs = 22,
    SlaveOutputs = 23,
    SlaveVendorId = 24,
    SlaveProductCode = 25,
    SlaveRevisionNo = 26,
    SlaveSerialNo = 27,
    SlaveAlias = 28,
    SlaveFixedAddress = 29,
    EniInfo = 32,
    ApplyUpdate = 33,
    ClearSlaveStateError = 41,
    LedControl = 43,
    FlashRead = 44,
    FlashWrite = 45,
    FlashErase = 46,
    RunCommand = 47,
    MasterRequestedState = 50,
    AutoClearSet = 51,
    AutoClearGet = 52,
    SlaveDlStatus = 53,
    BusStatus = 56,
    SlaveAlStatusCode = 57,
    SlaveInfo = 58,
    SlaveStates = 59,
    TimeoutTriggerOn = 60,
    EniInfoEx = 82,
    SlaveRequestedState = 87,
    SlaveRequestedStates = 88,
    ReadyLostTimeoutSet = 99,
    ReadyLostTimeoutGet = 100,
    FirmwareCompileMessage = 101,
    TimeoutTriggerOff = 102,
};

inline constexpr uint32_t kChunkSize = 102384; // one file chunk fills a 102,400-byte slot

// Request of Command::FileOpen.
struct FileOpenRecord {
    char name[128];
    uint16_t direction; // 'w' to the card, 'r' from the card
    uint8_t undefined[14];
};
static_assert(sizeof(FileOpenRecord) == 144);
static_assert(offsetof(FileOpenRecord, direction) == 128);

// Reply of Command::SlaveInputs and Command::SlaveOutputs, in bits.
struct SlaveRegionReply {
    uint16_t size;
    uint16_t offset;
};
static_assert(sizeof(SlaveRegionReply) == 4);

// Reply of Command::EniInfo; the first 16 bytes of the reply of Command::EniInfoEx.
struct EniInfoReply {
    uint32_t word0;
    uint32_t word1;
    uint32_t output_length; // bytes
    uint32_t input_length;  // bytes
};
static_assert(sizeof(EniInfoReply) == 16);

// What the running-configuration check asks for with Command::EniInfoEx.
struct EniIdentityReply {
    EniInfoReply info;
    char crc[128]; // 64 bytes are compared
};
static_assert(sizeof(EniIdentityReply) == 144);

// Request of Command::FlashRead and Command::FlashErase. Command::FlashWrite carries the address,
// then the bytes to write.
struct FlashRangeRecord {
    uint32_t address;
    uint32_t length;
};
static_assert(sizeof(FlashRangeRecord) == 8);

// Request of Command::LedControl.
struct LedRecord {
    uint16_t first;
    uint16_t second;
};
static_assert(sizeof(LedRecord) == 4);

inline constexpr char kCardEniName[] = "eni_temp.xml";
inline constexpr char kCardUpdateName[] = "updateFile";

} // namespace tarn
