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
    struct DriveSlave {
        uint32_t slave;
        Drive drive;
        DriveCommand settings;  // set by services: counts for what is not mapped
        DriveCommand command;   // of the last cycle in OP
        DriveFeedback feedback; // of the last cycle
    };

    // Keeps a reference to the network.
    explicit Simulation(const Network &network);

    // One EtherCAT state per slave, 0 for slaves that do not answer. To be called when one changed;
    // all slaves are in INIT at first.
    void set_states(const std::vector<uint8_t> &states);

    // One cycle. Slaves in OP hold what the image says, the others zeros; slaves in SAFEOP and OP
    // give inputs, the inputs of the others stay as they are.
    void step(const Image &outputs);

    // As the slaves hold them.
    [[nodiscard]] const Image &outputs() const { return outputs_; }
    [[nodiscard]] const Image &inputs() const { return inputs_; }

    // Null for slaves that are no drives.
    [[nodiscard]] DriveSlave *drive(uint32_t slave);

  private:
    struct Copy {
        uint32_t to;
        uint32_t from;
        uint32_t length;
    };
    // Inputs that nothing drives.
    struct Moving {
        uint32_t slave;
        bool analogue;
        uint32_t offset;
        uint32_t length;
    };
    static void add_copy(std::vector<Copy> &copies, Copy copy);
    void find_sources();
    void add_inputs(uint32_t slave);
    void step_moving(const Moving &moving);
    void step_drive(DriveSlave &drive);

    const Network &network_;
    double seconds_;
    uint64_t cycles_ = 0;
    std::vector<uint8_t> states_;
    std::vector<BitRun> sources_; // per slave, the outputs that its inputs repeat
    // What the states make of the process data; neighbours that behave alike are one copy.
    std::vector<Copy> held_;   // image to slaves
    std::vector<Copy> looped_; // outputs of slaves to inputs
    std::vector<Moving> moving_;
    std::vector<DriveSlave> drives_;
    Image outputs_;
    Image inputs_;
};

} // namespace tarn::vcard
