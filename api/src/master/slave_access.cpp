// EEPROM and controller memory of a slave.

#include "base/console.h"
#include "base/heap.h"
#include "master/exchange.h"
#include "pci_tarn/slave.h"

#include <cstring>

namespace {

using namespace tarn;

uint32_t read_range(EcatHandle *handle, Command code, const SlaveRangeRecord &range, void *data) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (data == nullptr && range.length > 0) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    uint32_t length = range.length;
    return exchange_secondary(*handle, {.code = code,
                                        .data = &range,
                                        .length = sizeof range,
                                        .reply = data,
                                        .reply_length = &length});
}

// Which export it was, for the message when memory is short.
struct Writer {
    Command code;
    const char *name;
    int number;
};

uint32_t write_range(EcatHandle *handle, const Writer &writer, const SlaveRangeRecord &range,
                     const void *data) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (data == nullptr && range.length > 0) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const uint32_t size = uint32_t{sizeof range} + range.length;
    const HeapBytes request = zeroed_bytes(size);
    if (request == nullptr) {
        print("malloc error.(%d)[%s:%d]\r\n", static_cast<int>(size), writer.name, writer.number);
        return PCI_TARN_E_RESOURCES;
    }
    memcpy(request.get(), &range, sizeof range);
    if (range.length > 0) {
        memcpy(request.get() + sizeof range, data, range.length);
    }
    return exchange_secondary(*handle,
                              {.code = writer.code, .data = request.get(), .length = size});
}

} // namespace

uint32_t EcatSlaveEepromRead(EcatHandle *handle, uint16_t slave, uint16_t address, uint16_t length,
                             void *data) {
    return read_range(handle, Command::EepromRead, {slave, address, length}, data);
}

uint32_t EcatSlaveEepromWrite(EcatHandle *handle, uint16_t slave, uint16_t address, uint16_t length,
                              const void *data) {
    return write_range(handle, {Command::EepromWrite, "EcatSlaveEepromWrite", 4426},
                       {slave, address, length}, data);
}

uint32_t EcatSlaveMemoryRead(EcatHandle *handle, uint16_t slave, uint16_t address, uint16_t length,
                             void *data) {
    return read_range(handle, Command::SlaveMemoryRead, {slave, address, length}, data);
}

uint32_t EcatSlaveMemoryWrite(EcatHandle *handle, uint16_t slave, uint16_t address, uint16_t length,
                              const void *data) {
    return write_range(handle, {Command::SlaveMemoryWrite, "EcatSlaveMemoryWrite", 4467},
                       {slave, address, length}, data);
}
