#include "pci_tarn/pci_tarn.h"
#include "support/capture.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

using tarn::test::StdoutCapture;

TEST(SharedMemoryFile, FolderNamedLikeItGivesTheSystemsText) {
    const tarn::test::TempDir folder;
    mkdir("temp.dat", 0700);
    const StdoutCapture out;
    EXPECT_EQ(initMutex(), nullptr);
    EXPECT_EQ(out.text(), "CreateFileA failed. Is a directory\r\n");
}

TEST(SharedMemoryFile, PipeCannotBeGrown) {
    const tarn::test::TempDir folder;
    ASSERT_EQ(mkfifo("temp.dat", 0600), 0);
    const StdoutCapture out;
    EXPECT_EQ(initMutex(), nullptr);
    EXPECT_EQ(out.text(), "CreateFileMapping failed. Illegal seek\r\n");
}

TEST(SharedMemoryFile, FailedMappingIsSaidAndLeavesNull) {
    if (std::string(TARN_SANITIZE) != "") {
        GTEST_SKIP() << "a sanitizer's own address space exceeds any limit";
    }
    const tarn::test::TempDir folder;
    std::ofstream("temp.dat").flush();
    const StdoutCapture out;
    rlimit former = {};
    getrlimit(RLIMIT_AS, &former);
    const rlimit tight = {4'000'000, former.rlim_max};
    setrlimit(RLIMIT_AS, &tight);
    void *result = initMutex();
    setrlimit(RLIMIT_AS, &former);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(__pi_shared_memory, nullptr);
    EXPECT_EQ(out.text(), "MapViewOfFile failed. Cannot allocate memory\r\n");
}

// A file with holes would fault when the disk runs full.
TEST(SharedMemoryFile, HasNoHoles) {
    const tarn::test::TempDir folder;
    ASSERT_NE(initMutex(), nullptr);
    struct stat status = {};
    ASSERT_EQ(stat("temp.dat", &status), 0);
    EXPECT_GE(status.st_blocks * 512, 10'485'760);
}

} // namespace
