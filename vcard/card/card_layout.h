// Where everything lies in the memory of one virtual card.
#pragma once

#include "layout/card_memory_map.h"
#include "vcard/card/config.h"
#include "vcard/card/memory.h"

#include <cstdint>
#include <string>
#include <utility>

namespace tarn::vcard {

inline constexpr uint32_t kCardIdentification = 0x5441524E;
inline constexpr uint32_t kMaxTextLength = 31;
inline constexpr uint32_t kMaxRingSlots = 64;
inline constexpr uint32_t kSocketSlots = 16;
inline constexpr uint32_t kSocketSlotSize = 1040;

// Both directions of one mailbox; offsets count from the start of the channel area.
struct MailboxPlace {
    RingDescriptor requests; // host to card
    RingDescriptor replies;  // card to host
};

class CardLayout {
  public:
    // Throws std::invalid_argument with a text for the user when such a card cannot be built.
    explicit CardLayout(const CardConfig &config);

    // All channels of a card are laid out alike.
    [[nodiscard]] const MailboxPlace &primary() const { return primary_; }
    [[nodiscard]] const MailboxPlace &secondary() const { return secondary_; }
    [[nodiscard]] const MailboxPlace &socket() const { return socket_; }

    // Zeroes the memory and lays out a card that has just been powered up.
    void power_up(const CardMemory &memory) const;

    // What a restart of the firmware does: as power_up(), but what the host has written into the
    // configuration block stays, and so do requests and replies that lie in the rings.
    void restart(const CardMemory &memory) const;

    void set_firmware_version(std::string version) {
        config_.firmware_version = std::move(version);
    }

    // Writes what the firmware tells about itself and takes a reset request back; the magic comes
    // last but for the alive word. Counters, buffers and what else the host has written stay.
    void publish(const CardMemory &memory) const;

  private:
    void publish_channel(uint8_t *area) const;

    CardConfig config_;
    MailboxPlace primary_{};
    MailboxPlace secondary_{};
    MailboxPlace socket_{};
};

} // namespace tarn::vcard
