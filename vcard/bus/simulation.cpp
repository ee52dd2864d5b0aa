#include "vcard/bus/simulation.h"

#include <cmath>

namespace tarn::vcard {
namespace {

constexpr uint8_t kSafeOp = 4;
constexpr uint8_t kOp = 8;
constexpr uint32_t kChannelBits = 16; // analogue channels

using DriveMap = SlaveConfig::DriveMap;

uint32_t get_mapped(const Image &image, const BitRun &run, uint32_t offset, uint32_t bits) {
    return offset == DriveMap::kUnmapped ? 0 : get_bits(image, run.offset + offset, bits);
}

void set_mapped(Image &image, const BitRun &run, uint32_t offset, uint32_t bits, uint32_t value) {
    if (offset != DriveMap::kUnmapped) {
        set_bits(image, run.offset + offset, bits, value);
    }
}

// The mode of a drive whose mode of operation is not mapped or still 0.
int8_t first_mode(const DriveMap &map) {
    if (map.target_position != DriveMap::kUnmapped) {
        return kCyclicPosition;
    }
    return map.target_velocity != DriveMap::kUnmapped ? kCyclicVelocity : kCyclicTorque;
}

} // namespace

Simulation::Simulation(const Network &network)
    : network_(network), seconds_(network.cycle_us / 1e6) {
    for (uint32_t i = 0; i < network.slaves.size(); ++i) {
        const SlaveConfig &slave = network.slaves[i];
        if (slave.outputs.length != 0) {
            consumers_.push_back(i);
        }
        if (slave.kind == SlaveKind::Drive) {
            drives_.push_back({i, Drive(first_mode(slave.drive))});
        } else if (slave.inputs.length != 0) {
            add_inputs(i);
        }
    }
}

// A slave reads back its own outputs. One without outputs reads those of the nearest slave of its
// kind before it that has outputs only, as if they were wired together.
void Simulation::add_inputs(uint32_t slave) {
    const SlaveConfig &config = network_.slaves[slave];
    Inputs inputs{slave, config.kind, config.inputs, config.outputs};
    for (uint32_t i = slave; inputs.source.length == 0 && i-- > 0;) {
        const SlaveConfig &before = network_.slaves[i];
        if (before.kind == config.kind && before.inputs.length == 0) {
            inputs.source = before.outputs;
        }
    }
    producers_.push_back(inputs);
}

void Simulation::take_outputs(const Image &outputs, const std::vector<uint8_t> &states) {
    for (const uint32_t slave : consumers_) {
        const BitRun &run = network_.slaves[slave].outputs;
        if (states[slave] == kOp) {
            copy_bits(outputs_, run.offset, outputs, run.offset, run.length);
        } else {
            clear_bits(outputs_, run.offset, run.length);
        }
    }
}

void Simulation::step(const std::vector<uint8_t> &states) {
    ++cycles_;
    for (const Inputs &inputs : producers_) {
        if (states[inputs.slave] == kSafeOp || states[inputs.slave] == kOp) {
            step_inputs(inputs);
        }
    }
    for (DriveSlave &drive : drives_) {
        if (states[drive.slave] == kSafeOp || states[drive.slave] == kOp) {
            step_drive(drive, states[drive.slave] == kOp);
        }
    }
}

// Digital inputs without a source count up ten times a second; analogue ones swing, each channel
// with its own phase.
void Simulation::step_inputs(const Inputs &inputs) {
    const bool analogue = inputs.kind == SlaveKind::AnalogIo;
    uint32_t done = std::min(inputs.run.length, inputs.source.length);
    copy_bits(inputs_, inputs.run.offset, outputs_, inputs.source.offset, done);
    if (inputs.source.length != 0 && !analogue) {
        return; // inputs that nothing drives stay 0
    }
    const double time = static_cast<double>(cycles_) * seconds_;
    for (uint32_t channel = 0; done < inputs.run.length; ++channel) {
        const uint32_t bits = std::min(inputs.run.length - done, analogue ? kChannelBits : 32);
        const double swing = 10'000 * std::sin(time * 1.5 + channel * 0.8 + inputs.slave);
        const auto value = analogue ? static_cast<uint32_t>(static_cast<int32_t>(swing))
                                    : static_cast<uint32_t>(time * 10);
        set_bits(inputs_, inputs.run.offset + done, bits, value);
        done += bits;
    }
}

void Simulation::step_drive(DriveSlave &drive, bool outputs_valid) {
    const SlaveConfig &config = network_.slaves[drive.slave];
    const DriveMap &map = config.drive;
    DriveFeedback feedback;
    if (outputs_valid) {
        const auto output = [&](uint32_t offset, uint32_t bits) {
            return get_mapped(outputs_, config.outputs, offset, bits);
        };
        DriveCommand command;
        command.controlword = static_cast<uint16_t>(output(map.controlword, 16));
        command.mode = static_cast<int8_t>(output(map.mode, 8));
        command.target_position = static_cast<int32_t>(output(map.target_position, 32));
        command.target_velocity = static_cast<int32_t>(output(map.target_velocity, 32));
        command.target_torque = static_cast<int16_t>(output(map.target_torque, 16));
        feedback = drive.drive.step(command, seconds_);
    } else {
        feedback = drive.drive.step_without_outputs(seconds_);
    }
    const auto input = [&](uint32_t offset, uint32_t bits, int32_t value) {
        set_mapped(inputs_, config.inputs, offset, bits, static_cast<uint32_t>(value));
    };
    input(map.statusword, 16, feedback.statusword);
    input(map.mode_display, 8, feedback.mode);
    input(map.actual_position, 32, feedback.position);
    input(map.actual_velocity, 32, feedback.velocity);
    input(map.actual_torque, 16, feedback.torque);
}

} // namespace tarn::vcard
