// What the virtual card's memory looks like after boot. Places are literal numbers, so that a slip
// in the shared layout header shows here.
#include "card/firmware_bench.h"

#include "base/card_memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <stdexcept>
#include <utility>

using namespace tarn::test;
using tarn::vcard::CardConfig;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

uint32_t load(const uint8_t *at) {
    return tarn::card::load32(at);
}

std::array<uint32_t, 4> descriptor(FirmwareBench &bench, uint32_t channel, uint32_t first_word) {
    return {bench.word(channel, first_word), bench.word(channel, first_word + 1),
            bench.word(channel, first_word + 2), bench.word(channel, first_word + 3)};
}

CardConfig rings(uint32_t slots, uint32_t slot_size) {
    CardConfig config;
    config.rings = {slots, slot_size};
    return config;
}

std::string refusal(const CardConfig &config) {
    try {
        const FirmwareBench bench(config);
    } catch (const std::invalid_argument &error) {
        return error.what();
    }
    return "accepted";
}

} // namespace

TEST(FirmwareLayout, PublishesTheConfigurationBlock) {
    CardConfig config;
    config.name = "press line";
    config.model = "TARN-2";
    config.firmware_version = "1.13.7";
    FirmwareBench bench(config);
    const uint8_t *block = bench.bar(2);
    EXPECT_EQ(load(block), 0x5AA5C33CU);
    EXPECT_EQ(load(block + 0x004), 0x07060000U);
    EXPECT_STREQ(reinterpret_cast<const char *>(block + 0x008), "1.13.7");
    EXPECT_EQ(load(block + 0x02C), 2U);
    EXPECT_STREQ(reinterpret_cast<const char *>(block + 0x048), "TARN-2");
    EXPECT_STREQ(reinterpret_cast<const char *>(block + 0x068), "press line");
    EXPECT_EQ(load(block + 0x188), 0U);
    EXPECT_EQ(load(block + 0x18C), 0U);
    EXPECT_EQ(load(block + 0x1A0), 0U);
}

TEST(FirmwareLayout, AcceptsTextsOfThirtyOneCharacters) {
    CardConfig config;
    config.name = std::string(31, 'n');
    FirmwareBench bench(config);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(bench.bar(2) + 0x068)), config.name);
}

TEST(FirmwareLayout, GivesTheAliasInvertedInFourBits) {
    CardConfig config;
    config.alias = 5;
    FirmwareBench bench(config);
    EXPECT_EQ(~load(bench.bar(1) + 0x18) & 15U, 5U);
    EXPECT_NE(load(bench.bar(1)), 0U);
}

TEST(FirmwareLayout, ZeroesTheRestOfTheMemory) {
    FirmwareBench bench;
    for (const uint32_t offset : {0x04U, 0x10U, 0x54U, 0x58U, 0x6CU, 0x1E0U}) {
        EXPECT_EQ(load(bench.bar(1) + offset), 0U) << offset;
    }
    EXPECT_EQ(load(bench.bar(0)), 0U);
    EXPECT_EQ(bench.word(0, 130), 0U);
    EXPECT_EQ(load(bench.area(0) + 803420), 0U);
    EXPECT_EQ(load(bench.area(0) + 0x1CB370), 0U);
}

TEST(FirmwareLayout, BothChannelAreasCarryTheirVersions) {
    FirmwareBench bench;
    EXPECT_EQ(load(bench.bar(2) + 0x1000), 0x00000103U);
    EXPECT_EQ(load(bench.bar(2) + 0x200C00), 0x00000103U);
    EXPECT_EQ(load(bench.bar(2) + 0xC5248), 0x00060000U);
    EXPECT_EQ(load(bench.bar(2) + 0x2C4E48), 0x00060000U);
}

TEST(FirmwareLayout, FirstGenerationHasItsOwnVersionWord) {
    CardConfig config;
    config.generation = 1;
    FirmwareBench bench(config);
    EXPECT_EQ(bench.word(0, 200850), 0x00030000U);
    EXPECT_EQ(bench.word(1, 200850), 0x00030000U);
}

