// Access to the process image areas, and both ends' words of the triple buffers.
#include "card/pi_fixture.h"

#include <thread>

namespace {

using namespace tarn;
using tarn::test::Bytes;
using tarn::test::MappedSlave;

class ProcessImage : public test::PiTest {
  protected:
    void SetUp() override { open(); }

    uint32_t access_count() const {
        return peek<uint32_t>(reinterpret_cast<uint8_t *>(&card().access_counter));
    }
};

// ---- offsets and lengths ----------------------------------------------------------------------

TEST_F(ProcessImage, WhatIsWrittenIsReadBack) {
    const Bytes data = random_bytes(100, 1);
    EXPECT_EQ(EcatPIWrite(handle_, ECAT_PI_NORMAL_OUTPUT, 50, 100, data.data()), 0u);
    Bytes back(100);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_OUTPUT, 50, 100, back.data()), 0u);
    EXPECT_EQ(back, data);
    EXPECT_EQ(bytes_at(handle_->normal_output_cache + 50, 100), data);
}

TEST_F(ProcessImage, OffsetEightThousandOneHundredAndNinetyOneReadsNothing) {
    uint32_t offset = 8191;
    uint32_t length = 10;
    uint8_t data[10] = {0xEE};
    EXPECT_EQ(__EcatPIRead_NotCheck(handle_, ECAT_PI_NORMAL_INPUT, &offset, &length, data), 0u);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(data[0], 0xEE);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 8191, 10, data), 0u);
}

TEST_F(ProcessImage, OffsetsFromEightThousandOneHundredAndNinetyTwoAreOutside) {
    uint8_t byte = 0;
    EXPECT_EQ(EcatPIRead(handle_, 0, 8192, 1, &byte), 34058u);
    EXPECT_EQ(EcatPIWrite(handle_, 0, 8192, 0, &byte), 34058u);
    EXPECT_EQ(EcatPIMaskWrite(handle_, 0, 0xFFFFFFFF, 1, &byte, &byte), 34058u);
}

TEST_F(ProcessImage, IndexFiveIsOutside) {
    uint8_t byte = 0;
    void *address = nullptr;
    EXPECT_EQ(EcatPIRead(handle_, 5, 0, 1, &byte), 34058u);
    EXPECT_EQ(EcatPIWrite(handle_, 5, 0, 1, &byte), 34058u);
    EXPECT_EQ(EcatPIClear(handle_, 5), 34058u);
    EXPECT_EQ(EcatPINMap(handle_, 5, &address), 34058u);
    EXPECT_EQ(__set_pi_area_complete_info_pdo_len(handle_, 5, 1), 34058u);
}

TEST_F(ProcessImage, TheLengthIsCutBeforeTheLastByte) {
    uint32_t offset = 8000;
    uint32_t length = 1000;
    Bytes data(1000, 0xEE);
    EXPECT_EQ(__EcatPIRead_NotCheck(handle_, 0, &offset, &length, data.data()), 0u);
    EXPECT_EQ(length, 191u);
    EXPECT_EQ(data[190], 0);
    EXPECT_EQ(data[191], 0xEE);
}

TEST_F(ProcessImage, TheLastByteIsOutOfReach) {
    const Bytes data(8192, 0x5A);
    EXPECT_EQ(EcatPIWrite(handle_, 0, 0, 8192, data.data()), 0u);
    EXPECT_EQ(handle_->normal_output_cache[8190], 0x5A);
    EXPECT_EQ(handle_->normal_output_cache[8191], 0);
    EXPECT_EQ(EcatPIWrite(handle_, 0, 0, 0xFFFFFFFF, data.data()), 0u);
    EXPECT_EQ(handle_->normal_output_cache[8191], 0);
}

TEST_F(ProcessImage, NullDataIsRefusedUnlessNothingIsLeftToCopy) {
    EXPECT_EQ(EcatPIRead(handle_, 0, 0, 1, nullptr), 32770u);
    EXPECT_EQ(EcatPIWrite(handle_, 0, 0, 1, nullptr), 32770u);
    EXPECT_EQ(EcatPIRead(handle_, 0, 0, 0, nullptr), 0u);
    EXPECT_EQ(EcatPIWrite(handle_, 0, 8191, 1, nullptr), 0u);
    uint32_t word = 0;
    EXPECT_EQ(__EcatPIRead_NotCheck(handle_, 0, nullptr, &word, &word), 32770u);
    EXPECT_EQ(__EcatPIRead_NotCheck(handle_, 0, &word, nullptr, &word), 32770u);
}

TEST_F(ProcessImage, TheCardAreaAndTheShadowInputCannotBeWrittenOrCleared) {
    const uint8_t byte = 1;
    for (const uint32_t index : {3U, 4U}) {
        EXPECT_EQ(EcatPIWrite(handle_, index, 0, 1, &byte), 32782u);
        EXPECT_EQ(EcatPIMaskWrite(handle_, index, 0, 1, &byte, &byte), 32782u);
        EXPECT_EQ(EcatPIClear(handle_, index), 32782u);
        EXPECT_EQ(image(index)[0], 0);
    }
}

TEST_F(ProcessImage, AMaskChoosesBits) {
    const uint8_t old[3] = {0xAA, 0xAA, 0xAA};
    const uint8_t mask[3] = {0xFF, 0x00, 0x0F};
    const uint8_t source[3] = {0x55, 0x55, 0x55};
    EcatPIWrite(handle_, ECAT_PI_NORMAL_INPUT, 7, 3, old);
    EXPECT_EQ(EcatPIMaskWrite(handle_, ECAT_PI_NORMAL_INPUT, 7, 3, mask, source), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_input_cache + 7, 3), (Bytes{0x55, 0xAA, 0xA5}));
    EXPECT_EQ(EcatPIMaskWrite(handle_, ECAT_PI_NORMAL_INPUT, 7, 3, nullptr, source), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_input_cache + 7, 3), (Bytes{0x55, 0x55, 0x55}));
}

TEST_F(ProcessImage, ClearZeroesTheWholeArea) {
    for (const uint32_t index : {0U, 1U, 2U}) {
        memset(image(index), 0x11, kImageBytes);
        EXPECT_EQ(EcatPIClear(handle_, index), 0u);
        EXPECT_EQ(bytes_at(image(index), kImageBytes), Bytes(kImageBytes));
    }
}

