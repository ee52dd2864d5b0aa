// tarn-vcard on Windows: device nodes instead of sockets.
#include "vcard_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

TEST_F(Vcard, CardsWithoutADeviceNodeAreRefused) {
    const ProcessResult result = run({"start", "--cards", "16"});
    if (result.status == 0) {
        GTEST_SKIP() << "there are nodes for all cards";
    }
    EXPECT_THAT(result.err, HasSubstr("\"tarn-vcard install --cards 16\" makes them"));
}

TEST_F(Vcard, CardsOfAnotherServiceAreTaken) {
    ASSERT_EQ(run({"start", "--cards", "2"}).status, 0);
    const ProcessResult second = run({"start", "--dir", file("elsewhere")});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.err, HasSubstr("the cards are served already"));
    EXPECT_EQ(cards_found(), 2);
}

TEST_F(Vcard, HelpNamesInstallAndNoDriverVersion) {
    EXPECT_THAT(run({"--help"}).out, AllOf(HasSubstr("\n  install "), HasSubstr("\n  uninstall ")));
    EXPECT_THAT(run({"install", "--help"}).out, HasSubstr("tarn-vcard install --cards 4"));
    EXPECT_THAT(run({"start", "--help"}).out, Not(HasSubstr("--driver-version")));
    expect_usage_error({"start", "--driver-version", "1.0.0.4"}, "--driver-version");
}

TEST_F(Vcard, InstallChecksItsArguments) {
    expect_usage_error({"install", "--cards", "0"}, "--cards");
    expect_usage_error({"install", "--cards", "17"}, "--cards");
    const ProcessResult result = run({"install", "--inf", file("none.inf")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("there is no driver at " + file("none.inf")));
}

TEST_F(Vcard, RuntimeFolderThatIsNotSetIsTold) {
    ProcessOptions without = options();
    without.environment[kRuntimeVariable] = "";
    const ProcessResult result = run_program(program_path("tarn-vcard"), {"status"}, without);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("LOCALAPPDATA is not set"));
}

// A background service has no console: Ctrl-C in the one it was started from does not reach it.
TEST_F(Vcard, EndOfTheServiceIsInItsLog) {
    ASSERT_EQ(run({"start"}).status, 0);
    ASSERT_EQ(run({"stop"}).status, 0);
    std::ifstream log(service_dir() / "tarn-vcard.log");
    const std::string text{std::istreambuf_iterator<char>(log), {}};
    EXPECT_THAT(text, HasSubstr("ended by a client"));
}

} // namespace
