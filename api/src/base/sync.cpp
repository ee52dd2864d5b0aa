#include "base/os.h"
#include "pci_tarn/base.h"

#include <algorithm>
#include <cstdio>
#include <new>

struct EcatOsSem {
    void *handle;
};

struct EcatOsThread {
    void *handle;
    uint32_t priority;
    void *(*entry)(void *);
    void *arg;
};

namespace {

constexpr uint32_t kRealtimePriority = 99;

// The longest wait that has an end: 32 bits of milliseconds, of which all ones means no limit.
constexpr uint64_t kLongestWaitMs = 0xFFFFFFFE;

// A thread that asks for real-time priority and does not get it ends without a message and without
// its work: required, nothing cyclic may ever run at a lower priority than it was meant for.
void run_thread(void *record) {
    const auto *thread = static_cast<const EcatOsThread *>(record);
    if (thread->priority == kRealtimePriority && !tarn::os::raise_to_realtime()) {
        return;
    }
    thread->entry(thread->arg);
}

} // namespace

EcatOsSem *ecat_os_sem_create(void) {
    void *handle = tarn::os::sem_create();
    if (handle == nullptr) {
        return nullptr;
    }
    auto *semaphore = new (std::nothrow) EcatOsSem{handle};
    if (semaphore == nullptr) {
        tarn::os::sem_destroy(handle);
    }
    return semaphore;
}

int32_t ecat_os_sem_post(EcatOsSem *semaphore) {
    if (semaphore == nullptr) {
        std::perror("sem_post error.");
        return -1;
    }
    return tarn::os::sem_post(semaphore->handle) ? 1 : 0;
}

int32_t ecat_os_sem_time_wait(EcatOsSem *semaphore, uint64_t timeout_ms) {
    if (semaphore == nullptr) {
        return -1;
    }
    const uint64_t limited = std::min(timeout_ms, kLongestWaitMs);
    return static_cast<int32_t>(tarn::os::sem_wait(semaphore->handle, limited));
}

void ecat_os_sem_destroy(EcatOsSem *semaphore) {
    if (semaphore != nullptr) {
        tarn::os::sem_destroy(semaphore->handle);
        delete semaphore;
    }
}

EcatOsThread *ecat_os_thread_create(void *arg, void *(*entry)(void *), uint32_t priority) {
    if (entry == nullptr) {
        return nullptr;
    }
    auto *thread = new (std::nothrow) EcatOsThread{nullptr, priority, entry, arg};
    if (thread == nullptr) {
        return nullptr;
    }
    thread->handle = tarn::os::thread_start(run_thread, thread);
    if (thread->handle == nullptr) {
        delete thread;
        return nullptr;
    }
    return thread;
}

void ecat_os_thread_join(EcatOsThread *thread) {
    if (thread != nullptr) {
        tarn::os::thread_join(thread->handle);
        delete thread;
    }
}

uint32_t driverLock(void *lock) {
    return lock == nullptr ? 0 : tarn::os::named_lock_acquire(lock);
}

uint32_t driverUnlock(void *lock) {
    return lock == nullptr ? 0 : tarn::os::named_lock_release(lock);
}
