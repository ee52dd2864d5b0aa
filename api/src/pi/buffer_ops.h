// The operations tables of the process image areas.
#pragma once

#include "pci_tarn/pi.h"

#include <cstdint>

namespace tarn::pi {

// When a triple buffer is exchanged: inside every access, or by the data-swap thread.
enum class Access { Immediate, Cycle };

const PiOps *normal_ops() noexcept;
const PiOps *master_ops(uint32_t pd_version, Access access) noexcept;
const PiOps *slave_ops(uint32_t pd_version, Access access) noexcept;
const PiOps *card_area_ops() noexcept;

// Makes the local image whole again after a process died with the lock held.
void mend_shadow_input(PiSlaveObject &object, uint32_t pd_version, PiTransfer &state) noexcept;

// Pieces that the tables share.
uint32_t no_setup(void *object, PiTransfer *state) noexcept;
uint32_t refuse_write(void *object, uint32_t offset, uint32_t count, const void *source,
                      const uint8_t *mask, PiTransfer *state) noexcept;
uint32_t refuse_clear(void *object, uint32_t offset, uint32_t count, PiTransfer *state) noexcept;
uint32_t refuse_exchange(void *object, PiTransfer *state) noexcept;

// Reads and writes of a local image of kImageSize bytes; what lies outside is left out.
void image_read(const uint8_t *image, uint32_t offset, uint32_t count, void *destination) noexcept;
void image_write(uint8_t *image, uint32_t offset, uint32_t count, const void *source,
                 const uint8_t *mask) noexcept;
void image_clear(uint8_t *image, uint32_t offset, uint32_t count, const PiTransfer *state) noexcept;

} // namespace tarn::pi
