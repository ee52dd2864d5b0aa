// One channel's bus on plain memory: states, cycle, slaves and process data, without a host.
#include "support/process.h"
#include "vcard/bus/bus.h"

#include "base/card_memory.h"
#include "card/host_model.h"
#include "vcard/bus/make_eni.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

using namespace tarn;
using namespace tarn::vcard;
using tarn::test::eventually;
using tarn::test::HostInputs;
using tarn::test::HostOutputs;
using testing::HasSubstr;

namespace {

constexpr uint8_t kInit = 1;
constexpr uint8_t kPreOp = 2;
constexpr uint8_t kBoot = 3;
constexpr uint8_t kSafeOp = 4;
constexpr uint8_t kOp = 8;

Network network_of(std::vector<MakeEniSlave> slaves, uint32_t cycle_us = 500) {
    MakeEniOptions options;
    options.slaves = std::move(slaves);
    options.cycle_us = cycle_us;
    Network network;
    const EniVerdict verdict = parse_eni(make_eni(options), network);
    EXPECT_EQ(verdict.status, 0U) << verdict.text;
    return network;
}

class BusTest : public testing::TestWithParam<uint32_t> {
  protected:
    virtual uint32_t generation() { return 2; }

    void SetUp() override {
        bus = std::make_unique<Bus>(
            BusOptions{&area, ready.data(), generation(), [this] { ++interrupts; },
                       [this](const std::string &line) { log += line + "\n"; }});
        outputs = std::make_unique<HostOutputs>(area, generation());
        inputs = std::make_unique<HostInputs>(area, generation());
    }

    void run(std::vector<MakeEniSlave> slaves, uint8_t state = kOp) {
        bus->configure(network_of(std::move(slaves)));
        bus->start();
        ASSERT_TRUE(bus->request_state(state));
    }

    // Waits for whole cycles that begin after this call.
    void cycles(uint64_t count) {
        const uint64_t target = bus->cycles() + count + 1;
        EXPECT_TRUE(eventually([&] { return bus->cycles() >= target; }));
    }

    void write(const std::vector<uint8_t> &bytes) {
        outputs->publish(bytes.data(), static_cast<uint32_t>(bytes.size()));
    }
    std::vector<uint8_t> read() {
        cycles(2);
        EXPECT_TRUE(eventually(
            [&] { return inputs->pull(image.data(), static_cast<uint32_t>(image.size())); }));
        return {image.begin(), image.begin() + bus->network().input_bytes};
    }
    void push_queue(const std::vector<uint8_t> &bytes) {
        uint8_t *entry = area.output_queue[area.output_queue_write % kPiQueueEntries];
        std::copy(bytes.begin(), bytes.end(), entry);
        card::increment32(&area.output_queue_write);
    }
    // All queued input images, each as its first byte.
    std::vector<uint8_t> drain_inputs() {
        std::vector<uint8_t> found;
        const uint32_t written = card::load32(&area.input_queue_write);
        for (uint32_t i = area.input_queue_read; i != written; ++i) {
            found.push_back(area.input_queue[i % kPiQueueEntries][0]);
        }
        card::store32(&area.input_queue_read, written);
        return found;
    }

