// What the driver of the virtual cards and the process that runs a card's firmware say to each
// other on Windows. Nothing of it is meant for users of a card.
//
// Each device node has an interface of the class below, in the same order as the cards have theirs.
// A process opens it and attaches: from then on its handle is the card. The driver makes the memory
// of the BARs, which the process maps as every user of the card does (kMapBar). Once the firmware
// has filled it, the process shows the card; users find it then.
//
// The process keeps one or more requests for the next event outstanding. Events are transfers that
// a user has asked for, and kicks: somebody began to wait for an interrupt, so a doorbell may have
// been rung in memory, which nobody notices otherwise. A transfer stays with the driver until it is
// completed by its number; its data is fetched from or stored into the user's buffer piece by
// piece. A user may cancel at any time; its number is unknown then.
//
// When the handle is closed, in whatever way the process ends, the card has gone: its interface is
// withdrawn, waits and transfers fail. Memory that users have mapped stays theirs, until they unmap
// it or end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <guiddef.h>

namespace tarn::vcard {

inline constexpr GUID kFirmwareInterface = {
    0x5B2B8A5E, 0x0F0C, 0x4A53, {0x9C, 0x1E, 0x6D, 0x41, 0x7A, 0x2E, 0x83, 0x19}};

inline constexpr uint32_t kFirmwareInterfaceVersion = 1;

// All buffered. Each is refused on a handle that is not attached, but for kAttach itself, which is
// refused with "busy" while another handle is.
enum FirmwareCode : uint32_t {
    kAttach = 0x222404,    // in: AttachRequest
    kShow = 0x222408,      // in: u32, 1 shows the card to users, 0 hides it
    kRaise = 0x22240C,     // in: u32 interrupt number
    kNextEvent = 0x222410, // out: FirmwareEvent; pending until there is one
    kFetch = 0x222414,     // in: Piece; out: that many bytes of the user's data
    kStore = 0x222418,     // in: Piece with the bytes for the user's buffer behind it
    kComplete = 0x22241C,  // in: Completion
};

inline constexpr uint32_t kBarLimit = 64U << 20;      // bytes of one BAR
inline constexpr uint32_t kPieceLimit = 16384;        // bytes
inline constexpr uint32_t kTransferLimit = 64U << 20; // bytes

struct AttachRequest {
    uint32_t version;      // kFirmwareInterfaceVersion
    uint32_t bar_sizes[6]; // bytes, multiples of 4,096; 0: the card does not have this BAR
};
static_assert(sizeof(AttachRequest) == 28);

enum FirmwareEventKind : uint32_t {
    kKick = 1,
    kDmaRead,  // first: card address
    kDmaWrite, // first: card address
    kSelectorRead,
    kSelectorWrite,
};

struct FirmwareEvent {
    uint32_t kind;
    uint32_t id; // number of the transfer
    uint32_t first;
    uint32_t second;
    uint32_t length; // bytes to move
};
static_assert(sizeof(FirmwareEvent) == 20);

struct Piece {
    uint32_t id;
    uint32_t offset; // in the user's buffer
    uint32_t length; // at most kPieceLimit
};
static_assert(sizeof(Piece) == 12);

struct Completion {
    uint32_t id;
    uint32_t ok;     // 0 lets the user's request fail
    uint32_t length; // bytes moved
};
static_assert(sizeof(Completion) == 12);

} // namespace tarn::vcard
