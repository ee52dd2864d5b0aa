#include "vcard/firmware/slave_files.h"

#include "vcard/bus/ethercat.h"

#include <cstdio>
#include <string_view>
#include <utility>

namespace tarn::vcard {

namespace {

constexpr std::string_view kFirmwareSuffix = ".efw";

bool is_firmware(std::string_view name) {
    return name.ends_with(kFirmwareSuffix);
}

FileContent text_content(const std::string &text) {
    return {text.begin(), text.end()};
}

std::string device_text(const FoeSlave &slave) {
    char identity[160];
    std::snprintf(identity, sizeof identity,
                  "vendor 0x%08X\nproduct 0x%08X\nrevision 0x%08X\nserial %u\naddress %u\n",
                  slave.config.vendor_id, slave.config.product_code, slave.config.revision_no,
                  slave.config.serial_no, static_cast<unsigned>(slave.config.fixed_address));
    return slave.config.name + "\n" + identity;
}

FileContent firmware_content() {
    FileContent content(4096);
    for (size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<uint8_t>(i * 7);
    }
    return content;
}

} // namespace

SlaveFiles::Files SlaveFiles::factory_files(const FoeSlave &slave) {
    const auto file = [](FileContent content, bool read_only, bool protect) {
        return File{std::make_shared<const FileContent>(std::move(content)), read_only, protect};
    };
    Files files;
    files["device.txt"] = file(text_content(device_text(slave)), true, false);
    files["firmware.efw"] = file(firmware_content(), false, false);
    files["service.dat"] = file(text_content("service counters: 0\n"), false, true);
    return files;
}

// Another slave at a position has files of its own.
SlaveFiles::Files SlaveFiles::files_of(const FoeSlave &slave) const {
    const auto found = slaves_.find(EepromStore::key_of(slave.number, slave.config));
    return found != slaves_.end() ? found->second : factory_files(slave);
}

FoeAnswer SlaveFiles::read(const FoeSlave &slave, const std::string &name, Content &content) const {
    const Files files = files_of(slave);
    const auto file = files.find(name);
    if (file == files.end()) {
        return FoeAnswer::NotFound;
    }
    if (file->second.protect) {
        return FoeAnswer::NoRights;
    }
    content = file->second.content;
    return FoeAnswer::Done;
}

FoeAnswer SlaveFiles::write(const FoeSlave &slave, const std::string &name, Content content) {
    Files files = files_of(slave);
    const auto known = files.find(name);
    if (known != files.end() && known->second.protect) {
        return FoeAnswer::NoRights;
    }
    if (known != files.end() && known->second.read_only) {
        return FoeAnswer::AccessDenied;
    }
    if (is_firmware(name) && (slave.state & kStateMask) != kBoot) {
        return FoeAnswer::BootstrapOnly;
    }
    const auto key = EepromStore::key_of(slave.number, slave.config);
    const size_t others = total() - (slaves_.contains(key) ? size_of(slaves_[key]) : 0);
    const bool full = known == files.end() && files.size() >= kMaxFiles;
    const size_t size = content->size();
    files[name].content = std::move(content);
    const size_t used = size_of(files);
    if (full || size > kMaxFileSize || used > kSlaveSize || others + used > kTotalSize) {
        return FoeAnswer::DiskFull;
    }
    slaves_[key] = std::move(files);
    return FoeAnswer::Done;
}

size_t SlaveFiles::size_of(const Files &files) {
    size_t sum = 0;
    for (const auto &[name, file] : files) {
        sum += file.content->size();
    }
    return sum;
}

size_t SlaveFiles::total() const {
    size_t sum = 0;
    for (const auto &[key, files] : slaves_) {
        sum += size_of(files);
    }
    return sum;
}

} // namespace tarn::vcard
