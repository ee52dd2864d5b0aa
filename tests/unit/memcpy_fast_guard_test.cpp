// Large regions that end or begin at a page nobody may touch: one byte too many is a fault.

#include "pci_tarn/pci_tarn.h"
#include "support/guarded_buffer.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using tarn::test::GuardedBuffer;

constexpr size_t kLarge = 0x201000;

void copy_at_the_guards(const GuardedBuffer &to, const GuardedBuffer &from, size_t count) {
    for (uint8_t *target : {to.at_start(), to.at_end(count)}) {
        for (const uint8_t *source : {from.at_start(), from.at_end(count)}) {
            std::memset(target, 0, count);
            memcpy_fast(target, source, count);
            ASSERT_EQ(std::memcmp(target, source, count), 0) << count;
        }
    }
}

TEST(MemcpyFastGuardPages, LargeCopies) {
    const GuardedBuffer to(kLarge);
    const GuardedBuffer from(kLarge);
    for (size_t i = 0; i < kLarge; ++i) {
        from.at_start()[i] = static_cast<uint8_t>((kLarge - i) * 37);
    }
    for (const size_t count : {0x1FFFFFU, 0x200000U, 0x200001U, 0x200FFFU, 0x201000U}) {
        copy_at_the_guards(to, from, count);
    }
}

} // namespace
