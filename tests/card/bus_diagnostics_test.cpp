// What a bus counts about itself, and that each fault shows where it belongs and nowhere else.
#include "card/bus_bench.h"
#include "support/process.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>

using namespace tarn::vcard;
using tarn::test::BusBench;
using tarn::test::changes;
using tarn::test::eventually;
using tarn::test::Snapshot;
using testing::Contains;
using testing::Each;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

namespace {

class BusDiagnosticsTest : public BusBench {
  protected:
    // A coupler, two slaves with 8 outputs and inputs each, a drive.
    void run_usual(uint8_t state = 8) { run({{"coupler"}, {"dio8", 2}, {"drive"}}, state); }

    Snapshot after(const std::function<void()> &act) {
        act();
        cycles(3);
        return snapshot();
    }
};

// ---- a bus in order ---------------------------------------------------------------------------

TEST_F(BusDiagnosticsTest, NothingIsWrongOnABusInOrder) {
    run_usual();
    cycles(5);
    const Snapshot seen = snapshot();
    EXPECT_EQ(seen.master.frames_lost, 0U);
    EXPECT_EQ(seen.master.wkc_errors, 0U);
    EXPECT_EQ(seen.master.links_lost, 0U);
    EXPECT_EQ(seen.master.crc_errors, 0U);
    EXPECT_EQ(seen.master.links_down, 0);
    EXPECT_EQ(seen.master.slaves_in_error, 0);
    EXPECT_EQ(seen.master.flags & ~0x0002U, 0U);
    EXPECT_THAT(seen.errors, IsEmpty());
    EXPECT_EQ(seen.first_down.slave, 0xFFFF);
    EXPECT_EQ(seen.first_down.port, 0xFFFF);
}

TEST_F(BusDiagnosticsTest, NothingChangesWhileTheBusRunsInOrder) {
    run_usual();
    cycles(2);
    const Snapshot before = snapshot();
    EXPECT_THAT(changes(before, after([] {})), IsEmpty());
}

TEST_F(BusDiagnosticsTest, CountsCyclesAndFrames) {
    run_usual();
    cycles(10);
    const Snapshot first = snapshot();
    cycles(10);
    const Snapshot second = snapshot();
    EXPECT_EQ(first.master.frames_per_cycle, network_.frames_per_cycle);
    EXPECT_EQ(first.master.frames_per_cycle, 3);
    EXPECT_EQ(second.master.frames_sent, second.master.cycles * 3);
    EXPECT_GE(second.master.cycles, first.master.cycles + 10);
}

TEST_F(BusDiagnosticsTest, CountsNoCyclesBelowSafeOp) {
    run_usual(2);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(snapshot().master.cycles, 0U);
    EXPECT_EQ(snapshot().master.frames_sent, 0U);
    EXPECT_EQ(snapshot().master.cycle_max_ns, 0U);
}

TEST_F(BusDiagnosticsTest, MeasuresTheCycleTime) {
    run_usual();
    cycles(20);
    const VcardMasterDiagnostics master = snapshot().master;
    EXPECT_EQ(master.cycle_time_ns, 500'000U);
    EXPECT_GT(master.cycle_min_ns, 0U);
    EXPECT_LE(master.cycle_min_ns, master.cycle_mean_ns);
    EXPECT_LE(master.cycle_mean_ns, master.cycle_max_ns);
    EXPECT_GT(master.run_time_ns, master.cycle_max_ns);
}

TEST_F(BusDiagnosticsTest, TheRunTimeStandsStillAfterAStop) {
    run_usual();
    cycles(3);
    bus_.stop();
    const uint64_t stopped = snapshot().master.run_time_ns;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_GT(stopped, 0U);
    EXPECT_EQ(snapshot().master.run_time_ns, stopped);
}

TEST_F(BusDiagnosticsTest, CountersBeginAnewWithAStart) {
    run_usual();
    bus_.fault(1, "crc-errors", {0, 5});
    bus_.bus_fault("lose-frames", 3);
    cycles(3);
    restart();
    const Snapshot seen = snapshot();
    EXPECT_EQ(seen.master.crc_errors, 0U);
    EXPECT_EQ(seen.master.frames_lost, 0U);
    EXPECT_EQ(seen.slaves[1].crc_errors[0], 0);
    EXPECT_EQ(seen.master.errors_listed, 0U);
    EXPECT_EQ(seen.errors.size(), 2U); // the list stays
}

TEST_F(BusDiagnosticsTest, CountsStateChanges) {
    run_usual();
    const Snapshot seen = snapshot();
    EXPECT_EQ(seen.slaves[0].state_changes, 3U); // PREOP, SAFEOP, OP
    EXPECT_EQ(seen.master.state_changes, 4U * 3U);
    EXPECT_EQ(seen.details[0].state, 8);
    EXPECT_EQ(seen.details[0].previous_state, 4);
    EXPECT_GT(seen.details[0].changed_ns, 0U);
    bus_.request_state(4);
    EXPECT_EQ(snapshot().slaves[0].state_changes, 4U);
    EXPECT_EQ(snapshot().details[0].previous_state, 8);
}

TEST_F(BusDiagnosticsTest, ASlaveThatNeverChangedHasNoTime) {
    run_usual(1);
    const VcardSlaveDetail detail = snapshot().details[0];
    EXPECT_EQ(detail.changed_ns, 0U);
    EXPECT_EQ(detail.previous_state, 0);
    EXPECT_EQ(detail.state, 1);
}

TEST_F(BusDiagnosticsTest, TellsTheStatesOfMasterAndSlaves) {
    run_usual(4);
    const Snapshot seen = snapshot();
    EXPECT_EQ(seen.master.state, 4);
    EXPECT_EQ(seen.master.requested_state, 4);
    EXPECT_EQ(seen.master.slaves_configured, 4);
    EXPECT_EQ(seen.master.slaves_present, 4);
    EXPECT_EQ(seen.master.slaves_operational, 0);
    EXPECT_EQ(seen.slaves[2].state, 4);
    EXPECT_EQ(seen.slaves[2].requested_state, 4);
    EXPECT_EQ(seen.slaves[2].fixed_address, 1003);
    bus_.request_state(8);
    EXPECT_EQ(snapshot().master.slaves_operational, 4);
}

TEST_F(BusDiagnosticsTest, ExpectsTheWorkingCounterOfTheMastersState) {
    run_usual();
    cycles(2);
    EXPECT_EQ(snapshot().master.expected_counter, 6U); // three slaves, inputs 1, outputs 1
    EXPECT_EQ(snapshot().master.working_counter, 6U);
    EXPECT_EQ(snapshot().details[0].expected_counter, 0); // a coupler has no data
    EXPECT_EQ(snapshot().details[1].expected_counter, 2);
    EXPECT_EQ(snapshot().details[1].working_counter, 2);
    bus_.request_state(4); // outputs are taken there, too
    cycles(2);
    EXPECT_EQ(snapshot().master.expected_counter, 6U);
    EXPECT_EQ(snapshot().master.working_counter, 6U);
    bus_.request_state(2);
    EXPECT_EQ(snapshot().master.expected_counter, 0U);
    EXPECT_EQ(snapshot().master.working_counter, 0U);
    EXPECT_EQ(snapshot().master.wkc_errors, 0U);
}

TEST_F(BusDiagnosticsTest, OutputsCountTwiceInACommandThatReadsAndWrites) {
    Network network = network_of({{"dio8", 2}});
    ASSERT_TRUE(network.slaves[1].written_only);
    network.slaves[1].written_only = false;
    run(network);
    cycles(2);
    EXPECT_EQ(snapshot().details[0].working_counter, 2);
    EXPECT_EQ(snapshot().details[1].working_counter, 3);
    EXPECT_EQ(snapshot().master.working_counter, 5U);
    EXPECT_EQ(snapshot().master.expected_counter, 5U);
}

TEST_F(BusDiagnosticsTest, ASlaveInPreopTakesItsPartAway) {
    run_usual();
    write_memory(1, 0x0120, {2, 0});
    cycles(2);
    EXPECT_EQ(snapshot().details[1].working_counter, 0);
    EXPECT_EQ(snapshot().master.working_counter, 4U);
    EXPECT_EQ(snapshot().master.expected_counter, 6U);
    EXPECT_GT(snapshot().slaves[1].wkc_errors, 0U);
}

// ---- clocks -----------------------------------------------------------------------------------

TEST_F(BusDiagnosticsTest, ClocksOfDcSlavesMoveWithinBounds) {
    run({{"drive", 3}, {"dio8"}});
    cycles(50);
    const Snapshot seen = snapshot();
    EXPECT_EQ(seen.master.dc_slaves, 3);
    EXPECT_EQ(seen.master.dc_reference, 0);
    EXPECT_EQ(seen.slaves[0].dc_difference_ns, 0); // the reference
    EXPECT_EQ(seen.slaves[3].dc_difference_ns, 0); // no DC
    for (const uint32_t slave : {1U, 2U}) {
        EXPECT_LE(std::abs(seen.slaves[slave].dc_difference_ns), 60);
        EXPECT_TRUE(eventually([&] { // it does not stand still
            cycles(1);
            return snapshot().slaves[slave].dc_difference_ns != seen.slaves[slave].dc_difference_ns;
        }));
    }
    EXPECT_LE(seen.master.dc_difference_ns, seen.master.dc_largest_ns);
    EXPECT_GT(seen.master.dc_largest_ns, 0U);
    EXPECT_LE(seen.master.dc_largest_ns, 60U);
    EXPECT_EQ(seen.flags[0] & 0x80U, 0x80U);
    EXPECT_EQ(seen.flags[3] & 0x80U, 0U);
}

TEST_F(BusDiagnosticsTest, WithoutDcThereIsNoDifference) {
    run({{"dio8", 2}});
    cycles(5);
    const VcardMasterDiagnostics master = snapshot().master;
    EXPECT_EQ(master.dc_slaves, 0);
    EXPECT_EQ(master.dc_reference, 0xFFFF);
    EXPECT_EQ(master.dc_largest_ns, 0U);
}

TEST_F(BusDiagnosticsTest, TheReferenceClockIsTheOneOfTheConfiguration) {
    Network network = network_of({{"drive", 3}});
    network.slaves[1].dc_config.reference_clock = true;
    run(network);
    EXPECT_EQ(snapshot().master.dc_reference, 1);
}

// ---- links ------------------------------------------------------------------------------------

TEST_F(BusDiagnosticsTest, LinksOfALine) {
    run_usual();
    const std::vector<VcardLinkStatus> links = snapshot().links;
    EXPECT_EQ(links[0].slave, 0);
    EXPECT_EQ(links[0].parent, 0xFFFE);
    EXPECT_STREQ(links[0].name, "coupler 1");
    EXPECT_EQ(links[0].vendor_id, network_.slaves[0].vendor_id);
    EXPECT_EQ(links[0].product_code, network_.slaves[0].product_code);
    EXPECT_EQ(links[0].ports_configured, 0b0011);
    EXPECT_EQ(links[0].present, 1);
    EXPECT_EQ(links[0].state, 8);
    EXPECT_EQ(links[0].dl_status, bus_.slave(0).dl_status);
    EXPECT_STREQ(links[0].ports[0].neighbour_name, "master");
    EXPECT_EQ(links[0].ports[0].neighbour, 0xFFFE);
    EXPECT_EQ(links[0].ports[1].neighbour, 1);
    EXPECT_EQ(links[0].ports[1].neighbour_port, 0);
    EXPECT_STREQ(links[0].ports[1].neighbour_name, "dio8 2");
    EXPECT_EQ(links[0].ports[1].link, 1);
    EXPECT_EQ(links[0].ports[1].loop_closed, 0);
    EXPECT_EQ(links[0].ports[1].communication, 1);
    EXPECT_GT(links[0].ports[1].propagation_ns, 0U);
    EXPECT_EQ(links[1].parent, 0);
    EXPECT_EQ(links[1].ports[0].neighbour_port, 1);
    EXPECT_EQ(links[3].ports_configured, 0b0001);
    EXPECT_EQ(links[3].ports[1].neighbour, 0xFFFF);
    EXPECT_EQ(links[3].ports[1].neighbour_port, 0xFF);
    EXPECT_EQ(links[3].ports[1].loop_closed, 1);
    EXPECT_EQ(links[3].ports[1].down, 0);
    EXPECT_STREQ(links[3].ports[1].neighbour_name, "");
}

TEST_F(BusDiagnosticsTest, LinksOfATree) {
    Network network = network_of({{"coupler"}, {"dio8", 3}});
    network.slaves[2].previous_port_slave = 0;
    network.slaves[3].previous_port_slave = 0;
    run(network);
    const std::vector<VcardLinkStatus> links = snapshot().links;
    EXPECT_EQ(links[0].ports_configured, 0b1111);
    EXPECT_EQ(links[0].ports[2].neighbour, 2);
    EXPECT_EQ(links[3].ports[0].neighbour, 0);
    EXPECT_EQ(links[3].ports[0].neighbour_port, 3);
}

TEST_F(BusDiagnosticsTest, SlavesHangOnThePortsOfTheFile) {
    Network network = network_of({{"coupler"}, {"dio8", 3}});
    for (uint32_t i = 1; i < 4; ++i) {
        network.slaves[i].previous_port_slave = 0;
    }
    network.slaves[1].previous_port = 3; // D, then one of nowhere, then B
    network.slaves[2].previous_port = 0;
    network.slaves[3].previous_port = 1;
    run(network);
    const std::vector<VcardLinkStatus> links = snapshot().links;
    EXPECT_EQ(links[0].ports[3].neighbour, 1);
    EXPECT_EQ(links[0].ports[2].neighbour, 2);
    EXPECT_EQ(links[0].ports[1].neighbour, 3);
    EXPECT_EQ(links[1].ports[0].neighbour_port, 3);
    ASSERT_TRUE(bus_.fault(0, "unplug", {3, 0}));
    EXPECT_EQ(bus_.slave(1).state, 0);
    EXPECT_EQ(snapshot().first_down.port, 3);
}

TEST_F(BusDiagnosticsTest, APortIsTakenOnce) {
    Network network = network_of({{"coupler"}, {"dio8", 2}});
    network.slaves[2].previous_port_slave = 0;
    network.slaves[1].previous_port = network.slaves[2].previous_port = 3;
    run(network);
    EXPECT_EQ(snapshot().links[0].ports[3].neighbour, 1);
    EXPECT_EQ(snapshot().links[0].ports[1].neighbour, 2);
}

TEST_F(BusDiagnosticsTest, AFifthNeighbourHangsOnNoPort) {
    Network network = network_of({{"coupler"}, {"dio8", 4}});
    for (uint32_t i = 2; i < 5; ++i) {
        network.slaves[i].previous_port_slave = 0;
    }
    run(network);
    EXPECT_EQ(snapshot().links[4].parent, 0);
    EXPECT_EQ(snapshot().links[4].ports[0].neighbour_port, 0xFF);
    ASSERT_TRUE(bus_.fault(4, "unplug"));
    EXPECT_EQ(snapshot().first_down.slave, 4);
    EXPECT_EQ(snapshot().first_down.port, 0);
}

TEST_F(BusDiagnosticsTest, LongNamesAreCutBetweenCharacters) {
    Network network = network_of({{"coupler"}});
    network.slaves[0].name = std::string(62, 'a') + "\xC3\xA4";
    run(network);
    EXPECT_EQ(std::string(snapshot().links[0].name), std::string(62, 'a'));
}

// ---- a pulled cable ---------------------------------------------------------------------------

TEST_F(BusDiagnosticsTest, APulledCableShowsInItsRecordsOnly) {
    run_usual();
    cycles(2);
    const Snapshot before = snapshot();
    const Snapshot now = after([this] { ASSERT_TRUE(bus_.fault(1, "unplug", {1, 0})); });
    std::vector<std::string> expected = {
        "master.wkc_errors", "master.state_changes", "master.links_lost", "master.working_counter",
        "master.errors_listed", "master.flags", "master.slaves_present",
        "master.slaves_operational", "master.links_down", "first_down", "errors",
        // the upper end
        "slave 1.links_lost[1]", "slave 1.dl_status", "state 1.flags", "links 1.dl_status",
        "links 1.ports_down", "links 1.links_lost", "port 1:1.link", "port 1:1.loop_closed",
        "port 1:1.communication", "port 1:1.down", "port 1:1.links_lost", "port 1:1.changed_ns",
        "port 1:1.propagation_ns",
        // the lower end
        "slave 2.links_lost[0]", "links 2.ports_down", "links 2.links_lost", "port 2:0.down",
        "port 2:0.links_lost", "port 2:0.changed_ns", "port 2:2.loop_closed",
        "port 2:3.loop_closed", "port 3:1.loop_closed", "port 3:2.loop_closed",
        "port 3:3.loop_closed",
        // links that nobody sees any more
        "port 2:1.link", "port 2:1.communication", "port 2:1.propagation_ns", "port 2:0.link",
        "port 2:0.communication", "port 2:0.propagation_ns", "port 3:0.link",
        "port 3:0.communication", "port 3:0.propagation_ns"};
    for (const std::string &slave : {std::string("2"), std::string("3")}) {
        for (const char *field :
             {".state", ".state_changes", ".wkc_errors", ".times_lost", ".dl_status"}) {
            expected.push_back("slave " + slave + field);
        }
        for (const char *field : {".changed_ns", ".state", ".previous_state", ".working_counter"}) {
            expected.push_back("detail " + slave + field);
        }
        expected.push_back("state " + slave + ".flags");
        for (const char *field : {".dl_status", ".present", ".state"}) {
            expected.push_back("links " + slave + field);
        }
    }
    EXPECT_THAT(changes(before, now), UnorderedElementsAreArray(expected));
    EXPECT_EQ(now.master.slaves_present, 2);
    EXPECT_EQ(now.master.links_lost, 1U);
    EXPECT_EQ(now.master.links_down, 1);
    EXPECT_EQ(now.master.working_counter, 2U);
    EXPECT_EQ(now.master.expected_counter, 6U);
    EXPECT_EQ(now.first_down.slave, 1);
    EXPECT_EQ(now.first_down.port, 1);
    EXPECT_EQ(now.slaves[2].state, 0);
    EXPECT_EQ(now.slaves[2].times_lost, 1U);
    EXPECT_GT(now.slaves[2].wkc_errors, 0U);
    EXPECT_EQ(now.slaves[1].wkc_errors, 0U);
    EXPECT_EQ(now.details[2].previous_state, 8);
    // absent, not in its state, working counter, was lost, working counter errors, link 0
    EXPECT_EQ(now.flags[2] & ~0x0080U, 0x0001U | 0x0004U | 0x0008U | 0x0010U | 0x0040U | 0x0100U);
    EXPECT_EQ(now.flags[1], 0x0200U);
    EXPECT_EQ(now.master.flags & ~0x0002U, 0x0004U | 0x0008U | 0x0020U | 0x0040U | 0x0100U);
}

TEST_F(BusDiagnosticsTest, APulledCableIsListedWithTheSlavesBehindIt) {
    run_usual();
    ASSERT_TRUE(bus_.fault(1, "unplug", {1, 0}));
    const std::vector<VcardErrorRecord> errors = snapshot().errors;
    ASSERT_EQ(errors.size(), 2U);
    EXPECT_EQ(errors[0].kind, 3);
    EXPECT_EQ(errors[0].slave, 2);
    EXPECT_EQ(errors[0].port, 0xFFFF);
    EXPECT_EQ(errors[0].status, 80014U);
    EXPECT_STREQ(errors[0].text, "slave 2 \"dio8 3\" and 1 behind do not answer");
    EXPECT_EQ(errors[1].kind, 6);
    EXPECT_EQ(errors[1].slave, 1);
    EXPECT_EQ(errors[1].port, 1);
    EXPECT_STREQ(errors[1].text, "no link at port 1 of slave 1 \"dio8 2\"");
}

TEST_F(BusDiagnosticsTest, Port0CutsTheSlaveItself) {
    run_usual();
    ASSERT_TRUE(bus_.fault(2, "unplug", {0, 0}));
    EXPECT_EQ(bus_.slave(1).state, 8);
    EXPECT_EQ(bus_.slave(2).state, 0);
    EXPECT_EQ(bus_.slave(3).state, 0);
    EXPECT_EQ(snapshot().first_down.slave, 1);
    EXPECT_EQ(snapshot().first_down.port, 1);
}

TEST_F(BusDiagnosticsTest, APulledCableEndsOneBranchOnly) {
    Network network = network_of({{"coupler"}, {"dio8", 3}});
    network.slaves[3].previous_port_slave = 0;
    run(network);
    ASSERT_TRUE(bus_.fault(0, "unplug", {2, 0}));
    EXPECT_EQ(bus_.slave(2).state, 8);
    EXPECT_EQ(bus_.slave(3).state, 0);
}

TEST_F(BusDiagnosticsTest, TheMastersOwnCableIsPort0OfTheFirstSlave) {
    run_usual();
    ASSERT_TRUE(bus_.fault(0, "unplug", {0, 0}));
    const Snapshot seen = snapshot();
    EXPECT_EQ(seen.master.slaves_present, 0);
    EXPECT_EQ(seen.master.links_lost, 1U);
    EXPECT_EQ(seen.first_down.slave, 0);
    EXPECT_EQ(seen.first_down.port, 0);
    EXPECT_STREQ(seen.errors[0].text, "slave 0 \"coupler 1\" and 3 behind do not answer");
}

TEST_F(BusDiagnosticsTest, APortWithoutCableCannotBePulled) {
    run_usual();
    const Snapshot before = snapshot();
    EXPECT_FALSE(bus_.fault(3, "unplug", {1, 0}));
    EXPECT_FALSE(bus_.fault(1, "unplug", {4, 0}));
    EXPECT_THAT(changes(before, snapshot()), IsEmpty());
}

TEST_F(BusDiagnosticsTest, NonePlugsACableInAgainFromEitherEnd) {
    for (const uint32_t end : {1U, 2U}) {
        run_usual();
        ASSERT_TRUE(bus_.fault(1, "unplug", {1, 0}));
        ASSERT_TRUE(bus_.fault(end, "none"));
        cycles(2);
        const Snapshot seen = snapshot();
        EXPECT_EQ(seen.master.slaves_operational, 4) << end;
        EXPECT_EQ(seen.master.links_down, 0) << end;
        EXPECT_EQ(seen.first_down.slave, 0xFFFF) << end;
        EXPECT_EQ(seen.master.links_lost, 1U) << end;
        EXPECT_EQ(seen.master.working_counter, 6U) << end;
        EXPECT_EQ(seen.flags[2] & ~0x0080U, 0x0010U | (seen.flags[2] & 0x0040U)) << end;
    }
}

TEST_F(BusDiagnosticsTest, ACablePulledTwiceIsLostOnce) {
    run_usual();
    ASSERT_TRUE(bus_.fault(1, "unplug", {1, 0}));
    ASSERT_TRUE(bus_.fault(2, "unplug"));
    EXPECT_EQ(snapshot().master.links_lost, 1U);
    EXPECT_EQ(snapshot().slaves[2].times_lost, 1U);
}

TEST_F(BusDiagnosticsTest, ASlaveThatComesAndGoesIsCounted) {
    run_usual();
    for (int i = 0; i < 3; ++i) {
        bus_.fault(3, "unplug");
        bus_.fault(3, "none");
    }
    EXPECT_EQ(snapshot().slaves[3].times_lost, 3U);
    EXPECT_EQ(snapshot().slaves[3].links_lost[0], 3);
    EXPECT_EQ(snapshot().slaves[2].links_lost[1], 3);
    EXPECT_EQ(snapshot().links[3].links_lost, 3U);
}

// ---- errors of slaves -------------------------------------------------------------------------

TEST_F(BusDiagnosticsTest, AnAlStatusCodeShowsInItsRecordsOnly) {
    run_usual();
    cycles(2);
    const Snapshot before = snapshot();
    const Snapshot now = after([this] {
        ASSERT_TRUE(bus_.fault(1, "al-status", {std::nullopt, 0x1A}));
    });
    EXPECT_THAT(
        changes(before, now),
        UnorderedElementsAre("master.state_changes", "master.errors_listed", "master.flags",
                             "master.slaves_operational", "master.slaves_in_error", "slave 1.state",
                             "slave 1.al_status_code", "slave 1.state_changes", "state 1.flags",
                             "detail 1.changed_ns", "detail 1.state", "detail 1.previous_state",
                             "detail 1.last_al_status_code", "links 1.state", "errors"));
    EXPECT_EQ(now.slaves[1].state, 0x14);
    EXPECT_EQ(now.slaves[1].al_status_code, 0x1A);
    EXPECT_EQ(now.slaves[1].requested_state, 8);
    EXPECT_EQ(now.details[1].working_counter, 2); // it takes outputs still, and does nothing
    EXPECT_EQ(now.master.working_counter, 6U);
    EXPECT_EQ(now.flags[1], 0x0002U | 0x0004U);
    EXPECT_EQ(now.master.flags & ~0x0002U, 0x0010U | 0x0020U | 0x0100U);
    ASSERT_EQ(now.errors.size(), 1U);
    EXPECT_EQ(now.errors[0].kind, 2);
    EXPECT_EQ(now.errors[0].slave, 1);
    EXPECT_EQ(now.errors[0].al_status_code, 0x1A);
    EXPECT_EQ(now.errors[0].status, 32795U);
    EXPECT_STREQ(now.errors[0].text, "slave 1 \"dio8 2\" shows an error, AL status code 0x001a");
}

TEST_F(BusDiagnosticsTest, TheAlStatusCodeIsRememberedWhenTheErrorIsCleared) {
    run_usual();
    bus_.fault(1, "al-status", {std::nullopt, 0x1A});
    ASSERT_TRUE(bus_.clear_slave_error(1));
    const Snapshot seen = snapshot();
    EXPECT_EQ(seen.slaves[1].al_status_code, 0);
    EXPECT_EQ(seen.details[1].last_al_status_code, 0x1A);
    EXPECT_EQ(seen.details[1].state, 8);
    EXPECT_EQ(seen.details[1].previous_state, 0x14);
    EXPECT_EQ(seen.master.slaves_in_error, 0);
}

TEST_F(BusDiagnosticsTest, ASlaveThatRefusesAStateIsListedAsSuch) {
    run({{"dio8"}}, 1);
    bus_.request_state(3); // without mailbox there is no BOOT
    const std::vector<VcardErrorRecord> errors = snapshot().errors;
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors[0].kind, 8);
    EXPECT_EQ(errors[0].al_status_code, 0x13);
    EXPECT_EQ(errors[0].status, 32788U);
}

TEST_F(BusDiagnosticsTest, AnAbsentSlaveShowsNoError) {
    run_usual();
    bus_.fault(1, "unplug");
    EXPECT_FALSE(bus_.fault(1, "al-status", {std::nullopt, 0x1A}));
}

// ---- frames -----------------------------------------------------------------------------------

TEST_F(BusDiagnosticsTest, LostFramesShowInTheirRecordsOnly) {
    run_usual();
    cycles(2);
    const Snapshot before = snapshot();
    const Snapshot now = after([this] { ASSERT_TRUE(bus_.bus_fault("lose-frames", 2)); });
    EXPECT_THAT(changes(before, now), UnorderedElementsAre("master.frames_lost", "master.flags",
                                                           "master.errors_listed", "errors"));
    EXPECT_EQ(now.master.frames_lost, 2U);
    EXPECT_EQ(now.master.flags & ~0x0002U, 0x0001U | 0x0100U);
    ASSERT_EQ(now.errors.size(), 1U);
    EXPECT_EQ(now.errors[0].kind, 4);
    EXPECT_EQ(now.errors[0].status, 32829U);
    EXPECT_EQ(now.errors[0].slave, 0xFFFF);
    EXPECT_STREQ(now.errors[0].text, "2 frames did not come back");
}

TEST_F(BusDiagnosticsTest, FramesLostInSeveralCyclesAreOneEntry) {
    run_usual();
    bus_.bus_fault("lose-frames", 10);
    cycles(6);
    const Snapshot seen = snapshot();
    EXPECT_EQ(seen.master.frames_lost, 10U);
    ASSERT_EQ(seen.errors.size(), 1U);
    EXPECT_STREQ(seen.errors[0].text, "10 frames did not come back");
}

TEST_F(BusDiagnosticsTest, OneLostFrameIsWrittenInTheSingular) {
    run_usual();
    bus_.bus_fault("lose-frames", 1);
    cycles(2);
    EXPECT_STREQ(snapshot().errors.at(0).text, "1 frame did not come back");
}

TEST_F(BusDiagnosticsTest, InputsStandStillWhileFramesAreLost) {
    Network network = network_of({{"ai2"}}, 1000);
    run(network);
    cycles(3);
    bus_.bus_fault("lose-frames", 0xFFFFFFFF);
    cycles(2);
    const std::vector<uint8_t> first = memory(0, 0x1000, 0x2000);
    cycles(20);
    EXPECT_EQ(memory(0, 0x1000, 0x2000), first);
    bus_.bus_fault("lose-frames", 0);
    cycles(20);
    EXPECT_NE(memory(0, 0x1000, 0x2000), first);
}

TEST_F(BusDiagnosticsTest, ALateCycleShowsInItsRecordsOnly) {
    run(network_of({{"dio8"}}, 20'000));
    cycles(2);
    const Snapshot before = snapshot();
    ASSERT_TRUE(bus_.bus_fault("late-cycle", 15'000));
    const Snapshot now = after([] {});
    EXPECT_THAT(changes(before, now),
                UnorderedElementsAre("master.errors_listed", "errors", "master.flags"));
    EXPECT_GT(now.master.late_cycles, before.master.late_cycles);
    EXPECT_GE(now.master.latest_ns, 15'000'000U);
    EXPECT_GE(now.master.cycle_max_ns, 20'000'000U);
    EXPECT_EQ(now.master.flags, 0x0002U | 0x0100U);
    ASSERT_EQ(now.errors.size(), 1U);
    EXPECT_EQ(now.errors[0].kind, 5);
    EXPECT_STREQ(now.errors[0].text, "a cycle began 15000 us late");
}

TEST_F(BusDiagnosticsTest, ALateCycleCanBeEnded) {
    run_usual();
    ASSERT_TRUE(bus_.bus_fault("late-cycle", 4'000'000'000));
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // it has begun
    const uint64_t before = bus_.cycles();
    ASSERT_TRUE(bus_.bus_fault("late-cycle", 0));
    EXPECT_TRUE(eventually([&] { return bus_.cycles() > before + 2; }));
}

TEST_F(BusDiagnosticsTest, AStopEndsTheWaitForALateCycle) {
    run_usual();
    bus_.bus_fault("late-cycle", 600'000'000);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    bus_.stop();
    EXPECT_FALSE(bus_.running());
}

TEST_F(BusDiagnosticsTest, ALateCycleWaitsForCycles) {
    run_usual(2);
    bus_.bus_fault("late-cycle", 1000);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_THAT(snapshot().errors, IsEmpty());
    bus_.request_state(8);
    cycles(2);
    EXPECT_EQ(snapshot().errors.size(), 1U);
}

TEST_F(BusDiagnosticsTest, ABusThatStandsStillHasNoFaults) {
    EXPECT_FALSE(bus_.bus_fault("lose-frames", 1));
    run_usual();
    EXPECT_FALSE(bus_.bus_fault("melt", 1));
    bus_.stop();
    EXPECT_FALSE(bus_.bus_fault("late-cycle", 1));
}

// ---- damaged frames ---------------------------------------------------------------------------

TEST_F(BusDiagnosticsTest, CrcErrorsShowAtTheirPortOnly) {
    run_usual();
    cycles(2);
    const Snapshot before = snapshot();
    const Snapshot now = after([this] { ASSERT_TRUE(bus_.fault(2, "crc-errors", {1, 300})); });
    EXPECT_THAT(changes(before, now),
                UnorderedElementsAre("master.crc_errors", "master.flags", "master.errors_listed",
                                     "slave 2.crc_errors[1]", "state 2.flags",
                                     "port 2:1.crc_errors", "errors"));
    EXPECT_EQ(now.master.crc_errors, 300U);
    EXPECT_EQ(now.slaves[2].crc_errors[1], 300);
    EXPECT_EQ(now.links[2].ports[1].crc_errors, 300U);
    EXPECT_EQ(now.flags[2] & 0x0020U, 0x0020U);
    EXPECT_EQ(now.master.flags & 0x0080U, 0x0080U);
    ASSERT_EQ(now.errors.size(), 1U);
    EXPECT_EQ(now.errors[0].kind, 7);
    EXPECT_EQ(now.errors[0].slave, 2);
    EXPECT_EQ(now.errors[0].port, 1);
    EXPECT_STREQ(now.errors[0].text, "300 damaged frames at port 1 of slave 2 \"dio8 3\"");
}

TEST_F(BusDiagnosticsTest, ReceiveAndForwardedErrorsShowAtTheirPortOnly) {
    run_usual();
    cycles(2);
    Snapshot before = snapshot();
    Snapshot now = after([this] { ASSERT_TRUE(bus_.fault(2, "rx-errors", {0, 7})); });
    EXPECT_THAT(changes(before, now), UnorderedElementsAre("master.errors_listed", "master.flags",
                                                           "port 2:0.rx_errors", "errors"));
    before = now;
    now = after([this] { ASSERT_TRUE(bus_.fault(3, "forwarded-errors", {0, 7})); });
    EXPECT_THAT(changes(before, now), UnorderedElementsAre("master.errors_listed",
                                                           "port 3:0.forwarded_errors", "errors"));
}

TEST_F(BusDiagnosticsTest, CountersStayAtTheirLargestValue) {
    run_usual();
    bus_.fault(1, "crc-errors", {0, 0xFFFFFFF0});
    bus_.fault(1, "crc-errors", {0, 100});
    const Snapshot seen = snapshot();
    EXPECT_EQ(seen.slaves[1].crc_errors[0], 0xFFFF);
    EXPECT_EQ(seen.links[1].ports[0].crc_errors, 0xFFFFFFFFU);
    EXPECT_EQ(seen.master.crc_errors, 0xFFFFFFFFU);
}

TEST_F(BusDiagnosticsTest, PortsWithoutCableReceiveNothing) {
    run_usual();
    EXPECT_FALSE(bus_.fault(3, "crc-errors", {1, 1}));
    EXPECT_FALSE(bus_.fault(3, "crc-errors", {4, 1}));
    bus_.fault(3, "unplug");
    EXPECT_FALSE(bus_.fault(3, "crc-errors", {0, 1}));
    EXPECT_EQ(snapshot().master.crc_errors, 0U);
}

// ---- the error list ---------------------------------------------------------------------------

TEST_F(BusDiagnosticsTest, ErrorsHaveNumbersAndTimes) {
    run_usual();
    bus_.fault(1, "crc-errors", {0, 1});
    utc_ns_ = 1'700'000'000'000'000'000;
    bus_.fault(2, "crc-errors", {0, 1});
    const std::vector<VcardErrorRecord> errors = snapshot().errors;
    ASSERT_EQ(errors.size(), 2U);
    EXPECT_EQ(errors[0].number, 2U);
    EXPECT_EQ(errors[1].number, 1U);
    EXPECT_GE(errors[0].time_ns, errors[1].time_ns);
    EXPECT_GT(errors[1].time_ns, 0U);
    EXPECT_EQ(errors[0].utc_ns, 1'700'000'000'000'000'000U);
    EXPECT_EQ(errors[1].utc_ns, 0U); // the clock was not set
    EXPECT_EQ(snapshot().master.errors_listed, 2U);
}

TEST_F(BusDiagnosticsTest, TheOldestErrorsAreForgotten) {
    run_usual();
    for (int i = 0; i < 70; ++i) {
        bus_.fault(1, "crc-errors", {0, 1});
    }
    const std::vector<VcardErrorRecord> errors = snapshot().errors;
    ASSERT_EQ(errors.size(), 64U);
    EXPECT_EQ(errors.front().number, 70U);
    EXPECT_EQ(errors.back().number, 7U);
    EXPECT_EQ(snapshot().master.errors_listed, 70U);
}

TEST_F(BusDiagnosticsTest, LongTextsAreCut) {
    Network network = network_of({{"dio8"}});
    network.slaves[0].name = std::string(200, 'n');
    run(network);
    bus_.fault(0, "crc-errors", {0, 1});
    EXPECT_EQ(std::string(snapshot().errors.at(0).text).size(), 95U);
}

TEST_F(BusDiagnosticsTest, DiagnosticsAreReadWhileTheBusRuns) {
    run_usual();
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop) {
            snapshot();
        }
    });
    for (int i = 0; i < 20; ++i) {
        bus_.fault(1, "unplug", {1, 0});
        cycles(1);
        bus_.fault(1, "none");
    }
    stop = true;
    reader.join();
    EXPECT_EQ(snapshot().slaves[2].times_lost, 20U);
}

TEST_F(BusDiagnosticsTest, AnUnconfiguredBusHasNothingToTell) {
    const Snapshot seen = snapshot();
    EXPECT_EQ(seen.master.slaves_configured, 0);
    EXPECT_EQ(seen.master.cycles, 0U);
    EXPECT_THAT(seen.slaves, IsEmpty());
    EXPECT_EQ(seen.first_down.slave, 0xFFFF);
}

TEST_F(BusDiagnosticsTest, AClearedBusHasNothingToTell) {
    run_usual();
    bus_.clear();
    EXPECT_THAT(snapshot().slaves, IsEmpty());
    EXPECT_EQ(snapshot().master.frames_sent, 0U);
}

} // namespace
