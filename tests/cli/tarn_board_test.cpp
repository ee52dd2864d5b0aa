// The card's own inputs, outputs, latches, timers and clock as a user of the tool sees them.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char *kNoCard = "Device not find (80004): no card named \"ID0\"";

// ---- usage --------------------------------------------------------------------------------------

using TarnBoardUsage = TarnTool;

TEST_F(TarnBoardUsage, HelpOfEveryCommandHasExamples) {
    for (const char *command :
         {"board", "board di", "board do", "board latch", "board latch enable",
          "board latch config", "board latch port", "board seqlatch", "board seqlatch config",
          "board seqlatch run", "board seqlatch read", "board pwm", "board pulse", "board led",
          "board heartbeat", "board time", "board reset", "board watch", "board bar1"}) {
        EXPECT_THAT(out(std::string(command) + " --help"),
                    AllOf(HasSubstr("Examples:\n  tarn "), HasSubstr("--board")))
            << command;
    }
}

TEST_F(TarnBoardUsage, MissingOrUnknownCommandIsWrongUsage) {
    expect_usage_error("board", "a command is missing");
    expect_usage_error("board seqlatch", "a command is missing");
    expect_usage_error("board bogus", "bogus");
    expect_usage_error("board latch bogus", "bogus");
}

TEST_F(TarnBoardUsage, MissingArgumentIsNamed) {
    expect_usage_error("board latch config", "SOURCE");
    expect_usage_error("board latch port", "PORT");
    expect_usage_error("board seqlatch run", "COUNT");
    expect_usage_error("board seqlatch read", "CHANNEL");
    expect_usage_error("board led 1", "SECOND");
    expect_usage_error("board bar1 --raw", "OFFSET");
}

// Wrong usage shows without a card: nothing is asked of it before.
TEST_F(TarnBoardUsage, OutputsAreBits0To31) {
    expect_usage_error("board do --set 32", "not in range 0 to 31");
    expect_usage_error("board do --clear 32", "not in range 0 to 31");
    expect_usage_error("board do --set x", "x");
    expect_usage_error("board do 0x100000000", "no number from 0 to 4294967295");
    expect_failure("board do --set 31", kNoCard);
}

TEST_F(TarnBoardUsage, LatchSourceEndsAt21) {
    expect_usage_error("board latch config 22", "\"22\" is no number from 0 to 21");
    expect_usage_error("board latch config -1", "-1");
    expect_failure("board latch config 21", kNoCard);
}

TEST_F(TarnBoardUsage, SequenceSourceIs23To136) {
    expect_usage_error("board seqlatch config 22", "\"22\" is no number from 23 to 136");
    expect_usage_error("board seqlatch config 137", "\"137\" is no number from 23 to 136");
    expect_failure("board seqlatch config 23", kNoCard);
    expect_failure("board seqlatch config 136", kNoCard);
}

TEST_F(TarnBoardUsage, SequenceHasAtMost1023Values) {
    expect_usage_error("board seqlatch run 1024", "no number from 0 to 1023");
    expect_failure("board seqlatch run 1023", kNoCard);
}

TEST_F(TarnBoardUsage, SequenceIsNotReadPastItsEnd) {
    expect_usage_error("board seqlatch read 4", "\"4\" is no number from 0 to 3");
    expect_usage_error("board seqlatch read 0 --first 1023", "no number from 0 to 1022");
    expect_usage_error("board seqlatch read 0 --count 0", "no number from 1 to 1023");
    expect_usage_error("board seqlatch read 0 --count 1024", "no number from 1 to 1023");
    expect_usage_error("board seqlatch read 0 --first 1022 --count 2", "at most 1023 values");
    expect_failure("board seqlatch read 3 --first 1022 --count 1", kNoCard);
}

TEST_F(TarnBoardUsage, TimerChannelIs0To3) {
    for (const std::string command : {"board pwm", "board pulse"}) {
        expect_usage_error(command + " 4", "\"4\" is no number from 0 to 3");
        expect_failure(command + " 3", kNoCard);
    }
}

