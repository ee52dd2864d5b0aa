// Objects of a slave. One request each, however many frames the slave's mailbox takes for it.

#include "master/exchange.h"
#include "pci_tarn/slave.h"

#include <cstring>

namespace {

using namespace tarn;

static_assert(kSdoDataSize == ECAT_SDO_DOWNLOAD_MAX);

struct SdoMessage {
    SdoRecord record;
    uint8_t data[kSdoDataSize];
};
static_assert(sizeof(SdoMessage) == sizeof(SdoRecord) + kSdoDataSize);

} // namespace

uint32_t EcatCoeSDODownload(EcatHandle *handle, uint16_t slave, uint16_t index, uint8_t subindex,
                            int32_t size, const void *data, uint32_t timeout_ms) {
    return EcatCoeSDODownloadEx(handle, slave, index, subindex, 0, static_cast<uint32_t>(size),
                                data, timeout_ms);
}

uint32_t EcatCoeSDODownloadEx(EcatHandle *handle, uint16_t slave, uint16_t index, uint8_t subindex,
                              uint8_t complete_access, uint32_t size, const void *data,
                              uint32_t timeout_ms) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (size > kSdoDataSize || (data == nullptr && size > 0)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    SdoMessage message = {.record = {.slave = slave,
                                     .index = index,
                                     .subindex = subindex,
                                     .complete_access = complete_access,
                                     .reserved = {},
                                     .length = size,
                                     .timeout_ms = timeout_ms},
                          .data = {}};
    if (size > 0) {
        memcpy(message.data, data, size);
    }
    return exchange(*handle, {.code = Command::SdoDownload,
                              .data = &message,
                              .length = static_cast<uint32_t>(sizeof message.record) + size});
}

uint32_t EcatCoeSDOUpload(EcatHandle *handle, uint16_t slave, uint16_t index, uint8_t subindex,
                          uint32_t *size, void *data, uint32_t timeout_ms) {
    return EcatCoeSDOUploadEx(handle, slave, index, subindex, 0, size, data, timeout_ms);
}

uint32_t EcatCoeSDOUploadEx(EcatHandle *handle, uint16_t slave, uint16_t index, uint8_t subindex,
                            uint8_t complete_access, uint32_t *size, void *data,
                            uint32_t timeout_ms) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (size == nullptr || (data == nullptr && *size > 0)) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const SdoMessage message = {.record = {.slave = slave,
                                           .index = index,
                                           .subindex = subindex,
                                           .complete_access = complete_access,
                                           .reserved = {},
                                           .length = *size,
                                           .timeout_ms = timeout_ms},
                                .data = {}};
    return fetch(*handle, Command::SdoUpload, message, data, size);
}