TEST(FirmwareLayout, DefaultPrimaryRingsFillTheGapBetweenThePointers) {
    FirmwareBench bench;
    for (const uint32_t channel : {0U, 1U}) {
        EXPECT_THAT(descriptor(bench, channel, 5), ElementsAre(524, 540, 102400, 0));
        EXPECT_THAT(descriptor(bench, channel, 1), ElementsAre(532, 102940, 102400, 0));
    }
}

TEST(FirmwareLayout, DefaultSecondaryRingsFollowTheirPointers) {
    FirmwareBench bench;
    EXPECT_THAT(descriptor(bench, 0, 13), ElementsAre(205340, 205356, 102400, 0));
    EXPECT_THAT(descriptor(bench, 0, 9), ElementsAre(205348, 307756, 102400, 0));
}

TEST(FirmwareLayout, SocketRingsHoldSixteenPieces) {
    FirmwareBench bench;
    for (const uint32_t first : {17U, 21U}) {
        const auto ring = descriptor(bench, 1, first);
        EXPECT_EQ(ring[2], 1040U);
        EXPECT_EQ(ring[3], 15U);
    }
}

TEST(FirmwareLayout, AllCountersStartWhereTheConfigurationSays) {
    CardConfig config;
    config.first_counter = 0xFFFFFFFE;
    FirmwareBench bench(config);
    for (const uint32_t word : {131U, 132U, 133U, 134U, 51335U, 51336U, 51337U, 51338U}) {
        EXPECT_EQ(bench.word(0, word), 0xFFFFFFFEU) << word;
        EXPECT_EQ(bench.word(1, word), 0xFFFFFFFEU) << word;
    }
    EXPECT_EQ(load(bench.area(0) + bench.word(0, 17)), 0xFFFFFFFEU);
}

TEST(FirmwareLayout, OneChannelCardLeavesTheSecondAreaEmpty) {
    CardConfig config;
    config.channels = 1;
    FirmwareBench bench(config);
    EXPECT_EQ(load(bench.bar(2) + 0x02C), 1U);
    EXPECT_EQ(load(bench.bar(2) + 0x200C00), 0U);
}

TEST(FirmwareLayout, SecondBootStartsAfresh) {
    FirmwareBench bench;
    bench.set_word(0, 130, 7);
    bench.set_word(0, 5, 12345);
    bench.firmware().boot();
    EXPECT_EQ(bench.word(0, 130), 0U);
    EXPECT_EQ(bench.ask(11).status, 0U);
}

class FirmwareGeometry : public testing::TestWithParam<std::pair<uint32_t, uint32_t>> {};

TEST_P(FirmwareGeometry, RingsStayApartAndClearOfEverythingFixed) {
    const auto [slots, slot_size] = GetParam();
    FirmwareBench bench(rings(slots, slot_size));
    std::vector<std::pair<uint32_t, uint32_t>> used = {
        {0, 100}, {520, 540}, {205340, 205356}, {803400, 0x1CB370 + 512}, {0x1FFC00, 0x7FFFFFFF}};
    for (uint32_t ring = 0; ring < 6; ++ring) {
        const auto place = descriptor(bench, 0, 1 + ring * 4);
        if (ring < 4) {
            EXPECT_EQ(place[2], slot_size);
            EXPECT_EQ(place[3], slots - 1);
        } else {
            used.emplace_back(place[0], place[0] + 8);
        }
        used.emplace_back(place[1], place[1] + place[2] * (place[3] + 1));
    }
    std::sort(used.begin(), used.end());
    for (size_t i = 1; i < used.size(); ++i) {
        EXPECT_LE(used[i - 1].second, used[i].first);
    }
    EXPECT_EQ(bench.word(0, 5), 524U);
    EXPECT_EQ(bench.word(0, 1), 532U);
    EXPECT_EQ(bench.word(0, 13), 205340U);
    EXPECT_EQ(bench.word(0, 9), 205348U);
}

