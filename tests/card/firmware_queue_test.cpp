// The card's ends of the two image queues, and the pace of its cycles.
#include "base/card_memory.h"
#include "card/firmware_bench.h"
#include "card/host_model.h"
#include "support/process.h"
#include "tarn_vcard/diagnostics.h"
#include "vcard/bus/make_eni.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tarn;
using test::Bytes;
using test::eventually;
using testing::HasSubstr;

namespace {

// The full input queue holds more than half a second of these: a test that must see each image has
// that long when the machine is busy.
constexpr uint32_t kSlowCycleUs = 5000;

class QueueTest : public testing::TestWithParam<uint32_t> {
  protected:
    void SetUp() override {
        vcard::CardConfig card;
        card.start_ms = 0;
        card.generation = GetParam();
        bench = std::make_unique<test::FirmwareBench>(card);
    }
    void run(uint32_t output_bytes = 0, uint32_t cycle_us = 200) {
        vcard::MakeEniOptions options;
        options.slaves = {{"dio16", 2}};
        options.cycle_us = cycle_us;
        options.output_bytes = output_bytes;
        ASSERT_EQ(bench->start(make_eni(options)), 0u);
        inputs_read = card::load32(&area().input_queue_read);
    }
    void stop() { ASSERT_EQ(bench->ask(10).status, 0u); }

    PiCardArea &area() { return *reinterpret_cast<PiCardArea *>(bench->area(0) + 803400); }
    vcard::Bus::PiStatus status() { return bench->firmware().pi_status(0); }

    void push(uint8_t value, uint8_t flag = 0) {
        const uint32_t write = card::load32(&area().output_queue_write);
        uint8_t *entry = area().output_queue[write % 128];
        memset(entry, value, 4095);
        entry[4095] = flag;
        card::store32(&area().output_queue_write, write + 1);
    }
    bool taken() {
        return eventually([this] {
            return card::load32(&area().output_queue_read) ==
                   card::load32(&area().output_queue_write);
        });
    }
    // The first byte of the next input image.
    uint8_t pop() {
        EXPECT_TRUE(
            eventually([this] { return card::load32(&area().input_queue_write) != inputs_read; }));
        const uint8_t value = area().input_queue[inputs_read % 128][0];
        card::store32(&area().input_queue_read, ++inputs_read);
        return value;
    }
    void pop_until(uint8_t value) {
        while (!HasFailure() && pop() != value) {
        }
    }
    // The first input image that shows an output.
    uint8_t pop_first() {
        uint8_t value = 0;
        while (!HasFailure() && value == 0) {
            value = pop();
        }
        return value;
    }
    bool inputs_full() {
        return eventually([this] { return status().inputs_dropped > 0; });
    }
    bool logs(const std::string &text) {
        return eventually([&] {
            bench->serve();
            return bench->logged(text);
        });
    }

    std::unique_ptr<test::FirmwareBench> bench;
    uint32_t inputs_read = 0;
};

TEST_P(QueueTest, EveryQueuedOutputImageCountsForOneCycleInOrder) {
    run(0, kSlowCycleUs);
    for (uint8_t value = 1; value <= 100; ++value) {
        push(value);
    }
    uint8_t value = pop_first();
    for (uint8_t expected = 1; expected <= 100; ++expected) {
        ASSERT_EQ(value, expected);
        value = pop();
    }
    EXPECT_EQ(status().outputs_taken, 100u);
}

TEST_P(QueueTest, WhenTheQueueRunsDryTheLastImageStays) {
    run();
    push(7);
    pop_until(7);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(pop(), 7);
    }
}

TEST_P(QueueTest, QueuedImagesComeBeforeFastOutputs) {
    run(0, kSlowCycleUs);
    test::HostOutputs fast(area(), GetParam());
    for (uint8_t value = 1; value <= 50; ++value) {
        push(value);
    }
    uint8_t image[4096];
    memset(image, 200, sizeof image);
    fast.publish(image, area().output_length);
    std::vector<uint8_t> seen;
    for (int round = 0; round < 1000 && seen.size() < 51 && !HasFailure(); ++round) {
        const uint8_t value = pop();
        if (value != 0 && (seen.empty() || seen.back() != value)) {
            seen.push_back(value);
        }
    }
    ASSERT_EQ(seen.size(), 51u);
    // The fast image may come before the first queued one was there, never between two.
    EXPECT_TRUE(seen.front() == 200 || seen.back() == 200);
    std::erase(seen, 200);
    ASSERT_EQ(seen.size(), 50u);
    for (uint8_t i = 0; i < 50; ++i) {
        EXPECT_EQ(seen[i], i + 1);
    }
}

TEST_P(QueueTest, AFullInputQueueKeepsTheOldestAndCountsWhatItDrops) {
    run();
    ASSERT_TRUE(inputs_full());
    EXPECT_EQ(card::load32(&area().input_queue_write) - card::load32(&area().input_queue_read),
              128u);
    EXPECT_EQ(status().input_queue, 128u);
    push(9);
    ASSERT_TRUE(taken());
    for (int i = 0; i < 128; ++i) {
        EXPECT_EQ(pop(), 0); // recorded before
    }
}

