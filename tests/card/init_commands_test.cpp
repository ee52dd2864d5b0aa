// The CoE start commands of a configuration file: when they run and what becomes of a slave that
// refuses one.
#include "card/mailbox_fixture.h"
#include "support/process.h"
#include "vcard/bus/network.h"

#include <gmock/gmock.h>

using namespace tarn::test;

namespace {

class InitCommands : public MailboxTest {
  protected:
    static std::string at(const std::string &transition) {
        return "<Transition>" + transition + "</Transition>";
    }
    // A command that writes 0x11223344 to an object that only it names.
    static std::string marking(const std::string &transitions) {
        return command(transitions, "3000:1", "44332211");
    }
    // A command that every slave refuses.
    static std::string failing(const std::string &transition) {
        return command(at(transition), "1000:0", "00000000");
    }
    uint32_t mark() { return read<uint32_t>(kDrive, 0x3000, 1); }
};

constexpr uint32_t kMark = 0x11223344;
constexpr uint16_t kAutoClear = 51;

} // namespace

TEST_F(InitCommands, RunAtTheirTransition) {
    start(eni_with(marking(at("PS"))));
    EXPECT_EQ(mark(), kMark);
    EXPECT_EQ(state(kDrive), 8);
}

TEST_F(InitCommands, RunAtNoOtherTransition) {
    start(eni_with(marking(at("OP"))));
    EXPECT_EQ(mark(), 0U);
    request_state(4);
    EXPECT_EQ(mark(), 0U);
}

TEST_F(InitCommands, RunOnTheWayDown) {
    start(eni_with(marking(at("OS"))));
    EXPECT_EQ(mark(), 0U);
    request_state(4);
    EXPECT_EQ(mark(), kMark);
}

TEST_F(InitCommands, RunWhereOpIsLeftForPreop) {
    start(eni_with(marking(at("OP"))));
    request_state(2);
    EXPECT_EQ(mark(), kMark);
}

// What is for PREOP can be written on the way back to it.
TEST_F(InitCommands, RunInTheLowerStateOnTheWayDown) {
    start(eni_with(command(at("OP"), "5F00:6", "0700")));
    EXPECT_EQ(read<uint16_t>(kDrive, 0x5F00, 6), 0U);
    request_state(2);
    EXPECT_EQ(state(kDrive), 2);
    EXPECT_EQ(read<uint16_t>(kDrive, 0x5F00, 6), 7U);
}

TEST_F(InitCommands, RunAtTheWayIntoPreop) {
    start(eni_with(marking(at("IP"))));
    EXPECT_EQ(mark(), kMark);
}

TEST_F(InitCommands, RunAtEachOfSeveralTransitions) {
    start(eni_with(marking(at("SP") + at("OS"))));
    request_state(4);
    EXPECT_EQ(mark(), kMark);
    write<uint32_t>(kDrive, 0x3000, 1, 0);
    request_state(2);
    EXPECT_EQ(mark(), kMark);
}

TEST_F(InitCommands, TransitionsMayBeOneList) {
    start(eni_with(marking(at("OS PS"))));
    EXPECT_EQ(mark(), kMark);
}

TEST_F(InitCommands, TransitionsMayBeWrittenOut) {
    start(eni_with(marking(at("PREOP_TO_SAFEOP"))));
    EXPECT_EQ(mark(), kMark);
}

TEST_F(InitCommands, DisabledOnesDoNotRun) {
    start(eni_with(command(at("PS"), "3000:1", "44332211", "<Disabled>1</Disabled>")));
    EXPECT_EQ(mark(), 0U);
}

TEST_F(InitCommands, UploadsOnlyRead) {
    std::string commands = marking(at("PS"));
    commands.replace(commands.find("<Ccs>1"), 6, "<Ccs>2");
    start(eni_with(commands));
    EXPECT_EQ(state(kDrive), 8);
    EXPECT_EQ(mark(), 0U);
}

TEST_F(InitCommands, ObjectsThatTheyNameHaveTheSizeOfTheirData) {
    start(
        eni_with(command(at("PS"), "3001:0", "0102") + command(at("PS"), "3002:5", "0102030405")));
    EXPECT_EQ(upload(kDrive, 0x3001, 0).payload, (Bytes{1, 2}));
    EXPECT_EQ(upload(kDrive, 0x3002, 5).payload, (Bytes{1, 2, 3, 4, 5}));
    EXPECT_EQ(download(kDrive, 0x3001, 0, {1}).status, 34358U);
    EXPECT_EQ(download(kDrive, 0x3001, 0, {5, 6}).status, 0U);
}

