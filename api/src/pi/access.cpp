// EcatPI* and EcatSlavePI*: checked access to the process image areas.
#include "base/card_memory.h"
#include "channel/request.h"
#include "pci_tarn/ecat.h"
#include "pci_tarn/status.h"
#include "pi/areas.h"
#include "pi/logic_map.h"
#include "pi/slave_activity.h"

namespace tarn::pi {

namespace {

constexpr uint32_t kLastOffset = kImageSize - 1; // accesses end before this byte

bool is_area(uint32_t index) noexcept {
    return index < kAreaCount;
}

// The tests that every access by offset starts with; cuts the length to the image.
uint32_t check_access(const EcatHandle *handle, uint32_t index, uint32_t offset, uint32_t &length,
                      const void *data) noexcept {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (!is_area(index) || offset > kLastOffset) {
        return PCI_TARN_E_OUT_OF_PI;
    }
    length = std::min(length, kLastOffset - offset);
    return data == nullptr && length != 0 ? PCI_TARN_E_INVALID_ARGUMENT : PCI_TARN_OK;
}

// Read or write, whatever came of it: the card sees that the host is alive.
void count_access(EcatHandle &handle) noexcept {
    card::increment32(&pi_card_area(handle)->access_counter);
}

uint32_t checked_read(EcatHandle *handle, uint32_t index, uint32_t offset, uint32_t &length,
                      void *destination) noexcept {
    if (const uint32_t status = check_access(handle, index, offset, length, destination)) {
        return status;
    }
    PiArea &area = handle->areas[index];
    uint32_t status = 0;
    {
        const AreaGuard guard(*handle, index);
        status = area.ops->read(area.object, offset, length, destination, &area.state);
    }
    count_access(*handle);
    return status;
}

uint32_t checked_write(EcatHandle *handle, uint32_t index, uint32_t offset, uint32_t &length,
                       const uint8_t *mask, const void *source) noexcept {
    if (const uint32_t status = check_access(handle, index, offset, length, source)) {
        return status;
    }
    PiArea &area = handle->areas[index];
    uint32_t status = 0;
    {
        const AreaGuard guard(*handle, index);
        status = area.ops->write(area.object, offset, length, source, mask, &area.state);
    }
    count_access(*handle);
    return status;
}

struct ByteRange {
    uint32_t offset;
    uint32_t length;
};

// Bytes that one slave's bits touch. The slave must be in the sorted table's count: without a
// mapping every index is refused.
uint32_t slave_range(const EcatHandle &handle, uint32_t index, uint16_t slave,
                     ByteRange &range) noexcept {
    const PiDirection &block = handle.pi_info->direction[kAreaDirection[index]];
    if (slave >= bounded_slaves(block.entry_count)) {
        return PCI_TARN_E_INVALID_SLAVE;
    }
    const PiPhyEntry &run = block.physical[slave];
    const uint32_t start = block.mapped != 0 ? block.logical_address[slave] : run.bit_offset;
    range = {start / 8, (start % 8 + 7 + run.bit_length) / 8};
    return PCI_TARN_OK;
}

// Where an access inside one slave lands in the image.
uint32_t slave_access(const EcatHandle *handle, uint32_t index, uint16_t slave, uint32_t offset,
                      uint32_t length, ByteRange &access) noexcept {
    if (!is_area(index)) {
        return PCI_TARN_E_OUT_OF_PI;
    }
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    ByteRange range{};
    if (const uint32_t status = slave_range(*handle, index, slave, range)) {
        return status;
    }
    if (offset >= range.length) {
        return PCI_TARN_E_OUT_OF_PI;
    }
    access = {range.offset + offset, std::min(length, range.length - offset)};
    return PCI_TARN_OK;
}

uint32_t slave_ready(EcatHandle *handle, uint16_t slave) noexcept {
    return EcatSlaveIsReady(handle, slave) ? PCI_TARN_OK : PCI_TARN_E_SLAVE_NOT_READY;
}

uint32_t clear_locked(EcatHandle &handle, uint32_t index, ByteRange range) noexcept {
    const AreaGuard guard(handle, index);
    PiArea &area = handle.areas[index];
    return area.ops->clear(area.object, range.offset, range.length, &area.state);
}

// Tests of the exports that take a handle and an area and no offset.
uint32_t check_area(const EcatHandle *handle, uint32_t index) noexcept {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    return is_area(index) ? PCI_TARN_OK : PCI_TARN_E_OUT_OF_PI;
}

} // namespace

} // namespace tarn::pi

