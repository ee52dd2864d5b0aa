#include "pi/cycle_wait.h"

#include "base/immortal.h"
#include "base/wait_result.h"
#include "pci_tarn/driver.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace tarn::pi {

namespace {

constexpr uint32_t kSliceMs = 2;

struct CycleGate {
    std::mutex mutex;
    std::condition_variable changed;
    bool waiting = false; // a thread is in the driver
    uint32_t cycles = 0;
};

// Never destroyed: a thread may still wait while the process ends.
CycleGate &gate_of(const EcatHandle &handle) noexcept {
    static Immortal<std::array<CycleGate, PCI_TARN_MAX_BOARDS * PCI_TARN_MAX_CHANNELS>> gates;
    return gates.get()[channel_slot(handle.board->index, handle.channel)];
}

bool take_cycle(EcatHandle &handle, const CycleGate &gate) noexcept {
    if (handle.cycles_seen == gate.cycles) {
        return false;
    }
    handle.cycles_seen = gate.cycles;
    return true;
}

} // namespace

void begin_cycle_wait(EcatHandle &handle) noexcept {
    CycleGate &gate = gate_of(handle);
    const std::lock_guard lock(gate.mutex);
    handle.cycles_seen = gate.cycles;
}

uint32_t wait_cycle_slice(EcatHandle &handle) noexcept {
    CycleGate &gate = gate_of(handle);
    std::unique_lock lock(gate.mutex);
    if (gate.waiting) {
        gate.changed.wait_for(lock, std::chrono::milliseconds(kSliceMs),
                              [&] { return !gate.waiting || handle.cycles_seen != gate.cycles; });
        return take_cycle(handle, gate) ? 0 : kWaitTimedOut;
    }
    if (take_cycle(handle, gate)) {
        return 0;
    }
    gate.waiting = true;
    lock.unlock();
    const uint32_t result =
        waitInterrupt(handle.board, static_cast<uint8_t>(handle.pi_interrupt), kSliceMs);
    lock.lock();
    gate.waiting = false;
    if (result == 0) {
        ++gate.cycles;
        take_cycle(handle, gate);
    }
    lock.unlock();
    gate.changed.notify_all();
    return result;
}

} // namespace tarn::pi