TEST_F(ProcessImage, ClearingToTheImageLengthStopsThere) {
    __set_pi_area_complete_info_pdo_len(handle_, ECAT_PI_NORMAL_OUTPUT, 10);
    memset(handle_->normal_output_cache, 0x11, 20);
    PiArea &own = pi_area(ECAT_PI_NORMAL_OUTPUT);
    EXPECT_EQ(own.ops->clear(own.object, 0, 0xFFFFFFFF, &own.state), 0u);
    EXPECT_EQ(handle_->normal_output_cache[9], 0);
    EXPECT_EQ(handle_->normal_output_cache[10], 0x11);
}

TEST_F(ProcessImage, NMapGivesTheImagesThemselves) {
    EXPECT_EQ(image(ECAT_PI_NORMAL_OUTPUT), getSharedMemory_piNormalCacheOutput(0, 0));
    EXPECT_EQ(image(ECAT_PI_NORMAL_INPUT), getSharedMemory_piNormalCacheInput(0, 0));
    EXPECT_EQ(image(ECAT_PI_FAST_OUTPUT), getSharedMemory_pifast(0, 0));
    EXPECT_EQ(image(ECAT_PI_CARD_AREA), handle_->card_area_object.local);
    EXPECT_EQ(image(ECAT_PI_SHADOW_INPUT), getSharedMemory_pishadowinput(0, 0));
    EXPECT_EQ(EcatPINMap(handle_, 0, nullptr), 32770u);
}

TEST_F(ProcessImage, NMapOfAnAreaWithoutImageIsNotSupported) {
    handle_->normal_output_object.cache = nullptr;
    void *address = &address;
    EXPECT_EQ(EcatPINMap(handle_, ECAT_PI_NORMAL_OUTPUT, &address), 32782u);
    EXPECT_EQ(address, nullptr);
}

TEST_F(ProcessImage, EachAccessIsCountedForTheCard) {
    uint8_t byte = 0;
    uint32_t offset = 0;
    uint32_t length = 1;
    const uint32_t before = access_count();
    EcatPIRead(handle_, 0, 0, 1, &byte);
    EcatPIWrite(handle_, 0, 0, 1, &byte);
    EcatPIMaskWrite(handle_, 0, 0, 1, &byte, &byte);
    __EcatPIRead_NotCheck(handle_, 0, &offset, &length, &byte);
    EXPECT_EQ(access_count(), before + 4);
    EcatPIWrite(handle_, ECAT_PI_SHADOW_INPUT, 0, 1, &byte); // refused by the area
    EcatPIRead(handle_, 0, 8191, 1, &byte);                  // nothing to read
    EXPECT_EQ(access_count(), before + 6);
}

TEST_F(ProcessImage, RefusedArgumentsAreNotCounted) {
    uint8_t byte = 0;
    const uint32_t before = access_count();
    EcatPIRead(handle_, 0, 8192, 1, &byte);
    EcatPIRead(handle_, 5, 0, 1, &byte);
    EcatPIRead(handle_, 0, 0, 1, nullptr);
    EcatPIClear(handle_, 0);
    EXPECT_EQ(access_count(), before);
}

TEST_F(ProcessImage, TheAccessCounterWraps) {
    uint8_t byte = 0;
    card().access_counter = 0xFFFFFFFF;
    EcatPIRead(handle_, 0, 0, 1, &byte);
    EXPECT_EQ(access_count(), 0u);
}

// ---- enable switch ----------------------------------------------------------------------------

TEST_F(ProcessImage, SwitchingOnAsksTheFirmwareAndThenWritesTheWord) {
    uint32_t flag = 7;
    EXPECT_EQ(EcatPIEnableGet(handle_, &flag), 0u);
    EXPECT_EQ(flag, 0u);
    EXPECT_EQ(EcatPIEnableSet(handle_, 5), 0u);
    EXPECT_EQ(seen_count(Command::PiEnable), 1u);
    EXPECT_EQ(card().enable, 1u);
    EXPECT_EQ(EcatPIEnableGet(handle_, &flag), 0u);
    EXPECT_EQ(flag, 1u);
}

TEST_F(ProcessImage, EnableIsEnableSetWithOne) {
    EXPECT_EQ(EcatPIEnable(handle_), 0u);
    EXPECT_EQ(seen_count(Command::PiEnable), 1u);
    EXPECT_EQ(card().enable, 1u);
}

TEST_F(ProcessImage, SwitchingOffSendsNothing) {
    card().enable = 1;
    EXPECT_EQ(EcatPIEnableSet(handle_, 0), 0u);
    EXPECT_EQ(card().enable, 0u);
    card().enable = 1;
    EXPECT_EQ(EcatPIDisable(handle_), 0u);
    EXPECT_EQ(card().enable, 0u);
    EXPECT_EQ(seen_codes().size(), 0u);
}

TEST_F(ProcessImage, ARefusedSwitchLeavesTheWord) {
    refuse(Command::PiEnable, 32775);
    EXPECT_EQ(EcatPIEnableSet(handle_, 1), 32775u);
    EXPECT_EQ(card().enable, 0u);
}

TEST_F(ProcessImage, ASwitchAnsweredWithDataIsAnError) {
    firmware().faults().oversize_replies = 1;
    EXPECT_EQ(EcatPIEnableSet(handle_, 1), 80002u);
    EXPECT_EQ(card().enable, 0u);
}

TEST_F(ProcessImage, ASwitchWithoutReplyTimesOut) {
    firmware().faults().drop_replies = 1;
    EcatSetTimeout(handle_, 50);
    EXPECT_EQ(EcatPIEnableSet(handle_, 1), 80003u);
    EXPECT_EQ(card().enable, 0u);
}

TEST_F(ProcessImage, ASwitchThatFindsNoSlotTimesOut) {
    firmware().faults().stop_draining = true;
    EcatSetTimeout(handle_, 20);
    uint32_t status = EcatPIEnableSet(handle_, 1);
    while (status == 80003) { // fills the ring
        status = EcatPIEnableSet(handle_, 1);
    }
    EXPECT_EQ(status, 80001u);
    EXPECT_EQ(card().enable, 0u);
}

TEST_F(ProcessImage, AskingForTheSwitchWantsAnOut) {
    EXPECT_EQ(EcatPIEnableGet(handle_, nullptr), 32770u);
}

