#include "support/this_process.h"

#include "support/wine_win32.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <vector>
#include <windows.h>

#include <psapi.h>
#include <winternl.h>

namespace tarn::test {
namespace {

constexpr ULONG kHandlesOfAllProcesses = 64;
constexpr NTSTATUS kTooSmall = static_cast<NTSTATUS>(0xC0000004);

struct HandleEntry {
    void *object;
    uintptr_t process;
    uintptr_t handle;
    ULONG access;
    USHORT trace;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
};

struct HandleTable {
    uintptr_t count;
    uintptr_t reserved;
    HandleEntry entries[1];
};

// By name: the header's version does not know the table.
NTSTATUS query_system(ULONG what, void *buffer, size_t size) {
    const FARPROC found = GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQuerySystemInformation");
    NTSTATUS(NTAPI * function)(ULONG, void *, ULONG, ULONG *) = nullptr;
    static_assert(sizeof(function) == sizeof(found));
    std::memcpy(&function, &found, sizeof(function));
    return function(what, buffer, static_cast<ULONG>(size), nullptr);
}

} // namespace

// The system's count per process is not there under Wine, its table of all handles is.
size_t open_handles() {
    std::vector<uintptr_t> memory(8192);
    NTSTATUS status = kTooSmall;
    while (status == kTooSmall) {
        memory.resize(memory.size() * 2);
        status =
            query_system(kHandlesOfAllProcesses, memory.data(), memory.size() * sizeof(memory[0]));
    }
    if (status < 0) {
        throw std::runtime_error("the open handles cannot be counted");
    }
    const auto *table = reinterpret_cast<const HandleTable *>(memory.data());
    return static_cast<size_t>(
        std::count_if(table->entries, table->entries + table->count, [](const HandleEntry &entry) {
            return entry.process == GetCurrentProcessId();
        }));
}

bool has_open(const std::filesystem::path &file) {
    HANDLE alone = CreateFileW(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (alone != INVALID_HANDLE_VALUE) {
        CloseHandle(alone);
        return false;
    }
    return GetLastError() == ERROR_SHARING_VIOLATION;
}

size_t resident_bytes() {
    PROCESS_MEMORY_COUNTERS counters = {};
    if (K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) == FALSE) {
        throw std::runtime_error("the memory of the process cannot be counted");
    }
    return counters.WorkingSetSize;
}

bool is_mapped(const void *address) {
    MEMORY_BASIC_INFORMATION region = {};
    return VirtualQuery(address, &region, sizeof(region)) != 0 && region.State == MEM_COMMIT &&
           region.Protect != PAGE_NOACCESS;
}

bool system_calls_are_slow() {
    return under_wine();
}

void set_time_zone(const char *zone) {
    _putenv_s("TZ", zone);
    _tzset();
}

} // namespace tarn::test
