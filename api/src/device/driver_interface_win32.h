// The card's kernel driver as its callers see it on Windows: interface class, control codes and
// their buffers. Used by the library and by the driver of the virtual cards alike, so there is
// nothing here that needs user mode or kernel mode.
#pragma once

#include <cstddef>
#include <cstdint>
#include <guiddef.h>

namespace tarn::driver {

// Class of the interfaces that stand for cards that are present.
inline constexpr GUID kCardInterface = {
    0x0C480372, 0x56BD, 0x454B, {0x80, 0x8D, 0x97, 0x38, 0x27, 0x0E, 0xB2, 0xBC}};

enum ControlCode : uint32_t {
    kRead = 0x222006,             // in: Selectors; out: the data, direct
    kWrite = 0x222009,            // in: Selectors; out: the data, direct, towards the driver
    kWaitForInterrupt = 0x22200D, // in: u32 interrupt number
    kMapBar = 0x222012,           // in: u32 BAR number; out: u64 address, direct
    kUnmapBar = 0x222015,         // in: UnmapRequest
};

// DMA needs no control code: ReadFile and WriteFile, with the card address as offset.

inline constexpr uint32_t kInterruptCount = 8;
inline constexpr uint32_t kBarCount = 6;

struct Selectors {
    uint32_t first;
    uint32_t second;
};
static_assert(sizeof(Selectors) == 8);

#pragma pack(push, 1)
struct UnmapRequest {
    uint8_t bar;
    uint64_t address;
};
#pragma pack(pop)
static_assert(sizeof(UnmapRequest) == 9);
static_assert(offsetof(UnmapRequest, address) == 1);

} // namespace tarn::driver