    std::unique_ptr<PiCardArea> memory = std::make_unique<PiCardArea>();
    PiCardArea &area = *memory;
    std::array<uint32_t, kSlaveReadyWords> ready{};
    std::atomic<uint64_t> interrupts{0};
    std::string log;
    std::unique_ptr<Bus> bus;
    std::unique_ptr<HostOutputs> outputs;
    std::unique_ptr<HostInputs> inputs;
    std::array<uint8_t, kPiBufferSize> image{};
};

// ---- configuration ----------------------------------------------------------------------------

TEST_F(BusTest, IsEmptyAtFirst) {
    EXPECT_FALSE(bus->configured());
    EXPECT_FALSE(bus->running());
    EXPECT_TRUE(bus->network().slaves.empty());
    EXPECT_EQ(bus->active_slaves(), 0U);
    EXPECT_EQ(bus->master_state(), kInit);
}

TEST_F(BusTest, DoesNotStartWithoutConfiguration) {
    bus->start();
    EXPECT_FALSE(bus->running());
    EXPECT_FALSE(bus->request_state(kPreOp));
}

TEST_F(BusTest, StatesDoNotMoveBeforeTheStart) {
    bus->configure(network_of({{"dio8"}}));
    EXPECT_FALSE(bus->request_state(kPreOp));
}

TEST_F(BusTest, ConfigurationStatesTheImageLengths) {
    bus->configure(network_of({{"dio16", 3}, {"di8"}}));
    EXPECT_EQ(area.output_length, 6U);
    EXPECT_EQ(area.input_length, 7U);
    EXPECT_EQ(bus->network().slaves.size(), 4U);
}

TEST_F(BusTest, ConfigurationPutsSlavesIntoInit) {
    bus->configure(network_of({{"dio8"}, {"drive"}}));
    EXPECT_EQ(bus->slave(1).state, kInit);
    EXPECT_EQ(bus->active_slaves(), 2U);
}

TEST_F(BusTest, ConfigurationEmptiesQueuesWithoutTouchingTheHostsCounters) {
    area.output_queue_write = 7;
    area.input_queue_read = 0xFFFFFFFF;
    bus->configure(network_of({{"dio8"}}));
    EXPECT_EQ(area.output_queue_read, 7U);
    EXPECT_EQ(area.input_queue_write, 0xFFFFFFFFU);
    EXPECT_EQ(area.output_queue_write, 7U);
    EXPECT_EQ(area.input_queue_read, 0xFFFFFFFFU);
}

TEST_F(BusTest, ClearForgetsTheConfiguration) {
    run({{"dio8"}});
    bus->clear();
    EXPECT_FALSE(bus->running());
    EXPECT_FALSE(bus->configured());
    EXPECT_EQ(bus->active_slaves(), 0U);
    EXPECT_EQ(area.output_length, 0U);
    EXPECT_EQ(ready[0], 0U);
}

TEST_F(BusTest, StopKeepsTheConfiguration) {
    run({{"dio8"}});
    bus->stop();
    EXPECT_FALSE(bus->running());
    EXPECT_TRUE(bus->configured());
    EXPECT_EQ(bus->slave(0).state, kInit);
    EXPECT_EQ(bus->master_state(), kInit);
    EXPECT_EQ(ready[0], 0U);
    bus->start();
    EXPECT_TRUE(bus->request_state(kOp));
    EXPECT_EQ(ready[0], 1U);
}

TEST_F(BusTest, TakesAnotherConfigurationWhileRunning) {
    run({{"dio8", 10}});
    bus->configure(network_of({{"di8"}}));
    EXPECT_FALSE(bus->running());
    EXPECT_EQ(bus->network().slaves.size(), 1U);
    EXPECT_EQ(ready[0], 0U);
}

TEST_F(BusTest, SlavesOutOfOrderAreLogged) {
    Network network = network_of({{"dio8", 2}});
    std::swap(network.slaves[0].inputs, network.slaves[1].inputs);
    bus->configure(network);
    EXPECT_THAT(log, HasSubstr("Config/Slave[2]/ProcessData/Recv"));
    EXPECT_EQ(log.find("Send"), std::string::npos);
}

// ---- states -----------------------------------------------------------------------------------

TEST_F(BusTest, ReachesOpStepByStep) {
    run({{"coupler"}, {"dio8"}}, kInit);
    for (const uint8_t state : {kPreOp, kSafeOp, kOp}) {
        EXPECT_TRUE(bus->request_state(state));
        EXPECT_EQ(bus->master_state(), state);
        EXPECT_EQ(bus->slave(1).state, state);
        EXPECT_EQ(ready[0], state == kOp ? 3U : 0U);
    }
}

TEST_F(BusTest, ReachesOpInOneRequest) {
    run({{"dio8"}}, kOp);
    EXPECT_EQ(bus->slave(0).state, kOp);
    EXPECT_EQ(bus->slave(0).requested, kOp);
    EXPECT_EQ(bus->requested_master_state(), kOp);
}

TEST_F(BusTest, FallsDirectly) {
    run({{"dio8"}});
    EXPECT_TRUE(bus->request_state(kPreOp));
    EXPECT_EQ(bus->slave(0).state, kPreOp);
    EXPECT_EQ(ready[0], 0U);
}

TEST_F(BusTest, RefusesStatesThatDoNotExist) {
    run({{"dio8"}}, kPreOp);
    for (const int state : {0, 5, 6, 7, 9, 0x12, 0xFF}) {
        EXPECT_FALSE(bus->request_state(static_cast<uint8_t>(state)));
    }
    EXPECT_EQ(bus->requested_master_state(), kPreOp);
}

TEST_F(BusTest, BootIsNextToInitOnly) {
    run({{"drive"}}, kPreOp);
    EXPECT_FALSE(bus->request_state(kBoot));
    EXPECT_TRUE(bus->request_state(kInit));
    EXPECT_TRUE(bus->request_state(kBoot));
    EXPECT_EQ(bus->slave(0).state, kBoot);
    EXPECT_FALSE(bus->request_state(kPreOp));
    EXPECT_FALSE(bus->request_state(kOp));
    EXPECT_TRUE(bus->request_state(kInit));
    EXPECT_EQ(bus->slave(0).state, kInit);
}

TEST_F(BusTest, SlavesWithoutMailboxRefuseBoot) {
    run({{"dio8"}}, kBoot);
    EXPECT_EQ(bus->slave(0).state, 0x11);
    EXPECT_EQ(bus->slave(0).al_status_code, 0x0013);
    EXPECT_TRUE(bus->request_state(kInit));
    EXPECT_EQ(bus->slave(0).state, kInit);
    EXPECT_EQ(bus->slave(0).al_status_code, 0);
}

TEST_F(BusTest, ReadyBitmapHasABitPerSlave) {
    run({{"coupler", 70}});
    EXPECT_EQ(ready[0], 0xFFFFFFFFU);
    EXPECT_EQ(ready[1], 0xFFFFFFFFU);
    EXPECT_EQ(ready[2], 0x3FU);
    EXPECT_EQ(ready[3], 0U);
}

TEST_F(BusTest, ErrorDropsASlaveToSafeOp) {
    run({{"dio8", 2}});
    EXPECT_TRUE(bus->fault(1, "safeop-error"));
    EXPECT_EQ(bus->slave(1).state, 0x14);
    EXPECT_NE(bus->slave(1).al_status_code, 0);
    EXPECT_EQ(bus->slave(1).requested, kOp);
    EXPECT_EQ(bus->slave(0).state, kOp);
    EXPECT_EQ(ready[0], 1U);
}

TEST_F(BusTest, ErrorStaysUntilCleared) {
    run({{"dio8"}});
    bus->fault(0, "safeop-error");
    EXPECT_TRUE(bus->request_state(kOp));
    EXPECT_EQ(bus->slave(0).state, 0x14);
    EXPECT_TRUE(bus->clear_slave_error(0));
    EXPECT_EQ(bus->slave(0).state, kOp);
    EXPECT_EQ(bus->slave(0).al_status_code, 0);
    EXPECT_EQ(ready[0], 1U);
}

TEST_F(BusTest, ErrorGoesWithALowerState) {
    run({{"dio8"}});
    bus->fault(0, "safeop-error");
    EXPECT_TRUE(bus->request_state(kPreOp));
    EXPECT_EQ(bus->slave(0).state, kPreOp);
}

TEST_F(BusTest, ErrorIsClearedByItselfWhenAsked) {
    run({{"dio8"}});
    EXPECT_FALSE(bus->auto_clear());
    bus->set_auto_clear(true);
    EXPECT_TRUE(bus->auto_clear());
    bus->fault(0, "safeop-error");
    ASSERT_TRUE(eventually([this] { return bus->slave(0).state == kOp; }));
    EXPECT_EQ(ready[0], 1U);
}

TEST_F(BusTest, FaultNoneClearsAnError) {
    run({{"dio8"}});
    bus->fault(0, "safeop-error");
    EXPECT_TRUE(bus->fault(0, "none"));
    EXPECT_EQ(bus->slave(0).state, kOp);
}

TEST_F(BusTest, UnknownFaultsAndSlavesAreRefused) {
    run({{"dio8"}});
    EXPECT_FALSE(bus->fault(0, "melt"));
    EXPECT_FALSE(bus->fault(1, "unplug"));
    EXPECT_FALSE(bus->clear_slave_error(1));
}

TEST_F(BusTest, UnplugTakesAllSlavesBehindAlong) {
    run({{"coupler"}, {"dio8", 3}});
    EXPECT_TRUE(bus->fault(2, "unplug"));
    EXPECT_EQ(bus->active_slaves(), 2U);
    EXPECT_EQ(bus->slave(1).state, kOp);
    EXPECT_EQ(bus->slave(2).state, 0);
    EXPECT_EQ(bus->slave(3).state, 0);
    EXPECT_EQ(bus->slave(3).dl_status, 0);
    EXPECT_EQ(ready[0], 3U);
    EXPECT_FALSE(bus->clear_slave_error(2));
    EXPECT_FALSE(bus->fault(3, "safeop-error"));
}

TEST_F(BusTest, UnplugFollowsTheTopology) {
    Network network = network_of({{"coupler"}, {"dio8", 3}});
    network.slaves[3].previous_port_slave = 0; // a branch of its own
    bus->configure(network);
    bus->start();
    bus->request_state(kOp);
    bus->fault(1, "unplug");
    EXPECT_EQ(bus->slave(2).state, 0);
    EXPECT_EQ(bus->slave(3).state, kOp);
    EXPECT_EQ(ready[0], 0b1001U);
}

TEST_F(BusTest, PluggedInAgainSlavesComeBack) {
    run({{"dio8", 3}});
    bus->fault(1, "unplug");
    EXPECT_TRUE(bus->fault(1, "none"));
    EXPECT_EQ(bus->active_slaves(), 3U);
    EXPECT_EQ(bus->slave(2).state, kOp);
    EXPECT_EQ(ready[0], 7U);
}

TEST_F(BusTest, SlavesUnpluggedThemselvesStayAway) {
    run({{"dio8", 3}});
    bus->fault(1, "unplug");
    bus->fault(2, "unplug");
    bus->fault(1, "none");
    EXPECT_EQ(bus->active_slaves(), 2U);
    EXPECT_EQ(bus->slave(2).state, 0);
}

TEST_F(BusTest, LinkStatusShowsTheTopology) {
    Network network = network_of({{"coupler"}, {"dio8", 2}});
    network.slaves[2].previous_port_slave = 0;
    bus->configure(network);
    // Ports 0, 1 and 2 of the coupler are linked and open, port 3 is closed; one neighbour each
    // for the others.
    EXPECT_EQ(bus->slave(0).dl_status, 0x6A71);
    EXPECT_EQ(bus->slave(1).dl_status, 0x5611);
    EXPECT_EQ(bus->slave(2).dl_status, 0x5611);
}

TEST_F(BusTest, LinkGoesWithTheNeighbour) {
    run({{"coupler"}, {"dio8"}});
    EXPECT_EQ(bus->slave(0).dl_status, 0x5A31);
    bus->fault(1, "unplug");
    EXPECT_EQ(bus->slave(0).dl_status, 0x5611);
}

// ---- cycle ------------------------------------------------------------------------------------

TEST_F(BusTest, NothingCyclesBelowSafeOp) {
    run({{"dio8"}}, kPreOp);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(bus->cycles(), 0U);
    EXPECT_EQ(interrupts, 0U);
    ASSERT_TRUE(bus->request_state(kSafeOp));
    cycles(3);
}

TEST_F(BusTest, EachCycleRaisesAnInterrupt) {
    run({{"dio8"}});
    cycles(20);
    bus->stop();
    EXPECT_EQ(interrupts, bus->cycles());
}

TEST_F(BusTest, CyclesComeNoFasterThanTheyShould) {
    bus->configure(network_of({{"dio8"}}, 5000));
    bus->start();
    const auto start = std::chrono::steady_clock::now();
    bus->request_state(kOp);
    cycles(10);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, std::chrono::milliseconds(45));
}

