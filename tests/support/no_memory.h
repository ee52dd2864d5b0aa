// The heap as it is when all memory is used up.
#pragma once

#include <memory>

namespace tarn::test {

// While it lives the library gets no piece of 64 KiB or more from malloc and calloc. Not under a
// sanitizer: that brings an allocator of its own.
class NoMemory {
  public:
    NoMemory();
    ~NoMemory();
    NoMemory(const NoMemory &) = delete;
    NoMemory &operator=(const NoMemory &) = delete;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarn::test
