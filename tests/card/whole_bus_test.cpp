// The main line on the virtual card: a configuration is started, data is exchanged, the bus is
// stopped; with every ENI file at hand, with the largest bus, and a thousand times over.
#include "layout/shared_memory_map.h"
#include "pci_tarn/pci_tarn.h"
#include "support/process.h"
#include "support/this_process.h"
#include "support/virtual_card.h"
#include "tarn_vcard/records.h"
#include "vcard/bus/make_eni.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <numeric>
#include <sstream>
#include <thread>

namespace {

using namespace tarn;
namespace fs = std::filesystem;

// Other people's files lie in the folder that TARN_ENI_DIR names; our own are always there. To be
// called in the folder that the program was started in.
std::vector<fs::path> eni_files() {
    std::vector<fs::path> files;
    const char *folder = std::getenv("TARN_ENI_DIR");
    for (const fs::path &place :
         {test::source_path("examples/eni"), fs::path(folder != nullptr ? folder : "")}) {
        if (!place.empty() && fs::is_directory(place)) {
            for (const auto &entry : fs::directory_iterator(place)) {
                if (entry.path().extension() == ".xml") {
                    files.push_back(fs::absolute(entry.path()));
                }
            }
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void write_file(const fs::path &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

// The thread sanitizer makes a request many times as slow; it looks for races, not for wraps. So
// does Wine, where one ring is enough for the wrap.
bool under_thread_sanitizer() {
    return std::string(TARN_SANITIZE).find("thread") != std::string::npos;
}

struct Channel {
    EcatHandle *handle = nullptr;

    explicit Channel(const char *name, uint32_t channel = 0) {
        EXPECT_EQ(EcatOpen(&handle, name, channel), 0U);
    }
    ~Channel() { EcatClose(handle); }
    Channel(const Channel &) = delete;
    Channel &operator=(const Channel &) = delete;
    operator EcatHandle *() const { return handle; }
};

// The place of a slave's data, as the firmware gives it.
struct Region {
    uint16_t bits = 0;
    uint16_t offset = 0;
};

Region outputs_of(EcatHandle *handle, uint16_t slave) {
    Region region;
    return EcatGetSlavePIOutputsInfo(handle, slave, &region.bits, &region.offset) == 0 ? region
                                                                                       : Region{};
}

void start_exchange_stop(EcatHandle *handle, const fs::path &file) {
    SCOPED_TRACE(file.filename().string());
    ASSERT_EQ(EcatBusRun(handle, file.string().c_str()), 0U);
    EXPECT_TRUE(EcatBusIsRunning(handle));
    uint16_t count = 0;
    ASSERT_EQ(EcatGetSlaveCount(handle, &count), 0U);
    ASSERT_GT(count, 0);
    uint8_t state = 0;
    ASSERT_EQ(EcatGetMasterState(handle, &state), 0U);
    EXPECT_EQ(state, ECAT_STATE_OP);
    EniInfo eni = {};
    ASSERT_EQ(EcatGetEniInfo(handle, &eni), 0U);

    // What is written into the outputs arrives where the slaves hold them.
    const uint32_t length = std::min<uint32_t>(eni.output_length, 4096);
    for (uint8_t round = 1; round <= 2; ++round) {
        std::vector<uint8_t> outputs(length, 0);
        for (uint16_t slave = 0; slave < count; ++slave) {
            const Region region = outputs_of(handle, slave);
            for (uint32_t bit = region.offset; bit < uint32_t{region.offset} + region.bits; ++bit) {
                if ((bit + round) % 3 == 0) {
                    outputs[bit / 8] = static_cast<uint8_t>(outputs[bit / 8] | 1U << (bit % 8));
                }
            }
        }
        EXPECT_EQ(EcatPIWrite(handle, ECAT_PI_FAST_OUTPUT, 0, length, outputs.data()), 0U);
        std::vector<uint8_t> held(length, 0xFF);
        EXPECT_TRUE(test::eventually([&] {
            EcatPIRead(handle, ECAT_PI_CARD_AREA, 0, length, held.data());
            return held == outputs;
        }));
    }

    // Every slave is in OP and says so in each way there is.
    EXPECT_TRUE(test::eventually(
        [&] { return EcatSlaveIsReady(handle, static_cast<uint16_t>(count - 1)); }));
    std::vector<uint8_t> inputs(std::min<uint32_t>(eni.input_length, 4096));
    EXPECT_EQ(EcatPIRead(handle, ECAT_PI_SHADOW_INPUT, 0, static_cast<uint32_t>(inputs.size()),
                         inputs.data()),
              0U);
    std::vector<uint8_t> states(count);
    ASSERT_EQ(EcatGetSlaveStateEx(handle, count, states.data()), 0U);
    EXPECT_EQ(states, std::vector<uint8_t>(count, ECAT_STATE_OP));

    EXPECT_EQ(EcatBusStop(handle), 0U);
    EXPECT_FALSE(EcatBusIsRunning(handle));
}

void run_all_files(uint32_t generation) {
    vcard::CardConfig config = test::VirtualCards::default_card();
    config.generation = generation;
    const std::vector<fs::path> files = eni_files();
    ASSERT_FALSE(files.empty());
    const test::VirtualCards cards({config});
    const Channel channel("ID0");
    for (const fs::path &file : files) {
        start_exchange_stop(channel, file);
    }
}

TEST(WholeBus, EveryEniFileStartsExchangesAndStopsInTheFirstGeneration) {
    run_all_files(1);
}

TEST(WholeBus, EveryEniFileStartsExchangesAndStopsInTheSecondGeneration) {
    run_all_files(2);
}

TEST(WholeBus, BothChannelsRunBesideEachOther) {
    const test::VirtualCards cards;
    const Channel first("ID0", 0);
    const Channel second("ID0", 1);
    write_file("one.xml", vcard::make_eni({.slaves = {{"dio8", 1}}}));
    write_file("three.xml", vcard::make_eni({.slaves = {{"dio8", 3}}}));
    ASSERT_EQ(EcatBusRun(first, "one.xml"), 0U);
    ASSERT_EQ(EcatBusRun(second, "three.xml"), 0U);
    uint16_t count = 0;
    EXPECT_EQ(EcatGetSlaveCount(first, &count), 0U);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(EcatGetSlaveCount(second, &count), 0U);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(EcatBusStop(first), 0U);
    EXPECT_TRUE(EcatBusIsRunning(second));
    EXPECT_EQ(EcatBusStop(second), 0U);
}

TEST(WholeBus, DigitalOutputsComeBackAsInputs) {
    const test::VirtualCards cards;
    const Channel channel("ID0");
    write_file("io.xml", vcard::make_eni({.slaves = {{"dio8", 4}}}));
    ASSERT_EQ(EcatBusRun(channel, "io.xml"), 0U);
    const uint8_t outputs[4] = {0x11, 0x82, 0x43, 0xF4};
    ASSERT_EQ(EcatPIWrite(channel, ECAT_PI_FAST_OUTPUT, 0, 4, outputs), 0U);
    uint8_t inputs[4] = {};
    EXPECT_TRUE(test::eventually([&] {
        EcatPIRead(channel, ECAT_PI_SHADOW_INPUT, 0, 4, inputs);
        return std::equal(std::begin(inputs), std::end(inputs), std::begin(outputs));
    }));
    EXPECT_EQ(EcatBusStop(channel), 0U);
}

TEST(WholeBus, DigitalOutputsComeBackAsInputsThroughALogicalMapping) {
    const test::VirtualCards cards;
    const Channel channel("ID0");
    write_file("io.xml",
               vcard::make_eni(
                   {.slaves = {{"dio8", 4}}, .logical_mapping = true, .reversed_mapping = true}));
    ASSERT_EQ(EcatBusRun(channel, "io.xml"), 0U);
    for (uint16_t slave = 0; slave < 4; ++slave) {
        const auto value = static_cast<uint8_t>(0x30 + slave);
        ASSERT_EQ(EcatSlavePIWrite(channel, ECAT_PI_FAST_OUTPUT, slave, 1, &value), 0U);
    }
    // Logical addresses run against the order of the slaves.
    uint8_t image[4] = {};
    ASSERT_EQ(EcatPIRead(channel, ECAT_PI_FAST_OUTPUT, 0, 4, image), 0U);
    EXPECT_EQ(image[0], 0x33);
    EXPECT_EQ(image[3], 0x30);
    for (uint16_t slave = 0; slave < 4; ++slave) {
        uint8_t value = 0;
        EXPECT_TRUE(test::eventually([&] {
            EcatSlavePIRead(channel, ECAT_PI_SHADOW_INPUT, slave, 1, &value);
            return value == 0x30 + slave;
        })) << slave;
    }
    EXPECT_EQ(EcatBusStop(channel), 0U);
}

TEST(WholeBus, TheLargestBusStartsAndExchanges) {
    const test::VirtualCards cards;
    const Channel channel("ID0");
    // 8 bits each way per slave fill physical images of 4,096 bytes.
    write_file("large.xml",
               vcard::make_eni(
                   {.slaves = {{"dio8", 4096}}, .logical_mapping = true, .logical_bytes = 8192}));
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(EcatBusRun(channel, "large.xml"), 0U);
    const auto end = std::chrono::steady_clock::now();
    std::printf("[ 4,096 slaves started in %lld ms ]\n",
                static_cast<long long>(
                    std::chrono::duration_cast<std::chrono::milliseconds>(end - begin).count()));

    uint16_t count = 0;
    ASSERT_EQ(EcatGetSlaveCount(channel, &count), 0U);
    EXPECT_EQ(count, 4096);
    const auto *info = static_cast<const PiInfo *>(__EcatGetPiInfo(channel));
    ASSERT_NE(info, nullptr);
    for (const PiDirection &direction : info->direction) {
        EXPECT_EQ(direction.physical_length, 4096U);
        EXPECT_EQ(direction.logical_length, 8192U);
        EXPECT_EQ(direction.entry_count, 4096U);
    }
    EniInfo eni = {};
    ASSERT_EQ(EcatGetEniInfo(channel, &eni), 0U);
    EXPECT_EQ(eni.output_length, 8192U);
    EXPECT_EQ(eni.input_length, 8192U);

    for (const uint16_t slave : {uint16_t{0}, uint16_t{1}, uint16_t{2047}, uint16_t{4094}}) {
        const auto value = static_cast<uint8_t>(slave % 200 + 7);
        ASSERT_EQ(EcatSlavePIWrite(channel, ECAT_PI_FAST_OUTPUT, slave, 1, &value), 0U) << slave;
        uint8_t back = 0;
        EXPECT_TRUE(test::eventually([&] {
            EcatSlavePIRead(channel, ECAT_PI_SHADOW_INPUT, slave, 1, &back);
            return back == value;
        })) << slave;
    }
    EXPECT_TRUE(EcatSlaveIsReady(channel, 4095));
    EXPECT_EQ(EcatBusStop(channel), 0U);
}

TEST(WholeBus, RingsOfEveryGeometryAnswerAcrossTheWrapOfTheirCounters) {
    std::vector<vcard::CardConfig> configs = test::VirtualCards::default_cards(3);
    const vcard::RingGeometry geometries[] = {{1, 102400}, {2, 102400}, {64, 1024}};
    for (size_t i = 0; i < 3; ++i) {
        configs[i].rings = geometries[i];
        configs[i].first_counter = 0xFFFFFFF0;
    }
    const test::VirtualCards cards(configs);
    for (const char *name : {"ID0", "ID1", "ID2"}) {
        SCOPED_TRACE(name);
        const Channel channel(name);
        // The 16-bit sequence comes round once and meets its first value again.
        const bool few = under_thread_sanitizer() ||
                         (test::system_calls_are_slow() && name != std::string("ID1"));
        const int requests = few ? 2000 : 65537;
        for (int i = 0; i < requests; ++i) {
            uint32_t status = 99;
            ASSERT_EQ(EcatBusStatus(channel, &status), 0U) << i;
            ASSERT_EQ(status, uint32_t{VCARD_BUS_NOT_CONFIGURED}) << i;
        }
    }
}

TEST(WholeBus, AThousandRoundsLeakNothing) {
    const test::VirtualCards cards;
    write_file("io.xml",
               vcard::make_eni({.slaves = {{"dio8", 2}, {"drive", 1}}, .logical_mapping = true}));
    const char *wanted = std::getenv("TARN_ROUNDS");
    const bool few = under_thread_sanitizer() || test::system_calls_are_slow();
    const int rounds = wanted != nullptr ? std::atoi(wanted) : few ? 100 : 1000;
    size_t bytes = 0;
    size_t handles = 0;
    for (int round = 0; round < rounds; ++round) {
        const Channel channel("ID0", static_cast<uint32_t>(round) % 2);
        ASSERT_EQ(EcatBusRun(channel, "io.xml"), 0U) << round;
        const uint8_t value = static_cast<uint8_t>(round);
        ASSERT_EQ(EcatSlavePIWrite(channel, ECAT_PI_FAST_OUTPUT, 0, 1, &value), 0U) << round;
        ASSERT_EQ(EcatBusStop(channel), 0U) << round;
        if (round == rounds / 10) {
            bytes = test::resident_bytes();
            handles = test::open_handles();
        }
    }
    // A few come and go: threads that are about to end, requests under way. A leak is one a round.
    EXPECT_LE(test::open_handles(), handles + 8);
    if (std::string(TARN_SANITIZE).empty()) {
        // 900 rounds with a leak of a handle each would be over 300 MB.
        EXPECT_LE(test::resident_bytes(), bytes + (8U << 20));
    }
}

} // namespace
