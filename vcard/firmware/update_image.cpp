#include "vcard/firmware/update_image.h"

#include "vcard/firmware/crc32.h"
#include "vcard/firmware/status.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <optional>
#include <stdexcept>

namespace tarn::vcard {

namespace {

static_assert(sizeof(VcardImageHeader) == 96);
static_assert(offsetof(VcardImageHeader, crc) == 12);
static_assert(offsetof(VcardImageHeader, version) == 16);
static_assert(offsetof(VcardImageHeader, model) == 48);
static_assert(offsetof(VcardImageHeader, payload_length) == 80);

constexpr size_t kHeaderSize = sizeof(VcardImageHeader);
constexpr size_t kTextSize = sizeof(VcardImageHeader::version);
using Image = std::vector<uint8_t>;

VcardImageHeader header_of(std::span<const uint8_t> image) {
    VcardImageHeader header;
    std::memcpy(&header, image.data(), sizeof header);
    return header;
}

void put_header(Image &image, const VcardImageHeader &header) {
    std::memcpy(image.data(), &header, sizeof header);
}

uint32_t checksum(std::span<const uint8_t> image) {
    VcardImageHeader header = header_of(image);
    header.crc = 0;
    std::array<uint8_t, kHeaderSize> bytes{};
    std::memcpy(bytes.data(), &header, sizeof header);
    return crc32(image.subspan(kHeaderSize), crc32(bytes));
}

void seal(Image &image) {
    VcardImageHeader header = header_of(image);
    header.crc = checksum(image);
    put_header(image, header);
}

template <typename Change>
void change_header(Image &image, Change change) {
    VcardImageHeader header = header_of(image);
    change(header);
    put_header(image, header);
    seal(image);
}

// Nothing when the text does not end within its field.
std::optional<std::string> text_of(const char (&field)[kTextSize]) {
    const char *end = std::find(std::begin(field), std::end(field), '\0');
    return end == std::end(field) ? std::nullopt : std::optional(std::string(field, end));
}

bool printable(const std::string &text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

void name_another_model(VcardImageHeader &header) {
    const bool taken = text_of(header.model) == "another card";
    std::memset(header.model, 0, kTextSize);
    std::strcpy(header.model, taken ? "a third card" : "another card");
}

// Every kind of broken image is whole but for the one thing that its name says.
struct Breakage {
    ImageKind kind;
    std::function<void(Image &)> apply;
};

const std::vector<Breakage> &breakages() {
    static const std::vector<Breakage> all = {
        {{"short", "cut off in the header"}, [](Image &image) { image.resize(kHeaderSize - 1); }},
        {{"magic", "other first bytes"},
         [](Image &image) { change_header(image, [](auto &header) { header.magic[0] = 't'; }); }},
        {{"format", "format of the future"},
         [](Image &image) {
             change_header(image, [](auto &header) { header.format = VCARD_IMAGE_FORMAT + 1; });
         }},
        {{"length", "the last byte is missing"},
         [](Image &image) {
             image.pop_back();
             seal(image);
         }},
        {{"checksum", "a bit of the payload is wrong"}, [](Image &image) { image.back() ^= 0x10; }},
        {{"model", "for another card model"},
         [](Image &image) { change_header(image, name_another_model); }},
        {{"version", "version text too long for the card"},
         [](Image &image) {
             change_header(image,
                           [](auto &header) { std::memset(header.version, '1', kTextSize); });
         }},
    };
    return all;
}

void check_text(const char *what, const std::string &text) {
    if (!printable(text) || text.size() >= kTextSize) {
        throw std::invalid_argument(std::string(what) + " \"" + text +
                                    "\" has not from 1 to 31 printable characters");
    }
}

// Bytes of all values in no order, so that every slip of a transfer shows.
void fill_payload(std::span<uint8_t> payload) {
    uint32_t state = 1;
    for (uint8_t &byte : payload) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<uint8_t>(state >> 24);
    }
}

ImageVerdict refused(uint32_t status, std::string reason) {
    return {status, std::move(reason)};
}

} // namespace

const std::vector<ImageKind> &broken_image_kinds() {
    static const std::vector<ImageKind> kinds = [] {
        std::vector<ImageKind> names;
        for (const Breakage &breakage : breakages()) {
            names.push_back(breakage.kind);
        }
        return names;
    }();
    return kinds;
}

std::vector<uint8_t> make_update_image(const ImageOptions &options) {
    check_text("version", options.version);
    check_text("model", options.model);
    if (options.size <= kHeaderSize) {
        throw std::invalid_argument("an image has more than " + std::to_string(kHeaderSize) +
                                    " bytes");
    }
    Image image(options.size);
    VcardImageHeader header{};
    std::memcpy(header.magic, VCARD_IMAGE_MAGIC, sizeof header.magic);
    header.format = VCARD_IMAGE_FORMAT;
    options.version.copy(header.version, kTextSize - 1);
    options.model.copy(header.model, kTextSize - 1);
    header.payload_length = options.size - static_cast<uint32_t>(kHeaderSize);
    fill_payload(std::span(image).subspan(kHeaderSize));
    put_header(image, header);
    seal(image);
    if (options.broken.empty()) {
        return image;
    }
    const auto breakage =
        std::find_if(breakages().begin(), breakages().end(), [&options](const Breakage &other) {
            return options.broken == other.kind.name;
        });
    if (breakage == breakages().end()) {
        throw std::invalid_argument("\"" + options.broken + "\" is no way to break an image");
    }
    breakage->apply(image);
    return image;
}

ImageVerdict check_update_image(std::span<const uint8_t> image, const std::string &model) {
    if (image.size() < kHeaderSize) {
        return refused(status::kDataTooShort, "the image has " + std::to_string(image.size()) +
                                                  " bytes, its header alone " +
                                                  std::to_string(kHeaderSize));
    }
    const VcardImageHeader header = header_of(image);
    if (std::memcmp(header.magic, VCARD_IMAGE_MAGIC, sizeof header.magic) != 0) {
        return refused(status::kCannotDecode, "the file is no firmware image");
    }
    if (header.format != VCARD_IMAGE_FORMAT) {
        return refused(status::kCannotDecode,
                       "format " + std::to_string(header.format) + " of the image is not known");
    }
    if (header.payload_length != image.size() - kHeaderSize) {
        return refused(status::kInconsistentLength, "the image should have " +
                                                        std::to_string(header.payload_length) +
                                                        " bytes behind its header and has " +
                                                        std::to_string(image.size() - kHeaderSize));
    }
    if (checksum(image) != header.crc) {
        return refused(status::kBadObject, "the checksum of the image is wrong");
    }
    const auto version = text_of(header.version);
    if (!version) {
        return refused(status::kBufferLimit, "the version text of the image is too long");
    }
    if (!printable(*version)) {
        return refused(status::kInvalidArguments, "the image has no version text");
    }
    if (text_of(header.model) != model) {
        return refused(status::kVerification, "the image is not for the model \"" + model + "\"");
    }
    return {status::kNoError, *version};
}

} // namespace tarn::vcard
