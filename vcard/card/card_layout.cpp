#include "vcard/card/card_layout.h"

#include "base/card_memory.h"
#include "vcard/card/wiring.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <stdexcept>
#include <string>

namespace tarn::vcard {

namespace {

constexpr uint32_t kPointerPairSize = 8;
constexpr uint32_t kMaxChannels = 2;
constexpr uint32_t kSlaveReadyEnd = kSlaveReadyOffset + kSlaveReadyWords * 4;

[[noreturn]] void refuse(const std::string &text) {
    throw std::invalid_argument(text);
}

void check_text(const char *what, const std::string &text) {
    if (text.size() > kMaxTextLength) {
        refuse(std::string(what) + " \"" + text + "\" has " + std::to_string(text.size()) +
               " characters; " + std::to_string(kMaxTextLength) + " is the most");
    }
}

void check_range(const char *what, uint32_t value, uint32_t low, uint32_t high) {
    if (value < low || value > high) {
        refuse(std::string(what) + " " + std::to_string(value) + " is not from " +
               std::to_string(low) + " to " + std::to_string(high));
    }
}

void check(const CardConfig &config) {
    check_text("card name", config.name);
    check_text("card model", config.model);
    check_text("firmware version", config.firmware_version);
    check_range("alias", config.alias, 0, 15);
    check_range("channel count", config.channels, 1, kMaxChannels);
    check_range("triple buffer generation", config.generation, 1, 2);
    Wiring().apply(config.wiring);
    check_range("ring slot count", config.rings.slots, 1, kMaxRingSlots);
    if (!std::has_single_bit(config.rings.slots)) {
        refuse("ring slot count " + std::to_string(config.rings.slots) + " is not a power of two");
    }
    if (config.rings.slot_size < kSlotHeaderSize || config.rings.slot_size % 4 != 0) {
        refuse("ring slot size " + std::to_string(config.rings.slot_size) +
               " is not a multiple of 4 bytes that holds the 16-byte header");
    }
}

// The parts of a channel area that have no fixed use, in ascending order.
class FreeSpace {
  public:
    uint32_t take(uint64_t size) {
        for (Gap &gap : gaps_) {
            if (gap.end - gap.begin >= size) {
                const uint32_t place = gap.begin;
                gap.begin += static_cast<uint32_t>(size);
                return place;
            }
        }
        refuse("the rings do not fit: no piece of " + std::to_string(size) +
               " bytes is free in a channel area, the largest has " + std::to_string(largest()));
    }

  private:
    struct Gap {
        uint32_t begin;
        uint32_t end;
    };

    [[nodiscard]] uint32_t largest() const {
        uint32_t size = 0;
        for (const Gap &gap : gaps_) {
            size = std::max(size, gap.end - gap.begin);
        }
        return size;
    }

