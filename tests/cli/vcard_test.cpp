// tarn-vcard as a user runs it.
#include "vcard_fixture.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::HasSubstr;

namespace {

// ---- start, status, stop ---------------------------------------------------------------------

TEST_F(Vcard, StartsShowsAndStops) {
    const ProcessResult started = run({"start", "--cards", "2"});
    EXPECT_EQ(started.status, 0) << started.err;
    EXPECT_THAT(started.out, HasSubstr("2 cards"));
    EXPECT_TRUE(fs::exists(service_dir() / "tarn-vcard.log"));
    EXPECT_TRUE(process_exists(service_pid()));
    EXPECT_EQ(cards_found(), 2);

    const ProcessResult status = run({"status"});
    EXPECT_EQ(status.status, 0) << status.err;
    EXPECT_THAT(status.out, HasSubstr("card 0: name tarn0, alias 0"));
    EXPECT_THAT(status.out, HasSubstr("card 1: name tarn1, alias 1"));

    const ProcessId pid = service_pid();
    const ProcessResult stopped = run({"stop"});
    EXPECT_EQ(stopped.status, 0) << stopped.err;
    EXPECT_EQ(cards_found(), 0);
    EXPECT_FALSE(fs::exists(service_dir() / "tarn-vcard.pid"));
    EXPECT_TRUE(eventually([pid] { return !process_exists(pid); }));
}

TEST_F(Vcard, StatusAndStopFailWhenNothingRuns) {
    const ProcessResult status = run({"status"});
    EXPECT_EQ(status.status, 1);
    EXPECT_THAT(status.out, HasSubstr("is not running in " + service_dir().string()));
    const ProcessResult stop = run({"stop"});
    EXPECT_EQ(stop.status, 1);
    EXPECT_THAT(stop.err, HasSubstr("no service runs in " + service_dir().string()));
}

TEST_F(Vcard, SecondStartFailsAndLeavesTheFirstAlone) {
    ASSERT_EQ(run({"start"}).status, 0);
    const ProcessId pid = service_pid();
    const ProcessResult second = run({"start"});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.err, HasSubstr("already running"));
    EXPECT_THAT(second.err, HasSubstr(std::to_string(pid)));
    EXPECT_EQ(run({"status"}).status, 0);
}

TEST_F(Vcard, StartAfterAKillTakesOverWhatIsLeft) {
    ASSERT_EQ(run({"start", "--cards", "3"}).status, 0);
    const ProcessId killed = service_pid();
    ASSERT_TRUE(kill_process(killed));
    ASSERT_TRUE(eventually(
        [this] { return run({"status"}).out.find("is not running") != std::string::npos; }));
    const ProcessResult again = run({"start"});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(cards_found(), 1);
    EXPECT_NE(service_pid(), killed);
    EXPECT_EQ(run({"status"}).status, 0);
}

TEST_F(Vcard, StalePidFileOfALivingProcessIsNotBelieved) {
    fs::create_directory(service_dir());
    fs::permissions(service_dir(), fs::perms::owner_all);
    std::ofstream(service_dir() / "tarn-vcard.pid") << own_process() << "\n";
    EXPECT_EQ(run({"status"}).status, 1);
    EXPECT_EQ(run({"stop"}).status, 1); // and this test still lives
    EXPECT_EQ(run({"start"}).status, 0);
    EXPECT_NE(service_pid(), own_process());
}

TEST_F(Vcard, ServesInAFolderOfItsOwn) {
    const std::string folder = (folder_.path() / "elsewhere").string();
    EXPECT_EQ(run({"start", "--dir", folder}).status, 0);
    EXPECT_TRUE(fs::exists(fs::path(folder) / "tarn-vcard.pid"));
    EXPECT_EQ(run({"status"}).status, 1);
    EXPECT_EQ(run({"status", "--dir", folder}).status, 0);
    EXPECT_EQ(run({"stop", "--dir", folder}).status, 0);
}

