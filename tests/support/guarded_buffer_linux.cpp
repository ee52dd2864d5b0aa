#include "support/guarded_buffer.h"

#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace tarn::test {

namespace {
size_t page_size() {
    return static_cast<size_t>(sysconf(_SC_PAGESIZE));
}
} // namespace

GuardedBuffer::GuardedBuffer(size_t capacity) : capacity_(capacity) {
    const size_t page = page_size();
    void *whole =
        mmap(nullptr, capacity_ + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (whole == MAP_FAILED) {
        throw std::bad_alloc();
    }
    begin_ = static_cast<uint8_t *>(whole) + page;
    if (mprotect(begin_, capacity_, PROT_READ | PROT_WRITE) != 0) {
        throw std::bad_alloc();
    }
}

GuardedBuffer::~GuardedBuffer() {
    munmap(begin_ - page_size(), capacity_ + 2 * page_size());
}

} // namespace tarn::test
