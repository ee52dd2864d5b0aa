// What the master knows of a slave, and where the slave's data lies in the process image.
#pragma once

#include "errors.h"

#include <pci_tarn/pci_tarn.h>

#include <optional>
#include <string>
#include <vector>

namespace tarn {

// A run of bits in the image of one direction.
struct BitRun {
    uint32_t bit = 0;
    uint32_t bits = 0;
};

struct Slave {
    uint16_t position = 0;
    std::string name; // empty when the firmware's record is not known
    uint8_t state = 0;
    bool error = false;
    uint16_t al_status_code = 0;
    uint32_t vendor_id = 0;
    uint32_t product_code = 0;
    uint32_t revision_no = 0;
    uint32_t serial_no = 0;
    uint16_t address = 0;
    uint32_t alias = 0;
    BitRun outputs; // physical
    BitRun inputs;
};

uint16_t slave_count(EcatHandle *channel);

// Throws Failure when the card does not have the slave.
Slave read_slave(EcatHandle *channel, uint16_t position);

// "SAFEOP+ERROR".
std::string slave_state_text(const Slave &slave);

// Where the slave's data of a direction lies in the image that applications address: at its
// logical address when the ENI file maps it, else where it lies physically.
BitRun slave_run(EcatHandle *channel, uint32_t direction, uint16_t position);

// Whether the temp.dat of the current directory describes the bus that runs.
bool image_is_described(EcatHandle *channel);

} // namespace tarn
