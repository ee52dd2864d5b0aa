// What one virtual card is made of.
#pragma once

#include <cstdint>
#include <string>

namespace tarn::vcard {

// Rings of one mailbox. The slot count is a power of two.
struct RingGeometry {
    uint32_t slots = 1;
    uint32_t slot_size = 102400; // bytes, 16-byte header included
};

struct CardConfig {
    std::string name = "tarn0"; // at most 31 characters, like the two texts below
    std::string model = "tarn virtual EtherCAT card";
    std::string firmware_version = "1.13.0";
    uint32_t alias = 0; // 0..15
    uint32_t channels = 2;
    RingGeometry rings;
    uint32_t generation = 2;                 // triple buffer protocol, 1 or 2
    uint32_t interface_version = 0x00000103; // word 0 of each channel area
    uint32_t config_version = 0x07060000;    // word 1 of BAR2
    uint32_t first_counter = 0; // where all ring counters start; near 2^32 tests their wrap
    uint32_t start_ms = 300;    // time that a bus start takes, besides reading the ENI file
    uint32_t reset_ms = 100;    // time that a board reset takes
    std::string flash_file;     // keeps the flash; empty: it is lost with the card
    std::string wiring; // of the digital inputs, see Wiring::apply(); input n hangs on output n
    std::string network_file; // fixed network; empty: built from each ENI file sent
};

} // namespace tarn::vcard
