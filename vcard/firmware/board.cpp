#include "vcard/firmware/board.h"

#include "vcard/firmware/status.h"
#include "vcard/firmware/update_image.h"

#include <utility>

namespace tarn::vcard {

Board::Board(const CardConfig &config, FileStore &files, LogLine log)
    : configured_version_(config.firmware_version), model_(config.model), files_(files),
      log_(std::move(log)), flash_(config.flash_file, log_) {}

void Board::keep(const FirmwareRecord &record) {
    if (!flash_.set_record(record)) {
        log_("the firmware of the next start is not the one of now");
    }
}

// A card that is described with another firmware than at its last update is another card.
void Board::forget_other_base() {
    const FirmwareRecord &record = flash_.record();
    if (record != FirmwareRecord{} && record.base != configured_version_) {
        log_("firmware " + configured_version_ + " was asked for: update from " + record.base +
             " forgotten");
        keep({});
    }
}

std::string Board::start_firmware() {
    settings_ = {};
    forget_other_base();
    FirmwareRecord record = flash_.record();
    if (record.base != configured_version_) {
        return configured_version_;
    }
    if (!record.pending.empty()) {
        const std::string &old = record.applied.empty() ? record.base : record.applied;
        log_("firmware updated from " + old + " to " + record.pending);
        record.applied = std::exchange(record.pending, {});
        keep(record);
        files_.remove(VCARD_IMAGE_FILE);
    }
    return record.applied.empty() ? configured_version_ : record.applied;
}

Reply Board::accept_update() {
    const auto image = files_.find(VCARD_IMAGE_FILE);
    if (image == nullptr) {
        return Reply::refused(status::kCannotOpenFile, "no firmware image was sent");
    }
    ImageVerdict verdict = check_update_image(*image, model_);
    if (verdict.status != status::kNoError) {
        return Reply::refused(verdict.status, std::move(verdict.text));
    }
    FirmwareRecord record = flash_.record();
    record.base = configured_version_;
    record.pending = verdict.text;
    if (!flash_.set_record(record)) {
        return Reply::refused(status::kCannotWriteFile, "the update cannot be kept");
    }
    log_("firmware " + verdict.text + " comes with the next reset");
    return Reply::done();
}

std::string Board::describe() const {
    const std::string &pending = flash_.record().pending;
    return "LEDs " + std::to_string(settings_.led_first) + " " +
           std::to_string(settings_.led_second) + ", time-out trigger " +
           std::to_string(settings_.timeout_trigger) +
           (pending.empty() ? "" : ", firmware " + pending + " comes with the next reset");
}

} // namespace tarn::vcard
