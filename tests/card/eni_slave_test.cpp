// Slaves of unusual and broken configuration files: what is refused, and that dictionary, EEPROM
// and registers can be made of all that is not.
#include "vcard/bus/esc_config.h"
#include "vcard/bus/object_dictionary.h"
#include "vcard/bus/sii.h"
#include "vcard/bus/simulation.h"

#include <gtest/gtest.h>

#include <string>

using namespace tarn::vcard;

namespace {

using Bytes = std::vector<uint8_t>;

std::string entry(const std::string &object, uint32_t bits) {
    const size_t colon = object.find(':');
    return "<Entry><Index>#x" + object.substr(0, colon) + "</Index><SubIndex>" +
           object.substr(colon + 1) + "</SubIndex><BitLen>" + std::to_string(bits) +
           "</BitLen></Entry>";
}

std::string pdo(const std::string &element, const std::string &index, const std::string &entries) {
    return "<" + element + " Sm=\"3\"><Index>#x" + index + "</Index>" + entries + "</" + element +
           ">";
}

std::string recv(uint32_t start, uint32_t bits) {
    return "<Recv><BitStart>" + std::to_string(start) + "</BitStart><BitLength>" +
           std::to_string(bits) + "</BitLength></Recv>";
}

std::string send(uint32_t start, uint32_t bits) {
    return "<Send><BitStart>" + std::to_string(start) + "</BitStart><BitLength>" +
           std::to_string(bits) + "</BitLength></Send>";
}

std::string command(const std::string &object, const std::string &data,
                    const std::string &more = "") {
    const size_t colon = object.find(':');
    return "<InitCmd><Transition>PS</Transition><Ccs>1</Ccs><Index>#x" + object.substr(0, colon) +
           "</Index><SubIndex>" + object.substr(colon + 1) + "</SubIndex><Data>" + data +
           "</Data>" + more + "</InitCmd>";
}

const std::string kComplete = "<CompleteAccess>1</CompleteAccess>";

std::string file_of(const std::string &data, const std::string &commands = "",
                    const std::string &more = "", const std::string &cyclic = "") {
    return "<EtherCATConfig><Config><Slave><Info><Name>x</Name></Info><ProcessData>" + data +
           "</ProcessData><Mailbox><Send><Start>4096</Start></Send><Recv><Start>4224</Start></Recv>"
           "<Protocol>CoE</Protocol><CoE><InitCmds>" +
           commands + "</InitCmds></CoE></Mailbox>" + more + "</Slave>" + cyclic +
           "<ProcessImage/></Config></EtherCATConfig>";
}

// The slave of a file and its dictionary.
class Device {
  public:
    explicit Device(const std::string &eni) {
        EXPECT_EQ(parse_eni(eni, network_).status, 0U);
        simulation_ = std::make_unique<Simulation>(network_);
        dictionary_ = std::make_unique<ObjectDictionary>(slave(), network_.cycle_us);
    }
    SlaveConfig &slave() { return network_.slaves.at(0); }
    ObjectDictionary &dictionary() { return *dictionary_; }

    uint32_t read(uint16_t index, uint8_t subindex, Bytes &data, uint8_t state = 8) {
        return dictionary_->read({index, subindex, false}, view(state), data);
    }
    uint32_t number(uint16_t index, uint8_t subindex) {
        Bytes data;
        EXPECT_EQ(read(index, subindex, data), 0U) << std::hex << index << ":" << +subindex;
        uint32_t value = 0;
        for (size_t i = 0; i < std::min<size_t>(data.size(), 4); ++i) {
            value |= static_cast<uint32_t>(data[i]) << (8 * i);
        }
        return value;
    }
    uint32_t write(const ObjectAddress &address, const Bytes &data, uint8_t state = 2) {
        SlaveView slave = view(state);
        return dictionary_->write(address, slave, data);
    }
    // The first abort of the start commands, run in PREOP.
    uint32_t run_commands() {
        for (const CoeInitCommand &command : slave().mailbox_config.coe_commands) {
            if (const uint32_t abort = write(
                    {command.index, command.subindex, command.complete_access}, command.data)) {
                return abort;
            }
        }
        return 0;
    }
    void read_everything() {
        for (const auto &[index, object] : dictionary_->objects()) {
            for (const ObjectEntry &entry : object.entries) {
                Bytes data;
                (void)read(index, entry.subindex, data);
            }
        }
    }

