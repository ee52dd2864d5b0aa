// Diagnostics, EEPROM and registers as requests ask for them.
#include "card/firmware_bench.h"
#include "support/process.h"
#include "tarn_vcard/diagnostics.h"
#include "vcard/bus/make_eni.h"
#include "vcard/card/wall_clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstring>
#include <functional>
#include <stdexcept>

using tarn::test::Answer;
using tarn::test::Bytes;
using tarn::test::bytes_of;
using tarn::test::eventually;
using tarn::test::FirmwareBench;

namespace {

constexpr uint16_t kEepromWrite = 30;
constexpr uint16_t kEepromRead = 31;
constexpr uint16_t kMemoryWrite = 54;
constexpr uint16_t kMemoryRead = 55;
constexpr uint16_t kFirstLinkDown = 83;
constexpr uint16_t kDiagnostics = 95;
constexpr uint16_t kStates = 96;
constexpr uint16_t kLinks = 97;
constexpr uint16_t kLastError = 98;

std::string eni_of(std::vector<tarn::vcard::MakeEniSlave> slaves) {
    tarn::vcard::MakeEniOptions options;
    options.slaves = std::move(slaves);
    return tarn::vcard::make_eni(options);
}

Bytes list(uint16_t master, const std::vector<uint16_t> &slaves) {
    Bytes request = bytes_of(static_cast<uint16_t>(slaves.size()));
    const auto append = [&request](uint16_t word) {
        const Bytes bytes = bytes_of(word);
        request.insert(request.end(), bytes.begin(), bytes.end());
    };
    append(master);
    for (const uint16_t slave : slaves) {
        append(slave);
    }
    return request;
}

Bytes range(uint16_t slave, uint16_t address, uint16_t length, const Bytes &data = {}) {
    Bytes request;
    for (const uint16_t word : {slave, address, length}) {
        const Bytes bytes = bytes_of(word);
        request.insert(request.end(), bytes.begin(), bytes.end());
    }
    request.insert(request.end(), data.begin(), data.end());
    return request;
}

template <typename Record>
Record at(const Bytes &bytes, size_t offset) {
    Record record{};
    if (offset + sizeof record > bytes.size()) {
        throw std::out_of_range("the reply is too short");
    }
    std::memcpy(&record, bytes.data() + offset, sizeof record);
    return record;
}

// Both generations of the process image exchange, which leave the diagnostics alone.
class DiagnosticsServicesTest : public testing::TestWithParam<uint32_t> {
  protected:
    DiagnosticsServicesTest() : bench_(config()) {}

    static tarn::vcard::CardConfig config() {
        tarn::vcard::CardConfig config;
        config.start_ms = 0;
        config.generation = GetParam();
        return config;
    }

    void start() { ASSERT_EQ(bench_.start(eni_of({{"coupler"}, {"dio8", 2}, {"drive"}})), 0U); }
    Answer second(uint16_t code, const Bytes &payload = {}) {
        return bench_.request(0, false, code, payload);
    }
    Answer last_error(uint32_t size) { return second(kLastError, bytes_of(size)); }
    bool fault(uint32_t slave, const std::string &name,
               const tarn::vcard::SlaveFaultArguments &arguments = {}) {
        return bench_.firmware().slave_fault(0, slave, name, arguments);
    }
    void let_cycles_pass() {
        const auto cycles = [this] {
            return at<VcardMasterDiagnostics>(bench_.ask(kDiagnostics, list(1, {})).payload, 0)
                .cycles;
        };
        const uint64_t target = cycles() + 3;
        EXPECT_TRUE(eventually([&] { return cycles() >= target; }));
    }

