#include "support/guarded_buffer.h"

#include <new>
#include <windows.h>

namespace tarn::test {

namespace {
constexpr size_t kGuard = 65536; // the allocation granularity
} // namespace

GuardedBuffer::GuardedBuffer(size_t capacity) : capacity_(capacity) {
    void *whole = VirtualAlloc(nullptr, capacity_ + 2 * kGuard, MEM_RESERVE, PAGE_NOACCESS);
    if (whole == nullptr) {
        throw std::bad_alloc();
    }
    begin_ = static_cast<uint8_t *>(whole) + kGuard;
    if (VirtualAlloc(begin_, capacity_, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        throw std::bad_alloc();
    }
}

GuardedBuffer::~GuardedBuffer() {
    VirtualFree(begin_ - kGuard, 0, MEM_RELEASE);
}

} // namespace tarn::test
