// Objects of slaves as a user of the tool sees them.
#include "tarn_fixture.h"

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char *kNoCard = "Device not find (80004): no card named \"ID0\"";

// ---- usage --------------------------------------------------------------------------------------

using TarnSdoUsage = TarnTool;

TEST_F(TarnSdoUsage, HelpOfEveryCommandHasExamples) {
    for (const char *command : {"sdo", "sdo upload", "sdo download", "sdo list"}) {
        EXPECT_THAT(out(std::string(command) + " --help"),
                    AllOf(HasSubstr("Examples:\n  tarn "), HasSubstr("--board")))
            << command;
    }
    EXPECT_THAT(out("--help"), HasSubstr("\n  sdo "));
}

TEST_F(TarnSdoUsage, MissingArgumentIsNamed) {
    expect_usage_error("sdo", "a command is missing");
    expect_usage_error("sdo upload", "--slave is required");
    expect_usage_error("sdo upload 1", "INDEX");
    expect_usage_error("sdo list", "--slave is required");
    expect_usage_error("sdo download 1 0x6060", "VALUE or --file FILE?");
}

TEST_F(TarnSdoUsage, SlavesArePositions) {
    for (const char *slave : {"x", "-1", "65536", "1.5"}) {
        expect_usage_error("sdo list -p " + std::string(slave), "no number from 0 to 65535");
    }
}

// 6041 without 0x would be another object than the one that was meant.
TEST_F(TarnSdoUsage, IndexNeedsItsPrefix) {
    for (const char *object : {"6041", "x6041", "0x", "0x10000", "0x6041:", "0x6041:256",
                               "0x6041:-1", ":1", "0x6041:1:1", "0x60G1"}) {
        expect_usage_error("sdo upload 1 " + std::string(object), "is no object");
    }
}

TEST_F(TarnSdoUsage, LastIndexAndSubindexAreTaken) {
    expect_failure("sdo upload 1 0xffff:255", kNoCard);
    expect_failure("sdo upload 1 0XFFFF:0xff", kNoCard);
}

TEST_F(TarnSdoUsage, TypesAreChecked) {
    expect_usage_error("sdo upload 1 0x6041 --type int7", "\"int7\" is no type");
    expect_usage_error("sdo upload 1 0x6041 --type", "--type");
    for (const char *type :
         {"bool", "int8", "int16", "int32", "int64", "uint8", "uint16", "uint32", "uint64", "float",
          "real32", "double", "real64", "string", "octet_string", "u8", "i32"}) {
        expect_failure("sdo upload 1 0x6041 --type " + std::string(type), kNoCard);
    }
}

TEST_F(TarnSdoUsage, ValuesMustFitTheirType) {
    for (const char *value :
         {"-t uint8 256", "-t uint8 -1", "-t int8 128", "-t int8 -129", "-t uint16 65536",
          "-t int16 32768", "-t uint32 4294967296", "-t uint64 18446744073709551616",
          "-t int64 9223372036854775808", "-t uint8 x", "-t bool 2", "-t float 1.2.3",
          "-t double one", "-t float 1e39", "-t float -3.5e38", "-t double 1e309",
          "-t octet_string 0a0", "-t octet_string xy"}) {
        expect_usage_error("sdo download 1 0x2000 " + std::string(value), "\"");
    }
    for (const char *value :
         {"-t uint8 255", "-t int8 -128", "-t int8 127", "-t uint64 18446744073709551615",
          "-t int64 -9223372036854775808", "-t bool true", "-t bool 0", "-t float -1.5e3",
          "-t octet_string 0a0B", "-t string text"}) {
        expect_failure("sdo download 1 0x2000 " + std::string(value), kNoCard);
    }
}

TEST_F(TarnSdoUsage, KnownObjectsHaveTheirType) {
    expect_usage_error("sdo download 1 0x6060 128", "does not fit");
    expect_usage_error("sdo download 1 0x6040 65536", "does not fit");
    expect_usage_error("sdo download 1 0x1c12:1 65536", "does not fit");
    expect_failure("sdo download 1 0x6060 -128", kNoCard);
}

TEST_F(TarnSdoUsage, OneDownloadCarries256Bytes) {
    write_file("fits.bin", std::string(256, 'x'));
    write_file("large.bin", std::string(257, 'x'));
    expect_failure("sdo download 1 0x2000 --file fits.bin", kNoCard);
    expect_failure("sdo download 1 0x2000 --file large.bin",
                   "the value has 257 bytes, and one download carries at most 256; nothing was "
                   "sent");
    expect_failure("sdo download 1 0x2000 -t string " + std::string(257, 'x'), "257 bytes");
}

