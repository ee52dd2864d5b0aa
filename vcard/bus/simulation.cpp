#include "vcard/bus/simulation.h"

#include "vcard/bus/ethercat.h"

#include <cmath>
#include <map>

namespace tarn::vcard {
namespace {

constexpr uint32_t kChannelBits = 16; // analogue channels

using DriveMap = SlaveConfig::DriveMap;

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
    : network_(network), seconds_(network.cycle_us / 1e6), states_(network.slaves.size(), 1) {
    for (uint32_t i = 0; i < network.slaves.size(); ++i) {
        const SlaveConfig &slave = network.slaves[i];
        if (slave.kind == SlaveKind::Drive) {
            drives_.push_back({i, Drive(first_mode(slave.drive)), {}, {}, {}});
        }
    }
    find_sources();
}

// A slave reads back its own outputs. One without outputs reads those of the nearest slave of its
// kind before it that has outputs only, as if they were wired together.
void Simulation::find_sources() {
    std::map<SlaveKind, BitRun> nearest;
    for (const SlaveConfig &slave : network_.slaves) {
        if (slave.inputs.length == 0) {
            nearest[slave.kind] = slave.outputs;
        }
        sources_.push_back(slave.outputs.length != 0 ? slave.outputs : nearest[slave.kind]);
    }
}

void Simulation::set_states(const std::vector<uint8_t> &states) {
    states_ = states;
    held_.clear();
    looped_.clear();
    moving_.clear();
    for (uint32_t i = 0; i < network_.slaves.size(); ++i) {
        const BitRun &run = network_.slaves[i].outputs;
        if (states_[i] == kOp) {
            add_copy(held_, {run.offset, run.offset, run.length});
        } else {
            clear_bits(outputs_, run.offset, run.length);
        }
        add_inputs(i);
    }
}

void Simulation::add_copy(std::vector<Copy> &copies, Copy copy) {
    if (copy.length == 0) {
        return;
    }
    if (!copies.empty()) {
        Copy &last = copies.back();
        if (last.to + last.length == copy.to && last.from + last.length == copy.from) {
            last.length += copy.length;
            return;
        }
    }
    copies.push_back(copy);
}

void Simulation::add_inputs(uint32_t slave) {
    const SlaveConfig &config = network_.slaves[slave];
    if (config.kind == SlaveKind::Drive || config.inputs.length == 0 ||
        (states_[slave] != kSafeOp && states_[slave] != kOp)) {
        return;
    }
    const BitRun &source = sources_[slave];
    const uint32_t looped = std::min(config.inputs.length, source.length);
    add_copy(looped_, {config.inputs.offset, source.offset, looped});
    const bool analogue = config.kind == SlaveKind::AnalogIo;
    if (looped < config.inputs.length && (analogue || looped == 0)) {
        moving_.push_back(
            {slave, analogue, config.inputs.offset + looped, config.inputs.length - looped});
    }
}

void Simulation::step(const Image &outputs) {
    ++cycles_;
    for (const Copy &copy : held_) {
        copy_bits(outputs_, copy.to, outputs, copy.from, copy.length);
    }
    for (const Copy &copy : looped_) {
        copy_bits(inputs_, copy.to, outputs_, copy.from, copy.length);
    }
    for (const Moving &moving : moving_) {
        step_moving(moving);
    }
    for (DriveSlave &drive : drives_) {
        step_drive(drive);
    }
}

Simulation::DriveSlave *Simulation::drive(uint32_t slave) {
    const auto found =
        std::lower_bound(drives_.begin(), drives_.end(), slave,
                         [](const DriveSlave &drive, uint32_t at) { return drive.slave < at; });
    return found != drives_.end() && found->slave == slave ? &*found : nullptr;
}

// Digital inputs count up ten times a second; analogue ones swing, each channel with a phase of its
// own.
void Simulation::step_moving(const Moving &moving) {
    const double time = static_cast<double>(cycles_) * seconds_;
    uint32_t done = 0;
    for (uint32_t channel = 0; done < moving.length; ++channel) {
        const uint32_t bits = std::min(moving.length - done, moving.analogue ? kChannelBits : 32);
        const double swing = 10'000 * std::sin(time * 1.5 + channel * 0.8 + moving.slave);
        const uint32_t value = moving.analogue ? static_cast<uint32_t>(static_cast<int32_t>(swing))
                                               : static_cast<uint32_t>(time * 10);
        set_bits(inputs_, moving.offset + done, bits, value);
        done += bits;
    }
}

void Simulation::step_drive(DriveSlave &drive) {
    const uint8_t state = states_[drive.slave];
    if (state != kSafeOp && state != kOp) {
        return;
    }
    const SlaveConfig &config = network_.slaves[drive.slave];
    const DriveMap &map = config.drive;
    if (state == kOp) {
        const auto output = [&](uint32_t offset, uint32_t bits, auto &value) {
            if (offset != DriveMap::kUnmapped) {
                value = static_cast<std::remove_reference_t<decltype(value)>>(
                    get_bits(outputs_, config.outputs.offset + offset, bits));
            }
        };
        DriveCommand &command = drive.command;
        command = drive.settings;
        output(map.controlword, 16, command.controlword);
        output(map.mode, 8, command.mode);
        output(map.target_position, 32, command.target_position);
        output(map.target_velocity, 32, command.target_velocity);
        output(map.target_torque, 16, command.target_torque);
        drive.feedback = drive.drive.step(command, seconds_);
    } else {
        drive.feedback = drive.drive.step_without_outputs(seconds_);
    }
    const DriveFeedback &feedback = drive.feedback;
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
