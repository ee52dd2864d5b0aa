// When the host file of a transfer is open.
#include "fake_card.h"
#include "support/temp_dir.h"
#include "support/this_process.h"

#include "channel/file_transfer.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace tarn::test;
using ::testing::ElementsAre;
namespace fs = std::filesystem;

// Downloads a small file; tells for each request whether the file was open when it was served.
std::vector<bool> open_during(uint32_t chunk_status) {
    const TempDir folder;
    const fs::path file = folder.path() / "host.bin";
    std::ofstream(file) << "content";
    FakeCard card;
    std::vector<bool> open;
    card.answer = [&](const Seen &request) {
        open.push_back(has_open(file));
        return std::vector<Reply>{{.status = request.code == 2 ? chunk_status : 0}};
    };
    EXPECT_EQ(
        tarn::download_file(card.channel(), file.string().c_str(), "n", nullptr, nullptr, 100), 0U);
    EXPECT_FALSE(has_open(file));
    open.resize(3); // the first attempt
    return open;
}

TEST(HostFile, StaysOpenUntilTheCardHasClosedItsOwn) {
    EXPECT_THAT(open_during(0), ElementsAre(true, true, true));
}

TEST(HostFile, IsClosedBeforeTheCardIsToldToCloseWhenAChunkFailed) {
    EXPECT_THAT(open_during(32849), ElementsAre(true, true, false));
}

} // namespace