TEST_F(BusTest, MissedCyclesAreNotMadeUpFor) {
    std::atomic<bool> blocked{true};
    bus = std::make_unique<Bus>(BusOptions{&area,
                                           ready.data(),
                                           2,
                                           [&] {
                                               while (blocked) {
                                                   std::this_thread::yield();
                                               }
                                           },
                                           {}});
    bus->configure(network_of({{"dio8"}}, 20'000));
    bus->start();
    bus->request_state(kOp);
    std::this_thread::sleep_for(std::chrono::milliseconds(150)); // seven cycles are missed
    const auto released = std::chrono::steady_clock::now();
    blocked = false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const uint64_t counted = bus->cycles();
    const auto since = std::chrono::steady_clock::now() - released;
    // The blocked one, those due since, and one that was just due.
    EXPECT_LE(counted, 2 + static_cast<uint64_t>(since / std::chrono::milliseconds(20)));
    bus->stop();
}

TEST_F(BusTest, StopsAtOnceInALongCycle) {
    bus->configure(network_of({{"dio8"}}, 1'000'000));
    bus->start();
    bus->request_state(kOp);
    bus->stop();
    EXPECT_EQ(bus->cycles(), 0U);
}

// ---- process data, both generations -----------------------------------------------------------

class BusData : public BusTest {
  protected:
    uint32_t generation() override { return GetParam(); }
};
INSTANTIATE_TEST_SUITE_P(Generation, BusData, testing::Values(1U, 2U));

TEST_P(BusData, DigitalOutputsComeBackAsInputs) {
    run({{"dio8", 2}});
    for (const uint8_t value : std::vector<uint8_t>{0x5A, 0xFF, 0x00, 0x81}) {
        write({value, 0x33});
        EXPECT_EQ(read(), (std::vector<uint8_t>{value, 0x33}));
    }
}

TEST_P(BusData, OutputsSentBeforeTheConfigurationDoNotCount) {
    write({0x77});
    run({{"dio8"}});
    EXPECT_EQ(read(), (std::vector<uint8_t>{0}));
}

TEST_P(BusData, InputsOfAnEarlierRunAreGone) {
    run({{"dio8"}});
    write({0x77});
    ASSERT_EQ(read(), (std::vector<uint8_t>{0x77}));
    bus->configure(network_of({{"dio8"}}));
    ASSERT_TRUE(inputs->pull(image.data(), 1));
    EXPECT_EQ(image[0], 0);
}

TEST_P(BusData, QueuedOutputsGoOutOnePerCycle) {
    bus->configure(network_of({{"dio8"}}, 2000));
    for (uint8_t i = 1; i <= 10; ++i) {
        push_queue({i});
    }
    bus->start();
    ASSERT_TRUE(bus->request_state(kOp));
    cycles(12);
    std::vector<uint8_t> seen = drain_inputs();
    ASSERT_GE(seen.size(), 11U);
    seen.resize(11);
    EXPECT_THAT(seen, testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 10));
    EXPECT_EQ(area.output_queue_read, 10U);
}

TEST_P(BusData, QueuedOutputsGoOutBeforeTheNewestImage) {
    bus->configure(network_of({{"dio8"}}, 2000));
    write({99});
    push_queue({1});
    push_queue({2});
    bus->start();
    ASSERT_TRUE(bus->request_state(kOp));
    cycles(5);
    std::vector<uint8_t> seen = drain_inputs();
    ASSERT_GE(seen.size(), 4U);
    seen.resize(4);
    EXPECT_THAT(seen, testing::ElementsAre(1, 2, 99, 99));
}

TEST_P(BusData, AnOldImageDoesNotReplaceAQueuedOne) {
    run({{"dio8"}});
    write({99});
    cycles(2);
    push_queue({1});
    cycles(4);
    EXPECT_EQ(read(), (std::vector<uint8_t>{1}));
}

TEST_P(BusData, EveryCycleQueuesItsInputs) {
    bus->configure(network_of({{"dio8"}}, 5000)); // the queue holds more than half a second of them
    bus->start();
    ASSERT_TRUE(bus->request_state(kOp));
    const uint32_t before = card::load32(&area.input_queue_write);
    cycles(10);
    bus->stop();
    EXPECT_GE(area.input_queue_write - before, 10U);
    EXPECT_EQ(area.input_queue_write, bus->cycles());
}

TEST_P(BusData, FullInputQueueKeepsItsOldestImages) {
    run({{"dio8"}});
    write({1});
    cycles(140);
    EXPECT_EQ(card::load32(&area.input_queue_write), 128U);
    write({2});
    cycles(5);
    const std::vector<uint8_t> seen = drain_inputs();
    EXPECT_EQ(seen.size(), 128U);
    EXPECT_EQ(seen.back(), 1);
    cycles(3);
    EXPECT_EQ(drain_inputs().front(), 2);
    bus->stop();
    EXPECT_THAT(log, HasSubstr("queue full"));
}

TEST_P(BusData, ExchangeAreaShowsTheOutputsHeld) {
    run({{"dio8", 4}});
    write({1, 2, 3, 4});
    cycles(3);
    uint32_t sequence = 1;
    EXPECT_TRUE(eventually([&] {
        sequence = card::load32(&area.sequence);
        return sequence % 2 == 0;
    }));
    EXPECT_NE(sequence, 0U);
    EXPECT_THAT((std::vector<uint8_t>(area.exchange, area.exchange + 4)),
                testing::ElementsAre(1, 2, 3, 4));
    bus->stop();
    EXPECT_EQ(area.sequence % 2, 0U);
}

TEST_P(BusData, HostReadsWhatItWroteAtFullSpeed) {
    run({{"dio8", 64}});
    std::atomic<bool> done{false};
    std::thread writer([&] {
        std::array<uint8_t, 64> bytes{};
        for (uint32_t i = 0; !done; ++i) {
            bytes.fill(static_cast<uint8_t>(i));
            outputs->publish(bytes.data(), bytes.size());
        }
    });
    uint32_t torn = 0;
    for (uint32_t i = 0; i < 300; ++i) {
        const std::vector<uint8_t> bytes = read();
        torn += std::count(bytes.begin(), bytes.end(), bytes[0]) == 64 ? 0U : 1U;
    }
    done = true;
    writer.join();
    EXPECT_EQ(torn, 0U);
}

TEST_P(BusData, LargestBusCycles) {
    bus->configure(network_of({{"dio8", 4096}}, 1000));
    bus->start();
    ASSERT_TRUE(bus->request_state(kOp));
    EXPECT_EQ(ready[127], 0xFFFFFFFFU);
    EXPECT_EQ(bus->active_slaves(), 4096U);
    std::vector<uint8_t> bytes(4096);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(i * 7);
    }
    write(bytes);
    EXPECT_EQ(read(), bytes);
}

