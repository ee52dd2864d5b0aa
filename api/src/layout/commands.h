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
    SdoDownload = 12,
    SdoUpload = 13,
    PiEnable = 14,
    FoeRead = 15,
    FoeWrite = 16,
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
    EepromWrite = 30,
    EepromRead = 31,
    EniInfo = 32,
    ApplyUpdate = 33,
    WatchdogStart = 39,
    WatchdogStop = 40,
    ClearSlaveStateError = 41,
    LedControl = 43,
    FlashRead = 44,
    FlashWrite = 45,
    FlashErase = 46,
    RunCommand = 47,
    FileRemove = 49,
    MasterRequestedState = 50,
    AutoClearSet = 51,
    AutoClearGet = 52,
    SlaveDlStatus = 53,
    SlaveMemoryWrite = 54,
    SlaveMemoryRead = 55,
    BusStatus = 56,
    SlaveAlStatusCode = 57,
    SlaveInfo = 58,
    SlaveStates = 59,
    TimeoutTriggerOn = 60,
    EniInfoEx = 82,
    FirstLinkDownPort = 83,
    SlaveRequestedState = 87,
    SlaveRequestedStates = 88,
    WatchdogConfig = 92,
    WatchdogQuery = 93,
    WatchdogEnable = 94,
    Diagnostics = 95,
    SlaveDiagnosticStates = 96,
    SlaveLinkStatus = 97,
    LastError = 98,
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

// Request of Command::SdoDownload, followed by the data, and of Command::SdoUpload, followed by
// kSdoDataSize zero bytes.
struct SdoRecord {
    uint16_t slave;
    uint16_t index;
    uint8_t subindex;
    uint8_t complete_access; // 0: one entry
    uint8_t reserved[2];
    uint32_t length; // download: bytes that follow; upload: capacity of the caller
    uint32_t timeout_ms;
};
static_assert(sizeof(SdoRecord) == 16);
static_assert(offsetof(SdoRecord, length) == 8);

inline constexpr uint32_t kSdoDataSize = 256;

// Request of Command::FoeRead and Command::FoeWrite.
struct FoeRecord {
    uint16_t slave;
    char card_name[128]; // kCardFoeName
    char foe_name[128];
};
static_assert(sizeof(FoeRecord) == 258);
static_assert(offsetof(FoeRecord, foe_name) == 130);

// Request of Command::EepromRead and Command::SlaveMemoryRead. The requests of
// Command::EepromWrite and Command::SlaveMemoryWrite go on with the bytes to write.
struct SlaveRangeRecord {
    uint16_t slave;
    uint16_t address; // EEPROM: words; memory: bytes
    uint16_t length;  // bytes
};
static_assert(sizeof(SlaveRangeRecord) == 6);

// Request of Command::Diagnostics and Command::SlaveDiagnosticStates, followed by the indices.
struct SlaveListRecord {
    uint16_t count;
    uint16_t master; // 1: the master's part is wanted, too
};
static_assert(sizeof(SlaveListRecord) == 4);

// What the replies of the diagnostics are made of; the firmware defines what is inside.
inline constexpr uint32_t kMasterDiagnosticSize = 118;
inline constexpr uint32_t kSlaveDiagnosticSize = 40;
inline constexpr uint32_t kSlaveDetailSize = 16;
inline constexpr uint32_t kSlaveLinkSize = 488;

// Request of Command::WatchdogConfig, followed by the mask (when there is one), the data and
// kWatchdogSpare bytes.
struct WatchdogRecord {
    uint32_t slave;
    uint32_t status[2]; // 0; the reply of Command::WatchdogQuery fills them
    uint32_t length;    // bytes of the data, and of the mask
};
static_assert(sizeof(WatchdogRecord) == 16);

inline constexpr uint32_t kWatchdogSpare = 4;

inline constexpr char kCardEniName[] = "eni_temp.xml";
inline constexpr char kCardUpdateName[] = "updateFile";
inline constexpr char kCardFoeName[] = "__foe_temp.bin";

} // namespace tarn
