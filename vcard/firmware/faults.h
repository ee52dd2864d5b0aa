// Faults on demand, for tests and for the control command. All members may be set from any thread
// while the card runs.
#pragma once

#include <atomic>
#include <cstdint>

namespace tarn::vcard {

struct Faults {
    std::atomic<uint32_t> drop_replies{0};      // swallow this many replies
    std::atomic<uint32_t> duplicate_replies{0}; // send this many replies twice
    std::atomic<uint32_t> stale_replies{
        0}; // before this many replies send one with another sequence
    std::atomic<uint32_t> corrupt_replies{0};  // give this many replies an impossible length
    std::atomic<uint32_t> oversize_replies{0}; // append payload to this many replies
    std::atomic<uint32_t> delay_ms{0};         // hold every reply back this long
    std::atomic<uint32_t> status_code{0};      // command that `status` applies to, 0 for any
    std::atomic<uint32_t> status{0};           // answer with this status instead of serving
    std::atomic<uint32_t> status_count{0};     // that many times
    std::atomic<bool> refuse_chunks{false};    // answer file data with 32849
    std::atomic<bool> stop_draining{false};    // leave requests in the rings
    std::atomic<uint32_t> stop_after{0};       // turn stop_draining on after this many requests
    std::atomic<bool> no_interrupts{false};    // raise no interrupt
    std::atomic<uint32_t> lose_cycle_interrupts{0}; // raise none for this many cycles
};

} // namespace tarn::vcard