// ---- slave activity ---------------------------------------------------------------------------

class ProcessImageActivity : public ProcessImage {
  protected:
    // 100 slaves of one byte, each in its place.
    static std::vector<MappedSlave> slaves(bool reversed) {
        std::vector<MappedSlave> list;
        for (uint16_t i = 0; i < 100; ++i) {
            const auto at = static_cast<uint16_t>(8 * i);
            list.push_back({at, 8, reversed ? static_cast<uint16_t>(792 - at) : at});
        }
        return list;
    }
};

TEST_F(ProcessImageActivity, AnInactiveSlaveFillsTheBufferAndReports) {
    use_tables({}, slaves(false), 100, false);
    set_all_active();
    set_active(40, false);
    memset(handle_->normal_input_cache, 0x33, 100);
    Bytes data(100);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 0, 100, data.data()), 80015u);
    EXPECT_EQ(data, Bytes(100, 0x33));
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 40, 1, data.data()), 80015u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 0, 40, data.data()), 0u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 41, 59, data.data()), 0u);
}

TEST_F(ProcessImageActivity, AnInactiveSlaveLetsAWriteThroughAndReports) {
    use_tables(slaves(false), {}, 100, false);
    const uint8_t byte = 9;
    EXPECT_EQ(EcatPIWrite(handle_, ECAT_PI_NORMAL_OUTPUT, 3, 1, &byte), 80015u);
    EXPECT_EQ(handle_->normal_output_cache[3], 9);
    EXPECT_EQ(EcatPIMaskWrite(handle_, ECAT_PI_NORMAL_OUTPUT, 4, 1, &byte, &byte), 80015u);
    set_all_active();
    EXPECT_EQ(EcatPIWrite(handle_, ECAT_PI_NORMAL_OUTPUT, 3, 1, &byte), 0u);
}

TEST_F(ProcessImageActivity, TheUncheckedReadDoesNotLookAtSlaves) {
    use_tables({}, slaves(false), 100, false);
    uint32_t offset = 0;
    uint32_t length = 10;
    Bytes data(10);
    EXPECT_EQ(__EcatPIRead_NotCheck(handle_, ECAT_PI_NORMAL_INPUT, &offset, &length, data.data()),
              0u);
}

TEST_F(ProcessImageActivity, BytesWithoutSlavesPass) {
    use_tables(slaves(false));
    Bytes data(100);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 100, 100, data.data()), 0u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 99, 1, data.data()), 80015u);
}

TEST_F(ProcessImageActivity, AMappedRangeAsksTheSlavesOfItsLogicalAddresses) {
    use_tables(slaves(true));
    set_all_active();
    set_active(10, false); // logical byte 89
    Bytes data(100);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 89, 1, data.data()), 80015u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 10, 1, data.data()), 0u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 0, 89, data.data()), 0u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 0, 100, data.data()), 80015u);
}

TEST_F(ProcessImageActivity, AMappedSlaveWithoutDataIsNotAsked) {
    std::vector<MappedSlave> list = slaves(true);
    list[10].length = 0;
    use_tables(list);
    set_all_active();
    set_active(10, false);
    Bytes data(100);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 0, 100, data.data()), 0u);
    set_active(11, false);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 0, 100, data.data()), 80015u);
}

TEST_F(ProcessImageActivity, AnInactiveSlaveOutsideALargeMappedRangeDoesNotMatter) {
    use_tables(slaves(true));
    set_all_active();
    set_active(0, false); // logical byte 99
    Bytes data(100);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 0, 99, data.data()), 0u);
}

TEST_F(ProcessImageActivity, EachIndexAsksItsDirection) {
    use_tables(slaves(false), {}, 100, false);
    uint8_t byte = 0;
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_OUTPUT, 0, 1, &byte), 80015u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_FAST_OUTPUT, 0, 1, &byte), 80015u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_CARD_AREA, 0, 1, &byte), 80015u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_NORMAL_INPUT, 0, 1, &byte), 0u);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, 1, &byte), 0u);
}

// ---- access by slave --------------------------------------------------------------------------

class SlaveImage : public ProcessImage {
  protected:
    // Physical in the order of the slaves, logical elsewhere.
    static std::vector<MappedSlave> slaves() {
        return {{3, 10, 800}, {14, 3, 838}, {19, 0, 843}, {24, 16, 848}, {40, 0, 864}};
    }

    void SetUp() override {
        ProcessImage::SetUp();
        use_tables(slaves());
        set_all_active();
    }

    using Range = std::pair<uint32_t, uint32_t>;
    Range range(uint16_t slave, uint32_t index = ECAT_PI_NORMAL_OUTPUT) {
        Range found(99, 99);
        EXPECT_EQ(EcatSlavePIGetRange(handle_, index, slave, &found.first, &found.second), 0u);
        return found;
    }
};

TEST_F(SlaveImage, ARangeIsTheBytesThatTheBitsTouch) {
    use_tables(slaves(), slaves(), 100, false);
    EXPECT_EQ(range(0), Range(0, 2)); // bits 3 to 12
    EXPECT_EQ(range(1), Range(1, 2)); // bits 14 to 16
    EXPECT_EQ(range(3), Range(3, 2));
}

TEST_F(SlaveImage, ASlaveWithoutBitsInsideAByteStillHasThatByte) {
    use_tables(slaves(), slaves(), 100, false);
    EXPECT_EQ(range(2), Range(2, 1));
    EXPECT_EQ(range(4), Range(5, 0));
}

TEST_F(SlaveImage, AMappedRangeStandsAtTheLogicalAddress) {
    EXPECT_EQ(range(0), Range(100, 2));
    EXPECT_EQ(range(1), Range(104, 2)); // bits 838 to 840
    EXPECT_EQ(range(3), Range(106, 2));
    EXPECT_EQ(range(3, ECAT_PI_SHADOW_INPUT), Range(106, 2));
}

TEST_F(SlaveImage, PiGetRangeIsTheSame) {
    uint32_t offset = 0;
    uint32_t length = 0;
    EXPECT_EQ(EcatPIGetRange(handle_, ECAT_PI_NORMAL_OUTPUT, 3, &offset, &length), 0u);
    EXPECT_EQ(Range(offset, length), Range(106, 2));
    EXPECT_EQ(EcatPIGetRange(handle_, ECAT_PI_NORMAL_OUTPUT, 5, &offset, &length), 32778u);
}

