#include "errors.h"
#include "host_file.h"
#include "storage.h"
#include "text.h"

#include <pci_tarn/pci_tarn.h>
#include <tarn_vcard/update_image.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

namespace tarn {

namespace {

// CRC-32 of IEEE 802.3, continued.
uint32_t crc32(uint32_t crc, const uint8_t *data, size_t size) {
    crc = ~crc;
    for (size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320U : 0U);
        }
    }
    return ~crc;
}

[[noreturn]] void broken(const std::string &path, const std::string &why) {
    throw Failure("\"" + printable(path) + "\" is a broken firmware image: " + why,
                  "nothing was sent; get the file anew");
}

// A text that ends within its field.
template <size_t size>
std::string field_text(const std::string &path, const char (&field)[size]) {
    const char *end = std::find(std::begin(field), std::end(field), '\0');
    if (end == std::end(field)) {
        broken(path, "a text in its header does not end");
    }
    return printable(std::string_view(field, static_cast<size_t>(end - field)));
}

// CRC of the whole image, its own field taken as 0.
uint32_t image_crc(std::ifstream &file, VcardImageHeader header) {
    header.crc = 0;
    uint32_t crc = crc32(0, reinterpret_cast<const uint8_t *>(&header), sizeof(header));
    std::vector<char> block(1 << 16);
    while (file) {
        file.read(block.data(), static_cast<std::streamsize>(block.size()));
        crc = crc32(crc, reinterpret_cast<const uint8_t *>(block.data()),
                    static_cast<size_t>(file.gcount()));
    }
    return crc;
}

} // namespace

ImageInfo check_image(const std::string &path) {
    ImageInfo info;
    info.size = check_sendable(path);
    if (info.size == 0) {
        throw Failure("\"" + printable(path) + "\" is empty", "nothing was sent");
    }
    std::ifstream file(path, std::ios::binary);
    VcardImageHeader header = {};
    file.read(reinterpret_cast<char *>(&header), sizeof(header));
    if (std::memcmp(header.magic, VCARD_IMAGE_MAGIC, sizeof(header.magic)) != 0) {
        return info; // of another firmware
    }
    if (file.gcount() < static_cast<std::streamsize>(sizeof(header))) {
        broken(path, "it ends within its header");
    }
    if (header.format != VCARD_IMAGE_FORMAT) {
        return info; // where its checksum lies nobody knows
    }
    if (info.size != sizeof(header) + uint64_t{header.payload_length}) {
        broken(path, "it should have " +
                         counted(sizeof(header) + uint64_t{header.payload_length}, "byte") +
                         " and has " + counted(info.size, "byte"));
    }
    if (image_crc(file, header) != header.crc) {
        broken(path, "its checksum is wrong");
    }
    info.known = true;
    info.version = field_text(path, header.version);
    info.model = field_text(path, header.model);
    return info;
}

Json image_json(const ImageInfo &image) {
    Json document = Json::object().set("length", image.size).set("known", image.known);
    if (image.known) {
        document.set("version", image.version).set("model", image.model);
    }
    return document;
}

} // namespace tarn
