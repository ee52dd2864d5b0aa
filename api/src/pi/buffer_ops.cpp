// What all process image areas have in common, and the normal output and input areas.
#include "pi/buffer_ops.h"

#include "layout/shared_memory_map.h"
#include "pci_tarn/base.h"
#include "pci_tarn/status.h"
#include "pi/bitmemcpy.h"
#include "pi/image_convert.h"

#include <cstring>

namespace tarn::pi {

uint32_t no_setup(void *, PiTransfer *) noexcept {
    return PCI_TARN_OK;
}

uint32_t refuse_write(void *, uint32_t, uint32_t, const void *, const uint8_t *,
                      PiTransfer *) noexcept {
    return PCI_TARN_E_DRIVER_NOT_SUPPORTED;
}

uint32_t refuse_clear(void *, uint32_t, uint32_t, PiTransfer *) noexcept {
    return PCI_TARN_E_DRIVER_NOT_SUPPORTED;
}

uint32_t refuse_exchange(void *, PiTransfer *) noexcept {
    return PCI_TARN_E_DRIVER_NOT_SUPPORTED;
}

void image_read(const uint8_t *image, uint32_t offset, uint32_t count, void *destination) noexcept {
    const uint32_t bytes = bounded_count(offset, count, kImageSize);
    if (bytes != 0) {
        memcpy_fast(destination, image + offset, bytes);
    }
}

void image_write(uint8_t *image, uint32_t offset, uint32_t count, const void *source,
                 const uint8_t *mask) noexcept {
    const uint32_t bytes = bounded_count(offset, count, kImageSize);
    if (bytes == 0) {
        return;
    }
    image += offset;
    if (mask == nullptr) {
        memcpy_fast(image, source, bytes);
        return;
    }
    const auto *from = static_cast<const uint8_t *>(source);
    uint32_t i = 0;
    for (; i + 8 <= bytes; i += 8) {
        const auto chosen = load_word<uint64_t>(mask + i);
        store_word(image + i, (load_word<uint64_t>(image + i) & ~chosen) |
                                  (load_word<uint64_t>(from + i) & chosen));
    }
    for (; i < bytes; ++i) {
        image[i] = static_cast<uint8_t>((image[i] & ~mask[i]) | (from[i] & mask[i]));
    }
}

void image_clear(uint8_t *image, uint32_t offset, uint32_t count,
                 const PiTransfer *state) noexcept {
    if (count == ~0U) {
        count = state != nullptr ? state->image_length : 0;
    }
    const uint32_t bytes = bounded_count(offset, count, kImageSize);
    if (bytes != 0) {
        std::memset(image + offset, 0, bytes);
    }
}

namespace {

PiNormalObject &normal(void *object) noexcept {
    return *static_cast<PiNormalObject *>(object);
}

uint32_t normal_write(void *object, uint32_t offset, uint32_t count, const void *source,
                      const uint8_t *mask, PiTransfer *) noexcept {
    image_write(normal(object).cache, offset, count, source, mask);
    return PCI_TARN_OK;
}

uint32_t normal_read(void *object, uint32_t offset, uint32_t count, void *destination,
                     PiTransfer *) noexcept {
    image_read(normal(object).cache, offset, count, destination);
    return PCI_TARN_OK;
}

void *normal_address(void *object) noexcept {
    return normal(object).cache;
}

uint32_t normal_clear(void *object, uint32_t offset, uint32_t count, PiTransfer *state) noexcept {
    image_clear(normal(object).cache, offset, count, state);
    return PCI_TARN_OK;
}

// The cache is always what applications address; with mapping, the buffer is its physical form.
uint32_t normal_exchange(void *object, PiTransfer *state) noexcept {
    if (state->mapped == 0) {
        return PCI_TARN_OK;
    }
    const PiNormalObject &pair = normal(object);
    if (pair.direction == ECAT_PI_DIRECTION_OUTPUT) {
        state->convert(state, pair.buffer, pair.cache);
    } else {
        state->convert(state, pair.cache, pair.buffer);
    }
    return PCI_TARN_OK;
}

constexpr PiOps kNormalOps = {no_setup,       normal_write, normal_read,
                              normal_address, normal_clear, normal_exchange};

} // namespace

const PiOps *normal_ops() noexcept {
    return &kNormalOps;
}

} // namespace tarn::pi
