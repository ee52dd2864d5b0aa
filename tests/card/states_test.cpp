// States, counts and identities of master and slaves.

#include "master_fixture.h"

#include "tarn_vcard/records.h"
#include "vcard/bus/network.h"

#include <array>

namespace {

using tarn::Command;
using tarn::test::VirtualCards;
using tarn::vcard::SlaveConfig;

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kRefused = 32771;
constexpr uint16_t kDrive = 0;
constexpr uint16_t kIo = 1;
constexpr uint16_t kCoupler = 2;
constexpr uint16_t kNoSlave = 3;

class States : public tarn::test::MasterTest {
  protected:
    // The slaves as the started file describes them.
    void start() {
        open();
        const std::string text = tarn::vcard::make_eni(small_network());
        ASSERT_EQ(tarn::vcard::parse_eni(text, network_).status, 0u);
        ASSERT_EQ(EcatBusRun(handle_, write_eni(text)), 0u);
        firmware().clear_seen();
    }

    const SlaveConfig &slave(uint16_t index) const { return network_.slaves[index]; }

    // What the last request was.
    void expect_sent(uint16_t code, const Bytes &payload) {
        ASSERT_FALSE(firmware().seen().empty());
        const tarn::vcard::SeenRequest request = firmware().seen().back();
        EXPECT_EQ(request.code, code);
        EXPECT_EQ(request.payload, payload);
        EXPECT_TRUE(request.primary);
        EXPECT_EQ(request.channel, 0u);
    }

    void lose_next_reply() {
        EcatSetTimeout(handle_, 50);
        firmware().faults().drop_replies = 1;
    }

