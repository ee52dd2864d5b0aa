// Access modes as a user of the tool sees them.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;

namespace {

using TarnMode = TarnTool;

TEST_F(TarnMode, ListsWhatEachModeDoesWithoutACard) {
    EXPECT_THAT(out("mode"),
                AllOf(HasSubstr("0     direct  in each read and write"),
                      HasSubstr("1     cycle   by a real-time thread, once per bus cycle"),
                      HasSubstr("2     manual  when the program says EcatPIASyncUpdateData()")));
}

TEST_F(TarnMode, SaysWhetherRealTimePriorityIsGranted) {
    const bool granted = json("mode")["realtime"]["granted"].is_true();
    EXPECT_THAT(out("mode"),
                HasSubstr(granted ? "Real-time priority granted, " : "Real-time priority refused"));
    EXPECT_EQ(json("mode")["modes"][1]["usable"].is_true(), granted);
}

TEST_F(TarnMode, JsonAlwaysCarriesWhatToGrant) {
    EXPECT_GT(json("mode")["realtime"]["how_to_grant"].size(), 1);
}

TEST_F(TarnMode, AWrongModeIsAUsageError) {
    expect_usage_error("mode 3", "\"3\" is no mode: direct, cycle, manual or 0 to 2");
    expect_usage_error("mode fast", "\"fast\" is no mode");
    expect_usage_error("mode -1", "-1");
    expect_usage_error("mode direct manual", "manual");
}

TEST_F(TarnMode, TryingAModeNeedsACard) {
    expect_failure("mode direct", "Device not find (80004)");
}

TEST_F(TarnMode, HelpHasAnExample) {
    EXPECT_THAT(out("mode --help"), HasSubstr("tarn mode cycle"));
}

using TarnModeOnBus = TarnOnBus;

TEST_F(TarnModeOnBus, ModesWithoutAThreadAreWokenByTheBus) {
    for (const std::string mode : {"direct", "manual", "0", "2"}) {
        const JsonDocument tried = json("mode " + mode);
        EXPECT_TRUE(tried["works"].is_true());
        EXPECT_GT(tried["wakeups"].number(), 1) << mode;
        EXPECT_GT(tried["period_us"].number(), 0) << mode;
    }
    EXPECT_THAT(out("mode manual"), HasSubstr("manual works on this machine"));
}

TEST_F(TarnModeOnBus, CycleModeRunsOrSaysWhyNot) {
    const bool granted = json("mode")["realtime"]["granted"].is_true();
    if (granted) {
        EXPECT_GT(json("mode cycle")["wakeups"].number(), 1);
    } else {
        expect_failure("mode cycle", "refuses real-time priority");
    }
}

TEST_F(TarnModeOnBus, CyclesThatWakeNobodyAreAFailure) {
    EXPECT_EQ(vcard("fault lose-cycle-interrupts 1000000").status, 0);
    const ProcessResult result = tarn("mode direct");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("the bus runs, and in the mode direct no cycle woke"));
}

using TarnModeWithoutBus = TarnWithBoard;

TEST_F(TarnModeWithoutBus, NothingWakesAProgram) {
    EXPECT_THAT(out("mode direct"), HasSubstr("none: no bus runs on this channel"));
    EXPECT_EQ(json("mode manual")["wakeups"].number(), 0);
}

} // namespace
