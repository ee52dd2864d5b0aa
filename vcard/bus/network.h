// A network as an ENI file describes it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::vcard {

// A run of bits in the physical image of one direction. Length 0: no data in that direction.
struct BitRun {
    uint32_t offset = 0;
    uint32_t length = 0;
};

enum class SlaveKind { Coupler, DigitalIo, AnalogIo, Drive };

struct SlaveConfig {
    std::string name;
    SlaveKind kind = SlaveKind::Coupler;
    uint32_t vendor_id = 0;
    uint32_t product_code = 0;
    uint32_t revision_no = 0;
    uint32_t serial_no = 0;
    uint16_t fixed_address = 0;
    uint16_t auto_increment_address = 0;
    uint16_t alias = 0;
    BitRun outputs;                   // host to slave
    BitRun inputs;                    // slave to host
    uint16_t previous_port_slave = 0; // index of the slave it hangs on
    bool mailbox = false;
    bool dc = false;
    // Drives: bit offsets of the CiA 402 objects inside the slave's runs; all ones when unmapped.
    struct DriveMap {
        static constexpr uint32_t kUnmapped = ~0U;
        uint32_t controlword = kUnmapped;     // 0x6040, outputs
        uint32_t mode = kUnmapped;            // 0x6060, outputs
        uint32_t target_position = kUnmapped; // 0x607A, outputs
        uint32_t target_velocity = kUnmapped; // 0x60FF, outputs
        uint32_t target_torque = kUnmapped;   // 0x6071, outputs
        uint32_t statusword = kUnmapped;      // 0x6041, inputs
        uint32_t mode_display = kUnmapped;    // 0x6061, inputs
        uint32_t actual_position = kUnmapped; // 0x6064, inputs
        uint32_t actual_velocity = kUnmapped; // 0x606C, inputs
        uint32_t actual_torque = kUnmapped;   // 0x6077, inputs
    } drive;
};

struct Network {
    std::vector<SlaveConfig> slaves;
    uint32_t output_bytes = 0; // physical image lengths
    uint32_t input_bytes = 0;
    uint32_t cycle_us = 1000;
    std::string crc; // text of the CRC element; empty when there is none
};

// What the master says of a file it refuses: a status of the library's table and one line that
// names the element.
struct EniVerdict {
    uint32_t status = 0;
    std::string text;
};

// Reads a network from the text of an ENI file (any encoding pugixml knows).
EniVerdict parse_eni(std::string_view xml, Network &network);

// Whether a configuration fits the slaves that are really there.
EniVerdict compare_networks(const Network &configured, const Network &present);

} // namespace tarn::vcard
