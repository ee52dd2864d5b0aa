// What can be known of a firmware image before it is sent.
#pragma once

#include "json.h"

#include <cstdint>
#include <string>

namespace tarn {

struct ImageInfo {
    uint64_t size = 0;
    bool known = false; // an image whose layout tarn knows; the rest is empty otherwise
    std::string version;
    std::string model;
};

// Throws Failure when the file cannot be read, or is a broken image of a layout that tarn knows.
ImageInfo check_image(const std::string &path);

Json image_json(const ImageInfo &image);

} // namespace tarn
