// The tool as a user runs it: cards, bus, states, slaves, errors and usage.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr int kDrive = 1;
constexpr int kDigital = 2;

// ---- usage --------------------------------------------------------------------------------------

using TarnUsage = TarnTool;

TEST_F(TarnUsage, HelpNamesEveryCommandAndTheSharedFile) {
    const std::string help = out("--help");
    for (const char *command : {"boards", "info", "version", "start", "stop", "reset", "status",
                                "state", "slaves", "pi", "eni", "error"}) {
        EXPECT_THAT(help, HasSubstr(std::string("\n  ") + command + " "));
    }
    EXPECT_THAT(help, HasSubstr("temp.dat"));
}

TEST_F(TarnUsage, HelpOfEveryCommandHasExamples) {
    for (const char *command :
         {"boards", "info", "version", "start", "stop", "reset", "status", "state", "slaves", "pi",
          "pi read", "pi write", "pi watch", "eni", "eni check", "error"}) {
        EXPECT_THAT(out(std::string(command) + " --help"),
                    AllOf(HasSubstr("Examples:\n  tarn "), HasSubstr("--board")))
            << command;
    }
}

TEST_F(TarnUsage, MissingCommandIsWrongUsage) {
    expect_usage_error("", "a command is missing");
    expect_usage_error("pi", "a command is missing");
    expect_usage_error("eni", "a command is missing");
}

TEST_F(TarnUsage, UnknownCommandIsNamed) {
    expect_usage_error("bogus", "bogus");
    expect_usage_error("pi bogus", "bogus");
}

TEST_F(TarnUsage, UnknownOptionIsNamed) {
    expect_usage_error("status --bogus", "--bogus");
}

TEST_F(TarnUsage, MissingArgumentIsNamed) {
    expect_usage_error("start", "ENI");
    expect_usage_error("eni check", "FILE");
    expect_usage_error("pi write", "VALUE");
}

TEST_F(TarnUsage, ChannelIsZeroOrOne) {
    expect_usage_error("--channel 2 status", "--channel");
    expect_usage_error("status --channel x", "--channel");
    expect_usage_error("status --channel -1", "--channel");
}

TEST_F(TarnUsage, TimeoutIsANumber) {
    expect_usage_error("status --timeout 1s", "--timeout");
    expect_usage_error("status --timeout 4294967296", "--timeout");
}

TEST_F(TarnUsage, StateOfOneSlaveCannotBeSet) {
    expect_usage_error("state 3 --set OP", "for the whole bus");
}

TEST_F(TarnUsage, StateNamesAreChecked) {
    expect_usage_error("state --set RUN", "\"RUN\" is no state");
    expect_usage_error("state --set 5", "\"5\" is no state");
}

TEST_F(TarnUsage, ErrorsGoToStandardErrorOnly) {
    const ProcessResult result = tarn("bogus");
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, StartsWith("tarn: "));
}

// ---- error and version --------------------------------------------------------------------------

using TarnError = TarnTool;

TEST_F(TarnError, ExplainsAStatus) {
    EXPECT_EQ(out("error 80004"),
              "Device not find (80004)\nHint: is a card or tarn-vcard running?\n");
}

TEST_F(TarnError, TakesHexadecimal) {
    EXPECT_THAT(out("error 0x13884"), StartsWith("Device not find (80004)"));
}

TEST_F(TarnError, ExplainsAnAlStatusCode) {
    EXPECT_EQ(out("error --al 0x1b"), "ERROR: Sync manager watchdog (0x001b)\n");
    EXPECT_EQ(out("error --al 27"), "ERROR: Sync manager watchdog (0x001b)\n");
}

TEST_F(TarnError, GivesJson) {
    const JsonDocument document = json("error 80003");
    EXPECT_EQ(document["code"].number(), 80003);
    EXPECT_EQ(document["text"].text(), "Recvive timeout");
    EXPECT_THAT(document["hint"].text(), HasSubstr("--timeout"));
}

TEST_F(TarnError, ZeroIsNoError) {
    EXPECT_EQ(out("error 0"), "No error (0)\n");
}

