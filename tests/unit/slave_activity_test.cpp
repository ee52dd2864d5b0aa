// Which slaves count as active: the cache over the card's activity words, and the check of a
// physical range.
#include "layout/shared_memory_map.h"
#include "pci_tarn/pi.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

class SlaveActivity : public testing::Test {
  protected:
    SlaveActivity() {
        for (uint32_t &word : participation_) {
            word = ~0U;
        }
    }

    void init(uint32_t count) {
        ecat_slave_active_cache_init(&cache_, card_, participation_, count);
    }
    bool get(uint16_t slave) { return ecat_slave_active_cache_get(&cache_, slave); }

    uint32_t card_[128] = {};
    uint32_t participation_[128];
    EcatSlaveActiveCache cache_;
};

TEST_F(SlaveActivity, InitRemembersTheArgumentsAndEmptiesTheLines) {
    init(77);
    EXPECT_EQ(cache_.card, card_);
    EXPECT_EQ(cache_.participation, participation_);
    EXPECT_EQ(cache_.count, 77u);
    for (const auto &line : cache_.line) {
        EXPECT_EQ(line.index, 0xFFFFFFFFu);
        EXPECT_EQ(line.value, 0u);
    }
    EXPECT_EQ(sizeof cache_, 56u);
}

TEST_F(SlaveActivity, ASetBitIsAnActiveSlave) {
    card_[1] = 1U << 3;
    init(64);
    EXPECT_TRUE(get(35));
    EXPECT_FALSE(get(34));
    EXPECT_FALSE(get(36));
}

TEST_F(SlaveActivity, ASlaveThatDoesNotTakePartIsActive) {
    participation_[0] = ~(1U << 5);
    init(32);
    EXPECT_TRUE(get(5));
    EXPECT_FALSE(get(4));
}

TEST_F(SlaveActivity, ASlaveBeyondTheCountIsActive) {
    init(10);
    EXPECT_FALSE(get(9));
    EXPECT_TRUE(get(10));
    EXPECT_TRUE(get(65535));
}

TEST_F(SlaveActivity, AWordIsReadOncePerLine) {
    init(4096);
    EXPECT_FALSE(get(0));
    card_[0] = ~0U;
    EXPECT_FALSE(get(1)); // still the word as it was
    EXPECT_EQ(cache_.line[0].index, 0u);
    EXPECT_FALSE(get(128)); // word 4 takes the same line
    EXPECT_EQ(cache_.line[0].index, 4u);
    EXPECT_TRUE(get(1));
}

TEST_F(SlaveActivity, FourNeighbouringWordsAreHeldAtOnce) {
    init(4096);
    for (uint16_t word = 0; word < 4; ++word) {
        get(static_cast<uint16_t>(32 * word));
    }
    for (uint32_t word = 0; word < 4; ++word) {
        EXPECT_EQ(cache_.line[word].index, word);
    }
}

TEST_F(SlaveActivity, TheLastSlaveIsBitThirtyOneOfTheLastWord) {
    card_[127] = 1U << 31;
    init(4096);
    EXPECT_TRUE(get(4095));
    EXPECT_FALSE(get(4094));
}

TEST_F(SlaveActivity, ANullCacheIsHarmless) {
    ecat_slave_active_cache_init(nullptr, card_, participation_, 1);
    EXPECT_TRUE(ecat_slave_active_cache_get(nullptr, 0));
}

class AllSlavesActive : public testing::Test {
  protected:
    // Slaves of 8 bits each, one after the other, all with data.
    AllSlavesActive() : info_(std::make_unique<tarn::PiInfo>()) {
        info_->slave_count = 100;
        for (uint16_t i = 0; i < 100; ++i) {
            direction().physical[i] = {static_cast<uint16_t>(8 * i), 8};
            direction().participation[i / 32] |= 1U << i % 32;
            card_[i / 32] |= 1U << i % 32;
        }
    }

    tarn::PiDirection &direction() { return info_->direction[ECAT_PI_DIRECTION_INPUT]; }
    bool check(uint16_t start, uint16_t count) {
        return ecat_check_all_slave_is_active(info_.get(), card_, ECAT_PI_DIRECTION_INPUT, start,
                                              count);
    }
    void lose(uint32_t slave) { card_[slave / 32] &= ~(1U << slave % 32); }

    std::unique_ptr<tarn::PiInfo> info_;
    uint32_t card_[128] = {};
};

TEST_F(AllSlavesActive, HoldsWhileAllBitsAreSet) {
    EXPECT_TRUE(check(0, 800));
}

TEST_F(AllSlavesActive, FailsForEveryRangeThatTouchesTheLostSlave) {
    lose(40);
    EXPECT_FALSE(check(0, 800));
    EXPECT_FALSE(check(320, 8));
    EXPECT_FALSE(check(327, 1));
    EXPECT_FALSE(check(316, 5));
    EXPECT_TRUE(check(0, 320));
    EXPECT_TRUE(check(328, 472));
}

TEST_F(AllSlavesActive, LooksAtTheBitsOfTheRunOnlyInTheFirstAndLastWord) {
    lose(31);
    lose(64);
    EXPECT_TRUE(check(8 * 32, 8 * 32)); // exactly word 1
    EXPECT_FALSE(check(8 * 31, 8 * 33));
    EXPECT_FALSE(check(8 * 32, 8 * 33));
}

TEST_F(AllSlavesActive, IgnoresSlavesWithoutData) {
    lose(7);
    direction().participation[0] &= ~(1U << 7);
    EXPECT_TRUE(check(0, 800));
}

TEST_F(AllSlavesActive, HoldsWhereNoSlaveLies) {
    for (uint32_t i = 0; i < 100; ++i) {
        lose(i);
    }
    EXPECT_TRUE(check(800, 100));
    EXPECT_TRUE(check(0, 0));
    EXPECT_FALSE(check(799, 1));
}

TEST_F(AllSlavesActive, TheOtherDirectionHasItsOwnTables) {
    lose(0);
    EXPECT_TRUE(ecat_check_all_slave_is_active(info_.get(), card_, ECAT_PI_DIRECTION_OUTPUT, 0, 8));
    EXPECT_FALSE(check(0, 8));
}

TEST_F(AllSlavesActive, HoldsForArgumentsThatNameNothing) {
    EXPECT_TRUE(ecat_check_all_slave_is_active(nullptr, card_, 0, 0, 8));
    EXPECT_TRUE(ecat_check_all_slave_is_active(info_.get(), card_, 2, 0, 8));
}

} // namespace
