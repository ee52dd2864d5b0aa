#include "base/card_memory.h"
#include "base/console.h"
#include "board/board_handle.h"
#include "channel/ring.h"
#include "layout/card_memory_map.h"
#include "pci_tarn/board.h"
#include "pci_tarn/shared.h"
#include "pci_tarn/status.h"

#include <cstdio>
#include <cstdlib>

using namespace tarn;

namespace {

constexpr uint32_t kConfigVersion = 0x06000000;
constexpr uint32_t kMailboxVersion = 1;
constexpr uint32_t kNewestLayout = 3; // newer mailbox words ask for a newer library
constexpr int kAllocationLine = 740;  // part of the message
constexpr uint32_t kBoardInterrupt = 1;

uint8_t *config_bytes(const BoardHandle &handle) noexcept {
    return static_cast<uint8_t *>(handle.bar[2]);
}

uint32_t mailbox_word(const BoardHandle &handle) noexcept {
    return card::load32(config_bytes(handle) + kChannelAreaBase);
}

// What a compatible version word stands for; a word that is not set stands for whatever is
// expected. The encoding differs with the low byte, which is required as it is.
uint32_t decode_version(uint32_t word, uint32_t expected) noexcept {
    const uint32_t middle = word & 0x00FFFF00;
    if (middle == 0) {
        return expected;
    }
    return (word & 0xFF) != 0 ? middle >> 8 : middle << 8;
}

void print_version_error(uint32_t config_version, uint32_t mailbox_version,
                         uint32_t mailbox) noexcept {
    print("[libpci_tarn] BoardOpen version error\r\n"
          "device Config  compatible version: 0x%08X != libpci_tarn Config  compatible version: "
          "0x%08X\r\n"
          "device Mailbox compatible version: 0x%08X != libpci_tarn Mailbox compatible version: "
          "0x%08X\r\n",
          config_version, kConfigVersion, mailbox_version, kMailboxVersion);
    print("%s\r\n", (mailbox & 0xFF0000FF) > kNewestLayout ? "Please update libpci_tarn"
                                                           : "Please update device's firmware");
}

// The board's channel is channel 0's secondary mailbox under another name: same rings, same lock,
// so that both kinds of requests take turns.
void bind_channel(BoardHandle &handle) noexcept {
    CommandChannel &channel = handle.channel;
    uint8_t *area = config_bytes(handle) + kChannelAreaBase;
    channel.lock = getMutex_mailbox(handle.index, 0, 1);
    channel.second_lock = nullptr;
    channel.device = &handle;
    channel.out = bind_ring(area, &ChannelHeader::secondary_out);
    channel.in = bind_ring(area, &ChannelHeader::secondary_in);
    channel.doorbell = reinterpret_cast<uint32_t *>(registers(handle) + bar1::kDoorbell[0]);
    channel.interrupt = kBoardInterrupt;
}

// 0 unless the text is three numbers.
uint32_t parse_firmware_version(const ConfigBlock &block) noexcept {
    char text[sizeof block.firmware_version + 1] = {};
    for (size_t i = 0; i < sizeof block.firmware_version; ++i) {
        text[i] = card::load<char>(&block.firmware_version[i]);
    }
    int major = 0;
    int minor = 0;
    int patch = 0;
    if (std::sscanf(text, "%d.%d.%d", &major, &minor, &patch) != 3) {
        return 0;
    }
    return static_cast<uint32_t>(major) << 24 | (static_cast<uint32_t>(minor) & 0xFF) << 16 |
           (static_cast<uint32_t>(patch) & 0xFF) << 8;
}

uint32_t set_up(BoardHandle &handle, const char *name) noexcept {
    handle.timeout_ms = kDefaultTimeoutMs;
    if (name == nullptr || getBoardHandle(name, &handle) != 0) {
        return PCI_TARN_E_NO_DEVICE;
    }
    if (handle.bar[1] == nullptr || handle.bar[2] == nullptr) {
        print("get bar addr error!\r\n");
        return PCI_TARN_E_NO_DEVICE;
    }
    if (BoardCheckVersion(&handle, 1) != PCI_TARN_OK) {
        return PCI_TARN_E_VERSION;
    }
    bind_channel(handle);
    handle.firmware_version = parse_firmware_version(*config(handle));
    return PCI_TARN_OK;
}

} // namespace

uint32_t BoardOpen(BoardHandle **out, const char *name) {
    if (out == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    auto *handle = static_cast<BoardHandle *>(std::calloc(1, sizeof(BoardHandle)));
    if (handle == nullptr) {
        print("malloc error.(%ld)[%s:%d]\r\n", static_cast<long>(sizeof(BoardHandle)), "BoardOpen",
              kAllocationLine);
        return PCI_TARN_E_RESOURCES;
    }
    const uint32_t status = set_up(*handle, name);
    if (status != PCI_TARN_OK) {
        std::free(handle);
        handle = nullptr;
    }
    *out = handle;
    return status;
}

uint32_t BoardClose(BoardHandle *handle) {
    std::free(handle);
    return PCI_TARN_OK;
}

uint32_t BoardCheckVersion(BoardHandle *handle, uint8_t print_flag) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const uint32_t mailbox = mailbox_word(*handle);
    const uint32_t config_version =
        decode_version(card::load32(&config(*handle)->config_version), kConfigVersion);
    const uint32_t mailbox_version = decode_version(mailbox, kMailboxVersion);
    if (config_version == kConfigVersion && mailbox_version == kMailboxVersion) {
        return PCI_TARN_OK;
    }
    if (print_flag != 0) {
        print_version_error(config_version, mailbox_version, mailbox);
    }
    return PCI_TARN_E_VERSION;
}

uint32_t BoardGetStructVersion(BoardHandle *handle) {
    return handle != nullptr ? mailbox_word(*handle) : 0;
}

uint32_t BoardGetInfo(BoardHandle *handle, BoardInfo *info) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (info == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    return getBoardInfoByBoardHandle(handle, info);
}

uint32_t BoardGetInfo_Alias(BoardHandle *handle, uint32_t *alias) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (alias == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *alias = getBoardAliasByBoardHandle(handle);
    return PCI_TARN_OK;
}