TEST_F(TarnError, UnknownCodesFail) {
    expect_failure("error 11", "11 is no known status");
    expect_failure("error -1", "-1 is no known status");
    expect_failure("error --al 0x61", "0x0061 is no known AL status code");
}

TEST_F(TarnError, NonsenseIsWrongUsage) {
    expect_usage_error("error eleven", "\"eleven\" is no status code");
    expect_usage_error("error --al 65536", "is no AL status code");
    expect_usage_error("error 99999999999", "is no status code");
}

TEST_F(TarnError, ListsAllWithoutACode) {
    EXPECT_THAT(out("error"), AllOf(HasSubstr("\n80019  Boardcast is not existent\n"),
                                    HasSubstr("\n90007  "), Not(HasSubstr("Unknown"))));
    EXPECT_THAT(out("error --al"), HasSubstr("0x0060  ERROR: Slave restarted locally\n"));
    EXPECT_TRUE(json("error").is_array());
}

using TarnVersion = TarnTool;

TEST_F(TarnVersion, ShowsToolLibraryAndCommit) {
    EXPECT_THAT(out("version"), AllOf(HasSubstr("commit"), HasSubstr("1.9.1[Jun 30 2025]"),
                                      HasSubstr("no card is present")));
    EXPECT_EQ(json("version")["library"].text(), "1.9.1[Jun 30 2025]");
}

// ---- no card ------------------------------------------------------------------------------------

using TarnWithoutCard = TarnTool;

TEST_F(TarnWithoutCard, BoardsListsNothing) {
    EXPECT_THAT(out("boards"), HasSubstr("no card"));
    EXPECT_EQ(json("boards").size(), 0);
}

TEST_F(TarnWithoutCard, CommandsSayWhatIsMissing) {
    write_file("empty.xml", "");
    for (const char *command :
         {"info", "start empty.xml", "stop", "reset", "status", "state", "state 0",
          "state --set OP", "slaves", "pi read", "pi write 1", "pi watch --count 1"}) {
        expect_failure(command, "Device not find (80004): no card named \"ID0\"; is a card or "
                                "tarn-vcard running?");
    }
}

TEST_F(TarnWithoutCard, JsonCarriesCodeAndHint) {
    const JsonDocument error = JsonDocument(tarn("--json --board x status").out)["error"];
    EXPECT_EQ(error["code"].number(), 80004);
    EXPECT_EQ(error["text"].text(), "Device not find");
    EXPECT_EQ(error["what"].text(), "no card named \"x\"");
    EXPECT_EQ(error["hint"].text(), "is a card or tarn-vcard running?");
}

// ---- cards --------------------------------------------------------------------------------------

using TarnBoards = TarnWithCard;

TEST_F(TarnBoards, ListsAllCards) {
    EXPECT_THAT(out("boards"),
                AllOf(HasSubstr("ID0    tarn0"), HasSubstr("ID1    tarn1"), HasSubstr("AL1")));
}

TEST_F(TarnBoards, GivesJson) {
    const JsonDocument boards = json("boards");
    ASSERT_EQ(boards.size(), 2);
    EXPECT_EQ(boards[1]["name"].text(), "tarn1");
    EXPECT_EQ(boards[1]["position"].number(), 1);
    EXPECT_EQ(boards[1]["alias"].number(), 1);
    EXPECT_EQ(boards[1]["channels"].number(), 2);
}

TEST_F(TarnBoards, InfoShowsCardAndChannels) {
    EXPECT_THAT(out("info"), AllOf(HasSubstr("tarn0"), HasSubstr("channel 1"),
                                   HasSubstr("bus stopped"), HasSubstr("1.9.1[Jun 30 2025]")));
}

TEST_F(TarnBoards, CardIsFoundByNamePositionAndAlias) {
    for (const char *board : {"tarn1", "ID1", "AL1"}) {
        EXPECT_EQ(json(std::string("--board ") + board + " info")["name"].text(), "tarn1");
    }
}

