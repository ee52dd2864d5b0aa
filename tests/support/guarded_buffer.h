// Memory whose neighbours fault when they are touched.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::test {

// `size` bytes at most the capacity, with an inaccessible page right behind the last byte (at_end)
// or right before the first one (at_start).
class GuardedBuffer {
  public:
    static constexpr size_t kCapacity = 65536;

    // A multiple of 4,096 bytes.
    explicit GuardedBuffer(size_t capacity = kCapacity);
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer &) = delete;
    GuardedBuffer &operator=(const GuardedBuffer &) = delete;

    uint8_t *at_start() const { return begin_; }
    uint8_t *at_end(size_t size) const { return begin_ + capacity_ - size; }

  private:
    size_t capacity_;
    uint8_t *begin_; // accessible bytes, a guard page on either side
};

} // namespace tarn::test
