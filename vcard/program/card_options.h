// The cards that the command line asks for.
#pragma once

#include "vcard/card/config.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::vcard {

// Value of the key "flash" for a card without a file.
inline constexpr char kNoFlashFile[] = "none";

struct CardOptions {
    size_t count = 0;               // 0: as many as `cards` describes, at least one
    std::vector<std::string> cards; // KEY=VALUE,... for one card each
    std::string each;               // the same, for all of them; `cards` comes after it
    std::string network;            // fixed network of all cards
};

// One line about each key, for the help.
std::string card_key_help();

// Throws std::invalid_argument with a text for the user.
std::vector<CardConfig> make_cards(const CardOptions &options);

// Gives the cards without a flash file one in the folder and takes the file from those that shall
// have none. Throws std::invalid_argument when two cards share one.
void settle_flash_files(std::vector<CardConfig> &cards, const std::string &folder);

// A decimal number, or hexadecimal after 0x. Throws std::invalid_argument naming `what`.
uint32_t parse_number(std::string_view what, const std::string &text);

// Four numbers joined by dots. Throws as above.
uint64_t parse_driver_version(const std::string &text);

} // namespace tarn::vcard