TEST_F(TarnBoards, InfoGivesJson) {
    const JsonDocument info = json("info");
    EXPECT_EQ(info["driver_version"].text(), "1.0.0.4");
    ASSERT_EQ(info["channel_list"].size(), 2);
    EXPECT_TRUE(info["channel_list"][0]["versions_match"].is_true());
    EXPECT_TRUE(info["channel_list"][0]["running"].is_false());
}

TEST_F(TarnBoards, UnknownNameListsThoseThatArePresent) {
    expect_failure("--board x info", "Device not find (80004): no card named \"x\"; present: "
                                     "\"tarn0\", \"tarn1\"");
}

TEST_F(TarnBoards, GlobalOptionsStandBeforeOrAfterTheCommand) {
    EXPECT_EQ(out("--board tarn1 --json info"), out("info --board tarn1 --json"));
}

// ---- bus ----------------------------------------------------------------------------------------

using TarnBus = TarnWithCard;

TEST_F(TarnBus, StartsAndStops) {
    const ProcessResult started = tarn("start cell.xml");
    EXPECT_EQ(started.status, 0) << started.err;
    EXPECT_THAT(started.out, StartsWith("Bus started: master in OP, 5 slaves, outputs 18 bytes, "
                                        "inputs 19 bytes, "));
    EXPECT_TRUE(json("status")["running"].is_true());
    EXPECT_EQ(out("stop"), "Bus stopped\n");
    EXPECT_TRUE(json("status")["running"].is_false());
}

TEST_F(TarnBus, ProgressIsPlainLinesWhenThereIsNoTerminal) {
    const ProcessResult started = tarn("start cell.xml");
    EXPECT_THAT(started.err, AllOf(HasSubstr("Starting the bus: 100 %, "), Not(HasSubstr("\r")),
                                   Not(HasSubstr("\x1b"))));
}

TEST_F(TarnBus, StartWithJsonGivesEventsAndOneDocument) {
    const ProcessResult started = tarn("start cell.xml --json");
    const JsonDocument document(started.out);
    EXPECT_TRUE(document["started"].is_true());
    EXPECT_EQ(document["master_state"].text(), "OP");
    EXPECT_EQ(document["slaves"].number(), 5);
    EXPECT_EQ(document["output_bytes"].number(), 18);
    std::istringstream lines(started.err);
    double last = -1;
    for (std::string line; std::getline(lines, line);) {
        const JsonDocument event(line);
        EXPECT_EQ(event["event"].text(), "progress");
        EXPECT_GE(event["fraction"].number(), last);
        last = event["fraction"].number();
    }
    EXPECT_EQ(last, 1);
}

TEST_F(TarnBus, RunsOnTheChannelThatIsNamed) {
    out("start cell.xml --channel 1");
    EXPECT_TRUE(json("status --channel 1")["running"].is_true());
    EXPECT_TRUE(json("status --channel 0")["running"].is_false());
}

TEST_F(TarnBus, SecondStartIsRefusedAndLeavesTheBusAlone) {
    out("start cell.xml");
    expect_failure("start plain.xml",
                   "Master already started (32815): cannot start the bus with plain.xml; the bus "
                   "runs already; stop it first: tarn stop");
    EXPECT_EQ(tarn("status --eni cell.xml").status, 0);
    EXPECT_EQ(out("pi read --slave 2"), "0x0000\n");
}

TEST_F(TarnBus, StopIsFineWhenNothingRuns) {
    EXPECT_EQ(out("stop"), "Bus stopped\n");
    EXPECT_TRUE(json("stop")["stopped"].is_true());
}

TEST_F(TarnBus, ResetStopsTheBus) {
    out("start cell.xml");
    EXPECT_TRUE(json("reset")["reset"].is_true());
    EXPECT_TRUE(json("status")["running"].is_false());
    out("start cell.xml");
}

TEST_F(TarnBus, MissingFileIsToldBeforeAnythingElse) {
    expect_failure("start none.xml", "Can't open file (32848): none.xml; does the file exist");
}

