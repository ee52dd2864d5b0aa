// Access modes of the triple buffers, and the data-swap thread of the cycle mode.
#include "base/card_memory.h"
#include "base/console.h"
#include "base/immortal.h"
#include "base/os.h"
#include "base/wait_result.h"
#include "pci_tarn/status.h"
#include "pi/areas.h"
#include "pi/buffer_ops.h"
#include "pi/cycle_wait.h"
#include "pi/pi_setup.h"
#include "pi/wakeup.h"

#include <condition_variable>
#include <mutex>

namespace tarn::pi {

namespace {

using Wakeup = decltype(EcatPIAsyncState::wakeup);

constexpr uint32_t kSwapPriority = 99;
constexpr uint32_t kModeChangePollUs = 1000;
constexpr uint32_t kNoWakeupSleepUs = 1000;

constexpr char kSwapThreadName[] = "__EcatPIDataSwapThread";
constexpr int kSwapThreadStartLine = 3163; // part of the texts
constexpr int kSwapThreadExitLine = 3184;

// The handle whose data-swap thread the calling thread is.
thread_local const EcatHandle *swapped_here = nullptr;

// One thread at a time changes a channel's mode. No named lock: the one that waits for the
// data-swap thread to end must not keep that from its exchange.
class ModeChange {
  public:
    explicit ModeChange(EcatPIAsyncState &state) noexcept : changing_(&state.changing) {
        while (__atomic_exchange_n(changing_, 1U, __ATOMIC_ACQUIRE) != 0) {
            __usleep_window(kModeChangePollUs);
        }
    }
    ~ModeChange() { __atomic_store_n(changing_, 0U, __ATOMIC_RELEASE); }
    ModeChange(const ModeChange &) = delete;
    ModeChange &operator=(const ModeChange &) = delete;

  private:
    uint32_t *changing_;
};

void set_wakeup(EcatPIAsyncState &state, Wakeup wakeup) noexcept {
    __atomic_store_n(&state.wakeup, wakeup, __ATOMIC_RELEASE);
}

void set_ops(EcatHandle &handle, uint32_t index, const PiOps *ops) noexcept {
    const AreaGuard guard(handle, index);
    handle.areas[index].ops = ops;
}

void set_access(EcatHandle &handle, Access access) noexcept {
    set_ops(handle, ECAT_PI_FAST_OUTPUT, master_ops(handle.pd_version, access));
    set_ops(handle, ECAT_PI_SHADOW_INPUT, slave_ops(handle.pd_version, access));
}

// A handle that no thread serves is told of cycles from now on, as one that was just opened.
void enter(EcatHandle &handle, uint32_t mode, Access access, Wakeup wakeup) noexcept {
    if (handle.async.thread == nullptr) {
        begin_cycle_wait(handle);
    }
    set_wakeup(handle.async, wakeup);
    set_access(handle, access);
    card::store32(&handle.async.mode, mode);
}

void swap(EcatHandle &handle) noexcept {
    exchange_locked(handle, ECAT_PI_FAST_OUTPUT);
    EcatCycleCallback callback = nullptr;
    void *argument = nullptr;
    {
        // The callback and its argument are one pair under this lock.
        const AreaGuard guard(handle, ECAT_PI_SHADOW_INPUT);
        exchange_locked(handle, ECAT_PI_SHADOW_INPUT);
        callback = handle.async.callback;
        argument = handle.async.callback_arg;
    }
    ecat_os_sem_post(handle.async.semaphore);
    if (callback != nullptr) {
        callback(argument, &handle);
    }
}

void *run_data_swap(void *arg) {
    EcatHandle &handle = *static_cast<EcatHandle *>(arg);
    swapped_here = &handle;
    print("[%s:%d] thread startup.\r\n", kSwapThreadName, kSwapThreadStartLine);
    while (card::load32(&handle.async.stop) == 0) {
        const uint32_t result = wait_cycle_slice(handle);
        if (result == 0) {
            swap(handle);
        }
        rest_after_failed_wait(result);
    }
    print("[%s:%d] thread exit.\r\n", kSwapThreadName, kSwapThreadExitLine);
    return nullptr;
}

void end_data_swap(EcatPIAsyncState &state) noexcept {
    // Taken out at once: the mode may also be entered without a change of the mode.
    EcatOsThread *const thread = __atomic_exchange_n(&state.thread, nullptr, __ATOMIC_ACQ_REL);
    if (thread != nullptr) {
        card::store32(&state.stop, 1);
        ecat_os_thread_join(thread);
    }
    set_wakeup(state, nullptr);
}

// The handles that have, or had, a data-swap thread. A program that ends without closing them takes
// the cards from under their threads, so these are ended first.
class SwappingHandles {
  public:
    void add(EcatHandle &handle) noexcept {
        std::call_once(end_registered_, [] { os::before_threads_end(end_all); });
        const std::lock_guard lock(mutex_);
        if (find(handle.async) == nullptr) {
            handle.next_swapping = first_;
            first_ = &handle;
        }
    }

