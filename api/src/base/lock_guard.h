#pragma once

#include "pci_tarn/base.h"

namespace tarn {

// Holds a named lock for a scope. A null handle means that there is no lock.
class NamedLockGuard {
  public:
    explicit NamedLockGuard(void *lock) noexcept : lock_(lock) {
        if (lock_ != nullptr) {
            driverLock(lock_);
        }
    }
    ~NamedLockGuard() {
        if (lock_ != nullptr) {
            driverUnlock(lock_);
        }
    }
    NamedLockGuard(const NamedLockGuard &) = delete;
    NamedLockGuard &operator=(const NamedLockGuard &) = delete;

  private:
    void *lock_;
};

} // namespace tarn