TEST_F(TarnBus, NonsenseFilesAreRefusedByTheCard) {
    write_file("text.xml", "this is no XML");
    write_file("empty.xml", "");
    write_file("root.xml", "<Something/>");
    write_file("none.xml", "<EtherCATConfig><Config/></EtherCATConfig>");
    for (const char *name : {"text.xml", "empty.xml", "root.xml", "none.xml"}) {
        const ProcessResult result = tarn(std::string("start ") + name);
        EXPECT_EQ(result.status, 1) << name;
        EXPECT_THAT(result.err, HasSubstr("tarn: ")) << name;
        EXPECT_TRUE(json("status")["running"].is_false()) << name;
    }
    expect_failure("start root.xml", "Xml configuration file contains errors (32774)");
    out("start cell.xml");
}

TEST_F(TarnBus, LibraryMessagesKeepOffTheJsonDocument) {
    out("start cell.xml");
    EXPECT_EQ(vcard("fault status 32771 --command 10 --count 3").status, 0);
    const ProcessResult result = tarn("stop --json");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(JsonDocument(result.out)["error"]["code"].number(), 32771);
    EXPECT_THAT(result.err, HasSubstr("EcatBusStop retry"));
}

TEST_F(TarnBus, TimeoutEndsTheWaitForADeafCard) {
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_failure("status --timeout 50", "(80003): cannot ask for the bus status; the card does "
                                          "not answer");
}

TEST_F(TarnBus, StatusOfAnUnconfiguredChannel) {
    EXPECT_THAT(out("status"), AllOf(HasSubstr("stopped"), HasSubstr("Master not configured"),
                                     HasSubstr("request 20000 ms"), HasSubstr("(generation 2)")));
    const JsonDocument status = json("status");
    EXPECT_TRUE(status["slaves"].is_null());
    EXPECT_TRUE(status["eni_crc"].is_null());
}

TEST_F(TarnBus, FailuresOfOneCardNameIt) {
    vcard("stop");
    EXPECT_EQ(vcard("start --card name=small,channels=1").status, 0);
    expect_failure("--board small --channel 1 status",
                   "Invalid ethercat channel (80005): card \"small\" has no channel 1; tarn info");
}

// ---- status, states, slaves ---------------------------------------------------------------------

using TarnStatus = TarnOnBus;

TEST_F(TarnStatus, ShowsTheRunningBus) {
    EXPECT_THAT(out("status --timeout 1234"),
                AllOf(HasSubstr("running, status 2 (running)"), HasSubstr("OP (requested OP)"),
                      HasSubstr("5 configured, 5 active"),
                      HasSubstr("outputs 18 bytes, inputs 19 bytes"),
                      HasSubstr("request 1234 ms")));
}

TEST_F(TarnStatus, GivesJson) {
    const JsonDocument status = json("status --timeout 0x100");
    EXPECT_EQ(status["bus_status"].number(), 2);
    EXPECT_EQ(status["master_state"].text(), "OP");
    EXPECT_EQ(status["requested_state"].text(), "OP");
    EXPECT_EQ(status["active_slaves"].number(), 5);
    EXPECT_EQ(status["input_bytes"].number(), 19);
    EXPECT_EQ(status["request_timeout_ms"].number(), 256);
    EXPECT_EQ(status["protocol_generation"].number(), 2);
    EXPECT_EQ(status["mailbox_version"].number(), 3);
    EXPECT_EQ(status["eni_crc"].text().size(), 64U);
}

TEST_F(TarnStatus, ComparesWithAnEniFile) {
    EXPECT_TRUE(json("status --eni cell.xml")["eni_matches"].is_true());
    const ProcessResult other = tarn("status --eni plain.xml");
    EXPECT_EQ(other.status, 1);
    EXPECT_THAT(other.out, HasSubstr("is not the one that runs"));
    write_file("nocrc.xml", std::string(200, ' '));
    expect_failure("status --eni nocrc.xml", "no CRC element");
}

