#include "vcard/bus/drive.h"

#include <algorithm>
#include <cmath>

namespace tarn::vcard {
namespace {

// Controlword
constexpr uint16_t kSwitchOn = 0x0001;
constexpr uint16_t kEnableVoltage = 0x0002;
constexpr uint16_t kNoQuickStop = 0x0004;
constexpr uint16_t kEnableOperation = 0x0008;
constexpr uint16_t kNewSetPoint = 0x0010;
constexpr uint16_t kChangeImmediately = 0x0020;
constexpr uint16_t kRelative = 0x0040;
constexpr uint16_t kFaultReset = 0x0080;
constexpr uint16_t kHalt = 0x0100;

// Statusword
constexpr uint16_t kVoltageEnabled = 0x0010;
constexpr uint16_t kRemote = 0x0200;
constexpr uint16_t kTargetReached = 0x0400;
constexpr uint16_t kModeBit12 = 0x1000; // acknowledge, zero speed or following, by mode
constexpr uint16_t kModeBit13 = 0x2000; // following error

// The statusword of each DriveState.
constexpr uint16_t kStatuswords[] = {
    0x0000,
    0x0040 | kRemote,
    0x0021 | kVoltageEnabled | kRemote,
    0x0023 | kVoltageEnabled | kRemote,
    0x0027 | kVoltageEnabled | kRemote,
    0x0007 | kVoltageEnabled | kRemote,
    0x000F | kVoltageEnabled | kRemote,
    0x0008 | kRemote,
};

enum Command { kDisableVoltage, kQuickStop, kShutdown, kSwitchOnOnly, kEnable };

Command decode(uint16_t controlword) {
    if ((controlword & kEnableVoltage) == 0) {
        return kDisableVoltage;
    }
    if ((controlword & kNoQuickStop) == 0) {
        return kQuickStop;
    }
    if ((controlword & kSwitchOn) == 0) {
        return kShutdown;
    }
    return (controlword & kEnableOperation) == 0 ? kSwitchOnOnly : kEnable;
}

// Next state by [state][command]; one transition per cycle. Fault reset and the ends of quick stop
// and fault reaction are not commands of this kind.
using enum DriveState;
constexpr DriveState kTransitions[][5] = {
    // disable voltage, quick stop, shutdown, switch on, enable operation
    {SwitchOnDisabled, SwitchOnDisabled, SwitchOnDisabled, SwitchOnDisabled, SwitchOnDisabled},
    {SwitchOnDisabled, SwitchOnDisabled, ReadyToSwitchOn, SwitchOnDisabled, SwitchOnDisabled},
    {SwitchOnDisabled, SwitchOnDisabled, ReadyToSwitchOn, SwitchedOn, SwitchedOn},
    {SwitchOnDisabled, SwitchOnDisabled, ReadyToSwitchOn, SwitchedOn, OperationEnabled},
    {SwitchOnDisabled, QuickStopActive, ReadyToSwitchOn, SwitchedOn, OperationEnabled},
    {SwitchOnDisabled, QuickStopActive, QuickStopActive, QuickStopActive, OperationEnabled},
    {FaultReactionActive, FaultReactionActive, FaultReactionActive, FaultReactionActive,
     FaultReactionActive},
    {Fault, Fault, Fault, Fault, Fault},
};

bool known_mode(int8_t mode) {
    return mode == kProfilePosition || mode == kProfileVelocity || mode == kCyclicPosition ||
           mode == kCyclicVelocity || mode == kCyclicTorque;
}

constexpr double kWrap = 4294967296.0; // positions are 32 bits wide

double wrapped(double position) {
    return position - kWrap * std::floor((position + kWrap / 2) / kWrap);
}

template <typename T>
T rounded(double value) {
    return static_cast<T>(std::lround(
        std::clamp(value, static_cast<double>(INT32_MIN), static_cast<double>(INT32_MAX))));
}

} // namespace

bool Drive::select(int8_t mode) {
    if (!known_mode(mode)) {
        return false;
    }
    if (mode != mode_) {
        mode_ = mode;
        enter(state_);
    }
    return true;
}

DriveFeedback Drive::step(const DriveCommand &command, double seconds) {
    const double before = velocity_;
    select(command.mode);
    obey(command.controlword);
    move(command, seconds);
    new_set_point_ = (command.controlword & kNewSetPoint) != 0;
    return feedback(command, before, seconds);
}

DriveFeedback Drive::step_without_outputs(double seconds) {
    const double before = velocity_;
    if (state_ == OperationEnabled || state_ == QuickStopActive) {
        enter(FaultReactionActive);
    } else if (state_ == NotReadyToSwitchOn) {
        enter(SwitchOnDisabled);
    }
    move({}, seconds);
    return feedback({}, before, seconds);
}

void Drive::obey(uint16_t controlword) {
    const bool reset = (controlword & kFaultReset) != 0;
    if (reset) {
        if (state_ == Fault && !fault_reset_) {
            enter(SwitchOnDisabled);
        }
    } else {
        const DriveState next =
            kTransitions[static_cast<int>(state_)][static_cast<int>(decode(controlword))];
        if (next != state_) {
            enter(next);
        }
    }
    fault_reset_ = reset;
}

void Drive::enter(DriveState state) {
    state_ = state;
    moving_ = pending_ = acknowledge_ = false;
    set_point_ = position_;
}

void Drive::move(const DriveCommand &command, double seconds) {
    mode_bits_ = 0;
    if (state_ != OperationEnabled) {
        ramp(0, state_ == QuickStopActive ? profile_.quick_stop : kBraking, seconds);
        if (velocity_ == 0 && state_ == QuickStopActive) {
            enter(SwitchOnDisabled);
        } else if (velocity_ == 0 && state_ == FaultReactionActive) {
            enter(Fault);
        }
        return;
    }
    const bool halt = (command.controlword & kHalt) != 0;
    switch (mode_) {
    case kProfilePosition:
        move_profile_position(command, seconds);
        break;
    case kProfileVelocity: {
        const double wanted = halt ? 0
                                   : std::clamp<double>(command.target_velocity, -profile_.velocity,
                                                        profile_.velocity);
        const bool slower = std::abs(wanted) < std::abs(velocity_);
        ramp(wanted, slower ? profile_.deceleration : profile_.acceleration, seconds);
        mode_bits_ = static_cast<uint16_t>((velocity_ == wanted ? kTargetReached : 0) |
                                           (velocity_ == 0 ? kModeBit12 : 0));
        break;
    }
    case kCyclicPosition:
        move_cyclic_position(command, seconds);
        break;
    case kCyclicVelocity:
        ramp(std::clamp<double>(command.target_velocity, -kCyclicVelocityLimit,
                                kCyclicVelocityLimit),
             10 * kAcceleration, seconds);
        mode_bits_ = kModeBit12;
        break;
    default: { // cyclic torque: a flywheel with friction
        const double force = command.target_torque / 1000.0 * kAcceleration - velocity_;
        velocity_ = std::clamp(velocity_ + force * std::min(seconds, 0.1), -kCyclicVelocityLimit,
                               kCyclicVelocityLimit);
        advance(seconds);
        mode_bits_ = kModeBit12;
        break;
    }
    }
}

// ---- profile position -------------------------------------------------------------------------

void Drive::accept_set_point(const DriveCommand &command) {
    const bool requested = (command.controlword & kNewSetPoint) != 0;
    if (requested && !new_set_point_ && !pending_) {
        acknowledge_ = true;
        if (moving_ && (command.controlword & kChangeImmediately) == 0) {
            pending_ = true;
            pending_command_ = command;
        } else {
            start_set_point(command);
        }
    } else if (!requested && !pending_) {
        acknowledge_ = false; // stays set while there is no room for a further set-point
    }
}

void Drive::start_set_point(const DriveCommand &command) {
    const bool relative = (command.controlword & kRelative) != 0;
    set_point_ = wrapped(command.target_position + (relative ? set_point_ : 0.0));
    moving_ = true;
}

void Drive::move_profile_position(const DriveCommand &command, double seconds) {
    accept_set_point(command);
    if ((command.controlword & kHalt) != 0) {
        ramp(0, profile_.deceleration, seconds);
        mode_bits_ = velocity_ == 0 ? kTargetReached : 0;
    } else if (moving_) {
        const double rest = set_point_ - position_;
        const double limit =
            std::min(profile_.velocity, std::sqrt(2 * profile_.deceleration * std::abs(rest)));
        const double wanted = std::copysign(limit, rest);
        const bool slower = std::abs(wanted) < std::abs(velocity_);
        ramp(wanted, slower ? 4 * profile_.deceleration : profile_.acceleration, seconds);
        const double left = set_point_ - position_;
        const bool towards = (velocity_ > 0) == (rest > 0);
        if (towards && (std::abs(left) < 0.5 || (left > 0) != (rest > 0))) {
            position_ = set_point_;
            velocity_ = 0;
            moving_ = false;
        }
        if (!moving_ && pending_) {
            pending_ = false;
            start_set_point(pending_command_);
        }
    } else {
        ramp(0, profile_.deceleration, seconds);
    }
    if (!moving_) {
        mode_bits_ = kTargetReached;
    }
    if (acknowledge_) {
        mode_bits_ = static_cast<uint16_t>(mode_bits_ | kModeBit12);
    }
}

// ---- motion -----------------------------------------------------------------------------------

void Drive::move_cyclic_position(const DriveCommand &command, double seconds) {
    const double rest = wrapped(command.target_position - position_);
    const double reach = kCyclicVelocityLimit * seconds;
    const double way = std::clamp(rest, -reach, reach);
    velocity_ = way / seconds;
    position_ = wrapped(position_ + way);
    mode_bits_ = static_cast<uint16_t>(kModeBit12 | (way != rest ? kModeBit13 : 0));
}

void Drive::ramp(double velocity, double acceleration, double seconds) {
    const double reach = acceleration * seconds;
    velocity_ += std::clamp(velocity - velocity_, -reach, reach);
    advance(seconds);
}

void Drive::advance(double seconds) {
    position_ = wrapped(position_ + velocity_ * seconds);
}

DriveFeedback Drive::feedback(const DriveCommand &command, double previous_velocity,
                              double seconds) const {
    DriveFeedback result;
    result.statusword = static_cast<uint16_t>(kStatuswords[static_cast<int>(state_)] | mode_bits_);
    result.mode = mode_;
    result.position = rounded<int32_t>(position_);
    result.velocity = rounded<int32_t>(velocity_);
    const double load = (velocity_ - previous_velocity) / seconds / kAcceleration * 1000 +
                        velocity_ / kCyclicVelocityLimit * 100;
    result.torque = state_ == OperationEnabled && mode_ == kCyclicTorque
                        ? command.target_torque
                        : static_cast<int16_t>(std::clamp(load, -3000.0, 3000.0));
    return result;
}

} // namespace tarn::vcard
