#include "support/virtual_card.h"

#include "pci_tarn/shared.h"
#include "support/card_environment.h"

#include <mutex>

namespace tarn::test {

struct VirtualCards::Log {
    mutable std::mutex mutex;
    std::string text;
};

VirtualCards::VirtualCards() : VirtualCards(default_cards(1)) {}

VirtualCards::VirtualCards(std::vector<vcard::CardConfig> cards)
    : VirtualCards([&] {
          vcard::ServerOptions options;
          options.cards = std::move(cards);
          return options;
      }()) {}

VirtualCards::VirtualCards(vcard::ServerOptions options)
    : runtime_dir_(fresh_temp_path()), log_(std::make_shared<Log>()) {
    std::filesystem::create_directory(runtime_dir_);
    std::filesystem::permissions(runtime_dir_, std::filesystem::perms::owner_all);
    enter_card_environment(runtime_dir_, options.driver_version);
    if (!options.log) {
        options.log = [log = log_](const std::string &line) {
            const std::lock_guard guard(log->mutex);
            log->text += line + "\n";
        };
    }
    // The library mapped "temp.dat" of the folder that the program was started in; from here on it
    // works on the one of our own.
    initMutex();
    server_ = std::make_unique<vcard::Server>(std::move(options));
}

VirtualCards::~VirtualCards() {
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(runtime_dir_, ignored);
}

vcard::CardConfig VirtualCards::default_card() {
    vcard::CardConfig card;
    card.start_ms = 0;
    card.reset_ms = 0;
    return card;
}

std::vector<vcard::CardConfig> VirtualCards::default_cards(size_t count) {
    std::vector<vcard::CardConfig> cards;
    for (size_t i = 0; i < count; ++i) {
        cards.push_back(default_card());
        cards.back().name = "tarn" + std::to_string(i);
        cards.back().alias = static_cast<uint32_t>(i) & 15U;
    }
    return cards;
}

vcard::Firmware &VirtualCards::card(size_t index) {
    return server_->card(index);
}

void VirtualCards::stop() {
    server_.reset();
}

std::string VirtualCards::log() const {
    const std::lock_guard guard(log_->mutex);
    return log_->text;
}

} // namespace tarn::test
