// The cards of this process: found once, kept until the library is unloaded.
#include "base/card_memory.h"
#include "base/console.h"
#include "board/board_handle.h"
#include "layout/card_memory_map.h"
#include "pci_tarn/base.h"
#include "pci_tarn/driver.h"
#include "pci_tarn/status.h"
#include "pci_tarn/version.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

using namespace tarn;

namespace {

constexpr char kLibraryVersion[] = PCI_TARN_VERSION;
constexpr char kBuildDate[] = "Jun 30 2025"; // part of the release's version text
constexpr int kSupportedDriver[4] = {1, 0, 0, 1};
constexpr int32_t kBarCount = 6;
constexpr int32_t kBarsMappedAtStart = 3;
constexpr uint32_t kChannelOut = 128; // what DriverEnumEcat() tells of an existing channel

enum LazyStatus : uint32_t { kReady = 0, kBuildFailed = 1 };
enum ReleaseStatus : uint32_t { kReleased = 0, kNotMapped = 1, kNoSuchNode = 2 };

struct Registry {
    std::once_flag built;
    BoardNode *head = nullptr;
    uint32_t count = 0;
    char driver_version[32] = {};
};

// Has no destructor: closeDevice() may run after those of the library.
constinit Registry registry;

[[maybe_unused]] const int close_registered = std::atexit(closeDevice);

const BoardNode *as_node(const void *node) noexcept {
    return static_cast<const BoardNode *>(node);
}

// Most significant field first, joined by dots.
void format_version(uint64_t version, char (&text)[32]) noexcept {
    std::snprintf(text, sizeof(text), "%hu.%hu.%hu.%hu", static_cast<uint16_t>(version >> 48),
                  static_cast<uint16_t>(version >> 32), static_cast<uint16_t>(version >> 16),
                  static_cast<uint16_t>(version));
}

void refresh_driver() noexcept {
    registry.count = EtherCATGetCount();
    format_version(EtherCATGetDriverVersion(), registry.driver_version);
}

// Builds the list in the first call; only that one learns how it went.
uint32_t build_once() noexcept {
    uint32_t result = PCI_TARN_OK;
    std::call_once(registry.built, [&result] { result = InitBoardHandleNode(); });
    return result;
}

uint32_t lazy_init() noexcept {
    return build_once() == PCI_TARN_OK ? kReady : kBuildFailed;
}

void append(BoardNode *node) noexcept {
    BoardNode **end = &registry.head;
    while (*end != nullptr) {
        end = &(*end)->next;
    }
    *end = node;
}

BoardNode *find_by_driver(const EtherCAT *driver) noexcept {
    BoardNode *node = registry.head;
    while (node != nullptr && node->driver != driver) {
        node = node->next;
    }
    return node;
}

// First node whose whole name the given one begins with, so "kpcidev10" finds kpcidev1: required,
// callers may give a longer text.
BoardNode *find_by_prefix(const char *name) noexcept {
    BoardNode *node = registry.head;
    while (node != nullptr && std::strncmp(node->name, name, std::strlen(node->name)) != 0) {
        node = node->next;
    }
    return node;
}

// A number behind the prefix, as scanf's %d reads it; one out of range becomes -1.
bool parse_number(const char *name, const char *prefix, int32_t &number) noexcept {
    const size_t length = std::strlen(prefix);
    if (std::strncmp(name, prefix, length) != 0) {
        return false;
    }
    char *end = nullptr;
    const long long value = std::strtoll(name + length, &end, 10);
    number = value >= 0 && value <= INT32_MAX ? static_cast<int32_t>(value) : -1;
    return end != name + length;
}

BoardNode *find_by_position(int32_t position) noexcept {
    BoardNode *node = position < 0 ? nullptr : registry.head;
    while (node != nullptr && position > 0) {
        node = node->next;
        --position;
    }
    return node;
}

// The one card whose information fits; null when none or more than one does.
template <typename Fits>
BoardNode *find_single(Fits fits) noexcept {
    BoardNode *found = nullptr;
    for (BoardNode *node = registry.head; node != nullptr; node = node->next) {
        BoardInfo info = {};
        if (getBoardInfoByBoardHandle(node, &info) != PCI_TARN_OK || !fits(info)) {
            continue;
        }
        if (found != nullptr) {
            return nullptr;
        }
        found = node;
    }
    return found;
}

BoardNode *find_by_name(const char *name) noexcept {
    int32_t number = 0;
    if (parse_number(name, "ID", number)) {
        return find_by_position(number);
    }
    if (parse_number(name, "AL", number)) {
        return find_single([number](const BoardInfo &info) {
            return number >= 0 && info.alias == static_cast<uint32_t>(number);
        });
    }
    return find_single([name](const BoardInfo &info) { return std::strcmp(info.name, name) == 0; });
}

// A text of the card, up to its NUL and never beyond its field.
void copy_text(char (&to)[32], const void *card_text) noexcept {
    char text[sizeof(to)];
    memcpy_fast(text, card_text, sizeof(text));
    text[sizeof(text) - 1] = '\0';
    std::memcpy(to, text, std::strlen(text) + 1);
}

} // namespace

