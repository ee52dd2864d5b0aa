// The card's watchdog over the process image as a user of the tool sees it.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// ---- without a card -----------------------------------------------------------------------------

using TarnWatchdogUsage = TarnTool;

TEST_F(TarnWatchdogUsage, CommandsNeedACard) {
    for (const char *command :
         {"watchdog config 2 0000", "watchdog enable on", "watchdog start 100", "watchdog stop",
          "watchdog query 2", "watchdog feed"}) {
        expect_failure(command, "Device not find (80004)");
    }
}

TEST_F(TarnWatchdogUsage, SafeDataMustBeBytes) {
    expect_usage_error("watchdog config 2", "HEX");
    expect_usage_error("watchdog config 2 123", "two digits each");
    expect_usage_error("watchdog config 2 xx", "two digits each");
    expect_usage_error("watchdog config 2 00+1", "two digits each");
}

TEST_F(TarnWatchdogUsage, TheMaskIsAsLongAsTheData) {
    expect_usage_error("watchdog config 2 0000 --mask ff", "--mask has 1 byte, the data 2 bytes");
}

TEST_F(TarnWatchdogUsage, NonsenseIsRefused) {
    expect_usage_error("watchdog", "a command is missing");
    expect_usage_error("watchdog bite", "bite");
    expect_usage_error("watchdog config two 00", "\"two\" is no number");
    expect_usage_error("watchdog enable 1", "1");
    expect_usage_error("watchdog start", "VALUE");
    expect_usage_error("watchdog start soon", "\"soon\" is no number");
    expect_usage_error("watchdog query", "--slave is required");
    expect_usage_error("watchdog feed --every 0", "--every");
    expect_usage_error("watchdog feed --for 1", "--for needs --every");
    expect_usage_error("watchdog feed --every 1 --for -1", "--for");
}

TEST_F(TarnWatchdogUsage, HelpHasExamples) {
    EXPECT_THAT(out("watchdog --help"), HasSubstr("tarn watchdog config 2 0000"));
    EXPECT_THAT(out("watchdog start --help"), HasSubstr("time-out"));
}

// ---- with a bus ---------------------------------------------------------------------------------

// Slaves 2 and 3 give their 16 bits of outputs back as inputs.
class TarnWatchdog : public TarnOnBus {
  protected:
    void configure(const std::string &data) {
        out("watchdog config 2 " + data);
        out("watchdog enable on");
    }
    bool flag(const char *name) const { return json("watchdog query 2")["flags"][name].is_true(); }
};

TEST_F(TarnWatchdog, NothingIsConfiguredAtFirst) {
    const JsonDocument answer = json("watchdog query 2");
    EXPECT_EQ(answer["first_status"].number(), 0);
    EXPECT_EQ(answer["expirations"].number(), 0);
    EXPECT_THAT(out("watchdog query 2"), HasSubstr("nothing configured"));
}

TEST_F(TarnWatchdog, QueryGivesTheSafeDataBack) {
    EXPECT_EQ(out("watchdog config 2 a5f0"), "Safe data of slave 2: a5 f0\n");
    EXPECT_EQ(json("watchdog query 2")["first_block"].text(), "a5f0");
    EXPECT_TRUE(flag("configured"));
    EXPECT_FALSE(flag("masked"));
    EXPECT_FALSE(json("watchdog query 3")["flags"]["configured"].is_true());
}

TEST_F(TarnWatchdog, QueryGivesTheMaskBack) {
    EXPECT_EQ(json("watchdog config 2 a5f0 --mask 0fff")["mask"].text(), "0fff");
    EXPECT_EQ(json("watchdog query 2")["second_block"].text(), "0fff");
    EXPECT_TRUE(flag("masked"));
}

TEST_F(TarnWatchdog, WatchesOnceItIsEnabledAndStarted) {
    configure("0000");
    EXPECT_TRUE(flag("enabled"));
    EXPECT_FALSE(flag("watching"));
    EXPECT_EQ(out("watchdog start 60000"), "Watchdog started with 60000\n");
    EXPECT_TRUE(flag("watching"));
    EXPECT_EQ(out("watchdog stop"), "Watchdog stopped\n");
    EXPECT_FALSE(flag("started"));
    out("watchdog enable off");
    EXPECT_FALSE(flag("enabled"));
}

