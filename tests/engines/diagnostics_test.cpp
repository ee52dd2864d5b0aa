// Diagnostics: what goes out byte by byte, how large a reply may be, and how it is taken apart.
#include "fake_master.h"

#include "pci_tarn/diagnostics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace tarn::test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;

Bytes part(const Bytes &bytes, size_t from, size_t size) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return {begin, begin + static_cast<std::ptrdiff_t>(size)};
}

// What the firmware is asked for a list: its count, whether the master is wanted, the slaves.
Bytes list_record(uint16_t count, uint16_t master, const std::vector<uint16_t> &slaves) {
    Bytes bytes = bytes_of(count) + bytes_of(master);
    for (uint16_t i = 0; i < count; ++i) {
        bytes = std::move(bytes) + bytes_of(slaves[i]);
    }
    return bytes;
}

class DiagnosticsTest : public testing::Test {
  protected:
    explicit DiagnosticsTest(uint16_t code) : code_(code) {
        std::iota(slaves.rbegin(), slaves.rend(), uint16_t{0});
    }
    void answer(Reply reply) { master.replies[code_] = {std::move(reply)}; }
    // With data of that many bytes.
    void answer_with(size_t bytes) { answer({.payload = counted(bytes)}); }
    FakeCard &mailbox() { return code_ < 97 ? master.primary : master.secondary; }
    const Bytes &request() { return mailbox().seen.at(0).payload; }

    // That a call sends this one request while it holds that mailbox alone.
    void expect_one_request(const std::string &mailbox_name) {
        EXPECT_THAT(master.log, ElementsAre(mailbox_name + " " + std::to_string(code_) + " under " +
                                            mailbox_name));
        EXPECT_EQ(master.primary.locked + master.secondary.locked, 1);
        EXPECT_TRUE(master.all_released());
    }

    FakeMaster master;
    std::vector<uint16_t> slaves = std::vector<uint16_t>(65535); // the last of the bus first

  private:
    uint16_t code_;
};

// ---- records of master and slaves --------------------------------------------------------------

class Diagnostics : public DiagnosticsTest {
  protected:
    Diagnostics() : DiagnosticsTest(95) {}
    uint32_t run(uint16_t count) {
        return EcatGetDiagnostics(master.handle(), record.data(), count, slaves.data(),
                                  records.data());
    }
    uint32_t run_without_master(uint16_t count) {
        return EcatGetDiagnostics(master.handle(), nullptr, count, slaves.data(), records.data());
    }

    Bytes record = Bytes(118, 0xCC);
    Bytes records = Bytes(size_t{2535} * 40, 0xCC);
};

TEST_F(Diagnostics, AsksForTheMasterAndTheListedSlaves) {
    slaves = {7, 0x0102};
    answer_with(118 + 2 * 40);
    EXPECT_EQ(run(2), 0U);
    EXPECT_EQ(master.primary.seen.at(0).code, 95);
    EXPECT_THAT(request(), ElementsAre(2, 0, 1, 0, 7, 0, 2, 1));
    EXPECT_EQ(record, counted(118));
    EXPECT_EQ(part(records, 0, 80), part(counted(198), 118, 80));
    EXPECT_THAT(part(records, 80, 40), Each(0xCC));
}

TEST_F(Diagnostics, WithoutTheMasterTheSlavesComeFirst) {
    slaves = {7};
    answer_with(40);
    EXPECT_EQ(run_without_master(1), 0U);
    EXPECT_THAT(request(), ElementsAre(1, 0, 0, 0, 7, 0));
    EXPECT_EQ(part(records, 0, 40), counted(40));
}

TEST_F(Diagnostics, OfTheMasterAloneIsARequestOf4BytesFor118) {
    answer_with(118);
    EXPECT_EQ(run(0), 0U);
    EXPECT_THAT(request(), ElementsAre(0, 0, 1, 0));
    EXPECT_EQ(record, counted(118));
    EXPECT_THAT(records, Each(0xCC));
}

TEST_F(Diagnostics, OfTheMasterAloneNeedsNoList) {
    answer_with(118);
    EXPECT_EQ(EcatGetDiagnostics(master.handle(), record.data(), 0, nullptr, nullptr), 0U);
    EXPECT_EQ(record, counted(118));
}

