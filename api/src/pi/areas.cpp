// The life of a channel's process image: wired at open, emptied and described anew at every bus
// start.
#include "pi/areas.h"

#include "base/card_memory.h"
#include "pci_tarn/shared.h"
#include "pci_tarn/status.h"
#include "pi/buffer_ops.h"
#include "pi/image_convert.h"
#include "pi/pi_setup.h"

#include <cstring>

namespace tarn::pi {

namespace {

// Reinit modes name what a bus start keeps; every other value keeps nothing.
constexpr uint32_t kKeepTripleBuffers = 2;
constexpr uint32_t kKeepNormalBuffers = 3;

constexpr uint8_t kKeptOutputsFlag = 1;
constexpr uint32_t kKeptOutputsTimeoutMs = 100;

uint8_t *bytes(void *address) noexcept {
    return static_cast<uint8_t *>(address);
}

void find_shared_memory(EcatHandle &handle) noexcept {
    const uint32_t board = handle.board->index;
    const uint32_t channel = handle.channel;
    handle.pi_info = static_cast<PiInfo *>(getSharedMemory_piinfo(board, channel));
    handle.control =
        &static_cast<SharedMemory *>(__pi_shared_memory)->control[channel_slot(board, channel)];
    handle.normal_output_cache = bytes(getSharedMemory_piNormalCacheOutput(board, channel));
    handle.normal_output_buffer = bytes(getSharedMemory_piNormalBuffOutput(board, channel));
    handle.normal_input_cache = bytes(getSharedMemory_piNormalCacheInput(board, channel));
    handle.normal_input_buffer = bytes(getSharedMemory_piNormalBuffInput(board, channel));
    handle.fast_output = bytes(getSharedMemory_pifast(board, channel));
    handle.shadow_input = bytes(getSharedMemory_pishadowinput(board, channel));
}

void make_objects(EcatHandle &handle) noexcept {
    PiCardArea &card = *pi_card_area(handle);
    handle.normal_output_object = {handle.normal_output_buffer, handle.normal_output_cache,
                                   ECAT_PI_DIRECTION_OUTPUT};
    handle.normal_input_object = {handle.normal_input_buffer, handle.normal_input_cache,
                                  ECAT_PI_DIRECTION_INPUT};

    PiMasterObject &master = handle.fast_output_object;
    master.card = card.fast_output_buffers[0];
    master.local = handle.fast_output;
    master.dirty = &handle.pi_info->fast_output_dirty;
    master.stride = kPiBufferSize;
    master.index = &card.fast_output.counter;
    master.owner = &handle.areas[ECAT_PI_FAST_OUTPUT];

    PiSlaveObject &slave = handle.shadow_input_object;
    slave.card = card.shadow_input_buffers[0];
    slave.local = handle.shadow_input;
    slave.stride = kPiBufferSize;
    slave.index = &card.shadow_input.counter;
    slave.owner = &handle.areas[ECAT_PI_SHADOW_INPUT];

    PiExchangeObject &exchange = handle.card_area_object;
    exchange.card = card.exchange;
    exchange.sequence = &card.sequence;
    exchange.last = 0;
}

void make_areas(EcatHandle &handle) noexcept {
    const struct {
        void *object;
        const PiOps *ops;
    } parts[kAreaCount] = {
        {&handle.normal_output_object, normal_ops()},
        {&handle.normal_input_object, normal_ops()},
        {&handle.fast_output_object, master_ops(handle.pd_version, Access::Immediate)},
        {&handle.card_area_object, card_area_ops()},
        {&handle.shadow_input_object, slave_ops(handle.pd_version, Access::Immediate)},
    };
    for (uint32_t i = 0; i < kAreaCount; ++i) {
        handle.areas[i].lock = getMutex_pi(handle.board->index, handle.channel, i);
        handle.areas[i].object = parts[i].object;
        handle.areas[i].ops = parts[i].ops;
    }
}

// What an area moves: the card area runs card to host although it shows the outputs.
decltype(PiTransfer::convert) conversion(uint32_t index, bool mapped) noexcept {
    if (!mapped) {
        return convert_plain;
    }
    return index == ECAT_PI_NORMAL_OUTPUT || index == ECAT_PI_FAST_OUTPUT ? convert_to_physical
                                                                          : convert_to_logical;
}

void refresh_area(EcatHandle &handle, uint32_t index) noexcept {
    const PiDirection &block = handle.pi_info->direction[kAreaDirection[index]];
    const bool mapped = block.mapped != 0;
    PiTransfer &state = handle.areas[index].state;
    state.mapped = mapped ? 1 : 0;
    state.physical_length = block.physical_length;
    state.image_length = mapped ? block.logical_length : block.physical_length;
    state.physical = block.physical;
    state.sorted = block.sorted;
    state.entry_count = std::min<uint32_t>(block.entry_count, PCI_TARN_MAX_SLAVES);
    state.slave_count = std::min<uint32_t>(handle.pi_info->slave_count, PCI_TARN_MAX_SLAVES);
    state.convert = conversion(index, mapped);
    state.plan = mapped ? &handle.plans[kAreaDirection[index]] : nullptr;
}

// Empties what the host holds of an area. The card's buffers and index words are not its to reset.
void reset_area(EcatHandle &handle, uint32_t index) noexcept {
    const AreaGuard guard(handle, index);
    switch (index) {
    case ECAT_PI_NORMAL_OUTPUT:
        std::memset(handle.normal_output_cache, 0, kImageSize);
        std::memset(handle.normal_output_buffer, 0, kPiBufferSize);
        break;
    case ECAT_PI_NORMAL_INPUT:
        std::memset(handle.normal_input_cache, 0, kImageSize);
        std::memset(handle.normal_input_buffer, 0, kPiBufferSize);
        break;
    case ECAT_PI_FAST_OUTPUT:
        std::memset(handle.fast_output, 0, kImageSize);
        card::store32(&handle.pi_info->fast_output_dirty, 0);
        break;
    default:
        std::memset(handle.areas[index].ops->address(handle.areas[index].object), 0, kImageSize);
        break;
    }
}

} // namespace

ChannelControl *channel_control(const EcatHandle &handle) noexcept {
    return handle.control;
}

void wire(EcatHandle &handle) noexcept {
    find_shared_memory(handle);
    make_objects(handle);
    make_areas(handle);
    refresh_views(handle);
    __EcatPIASyncModeInit(&handle.async, handle.board->index, handle.channel);
    __EcatPIASyncDirectAccessModeInit(&handle);
}

void release(EcatHandle &handle) noexcept {
    __EcatPIASyncModeDestroy(&handle.async);
    for (PiArea &area : handle.areas) {
        if (area.ops != nullptr) {
            area.ops->setup(area.object, &area.state);
        }
    }
}

void refresh_views(EcatHandle &handle) noexcept {
    const AreaLock lock(handle.areas[0]); // one lock for all areas of a channel
    for (uint32_t i = 0; i < kAreaCount; ++i) {
        refresh_area(handle, i);
    }
    build_plan(handle.plans[ECAT_PI_DIRECTION_OUTPUT], handle.areas[ECAT_PI_FAST_OUTPUT].state);
    build_plan(handle.plans[ECAT_PI_DIRECTION_INPUT], handle.areas[ECAT_PI_SHADOW_INPUT].state);
    lock.mend(handle);
}

uint32_t effective_reinit_mode(const EcatHandle &handle) noexcept {
    if (handle.reinit_mode != 0) {
        return handle.reinit_mode;
    }
    const ChannelControl *control = channel_control(handle);
    return control != nullptr ? card::load32(&control->reinit_mode) : 0;
}

void reset_for_start(EcatHandle &handle) noexcept {
    const uint32_t mode = effective_reinit_mode(handle);
    if (mode != kKeepNormalBuffers) {
        reset_area(handle, ECAT_PI_NORMAL_OUTPUT);
        reset_area(handle, ECAT_PI_NORMAL_INPUT);
    }
    if (mode != kKeepTripleBuffers) {
        reset_area(handle, ECAT_PI_FAST_OUTPUT);
        reset_area(handle, ECAT_PI_SHADOW_INPUT);
    }
    reset_area(handle, ECAT_PI_CARD_AREA);
}

void zero_info(EcatHandle &handle) noexcept {
    const AreaGuard guard(handle, ECAT_PI_FAST_OUTPUT);
    std::memset(handle.pi_info, 0, sizeof *handle.pi_info);
}

uint32_t publish_fast_output(EcatHandle &handle) noexcept {
    const AreaGuard guard(handle, ECAT_PI_FAST_OUTPUT);
    pi_buff_3p_master_force_update(&handle.fast_output_object);
    return exchange_locked(handle, ECAT_PI_FAST_OUTPUT);
}

uint32_t push_after_start(EcatHandle &handle) noexcept {
    switch (effective_reinit_mode(handle)) {
    case kKeepTripleBuffers:
        return publish_fast_output(handle);
    case kKeepNormalBuffers:
        return EcatPIOutputQueuePush(&handle, kKeptOutputsFlag, kKeptOutputsTimeoutMs);
    default:
        return PCI_TARN_OK;
    }
}

void clear_info(EcatHandle &handle) noexcept {
    zero_info(handle);
    refresh_views(handle);
}

} // namespace tarn::pi
