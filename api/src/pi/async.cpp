// Access modes of the triple buffers, the wait for the bus cycle, and the output queue.
#include "base/card_memory.h"
#include "pci_tarn/driver.h"
#include "pci_tarn/status.h"
#include "pi/areas.h"
#include "pi/buffer_ops.h"
#include "pi/image_convert.h"

namespace tarn::pi {

namespace {

constexpr uint32_t kModeDirect = 0;
constexpr uint32_t kModeCycle = 1;

constexpr uint32_t kCycleSliceMs = 2;
constexpr uint32_t kWaitTimedOut = 258;
constexpr uint32_t kWaitErrorSleepUs = 1000;
constexpr uint32_t kQueuePollUs = 100;

uint32_t wait_cycle_slice(EcatHandle &handle) noexcept {
    return waitInterrupt(handle.board, static_cast<uint8_t>(handle.pi_interrupt), kCycleSliceMs);
}

void set_ops(PiArea &area, const PiOps *ops) noexcept {
    const NamedLockGuard guard(area.lock);
    area.ops = ops;
}

void set_access(EcatHandle &handle, Access access) noexcept {
    set_ops(handle.areas[ECAT_PI_FAST_OUTPUT], master_ops(handle.pd_version, access));
    set_ops(handle.areas[ECAT_PI_SHADOW_INPUT], slave_ops(handle.pd_version, access));
}

// One whole image into the output queue. False while the queue is full.
bool push_output(EcatHandle &handle, uint8_t flag) noexcept {
    PiCardArea &card = *pi_card_area(handle);
    const uint32_t write = card::load32(&card.output_queue_write);
    if (write - card::load32(&card.output_queue_read) >= kPiQueueEntries) {
        return false;
    }
    const bool mapped = handle.areas[ECAT_PI_NORMAL_OUTPUT].state.mapped != 0;
    const uint8_t *source = mapped ? handle.normal_output_buffer : handle.normal_output_cache;
    uint8_t *entry = card.output_queue[write % kPiQueueEntries];
    // The flag goes first: an image that fills the entry takes its place.
    card::store8(&entry[kPiQueueFlagByte], flag);
    memcpy_fast(entry, source, std::min(card::load32(&card.output_length), kPiBufferSize));
    card::store32(&card.output_queue_write, write + 1);
    card::increment32(&card.access_counter);
    return true;
}

} // namespace

} // namespace tarn::pi

using tarn::pi::Access;

uint32_t __EcatPIASyncModeInit(EcatPIAsyncState *state, uint32_t, uint32_t) {
    if (state == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *state = {};
    state->semaphore = ecat_os_sem_create();
    return PCI_TARN_OK;
}

uint32_t __EcatPIASyncDirectAccessModeInit(EcatHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    handle->async.wakeup = __Ecat_PI_ASync_WakeupByInterrup;
    tarn::pi::set_access(*handle, Access::Immediate);
    handle->async.mode = tarn::pi::kModeDirect;
    return PCI_TARN_OK;
}

uint32_t __EcatPIASyncModeReset(EcatPIAsyncState *state) {
    if (state == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    if (state->mode == tarn::pi::kModeCycle && state->thread != nullptr) {
        __atomic_store_n(&state->stop, 1U, __ATOMIC_RELEASE);
        ecat_os_thread_join(state->thread);
        state->thread = nullptr;
    }
    state->wakeup = nullptr;
    return PCI_TARN_OK;
}

uint32_t __EcatPIASyncModeDestroy(EcatPIAsyncState *state) {
    if (state == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    __EcatPIASyncModeReset(state);
    ecat_os_sem_destroy(state->semaphore);
    state->semaphore = nullptr;
    return PCI_TARN_OK;
}

uint32_t __EcatPIWaitSignal(EcatHandle *handle) {
    if (handle == nullptr) {
        return 1;
    }
    return tarn::pi::wait_cycle_slice(*handle) == 0 ? 0 : 1;
}

uint32_t __Ecat_PI_ASync_WakeupByInterrup(EcatHandle *handle, uint32_t timeout_ms) {
    if (handle == nullptr) {
        return 1;
    }
    const uint64_t deadline = get_tick_ms() + timeout_ms;
    for (;;) {
        const uint32_t result = tarn::pi::wait_cycle_slice(*handle);
        if (result == 0) {
            return 0;
        }
        if (get_tick_ms() >= deadline) {
            return 1;
        }
        if (result != tarn::pi::kWaitTimedOut) {
            __usleep_window(tarn::pi::kWaitErrorSleepUs); // a wait that fails returns at once
        }
    }
}

uint32_t EcatPIOutputQueuePush(EcatHandle *handle, uint8_t flag, uint32_t timeout_ms) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const uint64_t start = get_tick_ms();
    tarn::pi::exchange_locked(handle->areas[ECAT_PI_NORMAL_OUTPUT]);
    while (!tarn::pi::push_output(*handle, flag)) {
        if (get_tick_ms() - start >= timeout_ms) {
            return PCI_TARN_E_SEND_TIMEOUT;
        }
        __usleep_window(tarn::pi::kQueuePollUs);
    }
    return PCI_TARN_OK;
}
