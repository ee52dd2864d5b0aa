// One request of the master services, on the primary mailbox unless named otherwise.
#pragma once

#include "channel/request.h"
#include "handle/ecat_handle.h"
#include "pci_tarn/status.h"

#include <cstdint>

namespace tarn {

// Takes the mailbox's lock; waits at most the handle's time-out for the slot and for the reply.
inline uint32_t exchange(EcatHandle &handle, const Request &request) noexcept {
    return transact_locked(handle.primary, request, handle.timeout_ms);
}

// The same on the secondary mailbox.
inline uint32_t exchange_secondary(EcatHandle &handle, const Request &request) noexcept {
    return transact_locked(handle.secondary, request, handle.timeout_ms);
}

// Request without payload or with one value as payload, and no reply data.
inline uint32_t send(EcatHandle &handle, Command code) noexcept {
    return exchange(handle, {.code = code});
}
template <typename Value>
uint32_t send(EcatHandle &handle, Command code, const Value &value) noexcept {
    return exchange(handle, {.code = code, .data = &value, .length = sizeof value});
}

// The same with reply data of at most `length` bytes; `length` becomes what arrived.
inline uint32_t fetch(EcatHandle &handle, Command code, void *out, uint32_t *length) noexcept {
    return exchange(handle, {.code = code, .reply = out, .reply_length = length});
}
template <typename Value>
uint32_t fetch(EcatHandle &handle, Command code, const Value &value, void *out,
               uint32_t *length) noexcept {
    return exchange(handle, {.code = code,
                             .data = &value,
                             .length = sizeof value,
                             .reply = out,
                             .reply_length = length});
}

} // namespace tarn
