// Whole input images out of the card's queue. Where the bus does not run, the test puts them in.
#include "card/pi_fixture.h"
#include "support/process.h"
#include "support/thread_rights.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using namespace tarn;
using tarn::test::Bytes;

class InputQueue : public test::PiTest {
  protected:
    static inline std::vector<uint32_t> asked; // of the wake-up function
    static inline uint32_t wakeup_result;

    void SetUp() override {
        open();
        use_length(16);
        set_counters(0, 0);
        memset(handle_->normal_input_cache, 0xCC, kImageBytes);
    }

    void use_length(uint32_t bytes) { card().input_length = bytes; }
    void set_counters(uint32_t read, uint32_t write) {
        card().input_queue_read = read;
        card().input_queue_write = write;
    }
    uint32_t counted() const { return card().input_queue_read; }

    // One image after the other, as the card records them.
    void record(uint8_t value) {
        const uint32_t write = card().input_queue_write;
        memset(card().input_queue[write % 128], value, kPhysicalBytes);
        __atomic_store_n(&card().input_queue_write, write + 1, __ATOMIC_RELEASE);
    }
    void record(std::initializer_list<uint8_t> values) {
        for (const uint8_t value : values) {
            record(value);
        }
    }

    uint32_t pop(uint8_t newest = 0, uint32_t timeout_ms = 0) {
        return EcatPIInputQueuePop(handle_, newest, timeout_ms);
    }
    uint8_t seen() const { return handle_->normal_input_cache[0]; }

    void use_wakeup(uint32_t result) {
        asked.clear();
        wakeup_result = result;
        handle_->async.wakeup = [](EcatHandle *, uint32_t timeout_ms) -> uint32_t {
            asked.push_back(timeout_ms);
            __usleep_window(1000);
            return wakeup_result;
        };
    }
    void use_wakeup_with_an_image() {
        asked.clear();
        handle_->async.wakeup = [](EcatHandle *handle, uint32_t timeout_ms) -> uint32_t {
            asked.push_back(timeout_ms);
            ++tarn::pi_card_area(*handle)->input_queue_write;
            return 0;
        };
    }

    static uint64_t number_after(const std::string &text, const std::string &word) {
        return std::stoull(text.substr(text.find(word) + word.size()));
    }
};

TEST_F(InputQueue, APopTakesTheOldestImageAndCountsItAsRead) {
    record({1, 2});
    EXPECT_EQ(EcatPIInputQueuePop_US(handle_, 0, 0), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_input_cache, 16), Bytes(16, 1));
    EXPECT_EQ(handle_->normal_input_cache[16], 0xCC);
    EXPECT_EQ(counted(), 1u);
    EXPECT_EQ(card().input_queue_write, 2u);
}

TEST_F(InputQueue, APopInMillisecondsTakesTheOldestImage) {
    record({1, 2});
    EXPECT_EQ(EcatPIInputQueuePop(handle_, 0, 0), 0u);
    EXPECT_EQ(seen(), 1);
    EXPECT_EQ(counted(), 1u);
}

TEST_F(InputQueue, ThePoppedImageIsReadFromTheNormalInputs) {
    use_tables({}, {{0, 64, 0}}, 8, false);
    set_all_active();
    record(0x42);
    EXPECT_EQ(pop(), 0u);
    uint8_t value = 0;
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 7, 1, &value), 0u);
    EXPECT_EQ(value, 0x42);
}

TEST_F(InputQueue, ImagesComeInTheOrderOfTheirCycles) {
    record({1, 2, 3});
    for (uint8_t value = 1; value <= 3; ++value) {
        EXPECT_EQ(pop(), 0u);
        EXPECT_EQ(seen(), value);
    }
    EXPECT_EQ(pop(), 80003u);
}

TEST_F(InputQueue, TheNewestOfThreeEmptiesTheQueue) {
    record({1, 2, 3});
    EXPECT_EQ(pop(1), 0u);
    EXPECT_EQ(seen(), 3);
    EXPECT_EQ(counted(), 3u);
    EXPECT_EQ(pop(1), 80003u);
}

