// ecat_bitmemcpy against a copy bit by bit, with exactly sized buffers.
#include "pci_tarn/pi.h"

#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 6) {
        return 0;
    }
    const uint32_t to = data[0] | (data[1] & 1U) << 8;
    const uint32_t from = data[2];
    const uint32_t available = static_cast<uint32_t>(size - 4) * 8;
    if (from >= available) {
        return 0;
    }
    const uint32_t bits = (data[3] * 67U + data[1]) % (available - from + 1);
    // Exactly as many bytes as the run touches, so that one byte more is seen.
    const std::vector<uint8_t> source(data + 4, data + 4 + (from + bits + 7) / 8);
    std::vector<uint8_t> ours((to + bits + 7) / 8, 0xA5);
    std::vector<uint8_t> expected = ours;
    for (uint32_t i = 0; i < bits; ++i) {
        const unsigned bit = (source[(from + i) / 8] >> ((from + i) % 8)) & 1U;
        uint8_t &byte = expected[(to + i) / 8];
        const unsigned mask = 1U << ((to + i) % 8);
        byte = static_cast<uint8_t>((byte & ~mask) | (bit != 0 ? mask : 0U));
    }
    ecat_bitmemcpy(ours.data(), to, source.data(), from, bits);
    if (ours != expected) {
        std::abort();
    }
    return 0;
}
