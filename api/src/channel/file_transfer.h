// Files between host and card store, one chunk per slot. The engines take no lock.
#pragma once

#include "pci_tarn/channel.h"

#include <cstdint>

namespace tarn {

// Size of a host file in bytes. Prints why it cannot be told; callers turn that into 32848.
bool measure_file(const char *path, uint32_t *size) noexcept;

// Host file to card. Returns 80000, 32848 or 0; failed attempts are repeated up to five times in
// all and then reported as success, which is required: callers learn of them from later requests.
uint32_t download_file(CommandChannel &channel, const char *path, const char *card_name,
                       PciProgress progress, void *progress_arg, uint32_t timeout_ms) noexcept;

// Card file to host. Returns 80000, 0 or 0xFFFFFFFF; no retry.
uint32_t upload_file(CommandChannel &channel, const char *path, const char *card_name,
                     PciProgress progress, void *progress_arg, uint32_t timeout_ms) noexcept;

} // namespace tarn
