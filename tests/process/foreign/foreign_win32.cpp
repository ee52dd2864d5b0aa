// test-foreign.exe: a program that knows the named mutexes by their names only. It does not load
// the library.
//   test-foreign take NAME          takes a mutex and gives it back; see the statuses below
//   test-foreign hold NAME FILE     takes a mutex, makes the file, and waits to be killed
#include "foreign.h"

#include <cstdio>
#include <cstring>
#include <windows.h>

namespace {

int take(const char *name, HANDLE *mutex) {
    constexpr DWORD kPatienceMs = 200;
    *mutex = OpenMutexA(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, name);
    if (*mutex == nullptr) {
        return tarn::test::kNoMutex;
    }
    switch (WaitForSingleObject(*mutex, kPatienceMs)) {
    case WAIT_OBJECT_0:
        return tarn::test::kTaken;
    case WAIT_ABANDONED:
        return tarn::test::kAbandoned;
    default:
        return tarn::test::kHeldByOthers;
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 3 || GetModuleHandleA("pci_tarn.dll") != nullptr) {
        return tarn::test::kWrongUse;
    }
    HANDLE mutex = nullptr;
    const int result = take(argv[2], &mutex);
    if (result == tarn::test::kTaken && std::strcmp(argv[1], "hold") == 0 && argc == 4) {
        std::FILE *const file = std::fopen(argv[3], "w");
        if (file == nullptr) {
            return tarn::test::kWrongUse;
        }
        std::fclose(file);
        Sleep(INFINITE);
    }
    if (result == tarn::test::kTaken || result == tarn::test::kAbandoned) {
        ReleaseMutex(mutex);
    }
    return result;
}
