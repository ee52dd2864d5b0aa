// tarn eni check: needs no card.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

// A file of two slaves in which parts can be replaced; every element stands on a line of its own.
class TarnEni : public TarnTool {
  protected:
    std::string text = "<?xml version=\"1.0\"?>\n"                                     // 1
                       "<EtherCATConfig><CRC>abc</CRC>\n"                              // 2
                       "<Config>\n"                                                    // 3
                       "<Slave><Info><Name>first</Name>\n"                             // 4
                       "<PhysAddr>1001</PhysAddr><AutoIncAddr>0</AutoIncAddr>\n"       // 5
                       "<VendorId>#x2</VendorId><ProductCode>1</ProductCode></Info>\n" // 6
                       "<ProcessData><Send><BitStart>0</BitStart>\n"                   // 7
                       "<BitLength>16</BitLength></Send></ProcessData></Slave>\n"      // 8
                       "<Slave><Info><Name><![CDATA[second]]></Name>\n"                // 9
                       "<PhysAddr>1002</PhysAddr><AutoIncAddr>65535</AutoIncAddr>\n"   // 10
                       "<VendorId>2</VendorId><ProductCode>-1</ProductCode></Info>\n"  // 11
                       "<ProcessData><Send><BitStart>16</BitStart>\n"                  // 12
                       "<BitLength>8</BitLength></Send></ProcessData></Slave>\n"       // 13
                       "<Cyclic><CycleTime>1000</CycleTime></Cyclic>\n"                // 14
                       "<ProcessImage><Outputs><ByteSize>3</ByteSize></Outputs>\n"     // 15
                       "<Inputs><ByteSize>0</ByteSize></Inputs></ProcessImage>\n"      // 16
                       "</Config>\n"                                                   // 17
                       "<!-- @@##ENI_PDO_LIST##@@\n"                                   // 18
                       "{\"master\":{\"slave_logic_addr_mapping\":\n"                  // 19
                       "{\"input\":true,\"output\":true},\n"                           // 20
                       "\"slave_infos\":[\n"                                           // 21
                       "{\"input_logic_addr\":0,\"output_logic_addr\":\"0x8\"},\n"     // 22
                       "{\"input_logic_addr\":0,\"output_logic_addr\":0}]}} -->\n"     // 23
                       "</EtherCATConfig>\n";                                          // 24

    void replace(const std::string &what, const std::string &with) {
        const size_t place = text.find(what);
        ASSERT_NE(place, std::string::npos) << what;
        text.replace(place, what.size(), with);
    }
    ProcessResult check() {
        write_file("file.xml", text);
        return tarn("eni check file.xml");
    }
    void expect_error(const std::string &line) {
        const ProcessResult result = check();
        EXPECT_EQ(result.status, 1) << result.out;
        EXPECT_THAT(result.out, HasSubstr("file.xml:" + line));
    }
    void expect_warning(const std::string &line) {
        const ProcessResult result = check();
        EXPECT_EQ(result.status, 0) << result.out;
        EXPECT_THAT(result.out, HasSubstr("file.xml:" + line));
    }
};

TEST_F(TarnEni, GoodFile) {
    const ProcessResult result = check();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "2 slaves, outputs 3 bytes, inputs 0 bytes, cycle 1000 us, logical "
                          "addresses, CRC abc\n0 errors, 0 warnings\n");
}

TEST_F(TarnEni, GivesJson) {
    replace("<PhysAddr>1002", "<PhysAddr>1001");
    write_file("file.xml", text);
    const ProcessResult result = tarn("--json eni check file.xml");
    EXPECT_EQ(result.status, 1);
    const JsonDocument report(result.out);
    EXPECT_EQ(report["slaves"].number(), 2);
    EXPECT_EQ(report["crc"].text(), "abc");
    EXPECT_TRUE(report["logical_mapping"].is_true());
    EXPECT_EQ(report["errors"].number(), 1);
    EXPECT_EQ(report["findings"][0]["severity"].text(), "error");
    EXPECT_EQ(report["findings"][0]["line"].number(), 10);
}

TEST_F(TarnEni, GeneratedFilesAreGood) {
    EXPECT_EQ(vcard("make-eni -o made.xml --slave coupler --slave drive:2 --slave dio8:3 --mapping "
                    "--reversed")
                  .status,
              0);
    EXPECT_THAT(out("eni check made.xml"), HasSubstr("\n0 errors, 0 warnings\n"));
}

TEST_F(TarnEni, MissingFile) {
    expect_failure("eni check none.xml", "Can't open file (32848): none.xml");
}

