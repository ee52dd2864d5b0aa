// Layout of the card's base address registers: BAR1 registers, BAR2 configuration block, channel
// areas, ring slots and the process image part of a channel area. Shared with the card's firmware.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn {

// ---- BAR1: registers -------------------------------------------------------------------------

namespace bar1 {
inline constexpr uint32_t kIdentification = 0x000;
inline constexpr uint32_t kDoorbell[2] = {0x004, 0x010}; // per channel; the board uses [0]
inline constexpr uint32_t kAlias = 0x018;                // inverted, low 4 bits
inline constexpr uint32_t kOutputEnable = 0x054;
inline constexpr uint32_t kDigitalOutputs = 0x058;
inline constexpr uint32_t kDigitalInputs = 0x06C;
inline constexpr uint32_t kPwm = 0x0D8; // 4 channels of 16 bytes
inline constexpr uint32_t kPwmEnd = 0x118;
inline constexpr uint32_t kLatchEnable = 0x120;
inline constexpr uint32_t kLatchMode = 0x124;
inline constexpr uint32_t kLatchRun = 0x128;
inline constexpr uint32_t kLatchClear = 0x12C;
inline constexpr uint32_t kLatchState = 0x130; // bit per channel
inline constexpr uint32_t kLatchValue = 0x134; // 4 values of 64 bits
inline constexpr uint32_t kLatchPortSelect = 0x154;
inline constexpr uint32_t kSequenceCount = 0x158;
inline constexpr uint32_t kSequenceIndex = 0x15C; // 4 words
inline constexpr uint32_t kSequenceIndexEnd = 0x16C;
inline constexpr uint32_t kSequenceValue = 0x16C; // 4 values of 64 bits
inline constexpr uint32_t kPulse = 0x18C;         // 4 channels of 16 bytes, then start and counts
inline constexpr uint32_t kPulseStart = 0x1CC;    // bit per channel
inline constexpr uint32_t kPulseCount = 0x1D0;    // 4 words
inline constexpr uint32_t kPulseFlags = 0x1E0;    // bit per channel
inline constexpr uint32_t kPulseEnd = 0x1E4;      // the flag word is the last one inside
inline constexpr uint32_t kLatchCounterReset = 0x1E4; // 8 bits

inline constexpr uint32_t kIoChannels = 4;      // of latches, PWM and pulse outputs each
inline constexpr uint32_t kTimerStride = 16;    // from one PWM or pulse channel to the next
inline constexpr uint32_t kCounterStride = 8;   // from one 64-bit value to the next
inline constexpr uint32_t kTimerHz = 125000000; // clock of the PWM and pulse timers
static_assert(kPwm + kIoChannels * kTimerStride == kPwmEnd);
static_assert(kLatchValue + kIoChannels * kCounterStride == kLatchPortSelect);
static_assert(kSequenceIndex + kIoChannels * 4 == kSequenceIndexEnd);
static_assert(kSequenceIndexEnd == kSequenceValue);
static_assert(kSequenceValue + kIoChannels * kCounterStride == kPulse);
static_assert(kPulse + kIoChannels * kTimerStride == kPulseStart);
static_assert(kPulseStart + 4 == kPulseCount);
static_assert(kPulseCount + kIoChannels * 4 == kPulseFlags);

// Bits of kOutputEnable.
constexpr uint32_t pwm_bit(uint32_t channel) {
    return uint32_t{1} << channel;
}
constexpr uint32_t pulse_bits(uint32_t channel) {
    return uint32_t{0xC000} >> 2 * channel;
}
} // namespace bar1

// ---- BAR2: configuration block ---------------------------------------------------------------

inline constexpr uint32_t kConfigDoneMagic = 0x5AA5C33C;

struct ConfigBlock {
    uint32_t magic;          // kConfigDoneMagic once the block is valid
    uint32_t config_version; // encoded, see BoardCheckVersion
    char firmware_version[32];
    uint32_t reserved_28;
    uint32_t channel_count;
    uint8_t reserved_30[0x18];
    char model[32];
    char name[32];
    uint8_t reserved_88[0x100];
    uint32_t reset_request;
    uint32_t alive; // 0 while the firmware is alive
    uint32_t heartbeat[4];
    uint64_t host_time_ns; // UTC, since 1970
    int64_t local_offset_s;
};
static_assert(offsetof(ConfigBlock, config_version) == 0x004);
static_assert(offsetof(ConfigBlock, firmware_version) == 0x008);
static_assert(offsetof(ConfigBlock, channel_count) == 0x02C);
static_assert(offsetof(ConfigBlock, model) == 0x048);
static_assert(offsetof(ConfigBlock, name) == 0x068);
static_assert(offsetof(ConfigBlock, reset_request) == 0x188);
static_assert(offsetof(ConfigBlock, alive) == 0x18C);
static_assert(offsetof(ConfigBlock, heartbeat) == 0x190);
static_assert(offsetof(ConfigBlock, host_time_ns) == 0x1A0);
static_assert(offsetof(ConfigBlock, local_offset_s) == 0x1A8);

// ---- BAR2: channel areas ---------------------------------------------------------------------

inline constexpr uint32_t kChannelAreaBase = 0x1000;
inline constexpr uint32_t kChannelAreaStride = 0x1FFC00;

constexpr uint32_t channel_area_offset(uint32_t channel) {
    return kChannelAreaBase + channel * kChannelAreaStride;
}

