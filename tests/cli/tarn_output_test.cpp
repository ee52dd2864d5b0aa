// What commands write, where, and what they leave behind, as a user of the tool sees it.
#include "tarn_fixture.h"

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::HasSubstr;
using testing::Not;

namespace {

// ---- standard output ----------------------------------------------------------------------------

using TarnOutput = TarnTool;

TEST_F(TarnOutput, RawBytesAndADocumentDoNotGoTogether) {
    for (const char *command :
         {"sdo upload 1 0x1000 -o -", "mem read 1 0x130 -o -", "eeprom read 1 -o -",
          "foe read 1 a.txt -o -", "flash read 0 16 -o -", "flash dump -o -", "plot a.csv -o -",
          "sock recv -o -", "pi read --raw"}) {
        const ProcessResult result = tarn(std::string(command) + " --json");
        EXPECT_EQ(result.status, 2) << command;
        EXPECT_THAT(JsonDocument(result.out)["error"]["usage"].text(), HasSubstr("--json"))
            << command;
    }
}

// ---- on a bus -----------------------------------------------------------------------------------

class TarnOutputOnBus : public TarnOnBus {
  protected:
    std::string bytes_of(const std::string &arguments) const {
        ProcessOptions binary = options();
        binary.binary = true;
        const ProcessResult result = run_program(program_path("tarn"), words(arguments), binary);
        EXPECT_EQ(result.status, 0) << arguments << result.err;
        return result.out;
    }
    // Files that were to become something else.
    int parts() const {
        int count = 0;
        for (const fs::directory_entry &entry : fs::directory_iterator(folder_.path())) {
            count += entry.path().extension() == ".part" ? 1 : 0;
        }
        return count;
    }
    // Interrupts a transfer that has begun to write a file, and cannot go on.
    void expect_nothing_left(const std::string &arguments) {
        ProcessOptions own = options();
        for (const char *name : {"TMPDIR", "TMP", "TEMP"}) {
            own.environment[name] = folder_.path().string();
        }
        BackgroundProcess transfer(program_path("tarn"), words(arguments), own);
        ASSERT_TRUE(eventually([this] { return parts() == 1; })) << transfer.err();
        transfer.send_signal(Signal::kInterrupt);
        ASSERT_TRUE(transfer.wait(kPatience)); // with the exit status that the system gives it
        EXPECT_EQ(parts(), 0) << arguments;
    }
};

TEST_F(TarnOutputOnBus, MinusIsStandardOutput) {
    out("flash erase 0x1000 4096");
    out("flash write 0x1000 --text hello");
    EXPECT_EQ(bytes_of("flash read 0x1000 6 -o -"), "hello\xFF");
    EXPECT_FALSE(fs::exists(file("-")));
    EXPECT_EQ(bytes_of("sdo upload 1 0x1018:1 -o -"), "nrat");
    EXPECT_EQ(bytes_of("eeprom read 1 --address 8 --length 4 -o -"), "nrat");
    EXPECT_EQ(bytes_of("mem read 1 0x10 -o -").size(), 2U);
    EXPECT_EQ(bytes_of("pi read --raw").size(), 19U);
}

TEST_F(TarnOutputOnBus, AFileIsNamedInTheDocument) {
    EXPECT_EQ(json("sdo upload 1 0x1018:1 -o a.bin")["file"].text(), "a.bin");
    EXPECT_EQ(json("mem read 1 0x130 -o a.bin")["file"].text(), "a.bin");
    EXPECT_EQ(json("eeprom read 1 -o a.bin")["file"].text(), "a.bin");
    EXPECT_EQ(json("flash read 0 16 -o a.bin")["file"].text(), "a.bin");
}

TEST_F(TarnOutputOnBus, AFailedDumpLeavesTheEarlierOne) {
    write_file("flash.bin", "mine");
    EXPECT_EQ(vcard("fault stop-after 3").status, 0);
    EXPECT_EQ(tarn("flash dump -o flash.bin --timeout 50").status, 1);
    EXPECT_EQ(read_file("flash.bin"), "mine");
}

TEST_F(TarnOutputOnBus, CtrlCLeavesNoHalfFileOfASlave) {
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_nothing_left("foe read 1 device.txt -o copy.txt --timeout 600000");
}

TEST_F(TarnOutputOnBus, CtrlCLeavesNoCopyOfStandardInput) {
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_nothing_left("foe write 1 - --as a.txt --timeout 600000");
}

TEST_F(TarnOutputOnBus, CtrlCLeavesNoHalfFileOfTheCard) {
    write_file("recipe.txt", "line 3");
    out("file put recipe.txt");
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_nothing_left("file get recipe.txt copy.txt --timeout 600000");
}

} // namespace
