// Class EtherCAT and its flat twins: what is the same on every system.
#include "device/driver_port.h"
#include "pci_tarn/driver.h"

#include <iterator>
#include <new>

using namespace tarn;

namespace {

enum SlotState : uint32_t { kNoEvent, kIdle, kOutstanding };

constexpr uint64_t kRejectedVersion = 0x0012000200180066; // 18.2.24.102
constexpr uint32_t kLowestMajorMinor = 0x00010000;        // 1.0

} // namespace

// Opens the class for the flat functions.
struct EtherCATFlat {
    static EtherCAT *open(uint32_t index) noexcept {
        auto *card = new (std::nothrow) EtherCAT;
        if (card == nullptr) {
            return nullptr;
        }
        card->device_ = EtherCAT::Open(index);
        if (card->device_ == driver::kNoDevice) {
            delete card;
            return nullptr;
        }
        return card;
    }
    static uint32_t dma(EtherCAT *card, uint32_t address, void *buffer, uint32_t length,
                        uint32_t timeout_ms, int direction) noexcept {
        return card == nullptr ? 0
                               : card->EtherCATDma(address, buffer, length, timeout_ms, direction);
    }
    static uint32_t transfer(EtherCAT *card, driver::Direction direction, uint32_t first,
                             uint32_t second, void *buffer, uint32_t length) noexcept {
        if (card == nullptr || (buffer == nullptr && length > 0)) {
            return 0;
        }
        return driver::transfer(card->device_, direction, first, second, buffer, length);
    }
};

unsigned int EtherCAT::GetCount() {
    return driver::count();
}

unsigned long long EtherCAT::GetDriverVersion() {
    return driver::version();
}

void *EtherCAT::Open(unsigned long index) {
    return driver::open(static_cast<uint32_t>(index));
}

void *EtherCAT::EtherCATMapBarAddress(unsigned int bar) {
    if (bar >= std::size(bars_)) {
        return nullptr;
    }
    if (bars_[bar] == nullptr) {
        bars_[bar] = driver::map_bar(device_, bar);
    }
    return bars_[bar];
}

void EtherCAT::EtherCATUnmapBarAddress(void *address) {
    for (uint32_t bar = 0; address != nullptr && bar < std::size(bars_); ++bar) {
        if (bars_[bar] == address) {
            bars_[bar] = nullptr;
            driver::unmap_bar(device_, bar, address);
            return;
        }
    }
}

unsigned int EtherCAT::EtherCATDma(unsigned int card_address, void *buffer, unsigned int length,
                                   unsigned int timeout_ms, int direction) {
    if (buffer == nullptr) {
        return 0;
    }
    return driver::dma(device_, direction == 0 ? driver::Direction::Read : driver::Direction::Write,
                       card_address, buffer, length, timeout_ms);
}

unsigned int EtherCAT::EtherCATWaitForInterrupt(unsigned int interrupt, unsigned int timeout_ms) {
    if (interrupt >= std::size(interrupts_)) {
        return driver::kWaitFailed;
    }
    InterruptSlot &slot = interrupts_[interrupt];
    if (slot.state == kNoEvent) {
        if (!driver::create_event(device_, interrupt, slot.overlapped)) {
            return driver::kWaitFailed;
        }
        slot.state = kIdle;
    }
    if (slot.state == kIdle) {
        if (!driver::issue_wait(device_, interrupt, slot.overlapped)) {
            // The closed event stays in the slot: the next call issues again, on the same slot.
            if (slot.event_closed == 0) {
                driver::close_event(device_, interrupt, slot.overlapped);
                slot.event_closed = 1;
            }
            return driver::kWaitFailed;
        }
        slot.state = kOutstanding;
    }
    // After a time-out the request stays outstanding, and the next call goes on waiting for it.
    const uint32_t result = driver::await(device_, interrupt, slot.overlapped, timeout_ms);
    if (result != 0) {
        return result;
    }
    slot.state = kIdle;
    return driver::finish_wait(device_, interrupt, slot.overlapped) ? 0 : driver::kWaitFailed;
}

EtherCAT::~EtherCAT() {
    if (device_ == driver::kNoDevice) {
        return;
    }
    for (void *address : bars_) {
        EtherCATUnmapBarAddress(address);
    }
    for (uint32_t interrupt = 0; interrupt < std::size(interrupts_); ++interrupt) {
        InterruptSlot &slot = interrupts_[interrupt];
        if (slot.state == kOutstanding) {
            driver::cancel_wait(device_, interrupt, slot.overlapped);
        }
        if (slot.state != kNoEvent && slot.event_closed == 0) {
            driver::close_event(device_, interrupt, slot.overlapped);
        }
    }
    driver::close(device_);
}

EtherCAT *EtherCATOpen(uint32_t index) {
    return EtherCATFlat::open(index);
}

void EtherCATClose(EtherCAT *card) {
    delete card;
}

uint32_t EtherCATGetCount(void) {
    return EtherCAT::GetCount();
}

uint64_t EtherCATGetDriverVersion(void) {
    return EtherCAT::GetDriverVersion();
}

bool EtherCATVerifyDriverVersion(void) {
    const uint64_t version = EtherCATGetDriverVersion();
    // Newer by its number, yet required to be refused.
    if (version == kRejectedVersion) {
        return false;
    }
    const auto major_minor = static_cast<uint32_t>(version >> 32);
    const auto build_revision = static_cast<uint32_t>(version);
    return major_minor > kLowestMajorMinor ||
           (major_minor == kLowestMajorMinor && build_revision != 0);
}

void *EtherCATMapBarAddress(EtherCAT *card, uint32_t bar) {
    return card == nullptr ? nullptr : card->EtherCATMapBarAddress(bar);
}

void EtherCATUnmapBarAddress(EtherCAT *card, void *address) {
    if (card != nullptr) {
        card->EtherCATUnmapBarAddress(address);
    }
}

uint32_t EtherCATWaitForInterrupt(EtherCAT *card, uint32_t interrupt, uint32_t timeout_ms) {
    return card == nullptr ? 0 : card->EtherCATWaitForInterrupt(interrupt, timeout_ms);
}

uint32_t EtherCATDmaRead(EtherCAT *card, uint32_t card_address, void *buffer, uint32_t length,
                         uint32_t timeout_ms) {
    return EtherCATFlat::dma(card, card_address, buffer, length, timeout_ms, 0);
}

uint32_t EtherCATDmaWrite(EtherCAT *card, uint32_t card_address, void *buffer, uint32_t length,
                          uint32_t timeout_ms) {
    return EtherCATFlat::dma(card, card_address, buffer, length, timeout_ms, 1);
}

uint32_t EtherCATRead(EtherCAT *card, uint32_t first, uint32_t second, void *buffer,
                      uint32_t length) {
    return EtherCATFlat::transfer(card, driver::Direction::Read, first, second, buffer, length);
}

uint32_t EtherCATWrite(EtherCAT *card, uint32_t first, uint32_t second, void *buffer,
                       uint32_t length) {
    return EtherCATFlat::transfer(card, driver::Direction::Write, first, second, buffer, length);
}
