#include "channel/request.h"

#include "base/card_memory.h"
#include "base/lock_guard.h"
#include "base/wait_result.h"
#include "channel/reply_spin.h"
#include "channel/ring.h"
#include "handle/ecat_handle.h"
#include "pci_tarn/base.h"
#include "pci_tarn/status.h"

#include <cmath>

using namespace tarn;

namespace {

constexpr uint32_t kPollUs = 1000;
constexpr uint32_t kInterruptRoundMs = 40;
constexpr uint32_t kPacketTimeoutMs = 10000;

// Blocks until the card signals, at most one round, and bounds how fast the reply loop can turn
// when the driver cannot wait.
class InterruptWait {
  public:
    explicit InterruptWait(const CommandChannel &channel) noexcept : channel_(channel) {}

    void wait() noexcept {
        // One arrival without a reply is normal: the interrupt of an earlier reply may still be
        // latched. After more of them the waits are spaced out.
        if (fruitless_arrivals_ > 1) {
            __usleep_window(kPollUs);
        }
        const uint32_t result = waitInterrupt(
            channel_.device, static_cast<uint8_t>(channel_.interrupt), kInterruptRoundMs);
        if (result == kWaitArrived) {
            ++fruitless_arrivals_;
        } else {
            fruitless_arrivals_ = 0;
        }
        rest_after_failed_wait(result);
    }

  private:
    const CommandChannel &channel_;
    uint32_t fruitless_arrivals_ = 0;
};

bool wait_for_free_slot(const MailboxRing &out, uint64_t size, uint32_t timeout_ms) noexcept {
    const uint64_t start = get_tick_ms();
    // A request that can never fit takes the same way and the whole time-out.
    while (!ring_accepts(out, ring_counters(out), size)) {
        if (get_tick_ms() - start >= timeout_ms) {
            return false;
        }
        __usleep_window(kPollUs);
    }
    return true;
}

// Returns the sequence that the reply will carry.
uint16_t post(const CommandChannel &channel, const Request &request) noexcept {
    const uint32_t write = card::load32(&channel.out.pointers[1]);
    SlotHeader *slot = ring_slot_header(channel.out, write);
    const auto sequence = static_cast<uint16_t>(write);
    card::store16(&slot->code, static_cast<uint16_t>(request.code));
    card::store16(&slot->sequence, sequence);
    card::store32(&slot->length, request.length);
    if (request.length > 0) {
        memcpy_fast(slot + 1, request.data, request.length);
    }
    ring_advance_write(channel.out);
    card::store32(channel.doorbell, 1);
    return sequence;
}

// Rises fast at first and reaches 1 at the time-out.
float waited_fraction(uint64_t elapsed_ms, uint32_t timeout_ms) noexcept {
    const double total = timeout_ms;
    const double done =
        std::log(static_cast<double>(elapsed_ms) + 1.0) * total / std::log(total + 1.0);
    return static_cast<float>(static_cast<uint32_t>(done)) / static_cast<float>(timeout_ms);
}

// The slot with the reply, or null after the time-out. Replies of earlier requests that timed out
// are dropped before the time is looked at.
const SlotHeader *wait_for_reply(const CommandChannel &channel, uint16_t sequence,
                                 uint32_t timeout_ms, PciProgress progress,
                                 void *progress_arg) noexcept {
    const MailboxRing &in = channel.in;
    const uint64_t start = get_tick_ms();
    InterruptWait interrupt(channel);
    bool may_spin = true;
    for (;;) {
        const RingCounters counters = ring_counters(in);
        if (!counters.empty()) {
            const SlotHeader *slot = ring_slot_header(in, counters.read);
            if (card::load16(&slot->sequence) == sequence) {
                return slot;
            }
            ring_advance_read(in);
            continue;
        }
        const uint64_t elapsed = get_tick_ms() - start;
        if (elapsed >= timeout_ms) {
            return nullptr;
        }
        if (progress != nullptr) {
            progress(progress_arg, waited_fraction(elapsed, timeout_ms));
        }
        if (may_spin) {
            may_spin = false;
            if (spin_for_reply(in)) {
                continue;
            }
        }
        interrupt.wait();
    }
}

// Takes payload and status out of the reply; the slot is not given back yet. A length that no slot
// of the ring can hold fits no buffer either.
uint32_t take_reply(const MailboxRing &in, const SlotHeader *slot, const Request &request,
                    uint32_t capacity) noexcept {
    const uint32_t length = card::load32(&slot->length);
    const uint32_t status = card::load32(&slot->status);
    if (length == 0) {
        return status;
    }
    const bool has_buffer = request.reply != nullptr && request.reply_length != nullptr;
    if (!has_buffer || length > capacity || uint64_t{length} + kSlotHeaderSize > in.slot_size) {
        return PCI_TARN_E_BUFFER_TOO_SMALL;
    }
    memcpy_fast(request.reply, slot + 1, length);
    *request.reply_length = length;
    return status;
}

// Reads the capacity that the caller gave and leaves 0 in its place.
uint32_t take_capacity(const Request &request) noexcept {
    if (request.reply_length == nullptr) {
        return 0;
    }
    const uint32_t capacity = *request.reply_length;
    *request.reply_length = 0;
    return capacity;
}

bool lacks_payload(const uint8_t *data, uint32_t length) noexcept {
    return data == nullptr && length > 0;
}

} // namespace

uint32_t tarn::transact(CommandChannel &channel, const Request &request, uint32_t timeout_ms,
                        PciProgress progress, void *progress_arg) noexcept {
    const uint64_t size = uint64_t{request.length} + kSlotHeaderSize;
    if (!wait_for_free_slot(channel.out, size, timeout_ms)) {
        take_capacity(request);
        return PCI_TARN_E_QUEUE_FULL;
    }
    const uint16_t sequence = post(channel, request);
    const uint32_t capacity = take_capacity(request);

    uint32_t result = PCI_TARN_E_TIMEOUT;
    const SlotHeader *slot = wait_for_reply(channel, sequence, timeout_ms, progress, progress_arg);
    if (slot != nullptr) {
        result = take_reply(channel.in, slot, request, capacity);
        ring_advance_read(channel.in);
    }
    if (progress != nullptr) {
        progress(progress_arg, 1.0F);
    }
    return result;
}

uint32_t tarn::transact_locked(CommandChannel &channel, const Request &request, uint32_t timeout_ms,
                               PciProgress progress, void *progress_arg) noexcept {
    const NamedLockGuard guard(channel.lock);
    return transact(channel, request, timeout_ms, progress, progress_arg);
}

uint32_t pcie_pkt_send(EcatHandle *handle, uint16_t code, const uint8_t *data, uint32_t length,
                       uint8_t *reply, uint32_t *reply_length) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (lacks_payload(data, length)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    return transact_locked(handle->primary,
                           {static_cast<Command>(code), data, length, reply, reply_length},
                           kPacketTimeoutMs);
}

uint32_t EcatRunCommand(EcatHandle *handle, const uint8_t *data, uint32_t length, uint8_t *reply,
                        uint32_t *reply_length) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (lacks_payload(data, length)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    return transact_locked(handle->secondary,
                           {Command::RunCommand, data, length, reply, reply_length},
                           handle->timeout_ms);
}