    // Waits while the end of the process has the handle: it may be freed afterwards.
    void remove(const EcatPIAsyncState &state) noexcept {
        std::unique_lock lock(mutex_);
        ended_.wait(lock, [&] { return ending_ != &state; });
        if (EcatHandle **const link = find(state); link != nullptr) {
            *link = (*link)->next_swapping;
        }
    }

  private:
    static void end_all() noexcept;

    EcatHandle **find(const EcatPIAsyncState &state) noexcept {
        for (EcatHandle **link = &first_; *link != nullptr; link = &(*link)->next_swapping) {
            if (&(*link)->async == &state) {
                return link;
            }
        }
        return nullptr;
    }

    void end_first(std::unique_lock<std::mutex> &lock) noexcept {
        EcatHandle &handle = *first_;
        first_ = handle.next_swapping;
        if (on_data_swap_thread(handle)) { // a callback may end the process
            return;
        }
        ending_ = &handle.async;
        lock.unlock();
        {
            const ModeChange change(handle.async);
            end_data_swap(handle.async);
        }
        lock.lock();
        ending_ = nullptr;
        ended_.notify_all();
    }

    std::once_flag end_registered_;
    std::mutex mutex_;
    std::condition_variable ended_;
    EcatHandle *first_ = nullptr;
    const EcatPIAsyncState *ending_ = nullptr;
};

SwappingHandles &swapping_handles() noexcept {
    static Immortal<SwappingHandles> handles;
    return handles.get();
}

void SwappingHandles::end_all() noexcept {
    SwappingHandles &handles = swapping_handles();
    std::unique_lock lock(handles.mutex_);
    while (handles.first_ != nullptr) {
        handles.end_first(lock);
    }
}

// A sign from before does not count; of the cycles from before, see enter().
bool start_data_swap(EcatHandle &handle) noexcept {
    if (handle.async.semaphore == nullptr) { // there was no memory for it
        return false;
    }
    card::store32(&handle.async.stop, 0);
    ecat_os_sem_time_wait(handle.async.semaphore, 0);
    handle.async.thread = ecat_os_thread_create(&handle, run_data_swap, kSwapPriority);
    if (handle.async.thread == nullptr) {
        return false;
    }
    swapping_handles().add(handle);
    return true;
}

uint32_t enter_mode(EcatHandle &handle, uint32_t mode) noexcept {
    switch (mode) {
    case ECAT_PI_MODE_DIRECT:
        return __EcatPIASyncDirectAccessModeInit(&handle);
    case ECAT_PI_MODE_CYCLE:
        return __EcatPIASyncCycleAccessModeInit(&handle);
    case ECAT_PI_MODE_MANUAL:
        return __EcatPIASyncManualAccessModeInit(&handle);
    default:
        // Required: the thread and the wake-up are gone by now, and the mode word stays.
        print("mode:%d not support.\r\n", static_cast<int>(mode));
        return PCI_TARN_E_NOT_SUPPORTED;
    }
}

} // namespace

uint32_t wake_up(EcatHandle &handle, uint32_t timeout_ms) noexcept {
    const Wakeup wakeup = __atomic_load_n(&handle.async.wakeup, __ATOMIC_ACQUIRE);
    if (wakeup == nullptr) { // a refused mode left it so
        __usleep_window(kNoWakeupSleepUs);
        return kWaitTimedOut;
    }
    return wakeup(&handle, timeout_ms);
}

bool on_data_swap_thread(const EcatHandle &handle) noexcept {
    return swapped_here == &handle;
}

} // namespace tarn::pi

using namespace tarn;

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
    pi::enter(*handle, ECAT_PI_MODE_DIRECT, pi::Access::Immediate,
              __Ecat_PI_ASync_WakeupByInterrup);
    return PCI_TARN_OK;
}