TEST_F(TarnEni, DirectoryIsNoFile) {
    expect_failure("eni check run", "Can't read from file (32850): run");
}

TEST_F(TarnEni, EmptyFile) {
    text.clear();
    expect_error("1: error: this is no well-formed XML");
}

TEST_F(TarnEni, BrokenXmlIsNamedByLine) {
    replace("</Info>\n<ProcessData><Send><BitStart>16", "</Inf>\n<ProcessData><Send><BitStart>16");
    expect_error("11: error: this is no well-formed XML");
}

TEST_F(TarnEni, CutFile) {
    text.resize(text.size() / 2);
    expect_error("");
}

TEST_F(TarnEni, LinesAreRightInLatin1) {
    replace("<?xml version=\"1.0\"?>", "<?xml version=\"1.0\" encoding=\"ISO8859-1\"?>");
    replace("first", std::string(200, '\xe4'));
    replace("<PhysAddr>1002", "<PhysAddr>x");
    expect_error("10: error: slave 1 \"second\": PhysAddr \"x\" is no number");
}

TEST_F(TarnEni, LinesAreRightInUtf16) {
    replace("<PhysAddr>1002", "<PhysAddr>x");
    std::string wide("\xff\xfe", 2);
    for (const char c : text) {
        wide += c;
        wide += '\0';
    }
    text = wide;
    expect_error("10: error: slave 1 \"second\": PhysAddr");
}

TEST_F(TarnEni, OtherRoot) {
    text = "<EtherCATInfo>\n</EtherCATInfo>";
    expect_error("1: error: the root element is EtherCATInfo");
}

TEST_F(TarnEni, EncryptedConfiguration) {
    text = "<EncryptedEtherCATConfig/>";
    expect_error("1: error: the configuration is encrypted");
}

TEST_F(TarnEni, NoConfig) {
    text = "<EtherCATConfig/>";
    expect_error("1: error: EtherCATConfig has no element Config");
}

TEST_F(TarnEni, NoSlaves) {
    text = "<EtherCATConfig>\n<Config/></EtherCATConfig>";
    expect_error("2: error: Config has no slaves");
}

TEST_F(TarnEni, TooManySlaves) {
    std::string slaves;
    for (int i = 0; i < 4097; ++i) {
        slaves +=
            "<Slave><Info><PhysAddr>" + std::to_string(i + 1) + "</PhysAddr></Info></Slave>\n";
    }
    text = "<EtherCATConfig><Config>\n" + slaves + "</Config></EtherCATConfig>";
    expect_error("4098: error: there are more than 4096 slaves");
}

TEST_F(TarnEni, SameAddressTwice) {
    replace("<PhysAddr>1002", "<PhysAddr>0x3e9");
    expect_error("10: error: slave 1 \"second\" has the same PhysAddr 1001 as slave 0 \"first\"");
}

TEST_F(TarnEni, SamePositionTwice) {
    replace("65535", "0");
    expect_error("10: error: slave 1 \"second\" has the same AutoIncAddr 0 as");
}

TEST_F(TarnEni, IdentityIsNeeded) {
    replace("<VendorId>2</VendorId>", "");
    expect_error("9: error: slave 1 \"second\" has no VendorId");
}

TEST_F(TarnEni, NumberOutOfRange) {
    replace("<PhysAddr>1002", "<PhysAddr>65536");
    expect_error("10: error: slave 1 \"second\": PhysAddr \"65536\" is no number up to 65535");
}

TEST_F(TarnEni, StartCommandDataThatAreNotHexadecimal) {
    replace("</ProcessData></Slave>",
            "</ProcessData><InitCmds><InitCmd><Data>12g4</Data></InitCmd></InitCmds></Slave>");
    expect_error(
        "8: error: slave 0 \"first\": Data \"12g4\" of a start command is not hexadecimal");
}

TEST_F(TarnEni, StartCommandsOfTheMailboxNeedAnObject) {
    replace("</ProcessData></Slave>", "</ProcessData><Mailbox><CoE><InitCmds><InitCmd><Data>aB c1"
                                      "</Data></InitCmd></InitCmds></CoE></Mailbox></Slave>");
    expect_error("8: error: slave 0 \"first\" has no Index");
}

TEST_F(TarnEni, RunOutsideTheImage) {
    replace("<ByteSize>3", "<ByteSize>2");
    expect_error("12: error: slave 1 \"second\": bits 16 to 23 lie outside the 2 bytes of "
                 "ProcessImage/Outputs");
}