TEST_F(SlaveImage, EitherOutOfARangeMayBeNull) {
    uint32_t value = 0;
    EXPECT_EQ(EcatSlavePIGetRange(handle_, 0, 3, &value, nullptr), 0u);
    EXPECT_EQ(value, 106u);
    EXPECT_EQ(EcatSlavePIGetRange(handle_, 0, 3, nullptr, &value), 0u);
    EXPECT_EQ(value, 2u);
}

TEST_F(SlaveImage, TheNumberOfMappedSlavesBoundsTheIndex) {
    uint8_t byte = 0;
    EXPECT_EQ(EcatSlavePIGetRange(handle_, 0, 5, nullptr, nullptr), 32778u);
    EXPECT_EQ(EcatSlavePIReadEx(handle_, 0, 5, 0, 1, &byte), 32778u);
    EXPECT_EQ(EcatSlavePIMaskWriteEx(handle_, 0, 5, 0, 1, nullptr, &byte), 32778u);
    EXPECT_EQ(EcatSlavePIClear(handle_, 0, 5), 32778u);
    output().entry_count = 0; // no mapping, although slaves are there
    EXPECT_EQ(EcatSlavePIGetRange(handle_, 0, 0, nullptr, nullptr), 32778u);
    output().entry_count = 0xFFFFFFFF;
    EXPECT_EQ(EcatSlavePIGetRange(handle_, 0, 4096, nullptr, nullptr), 32778u);
}

TEST_F(SlaveImage, IndexFiveIsOutside) {
    uint8_t byte = 0;
    EXPECT_EQ(EcatSlavePIGetRange(handle_, 5, 0, nullptr, nullptr), 34058u);
    EXPECT_EQ(EcatSlavePIReadEx(handle_, 5, 0, 0, 1, &byte), 34058u);
    EXPECT_EQ(EcatSlavePIWriteEx(handle_, 5, 0, 0, 1, &byte), 34058u);
    EXPECT_EQ(EcatSlavePIClear(handle_, 5, 0), 34058u);
}

TEST_F(SlaveImage, ReadsInsideTheSlave) {
    const Bytes data = {1, 2, 3, 4};
    memcpy(handle_->normal_output_cache + 105, data.data(), 4);
    uint8_t two[2] = {};
    EXPECT_EQ(EcatSlavePIRead(handle_, 0, 3, 2, two), 0u);
    EXPECT_EQ(bytes_at(two, 2), (Bytes{2, 3}));
    EXPECT_EQ(EcatSlavePIReadEx(handle_, 0, 3, 1, 1, two), 0u);
    EXPECT_EQ(two[0], 3);
}

TEST_F(SlaveImage, LengthsAreCutToTheSlave) {
    memset(handle_->normal_output_cache, 0x22, 200);
    Bytes data(10, 0xEE);
    EXPECT_EQ(EcatSlavePIRead(handle_, 0, 3, 10, data.data()), 0u);
    EXPECT_EQ(data[1], 0x22);
    EXPECT_EQ(data[2], 0xEE);
    EXPECT_EQ(EcatSlavePIWriteEx(handle_, 0, 3, 1, 10, data.data() + 2), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_output_cache + 106, 3), (Bytes{0x22, 0xEE, 0x22}));
}

TEST_F(SlaveImage, AnOffsetBehindTheSlaveIsOutside) {
    uint8_t byte = 0;
    EXPECT_EQ(EcatSlavePIReadEx(handle_, 0, 3, 2, 1, &byte), 34058u);
    EXPECT_EQ(EcatSlavePIWriteEx(handle_, 0, 3, 2, 1, &byte), 34058u);
    EXPECT_EQ(EcatSlavePIReadEx(handle_, 0, 4, 0, 1, &byte), 34058u); // no byte at all
}

TEST_F(SlaveImage, WritesStandInTheImage) {
    const uint8_t data[2] = {0x11, 0x22};
    const uint8_t mask[2] = {0x0F, 0xF0};
    EXPECT_EQ(EcatSlavePIWrite(handle_, 0, 3, 2, data), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_output_cache + 106, 2), (Bytes{0x11, 0x22}));
    const uint8_t other[2] = {0xFF, 0xFF};
    EXPECT_EQ(EcatSlavePIMaskWrite(handle_, 0, 3, 2, mask, other), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_output_cache + 106, 2), (Bytes{0x1F, 0xF2}));
    EXPECT_EQ(EcatSlavePIMaskWriteEx(handle_, 0, 3, 1, 1, mask, data), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_output_cache + 106, 2), (Bytes{0x1F, 0xF1}));
    EXPECT_EQ(EcatSlavePIWriteEx(handle_, 0, 3, 1, 1, data), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_output_cache + 106, 2), (Bytes{0x1F, 0x11}));
}

TEST_F(SlaveImage, TheAccessRunsWhateverTheSlaveButReportsIt) {
    set_active(3, false);
    const uint8_t data[2] = {0x11, 0x22};
    EXPECT_EQ(EcatSlavePIWrite(handle_, 0, 3, 2, data), 80015u);
    EXPECT_EQ(handle_->normal_output_cache[106], 0x11);
    uint8_t back[2] = {};
    EXPECT_EQ(EcatSlavePIRead(handle_, 0, 3, 2, back), 80015u);
    EXPECT_EQ(back[1], 0x22);
    EXPECT_EQ(EcatSlavePIRead(handle_, 0, 0, 1, back), 0u); // another slave
}

TEST_F(SlaveImage, ASlaveWithoutDataIsAskedAllTheSame) {
    use_tables(slaves(), slaves(), 100, false);
    set_active(2, false);
    uint8_t byte = 0;
    EXPECT_EQ(EcatSlavePIRead(handle_, 0, 2, 1, &byte), 80015u);
}

TEST_F(SlaveImage, AWriteThatTheAreaRefusesComesBeforeTheSlave) {
    set_active(3, false);
    const uint8_t byte = 0;
    EXPECT_EQ(EcatSlavePIWrite(handle_, ECAT_PI_SHADOW_INPUT, 3, 1, &byte), 32782u);
}

