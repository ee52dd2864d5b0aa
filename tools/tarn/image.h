// Bit-exact access to a part of the process image.
#pragma once

#include "slave.h"
#include "values.h"

#include <cstdint>
#include <string>

namespace tarn {

// One of the five process image areas.
struct Area {
    uint32_t index = 0;
    uint32_t direction = 0;
    const char *name = "";
};

inline constexpr const char *kAreaNames = "output, input, fast-output, card, shadow-input";

// By name or number. Throws UsageError.
Area parse_area(const std::string &text);

// Bytes of the image that an area shows; throws Failure when there is none.
uint32_t image_bytes(EcatHandle *channel, const Area &area);

// Both throw Failure when the access fails or the run leaves the image. The status returned is 0,
// or the one of a slave that is not in operation: the data was transferred all the same.
uint32_t read_run(EcatHandle *channel, const Area &area, const BitRun &run, BitData &data);
uint32_t write_run(EcatHandle *channel, const Area &area, const BitRun &run, const BitData &data);

} // namespace tarn