uint32_t GetBoardCount(uint32_t *count) {
    if (count == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    refresh_driver();
    *count = registry.count;
    return PCI_TARN_OK;
}

uint32_t InitBoardHandleNode(void) {
    uint32_t count = 0;
    uint32_t status = GetBoardCount(&count);
    for (uint32_t index = 0; status == PCI_TARN_OK && index < count; ++index) {
        auto *node = static_cast<BoardNode *>(std::calloc(1, sizeof(BoardNode)));
        if (node == nullptr) {
            return PCI_TARN_E_MEMORY;
        }
        status = InitBoardNodeDataByIndex(index, node);
        if (status != PCI_TARN_OK) {
            std::free(node);
            return status;
        }
        append(node);
        for (int32_t bar = 0; bar < kBarsMappedAtStart; ++bar) {
            getBarPtr(node, bar);
        }
    }
    return status;
}

uint32_t InitBoardNodeDataByIndex(uint32_t index, BoardNode *node) {
    if (node == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    std::snprintf(node->name, sizeof(node->name), "kpcidev%u", index);
    if (EtherCATVerifyDriverVersion()) {
        node->driver = EtherCATOpen(index);
        // Only the last digit, so the eleventh card gets 0: required, the named locks are keyed by
        // this number and are shared with programs that count the same way.
        node->index = static_cast<uint32_t>(node->name[std::strlen(node->name) - 1] - '0');
        return PCI_TARN_OK;
    }
    refresh_driver();
    const char *current = registry.driver_version;
    const auto &[major, minor, build, revision] = kSupportedDriver;
    print_red("%s(%d): EtherCAT verify driver version failed!\r\nCurrent: %s\r\n"
              "Support: %d.%d.%d.%d\r\nplease check pci driver.\n",
              "InitBoardNodeDataByIndex", 238, current, major, minor, build, revision);
    char text[256];
    std::snprintf(text, sizeof(text),
                  "EtherCAT verify driver version failed!\r\nCurrent: %s\r\n"
                  "Support: %d.%d.%d.%d\r\nplease check pci driver.",
                  current, major, minor, build, revision);
    std::perror(text);
    return PCI_TARN_E_DRIVER_NOT_SUPPORTED;
}

uint32_t initDevice(void) {
    return build_once();
}

uint32_t getBoardHandle(const char *name, void *node) {
    if (name == nullptr || node == nullptr) {
        return PCI_TARN_E_GENERAL;
    }
    if (lazy_init() != kReady) {
        return kBuildFailed;
    }
    const BoardNode *found = find_by_name(name);
    if (found == nullptr) {
        return PCI_TARN_E_GENERAL;
    }
    std::memcpy(node, found, kBoardNodeCopySize);
    return PCI_TARN_OK;
}

uint32_t getBoardInfoByBoardHandle(const void *node, BoardInfo *info) {
    if (node == nullptr || info == nullptr) {
        return PCI_TARN_E_GENERAL;
    }
    const auto *registers = static_cast<const uint8_t *>(as_node(node)->bar[1]);
    const auto *config = static_cast<const ConfigBlock *>(as_node(node)->bar[2]);
    if (registers == nullptr || config == nullptr) {
        print_red("%s(%d): vBarPtr[1],vBarPtr[1] is nul.\n", "getBoardInfoByBoardHandle", 403);
        return PCI_TARN_E_GENERAL;
    }
    if (card::load32(&config->magic) != kConfigDoneMagic) {
        print_red("%s(%d): bar2->config.magic != BAR_CONFIG_DONE_MAGIC\n",
                  "getBoardInfoByBoardHandle", 381);
        return PCI_TARN_E_GENERAL;
    }
    copy_text(info->model, config->model);
    copy_text(info->firmware_version, config->firmware_version);
    copy_text(info->name, config->name);
    info->alias = getBoardAliasByBoardHandle(node);
    info->channel_count = card::load32(&config->channel_count);
    info->id = card::load32(registers + bar1::kIdentification);
    return PCI_TARN_OK;
}

uint32_t getBoardInfoByIndex(uint32_t index, BoardInfo *info) {
    if (lazy_init() != kReady) {
        return kBuildFailed;
    }
    const BoardNode *node = registry.head;
    while (node != nullptr && index > 0) {
        node = node->next;
        --index;
    }
    return node == nullptr ? static_cast<uint32_t>(PCI_TARN_E_NO_BOARD)
                           : getBoardInfoByBoardHandle(node, info);
}

uint32_t getBoardAliasByBoardHandle(const void *node) {
    if (node == nullptr || as_node(node)->bar[1] == nullptr) {
        return 0;
    }
    const auto *registers = static_cast<const uint8_t *>(as_node(node)->bar[1]);
    return ~card::load32(registers + bar1::kAlias) & 15U;
}

void *getBarPtr(const void *node, int32_t bar) {
    BoardNode *found = node == nullptr ? nullptr : find_by_driver(as_node(node)->driver);
    if (found == nullptr) {
        print("INF: %s<%d>: type err: %d dev:%s\n", "getBarPtr", 114, 2,
              node == nullptr ? "(null)" : as_node(node)->name);
        return nullptr;
    }
    const bool exists = bar >= 0 && bar < kBarCount;
    if (exists && found->bar[bar] == nullptr) {
        found->bar[bar] = EtherCATMapBarAddress(found->driver, static_cast<uint32_t>(bar));
    }
    void *address = exists ? found->bar[bar] : nullptr;
    if (address == nullptr) {
        print_red("%s(%d): mmap %s:bar%d failed! please check params.(%d)\n", "getBarPtr", 95,
                  found->name, bar, exists ? static_cast<int>(found->bar_length[bar]) : 0);
    }
    return address;
}

uint32_t releaBarPtr(const char *name, int32_t bar) {
    BoardNode *node = name == nullptr ? nullptr : find_by_prefix(name);
    if (node == nullptr) {
        return kNoSuchNode;
    }
    if (bar < 0 || bar >= kBarCount || node->bar[bar] == nullptr) {
        return kNotMapped;
    }
    EtherCATUnmapBarAddress(node->driver, node->bar[bar]);
    node->bar[bar] = nullptr;
    return kReleased;
}

void closeDevice(void) {
    BoardNode *&head = registry.head;
    while (head != nullptr) {
        for (int32_t bar = 0; bar < kBarCount; ++bar) {
            releaBarPtr(head->name, bar);
        }
        EtherCATClose(head->driver);
        BoardNode *closed = head;
        head = closed->next;
        std::free(closed);
    }
}

uint32_t waitInterrupt(const void *node, uint8_t interrupt, uint32_t timeout_ms) {
    if (lazy_init() != kReady) {
        return kBuildFailed;
    }
    return EtherCATWaitForInterrupt(node == nullptr ? nullptr : as_node(node)->driver, interrupt,
                                    timeout_ms);
}

uint32_t getDriverInfo(DriverInfo *info) {
    if (info == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    if (lazy_init() != kReady) {
        return kBuildFailed;
    }
    std::snprintf(info->driver_version, sizeof(info->driver_version), "%s",
                  registry.driver_version);
    info->board_count = registry.count;
    return PCI_TARN_OK;
}

uint32_t DriverEnumBoard(uint32_t index, BoardInfo *info) {
    return getBoardInfoByIndex(index, info);
}

uint32_t DriverEnumEcat(uint32_t index, uint32_t channel, uint32_t *out) {
    BoardInfo info = {};
    const uint32_t status = getBoardInfoByIndex(index, &info);
    if (status == PCI_TARN_OK && channel < PCI_TARN_MAX_CHANNELS && channel < info.channel_count &&
        out != nullptr) {
        *out = kChannelOut;
    }
    return status;
}

uint32_t DriverGetInfo(DriverInfo *info) {
    if (info == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    std::snprintf(info->library_version, sizeof(info->library_version), "%s[%s]", kLibraryVersion,
                  kBuildDate);
    return getDriverInfo(info);
}
