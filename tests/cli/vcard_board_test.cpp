// The board's side of tarn-vcard: flash files, wiring of inputs, firmware images.
#include "vcard_fixture.h"

#include "vcard/firmware/flash.h"
#include "vcard/firmware/update_image.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using namespace tarn::test;
using tarn::vcard::Flash;
using testing::HasSubstr;

namespace {

class VcardBoard : public Vcard {
  protected:
    // A flash as a card leaves it behind that was updated from 1.13.0.
    static void make_flash(const fs::path &path) {
        fs::create_directories(path.parent_path());
        fs::permissions(path.parent_path(), fs::perms::owner_all);
        Flash flash(path.string(), [](const std::string &) {});
        ASSERT_TRUE(flash.set_record({"1.13.0", "1.14.5", ""}));
    }
    std::string status() const { return run({"status"}).out; }
    static std::vector<uint8_t> content(const std::string &path) {
        std::ifstream stream(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
};

// ---- flash -----------------------------------------------------------------------------------

TEST_F(VcardBoard, KeepsTheFlashOfEachCardInItsFolder) {
    make_flash(service_dir() / "kpcidev1.flash");
    ASSERT_EQ(run({"start", "--cards", "2"}).status, 0);
    EXPECT_THAT(status(), HasSubstr("name tarn0, alias 0, model tarn virtual EtherCAT card, "
                                    "firmware 1.13.0"));
    EXPECT_THAT(status(), HasSubstr("name tarn1, alias 1, model tarn virtual EtherCAT card, "
                                    "firmware 1.14.5"));
    ASSERT_EQ(run({"stop"}).status, 0);
    EXPECT_TRUE(fs::exists(service_dir() / "kpcidev1.flash"));
    ASSERT_EQ(run({"start", "--cards", "2"}).status, 0);
    EXPECT_THAT(status(), HasSubstr("firmware 1.14.5"));
}

TEST_F(VcardBoard, FirmwareThatIsAskedForReplacesAnUpdate) {
    make_flash(service_dir() / "kpcidev0.flash");
    ASSERT_EQ(run({"start", "--card", "firmware=1.12.3"}).status, 0);
    EXPECT_THAT(status(), HasSubstr("firmware 1.12.3"));
}

TEST_F(VcardBoard, FlashCanLieElsewhere) {
    make_flash(folder_.path() / "lab" / "axis.flash");
    ProcessOptions there = options();
    there.directory = folder_.path() / "lab";
    const ProcessResult started =
        run_program(program_path("tarn-vcard"), {"start", "--card", "flash=axis.flash"}, there);
    ASSERT_EQ(started.status, 0) << started.err;
    EXPECT_THAT(status(), HasSubstr("firmware 1.14.5"));
}

TEST_F(VcardBoard, FlashCanBeLeftOut) {
    make_flash(service_dir() / "kpcidev0.flash");
    ASSERT_EQ(run({"start", "--card", "flash=none"}).status, 0);
    EXPECT_THAT(status(), HasSubstr("firmware 1.13.0"));
}

TEST_F(VcardBoard, DamagedFlashFileIsReportedAndSetAside) {
    make_flash(service_dir() / "kpcidev0.flash");
    std::ofstream(service_dir() / "kpcidev0.flash", std::ios::trunc) << "scratched";
    ASSERT_EQ(run({"start"}).status, 0);
    std::ifstream log(service_dir() / "tarn-vcard.log");
    const std::string text(std::istreambuf_iterator<char>(log), {});
    EXPECT_THAT(text, HasSubstr("is damaged"));
    EXPECT_TRUE(fs::exists(service_dir() / "kpcidev0.flash.bad"));
}

// ---- inputs ----------------------------------------------------------------------------------

TEST_F(VcardBoard, InputsAreWiredWhileTheServiceRuns) {
    ASSERT_EQ(run({"start", "--card", "wiring=all:open+4:high"}).status, 0);
    EXPECT_THAT(status(), HasSubstr("inputs 0x00000010"));
    const ProcessResult result = run({"input", "0", "high"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(eventually([this] { return status().find("0x00000011") != std::string::npos; }));
    EXPECT_EQ(run({"input", "all", "straight"}).status, 0);
    EXPECT_TRUE(eventually([this] { return status().find("wired") == std::string::npos; }));
}

TEST_F(VcardBoard, InputsThatCannotBeWiredAreUsageErrors) {
    ASSERT_EQ(run({"start"}).status, 0);
    expect_usage_error({"input", "32", "high"}, "wires no input");
    expect_usage_error({"input", "0", "out32"}, "wires no input");
    expect_usage_error({"input", "0", "nothing"}, "wires no input");
    expect_usage_error({"input", "0"}, "required");
    const ProcessResult card = run({"input", "--card", "1", "0", "high"});
    EXPECT_EQ(card.status, 1);
    EXPECT_THAT(card.err, HasSubstr("there is no card 1"));
}

TEST_F(VcardBoard, WiringThatIsNoneIsAUsageError) {
    expect_usage_error({"start", "--card", "wiring=0:nowhere"}, "wires no input");
}

TEST_F(VcardBoard, InputWithoutAServiceFails) {
    const ProcessResult result = run({"input", "0", "high"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("no service runs in"));
}

TEST_F(VcardBoard, StopAfterIsAFault) {
    ASSERT_EQ(run({"start"}).status, 0);
    EXPECT_EQ(run({"fault", "stop-after", "3"}).status, 0);
    EXPECT_EQ(run({"fault", "clear"}).status, 0);
}

// ---- images ----------------------------------------------------------------------------------

TEST_F(VcardBoard, WritesAFirmwareImage) {
    const std::string path = file("update.bin");
    const ProcessResult result =
        run({"make-image", "--version", "1.14.0", "--size", "5000", "-o", path});
    EXPECT_EQ(result.status, 0) << result.err;
    tarn::vcard::ImageOptions image;
    image.version = "1.14.0";
    image.size = 5000;
    EXPECT_EQ(content(path), make_update_image(image));
}

TEST_F(VcardBoard, WritesImagesForOtherModelsAndBrokenOnes) {
    const std::string path = file("update.bin");
    tarn::vcard::ImageOptions image;
    image.version = "2.0";
    image.model = "TARN-2";
    ASSERT_EQ(run({"make-image", "--version", "2.0", "--model", "TARN-2", "-o", path}).status, 0);
    EXPECT_EQ(content(path), make_update_image(image));
    for (const tarn::vcard::ImageKind &kind : tarn::vcard::broken_image_kinds()) {
        ASSERT_EQ(run({"make-image", "--version", "2.0", "--broken", kind.name, "-o", path}).status,
                  0);
        EXPECT_NE(tarn::vcard::check_update_image(content(path), image.model).status, 0U);
    }
}

TEST_F(VcardBoard, ImpossibleImagesAreUsageErrors) {
    const std::string path = file("update.bin");
    expect_usage_error({"make-image", "-o", path}, "required");
    expect_usage_error({"make-image", "--version", "1.14.0"}, "required");
    expect_usage_error({"make-image", "--version", std::string(32, '1'), "-o", path}, "version");
    expect_usage_error({"make-image", "--version", "1", "--size", "96", "-o", path}, "96 bytes");
    expect_usage_error({"make-image", "--version", "1", "--broken", "burnt", "-o", path}, "burnt");
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(VcardBoard, ImageThatCannotBeWrittenIsAFailure) {
    const std::string path = file("no/such/file");
    const ProcessResult result = run({"make-image", "--version", "1.14.0", "-o", path});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("cannot write " + path));
}

TEST_F(VcardBoard, HelpListsTheWaysToBreakAnImage) {
    const ProcessResult result = run({"make-image", "--help"});
    EXPECT_EQ(result.status, 0);
    for (const tarn::vcard::ImageKind &kind : tarn::vcard::broken_image_kinds()) {
        EXPECT_THAT(result.out, HasSubstr(kind.text));
    }
}

} // namespace
