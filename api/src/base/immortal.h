// An object that is made at its first use and never destroyed: threads may still use it while the
// process ends. It takes no memory that could be missing.
#pragma once

#include <new>

namespace tarn {

template <typename T>
class Immortal {
  public:
    Immortal() noexcept { new (storage_) T; }
    T &get() noexcept { return *std::launder(reinterpret_cast<T *>(storage_)); }

  private:
    alignas(T) unsigned char storage_[sizeof(T)];
};

} // namespace tarn