TEST_F(Vcard, FolderThatCannotBeMadeIsRefused) {
    const ProcessResult result = run({"start", "--dir", file("no/such")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("cannot make the runtime directory"));
}

TEST_F(Vcard, RunsInTheForegroundUntilASignal) {
    for (const Signal signal : {Signal::kTerminate, Signal::kInterrupt}) {
        BackgroundProcess service(program_path("tarn-vcard"), {"run", "--cards", "2"}, options());
        ASSERT_TRUE(service.wait_for_output("serving 2 cards")) << service.err();
        EXPECT_EQ(run({"status"}).status, 0);
        service.send_signal(signal);
        ProcessResult result;
        ASSERT_TRUE(service.wait(kPatience, &result));
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(cards_found(), 0);
    }
}

// ---- card options ----------------------------------------------------------------------------

TEST_F(Vcard, CardsAreMadeAsDescribed) {
    const ProcessResult started =
        run({"start", "--cards", "3", "--each", "channels=1,model=plain", "--card",
             "name=axis,alias=0x0C,generation=1,slots=64,slot-size=1024,firmware=1.2.3,"
             "first-counter=4294967290,start-ms=0",
             "--card", "model=other"});
    ASSERT_EQ(started.status, 0) << started.err;
    const std::string status = run({"status"}).out;
    EXPECT_THAT(status, HasSubstr("card 0: name axis, alias 12, model plain, firmware 1.2.3, "
                                  "1 channel, 64 x 1024 bytes, generation 1"));
    EXPECT_THAT(status, HasSubstr("card 1: name tarn1, alias 1, model other"));
    EXPECT_THAT(status, HasSubstr("card 2: name tarn2, alias 2, model plain"));
}

TEST_F(Vcard, WrongCardOptionsAreUsageErrors) {
    expect_usage_error({"start", "--card", "colour=red"}, "is no card setting");
    expect_usage_error({"start", "--card", "name"}, "is no card setting");
    expect_usage_error({"start", "--card", "slots=3"}, "not a power of two");
    expect_usage_error({"start", "--card", "slots=x"}, "is no number");
    expect_usage_error({"start", "--card", "alias=16"}, "alias 16");
    expect_usage_error({"start", "--card", "channels=3"}, "channel count 3");
    expect_usage_error({"start", "--card", "generation=3"}, "generation 3");
    expect_usage_error({"start", "--card", "name="}, "needs a name");
    expect_usage_error({"start", "--card", "name=" + std::string(32, 'n')}, "31");
    expect_usage_error({"start", "--card", "slots=64,slot-size=102400"}, "do not fit");
    expect_usage_error({"start", "--cards", "1", "--card", "alias=1", "--card", "alias=2"},
                       "only 1");
    expect_usage_error({"start", "--cards", "0"}, "--cards");
    expect_usage_error({"start", "--cards", "17"}, "--cards");
    expect_usage_error({"start", "--network", "no-such-file.xml"}, "cannot be read");
    EXPECT_EQ(run({"status"}).status, 1);
}

TEST_F(Vcard, UsageErrorsAndHelp) {
    expect_usage_error({}, "a command is missing");
    expect_usage_error({"dance"}, "dance");
    expect_usage_error({"start", "--loud"}, "--loud");
    const ProcessResult help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char *command : {"run", "start", "stop", "status", "make-eni", "fault"}) {
        EXPECT_THAT(help.out, HasSubstr(command));
        const ProcessResult more = run({command, "--help"});
        EXPECT_EQ(more.status, 0) << command;
        EXPECT_THAT(more.out, HasSubstr("--help")) << command;
    }
    EXPECT_THAT(run({"start", "--help"}).out, HasSubstr("tarn-vcard start --cards 2"));
}

// ---- faults ----------------------------------------------------------------------------------

TEST_F(Vcard, FaultsAreTakenByTheRunningService) {
    ASSERT_EQ(run({"start"}).status, 0);
    const std::vector<std::vector<std::string>> faults = {
        {"drop", "1"},
        {"duplicate", "2"},
        {"stale", "1"},
        {"corrupt", "1"},
        {"oversize", "1"},
        {"delay", "10"},
        {"status", "32775"},
        {"refuse-chunks", "on"},
        {"stop-draining", "off"},
        {"no-interrupts", "on"},
        {"status", "0x8007", "--command", "9", "--count", "2"},
        {"clear"}};
    for (std::vector<std::string> fault : faults) {
        fault.insert(fault.begin(), "fault");
        const ProcessResult result = run(fault);
        EXPECT_EQ(result.status, 0) << fault[1] << ": " << result.err;
    }
}

