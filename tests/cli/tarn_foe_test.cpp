// Files of slaves as a user of the tool sees them.
#include "tarn_fixture.h"

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr const char *kNoCard = "Device not find (80004): no card named \"ID0\"";
constexpr size_t kFileLimit = 25U << 20;

// ---- usage --------------------------------------------------------------------------------------

using TarnFoeUsage = TarnTool;

TEST_F(TarnFoeUsage, HelpOfEveryCommandHasExamples) {
    for (const char *command : {"foe", "foe read", "foe write"}) {
        EXPECT_THAT(out(std::string(command) + " --help"),
                    AllOf(HasSubstr("Examples:\n  tarn "), HasSubstr("--board")))
            << command;
    }
    EXPECT_THAT(out("--help"), HasSubstr("\n  foe "));
}

TEST_F(TarnFoeUsage, MissingArgumentIsNamed) {
    expect_usage_error("foe", "a command is missing");
    expect_usage_error("foe read", "--slave is required");
    expect_usage_error("foe read 1", "NAME");
    expect_usage_error("foe write 1", "FILE");
    expect_usage_error("foe write 1 -", "--as NAME");
}

TEST_F(TarnFoeUsage, NamesOnTheSlaveAreNotEmpty) {
    const ProcessResult empty =
        run_program(program_path("tarn"), {"foe", "read", "1", ""}, options());
    EXPECT_EQ(empty.status, 2);
    EXPECT_THAT(empty.err, HasSubstr("needs a name"));
    expect_usage_error("foe read 1 folder/", "ends with no name");
    expect_usage_error("foe write 1 folder/", "ends with no name");
}

TEST_F(TarnFoeUsage, NamesHaveAtMost127Characters) {
    write_file("a.bin", "a");
    const std::string fits(127, 'n');
    const std::string large(128, 'n');
    expect_failure("foe read 1 " + fits + " -o b.bin", kNoCard);
    expect_failure("foe read 1 " + large + " -o b.bin",
                   "Fill name too long (80000): the name on the slave has 128 characters; nothing "
                   "was sent");
    expect_failure("foe write 1 a.bin --as " + fits, kNoCard);
    expect_failure("foe write 1 a.bin --as " + large, "the name on the slave has 128 characters");
}

TEST_F(TarnFoeUsage, FilesHaveAtMost25MiB) {
    write_file("fits.bin", "");
    fs::resize_file(file("fits.bin"), kFileLimit);
    expect_failure("foe write 1 fits.bin", kNoCard);
    fs::resize_file(file("fits.bin"), kFileLimit + 1);
    expect_failure("foe write 1 fits.bin", "FOE file size is too big (80009): \"fits.bin\" has "
                                           "26214401 bytes; nothing was sent");
}

TEST_F(TarnFoeUsage, FilesThatCannotBeReadAreNamed) {
    fs::create_directory(file("folder"));
    expect_failure("foe write 1 none.bin", "cannot read \"none.bin\"");
    expect_failure("foe write 1 folder", "\"folder\" is a folder");
}

TEST_F(TarnFoeUsage, FailedReadLeavesNothing) {
    expect_failure("foe read 1 log.txt", kNoCard);
    EXPECT_FALSE(fs::exists(file("log.txt")));
    for (const auto &entry : fs::directory_iterator(folder_.path())) {
        EXPECT_NE(entry.path().extension(), ".part") << entry.path();
    }
}

// ---- on a bus -----------------------------------------------------------------------------------

using TarnFoe = TarnOnBus;

TEST_F(TarnFoe, FileOfASlaveIsRead) {
    EXPECT_THAT(out("foe read 1 device.txt -o copy.txt"),
                AllOf(StartsWith("Read "), HasSubstr(" of slave 1 as copy.txt, ")));
    EXPECT_THAT(read_file("copy.txt"), HasSubstr("vendor 0x7461726E"));
    EXPECT_EQ(out("foe read -p 1 device.txt -o -"), read_file("copy.txt"));
}

