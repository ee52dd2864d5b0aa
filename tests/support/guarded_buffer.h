// Memory whose neighbours fault when they are touched.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::test {

// `size` bytes at most kCapacity, with an inaccessible page right behind the last byte (at_end) or
// right before the first one (at_start).
class GuardedBuffer {
  public:
    static constexpr size_t kCapacity = 65536;

    GuardedBuffer();
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer &) = delete;
    GuardedBuffer &operator=(const GuardedBuffer &) = delete;

    uint8_t *at_start() const { return begin_; }
    uint8_t *at_end(size_t size) const { return begin_ + kCapacity - size; }

  private:
    uint8_t *begin_; // kCapacity accessible bytes, a guard page on either side
};

} // namespace tarn::test
