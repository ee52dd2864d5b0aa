// EEPROM and controller memory of a slave: what goes out byte by byte, and what comes back.
#include "fake_master.h"

#include "pci_tarn/slave.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace tarn::test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;

using Read = uint32_t(EcatHandle *, uint16_t, uint16_t, uint16_t, void *);
using Write = uint32_t(EcatHandle *, uint16_t, uint16_t, uint16_t, const void *);

// The same four services on two memories.
struct Memory {
    Read *read;
    Write *write;
    uint16_t read_code;
    uint16_t write_code;
};

const Memory kEeprom = {EcatSlaveEepromRead, EcatSlaveEepromWrite, 31, 30};
const Memory kRegisters = {EcatSlaveMemoryRead, EcatSlaveMemoryWrite, 55, 54};

class SlaveAccess : public testing::TestWithParam<Memory> {
  protected:
    uint32_t read(uint16_t length) {
        return GetParam().read(master.handle(), 1, 2, length, data.data());
    }
    uint32_t write(uint16_t length) {
        return GetParam().write(master.handle(), 1, 2, length, source.data());
    }
    void answer_read(Reply reply) { master.replies[GetParam().read_code] = {std::move(reply)}; }
    std::string held_alone(uint16_t code) const {
        return "secondary " + std::to_string(code) + " under secondary";
    }
    const Bytes &request() { return master.secondary.seen.at(0).payload; }

    FakeMaster master;
    Bytes data = Bytes(65535, 0xCC);
    const Bytes source = counted(65535);
};

INSTANTIATE_TEST_SUITE_P(Eeprom, SlaveAccess, testing::Values(kEeprom));
INSTANTIATE_TEST_SUITE_P(Memory, SlaveAccess, testing::Values(kRegisters));

TEST(SlaveEeprom, ReadSendsTheRange) {
    FakeMaster master;
    master.replies[31] = {{.payload = {9, 8, 7, 6}}};
    Bytes data(4);
    EXPECT_EQ(EcatSlaveEepromRead(master.handle(), 0x0102, 0x0304, 4, data.data()), 0U);
    EXPECT_EQ(master.secondary.seen.at(0).code, 31);
    EXPECT_THAT(master.secondary.seen[0].payload, ElementsAre(2, 1, 4, 3, 4, 0));
    EXPECT_THAT(data, ElementsAre(9, 8, 7, 6));
}

TEST(SlaveEeprom, WriteSendsTheRangeAndTheData) {
    FakeMaster master;
    const Bytes data = {9, 8, 7};
    EXPECT_EQ(EcatSlaveEepromWrite(master.handle(), 0x0102, 0x0304, 3, data.data()), 0U);
    EXPECT_EQ(master.secondary.seen.at(0).code, 30);
    EXPECT_THAT(master.secondary.seen[0].payload, ElementsAre(2, 1, 4, 3, 3, 0, 9, 8, 7));
}

TEST(SlaveMemory, ReadSendsTheRange) {
    FakeMaster master;
    master.replies[55] = {{.payload = {9, 8}}};
    Bytes data(2);
    EXPECT_EQ(EcatSlaveMemoryRead(master.handle(), 0x0102, 0x0130, 2, data.data()), 0U);
    EXPECT_EQ(master.secondary.seen.at(0).code, 55);
    EXPECT_THAT(master.secondary.seen[0].payload, ElementsAre(2, 1, 0x30, 1, 2, 0));
    EXPECT_THAT(data, ElementsAre(9, 8));
}

TEST(SlaveMemory, WriteSendsTheRangeAndTheData) {
    FakeMaster master;
    const Bytes data = {9, 8, 7};
    EXPECT_EQ(EcatSlaveMemoryWrite(master.handle(), 0x0102, 0x0130, 3, data.data()), 0U);
    EXPECT_EQ(master.secondary.seen.at(0).code, 54);
    EXPECT_THAT(master.secondary.seen[0].payload, ElementsAre(2, 1, 0x30, 1, 3, 0, 9, 8, 7));
}

TEST_P(SlaveAccess, ReadHoldsTheSecondaryMailboxOnly) {
    read(4);
    EXPECT_THAT(master.log, ElementsAre(held_alone(GetParam().read_code)));
    EXPECT_EQ(master.primary.locked, 0);
    EXPECT_TRUE(master.all_released());
}

TEST_P(SlaveAccess, WriteHoldsTheSecondaryMailboxOnly) {
    write(4);
    EXPECT_THAT(master.log, ElementsAre(held_alone(GetParam().write_code)));
    EXPECT_EQ(master.primary.locked, 0);
    EXPECT_TRUE(master.all_released());
}

TEST_P(SlaveAccess, ReadOfTheLargestLength) {
    answer_read({.payload = source});
    EXPECT_EQ(read(65535), 0U);
    EXPECT_THAT(request(), ElementsAre(1, 0, 2, 0, 0xFF, 0xFF));
    EXPECT_EQ(data, source);
}

TEST_P(SlaveAccess, WriteOfTheLargestLength) {
    EXPECT_EQ(write(65535), 0U);
    EXPECT_EQ(request(), Bytes({1, 0, 2, 0, 0xFF, 0xFF}) + source);
}

