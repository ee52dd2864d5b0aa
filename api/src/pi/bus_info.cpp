// What a bus start records about the new configuration.
#include "channel/request.h"
#include "handle/ecat_handle.h"
#include "pci_tarn/ecat.h"
#include "pci_tarn/pi.h"
#include "pci_tarn/status.h"
#include "pi/areas.h"
#include "pi/logic_map.h"
#include "pi/pi_setup.h"

#include <cstring>

namespace tarn::pi {

namespace {

uint32_t read_lengths(EcatHandle &handle) noexcept {
    EniInfoReply reply{};
    uint32_t length = sizeof reply;
    const uint32_t status = transact_locked(
        handle.primary, {.code = Command::EniInfo, .reply = &reply, .reply_length = &length},
        handle.timeout_ms);
    if (status == PCI_TARN_OK) {
        handle.pi_info->direction[ECAT_PI_DIRECTION_OUTPUT].physical_length = reply.output_length;
        handle.pi_info->direction[ECAT_PI_DIRECTION_INPUT].physical_length = reply.input_length;
    }
    return status;
}

using RegionQuery = decltype(&EcatGetSlavePIOutputsInfo);

// Where one slave's data lies. A slave without data stands at the end of the one before it, so
// that the table ascends.
uint32_t read_region(EcatHandle &handle, PiDirection &block, uint16_t slave,
                     RegionQuery query) noexcept {
    PiPhyEntry run{};
    const uint32_t status = query(&handle, slave, &run.bit_length, &run.bit_offset);
    if (status == PCI_TARN_E_NO_PI_REGION) {
        run.bit_length = 0;
    } else if (status != PCI_TARN_OK) {
        return status;
    }
    if (run.bit_length != 0) {
        block.participation[slave / 32] |= 1U << slave % 32;
    } else if (slave != 0) {
        const PiPhyEntry &previous = block.physical[slave - 1];
        run.bit_offset = static_cast<uint16_t>(previous.bit_offset + previous.bit_length);
    } else {
        run.bit_offset = 0;
    }
    block.physical[slave] = run;
    return PCI_TARN_OK;
}

uint32_t read_regions(EcatHandle &handle) noexcept {
    PiInfo &info = *handle.pi_info;
    const uint32_t slaves = bounded_slaves(info.slave_count);
    for (uint32_t i = 0; i < slaves; ++i) {
        const auto slave = static_cast<uint16_t>(i);
        if (const uint32_t status = read_region(handle, info.direction[ECAT_PI_DIRECTION_OUTPUT],
                                                slave, EcatGetSlavePIOutputsInfo)) {
            return status;
        }
        if (const uint32_t status = read_region(handle, info.direction[ECAT_PI_DIRECTION_INPUT],
                                                slave, EcatGetSlavePIInputsInfo)) {
            return status;
        }
    }
    return PCI_TARN_OK;
}

uint32_t read_fixed_addresses(EcatHandle &handle) noexcept {
    uint16_t count = 0;
    if (const uint32_t status = EcatGetSlaveCount(&handle, &count)) {
        return status;
    }
    for (uint32_t i = 0; i < bounded_slaves(count); ++i) {
        if (const uint32_t status = EcatGetSlaveFixAddr(&handle, static_cast<uint16_t>(i),
                                                        &handle.pi_info->fixed_address[i])) {
            return status;
        }
    }
    return PCI_TARN_OK;
}

} // namespace

uint32_t fill_info(EcatHandle &handle, const char *eni_path) noexcept {
    PiInfo &info = *handle.pi_info;
    zero_info(handle);
    uint16_t count = 0;
    if (const uint32_t status = EcatGetSlaveCount(&handle, &count)) {
        return status;
    }
    info.slave_count = count;
    if (const uint32_t status = read_lengths(handle)) {
        return status;
    }
    if (const uint32_t status = read_regions(handle)) {
        return status;
    }
    if (const uint32_t status = ecat_pi_logic_addr_map_init(
            eni_path, info.slave_count, &info.direction[ECAT_PI_DIRECTION_INPUT],
            &info.direction[ECAT_PI_DIRECTION_OUTPUT])) {
        return status;
    }
    return read_fixed_addresses(handle);
}

} // namespace tarn::pi