  private:
    SlaveView view(uint8_t state) { return {0, state, slave(), *simulation_}; }

    Network network_;
    std::unique_ptr<Simulation> simulation_;
    std::unique_ptr<ObjectDictionary> dictionary_;
};

EniVerdict verdict_of(const std::string &eni) {
    Network network;
    return parse_eni(eni, network);
}

} // namespace

// ---- PDOs that are none -----------------------------------------------------------------------

TEST(EniSlaveObjects, AssignedPdosWithTheIndexOfAnotherObject) {
    for (const char *index : {"1000", "1008", "1018", "1C00", "1C12", "1C32", "5FFE"}) {
        SCOPED_TRACE(index);
        Device device(file_of(recv(0, 8) + pdo("TxPdo", index, entry("6000:1", 8))));
        EXPECT_EQ(device.dictionary().mapped_bits(false), 0U);
        device.read_everything();
    }
}

TEST(EniSlaveObjects, EntriesWithTheIndexOfAList) {
    Device device(
        file_of(recv(0, 16) + pdo("TxPdo", "1A00", entry("1C13:40", 8) + entry("1A00:200", 8))));
    EXPECT_EQ(device.write({0x1C13, 0, true}, Bytes(2 + 2 * 33)), sdo_abort::kTooLong);
    EXPECT_EQ(device.dictionary().mapped_bits(false), 16U);
    device.read_everything();
}

TEST(EniSlaveObjects, MoreAssignedPdosThanAListHolds) {
    std::string pdos = recv(0, 300);
    for (int i = 0; i < 300; ++i) {
        char index[8];
        std::snprintf(index, sizeof index, "%X", 0x1A00 + i);
        pdos += pdo("TxPdo", index, entry("6000:1", 1));
    }
    Device device(file_of(pdos));
    EXPECT_EQ(device.number(0x1C13, 0), 254U);
    EXPECT_EQ(device.number(0x1C13, 254), 0x1A00U + 253);
}

// ---- start commands ---------------------------------------------------------------------------

TEST(EniSlaveObjects, CommandsBehindTheEndOfAList) {
    Device device(file_of(recv(0, 8), command("1C12:40", "0000")));
    EXPECT_EQ(device.run_commands(), sdo_abort::kNoSubindex);
    EXPECT_EQ(device.write({0x1C12, 0, true}, Bytes(2 + 2 * 33)), sdo_abort::kTooLong);
    device.read_everything();
}

TEST(EniSlaveObjects, CommandsBehindTheEndOfAFixedPdo) {
    const std::string fixed =
        "<TxPdo Fixed=\"1\" Sm=\"3\"><Index>#x1A00</Index>" + entry("6000:1", 8) + "</TxPdo>";
    Device device(file_of(recv(0, 8) + fixed, command("1A00:200", "00000000")));
    EXPECT_EQ(device.run_commands(), sdo_abort::kNoSubindex);
    EXPECT_EQ(device.dictionary().mapped_bits(false), 8U);
}

TEST(EniSlaveObjects, CommandsMayWriteWhatIsReadOnly) {
    Device device(
        file_of(recv(0, 8), command("10F1:1", "01000000") + command("1C32:3", "e8030000")));
    EXPECT_EQ(device.run_commands(), 0U);
    EXPECT_EQ(device.number(0x1C32, 3), 1000U);
    EXPECT_EQ(device.write({0x1C32, 3, false}, Bytes(4), 8), sdo_abort::kWrongState);
}

TEST(EniSlaveObjects, CommandsMayWriteANumberOfEntriesThatTheyNameLast) {
    Device device(file_of("", command("3000:1", "0102") + command("3000:0", "01")));
    EXPECT_EQ(device.run_commands(), 0U);
}

