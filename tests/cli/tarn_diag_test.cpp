// The bus's health as a user of the tool sees it.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char *kNoCard = "Device not find (80004): no card named \"ID0\"";

// ---- usage --------------------------------------------------------------------------------------

using TarnDiagUsage = TarnTool;

TEST_F(TarnDiagUsage, HelpOfEveryCommandHasExamples) {
    for (const char *command : {"diag", "lasterror"}) {
        EXPECT_THAT(out(std::string(command) + " --help"),
                    AllOf(HasSubstr("Examples:\n  tarn "), HasSubstr("--board")))
            << command;
    }
    EXPECT_THAT(out("--help"), AllOf(HasSubstr("\n  diag "), HasSubstr("\n  lasterror ")));
}

TEST_F(TarnDiagUsage, CountBelongsToWatch) {
    expect_usage_error("diag --count 3", "--watch");
    expect_usage_error("diag --interval-ms 5", "--watch");
    expect_usage_error("diag --watch --count x", "--count");
    expect_usage_error("lasterror --count -1", "--count");
    expect_usage_error("diag 3", "3");
}

TEST_F(TarnDiagUsage, CommandsSayThatThereIsNoCard) {
    expect_failure("diag", kNoCard);
    expect_failure("diag --watch --count 1", kNoCard);
    expect_failure("lasterror", kNoCard);
}

// ---- on a bus -----------------------------------------------------------------------------------

using TarnDiag = TarnOnBus;

TEST_F(TarnDiag, HealthyBusHasNothingWrong) {
    EXPECT_THAT(out("diag"),
                AllOf(StartsWith("master          OP (requested OP), 5 slaves: 5 present, 5 in OP"),
                      HasSubstr("\nframes  "), HasSubstr("\nworking counter "),
                      HasSubstr("\ncycle  "), HasSubstr("nothing is wrong"),
                      HasSubstr("0 coupler 1"), HasSubstr("1 drive 2"), Not(HasSubstr("\x1b["))));
}

TEST_F(TarnDiag, PictureGivesJson) {
    const JsonDocument document = json("diag");
    EXPECT_TRUE(document["known"].is_true());
    EXPECT_EQ(document["now"].size(), 0);
    EXPECT_EQ(document["master"]["slaves_configured"].number(), 5);
    EXPECT_EQ(document["slaves"].size(), 5);
    EXPECT_EQ(document["slaves"][0]["ports"][0]["neighbour"].text(), "master");
    EXPECT_EQ(document["slaves"][1]["parent"].number(), 0);
    EXPECT_TRUE(document["link_down"].is_null());
}

TEST_F(TarnDiag, PulledCableShowsWhereItIs) {
    EXPECT_EQ(vcard("fault unplug 2:1").status, 0);
    EXPECT_TRUE(prints_soon("diag", "DOWN"));
    const JsonDocument document = json("diag");
    EXPECT_EQ(document["link_down"]["slave"].number(), 2);
    EXPECT_EQ(document["link_down"]["port"].number(), 1);
    EXPECT_THAT(out("diag"), HasSubstr("1 down, 1 time lost, "));
    EXPECT_TRUE(document["slaves"][2]["ports"][1]["down"].is_true());
    EXPECT_EQ(document["slaves"][1]["ports"][1]["links_lost"].number(), 0);
    EXPECT_TRUE(prints_soon("lasterror", "no link at port 1 of slave 2"));
}

TEST_F(TarnDiag, SlaveErrorShowsItsCode) {
    EXPECT_EQ(vcard("fault safeop-error 2").status, 0);
    EXPECT_TRUE(prints_soon("diag", "Slave 2: AL status 0x001b ERROR: Sync manager watchdog"));
    EXPECT_EQ(json("diag")["slaves"][2]["state"].text(), "SAFEOP+ERROR");
}

TEST_F(TarnDiag, LostFramesAreCounted) {
    EXPECT_EQ(vcard("fault lose-frames 3").status, 0);
    EXPECT_TRUE(prints_soon("diag", "3 lost"));
    EXPECT_EQ(json("diag")["master"]["frames_lost"].number(), 3);
}