TEST_F(TarnWatchdog, SilenceBringsTheSafeData) {
    configure("5aa5");
    out("pi write --slave 2 0x1111");
    out("watchdog start 50 hold");
    EXPECT_TRUE(eventually([this] { return flag("expired"); }));
    EXPECT_TRUE(prints_soon("pi read --slave 2", "0xa55a"));
    EXPECT_GE(json("watchdog query 2")["expirations"].number(), 1);
    EXPECT_TRUE(flag("holds"));
}

TEST_F(TarnWatchdog, FeedingKeepsTheOutputs) {
    configure("0000");
    out("pi write --slave 2 0x1234");
    out("watchdog start 60000");
    const JsonDocument fed = json("watchdog feed --every 5 --for 0.05");
    EXPECT_GE(fed["fed"].number(), 1);
    EXPECT_FALSE(flag("expired"));
    EXPECT_TRUE(prints_soon("pi read --slave 2", "0x1234"));
}

TEST_F(TarnWatchdog, FeedsOnceOrForATime) {
    EXPECT_EQ(out("watchdog feed"), "Watchdog fed 1 time\n");
    EXPECT_THAT(out("watchdog feed --every 1 --for 0.02"), HasSubstr("Watchdog fed "));
}

TEST_F(TarnWatchdog, ForEndsInTheMiddleOfAnInterval) {
    EXPECT_THAT(out("watchdog feed --every 4000000000 --for 0.01"), HasSubstr("fed 1 time"));
}

TEST_F(TarnWatchdog, TheEndOfFeedingTellsThatNothingWatches) {
    EXPECT_THAT(out("watchdog feed --every 1 --for 0.02"), HasSubstr("is not watching"));
    const JsonDocument fed = json("watchdog feed --every 1 --for 0.02");
    EXPECT_TRUE(fed["watching"].is_false());
    EXPECT_TRUE(fed["interrupted"].is_false());
}

TEST_F(TarnWatchdog, TheEndOfFeedingTellsThatItExpired) {
    configure("5aa5");
    out("watchdog start 1 hold");
    EXPECT_TRUE(eventually([this] { return flag("expired"); }));
    EXPECT_THAT(out("watchdog feed --every 1 --for 0.02"), HasSubstr("has expired"));
}

TEST_F(TarnWatchdog, TheEndOfFeedingTellsWhatOtherFirmwareMayDo) {
    EXPECT_EQ(vcard("fault status 32772 --command 101 --count 1").status, 0);
    EXPECT_THAT(out("watchdog feed --every 1 --for 0.02"), HasSubstr("If the watchdog is started"));
}

TEST_F(TarnWatchdog, CtrlCEndsFeedingAndTheWatchdogGoesOn) {
    configure("0000");
    out("watchdog start 60000");
    BackgroundProcess feeding(program_path("tarn"), words("watchdog feed --every 1"), options());
    ASSERT_TRUE(eventually([&] { return feeding.err().find("Ctrl-C") != std::string::npos; }));
    feeding.send_signal(Signal::kInterrupt);
    ProcessResult result;
    ASSERT_TRUE(feeding.wait(std::chrono::seconds(20), &result));
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, AllOf(StartsWith("Watchdog fed "), HasSubstr("goes on watching"),
                                  HasSubstr("tarn watchdog stop")));
    EXPECT_TRUE(flag("watching"));
    EXPECT_FALSE(flag("expired"));
}

TEST_F(TarnWatchdog, TheCardRefusesASlaveThatIsNotThere) {
    expect_failure("watchdog config 77 00", "(90006)");
    expect_failure("watchdog query 77", "(90006)");
}

TEST_F(TarnWatchdog, SafeDataIsAsLongAsTheOutputs) {
    expect_failure("watchdog config 2 000000", "(90005)");
    expect_failure("watchdog config 2 00", "(90007)");
    expect_failure("watchdog config 0 00", "(90007)");
}

TEST_F(TarnWatchdog, StartingNeedsSafeDataAndATime) {
    expect_failure("watchdog start 100", "(90004)");
    configure("0000");
    expect_failure("watchdog start 0", "(90002)");
}

} // namespace