TEST(EniSlaveObjects, NoCommandChangesTheIdentity) {
    Device device(file_of("", command("1018:1", "01000000")));
    EXPECT_EQ(device.run_commands(), sdo_abort::kReadOnly);
}

TEST(EniSlaveObjects, CommandsMayExceedTheLimitsOfAProfile) {
    const std::string outputs = pdo("RxPdo", "1600", entry("6040:0", 16));
    const std::string inputs = pdo("TxPdo", "1A00", entry("6041:0", 16));
    Device device(file_of(send(0, 16) + recv(0, 16) + outputs + inputs,
                          command("6081:0", "00e1f505") + command("6083:0", "00ca9a3b")));
    EXPECT_EQ(device.run_commands(), 0U);
    EXPECT_EQ(device.number(0x6081, 0), 1'000'000U); // as fast as it can
    EXPECT_EQ(device.number(0x6083, 0), 100'000'000U);
}

TEST(EniSlaveObjects, CommandsMayDescribeTheMapping) {
    Device device(file_of(send(0, 48), command("1C12:0", "00") + command("1600:0", "00") +
                                           command("1600:1", "10004060") +
                                           command("1600:2", "20007a60") + command("1600:0", "02") +
                                           command("1C12:1", "0016") + command("1C12:0", "01")));
    ASSERT_EQ(device.slave().output_pdos.size(), 1U);
    ASSERT_EQ(device.slave().output_pdos[0].entries.size(), 2U);
    EXPECT_EQ(device.slave().output_pdos[0].entries[1].index, 0x607A);
    EXPECT_EQ(device.slave().output_pdos[0].entries[1].name, "Target position");
    EXPECT_EQ(device.run_commands(), 0U);
    EXPECT_TRUE(device.dictionary().mapping_fits(true));
    EXPECT_EQ(device.dictionary().mapped_bits(true), 48U);
}

TEST(EniSlaveObjects, CommandsMayDescribeSeveralPdosWithCompleteAccess) {
    Device device(file_of(recv(0, 40), command("1C13:0", "0200001a011a", kComplete) +
                                           command("1A00:0", "010008010060", kComplete) +
                                           command("1A01:1", "20020160", kComplete)));
    ASSERT_EQ(device.slave().input_pdos.size(), 2U);
    EXPECT_EQ(device.slave().input_pdos[0].bits(), 8U);
    EXPECT_EQ(device.slave().input_pdos[1].bits(), 32U);
    EXPECT_EQ(device.run_commands(), 0U);
    EXPECT_TRUE(device.dictionary().mapping_fits(false));
}

TEST(EniSlaveObjects, WhatCommandsLeaveOpenIsInThePdosWithoutEntries) {
    Device device(file_of(recv(0, 40), command("1C13:0", "0200001a011a", kComplete) +
                                           command("1A00:1", "08010060")));
    ASSERT_EQ(device.slave().input_pdos.size(), 2U);
    EXPECT_EQ(device.slave().input_pdos[0].bits(), 8U);
    EXPECT_EQ(device.slave().input_pdos[1].bits(), 32U);
}

TEST(EniSlaveObjects, CommandsMayMapWhatNoPdoOfTheFileHas) {
    Device device(
        file_of(recv(0, 8) + pdo("TxPdo", "1A00", entry("6000:1", 8)),
                command("1A00:0", "00") + command("1A00:1", "08013020") + command("1A00:0", "01")));
    EXPECT_EQ(device.run_commands(), 0U);
    EXPECT_EQ(device.number(0x2030, 1), 0U);
}

// ---- sizes ------------------------------------------------------------------------------------

TEST(EniSlaveObjects, PdosThatNoImageHasRoomForAreRefused) {
    const EniVerdict verdict =
        verdict_of(file_of(recv(0, 8) + pdo("TxPdo", "1A00", entry("6000:1", 0xFFFFFFFF))));
    EXPECT_EQ(verdict.status, 34058U);
    EXPECT_EQ(verdict.text, "Config/Slave[1]/ProcessData/TxPdo/Entry/BitLen: a PDO of more than "
                            "4096 bytes, the largest image");
}

