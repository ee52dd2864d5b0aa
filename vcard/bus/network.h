// A network as an ENI file describes it.
#pragma once

#include <cstdint>
#include <optional>
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

// A change of a slave's EtherCAT state: 1, 2, 3 (BOOT), 4, 8.
struct Transition {
    uint8_t from = 0;
    uint8_t to = 0;
    bool operator==(const Transition &) const = default;
};

// A start command to a slave's registers.
struct InitCommand {
    std::vector<Transition> transitions;
    uint32_t command = 0;      // EtherCAT command: 1 APRD, 2 APWR, 4 FPRD, 5 FPWR, 7 BRD, 8 BWR
    uint16_t ado = 0;          // register
    std::vector<uint8_t> data; // zeros where the file gives a length only
};

// A start command to a slave's object dictionary.
struct CoeInitCommand {
    static constexpr uint8_t kDownload = 1; // ccs; all others read

    std::vector<Transition> transitions;
    std::string comment;
    uint16_t index = 0;
    uint8_t subindex = 0;
    bool complete_access = false;
    uint8_t ccs = kDownload;
    std::vector<uint8_t> data;
    bool disabled = false;
};

struct SyncManagerConfig {
    uint8_t number = 0;
    std::string type;               // "Outputs", "Inputs", "MBoxOut", "MBoxIn", or as the file says
    uint16_t start_address = 0;     // 0: not stated
    uint32_t size = 0;              // bytes as the file states; 0: not stated
    std::optional<uint8_t> control; // nothing when it is not stated
    bool enable = false;
    std::vector<uint16_t> pdos; // assigned, in their order
};

struct PdoEntry {
    uint16_t index = 0; // 0: padding
    uint8_t subindex = 0;
    uint32_t bits = 0;
    std::string name;
    std::string type; // as the file says: "UINT", "BIT4"...
};

struct PdoConfig {
    uint16_t index = 0;
    std::string name;
    bool fixed = false;
    bool assigned = false; // to a sync manager
    std::vector<PdoEntry> entries;

    [[nodiscard]] uint32_t bits() const {
        uint32_t sum = 0;
        for (const PdoEntry &entry : entries) {
            sum += entry.bits;
        }
        return sum;
    }
};

struct MailboxConfig {
    static constexpr uint16_t kUsualLength = 128; // where the file states none

    struct Area {
        uint16_t start = 0;
        uint16_t length = 0;
    };
    Area send; // host to slave, sync manager 0
    Area receive;
    std::optional<Area> boot_send;
    std::optional<Area> boot_receive;
    // Protocols; a file that names none means CoE and FoE.
    bool aoe = false;
    bool eoe = false;
    bool coe = false;
    bool foe = false;
    bool soe = false;
    bool voe = false;
    std::vector<CoeInitCommand> coe_commands;
};

struct DcConfig {
    bool reference_clock = false;
    uint32_t cycle0_ns = 0;
    uint32_t cycle1_ns = 0;
    int32_t shift_ns = 0;
};

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
    BitRun outputs; // host to slave
    BitRun inputs;  // slave to host
    // Where cyclic commands carry the first byte of the run; nothing when the file names none.
    std::optional<uint32_t> output_address;
    std::optional<uint32_t> input_address;
    bool written_only = false;        // the command that carries the outputs reads nothing
    uint16_t previous_port_slave = 0; // index of the slave it hangs on
    uint8_t previous_port = 0;        // its port: 1 to 3 for B to D, 0 where the file says none
    bool mailbox = false;             // has one: mailbox_config says more
    bool dc = false;                  // the same for dc_config
    MailboxConfig mailbox_config;
    DcConfig dc_config;
    std::vector<InitCommand> init_commands;
    std::vector<SyncManagerConfig>
        sync_managers;                  // by their numbers; process data only in most files
    std::vector<PdoConfig> output_pdos; // RxPdo elements; the assigned ones first, in their order
    std::vector<PdoConfig> input_pdos;  // TxPdo elements
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
    uint32_t frames_per_cycle = 1; // of all cyclic tasks
    std::string crc;               // text of the CRC element; empty when there is none
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