TEST_F(SlaveImage, ASlaveBehindTheImageIsOutside) {
    use_tables({{0, 16, 65520}});
    set_all_active();
    EXPECT_EQ(range(0), Range(8190, 2));
    uint8_t data[2] = {1, 2};
    EXPECT_EQ(EcatSlavePIWrite(handle_, 0, 0, 2, data), 0u); // cut before the last byte
    EXPECT_EQ(bytes_at(handle_->normal_output_cache + 8190, 2), (Bytes{1, 0}));
    use_tables({{0, 40, 65528}});
    EXPECT_EQ(EcatSlavePIReadEx(handle_, 0, 0, 1, 1, data), 34058u);
}

TEST_F(SlaveImage, ClearZeroesTheSlavesBytesOnly) {
    memset(handle_->normal_output_cache, 0x22, 200);
    EXPECT_EQ(EcatSlavePIClear(handle_, 0, 3), 0u);
    EXPECT_EQ(bytes_at(handle_->normal_output_cache + 105, 4), (Bytes{0x22, 0, 0, 0x22}));
}

TEST_F(SlaveImage, ClearingAnAreaThatCannotBeClearedIsNoFailure) {
    memset(handle_->shadow_input, 0x22, 200);
    EXPECT_EQ(EcatSlavePIClear(handle_, ECAT_PI_SHADOW_INPUT, 3), 0u);
    EXPECT_EQ(EcatSlavePIClear(handle_, ECAT_PI_CARD_AREA, 3), 0u);
    EXPECT_EQ(handle_->shadow_input[106], 0x22);
}

// ---- the producer's end of a triple buffer ----------------------------------------------------

class FastOutput : public test::PiTest {
  protected:
    static constexpr uint32_t kLength = 64;

    void open_with(uint32_t generation) {
        open_generation(generation);
        __set_pi_area_complete_info_pdo_len(handle_, ECAT_PI_FAST_OUTPUT, kLength);
    }

    // Writes an image with these words in place and tells which card buffers it reached.
    std::vector<uint32_t> buffers_written(uint32_t host, uint32_t from_card) {
        for (auto &buffer : card().fast_output_buffers) {
            memset(buffer, 0xEE, sizeof buffer);
        }
        card().fast_output = {41, host, from_card};
        const Bytes data = random_bytes(kLength, host * 97 + from_card);
        EXPECT_EQ(EcatPIWrite(handle_, ECAT_PI_FAST_OUTPUT, 0, kLength, data.data()), 0u);
        std::vector<uint32_t> written;
        for (uint32_t i = 0; i < 3; ++i) {
            const uint8_t *buffer = card().fast_output_buffers[i];
            if (bytes_at(buffer, kPhysicalBytes) != Bytes(kPhysicalBytes, 0xEE)) {
                written.push_back(i);
                EXPECT_EQ(bytes_at(buffer, kLength), data);
                EXPECT_EQ(buffer[kLength], 0xEE); // no byte more than the image has
            }
        }
        return written;
    }
};

TEST_F(FastOutput, TheFirstGenerationChoosesByBothWords) {
    open_with(1);
    const uint32_t next[3][3] = {{1, 2, 1}, {2, 0, 0}, {1, 0, 0}};
    for (uint32_t host = 0; host < 3; ++host) {
        for (uint32_t from_card = 0; from_card < 3; ++from_card) {
            EXPECT_EQ(buffers_written(host, from_card),
                      std::vector<uint32_t>{next[host][from_card]})
                << host << " " << from_card;
            EXPECT_EQ(card().fast_output.host, next[host][from_card]);
            EXPECT_EQ(card().fast_output.card, from_card);
            EXPECT_EQ(card().fast_output.counter, 42u);
        }
    }
}

TEST_F(FastOutput, TheFirstGenerationStaysInItsBuffersWhateverTheWordsSay) {
    open_with(1);
    for (uint32_t word : {3U, 4U, 0x100U, 0xFFFFFFFFU}) {
        EXPECT_EQ(buffers_written(word, 0).size(), 1u) << word;
        EXPECT_LT(card().fast_output.host, 3u);
        EXPECT_EQ(buffers_written(0, word).size(), 1u) << word;
    }
}

TEST_F(FastOutput, TheSecondGenerationChoosesByBothWords) {
    open_with(2);
    const uint32_t next[3][8] = {
        {1, 1, 1, 1, 1, 2, 1, 0}, {2, 2, 2, 2, 2, 0, 0, 0}, {0, 0, 0, 0, 1, 0, 0, 0}};
    for (uint32_t h = 0; h < 3; ++h) {
        for (uint32_t k = 0; k < 8; ++k) {
            const uint32_t host = 0x00ABC254 + h;      // sequence, echo of earlier, newest buffer
            const uint32_t from_card = 0x770000A8 + k; // the card's request counter above its bits
            EXPECT_EQ(buffers_written(host, from_card), std::vector<uint32_t>{next[h][k]})
                << h << " " << k;
            EXPECT_EQ(card().fast_output.host, 0x00ABC400u | ((0xA8 + k) & 0xFC) | next[h][k]);
            EXPECT_EQ(card().fast_output.card, from_card);
            EXPECT_EQ(card().fast_output.counter, 42u);
        }
    }
}

TEST_F(FastOutput, TheSecondGenerationStaysInItsBuffersWhateverTheWordsSay) {
    open_with(2);
    for (uint32_t k = 0; k < 8; ++k) {
        EXPECT_EQ(buffers_written(0xFFFFFFFF, k).size(), 1u); // names buffer 3
        EXPECT_LT(card().fast_output.host & 3, 3u);
    }
}

TEST_F(FastOutput, TheSequenceWraps) {
    open_with(2);
    EXPECT_EQ(buffers_written(0xFFFFFE00, 0), std::vector<uint32_t>{1});
    EXPECT_EQ(card().fast_output.host, 0x00000001u);
}

// The conversion runs while the buffer is filled and so sees the word of that time.
TEST_F(FastOutput, TheSequenceIsOddWhileTheBufferIsFilled) {
    open_with(2);
    PiMasterObject &object = handle_->fast_output_object;
    uint32_t words[3] = {0, 0x1000, 0};
    object.index = words;
    uint32_t seen = 0;
    static uint32_t *host_word;
    static uint32_t *copy;
    host_word = &words[1];
    copy = &seen;
    PiTransfer state = pi_area(ECAT_PI_FAST_OUTPUT).state;
    state.mapped = 1;
    state.convert = [](const PiTransfer *, void *, const void *) { *copy = *host_word; };
    pi_info().fast_output_dirty = 1;
    EXPECT_EQ(pi_area(ECAT_PI_FAST_OUTPUT).ops->exchange(&object, &state), 0u);
    EXPECT_EQ(seen, 0x1100u);
    EXPECT_EQ(words[1], 0x1201u);
}