// ---- slaves -----------------------------------------------------------------------------------

TEST_F(BusTest, OutputsAreHeldInOpOnly) {
    run({{"dio8"}}, kSafeOp);
    write({0xFF});
    EXPECT_EQ(read()[0], 0);
    ASSERT_TRUE(bus->request_state(kOp));
    EXPECT_EQ(read()[0], 0xFF);
    ASSERT_TRUE(bus->request_state(kSafeOp));
    EXPECT_EQ(read()[0], 0);
}

TEST_F(BusTest, SlaveInErrorLosesItsOutputsAlone) {
    run({{"dio8", 2}});
    write({0x11, 0x22});
    bus->fault(0, "safeop-error");
    EXPECT_EQ(read(), (std::vector<uint8_t>{0, 0x22}));
}

TEST_F(BusTest, UnpluggedSlaveLeavesItsLastInputs) {
    run({{"dio8"}});
    write({0x11});
    ASSERT_EQ(read()[0], 0x11);
    bus->fault(0, "unplug");
    write({0x22});
    EXPECT_EQ(read()[0], 0x11);
}

TEST_F(BusTest, BitsOfDifferentSlavesDoNotMix) {
    run({{"do4", 3}, {"di4", 1}});
    write({0xBA, 0x0C});
    EXPECT_EQ(read()[0], 0x0C); // the nearest outputs before the inputs
}