    std::array<Gap, 4> gaps_ = {{
        {sizeof(ChannelHeader), kStopRequestOffset},
        {kPrimaryPointersOffset + 2 * kPointerPairSize, kSecondaryPointersOffset},
        {kSecondaryPointersOffset + 2 * kPointerPairSize, kPiCardOffset},
        {kSlaveReadyEnd, kChannelAreaStride},
    }};
};

RingDescriptor place_ring(FreeSpace &space, uint32_t pointers, const RingGeometry &geometry) {
    const uint64_t size = uint64_t{geometry.slots} * geometry.slot_size;
    return {pointers, space.take(size), geometry.slot_size, geometry.slots - 1};
}

MailboxPlace place_mailbox(FreeSpace &space, uint32_t pointers, const RingGeometry &geometry) {
    MailboxPlace place{};
    place.requests = place_ring(space, pointers, geometry);
    place.replies = place_ring(space, pointers + kPointerPairSize, geometry);
    return place;
}

void store_descriptor(uint8_t *at, const RingDescriptor &ring) {
    card::store32(at, ring.pointers);
    card::store32(at + 4, ring.slots);
    card::store32(at + 8, ring.slot_size);
    card::store32(at + 12, ring.mask);
}

void start_counters(uint8_t *area, const RingDescriptor &ring, uint32_t first) {
    card::store32(area + ring.pointers, first);
    card::store32(area + ring.pointers + 4, first);
}

// Counters that no ring can have are the host's doing.
void heal_counters(uint8_t *area, const RingDescriptor &ring, uint32_t first) {
    uint8_t *read = area + ring.pointers;
    uint8_t *write = read + 4;
    if (card::load32(write) - card::load32(read) > ring.mask + 1) {
        start_counters(area, ring, first);
    }
}

void store_text(uint8_t *field, const std::string &text) {
    std::array<char, kMaxTextLength + 1> padded{};
    std::copy(text.begin(), text.end(), padded.begin());
    std::memcpy(field, padded.data(), padded.size());
}

} // namespace

CardLayout::CardLayout(const CardConfig &config) : config_(config) {
    check(config_);
    FreeSpace space;
    primary_ = place_mailbox(space, kPrimaryPointersOffset, config_.rings);
    secondary_ = place_mailbox(space, kSecondaryPointersOffset, config_.rings);
    const uint32_t socket_pointers = space.take(uint64_t{2} * kPointerPairSize);
    socket_ = place_mailbox(space, socket_pointers, {kSocketSlots, kSocketSlotSize});
}

void CardLayout::power_up(const CardMemory &memory) const {
    for (const std::span<uint8_t> bar : memory.bars) {
        std::memset(bar.data(), 0, bar.size());
    }
    card::store32(memory.registers() + bar1::kIdentification, kCardIdentification);
    card::store32(memory.registers() + bar1::kAlias, ~config_.alias & 0x0F);
    for (uint32_t channel = 0; channel < config_.channels; ++channel) {
        uint8_t *area = memory.config() + channel_area_offset(channel);
        for (const MailboxPlace *place : {&primary_, &secondary_, &socket_}) {
            start_counters(area, place->requests, config_.first_counter);
            start_counters(area, place->replies, config_.first_counter);
        }
    }
    publish(memory);
}

void CardLayout::restart(const CardMemory &memory) const {
    card::store32(memory.registers() + bar1::kIdentification, kCardIdentification);
    card::store32(memory.registers() + bar1::kAlias, ~config_.alias & 0x0F);
    for (uint32_t channel = 0; channel < config_.channels; ++channel) {
        uint8_t *area = memory.config() + channel_area_offset(channel);
        card::store32(area + kStopRequestOffset, 0);
        std::memset(area + kPiCardOffset, 0, sizeof(PiCardArea));
        std::memset(area + kSlaveReadyOffset, 0, kSlaveReadyWords * 4);
        for (const MailboxPlace *place : {&primary_, &secondary_, &socket_}) {
            heal_counters(area, place->requests, config_.first_counter);
            heal_counters(area, place->replies, config_.first_counter);
        }
    }
    publish(memory);
}

void CardLayout::publish(const CardMemory &memory) const {
    uint8_t *block = memory.config();
    card::store32(block + offsetof(ConfigBlock, magic), 0);
    card::store32(block + offsetof(ConfigBlock, config_version), config_.config_version);
    store_text(block + offsetof(ConfigBlock, firmware_version), config_.firmware_version);
    card::store32(block + offsetof(ConfigBlock, channel_count), config_.channels);
    store_text(block + offsetof(ConfigBlock, model), config_.model);
    store_text(block + offsetof(ConfigBlock, name), config_.name);
    for (uint32_t channel = 0; channel < config_.channels; ++channel) {
        publish_channel(block + channel_area_offset(channel));
    }
    // A host that sees the card alive may ask for the next reset at once.
    card::store32(block + offsetof(ConfigBlock, reset_request), 0);
    card::store32(block + offsetof(ConfigBlock, magic), kConfigDoneMagic);
    card::store32(block + offsetof(ConfigBlock, alive), 0);
}

void CardLayout::publish_channel(uint8_t *area) const {
    card::store32(area, config_.interface_version);
    store_descriptor(area + offsetof(ChannelHeader, primary_in), primary_.replies);
    store_descriptor(area + offsetof(ChannelHeader, primary_out), primary_.requests);
    store_descriptor(area + offsetof(ChannelHeader, secondary_in), secondary_.replies);
    store_descriptor(area + offsetof(ChannelHeader, secondary_out), secondary_.requests);
    store_descriptor(area + offsetof(ChannelHeader, socket_in), socket_.replies);
    store_descriptor(area + offsetof(ChannelHeader, socket_out), socket_.requests);
    card::store32(area + kPiCardOffset, config_.generation == 1 ? 0x00030000 : 0x00060000);
}

} // namespace tarn::vcard
