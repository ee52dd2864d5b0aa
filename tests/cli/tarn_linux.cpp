// What the tool does on Linux before any library is loaded. On Windows nothing of a program runs
// before the start code of its DLLs.
#include "tarn_fixture.h"

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::HasSubstr;

namespace {

using TarnWithoutCard = TarnTool;

TEST_F(TarnWithoutCard, JsonStaysCleanWhenTheLibraryPrintsWhileItIsLoaded) {
    fs::create_directory("temp.dat"); // so that the process image file cannot be opened
    const ProcessResult result = tarn("--json boards");
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(JsonDocument(result.out).is_array());
    EXPECT_THAT(result.err, HasSubstr("CreateFileA failed"));
}

} // namespace