TEST_F(BusTest, InputsMirrorTheOutputsBeforeThem) {
    run({{"coupler"}, {"do8"}, {"di8"}, {"di16"}});
    write({0x5A});
    EXPECT_EQ(read(), (std::vector<uint8_t>{0x5A, 0x5A, 0x00}));
}

TEST_F(BusTest, LonelyDigitalInputsCount) {
    run({{"di8"}});
    const uint8_t first = read()[0];
    EXPECT_TRUE(eventually([&] { return read()[0] != first; }));
}

TEST_F(BusTest, AnalogueInputsMove) {
    run({{"ai2"}});
    const std::vector<uint8_t> first = read();
    EXPECT_TRUE(eventually([&] { return read() != first; }));
}

TEST_F(BusTest, AnalogueOutputsComeBackAsInputs) {
    run({{"aio4"}, {"ao2"}, {"ai2"}});
    const std::vector<uint8_t> bytes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    write(bytes);
    EXPECT_EQ(read(), bytes);
}

class BusDrive : public BusTest {
  protected:
    // Offsets in the generated drive's images.
    void command(uint16_t controlword, uint8_t wanted_mode, int32_t target) {
        std::vector<uint8_t> bytes(14);
        std::memcpy(bytes.data(), &controlword, 2);
        bytes[2] = wanted_mode;
        std::memcpy(bytes.data() + 4, &target, 4);
        write(bytes);
    }
    void feedback() {
        const std::vector<uint8_t> bytes = read();
        std::memcpy(&statusword, bytes.data(), 2);
        mode = bytes[2];
        std::memcpy(&position, bytes.data() + 4, 4);
    }
    void go_to(uint16_t controlword, uint8_t wanted_mode, int32_t target, uint16_t mask,
               uint16_t wanted) {
        command(controlword, wanted_mode, target);
        EXPECT_TRUE(eventually([&] {
            feedback();
            return (statusword & mask) == wanted;
        }));
    }
    uint16_t statusword = 0;
    uint8_t mode = 0;
    int32_t position = 0;
};

