// The card's watch over the host: what to put out when the host falls silent.
#include "base/card_memory.h"
#include "base/heap.h"
#include "channel/request.h"
#include "handle/ecat_handle.h"
#include "pci_tarn/status.h"

#include <algorithm>
#include <cstring>

namespace {

using namespace tarn;

// A request or reply of a header and what follows it, zeroed.
class Block {
  public:
    explicit Block(uint64_t size) noexcept : size_(static_cast<uint32_t>(size)) {
        if (size <= UINT32_MAX) {
            bytes_ = zeroed_bytes(size_);
        }
    }

    explicit operator bool() const noexcept { return bytes_ != nullptr; }
    [[nodiscard]] uint8_t *data() const noexcept { return bytes_.get(); }
    [[nodiscard]] uint32_t size() const noexcept { return size_; }
    // The part behind the header.
    [[nodiscard]] uint8_t *rest() const noexcept { return data() + sizeof(WatchdogRecord); }
    [[nodiscard]] WatchdogRecord &record() const noexcept {
        return *reinterpret_cast<WatchdogRecord *>(data());
    }

  private:
    HeapBytes bytes_;
    uint32_t size_;
};

constexpr uint32_t kHeadSize = sizeof(WatchdogRecord) + kWatchdogSpare;

uint64_t block_size(uint32_t length, uint64_t parts) noexcept {
    return parts * length + kHeadSize;
}

uint32_t ask(EcatHandle &handle, const Request &request) noexcept {
    return transact_locked(handle.primary, request, handle.timeout_ms);
}

template <typename T>
void give(T *out, T value) noexcept {
    if (out != nullptr) {
        *out = value;
    }
}

void give_bytes(uint8_t *out, const uint8_t *from, uint32_t count) noexcept {
    if (out != nullptr) {
        memcpy(out, from, count);
    }
}

} // namespace

uint32_t EcatPIWatchDogConfig(EcatHandle *handle, uint32_t slave, uint32_t reserved,
                              const uint8_t *mask, const uint8_t *data, uint32_t length) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (data == nullptr || reserved != 0) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const Block block(block_size(length, mask != nullptr ? 2 : 1));
    if (!block) {
        return PCI_TARN_E_MEMORY;
    }
    block.record().slave = slave;
    block.record().length = length;
    uint8_t *to = block.rest();
    if (mask != nullptr) {
        memcpy(to, mask, length);
        to += length;
    }
    memcpy(to, data, length);
    return ask(*handle,
               {.code = Command::WatchdogConfig, .data = block.data(), .length = block.size()});
}

uint32_t EcatPIWatchDogEnable(EcatHandle *handle, uint32_t flag) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    return ask(*handle,
               {.code = Command::WatchdogEnable, .data = &flag, .length = uint32_t{sizeof flag}});
}

uint32_t EcatPIWatchDogStart(EcatHandle *handle, uint32_t value, const char *text) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const char *const sent = text != nullptr ? text : "";
    const size_t sent_size = strlen(sent) + 1;
    const Block block(sizeof value + sent_size);
    if (!block) {
        return PCI_TARN_E_WATCHDOG_MEMORY;
    }
    memcpy(block.data(), &value, sizeof value);
    memcpy(block.data() + sizeof value, sent, sent_size);
    return ask(*handle,
               {.code = Command::WatchdogStart, .data = block.data(), .length = block.size()});
}

uint32_t EcatPIWatchDogStop(EcatHandle *handle) {
    return handle == nullptr ? uint32_t{PCI_TARN_E_HANDLE}
                             : ask(*handle, {.code = Command::WatchdogStop});
}

uint32_t EcatPIWatchDogQuery(EcatHandle *handle, uint32_t slave, uint32_t *first_status,
                             uint32_t *second_status, uint8_t *first_block, uint8_t *second_block,
                             uint32_t *length) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (length == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const uint32_t room = *length;
    const Block block(block_size(room, 2));
    if (!block) {
        return PCI_TARN_E_MEMORY;
    }
    block.record().slave = slave;
    block.record().length = room;
    // A length of 0 leaves no room for a reply, not even for its header: required.
    uint32_t reply_length = room == 0 ? 0 : block.size();
    const uint32_t status = ask(*handle, {.code = Command::WatchdogQuery,
                                          .data = block.data(),
                                          .length = kHeadSize,
                                          .reply = block.data(),
                                          .reply_length = &reply_length});
    const WatchdogRecord &reply = block.record();
    if (status == PCI_TARN_OK) {
        // A card that says more than was asked for gets neither beyond the caller's blocks nor
        // beyond the reply.
        const uint32_t count = std::min(reply.length, room);
        const uint32_t room_behind = block.size() - uint32_t{sizeof(WatchdogRecord)};
        const uint32_t second = std::min(reply.length, room_behind - count);
        give_bytes(first_block, block.rest(), count);
        give_bytes(second_block, block.rest() + second, count);
    }
    give(first_status, reply.status[0]);
    give(second_status, reply.status[1]);
    *length = reply.length;
    return status;
}

uint32_t EcatPIWatchDogFeed(EcatHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    card::increment32(&pi_card_area(*handle)->access_counter);
    return PCI_TARN_OK;
}