TEST_F(TarnSdoUsage, ValueOrFile) {
    write_file("a.bin", "a");
    expect_usage_error("sdo download 1 0x6060 8 --file a.bin", "VALUE or --file FILE?");
    expect_failure("sdo download 1 0x2000 --file none.bin", "cannot read \"none.bin\"");
}

TEST_F(TarnSdoUsage, CompleteAccessBeginsAtTheFirstEntries) {
    expect_usage_error("sdo upload 1 0x1018:2 --complete", "subindex 0 or 1");
    expect_failure("sdo upload 1 0x1018:1 --complete", kNoCard);
}

TEST_F(TarnSdoUsage, CommandsSayThatThereIsNoCard) {
    for (const char *command : {"sdo upload 1 0x1000", "sdo list 1", "sdo download 1 0x6060 8"}) {
        expect_failure(command, kNoCard);
    }
}

// ---- on a bus -----------------------------------------------------------------------------------

using TarnSdo = TarnOnBus;

TEST_F(TarnSdo, KnownObjectsAreShownWithNameAndType) {
    EXPECT_EQ(out("sdo upload 1 0x1018:1"),
              "0x1018:01  Identity: Vendor ID  0x7461726e 1952543342\n");
    EXPECT_EQ(out("sdo upload -p 1 0x1018"), "0x1018:00  Identity: number of entries  0x04 4\n");
    EXPECT_THAT(out("sdo upload 1 0x6041"), StartsWith("0x6041:00  Statusword  0x"));
    EXPECT_EQ(out("sdo upload 1 0x1008"), "0x1008:00  Device name  drive 2\n");
}

TEST_F(TarnSdo, UploadGivesJson) {
    const JsonDocument document = json("sdo upload 1 0x1018:2");
    EXPECT_EQ(document["slave"].number(), 1);
    EXPECT_EQ(document["index"].number(), 0x1018);
    EXPECT_EQ(document["subindex"].number(), 2);
    EXPECT_EQ(document["entries"][0]["type"].text(), "uint32");
    EXPECT_EQ(document["entries"][0]["value"].number(), 0x01402402);
    EXPECT_EQ(document["entries"][0]["hex"].text(), "02244001");
}

TEST_F(TarnSdo, TypeOverridesWhatIsKnown) {
    EXPECT_EQ(out("sdo upload 1 0x1018:1 --type octet_string"),
              "0x1018:01  Identity: Vendor ID  6e 72 61 74\n");
    expect_failure("sdo upload 1 0x1018:1 --type uint64", "has 4 bytes, and uint64 has 8");
}

TEST_F(TarnSdo, CompleteAccessIsTakenApart) {
    EXPECT_THAT(out("sdo upload 1 0x1018 --complete"),
                AllOf(StartsWith("0x1018:00  Identity: number of entries  0x04 4\n"
                                 "0x1018:01  Identity: Vendor ID  0x7461726e 1952543342\n"),
                      HasSubstr("0x1018:04  Identity: Serial number  ")));
}

TEST_F(TarnSdo, DownloadedValueIsThere) {
    EXPECT_EQ(out("sdo download 1 0x6083 123456"), "Wrote 4 bytes to 0x6083:00 of slave 1\n");
    EXPECT_EQ(out("sdo upload 1 0x6083"), "0x6083:00  Profile acceleration  0x0001e240 123456\n");
    EXPECT_EQ(json("sdo download 1 0x6083 1000")["size"].number(), 4);
}

TEST_F(TarnSdo, FilesAndStandardInputCarryBytes) {
    out("sdo download 1 0x6083 -", std::string("\x10\x20\x00\x00", 4));
    EXPECT_EQ(out("sdo upload 1 0x6083 -o value.bin"), "Read 4 bytes of 0x6083:00 to value.bin\n");
    EXPECT_EQ(read_file("value.bin"), std::string("\x10\x20\x00\x00", 4));
    write_file("value.bin", std::string("\x11\x22\x00\x00", 4));
    out("sdo download 1 0x6083 --file value.bin");
    EXPECT_EQ(json("sdo upload 1 0x6083")["entries"][0]["value"].number(), 0x2211);
}

