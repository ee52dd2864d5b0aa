#include "support/access_recording.h"

#include <windows.h>

namespace tarn::test {
namespace {

constexpr DWORD kTrapFlag = 0x100;
constexpr ULONG_PTR kWriteFault = 1;

void *handler = nullptr;

LONG on_fault_exception(const EXCEPTION_RECORD &fault, CONTEXT &context) {
    if (!recording::on_fault(reinterpret_cast<const void *>(fault.ExceptionInformation[1]),
                             fault.ExceptionInformation[0] == kWriteFault,
                             reinterpret_cast<const void *>(context.Rip))) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    context.EFlags |= kTrapFlag;
    return EXCEPTION_CONTINUE_EXECUTION;
}

LONG on_step_exception(CONTEXT &context) {
    if (!recording::on_step()) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    context.EFlags &= ~kTrapFlag;
    return EXCEPTION_CONTINUE_EXECUTION;
}

LONG CALLBACK on_exception(EXCEPTION_POINTERS *what) {
    switch (what->ExceptionRecord->ExceptionCode) {
    case EXCEPTION_ACCESS_VIOLATION:
        return on_fault_exception(*what->ExceptionRecord, *what->ContextRecord);
    case EXCEPTION_SINGLE_STEP:
        return on_step_exception(*what->ContextRecord);
    default:
        return EXCEPTION_CONTINUE_SEARCH;
    }
}

} // namespace

void recording::protect(void *pages, size_t size, Allow allow) {
    const DWORD rights = allow == Allow::Nothing ? PAGE_NOACCESS
                         : allow == Allow::Loads ? PAGE_READONLY
                                                 : PAGE_READWRITE;
    DWORD former = 0;
    VirtualProtect(pages, size, rights, &former);
}

void recording::install_handlers() {
    handler = AddVectoredExceptionHandler(1, on_exception);
}

void recording::remove_handlers() {
    RemoveVectoredExceptionHandler(handler);
}

} // namespace tarn::test
