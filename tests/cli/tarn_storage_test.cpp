// Flash, files and firmware of the card as a user of the tool sees them.
#include "tarn_fixture.h"

#include "vcard/firmware/update_image.h"

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char *kNoCard = "Device not find (80004): no card named \"ID0\"";
constexpr size_t kFileLimit = 5U << 20;
constexpr size_t kImageLimit = 9U << 20;

// Different bytes everywhere, none of them zero.
std::string pattern(size_t size) {
    std::string text(size, '\0');
    for (size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>(1 + (i * 31 + i / 251) % 255);
    }
    return text;
}

// ---- usage --------------------------------------------------------------------------------------

using TarnStorageUsage = TarnTool;

TEST_F(TarnStorageUsage, HelpOfEveryCommandHasExamples) {
    for (const char *command : {"flash", "flash read", "flash write", "flash erase", "flash dump",
                                "file", "file get", "file put", "update"}) {
        EXPECT_THAT(out(std::string(command) + " --help"),
                    AllOf(HasSubstr("Examples:\n  tarn "), HasSubstr("--board")))
            << command;
    }
    EXPECT_THAT(out("--help"), AllOf(HasSubstr("\n  flash "), HasSubstr("\n  file "),
                                     HasSubstr("\n  update "), HasSubstr("\n  board ")));
}

TEST_F(TarnStorageUsage, MissingArgumentIsNamed) {
    expect_usage_error("flash", "a command is missing");
    expect_usage_error("file", "a command is missing");
    expect_usage_error("flash read 0", "LENGTH");
    expect_usage_error("flash erase 0", "LENGTH");
    expect_usage_error("flash write", "ADDRESS");
    expect_usage_error("flash dump", "--output");
    expect_usage_error("file get", "REMOTE");
    expect_usage_error("file put", "LOCAL");
    expect_usage_error("update", "IMAGE");
}

TEST_F(TarnStorageUsage, FlashEndsAt16MiB) {
    write_file("two.txt", "ab");
    for (const char *command : {"flash read 0xffffff 2", "flash erase 0xffffff 2",
                                "flash write 0xffffff --text ab", "flash write 0xffffff two.txt"}) {
        expect_usage_error(command, "the flash ends at 0x1000000");
    }
    for (const char *command :
         {"flash read 0x1000000 1", "flash erase 0x1000000 1", "flash write 0x1000000 --text a"}) {
        expect_usage_error(command, "no number from 0 to 16777215");
    }
    expect_usage_error("flash read 0 0x1000001", "no number from 1 to 16777216");
    for (const char *command : {"flash read 0xffffff 1", "flash erase 0xffffff 1",
                                "flash write 0xffffff --text a", "flash erase 0 0x1000000"}) {
        expect_failure(command, kNoCard);
    }
}

TEST_F(TarnStorageUsage, FlashRangesAreNotEmpty) {
    expect_usage_error("flash read 0 0", "no number from 1 to");
    expect_usage_error("flash erase 0 0", "no number from 1 to");
}

TEST_F(TarnStorageUsage, FlashWriteTakesAFileOrAText) {
    write_file("text.txt", "a");
    expect_usage_error("flash write 0", "FILE or --text");
    expect_usage_error("flash write 0 text.txt --text b", "FILE or --text");
}

TEST_F(TarnStorageUsage, NamesOnTheCardAreNotEmpty) {
    expect_usage_error("file get folder/", "\"folder/\" ends with no name");
    write_file("a.txt", "a");
    const ProcessResult empty = run_program(program_path("tarn"), {"file", "get", ""}, options());
    EXPECT_EQ(empty.status, 2);
    EXPECT_THAT(empty.err, HasSubstr("\"\" ends with no name"));
}