TEST_P(FirmwareGeometry, AnswersOnAllMailboxes) {
    const auto [slots, slot_size] = GetParam();
    FirmwareBench bench(rings(slots, slot_size));
    for (const uint32_t channel : {0U, 1U}) {
        for (const bool primary : {true, false}) {
            for (uint32_t i = 0; i < 2 * slots + 1; ++i) {
                EXPECT_EQ(bench.request(channel, primary, 127).status, 32772U);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Rings, FirmwareGeometry,
                         testing::Values(std::pair{1U, 102400U}, std::pair{2U, 102400U},
                                         std::pair{1U, 200000U}, std::pair{4U, 40000U},
                                         std::pair{8U, 20000U}, std::pair{64U, 3200U},
                                         std::pair{64U, 16U}, std::pair{1U, 16U}));

TEST(FirmwareGeometryRefusal, SlotCountZero) {
    EXPECT_THAT(refusal(rings(0, 1024)), HasSubstr("slot count 0"));
}

TEST(FirmwareGeometryRefusal, SlotCountAboveSixtyFour) {
    EXPECT_THAT(refusal(rings(128, 64)), HasSubstr("slot count 128"));
}

TEST(FirmwareGeometryRefusal, SlotCountNoPowerOfTwo) {
    EXPECT_THAT(refusal(rings(3, 1024)), HasSubstr("3 is not a power of two"));
}

TEST(FirmwareGeometryRefusal, SlotWithoutRoomForItsHeader) {
    EXPECT_THAT(refusal(rings(1, 12)), HasSubstr("slot size 12"));
}

TEST(FirmwareGeometryRefusal, SlotSizeNotInWords) {
    EXPECT_THAT(refusal(rings(1, 1026)), HasSubstr("slot size 1026"));
}

TEST(FirmwareGeometryRefusal, RingsThatDoNotFitTheArea) {
    EXPECT_THAT(refusal(rings(64, 102400)), HasSubstr("no piece of 6553600 bytes"));
}

TEST(FirmwareGeometryRefusal, RingSizeBeyondThirtyTwoBits) {
    EXPECT_THAT(refusal(rings(64, 0x80000000)), HasSubstr("do not fit"));
}

TEST(FirmwareRefusal, NameOfThirtyTwoCharacters) {
    CardConfig config;
    config.name = std::string(32, 'n');
    EXPECT_THAT(refusal(config), HasSubstr("has 32 characters"));
}

TEST(FirmwareRefusal, AliasAboveFifteen) {
    CardConfig config;
    config.alias = 16;
    EXPECT_THAT(refusal(config), HasSubstr("alias 16"));
}

TEST(FirmwareRefusal, ChannelCountOutOfRange) {
    CardConfig config;
    config.channels = 0;
    EXPECT_THAT(refusal(config), HasSubstr("channel count 0"));
    config.channels = 3;
    EXPECT_THAT(refusal(config), HasSubstr("channel count 3"));
}

TEST(FirmwareRefusal, UnknownTripleBufferGeneration) {
    CardConfig config;
    config.generation = 3;
    EXPECT_THAT(refusal(config), HasSubstr("generation 3"));
}

TEST(FirmwareRefusal, NetworkFileThatIsNotThere) {
    CardConfig config;
    config.network_file = "/nowhere/network.xml";
    EXPECT_THAT(refusal(config), HasSubstr("/nowhere/network.xml"));
}

TEST(FirmwareRefusal, NetworkFileThatIsBroken) {
    CardConfig config;
    config.network_file = testing::TempDir() + "firmware_refusal_broken.xml";
    std::ofstream(config.network_file) << "<EtherCATConfig><Config>";
    EXPECT_THAT(refusal(config), HasSubstr(config.network_file));
    std::remove(config.network_file.c_str());
}

TEST(FirmwareRefusal, MemoryThatIsTooSmall) {
    std::vector<uint64_t> small(0x1000 / 8);
    auto *base = reinterpret_cast<uint8_t *>(small.data());
    tarn::vcard::CardMemory memory;
    memory.bars.fill({base, 0x1000});
    EXPECT_THROW(tarn::vcard::Firmware(
                     CardConfig{}, memory, [](unsigned) {}, [](const std::string &) {}),
                 std::invalid_argument);
}
