// The kernel driver's operations on one card, the only way from the library to a card. Defined once
// per system, in ethercat_linux.cpp and ethercat_win32.cpp. Nothing here prints or throws.
#pragma once

#include <cstdint>

namespace tarn::driver {

inline constexpr uint32_t kWaitFailed = 0xFFFFFFFF;

// Value of a device that could not be opened, on every system.
inline void *const kNoDevice = reinterpret_cast<void *>(intptr_t{-1});

// Number of cards that are present.
uint32_t count() noexcept;

// Version of the first card's driver, four 16-bit fields, most significant first; 0 when unknown.
uint64_t version() noexcept;

// Opens a card; kNoDevice on failure. `close` ends requests that are still outstanding.
void *open(uint32_t index) noexcept;
void close(void *device) noexcept;

// Address of a BAR in this process, null on failure.
void *map_bar(void *device, uint32_t bar) noexcept;
void unmap_bar(void *device, uint32_t bar, void *address) noexcept;

enum class Direction { Read, Write };

// Moves data between a buffer and a card address within the time-out. Returns the bytes moved, 0 on
// any failure.
uint32_t dma(void *device, Direction direction, uint32_t card_address, void *buffer,
             uint32_t length, uint32_t timeout_ms) noexcept;

// Moves data between a buffer and what the two selectors name. The same result.
uint32_t transfer(void *device, Direction direction, uint32_t first, uint32_t second, void *buffer,
                  uint32_t length) noexcept;

// One interrupt's place to wait at; `request` is the system's own record of 32 bytes, zero at
// first. An event is created once, then a wait is issued, waited for (any number of times while the
// result is a time-out) and finished.
bool create_event(void *device, uint32_t interrupt, void *request) noexcept;
void close_event(void *device, uint32_t interrupt, void *request) noexcept;
bool issue_wait(void *device, uint32_t interrupt, void *request) noexcept;
uint32_t await(void *device, uint32_t interrupt, void *request, uint32_t timeout_ms) noexcept;
bool finish_wait(void *device, uint32_t interrupt, void *request) noexcept;
void cancel_wait(void *device, uint32_t interrupt, void *request) noexcept;

} // namespace tarn::driver
