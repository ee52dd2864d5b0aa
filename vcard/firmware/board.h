// What the card has once, beside its channels: flash, firmware update, LEDs, and the board's own
// settings.
#pragma once

#include "vcard/card/config.h"
#include "vcard/card/memory.h"
#include "vcard/firmware/file_store.h"
#include "vcard/firmware/flash.h"
#include "vcard/firmware/service.h"

#include <cstdint>
#include <string>

namespace tarn::vcard {

class Board {
  public:
    // `files` holds the image of an update; both references outlive the board.
    Board(const CardConfig &config, FileStore &files, LogLine log);

    // What a start of the firmware does: applies a pending update and gives the version that runs.
    std::string start_firmware();

    Flash &flash() { return flash_; }

    // Checks the image that was sent and marks it for the next start.
    [[nodiscard]] Reply accept_update();

    struct Settings {
        uint16_t led_first = 0;
        uint16_t led_second = 0;
        uint32_t timeout_trigger = 0;
    };
    Settings &settings() { return settings_; }

    [[nodiscard]] std::string describe() const;

  private:
    void forget_other_base();
    void keep(const FirmwareRecord &record);

    const std::string configured_version_;
    const std::string model_;
    FileStore &files_;
    const LogLine log_;
    Flash flash_;
    Settings settings_;
};

} // namespace tarn::vcard