TEST_F(Diagnostics, OfNobodyAreSentToo) {
    EXPECT_EQ(EcatGetDiagnostics(master.handle(), nullptr, 0, nullptr, nullptr), 0U);
    EXPECT_THAT(request(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Diagnostics, OfNobodyTakeNoData) {
    answer_with(1);
    EXPECT_EQ(EcatGetDiagnostics(master.handle(), nullptr, 0, nullptr, nullptr), 80002U);
}

TEST_F(Diagnostics, HoldThePrimaryMailboxOnly) {
    run(3);
    expect_one_request("primary");
}

TEST_F(Diagnostics, Of2531SlavesAndTheMasterAreTheMost) {
    answer_with(101358);
    EXPECT_EQ(run(2531), 0U);
    EXPECT_EQ(request(), list_record(2531, 1, slaves));
    EXPECT_EQ(part(records, 0, 2531 * 40), part(counted(101358), 118, 2531 * 40));
    EXPECT_THAT(part(records, 2531 * 40, 40), Each(0xCC));
}

TEST_F(Diagnostics, Of2532SlavesAndTheMasterAreRefused) {
    EXPECT_EQ(run(2532), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(Diagnostics, Of2534SlavesAreTheMost) {
    answer_with(101360);
    EXPECT_EQ(run_without_master(2534), 0U);
    EXPECT_EQ(request(), list_record(2534, 0, slaves));
    EXPECT_EQ(part(records, 0, 101360), counted(101360));
}

TEST_F(Diagnostics, Of2535SlavesAreRefused) {
    EXPECT_EQ(run_without_master(2535), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(Diagnostics, Of65535SlavesAreRefused) {
    EXPECT_EQ(run(65535), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(Diagnostics, ReplyLargerThanAskedForIsRefused) {
    answer_with(119);
    EXPECT_EQ(run(0), 80002U);
    EXPECT_THAT(record, Each(0xCC));
}

TEST_F(Diagnostics, ShortReplyLeavesZeros) {
    slaves = {1, 2};
    answer_with(118 + 50);
    EXPECT_EQ(run(2), 0U);
    EXPECT_EQ(part(records, 0, 50), part(counted(168), 118, 50));
    EXPECT_THAT(part(records, 50, 30), Each(0));
    EXPECT_THAT(part(records, 80, 40), Each(0xCC));
}

TEST_F(Diagnostics, EmptyReplyLeavesZeros) {
    EXPECT_EQ(run(1), 0U);
    EXPECT_THAT(record, Each(0));
    EXPECT_THAT(part(records, 0, 40), Each(0));
}

TEST_F(Diagnostics, StatusOfTheFirmwareLeavesTheOutputs) {
    answer({.status = 32777, .payload = counted(158)});
    EXPECT_EQ(run(1), 32777U);
    EXPECT_THAT(record, Each(0xCC));
    EXPECT_THAT(records, Each(0xCC));
    EXPECT_TRUE(master.all_released());
}

TEST_F(Diagnostics, NoReplyEndsAfterTheHandlesTimeOut) {
    master.replies[95] = {};
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(run(1), 80003U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_THAT(record, Each(0xCC));
    EXPECT_THAT(records, Each(0xCC));
    EXPECT_TRUE(master.all_released());
}

TEST_F(Diagnostics, ListThatFitsNoSlotEndsIn80001) {
    FakeMaster small({.slot_size = 64});
    EXPECT_EQ(EcatGetDiagnostics(small.handle(), nullptr, 22, slaves.data(), records.data()), 0U);
    EXPECT_EQ(EcatGetDiagnostics(small.handle(), nullptr, 23, slaves.data(), records.data()),
              80001U);
    EXPECT_TRUE(small.all_released());
}

TEST_F(Diagnostics, NullHandleComesFirst) {
    EXPECT_EQ(EcatGetDiagnostics(nullptr, record.data(), 65535, nullptr, nullptr), 80013U);
    EXPECT_THAT(record, Each(0xCC));
}

TEST_F(Diagnostics, NullListWithACountIsRefused) {
    EXPECT_EQ(EcatGetDiagnostics(master.handle(), record.data(), 1, nullptr, records.data()),
              32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(Diagnostics, NullRecordsWithACountAreRefused) {
    EXPECT_EQ(EcatGetDiagnostics(master.handle(), record.data(), 1, slaves.data(), nullptr),
              32770U);
    EXPECT_TRUE(master.nothing_happened());
}

// ---- states of master and slaves ---------------------------------------------------------------

class DiagnosticStates : public DiagnosticsTest {
  protected:
    DiagnosticStates() : DiagnosticsTest(96) {}
    uint32_t run(uint16_t count) {
        return EcatGetSlaveDiagnosticStates(master.handle(), &state, count, slaves.data(),
                                            states.data(), details.data());
    }
    uint32_t run_without_master(uint16_t count) {
        return EcatGetSlaveDiagnosticStates(master.handle(), nullptr, count, slaves.data(),
                                            states.data(), details.data());
    }
    static uint32_t word(size_t bytes, size_t offset) {
        return at<uint32_t>(counted(bytes).data() + offset);
    }

    uint32_t state = 0xCCCCCCCC;
    std::vector<uint32_t> states = std::vector<uint32_t>(5069, 0xCCCCCCCC);
    Bytes details = Bytes(size_t{5069} * 16, 0xCC);
};

TEST_F(DiagnosticStates, GivesStatesAndDetailsOfTheListedSlaves) {
    slaves = {7, 0x0102};
    answer_with(44);
    EXPECT_EQ(run(2), 0U);
    EXPECT_EQ(master.primary.seen.at(0).code, 96);
    EXPECT_THAT(request(), ElementsAre(2, 0, 1, 0, 7, 0, 2, 1));
    EXPECT_EQ(state, word(44, 0));
    EXPECT_EQ(states[0], word(44, 4));
    EXPECT_EQ(states[1], word(44, 8));
    EXPECT_EQ(states[2], 0xCCCCCCCCU);
    EXPECT_EQ(part(details, 0, 32), part(counted(44), 12, 32));
    EXPECT_THAT(part(details, 32, 16), Each(0xCC));
}

TEST_F(DiagnosticStates, WithoutTheMasterTheSlavesComeFirst) {
    slaves = {7};
    answer_with(20);
    EXPECT_EQ(run_without_master(1), 0U);
    EXPECT_THAT(request(), ElementsAre(1, 0, 0, 0, 7, 0));
    EXPECT_EQ(states[0], word(20, 0));
    EXPECT_EQ(part(details, 0, 16), part(counted(20), 4, 16));
}

TEST_F(DiagnosticStates, StatesMayBeLeftOut) {
    slaves = {7, 8};
    answer_with(44);
    EXPECT_EQ(EcatGetSlaveDiagnosticStates(master.handle(), &state, 2, slaves.data(), nullptr,
                                           details.data()),
              0U);
    EXPECT_EQ(state, word(44, 0));
    EXPECT_EQ(part(details, 0, 32), part(counted(44), 12, 32));
}

TEST_F(DiagnosticStates, DetailsMayBeLeftOut) {
    slaves = {7, 8};
    answer_with(40);
    EXPECT_EQ(EcatGetSlaveDiagnosticStates(master.handle(), nullptr, 2, slaves.data(),
                                           states.data(), nullptr),
              0U);
    EXPECT_EQ(states[0], word(40, 0));
    EXPECT_EQ(states[1], word(40, 4));
}

TEST_F(DiagnosticStates, WhatIsLeftOutIsAskedForAllTheSame) {
    slaves = {7};
    answer_with(20);
    EXPECT_EQ(
        EcatGetSlaveDiagnosticStates(master.handle(), nullptr, 1, slaves.data(), nullptr, nullptr),
        0U);
    EXPECT_THAT(request(), ElementsAre(1, 0, 0, 0, 7, 0));
}

TEST_F(DiagnosticStates, OfTheMasterAlone) {
    answer_with(4);
    EXPECT_EQ(EcatGetSlaveDiagnosticStates(master.handle(), &state, 0, nullptr, nullptr, nullptr),
              0U);
    EXPECT_THAT(request(), ElementsAre(0, 0, 1, 0));
    EXPECT_EQ(state, 0x04030201U);
}

TEST_F(DiagnosticStates, OfNobodyAreSentToo) {
    EXPECT_EQ(EcatGetSlaveDiagnosticStates(master.handle(), nullptr, 0, nullptr, nullptr, nullptr),
              0U);
    EXPECT_THAT(request(), ElementsAre(0, 0, 0, 0));
}

TEST_F(DiagnosticStates, HoldThePrimaryMailboxOnly) {
    run(3);
    expect_one_request("primary");
}

TEST_F(DiagnosticStates, Of5068SlavesAndTheMasterAreTheMost) {
    answer_with(101364);
    EXPECT_EQ(run(5068), 0U);
    EXPECT_EQ(request(), list_record(5068, 1, slaves));
    EXPECT_EQ(states[5067], word(101364, 4 + 5067 * 4));
    EXPECT_EQ(states[5068], 0xCCCCCCCCU);
    EXPECT_EQ(part(details, 0, 5068 * 16), part(counted(101364), 4 + 5068 * 4, 5068 * 16));
    EXPECT_THAT(part(details, 5068 * 16, 16), Each(0xCC));
}

TEST_F(DiagnosticStates, Of5068SlavesAreTheMostWithoutTheMasterToo) {
    answer_with(101360);
    EXPECT_EQ(run_without_master(5068), 0U);
    EXPECT_EQ(request(), list_record(5068, 0, slaves));
}

TEST_F(DiagnosticStates, Of5069SlavesAreRefused) {
    EXPECT_EQ(run(5069), 32770U);
    EXPECT_EQ(run_without_master(5069), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(DiagnosticStates, Of5069SlavesAreRefusedAlsoWhenNothingIsWanted) {
    EXPECT_EQ(EcatGetSlaveDiagnosticStates(master.handle(), nullptr, 5069, slaves.data(), nullptr,
                                           nullptr),
              32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(DiagnosticStates, ReplyLargerThanAskedForIsRefused) {
    answer_with(25);
    EXPECT_EQ(run(1), 80002U);
    EXPECT_EQ(state, 0xCCCCCCCCU);
    EXPECT_THAT(states, Each(0xCCCCCCCC));
}

TEST_F(DiagnosticStates, ShortReplyLeavesZeros) {
    slaves = {1, 2};
    answer_with(10);
    EXPECT_EQ(run(2), 0U);
    EXPECT_EQ(state, 0x04030201U);
    EXPECT_EQ(states[0], 0x08070605U);
    EXPECT_EQ(states[1], 0x00000A09U);
    EXPECT_THAT(part(details, 0, 32), Each(0));
}

TEST_F(DiagnosticStates, StatusOfTheFirmwareLeavesTheOutputs) {
    answer({.status = 32777, .payload = counted(24)});
    EXPECT_EQ(run(1), 32777U);
    EXPECT_EQ(state, 0xCCCCCCCCU);
    EXPECT_THAT(states, Each(0xCCCCCCCC));
    EXPECT_THAT(details, Each(0xCC));
}

TEST_F(DiagnosticStates, NoReplyEndsAfterTheHandlesTimeOut) {
    master.replies[96] = {};
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(run(1), 80003U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_EQ(state, 0xCCCCCCCCU);
    EXPECT_TRUE(master.all_released());
}

TEST_F(DiagnosticStates, NullHandleComesFirst) {
    EXPECT_EQ(EcatGetSlaveDiagnosticStates(nullptr, &state, 5069, nullptr, nullptr, nullptr),
              80013U);
    EXPECT_EQ(state, 0xCCCCCCCCU);
}

TEST_F(DiagnosticStates, NullListWithACountIsRefused) {
    EXPECT_EQ(EcatGetSlaveDiagnosticStates(master.handle(), &state, 1, nullptr, states.data(),
                                           details.data()),
              32770U);
    EXPECT_TRUE(master.nothing_happened());
}

// ---- link status -------------------------------------------------------------------------------

class SlaveLinkStatus : public DiagnosticsTest {
  protected:
    SlaveLinkStatus() : DiagnosticsTest(97) {}
    uint32_t run() {
        return EcatNetDiagnosticsGetSlaveLinkStatus(master.handle(), records.data(), &count);
    }

    Bytes records = Bytes(size_t{4} * 488, 0xCC);
    uint16_t count = 3;
};

TEST_F(SlaveLinkStatus, CountsTheWholeRecordsReceived) {
    answer_with(976);
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(master.secondary.seen.at(0).code, 97);
    EXPECT_THAT(request(), ElementsAre(3, 0));
    EXPECT_EQ(part(records, 0, 976), counted(976));
    EXPECT_THAT(part(records, 976, 976), Each(0xCC));
}

TEST_F(SlaveLinkStatus, PartOfARecordIsNotCounted) {
    answer_with(976 + 487);
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(count, 2U);
}

TEST_F(SlaveLinkStatus, AsManyAsThereIsRoomFor) {
    answer_with(3 * 488);
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(count, 3U);
}

TEST_F(SlaveLinkStatus, EmptyReplyIsNoRecord) {
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(count, 0U);
}

TEST_F(SlaveLinkStatus, OneByteMoreIsTooMuchAndKeepsTheCount) {
    answer_with(3 * 488 + 1);
    EXPECT_EQ(run(), 80002U);
    EXPECT_EQ(count, 3U);
    EXPECT_THAT(records, Each(0xCC));
}

TEST_F(SlaveLinkStatus, LargestCountIsSent) {
    count = 65535;
    answer_with(488);
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(request(), ElementsAre(0xFF, 0xFF));
    EXPECT_EQ(count, 1U);
}

TEST_F(SlaveLinkStatus, HoldsTheSecondaryMailboxOnly) {
    run();
    expect_one_request("secondary");
}

TEST_F(SlaveLinkStatus, StatusOfTheFirmwareKeepsTheCountButNotTheData) {
    answer({.status = 32777, .payload = counted(976)});
    EXPECT_EQ(run(), 32777U);
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(part(records, 0, 976), counted(976));
}

TEST_F(SlaveLinkStatus, NoReplyKeepsTheCount) {
    master.replies[97] = {};
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(run(), 80003U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_EQ(count, 3U);
    EXPECT_TRUE(master.all_released());
}

TEST_F(SlaveLinkStatus, FullQueueKeepsTheCount) {
    master.secondary.out_write() = 1; // the one slot is taken
    EXPECT_EQ(run(), 80001U);
    EXPECT_EQ(count, 3U);
}

TEST_F(SlaveLinkStatus, NullHandleComesFirst) {
    EXPECT_EQ(EcatNetDiagnosticsGetSlaveLinkStatus(nullptr, nullptr, nullptr), 80013U);
    EXPECT_EQ(EcatNetDiagnosticsGetSlaveLinkStatus(nullptr, records.data(), &count), 80013U);
    EXPECT_EQ(count, 3U);
}

TEST_F(SlaveLinkStatus, NullRecordsAreRefused) {
    EXPECT_EQ(EcatNetDiagnosticsGetSlaveLinkStatus(master.handle(), nullptr, &count), 32770U);
    EXPECT_TRUE(master.nothing_happened());
    EXPECT_EQ(count, 3U);
}

TEST_F(SlaveLinkStatus, NullCountIsRefused) {
    EXPECT_EQ(EcatNetDiagnosticsGetSlaveLinkStatus(master.handle(), records.data(), nullptr),
              32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(SlaveLinkStatus, CountOfZeroIsRefused) {
    count = 0;
    EXPECT_EQ(run(), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

// ---- first port without link -------------------------------------------------------------------

class FirstLinkDownPort : public DiagnosticsTest {
  protected:
    FirstLinkDownPort() : DiagnosticsTest(83) {}
    uint32_t run() { return EcatGetFirstLinkDownPortStatus(master.handle(), status.data()); }

    Bytes status = Bytes(5, 0xCC);
};

TEST_F(FirstLinkDownPort, GivesFourBytes) {
    answer_with(4);
    EXPECT_EQ(run(), 0U);
    EXPECT_EQ(master.primary.seen.at(0).code, 83);
    EXPECT_THAT(request(), SizeIs(0));
    EXPECT_THAT(status, ElementsAre(1, 2, 3, 4, 0xCC));
}

TEST_F(FirstLinkDownPort, HoldsThePrimaryMailboxOnly) {
    run();
    expect_one_request("primary");
}

TEST_F(FirstLinkDownPort, FiveBytesAreTooMuch) {
    answer_with(5);
    EXPECT_EQ(run(), 80002U);
    EXPECT_THAT(status, Each(0xCC));
}

TEST_F(FirstLinkDownPort, ShorterReplyLeavesTheRest) {
    answer_with(1);
    EXPECT_EQ(run(), 0U);
    EXPECT_THAT(status, ElementsAre(1, 0xCC, 0xCC, 0xCC, 0xCC));
}

TEST_F(FirstLinkDownPort, DataBesideAStatusArrives) {
    answer({.status = 32777, .payload = counted(4)});
    EXPECT_EQ(run(), 32777U);
    EXPECT_THAT(status, ElementsAre(1, 2, 3, 4, 0xCC));
}

TEST_F(FirstLinkDownPort, NoReplyLeavesTheOutput) {
    master.replies[83] = {};
    EXPECT_EQ(run(), 80003U);
    EXPECT_THAT(status, Each(0xCC));
    EXPECT_TRUE(master.all_released());
}

TEST_F(FirstLinkDownPort, NullOutputTakesNoData) {
    answer_with(4);
    EXPECT_EQ(EcatGetFirstLinkDownPortStatus(master.handle(), nullptr), 80002U);
}

TEST_F(FirstLinkDownPort, NullHandleIsInvalid) {
    EXPECT_EQ(EcatGetFirstLinkDownPortStatus(nullptr, status.data()), 80013U);
    EXPECT_EQ(EcatGetFirstLinkDownPortStatus(nullptr, nullptr), 80013U);
    EXPECT_THAT(status, Each(0xCC));
}

// ---- last error --------------------------------------------------------------------------------

class LastError : public DiagnosticsTest {
  protected:
    LastError() : DiagnosticsTest(98) {}
    uint32_t run(uint32_t size) {
        return EcatGetLastError(master.handle(), buffer.data(), size, &length);
    }

    Bytes buffer = Bytes(300, 0xCC);
    uint32_t length = 256;
};

TEST_F(LastError, GivesTheRecordAndItsLength) {
    answer_with(100);
    EXPECT_EQ(run(0x01020304), 0U);
    EXPECT_EQ(master.secondary.seen.at(0).code, 98);
    EXPECT_THAT(request(), ElementsAre(4, 3, 2, 1));
    EXPECT_EQ(length, 100U);
    EXPECT_EQ(part(buffer, 0, 100), counted(100));
    EXPECT_THAT(part(buffer, 100, 200), Each(0xCC));
}

TEST_F(LastError, LengthIsTheCapacityAndNotTheSize) {
    length = 10;
    answer_with(11);
    EXPECT_EQ(run(256), 80002U);
    EXPECT_EQ(length, 0U);
    EXPECT_THAT(buffer, Each(0xCC));
}

TEST_F(LastError, LengthMayBeLargerThanTheSize) {
    answer_with(20);
    EXPECT_EQ(run(10), 0U);
    EXPECT_EQ(length, 20U);
}

TEST_F(LastError, LengthOfZeroTakesNoRecord) {
    length = 0;
    answer_with(1);
    EXPECT_EQ(run(256), 80002U);
    EXPECT_EQ(length, 0U);
    EXPECT_THAT(buffer, Each(0xCC));
}

TEST_F(LastError, LengthOfZeroTakesAnEmptyReply) {
    length = 0;
    EXPECT_EQ(run(256), 0U);
    EXPECT_EQ(length, 0U);
}

TEST_F(LastError, RecordOfExactlyTheLengthFits) {
    length = 10;
    answer_with(10);
    EXPECT_EQ(run(10), 0U);
    EXPECT_EQ(length, 10U);
}

TEST_F(LastError, HoldsTheSecondaryMailboxOnly) {
    run(256);
    expect_one_request("secondary");
}

TEST_F(LastError, DataBesideAStatusArrives) {
    answer({.status = 32777, .payload = counted(3)});
    EXPECT_EQ(run(256), 32777U);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(part(buffer, 0, 3), counted(3));
}

TEST_F(LastError, NoReplyLeavesNoLength) {
    master.replies[98] = {};
    const uint64_t start = master.primary.now_ms();
    EXPECT_EQ(run(256), 80003U);
    EXPECT_EQ(master.primary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_EQ(length, 0U);
    EXPECT_TRUE(master.all_released());
}

TEST_F(LastError, FullQueueLeavesNoLength) {
    master.secondary.out_write() = 1; // the one slot is taken
    EXPECT_EQ(run(256), 80001U);
    EXPECT_EQ(length, 0U);
}

TEST_F(LastError, NullHandleComesFirst) {
    EXPECT_EQ(EcatGetLastError(nullptr, nullptr, 0, nullptr), 80013U);
    EXPECT_EQ(EcatGetLastError(nullptr, buffer.data(), 256, &length), 80013U);
    EXPECT_EQ(length, 256U);
}

TEST_F(LastError, NullBufferIsRefused) {
    EXPECT_EQ(EcatGetLastError(master.handle(), nullptr, 256, &length), 32770U);
    EXPECT_TRUE(master.nothing_happened());
    EXPECT_EQ(length, 256U);
}

TEST_F(LastError, NullLengthIsRefused) {
    EXPECT_EQ(EcatGetLastError(master.handle(), buffer.data(), 256, nullptr), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

TEST_F(LastError, SizeOfZeroIsRefused) {
    EXPECT_EQ(run(0), 32770U);
    EXPECT_TRUE(master.nothing_happened());
    EXPECT_EQ(length, 256U);
}

} // namespace
