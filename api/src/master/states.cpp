// States, counts and identities of master and slaves, and the switches of the firmware that have
// to do with them.

#include "base/card_memory.h"
#include "master/exchange.h"
#include "pci_tarn/ecat.h"

#include <algorithm>

namespace {

using namespace tarn;

constexpr uint8_t kStateMask = 0x0F;                     // without the error indication
constexpr uint32_t kRequestedStateFirmware = 0x010C0C00; // 1.12.12
constexpr uint32_t kSlaveInfoSize = 56;

// One value of the master.
template <typename Value>
uint32_t get(EcatHandle *handle, Command code, Value *out) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    uint32_t length = sizeof(Value);
    return fetch(*handle, code, out, &length);
}

// One value of a slave.
template <typename Value>
uint32_t get(EcatHandle *handle, Command code, uint16_t slave, Value *out) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    uint32_t length = sizeof(Value);
    return fetch(*handle, code, slave, out, &length);
}

template <typename Value>
uint32_t set(EcatHandle *handle, Command code, Value value) {
    return handle == nullptr ? uint32_t{PCI_TARN_E_HANDLE} : send(*handle, code, value);
}

// The state alone, whatever the exchange's status: a caller never sees the error indication, not
// even in what its variable held before.
void mask_states(uint8_t *states, uint32_t count) {
    if (states != nullptr) {
        std::for_each_n(states, count, [](uint8_t &state) { state &= kStateMask; });
    }
}

uint32_t get_state(EcatHandle *handle, Command code, uint16_t slave, uint8_t *state) {
    const uint32_t status = get(handle, code, slave, state);
    if (handle != nullptr) {
        mask_states(state, 1);
    }
    return status;
}

uint32_t get_states(EcatHandle *handle, Command code, uint16_t count, uint8_t *states) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    uint32_t received = count;
    const uint32_t status = fetch(*handle, code, count, states, &received);
    mask_states(states, received);
    return status;
}

bool knows_requested_states(const EcatHandle *handle) {
    return handle == nullptr || handle->board->firmware_version >= kRequestedStateFirmware;
}

uint32_t get_region(EcatHandle *handle, Command code, uint16_t slave, uint16_t *size,
                    uint16_t *offset) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    SlaveRegionReply region = {};
    const uint32_t status = get(handle, code, slave, &region);
    if (size != nullptr) {
        *size = region.size;
    }
    if (offset != nullptr) {
        *offset = region.offset;
    }
    return status;
}

} // namespace

uint32_t EcatGetMasterState(EcatHandle *handle, uint8_t *state) {
    return get(handle, Command::MasterState, state);
}

uint32_t EcatGetMasterReqState(EcatHandle *handle, uint8_t *state) {
    return get(handle, Command::MasterRequestedState, state);
}

uint32_t EcatGetSlaveCount(EcatHandle *handle, uint16_t *count) {
    return get(handle, Command::SlaveCount, count);
}

uint32_t EcatGetActiveSlaveCount(EcatHandle *handle, uint16_t *count) {
    return get(handle, Command::ActiveSlaveCount, count);
}

uint32_t EcatGetSlaveState(EcatHandle *handle, uint16_t slave, uint8_t *state) {
    return get_state(handle, Command::SlaveState, slave, state);
}

uint32_t EcatGetSlaveStateEx(EcatHandle *handle, uint16_t count, uint8_t *states) {
    return get_states(handle, Command::SlaveStates, count, states);
}

uint32_t EcatGetSlaveReqState(EcatHandle *handle, uint16_t slave, uint8_t *state) {
    return knows_requested_states(handle)
               ? get_state(handle, Command::SlaveRequestedState, slave, state)
               : uint32_t{PCI_TARN_E_NOT_SUPPORTED};
}

uint32_t EcatGetSlaveReqStateEx(EcatHandle *handle, uint16_t count, uint8_t *states) {
    return knows_requested_states(handle)
               ? get_states(handle, Command::SlaveRequestedStates, count, states)
               : uint32_t{PCI_TARN_E_NOT_SUPPORTED};
}

uint32_t EcatGetSlaveVendorID(EcatHandle *handle, uint16_t slave, uint32_t *value) {
    return get(handle, Command::SlaveVendorId, slave, value);
}

uint32_t EcatGetSlaveProductCode(EcatHandle *handle, uint16_t slave, uint32_t *value) {
    return get(handle, Command::SlaveProductCode, slave, value);
}

uint32_t EcatGetSlaveRevisionNo(EcatHandle *handle, uint16_t slave, uint32_t *value) {
    return get(handle, Command::SlaveRevisionNo, slave, value);
}