TEST_F(TarnStatus, FirstGenerationIsShown) {
    vcard("stop");
    EXPECT_EQ(vcard("start --each generation=1,start-ms=30").status, 0);
    EXPECT_EQ(json("status")["protocol_generation"].number(), 1);
}

TEST_F(TarnStatus, LostSlaveIsAFault) {
    EXPECT_EQ(vcard("fault unplug 4").status, 0);
    EXPECT_TRUE(prints_soon("status", "4 active"));
    EXPECT_THAT(out("status"), HasSubstr("status 3 (a slave has left its state)"));
}

using TarnState = TarnOnBus;

TEST_F(TarnState, ShowsTheMaster) {
    EXPECT_EQ(out("state"), "master          OP (requested OP)\nslaves          5 in OP\n");
    EXPECT_EQ(json("state")["slaves_per_state"]["OP"].number(), 5);
}

TEST_F(TarnState, SetsTheMasterByNameOrNumber) {
    EXPECT_THAT(out("state --set SAFEOP"), HasSubstr("SAFEOP (requested SAFEOP)"));
    EXPECT_THAT(out("state --set preop"), HasSubstr("5 in PREOP"));
    EXPECT_THAT(out("state --set 8"), HasSubstr("OP (requested OP)"));
    EXPECT_THAT(out("state --set 0x4 --wait 0"), HasSubstr("master"));
}

TEST_F(TarnState, ForbiddenTransitionSaysHowToGo) {
    expect_failure("state --set BOOT", "(32779): the master does not take the request for BOOT; "
                                       "go step by step");
}

TEST_F(TarnState, ShowsOneSlave) {
    EXPECT_THAT(out("state 1"), AllOf(HasSubstr("OP (requested OP)"), HasSubstr("0x0000 Is OK")));
    EXPECT_EQ(out("state -p 1"), out("state 1"));
    EXPECT_EQ(json("state 1")["position"].number(), kDrive);
}

TEST_F(TarnState, ShowsWhyASlaveIsInError) {
    EXPECT_EQ(vcard("fault safeop-error 2").status, 0);
    EXPECT_TRUE(prints_soon("state 2", "SAFEOP+ERROR (requested OP)"));
    EXPECT_THAT(out("state 2"), HasSubstr("ERROR: "));
}

TEST_F(TarnState, SlaveThatIsNotThere) {
    expect_failure("state 5", "Invalid slave index (32778)");
}

using TarnSlaves = TarnOnBus;

TEST_F(TarnSlaves, OneLinePerSlave) {
    const std::string text = out("slaves");
    EXPECT_THAT(text, StartsWith("Pos  Name"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6);
    EXPECT_THAT(text, HasSubstr("16@112"));
}

TEST_F(TarnSlaves, GivesJson) {
    const JsonDocument slaves = json("slaves");
    ASSERT_EQ(slaves.size(), 5);
    const JsonDocument slave = slaves[kDigital];
    EXPECT_EQ(slave["position"].number(), kDigital);
    EXPECT_EQ(slave["state"].text(), "OP");
    EXPECT_TRUE(slave["error"].is_false());
    EXPECT_EQ(slave["address"].number(), 1003);
    EXPECT_EQ(slave["outputs"]["bit"].number(), 112);
    EXPECT_EQ(slave["outputs"]["bits"].number(), 16);
    EXPECT_EQ(slaves[0]["inputs"]["bits"].number(), 0);
}

TEST_F(TarnSlaves, ShowsOnlyTheOneAskedFor) {
    EXPECT_EQ(json("slaves -p 2").size(), 1);
    EXPECT_EQ(json("slaves --slave 0x2")[0]["position"].number(), kDigital);
    expect_failure("slaves -p 5", "Invalid slave index (32778): slave 5 of 5");
}

TEST_F(TarnSlaves, MarksErrors) {
    EXPECT_EQ(vcard("fault safeop-error 2").status, 0);
    EXPECT_TRUE(prints_soon("slaves", "SAFEOP+ERROR"));
    EXPECT_THAT(out("slaves"), HasSubstr("Slave 2: AL status 0x"));
}

} // namespace
