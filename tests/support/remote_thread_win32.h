// A call of a system function in another process.
#pragma once

#include <windows.h>

namespace tarn::test {

// Calls a function of a system DLL, which lies at the same address in every process, on a thread of
// the process. Comes back at its end; false when the thread cannot be started.
bool call_in_process(HANDLE process, const char *dll, const char *function, void *argument);

} // namespace tarn::test
