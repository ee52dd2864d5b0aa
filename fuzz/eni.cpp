// Any bytes as an ENI file: a verdict or a network whose runs lie inside its images.
#include "vcard/bus/network.h"

#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    tarn::vcard::Network network;
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    const tarn::vcard::EniVerdict verdict = tarn::vcard::parse_eni(text, network);
    if (verdict.status != 0) {
        if (verdict.text.empty()) {
            std::abort();
        }
        return 0;
    }
    for (const tarn::vcard::SlaveConfig &slave : network.slaves) {
        if (slave.outputs.offset + slave.outputs.length > network.output_bytes * 8 ||
            slave.inputs.offset + slave.inputs.length > network.input_bytes * 8) {
            std::abort();
        }
    }
    return 0;
}
