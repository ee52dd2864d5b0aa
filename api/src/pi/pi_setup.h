// What the channel handle and the bus start need of the process image.
#pragma once

#include <cstdint>

struct EcatHandle;

namespace tarn::pi {

// Wires the areas of a fresh handle whose channel, board, area and pd_version are set: shared
// memory addresses, buffer objects, locks, views, asynchronous state, direct mode.
void wire(EcatHandle &handle) noexcept;

// Gives back what wire() made (mode thread, semaphore, slot 0 of each area).
void release(EcatHandle &handle) noexcept;

// Whether the calling thread is the handle's data-swap thread, which cannot end itself.
bool on_data_swap_thread(const EcatHandle &handle) noexcept;

// Fills the transfer states of the areas from the PI info record; the record is only read.
void refresh_views(EcatHandle &handle) noexcept;

// The handle's reinit mode when it is non-zero, else the shared one of (board, channel).
uint32_t effective_reinit_mode(const EcatHandle &handle) noexcept;

// Before a start: empties what the reinit mode does not keep, and the card area's local copy.
void reset_for_start(EcatHandle &handle) noexcept;

// After a start: fills the PI info record from the firmware and the ENI file's mapping.
uint32_t fill_info(EcatHandle &handle, const char *eni_path) noexcept;

// After fill_info() and refresh_views(): sends kept outputs again (modes 2 and 3).
uint32_t push_after_start(EcatHandle &handle) noexcept;

// After a failed start: zeroes the record and refreshes the views.
void clear_info(EcatHandle &handle) noexcept;

} // namespace tarn::pi