TEST_F(TarnBoardUsage, DutyIsAtMost100Percent) {
    for (const std::string command : {"board pwm", "board pulse"}) {
        expect_usage_error(command + " 0 --frequency 1000 --duty 101", "no number from 0 to 100");
        expect_failure(command + " 0 --frequency 1000 --duty 100", kNoCard);
    }
}

TEST_F(TarnBoardUsage, FrequencyIsAtMostThatOfTheTimer) {
    for (const std::string command : {"board pwm", "board pulse"}) {
        expect_usage_error(command + " 0 --frequency 125000001 --duty 50",
                           "no number from 0 to 125000000");
        expect_failure(command + " 0 --frequency 125000000 --duty 50", kNoCard);
    }
}

TEST_F(TarnBoardUsage, SlowTimersTakeOnlyAShortHighTime) {
    for (const std::string command : {"board pwm", "board pulse"}) {
        expect_usage_error(command + " 0 --frequency 1 --duty 35",
                           "35 % at 1 Hz do not fit the card's timer; at 1 Hz at most 34 %");
        expect_failure(command + " 0 --frequency 1 --duty 34", kNoCard);
        expect_usage_error(command + " 0 --frequency 2 --duty 69", "at 2 Hz at most 68 %");
        expect_failure(command + " 0 --frequency 2 --duty 68", kNoCard);
        expect_failure(command + " 0 --frequency 3 --duty 100", kNoCard);
    }
}

TEST_F(TarnBoardUsage, TimerThatIsChangedNeedsAChannel) {
    for (const char *command :
         {"pwm --frequency 1000 --duty 50", "pwm --stop", "pulse --frequency 1000",
          "pulse --flag 1", "pulse --count 3", "pulse --stop"}) {
        expect_usage_error(std::string("board ") + command, "which channel, 0 to 3?");
    }
}

TEST_F(TarnBoardUsage, PwmNeedsFrequencyAndDuty) {
    expect_usage_error("board pwm 0 --frequency 1000", "both --frequency and --duty");
    expect_usage_error("board pwm 0 --duty 50", "both --frequency and --duty");
}

TEST_F(TarnBoardUsage, StopStandsAlone) {
    expect_usage_error("board pwm 0 --stop --frequency 1000 --duty 50", " excludes --");
    expect_usage_error("board pulse 0 --stop --count 3", " excludes --");
}

TEST_F(TarnBoardUsage, PulseFlagIsABit) {
    expect_usage_error("board pulse 0 --flag 2", "no number from 0 to 1");
}

TEST_F(TarnBoardUsage, LedValuesHave16Bits) {
    expect_usage_error("board led 65536 0", "no number from 0 to 65535");
    expect_usage_error("board led 0 65536", "no number from 0 to 65535");
    expect_failure("board led 65535 65535", kNoCard);
}

TEST_F(TarnBoardUsage, TimeIsANumberOfSeconds) {
    expect_usage_error("board time --utc now", "\"now\" is no time");
    expect_usage_error("board time --utc 0", "\"0\" is no time");
    expect_usage_error("board time --utc 9223372037", "is no time");
    expect_failure("board time --utc 9223372036", kNoCard);
}

TEST_F(TarnBoardUsage, LifeIsCountedForAMinuteAtMost) {
    expect_usage_error("board heartbeat --during-ms 0", "no number from 1 to 60000");
    expect_usage_error("board heartbeat --during-ms 60001", "no number from 1 to 60000");
}

TEST_F(TarnBoardUsage, WatchNeedsAnInterval) {
    expect_usage_error("board watch --interval-ms 0", "no number from 1 to");
}

TEST_F(TarnBoardUsage, RegistersAreTouchedOnlyWithRaw) {
    expect_usage_error("board bar1 0x6c", "--raw");
    expect_usage_error("board bar1 0x6c 1", "--raw");
}

TEST_F(TarnBoardUsage, RegistersLieInsideTheBarAtMultiplesOf4) {
    expect_usage_error("board bar1 --raw 0x6d", "multiples of 4");
    expect_usage_error("board bar1 --raw 0x1000", "no number from 0 to 4092");
    expect_failure("board bar1 --raw 0xffc", kNoCard);
}