TEST_F(Vcard, FaultsThatCannotBeSetFail) {
    ASSERT_EQ(run({"start"}).status, 0);
    const ProcessResult slave = run({"fault", "unplug", "0"});
    EXPECT_EQ(slave.status, 1);
    EXPECT_THAT(slave.err, HasSubstr("no running bus with a slave 0 that can have this fault"));
    const ProcessResult port = run({"fault", "unplug", "2:1"});
    EXPECT_EQ(port.status, 1);
    EXPECT_THAT(port.err, HasSubstr("with a slave 2 that has a cable at port 1"));
    const ProcessResult bus = run({"fault", "lose-frames", "1"});
    EXPECT_EQ(bus.status, 1);
    EXPECT_THAT(bus.err, HasSubstr("channel 0 has no running bus"));
    EXPECT_EQ(run({"fault", "al-status", "0", "0"}).status, 1);
    EXPECT_EQ(run({"fault", "safeop-error", "0:1"}).status, 1);
    const ProcessResult card = run({"fault", "--card", "1", "drop", "1"});
    EXPECT_EQ(card.status, 1);
    EXPECT_THAT(card.err, HasSubstr("there is no card 1"));
    expect_usage_error({"fault", "drop"}, "required");
    expect_usage_error({"fault", "drop", "many"}, "is no number");
    expect_usage_error({"fault", "unplug", "1:4"}, "none of 0 to 3");
    expect_usage_error({"fault", "unplug", "1:x"}, "is no number");
    expect_usage_error({"fault", "crc-errors", "1:0"}, "required");
    expect_usage_error({"fault", "al-status", "1", "much"}, "is no number");
    expect_usage_error({"fault", "refuse-chunks", "maybe"}, "neither on nor off");
    expect_usage_error({"fault"}, "a command is missing");
    expect_usage_error({"fault", "explode"}, "explode");
    EXPECT_EQ(run({"status"}).status, 0);
}

TEST_F(Vcard, FaultWithoutAServiceFails) {
    const ProcessResult result = run({"fault", "drop", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("no service runs in"));
}

TEST_F(Vcard, ServiceDiesOnDemand) {
    ASSERT_EQ(run({"start"}).status, 0);
    EXPECT_EQ(run({"fault", "die"}).status, 0);
    EXPECT_TRUE(eventually(
        [this] { return run({"status"}).out.find("is not running") != std::string::npos; }));
    EXPECT_EQ(run({"start"}).status, 0);
}

// ---- make-eni --------------------------------------------------------------------------------

TEST_F(Vcard, WritesAnEniFile) {
    const std::string path = file("cell.xml");
    const ProcessResult result = run({"make-eni", "-o", path, "--slave", "drive:2", "--slave",
                                      "dio16:4", "--cycle-us", "500", "--mapping"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "");
    std::ifstream stream(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_THAT(text, HasSubstr("<CRC>"));
    const ProcessResult piped = run(
        {"make-eni", "--slave", "drive:2", "--slave", "dio16:4", "--cycle-us", "500", "--mapping"});
    EXPECT_EQ(piped.out, text);
}

TEST_F(Vcard, ListsTheKindsOfSlaves) {
    const ProcessResult result = run({"make-eni", "--list-kinds"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("drive"));
    EXPECT_THAT(result.out, HasSubstr("coupler"));
}

TEST_F(Vcard, ImpossibleNetworksAreUsageErrors) {
    expect_usage_error({"make-eni", "--slave", "toaster"}, "toaster");
    expect_usage_error({"make-eni", "--slave", "dio8:many"}, "is no number");
    expect_usage_error({"make-eni", "--slave", "dio8:4097"}, "4");
}

TEST_F(Vcard, EniFileThatCannotBeWrittenIsAFailure) {
    const std::string path = file("no/such/file");
    const ProcessResult result = run({"make-eni", "-o", path, "--slave", "dio8"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("cannot write " + path));
}

TEST_F(Vcard, FixedNetworkIsTakenFromAnEniFile) {
    const std::string path = file("machine.xml");
    ASSERT_EQ(run({"make-eni", "-o", path, "--slave", "dio8:2"}).status, 0);
    ProcessOptions there = options();
    there.directory = folder_.path();
    const ProcessResult result =
        run_program(program_path("tarn-vcard"), {"start", "--network", "machine.xml"}, there);
    EXPECT_EQ(result.status, 0) << result.err;
}

} // namespace
