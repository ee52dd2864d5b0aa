// The data stream between programs and firmware, beside the two mailboxes.
#include "base/card_memory.h"
#include "base/lock_guard.h"
#include "base/wait_result.h"
#include "channel/ring.h"
#include "handle/ecat_handle.h"
#include "pci_tarn/board.h"
#include "pci_tarn/driver.h"
#include "pci_tarn/status.h"

#include <algorithm>

using namespace tarn;

namespace {

constexpr uint32_t kPollUs = 50;
constexpr uint32_t kFetchTimeoutMs = 500;
constexpr uint32_t kFetchSliceMs = 100;
constexpr uint32_t kBulkTimeoutMs = 50;

struct Piece {
    uint32_t type;
    uint32_t parameter;
    const uint8_t *data;
    uint32_t length;
};

struct Message {
    uint32_t *type;
    void *buffer;
    uint32_t *length;
};

uint32_t bulk_address(const BulkCopy &bulk, const void *payload) noexcept {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(payload) - bulk.base);
}

bool by_bulk_copy(const BulkCopy &bulk, uint32_t length) noexcept {
    return bulk.enabled != 0 && length != 0;
}

void copy_out(const BulkCopy &bulk, void *payload, const uint8_t *data, uint32_t length) noexcept {
    if (by_bulk_copy(bulk, length) &&
        CDMA_WriteDataToDevice(bulk.device, bulk_address(bulk, payload),
                               const_cast<uint8_t *>(data), static_cast<int32_t>(length),
                               kBulkTimeoutMs) == PCI_TARN_OK) {
        return;
    }
    memcpy_fast(payload, data, length);
}

void copy_in(const BulkCopy &bulk, void *buffer, const void *payload, uint32_t length) noexcept {
    if (by_bulk_copy(bulk, length) &&
        CDMA_ReadDataFromDevice(bulk.device, bulk_address(bulk, payload), buffer,
                                static_cast<int32_t>(length), kBulkTimeoutMs) == PCI_TARN_OK) {
        return;
    }
    memcpy_fast(buffer, payload, length);
}

bool wait_for_room(const MailboxRing &out, uint32_t timeout_ms) noexcept {
    const uint64_t start = get_tick_ms();
    while (ring_counters(out).filled() > out.mask) {
        if (get_tick_ms() - start >= timeout_ms) {
            return false;
        }
        __usleep_window(kPollUs);
    }
    return true;
}

bool post(const EcatHandle &handle, const Piece &piece) noexcept {
    const CommandChannel &channel = handle.socket;
    if (!wait_for_room(channel.out, handle.timeout_ms)) {
        return false;
    }
    auto *slot = reinterpret_cast<SocketSlotHeader *>(
        ring_slot(channel.out, ring_counters(channel.out).write));
    card::store32(&slot->type, piece.type);
    card::store32(&slot->parameter, piece.parameter);
    card::store32(&slot->length, piece.length);
    copy_out(handle.bulk, slot + 1, piece.data, piece.length);
    ring_advance_write(channel.out);
    card::store32(channel.doorbell, 1);
    return true;
}

bool wait_for_message(const CommandChannel &channel) noexcept {
    const uint64_t start = get_tick_ms();
    while (ring_counters(channel.in).empty()) {
        if (get_tick_ms() - start >= kFetchTimeoutMs) {
            return false;
        }
        rest_after_failed_wait(
            waitInterrupt(channel.device, static_cast<uint8_t>(channel.interrupt), kFetchSliceMs));
    }
    return true;
}

// The most that a message can carry, whatever the card says: a caller's buffer holds that.
uint32_t payload_limit(uint32_t slot_size) noexcept {
    constexpr uint32_t kLongest = PCI_TARN_CHUNK_SIZE;
    return slot_size < kSlotHeaderSize ? 0 : std::min(slot_size - kSlotHeaderSize, kLongest);
}

uint32_t fetch(const EcatHandle &handle, const Message &message) noexcept {
    const MailboxRing &in = handle.socket.in;
    if (!wait_for_message(handle.socket)) {
        return PCI_TARN_E_TIMEOUT;
    }
    const auto *slot =
        reinterpret_cast<const SocketSlotHeader *>(ring_slot(in, ring_counters(in).read));
    *message.type = card::load32(&slot->type);
    *message.length = std::min(card::load32(&slot->length), payload_limit(in.slot_size));
    copy_in(handle.bulk, message.buffer, slot + 1, *message.length);
    ring_advance_read(in);
    return PCI_TARN_OK;
}

} // namespace

uint32_t _EcatSockClientPostData(EcatHandle *handle, uint32_t type, uint32_t parameter,
                                 const void *data, uint32_t length) {
    if (handle == nullptr || (data == nullptr && length > 0)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    if (ring_absent(handle->socket.out)) {
        return PCI_TARN_E_NOT_SUPPORTED;
    }
    const auto *rest = static_cast<const uint8_t *>(data);
    driverLock(handle->socket.lock);
    do {
        const uint32_t size = std::min(length, kSocketPieceSize);
        if (!post(*handle, {type, parameter, rest, size})) {
            // Required: the lock stays taken, so that no other sender goes on behind a message of
            // which the card has only the beginning. It is free again when this thread ends.
            return PCI_TARN_E_SEND_TIMEOUT;
        }
        rest += size;
        length -= size;
    } while (length > 0);
    driverUnlock(handle->socket.lock);
    return PCI_TARN_OK;
}

uint32_t _EcatSockClientGetData(EcatHandle *handle, uint32_t *type, void *buffer,
                                uint32_t *length) {
    if (handle == nullptr || type == nullptr || buffer == nullptr || length == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    if (ring_absent(handle->socket.in)) {
        return PCI_TARN_E_NOT_SUPPORTED;
    }
    const NamedLockGuard guard(handle->socket.second_lock);
    return fetch(*handle, {type, buffer, length});
}