TEST_F(TarnEni, ImageTooLarge) {
    replace("<ByteSize>3", "<ByteSize>4097");
    expect_error("15: error: ProcessImage/Outputs has 4097 bytes, a card holds 4096");
}

TEST_F(TarnEni, LargestImageIsFine) {
    replace("<ByteSize>3", "<ByteSize>4096");
    EXPECT_EQ(check().status, 0);
}

TEST_F(TarnEni, SharedBitsAreAWarning) {
    replace("<BitStart>16", "<BitStart>15");
    expect_warning("12: warning: slave 1 \"second\" shares bits of ProcessImage/Outputs with "
                   "slave 0 \"first\"");
}

TEST_F(TarnEni, DescendingRunsAreAWarning) {
    replace("<BitStart>0", "<BitStart>8");
    replace("<BitStart>16", "<BitStart>0");
    expect_warning("12: warning: slave 1 \"second\" lies before slave 0 \"first\"");
}

TEST_F(TarnEni, MissingCrcIsAWarning) {
    replace("<CRC>abc</CRC>", "");
    expect_warning(" warning: there is no CRC element");
}

TEST_F(TarnEni, CrcThatTheLibraryMissesIsAWarning) {
    // The element straddles two blocks of 149 bytes.
    replace("<CRC>abc</CRC>\n", "\n");
    const size_t end = 149 - 3;
    replace("<Config>\n",
            "<Config>" + std::string(end - text.find("<Config>") - 8, ' ') + "<CRC>abc</CRC>\n");
    expect_warning("3: warning: the library does not find this CRC element");
}

TEST_F(TarnEni, FileOfTheLargestSizeIsTaken) {
    text.insert(text.size() - 1, std::string(0x1400000 - text.size(), ' '));
    const ProcessResult result = check();
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, HasSubstr("warning: the mapping comment is not used"));
}

TEST_F(TarnEni, FileTooLarge) {
    text.resize(0x1400001, ' ');
    write_file("file.xml", text);
    const ProcessResult result = tarn("eni check file.xml");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("error: the file is larger than the 20971520 bytes"));
}

TEST_F(TarnEni, MappingThatIsNoJson) {
    replace("\"slave_infos\":[", "\"slave_infos\"[");
    expect_error("21: error: the mapping comment is no JSON from here on");
}

TEST_F(TarnEni, MappingWithOtherNumberOfSlaves) {
    replace(",\n{\"input_logic_addr\":0,\"output_logic_addr\":0}]", "]");
    expect_error("18: error: the mapping comment has 1 slave, the configuration 2");
}

TEST_F(TarnEni, MappingAddressOfWrongType) {
    replace("\"output_logic_addr\":0}", "\"output_logic_addr\":null}");
    expect_error("18: error: slave_infos[1]/output_logic_addr must be a number or a text");
}

TEST_F(TarnEni, MappingSwitchOfWrongType) {
    replace("\"output\":true", "\"output\":1");
    expect_error("18: error: slave_logic_addr_mapping/output must be true or false");
}

TEST_F(TarnEni, MappingWithoutSlavesIsNotUsed) {
    replace("slave_infos", "slaves");
    expect_warning("18: warning: the mapping comment is not used");
    EXPECT_THAT(check().out, HasSubstr("physical addresses"));
}

TEST_F(TarnEni, LogicalAddressesThatOverlapAreAWarning) {
    replace("\"0x8\"", "\"0x4\"");
    expect_warning("18: warning: the outputs of slave 1 and those of slave 0 share logical "
                   "addresses");
}

TEST_F(TarnEni, LogicalAddressesBeyondTheImageAreAWarning) {
    replace("\"0x8\"", "65535");
    expect_warning("18: warning: the outputs of slave 0 reach past bit 65535");
    replace("\"output_logic_addr\":65535", "\"output_logic_addr\":65544");
    expect_warning("18: warning: slave_infos[0]/output_logic_addr is 65544; only its low 16 bits "
                   "count");
}

TEST_F(TarnEni, DeepNestingIsNoCrash) {
    std::string nested = "<EtherCATConfig><Config>";
    for (int i = 0; i < 100000; ++i) {
        nested += "<a>";
    }
    text = nested;
    expect_error("");
}

TEST_F(TarnEni, TextOfTheFileCannotSteerTheTerminal) {
    replace("first", "fi\x1b[31mrst");
    replace("<PhysAddr>1001", "<PhysAddr>x");
    EXPECT_THAT(check().out, AllOf(HasSubstr("fi?[31mrst"), Not(HasSubstr("\x1b"))));
}

} // namespace