uint32_t __EcatPIASyncCycleAccessModeInit(EcatHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    pi::enter(*handle, ECAT_PI_MODE_CYCLE, pi::Access::Cycle, __Ecat_PI_ASync_WakeupByCycleSign);
    if (handle->async.thread == nullptr && !pi::start_data_swap(*handle)) {
        __EcatPIASyncDirectAccessModeInit(handle);
        return PCI_TARN_E_THREAD;
    }
    return PCI_TARN_OK;
}

uint32_t __EcatPIASyncManualAccessModeInit(EcatHandle *handle) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    pi::enter(*handle, ECAT_PI_MODE_MANUAL, pi::Access::Cycle, __Ecat_PI_ASync_WakeupByInterrup);
    return PCI_TARN_OK;
}

uint32_t EcatPIASyncModeSet(EcatHandle *handle, uint32_t mode) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (pi::on_data_swap_thread(*handle)) { // it cannot wait for its own end
        const bool same = card::load32(&handle->async.mode) == mode;
        return same ? PCI_TARN_OK : PCI_TARN_E_NOT_SUPPORTED;
    }
    const pi::ModeChange change(handle->async);
    if (card::load32(&handle->async.mode) == mode) {
        return PCI_TARN_OK;
    }
    pi::end_data_swap(handle->async);
    return pi::enter_mode(*handle, mode);
}

uint32_t EcatPIASyncModeGet(EcatHandle *handle, uint32_t *mode) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    if (mode == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    *mode = card::load32(&handle->async.mode);
    return PCI_TARN_OK;
}

uint32_t EcatPIASyncUpdateData(EcatHandle *handle, uint32_t index) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    switch (index) {
    case ECAT_PI_FAST_OUTPUT:
        return pi::publish_fast_output(*handle);
    case ECAT_PI_SHADOW_INPUT:
        return pi::exchange_locked(*handle, ECAT_PI_SHADOW_INPUT);
    default:
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
}

uint32_t EcatPIAsyncModeCycleCallbackHook(EcatHandle *handle, void *arg,
                                          EcatCycleCallback callback) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const pi::AreaGuard guard(*handle, ECAT_PI_SHADOW_INPUT);
    handle->async.callback_arg = arg;
    handle->async.callback = callback;
    return PCI_TARN_OK;
}

uint32_t EcatPIInputWaitNotify(EcatHandle *handle, uint32_t timeout_ms) {
    if (handle == nullptr) {
        return PCI_TARN_E_HANDLE;
    }
    const uint64_t start = get_tick_ms();
    while (get_tick_ms() - start < timeout_ms) {
        if (pi::wake_up(*handle, timeout_ms) == 0) {
            return PCI_TARN_OK;
        }
    }
    return PCI_TARN_E_TIMEOUT;
}

uint32_t __EcatPIASyncModeReset(EcatPIAsyncState *state) {
    if (state == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    if (pi::swapped_here != nullptr && &pi::swapped_here->async == state) {
        return PCI_TARN_E_NOT_SUPPORTED; // it cannot wait for its own end
    }
    pi::swapping_handles().remove(*state);
    const pi::ModeChange change(*state);
    pi::end_data_swap(*state);
    return PCI_TARN_OK;
}

uint32_t __EcatPIASyncModeDestroy(EcatPIAsyncState *state) {
    if (state == nullptr) {
        return PCI_TARN_E_INVALID_ARGUMENT;
    }
    if (const uint32_t status = __EcatPIASyncModeReset(state); status != PCI_TARN_OK) {
        return status;
    }
    ecat_os_sem_destroy(state->semaphore);
    state->semaphore = nullptr;
    return PCI_TARN_OK;
}

uint32_t __EcatPIWaitSignal(EcatHandle *handle) {
    if (handle == nullptr) {
        return 1;
    }
    return pi::wait_cycle_slice(*handle) == 0 ? 0 : 1;
}

uint32_t __Ecat_PI_ASync_WakeupByInterrup(EcatHandle *handle, uint32_t timeout_ms) {
    if (handle == nullptr) {
        return 1;
    }
    const uint64_t deadline = get_tick_ms() + timeout_ms;
    for (;;) {
        const uint32_t result = pi::wait_cycle_slice(*handle);
        if (result == 0) {
            return 0;
        }
        if (get_tick_ms() >= deadline) {
            return 1;
        }
        rest_after_failed_wait(result);
    }
}

uint32_t __Ecat_PI_ASync_WakeupByCycleSign(EcatHandle *handle, uint32_t timeout_ms) {
    if (handle == nullptr) {
        return 1;
    }
    return static_cast<uint32_t>(ecat_os_sem_time_wait(handle->async.semaphore, timeout_ms));
}
