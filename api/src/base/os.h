// The operating system, as the rest of the library sees it: one list of functions, defined once
// per system in os_linux.cpp with os_locks_linux.cpp, and in os_win32.cpp. Nothing here throws.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace tarn::os {

// Monotonic time in nanoseconds since an unspecified start.
uint64_t monotonic_ns() noexcept;

// Sleeps the calling thread at least this long; 0 returns at once.
void sleep_us(uint32_t microseconds) noexcept;

// Seconds since 1970, UTC.
int64_t utc_seconds() noexcept;

// Broken-down local time of an instant.
std::tm local_time(int64_t utc_seconds) noexcept;

// Lock that all processes of this user share under `name`; recursive per thread, and handed on
// when its owner dies. Null when it cannot be made. Never closed.
void *named_lock_open(const char *name) noexcept;
// Both always return 0, so that the exports can hand on to them without a frame of their own.
uint32_t named_lock_acquire(void *lock) noexcept; // waits without limit
uint32_t named_lock_release(void *lock) noexcept;
// As named_lock_acquire; true when the owner before died with the lock held.
bool named_lock_take_over(void *lock) noexcept;

// Binary semaphore. `sem_wait` returns 0 when signalled, 258 on time-out, any other value when
// the system failed.
void *sem_create() noexcept;
bool sem_post(void *semaphore) noexcept; // false when the count was already 1
uint32_t sem_wait(void *semaphore, uint64_t timeout_ms) noexcept;
void sem_destroy(void *semaphore) noexcept;

// Thread that runs entry(arg). Null when it cannot be started; thread_join also frees it.
void *thread_start(void (*entry)(void *), void *arg) noexcept;
void thread_join(void *thread) noexcept;

// Has `function` called when the process ends, or the library is unloaded, while the threads that
// it started still run. Where the system has ended them by then it is not called.
void before_threads_end(void (*function)()) noexcept;

// Raises the process and the calling thread to the system's real-time priority.
bool raise_to_realtime() noexcept;

// Maps `size` bytes of the file `name` in the current directory, shared by all processes that map
// it; the file is made and grown as needed. Prints what failed. Null on failure.
void *map_shared_file(const char *name, uint32_t size) noexcept;

// Text of the system's last error of the calling thread.
std::string last_error_text();

// Sets the text colour of standard output to the console attribute 12, bright red, where standard
// output is a terminal that knows colours.
void console_red() noexcept;

} // namespace tarn::os
