#include "support/remote_thread_win32.h"

#include <cstring>

namespace tarn::test {

bool call_in_process(HANDLE process, const char *dll, const char *function, void *argument) {
    const FARPROC found = GetProcAddress(GetModuleHandleA(dll), function);
    LPTHREAD_START_ROUTINE entry = nullptr;
    static_assert(sizeof(entry) == sizeof(found));
    std::memcpy(&entry, &found, sizeof(entry));
    const HANDLE thread = entry != nullptr
                              ? CreateRemoteThread(process, nullptr, 0, entry, argument, 0, nullptr)
                              : nullptr;
    if (thread == nullptr) {
        return false;
    }
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return true;
}

} // namespace tarn::test
