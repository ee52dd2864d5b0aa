#include "errors.h"
#include "storage.h"
#include "text.h"

#include <pci_tarn/pci_tarn.h>
#include <tarn_vcard/update_image.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
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

std::string field_text(const char *field, size_t size) {
    return printable(std::string(field, strnlen(field, size)));
}

[[noreturn]] void broken(const std::string &path, const std::string &why) {
    throw Failure("\"" + printable(path) + "\" is a broken firmware image: " + why,
                  "nothing was sent; get the file anew");
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
    std::error_code error;
    ImageInfo info;
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open() || std::filesystem::is_directory(path, error)) {
        throw Failure(PCI_TARN_E_OPEN_FILE, "cannot read \"" + printable(path) + "\"");
    }
    info.size = std::filesystem::file_size(path, error);
    if (error || info.size == 0) {
        throw Failure("\"" + printable(path) + "\" is empty", "nothing was sent");
    }
    VcardImageHeader header = {};
    file.read(reinterpret_cast<char *>(&header), sizeof(header));
    if (std::memcmp(header.magic, VCARD_IMAGE_MAGIC, sizeof(header.magic)) != 0) {
        return info; // of another firmware
    }
    if (file.gcount() < static_cast<std::streamsize>(sizeof(header))) {
        broken(path, "it ends within its header");
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
    info.version = field_text(header.version, sizeof(header.version));
    info.model = field_text(header.model, sizeof(header.model));
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
