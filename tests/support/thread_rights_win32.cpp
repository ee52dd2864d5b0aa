#include "support/imports_win32.h"
#include "support/thread_rights.h"

namespace tarn::test {
namespace {

constexpr char kLibrary[] = "pci_tarn.dll";

BOOL WINAPI grant_class(HANDLE, DWORD) {
    return TRUE;
}

BOOL WINAPI refuse_class(HANDLE, DWORD) {
    return FALSE;
}

BOOL WINAPI grant_priority(HANDLE, int) {
    return TRUE;
}

HANDLE WINAPI refuse_thread(LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE, LPVOID, DWORD,
                            LPDWORD) {
    return nullptr;
}

} // namespace

struct RealtimeAnswer::State {
    explicit State(bool granted)
        : process_class(kLibrary, "SetPriorityClass",
                        as_import(granted ? grant_class : refuse_class)),
          thread_priority(kLibrary, "SetThreadPriority", as_import(grant_priority)) {}

    ReplacedImport process_class;
    ReplacedImport thread_priority;
};

RealtimeAnswer::RealtimeAnswer(bool granted) : state_(std::make_unique<State>(granted)) {}

RealtimeAnswer::~RealtimeAnswer() = default;

struct NoThreads::State {
    ReplacedImport create{kLibrary, "CreateThread", as_import(refuse_thread)};
};

NoThreads::NoThreads() : state_(std::make_unique<State>()) {}

NoThreads::~NoThreads() = default;

} // namespace tarn::test