TEST_F(TarnBoardUsage, CommandsSayThatThereIsNoCard) {
    for (const char *command :
         {"di", "do", "do 1", "latch", "latch enable", "latch disable", "latch run", "latch stop",
          "latch clear", "latch reset-counter", "latch port 0", "pwm", "pulse", "heartbeat", "time",
          "reset", "watch --count 1"}) {
        expect_failure(std::string("board ") + command, kNoCard);
    }
}

// ---- inputs and outputs -------------------------------------------------------------------------

using TarnBoardIo = TarnWithBoard;

TEST_F(TarnBoardIo, InputsFollowTheOutputsTheyAreWiredTo) {
    EXPECT_EQ(out("board di"), "inputs          0x00000000\n"
                               "bits 31..0      00000000 00000000 00000000 00000000\n");
    out("board do 0x80000005");
    EXPECT_TRUE(eventually([this] { return json("board di")["value"].number() == 0x80000005; }));
    EXPECT_EQ(out("board di"), "inputs          0x80000005\n"
                               "bits 31..0      10000000 00000000 00000000 00000101\n");
}

TEST_F(TarnBoardIo, OutputsAreSetAndCleared) {
    EXPECT_THAT(out("board do 0x0f"), HasSubstr("0x0000000f"));
    EXPECT_THAT(out("board do --set 31 --clear 0 1"), HasSubstr("0x8000000c"));
    EXPECT_THAT(out("board do"), HasSubstr("0x8000000c"));
    EXPECT_THAT(out("board do 0 --set 4 5 --clear 5"), HasSubstr("0x00000010"));
    EXPECT_THAT(out("board do 4294967295"), HasSubstr("0xffffffff"));
}

TEST_F(TarnBoardIo, BitsInJson) {
    const JsonDocument outputs = json("board do 0x80000001");
    EXPECT_EQ(outputs["value"].number(), 0x80000001);
    ASSERT_EQ(outputs["high"].size(), 2);
    EXPECT_EQ(outputs["high"][0].number(), 0);
    EXPECT_EQ(outputs["high"][1].number(), 31);
    EXPECT_EQ(json("board do 0")["high"].size(), 0);
}

// ---- latches ------------------------------------------------------------------------------------

TEST_F(TarnBoardIo, LatchesCaptureAnEdgeOfTheirInput) {
    EXPECT_EQ(out("board latch"), "latch 0         waits\nlatch 1         waits\n"
                                  "latch 2         waits\nlatch 3         waits\n");
    EXPECT_EQ(out("board latch config 0"), "latch source 0\n"); // rising edge of input n
    EXPECT_EQ(out("board latch clear"), "latches cleared\n");
    EXPECT_EQ(out("board latch enable"), "latches enabled\n");
    EXPECT_EQ(out("board latch run"), "latches run\n");
    out("board do --set 1");
    EXPECT_TRUE(eventually([this] { return json("board latch")[1]["latched"].is_true(); }));
    EXPECT_THAT(out("board latch"),
                AllOf(HasSubstr("latch 0         waits\n"), HasSubstr(" ticks, "),
                      HasSubstr("latch 2         waits\n")));
    const JsonDocument latches = json("board latch");
    ASSERT_EQ(latches.size(), 4);
    EXPECT_TRUE(latches[0]["ticks"].is_null());
    EXPECT_GT(latches[1]["ticks"].number(), 0);
    EXPECT_EQ(latches[1]["tick_hz"].number(), 125000000);
    out("board latch clear");
    EXPECT_TRUE(eventually([this] { return json("board latch")[1]["latched"].is_false(); }));
}

TEST_F(TarnBoardIo, LatchCommandsSayWhatTheyDid) {
    EXPECT_EQ(out("board latch disable"), "latches disabled\n");
    EXPECT_EQ(out("board latch stop"), "latches stopped\n");
    EXPECT_EQ(out("board latch reset-counter"), "latch counter reset\n");
    EXPECT_EQ(out("board latch port 3"), "latch port 3\n");
    EXPECT_EQ(out("board latch config 21"), "latch source 21\n");
    EXPECT_EQ(json("board latch enable")["done"].text(), "latches enabled");
}

