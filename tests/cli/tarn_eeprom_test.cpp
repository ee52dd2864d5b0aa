// EEPROMs of slaves, and images of them, as a user of the tool sees them.
#include "tarn_fixture.h"

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr const char *kNoCard = "Device not find (80004): no card named \"ID0\"";

// An image word by word.
class Image {
  public:
    Image() : bytes_(128, '\0') {
        set(0x08, 0x726E).set(0x09, 0x7461);             // vendor
        set(0x0A, 0x1316).set(0x0E, 7);                  // product, serial number
        set(0x18, 0x1000).set(0x19, 128).set(0x1C, 0xC); // mailbox, CoE and FoE
        set(0x3E, 15).set(0x3F, 1);                      // 2 KiB
        set(0, 0x0005);
        sign();
    }

    Image &set(size_t word, unsigned value) {
        bytes_[2 * word] = static_cast<char>(value);
        bytes_[2 * word + 1] = static_cast<char>(value >> 8);
        return *this;
    }
    Image &add(unsigned type, std::string data) {
        data.resize((data.size() + 1) / 2 * 2);
        return add_word(type).add_word(static_cast<unsigned>(data.size() / 2)).add_text(data);
    }
    Image &add_word(unsigned value) {
        bytes_ += static_cast<char>(value);
        bytes_ += static_cast<char>(value >> 8);
        return *this;
    }
    Image &add_text(const std::string &data) {
        bytes_ += data;
        return *this;
    }
    Image &end() { return add_word(0xFFFF); }
    Image &sign() {
        unsigned crc = 0xFF;
        for (size_t i = 0; i < 14; ++i) {
            crc ^= static_cast<unsigned char>(bytes_[i]);
            for (int bit = 0; bit < 8; ++bit) {
                crc = (crc << 1 ^ ((crc & 0x80) != 0 ? 0x07U : 0U)) & 0xFF;
            }
        }
        return set(7, crc);
    }
    const std::string &bytes() const { return bytes_; }

  private:
    std::string bytes_;
};

Image good_image() {
    Image image;
    image.add(10, std::string("\x02\x05"
                              "dio16\x02I1"));
    image.add(40, std::string("\x01\x02", 2));
    image.add(41, std::string("\x00\x10\x02\x00\x64\x00\x01\x03", 8));
    image.add(50,
              std::string("\x00\x1A\x01\x03\x00\x02\x00\x00\x00\x60\x01\x02\x05\x10\x00\x00", 16));
    image.end();
    return image;
}

class TarnEepromImage : public TarnTool {
  protected:
    // What decoding the image prints; it has this exit status.
    std::string decoded(const Image &image, int status) {
        write_file("image.bin", image.bytes());
        const ProcessResult result = tarn("eeprom decode image.bin");
        EXPECT_EQ(result.status, status) << result.out << result.err;
        return result.out;
    }
};

// ---- usage --------------------------------------------------------------------------------------

using TarnEepromUsage = TarnTool;

TEST_F(TarnEepromUsage, HelpOfEveryCommandHasExamples) {
    for (const char *command : {"eeprom", "eeprom read", "eeprom write", "eeprom decode"}) {
        EXPECT_THAT(out(std::string(command) + " --help"),
                    AllOf(HasSubstr("Examples:\n  tarn "), HasSubstr("--board")))
            << command;
    }
    EXPECT_THAT(out("--help"), HasSubstr("\n  eeprom "));
}

TEST_F(TarnEepromUsage, MissingArgumentIsNamed) {
    expect_usage_error("eeprom", "a command is missing");
    expect_usage_error("eeprom read", "--slave is required");
    expect_usage_error("eeprom decode", "--slave is required");
    expect_usage_error("eeprom write 1", "FILE or --alias N?");
}