TEST(EniSlaveObjects, EntriesCountTogether) {
    const std::string half = entry("6000:1", 16384);
    EXPECT_EQ(verdict_of(file_of(pdo("TxPdo", "1A00", half + half))).status, 0U);
    EXPECT_EQ(verdict_of(file_of(pdo("TxPdo", "1A00", half + half + entry("6000:2", 1)))).status,
              34058U);
}

TEST(EniSlaveObjects, LongEntriesAreReadAndFitTheEeprom) {
    Device device(file_of(recv(0, 32768) + pdo("TxPdo", "1A00", entry("6000:1", 32768))));
    device.read_everything();
    Bytes data;
    EXPECT_EQ(device.read(0x6000, 1, data), 0U);
    EXPECT_EQ(data.size(), 4096U);
    EXPECT_TRUE(sii_valid(make_sii(device.slave())));
}

TEST(EniSlaveObjects, SyncManagerNumbersEndAt15) {
    Device device(
        file_of("<Sm256><Type>Outputs</Type><StartAddress>1</StartAddress></Sm256>" + recv(0, 8)));
    EXPECT_TRUE(device.slave().sync_managers.empty());
    EXPECT_EQ(sync_managers_of(device.slave()).at(0).start, 4096);
}

// ---- what agrees ------------------------------------------------------------------------------

TEST(EniSlaveObjects, InputsOnSyncManager2AreThereEverywhere) {
    const std::string data = "<Sm2><Type>Inputs</Type><StartAddress>4352</StartAddress>"
                             "<ControlByte>32</ControlByte><Pdo>6656</Pdo></Sm2>" +
                             recv(0, 8) + pdo("TxPdo", "1A00", entry("6000:1", 8));
    Device device(file_of(data));
    EXPECT_EQ(sync_managers_of(device.slave()).at(2).type, SyncManagerType::Inputs);
    EXPECT_EQ(device.number(0x1C00, 3), 4U);
    EXPECT_EQ(device.number(0x1C12, 1), 0x1A00U);
    EXPECT_EQ(device.dictionary().mapped_bits(false), 8U);
    EXPECT_EQ(device.dictionary().mapped_bits(true), 0U);
}

TEST(EniSlaveObjects, SeveralSyncManagersHaveTheirOwnPdos) {
    const std::string data =
        "<Sm2><Type>Outputs</Type><Pdo>5632</Pdo></Sm2><Sm3><Type>Outputs</Type><Pdo>5633</Pdo>"
        "</Sm3><Sm4><Type>Inputs</Type><Pdo>6656</Pdo></Sm4>" +
        send(0, 24) + recv(0, 8) + pdo("RxPdo", "1600", entry("7000:1", 8)) +
        pdo("RxPdo", "1601", entry("7010:1", 16)) + pdo("TxPdo", "1A00", entry("6000:1", 8));
    Device device(file_of(data));
    EXPECT_EQ(device.number(0x1C00, 0), 5U);
    EXPECT_EQ(device.number(0x1C12, 1), 0x1600U);
    EXPECT_EQ(device.number(0x1C13, 1), 0x1601U);
    EXPECT_EQ(device.number(0x1C14, 1), 0x1A00U);
    EXPECT_EQ(device.dictionary().mapped_bits(true), 24U);
    EXPECT_EQ(device.dictionary().mapped_bits(false), 8U);
    EXPECT_EQ(device.write({0x1C13, 0, true}, {1, 0, 0x00, 0x1A}), sdo_abort::kNotMappable);
}

TEST(EniSlaveObjects, InputsWithoutOutputsKeepSyncManager3) {
    Device device(file_of(recv(0, 8)));
    EXPECT_EQ(sync_managers_of(device.slave()).at(3).type, SyncManagerType::Inputs);
    EXPECT_EQ(device.number(0x1C13, 1), 0x1A00U);
}

