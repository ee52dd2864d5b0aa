// The order of the stores into card memory.
#include "fake_card.h"
#include "support/write_recorder.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;

TEST(WriteOrder, HeaderPayloadWriteCounterDoorbell) {
    if (std::string(TARN_SANITIZE).find("thread") != std::string::npos) {
        GTEST_SKIP() << "a thread sanitizer stores on behalf of the program";
    }
    constexpr size_t kPage = 4096;
    constexpr size_t kDoorbell = 64;
    constexpr size_t kSlots = 256;
    auto *page = static_cast<uint8_t *>(
        mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(page, MAP_FAILED);
    memset(page, 0xEE, kPage);

    FakeCard card;
    CommandChannel &channel = card.channel();
    channel.out = {reinterpret_cast<uint32_t *>(page), page + kSlots, 3, 64};
    channel.doorbell = reinterpret_cast<uint32_t *>(page + kDoorbell);
    memset(page, 0, 8);

    const uint64_t data = 0x0102030405060708;
    WriteRecorder recorder(page, kPage);
    const uint32_t status =
        transact(channel, {.code = Command{0x1234}, .data = &data, .length = 8}, 0);
    const std::vector<Write> writes = recorder.stop();
    EXPECT_EQ(status, 80003U);
    // Of the counter and the doorbell only some bytes change.
    ASSERT_EQ(writes.size(), 6U);
    EXPECT_EQ(writes[0], (Write{kSlots + 2, 2}));
    EXPECT_EQ(writes[1], (Write{kSlots + 4, 2}));
    EXPECT_EQ(writes[2], (Write{kSlots + 8, 4}));
    EXPECT_EQ(writes[3], (Write{kSlots + 16, 8}));
    EXPECT_EQ(writes[4].offset, 4U);
    EXPECT_EQ(writes[5], (Write{kDoorbell, 4}));
    munmap(page, kPage);
}

} // namespace