class FastOutputOfEitherGeneration : public FastOutput,
                                     public testing::WithParamInterface<uint32_t> {};

TEST_P(FastOutputOfEitherGeneration, TwoExchangesWithoutAWriteBetweenPublishOnce) {
    open_with(GetParam());
    buffers_written(0, 0);
    const uint32_t host = card().fast_output.host;
    EXPECT_EQ(pi_info().fast_output_dirty, 0u);
    EXPECT_EQ(exchange(ECAT_PI_FAST_OUTPUT), 0u);
    EXPECT_EQ(card().fast_output.counter, 42u);
    EXPECT_EQ(card().fast_output.host, host);
}

INSTANTIATE_TEST_SUITE_P(Generations, FastOutputOfEitherGeneration, testing::Values(1U, 2U));

TEST_F(FastOutput, AMarkFromAnywherePublishesTheImageAsItIs) {
    open_with(2);
    handle_->fast_output[0] = 0x66; // as another process wrote it
    pi_buff_3p_master_force_update(&handle_->fast_output_object);
    EXPECT_EQ(pi_info().fast_output_dirty, 1u);
    EXPECT_EQ(exchange(ECAT_PI_FAST_OUTPUT), 0u);
    EXPECT_EQ(card().fast_output_buffers[card().fast_output.host & 3][0], 0x66);
    EXPECT_EQ(pi_info().fast_output_dirty, 0u);
}

TEST_F(FastOutput, ClearingPublishesTheZeros) {
    open_with(2);
    buffers_written(0, 0);
    EXPECT_EQ(EcatPIClear(handle_, ECAT_PI_FAST_OUTPUT), 0u);
    EXPECT_EQ(card().fast_output.counter, 43u);
    const uint32_t newest = card().fast_output.host & 3;
    EXPECT_EQ(bytes_at(card().fast_output_buffers[newest], kLength), Bytes(kLength));
}

TEST_F(FastOutput, ReadingBackDoesNotPublish) {
    open_with(2);
    buffers_written(0, 0);
    uint8_t byte = 0;
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_FAST_OUTPUT, 0, 1, &byte), 0u);
    EXPECT_EQ(byte, handle_->fast_output[0]);
    EXPECT_EQ(card().fast_output.counter, 42u);
}

TEST_F(FastOutput, AnImageLongerThanABufferIsCutToIt) {
    open_with(1);
    __set_pi_area_complete_info_pdo_len(handle_, ECAT_PI_FAST_OUTPUT, 8192);
    memset(card().input_queue[0], 0xEE, 16);
    card().fast_output = {0, 0, 1}; // buffer 2, the last one, is next
    const Bytes data(8000, 0x77);
    EXPECT_EQ(EcatPIWrite(handle_, ECAT_PI_FAST_OUTPUT, 0, 8000, data.data()), 0u);
    EXPECT_EQ(card().fast_output_buffers[2][4095], 0x77);
    EXPECT_EQ(card().input_queue[0][0], 0xEE);
}

// ---- the consumer's end -----------------------------------------------------------------------

class ShadowInput : public test::PiTest {
  protected:
    static constexpr uint32_t kLength = 64;

    void open_with(uint32_t generation) {
        open_generation(generation);
        __set_pi_area_complete_info_pdo_len(handle_, ECAT_PI_SHADOW_INPUT, kLength);
        for (uint32_t i = 0; i < 3; ++i) {
            memset(card().shadow_input_buffers[i], static_cast<int>(0xA0 + i), kPhysicalBytes);
        }
    }

    // First byte of the image after a read with these words in place; 0xEE for an image that the
    // read left alone.
    uint8_t read_with(uint32_t from_card, uint32_t host) {
        memset(handle_->shadow_input, 0xEE, kImageBytes);
        card().shadow_input = {7, from_card, host};
        uint8_t byte = 0;
        EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, 1, &byte), 0u);
        EXPECT_EQ(byte, handle_->shadow_input[0]);
        EXPECT_EQ(handle_->shadow_input[kLength - 1], byte);
        EXPECT_EQ(handle_->shadow_input[kLength], 0xEE);
        EXPECT_EQ(card().shadow_input.card, from_card);
        EXPECT_EQ(card().shadow_input.counter, 7u);
        return byte;
    }

    // Lets the card's word change while the buffer is copied, without a second thread: the index
    // words of this object stand where the copy goes, so that the copy itself changes them.
    struct Torn {
        uint8_t delivered; // as read_with()
        uint32_t host;
    };
    Torn read_torn(uint32_t before, uint32_t after, uint32_t host) {
        static PiSlaveObject object;
        static uint8_t buffers[3][4096];
        static uint8_t local[8192];
        memset(local, 0xEE, sizeof local);
        for (uint32_t i = 0; i < 3; ++i) {
            memset(buffers[i], static_cast<int>(0xA0 + i), sizeof buffers[i]);
            const uint32_t words[3] = {0, after, host};
            memcpy(buffers[i], words, sizeof words);
        }
        object.card = buffers[0];
        object.local = local;
        object.stride = 4096;
        object.index = reinterpret_cast<uint32_t *>(object.staging);
        object.owner = nullptr;
        const uint32_t words[3] = {0, before, host};
        memcpy(object.staging, words, sizeof words);

        PiArea &own = pi_area(ECAT_PI_SHADOW_INPUT);
        EXPECT_EQ(own.ops->exchange(&object, &own.state), 0u);
        return {local[kLength - 1], peek<uint32_t>(object.staging + 8)};
    }
};

TEST_F(ShadowInput, TheFirstGenerationTakesTheNewestBufferAndSaysSo) {
    open_with(1);
    for (uint32_t from_card = 0; from_card < 3; ++from_card) {
        for (uint32_t host = 0; host < 3; ++host) {
            const uint8_t expected =
                from_card == host ? 0xEE : static_cast<uint8_t>(0xA0 + from_card);
            EXPECT_EQ(read_with(from_card, host), expected) << from_card << " " << host;
            EXPECT_EQ(card().shadow_input.host, from_card);
        }
    }
}