TEST_F(TarnDiag, ClearEndsTheFaultsOfAllChannels) {
    EXPECT_EQ(vcard("fault lose-frames 4000000000").status, 0);
    EXPECT_EQ(vcard("fault --channel 1 clear").status, 0);
    const auto master = [this](const char *count) {
        return json("diag")["master"][count].number();
    };
    const auto lost = master("frames_lost");
    const auto sent = master("frames_sent");
    EXPECT_TRUE(eventually([&] { return master("frames_sent") > sent; }));
    EXPECT_EQ(master("frames_lost"), lost);
}

TEST_F(TarnDiag, DamagedFramesShowAtTheirPort) {
    EXPECT_EQ(vcard("fault crc-errors 1:0 7").status, 0);
    EXPECT_TRUE(prints_soon("diag", "7/0/0/0"));
}

TEST_F(TarnDiag, WatchPrintsSamples) {
    EXPECT_THAT(out("diag --watch --count 2 --interval-ms 10"), HasSubstr(" s  master "));
    EXPECT_EQ(json("diag --watch --count 3 --interval-ms 10").size(), 3);
}

TEST_F(TarnDiag, OtherFirmwareIsShownAsBytes) {
    EXPECT_EQ(vcard("fault status 32772 --command 101 --count 1").status, 0);
    const ProcessResult result = tarn("diag");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("this firmware's records are not known"));
    EXPECT_THAT(result.out, AllOf(StartsWith("master          "), HasSubstr("\nslave 4         "),
                                  Not(HasSubstr("frames"))));
    EXPECT_EQ(vcard("fault status 32772 --command 101 --count 1").status, 0);
    const JsonDocument document = json("diag");
    EXPECT_TRUE(document["known"].is_false());
    EXPECT_EQ(document["master"][0].text().size(), 2U * 118);
    EXPECT_EQ(document["slaves"].size(), 5);
}

TEST_F(TarnDiag, BusThatIsStoppedHasAPicture) {
    out("stop");
    EXPECT_THAT(out("diag"), StartsWith("master "));
    EXPECT_TRUE(json("diag").has("master"));
}

TEST_F(TarnDiag, DeafCardEndsWithTheTimeout) {
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_failure("diag --timeout 20", "the card");
    expect_failure("lasterror --timeout 20", "the card");
}

TEST_F(TarnDiag, NoErrorIsSaid) {
    EXPECT_EQ(out("lasterror"), "no error since the card was switched on\n");
    EXPECT_EQ(json("lasterror")["errors"].size(), 0);
}

TEST_F(TarnDiag, ErrorsHaveTimeAndText) {
    EXPECT_EQ(vcard("fault safeop-error 2").status, 0);
    EXPECT_TRUE(prints_soon("lasterror", "slave 2 "));
    out("board time");
    EXPECT_EQ(vcard("fault none 2").status, 0);
    EXPECT_EQ(vcard("fault safeop-error 3").status, 0);
    EXPECT_TRUE(prints_soon("lasterror --count 1", " UTC  "));
    const JsonDocument document = json("lasterror --count 1");
    EXPECT_EQ(document["errors"].size(), 1);
    EXPECT_EQ(document["errors"][0]["slave"].number(), 3);
    EXPECT_EQ(document["errors"][0]["kind"].text(), "slave state");
}

TEST_F(TarnDiag, ErrorsOfOtherFirmwareAreShownAsBytes) {
    EXPECT_EQ(vcard("fault safeop-error 2").status, 0);
    EXPECT_TRUE(prints_soon("lasterror", "slave 2 "));
    EXPECT_EQ(vcard("fault status 32772 --command 101 --count 1").status, 0);
    const ProcessResult result = tarn("lasterror");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, StartsWith("0000  "));
}

// ---- branches -----------------------------------------------------------------------------------