TEST_F(TarnFoe, WrittenFileIsReadBack) {
    std::string data(100'000, '\0');
    for (size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<char>(i * 7 + i / 256);
    }
    write_file("table.bin", data);
    EXPECT_THAT(out("foe write 1 table.bin"),
                StartsWith("Wrote 97.7 KiB to slave 1 as table.bin, "));
    EXPECT_THAT(out("foe read 1 table.bin -o back.bin"), StartsWith("Read 97.7 KiB of slave 1"));
    EXPECT_TRUE(read_file("back.bin") == data);
}

TEST_F(TarnFoe, StandardInputGetsAName) {
    EXPECT_THAT(out("foe write 1 - --as note.txt", "hello"),
                StartsWith("Wrote 5 bytes to slave 1 as note.txt"));
    out("foe read 1 note.txt -o back.txt");
    EXPECT_EQ(read_file("back.txt"), "hello");
}

TEST_F(TarnFoe, TransfersGiveJson) {
    write_file("a.bin", "abc");
    const JsonDocument written = json("foe write 1 a.bin --as b.bin");
    EXPECT_EQ(written["slave"].number(), 1);
    EXPECT_EQ(written["name"].text(), "b.bin");
    EXPECT_EQ(written["length"].number(), 3);
    EXPECT_EQ(json("foe read 1 b.bin -o c.bin")["file"].text(), "c.bin");
}

TEST_F(TarnFoe, AbsentFileLeavesTheLocalOneAsItWas) {
    write_file("nothing.txt", "mine");
    expect_failure("foe read 1 nothing.txt",
                   "cannot read \"nothing.txt\" of slave 1; the slave has no file of this name");
    EXPECT_EQ(read_file("nothing.txt"), "mine");
}

TEST_F(TarnFoe, ProtectedFileIsExplained) {
    expect_failure("foe read 1 service.dat", "(33281): cannot read \"service.dat\" of slave 1; the "
                                             "slave protects the file");
}

TEST_F(TarnFoe, FileForBootIsExplained) {
    write_file("a.bin", "abc");
    expect_failure("foe write 1 a.bin --as firmware.efw", "tarn state --set BOOT");
}

TEST_F(TarnFoe, RefusedFileIsExplained) {
    write_file("device.txt", "mine");
    expect_failure("foe write 1 device.txt", "cannot write \"device.txt\" to slave 1; the slave "
                                             "does not allow it");
}

TEST_F(TarnFoe, SlaveWithoutMailboxTakesNoFiles) {
    write_file("a.bin", "abc");
    expect_failure("foe write 4 a.bin", "the slave has no mailbox");
    expect_failure("foe read 4 a.bin", "the slave has no mailbox");
}

TEST_F(TarnFoe, SlaveThatIsNotThereIsNamed) {
    expect_failure("foe read 99 device.txt -o copy.txt", "tarn slaves lists the positions");
}

TEST_F(TarnFoe, LongWaitIsShown) {
    write_file("a.bin", "abc");
    EXPECT_EQ(vcard("fault foe-busy 1").status, 0);
    BackgroundProcess write(program_path("tarn"), words("foe write 1 a.bin --timeout 20000"),
                            options());
    EXPECT_TRUE(eventually([&] {
        return write.err().find("writing 3 bytes: ") != std::string::npos;
    })) << write.err();
    vcard("fault none 1");
}

// Several pieces between here and the card, each of which takes its time.
class TarnFoeSlowCard : public TarnFoe {
  protected:
    TarnFoeSlowCard() {
        write_file("long.bin", std::string(500'000, 'x'));
        out("foe write 1 long.bin");
    }
    static void wait_for(BackgroundProcess &process, const std::string &text) {
        EXPECT_TRUE(eventually([&] { return process.err().find(text) != std::string::npos; }))
            << process.err();
    }
};

TEST_F(TarnFoeSlowCard, ShowsHowMuchTheCardHas) {
    EXPECT_EQ(vcard("fault delay 700").status, 0);
    EXPECT_EQ(vcard("fault foe-busy 1").status, 0);
    BackgroundProcess write(program_path("tarn"), words("foe write 1 long.bin"), options());
    wait_for(write, " %, ");
    wait_for(write, " KiB on the card");
    wait_for(write, "all on the card, which gives it to the slave");
    EXPECT_EQ(vcard("fault clear").status, 0);
    EXPECT_EQ(vcard("fault none 1").status, 0);
}

TEST_F(TarnFoeSlowCard, GivesItsProgressAsEvents) {
    EXPECT_EQ(vcard("fault delay 700").status, 0);
    const ProcessResult result = tarn("foe write 1 long.bin --json");
    EXPECT_EQ(result.status, 0);
    const JsonDocument event(result.err.substr(0, result.err.find('\n')));
    EXPECT_EQ(event["event"].text(), "progress");
    EXPECT_EQ(event["stage"].text(), "card");
    EXPECT_GE(event["fraction"].number(), 0);
    EXPECT_LT(event["fraction"].number(), 1);
    EXPECT_GE(event["bytes"].number(), 0);
    EXPECT_LE(event["bytes"].number(), 500'000);
}

TEST_F(TarnFoeSlowCard, ShowsHowMuchIsHere) {
    EXPECT_EQ(vcard("fault delay 3000").status, 0);
    BackgroundProcess read(program_path("tarn"), words("foe read 1 long.bin -o back.bin"),
                           options());
    wait_for(read, "the card fetches it from the slave");
    EXPECT_EQ(vcard("fault delay 700").status, 0);
    wait_for(read, " KiB here");
    ProcessResult result;
    ASSERT_TRUE(read.wait(std::chrono::seconds(60), &result));
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(read_file("back.bin") == read_file("long.bin"));
}

TEST_F(TarnFoe, DeafCardEndsWithTheTimeout) {
    write_file("a.bin", "abc");
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_failure("foe write 1 a.bin --timeout 20", "cannot write \"a.bin\" to slave 1");
    expect_failure("foe read 1 a.bin -o b.bin --timeout 20", "cannot read \"a.bin\" of slave 1");
}

} // namespace