TEST_F(InputQueue, AnyFlagButZeroIsTheNewest) {
    record({1, 2, 3});
    EXPECT_EQ(pop(0xFF), 0u);
    EXPECT_EQ(seen(), 3);
}

TEST_F(InputQueue, EntriesAreTakenModuloOneHundredAndTwentyEight) {
    set_counters(128 + 5, 128 + 5);
    record(0x42);
    EXPECT_EQ(card().input_queue[5][0], 0x42);
    EXPECT_EQ(pop(), 0u);
    EXPECT_EQ(seen(), 0x42);
    EXPECT_EQ(counted(), 134u);
}

TEST_F(InputQueue, CountersWrap) {
    set_counters(0xFFFFFFFF, 0xFFFFFFFF);
    record({1, 2});
    uint32_t count = 0;
    EcatPIInputQueueSize(handle_, &count);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(pop(), 0u);
    EXPECT_EQ(seen(), 1);
    EXPECT_EQ(counted(), 0u);
    EXPECT_EQ(pop(), 0u);
    EXPECT_EQ(seen(), 2);
    EXPECT_EQ(counted(), 1u);
}

TEST_F(InputQueue, TheNewestBeforeTheWrapIsTheLastEntry) {
    set_counters(0xFFFFFFFE, 0xFFFFFFFE);
    record({1, 2});
    EXPECT_EQ(pop(1), 0u);
    EXPECT_EQ(seen(), 2);
    EXPECT_EQ(counted(), 0u);
}

TEST_F(InputQueue, AnImageLongerThanAnEntryIsCutToIt) {
    use_length(0xFFFFFFFF);
    record({1, 2});
    EXPECT_EQ(pop(), 0u);
    EXPECT_EQ(handle_->normal_input_cache[4095], 1);
    EXPECT_EQ(handle_->normal_input_cache[4096], 0xCC);
}

TEST_F(InputQueue, AnImageOfNoLengthIsCountedAsRead) {
    use_length(0);
    record(1);
    EXPECT_EQ(pop(), 0u);
    EXPECT_EQ(seen(), 0xCC);
    EXPECT_EQ(counted(), 1u);
}

TEST_F(InputQueue, TheCardSaysHowLongAnEntryIs) {
    __set_pi_area_complete_info_pdo_len(handle_, ECAT_PI_NORMAL_INPUT, 100);
    use_length(2);
    record(1);
    EXPECT_EQ(pop(), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_input_cache, 3), (Bytes{1, 1, 0xCC}));
}

TEST_F(InputQueue, WithoutMappingTheBufferIsLeftAlone) {
    memset(handle_->normal_input_buffer, 0x66, kPhysicalBytes);
    record(1);
    EXPECT_EQ(pop(), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_input_buffer, 16), Bytes(16, 0x66));
}

TEST_F(InputQueue, AMappedImageIsConvertedAfterwards) {
    use_tables({}, {{0, 8, 80}, {8, 8, 0}}, 2, true);
    use_length(2);
    card().input_queue[0][0] = 0x11; // slave 0
    card().input_queue[0][1] = 0x22; // slave 1
    card().input_queue_write = 1;
    EXPECT_EQ(pop(), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_input_buffer, 2), (Bytes{0x11, 0x22}));
    EXPECT_EQ(handle_->normal_input_cache[10], 0x11);
    EXPECT_EQ(handle_->normal_input_cache[0], 0x22);
}

TEST_F(InputQueue, TheHostWritesItsOwnCounterOnly) {
    record({1, 2});
    const uint32_t accesses = card().access_counter;
    pop();
    EXPECT_EQ(card().input_queue_write, 2u);
    EXPECT_EQ(card().output_queue_read, card().output_queue_write);
    EXPECT_EQ(card().access_counter, accesses);
}

// ---- an empty queue ---------------------------------------------------------------------------

