// Blocks of the heap that free themselves.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace tarn {

struct Free {
    void operator()(void *block) const noexcept { std::free(block); }
};

using HeapBytes = std::unique_ptr<uint8_t[], Free>;

// Zeroed bytes; null only when memory is short, also for none.
inline HeapBytes zeroed_bytes(uint32_t size) noexcept {
    return HeapBytes(static_cast<uint8_t *>(std::calloc(size > 0 ? size : 1, 1)));
}

} // namespace tarn
