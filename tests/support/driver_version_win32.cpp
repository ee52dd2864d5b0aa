#include "support/driver_version_win32.h"

#include "support/driver_version/import_patch.h"
#include "support/process.h"
#include "support/remote_thread_win32.h"
#include "support/wine_win32.h"

#include <stdexcept>
#include <string>

namespace tarn::test {

namespace {

[[noreturn]] void fail(const char *what) {
    throw std::runtime_error(std::string(what) + " failed: error " +
                             std::to_string(GetLastError()));
}

} // namespace

void present_driver_version(uint64_t version) {
    if (under_wine()) {
        patch_driver_version(version);
    }
}

// A thread of the process loads the DLL before the program's own first thread has run.
void inject_driver_version(HANDLE process) {
    const std::string path = (own_path().parent_path() / "tarn-test-driver-version.dll").string();
    void *const text =
        VirtualAllocEx(process, nullptr, path.size() + 1, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (text == nullptr ||
        WriteProcessMemory(process, text, path.c_str(), path.size() + 1, nullptr) == FALSE) {
        fail("writing to the new process");
    }
    if (!call_in_process(process, "kernel32.dll", "LoadLibraryA", text)) {
        fail("starting a thread in the new process");
    }
    VirtualFreeEx(process, text, 0, MEM_RELEASE);
}

} // namespace tarn::test