TEST_F(InputQueue, AnEmptyQueueTimesOutAtOnceWithTheTimes) {
    const test::StdoutCapture capture;
    const uint64_t before = get_tick_ns();
    EXPECT_EQ(pop(), 80003u);
    const std::string text = capture.text();
    EXPECT_EQ(text.rfind("[EcatPIInputQueuePop_US:3627]timeout(0 ns) start:", 0), 0u) << text;
    EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
    const uint64_t start = number_after(text, "start:");
    const uint64_t now = number_after(text, ", cur:");
    EXPECT_GE(start, before);
    EXPECT_GE(now, start);
    EXPECT_EQ(text, "[EcatPIInputQueuePop_US:3627]timeout(0 ns) start:" + std::to_string(start) +
                        ", cur:" + std::to_string(now) + "\r\n");
}

TEST_F(InputQueue, MillisecondsArePrintedInNanoseconds) {
    const test::StdoutCapture capture;
    EXPECT_EQ(pop(0, 7), 80003u);
    EXPECT_NE(capture.text().find("]timeout(7000000 ns)"), std::string::npos);
}

TEST_F(InputQueue, MicrosecondsArePrintedInNanoseconds) {
    const test::StdoutCapture capture;
    EXPECT_EQ(EcatPIInputQueuePop_US(handle_, 0, 1500), 80003u);
    const std::string text = capture.text();
    EXPECT_NE(text.find("]timeout(1500000 ns)"), std::string::npos);
    EXPECT_GE(number_after(text, ", cur:") - number_after(text, "start:"), 1500000u);
}

TEST_F(InputQueue, TheWakeUpGetsWholeMilliseconds) {
    use_wakeup_with_an_image();
    EXPECT_EQ(EcatPIInputQueuePop_US(handle_, 0, 60000999), 0u);
    EXPECT_EQ(pop(0, 60001), 0u);
    EXPECT_EQ(asked, (std::vector<uint32_t>{60000, 60001}));
}

TEST_F(InputQueue, TheLongestTimeOutsDoNotWrap) {
    use_wakeup_with_an_image();
    EXPECT_EQ(EcatPIInputQueuePop(handle_, 0, 0xFFFFFFFF), 0u);
    EXPECT_EQ(EcatPIInputQueuePop_US(handle_, 0, UINT64_MAX), 0u);
    EXPECT_EQ(asked, (std::vector<uint32_t>{0xFFFFFFFF, 0xFFFFFFFF}));
}

TEST_F(InputQueue, AWakeUpThatTimesOutSaysSoAndTheWaitGoesOn) {
    const test::StdoutCapture capture;
    use_wakeup(258);
    EXPECT_EQ(pop(0, 500), 80003u);
    const std::string text = capture.text();
    EXPECT_EQ(text.rfind("timeout\r\n", 0), 0u);
    EXPECT_NE(text.find("\r\n[EcatPIInputQueuePop_US:3627]timeout(500000000 ns)"),
              std::string::npos);
    EXPECT_GT(asked.size(), 1u);
}

TEST_F(InputQueue, AWakeUpWithoutAnImageSaysNothing) {
    const test::StdoutCapture capture;
    use_wakeup(0);
    EXPECT_EQ(pop(0, 10), 80003u);
    EXPECT_EQ(capture.text().rfind("[EcatPIInputQueuePop_US", 0), 0u);
}

TEST_F(InputQueue, LessThanAMillisecondIsWaitedForToo) {
    // On a busy machine the time may be over before the first look: then nothing is waited for.
    EXPECT_TRUE(test::eventually([this] {
        const test::StdoutCapture capture;
        const uint64_t before = get_tick_ns();
        EXPECT_EQ(EcatPIInputQueuePop_US(handle_, 0, 900), 80003u);
        EXPECT_GE(get_tick_ns() - before, 900000u);
        return capture.text().rfind("timeout\r\n", 0) == 0;
    }));
}

