#include "base/os.h"

#include "base/console.h"

#include <new>
#include <windows.h>

namespace tarn::os {
namespace {

#ifndef CREATE_WAITABLE_TIMER_HIGH_RESOLUTION
constexpr DWORD CREATE_WAITABLE_TIMER_HIGH_RESOLUTION = 0x2;
#endif

struct ThreadStart {
    void (*entry)(void *);
    void *arg;
};

DWORD WINAPI run_thread(void *arg) {
    auto *start = static_cast<ThreadStart *>(arg);
    const ThreadStart call = *start;
    delete start;
    call.entry(call.arg);
    return 0;
}

uint64_t counter_frequency() noexcept {
    LARGE_INTEGER frequency = {};
    QueryPerformanceFrequency(&frequency);
    return static_cast<uint64_t>(frequency.QuadPart);
}

// High resolution where the system knows it, from Windows 10 1803 on.
HANDLE create_timer() noexcept {
    HANDLE timer = CreateWaitableTimerExW(nullptr, nullptr, CREATE_WAITABLE_TIMER_HIGH_RESOLUTION,
                                          TIMER_ALL_ACCESS);
    return timer != nullptr ? timer : CreateWaitableTimerExW(nullptr, nullptr, 0, TIMER_ALL_ACCESS);
}

void sleep_once(HANDLE timer, uint64_t ns) noexcept {
    LARGE_INTEGER due = {};
    due.QuadPart = -static_cast<LONGLONG>((ns + 99) / 100); // relative, in 100 ns
    if (timer != nullptr && SetWaitableTimer(timer, &due, 0, nullptr, nullptr, FALSE) != 0) {
        WaitForSingleObject(timer, INFINITE);
    } else {
        Sleep(static_cast<DWORD>((ns + 999'999) / 1'000'000));
    }
}

} // namespace

uint64_t monotonic_ns() noexcept {
    static const uint64_t frequency = counter_frequency();
    LARGE_INTEGER now = {};
    QueryPerformanceCounter(&now);
    const auto count = static_cast<uint64_t>(now.QuadPart);
    // Split, so that the product does not overflow.
    return count / frequency * 1'000'000'000 + count % frequency * 1'000'000'000 / frequency;
}

void sleep_us(uint32_t microseconds) noexcept {
    if (microseconds == 0) {
        return;
    }
    const uint64_t until = monotonic_ns() + uint64_t{microseconds} * 1000;
    HANDLE timer = create_timer();
    // A timer may fire a tick early: sleep on until the time asked for has really gone.
    for (uint64_t now = monotonic_ns(); now < until; now = monotonic_ns()) {
        sleep_once(timer, until - now);
    }
    if (timer != nullptr) {
        CloseHandle(timer);
    }
}

int64_t utc_seconds() noexcept {
    return std::time(nullptr);
}

std::tm local_time(int64_t utc_seconds) noexcept {
    const std::time_t instant = utc_seconds;
    std::tm broken_down = {};
    localtime_s(&broken_down, &instant);
    return broken_down;
}

void *named_lock_open(const char *name) noexcept {
    return CreateMutexA(nullptr, FALSE, name);
}

// An abandoned mutex is acquired like any other.
uint32_t named_lock_acquire(void *lock) noexcept {
    WaitForSingleObject(lock, INFINITE);
    return 0;
}

bool named_lock_take_over(void *lock) noexcept {
    return WaitForSingleObject(lock, INFINITE) == WAIT_ABANDONED;
}

uint32_t named_lock_release(void *lock) noexcept {
    ReleaseMutex(lock);
    return 0;
}

void *sem_create() noexcept {
    return CreateSemaphoreA(nullptr, 0, 1, nullptr);
}

bool sem_post(void *semaphore) noexcept {
    return ReleaseSemaphore(semaphore, 1, nullptr) != 0;
}

uint32_t sem_wait(void *semaphore, uint64_t timeout_ms) noexcept {
    return WaitForSingleObject(semaphore, static_cast<DWORD>(timeout_ms));
}

void sem_destroy(void *semaphore) noexcept {
    CloseHandle(semaphore);
}

void *thread_start(void (*entry)(void *), void *arg) noexcept {
    auto *start = new (std::nothrow) ThreadStart{.entry = entry, .arg = arg};
    if (start == nullptr) {
        return nullptr;
    }
    HANDLE thread = CreateThread(nullptr, 0, run_thread, start, 0, nullptr);
    if (thread == nullptr) {
        delete start;
    }
    return thread;
}

// The handle stays open: required, so that a program that has taken it can still ask it.
void thread_join(void *thread) noexcept {
    WaitForSingleObject(thread, INFINITE);
}

// All other threads are gone before a DLL is told of the end; and while one is unloaded no thread
// can end, so that nobody may wait for it.
void before_threads_end(void (*)()) noexcept {}

bool raise_to_realtime() noexcept {
    return SetPriorityClass(GetCurrentProcess(), REALTIME_PRIORITY_CLASS) != 0 &&
           SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL) != 0;
}

// File and mapping stay open for the life of the process.
void *map_shared_file(const char *name, uint32_t size) noexcept {
    HANDLE file =
        CreateFileA(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        print("CreateFileA failed. %s\r\n", last_error_text().c_str());
        return nullptr;
    }
    HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READWRITE, 0, size, nullptr);
    if (mapping == nullptr) {
        print("CreateFileMapping failed. %s\r\n", last_error_text().c_str());
        CloseHandle(file);
        return nullptr;
    }
    void *view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, size);
    // Required: only an address of all ones gets the message; null is passed on without one.
    if (view == INVALID_HANDLE_VALUE) {
        print("MapViewOfFile failed. %s\r\n", last_error_text().c_str());
    }
    return view;
}

std::string last_error_text() {
    char text[512] = {};
    DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, GetLastError(), 0, text, sizeof text, nullptr);
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r')) {
        --length; // the messages bring their own line end
    }
    return {text, length};
}

void console_red() noexcept {
    SetConsoleTextAttribute(GetStdHandle(STD_OUTPUT_HANDLE), FOREGROUND_RED | FOREGROUND_INTENSITY);
}

} // namespace tarn::os
