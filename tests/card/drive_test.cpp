// The simulated CiA 402 drive: every transition of its state machine, and its motion by mode.
#include "vcard/bus/drive.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace tarn::vcard;

namespace {

constexpr double kCycle = 0.001;

// Controlwords
constexpr uint16_t kDisableVoltage = 0x0000;
constexpr uint16_t kQuickStop = 0x0002;
constexpr uint16_t kShutdown = 0x0006;
constexpr uint16_t kSwitchOn = 0x0007;
constexpr uint16_t kEnable = 0x000F;
constexpr uint16_t kNewSetPoint = 0x001F;
constexpr uint16_t kFaultReset = 0x0080;
constexpr uint16_t kHalt = 0x010F;

constexpr uint16_t kTargetReached = 0x0400;
constexpr uint16_t kBit12 = 0x1000;

class DriveTest : public testing::Test {
  protected:
    DriveFeedback step(uint16_t controlword, int cycles = 1) {
        command.controlword = controlword;
        for (int i = 0; i < cycles; ++i) {
            last = drive.step(command, kCycle);
        }
        return last;
    }
    void enable(int8_t mode = 0) {
        command.mode = mode;
        step(kDisableVoltage);
        step(kShutdown);
        step(kSwitchOn);
        step(kEnable);
        ASSERT_EQ(drive.state(), DriveState::OperationEnabled);
    }
    void make_fault() {
        enable();
        for (int i = 0; i < 1000 && drive.state() != DriveState::Fault; ++i) {
            last = drive.step_without_outputs(kCycle);
        }
        ASSERT_EQ(drive.state(), DriveState::Fault);
    }
    // Cycles until the statusword has `bits`; fails the test when they never come.
    int run_until(uint16_t controlword, uint16_t bits, int most = 100'000) {
        for (int i = 1; i <= most; ++i) {
            if ((step(controlword).statusword & bits) == bits) {
                return i;
            }
        }
        ADD_FAILURE() << "statusword " << std::hex << last.statusword;
        return most;
    }