TEST_F(InputQueue, AnImageEndsTheWait) {
    use_wakeup(0);
    std::thread card([this] {
        __usleep_window(20000);
        record(0x42);
    });
    EXPECT_EQ(pop(0, 60000), 0u);
    card.join();
    EXPECT_EQ(seen(), 0x42);
}

TEST_F(InputQueue, AnImageThatIsThereNeedsNoWakeUp) {
    use_wakeup(0);
    record(1);
    EXPECT_EQ(pop(0, 60000), 0u);
    EXPECT_TRUE(asked.empty());
}

TEST_F(InputQueue, NoTwoThreadsTakeTheSameImage) {
    card().input_queue_write = 100;
    std::atomic<uint32_t> taken = 0;
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n) {
        threads.emplace_back([&] {
            while (pop() == 0) {
                ++taken;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(taken, 100u);
    EXPECT_EQ(counted(), 100u);
}

// ---- sizes ------------------------------------------------------------------------------------

TEST_F(InputQueue, TheSizeIsWhatHasNotBeenRead) {
    uint32_t count = 7;
    EXPECT_EQ(EcatPIInputQueueSize(handle_, &count), 0u);
    EXPECT_EQ(count, 0u);
    record({1, 2, 3});
    EXPECT_EQ(EcatPIInputQueueSize(handle_, &count), 0u);
    EXPECT_EQ(count, 3u);
    pop();
    EXPECT_EQ(EcatPIInputQueueSize(handle_, &count), 0u);
    EXPECT_EQ(count, 2u);
}

TEST_F(InputQueue, ArgumentsAreChecked) {
    uint32_t count = 7;
    EXPECT_EQ(EcatPIInputQueueSize(nullptr, &count), 80013u);
    EXPECT_EQ(EcatPIInputQueueSize(nullptr, nullptr), 80013u);
    EXPECT_EQ(EcatPIInputQueueSize(handle_, nullptr), 32770u);
    EXPECT_EQ(EcatPIOutputQueueSize(nullptr, &count), 80013u);
    EXPECT_EQ(EcatPIOutputQueueSize(nullptr, nullptr), 80013u);
    EXPECT_EQ(EcatPIOutputQueueSize(handle_, nullptr), 32770u);
    EXPECT_EQ(EcatPIInputQueuePop(nullptr, 0, 1000), 80013u);
    EXPECT_EQ(EcatPIInputQueuePop_US(nullptr, 1, 1000), 80013u);
    EXPECT_EQ(count, 7u);
}

// ---- a running bus ----------------------------------------------------------------------------

class RunningQueue : public test::PiTest, public testing::WithParamInterface<uint32_t> {
  protected:
    void SetUp() override {
        open();
        vcard::MakeEniOptions options;
        options.slaves = {{"dio8", 4}};
        ASSERT_EQ(EcatBusRun(handle_, write_eni(vcard::make_eni(options))), 0u);
        ASSERT_EQ(EcatRequestMasterState(handle_, ECAT_STATE_OP), 0u);
        ASSERT_EQ(EcatPIASyncModeSet(handle_, GetParam()), 0u);
    }
    void TearDown() override {
        EcatClose(handle_);
        handle_ = nullptr;
    }
    test::RealtimeAnswer realtime_{true};
};

INSTANTIATE_TEST_SUITE_P(Modes, RunningQueue, testing::Values(0U, 1U, 2U));

TEST_P(RunningQueue, EveryCycleBringsAnImage) {
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(EcatPIInputQueuePop(handle_, 0, 60000), 0u);
    }
}

TEST_P(RunningQueue, APushedImageComesBackThroughTheInputQueue) {
    for (uint8_t value = 1; value < 10; ++value) {
        handle_->normal_output_cache[0] = value;
        ASSERT_EQ(EcatPIOutputQueuePush(handle_, 0, 60000), 0u);
        do {
            ASSERT_EQ(EcatPIInputQueuePop(handle_, 0, 60000), 0u);
        } while (handle_->normal_input_cache[0] != value);
    }
}

} // namespace