TEST_F(InitCommands, CompleteAccessWritesAnObjectThatOnlyTheyName) {
    start(eni_with(
        command(at("PS"), "3003:0", "01000a0b0c0d", "<CompleteAccess>1</CompleteAccess>")));
    EXPECT_EQ(state(kDrive), 8);
    EXPECT_EQ(upload(kDrive, 0x3003, 1).payload, (Bytes{0x0A, 0x0B, 0x0C, 0x0D}));
}

TEST_F(InitCommands, RunAgainWhenASlaveComesBack) {
    start(eni_with(marking(at("PS"))));
    write<uint32_t>(kDrive, 0x3000, 1, 0);
    fault(kDrive, "unplug");
    fault(kDrive, "none");
    EXPECT_EQ(state(kDrive), 8);
    EXPECT_EQ(mark(), kMark);
}

// ---- failures
// -------------------------------------------------------------------------------------

TEST_F(InitCommands, AnAbortKeepsTheSlaveInPreopWithAnError) {
    start(eni_with(failing("PS")));
    EXPECT_EQ(state(kDrive), 0x12);
    EXPECT_EQ(al_status_code(kDrive), 0x0043);
    EXPECT_EQ(state(kAnalog), 8);
}

TEST_F(InitCommands, AnAbortKeepsTheSlaveInSafeopWithAnError) {
    start(eni_with(failing("SO")));
    EXPECT_EQ(state(kDrive), 0x14);
}

TEST_F(InitCommands, AnAbortKeepsTheSlaveInInitWithAnError) {
    start(eni_with(failing("IP")));
    EXPECT_EQ(state(kDrive), 0x11);
}

TEST_F(InitCommands, TheLogNamesSlaveObjectAndAbort) {
    start(eni_with(failing("PS")));
    EXPECT_TRUE(bench_.logged("slave 0 (drive 1): start command 0x1000:00 at PS was aborted, "
                              "0x06010002 (read only)"));
}

TEST_F(InitCommands, WhatFollowsAnAbortDoesNotRun) {
    start(eni_with(failing("PS") + marking(at("PS"))));
    EXPECT_EQ(mark(), 0U);
}

TEST_F(InitCommands, TheLogTellsOfAFailureWhenAnErrorIsClearedByItself) {
    start(eni_with(marking(at("SO"))));
    ASSERT_EQ(bench_.ask(kAutoClear, bytes_of<uint32_t>(1)).status, 0U);
    fault(kDrive, "mailbox-silent");
    fault(kDrive, "safeop-error");
    EXPECT_TRUE(eventually([this] {
        bench_.serve();
        return bench_.logged("start command 0x3000:01 at SO got no answer");
    }));
    EXPECT_EQ(state(kDrive), 0x14);
}

TEST_F(InitCommands, TheSlaveAnswersStill) {
    start(eni_with(failing("PS")));
    EXPECT_EQ(upload(kDrive, 0x1000, 0).status, 0U);
}

TEST_F(InitCommands, ClearingTheErrorTriesAgainAndFailsAgain) {
    start(eni_with(failing("PS")));
    bench_.ask_slave(41, kDrive);
    EXPECT_EQ(state(kDrive), 0x12);
}

TEST_F(InitCommands, NothingKeepsASlaveFromInit) {
    start(eni_with(failing("OI") + failing("SI") + failing("PI")));
    request_state(1);
    EXPECT_EQ(state(kDrive), 1);
}

TEST_F(InitCommands, ASilentSlaveFailsAndRecovers) {
    start(eni_with(marking(at("PS"))));
    request_state(2);
    fault(kDrive, "mailbox-silent");
    request_state(8);
    EXPECT_EQ(state(kDrive), 0x12);
    fault(kDrive, "none");
    EXPECT_EQ(state(kDrive), 8);
}

// ---- the file
// -------------------------------------------------------------------------------------

TEST_F(InitCommands, DataThatIsNoHexadecimalIsRefused) {
    EXPECT_EQ(bench_.start(eni_with(command(at("PS"), "3000:1", "12G4"))), 32774U);
    EXPECT_TRUE(bench_.logged("Config/Slave[1]/Mailbox/CoE/InitCmds/InitCmd[1]/Data"));
}