using tarn::pi::ByteRange;

uint32_t EcatPIRead(EcatHandle *handle, uint32_t index, uint32_t offset, uint32_t length,
                    void *destination) {
    if (const uint32_t status =
            tarn::pi::checked_read(handle, index, offset, length, destination)) {
        return status;
    }
    return tarn::pi::check_active(*handle, tarn::pi::kAreaDirection[index], offset, length);
}

uint32_t EcatPIWrite(EcatHandle *handle, uint32_t index, uint32_t offset, uint32_t length,
                     const void *source) {
    return EcatPIMaskWrite(handle, index, offset, length, nullptr, source);
}

uint32_t EcatPIMaskWrite(EcatHandle *handle, uint32_t index, uint32_t offset, uint32_t length,
                         const uint8_t *mask, const void *source) {
    if (const uint32_t status =
            tarn::pi::checked_write(handle, index, offset, length, mask, source)) {
        return status;
    }
    return tarn::pi::check_active(*handle, tarn::pi::kAreaDirection[index], offset, length);
}

uint32_t __EcatPIRead_NotCheck(EcatHandle *handle, uint32_t index, uint32_t *offset,
                               uint32_t *length, void *destination) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (offset == nullptr || length == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    return tarn::pi::checked_read(handle, index, *offset, *length, destination);
}

uint32_t EcatPIClear(EcatHandle *handle, uint32_t index) {
    if (const uint32_t status = tarn::pi::check_area(handle, index)) {
        return status;
    }
    return tarn::pi::clear_locked(*handle, index, {0, tarn::kImageSize});
}