TEST_F(ShadowInput, TheFirstGenerationTakesNothingFromABufferThatIsNone) {
    open_with(1);
    for (uint32_t word : {3U, 0x100U, 0xFFFFFFFFU}) {
        EXPECT_EQ(read_with(word, 0), 0xEE) << word;
        EXPECT_EQ(card().shadow_input.host, 0u);
    }
}

TEST_F(ShadowInput, TheSecondGenerationSeesNothingNewWhereBufferAndSequenceAgree) {
    open_with(2);
    EXPECT_EQ(read_with(0x00000401, 0x00000401), 0xEE);
    EXPECT_EQ(read_with(0x00000401, 0x000004A9), 0xEE); // the request counter does not matter
    EXPECT_EQ(card().shadow_input.host, 0x000004A9u);
}

TEST_F(ShadowInput, TheSecondGenerationTakesANewSequenceOrBuffer) {
    open_with(2);
    for (uint32_t buffer = 0; buffer < 3; ++buffer) {
        EXPECT_EQ(read_with(0x00000600 + buffer, 0x000004A8), 0xA0 + buffer);
        EXPECT_EQ(card().shadow_input.host, 0x000006A8u + buffer);
    }
    EXPECT_EQ(read_with(0x00000402, 0x00000401), 0xA2);
    EXPECT_EQ(card().shadow_input.host, 0x00000402u);
}

TEST_F(ShadowInput, AHoldingHostTakesTheBufferAgainAndLetsGo) {
    open_with(2);
    EXPECT_EQ(read_with(0x0000042D, 0x0000042D), 0xA1);
    EXPECT_EQ(card().shadow_input.host, 0x00000429u);
}

TEST_F(ShadowInput, TheSecondGenerationTakesNothingFromABufferThatIsNone) {
    open_with(2);
    EXPECT_EQ(read_with(0x00000603, 0x00000400), 0xEE);
    EXPECT_EQ(card().shadow_input.host, 0x00000400u);
    EXPECT_EQ(read_with(0xFFFFFFFF, 0), 0xEE);
}

TEST_F(ShadowInput, AnAnsweredHostAllowsTheCardThreeSteps) {
    open_with(2);
    Torn torn = read_torn(0x00000400, 0x00000700, 0x00000200);
    EXPECT_EQ(torn.delivered, 0xA0);
    EXPECT_EQ(torn.host, 0x00000400u);
    torn = read_torn(0x00000400, 0x00000801, 0x00000200);
    EXPECT_EQ(torn.delivered, 0xEE);
    EXPECT_EQ(torn.host, 0x00000801u | 0x08 | 0x04);
}

TEST_F(ShadowInput, AnUnansweredHostAllowsTheCardOneStep) {
    open_with(2);
    Torn torn = read_torn(0x00000400, 0x00000500, 0x00000228);
    EXPECT_EQ(torn.delivered, 0xA0);
    EXPECT_EQ(torn.host, 0x00000428u);
    torn = read_torn(0x00000400, 0x00000600, 0x00000228);
    EXPECT_EQ(torn.delivered, 0xEE);
    EXPECT_EQ(torn.host, 0x00000634u);
}

TEST_F(ShadowInput, ATornReadDeliversTheHeldBufferInstead) {
    open_with(2);
    // The host holds buffer 2 (0x2E: counter 5, holding, buffer 2) and the card has answered that.
    const Torn torn = read_torn(0x0000042C | 1, 0x0000062C | 0, 0x0000022E);
    EXPECT_EQ(torn.delivered, 0xA2);
    EXPECT_EQ(torn.host, 0x00000634u);
}

TEST_F(ShadowInput, ATornReadWhoseHoldTheCardHasNotSeenDeliversNothingAndWaits) {
    open_with(2);
    const Torn torn = read_torn(0x00000401, 0x00000600, 0x0000022E);
    EXPECT_EQ(torn.delivered, 0xEE);
    EXPECT_EQ(torn.host, 0x0000022Eu); // the same request stays
}

TEST_F(ShadowInput, AHoldOnABufferThatIsNoneDeliversNothing) {
    open_with(2);
    const Torn torn = read_torn(0x0000042D, 0x0000062C, 0x0000022F);
    EXPECT_EQ(torn.delivered, 0xEE);
    EXPECT_EQ(torn.host, 0x00000634u);
}

TEST_F(ShadowInput, TheAdvanceIsCountedAcrossTheWrap) {
    open_with(2);
    Torn torn = read_torn(0xFFFFFF00, 0x00000200, 0);
    EXPECT_EQ(torn.delivered, 0xA0); // three steps
    torn = read_torn(0xFFFFFF00, 0x00000300, 0);
    EXPECT_EQ(torn.delivered, 0xEE); // four
    torn = read_torn(0x00000800, 0x00000700, 0);
    EXPECT_EQ(torn.delivered, 0xEE); // backwards is far ahead
}

TEST_F(ShadowInput, TheRequestCounterWraps) {
    open_with(2);
    const Torn torn = read_torn(0x00000400, 0x00000900, 0x000002F8);
    EXPECT_EQ(torn.host, 0x00000904u);
}

TEST_F(ShadowInput, AnImageLongerThanABufferIsCutToIt) {
    open_with(2);
    __set_pi_area_complete_info_pdo_len(handle_, ECAT_PI_SHADOW_INPUT, 8192);
    memset(handle_->shadow_input, 0xEE, kImageBytes);
    card().shadow_input = {0, 0x202, 0};
    memset(card().exchange, 0x99, 16); // behind the last buffer
    uint8_t byte = 0;
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 4095, 1, &byte), 0u);
    EXPECT_EQ(byte, 0xA2);
    EXPECT_EQ(handle_->shadow_input[4096], 0xEE);
}

// ---- exchange area of the card ----------------------------------------------------------------

class CardArea : public test::PiTest {
  protected:
    void SetUp() override {
        open();
        __set_pi_area_complete_info_pdo_len(handle_, ECAT_PI_CARD_AREA, 32);
    }

    void publish(uint8_t value, uint32_t sequence) {
        memset(card().exchange, value, kPhysicalBytes);
        card().sequence = sequence;
    }
    uint8_t read_first() {
        uint8_t byte = 0;
        EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_CARD_AREA, 0, 1, &byte), 0u);
        return byte;
    }
};