TEST_F(TarnEepromUsage, NumbersAreChecked) {
    write_file("a.bin", "a");
    expect_usage_error("eeprom read 1 --address 65536", "no number from 0 to 65535");
    expect_usage_error("eeprom read 1 --length 0", "no number from 1 to 131072");
    expect_usage_error("eeprom read 1 --address 0xffff --length 3", "ends at word 0x10000");
    expect_usage_error("eeprom write 1 --alias 65536", "no number from 0 to 65535");
    expect_usage_error("eeprom write 1 a.bin --alias 3", "FILE or --alias N?");
    expect_usage_error("eeprom decode 65536", "no slave position");
}

TEST_F(TarnEepromUsage, CommandsSayThatThereIsNoCard) {
    write_file("image.bin", good_image().bytes());
    for (const char *command :
         {"eeprom read 1", "eeprom read 1 --address 0xffff --length 2", "eeprom decode 1",
          "eeprom write 1 image.bin", "eeprom write 1 --alias 3"}) {
        expect_failure(command, kNoCard);
    }
}

TEST_F(TarnEepromUsage, FilesThatCannotBeReadAreNamed) {
    fs::create_directory(file("folder"));
    expect_failure("eeprom decode none.bin", "cannot read \"none.bin\"");
    expect_failure("eeprom write 1 folder", "\"folder\" is a folder");
}

TEST_F(TarnEepromUsage, BadImagesAreNotWritten) {
    write_file("short.bin", std::string(127, 'x'));
    write_file("empty.bin", "");
    write_file("large.bin", std::string(131073, 'x'));
    write_file("wrong.bin", good_image().set(7, 0x1234).bytes());
    expect_failure("eeprom write 1 short.bin",
                   "\"short.bin\" is no good EEPROM image: it has 127 bytes, and the header alone "
                   "has 128; nothing was written; --force writes it all the same");
    expect_failure("eeprom write 1 empty.bin --force", "has 0 bytes");
    expect_failure("eeprom write 1 large.bin --force", "an EEPROM has at most 131072");
    expect_failure("eeprom write 1 wrong.bin", "the checksum is 0x34 and should be 0x");
    expect_failure("eeprom write 1 wrong.bin --force", kNoCard);
}

// ---- images -------------------------------------------------------------------------------------

TEST_F(TarnEepromImage, GoodImageIsDecoded) {
    EXPECT_THAT(
        decoded(good_image(), 0),
        AllOf(StartsWith("vendor          0x7461726e\n"
                         "product         0x00001316\n"),
              HasSubstr("serial number   7\n"), HasSubstr(" OK\n"),
              HasSubstr("size            2048 bytes"), HasSubstr("protocols       CoE, FoE"),
              HasSubstr("string 1        dio16\n"), HasSubstr("FMMU0           outputs\n"),
              HasSubstr("SM0             outputs, 2 bytes at 0x1000, control 0x64, enabled"),
              HasSubstr("TxPDO 0x1a00, SM3, 16 bits  I1\n"),
              HasSubstr("  0x6000:01  16 bits  I1\n")));
}

TEST_F(TarnEepromImage, DecodingGivesJson) {
    write_file("image.bin", good_image().bytes());
    const JsonDocument document = json("eeprom decode image.bin");
    EXPECT_EQ(document["vendor_id"].number(), 0x7461726E);
    EXPECT_TRUE(document["checksum_ok"].is_true());
    EXPECT_EQ(document["pdos"][0]["bits"].number(), 16);
    EXPECT_EQ(document["strings"][1].text(), "I1");
    EXPECT_EQ(document["problems"].size(), 0);
}

TEST_F(TarnEepromImage, StandardInputIsDecoded) {
    const ProcessResult result = tarn("eeprom decode -", good_image().bytes());
    EXPECT_THAT(result.out, StartsWith("vendor "));
}

TEST_F(TarnEepromImage, WrongChecksumIsTold) {
    EXPECT_THAT(decoded(good_image().set(7, 0), 1),
                AllOf(HasSubstr("checksum        0x00 wrong, should be 0x"),
                      HasSubstr("problem: the checksum is 0x00 and should be 0x")));
}

TEST_F(TarnEepromImage, UnknownCategoryIsShownAsBytes) {
    Image image;
    image.add(2048, "abcd").end();
    EXPECT_THAT(decoded(image, 0), HasSubstr("category 2048, 4 bytes\n0084  61 62 63 64 "));
}

