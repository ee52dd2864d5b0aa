// The host writes anything anywhere into the card's memory: the firmware answers or drops, and
// never leaves its memory.
#include "vcard/firmware/firmware.h"

#include <cstring>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace tarn::vcard;
    static std::vector<uint8_t> bars[3] = {std::vector<uint8_t>(kBar0Size),
                                           std::vector<uint8_t>(kBar1Size),
                                           std::vector<uint8_t>(kBar2Size)};
    CardMemory memory;
    for (size_t i = 0; i < 3; ++i) {
        memory.bars[i] = bars[i];
    }
    CardConfig config;
    config.start_ms = 0;
    config.reset_ms = 0;
    Firmware firmware(
        config, memory, [](unsigned) {}, [](const std::string &) {});
    firmware.boot();
    // Records of: u32 offset into BAR2 (into BAR1 with the highest bit set), u8 length, bytes;
    // after each the firmware serves.
    while (size >= 5) {
        uint32_t offset = 0;
        std::memcpy(&offset, data, 4);
        size_t length = data[4];
        data += 5;
        size -= 5;
        length = length < size ? length : size;
        const size_t bar = offset >> 31 != 0 ? 1 : 2;
        offset %= kBarSizes[bar] - 256;
        std::memcpy(bars[bar].data() + offset, data, length);
        data += length;
        size -= length;
        firmware.serve();
    }
    firmware.shut_down();
    return 0;
}
