// Links, devices and pipes as targets of the tool.
#include "tarn_fixture.h"

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::HasSubstr;

namespace {

class TarnTarget : public TarnTool {
  protected:
    TarnTarget() { write_file("x.csv", "a,b\n1,2\n3,4\n"); }

    ProcessResult shell(const std::string &command) const {
        ProcessOptions with_path = options();
        with_path.environment["TARN"] = program_path("tarn").string();
        return run_program("/bin/sh", {"-c", command}, with_path);
    }
};

TEST_F(TarnTarget, ALinkStaysAndItsFileIsReplaced) {
    fs::create_directory(file("pictures"));
    write_file("pictures/real.svg", "old");
    fs::create_symlink("pictures/real.svg", file("link.svg"));
    out("plot x.csv -o link.svg");
    EXPECT_TRUE(fs::is_symlink(file("link.svg")));
    EXPECT_THAT(read_file("pictures/real.svg"), HasSubstr("</svg>"));
}

TEST_F(TarnTarget, ALinkToNothingStaysAndItsFileIsMade) {
    fs::create_directory(file("pictures"));
    fs::create_symlink("pictures/new.svg", file("link.svg"));
    out("plot x.csv -o link.svg");
    EXPECT_TRUE(fs::is_symlink(file("link.svg")));
    EXPECT_THAT(read_file("pictures/new.svg"), HasSubstr("</svg>"));
}

TEST_F(TarnTarget, ALinkToADeviceStays) {
    fs::create_symlink("/dev/null", file("sink"));
    out("plot x.csv -o sink");
    EXPECT_TRUE(fs::is_symlink(file("sink")));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(TarnTarget, APipeIsWrittenTo) {
    const ProcessResult result =
        shell("mkfifo pipe && { cat pipe >got.svg & \"$TARN\" plot x.csv -o pipe; wait; }");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(fs::is_fifo(file("pipe")));
    EXPECT_THAT(read_file("got.svg"), HasSubstr("</svg>"));
}

TEST_F(TarnTarget, ThePathOfStandardOutputIsStandardOutput) {
    EXPECT_THAT(out("plot x.csv -o /dev/stdout"), HasSubstr("</svg>"));
}

TEST_F(TarnTarget, ThePictureByAnotherNameIsStillTheRecording) {
    fs::create_symlink("x.csv", file("link.csv"));
    expect_usage_error("plot x.csv -o link.csv", "would replace the file that it is made from");
}

TEST_F(TarnTarget, AFullDiskIsAFailure) {
    for (const char *command : {"plot x.csv -o -", "error 80004", "error --json", "--help"}) {
        const ProcessResult result = shell("\"$TARN\" " + std::string(command) + " >/dev/full");
        EXPECT_EQ(result.status, 1) << command;
        EXPECT_THAT(result.err, HasSubstr("cannot write to standard output")) << command;
    }
}

} // namespace