uint32_t EcatPINMap(EcatHandle *handle, uint32_t index, void **address) {
    if (const uint32_t status = tarn::pi::check_area(handle, index)) {
        return status;
    }
    if (address == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    const PiArea &area = handle->areas[index];
    const tarn::pi::AreaGuard guard(*handle, index);
    *address = area.ops->address(area.object);
    return *address != nullptr ? PCI_TARN_OK : PCI_TARN_E_DRIVER_NOT_SUPPORTED;
}

uint32_t EcatPIGetRange(EcatHandle *handle, uint32_t index, uint16_t slave, uint32_t *offset,
                        uint32_t *length) {
    return EcatSlavePIGetRange(handle, index, slave, offset, length);
}

uint32_t EcatSlavePIGetRange(EcatHandle *handle, uint32_t index, uint16_t slave, uint32_t *offset,
                             uint32_t *length) {
    if (const uint32_t status = tarn::pi::check_area(handle, index)) {
        return status;
    }
    ByteRange range{};
    if (const uint32_t status = tarn::pi::slave_range(*handle, index, slave, range)) {
        return status;
    }
    if (offset != nullptr) {
        *offset = range.offset;
    }
    if (length != nullptr) {
        *length = range.length;
    }
    return PCI_TARN_OK;
}

uint32_t EcatSlavePIRead(EcatHandle *handle, uint32_t index, uint16_t slave, uint32_t length,
                         void *destination) {
    return EcatSlavePIReadEx(handle, index, slave, 0, length, destination);
}

uint32_t EcatSlavePIReadEx(EcatHandle *handle, uint32_t index, uint16_t slave, uint32_t offset,
                           uint32_t length, void *destination) {
    ByteRange access{};
    if (const uint32_t status =
            tarn::pi::slave_access(handle, index, slave, offset, length, access)) {
        return status;
    }
    if (const uint32_t status =
            tarn::pi::checked_read(handle, index, access.offset, access.length, destination)) {
        return status;
    }
    return tarn::pi::slave_ready(handle, slave);
}

uint32_t EcatSlavePIWrite(EcatHandle *handle, uint32_t index, uint16_t slave, uint32_t length,
                          const void *source) {
    return EcatSlavePIMaskWriteEx(handle, index, slave, 0, length, nullptr, source);
}

uint32_t EcatSlavePIWriteEx(EcatHandle *handle, uint32_t index, uint16_t slave, uint32_t offset,
                            uint32_t length, const void *source) {
    return EcatSlavePIMaskWriteEx(handle, index, slave, offset, length, nullptr, source);
}

uint32_t EcatSlavePIMaskWrite(EcatHandle *handle, uint32_t index, uint16_t slave, uint32_t length,
                              const uint8_t *mask, const void *source) {
    return EcatSlavePIMaskWriteEx(handle, index, slave, 0, length, mask, source);
}

uint32_t EcatSlavePIMaskWriteEx(EcatHandle *handle, uint32_t index, uint16_t slave, uint32_t offset,
                                uint32_t length, const uint8_t *mask, const void *source) {
    ByteRange access{};
    if (const uint32_t status =
            tarn::pi::slave_access(handle, index, slave, offset, length, access)) {
        return status;
    }
    if (const uint32_t status =
            tarn::pi::checked_write(handle, index, access.offset, access.length, mask, source)) {
        return status;
    }
    return tarn::pi::slave_ready(handle, slave);
}

uint32_t EcatSlavePIClear(EcatHandle *handle, uint32_t index, uint16_t slave) {
    if (const uint32_t status = tarn::pi::check_area(handle, index)) {
        return status;
    }
    ByteRange range{};
    if (const uint32_t status = tarn::pi::slave_range(*handle, index, slave, range)) {
        return status;
    }
    // An area that cannot be cleared is no failure of this call, unlike EcatPIClear.
    tarn::pi::clear_locked(*handle, index, range);
    return PCI_TARN_OK;
}

uint32_t EcatPIEnableSet(EcatHandle *handle, uint32_t flag) {
    if (handle == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    if (flag == 0) {
        return EcatPIDisable(handle);
    }
    const uint32_t status = tarn::transact_locked(
        handle->primary, {.code = tarn::Command::PiEnable}, handle->timeout_ms);
    if (status == PCI_TARN_OK) {
        tarn::card::store32(&tarn::pi_card_area(*handle)->enable, 1);
    }
    return status;
}

uint32_t EcatPIEnable(EcatHandle *handle) {
    return EcatPIEnableSet(handle, 1);
}

uint32_t EcatPIDisable(EcatHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    tarn::card::store32(&tarn::pi_card_area(*handle)->enable, 0);
    return PCI_TARN_OK;
}

uint32_t EcatPIEnableGet(EcatHandle *handle, uint32_t *flag) {
    if (handle == nullptr || flag == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *flag = tarn::card::load32(&tarn::pi_card_area(*handle)->enable);
    return PCI_TARN_OK;
}

uint32_t EcatPIReinitModeSet(EcatHandle *handle, uint32_t mode) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    handle->reinit_mode = mode;
    return PCI_TARN_OK;
}

uint32_t EcatPIReinitModeGet(EcatHandle *handle, uint32_t *mode) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (mode == nullptr) {
        return PCI_TARN_E_INVALID_POINTER;
    }
    *mode = handle->reinit_mode;
    return PCI_TARN_OK;
}

uint32_t EcatPIReinitModeSetGlobal(EcatHandle *handle, uint16_t mode) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    tarn::ChannelControl *control = tarn::pi::channel_control(*handle);
    if (control == nullptr) {
        return PCI_TARN_E_GENERAL;
    }
    tarn::card::store32(&control->reinit_mode, mode);
    return PCI_TARN_OK;
}

uint32_t EcatPIReinitModeGetGlobal(EcatHandle *handle, uint32_t *mode) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (mode == nullptr) {
        return PCI_TARN_E_INVALID_POINTER;
    }
    const tarn::ChannelControl *control = tarn::pi::channel_control(*handle);
    if (control == nullptr) {
        return PCI_TARN_E_GENERAL;
    }
    *mode = tarn::card::load32(&control->reinit_mode);
    return PCI_TARN_OK;
}

uint32_t __set_pi_area_complete_info_pdo_len(EcatHandle *handle, uint32_t index, uint32_t length) {
    if (const uint32_t status = tarn::pi::check_area(handle, index)) {
        return status;
    }
    const tarn::pi::AreaGuard guard(*handle, index);
    PiTransfer &state = handle->areas[index].state;
    state.physical_length = length;
    state.image_length = length;
    return PCI_TARN_OK;
}