uint32_t EcatGetSlaveSerialNo(EcatHandle *handle, uint16_t slave, uint32_t *value) {
    return get(handle, Command::SlaveSerialNo, slave, value);
}

uint32_t EcatGetSlaveAlias(EcatHandle *handle, uint16_t slave, uint32_t *alias) {
    return get(handle, Command::SlaveAlias, slave, alias);
}

uint32_t EcatGetSlaveFixAddr(EcatHandle *handle, uint16_t slave, uint16_t *address) {
    return get(handle, Command::SlaveFixedAddress, slave, address);
}

uint32_t EcatGetSlaveDLStatus(EcatHandle *handle, uint16_t slave, uint16_t *status) {
    return get(handle, Command::SlaveDlStatus, slave, status);
}

uint32_t EcatGetSlaveALStatusCode(EcatHandle *handle, uint16_t slave, uint16_t *code) {
    return get(handle, Command::SlaveAlStatusCode, slave, code);
}

uint32_t EcatGetSlaveInfo(EcatHandle *handle, uint16_t slave, void *info) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    uint32_t length = kSlaveInfoSize;
    return fetch(*handle, Command::SlaveInfo, slave, info, &length);
}

uint32_t EcatGetSlavePIOutputsInfo(EcatHandle *handle, uint16_t slave, uint16_t *size,
                                   uint16_t *offset) {
    return get_region(handle, Command::SlaveOutputs, slave, size, offset);
}

uint32_t EcatGetSlavePIInputsInfo(EcatHandle *handle, uint16_t slave, uint16_t *size,
                                  uint16_t *offset) {
    return get_region(handle, Command::SlaveInputs, slave, size, offset);
}

uint32_t EcatClearSlaveStateError(EcatHandle *handle, uint16_t slave) {
    return set(handle, Command::ClearSlaveStateError, slave);
}

// The two exports of the automatic clearing answer a null handle otherwise than all others. Kept
// for the callers that rely on it.
uint32_t EcatAutoClearSlaveStateErrorEnableSet(EcatHandle *handle, uint32_t enable) {
    return handle == nullptr ? uint32_t{PCI_TARN_E_INVALID_ARGUMENT}
                             : send(*handle, Command::AutoClearSet, enable);
}

uint32_t EcatAutoClearSlaveStateErrorEnableGet(EcatHandle *handle, uint32_t *enable) {
    return handle == nullptr ? uint32_t{PCI_TARN_E_INVALID_ARGUMENT}
                             : get(handle, Command::AutoClearGet, enable);
}

uint32_t EcatReadyLostTimeoutSet(EcatHandle *handle, uint32_t value) {
    return set(handle, Command::ReadyLostTimeoutSet, value);
}

uint32_t EcatReadyLostTimeoutGet(EcatHandle *handle, uint32_t *value) {
    return get(handle, Command::ReadyLostTimeoutGet, value);
}

uint32_t ECAT_TIMEOUT_TRIGGER(EcatHandle *handle, int32_t on) {
    return set(handle, on != 0 ? Command::TimeoutTriggerOn : Command::TimeoutTriggerOff, on);
}

bool EcatSlaveIsActive(EcatHandle *handle, uint16_t slave) {
    uint8_t state = 0;
    return get_state(handle, Command::SlaveState, slave, &state) == PCI_TARN_OK && state != 0;
}

bool EcatSlaveIsReady(EcatHandle *handle, uint16_t slave) {
    if (handle == nullptr || slave >= PCI_TARN_MAX_SLAVES) {
        return false;
    }
    return (card::load32(slave_ready_words(*handle) + slave / 32) >> (slave % 32) & 1) != 0;
}

uint32_t EcatSlaveFixAddr2Index(EcatHandle *handle, uint16_t address, uint16_t *index) {
    const auto &info = *static_cast<const PiInfo *>(__EcatGetPiInfo(handle));
    const auto *begin = info.fixed_address;
    const auto *end = begin + std::min<uint32_t>(info.slave_count, PCI_TARN_MAX_SLAVES);
    const auto *found = std::find(begin, end, address);
    if (found == end || index == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *index = static_cast<uint16_t>(found - begin);
    return PCI_TARN_OK;
}

uint32_t EcatSetTimeout(EcatHandle *handle, uint32_t milliseconds) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    handle->timeout_ms = milliseconds;
    return PCI_TARN_OK;
}

uint32_t EcatRMEnable(void) {
    return PCI_TARN_OK;
}

uint32_t EcatRMEnableGet(EcatHandle *, uint32_t *enable) {
    if (enable == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *enable = 1;
    return PCI_TARN_OK;
}
