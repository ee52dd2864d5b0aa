// The card's flash of 16 MiB and what the firmware keeps beside it. Lives in a file, so that it
// survives the end of the program; without a file it lives in memory.
#pragma once

#include "vcard/card/memory.h"

#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

namespace tarn::vcard {

// Firmware versions of the card.
struct FirmwareRecord {
    std::string base;    // version of the configuration that the two below replace
    std::string applied; // by an update; empty: none was
    std::string pending; // comes with the next start of the firmware; empty: none
    bool operator==(const FirmwareRecord &) const = default;
};

class Flash {
  public:
    static constexpr uint32_t kSize = 16U << 20;
    static constexpr uint32_t kSectorSize = 4096;

    // An empty name: no file. A file with a damaged header is set aside; one that cannot be read is
    // left alone, and nothing can be written then.
    Flash(std::string file, LogLine log);

    [[nodiscard]] static bool inside(uint32_t address, uint64_t length) {
        return address + length <= kSize;
    }

    // All take only what is inside(). The first two are in the file when they return; false when
    // they could not be written there.
    [[nodiscard]] bool erase(uint32_t address, uint32_t length); // every sector that is touched
    [[nodiscard]] bool write(uint32_t address, std::span<const uint8_t> data); // clears bits only
    [[nodiscard]] std::vector<uint8_t> read(uint32_t address, uint32_t length);

    [[nodiscard]] const FirmwareRecord &record() const { return record_; }
    // False when it could not be written; the old record stays then.
    [[nodiscard]] bool set_record(const FirmwareRecord &record);

  private:
    using Content = std::vector<uint8_t>;

    void load();
    void set_aside();
    void load_content();
    [[nodiscard]] bool open_file();
    [[nodiscard]] bool make_file();
    [[nodiscard]] bool store(uint64_t position, std::span<const uint8_t> data);
    [[nodiscard]] bool store_content(uint32_t address, const Content &content);

    const std::string name_;
    const LogLine log_;
    bool blocked_ = false; // the file must not be touched
    bool present_ = false; // the file is there, and of full size
    std::fstream file_;    // open once something was written
    Content content_;      // empty until it is needed
    FirmwareRecord record_;
};

} // namespace tarn::vcard