TEST(EniSlaveObjects, CommandsMayBeginInsideASyncManager) {
    const std::string enable = "<InitCmds><InitCmd><Transition>PS</Transition><Cmd>5</Cmd>"
                               "<Ado>2070</Ado><Data>00</Data></InitCmd><InitCmd><Transition>PS"
                               "</Transition><Cmd>5</Cmd><Ado>2068</Ado><Data>24</Data></InitCmd>"
                               "</InitCmds>";
    Device device(file_of("<Sm2><Type>Outputs</Type><StartAddress>4352</StartAddress>"
                          "<ControlByte>100</ControlByte><DefaultSize>2</DefaultSize></Sm2>" +
                              send(0, 16),
                          "", enable));
    const SyncManager manager = sync_managers_of(device.slave()).at(2);
    EXPECT_EQ(manager.start, 4352);
    EXPECT_EQ(manager.length, 2);
    EXPECT_EQ(manager.control, 0x24);
    EXPECT_TRUE(manager.enable);
    EXPECT_EQ(manager.type, SyncManagerType::Outputs);
}

TEST(EniSlaveObjects, FmmusHaveTheAddressesOfTheCyclicCommands) {
    const std::string cyclic =
        "<Cyclic><Frame><Cmd><Cmd>11</Cmd><Addr>#x12000</Addr><DataLength>8</DataLength>"
        "<OutputOffs>4</OutputOffs></Cmd><Cmd><Cmd>10</Cmd><Addr>69632</Addr>"
        "<DataLength>1</DataLength><InputOffs>0</InputOffs></Cmd></Frame></Cyclic>";
    Device device(file_of(send(52, 8) + recv(0, 4), "", "", cyclic));
    const std::vector<Fmmu> fmmus = fmmus_of(device.slave());
    ASSERT_EQ(fmmus.size(), 2U);
    EXPECT_EQ(fmmus[0].logical, 0x12002U);
    EXPECT_EQ(fmmus[0].logical_start_bit, 4);
    EXPECT_EQ(fmmus[1].logical, 69632U);
}

TEST(EniSlaveObjects, BitsOfSlavesMayCountFromTheFirstCyclicCommand) {
    const std::string cyclic = "<Cyclic><Frame><Cmd><Cmd>11</Cmd><Addr>#x12000</Addr>"
                               "<DataLength>2</DataLength><OutputOffs>26</OutputOffs></Cmd>"
                               "</Frame></Cyclic>";
    Device device(file_of(send(8, 4), "", "", cyclic));
    EXPECT_EQ(device.slave().output_address, 0x12001U);
}

TEST(EniSlaveObjects, CyclicCommandsMayNameThePlaceOfTheirHeader) {
    const std::string cyclic = "<Cyclic><Frame><Cmd><Cmd>12</Cmd><Addr>#x1000000</Addr>"
                               "<DataLength>5</DataLength><InputOffs>16</InputOffs>"
                               "<OutputOffs>16</OutputOffs></Cmd></Frame></Cyclic>";
    Device device(file_of(send(208, 16) + recv(224, 24), "", "", cyclic));
    EXPECT_EQ(device.slave().output_address, 0x1000000U);
    EXPECT_EQ(device.slave().input_address, 0x1000002U);
}

TEST(EniSlaveObjects, CyclicCommandsThatCarryOtherBytesSayNothing) {
    const std::string cyclic =
        "<Cyclic><Frame><Cmd><Cmd>12</Cmd><Addr>1</Addr><DataLength>1</DataLength>"
        "<OutputOffs>0</OutputOffs><InputOffs>-1</InputOffs></Cmd></Frame></Cyclic>";
    Device device(file_of(send(8, 8) + recv(0, 8), "", "", cyclic));
    EXPECT_FALSE(device.slave().output_address);
    EXPECT_FALSE(device.slave().input_address);
}

