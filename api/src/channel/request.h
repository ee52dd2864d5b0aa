// The request transaction: the one place that touches the rings for requests.
#pragma once

#include "layout/commands.h"
#include "pci_tarn/channel.h"

#include <cstdint>

namespace tarn {

// What goes out and where the reply goes. `reply` and `reply_length` may be null; `reply_length`
// holds the capacity of `reply` and gets the length of the reply, 0 on failure.
struct Request {
    Command code;
    const void *data = nullptr;
    uint32_t length = 0;
    void *reply = nullptr;
    uint32_t *reply_length = nullptr;
};

// One exchange; takes no lock. `timeout_ms` holds for the free slot and again for the reply.
// Returns the firmware's status, or 80001 (no free slot), 80002 (reply too large), 80003 (no
// reply).
uint32_t transact(CommandChannel &channel, const Request &request, uint32_t timeout_ms,
                  PciProgress progress = nullptr, void *progress_arg = nullptr) noexcept;

// The same under the channel's lock.
uint32_t transact_locked(CommandChannel &channel, const Request &request, uint32_t timeout_ms,
                         PciProgress progress = nullptr, void *progress_arg = nullptr) noexcept;

} // namespace tarn