TEST_F(CardArea, SequenceZeroWasNeverWritten) {
    publish(0x11, 0);
    EXPECT_EQ(read_first(), 0);
}

TEST_F(CardArea, ANewSequenceIsTakenOnce) {
    publish(0x11, 2);
    EXPECT_EQ(read_first(), 0x11);
    publish(0x22, 2);
    EXPECT_EQ(read_first(), 0x11);
    publish(0x33, 4);
    EXPECT_EQ(read_first(), 0x33);
}

TEST_F(CardArea, TheLengthOfTheImageIsTaken) {
    publish(0x11, 2);
    read_first();
    EXPECT_EQ(image(ECAT_PI_CARD_AREA)[31], 0x11);
    EXPECT_EQ(image(ECAT_PI_CARD_AREA)[32], 0);
}

TEST_F(CardArea, AReaderWaitsUntilTheCardHasFinished) {
    publish(0x11, 3); // odd: the card is writing
    std::thread finisher([&] {
        __usleep_window(20000);
        memset(card().exchange, 0x22, kPhysicalBytes);
        __atomic_store_n(&card().sequence, 4U, __ATOMIC_RELEASE);
    });
    EXPECT_EQ(read_first(), 0x22);
    finisher.join();
    EXPECT_EQ(handle_->card_area_object.last, 4u);
}

// The sequence word stands where the copy goes: the first copy changes it, the second one finds it
// as it was.
TEST_F(CardArea, AnImageThatChangedWhileItWasCopiedIsCopiedAgain) {
    PiExchangeObject &object = handle_->card_area_object;
    publish(0x10, 0);
    object.sequence = reinterpret_cast<uint32_t *>(object.local);
    poke<uint32_t>(object.local, 2);
    EXPECT_EQ(read_first(), 0x10);
    EXPECT_EQ(object.last, 0x10101010u);
}

TEST_F(CardArea, ACardWithoutTheAreaIsAnError) {
    handle_->card_area_object.sequence = nullptr;
    uint8_t byte = 0;
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_CARD_AREA, 0, 1, &byte), 32771u);
}

TEST_F(CardArea, CannotBeExchanged) {
    EXPECT_EQ(exchange(ECAT_PI_CARD_AREA), 32782u);
}

TEST_F(CardArea, AnImageLongerThanTheAreaIsCutToIt) {
    __set_pi_area_complete_info_pdo_len(handle_, ECAT_PI_CARD_AREA, 8192);
    publish(0x11, 2);
    memset(card().fast_output_buffers[0], 0x99, 16); // behind the area
    read_first();
    EXPECT_EQ(image(ECAT_PI_CARD_AREA)[4095], 0x11);
    EXPECT_EQ(image(ECAT_PI_CARD_AREA)[4096], 0);
}

// ---- access modes -----------------------------------------------------------------------------

class DirectMode : public test::PiTest {};

TEST_F(DirectMode, EveryChannelStartsInIt) {
    open();
    EXPECT_EQ(handle_->async.mode, 0u);
    EXPECT_EQ(handle_->async.thread, nullptr);
    EXPECT_NE(handle_->async.semaphore, nullptr);
    EXPECT_NE(handle_->async.wakeup, nullptr);
}

TEST_F(DirectMode, EnteringItPutsTheImmediateTablesBack) {
    open();
    const PiOps *fast = pi_area(ECAT_PI_FAST_OUTPUT).ops;
    const PiOps *shadow = pi_area(ECAT_PI_SHADOW_INPUT).ops;
    const PiOps none = {};
    pi_area(ECAT_PI_FAST_OUTPUT).ops = &none;
    pi_area(ECAT_PI_SHADOW_INPUT).ops = &none;
    handle_->async.mode = 2;
    handle_->async.wakeup = nullptr;
    EXPECT_EQ(__EcatPIASyncDirectAccessModeInit(handle_), 0u);
    EXPECT_EQ(pi_area(ECAT_PI_FAST_OUTPUT).ops, fast);
    EXPECT_EQ(pi_area(ECAT_PI_SHADOW_INPUT).ops, shadow);
    EXPECT_EQ(handle_->async.mode, 0u);
    EXPECT_NE(handle_->async.wakeup, nullptr);
}

TEST_F(DirectMode, WithoutABusNoCycleComes) {
    open();
    EXPECT_EQ(__EcatPIWaitSignal(handle_), 1u);
    EXPECT_EQ(__Ecat_PI_ASync_WakeupByInterrup(handle_, 0), 1u);
    EXPECT_EQ(__Ecat_PI_ASync_WakeupByInterrup(handle_, 10), 1u);
}

TEST_F(DirectMode, ARunningBusWakesUpOncePerCycle) {
    open();
    start_bus();
    EXPECT_EQ(__Ecat_PI_ASync_WakeupByInterrup(handle_, 5000), 0u);
    EXPECT_EQ(__Ecat_PI_ASync_WakeupByInterrup(handle_, 5000), 0u);
    uint32_t woken = 1;
    for (int i = 0; i < 1000 && woken != 0; ++i) {
        woken = __EcatPIWaitSignal(handle_);
    }
    EXPECT_EQ(woken, 0u);
}

// ---- a running bus ----------------------------------------------------------------------------

class RunningImage : public test::PiTest, public testing::WithParamInterface<uint32_t> {};

TEST_P(RunningImage, OutputsComeBackAsInputs) {
    open_generation(GetParam());
    vcard::MakeEniOptions options;
    options.slaves = {{"dio8", 4}};
    ASSERT_EQ(EcatBusRun(handle_, write_eni(vcard::make_eni(options))), 0u);
    ASSERT_EQ(EcatRequestMasterState(handle_, ECAT_STATE_OP), 0u);

    const Bytes outputs = {0x12, 0x34, 0x56, 0x78};
    Bytes inputs(4);
    for (int i = 0; i < 5000 && inputs != outputs; ++i) {
        EcatPIWrite(handle_, ECAT_PI_FAST_OUTPUT, 0, 4, outputs.data());
        EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, 4, inputs.data());
        __usleep_window(1000);
    }
    EXPECT_EQ(inputs, outputs);
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, 4, inputs.data()), 0u);
}

INSTANTIATE_TEST_SUITE_P(Generations, RunningImage, testing::Values(1U, 2U));

} // namespace
