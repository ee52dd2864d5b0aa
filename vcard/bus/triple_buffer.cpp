#include "vcard/bus/triple_buffer.h"

#include "base/card_memory.h"

#include <atomic>
#include <cstring>

namespace tarn::vcard {
namespace {

constexpr uint32_t kBufferMask = 3;
constexpr uint32_t kHold = 4;
constexpr uint32_t kRequestMask = 0xF8; // request counter
constexpr uint32_t kRequestStep = 8;
constexpr uint32_t kEchoMask = 0xFC; // hold bit and request counter
constexpr uint32_t kSequenceMask = ~UINT32_C(0xFF);
constexpr uint32_t kSequenceStep = 0x100; // odd sequence: being written

// How often take() looks again in one cycle while the host publishes faster than it can copy.
constexpr int kAttempts = 8;

// Next buffer to write by [newest buffer][buffer that the other side reads].
constexpr uint8_t kNextAnnounced[3][3] = {{1, 2, 1}, {2, 0, 0}, {1, 0, 0}};

// Next buffer to write by [newest buffer][low three bits of the other side's word].
constexpr uint8_t kNextHeld[3][8] = {
    {1, 1, 1, 1, 1, 2, 1, 0}, {2, 2, 2, 2, 2, 0, 0, 0}, {0, 0, 0, 0, 1, 0, 0, 0}};

// Keeps the compiler from moving block copies across the index words; the processor keeps the
// order of loads and that of stores by itself.
void keep_order() {
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

// Reads a buffer that the other side may be writing: the sequence tells afterwards whether the copy
// is good, so thread sanitizers need not look.
__attribute__((no_sanitize("thread"))) void copy_unsettled(uint8_t *to, const uint8_t *from,
                                                           uint32_t bytes) {
    using Word [[gnu::may_alias]] = uint64_t;
    for (; bytes >= sizeof(Word); bytes -= 8, from += 8, to += 8) {
        const Word word = *static_cast<const volatile Word *>(static_cast<const void *>(from));
        std::memcpy(to, &word, sizeof(word));
    }
    for (; bytes != 0; --bytes) {
        *to++ = *static_cast<const volatile uint8_t *>(from++);
    }
}

} // namespace

// ---- fast outputs -----------------------------------------------------------------------------

void FastOutputReader::write_word(uint32_t word) {
    word_ = word;
    // Full barrier: the announcement must be visible before the host's word is looked at again.
    __atomic_exchange_n(&words_->card, word, __ATOMIC_SEQ_CST);
}

bool FastOutputReader::take(uint8_t *image, uint32_t bytes) {
    if (generation_ == 1) {
        return take_announced(image, bytes);
    }
    Attempt attempt = Attempt::Again;
    for (int i = 0; i < kAttempts && attempt == Attempt::Again; ++i) {
        attempt = take_checked(image, bytes);
    }
    return attempt == Attempt::Taken;
}

void FastOutputReader::skip() {
    const uint32_t host = card::load32(&words_->host);
    if (generation_ != 1) {
        write_word((word_ & kRequestMask) | (host & ~kEchoMask));
    } else if (host <= 2) {
        write_word(host);
    }
}

// The host picks a buffer that is neither its newest nor the announced one, but may have looked at
// the announcement before it changed. Once its word is the same after the announcement as before,
// its next choice cannot be the announced buffer any more.
bool FastOutputReader::take_announced(uint8_t *image, uint32_t bytes) {
    uint32_t newest = card::load32(&words_->host);
    if (newest == word_ || newest > 2) {
        return false;
    }
    for (uint32_t seen = newest;; newest = seen) {
        write_word(newest);
        seen = card::load32(&words_->host);
        if (seen == newest) {
            break;
        }
        if (seen > 2) {
            return false;
        }
    }
    std::memcpy(image, buffers_[newest], bytes);
    keep_order();
    return true;
}

FastOutputReader::Attempt FastOutputReader::take_checked(uint8_t *image, uint32_t bytes) {
    const uint32_t host = card::load32(&words_->host);
    const bool holding = (word_ & kHold) != 0;
    // A publication that has only begun is no news yet.
    const bool same = ((host ^ word_) & ~(kEchoMask | kSequenceStep)) == 0;
    if ((host & kBufferMask) == 3 || (same && !holding)) {
        return Attempt::Nothing;
    }
    // While a buffer is held, or while the host may still think so, it alternates between the two
    // others and comes back to the newest one a publication earlier.
    const bool alternating = holding || ((host ^ word_) & kEchoMask) != 0;
    const uint32_t allowed = alternating ? kSequenceStep : 3 * kSequenceStep;
    copy_unsettled(image, buffers_[host & kBufferMask], bytes);
    keep_order();
    const uint32_t now = card::load32(&words_->host);
    if ((now & kSequenceMask) - (host & kSequenceMask) <= allowed) {
        write_word((word_ & kRequestMask) | (host & ~kEchoMask));
        return Attempt::Taken;
    }
    const bool granted = holding && ((now ^ word_) & kEchoMask) == 0;
    if (holding && !granted) {
        return Attempt::Again;
    }
    if (granted) {
        std::memcpy(image, buffers_[word_ & kBufferMask], bytes);
        keep_order();
    }
    if ((now & kBufferMask) != 3) {
        write_word((now & ~kRequestMask) | ((word_ + kRequestStep) & kRequestMask) | kHold);
    }
    return granted ? Attempt::Taken : Attempt::Again;
}

// ---- shadow inputs ----------------------------------------------------------------------------

void ShadowInputWriter::publish(const uint8_t *image, uint32_t bytes) {
    const uint32_t host = card::load32(&words_->host);
    const uint32_t newest = word_ & kBufferMask;
    if (generation_ == 1) {
        const uint32_t next = kNextAnnounced[newest][host <= 2 ? host : newest];
        std::memcpy(buffers_[next], image, bytes);
        word_ = next;
    } else {
        const uint32_t next = kNextHeld[newest][host & 7];
        card::store32(&words_->card, word_ + kSequenceStep);
        keep_order();
        std::memcpy(buffers_[next], image, bytes);
        word_ = ((word_ & kSequenceMask) + 2 * kSequenceStep) | (host & kEchoMask) | next;
    }
    card::store32(&words_->card, word_);
    card::increment32(&words_->counter);
}

} // namespace tarn::vcard