TEST_F(TarnEepromImage, CategoryBeyondTheEndIsTold) {
    Image image;
    image.add_word(10).add_word(1000);
    EXPECT_THAT(decoded(image, 1), HasSubstr("problem: category 10 at 0x0080 goes beyond the end"));
}

TEST_F(TarnEepromImage, MissingEndIsTold) {
    EXPECT_THAT(decoded(Image(), 1), HasSubstr("problem: the end of the categories is missing"));
}

TEST_F(TarnEepromImage, StringBeyondItsCategoryIsTold) {
    Image image;
    image
        .add(10, std::string("\x02\x09"
                             "abc"))
        .end();
    EXPECT_THAT(decoded(image, 1), HasSubstr("problem: string 1 goes beyond its category"));
}

TEST_F(TarnEepromImage, PdoEntriesBeyondTheirCategoryAreTold) {
    Image image;
    image.add(51, std::string("\x00\x16\x09\x02\x00\x00\x00\x00", 8)).end();
    EXPECT_THAT(decoded(image, 1),
                HasSubstr("problem: the entries of PDO 0x1600 go beyond its category"));
}

TEST_F(TarnEepromImage, MissingStringIsTold) {
    Image image;
    image.add(51, std::string("\x00\x16\x00\x02\x00\x05\x00\x00", 8)).end();
    EXPECT_THAT(decoded(image, 0), HasSubstr("(string 5 is missing)"));
}

TEST_F(TarnEepromImage, EmptyEepromHasManyProblems) {
    write_file("image.bin", std::string(2048, '\xFF'));
    const ProcessResult result = tarn("eeprom decode image.bin");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, AllOf(HasSubstr("problem: 0xffffffff is no vendor"),
                                  HasSubstr("problem: the size of the EEPROM is not given")));
}

TEST_F(TarnEepromImage, ImageLargerThanItsEepromIsTold) {
    Image image = good_image();
    image.add_text(std::string(4096, '\0'));
    EXPECT_THAT(decoded(image, 1), HasSubstr("and the EEPROM has 2048"));
}

TEST_F(TarnEepromImage, NoiseDoesNotUpsetTheDecoder) {
    for (unsigned seed = 1; seed <= 40; ++seed) {
        std::string noise = good_image().bytes();
        unsigned number = seed;
        for (size_t i = 128; i < noise.size(); ++i) {
            number = number * 1103515245 + 12345;
            noise[i] = static_cast<char>(number >> 16);
        }
        write_file("image.bin", noise);
        const ProcessResult result = tarn("eeprom decode image.bin --json");
        EXPECT_LE(result.status, 1) << seed;
        JsonDocument document(result.out);
    }
}

TEST_F(TarnEepromImage, ShortFileIsNoImage) {
    write_file("short.bin", std::string(100, 'x'));
    expect_failure("eeprom decode short.bin", "\"short.bin\" is no EEPROM image: it has 100 bytes");
}

// ---- on a bus -----------------------------------------------------------------------------------

using TarnEeprom = TarnOnBus;

TEST_F(TarnEeprom, SlaveIsDecoded) {
    const JsonDocument document = json("eeprom decode 1");
    const JsonDocument slave = json("slaves -p 1");
    EXPECT_EQ(document["vendor_id"].number(), slave[0]["vendor_id"].number());
    EXPECT_EQ(document["product_code"].number(), slave[0]["product_code"].number());
    EXPECT_EQ(document["serial_no"].number(), slave[0]["serial_no"].number());
    EXPECT_TRUE(document["checksum_ok"].is_true());
    EXPECT_EQ(document["problems"].size(), 0);
}

TEST_F(TarnEeprom, SavedImageIsTheSlaves) {
    EXPECT_THAT(out("eeprom read 1 -o slave1.bin"), HasSubstr("of the EEPROM of slave 1 to "
                                                              "slave1.bin"));
    EXPECT_EQ(out("eeprom decode slave1.bin"), out("eeprom decode 1"));
    EXPECT_EQ(out("eeprom write 1 slave1.bin"),
              "The EEPROM of slave 1 has this content already, nothing was written\n");
}

