// The kernel's interface, for C++.
#pragma once

// Two functions are defined by the compiler's header and again by the kernel's; the second ones get
// names that nobody uses.
#include <intrin.h>
#define InterlockedBitTestAndSet KernelInterlockedBitTestAndSet
#define InterlockedBitTestAndReset KernelInterlockedBitTestAndReset
extern "C" {
#include <ntddk.h>
}
#undef InterlockedBitTestAndSet
#undef InterlockedBitTestAndReset

// Address of a request's data in the kernel, as data and not as code; null when there is no room.
// The compiler's header knows no such flag, so it takes the function for another one.
inline void *map_data(MDL *mdl) {
    constexpr ULONG kNotExecutable = 0x40000000;
    using Map = void *(NTAPI *)(MDL *, KPROCESSOR_MODE, MEMORY_CACHING_TYPE, void *, ULONG, ULONG);
    if ((mdl->MdlFlags & (MDL_MAPPED_TO_SYSTEM_VA | MDL_SOURCE_IS_NONPAGED_POOL)) != 0) {
        return mdl->MappedSystemVa;
    }
    return reinterpret_cast<Map>(&MmMapLockedPagesSpecifyCache)(
        mdl, KernelMode, MmCached, nullptr, FALSE, NormalPagePriority | kNotExecutable);
}
