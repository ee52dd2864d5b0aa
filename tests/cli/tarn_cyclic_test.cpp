// Measuring the cycle as a user of the tool sees it. What is measured depends on the machine; the
// tests look at what must hold on any.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// ---- without a card -----------------------------------------------------------------------------

using TarnCyclicUsage = TarnTool;

TEST_F(TarnCyclicUsage, NeedsACard) {
    expect_failure("cyclic --mode direct", "Device not find (80004)");
}

TEST_F(TarnCyclicUsage, NonsenseIsRefused) {
    expect_usage_error("cyclic --mode quick", "\"quick\" is no mode");
    expect_usage_error("cyclic --duration 0", "--duration");
    expect_usage_error("cyclic --duration -1", "--duration");
    expect_usage_error("cyclic --duration long", "--duration");
    expect_usage_error("cyclic --duration 3601", "--duration");
    expect_usage_error("cyclic --duration nan", "\"nan\" is no time from 0.01 to 3600 seconds");
    expect_usage_error("cyclic 5", "5");
}

TEST_F(TarnCyclicUsage, AFileThatCannotBeWrittenIsToldBeforeTheRun) {
    expect_failure("cyclic --duration 600 --csv nowhere/cycles.csv", "cannot write in the folder");
}

TEST_F(TarnCyclicUsage, HelpHasAnExample) {
    EXPECT_THAT(out("cyclic --help"), HasSubstr("tarn cyclic --duration 10"));
}

// ---- with a bus ---------------------------------------------------------------------------------

using TarnCyclic = TarnOnBus;

// Whether the measurement saw a period: the program may sleep through a short one.
bool has_period(const JsonDocument &found) {
    return found["wakeups"].number() > 1;
}

void expect_rising(const JsonDocument &values) {
    double last = 0;
    for (const char *key : {"min", "p50", "p90", "p99", "p99.9", "max"}) {
        EXPECT_GE(values[key].number(), last) << key;
        last = values[key].number();
    }
}

TEST_F(TarnCyclic, MeasuresInEachMode) {
    for (const std::string mode : {"direct", "manual", "cycle"}) {
        const JsonDocument found =
            json_when("cyclic --duration 0.2 --fallback --mode " + mode, has_period);
        EXPECT_EQ(found["cycle_us"].number(), 1000) << mode;
        expect_rising(found["period_us"]);
        expect_rising(found["jitter_us"]);
        expect_rising(found["latency_us"]);
    }
}

TEST_F(TarnCyclic, BusCyclesAreCountedApartFromWakeUps) {
    const JsonDocument found = json_when("cyclic --duration 0.2 --mode direct", has_period);
    EXPECT_GT(found["bus"]["cycles"].number(), 0);
    EXPECT_GE(found["bus"]["late"].number(), 0);
    EXPECT_GE(found["missed"].number(), 0);
}

TEST_F(TarnCyclic, ALateBusCycleIsNotTheProgramsFault) {
    BackgroundProcess measuring(program_path("tarn"),
                                words("cyclic --duration 60 --mode direct --json"), options());
    ASSERT_TRUE(eventually([&] { return measuring.err().find("progress") != std::string::npos; }));
    // The second time the program has surely been awake before.
    for (const int late_us : {500000, 600000}) {
        ASSERT_EQ(vcard("fault late-cycle " + std::to_string(late_us)).status, 0);
        ASSERT_TRUE(eventually(
            [&] { return json("diag")["master"]["cycle_max_ns"].number() >= late_us * 1000.0; }));
    }
    measuring.send_signal(Signal::kInterrupt);
    ProcessResult result;
    ASSERT_TRUE(measuring.wait(kPatience, &result));
    EXPECT_EQ(result.status, 0) << result.err;
    const JsonDocument found(result.out);
    EXPECT_GT(found["bus"]["late"].number(), 0);
    // Time in which the bus made no cycle is a gap, and nobody missed a cycle.
    EXPECT_GT(found["gaps"].number(), 500);
    EXPECT_LE(found["missed"].number(),
              std::max(0.0, found["bus"]["cycles"].number() - found["wakeups"].number()));
}