TEST_F(TarnEeprom, PartsAreRead) {
    EXPECT_EQ(json("eeprom read 1 --address 8 --length 4")["hex"].text(), "6e726174");
    EXPECT_THAT(out("eeprom read 1 --address 8 --length 4"), StartsWith("00010  6e 72 61 74"));
}

TEST_F(TarnEeprom, AliasIsWrittenWithItsChecksum) {
    EXPECT_THAT(out("eeprom write 1 --alias 1234"),
                AllOf(HasSubstr("and read it back"), HasSubstr("eeprom-slave1.bin"),
                      HasSubstr("switched off and on")));
    const JsonDocument document = json("eeprom decode 1");
    EXPECT_EQ(document["alias"].number(), 1234);
    EXPECT_TRUE(document["checksum_ok"].is_true());
    const JsonDocument before = json("eeprom decode eeprom-slave1.bin");
    EXPECT_EQ(before["alias"].number(), 0);
}

TEST_F(TarnEeprom, EveryBackupIsKept) {
    out("eeprom write 1 --alias 1");
    out("eeprom write 1 --alias 2");
    EXPECT_TRUE(fs::exists(file("eeprom-slave1.bin")));
    EXPECT_TRUE(fs::exists(file("eeprom-slave1-2.bin")));
    out("eeprom write 1 eeprom-slave1.bin --backup mine.bin");
    EXPECT_EQ(json("eeprom decode 1")["alias"].number(), 0);
    EXPECT_TRUE(fs::exists(file("mine.bin")));
}

// An image whose second and last pieces differ from what slave 1 has, as "wanted.bin"; the first of
// them is confirmed and not written.
class TarnEepromDamage : public TarnEeprom {
  protected:
    TarnEepromDamage() {
        out("eeprom read 1 -o before.bin");
        std::string image = read_file("before.bin");
        image[64 + 10] = static_cast<char>(image[64 + 10] ^ 0x55);
        image.back() = static_cast<char>(image.back() ^ 0x55);
        write_file("wanted.bin", image);
    }
    void lose_a_write() const {
        EXPECT_EQ(vcard("fault status 0 --command 30 --count 1").status, 0);
    }
    // What the tool asks the card for up to the read-back: the header, all of it in pieces, and two
    // writes.
    size_t requests_to_write() const {
        return 1 + (read_file("before.bin").size() + 511) / 512 + 2;
    }
    std::string now() const {
        out("eeprom read 1 -o now.bin");
        return read_file("now.bin");
    }
};

TEST_F(TarnEepromDamage, ImageThatIsNotKeptIsTold) {
    lose_a_write();
    const ProcessResult result = tarn("eeprom write 1 wanted.bin --force");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, AllOf(HasSubstr("at byte 0x0004a the EEPROM reads 0x"),
                                  HasSubstr("do not switch the slave off"),
                                  HasSubstr("tarn eeprom write 1 eeprom-slave1.bin --force")));
    EXPECT_EQ(now().back(), read_file("wanted.bin").back()); // half written
    out("eeprom write 1 eeprom-slave1.bin --force");
    EXPECT_TRUE(now() == read_file("before.bin"));
}

TEST_F(TarnEepromDamage, ImageThatIsNotKeptIsRolledBack) {
    lose_a_write();
    const ProcessResult result = tarn("eeprom write 1 wanted.bin --force --rollback");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, AllOf(HasSubstr("at byte 0x0004a the EEPROM reads 0x"),
                                  HasSubstr("what was there before has been written back")));
    EXPECT_TRUE(now() == read_file("before.bin"));
    EXPECT_TRUE(read_file("eeprom-slave1.bin") == read_file("before.bin"));
}