TEST_F(TarnSdo, ListShowsTheObjectsOfTheSlave) {
    EXPECT_THAT(out("sdo list 1"),
                AllOf(StartsWith("Object"), HasSubstr("0x1018:01"), HasSubstr("0x6041:00"),
                      HasSubstr("0x1c32:01"), HasSubstr("r-r-r-"), HasSubstr("rwrwrw")));
    const JsonDocument document = json("sdo list 1");
    ASSERT_TRUE(document.is_array());
    EXPECT_EQ(document[0]["object"].text(), "0x1000:00");
    EXPECT_EQ(document[0]["access"].text(), "r-r-r-");
}

TEST_F(TarnSdo, AbortsAreExplained) {
    expect_failure("sdo upload 1 0x2fff", "No object in OD (33792): cannot read 0x2fff:00 of "
                                          "slave 1; the slave has no such object; tarn sdo list");
    expect_failure("sdo upload 1 0x1018:9", "(33805): cannot read 0x1018:09 of slave 1; the "
                                            "object has no such entry");
    expect_failure("sdo download 1 0x6041 1", "(33025): cannot write 2 bytes to 0x6041:00 of "
                                              "slave 1; the object can only be read");
}

TEST_F(TarnSdo, WrongSizesAreExplained) {
    expect_failure("sdo download 1 0x6083 -t uint16 1", "the value has not the size of the object");
}

TEST_F(TarnSdo, TypeOfAnUnknownObjectMustBeGiven) {
    expect_usage_error("sdo download 1 0x2fff 1",
                       "the type of 0x2fff:00 is not known; choose it with --type");
}

TEST_F(TarnSdo, TypeOfASlaveThatDoesNotAnswerIsNotAskedOfTheUser) {
    expect_failure("sdo download 99 0x2fff 1", "tarn slaves lists the positions");
    out("state --set INIT");
    expect_failure("sdo download 1 0x2fff 1", "slave 1 is in INIT");
    out("state --set OP");
    EXPECT_EQ(vcard("fault mailbox-silent 1").status, 0);
    expect_failure("sdo download 1 0x2fff 1 --sdo-timeout 20",
                   "(32792): cannot ask slave 1 for its objects");
}

TEST_F(TarnSdo, RefusedEntriesOfASlaveWithoutAListAreListedWithTheReason) {
    // The list, 0x1000 and 0x1001 are refused.
    EXPECT_EQ(vcard("fault status 34337 --command 13 --count 3").status, 0);
    const JsonDocument document = json("sdo list 1");
    EXPECT_EQ(document[0]["object"].text(), "0x1000:00");
    EXPECT_EQ(document[0]["error"]["code"].number(), 34337);
    EXPECT_EQ(vcard("fault status 34337 --command 13 --count 3").status, 0);
    EXPECT_THAT(out("sdo list 1"),
                AllOf(HasSubstr("0x1000:00  Device type"), HasSubstr("(34337)\n"),
                      HasSubstr("0x1018:01  Identity: Vendor ID"), HasSubstr("0x7461726e"),
                      Not(HasSubstr("r-r-r-"))));
}

TEST_F(TarnSdo, SlaveThatRefusesEverythingHasNoList) {
    EXPECT_EQ(vcard("fault status 34337 --command 13 --count 1000000").status, 0);
    expect_failure("sdo list 1", "(34337): cannot read any object of slave 1");
}

TEST_F(TarnSdo, SlaveThatIsNotThereIsNamed) {
    expect_failure("sdo upload 99 0x1000", "tarn slaves lists the positions");
    expect_failure("sdo list 99", "tarn slaves lists the positions");
}

TEST_F(TarnSdo, SlaveWithoutMailboxHasNoObjects) {
    expect_failure("sdo upload 4 0x1000", "the slave has no mailbox");
}

TEST_F(TarnSdo, SlaveInInitHasNoMailbox) {
    out("state --set INIT");
    expect_failure("sdo upload 1 0x1000", "slave 1 is in INIT");
}

TEST_F(TarnSdo, SilentSlaveEndsWithItsTimeout) {
    EXPECT_EQ(vcard("fault mailbox-silent 1").status, 0);
    expect_failure("sdo upload 1 0x1000 --sdo-timeout 20", "cannot read 0x1000:00 of slave 1");
}

TEST_F(TarnSdo, DeafCardEndsWithTheTimeout) {
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_failure("sdo upload 1 0x1000 --timeout 20", "the card");
}

TEST_F(TarnSdo, TargetThatCannotBeWrittenIsNamed) {
    fs::create_directory(file("folder"));
    expect_failure("sdo upload 1 0x1000 -o folder", "\"folder\" is a folder");
    expect_failure("sdo upload 1 0x1000 -o no/such/file", "cannot write");
}

} // namespace