TEST(EniSlaveObjects, SynchronizationTypesFollowTheSlave) {
    Device clocked(
        file_of(send(0, 8) + recv(0, 8), "", "<DC><CycleTime0>1000000</CycleTime0></DC>"));
    EXPECT_EQ(clocked.number(0x1C32, 1), 2U);
    EXPECT_EQ(clocked.number(0x1C33, 1), 2U);
    Device both(file_of(send(0, 8) + recv(0, 8)));
    EXPECT_EQ(both.number(0x1C32, 1), 1U);
    EXPECT_EQ(both.number(0x1C33, 1), 0x22U); // with the outputs
    Device inputs(file_of(recv(0, 8)));
    EXPECT_EQ(inputs.number(0x1C33, 1), 1U);
    Device neither(file_of(""));
    EXPECT_EQ(neither.number(0x1C32, 1), 0U);
}

TEST(EniSlaveObjects, WithoutClocksThereIsNoSync0) {
    EXPECT_EQ(Device(file_of(recv(0, 8))).number(0x1C32, 4), 0x0003U);
    EXPECT_EQ(Device(file_of(recv(0, 8), "", "<DC/>")).number(0x1C32, 4), 0x0007U);
}

TEST(EniSlaveObjects, SynchronizationTypesThatAreNotSupportedAreRefused) {
    constexpr uint32_t kInvalidValue = 0x06090030;
    Device device(file_of(send(0, 8) + recv(0, 8)));
    EXPECT_EQ(device.write({0x1C32, 1, false}, {2, 0}), kInvalidValue); // SYNC0
    EXPECT_EQ(device.write({0x1C32, 1, false}, {0x22, 0}), kInvalidValue);
    EXPECT_EQ(device.write({0x1C33, 1, false}, {3, 0}), kInvalidValue);
    EXPECT_EQ(device.write({0x1C32, 1, false}, {0, 0}), 0U);
    EXPECT_EQ(device.write({0x1C33, 1, false}, {1, 0}), 0U);
    EXPECT_EQ(device.write({0x1C33, 1, false}, {0x22, 0}), 0U);
    Device clocked(file_of(send(0, 8), "", "<DC/>"));
    EXPECT_EQ(clocked.write({0x1C32, 1, false}, {2, 0}), 0U);
}

TEST(EniSlaveObjects, CommandsMaySetAnySynchronizationType) {
    Device device(file_of(send(0, 8), command("1C32:1", "0300")));
    EXPECT_EQ(device.run_commands(), 0U);
    EXPECT_EQ(device.number(0x1C32, 1), 3U);
}

// ---- sync managers that say little -------------------------------------------------------------

TEST(EniSlaveObjects, SyncManagersOfTheMailboxKeepWhatTheFileLeavesOpen) {
    Device device(file_of("<Sm0><Type>MBoxOut</Type></Sm0><Sm1><Type>MBoxIn</Type>"
                          "<StartAddress>#x1400</StartAddress></Sm1>" +
                          recv(0, 8)));
    const std::vector<SyncManager> managers = sync_managers_of(device.slave());
    ASSERT_GE(managers.size(), 2U);
    EXPECT_EQ(managers[0].start, 4096);
    EXPECT_EQ(managers[0].length, 128);
    EXPECT_EQ(managers[0].control, 0x26);
    EXPECT_EQ(managers[1].start, 0x1400);
    EXPECT_EQ(managers[1].length, 128);
    EXPECT_EQ(managers[1].control, 0x22);
}

TEST(EniSlaveObjects, OutputsWithoutControlByteAreOutputs) {
    Device device(file_of("<Sm2><Type>Outputs</Type></Sm2>" + send(0, 16) + recv(0, 8)));
    const SyncManager manager = sync_managers_of(device.slave()).at(2);
    EXPECT_EQ(manager.control, 0x64);
    EXPECT_EQ(manager.length, 2);
    EXPECT_GE(manager.start, 0x1000);
}

TEST(EniSlaveObjects, AControlByteOf0IsOne) {
    Device device(
        file_of("<Sm3><Type>Inputs</Type><ControlByte>0</ControlByte></Sm3>" + recv(0, 8)));
    EXPECT_EQ(sync_managers_of(device.slave()).at(3).control, 0);
}

// ---- drives -----------------------------------------------------------------------------------