    FirmwareBench bench_;
};

INSTANTIATE_TEST_SUITE_P(Generation, DiagnosticsServicesTest, testing::Values(1, 2));

// ---- layouts, as literal numbers --------------------------------------------------------------

TEST(DiagnosticsRecords, Places) {
    EXPECT_EQ(offsetof(VcardMasterDiagnostics, run_time_ns), 32U);
    EXPECT_EQ(offsetof(VcardMasterDiagnostics, wkc_errors), 40U);
    EXPECT_EQ(offsetof(VcardMasterDiagnostics, flags), 96U);
    EXPECT_EQ(offsetof(VcardMasterDiagnostics, requested_state), 117U);
    EXPECT_EQ(offsetof(VcardSlaveDiagnostics, crc_errors), 16U);
    EXPECT_EQ(offsetof(VcardSlaveDiagnostics, dc_difference_ns), 32U);
    EXPECT_EQ(offsetof(VcardSlaveDetail, state), 8U);
    EXPECT_EQ(offsetof(VcardPortStatus, changed_ns), 24U);
    EXPECT_EQ(offsetof(VcardPortStatus, neighbour_name), 36U);
    EXPECT_EQ(offsetof(VcardLinkStatus, name), 24U);
    EXPECT_EQ(offsetof(VcardLinkStatus, ports), 88U);
    EXPECT_EQ(offsetof(VcardErrorRecord, kind), 24U);
    EXPECT_EQ(offsetof(VcardErrorRecord, text), 32U);
}

TEST(DiagnosticsRecords, TheTimeOfAnErrorIsThatOfTheCardsClock) {
    const tarn::vcard::WallClock::Time start{};
    tarn::vcard::WallClock clock;
    EXPECT_EQ(clock.utc_ns(start), 0U);
    clock.look(start, 1'000'000, 3600);
    EXPECT_EQ(clock.utc_ns(start + std::chrono::nanoseconds(5)), 1'000'005U); // without the offset
    clock.forget();
    EXPECT_EQ(clock.utc_ns(start), 0U);
}

// ---- slave lists ------------------------------------------------------------------------------

TEST_P(DiagnosticsServicesTest, MasterAndSlavesInTheOrderOfTheList) {
    start();
    let_cycles_pass();
    const Answer answer = bench_.ask(kDiagnostics, list(1, {3, 0, 3}));
    EXPECT_EQ(answer.status, 0U);
    ASSERT_EQ(answer.payload.size(), 118U + 3 * 40);
    const auto master = at<VcardMasterDiagnostics>(answer.payload, 0);
    EXPECT_EQ(master.slaves_configured, 4);
    EXPECT_EQ(master.state, 8);
    EXPECT_GT(master.cycles, 0U);
    EXPECT_EQ(at<VcardSlaveDiagnostics>(answer.payload, 118).fixed_address, 1004);
    EXPECT_EQ(at<VcardSlaveDiagnostics>(answer.payload, 158).fixed_address, 1001);
    EXPECT_EQ(at<VcardSlaveDiagnostics>(answer.payload, 198).fixed_address, 1004);
}

TEST_P(DiagnosticsServicesTest, MasterAloneAndSlavesAlone) {
    start();
    EXPECT_EQ(bench_.ask(kDiagnostics, list(1, {})).payload.size(), 118U);
    EXPECT_EQ(bench_.ask(kDiagnostics, list(0, {1})).payload.size(), 40U);
    EXPECT_EQ(bench_.ask(kDiagnostics, list(0, {})).payload.size(), 0U);
    EXPECT_EQ(bench_.ask(kDiagnostics, list(0, {})).status, 0U);
}

TEST_P(DiagnosticsServicesTest, StatesThenDetails) {
    start();
    ASSERT_TRUE(fault(1, "al-status", {std::nullopt, 0x1A}));
    const Answer answer = bench_.ask(kStates, list(1, {2, 1}));
    EXPECT_EQ(answer.status, 0U);
    ASSERT_EQ(answer.payload.size(), 4U + 2 * 20);
    EXPECT_EQ(at<uint32_t>(answer.payload, 0) & 0x0010U, 0x0010U);
    EXPECT_EQ(at<uint32_t>(answer.payload, 4) & 0x0002U, 0U);
    EXPECT_EQ(at<uint32_t>(answer.payload, 8) & 0x0002U, 0x0002U);
    EXPECT_EQ(at<VcardSlaveDetail>(answer.payload, 12).state, 8);
    EXPECT_EQ(at<VcardSlaveDetail>(answer.payload, 28).state, 0x14);
    EXPECT_EQ(at<VcardSlaveDetail>(answer.payload, 28).last_al_status_code, 0x1A);
    EXPECT_EQ(bench_.ask(kStates, list(0, {1})).payload.size(), 20U);
    EXPECT_EQ(bench_.ask(kStates, list(1, {})).payload.size(), 4U);
}

TEST_P(DiagnosticsServicesTest, ABadIndexInTheListIsRefused) {
    start();
    for (const uint16_t code : {kDiagnostics, kStates}) {
        const Answer answer = bench_.ask(code, list(1, {0, 4}));
        EXPECT_EQ(answer.status, 32778U);
        EXPECT_EQ(answer.length, 0U);
    }
}

TEST_P(DiagnosticsServicesTest, AListOfAnotherLengthIsRefused) {
    start();
    for (const uint16_t code : {kDiagnostics, kStates}) {
        Bytes request = list(1, {0, 1});
        request.pop_back();
        EXPECT_EQ(bench_.ask(code, request).status, 32770U);
        request.resize(10);
        EXPECT_EQ(bench_.ask(code, request).status, 32770U);
        EXPECT_EQ(bench_.ask(code, {1, 0, 1}).status, 32770U);
        EXPECT_EQ(bench_.ask(code, {}).status, 32770U);
        EXPECT_EQ(bench_.ask(code, {0xFF, 0xFF, 1, 0}).status, 32770U);
    }
}

TEST_P(DiagnosticsServicesTest, ListsNeedAConfiguration) {
    EXPECT_EQ(bench_.ask(kDiagnostics, list(1, {})).status, 32775U);
    EXPECT_EQ(bench_.ask(kStates, list(1, {})).status, 32775U);
    EXPECT_EQ(bench_.ask(kFirstLinkDown).status, 32775U);
    EXPECT_EQ(second(kLinks, {1, 0}).status, 32775U);
}

TEST_P(DiagnosticsServicesTest, AsManySlavesAsFitOneReply) {
    start();
    const std::vector<uint16_t> most((102384 - 118) / 40, 1);
    EXPECT_EQ(bench_.ask(kDiagnostics, list(1, most)).payload.size(), 118 + most.size() * 40);
    std::vector<uint16_t> more((102384 / 40) + 1, 1);
    const Answer answer = bench_.ask(kDiagnostics, list(0, more));
    EXPECT_EQ(answer.status, 32807U);
    more.resize(102384 / 20 + 1);
    EXPECT_EQ(bench_.ask(kStates, list(0, more)).status, 32807U);
}

// ---- links ------------------------------------------------------------------------------------

TEST_P(DiagnosticsServicesTest, TheFirstLinkDown) {
    start();
    Answer answer = bench_.ask(kFirstLinkDown);
    EXPECT_EQ(answer.status, 0U);
    EXPECT_EQ(answer.payload, (Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
    ASSERT_TRUE(fault(2, "unplug", {1, 0}));
    answer = bench_.ask(kFirstLinkDown);
    EXPECT_EQ(answer.payload, (Bytes{2, 0, 1, 0}));
    ASSERT_TRUE(fault(2, "none"));
    EXPECT_EQ(bench_.ask(kFirstLinkDown).payload, (Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(bench_.ask(kFirstLinkDown, {0}).status, 32770U);
}

TEST_P(DiagnosticsServicesTest, LinksOfAsManySlavesAsAskedForAndThere) {
    start();
    for (const uint16_t count : {uint16_t{1}, uint16_t{3}, uint16_t{4}}) {
        const Answer answer = second(kLinks, bytes_of(count));
        EXPECT_EQ(answer.status, 0U);
        EXPECT_EQ(answer.payload.size(), count * 488U);
    }
    const Answer answer = second(kLinks, bytes_of(uint16_t{0xFFFF}));
    ASSERT_EQ(answer.payload.size(), 4 * 488U);
    EXPECT_STREQ(at<VcardLinkStatus>(answer.payload, 3 * 488).name, "drive 4");
    EXPECT_EQ(second(kLinks, {0, 0}).payload.size(), 0U);
    EXPECT_EQ(second(kLinks, {}).status, 32770U);
    EXPECT_EQ(second(kLinks, {1, 0, 0}).status, 32770U);
}

TEST_P(DiagnosticsServicesTest, LinksOfAsManySlavesAsFitOneReply) {
    ASSERT_EQ(bench_.start(eni_of({{"coupler", 300}})), 0U);
    EXPECT_EQ(second(kLinks, bytes_of(uint16_t{300})).payload.size(), 102384U / 488 * 488);
}

// ---- last errors ------------------------------------------------------------------------------

TEST_P(DiagnosticsServicesTest, WithoutErrorsNothingIsAnswered) {
    start();
    const Answer answer = last_error(1000);
    EXPECT_EQ(answer.status, 0U);
    EXPECT_EQ(answer.length, 0U);
}

TEST_P(DiagnosticsServicesTest, ErrorsComeNewestFirstAsManyAsFit) {
    start();
    for (uint32_t i = 1; i <= 3; ++i) {
        ASSERT_TRUE(fault(i, "crc-errors", {0, 1}));
    }
    EXPECT_EQ(last_error(128).payload.size(), 128U);
    EXPECT_EQ(last_error(255).payload.size(), 128U);
    EXPECT_EQ(last_error(256).payload.size(), 256U);
    const Answer answer = last_error(100000);
    ASSERT_EQ(answer.payload.size(), 3 * 128U);
    EXPECT_EQ(at<VcardErrorRecord>(answer.payload, 0).slave, 3);
    EXPECT_EQ(at<VcardErrorRecord>(answer.payload, 256).slave, 1);
    EXPECT_EQ(at<VcardErrorRecord>(answer.payload, 256).number, 1U);
}

TEST_P(DiagnosticsServicesTest, ASmallBufferGetsTheBeginningOfTheNewest) {
    start();
    ASSERT_TRUE(fault(1, "crc-errors", {0, 1}));
    const Bytes whole = last_error(128).payload;
    EXPECT_EQ(last_error(20).payload, Bytes(whole.begin(), whole.begin() + 20));
    EXPECT_EQ(last_error(1).payload.size(), 1U);
    EXPECT_EQ(last_error(0).payload.size(), 0U);
}

TEST_P(DiagnosticsServicesTest, ARequestForErrorsOfAnotherLengthIsRefused) {
    EXPECT_EQ(second(kLastError, {1, 0}).status, 32770U);
    EXPECT_EQ(second(kLastError, Bytes(8)).status, 32770U);
}

TEST_P(DiagnosticsServicesTest, ARefusedConfigurationIsListed) {
    EXPECT_EQ(bench_.start("<EtherCATConfig/>"), 32774U);
    const Answer answer = last_error(1000);
    ASSERT_EQ(answer.payload.size(), 128U);
    const auto record = at<VcardErrorRecord>(answer.payload, 0);
    EXPECT_EQ(record.kind, VCARD_ERROR_CONFIGURATION);
    EXPECT_EQ(record.status, 32774U);
    EXPECT_EQ(record.slave, VCARD_NO_SLAVE);
    EXPECT_STREQ(record.text, "EtherCATConfig/Config: missing");
}

TEST_P(DiagnosticsServicesTest, ErrorsOutliveAStopOfTheBus) {
    start();
    ASSERT_TRUE(fault(1, "crc-errors", {0, 1}));
    EXPECT_EQ(bench_.ask(10).status, 0U);
    EXPECT_EQ(last_error(1000).payload.size(), 128U);
    start();
    EXPECT_EQ(last_error(1000).payload.size(), 128U);
}

TEST_P(DiagnosticsServicesTest, ChannelsHaveTheirOwnErrors) {
    start();
    ASSERT_TRUE(fault(1, "crc-errors", {0, 1}));
    EXPECT_EQ(bench_.request(1, false, kLastError, bytes_of(uint32_t{1000})).length, 0U);
}

// ---- rings ------------------------------------------------------------------------------------

TEST_P(DiagnosticsServicesTest, EachServiceHasItsRing) {
    start();
    EXPECT_EQ(second(kDiagnostics, list(1, {})).status, 32772U);
    EXPECT_EQ(second(kStates, list(1, {})).status, 32772U);
    EXPECT_EQ(second(kFirstLinkDown).status, 32772U);
    EXPECT_EQ(bench_.ask(kLinks, {1, 0}).status, 32772U);
    EXPECT_EQ(bench_.ask(kLastError, bytes_of(uint32_t{100})).status, 32772U);
    EXPECT_EQ(bench_.ask(kEepromRead, range(0, 0, 2)).status, 32772U);
    EXPECT_EQ(bench_.ask(kMemoryRead, range(0, 0, 2)).status, 32772U);
}

// ---- EEPROM and registers ---------------------------------------------------------------------

TEST_P(DiagnosticsServicesTest, EepromIsReadAndWritten) {
    start();
    EXPECT_EQ(second(kEepromWrite, range(1, 0x30, 3, {1, 2, 3})).status, 0U);
    const Answer answer = second(kEepromRead, range(1, 0x30, 4));
    EXPECT_EQ(answer.status, 0U);
    EXPECT_EQ(answer.payload, (Bytes{1, 2, 3, 0}));
    EXPECT_EQ(second(kEepromRead, range(1, 8, 4)).payload, bytes_of(uint32_t{0x7461726E}));
}

TEST_P(DiagnosticsServicesTest, MemoryIsReadAndWritten) {
    start();
    EXPECT_EQ(second(kMemoryWrite, range(1, 0x0F80, 3, {1, 2, 3})).status, 0U);
    EXPECT_EQ(second(kMemoryRead, range(1, 0x0F80, 4)).payload, (Bytes{1, 2, 3, 0}));
    EXPECT_EQ(second(kMemoryRead, range(1, 0x0130, 2)).payload, (Bytes{8, 0}));
    EXPECT_EQ(second(kMemoryRead, range(2, 0x0010, 2)).payload, bytes_of(uint16_t{1003}));
}

TEST_P(DiagnosticsServicesTest, MalformedAccessIsRefused) {
    start();
    for (const uint16_t code : {kEepromRead, kEepromWrite, kMemoryRead, kMemoryWrite}) {
        EXPECT_EQ(second(code, {}).status, 32770U);
        EXPECT_EQ(second(code, Bytes(5)).status, 32770U);
        EXPECT_EQ(second(code, range(4, 0, 0)).status, 32778U);
    }
    for (const uint16_t code : {kEepromRead, kMemoryRead}) {
        EXPECT_EQ(second(code, range(0, 0, 2, {1})).status, 32770U);
    }
    for (const uint16_t code : {kEepromWrite, kMemoryWrite}) {
        EXPECT_EQ(second(code, range(0, 0x20, 2, {1})).status, 34360U);
        EXPECT_EQ(second(code, range(0, 0x20, 2, {1, 2, 3})).status, 34360U);
    }
}

TEST_P(DiagnosticsServicesTest, AccessOfNoLengthDoesNothing) {
    start();
    for (const uint16_t code : {kEepromRead, kEepromWrite, kMemoryRead, kMemoryWrite}) {
        const Answer answer = second(code, range(0, 0x20, 0));
        EXPECT_EQ(answer.status, 0U);
        EXPECT_EQ(answer.length, 0U);
    }
}

TEST_P(DiagnosticsServicesTest, AccessBeyondTheEndIsRefused) {
    start();
    EXPECT_EQ(second(kEepromRead, range(0, 1024, 2)).status, 32827U);
    EXPECT_EQ(second(kEepromWrite, range(0, 1024, 2, {1, 2})).status, 32827U);
    EXPECT_EQ(second(kMemoryRead, range(0, 0xFFFF, 2)).status, 32827U);
    EXPECT_EQ(second(kMemoryWrite, range(0, 0xFFFF, 2, {1, 2})).status, 32827U);
    EXPECT_EQ(second(kMemoryRead, range(0, 0, 0xFFFF)).payload.size(), 0xFFFFU);
}

TEST_P(DiagnosticsServicesTest, AccessToAnAbsentSlaveIsRefused) {
    start();
    ASSERT_TRUE(fault(3, "unplug"));
    EXPECT_EQ(second(kEepromRead, range(3, 0, 2)).status, 32817U);
    EXPECT_EQ(second(kEepromWrite, range(3, 0, 2, {1, 2})).status, 32825U);
    EXPECT_EQ(second(kMemoryRead, range(3, 0, 2)).status, 32794U);
    EXPECT_EQ(second(kMemoryWrite, range(3, 0, 2, {1, 2})).status, 32794U);
}

TEST_P(DiagnosticsServicesTest, OnAStoppedBusOnlyRegistersAreNotWritten) {
    start();
    EXPECT_EQ(bench_.ask(10).status, 0U);
    EXPECT_EQ(second(kMemoryWrite, range(1, 0x0120, 2, {2, 0})).status, 32826U);
    EXPECT_EQ(second(kMemoryRead, range(1, 0x0130, 2)).payload, (Bytes{1, 0}));
    EXPECT_EQ(second(kEepromWrite, range(1, 0x30, 2, {1, 2})).status, 0U);
    EXPECT_EQ(second(kEepromRead, range(1, 0x30, 2)).payload, (Bytes{1, 2}));
}

TEST_P(DiagnosticsServicesTest, AccessNeedsAConfiguration) {
    for (const uint16_t code : {kEepromRead, kEepromWrite, kMemoryRead, kMemoryWrite}) {
        EXPECT_EQ(second(code, range(0, 0, 0)).status, 32775U);
    }
}

TEST_P(DiagnosticsServicesTest, TheEepromOutlivesRestartAndReset) {
    start();
    EXPECT_EQ(second(kEepromWrite, range(1, 0x30, 2, {1, 2})).status, 0U);
    EXPECT_EQ(bench_.ask(10).status, 0U);
    start();
    EXPECT_EQ(second(kEepromRead, range(1, 0x30, 2)).payload, (Bytes{1, 2}));
    bench_.firmware().boot();
    start();
    EXPECT_EQ(second(kEepromRead, range(1, 0x30, 2)).payload, (Bytes{1, 2}));
    EXPECT_EQ(last_error(1000).length, 0U);
}

// ---- faults -----------------------------------------------------------------------------------

TEST_P(DiagnosticsServicesTest, FaultsOfTheBusNeedARunningOne) {
    EXPECT_FALSE(bench_.firmware().bus_fault(0, "lose-frames", 1));
    start();
    EXPECT_TRUE(bench_.firmware().bus_fault(0, "lose-frames", 1));
    EXPECT_FALSE(bench_.firmware().bus_fault(1, "lose-frames", 1));
    EXPECT_FALSE(bench_.firmware().bus_fault(2, "lose-frames", 1));
    EXPECT_FALSE(bench_.firmware().bus_fault(0, "melt", 1));
    EXPECT_FALSE(fault(3, "unplug", {1, 0}));
    EXPECT_FALSE(fault(4, "unplug", {0, 0}));
}

} // namespace
