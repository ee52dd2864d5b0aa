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

// Another slave at a position has files of its own.
std::map<std::string, SlaveFiles::File> &SlaveFiles::files_of(const FoeSlave &slave) {
    const auto found = slaves_.find(slave.number);
    const SlaveConfig &config = slave.config;
    if (found != slaves_.end() && found->second.vendor_id == config.vendor_id &&
        found->second.product_code == config.product_code &&
        found->second.serial_no == config.serial_no) {
        return found->second.files;
    }
    const auto file = [](FileContent content, bool read_only, bool protect) {
        return File{std::make_shared<const FileContent>(std::move(content)), read_only, protect};
    };
    Slave made{config.vendor_id, config.product_code, config.serial_no, {}};
    made.files["device.txt"] = file(text_content(device_text(slave)), true, false);
    made.files["firmware.efw"] = file(firmware_content(), false, false);
    made.files["service.dat"] = file(text_content("service counters: 0\n"), false, true);
    return slaves_.insert_or_assign(slave.number, std::move(made)).first->second.files;
}

FoeAnswer SlaveFiles::read(const FoeSlave &slave, const std::string &name, uint32_t password,
                           Content &content) {
    const auto &files = files_of(slave);
    const auto file = files.find(name);
    if (file == files.end()) {
        return FoeAnswer::NotFound;
    }
    if (file->second.protect && password != kPassword) {
        return FoeAnswer::NoRights;
    }
    content = file->second.content;
    return FoeAnswer::Done;
}

FoeAnswer SlaveFiles::write(const FoeSlave &slave, const std::string &name, uint32_t password,
                            Content content) {
    auto &files = files_of(slave);
    const auto known = files.find(name);
    if (known != files.end() && known->second.protect && password != kPassword) {
        return FoeAnswer::NoRights;
    }
    if (known != files.end() && known->second.read_only) {
        return FoeAnswer::AccessDenied;
    }
    if (is_firmware(name) && (slave.state & 0x0F) != kBoot) {
        return FoeAnswer::BootstrapOnly;
    }
    size_t used = 0;
    for (const auto &[other, file] : files) {
        used += other == name ? 0 : file.content->size();
    }
    const size_t replaced = known == files.end() ? 0 : known->second.content->size();
    if (content->size() > kMaxFileSize || used + content->size() > kSlaveSize ||
        total() - replaced + content->size() > kTotalSize ||
        (known == files.end() && files.size() >= kMaxFiles)) {
        return FoeAnswer::DiskFull;
    }
    files[name].content = std::move(content);
    return FoeAnswer::Done;
}

size_t SlaveFiles::total() const {
    size_t sum = 0;
    for (const auto &[number, slave] : slaves_) {
        for (const auto &[name, file] : slave.files) {
            sum += file.content->size();
        }
    }
    return sum;
}

} // namespace tarn::vcard
