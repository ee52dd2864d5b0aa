// The only way to touch card memory word by word. A load acquires and a store releases, so that
// the order in the source is the order on the bus and thread sanitizers see it. The width is the
// name's: the compiler may neither split nor merge these accesses.
#pragma once

#include <cstdint>

namespace tarn::card {

template <typename T>
T load(const volatile void *address) noexcept {
    return __atomic_load_n(static_cast<const volatile T *>(address), __ATOMIC_ACQUIRE);
}

template <typename T>
void store(volatile void *address, T value) noexcept {
    __atomic_store_n(static_cast<volatile T *>(address), value, __ATOMIC_RELEASE);
}

inline uint16_t load16(const volatile void *address) noexcept {
    return load<uint16_t>(address);
}
inline uint32_t load32(const volatile void *address) noexcept {
    return load<uint32_t>(address);
}
inline uint64_t load64(const volatile void *address) noexcept {
    return load<uint64_t>(address);
}
inline void store8(volatile void *address, uint8_t value) noexcept {
    store(address, value);
}
inline void store16(volatile void *address, uint16_t value) noexcept {
    store(address, value);
}
inline void store32(volatile void *address, uint32_t value) noexcept {
    store(address, value);
}
inline void store64(volatile void *address, uint64_t value) noexcept {
    store(address, value);
}

// Plain read, add one, write back; what the card's counters get from the host.
inline void increment32(volatile void *address) noexcept {
    store32(address, load32(address) + 1);
}

} // namespace tarn::card
