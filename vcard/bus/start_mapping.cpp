#include "vcard/bus/start_mapping.h"

#include "vcard/bus/data_type.h"

#include <map>
#include <span>

namespace tarn::vcard {
namespace {

constexpr size_t kCountSize = 2; // of subindex 0 with complete access

// A list as it is written: entry by entry and then their number, or all at once.
class WrittenList {
  public:
    explicit WrittenList(size_t width) : width_(width) {}

    void take(const CoeInitCommand &command) {
        const std::span<const uint8_t> data = command.data;
        if (data.empty()) {
            return;
        }
        if (command.subindex != 0) {
            take_entries(command.subindex, data);
            return;
        }
        count_ = data[0];
        if (count_ == 0) {
            entries_.clear();
        }
        if (command.complete_access && data.size() > kCountSize) {
            take_entries(1, data.subspan(kCountSize));
        }
    }

    // Those that count; a list that gets no number counts as a whole.
    [[nodiscard]] std::vector<uint32_t> values() const {
        std::vector<uint32_t> values;
        for (const auto &[subindex, value] : entries_) {
            if (value != 0 && (count_ == 0 || subindex <= count_)) {
                values.push_back(value);
            }
        }
        return values;
    }

  private:
    void take_entries(size_t subindex, std::span<const uint8_t> data) {
        for (size_t at = 0; at + width_ <= data.size() && subindex <= UINT8_MAX; at += width_) {
            entries_[static_cast<uint8_t>(subindex++)] =
                static_cast<uint32_t>(number_of(data.subspan(at, width_)));
        }
    }

    size_t width_;
    uint32_t count_ = 0;
    std::map<uint8_t, uint32_t> entries_;
};

std::vector<uint32_t> list_of(const SlaveConfig &slave, uint16_t index, size_t width) {
    WrittenList list(width);
    for (const CoeInitCommand &command : slave.mailbox_config.coe_commands) {
        if (command.index == index && !command.disabled &&
            command.ccs == CoeInitCommand::kDownload) {
            list.take(command);
        }
    }
    return list.values();
}

} // namespace

std::vector<uint16_t> assigned_by_commands(const SlaveConfig &slave, uint16_t index) {
    const std::vector<uint32_t> values = list_of(slave, index, sizeof(uint16_t));
    return {values.begin(), values.end()};
}

std::vector<PdoEntry> mapped_by_commands(const SlaveConfig &slave, uint16_t index) {
    std::vector<PdoEntry> entries;
    for (const uint32_t value : list_of(slave, index, sizeof(uint32_t))) {
        if ((value & 0xFF) != 0) {
            entries.push_back({static_cast<uint16_t>(value >> 16),
                               static_cast<uint8_t>(value >> 8),
                               value & 0xFF,
                               {},
                               {}});
        }
    }
    return entries;
}

} // namespace tarn::vcard
