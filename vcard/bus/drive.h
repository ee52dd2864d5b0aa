// Model of a CiA 402 servo drive: power state machine and simple motion.
#pragma once

#include <cstdint>

namespace tarn::vcard {

enum class DriveState {
    NotReadyToSwitchOn,
    SwitchOnDisabled,
    ReadyToSwitchOn,
    SwitchedOn,
    OperationEnabled,
    QuickStopActive,
    FaultReactionActive,
    Fault,
};

enum DriveMode : int8_t {
    kProfilePosition = 1,
    kProfileVelocity = 3,
    kCyclicPosition = 8,
    kCyclicVelocity = 9,
    kCyclicTorque = 10,
};

struct DriveCommand {
    uint16_t controlword = 0;
    int8_t mode = 0;             // 0 and unknown modes keep the present one
    int32_t target_position = 0; // increments
    int32_t target_velocity = 0; // increments per second
    int16_t target_torque = 0;   // thousandths of the rated torque
};

struct DriveFeedback {
    uint16_t statusword = 0;
    int8_t mode = 0;
    int32_t position = 0;
    int32_t velocity = 0;
    int16_t torque = 0;
};

// What the profile modes keep to; increments per second and per square second.
struct DriveProfile {
    double velocity;
    double acceleration;
    double deceleration;
    double quick_stop;
};

// Bits of the supported modes: profile position and velocity, cyclic position, velocity, torque.
inline constexpr uint32_t kSupportedDriveModes = 0x0385;

class Drive {
  public:
    static constexpr double kVelocityLimit = 50'000;      // profile modes, at first
    static constexpr double kCyclicVelocityLimit = 1e6;   // cyclic modes
    static constexpr double kAcceleration = 200'000;      // the same
    static constexpr double kBraking = 4 * kAcceleration; // quick stop, power off, fault

    explicit Drive(int8_t mode = kCyclicPosition) : mode_(mode) {}

    // One cycle of `seconds` with these outputs.
    DriveFeedback step(const DriveCommand &command, double seconds);

    // One cycle without valid outputs: an enabled drive brakes and goes into Fault.
    DriveFeedback step_without_outputs(double seconds);

    // Goes over to a mode; false when the drive does not know it.
    bool select(int8_t mode);

    [[nodiscard]] DriveState state() const { return state_; }
    [[nodiscard]] int8_t mode() const { return mode_; }
    [[nodiscard]] DriveProfile &profile() { return profile_; }
    [[nodiscard]] const DriveProfile &profile() const { return profile_; }

  private:
    void obey(uint16_t controlword);
    void enter(DriveState state);
    void move(const DriveCommand &command, double seconds);
    void move_profile_position(const DriveCommand &command, double seconds);
    void accept_set_point(const DriveCommand &command);
    void start_set_point(const DriveCommand &command);
    void move_cyclic_position(const DriveCommand &command, double seconds);
    void ramp(double velocity, double acceleration, double seconds);
    void advance(double seconds);
    [[nodiscard]] DriveFeedback feedback(const DriveCommand &command, double previous_velocity,
                                         double seconds) const;

    DriveProfile profile_{kVelocityLimit, kAcceleration, kAcceleration, kBraking};
    DriveState state_ = DriveState::NotReadyToSwitchOn;
    int8_t mode_;
    bool fault_reset_ = false;   // controlword bit 7 in the last cycle
    bool new_set_point_ = false; // controlword bit 4 in the last cycle
    bool acknowledge_ = false;
    bool pending_ = false; // a further set-point waits for the end of the present one
    DriveCommand pending_command_;
    bool moving_ = false;    // on the way to set_point_
    uint16_t mode_bits_ = 0; // statusword bits that the mode gives
    double set_point_ = 0;
    double position_ = 0;
    double velocity_ = 0;
};

} // namespace tarn::vcard
