// The five process image areas of a handle.
#pragma once

#include "base/os.h"
#include "handle/ecat_handle.h"
#include "pi/buffer_ops.h"

#include <cstdint>

namespace tarn::pi {

inline constexpr uint32_t kAreaCount = 5;

// Direction whose tables describe the area.
inline constexpr uint32_t kAreaDirection[kAreaCount] = {
    ECAT_PI_DIRECTION_OUTPUT, ECAT_PI_DIRECTION_INPUT, ECAT_PI_DIRECTION_OUTPUT,
    ECAT_PI_DIRECTION_OUTPUT, ECAT_PI_DIRECTION_INPUT};

// Words that all processes share about (board, channel); null when there is no shared memory.
ChannelControl *channel_control(const EcatHandle &handle) noexcept;

// Holds the lock of a channel's areas for a scope; a null lock means that there is none.
class AreaLock {
  public:
    explicit AreaLock(const PiArea &area) noexcept
        : lock_(area.lock), taken_over_(lock_ != nullptr && os::named_lock_take_over(lock_)) {}
    ~AreaLock() {
        if (lock_ != nullptr) {
            os::named_lock_release(lock_);
        }
    }
    AreaLock(const AreaLock &) = delete;
    AreaLock &operator=(const AreaLock &) = delete;

    // Makes whole what its dead owner left half done of the shadow inputs.
    void mend(EcatHandle &handle) const noexcept {
        if (taken_over_) [[unlikely]] {
            mend_shadow_input(handle.shadow_input_object, handle.pd_version,
                              handle.areas[ECAT_PI_SHADOW_INPUT].state);
        }
    }

  private:
    void *lock_;
    bool taken_over_; // its owner died with it
};

// Within it nobody sees shadow inputs that a process left half done. One that is killed while it
// mends still has the lock, so that the next one mends.
class AreaGuard : public AreaLock {
  public:
    AreaGuard(EcatHandle &handle, uint32_t index) noexcept : AreaLock(handle.areas[index]) {
        mend(handle);
    }
};

// Runs an area's exchange under its lock.
inline uint32_t exchange_locked(EcatHandle &handle, uint32_t index) noexcept {
    const AreaGuard guard(handle, index);
    PiArea &area = handle.areas[index];
    return area.ops->exchange(area.object, &area.state);
}

// Zeroes the PI info record, of which the data-swap thread looks at the dirty word.
void zero_info(EcatHandle &handle) noexcept;

// Marks the fast outputs and publishes them.
uint32_t publish_fast_output(EcatHandle &handle) noexcept;

} // namespace tarn::pi
