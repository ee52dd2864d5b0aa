#include "base/os.h"

#include "base/console.h"
#include "base/wait_result.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::os {
namespace {

constexpr uint64_t kNsPerSecond = 1'000'000'000;

std::timespec to_timespec(uint64_t ns) noexcept {
    return {.tv_sec = static_cast<std::time_t>(ns / kNsPerSecond),
            .tv_nsec = static_cast<long>(ns % kNsPerSecond)};
}

// A POSIX semaphore has no maximum, so the binary one is a flag under a mutex.
struct Semaphore {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t raised;
    bool signalled = false;
};

struct Thread {
    pthread_t id;
    void (*entry)(void *);
    void *arg;
};

void *run_thread(void *thread) {
    const auto *self = static_cast<const Thread *>(thread);
    self->entry(self->arg);
    return nullptr;
}

// Allocates the missing blocks as well: a disk that is full shows here, not as a fault later.
bool grow_file(int file, uint32_t size) noexcept {
    struct stat status = {};
    if (fstat(file, &status) != 0) {
        return false;
    }
    if (status.st_size >= static_cast<off_t>(size)) {
        return true;
    }
    int error = EINTR;
    while (error == EINTR) {
        error = posix_fallocate(file, 0, static_cast<off_t>(size));
    }
    errno = error;
    return error == 0;
}

} // namespace

uint64_t monotonic_ns() noexcept {
    std::timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * kNsPerSecond + static_cast<uint64_t>(now.tv_nsec);
}

void sleep_us(uint32_t microseconds) noexcept {
    if (microseconds == 0) {
        return;
    }
    const std::timespec until = to_timespec(monotonic_ns() + uint64_t{microseconds} * 1000);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
}

int64_t utc_seconds() noexcept {
    return std::time(nullptr);
}

std::tm local_time(int64_t utc_seconds) noexcept {
    const std::time_t instant = utc_seconds;
    std::tm broken_down = {};
    localtime_r(&instant, &broken_down);
    return broken_down;
}

void *sem_create() noexcept {
    auto *semaphore = new (std::nothrow) Semaphore;
    if (semaphore == nullptr) {
        return nullptr;
    }
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&semaphore->raised, &attributes);
    pthread_condattr_destroy(&attributes);
    return semaphore;
}

bool sem_post(void *semaphore) noexcept {
    auto *self = static_cast<Semaphore *>(semaphore);
    pthread_mutex_lock(&self->mutex);
    const bool raised = !self->signalled;
    self->signalled = true;
    pthread_cond_signal(&self->raised);
    pthread_mutex_unlock(&self->mutex);
    return raised;
}

uint32_t sem_wait(void *semaphore, uint64_t timeout_ms) noexcept {
    auto *self = static_cast<Semaphore *>(semaphore);
    const std::timespec until = to_timespec(monotonic_ns() + timeout_ms * 1'000'000);
    pthread_mutex_lock(&self->mutex);
    int error = 0;
    while (!self->signalled && error == 0) {
        error = pthread_cond_timedwait(&self->raised, &self->mutex, &until);
    }
    const bool taken = self->signalled;
    self->signalled = false;
    pthread_mutex_unlock(&self->mutex);
    if (taken) {
        return 0;
    }
    return error == ETIMEDOUT ? kWaitTimedOut : static_cast<uint32_t>(error);
}

void sem_destroy(void *semaphore) noexcept {
    auto *self = static_cast<Semaphore *>(semaphore);
    pthread_cond_destroy(&self->raised);
    pthread_mutex_destroy(&self->mutex);
    delete self;
}

void *thread_start(void (*entry)(void *), void *arg) noexcept {
    auto *thread = new (std::nothrow) Thread{.id = {}, .entry = entry, .arg = arg};
    if (thread != nullptr && pthread_create(&thread->id, nullptr, run_thread, thread) != 0) {
        delete thread;
        return nullptr;
    }
    return thread;
}

void thread_join(void *thread) noexcept {
    auto *self = static_cast<Thread *>(thread);
    pthread_join(self->id, nullptr);
    delete self;
}

void before_threads_end(void (*function)()) noexcept {
    std::atexit(function);
}

bool raise_to_realtime() noexcept {
    sched_param parameters = {};
    parameters.sched_priority = sched_get_priority_max(SCHED_FIFO);
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters) == 0;
}

void *map_shared_file(const char *name, uint32_t size) noexcept {
    const int file = open(name, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0) {
        print("CreateFileA failed. %s\r\n", last_error_text().c_str());
        return nullptr;
    }
    if (!grow_file(file, size)) {
        print("CreateFileMapping failed. %s\r\n", last_error_text().c_str());
        close(file);
        return nullptr;
    }
    void *view = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (view == MAP_FAILED) {
        print("MapViewOfFile failed. %s\r\n", last_error_text().c_str());
        view = nullptr;
    }
    close(file); // the view keeps the file
    return view;
}

std::string last_error_text() {
    char text[128] = {};
    return strerror_r(errno, text, sizeof text);
}

void console_red() noexcept {
    if (isatty(STDOUT_FILENO) != 0) {
        std::fputs("\033[91m", stdout);
    }
}

} // namespace tarn::os