    tarn::vcard::Network network_;
};

// ---- master -----------------------------------------------------------------------------------

TEST_F(States, MasterState) {
    start();
    uint8_t state = 0;
    EXPECT_EQ(EcatGetMasterState(handle_, &state), 0u);
    EXPECT_EQ(state, ECAT_STATE_OP);
    expect_sent(18, {});
}

TEST_F(States, MasterStateIsNotMasked) {
    start();
    lose_next_reply();
    uint8_t state = 0xF4;
    EXPECT_EQ(EcatGetMasterState(handle_, &state), 80003u);
    EXPECT_EQ(state, 0xF4);
}

TEST_F(States, RequestedMasterState) {
    start();
    ASSERT_EQ(EcatRequestMasterState(handle_, ECAT_STATE_SAFEOP), 0u);
    uint8_t state = 0;
    EXPECT_EQ(EcatGetMasterReqState(handle_, &state), 0u);
    EXPECT_EQ(state, ECAT_STATE_SAFEOP);
    expect_sent(50, {});
}

TEST_F(States, SlaveCount) {
    start();
    std::array<uint16_t, 2> count = {9, 9};
    EXPECT_EQ(EcatGetSlaveCount(handle_, count.data()), 0u);
    EXPECT_EQ(count, (std::array<uint16_t, 2>{3, 9}));
    expect_sent(19, {});
}

TEST_F(States, ActiveSlaveCount) {
    start();
    std::array<uint16_t, 2> count = {9, 9};
    EXPECT_EQ(EcatGetActiveSlaveCount(handle_, count.data()), 0u);
    EXPECT_EQ(count, (std::array<uint16_t, 2>{3, 9}));
    expect_sent(20, {});
    ASSERT_TRUE(firmware().slave_fault(0, kIo, "unplug"));
    EXPECT_EQ(EcatGetActiveSlaveCount(handle_, count.data()), 0u);
    EXPECT_EQ(count[0], 1u);
}

// ---- slave states -----------------------------------------------------------------------------

TEST_F(States, SlaveState) {
    start();
    std::array<uint8_t, 2> state = {0, 0xEE};
    EXPECT_EQ(EcatGetSlaveState(handle_, kIo, state.data()), 0u);
    EXPECT_EQ(state, (std::array<uint8_t, 2>{ECAT_STATE_OP, 0xEE}));
    expect_sent(21, {1, 0});
}

TEST_F(States, SlaveStateHidesTheErrorIndication) {
    start();
    ASSERT_TRUE(firmware().slave_fault(0, kIo, "safeop-error"));
    VcardSlaveInfo raw = {};
    ASSERT_EQ(EcatGetSlaveInfo(handle_, kIo, &raw), 0u);
    ASSERT_EQ(raw.state, 0x14);
    uint8_t state = 0;
    EXPECT_EQ(EcatGetSlaveState(handle_, kIo, &state), 0u);
    EXPECT_EQ(state, ECAT_STATE_SAFEOP);
}

TEST_F(States, SlaveStateIsMaskedAlsoOnATimeout) {
    start();
    lose_next_reply();
    uint8_t state = 0xF4;
    EXPECT_EQ(EcatGetSlaveState(handle_, kIo, &state), 80003u);
    EXPECT_EQ(state, 0x04);
}

TEST_F(States, SlaveStateNeedsAnOutput) {
    start();
    EXPECT_EQ(EcatGetSlaveState(handle_, kIo, nullptr), 80002u);
}

TEST_F(States, SlaveStateOfNoSlaveIsTheFirmwaresRefusal) {
    start();
    uint8_t state = 0;
    EXPECT_EQ(EcatGetSlaveState(handle_, kNoSlave, &state), 32778u);
    expect_sent(21, {3, 0});
}

TEST_F(States, StatesOfAllSlaves) {
    start();
    ASSERT_TRUE(firmware().slave_fault(0, kIo, "safeop-error"));
    std::array<uint8_t, 4> states = {0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(EcatGetSlaveStateEx(handle_, 3, states.data()), 0u);
    EXPECT_EQ(states, (std::array<uint8_t, 4>{8, 4, 8, 0xFF}));
    expect_sent(59, {3, 0});
}

TEST_F(States, ShortReplyOfStatesMasksOnlyWhatArrived) {
    start();
    std::array<uint8_t, 6> states;
    states.fill(0xFF);
    EXPECT_EQ(EcatGetSlaveStateEx(handle_, 6, states.data()), 0u);
    EXPECT_EQ(states, (std::array<uint8_t, 6>{8, 8, 8, 0xFF, 0xFF, 0xFF}));
}

TEST_F(States, FailedStatesMaskNothing) {
    start();
    lose_next_reply();
    std::array<uint8_t, 3> states = {0xFF, 0xFF, 0xFF};
    EXPECT_EQ(EcatGetSlaveStateEx(handle_, 3, states.data()), 80003u);
    EXPECT_EQ(states, (std::array<uint8_t, 3>{0xFF, 0xFF, 0xFF}));
}

TEST_F(States, StatesNeedAnOutput) {
    start();
    EXPECT_EQ(EcatGetSlaveStateEx(handle_, 3, nullptr), 80002u);
}

TEST_F(States, RequestedSlaveState) {
    start();
    ASSERT_EQ(EcatRequestMasterState(handle_, ECAT_STATE_SAFEOP), 0u);
    uint8_t state = 0;
    EXPECT_EQ(EcatGetSlaveReqState(handle_, kIo, &state), 0u);
    EXPECT_EQ(state, ECAT_STATE_SAFEOP);
    expect_sent(87, {1, 0});
}

TEST_F(States, RequestedSlaveStateIsMaskedAlsoOnATimeout) {
    start();
    lose_next_reply();
    uint8_t state = 0xF4;
    EXPECT_EQ(EcatGetSlaveReqState(handle_, kIo, &state), 80003u);
    EXPECT_EQ(state, 0x04);
}

TEST_F(States, RequestedStatesOfAllSlaves) {
    start();
    std::array<uint8_t, 6> states;
    states.fill(0xFF);
    EXPECT_EQ(EcatGetSlaveReqStateEx(handle_, 6, states.data()), 0u);
    EXPECT_EQ(states, (std::array<uint8_t, 6>{8, 8, 8, 0xFF, 0xFF, 0xFF}));
    expect_sent(88, {6, 0});
}

class FirmwareGate : public States {
  protected:
    void open_with(const char *firmware_version) {
        auto config = VirtualCards::default_card();
        config.firmware_version = firmware_version;
        open(config);
    }
};

TEST_F(FirmwareGate, RequestedStatesNeedFirmware11212) {
    open_with("1.12.11");
    std::array<uint8_t, 2> states = {0xFF, 0xFF};
    EXPECT_EQ(EcatGetSlaveReqState(handle_, 0, states.data()), 80006u);
    EXPECT_EQ(EcatGetSlaveReqStateEx(handle_, 2, states.data()), 80006u);
    EXPECT_EQ(states, (std::array<uint8_t, 2>{0xFF, 0xFF}));
    EXPECT_TRUE(firmware().seen().empty());
}

TEST_F(FirmwareGate, RequestedStatesAreAskedOfFirmware11212) {
    open_with("1.12.12");
    start_bus();
    uint8_t state = 0;
    EXPECT_EQ(EcatGetSlaveReqState(handle_, 0, &state), 0u);
    EXPECT_EQ(EcatGetSlaveReqStateEx(handle_, 1, &state), 0u);
}

TEST_F(FirmwareGate, UnreadableFirmwareVersionIsTooOld) {
    open_with("new");
    uint8_t state = 0;
    EXPECT_EQ(EcatGetSlaveReqState(handle_, 0, &state), 80006u);
}

// ---- identity ---------------------------------------------------------------------------------

class Identity : public States {
  protected:
    template <typename Value>
    Value ask(uint32_t (*get)(EcatHandle *, uint16_t, Value *), uint16_t slave, uint16_t code) {
        std::array<Value, 2> value = {0, 0x5A};
        EXPECT_EQ(get(handle_, slave, value.data()), 0u);
        EXPECT_EQ(value[1], 0x5A);
        expect_sent(code, {static_cast<uint8_t>(slave), 0});
        return value[0];
    }
};

TEST_F(Identity, VendorId) {
    start();
    for (const uint16_t i : {kDrive, kIo, kCoupler}) {
        EXPECT_EQ(ask(EcatGetSlaveVendorID, i, 24), slave(i).vendor_id);
    }
}

TEST_F(Identity, ProductCode) {
    start();
    ASSERT_NE(slave(kDrive).product_code, slave(kIo).product_code);
    for (const uint16_t i : {kDrive, kIo, kCoupler}) {
        EXPECT_EQ(ask(EcatGetSlaveProductCode, i, 25), slave(i).product_code);
    }
}

TEST_F(Identity, RevisionNo) {
    start();
    for (const uint16_t i : {kDrive, kIo, kCoupler}) {
        EXPECT_EQ(ask(EcatGetSlaveRevisionNo, i, 26), slave(i).revision_no);
    }
}

TEST_F(Identity, SerialNo) {
    start();
    for (const uint16_t i : {kDrive, kIo, kCoupler}) {
        EXPECT_EQ(ask(EcatGetSlaveSerialNo, i, 27), slave(i).serial_no);
    }
}

TEST_F(Identity, AliasIsFourBytesWide) {
    start();
    for (const uint16_t i : {kDrive, kIo, kCoupler}) {
        EXPECT_EQ(ask(EcatGetSlaveAlias, i, 28), slave(i).alias);
    }
    uint32_t alias = 0xFFFFFFFF;
    EXPECT_EQ(EcatGetSlaveAlias(handle_, kDrive, &alias), 0u);
    EXPECT_EQ(alias, slave(kDrive).alias);
}

TEST_F(Identity, FixedAddress) {
    start();
    ASSERT_NE(slave(kDrive).fixed_address, slave(kIo).fixed_address);
    for (const uint16_t i : {kDrive, kIo, kCoupler}) {
        EXPECT_EQ(ask(EcatGetSlaveFixAddr, i, 29), slave(i).fixed_address);
    }
}

TEST_F(Identity, DlStatusHasALink) {
    start();
    EXPECT_NE(ask(EcatGetSlaveDLStatus, kIo, 53) & 0x0010, 0); // link on port 0
}

TEST_F(Identity, AlStatusCode) {
    start();
    EXPECT_EQ(ask(EcatGetSlaveALStatusCode, kIo, 57), 0);
    ASSERT_TRUE(firmware().slave_fault(0, kIo, "safeop-error"));
    EXPECT_NE(ask(EcatGetSlaveALStatusCode, kIo, 57), 0);
}

TEST_F(Identity, InformationRecordIsCopiedAsReceived) {
    start();
    std::array<uint8_t, 60> record;
    record.fill(0xEE);
    EXPECT_EQ(EcatGetSlaveInfo(handle_, kDrive, record.data()), 0u);
    expect_sent(58, {0, 0});
    VcardSlaveInfo info;
    memcpy(&info, record.data(), sizeof info);
    EXPECT_EQ(info.vendor_id, slave(kDrive).vendor_id);
    EXPECT_EQ(info.fixed_address, slave(kDrive).fixed_address);
    EXPECT_EQ(info.state, ECAT_STATE_OP);
    EXPECT_EQ(record[56], 0xEE);
    EXPECT_EQ(EcatGetSlaveInfo(handle_, kDrive, nullptr), 80002u);
}

TEST_F(Identity, ReplyTooLargeIsNotCopied) {
    start();
    firmware().faults().oversize_replies = 1;
    uint32_t value = 7;
    EXPECT_EQ(EcatGetSlaveVendorID(handle_, kDrive, &value), 80002u);
    EXPECT_EQ(value, 7u);
}

TEST_F(Identity, IsUnknownBeforeTheBusWasStarted) {
    open();
    uint32_t value = 7;
    EXPECT_EQ(EcatGetSlaveVendorID(handle_, 0, &value), 32775u);
    EXPECT_EQ(value, 7u);
}

// ---- process data runs ------------------------------------------------------------------------

TEST_F(States, OutputRun) {
    start();
    uint16_t size = 0;
    uint16_t offset = 0;
    for (const uint16_t i : {kDrive, kIo}) {
        EXPECT_EQ(EcatGetSlavePIOutputsInfo(handle_, i, &size, &offset), 0u);
        EXPECT_EQ(size, slave(i).outputs.length);
        EXPECT_EQ(offset, slave(i).outputs.offset);
        expect_sent(23, {static_cast<uint8_t>(i), 0});
    }
}

TEST_F(States, InputRun) {
    start();
    uint16_t size = 0;
    uint16_t offset = 0;
    for (const uint16_t i : {kDrive, kIo}) {
        EXPECT_EQ(EcatGetSlavePIInputsInfo(handle_, i, &size, &offset), 0u);
        EXPECT_EQ(size, slave(i).inputs.length);
        EXPECT_EQ(offset, slave(i).inputs.offset);
        expect_sent(22, {static_cast<uint8_t>(i), 0});
    }
}

TEST_F(States, RunsOfASlaveWithoutDataDoNotExist) {
    start();
    uint16_t size = 7;
    uint16_t offset = 7;
    EXPECT_EQ(EcatGetSlavePIOutputsInfo(handle_, kCoupler, &size, &offset), 32834u);
    EXPECT_EQ(EcatGetSlavePIInputsInfo(handle_, kCoupler, &size, &offset), 32834u);
}

TEST_F(States, RunsAreWrittenAlsoOnFailure) {
    start();
    uint16_t size = 7;
    uint16_t offset = 7;
    lose_next_reply();
    EXPECT_EQ(EcatGetSlavePIOutputsInfo(handle_, kIo, &size, &offset), 80003u);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(offset, 0u);
}

TEST_F(States, RunsMayBeLeftOut) {
    start();
    uint16_t value = 0;
    EXPECT_EQ(EcatGetSlavePIOutputsInfo(handle_, kIo, nullptr, &value), 0u);
    EXPECT_EQ(value, slave(kIo).outputs.offset);
    EXPECT_EQ(EcatGetSlavePIOutputsInfo(handle_, kIo, &value, nullptr), 0u);
    EXPECT_EQ(value, slave(kIo).outputs.length);
}

// ---- switches ---------------------------------------------------------------------------------

TEST_F(States, ClearSlaveStateError) {
    start();
    ASSERT_TRUE(firmware().slave_fault(0, kIo, "safeop-error"));
    EXPECT_EQ(EcatClearSlaveStateError(handle_, kIo), 0u);
    expect_sent(41, {1, 0});
    uint16_t code = 7;
    EXPECT_EQ(EcatGetSlaveALStatusCode(handle_, kIo, &code), 0u);
    EXPECT_EQ(code, 0u);
}

TEST_F(States, AutoClear) {
    open();
    EXPECT_EQ(EcatAutoClearSlaveStateErrorEnableSet(handle_, 0x01020304), 0u);
    expect_sent(51, {4, 3, 2, 1});
    uint32_t enable = 0;
    EXPECT_EQ(EcatAutoClearSlaveStateErrorEnableGet(handle_, &enable), 0u);
    EXPECT_EQ(enable, 0x01020304u);
    expect_sent(52, {});
}

TEST_F(States, ReadyLostTimeout) {
    open();
    EXPECT_EQ(EcatReadyLostTimeoutSet(handle_, 0x01020304), 0u);
    expect_sent(99, {4, 3, 2, 1});
    uint32_t value = 0;
    EXPECT_EQ(EcatReadyLostTimeoutGet(handle_, &value), 0u);
    EXPECT_EQ(value, 0x01020304u);
    expect_sent(100, {});
}

TEST_F(States, TimeoutTriggerOnSendsTheValue) {
    open();
    EXPECT_EQ(ECAT_TIMEOUT_TRIGGER(handle_, 5), 0u);
    expect_sent(60, {5, 0, 0, 0});
    EXPECT_EQ(ECAT_TIMEOUT_TRIGGER(handle_, -1), 0u);
    expect_sent(60, {0xFF, 0xFF, 0xFF, 0xFF});
}

TEST_F(States, TimeoutTriggerOffHasACommandOfItsOwn) {
    open();
    EXPECT_EQ(ECAT_TIMEOUT_TRIGGER(handle_, 0), 0u);
    expect_sent(102, {0, 0, 0, 0});
}

TEST_F(States, RefusalsAreTheFirmwares) {
    open();
    refuse(Command::ReadyLostTimeoutSet, kRefused);
    EXPECT_EQ(EcatReadyLostTimeoutSet(handle_, 1), kRefused);
}

TEST_F(States, NothingIsTriedTwice) {
    start();
    lose_next_reply();
    uint32_t value = 0;
    EXPECT_EQ(EcatGetSlaveVendorID(handle_, 0, &value), 80003u);
    EXPECT_TRUE(has_lost_replies());
    EXPECT_EQ(seen_codes(), (std::vector<uint16_t>{24}));
}

// ---- active and ready -------------------------------------------------------------------------

TEST_F(States, SlaveIsActive) {
    start();
    EXPECT_TRUE(EcatSlaveIsActive(handle_, kIo));
    expect_sent(21, {1, 0});
}

TEST_F(States, SlaveWithAnErrorIsActive) {
    start();
    ASSERT_TRUE(firmware().slave_fault(0, kIo, "safeop-error"));
    EXPECT_TRUE(EcatSlaveIsActive(handle_, kIo));
}

TEST_F(States, SlaveWithoutStateIsNotActive) {
    start();
    ASSERT_TRUE(firmware().slave_fault(0, kIo, "unplug"));
    EXPECT_FALSE(EcatSlaveIsActive(handle_, kIo));
}

TEST_F(States, SlaveThatDoesNotExistIsNotActive) {
    start();
    EXPECT_FALSE(EcatSlaveIsActive(handle_, kNoSlave));
}

TEST_F(States, SlaveIsNotActiveOnATimeout) {
    start();
    lose_next_reply();
    EXPECT_FALSE(EcatSlaveIsActive(handle_, kIo));
}

TEST_F(States, SlaveIsNotActiveWhenRefused) {
    start();
    refuse(Command::SlaveState, kRefused);
    EXPECT_FALSE(EcatSlaveIsActive(handle_, kIo));
}

class SlaveReady : public States {
  protected:
    void SetUp() override { open(); }
    void set_word(uint32_t word, uint32_t value) { poke(area() + 0x1CB370 + word * 4, value); }
};

TEST_F(SlaveReady, IsOneBitOfCardMemory) {
    set_word(1, 1U << 3);
    EXPECT_TRUE(EcatSlaveIsReady(handle_, 35));
    EXPECT_FALSE(EcatSlaveIsReady(handle_, 34));
    EXPECT_FALSE(EcatSlaveIsReady(handle_, 36));
    EXPECT_FALSE(EcatSlaveIsReady(handle_, 3));
}

TEST_F(SlaveReady, Slave4095IsTheLastBit) {
    set_word(127, 1U << 31);
    EXPECT_TRUE(EcatSlaveIsReady(handle_, 4095));
    EXPECT_FALSE(EcatSlaveIsReady(handle_, 4094));
}

TEST_F(SlaveReady, Slave4096IsNeverReady) {
    set_word(0, ~0U);
    set_word(128, ~0U);
    EXPECT_FALSE(EcatSlaveIsReady(handle_, 4096));
    EXPECT_FALSE(EcatSlaveIsReady(handle_, 65535));
}

TEST_F(SlaveReady, SendsNothing) {
    EcatSlaveIsReady(handle_, 0);
    EXPECT_TRUE(firmware().seen().empty());
}

TEST_F(SlaveReady, FollowsTheBus) {
    EXPECT_FALSE(EcatSlaveIsReady(handle_, kIo));
    start_bus();
    EXPECT_TRUE(EcatSlaveIsReady(handle_, kIo));
    EXPECT_FALSE(EcatSlaveIsReady(handle_, kNoSlave));
    ASSERT_EQ(EcatBusStop(handle_), 0u);
    EXPECT_FALSE(EcatSlaveIsReady(handle_, kIo));
}

// ---- fixed address to index ---------------------------------------------------------------------

class AddressIndex : public States {
  protected:
    uint16_t index_ = 77;
};

TEST_F(AddressIndex, IsThePositionOfTheSlave) {
    start();
    for (const uint16_t i : {kDrive, kIo, kCoupler}) {
        EXPECT_EQ(EcatSlaveFixAddr2Index(handle_, slave(i).fixed_address, &index_), 0u);
        EXPECT_EQ(index_, i);
    }
    EXPECT_TRUE(firmware().seen().empty());
}

TEST_F(AddressIndex, IsTheLowerOfTwo) {
    start();
    pi_info().fixed_address[1] = 500;
    pi_info().fixed_address[2] = 500;
    EXPECT_EQ(EcatSlaveFixAddr2Index(handle_, 500, &index_), 0u);
    EXPECT_EQ(index_, 1u);
}

TEST_F(AddressIndex, UnknownAddressHasNone) {
    start();
    EXPECT_EQ(EcatSlaveFixAddr2Index(handle_, 4, &index_), 32770u);
    EXPECT_EQ(index_, 77u);
}

TEST_F(AddressIndex, EndsAtTheSlaveCount) {
    start();
    pi_info().fixed_address[3] = 500;
    EXPECT_EQ(EcatSlaveFixAddr2Index(handle_, 500, &index_), 32770u);
}

TEST_F(AddressIndex, NothingIsFoundOnAnEmptyBus) {
    open();
    EXPECT_EQ(EcatSlaveFixAddr2Index(handle_, 0, &index_), 32770u);
}

TEST_F(AddressIndex, StaysInTheTableWhateverTheCount) {
    open();
    pi_info().slave_count = ~0U;
    EXPECT_EQ(EcatSlaveFixAddr2Index(handle_, 500, &index_), 32770u);
    pi_info().slave_count = 0;
}

TEST_F(AddressIndex, NeedsAnOutput) {
    start();
    EXPECT_EQ(EcatSlaveFixAddr2Index(handle_, slave(kIo).fixed_address, nullptr), 32770u);
}

// ---- time-out ---------------------------------------------------------------------------------

TEST_F(States, SetTimeoutHoldsForLaterRequests) {
    start();
    EXPECT_EQ(EcatSetTimeout(handle_, 50), 0u);
    firmware().faults().drop_replies = 1;
    const uint64_t before = get_tick_ms();
    uint8_t state = 0;
    EXPECT_EQ(EcatGetMasterState(handle_, &state), 80003u);
    EXPECT_GE(get_tick_ms() - before, 50u);
}

TEST_F(States, FullRingEndsInItsOwnStatus) {
    start();
    EXPECT_EQ(EcatSetTimeout(handle_, 50), 0u);
    firmware().faults().stop_draining = true;
    uint8_t state = 0;
    EXPECT_EQ(EcatGetMasterState(handle_, &state), 80003u);
    EXPECT_EQ(EcatGetMasterState(handle_, &state), 80001u);
    firmware().faults().stop_draining = false;
    EXPECT_EQ(EcatSetTimeout(handle_, 20000), 0u);
    EXPECT_EQ(EcatGetMasterState(handle_, &state), 0u);
    EXPECT_EQ(state, ECAT_STATE_OP);
}

} // namespace