// Slaves 1 and 2 hang one behind the other on port 1 of the coupler, 3 and 4 on its port 2.
class TarnDiagBranches : public TarnWithCard {
  protected:
    TarnDiagBranches() {
        EXPECT_EQ(vcard("make-eni -o tree.xml --slave coupler --slave dio8:4").status, 0);
        std::string eni = read_file("tree.xml");
        const std::string behind_slave_2 = "<Port>B</Port><PhysAddr>1003</PhysAddr></PreviousPort>";
        const size_t at = eni.find(behind_slave_2);
        EXPECT_NE(at, std::string::npos) << eni;
        eni.replace(at, behind_slave_2.size(),
                    "<Port>C</Port><PhysAddr>1001</PhysAddr></PreviousPort>");
        write_file("tree.xml", eni);
        out("start tree.xml");
    }
};

TEST_F(TarnDiagBranches, AreSetIn) {
    const std::string text = out("diag");
    EXPECT_THAT(text, AllOf(HasSubstr("5 slaves: 5 present"), HasSubstr("\n0 coupler"),
                            HasSubstr("\n+-1 dio8"), HasSubstr("\n+-2 dio8"), HasSubstr("\n3 dio8"),
                            HasSubstr("\n4 dio8"), HasSubstr(" master 1 3 - ")));
}

TEST_F(TarnDiagBranches, HaveTheirParentsInJson) {
    const JsonDocument slaves = json("diag")["slaves"];
    EXPECT_EQ(slaves[0]["ports"][1]["neighbour"].number(), 1);
    EXPECT_EQ(slaves[0]["ports"][2]["neighbour"].number(), 3);
    EXPECT_EQ(slaves[2]["parent"].number(), 1);
    EXPECT_EQ(slaves[3]["parent"].number(), 0);
    EXPECT_EQ(slaves[4]["parent"].number(), 3);
}

TEST_F(TarnDiagBranches, APulledOneLeavesTheOthers) {
    EXPECT_EQ(vcard("fault unplug 0:1").status, 0);
    EXPECT_TRUE(prints_soon("diag", "5 slaves: 3 present"));
    const JsonDocument document = json("diag");
    EXPECT_EQ(document["link_down"]["slave"].number(), 0);
    EXPECT_EQ(document["link_down"]["port"].number(), 1);
    EXPECT_EQ(document["slaves"][4]["state"].text(), "OP");
}

// ---- a long line --------------------------------------------------------------------------------

// More slaves than one request tells the diagnostics of, and far more than one tells the links of.
class TarnDiagOfMany : public TarnWithCard {
  protected:
    static constexpr int kSlaves = 2101;
    static constexpr int kWithLinks = 209;

    TarnDiagOfMany() {
        EXPECT_EQ(
            vcard("make-eni -o many.xml --cycle-us 10000 --slave di8:" + std::to_string(kSlaves))
                .status,
            0);
        out("start many.xml --timeout 120000");
    }
};

TEST_F(TarnDiagOfMany, EverySlaveHasARow) {
    const JsonDocument document = json("diag");
    EXPECT_EQ(document["master"]["slaves_configured"].number(), kSlaves);
    const JsonDocument slaves = document["slaves"];
    ASSERT_EQ(slaves.size(), kSlaves);
    for (const int position : {0, kWithLinks - 1, kWithLinks, 1999, 2000, kSlaves - 1}) {
        const JsonDocument slave = slaves[position];
        EXPECT_EQ(slave["position"].number(), position);
        EXPECT_EQ(slave["name"].text(), "di8 " + std::to_string(position + 1));
        EXPECT_EQ(slave["state"].text(), "OP") << position;
        EXPECT_EQ(slave.has("ports"), position < kWithLinks) << position;
    }
}

TEST_F(TarnDiagOfMany, ErrorsBehindTheFirstRequestAreTold) {
    EXPECT_EQ(vcard("fault safeop-error 2100").status, 0);
    EXPECT_TRUE(prints_soon("diag", "Slave 2100: AL status 0x001b"));
    EXPECT_THAT(out("diag"), HasSubstr("\n2100 di8 2101 "));
}

} // namespace
