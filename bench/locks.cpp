// The named lock against a raw robust recursive process-shared mutex, and under contention of two
// processes against a spin lock.
#include "bench/goals.h"
#include "pci_tarn/base.h"
#include "pci_tarn/shared.h"

#include <atomic>
#include <new>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarn::bench {

namespace {

void *shared_page() {
    void *page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return page == MAP_FAILED ? nullptr : page;
}

pthread_mutex_t *raw_mutex() {
    auto *mutex = static_cast<pthread_mutex_t *>(shared_page());
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return mutex;
}

struct SpinLock {
    std::atomic<uint32_t> taken{0};
    void lock() {
        while (taken.exchange(1, std::memory_order_acquire) != 0) {
            while (taken.load(std::memory_order_relaxed) != 0) {
                __builtin_ia32_pause();
            }
        }
    }
    void unlock() { taken.store(0, std::memory_order_release); }
};

// A second process takes and releases the same lock all the time.
template <typename Lock, typename Unlock>
void contended(benchmark::State &state, Lock lock, Unlock unlock) {
    auto *stop = new (shared_page()) std::atomic<bool>(false);
    const pid_t child = fork();
    if (child == 0) {
        while (!stop->load()) {
            lock();
            unlock();
        }
        _exit(0);
    }
    for (auto _ : state) {
        lock();
        unlock();
    }
    stop->store(true);
    waitpid(child, nullptr, 0);
    munmap(stop, 4096);
}

} // namespace

void register_locks() {
    static void *named = getMutex_pi(15, 1, 0);
    static pthread_mutex_t *raw = raw_mutex();
    static auto *spin = new (shared_page()) SpinLock;
    compare(
        "named lock", Goal::CostAtMost, 1.15,
        [](benchmark::State &state) {
            for (auto _ : state) {
                driverLock(named);
                driverUnlock(named);
            }
        },
        [](benchmark::State &state) {
            for (auto _ : state) {
                pthread_mutex_lock(raw);
                pthread_mutex_unlock(raw);
            }
        });
    compare(
        "named lock, two processes", Goal::CostAtMost, 3.0,
        [](benchmark::State &state) {
            contended(
                state, [] { driverLock(named); }, [] { driverUnlock(named); });
        },
        [](benchmark::State &state) {
            contended(
                state, [] { spin->lock(); }, [] { spin->unlock(); });
        },
        true);
}

} // namespace tarn::bench
