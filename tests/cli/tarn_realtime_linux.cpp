// What the tool and the axis example say where the system refuses real-time priority. Windows gives
// a lower priority instead of refusing.
#include "tarn_fixture.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;

namespace {

// From here on no program that the test starts gets real-time priority.
void refuse_realtime() {
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_RTPRIO, &none);
    prctl(PR_CAPBSET_DROP, CAP_SYS_NICE, 0, 0, 0); // an ordinary user has no such right to drop
}

class TarnWithoutRealtime : public TarnOnBus {
  protected:
    TarnWithoutRealtime() { refuse_realtime(); }
};

TEST_F(TarnWithoutRealtime, ModeSaysWhatToGrant) {
    EXPECT_THAT(out("mode"),
                AllOf(HasSubstr("Real-time priority refused"), HasSubstr("/etc/security/limits.d"),
                      HasSubstr("setcap cap_sys_nice"), HasSubstr("--cap-add")));
    EXPECT_TRUE(json("mode")["realtime"]["granted"].is_false());
    EXPECT_TRUE(json("mode")["modes"][1]["usable"].is_false());
    EXPECT_TRUE(json("mode")["modes"][0]["usable"].is_true());
}

TEST_F(TarnWithoutRealtime, CycleModeFailsWithTheReason) {
    expect_failure("mode cycle", "the data-swap thread of cycle mode ends at once");
    expect_failure("cyclic --duration 0.1", "this system refuses real-time priority");
}

TEST_F(TarnWithoutRealtime, MeasuringFallsBackOnlyWhenTold) {
    const ProcessResult result = tarn("cyclic --duration 0.1 --fallback --json");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("going on in the mode direct"));
    const JsonDocument found(result.out);
    EXPECT_EQ(found["mode"].text(), "direct");
    EXPECT_TRUE(found["fell_back"].is_true());
    EXPECT_THAT(out("cyclic --duration 0.1 --fallback"),
                HasSubstr("direct, because cycle mode does not run here"));
}

TEST_F(TarnWithoutRealtime, OtherModesWork) {
    EXPECT_GT(json("mode manual")["wakeups"].number(), 1);
    EXPECT_TRUE(json("cyclic --duration 0.1 --mode direct")["fell_back"].is_false());
}

class AxisWithoutRealtime : public TarnWithCard {
  protected:
    AxisWithoutRealtime() { refuse_realtime(); }
};

TEST_F(AxisWithoutRealtime, TheExampleSaysSoAndStopsTheBus) {
    const ProcessResult result =
        run_program(program_path("example-axis-cpp"), {"cell.xml"}, options());
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("cycle mode does not run"));
    EXPECT_TRUE(json("status")["running"].is_false());
}

} // namespace
