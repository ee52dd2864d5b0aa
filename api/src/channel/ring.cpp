#include "channel/ring.h"

#include "base/console.h"
#include "handle/ecat_handle.h"
#include "pci_tarn/base.h"
#include "pci_tarn/status.h"

using namespace tarn;

namespace {

constexpr int32_t kRefused = -1; // bad argument, bad slot or nothing to pop
constexpr int32_t kRaced = -2;   // full, or emptied while popping

bool absent(const MailboxRing *ring) noexcept {
    return ring == nullptr || ring_absent(*ring);
}

MailboxRing copy_view(const MailboxRing *ring) noexcept {
    return ring != nullptr ? *ring : MailboxRing{};
}

int print_pointers(const uint8_t *area, const char *module, uint32_t offset) noexcept {
    const auto word = [=](uint32_t n) {
        return static_cast<int32_t>(card::load32(area + offset + n * 4));
    };
    print("%s: \r\n", module);
    print("<miso>p tr_w:%d ptr_r:%d \r\n", word(3), word(2));
    return print("<mosi>p tr_w:%d ptr_r:%d \r\n", word(1), word(0));
}

} // namespace

int32_t mailbox_init(CommandChannel *channel, void *lock, void *device, const MailboxRing *out,
                     const MailboxRing *in, uint32_t *doorbell, uint32_t interrupt) {
    if (channel != nullptr) {
        channel->lock = lock;
        channel->device = device;
        channel->out = copy_view(out);
        channel->in = copy_view(in);
        channel->doorbell = doorbell;
        channel->interrupt = interrupt;
    }
    return 0;
}

int32_t mailbox_sock_init(CommandChannel *channel, void *lock, void *second_lock, void *device,
                          const MailboxRing *out, const MailboxRing *in, uint32_t *doorbell,
                          uint32_t interrupt) {
    if (channel != nullptr) {
        channel->second_lock = second_lock;
    }
    return mailbox_init(channel, lock, device, out, in, doorbell, interrupt);
}

int32_t mailbox_queue_push(MailboxRing *ring, const void *data, uint32_t length) {
    if (absent(ring) || data == nullptr || length > ring->slot_size) {
        return kRefused;
    }
    const RingCounters counters = ring_counters(*ring);
    if (counters.filled() > ring->mask) {
        return kRaced;
    }
    // Required second look: the view lies in the caller's memory and may have been bound anew.
    if (length > ring->slot_size) {
        return kRefused;
    }
    memcpy_fast(ring_slot(*ring, counters.write), data, length);
    ring_advance_write(*ring);
    return 0;
}

int32_t mailbox_queue_pop(MailboxRing *ring, void *out) {
    if (absent(ring) || out == nullptr) {
        return kRefused;
    }
    RingCounters counters = ring_counters(*ring);
    if (counters.empty()) {
        return kRefused;
    }
    const uint32_t length = card::load32(&ring_slot_header(*ring, counters.read)->length);
    if (length >= kSlotPayloadLimit) {
        return kRefused;
    }
    counters = ring_counters(*ring);
    if (counters.empty()) {
        return kRaced;
    }
    // A slot that is refused stays where it is and blocks the ring.
    if (length + kSlotHeaderSize > ring->slot_size) {
        return kRefused;
    }
    memcpy_fast(out, ring_slot(*ring, counters.read), length + kSlotHeaderSize);
    ring_advance_read(*ring);
    return 0;
}

int32_t show_fifo_size(EcatHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    print_pointers(handle->area, "mail_module_h", kPrimaryPointersOffset);
    return print_pointers(handle->area, "mail_module_l", kSecondaryPointersOffset);
}