// Offsets in a descriptor count from the start of the channel area.
struct RingDescriptor {
    uint32_t pointers;  // pointer pair: read counter, write counter
    uint32_t slots;     // slot 0
    uint32_t slot_size; // bytes, 16-byte header included
    uint32_t mask;      // slot count - 1
};
static_assert(sizeof(RingDescriptor) == 16);

struct ChannelHeader {
    uint32_t interface_version;
    RingDescriptor primary_in;   // card to host
    RingDescriptor primary_out;  // host to card
    RingDescriptor secondary_in; // on channel 0 also the board's own
    RingDescriptor secondary_out;
    RingDescriptor socket_in;
    RingDescriptor socket_out;
};
static_assert(offsetof(ChannelHeader, primary_in) == 0x04);
static_assert(offsetof(ChannelHeader, primary_out) == 0x14);
static_assert(offsetof(ChannelHeader, secondary_in) == 0x24);
static_assert(offsetof(ChannelHeader, secondary_out) == 0x34);
static_assert(offsetof(ChannelHeader, socket_in) == 0x44);
static_assert(offsetof(ChannelHeader, socket_out) == 0x54);

inline constexpr uint32_t kStopRequestOffset = 130 * 4;
inline constexpr uint32_t kPrimaryPointersOffset = 131 * 4;     // mosi r, w, miso r, w
inline constexpr uint32_t kSecondaryPointersOffset = 51335 * 4; // the same
inline constexpr uint32_t kSlaveReadyOffset = 0x1CB370;         // 128 words, bit per slave
inline constexpr uint32_t kSlaveReadyWords = 128;

// ---- ring slots ------------------------------------------------------------------------------

struct SlotHeader {
    uint16_t reserved_0;
    uint16_t code;
    uint16_t sequence;
    uint16_t reserved_6;
    uint32_t length; // payload bytes
    uint32_t status; // replies only
};
static_assert(sizeof(SlotHeader) == 16);
static_assert(offsetof(SlotHeader, code) == 2);
static_assert(offsetof(SlotHeader, sequence) == 4);
static_assert(offsetof(SlotHeader, length) == 8);
static_assert(offsetof(SlotHeader, status) == 12);

// Header of the socket channel's slots.
struct SocketSlotHeader {
    uint32_t type;
    uint32_t parameter;
    uint32_t length; // payload bytes
    uint32_t reserved_12;
};
static_assert(sizeof(SocketSlotHeader) == sizeof(SlotHeader));
static_assert(offsetof(SocketSlotHeader, length) == offsetof(SlotHeader, length));

inline constexpr uint32_t kSocketPieceSize = 1024; // most bytes that the host posts in a slot

inline constexpr uint32_t kSlotHeaderSize = sizeof(SlotHeader);
inline constexpr uint32_t kSlotPayloadLimit = 102385; // lengths from here on are refused

// ---- process image part of a channel area ----------------------------------------------------

inline constexpr uint32_t kPiCardOffset = 803400;
inline constexpr uint32_t kPiBufferSize = 4096;
inline constexpr uint32_t kPiQueueEntries = 128;
inline constexpr uint32_t kPiQueueFlagByte = 4095;

struct TripleIndexIn { // card produces
    uint32_t counter;
    uint32_t card;
    uint32_t host;
};
struct TripleIndexOut { // host produces; the words stand the other way round
    uint32_t counter;
    uint32_t host;
    uint32_t card;
};

struct PiCardArea {
    uint32_t version;
    uint32_t output_length; // bytes of a queue entry
    uint32_t input_length;
    uint32_t reserved_12[2];
    uint32_t enable;         // 1 enabled, 0 disabled
    uint32_t sequence;       // odd while the card writes `exchange`
    uint32_t access_counter; // counted up by the host; feeds the watchdog
    uint8_t reserved_32[224];
    TripleIndexIn shadow_input;
    TripleIndexOut fast_output;
    uint32_t input_queue_read;   // host
    uint32_t input_queue_write;  // card
    uint32_t output_queue_read;  // card
    uint32_t output_queue_write; // host
    uint8_t shadow_input_buffers[3][kPiBufferSize];
    uint8_t exchange[kPiBufferSize];
    uint8_t fast_output_buffers[3][kPiBufferSize];
    uint8_t input_queue[kPiQueueEntries][kPiBufferSize];
    uint8_t output_queue[kPiQueueEntries][kPiBufferSize];
};
static_assert(offsetof(PiCardArea, output_length) == 4);
static_assert(offsetof(PiCardArea, input_length) == 8);
static_assert(offsetof(PiCardArea, enable) == 20);
static_assert(offsetof(PiCardArea, sequence) == 24);
static_assert(offsetof(PiCardArea, access_counter) == 28);
static_assert(offsetof(PiCardArea, shadow_input) == 256);
static_assert(offsetof(PiCardArea, fast_output) == 268);
static_assert(offsetof(PiCardArea, input_queue_read) == 280);
static_assert(offsetof(PiCardArea, input_queue_write) == 284);
static_assert(offsetof(PiCardArea, output_queue_read) == 288);
static_assert(offsetof(PiCardArea, output_queue_write) == 292);
static_assert(offsetof(PiCardArea, shadow_input_buffers) == 296);
static_assert(offsetof(PiCardArea, exchange) == 12584);
static_assert(offsetof(PiCardArea, fast_output_buffers) == 16680);
static_assert(offsetof(PiCardArea, input_queue) == 28968);
static_assert(offsetof(PiCardArea, output_queue) == 553256);
static_assert(kPiCardOffset + sizeof(PiCardArea) == kSlaveReadyOffset);

} // namespace tarn