TEST(EniSlaveObjects, ACommandAmongTheInputsIsACommandStill) {
    Device device(file_of(send(0, 16) + recv(0, 24) + pdo("RxPdo", "1600", entry("6040:0", 16)) +
                              pdo("TxPdo", "1A00", entry("6041:0", 16) + entry("6060:0", 8)),
                          command("6060:0", "08")));
    ASSERT_EQ(device.slave().kind, SlaveKind::Drive);
    EXPECT_EQ(device.run_commands(), 0U);
    EXPECT_EQ(device.number(0x6060, 0), 8U);
    EXPECT_EQ(device.write({0x6060, 0, false}, {3}, 8), 0U);
    EXPECT_EQ(device.number(0x6060, 0), 3U);
}

// ---- files that ask for much -------------------------------------------------------------------

namespace {

std::string repeated(const std::string &text, size_t count) {
    std::string all;
    for (size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

std::string slaves_file(const std::string &slave, size_t count) {
    return "<EtherCATConfig><Config>" + repeated(slave, count) + "</Config></EtherCATConfig>";
}

} // namespace

TEST(EniSlaveObjects, CommandsWithALengthAloneHave16MiBTogether) {
    const std::string slave = "<Slave><Info/><InitCmds>" +
                              repeated("<InitCmd><DataLength>65536</DataLength></InitCmd>", 128) +
                              "</InitCmds></Slave>";
    EXPECT_EQ(verdict_of(slaves_file(slave, 2)).status, 0U);
    const EniVerdict verdict = verdict_of(slaves_file(slave, 3));
    EXPECT_EQ(verdict.status, 32774U);
    EXPECT_NE(verdict.text.find("Config/Slave[3]/InitCmds/InitCmd[1]/DataLength"),
              std::string::npos)
        << verdict.text;
}

TEST(EniSlaveObjects, CoeCommandsCountWithThem) {
    const std::string command =
        "<InitCmd><Index>12288</Index><DataLength>65536</DataLength></InitCmd>";
    EXPECT_EQ(verdict_of(file_of("", repeated(command, 257))).status, 32774U);
}

TEST(EniSlaveObjects, DataWithoutPdosMayNotLieOverItselfWithoutEnd) {
    const std::string slave = "<Slave><Info/><ProcessData><Recv><BitStart>0</BitStart><BitLength>"
                              "32768</BitLength></Recv></ProcessData></Slave>";
    EXPECT_EQ(verdict_of(slaves_file(slave, 128)).status, 0U); // 2,048 entries each
    EXPECT_EQ(verdict_of(slaves_file(slave, 129)).status, 32774U);
}

TEST(EniSlaveObjects, APdoIsAssignedOnce) {
    Device device(file_of("<Sm3><Type>Inputs</Type>" + repeated("<Pdo>#x1A00</Pdo>", 3) + "</Sm3>" +
                          recv(0, 8) + pdo("TxPdo", "1A00", entry("6000:1", 8))));
    EXPECT_EQ(device.slave().input_pdos.size(), 1U);
}

TEST(EniSlaveObjects, ADirectionHasAtMost1024Pdos) {
    EXPECT_EQ(verdict_of(file_of(repeated("<TxPdo/>", 1024))).status, 0U);
    EXPECT_EQ(verdict_of(file_of(repeated("<TxPdo/>", 1025))).status, 32827U);
    EXPECT_EQ(verdict_of(file_of("<Sm3>" + repeated("<Pdo>1</Pdo>", 1025) + "</Sm3>")).status,
              32827U);
}

TEST(EniSlaveObjects, OfTwoCyclicCommandsForAByteTheFirstCounts) {
    const auto write = [](const char *code, const char *address) {
        return std::string("<Cmd><Cmd>") + code + "</Cmd><Addr>" + address +
               "</Addr><DataLength>1</DataLength><OutputOffs>0</OutputOffs></Cmd>";
    };
    Device device(
        file_of(send(0, 8), "", "",
                "<Cyclic><Frame>" + write("11", "256") + write("12", "512") + "</Frame></Cyclic>"));
    EXPECT_EQ(device.slave().output_address, 256U);
    EXPECT_TRUE(device.slave().written_only);
}

// ---- complete access --------------------------------------------------------------------------

// A record of eight bits, and one of three bits and a number.
class BitRecords : public testing::Test {
  protected:
    static std::string outputs(uint32_t bits, const std::string &entries) {
        return send(0, bits) + pdo("RxPdo", "1600", entries);
    }
    static std::string bits(int count) {
        std::string entries;
        for (int i = 1; i <= count; ++i) {
            entries += entry("7000:" + std::to_string(i), 1);
        }
        return entries;
    }
    Device eight_{file_of(outputs(8, bits(8)))};
    Device mixed_{file_of(outputs(19, bits(3) + entry("7000:4", 16)))};

    uint32_t value(Device &device, uint8_t subindex) {
        Bytes data;
        EXPECT_EQ(device.read(0x7000, subindex, data, 2), 0U);
        return data.size() == 2 ? data[0] | static_cast<uint32_t>(data[1]) << 8 : data.at(0);
    }
};

TEST_F(BitRecords, AreWrittenToTheLastBit) {
    EXPECT_EQ(eight_.write({0x7000, 1, true}, {0xA5}), 0U);
    for (uint8_t i = 0; i < 8; ++i) {
        EXPECT_EQ(value(eight_, static_cast<uint8_t>(i + 1)), 0xA5U >> i & 1) << +i;
    }
}

TEST_F(BitRecords, NumbersBehindBitsAreWritten) {
    EXPECT_EQ(mixed_.write({0x7000, 1, true}, {0x0D, 0x02, 0x00}), 0U); // 101, 0x4001
    EXPECT_EQ(value(mixed_, 1), 1U);
    EXPECT_EQ(value(mixed_, 2), 0U);
    EXPECT_EQ(value(mixed_, 3), 1U);
    EXPECT_EQ(value(mixed_, 4), 0x0041U);
}

TEST_F(BitRecords, MayEndBehindTheBitsWithPadding) {
    EXPECT_EQ(mixed_.write({0x7000, 1, true}, {0x07}), 0U);
    EXPECT_EQ(value(mixed_, 3), 1U);
    EXPECT_EQ(value(mixed_, 4), 0U);
}

TEST_F(BitRecords, MayNotEndInsideTheNumber) {
    EXPECT_EQ(mixed_.write({0x7000, 1, true}, {0x07, 0x00}), sdo_abort::kTooShort);
    EXPECT_EQ(value(mixed_, 1), 0U);
}

TEST_F(BitRecords, MayNotBeLongerThanTheRecord) {
    EXPECT_EQ(eight_.write({0x7000, 1, true}, {0xFF, 0x00}), sdo_abort::kTooLong);
    EXPECT_EQ(value(eight_, 1), 0U);
}

// ---- interpolation time -----------------------------------------------------------------------

TEST(InterpolationTime, IsTheCycleTime) {
    struct Case {
        uint32_t cycle_us;
        uint32_t units;
        int8_t exponent;
    };
    for (const Case &c :
         {Case{1000, 1, -3}, Case{10'000, 10, -3}, Case{250'000, 250, -3}, Case{300'000, 30, -2},
          Case{1'000'000, 100, -2}, Case{500, 5, -4}, Case{250, 25, -5}, Case{125, 125, -6},
          Case{62, 62, -6}, Case{2560, 26, -4}, Case{2500, 25, -4}}) {
        SCOPED_TRACE(c.cycle_us);
        Device device(file_of(
            send(0, 16) + recv(0, 16) + pdo("RxPdo", "1600", entry("6040:0", 16)) +
                pdo("TxPdo", "1A00", entry("6041:0", 16)),
            "", "", "<Cyclic><CycleTime>" + std::to_string(c.cycle_us) + "</CycleTime></Cyclic>"));
        EXPECT_EQ(device.number(0x60C2, 1), c.units);
        EXPECT_EQ(static_cast<int8_t>(device.number(0x60C2, 2)), c.exponent);
    }
}