TEST_P(SlaveAccess, OddLengthsAreSentAsTheyAre) {
    EXPECT_EQ(write(1), 0U);
    EXPECT_THAT(request(), ElementsAre(1, 0, 2, 0, 1, 0, 1));
}

TEST_P(SlaveAccess, WriteOfNothingSends6Bytes) {
    EXPECT_EQ(GetParam().write(master.handle(), 1, 2, 0, nullptr), 0U);
    EXPECT_THAT(request(), ElementsAre(1, 0, 2, 0, 0, 0));
}

TEST_P(SlaveAccess, ReadOfNothingSends6BytesAndTakesNoData) {
    EXPECT_EQ(GetParam().read(master.handle(), 1, 2, 0, nullptr), 0U);
    EXPECT_THAT(request(), ElementsAre(1, 0, 2, 0, 0, 0));
    answer_read({.payload = {1}});
    EXPECT_EQ(read(0), 80002U);
    EXPECT_EQ(data[0], 0xCC);
}

TEST_P(SlaveAccess, ShorterReplyLeavesTheRest) {
    answer_read({.payload = {5, 6, 7}});
    EXPECT_EQ(read(5), 0U);
    EXPECT_THAT(Bytes(data.begin(), data.begin() + 5), ElementsAre(5, 6, 7, 0xCC, 0xCC));
}

TEST_P(SlaveAccess, LongerReplyIsRefused) {
    answer_read({.payload = counted(5)});
    EXPECT_EQ(read(4), 80002U);
    EXPECT_THAT(data, Each(0xCC));
}

TEST_P(SlaveAccess, ReplyWithDataToAWriteIsRefused) {
    master.replies[GetParam().write_code] = {{.payload = {1}}};
    EXPECT_EQ(write(4), 80002U);
}

TEST_P(SlaveAccess, StatusOfTheFirmwarePassesThrough) {
    answer_read({.status = 32817});
    master.replies[GetParam().write_code] = {{.status = 32825}};
    EXPECT_EQ(read(4), 32817U);
    EXPECT_EQ(write(4), 32825U);
    EXPECT_THAT(master.log, SizeIs(2));
    EXPECT_THAT(data, Each(0xCC));
}

TEST_P(SlaveAccess, DataBesideAStatusArrives) {
    answer_read({.status = 32817, .payload = {5}});
    EXPECT_EQ(read(4), 32817U);
    EXPECT_EQ(data[0], 5);
}

TEST_P(SlaveAccess, WaitsForTheReplyAsLongAsTheHandleSays) {
    master.replies[GetParam().read_code] = {};
    master.replies[GetParam().write_code] = {};
    const uint64_t start = master.secondary.now_ms();
    EXPECT_EQ(read(4), 80003U);
    EXPECT_EQ(master.secondary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_EQ(write(4), 80003U);
    EXPECT_EQ(master.secondary.now_ms() - start, 2 * FakeMaster::kTimeoutMs);
    EXPECT_TRUE(master.all_released());
}

TEST_P(SlaveAccess, WaitsForASlotAsLongAsTheHandleSaysAndGivesTheMailboxBack) {
    master.secondary.out_write() = 1; // the one slot is taken
    const uint64_t start = master.secondary.now_ms();
    EXPECT_EQ(read(4), 80001U);
    EXPECT_EQ(master.secondary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_EQ(write(4), 80001U);
    EXPECT_TRUE(master.log.empty());
    EXPECT_TRUE(master.all_released());
}

TEST_P(SlaveAccess, ReadNeedsASlotOf22Bytes) {
    for (const auto &[size, status] : {std::pair{22U, 0U}, std::pair{21U, 80001U}}) {
        FakeMaster small({}, {.slot_size = size});
        EXPECT_EQ(GetParam().read(small.handle(), 1, 2, 4, data.data()), status) << size;
    }
}

TEST_P(SlaveAccess, WriteThatFitsNoSlotWaitsOutTheTimeOut) {
    FakeMaster small({}, {.slot_size = 64});
    EXPECT_EQ(GetParam().write(small.handle(), 1, 2, 42, source.data()), 0U);
    const uint64_t start = small.secondary.now_ms();
    EXPECT_EQ(GetParam().write(small.handle(), 1, 2, 43, source.data()), 80001U);
    EXPECT_EQ(small.secondary.now_ms() - start, FakeMaster::kTimeoutMs);
    EXPECT_THAT(small.log, SizeIs(1));
}

TEST_P(SlaveAccess, NullHandleIsInvalid) {
    EXPECT_EQ(GetParam().read(nullptr, 1, 2, 4, data.data()), 80013U);
    EXPECT_EQ(GetParam().write(nullptr, 1, 2, 4, source.data()), 80013U);
    EXPECT_THAT(data, Each(0xCC));
}

TEST_P(SlaveAccess, NullHandleComesBeforeNullData) {
    EXPECT_EQ(GetParam().read(nullptr, 1, 2, 4, nullptr), 80013U);
    EXPECT_EQ(GetParam().write(nullptr, 1, 2, 4, nullptr), 80013U);
}

TEST_P(SlaveAccess, NullDataWithALengthIsRefused) {
    EXPECT_EQ(GetParam().read(master.handle(), 1, 2, 1, nullptr), 32770U);
    EXPECT_EQ(GetParam().write(master.handle(), 1, 2, 1, nullptr), 32770U);
    EXPECT_TRUE(master.nothing_happened());
}

} // namespace