TEST_F(TarnBoardIo, SequenceRecordsARowOfEdges) {
    out("board latch clear");
    out("board latch enable");
    EXPECT_EQ(out("board seqlatch config 23"), "sequence latch source 23\n"); // input 0 rises
    EXPECT_EQ(out("board seqlatch run 2"), "sequence latch records 2 values\n");
    for (const int level : {1, 0, 1, 0}) {
        out("board do " + std::to_string(level));
        EXPECT_TRUE(eventually([&] { return json("board di")["value"].number() == level; }));
    }
    const JsonDocument row = json("board seqlatch read 0 --count 2");
    EXPECT_EQ(row["channel"].number(), 0);
    ASSERT_EQ(row["values"].size(), 2);
    EXPECT_GT(row["values"][0]["ticks"].number(), 0);
    EXPECT_GT(row["values"][1]["ticks"].number(), row["values"][0]["ticks"].number());
    EXPECT_THAT(out("board seqlatch read 0 --first 1"), StartsWith("value 1         "));
}

TEST_F(TarnBoardIo, SequenceTakesItsLimits) {
    EXPECT_EQ(out("board seqlatch config 136"), "sequence latch source 136\n");
    EXPECT_EQ(out("board seqlatch run 1023"), "sequence latch records 1023 values\n");
    EXPECT_EQ(out("board seqlatch run 1"), "sequence latch records 1 value\n");
    EXPECT_EQ(out("board seqlatch run 0"), "sequence latch records 0 values\n");
}

// ---- timers -------------------------------------------------------------------------------------

TEST_F(TarnBoardIo, PwmIsStartedShownAndStopped) {
    EXPECT_EQ(out("board pwm 3 --frequency 1000 --duty 100"),
              "pwm 3           on, 1000 Hz, 100 %, period 125000 ticks (1000000 ns)\n");
    EXPECT_EQ(out("board pwm 0 --frequency 1 --duty 34"),
              "pwm 0           on, 1 Hz, 34 %, period 125000000 ticks (1000000000 ns)\n");
    EXPECT_THAT(out("board pwm"),
                AllOf(HasSubstr("pwm 0           on, 1 Hz"), HasSubstr("pwm 1           off, 0 Hz"),
                      HasSubstr("pwm 3           on, 1000 Hz")));
    EXPECT_THAT(out("board pwm 3 --stop"), StartsWith("pwm 3           off, 1000 Hz, 100 %"));
    EXPECT_THAT(out("board pwm 0"), StartsWith("pwm 0           on, 1 Hz"));
}

TEST_F(TarnBoardIo, PwmInJson) {
    const JsonDocument all = json("board pwm 2 --frequency 0x10 --duty 25");
    ASSERT_EQ(all.size(), 1);
    EXPECT_EQ(all[0]["channel"].number(), 2);
    EXPECT_TRUE(all[0]["on"].is_true());
    EXPECT_EQ(all[0]["frequency_hz"].number(), 16);
    EXPECT_EQ(all[0]["duty_percent"].number(), 25);
    EXPECT_EQ(json("board pwm").size(), 4);
    EXPECT_TRUE(json("board pwm 2 --stop")[0]["on"].is_false());
}

TEST_F(TarnBoardIo, PulseKeepsWhatIsNotGiven) {
    EXPECT_EQ(out("board pulse 1 --frequency 2000 --duty 50 --first 7 --second 9 --flag 1"),
              "pulse 1         on, 2000 Hz, 50 %, period 62500 ticks (500000 ns), settings 0x7 "
              "0x9, flag 1\n");
    EXPECT_THAT(out("board pulse 1 --duty 25 --count 3"),
                HasSubstr("2000 Hz, 25 %, period 62500 ticks (500000 ns), settings 0x7 0x9, "
                          "flag 1"));
    EXPECT_THAT(out("board pulse 1 --stop"), HasSubstr("off, 2000 Hz, 25 %"));
    EXPECT_THAT(out("board pulse"),
                HasSubstr("pulse 0         off, 0 Hz, settings 0x0 0x0, flag 0"));
}

TEST_F(TarnBoardIo, PulseInJson) {
    const JsonDocument pulse = json("board pulse 0 --first 1 --flag 1")[0];
    EXPECT_EQ(pulse["first"].number(), 1);
    EXPECT_EQ(pulse["second"].number(), 0);
    EXPECT_TRUE(pulse["flag"].is_true());
}

