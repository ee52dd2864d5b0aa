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