TEST_F(TarnStorageUsage, CommandsSayThatThereIsNoCard) {
    write_file("a.txt", "a");
    for (const char *command :
         {"flash read 0 1", "flash dump -o flash.bin", "flash write 0 a.txt", "file get a b",
          "file put a.txt", "update a.txt", "update --check a.txt"}) {
        expect_failure(command, kNoCard);
    }
    EXPECT_FALSE(fs::exists(file("b")));
    EXPECT_FALSE(fs::exists(file("flash.bin")));
}

// ---- flash --------------------------------------------------------------------------------------

using TarnFlash = TarnWithBoard;

TEST_F(TarnFlash, TextIsWrittenAndDumped) {
    EXPECT_EQ(out("flash write 0x1000 --text cell-7"),
              "Wrote 6 bytes at 0x001000 and read them back\n");
    EXPECT_EQ(out("flash read 0x1000 17"),
              "001000  63 65 6c 6c 2d 37 ff ff ff ff ff ff ff ff ff ff  cell-7..........\n"
              "001010  ff                                               .\n");
}

TEST_F(TarnFlash, ReadGivesJson) {
    out("flash write 16 --text AB");
    const JsonDocument read = json("flash read 15 4");
    EXPECT_EQ(read["address"].number(), 15);
    EXPECT_EQ(read["length"].number(), 4);
    EXPECT_EQ(read["hex"].text(), "ff4142ff");
}

TEST_F(TarnFlash, WriteAndEraseGiveJson) {
    const JsonDocument written = json("flash write 0x10 --text abc");
    EXPECT_EQ(written["address"].number(), 16);
    EXPECT_EQ(written["length"].number(), 3);
    EXPECT_EQ(json("flash erase 0 4096")["length"].number(), 4096);
}

