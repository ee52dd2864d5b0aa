#include "vcard/firmware/flash.h"

#include "vcard/firmware/crc32.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tarn::vcard {

namespace {

namespace fs = std::filesystem;

constexpr uint8_t kErased = 0xFF;
constexpr char kMagic[] = "TARNFLSH";

// First sector of the file; the content follows.
struct Header {
    char magic[8];
    uint32_t crc; // of what follows
    char base[32];
    char applied[32];
    char pending[32];
};

constexpr uint64_t kFileSize = uint64_t{Flash::kSectorSize} + Flash::kSize;

using Sector = std::array<uint8_t, Flash::kSectorSize>;

uint32_t checksum(const Header &header) {
    std::array<uint8_t, sizeof(Header)> bytes{};
    std::memcpy(bytes.data(), &header, sizeof header);
    return crc32(std::span(bytes).subspan(offsetof(Header, base)));
}

template <size_t Size>
void put_text(char (&field)[Size], const std::string &text) {
    text.copy(field, Size - 1);
}

template <size_t Size>
std::string get_text(const char (&field)[Size]) {
    return {field, std::find(std::begin(field), std::end(field), '\0')};
}

Sector pack(const FirmwareRecord &record) {
    Header header{};
    std::memcpy(header.magic, kMagic, sizeof header.magic);
    put_text(header.base, record.base);
    put_text(header.applied, record.applied);
    put_text(header.pending, record.pending);
    header.crc = checksum(header);
    Sector sector{};
    std::memcpy(sector.data(), &header, sizeof header);
    return sector;
}

bool unpack(const Sector &sector, FirmwareRecord &record) {
    Header header;
    std::memcpy(&header, sector.data(), sizeof header);
    if (std::memcmp(header.magic, kMagic, sizeof header.magic) != 0 ||
        header.crc != checksum(header)) {
        return false;
    }
    record = {get_text(header.base), get_text(header.applied), get_text(header.pending)};
    return true;
}

size_t read_up_to(std::ifstream &file, std::span<uint8_t> data) {
    file.read(reinterpret_cast<char *>(data.data()), static_cast<std::streamsize>(data.size()));
    return static_cast<size_t>(file.gcount());
}

} // namespace

Flash::Flash(std::string file, LogLine log) : name_(std::move(file)), log_(std::move(log)) {
    if (!name_.empty()) {
        load();
    }
}

void Flash::load() {
    std::error_code error;
    if (!fs::exists(name_, error)) {
        return;
    }
    std::ifstream file;
    if (fs::is_regular_file(name_, error)) {
        file.open(name_, std::ios::binary);
    }
    blocked_ = !file.is_open();
    if (blocked_) {
        log_("flash: " + name_ + " cannot be read; the flash is empty and cannot be written");
        return;
    }
    Sector sector{};
    if (read_up_to(file, sector) < sector.size() || !unpack(sector, record_)) {
        file.close();
        set_aside();
        return;
    }
    const uint64_t size = fs::file_size(name_, error);
    present_ = size >= kFileSize;
    if (!present_) {
        log_("flash: " + name_ + " is short; " + std::to_string(kFileSize - size) +
             " bytes at the end are taken as erased");
        load_content();
    }
}

void Flash::set_aside() {
    std::error_code error;
    fs::rename(name_, name_ + ".bad", error);
    if (error) {
        content_.assign(kSize, kErased);
    }
    log_("flash: " + name_ + " is damaged; the card starts with an empty flash, " +
         (error ? "the first write replaces the file" : "the file is now " + name_ + ".bad"));
}

void Flash::load_content() {
    if (!content_.empty()) {
        return;
    }
    content_.assign(kSize, kErased);
    std::ifstream file(name_, std::ios::binary);
    if (!name_.empty() && !blocked_ && file.seekg(kSectorSize)) {
        read_up_to(file, content_);
    }
}

// It gets its full size at once, so that later writes need no more room on the disk, and takes the
// place of an older one only when it is whole.
bool Flash::make_file() {
    load_content();
    const std::string fresh_name = name_ + ".new";
    std::ofstream fresh(fresh_name, std::ios::binary | std::ios::trunc);
    const Sector header = pack(record_);
    fresh.write(reinterpret_cast<const char *>(header.data()), header.size());
    fresh.write(reinterpret_cast<const char *>(content_.data()), kSize);
    fresh.close();
    std::error_code error;
    if (fresh) {
        fs::rename(fresh_name, name_, error);
        present_ = !error;
    }
    if (!present_) {
        fs::remove(fresh_name, error);
    }
    return present_;
}

bool Flash::open_file() {
    if (!file_.is_open() && !blocked_ && (present_ || make_file())) {
        file_.open(name_, std::ios::binary | std::ios::in | std::ios::out);
    }
    return file_.is_open();
}

bool Flash::store(uint64_t position, std::span<const uint8_t> data) {
    if (name_.empty()) {
        return true;
    }
    if (open_file()) {
        file_.seekp(static_cast<std::streamoff>(position));
        file_.write(reinterpret_cast<const char *>(data.data()),
                    static_cast<std::streamsize>(data.size()));
        file_.flush();
        if (file_) {
            return true;
        }
        file_.close();
        file_.clear();
    }
    log_("flash: " + name_ + " cannot be written");
    return false;
}

bool Flash::store_content(uint32_t address, const Content &content) {
    load_content();
    if (!store(uint64_t{kSectorSize} + address, content)) {
        return false;
    }
    std::copy(content.begin(), content.end(), content_.begin() + address);
    return true;
}

bool Flash::erase(uint32_t address, uint32_t length) {
    if (length == 0) {
        return true;
    }
    const uint32_t first = address / kSectorSize * kSectorSize;
    const uint32_t end = (address + length + kSectorSize - 1) / kSectorSize * kSectorSize;
    return store_content(first, Content(end - first, kErased));
}

bool Flash::write(uint32_t address, std::span<const uint8_t> data) {
    Content content = read(address, static_cast<uint32_t>(data.size()));
    std::transform(content.begin(), content.end(), data.begin(), content.begin(),
                   [](uint8_t old, uint8_t wanted) { return old & wanted; });
    return store_content(address, content);
}

std::vector<uint8_t> Flash::read(uint32_t address, uint32_t length) {
    load_content();
    return {content_.begin() + address, content_.begin() + address + length};
}

bool Flash::set_record(const FirmwareRecord &record) {
    if (!store(0, pack(record))) {
        return false;
    }
    record_ = record;
    return true;
}

} // namespace tarn::vcard
