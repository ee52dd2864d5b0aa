// The card's queues of process images as a user of the tool sees them.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;

namespace {

constexpr int kEntries = 128;

// ---- without a card -----------------------------------------------------------------------------

using TarnQueueUsage = TarnTool;

TEST_F(TarnQueueUsage, CommandsNeedACard) {
    for (const char *command : {"queue size", "queue pop", "queue push 1", "queue watch"}) {
        const ProcessResult result = tarn(command);
        EXPECT_EQ(result.status, 1) << command;
        EXPECT_THAT(result.err, HasSubstr("Device not find (80004)")) << command;
    }
}

TEST_F(TarnQueueUsage, NonsenseIsRefused) {
    expect_usage_error("queue", "a command is missing");
    expect_usage_error("queue clear", "clear");
    expect_usage_error("queue pop --wait soon", "\"soon\" is no number from 0 to 3600000");
    expect_usage_error("queue pop --wait 3600001", "--wait");
    expect_usage_error("queue pop --area 2", "--area");
    expect_usage_error("queue push --flag 256 1", "\"256\" is no number from 0 to 255");
    expect_usage_error("queue push --file x 1", "excludes");
    expect_usage_error("queue watch --interval-ms 0", "--interval-ms");
}

TEST_F(TarnQueueUsage, HelpHasExamples) {
    EXPECT_THAT(out("queue pop --help"), HasSubstr("tarn queue pop --newest"));
    EXPECT_THAT(out("queue push --help"), HasSubstr("--file outputs.bin"));
}

// ---- with a bus ---------------------------------------------------------------------------------

// Slaves 2 and 3 give their outputs back as inputs.
class TarnQueue : public TarnOnBus {
  protected:
    int fill(const char *queue) const {
        return static_cast<int>(json("queue size")[queue].number());
    }
};

TEST_F(TarnQueue, TheInputQueueFillsUpAndKeepsItsImages) {
    EXPECT_TRUE(eventually([this] { return fill("input") == kEntries; }));
    EXPECT_THAT(out("queue size"), HasSubstr("128 of 128, full"));
    EXPECT_EQ(json("queue size")["entries"].number(), kEntries);
}

TEST_F(TarnQueue, APopOfTheNewestTakesTheOlderOnesAlong) {
    ASSERT_TRUE(eventually([this] { return fill("input") == kEntries; }));
    out("stop"); // no image comes meanwhile
    EXPECT_EQ(json("queue pop --newest")["left"].number(), 0);
}

TEST_F(TarnQueue, PopsCarryWhatTheSlavesGave) {
    out("pi write --slave 2 0xa5f0");
    ASSERT_TRUE(prints_soon("pi read --slave 2", "0xa5f0"));
    EXPECT_TRUE(eventually(
        [this] { return out("queue pop --newest --slave 2 --wait 2000") == "0xa5f0\n"; }));
    EXPECT_EQ(out("pi read --slave 2 --area input"), "0xa5f0\n");
}

TEST_F(TarnQueue, AnOldImageStaysAheadOfNewerOnes) {
    ASSERT_TRUE(eventually([this] { return fill("input") == kEntries; }));
    out("pi write --slave 2 0x1234");
    ASSERT_TRUE(prints_soon("pi read --slave 2", "0x1234"));
    EXPECT_EQ(out("queue pop --slave 2"), "0x0000\n");
}

TEST_F(TarnQueue, PopsShowTypedValuesAndJson) {
    const JsonDocument image = json("queue pop --slave 1 --offset 4 --format i32");
    EXPECT_EQ(image["area"].text(), "input");
    EXPECT_EQ(image["values"].size(), 1);
    EXPECT_EQ(json("queue pop")["bits"].number(), 19 * 8);
}

TEST_F(TarnQueue, ImagesOfAStoppedBusCanBeTakenUntilThereAreNoMore) {
    out("stop");
    out("queue pop --newest");
    EXPECT_EQ(json("queue size")["input"].number(), 0);
    expect_failure("queue pop --wait 1", "(80003): no image came into the input queue within 1 ms");
}

TEST_F(TarnQueue, AWrongFormatTakesNoImage) {
    out("stop");
    const double images = fill("input");
    expect_usage_error("queue pop --length 3 --format i32", "no whole number of 32-bit values");
    EXPECT_EQ(fill("input"), images);
}

TEST_F(TarnQueue, DataOfASlaveThatIsNotReadyComesWithAWarning) {
    out("state --set SAFEOP");
    EXPECT_EQ(json("queue push --slave 2 1")["warning"]["code"].number(), 80015);
    EXPECT_EQ(json("queue pop --slave 2")["warning"]["code"].number(), 80015);
    EXPECT_THAT(tarn("queue push --slave 2 1").err,
                HasSubstr("(80015): the data was transferred all the same"));
}

TEST_F(TarnQueue, APushReachesTheSlave) {
    EXPECT_THAT(out("queue push --slave 2 0x00ff"), HasSubstr("Pushed 18 bytes with flag 0"));
    EXPECT_TRUE(prints_soon("pi read --slave 2", "0x00ff"));
    EXPECT_EQ(out("pi read --slave 2 --area output"), "0x00ff\n");
}

TEST_F(TarnQueue, APushTakesBytesOfAFile) {
    write_file("outputs.bin", std::string(18, '\x5a'));
    const JsonDocument pushed = json("queue push --file outputs.bin --flag 0x41");
    EXPECT_EQ(pushed["flag"].number(), 0x41);
    EXPECT_EQ(pushed["bytes"].number(), 18);
    EXPECT_TRUE(prints_soon("pi read --slave 2", "0x5a5a"));
}

TEST_F(TarnQueue, APushTakesStandardInput) {
    out("queue push --offset 0 --length 18 -", std::string(18, '\x11'));
    EXPECT_TRUE(prints_soon("pi read --slave 3", "0x1111"));
}

TEST_F(TarnQueue, APushWithoutValuesSendsTheImageAsItIs) {
    out("pi write --area output --slave 3 0x7e57");
    out("queue push");
    EXPECT_TRUE(prints_soon("pi read --slave 3", "0x7e57"));
}

TEST_F(TarnQueue, WhatDoesNotFitIsRefused) {
    write_file("long.bin", std::string(19, 'x'));
    write_file("empty.bin", "");
    expect_failure("queue push --file long.bin", "152 bits in the file for 144 bits of data");
    expect_failure("queue push --file empty.bin", "0 bits in the file");
    expect_failure("queue push --file none.bin", "(32848)");
    expect_failure("queue push --slave 2 1 2 3", "24 bits of values for 16 bits of data");
    expect_usage_error("queue push --slave 2 0x10000", "does not fit into 16 bits");
    expect_failure("queue pop --offset 19", "(34058)");
    expect_failure("queue push --slave 9 1", "(32778)");
}

TEST_F(TarnQueue, WatchShowsBothQueues) {
    const JsonDocument samples = json("queue watch --count 3 --interval-ms 1");
    ASSERT_EQ(samples.size(), 3);
    EXPECT_GE(samples[0]["input"].number(), 0);
    EXPECT_LE(samples[2]["output"].number(), kEntries);
    EXPECT_THAT(out("queue watch --count 1"), AllOf(HasSubstr("input "), HasSubstr("output ")));
}

// ---- without a bus ------------------------------------------------------------------------------

using TarnQueueWithoutBus = TarnWithCard;

TEST_F(TarnQueueWithoutBus, BothQueuesAreEmpty) {
    EXPECT_EQ(json("queue size")["input"].number(), 0);
    EXPECT_EQ(json("queue size")["output"].number(), 0);
}

TEST_F(TarnQueueWithoutBus, ImagesNeedABus) {
    expect_failure("queue pop", "start the bus first");
    expect_failure("queue push 1", "start the bus first");
}

} // namespace