TEST_F(BusDrive, FollowsControlwordAndTarget) {
    run({{"drive"}});
    go_to(0x06, 1, 0, 0x6F, 0x21);
    go_to(0x07, 1, 0, 0x6F, 0x23);
    go_to(0x0F, 1, 0, 0x6F, 0x27);
    EXPECT_EQ(mode, 1);
    go_to(0x1F, 1, 5000, 0x1000, 0x1000); // acknowledged
    go_to(0x0F, 1, 5000, 0x1400, 0x0400); // reached
    EXPECT_EQ(position, 5000);
}

TEST_F(BusDrive, FallsIntoFaultWithItsSlave) {
    run({{"drive"}});
    go_to(0x06, 8, 0, 0x6F, 0x21);
    go_to(0x0F, 8, 0, 0x6F, 0x27);
    bus->fault(0, "safeop-error");
    go_to(0x0F, 8, 0, 0x4F, 0x08);
    bus->clear_slave_error(0);
    go_to(0x00, 8, 0, 0x4F, 0x08); // still
    go_to(0x80, 8, 0, 0x4F, 0x40);
}

// ---- hosts that follow no rules ---------------------------------------------------------------

TEST_P(BusData, AnyHostWordsAreHarmless) {
    run({{"dio8", 100}, {"drive", 5}});
    for (uint32_t x = 1, i = 0; i < 300; ++i) {
        x = x * 1664525 + 1013904223;
        card::store32(&area.fast_output.host, x);
        card::store32(&area.shadow_input.host, x >> 3);
        card::store32(&area.output_queue_write, (i % 3) == 0 ? x : x >> 26);
        card::store32(&area.input_queue_read, x * 3);
        card::store32(&area.output_queue_read, x * 5);
        card::store32(&area.input_queue_write, x * 7);
        card::store32(&area.sequence, x);
        card::store32(&area.output_length, x);
        card::store32(&area.enable, x);
        std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
    bus->configure(network_of({{"dio8"}}));
    bus->start();
    ASSERT_TRUE(bus->request_state(kOp));
    card::store32(&area.fast_output.host, 0);
    write({1});
    write({0x42});
    EXPECT_TRUE(eventually([this] { return read()[0] == 0x42; }));
}

} // namespace
