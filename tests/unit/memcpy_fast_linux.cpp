// Large regions that end or begin at a page nobody may touch: one byte too many is a fault.

#include "pci_tarn/pci_tarn.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sys/mman.h>

namespace {

class GuardedPages {
  public:
    explicit GuardedPages(size_t size)
        : size_((size + kPage - 1) / kPage * kPage),
          base_(static_cast<uint8_t *>(mmap(nullptr, size_ + 2 * kPage, PROT_READ | PROT_WRITE,
                                            MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        mprotect(base_, kPage, PROT_NONE);
        mprotect(base_ + kPage + size_, kPage, PROT_NONE);
    }
    ~GuardedPages() { munmap(base_, size_ + 2 * kPage); }
    GuardedPages(const GuardedPages &) = delete;
    GuardedPages &operator=(const GuardedPages &) = delete;

    uint8_t *begin() const { return base_ + kPage; }
    uint8_t *end() const { return begin() + size_; }

  private:
    static constexpr size_t kPage = 4096;
    size_t size_;
    uint8_t *base_;
};

void copy_at_the_guards(GuardedPages &to, GuardedPages &from, size_t count) {
    uint8_t *targets[] = {to.begin(), to.end() - count};
    uint8_t *sources[] = {from.begin(), from.end() - count};
    for (uint8_t *target : targets) {
        for (const uint8_t *source : sources) {
            std::memset(target, 0, count);
            memcpy_fast(target, source, count);
            ASSERT_EQ(std::memcmp(target, source, count), 0) << count;
        }
    }
}

TEST(MemcpyFastGuardPages, LargeCopies) {
    GuardedPages to(0x201000), from(0x201000);
    for (uint8_t *byte = from.begin(); byte < from.end(); ++byte) {
        *byte = static_cast<uint8_t>((from.end() - byte) * 37);
    }
    for (size_t count : {0x1FFFFFu, 0x200000u, 0x200001u, 0x200FFFu, 0x201000u}) {
        copy_at_the_guards(to, from, count);
    }
}

} // namespace