TEST_F(TarnEepromDamage, ImageThatIsNotTakenIsRolledBack) {
    out("eeprom write 1 wanted.bin --force");
    EXPECT_EQ(vcard("fault status 32825 --command 30 --count 1").status, 0);
    const ProcessResult result = tarn("eeprom write 1 before.bin --force --rollback");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, AllOf(HasSubstr("(32825)"), HasSubstr("has been written back")));
    EXPECT_TRUE(now() == read_file("wanted.bin"));
}

TEST_F(TarnEepromDamage, FailedReadBackIsTold) {
    EXPECT_EQ(vcard("fault stop-after " + std::to_string(requests_to_write())).status, 0);
    const ProcessResult result = tarn("eeprom write 1 wanted.bin --force --timeout 1000");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, AllOf(HasSubstr("cannot read the EEPROM of slave 1 at word 0x0000"),
                                  HasSubstr("do not switch the slave off"),
                                  HasSubstr("tarn eeprom write 1 eeprom-slave1.bin --force")));
    EXPECT_EQ(vcard("fault stop-draining off").status, 0);
    EXPECT_TRUE(now() == read_file("wanted.bin"));
}

TEST_F(TarnEepromDamage, RollbackThatFailsIsTold) {
    EXPECT_EQ(vcard("fault stop-after " + std::to_string(requests_to_write())).status, 0);
    const ProcessResult result =
        tarn("eeprom write 1 wanted.bin --force --rollback --timeout 1000");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, AllOf(HasSubstr("writing back what was there failed, too: cannot read"),
                                  HasSubstr("tarn eeprom write 1 eeprom-slave1.bin --force")));
}

TEST_F(TarnEeprom, ImageThatIsTooLargeIsRefused) {
    const int size = static_cast<int>(json("eeprom read 1")["length"].number());
    std::string image = good_image().set(0x3E, 1023).sign().bytes();
    image.resize(131072, '\xFF');
    write_file("large.bin", image);
    expect_failure("eeprom write 1 large.bin", "the image has 131072 bytes, and the EEPROM of "
                                               "slave 1 has " +
                                                   std::to_string(size) + "; nothing was written");
}

TEST_F(TarnEeprom, BackupIsNotTheImageToWrite) {
    out("eeprom read 1 -o mine.bin");
    expect_usage_error("eeprom write 1 mine.bin --backup ./mine.bin",
                       "the backup would replace the image");
}

TEST_F(TarnEepromDamage, CtrlCDoesNotLeaveAHalfWrittenEeprom) {
    std::string image = read_file("before.bin");
    for (size_t i = 128; i < image.size(); ++i) { // the header tells the size
        image[i] = static_cast<char>(image[i] ^ 0x55);
    }
    write_file("other.bin", image);
    EXPECT_EQ(vcard("fault delay 100").status, 0); // so that it lasts
    BackgroundProcess write(program_path("tarn"), words("eeprom write 1 other.bin --force"),
                            options());
    ASSERT_TRUE(eventually([&] { return write.err().find("writing") != std::string::npos; }));
    write.send_signal(Signal::kInterrupt);
    ASSERT_TRUE(eventually([&] { return write.err().find("Ctrl-C") != std::string::npos; }));
    ProcessResult result;
    ASSERT_TRUE(write.wait(kPatience, &result));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("written to its end"));
    EXPECT_EQ(vcard("fault delay 0").status, 0);
    EXPECT_TRUE(now() == image);
}

TEST_F(TarnEeprom, ImageOfAnotherSlaveIsRefused) {
    out("eeprom read 2 -o slave2.bin");
    expect_failure("eeprom write 1 slave2.bin", "--force writes it all the same");
    EXPECT_EQ(json("eeprom decode 1")["product_code"].number(), 0x01402402);
}

TEST_F(TarnEeprom, SlaveThatIsNotThereIsNamed) {
    expect_failure("eeprom read 99", "tarn slaves lists the positions");
    expect_failure("eeprom decode 99", "tarn slaves lists the positions");
}

TEST_F(TarnEeprom, DeafCardEndsWithTheTimeout) {
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_failure("eeprom read 1 --timeout 20",
                   "cannot read the EEPROM of slave 1 at word 0x0000");
}

} // namespace
