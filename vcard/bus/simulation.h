// What the slaves of a network do with their process data.
#pragma once

#include "vcard/bus/bits.h"
#include "vcard/bus/drive.h"
#include "vcard/bus/network.h"

#include <cstdint>
#include <vector>

namespace tarn::vcard {

class Simulation {
  public:
    // Keeps a reference to the network.
    explicit Simulation(const Network &network);

    // Takes the output image over into the slaves: those in OP hold what it says, the others hold
    // zeros. `states` has one EtherCAT state per slave, 0 for slaves that do not answer.
    void take_outputs(const Image &outputs, const std::vector<uint8_t> &states);

    // One cycle of all slaves in SAFEOP and OP. Inputs of the others stay as they are.
    void step(const std::vector<uint8_t> &states);

    // As the slaves hold them.
    [[nodiscard]] const Image &outputs() const { return outputs_; }
    [[nodiscard]] const Image &inputs() const { return inputs_; }

  private:
    // Inputs of a slave that is no drive: bits copied from outputs, then bits that move.
    struct Inputs {
        uint32_t slave;
        SlaveKind kind;
        BitRun run;
        BitRun source;
    };
    struct DriveSlave {
        uint32_t slave;
        Drive drive;
    };

    void add_inputs(uint32_t slave);
    void step_inputs(const Inputs &inputs);
    void step_drive(DriveSlave &drive, bool outputs_valid);

    const Network &network_;
    double seconds_;
    uint64_t cycles_ = 0;
    std::vector<uint32_t> consumers_; // slaves with outputs
    std::vector<Inputs> producers_;
    std::vector<DriveSlave> drives_;
    Image outputs_;
    Image inputs_;
};

} // namespace tarn::vcard