    Drive drive;
    DriveCommand command;
    DriveFeedback last;
};

// ---- state machine ----------------------------------------------------------------------------

TEST_F(DriveTest, LeavesNotReadyByItself) {
    EXPECT_EQ(drive.state(), DriveState::NotReadyToSwitchOn);
    EXPECT_EQ(step(kDisableVoltage).statusword & 0x4F, 0x40);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

TEST_F(DriveTest, StatuswordsNameTheStates) {
    EXPECT_EQ(step(kDisableVoltage).statusword, 0x0240);
    EXPECT_EQ(step(kShutdown).statusword, 0x0231);
    EXPECT_EQ(step(kSwitchOn).statusword, 0x0233);
    EXPECT_EQ(step(kEnable).statusword & 0x6F, 0x27);
}

TEST_F(DriveTest, ShutdownMakesReady) {
    step(kDisableVoltage);
    step(kShutdown);
    EXPECT_EQ(drive.state(), DriveState::ReadyToSwitchOn);
}

TEST_F(DriveTest, SwitchOnDisabledNeedsShutdownFirst) {
    step(kDisableVoltage);
    for (const uint16_t controlword : {kSwitchOn, kEnable, kQuickStop}) {
        step(controlword);
        EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
    }
}

TEST_F(DriveTest, ReadySwitchesOn) {
    step(kDisableVoltage);
    step(kShutdown);
    step(kSwitchOn);
    EXPECT_EQ(drive.state(), DriveState::SwitchedOn);
}

TEST_F(DriveTest, ReadyEnablesThroughSwitchedOn) {
    step(kDisableVoltage);
    step(kShutdown);
    step(kEnable);
    EXPECT_EQ(drive.state(), DriveState::SwitchedOn);
    step(kEnable);
    EXPECT_EQ(drive.state(), DriveState::OperationEnabled);
}

TEST_F(DriveTest, ReadyIsDisabledByDisableVoltage) {
    step(kDisableVoltage);
    step(kShutdown);
    step(kDisableVoltage);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

TEST_F(DriveTest, ReadyIsDisabledByQuickStop) {
    step(kDisableVoltage);
    step(kShutdown);
    step(kQuickStop);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

class DriveSwitchedOn : public DriveTest {
  protected:
    void SetUp() override {
        step(kDisableVoltage);
        step(kShutdown);
        step(kSwitchOn);
        ASSERT_EQ(drive.state(), DriveState::SwitchedOn);
    }
};

TEST_F(DriveSwitchedOn, Enables) {
    step(kEnable);
    EXPECT_EQ(drive.state(), DriveState::OperationEnabled);
}

TEST_F(DriveSwitchedOn, ShutdownMakesReady) {
    step(kShutdown);
    EXPECT_EQ(drive.state(), DriveState::ReadyToSwitchOn);
}

TEST_F(DriveSwitchedOn, DisableVoltageDisables) {
    step(kDisableVoltage);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

TEST_F(DriveSwitchedOn, QuickStopDisables) {
    step(kQuickStop);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

class DriveEnabled : public DriveTest {
  protected:
    void SetUp() override { enable(); }
};

TEST_F(DriveEnabled, SwitchOnDisablesOperation) {
    step(kSwitchOn);
    EXPECT_EQ(drive.state(), DriveState::SwitchedOn);
}

TEST_F(DriveEnabled, ShutdownMakesReady) {
    step(kShutdown);
    EXPECT_EQ(drive.state(), DriveState::ReadyToSwitchOn);
}

TEST_F(DriveEnabled, DisableVoltageDisables) {
    step(kDisableVoltage);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

TEST_F(DriveEnabled, QuickStopBrakesThenDisables) {
    enable(kProfileVelocity);
    command.target_velocity = 20'000;
    step(kEnable, 500);
    ASSERT_EQ(last.velocity, 20'000);
    EXPECT_EQ(step(kQuickStop).statusword & 0x6F, 0x07);
    EXPECT_EQ(drive.state(), DriveState::QuickStopActive);
    EXPECT_LT(last.velocity, 20'000);
    step(kQuickStop, 100);
    EXPECT_EQ(last.velocity, 0);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

TEST_F(DriveEnabled, QuickStopCanBeLeftByEnable) {
    enable(kProfileVelocity);
    command.target_velocity = 20'000;
    step(kEnable, 500);
    step(kQuickStop);
    step(kEnable);
    EXPECT_EQ(drive.state(), DriveState::OperationEnabled);
}

TEST_F(DriveEnabled, QuickStopCanBeCutByDisableVoltage) {
    enable(kProfileVelocity);
    command.target_velocity = 20'000;
    step(kEnable, 500);
    step(kQuickStop);
    step(kDisableVoltage);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

TEST_F(DriveEnabled, FaultResetBitIsNoCommandHere) {
    step(kFaultReset);
    EXPECT_EQ(drive.state(), DriveState::OperationEnabled);
}

TEST_F(DriveEnabled, LostOutputsEndInFault) {
    last = drive.step_without_outputs(kCycle);
    EXPECT_EQ(drive.state(), DriveState::Fault); // at rest the reaction takes no time
    EXPECT_EQ(last.statusword & 0x4F, 0x08);
}

TEST_F(DriveEnabled, LostOutputsBrakeFirst) {
    enable(kProfileVelocity);
    command.target_velocity = 20'000;
    step(kEnable, 500);
    last = drive.step_without_outputs(kCycle);
    EXPECT_EQ(drive.state(), DriveState::FaultReactionActive);
    EXPECT_EQ(last.statusword & 0x4F, 0x0F);
}

TEST_F(DriveTest, LostOutputsDoNotHurtADisabledDrive) {
    step(kDisableVoltage);
    drive.step_without_outputs(kCycle);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

TEST_F(DriveTest, FaultIgnoresOtherCommands) {
    make_fault();
    for (const uint16_t controlword :
         {kDisableVoltage, kShutdown, kSwitchOn, kEnable, kQuickStop}) {
        step(controlword);
        EXPECT_EQ(drive.state(), DriveState::Fault);
    }
}

TEST_F(DriveTest, FaultIsResetByARisingEdge) {
    make_fault();
    step(kDisableVoltage);
    step(kFaultReset);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

TEST_F(DriveTest, FaultResetHeldSinceBeforeDoesNothing) {
    enable();
    step(kFaultReset | kEnable);
    while (drive.state() != DriveState::Fault) {
        drive.step_without_outputs(kCycle);
    }
    step(kFaultReset);
    EXPECT_EQ(drive.state(), DriveState::Fault);
    step(0);
    step(kFaultReset);
    EXPECT_EQ(drive.state(), DriveState::SwitchOnDisabled);
}

TEST_F(DriveTest, ModeIsDisplayed) {
    EXPECT_EQ(step(0).mode, kCyclicPosition);
    for (const int8_t mode : {kProfilePosition, kProfileVelocity, kCyclicVelocity, kCyclicTorque}) {
        command.mode = mode;
        EXPECT_EQ(step(0).mode, mode);
    }
}

TEST_F(DriveTest, UnknownModesKeepThePresentOne) {
    command.mode = kProfileVelocity;
    step(0);
    for (const int mode : {0, 2, 6, 99, -1}) {

        command.mode = static_cast<int8_t>(mode);
        EXPECT_EQ(step(0).mode, kProfileVelocity);
    }
}

TEST_F(DriveTest, StandsStillUnlessEnabled) {
    command.mode = kCyclicPosition;
    command.target_position = 1000;
    step(kDisableVoltage);
    step(kShutdown);
    step(kSwitchOn, 100);
    EXPECT_EQ(last.position, 0);
}

// ---- profile position -------------------------------------------------------------------------

class DriveProfilePosition : public DriveTest {
  protected:
    void SetUp() override { enable(kProfilePosition); }
};

TEST_F(DriveProfilePosition, WaitsForANewSetPoint) {
    command.target_position = 1000;
    step(kEnable, 100);
    EXPECT_EQ(last.position, 0);
    EXPECT_TRUE(last.statusword & kTargetReached);
}

TEST_F(DriveProfilePosition, MovesWithinVisibleTime) {
    command.target_position = 20'000;
    step(kNewSetPoint);
    EXPECT_FALSE(last.statusword & kTargetReached);
    const int cycles = run_until(kNewSetPoint, kTargetReached);
    EXPECT_GT(cycles, 300);
    EXPECT_LT(cycles, 3000);
    EXPECT_EQ(last.position, 20'000);
    EXPECT_EQ(last.velocity, 0);
}

TEST_F(DriveProfilePosition, ReachesNegativeTargetsToo) {
    command.target_position = -12'345;
    step(kNewSetPoint);
    run_until(kNewSetPoint, kTargetReached);
    EXPECT_EQ(last.position, -12'345);
}

TEST_F(DriveProfilePosition, KeepsTheVelocityLimit) {
    command.target_position = 100'000;
    int32_t fastest = 0;
    for (step(kNewSetPoint); !(last.statusword & kTargetReached); step(kNewSetPoint)) {
        fastest = std::max(fastest, last.velocity);
        ASSERT_LE(last.position, 100'000);
    }
    EXPECT_EQ(fastest, 50'000);
}

TEST_F(DriveProfilePosition, AcknowledgesUntilTheBitFalls) {
    command.target_position = 5000;
    EXPECT_TRUE(step(kNewSetPoint).statusword & kBit12);
    EXPECT_TRUE(step(kNewSetPoint).statusword & kBit12);
    EXPECT_FALSE(step(kEnable).statusword & kBit12);
}

TEST_F(DriveProfilePosition, TakesASetPointOncePerEdge) {
    command.target_position = 1000;
    step(kNewSetPoint);
    run_until(kNewSetPoint, kTargetReached);
    command.target_position = 2000;
    step(kNewSetPoint, 500);
    EXPECT_EQ(last.position, 1000);
}

TEST_F(DriveProfilePosition, QueuesAFurtherSetPoint) {
    command.target_position = 1000;
    step(kNewSetPoint);
    step(kEnable);
    command.target_position = -500;
    step(kNewSetPoint);
    EXPECT_TRUE(step(kEnable).statusword & kBit12); // no room for a third one
    int32_t furthest = 0;
    for (int i = 0; i < 5000; ++i) {
        furthest = std::max(furthest, step(kEnable).position);
    }
    EXPECT_EQ(furthest, 1000);
    EXPECT_EQ(last.position, -500);
    EXPECT_FALSE(last.statusword & kBit12);
}

TEST_F(DriveProfilePosition, ChangesImmediatelyWhenAsked) {
    command.target_position = 50'000;
    step(kNewSetPoint, 100);
    step(kEnable);
    command.target_position = -1000;
    step(kNewSetPoint | 0x20);
    int32_t furthest = 0;
    for (int i = 0; i < 5000; ++i) {
        furthest = std::max(furthest, step(kEnable).position);
    }
    EXPECT_LT(furthest, 50'000);
    EXPECT_EQ(last.position, -1000);
}

TEST_F(DriveProfilePosition, MovesRelativelyWhenAsked) {
    command.target_position = 300;
    for (int i = 0; i < 2; ++i) {
        step(kNewSetPoint | 0x40);
        run_until(kNewSetPoint | 0x40, kTargetReached);
        step(kEnable);
    }
    EXPECT_EQ(last.position, 600);
}

TEST_F(DriveProfilePosition, HaltsAndGoesOn) {
    command.target_position = 50'000;
    step(kNewSetPoint, 200);
    step(kHalt, 500);
    EXPECT_EQ(last.velocity, 0);
    EXPECT_TRUE(last.statusword & kTargetReached);
    EXPECT_LT(last.position, 50'000);
    step(kEnable, 5000);
    EXPECT_EQ(last.position, 50'000);
}

TEST_F(DriveProfilePosition, ForgetsTheTargetWhenDisabled) {
    command.target_position = 50'000;
    step(kNewSetPoint, 200);
    step(kDisableVoltage, 500);
    const int32_t rest = last.position;
    enable(kProfilePosition);
    step(kEnable, 500);
    EXPECT_EQ(last.position, rest);
}

// ---- other modes ------------------------------------------------------------------------------

TEST_F(DriveTest, ProfileVelocityRampsUp) {
    enable(kProfileVelocity);
    command.target_velocity = 10'000;
    step(kEnable, 10);
    EXPECT_GT(last.velocity, 0);
    EXPECT_LT(last.velocity, 10'000);
    EXPECT_FALSE(last.statusword & kTargetReached);
    run_until(kEnable, kTargetReached);
    EXPECT_EQ(last.velocity, 10'000);
    const int32_t before = last.position;
    step(kEnable, 100);
    EXPECT_NEAR(last.position - before, 1000, 2);
}

TEST_F(DriveTest, ProfileVelocityIsLimited) {
    enable(kProfileVelocity);
    command.target_velocity = -2'000'000'000;
    step(kEnable, 1000);
    EXPECT_EQ(last.velocity, -50'000);
}

TEST_F(DriveTest, ProfileVelocityHalts) {
    enable(kProfileVelocity);
    command.target_velocity = 10'000;
    step(kEnable, 200);
    step(kHalt, 200);
    EXPECT_EQ(last.velocity, 0);
    EXPECT_TRUE(last.statusword & kBit12); // zero speed
}

TEST_F(DriveTest, CyclicPositionFollows) {
    enable(kCyclicPosition);
    for (int32_t target = 0; target < 10'000; target += 100) {
        command.target_position = target;
        EXPECT_EQ(step(kEnable).position, target);
    }
    EXPECT_EQ(last.velocity, 100'000);
    EXPECT_TRUE(last.statusword & kBit12); // follows
}

TEST_F(DriveTest, CyclicPositionDoesNotJump) {
    enable(kCyclicPosition);
    command.target_position = 1'000'000;
    EXPECT_EQ(step(kEnable).position, 1000);
    EXPECT_TRUE(last.statusword & 0x2000); // following error
    step(kEnable, 999);
    EXPECT_EQ(last.position, 1'000'000);
    EXPECT_FALSE(last.statusword & 0x2000);
}

TEST_F(DriveTest, CyclicPositionCrossesTheEndOfTheRange) {
    enable(kCyclicPosition);
    command.target_position = 2'000'000'000;
    for (int i = 0; i < 2000; ++i) {
        last = drive.step(command, 1.0);
    }
    ASSERT_EQ(last.position, 2'000'000'000);
    command.target_position = -2'000'000'000; // the short way is forwards
    EXPECT_EQ(step(kEnable).position, 2'000'001'000);
}

TEST_F(DriveTest, CyclicVelocityFollows) {
    enable(kCyclicVelocity);
    command.target_velocity = -3000;
    step(kEnable, 50);
    EXPECT_EQ(last.velocity, -3000);
    EXPECT_LT(last.position, 0);
}

TEST_F(DriveTest, CyclicTorqueAcceleratesAndFrictionBrakes) {
    enable(kCyclicTorque);
    command.target_torque = 100;
    step(kEnable, 100);
    EXPECT_EQ(last.torque, 100);
    const int32_t moving = last.velocity;
    EXPECT_GT(moving, 0);
    command.target_torque = 0;
    step(kEnable, 100);
    EXPECT_LT(last.velocity, moving);
}

TEST_F(DriveTest, PositionWrapsAround) {
    enable(kCyclicVelocity);
    command.target_velocity = INT32_MAX;
    command.controlword = kEnable;
    for (int i = 0; i < 5000; ++i) {
        last = drive.step(command, 1.0);
    }
    EXPECT_EQ(last.position, 705'032'704); // 5,000,000,000 in 32 bits
}

TEST_F(DriveTest, SurvivesAnyOutputs) {
    uint32_t x = 1;
    const auto random = [&x] { return x = x * 1664525 + 1013904223; };
    for (int i = 0; i < 100'000; ++i) {
        DriveCommand any;
        any.controlword = static_cast<uint16_t>(random() >> 16);
        any.mode = static_cast<int8_t>(random() >> 28);
        any.target_position = static_cast<int32_t>(random());
        any.target_velocity = static_cast<int32_t>(random());
        any.target_torque = static_cast<int16_t>(random() >> 16);
        drive.step(any, (random() >> 31) != 0 ? 1.0 : 0.000062);
    }
}

} // namespace