TEST_F(TarnCyclic, EveryWakeUpIsInTheHistogram) {
    const JsonDocument found = json_when("cyclic --duration 0.1 --mode manual", has_period);
    double sum = 0;
    for (int i = 0; i < found["histogram"].size(); ++i) {
        sum += found["histogram"][i]["count"].number();
    }
    EXPECT_EQ(sum, found["wakeups"].number());
}

TEST_F(TarnCyclic, PrintsATableAndAHistogram) {
    EXPECT_TRUE(prints_soon("cyclic --duration 0.1 --mode direct", "#")); // a bar
    EXPECT_THAT(out("cyclic --duration 0.1 --mode direct"),
                AllOf(HasSubstr("mode            direct"), HasSubstr("cycle           1000.0 us"),
                      HasSubstr("p99.9"), HasSubstr("latency\n")));
}

TEST_F(TarnCyclic, WritesALinePerWakeUp) {
    const JsonDocument found =
        json_when("cyclic --duration 0.1 --mode direct --csv cycles.csv", has_period);
    const std::string text = read_file("cycles.csv");
    EXPECT_THAT(text, StartsWith("time_s,jitter_us,latency_us,missed_cycles\n0.000000000,"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), found["wakeups"].number() + 1);
    out("plot cycles.csv");
    EXPECT_THAT(read_file("cycles.svg"), HasSubstr("</svg>"));
}

TEST_F(TarnCyclic, AFileThatCannotBeWrittenIsToldApart) {
    expect_failure("cyclic --duration 0.05 --mode direct --csv nowhere/cycles.csv", "nowhere");
}

TEST_F(TarnCyclic, CtrlCEndsItWithTheResults) {
    BackgroundProcess measuring(
        program_path("tarn"), words("cyclic --duration 600 --mode direct --csv x.csv"), options());
    ASSERT_TRUE(eventually([&] { return measuring.err().find("Measuring") != std::string::npos; }));
    measuring.send_signal(Signal::kInterrupt);
    ProcessResult result;
    ASSERT_TRUE(measuring.wait(kPatience, &result));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("this program"));
    EXPECT_THAT(read_file("x.csv"), StartsWith("time_s,"));
}

TEST_F(TarnCyclic, LeavesTheOutputsAlone) {
    out("pi write --slave 2 0xbeef");
    out("cyclic --duration 0.1 --mode manual");
    out("cyclic --duration 0.1 --mode cycle --fallback");
    EXPECT_TRUE(prints_soon("pi read --slave 2", "0xbeef"));
}

TEST_F(TarnCyclic, TheBusThatStopsMeanwhileIsTold) {
    BackgroundProcess measuring(program_path("tarn"), words("cyclic --duration 60 --mode direct"),
                                options());
    ASSERT_TRUE(eventually([&] { return measuring.err().find("Measuring") != std::string::npos; }));
    out("stop");
    ProcessResult result;
    ASSERT_TRUE(measuring.wait(kPatience, &result));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("does the bus run"));
}

TEST_F(TarnCyclic, WhatWasMeasuredUntilTheBusStoppedIsShown) {
    ProcessResult result;
    // Again when the program was not woken before the bus stopped.
    ASSERT_TRUE(eventually([&] {
        BackgroundProcess measuring(program_path("tarn"),
                                    words("cyclic --duration 60 --mode direct --csv x.csv --json"),
                                    options());
        EXPECT_TRUE(
            eventually([&] { return measuring.err().find("progress") != std::string::npos; }));
        const double begun = json("diag")["master"]["cycles"].number();
        EXPECT_TRUE(
            eventually([&] { return json("diag")["master"]["cycles"].number() > begun + 100; }));
        out("stop");
        EXPECT_TRUE(measuring.wait(kPatience, &result));
        out("start cell.xml");
        return JsonDocument(result.out).has("wakeups");
    }));
    EXPECT_EQ(result.status, 1);
    const JsonDocument found(result.out);
    EXPECT_EQ(found["cycle_us"].number(), 1000);
    EXPECT_THAT(found["error"]["hint"].text(), HasSubstr("does the bus run"));
    EXPECT_TRUE(found["bus"].is_null());
    const std::string text = read_file("x.csv");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), found["wakeups"].number() + 1);
}

using TarnCyclicWithoutBus = TarnWithCard;

TEST_F(TarnCyclicWithoutBus, NoBusIsToldWithAHint) {
    expect_failure("cyclic --duration 0.1 --mode direct", "start the bus first");
}

} // namespace
