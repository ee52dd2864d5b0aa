// The host's side of the triple buffers as the card meets it, written down from the exchange rules
// and without the library.
#pragma once

#include "base/card_memory.h"
#include "layout/card_memory_map.h"

#include <atomic>
#include <cstring>

namespace tarn::test {

// Publishes fast outputs.
class HostOutputs {
  public:
    HostOutputs(PiCardArea &area, uint32_t generation) : area_(area), generation_(generation) {}

    void publish(const void *image, uint32_t bytes) {
        generation_ == 1 ? publish_first(image, bytes) : publish_second(image, bytes);
        card::increment32(&area_.fast_output.counter);
    }

    // Second generation: leaves a publication half way, then ends it.
    void begin() {
        word_ = card::load32(&area_.fast_output.host);
        card_ = card::load32(&area_.fast_output.card);
        next_ = kHeld[word_ % 4][card_ % 8];
        card::store32(&area_.fast_output.host, word_ + 256);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    void end() {
        card::store32(&area_.fast_output.host,
                      ((word_ & 0xFFFFFF00) + 512) | (card_ & 0xFC) | next_);
    }
    uint8_t *buffer() { return area_.fast_output_buffers[next_]; }

  private:
    static constexpr uint32_t kFree[3][3] = {{1, 2, 1}, {2, 0, 0}, {1, 0, 0}};
    static constexpr uint32_t kHeld[3][8] = {
        {1, 1, 1, 1, 1, 2, 1, 0}, {2, 2, 2, 2, 2, 0, 0, 0}, {0, 0, 0, 0, 1, 0, 0, 0}};

    void publish_first(const void *image, uint32_t bytes) {
        const uint32_t next =
            kFree[card::load32(&area_.fast_output.host)][card::load32(&area_.fast_output.card)];
        std::memcpy(area_.fast_output_buffers[next], image, bytes);
        // The host publishes under a lock, whose release and taking order this store before the
        // next look at the card's word.
        __atomic_exchange_n(&area_.fast_output.host, next, __ATOMIC_SEQ_CST);
    }

    void publish_second(const void *image, uint32_t bytes) {
        begin();
        std::memcpy(buffer(), image, bytes);
        end();
    }

    PiCardArea &area_;
    uint32_t generation_;
    uint32_t word_ = 0;
    uint32_t card_ = 0;
    uint32_t next_ = 0;
};

// Reads shadow inputs.
class HostInputs {
  public:
    HostInputs(PiCardArea &area, uint32_t generation) : area_(area), generation_(generation) {}

    // True when it delivered an image.
    bool pull(void *image, uint32_t bytes) {
        return generation_ == 1 ? pull_first(image, bytes) : pull_second(image, bytes);
    }

  private:
    bool pull_first(void *image, uint32_t bytes) {
        const uint32_t newest = card::load32(&area_.shadow_input.card);
        if (card::load32(&area_.shadow_input.host) == newest) {
            return false;
        }
        card::store32(&area_.shadow_input.host, newest);
        std::memcpy(image, area_.shadow_input_buffers[newest], bytes);
        return true;
    }

    bool pull_second(void *image, uint32_t bytes) {
        const uint32_t k = card::load32(&area_.shadow_input.card);
        const uint32_t h = card::load32(&area_.shadow_input.host);
        const bool holding = (h & 4) != 0;
        if (!holding && ((k ^ h) & 0xFFFFFF03) == 0) {
            return false;
        }
        const uint32_t allowed = holding || ((k ^ h) & 0xFC) != 0 ? 256 : 768;
        copy_unsettled(staging_, area_.shadow_input_buffers[k % 4], bytes);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        const uint32_t k2 = card::load32(&area_.shadow_input.card);
        if ((k2 & 0xFFFFFF00) - (k & 0xFFFFFF00) <= allowed) {
            card::store32(&area_.shadow_input.host, (h & 0xF8) | (k & ~UINT32_C(0xFC)));
            std::memcpy(image, staging_, bytes);
            return true;
        }
        if (holding) {
            if (((k2 ^ h) & 0xFC) != 0) {
                return false;
            }
            std::memcpy(staging_, area_.shadow_input_buffers[h % 4], bytes);
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
        card::store32(&area_.shadow_input.host, (k2 & ~UINT32_C(0xF8)) | ((h + 8) & 0xF8) | 4);
        if (holding) {
            std::memcpy(image, staging_, bytes);
        }
        return holding;
    }

    // The card may be writing this buffer; thread sanitizers need not look.
    __attribute__((no_sanitize("thread"))) static void
    copy_unsettled(uint8_t *to, const volatile uint8_t *from, uint32_t bytes) {
        for (uint32_t i = 0; i < bytes; ++i) {
            to[i] = from[i];
        }
    }

    PiCardArea &area_;
    uint32_t generation_;
    uint8_t staging_[kPiBufferSize] = {};
};

} // namespace tarn::test
