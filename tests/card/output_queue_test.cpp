// Whole output images through the card's queue. The bus does not run, so that nothing drains it.
#include "card/pi_fixture.h"

#include <thread>

namespace {

using namespace tarn;
using tarn::test::Bytes;

class OutputQueue : public test::PiTest {
  protected:
    void SetUp() override {
        open();
        use_length(16);
        set_counters(0, 0);
    }

    void use_length(uint32_t bytes) { card().output_length = bytes; }
    void set_counters(uint32_t read, uint32_t write) {
        card().output_queue_read = read;
        card().output_queue_write = write;
    }
    uint32_t written() { return __atomic_load_n(&card().output_queue_write, __ATOMIC_ACQUIRE); }
    void fill_cache(uint8_t value) { memset(handle_->normal_output_cache, value, kImageBytes); }
};

TEST_F(OutputQueue, APushStoresImageFlagAndCounters) {
    fill_cache(0x42);
    memset(card().output_queue[0], 0xEE, kPhysicalBytes);
    const uint32_t accesses = card().access_counter;
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 0x99, 0), 0u);
    EXPECT_EQ(bytes_at(card().output_queue[0], 16), Bytes(16, 0x42));
    EXPECT_EQ(card().output_queue[0][16], 0xEE);
    EXPECT_EQ(card().output_queue[0][4094], 0xEE);
    EXPECT_EQ(card().output_queue[0][4095], 0x99);
    EXPECT_EQ(card().output_queue_write, 1u);
    EXPECT_EQ(card().output_queue_read, 0u);
    EXPECT_EQ(card().access_counter, accesses + 1);
}

TEST_F(OutputQueue, PushesFollowEachOther) {
    for (uint8_t i = 0; i < 3; ++i) {
        fill_cache(i);
        EXPECT_EQ(EcatPIOutputQueuePush(handle_, i, 0), 0u);
    }
    for (uint8_t i = 0; i < 3; ++i) {
        EXPECT_EQ(card().output_queue[i][0], i);
        EXPECT_EQ(card().output_queue[i][4095], i);
    }
}

TEST_F(OutputQueue, AnImageOfAWholeEntryTakesTheFlagsPlace) {
    use_length(4096);
    fill_cache(0x42);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 0x99, 0), 0u);
    EXPECT_EQ(card().output_queue[0][4095], 0x42);
}

TEST_F(OutputQueue, AnImageLongerThanAnEntryIsCutToIt) {
    use_length(0xFFFFFFFF);
    fill_cache(0x42);
    memset(card().output_queue[1], 0xEE, 16);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 0x99, 0), 0u);
    EXPECT_EQ(card().output_queue[0][4095], 0x42);
    EXPECT_EQ(card().output_queue[1][0], 0xEE);
}

TEST_F(OutputQueue, TheCardSaysHowLongAnEntryIs) {
    __set_pi_area_complete_info_pdo_len(handle_, ECAT_PI_NORMAL_OUTPUT, 100);
    use_length(2);
    fill_cache(0x42);
    memset(card().output_queue[0], 0xEE, 16);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 0, 0), 0u);
    EXPECT_EQ(card().output_queue[0][1], 0x42);
    EXPECT_EQ(card().output_queue[0][2], 0xEE);
}

TEST_F(OutputQueue, AFullQueueTimesOut) {
    set_counters(10, 138);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 1, 0), 80011u);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 1, 10), 80011u);
    EXPECT_EQ(card().output_queue_write, 138u);
}

TEST_F(OutputQueue, ATimeOutOfZeroStillTriesOnce) {
    set_counters(11, 138); // one entry free
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 1, 0), 0u);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 1, 0), 80011u);
}

TEST_F(OutputQueue, AFailedPushIsNoAccess) {
    set_counters(0, 128);
    const uint32_t accesses = card().access_counter;
    EcatPIOutputQueuePush(handle_, 1, 0);
    EXPECT_EQ(card().access_counter, accesses);
}

TEST_F(OutputQueue, APushWaitsForAnEntryToBecomeFree) {
    set_counters(0, 128);
    std::thread drain([this] {
        __usleep_window(20000);
        __atomic_store_n(&card().output_queue_read, 1U, __ATOMIC_RELEASE);
    });
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 1, 60000), 0u);
    drain.join();
    EXPECT_EQ(written(), 129u);
}

TEST_F(OutputQueue, EntriesAreTakenModuloOneHundredAndTwentyEight) {
    set_counters(128, 129);
    fill_cache(0x42);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 7, 0), 0u);
    EXPECT_EQ(card().output_queue[1][0], 0x42);
    EXPECT_EQ(card().output_queue[1][4095], 7);
}

TEST_F(OutputQueue, CountersWrap) {
    set_counters(0xFFFFFFF0, 0xFFFFFFFF);
    fill_cache(0x42);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 7, 0), 0u);
    EXPECT_EQ(card().output_queue[127][0], 0x42);
    EXPECT_EQ(card().output_queue_write, 0u);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 7, 0), 0u);
    EXPECT_EQ(card().output_queue[0][0], 0x42);
    set_counters(0xFFFFFFC0, 0x00000040);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 7, 0), 80011u);
}

TEST_F(OutputQueue, AMappedImageIsConvertedFirst) {
    use_tables({{0, 8, 80}, {8, 8, 0}}, {}, 2, true);
    use_length(2);
    handle_->normal_output_cache[10] = 0x11; // slave 0
    handle_->normal_output_cache[0] = 0x22;  // slave 1
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 0, 0), 0u);
    EXPECT_EQ(bytes_at(card().output_queue[0], 2), (Bytes{0x11, 0x22}));
    EXPECT_EQ(bytes_at(handle_->normal_output_buffer, 2), (Bytes{0x11, 0x22}));
}

TEST_F(OutputQueue, TheConversionRunsOnceBeforeTheWait) {
    use_tables({{0, 8, 80}}, {}, 1, true);
    set_counters(0, 128);
    handle_->normal_output_cache[10] = 0x11;
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 0, 0), 80011u);
    EXPECT_EQ(handle_->normal_output_buffer[0], 0x11);
}

TEST_F(OutputQueue, WithoutMappingTheCacheGoesAsItIs) {
    fill_cache(0x42);
    memset(handle_->normal_output_buffer, 0x66, kPhysicalBytes);
    EXPECT_EQ(EcatPIOutputQueuePush(handle_, 0, 0), 0u);
    EXPECT_EQ(card().output_queue[0][0], 0x42);
}

TEST_F(OutputQueue, TheSizeIsWhatTheBusHasNotTakenYet) {
    uint32_t count = 7;
    EXPECT_EQ(EcatPIOutputQueueSize(handle_, &count), 0u);
    EXPECT_EQ(count, 0u);
    EcatPIOutputQueuePush(handle_, 0, 0);
    EcatPIOutputQueuePush(handle_, 0, 0);
    EXPECT_EQ(EcatPIOutputQueueSize(handle_, &count), 0u);
    EXPECT_EQ(count, 2u);
    set_counters(0xFFFFFFC0, 0x00000040);
    EXPECT_EQ(EcatPIOutputQueueSize(handle_, &count), 0u);
    EXPECT_EQ(count, 128u);
}

} // namespace
