#include "vcard/program/card_options.h"

#include "vcard/card/card_layout.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>
#include <system_error>

namespace tarn::vcard {

namespace {

constexpr size_t kCardLimit = 16;
constexpr uint32_t kAliasMask = 15;

struct Key {
    const char *name;
    const char *text;
    std::function<void(CardConfig &, const std::string &value)> set;
};

template <typename Field>
auto number(const char *name, Field field) {
    return [name, field](CardConfig &card, const std::string &value) {
        std::invoke(field, card) = parse_number(name, value);
    };
}

template <typename Field>
auto text(Field field) {
    return
        [field](CardConfig &card, const std::string &value) { std::invoke(field, card) = value; };
}

uint32_t &slots(CardConfig &card) {
    return card.rings.slots;
}
uint32_t &slot_size(CardConfig &card) {
    return card.rings.slot_size;
}

const std::vector<Key> &keys() {
    static const std::vector<Key> all = {
        {"name", "card name, which programs find it by", text(&CardConfig::name)},
        {"alias", "alias switch, 0 to 15", number("alias", &CardConfig::alias)},
        {"model", "model text", text(&CardConfig::model)},
        {"firmware", "firmware version, as 1.13.0", text(&CardConfig::firmware_version)},
        {"channels", "EtherCAT channels, 1 or 2", number("channels", &CardConfig::channels)},
        {"slots", "slots of each command ring, a power of two", number("slots", slots)},
        {"slot-size", "bytes of a slot, its 16-byte header included",
         number("slot-size", slot_size)},
        {"generation", "protocol of the process image, 1 or 2",
         number("generation", &CardConfig::generation)},
        {"first-counter", "where all ring counters start",
         number("first-counter", &CardConfig::first_counter)},
        {"start-ms", "time that a bus start takes", number("start-ms", &CardConfig::start_ms)},
        {"reset-ms", "time that a board reset takes", number("reset-ms", &CardConfig::reset_ms)},
        {"wiring", "what digital inputs are wired to, as 0:pwm1+5:high", text(&CardConfig::wiring)},
        {"flash", "file of the flash; none: lost at the end", text(&CardConfig::flash_file)},
        {"network", "ENI file of the network that is there; others are refused",
         text(&CardConfig::network_file)},
    };
    return all;
}

std::vector<std::string> split(const std::string &text, char separator) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t end = 0; end != std::string::npos && start <= text.size(); start = end + 1) {
        end = text.find(separator, start);
        parts.push_back(text.substr(start, end - start));
        if (end == std::string::npos) {
            break;
        }
    }
    return parts;
}

void apply(CardConfig &card, const std::string &settings) {
    for (const std::string &setting : split(settings, ',')) {
        const size_t sign = setting.find('=');
        const std::string name = setting.substr(0, sign);
        const auto key = std::find_if(keys().begin(), keys().end(),
                                      [&name](const Key &other) { return name == other.name; });
        if (sign == std::string::npos || key == keys().end()) {
            throw std::invalid_argument("\"" + setting +
                                        "\" is no card setting; KEY=VALUE,... with "
                                        "these keys:\n" +
                                        card_key_help());
        }
        key->set(card, setting.substr(sign + 1));
    }
}

void make_absolute(std::string &path) {
    if (!path.empty()) {
        path = std::filesystem::absolute(path).string();
    }
}

// Names of one file compare equal, whether it exists or not.
std::filesystem::path real_path(const std::string &file) {
    std::error_code error;
    const std::filesystem::path real = std::filesystem::weakly_canonical(file, error);
    return error ? std::filesystem::path(file).lexically_normal() : real;
}

void refuse_shared_flash(const std::vector<CardConfig> &cards) {
    std::map<std::filesystem::path, size_t> owners;
    for (size_t i = 0; i < cards.size(); ++i) {
        if (cards[i].flash_file.empty()) {
            continue;
        }
        const auto [owner, fresh] = owners.emplace(real_path(cards[i].flash_file), i);
        if (!fresh) {
            throw std::invalid_argument("cards " + std::to_string(owner->second) + " and " +
                                        std::to_string(i) + " have the same flash file, " +
                                        cards[i].flash_file + "; each card needs one of its own");
        }
    }
}

void check(const CardConfig &card) {
    if (card.name.empty()) {
        throw std::invalid_argument("a card needs a name");
    }
    const CardLayout layout(card);
}

} // namespace

uint32_t parse_number(std::string_view what, const std::string &text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char *begin = text.data() + (hexadecimal ? 2 : 0);
    const char *end = text.data() + text.size();
    uint32_t value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value, hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end || begin == end) {
        throw std::invalid_argument(std::string(what) + ": \"" + text +
                                    "\" is no number from 0 to 4294967295");
    }
    return value;
}

uint64_t parse_driver_version(const std::string &text) {
    const std::vector<std::string> fields = split(text, '.');
    uint64_t version = 0;
    for (const std::string &field : fields) {
        const uint32_t value = parse_number("driver version", field);
        if (fields.size() != 4 || value > 0xFFFF) {
            throw std::invalid_argument("driver version: \"" + text +
                                        "\" is not made of four numbers from 0 to 65535");
        }
        version = version << 16 | value;
    }
    return version;
}

std::string card_key_help() {
    std::string help;
    for (const Key &key : keys()) {
        std::string name = key.name;
        name.resize(16, ' ');
        help += "  " + name + key.text + "\n";
    }
    return help;
}

std::vector<CardConfig> make_cards(const CardOptions &options) {
    const size_t count =
        options.count > 0 ? options.count : std::max<size_t>(options.cards.size(), 1);
    if (count > kCardLimit) {
        throw std::invalid_argument("at most " + std::to_string(kCardLimit) + " cards are served");
    }
    if (options.cards.size() > count) {
        throw std::invalid_argument(std::to_string(options.cards.size()) +
                                    " cards are described, but only " + std::to_string(count) +
                                    " wanted");
    }
    std::vector<CardConfig> cards;
    for (size_t i = 0; i < count; ++i) {
        CardConfig card;
        card.name = "tarn" + std::to_string(i);
        card.alias = static_cast<uint32_t>(i) & kAliasMask;
        card.network_file = options.network;
        if (!options.each.empty()) {
            apply(card, options.each);
        }
        if (i < options.cards.size()) {
            apply(card, options.cards[i]);
        }
        // The background service works in another folder.
        make_absolute(card.network_file);
        if (card.flash_file != kNoFlashFile) {
            make_absolute(card.flash_file);
        }
        check(card);
        cards.push_back(card);
    }
    return cards;
}

void settle_flash_files(std::vector<CardConfig> &cards, const std::string &folder) {
    for (size_t i = 0; i < cards.size(); ++i) {
        if (cards[i].flash_file.empty()) {
            const std::string name = "kpcidev" + std::to_string(i) + ".flash";
            cards[i].flash_file = (std::filesystem::path(folder) / name).string();
        } else if (cards[i].flash_file == kNoFlashFile) {
            cards[i].flash_file.clear();
        }
    }
    refuse_shared_flash(cards);
}

} // namespace tarn::vcard
