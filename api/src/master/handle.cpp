// Opening and closing one EtherCAT channel of a card.

#include "handle/ecat_handle.h"

#include "base/card_memory.h"
#include "base/console.h"
#include "channel/ring.h"
#include "pci_tarn/board.h"
#include "pci_tarn/ecat.h"
#include "pci_tarn/shared.h"
#include "pci_tarn/status.h"
#include "pi/pi_setup.h"

#include <cstdlib>

namespace {

using namespace tarn;

constexpr uint32_t kMailboxVersion = 3;
constexpr uint32_t kInterruptsPerChannel = 4; // primary, secondary, cycle, socket

// A low byte of zero marks the long form, whose version is shifted up by one byte.
uint32_t decode_pd_version(uint32_t word) {
    if ((word & 0x00FFFF00) == 0) {
        return 0x01000000;
    }
    return (word & 0xFF) != 0 ? (word >> 8) & 0xFFFF : (word & 0xFFFFFF00) << 8;
}

uint32_t pd_version_word(const EcatHandle &handle) {
    return card::load32(&pi_card_area(handle)->version);
}

void bind(CommandChannel &channel, EcatHandle &handle, RingDescriptor ChannelHeader::*out,
          RingDescriptor ChannelHeader::*in, void *lock, uint32_t interrupt) {
    channel.lock = lock;
    channel.device = handle.board;
    channel.out = bind_ring(handle.area, out);
    channel.in = bind_ring(handle.area, in);
    channel.doorbell =
        reinterpret_cast<uint32_t *>(handle.registers + bar1::kDoorbell[handle.channel]);
    channel.interrupt = handle.channel * kInterruptsPerChannel + interrupt;
}

// A socket ring that would leave the channel's area stays away, and the socket functions say so. A
// post touches a whole piece of each slot, a fetch what the card calls a slot.
void drop_impossible_socket_rings(EcatHandle &handle) {
    if (!ring_lies_in(handle.socket.out, handle.area, kChannelAreaStride,
                      kSlotHeaderSize + kSocketPieceSize)) {
        handle.socket.out = {};
    }
    if (!ring_lies_in(handle.socket.in, handle.area, kChannelAreaStride, kSlotHeaderSize)) {
        handle.socket.in = {};
    }
}

void bind_channels(EcatHandle &handle) {
    const uint32_t board = handle.board->index;
    const uint32_t channel = handle.channel;
    bind(handle.primary, handle, &ChannelHeader::primary_out, &ChannelHeader::primary_in,
         getMutex_mailbox(board, channel, 0), 0);
    bind(handle.secondary, handle, &ChannelHeader::secondary_out, &ChannelHeader::secondary_in,
         getMutex_mailbox(board, channel, 1), 1);
    bind(handle.socket, handle, &ChannelHeader::socket_out, &ChannelHeader::socket_in,
         getMutex_sock(board, channel, 0), 3);
    handle.socket.second_lock = getMutex_sock(board, channel, 1);
    drop_impossible_socket_rings(handle);
}

// Everything of the open that may fail once there is a handle. On failure the board of the handle
// is set or null, and nothing else needs to be given back.
uint32_t open_channel(EcatHandle &handle, const char *name, uint32_t channel, bool check_versions) {
    if (const uint32_t status = BoardOpen(&handle.board, name); status != PCI_TARN_OK) {
        handle.board = nullptr;
        return status;
    }
    if (handle.board == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    BoardInfo info = {};
    if (const uint32_t status = getBoardInfoByBoardHandle(handle.board, &info);
        status != PCI_TARN_OK) {
        return status;
    }
    if (channel >= PCI_TARN_MAX_CHANNELS || channel >= info.channel_count) {
        return PCI_TARN_E_CHANNEL;
    }
    handle.channel = channel;
    handle.pi_interrupt = channel * kInterruptsPerChannel + 2;
    handle.area = static_cast<uint8_t *>(handle.board->bar[2]) + channel_area_offset(channel);
    handle.registers = static_cast<uint8_t *>(handle.board->bar[1]);
    handle.pd_version = decode_pd_version(pd_version_word(handle));
    if (check_versions && EcatCheckPdoVersionMatch(&handle) != PCI_TARN_OK) {
        return PCI_TARN_E_VERSION;
    }
    if (__pi_shared_memory == nullptr) {
        return PCI_TARN_E_GENERAL;
    }
    bind_channels(handle);
    pi::wire(handle);
    return PCI_TARN_OK;
}

} // namespace

uint32_t EcatOpen(EcatHandle **out, const char *name, uint32_t channel) {
    return EcatOpenEx(out, name, channel, 0);
}

uint32_t EcatOpenEx(EcatHandle **out, const char *name, uint32_t channel, int32_t check_skip) {
    if (out == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    // The caller sees the handle while the open runs; it is taken back on failure.
    *out = static_cast<EcatHandle *>(calloc(1, sizeof(EcatHandle)));
    if (*out == nullptr) {
        print("malloc error.(%ld)[%s:%d]\r\n", static_cast<long>(sizeof(EcatHandle)), "EcatOpenEx",
              __LINE__);
        return PCI_TARN_E_RESOURCES;
    }
    EcatHandle &handle = **out;
    handle.timeout_ms = kDefaultTimeoutMs;
    const uint32_t status = open_channel(handle, name, channel, check_skip == 0);
    if (status != PCI_TARN_OK) {
        free(handle.board);
        free(&handle);
        *out = nullptr;
    }
    return status;
}

uint32_t EcatClose(EcatHandle *handle) {
    return handle == nullptr ? uint32_t{PCI_TARN_E_HANDLE} : __EcatClose(handle);
}

uint32_t __EcatClose(EcatHandle *handle) {
    if (pi::on_data_swap_thread(*handle)) { // it cannot wait for its own end
        return PCI_TARN_E_NOT_SUPPORTED;
    }
    pi::release(*handle);
    free(handle->board);
    free(handle);
    return PCI_TARN_OK;
}

uint32_t EcatCheckPdoVersionMatch(EcatHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const uint32_t mailbox = interface_version(*handle);
    const bool mailbox_fits = mailbox == kMailboxVersion;
    if (mailbox_fits &&
        (handle->pd_version == kPdVersionSecond || handle->pd_version == kPdVersionFirst)) {
        return PCI_TARN_OK;
    }
    print("[libpci_tarn] EcatOpen version error\r\n"
          "|  Module  | Device Firmware |     SDK    |\r\n"
          "| Mailbox  |   0x%08X    | 0x%08X |\r\n",
          mailbox, kMailboxVersion);
    if (mailbox_fits) {
        print("|   PDO    |   0x%08X    | 0x%08X |\r\n", handle->pd_version, kPdVersionSecond);
    }
    // The advice looks at the word as the card wrote it, not at the decoded version. That is
    // required, although a newer word in the long form is thus taken for an older firmware.
    const bool firmware_is_older = mailbox_fits
                                       ? (pd_version_word(*handle) & 0xFF0000FF) <= kPdVersionSecond
                                       : mailbox <= kMailboxVersion;
    print("%s\r\n", firmware_is_older ? "Please update device's firmware" : "Please update SDK.");
    return PCI_TARN_E_VERSION;
}

uint32_t EcatGetBoardHandle(EcatHandle *handle, BoardHandle **board) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (board == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *board = handle->board;
    return PCI_TARN_OK;
}

uint32_t EcatGetCurrentChannel(EcatHandle *handle, uint32_t *channel) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (channel == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *channel = handle->channel;
    return PCI_TARN_OK;
}

uint32_t EcatGetInfo(EcatHandle *handle, BoardInfo *info) {
    if (handle == nullptr || handle->board == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (info == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    return getBoardInfoByBoardHandle(handle->board, info);
}

void *__EcatGetConfigPtr(EcatHandle *handle) {
    return handle == nullptr ? nullptr : handle->board->bar[2];
}

void *__EcatGetDevHandle(EcatHandle *handle) {
    return handle->board->driver;
}

void *__EcatGetMailBoxPtr(EcatHandle *handle) {
    return handle == nullptr ? nullptr : handle->area;
}

void *__EcatGetPiInfo(EcatHandle *handle) {
    if (handle == nullptr) {
        return nullptr;
    }
    // Mapped anew without success: what the channel opened with is still there.
    return __pi_shared_memory == nullptr
               ? handle->pi_info
               : getSharedMemory_piinfo(handle->board->index, handle->channel);
}
