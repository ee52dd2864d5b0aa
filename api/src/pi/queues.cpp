// The two queues of whole images in card memory.
#include "base/card_memory.h"
#include "base/console.h"
#include "pci_tarn/status.h"
#include "pi/areas.h"
#include "pi/image_convert.h"
#include "pi/wakeup.h"

#include <algorithm>
#include <cinttypes>

namespace tarn::pi {

namespace {

constexpr uint32_t kPollUs = 100;
constexpr uint64_t kNsPerUs = 1000;
constexpr uint64_t kUsPerMs = 1000;
constexpr int kPopLine = 3627; // part of the text

// The entries carry physical images: without mapping that is what applications address.
uint8_t *queued_image(const PiArea &area, uint8_t *buffer, uint8_t *cache) noexcept {
    return area.state.mapped != 0 ? buffer : cache;
}

// One whole image into the output queue. False while the queue is full.
bool push_output(EcatHandle &handle, uint8_t flag) noexcept {
    PiCardArea &card = *pi_card_area(handle);
    const uint32_t write = card::load32(&card.output_queue_write);
    if (write - card::load32(&card.output_queue_read) >= kPiQueueEntries) {
        return false;
    }
    const uint8_t *source = queued_image(handle.areas[ECAT_PI_NORMAL_OUTPUT],
                                         handle.normal_output_buffer, handle.normal_output_cache);
    uint8_t *entry = card.output_queue[write % kPiQueueEntries];
    // The flag goes first: an image that fills the entry takes its place.
    card::store8(&entry[kPiQueueFlagByte], flag);
    memcpy_fast(entry, source, std::min(card::load32(&card.output_length), kPiBufferSize));
    card::store32(&card.output_queue_write, write + 1);
    card::increment32(&card.access_counter);
    return true;
}

bool input_waits(const PiCardArea &card) noexcept {
    return card::load32(&card.input_queue_write) != card::load32(&card.input_queue_read);
}

// One image out of the input queue. False when it is empty, also when another one took the last
// image; under the lock nobody reads half of it, and no two take the same one.
bool pop_input(EcatHandle &handle, bool newest) noexcept {
    PiArea &area = handle.areas[ECAT_PI_NORMAL_INPUT];
    PiCardArea &card = *pi_card_area(handle);
    const AreaGuard guard(handle, ECAT_PI_NORMAL_INPUT);
    const uint32_t write = card::load32(&card.input_queue_write);
    const uint32_t read = card::load32(&card.input_queue_read);
    if (write == read) {
        return false;
    }
    const uint32_t entry = newest ? write - 1 : read;
    uint8_t *target = queued_image(area, handle.normal_input_buffer, handle.normal_input_cache);
    memcpy_fast(target, card.input_queue[entry % kPiQueueEntries],
                std::min(card::load32(&card.input_length), kPiBufferSize));
    card::store32(&card.input_queue_read, entry + 1);
    exchange_locked(handle, ECAT_PI_NORMAL_INPUT);
    return true;
}

class PopTimer {
  public:
    explicit PopTimer(uint64_t timeout_us) noexcept
        : limit_ns_(timeout_us > UINT64_MAX / kNsPerUs ? UINT64_MAX : timeout_us * kNsPerUs),
          wakeup_ms_(static_cast<uint32_t>(std::min<uint64_t>(timeout_us / kUsPerMs, UINT32_MAX))) {
    }

    // Prints the times when the last one has come.
    [[nodiscard]] bool expired() const noexcept {
        const uint64_t now = get_tick_ns();
        if (now - start_ < limit_ns_) {
            return false;
        }
        print("[%s:%d]timeout(%" PRIu64 " ns) start:%" PRIu64 ", cur:%" PRIu64 "\r\n",
              "EcatPIInputQueuePop_US", kPopLine, limit_ns_, start_, now);
        return true;
    }

    void wait(EcatHandle &handle) const noexcept {
        if (wake_up(handle, wakeup_ms_) != 0) {
            print("timeout\r\n");
            if (wakeup_ms_ == 0) { // that was no wait, and a loop of lines is of no use
                __usleep_window(kPollUs);
            }
        }
    }

  private:
    uint64_t start_ = get_tick_ns();
    uint64_t limit_ns_;
    uint32_t wakeup_ms_;
};

template <typename Level>
uint32_t queue_size(EcatHandle *handle, uint32_t *count, Level &&level) noexcept {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (count == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *count = level(*pi_card_area(*handle));
    return PCI_TARN_OK;
}

} // namespace

} // namespace tarn::pi

using namespace tarn;

uint32_t EcatPIOutputQueuePush(EcatHandle *handle, uint8_t flag, uint32_t timeout_ms) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const uint64_t start = get_tick_ms();
    pi::exchange_locked(*handle, ECAT_PI_NORMAL_OUTPUT);
    while (!pi::push_output(*handle, flag)) {
        if (get_tick_ms() - start >= timeout_ms) {
            return PCI_TARN_E_SEND_TIMEOUT;
        }
        __usleep_window(pi::kPollUs);
    }
    return PCI_TARN_OK;
}

uint32_t EcatPIOutputQueueSize(EcatHandle *handle, uint32_t *count) {
    return pi::queue_size(handle, count, [](const PiCardArea &card) {
        return card::load32(&card.output_queue_write) - card::load32(&card.output_queue_read);
    });
}

uint32_t EcatPIInputQueuePop(EcatHandle *handle, uint8_t newest, uint32_t timeout_ms) {
    return EcatPIInputQueuePop_US(handle, newest, timeout_ms * pi::kUsPerMs);
}

uint32_t EcatPIInputQueuePop_US(EcatHandle *handle, uint8_t newest, uint64_t timeout_us) {
    const pi::PopTimer timer(timeout_us);
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const PiCardArea &card = *pi_card_area(*handle);
    do {
        while (!pi::input_waits(card)) {
            if (timer.expired()) {
                return PCI_TARN_E_TIMEOUT;
            }
            timer.wait(*handle);
        }
    } while (!pi::pop_input(*handle, newest != 0));
    return PCI_TARN_OK;
}

uint32_t EcatPIInputQueueSize(EcatHandle *handle, uint32_t *count) {
    return pi::queue_size(handle, count, [](const PiCardArea &card) {
        return card::load32(&card.input_queue_write) - card::load32(&card.input_queue_read);
    });
}