// What a pulse output keeps counts as well.
TEST_F(TarnBoardIo, PulseDutyMustFitTheFrequencyThatStays) {
    out("board pulse 0 --frequency 1 --duty 10");
    expect_usage_error("board pulse 0 --duty 35", "35 % at 1 Hz do not fit");
    EXPECT_THAT(out("board pulse 0"), HasSubstr("1 Hz, 10 %"));
}

// ---- firmware -----------------------------------------------------------------------------------

TEST_F(TarnBoardIo, LedsAreSet) {
    EXPECT_EQ(out("board led 1 0xffff"), "LEDs set to 0x0001, 0xffff\n");
    EXPECT_THAT(vcard("status").out, HasSubstr("LEDs 1 65535"));
}

TEST_F(TarnBoardIo, RefusedLedsAreAFailure) {
    EXPECT_EQ(vcard("fault status 32772 --count 2").status, 0);
    expect_failure("board led 1 2", "(32772): cannot set the LEDs; this firmware does not know");
}

TEST_F(TarnBoardIo, ClockIsSet) {
    EXPECT_EQ(out("board time --utc 1700000000"),
              "the card's time is set to 1700000000 s since 1970, UTC\n");
    EXPECT_TRUE(eventually(
        [this] { return vcard("status").out.find("time 2023-11-14 ") != std::string::npos; }));
    EXPECT_EQ(out("board time"), "the card's time is set to the time of this computer\n");
    EXPECT_TRUE(eventually(
        [this] { return vcard("status").out.find("time 2023-11-14 ") == std::string::npos; }));
    EXPECT_THAT(json("board time --utc -1")["done"].text(), HasSubstr("-1 s"));
}

TEST_F(TarnBoardIo, HeartbeatShowsAllCounters) {
    // A firmware that is kept waiting for so long by a busy machine counts nothing.
    ProcessResult text;
    EXPECT_TRUE(eventually([&] {
        text = tarn("board heartbeat --during-ms 100");
        return text.status == 0;
    }));
    EXPECT_THAT(text.out,
                AllOf(StartsWith("The firmware is alive\nCounter  Value"), HasSubstr("\n3  ")));
    EXPECT_TRUE(eventually([&] {
        text = tarn("board heartbeat --during-ms 100 --json");
        return text.status == 0;
    }));
    const JsonDocument life(text.out);
    EXPECT_TRUE(life["alive"].is_true());
    EXPECT_TRUE(life["counting"].is_true());
    ASSERT_EQ(life["heartbeat"].size(), 4);
    EXPECT_EQ(life["heartbeat"][3]["counter"].number(), 3);
    EXPECT_GT(life["heartbeat"][3]["per_second"].number(), 0);
}

TEST_F(TarnBoardIo, RegistersAreReadAndWritten) {
    out("board do 0x12345678");
    EXPECT_EQ(out("board bar1 --raw 0x58"), "0x058           0x12345678\n");
    EXPECT_EQ(out("board bar1 --raw 0x58 0xa5"), "0x058           0x000000a5\n");
    EXPECT_THAT(out("board do"), HasSubstr("0x000000a5"));
    EXPECT_EQ(json("board bar1 --raw 0x58")["value"].number(), 0xa5);
}

TEST_F(TarnBoardIo, CardIsChosenByName) {
    vcard("stop");
    EXPECT_EQ(vcard("start --cards 2").status, 0);
    out("board do 3 --board tarn1");
    EXPECT_THAT(out("board do --board tarn0"), HasSubstr("0x00000000"));
    EXPECT_THAT(out("--board AL1 board do"), HasSubstr("0x00000003"));
    expect_failure("board do --board x", "no card named \"x\"; present: \"tarn0\", \"tarn1\"");
}

// ---- watch --------------------------------------------------------------------------------------

TEST_F(TarnBoardIo, WatchEndsAfterItsCount) {
    const std::string text = out("board watch --count 3 --interval-ms 1");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6) << text; // nothing changes
    EXPECT_THAT(text, AllOf(HasSubstr("inputs   0x00000000"), HasSubstr("outputs  0x00000000"),
                            HasSubstr("latch 3  waits"), Not(HasSubstr("\x1b"))));
}