TEST_F(InitCommands, HalfAByteIsRefused) {
    EXPECT_EQ(bench_.start(eni_with(command(at("PS"), "3000:1", "123"))), 32774U);
}

TEST_F(InitCommands, AnIndexThatIsNoNumberIsRefused) {
    EXPECT_EQ(bench_.start(eni_with(command(at("PS"), "zz:1", "12"))), 32774U);
}

TEST_F(InitCommands, AnIndexIsNeeded) {
    std::string commands = command(at("PS"), "3000:1", "12");
    commands.erase(commands.find("<Index>"), std::string("<Index>#x3000</Index>").size());
    EXPECT_EQ(bench_.start(eni_with(commands)), 32774U);
}

TEST_F(InitCommands, ASubindexHasEightBits) {
    EXPECT_EQ(bench_.start(eni_with(command(at("PS"), "3000:255", "12"))), 0U);
    bench_.ask(kStop);
    EXPECT_EQ(bench_.start(eni_with(command(at("PS"), "3000:256", "12"))), 32774U);
}

TEST_F(InitCommands, DataMayHaveBlanksAndEitherCase) {
    start(eni_with(command(at("PS"), "3000:1", "aB Cd\n ef 01")));
    EXPECT_EQ(read<uint32_t>(kDrive, 0x3000, 1), 0x01EFCDABU);
}

TEST_F(InitCommands, ALengthAloneMeansZeros) {
    std::string commands = command(at("PS"), "3000:1", "");
    commands.replace(commands.find("<Data></Data>"), 13, "<DataLength>6</DataLength>");
    start(eni_with(commands));
    EXPECT_EQ(upload(kDrive, 0x3000, 1).payload, Bytes(6));
}

TEST(EniSlave, ReadsMailboxSyncManagersPdosAndCommands) {
    tarn::vcard::MakeEniOptions options;
    options.slaves = {{"drive"}};
    tarn::vcard::Network network;
    ASSERT_EQ(parse_eni(make_eni(options), network).status, 0U);
    const tarn::vcard::SlaveConfig &slave = network.slaves[0];
    EXPECT_TRUE(slave.mailbox_config.coe);
    EXPECT_TRUE(slave.mailbox_config.foe);
    EXPECT_FALSE(slave.mailbox_config.eoe);
    EXPECT_EQ(slave.mailbox_config.send.start, 4096);
    EXPECT_EQ(slave.mailbox_config.receive.length, 128);
    ASSERT_EQ(slave.mailbox_config.coe_commands.size(), 1U);
    EXPECT_EQ(slave.mailbox_config.coe_commands[0].index, 0x6060);
    ASSERT_EQ(slave.sync_managers.size(), 2U);
    EXPECT_EQ(slave.sync_managers[0].number, 2);
    EXPECT_EQ(slave.sync_managers[0].start_address, 0x1100);
    EXPECT_EQ(slave.sync_managers[0].size, 14U);
    EXPECT_EQ(slave.sync_managers[0].control, 0x64);
    EXPECT_EQ(slave.sync_managers[0].pdos, std::vector<uint16_t>{0x1600});
    ASSERT_EQ(slave.output_pdos.size(), 1U);
    EXPECT_EQ(slave.output_pdos[0].bits(), 112U);
    EXPECT_TRUE(slave.output_pdos[0].fixed);
    ASSERT_EQ(slave.init_commands.size(), 4U);
    EXPECT_EQ(slave.init_commands[0].command, 2U);
    EXPECT_EQ(slave.init_commands[0].ado, 0x0010);
    EXPECT_EQ(slave.init_commands[0].data, (Bytes{0xE9, 0x03}));
    EXPECT_EQ(slave.dc_config.cycle0_ns, 1'000'000U);
}

TEST(EniSlave, DescribesTheRunsOfSlavesWithoutPdos) {
    const std::string eni =
        "<EtherCATConfig><Config><Slave><Info><Name>x</Name></Info><ProcessData>"
        "<Recv><BitStart>0</BitStart><BitLength>4000</BitLength></Recv></ProcessData></Slave>"
        "<ProcessImage/></Config></EtherCATConfig>";
    tarn::vcard::Network network;
    ASSERT_EQ(parse_eni(eni, network).status, 0U);
    uint32_t bits = 0;
    for (const tarn::vcard::PdoConfig &pdo : network.slaves[0].input_pdos) {
        EXPECT_LE(pdo.entries.size(), 254U);
        bits += pdo.bits();
    }
    EXPECT_EQ(bits, 4000U);
}
