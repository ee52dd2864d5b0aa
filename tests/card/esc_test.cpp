// Registers and memory of a slave's EtherCAT slave controller.
#include "card/bus_bench.h"

#include "card/host_model.h"
#include "vcard/bus/esc_config.h"

#include <gmock/gmock.h>

#include <cstdlib>

using namespace tarn::vcard;
using tarn::test::BusBench;
using Access = Bus::Access;

namespace {

using Bytes = std::vector<uint8_t>;

class EscTest : public BusBench {
  protected:
    // Sync manager registers without the status and PDI bytes.
    Bytes sync_manager(uint32_t slave, uint32_t number) {
        return memory(slave, 0x0800 + number * 8, 8);
    }
    Bytes fmmu(uint32_t slave, uint32_t number) { return memory(slave, 0x0600 + number * 16, 16); }
};

const Bytes kNoSyncManager(8);
const Bytes kNoFmmu(16);

// ---- what a slave is --------------------------------------------------------------------------

TEST_F(EscTest, TypeAndFeatures) {
    run({{"dio8"}, {"drive"}});
    EXPECT_EQ(word(0, 0x0000, 1), 0x11U);
    EXPECT_EQ(word(0, 0x0004, 1), 8U); // FMMUs
    EXPECT_EQ(word(0, 0x0005, 1), 8U); // sync managers
    EXPECT_EQ(word(0, 0x0006, 1), 8U); // KiB of RAM
    EXPECT_EQ(word(0, 0x0007, 1), 0xFFU);
    EXPECT_EQ(word(0, 0x0008) & 0x000CU, 0U);
    EXPECT_EQ(word(1, 0x0008) & 0x000CU, 0x000CU); // distributed clocks of 64 bits
}

TEST_F(EscTest, WatchdogsAndDlControlAsAtPowerUp) {
    run({{"dio8"}});
    EXPECT_EQ(word(0, 0x0100, 4), 1U);
    EXPECT_EQ(word(0, 0x0400), 0x09C2U);
    EXPECT_EQ(word(0, 0x0410), 1000U);
    EXPECT_EQ(word(0, 0x0420), 1000U);
    EXPECT_EQ(word(0, 0x0440), 1U);
}

TEST_F(EscTest, TheStationAddressIsSetOnTheWayToPreOp) {
    run({{"coupler"}, {"dio8"}}, 1);
    EXPECT_EQ(word(1, 0x0010), 0U);
    bus_.request_state(2);
    EXPECT_EQ(word(1, 0x0010), 1002U);
}

TEST_F(EscTest, TheAliasIsTheOneOfTheConfiguration) {
    Network network = network_of({{"dio8"}});
    network.slaves[0].alias = 77;
    run(network);
    EXPECT_EQ(word(0, 0x0012), 77U);
}

TEST_F(EscTest, AlRegistersFollowTheSlave) {
    run({{"dio8"}}, 1);
    EXPECT_EQ(word(0, 0x0130), 1U);
    for (const uint8_t state : Bytes{2, 4, 8, 4, 2, 1}) {
        bus_.request_state(state);
        EXPECT_EQ(word(0, 0x0130), state);
        EXPECT_EQ(word(0, 0x0120), state);
        EXPECT_EQ(word(0, 0x0134), 0U);
    }
}

TEST_F(EscTest, AnErrorShowsInAlStatus) {
    run({{"dio8"}});
    bus_.fault(0, "al-status", {std::nullopt, 0x1B});
    EXPECT_EQ(word(0, 0x0130), 0x14U);
    EXPECT_EQ(word(0, 0x0134), 0x001BU);
    EXPECT_EQ(word(0, 0x0440), 0U); // the watchdog has expired
}

TEST_F(EscTest, DlStatusFollowsTheCables) {
    run({{"coupler"}, {"dio8"}});
    EXPECT_EQ(word(0, 0x0110), bus_.slave(0).dl_status);
    const uint32_t before = word(0, 0x0110);
    bus_.fault(0, "unplug", {1, 0});
    EXPECT_EQ(word(0, 0x0110), bus_.slave(0).dl_status);
    EXPECT_NE(word(0, 0x0110), before);
}

// ---- sync managers and FMMUs ------------------------------------------------------------------

TEST_F(EscTest, SyncManagersComeWithTheStates) {
    run({{"drive"}}, 1);
    for (uint32_t i = 0; i < 8; ++i) {
        EXPECT_EQ(sync_manager(0, i), kNoSyncManager) << i;
    }
    bus_.request_state(2);
    EXPECT_EQ(sync_manager(0, 0), (Bytes{0x00, 0x10, 128, 0, 0x26, 0, 1, 0}));
    EXPECT_EQ(sync_manager(0, 1), (Bytes{0x80, 0x10, 128, 0, 0x22, 0, 1, 0}));
    EXPECT_EQ(sync_manager(0, 2), kNoSyncManager);
    EXPECT_EQ(fmmu(0, 0), kNoFmmu);
    bus_.request_state(4);
    EXPECT_EQ(sync_manager(0, 2)[2], 14);
    EXPECT_EQ(sync_manager(0, 2)[6], 1);
    EXPECT_EQ(sync_manager(0, 3)[2], 14);
    EXPECT_EQ(fmmu(0, 0)[11], 2); // writes
    EXPECT_EQ(fmmu(0, 1)[11], 1); // reads
    EXPECT_EQ(fmmu(0, 0)[4], 14);
    EXPECT_EQ(fmmu(0, 0)[12], 1);
}

TEST_F(EscTest, SyncManagersGoWithTheStates) {
    run({{"drive"}});
    bus_.request_state(2);
    EXPECT_EQ(sync_manager(0, 2), kNoSyncManager);
    EXPECT_EQ(fmmu(0, 0), kNoFmmu);
    EXPECT_NE(sync_manager(0, 0), kNoSyncManager);
    bus_.request_state(1);
    EXPECT_EQ(sync_manager(0, 0), kNoSyncManager);
}

TEST_F(EscTest, RegistersAreTheSameWhetherLookedAtBeforeOrAfterTheStart) {
    run({{"drive"}, {"dio8"}}, 1);
    memory(0, 0x0600, 0x300);
    memory(1, 0x0600, 0x300);
    bus_.request_state(8);
    const Bytes drive = memory(0, 0x0600, 0x300);
    const Bytes io = memory(1, 0x0600, 0x300);
    run({{"drive"}, {"dio8"}});
    EXPECT_EQ(memory(0, 0x0600, 0x300), drive);
    EXPECT_EQ(memory(1, 0x0600, 0x300), io);
}

TEST_F(EscTest, BootHasTheMailboxOfTheBootstrap) {
    Network network = network_of({{"drive"}});
    network.slaves[0].mailbox_config.boot_send = {0x1800, 200};
    network.slaves[0].mailbox_config.boot_receive = {0x1A00, 201};
    run(network, 1);
    bus_.request_state(3);
    EXPECT_EQ(sync_manager(0, 0), (Bytes{0x00, 0x18, 200, 0, 0x26, 0, 1, 0}));
    EXPECT_EQ(sync_manager(0, 1), (Bytes{0x00, 0x1A, 201, 0, 0x22, 0, 1, 0}));
}

TEST_F(EscTest, StartCommandsForBootLeaveTheMailboxOfPreop) {
    Network network = network_of({{"drive"}});
    InitCommand command;
    command.transitions = {{1, 3}};
    command.command = 5;
    command.ado = 0x0800;
    command.data = {0x00, 0x18, 128, 0, 0x26, 0, 1, 0};
    network.slaves[0].init_commands = {command};
    run(network, 2);
    EXPECT_EQ(sync_manager(0, 0), (Bytes{0x00, 0x10, 128, 0, 0x26, 0, 1, 0}));
}

TEST_F(EscTest, StartCommandsAreCarriedOut) {
    Network network = network_of({{"dio8"}});
    InitCommand command;
    command.transitions = {{2, 4}};
    command.command = 5;
    command.ado = 0x0800;
    command.data = {0x00, 0x12, 1, 0, 0x64, 0, 1, 0};
    network.slaves[0].init_commands.push_back(command);
    command.ado = 0x0420;
    command.data = {0x10, 0x27};
    network.slaves[0].init_commands.push_back(command);
    run(network, 2);
    EXPECT_EQ(word(0, 0x0420), 1000U);
    bus_.request_state(4);
    EXPECT_EQ(sync_manager(0, 0), (Bytes{0x00, 0x12, 1, 0, 0x64, 0, 1, 0}));
    EXPECT_EQ(word(0, 0x0420), 0x2710U);
}

// Reads the vendor out of the EEPROM on the way to PREOP.
InitCommand identity_check() {
    InitCommand command;
    command.transitions = {{1, 2}};
    command.command = 2;
    command.ado = 0x0502;
    command.data = {0x00, 0x01, 0x08, 0, 0, 0};
    return command;
}

TEST_F(EscTest, IdentityChecksOfStartCommandsLeaveTheirResult) {
    Network network = network_of({{"dio8"}});
    network.slaves[0].init_commands.push_back(identity_check());
    run(network, 2);
    EXPECT_EQ(word(0, 0x0508, 4), network.slaves[0].vendor_id);
}

// Station addresses, alias, sync managers and FMMUs of all slaves of all files at hand.
TEST_F(EscTest, RegistersAgreeWithTheFiles) {
    for (const auto &file : eni_files()) {
        run(read_eni(file));
        for (uint32_t i = 0; i < network_.slaves.size(); ++i) {
            SCOPED_TRACE(file.filename().string() + ", slave " + std::to_string(i));
            const SlaveConfig &slave = network_.slaves[i];
            EXPECT_EQ(word(i, 0x0010), slave.fixed_address);
            EXPECT_EQ(word(i, 0x0130), bus_.slave(i).state);
            for (const InitCommand &command : slave.init_commands) {
                const bool fixed = command.command == 5 && command.ado >= 0x0600 &&
                                   command.ado < 0x0840 && !command.data.empty();
                const bool up = !command.transitions.empty() &&
                                command.transitions[0].from < command.transitions[0].to &&
                                command.transitions[0].to != 3;
                const bool sets = std::any_of(command.data.begin(), command.data.end(),
                                              [](uint8_t byte) { return byte != 0; });
                if (fixed && up && sets) {
                    EXPECT_EQ(memory(i, command.ado, command.data.size()), command.data)
                        << std::hex << command.ado;
                }
            }
            uint32_t output_bytes = 0;
            uint32_t input_bytes = 0;
            for (uint32_t manager = 0; manager < 8; ++manager) {
                const Bytes bytes = sync_manager(i, manager);
                if ((bytes[4] & 3) != 2 && bytes[6] == 1) {
                    ((bytes[4] & 0x0C) == 4 ? output_bytes : input_bytes) +=
                        bytes[2] + bytes[3] * 256U;
                }
            }
            EXPECT_EQ(output_bytes, (slave.outputs.length + 7) / 8);
            EXPECT_EQ(input_bytes, (slave.inputs.length + 7) / 8);
        }
    }
}

// In files that write the FMMUs of all slaves, those that follow from the cyclic commands are the
// same.
TEST_F(EscTest, CyclicCommandsAgreeWithTheFmmusOfTheFiles) {
    for (const auto &file : eni_files()) {
        const Network network = read_eni(file);
        const auto sets_fmmu = [](const InitCommand &command) {
            return command.command == 5 && command.ado >= 0x0600 && command.ado < 0x0680 &&
                   command.data.size() == 16 && get16(command.data, 8) >= 0x1000;
        };
        const bool complete =
            std::all_of(network.slaves.begin(), network.slaves.end(), [&](const SlaveConfig &s) {
                return fmmus_of(s).empty() ||
                       std::any_of(s.init_commands.begin(), s.init_commands.end(), sets_fmmu);
            });
        for (const SlaveConfig &slave : network.slaves) {
            SCOPED_TRACE(file.filename().string() + ", " + slave.name);
            for (const InitCommand &command : slave.init_commands) {
                for (const Fmmu &fmmu : fmmus_of(slave)) {
                    if (complete && sets_fmmu(command) &&
                        command.data[11] == (fmmu.outputs ? 2 : 1)) {
                        EXPECT_EQ(get32(command.data, 0), fmmu.logical) << std::hex << command.ado;
                    }
                }
            }
        }
    }
}

// ---- process data -----------------------------------------------------------------------------

TEST_F(EscTest, OutputsAndInputsAreInTheProcessRam) {
    run({{"dio8"}, {"dio16"}}); // without and with a mailbox
    tarn::test::HostOutputs outputs(*area_, 2);
    const Bytes image = {0x5A, 0x34, 0x12};
    outputs.publish(image.data(), 3);
    cycles(3);
    const auto start = [this](uint32_t slave, uint32_t manager) {
        return word(slave, 0x0800 + manager * 8);
    };
    EXPECT_EQ(memory(0, start(0, 2), 1), (Bytes{0x5A}));
    EXPECT_EQ(memory(0, start(0, 3), 1), (Bytes{0x5A})); // read back
    EXPECT_EQ(memory(1, start(1, 2), 2), (Bytes{0x34, 0x12}));
    EXPECT_EQ(memory(1, start(1, 3), 2), (Bytes{0x34, 0x12}));
}

TEST_F(EscTest, DataThatBeginsInsideAByteIsShiftedToItsStart) {
    run({{"do4", 2}});
    tarn::test::HostOutputs outputs(*area_, 2);
    const Bytes image = {0xA5};
    outputs.publish(image.data(), 1);
    cycles(3);
    EXPECT_EQ(memory(0, word(0, 0x0810), 1), (Bytes{0x05}));
    EXPECT_EQ(memory(1, word(1, 0x0810), 1), (Bytes{0x0A}));
}

TEST_F(EscTest, SeveralSyncManagersShareTheData) {
    Network network = network_of({{"do16"}});
    InitCommand command;
    command.transitions = {{2, 4}};
    command.command = 5;
    command.ado = 0x0800;
    command.data = {0x00, 0x11, 1, 0, 0x64, 0, 1, 0, 0x00, 0x12, 1, 0, 0x64, 0, 1, 0};
    network.slaves[0].init_commands.push_back(command);
    run(network);
    tarn::test::HostOutputs outputs(*area_, 2);
    const Bytes image = {0x34, 0x12};
    outputs.publish(image.data(), 2);
    cycles(3);
    EXPECT_EQ(memory(0, 0x1100, 1), (Bytes{0x34}));
    EXPECT_EQ(memory(0, 0x1200, 1), (Bytes{0x12}));
}

TEST_F(EscTest, DigitalOutputsBelowTheRamAreShown) {
    Network network = network_of({{"do16"}});
    InitCommand command;
    command.transitions = {{2, 4}};
    command.command = 5;
    command.ado = 0x0800;
    command.data = {0x00, 0x0F, 2, 0, 0x44, 0, 1, 0};
    network.slaves[0].init_commands.push_back(command);
    run(network);
    tarn::test::HostOutputs outputs(*area_, 2);
    const Bytes image = {0x34, 0x12};
    outputs.publish(image.data(), 2);
    cycles(3);
    EXPECT_EQ(memory(0, 0x0F00, 2), image);
}

// ---- counters ---------------------------------------------------------------------------------

TEST_F(EscTest, ErrorCountersHave8Bits) {
    run({{"coupler"}, {"dio8"}});
    bus_.fault(0, "crc-errors", {1, 7});
    bus_.fault(0, "rx-errors", {0, 300});
    bus_.fault(1, "forwarded-errors", {0, 9});
    bus_.fault(0, "unplug", {1, 0});
    bus_.fault(0, "none");
    EXPECT_EQ(memory(0, 0x0300, 8), (Bytes{0, 255, 7, 0, 0, 0, 0, 0}));
    EXPECT_EQ(memory(1, 0x0308, 4), (Bytes{9, 0, 0, 0}));
    EXPECT_EQ(memory(0, 0x0310, 4), (Bytes{0, 1, 0, 0}));
    EXPECT_EQ(memory(1, 0x0310, 4), (Bytes{1, 0, 0, 0}));
}

TEST_F(EscTest, WritingACounterClearsItsGroupOnly) {
    run({{"coupler"}, {"dio8"}});
    bus_.fault(0, "crc-errors", {1, 7});
    bus_.fault(0, "forwarded-errors", {0, 9});
    bus_.fault(0, "unplug", {1, 0});
    bus_.fault(0, "none");
    write_memory(0, 0x0303, {0});
    EXPECT_EQ(memory(0, 0x0300, 12), Bytes(12));
    EXPECT_EQ(memory(0, 0x0310, 4), (Bytes{0, 1, 0, 0}));
    write_memory(0, 0x0312, {0xFF});
    EXPECT_EQ(memory(0, 0x0310, 4), Bytes(4));
    bus_.fault(0, "crc-errors", {1, 2});
    EXPECT_EQ(word(0, 0x0302, 1), 2U);
    // what the master has counted stays
    EXPECT_EQ(snapshot().slaves[0].crc_errors[1], 9);
    EXPECT_EQ(snapshot().slaves[0].links_lost[1], 1);
}

TEST_F(EscTest, AWriteOfNothingDoesNothing) {
    run({{"drive", 2}});
    bus_.fault(1, "crc-errors", {0, 7});
    const uint32_t delay = word(1, 0x0928, 4);
    write_memory(1, 0x0301, {});
    write_memory(1, 0x0502, {0x00, 0x02}); // not enabled: an error
    write_memory(1, 0x0503, {});
    write_memory(1, 0x0929, {});
    EXPECT_EQ(word(1, 0x0300, 1), 7U);
    EXPECT_EQ(word(1, 0x0502) & 0x4000U, 0x4000U);
    EXPECT_EQ(word(1, 0x0928, 4), delay);
}

// ---- clocks -----------------------------------------------------------------------------------

TEST_F(EscTest, TheSystemTimeMoves) {
    run({{"drive", 2}});
    cycles(5);
    const uint32_t first = word(1, 0x0910, 4);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_NE(word(1, 0x0910, 4), first);
}

TEST_F(EscTest, TheDifferenceHasASign) {
    run({{"drive", 2}});
    for (int i = 0; i < 200; ++i) {
        cycles(1);
        const uint32_t shown = word(1, 0x092C, 4);
        EXPECT_LE(shown & 0x7FFFFFFFU, 60U);
    }
    EXPECT_EQ(word(0, 0x092C, 4), 0U);
    EXPECT_EQ(word(0, 0x0928, 4), 0U);
    EXPECT_GT(word(1, 0x0928, 4), 0U);                 // delay
    EXPECT_GT(word(0, 0x0904, 4), word(0, 0x0900, 4)); // the frame came back later
}

TEST_F(EscTest, ReceiveTimesFollowTheWayOfAFrame) {
    constexpr uint32_t kHop = 620;
    Network network = network_of({{"drive", 5}}); // 0: D has 1 and 2, B has 3, C has 4
    network.slaves[1].previous_port = 3;
    network.slaves[3].previous_port_slave = network.slaves[4].previous_port_slave = 0;
    network.slaves[3].previous_port = 1;
    network.slaves[4].previous_port = 2;
    run(network);
    EXPECT_EQ(word(0, 0x0900, 4), 0U);
    EXPECT_EQ(word(0, 0x090C, 4), 4 * kHop);
    EXPECT_EQ(word(0, 0x0904, 4), 6 * kHop);
    EXPECT_EQ(word(0, 0x0908, 4), 8 * kHop);
    EXPECT_EQ(word(1, 0x0928, 4), kHop);
    EXPECT_EQ(word(2, 0x0928, 4), 2 * kHop);
    EXPECT_EQ(word(3, 0x0928, 4), 5 * kHop); // when the frame is back from D, and a cable
    EXPECT_EQ(word(4, 0x0928, 4), 7 * kHop);
    bus_.fault(1, "unplug", {1, 0});
    EXPECT_EQ(word(0, 0x090C, 4), 2 * kHop);
    EXPECT_EQ(word(3, 0x0928, 4), 3 * kHop);
}

TEST_F(EscTest, CycleTimesOfTheConfiguration) {
    run({{"drive"}});
    EXPECT_EQ(word(0, 0x09A0, 4), 500'000U);
}

TEST_F(EscTest, SyncIsActiveWhileDataIsExchanged) {
    run({{"drive"}}, 2);
    EXPECT_EQ(word(0, 0x0980), 0U);
    bus_.request_state(4);
    EXPECT_EQ(word(0, 0x0980), 0x0300U);
    bus_.request_state(2);
    EXPECT_EQ(word(0, 0x0980), 0U);
}

TEST_F(EscTest, BothSyncSignalsAreActiveWithTwoCycleTimes) {
    Network network = network_of({{"drive"}});
    network.slaves[0].dc_config.cycle1_ns = 250'000;
    run(network);
    EXPECT_EQ(word(0, 0x0980), 0x0700U);
}

TEST_F(EscTest, WithoutCycleTimeNoSyncIsActive) {
    Network network = network_of({{"drive"}});
    network.slaves[0].dc_config.cycle0_ns = 0;
    run(network);
    EXPECT_EQ(word(0, 0x0980), 0U);
}

TEST_F(EscTest, AWrittenDelayStays) {
    run({{"drive", 2}});
    write_memory(1, 0x0928, {0x78, 0x56, 0x34, 0x12});
    cycles(2);
    EXPECT_EQ(word(1, 0x0928, 4), 0x12345678U);
}

TEST_F(EscTest, AWrittenOffsetMovesTheSystemTime) {
    run({{"drive"}});
    write_memory(0, 0x0920, {0, 0, 0, 0, 0, 0, 0, 0x10});
    EXPECT_EQ(memory(0, 0x0910, 8)[7], 0x10);
}

TEST_F(EscTest, WithoutClocksTheirRegistersAreEmpty) {
    run({{"dio8"}});
    cycles(2);
    write_memory(0, 0x0980, {0, 3});
    EXPECT_EQ(memory(0, 0x0900, 0x100), Bytes(0x100));
}

// ---- writing ----------------------------------------------------------------------------------

TEST_F(EscTest, WhatCannotBeWrittenStays) {
    run({{"drive"}});
    for (const uint32_t address : {0x0000U, 0x0004U, 0x0008U, 0x0012U, 0x0110U, 0x0130U, 0x0134U,
                                   0x0140U, 0x0440U, 0x0805U, 0x0807U}) {
        const uint32_t before = word(0, address, 1);
        write_memory(0, address, {static_cast<uint8_t>(~before)});
        EXPECT_EQ(word(0, address, 1), before) << std::hex << address;
    }
}

TEST_F(EscTest, WhatCanBeWrittenIsReadBack) {
    run({{"drive"}});
    for (const uint32_t address :
         {0x0010U, 0x0100U, 0x0400U, 0x0420U, 0x0670U, 0x0838U, 0x0981U, 0x0F80U, 0x2FFFU}) {
        write_memory(0, address, {0x5C});
        EXPECT_EQ(word(0, address, 1), 0x5CU) << std::hex << address;
    }
}

TEST_F(EscTest, BehindTheRamThereIsNothing) {
    run({{"dio8"}});
    write_memory(0, 0x3000, {1});
    write_memory(0, 0xFFFF, {1});
    EXPECT_EQ(word(0, 0x3000, 1), 0U);
    EXPECT_EQ(word(0, 0xFFFF, 1), 0U);
    write_memory(0, 0x2FFE, {1, 2, 3, 4});
    EXPECT_EQ(memory(0, 0x2FFE, 4), (Bytes{1, 2, 0, 0}));
}

TEST_F(EscTest, RangesEndAt64KiB) {
    run({{"dio8"}});
    Bytes two(2);
    EXPECT_EQ(bus_.read_memory(0, 0xFFFE, two), Access::Done);
    EXPECT_EQ(bus_.read_memory(0, 0xFFFF, two), Access::OutOfRange);
    EXPECT_EQ(bus_.write_memory(0, 0xFFFF, two), Access::OutOfRange);
    EXPECT_EQ(bus_.read_memory(0, 0, {}), Access::Done);
}

TEST_F(EscTest, AnAbsentSlaveHasNoRegisters) {
    run({{"dio8", 2}});
    bus_.fault(1, "unplug");
    Bytes two(2);
    EXPECT_EQ(bus_.read_memory(1, 0, two), Access::NoAnswer);
    EXPECT_EQ(bus_.write_memory(1, 0, two), Access::NoAnswer);
}

TEST_F(EscTest, APoweredUpSlaveHasForgottenWhatWasWritten) {
    run({{"dio8"}});
    write_memory(0, 0x0F80, {1, 2, 3});
    restart();
    EXPECT_EQ(memory(0, 0x0F80, 3), Bytes(3));
}

// ---- AL control -------------------------------------------------------------------------------

TEST_F(EscTest, AlControlMovesOneSlave) {
    run({{"dio8", 2}});
    write_memory(0, 0x0120, {4, 0});
    EXPECT_EQ(bus_.slave(0).state, 4);
    EXPECT_EQ(bus_.slave(1).state, 8);
    EXPECT_EQ(bus_.slave(0).requested, 8); // the master wants it elsewhere
    EXPECT_EQ(bus_.master_state(), 8);
    cycles(2);
    EXPECT_EQ(snapshot().flags[0] & 0x0004U, 0x0004U);
    write_memory(0, 0x0120, {8, 0});
    EXPECT_EQ(bus_.slave(0).state, 8);
}

TEST_F(EscTest, TheMasterTakesASlaveThroughAllStates) {
    Network network = network_of({{"dio8"}});
    InitCommand command;
    command.transitions = {{2, 4}};
    command.command = 5;
    command.ado = 0x0420;
    command.data = {0x10, 0x27};
    network.slaves[0].init_commands.push_back(command);
    run(network, 2);
    bus_.request_state(8);
    const Bytes outputs = sync_manager(0, 0);
    write_memory(0, 0x0120, {1, 0});
    write_memory(0, 0x0420, {0, 0});
    EXPECT_EQ(sync_manager(0, 0), kNoSyncManager);
    bus_.request_state(8);
    EXPECT_EQ(bus_.slave(0).state, 8);
    EXPECT_EQ(word(0, 0x0420), 0x2710U); // the command between PREOP and SAFEOP
    EXPECT_EQ(sync_manager(0, 0), outputs);
}

TEST_F(EscTest, TheMasterTakesASlaveOutOfBootByInit) {
    Network network = network_of({{"drive"}});
    network.slaves[0].mailbox_config.boot_send = {0x1800, 200};
    network.slaves[0].mailbox_config.boot_receive = {0x1A00, 201};
    run(network, 1);
    write_memory(0, 0x0120, {3, 0});
    ASSERT_EQ(bus_.slave(0).state, 3);
    bus_.request_state(2);
    EXPECT_EQ(bus_.slave(0).state, 2);
    EXPECT_EQ(get16(sync_manager(0, 0), 0), 0x1000); // no longer that of the bootstrap
}

TEST_F(EscTest, TheMasterTakesASlaveIntoBootByInit) {
    run({{"drive"}}, 1);
    write_memory(0, 0x0120, {2, 0});
    bus_.request_state(3);
    EXPECT_EQ(bus_.slave(0).state, 3);
}

TEST_F(EscTest, AClearedErrorOfBootLeadsThroughAllStates) {
    Network network = network_of({{"drive"}});
    InitCommand command;
    command.transitions = {{2, 4}};
    command.command = 5;
    command.ado = 0x0420;
    command.data = {0x10, 0x27};
    network.slaves[0].init_commands.push_back(command);
    run(network);
    write_memory(0, 0x0120, {1, 0});
    write_memory(0, 0x0120, {3, 0});
    write_memory(0, 0x0420, {0, 0});
    write_memory(0, 0x0120, {8, 0});
    EXPECT_EQ(bus_.slave(0).state, 0x13);
    EXPECT_EQ(word(0, 0x0134), 0x0011U);
    EXPECT_TRUE(bus_.clear_slave_error(0));
    EXPECT_EQ(bus_.slave(0).state, 8);
    EXPECT_EQ(word(0, 0x0420), 0x2710U);
}

TEST_F(EscTest, AnErrorInBootIsNotLeftForPreop) {
    run({{"drive"}}, 1);
    write_memory(0, 0x0120, {3, 0});
    write_memory(0, 0x0120, {8, 0});
    bus_.request_state(2);
    EXPECT_EQ(bus_.slave(0).state, 0x13);
    bus_.request_state(1); // acknowledges it
    EXPECT_EQ(bus_.slave(0).state, 1);
}

TEST_F(EscTest, AlControlRefusesAJump) {
    run({{"dio8"}}, 2);
    write_memory(0, 0x0120, {8, 0});
    EXPECT_EQ(bus_.slave(0).state, 0x12);
    EXPECT_EQ(word(0, 0x0134), 0x0011U);
}

TEST_F(EscTest, AlControlRefusesAStateThatIsNone) {
    run({{"dio8"}}, 2);
    write_memory(0, 0x0120, {5, 0});
    EXPECT_EQ(bus_.slave(0).state, 0x12);
    EXPECT_EQ(word(0, 0x0134), 0x0012U);
}

TEST_F(EscTest, AlControlRefusesBootWithoutMailbox) {
    run({{"dio8"}}, 1);
    write_memory(0, 0x0120, {3, 0});
    EXPECT_EQ(word(0, 0x0130), 0x11U);
    EXPECT_EQ(word(0, 0x0134), 0x0013U);
}

TEST_F(EscTest, AnErrorMustBeAcknowledged) {
    run({{"dio8"}});
    bus_.fault(0, "al-status", {std::nullopt, 0x1A});
    write_memory(0, 0x0120, {8, 0});
    EXPECT_EQ(bus_.slave(0).state, 0x14);
    write_memory(0, 0x0120, {0x14, 0});
    EXPECT_EQ(bus_.slave(0).state, 4);
    EXPECT_EQ(word(0, 0x0134), 0U);
    write_memory(0, 0x0120, {8, 0});
    EXPECT_EQ(bus_.slave(0).state, 8);
}

// ---- EEPROM interface -------------------------------------------------------------------------

TEST_F(EscTest, TheEepromIsReadThroughItsRegisters) {
    run({{"dio8"}});
    write_memory(0, 0x0504, {0x08, 0, 0, 0});
    write_memory(0, 0x0502, {0x00, 0x01});
    EXPECT_EQ(word(0, 0x0502), 0x0040U); // done, 8 bytes at a time
    EXPECT_EQ(word(0, 0x0508, 4), network_.slaves[0].vendor_id);
    EXPECT_EQ(word(0, 0x050C, 4), network_.slaves[0].product_code);
}

TEST_F(EscTest, TheEepromIsWrittenThroughItsRegisters) {
    run({{"dio8"}});
    write_memory(0, 0x0502, {0x01, 0x02, 0x30, 0, 0, 0, 0xCD, 0xAB});
    EXPECT_EQ(word(0, 0x0502), 0x0040U);
    EXPECT_EQ(eeprom(0)[0x60], 0xCD);
    EXPECT_EQ(eeprom(0)[0x61], 0xAB);
}

TEST_F(EscTest, TheEepromIsNotWrittenWithoutEnable) {
    run({{"dio8"}});
    write_memory(0, 0x0502, {0x00, 0x02, 0x30, 0, 0, 0, 0xCD, 0xAB});
    EXPECT_EQ(word(0, 0x0502) & 0x4000U, 0x4000U);
    EXPECT_EQ(eeprom(0)[0x60], 0);
}

TEST_F(EscTest, TheEepromIsNotWrittenBeyondItsEnd) {
    run({{"dio8"}});
    write_memory(0, 0x0502, {0x01, 0x02, 0x00, 0x04, 0, 0, 0xCD, 0xAB});
    EXPECT_EQ(word(0, 0x0502) & 0x2000U, 0x2000U);
    write_memory(0, 0x0502, {0x00, 0x01, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(word(0, 0x0508, 4), 0xFFFFFFFFU);
}

TEST_F(EscTest, AWrongChecksumShowsUntilTheEepromIsLoadedAgain) {
    run({{"dio8"}});
    write_eeprom(0, 4, {0x39, 0x05});
    restart();
    write_memory(0, 0x0502, {0x00, 0x01}); // a read does not end it
    EXPECT_EQ(word(0, 0x0502) & 0x1800U, 0x1800U);
    write_eeprom(0, 4, {0, 0});
    EXPECT_EQ(word(0, 0x0502) & 0x1800U, 0x1800U);
    write_memory(0, 0x0502, {0x00, 0x04});
    EXPECT_EQ(word(0, 0x0502), 0x0040U);
}

TEST_F(EscTest, IdentityChecksOfStartCommandsLeaveTheChecksumError) {
    Network network = network_of({{"dio8"}});
    network.slaves[0].init_commands.push_back(identity_check());
    run(network, 2);
    write_eeprom(0, 4, {0x39, 0x05});
    run(network, 2);
    EXPECT_EQ(word(0, 0x0502) & 0x1800U, 0x1800U);
}

TEST_F(EscTest, LoadingTheEepromAgainLeavesTheAlias) {
    run({{"dio8"}});
    std::vector<uint8_t> image = eeprom(0);
    image[8] = 0x39;
    write_eeprom(0, 4, {0x39, 0});
    write_eeprom(0, 7, {sii_checksum(image), 0});
    write_memory(0, 0x0502, {0x00, 0x04});
    EXPECT_EQ(word(0, 0x0502), 0x0040U);
    EXPECT_EQ(word(0, 0x0012), 0U); // from the next power-up on
    restart();
    EXPECT_EQ(word(0, 0x0012), 0x0039U);
}

} // namespace