// More than one request carries.
TEST_F(TarnFlash, LongFilesGoInPieces) {
    const std::string data = pattern(200'000);
    write_file("long.bin", data);
    EXPECT_EQ(out("flash write 0x2345 long.bin"),
              "Wrote 195.3 KiB at 0x002345 and read them back\n");
    EXPECT_EQ(out("flash read 0x2345 200000 -o back.bin"), "Read 195.3 KiB to back.bin\n");
    EXPECT_TRUE(read_file("back.bin") == data);
    const JsonDocument read = json("flash read 0x2345 200000 -o again.bin");
    EXPECT_EQ(read["file"].text(), "again.bin");
    EXPECT_TRUE(read_file("again.bin") == data);
}

TEST_F(TarnFlash, LastByteIsReached) {
    EXPECT_EQ(out("flash write 0xffffff --text z"),
              "Wrote 1 byte at 0xffffff and read them back\n");
    EXPECT_THAT(out("flash read 0xffffff 1"), HasSubstr("7a"));
}

TEST_F(TarnFlash, DumpSavesAllOfIt) {
    out("flash write 0xfffffe --text ok");
    EXPECT_EQ(out("flash dump -o flash.bin"), "Read 16.0 MiB to flash.bin\n");
    const std::string all = read_file("flash.bin");
    ASSERT_EQ(all.size(), 16U << 20);
    EXPECT_EQ(all.substr(all.size() - 3), "\xffok");
}

TEST_F(TarnFlash, ZeroBytesAreRefusedBeforeAnythingIsWritten) {
    write_file("zero.bin", std::string("ab\0cd", 5));
    expect_failure("flash write 0 zero.bin",
                   "byte 2 is zero, and zero bytes cannot be written to the flash; nothing was "
                   "written");
    EXPECT_EQ(json("flash read 0 2")["hex"].text(), "ffff");
}

TEST_F(TarnFlash, WrittenBytesMustBeErasedFirst) {
    out("flash write 0 --text hello");
    expect_failure("flash write 0 --text world",
                   "at 0x000000 the flash reads 0x60, and 0x77 was written; writing can only "
                   "clear bits; erase the range first: tarn flash erase");
    EXPECT_EQ(out("flash erase 0 5"), "Erased 5 bytes at 0x000000\n");
    out("flash write 0 --text world");
}

TEST_F(TarnFlash, FilesThatCannotBeReadAreNamed) {
    fs::create_directory(file("folder"));
    write_file("empty", "");
    expect_failure("flash write 0 none", "(32848): cannot read \"none\"; does the file exist");
    expect_failure("flash write 0 folder", "\"folder\" is a folder");
    expect_failure("flash write 0 empty", "\"empty\" is empty; nothing was written");
}

TEST_F(TarnFlash, TargetThatCannotBeWrittenIsNamed) {
    fs::create_directory(file("folder"));
    expect_failure("flash read 0 1 -o no/such/file", "cannot write in the folder \"no");
    expect_failure("flash read 0 1 -o folder", "\"folder\" is a folder");
}

TEST_F(TarnFlash, ADeafCardEndsWithTheTimeout) {
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_failure("flash read 0x10 1 --timeout 20", "cannot read the flash at 0x000010; the card");
    expect_failure("flash erase 0x10 1 --timeout 20", "cannot erase the flash at 0x000010");
    expect_failure("flash write 0x10 --text a --timeout 20",
                   "cannot write the flash at 0x000010; what lies before it is written");
}

// ---- files --------------------------------------------------------------------------------------

using TarnFile = TarnWithBoard;

// Names in a folder, hidden ones as well.
std::vector<std::string> names_in(const fs::path &folder) {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

size_t part_files(const fs::path &folder) {
    const std::vector<std::string> names = names_in(folder);
    return static_cast<size_t>(std::count_if(
        names.begin(), names.end(), [](const auto &name) { return name.ends_with(".part"); }));
}

TEST_F(TarnFile, GoesThereAndBack) {
    write_file("recipe.txt", "3 eggs\r\n\0flour");
    EXPECT_EQ(out("file put recipe.txt"), "Sent 8 bytes as recipe.txt and read them back\n");
    EXPECT_EQ(out("file get recipe.txt copy.txt"), "Got 8 bytes as copy.txt\n");
    EXPECT_EQ(read_file("copy.txt"), read_file("recipe.txt"));
    EXPECT_EQ(part_files(folder_.path()), 0U);
}

TEST_F(TarnFile, NameIsTheLastPartOfThePath) {
    fs::create_directory(file("sub"));
    write_file("sub/a.txt", "first");
    EXPECT_EQ(out("file put sub/a.txt"), "Sent 5 bytes as a.txt and read them back\n");
    EXPECT_EQ(out("file put sub/a.txt b.txt"), "Sent 5 bytes as b.txt and read them back\n");
    EXPECT_EQ(out("file get b.txt"), "Got 5 bytes as b.txt\n");
    EXPECT_EQ(read_file("b.txt"), "first");
}

TEST_F(TarnFile, GivesJson) {
    write_file("a.txt", "abc");
    const JsonDocument sent = json("file put a.txt b.txt");
    EXPECT_EQ(sent["file"].text(), "b.txt");
    EXPECT_EQ(sent["length"].number(), 3);
    const JsonDocument got = json("file get b.txt c.txt");
    EXPECT_EQ(got["file"].text(), "c.txt");
    EXPECT_EQ(got["length"].number(), 3);
}

TEST_F(TarnFile, EmptyFileStaysEmpty) {
    write_file("empty", "");
    EXPECT_EQ(out("file put empty"), "Sent 0 bytes as empty and read them back\n");
    EXPECT_EQ(out("file get empty copy"), "Got 0 bytes as copy\n");
    EXPECT_EQ(fs::file_size(file("copy")), 0U);
}

TEST_F(TarnFile, FileOf5MiBFitsAndOneByteMoreDoesNot) {
    write_file("five", pattern(kFileLimit));
    EXPECT_EQ(out("file put five"), "Sent 5.0 MiB as five and read them back\n");
    out("file get five copy");
    EXPECT_TRUE(read_file("copy") == read_file("five"));
    write_file("more", pattern(kFileLimit + 1));
    expect_failure("file put more", "(80007): \"more\" has 5242881 bytes; a file for the card may "
                                    "have at most 5,242,880 bytes");
    expect_failure("file get more", "cannot get \"more\" from the card");
}

TEST_F(TarnFile, ProgressGoesToStandardError) {
    write_file("long", pattern(500'000));
    const ProcessResult sent = tarn("file put long");
    EXPECT_THAT(sent.err, AllOf(HasSubstr("sending: 100 %"), HasSubstr("reading back: 100 %")));
    const ProcessResult got = tarn("file get long copy --json");
    EXPECT_THAT(got.err, HasSubstr("{\"event\":\"progress\",\"fraction\":1,"));
}

TEST_F(TarnFile, SizesAreEasyToRead) {
    for (const auto &[size, text] : {std::pair<size_t, const char *>{1, "1 byte"},
                                     {9'999, "9999 bytes"},
                                     {10'000, "9.8 KiB"},
                                     {102'400, "100.0 KiB"},
                                     {(1U << 20) - 1, "1024.0 KiB"},
                                     {1U << 20, "1.0 MiB"}}) {
        write_file("file", pattern(size));
        EXPECT_THAT(out("file put file"), StartsWith(std::string("Sent ") + text + " as"));
    }
}

TEST_F(TarnFile, MissingRemoteFileLeavesNothingBehind) {
    write_file("keep.txt", "old");
    expect_failure("file get nothing", "cannot get \"nothing\" from the card; does the card have "
                                       "such a file");
    expect_failure("file get nothing keep.txt", "cannot get \"nothing\"");
    EXPECT_EQ(read_file("keep.txt"), "old");
    EXPECT_FALSE(fs::exists(file("nothing")));
    EXPECT_EQ(part_files(folder_.path()), 0U);
}

TEST_F(TarnFile, TargetThatCannotBeWrittenLeavesNothingBehind) {
    write_file("a.txt", "abc");
    out("file put a.txt");
    fs::create_directory(file("folder"));
    const std::vector<std::string> before = names_in(folder_.path());
    expect_failure("file get a.txt no/such/file", "cannot write in the folder \"no/such\"");
    expect_failure("file get a.txt folder", "\"folder\" is a folder");
    EXPECT_THAT(names_in(folder_.path()), testing::UnorderedElementsAreArray(before));
    EXPECT_TRUE(names_in(file("folder")).empty());
}

TEST_F(TarnFile, ExistingTargetIsReplaced) {
    write_file("a.txt", "new");
    write_file("b.txt", "an older and longer one");
    out("file put a.txt");
    out("file get a.txt b.txt");
    EXPECT_EQ(read_file("b.txt"), "new");
}

TEST_F(TarnFile, LocalFilesThatCannotBeSentAreNamed) {
    fs::create_directory(file("folder"));
    expect_failure("file put none", "(32848): cannot read \"none\"; does the file exist");
    expect_failure("file put folder", "\"folder\" is a folder");
}

// A program that runs cannot be opened for writing.
TEST_F(TarnFile, LocalFileMustBeWritable) {
    const ProcessResult result = run_program(
        program_path("tarn"), {"file", "put", program_path("tarn").string()}, options());
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("cannot be opened for writing; it is not written, but the "
                                      "transfer needs that"));
}

TEST_F(TarnFile, NamesHaveAtMost127Characters) {
    write_file("a.txt", "a");
    const std::string name(127, 'n');
    out("file put a.txt " + name);
    EXPECT_EQ(out("file get " + name + " b.txt"), "Got 1 byte as b.txt\n");
    expect_failure("file put a.txt " + name + "n", "(80000): cannot send \"a.txt\"; use a file "
                                                   "name of at most 127 characters");
    expect_failure("file get " + name + "n c.txt", "(80000): cannot get");
    EXPECT_FALSE(fs::exists(file("c.txt")));
}

TEST_F(TarnFile, RefusedDataIsNoticed) {
    write_file("a.txt", "a");
    EXPECT_EQ(vcard("fault refuse-chunks on").status, 0);
    expect_failure("file put a.txt", "the card has not taken \"a.txt\"; is the card alive");
    EXPECT_EQ(vcard("fault clear").status, 0);
    out("file put a.txt");
}

// A chunk fills a slot of the usual size; into smaller ones nothing gets but the name.
TEST_F(TarnFile, FileThatDidNotArriveWholeIsNoticed) {
    vcard("stop");
    EXPECT_EQ(vcard("start --each slots=64,slot-size=2048").status, 0);
    write_file("long", pattern(100'000));
    expect_failure("file put long --timeout 600", "the card has only 0 of the 100000 bytes of "
                                                  "\"long\"; the transfer was given up");
}

TEST_F(TarnFile, DeafCardIsNoticedAndLeavesNothingBehind) {
    write_file("a.txt", "a");
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_failure("file put a.txt --timeout 20", "the card has not taken \"a.txt\"");
    expect_failure("file get a.txt b.txt --timeout 20", "cannot get \"a.txt\"");
    EXPECT_FALSE(fs::exists(file("b.txt")));
    EXPECT_EQ(part_files(folder_.path()), 0U);
}

TEST_F(TarnFile, CardThatStopsInTheMiddleLeavesNothingBehind) {
    write_file("long", pattern(1'000'000));
    out("file put long");
    EXPECT_EQ(vcard("fault stop-after 5").status, 0);
    EXPECT_EQ(tarn("file get long copy --timeout 20").status, 1);
    EXPECT_FALSE(fs::exists(file("copy")));
    EXPECT_EQ(part_files(folder_.path()), 0U);
}

TEST_F(TarnFile, TwoProgramsSendFilesOfOneNameAtOnce) {
    fs::create_directory(file("one"));
    fs::create_directory(file("two"));
    write_file("one/a.txt", pattern(300'000));
    write_file("two/a.txt", pattern(300'000));
    BackgroundProcess first(program_path("tarn"), words("file put one/a.txt"), options());
    BackgroundProcess second(program_path("tarn"), words("file put two/a.txt"), options());
    for (BackgroundProcess *process : {&first, &second}) {
        ProcessResult result;
        ASSERT_TRUE(process->wait(kPatience, &result));
        EXPECT_EQ(result.status, 0) << result.err;
    }
}

// ---- update -------------------------------------------------------------------------------------

class TarnUpdate : public TarnWithBoard {
  protected:
    void make_image(const std::string &name, const std::string &more = {}) const {
        const ProcessResult made = vcard("make-image --version 1.14.0 -o " + name + " " + more);
        EXPECT_EQ(made.status, 0) << made.err;
    }
    std::string firmware() const { return json("info")["firmware"].text(); }
};

TEST_F(TarnUpdate, NewFirmwareRunsAfterTheReset) {
    make_image("new.img");
    EXPECT_EQ(out("update new.img"),
              "image           new.img, 64.0 KiB\n"
              "its version     1.14.0\n"
              "card            tarn0, firmware 1.13.0\n"
              "The card has taken the image. It starts with the next reset; until then firmware "
              "1.13.0 runs on (tarn board reset)\n");
    EXPECT_EQ(firmware(), "1.13.0");
    EXPECT_EQ(out("board reset"),
              "The card has been reset: firmware 1.14.0, before 1.13.0; its buses are stopped\n");
    EXPECT_EQ(firmware(), "1.14.0");
}

TEST_F(TarnUpdate, GivesJson) {
    make_image("new.img");
    const JsonDocument update = json("update new.img");
    EXPECT_EQ(update["length"].number(), 65536);
    EXPECT_TRUE(update["known"].is_true());
    EXPECT_EQ(update["version"].text(), "1.14.0");
    EXPECT_EQ(update["model"].text(), "tarn virtual EtherCAT card");
    EXPECT_EQ(update["firmware_before"].text(), "1.13.0");
    const JsonDocument reset = json("board reset");
    EXPECT_EQ(reset["firmware"].text(), "1.14.0");
    EXPECT_EQ(reset["firmware_before"].text(), "1.13.0");
}

TEST_F(TarnUpdate, CheckSendsNothing) {
    make_image("new.img");
    EXPECT_EQ(out("update --check new.img"), "image           new.img, 64.0 KiB\n"
                                             "its version     1.14.0\n"
                                             "card            tarn0, firmware 1.13.0\n");
    EXPECT_EQ(json("update --check new.img")["version"].text(), "1.14.0");
    out("board reset");
    EXPECT_EQ(firmware(), "1.13.0");
}

// Some defects show before anything is sent, others only the card can find.
TEST_F(TarnUpdate, BrokenImageLeavesTheFirmware) {
    const std::map<std::string, const char *> expected = {
        {"short", "is a broken firmware image: it ends within its header; nothing was sent"},
        {"magic", "(32853): the card refused the image; the card keeps its firmware 1.13.0"},
        {"format", "the card refused the image; the card keeps its firmware 1.13.0"},
        {"length", "is a broken firmware image: it should have 65536 bytes and has 65535 bytes"},
        {"checksum", "is a broken firmware image: its checksum is wrong; nothing was sent"},
        {"model", "the card is a \"tarn virtual EtherCAT card\"; nothing was sent"},
        {"version", "is a broken firmware image: a text in its header does not end"},
    };
    for (const tarn::vcard::ImageKind &kind : tarn::vcard::broken_image_kinds()) {
        ASSERT_TRUE(expected.contains(kind.name)) << kind.name;
        const std::string name = std::string(kind.name) + ".img";
        make_image(name, std::string("--broken ") + kind.name);
        expect_failure("update " + name, expected.at(kind.name));
    }
    out("board reset");
    EXPECT_EQ(firmware(), "1.13.0");
}

TEST_F(TarnUpdate, ImageOfUnknownLayoutIsLeftToTheCard) {
    write_file("other.img", "firmware of another card");
    EXPECT_THAT(out("update --check other.img"), HasSubstr("not known to tarn"));
    EXPECT_TRUE(json("update --check other.img")["known"].is_false());
    expect_failure("update other.img", "the card refused the image; the card keeps its firmware "
                                       "1.13.0; is it an image for this card, and complete?");
}

TEST_F(TarnUpdate, ImageIsForTheModelOfTheCard) {
    vcard("stop");
    EXPECT_EQ(vcard("start --each model=TARN-2").status, 0);
    make_image("first.img");
    make_image("second.img", "--model TARN-2");
    expect_failure("update first.img", "the image is for \"tarn virtual EtherCAT card\", the card "
                                       "is a \"TARN-2\"; nothing was sent");
    out("update second.img");
}

TEST_F(TarnUpdate, ImageOf9MiBFitsAndOneByteMoreDoesNot) {
    make_image("nine.img", "--size " + std::to_string(kImageLimit));
    make_image("more.img", "--size " + std::to_string(kImageLimit + 1));
    out("update nine.img");
    expect_failure("update more.img", "(80010): \"more.img\" has 9437185 bytes; a firmware image "
                                      "may have at most 9,437,184 bytes; --unlimited");
    expect_failure("update --check more.img", "(80010): \"more.img\"");
}

TEST_F(TarnUpdate, UnlimitedLetsALargerImageThrough) {
    make_image("more.img", "--size " + std::to_string(kImageLimit + 1));
    EXPECT_THAT(out("update --unlimited more.img"),
                AllOf(HasSubstr("9.0 MiB"), HasSubstr("The card has taken the image")));
    out("board reset");
    EXPECT_EQ(firmware(), "1.14.0");
}

TEST_F(TarnUpdate, FilesThatAreNoImageAreNamed) {
    fs::create_directory(file("folder"));
    write_file("empty", "");
    for (const std::string command : {"update ", "update --check "}) {
        expect_failure(command + "none", "(32848): cannot read \"none\"");
        expect_failure(command + "folder", "\"folder\" is a folder");
        expect_failure(command + "empty", "\"empty\" is empty; nothing was sent");
    }
}

TEST_F(TarnUpdate, LongTransfersTellTheTimeLeft) {
    make_image("new.img", "--size " + std::to_string(kImageLimit));
    EXPECT_EQ(vcard("fault delay 100").status, 0);
    BackgroundProcess update(program_path("tarn"), words("update new.img"), options());
    EXPECT_TRUE(eventually([&] { return update.err().find(" s to go\n") != std::string::npos; }))
        << update.err();
}

// ---- updates that end in the middle -------------------------------------------------------------

TEST_F(TarnUpdate, DeafCardKeepsItsFirmware) {
    make_image("new.img");
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_failure("update new.img --timeout 20",
                   "the image could not be sent; the card keeps its firmware 1.13.0; nothing has "
                   "been applied; when tarn board heartbeat says that the card is alive, update "
                   "again");
    EXPECT_EQ(vcard("fault clear").status, 0);
    out("update new.img");
}

TEST_F(TarnUpdate, RefusedDataIsNoticed) {
    make_image("new.img");
    EXPECT_EQ(vcard("fault refuse-chunks on").status, 0);
    expect_failure("update new.img", "(32848): the image could not be sent; the card keeps its "
                                     "firmware 1.13.0");
    EXPECT_EQ(vcard("fault clear").status, 0);
    out("board reset");
    EXPECT_EQ(firmware(), "1.13.0");
}

// Open, one chunk and close are answered; whether the card applies the image is not.
TEST_F(TarnUpdate, SilenceAfterTheImageIsNoRefusal) {
    make_image("new.img", "--size 5000");
    EXPECT_EQ(vcard("fault stop-after 3").status, 0);
    const ProcessResult update = tarn("update new.img --timeout 2000");
    EXPECT_EQ(update.status, 1);
    EXPECT_THAT(update.err,
                HasSubstr("(80003): the image was sent and the card did not say whether it took "
                          "it; it still runs firmware 1.13.0; do not switch off now; when tarn "
                          "board heartbeat says that the card is alive, update again before any "
                          "reset"));
    EXPECT_EQ(vcard("fault clear").status, 0);
    out("update new.img");
}

TEST_F(TarnUpdate, ImageThatWasNotSentIsNotTakenForAnEarlierOne) {
    make_image("new.img");
    out("update new.img");
    // All five attempts to open the file on the card; the image of before stays there.
    EXPECT_EQ(vcard("fault status 32771 --command 1 --count 5").status, 0);
    const ProcessResult update = tarn("update new.img");
    EXPECT_EQ(update.status, 1);
    EXPECT_THAT(update.err, HasSubstr("the image could not be sent, and the card has taken an "
                                      "older or shorter one; update again before any reset; until "
                                      "then firmware 1.13.0 runs on"));
}

TEST_F(TarnUpdate, CardThatDiesInTheMiddleKeepsItsFirmware) {
    make_image("new.img", "--size " + std::to_string(kImageLimit));
    EXPECT_EQ(vcard("fault delay 50").status, 0);
    BackgroundProcess update(program_path("tarn"), words("update new.img --timeout 500"),
                             options());
    ASSERT_TRUE(eventually([&] { return update.err().find("updating: ") != std::string::npos; }));
    vcard("fault die");
    ProcessResult result;
    ASSERT_TRUE(update.wait(kPatience, &result));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, AllOf(HasSubstr("the image could not be sent; the card keeps its "
                                            "firmware 1.13.0"),
                                  Not(HasSubstr("100 %"))));
    expect_failure("update new.img", kNoCard);
    EXPECT_EQ(vcard("start").status, 0);
    EXPECT_EQ(firmware(), "1.13.0");
}

} // namespace
