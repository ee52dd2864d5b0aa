// The recording in progress, as the two systems' fault handlers see it: pages that may not be
// touched are, which faults; the access is let through by one single step and looked at.
#pragma once

#include "support/access_recorder.h"

#include <cstddef>
#include <cstdint>

namespace tarn::test::recording {

// Of the handlers. False: the fault or step is none of the recording's.
bool on_fault(const void *address, bool is_store, const void *instruction);
bool on_step();

// Of the system.
enum class Allow { Everything, Loads, Nothing };
void protect(void *pages, size_t size, Allow allow);
void install_handlers();
void remove_handlers();

} // namespace tarn::test::recording
