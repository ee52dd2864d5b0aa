// The reset of a board: what it counts, what it writes, and firmware that cannot do it.
#include "board_fixture.h"
#include "pci_tarn/board.h"
#include "pci_tarn/shared.h"
#include "support/capture.h"
#include "support/temp_dir.h"

#include <cstdio>
#include <string>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;

constexpr size_t kCounters = 0x60870C; // in the shared memory; one every 256 bytes

class BoardReset : public PlainBoard {
  protected:
    void SetUp() override {
        ASSERT_NE(initMutex(), nullptr);
        board()->index = 3;
        config_version(0x07060000);
    }

    void config_version(uint32_t word) { poke(bar2() + 0x004, word); }
    void identify(const char *firmware_version) {
        poke(bar2(), 0x5AA5C33CU);
        memset(bar2() + 0x008, 0, 160);
        snprintf(reinterpret_cast<char *>(bar2()) + 0x008, 32, "%s", firmware_version);
    }
    uint32_t request() { return peek<uint32_t>(bar2() + 0x188); }

    static uint8_t *shared() { return static_cast<uint8_t *>(__pi_shared_memory); }
    static uint32_t counter(uint32_t slot) {
        return peek<uint32_t>(shared() + kCounters + slot * 256);
    }

    uint32_t reset(uint32_t config_word) {
        config_version(config_word);
        const StdoutCapture capture;
        const uint32_t status = ::BoardReset(board());
        printed_ = capture.text();
        return status;
    }

    std::string printed_;
    TempDir folder_;
};

TEST_F(BoardReset, CountsBothChannelsThenStoresTheRequest) {
    if (!can_record_accesses()) {
        GTEST_SKIP() << "a thread sanitizer accesses memory on behalf of the program";
    }
    constexpr size_t kShared = 2;
    constexpr size_t kFirst = kCounters + size_t{3} * 512;
    constexpr size_t kPageBegin = kFirst / kPage * kPage;
    poke(shared() + kFirst, 0xFFFFFFFFU);
    poke(shared() + kFirst + 256, 41U);
    AccessRecorder recorder({{bar1(), kPage}, {bar2(), kPage}, {shared() + kPageBegin, kPage}});
    const uint32_t status = ::BoardReset(board());
    const std::vector<Access> all = recorder.stop();
    EXPECT_EQ(status, 0U);
    EXPECT_THAT(all, ElementsAre(load_of(kBar2, 0x004, 4, 0x07060000),
                                 load_of(kShared, kFirst - kPageBegin, 4, 0xFFFFFFFF),
                                 store_of(kShared, kFirst - kPageBegin, 4, 0),
                                 load_of(kShared, kFirst + 256 - kPageBegin, 4, 41),
                                 store_of(kShared, kFirst + 256 - kPageBegin, 4, 42),
                                 store_of(kBar2, 0x188, 4, 1)));
}

TEST_F(BoardReset, CountsForItsBoardOnly) {
    EXPECT_EQ(reset(0x07000000), 0U);
    for (uint32_t slot = 0; slot < 32; ++slot) {
        EXPECT_EQ(counter(slot), slot == 6 || slot == 7 ? 1U : 0U) << slot;
    }
    EXPECT_EQ(printed_, "");
}

TEST_F(BoardReset, WithoutSharedMemoryItStillResets) {
    void *const memory = __pi_shared_memory;
    __pi_shared_memory = nullptr;
    EXPECT_EQ(reset(0x07000000), 0U);
    EXPECT_EQ(request(), 1U);
    __pi_shared_memory = memory;
}

TEST_F(BoardReset, SeventhLayoutIsTheFirstThatCan) {
    EXPECT_EQ(reset(0x07000000), 0U);
    EXPECT_EQ(request(), 1U);
}

TEST_F(BoardReset, LayoutBelowTheSeventhIsRefused) {
    identify("1.3.9");
    EXPECT_EQ(reset(0x060000FF), 80006U);
}

TEST_F(BoardReset, MiddleOfTheWordDoesNotCount) {
    identify("1.3.9");
    EXPECT_EQ(reset(0x06FFFF00), 80006U);
    EXPECT_EQ(reset(0x00FFFF07), 80006U);
}

TEST_F(BoardReset, WordIsComparedUnsigned) {
    EXPECT_EQ(reset(0x80000000), 0U);
    EXPECT_EQ(reset(0xFF0000FF), 0U);
}

TEST_F(BoardReset, RefusalTellsTheRawWordAndTheFirmware) {
    identify("1.3.9");
    EXPECT_EQ(reset(0x00060001), 80006U);
    EXPECT_EQ(printed_, "ERROR: config version(393217) has not board reset. \r\n"
                        "Please update software to or late: 1.4.0, Current: 1.3.9\r\n");
}

TEST_F(BoardReset, RefusalCountsAndWritesNothing) {
    identify("1.3.9");
    poke(bar2() + 0x188, 0U);
    EXPECT_EQ(reset(0x06000000), 80006U);
    EXPECT_EQ(counter(6), 0U);
    EXPECT_EQ(counter(7), 0U);
    EXPECT_EQ(request(), 0U);
}

TEST_F(BoardReset, RefusalOfACardThatDoesNotSayWhatItIsNamesNoFirmware) {
    EXPECT_EQ(reset(0x06000000), 80006U);
    const std::string end = "Please update software to or late: 1.4.0, Current: \r\n";
    ASSERT_GE(printed_.size(), end.size());
    EXPECT_EQ(printed_.substr(printed_.size() - end.size()), end);
}

} // namespace
