// Firmware images: making and checking them.
#pragma once

#include "tarn_vcard/update_image.h"
#include "vcard/card/config.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tarn::vcard {

struct ImageKind {
    const char *name;
    const char *text;
};

// Ways in which an image can be broken.
const std::vector<ImageKind> &broken_image_kinds();

struct ImageOptions {
    std::string version;
    std::string model = CardConfig().model;
    uint32_t size = 65536; // bytes of the file, header included
    std::string broken;    // one of broken_image_kinds(), or empty
};

// Throws std::invalid_argument with a text for the user.
std::vector<uint8_t> make_update_image(const ImageOptions &options);

struct ImageVerdict {
    uint32_t status = 0;
    std::string text; // version of a good image, else what is wrong
};

ImageVerdict check_update_image(std::span<const uint8_t> image, const std::string &model);

} // namespace tarn::vcard