TEST_P(QueueTest, AQueueThatNobodyReadsIsNotListed) {
    run();
    ASSERT_TRUE(inputs_full());
    const Bytes request = {0x00, 0x10, 0, 0};
    EXPECT_TRUE(bench->request(0, false, 98, request).payload.empty());
}

TEST_P(QueueTest, AnOverrunIsListedOnceWhileItLasts) {
    run();
    ASSERT_TRUE(inputs_full());
    pop();
    const uint64_t dropped = status().inputs_dropped;
    ASSERT_TRUE(eventually([&] { return status().inputs_dropped > dropped; }));
    const Bytes request = {0x00, 0x10, 0, 0};
    const Bytes records = bench->request(0, false, 98, request).payload;
    ASSERT_EQ(records.size(), sizeof(VcardErrorRecord));
    EXPECT_EQ(test::value_of<VcardErrorRecord>(records).kind, VCARD_ERROR_QUEUE_FULL);
}

TEST_P(QueueTest, ImpossibleOutputCountersBeginTheQueueAnew) {
    run();
    card::store32(&area().output_queue_write, 1000);
    EXPECT_TRUE(logs("output queue: impossible counters"));
    EXPECT_EQ(card::load32(&area().output_queue_read), 1000u);
    push(5);
    pop_until(5);
    EXPECT_EQ(status().queue_restarts, 1u);
}

TEST_P(QueueTest, ImpossibleInputCountersBeginTheQueueAnew) {
    run();
    inputs_read = card::load32(&area().input_queue_write) + 1000;
    card::store32(&area().input_queue_read, inputs_read);
    EXPECT_TRUE(logs("input queue: impossible counters"));
    push(5);
    pop_until(5);
    EXPECT_EQ(status().queue_restarts, 1u);
}

TEST_P(QueueTest, TheFlagOfTheLastQueuedImageIsShown) {
    run();
    push(1, 0x55);
    ASSERT_TRUE(taken());
    EXPECT_EQ(status().output_flag, 0x55);
    EXPECT_THAT(bench->firmware().describe(), HasSubstr("last flag 85"));
}

TEST_P(QueueTest, AnImageOfAWholeEntryHasNoFlag) {
    run(4096);
    push(1, 0x55);
    ASSERT_TRUE(taken());
    EXPECT_EQ(status().output_flag, 0);
}

TEST_P(QueueTest, ABusStartBeginsBothQueuesEmpty) {
    run();
    ASSERT_TRUE(inputs_full());
    stop();
    push(3);
    run(0, 100000); // few cycles
    EXPECT_LT(status().input_queue, 100u);
    EXPECT_EQ(status().outputs_taken, 0u);
    EXPECT_EQ(status().inputs_dropped, 0u);
}

TEST_P(QueueTest, CountersRunOnAcrossTheirWrap) {
    area().input_queue_read = area().input_queue_write = 0xFFFFFFF0;
    area().output_queue_read = area().output_queue_write = 0xFFFFFFF0;
    run(0, kSlowCycleUs);
    for (uint8_t value = 1; value <= 40; ++value) {
        push(value);
    }
    uint8_t value = pop_first();
    for (uint8_t expected = 1; expected <= 40; ++expected) {
        ASSERT_EQ(value, expected);
        value = pop();
    }
}

TEST_P(QueueTest, LostCycleInterruptsAreNotRaised) {
    run();
    const auto count = [this] {
        const auto all = bench->interrupts();
        return std::count(all.begin(), all.end(), 2u);
    };
    bench->firmware().faults().lose_cycle_interrupts = 1000000;
    ASSERT_TRUE(eventually([&] { // the one that may be under way
        return bench->firmware().faults().lose_cycle_interrupts < 1000000;
    }));
    const auto before = count();
    const uint32_t left = bench->firmware().faults().lose_cycle_interrupts;
    ASSERT_TRUE(
        eventually([&] { return bench->firmware().faults().lose_cycle_interrupts + 10 < left; }));
    EXPECT_EQ(count(), before);
    bench->firmware().faults().lose_cycle_interrupts = 0;
    EXPECT_TRUE(eventually([&] { return count() > before; }));
}

// The clock that the cycles follow is absolute: cycles made and left out add up to the time.
TEST_P(QueueTest, CyclesMadeAndLeftOutKeepUpWithTheClock) {
    const auto begin = std::chrono::steady_clock::now();
    run(0, 100);
    const auto cycles = [this] {
        const uint64_t made = card::load32(&area().input_queue_write);
        return made + status().inputs_dropped + status().cycles_left_out;
    };
    ASSERT_TRUE(eventually([&] { return cycles() >= 3000; }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(290));
}

INSTANTIATE_TEST_SUITE_P(Generations, QueueTest, testing::Values(1u, 2u));

} // namespace
