// What the firmware notes of itself, its slaves and their links. Nothing here looks into it.

#include "pci_tarn/diagnostics.h"

#include "base/heap.h"
#include "master/exchange.h"

#include <cstring>

namespace {

using namespace tarn;

static_assert(kMasterDiagnosticSize == ECAT_MASTER_DIAGNOSTIC_SIZE);
static_assert(kSlaveDiagnosticSize == ECAT_SLAVE_DIAGNOSTIC_SIZE);
static_assert(kSlaveDetailSize == ECAT_SLAVE_DIAGNOSTIC_DETAIL_SIZE);
static_assert(kSlaveLinkSize == ECAT_SLAVE_LINK_STATUS_SIZE);

// What is asked of a list of slaves.
struct SlaveList {
    Command code;
    bool master; // and of the master
    uint16_t count;
    const uint16_t *slaves;
    uint32_t capacity; // of the reply
};

// Gives the reply, with zeros where it was shorter.
uint32_t fetch_list(EcatHandle &handle, const SlaveList &list, HeapBytes &reply) {
    const SlaveListRecord record = {.count = list.count, .master = list.master};
    const uint32_t indices = uint32_t{list.count} * sizeof *list.slaves;
    const uint32_t length = sizeof record + indices;
    if (length >= ECAT_DIAGNOSTIC_SIZE_LIMIT || list.capacity >= ECAT_DIAGNOSTIC_SIZE_LIMIT ||
        (list.slaves == nullptr && list.count > 0)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const HeapBytes request = zeroed_bytes(length);
    reply = zeroed_bytes(list.capacity);
    if (request == nullptr || reply == nullptr) {
        return PCI_TARN_E_MEMORY;
    }
    memcpy(request.get(), &record, sizeof record);
    if (indices > 0) {
        memcpy(request.get() + sizeof record, list.slaves, indices);
    }
    uint32_t received = list.capacity;
    return exchange(handle, {.code = list.code,
                             .data = request.get(),
                             .length = length,
                             .reply = reply.get(),
                             .reply_length = &received});
}

// Copies the next `size` bytes of a reply, or passes over them when nobody wants them.
void take(const uint8_t *&from, void *to, uint32_t size) {
    if (to != nullptr) {
        memcpy(to, from, size);
    }
    from += size;
}

} // namespace

uint32_t EcatGetDiagnostics(EcatHandle *handle, uint8_t *master, uint16_t count,
                            const uint16_t *slaves, void *records) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (records == nullptr && count > 0) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const uint32_t master_size = master != nullptr ? kMasterDiagnosticSize : 0;
    const uint32_t slaves_size = count * kSlaveDiagnosticSize;
    HeapBytes reply;
    const uint32_t status = fetch_list(*handle,
                                       {.code = Command::Diagnostics,
                                        .master = master != nullptr,
                                        .count = count,
                                        .slaves = slaves,
                                        .capacity = master_size + slaves_size},
                                       reply);
    if (status == PCI_TARN_OK) {
        const uint8_t *next = reply.get();
        take(next, master, master_size);
        take(next, records, slaves_size);
    }
    return status;
}

uint32_t EcatGetSlaveDiagnosticStates(EcatHandle *handle, uint32_t *master, uint16_t count,
                                      const uint16_t *slaves, uint32_t *states, void *details) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const uint32_t master_size = master != nullptr ? sizeof *master : 0;
    const uint32_t states_size = count * uint32_t{sizeof *states};
    const uint32_t details_size = count * kSlaveDetailSize;
    HeapBytes reply;
    const uint32_t status = fetch_list(*handle,
                                       {.code = Command::SlaveDiagnosticStates,
                                        .master = master != nullptr,
                                        .count = count,
                                        .slaves = slaves,
                                        .capacity = master_size + states_size + details_size},
                                       reply);
    if (status == PCI_TARN_OK) {
        const uint8_t *next = reply.get();
        take(next, master, master_size);
        take(next, states, states_size);
        take(next, details, details_size);
    }
    return status;
}

uint32_t EcatNetDiagnosticsGetSlaveLinkStatus(EcatHandle *handle, void *records, uint16_t *count) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (records == nullptr || count == nullptr || *count == 0) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    uint32_t length = *count * kSlaveLinkSize;
    const uint32_t status = exchange_secondary(*handle, {.code = Command::SlaveLinkStatus,
                                                         .data = count,
                                                         .length = sizeof *count,
                                                         .reply = records,
                                                         .reply_length = &length});
    if (status == PCI_TARN_OK) {
        *count = static_cast<uint16_t>(length / kSlaveLinkSize);
    }
    return status;
}

uint32_t EcatGetFirstLinkDownPortStatus(EcatHandle *handle, void *status) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    uint32_t length = ECAT_LINK_DOWN_PORT_STATUS_SIZE;
    return fetch(*handle, Command::FirstLinkDownPort, status, &length);
}

uint32_t EcatGetLastError(EcatHandle *handle, void *buffer, uint32_t size, uint32_t *length) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (buffer == nullptr || length == nullptr || size == 0) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    return exchange_secondary(*handle, {.code = Command::LastError,
                                        .data = &size,
                                        .length = sizeof size,
                                        .reply = buffer,
                                        .reply_length = length});
}
