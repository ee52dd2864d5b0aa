// The order of the stores into card memory.
#include "fake_card.h"
#include "support/access_recorder.h"
#include "support/guarded_buffer.h"

#include <algorithm>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;

TEST(WriteOrder, HeaderPayloadWriteCounterDoorbell) {
    if (!can_record_accesses()) {
        GTEST_SKIP() << "a thread sanitizer stores on behalf of the program";
    }
    constexpr size_t kPage = 4096;
    constexpr size_t kDoorbell = 64;
    constexpr size_t kSlots = 256;
    const GuardedBuffer memory;
    uint8_t *page = memory.at_start();
    memset(page, 0xEE, kPage);

    FakeCard card;
    CommandChannel &channel = card.channel();
    channel.out = {reinterpret_cast<uint32_t *>(page), page + kSlots, 3, 64};
    channel.doorbell = reinterpret_cast<uint32_t *>(page + kDoorbell);
    memset(page, 0, 8);

    const uint32_t data = 0x01020304;
    AccessRecorder recorder({{page, kPage}}, AccessRecorder::What::Stores);
    const uint32_t status =
        transact(channel, {.code = Command{0x1234}, .data = &data, .length = 4}, 0);
    std::vector<Access> stores = recorder.stop();
    // A copy may store its bytes twice.
    stores.erase(std::unique(stores.begin(), stores.end()), stores.end());
    EXPECT_EQ(status, 80003U);
    EXPECT_THAT(stores,
                ElementsAre(store_of(0, kSlots + 2, 2, 0x1234), store_of(0, kSlots + 4, 2, 0),
                            store_of(0, kSlots + 8, 4, 4), store_of(0, kSlots + 16, 4, data),
                            store_of(0, 4, 4, 1), store_of(0, kDoorbell, 4, 1)));
}

} // namespace