TEST_F(TarnBoardIo, WatchGivesOneJsonArray) {
    const JsonDocument rows = json("board watch --count 3 --interval-ms 1");
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows[0]["inputs"].number(), 0);
    EXPECT_EQ(rows[2]["latches"].size(), 4);
    EXPECT_TRUE(rows[2]["latches"][0].is_null());
    EXPECT_GE(rows[2]["seconds"].number(), rows[0]["seconds"].number());
}

TEST_F(TarnBoardIo, WatchShowsWhatChanges) {
    BackgroundProcess watch(program_path("tarn"), words("board watch --interval-ms 1"), options());
    ASSERT_TRUE(watch.wait_for_output("outputs  0x00000000"));
    out("board do 0x40");
    EXPECT_TRUE(watch.wait_for_output("outputs  0x00000040"));
    EXPECT_TRUE(watch.wait_for_output("inputs   0x00000040"));
    watch.send_signal(Signal::kInterrupt);
    ProcessResult result;
    ASSERT_TRUE(watch.wait(kPatience, &result));
    EXPECT_EQ(result.status, 0);
}

TEST_F(TarnBoardIo, InterruptedWatchStillEndsItsJson) {
    BackgroundProcess watch(program_path("tarn"), words("board watch --interval-ms 1 --json"),
                            options());
    ASSERT_TRUE(watch.wait_for_output("\"latches\""));
    watch.send_signal(Signal::kInterrupt);
    ProcessResult result;
    ASSERT_TRUE(watch.wait(kPatience, &result));
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(JsonDocument(result.out).is_array());
}

// ---- reset --------------------------------------------------------------------------------------

TEST_F(TarnBoardIo, ResetPutsTheCardIntoItsFirstState) {
    out("board led 3 4");
    EXPECT_EQ(out("board reset"),
              "The card has been reset: firmware 1.13.0; its buses are stopped\n");
    EXPECT_THAT(vcard("status").out, HasSubstr("LEDs 0 0"));
    EXPECT_EQ(json("board reset")["firmware"].text(), "1.13.0");
}

class TarnBoardInReset : public TarnWithBoard {
  protected:
    TarnBoardInReset() : TarnWithBoard("--each reset-ms=60000") {
        const ProcessResult reset = tarn("board reset --wait-ms 1");
        EXPECT_EQ(reset.status, 1);
        EXPECT_THAT(reset.err, HasSubstr("(80003): the card has been told to reset and has not "
                                         "come back within 1 ms; wait, then look with tarn board "
                                         "heartbeat"));
        EXPECT_TRUE(eventually(
            [this] { return vcard("status").out.find("being reset") != std::string::npos; }));
    }
};

TEST_F(TarnBoardInReset, HeartbeatSaysThatTheCardIsNotAlive) {
    const ProcessResult beat = tarn("board heartbeat --during-ms 20");
    EXPECT_EQ(beat.status, 1);
    EXPECT_THAT(beat.out,
                AllOf(StartsWith("The firmware says that it is not alive\n"), HasSubstr("0.0\n")));
    const ProcessResult with_json = tarn("board heartbeat --during-ms 20 --json");
    EXPECT_EQ(with_json.status, 1);
    EXPECT_TRUE(JsonDocument(with_json.out)["alive"].is_false());
    EXPECT_TRUE(JsonDocument(with_json.out)["counting"].is_false());
}

TEST_F(TarnBoardInReset, RequestsEndWithTheirTimeout) {
    expect_failure("board led 1 2 --timeout 20", "cannot set the LEDs; the card");
}

using TarnBoardOnBus = TarnOnBus;

TEST_F(TarnBoardOnBus, ResetStopsTheBus) {
    EXPECT_TRUE(json("status")["running"].is_true());
    EXPECT_THAT(out("board reset"), HasSubstr("its buses are stopped"));
    EXPECT_TRUE(json("status")["running"].is_false());
    EXPECT_THAT(out("status"), HasSubstr("Master not configured"));
    out("start cell.xml");
    EXPECT_TRUE(json("status")["running"].is_true());
}

} // namespace
