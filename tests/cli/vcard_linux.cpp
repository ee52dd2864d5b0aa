// tarn-vcard on Linux: its sockets, who may enter their folder, and the driver version that it
// tells.
#include "vcard_fixture.h"

#include <sys/stat.h>

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::HasSubstr;

namespace {

TEST_F(Vcard, SocketsAreThereWhileItServes) {
    ASSERT_EQ(run({"start", "--cards", "2"}).status, 0);
    for (const char *name : {"kpcidev0", "kpcidev1", "control"}) {
        EXPECT_TRUE(fs::is_socket(service_dir() / name)) << name;
    }
    EXPECT_EQ(run({"stop"}).status, 0);
    for (const char *name : {"kpcidev0", "kpcidev1", "control"}) {
        EXPECT_FALSE(fs::exists(service_dir() / name)) << name;
    }
}

TEST_F(Vcard, SocketsOfAKilledServiceAreReplaced) {
    ASSERT_EQ(run({"start", "--cards", "3"}).status, 0);
    ASSERT_TRUE(kill_process(service_pid()));
    ASSERT_TRUE(eventually(
        [this] { return run({"status"}).out.find("is not running") != std::string::npos; }));
    EXPECT_TRUE(fs::exists(service_dir() / "kpcidev2"));
    EXPECT_EQ(run({"start"}).status, 0);
    EXPECT_FALSE(fs::exists(service_dir() / "kpcidev2"));
}

TEST_F(Vcard, SocketsLieInTheFolderThatIsNamed) {
    const std::string folder = file("elsewhere");
    EXPECT_EQ(run({"start", "--dir", folder}).status, 0);
    EXPECT_TRUE(fs::is_socket(fs::path(folder) / "kpcidev0"));
    EXPECT_EQ(run({"stop", "--dir", folder}).status, 0);
}

TEST_F(Vcard, FolderThatOthersCanEnterIsRefused) {
    fs::create_directory(service_dir());
    chmod(service_dir().c_str(), 0755);
    const ProcessResult result = run({"start"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("chmod 700"));
}

TEST_F(Vcard, FolderWithATooLongNameIsRefused) {
    const ProcessResult result = run({"start", "--dir", "/tmp/" + std::string(120, 'x')});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("too long"));
    fs::remove_all("/tmp/" + std::string(120, 'x'));
}

TEST_F(Vcard, WrongDriverVersionIsAUsageError) {
    expect_usage_error({"start", "--driver-version", "1.0.0"}, "four numbers");
}

} // namespace
