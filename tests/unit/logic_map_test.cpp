// The logical address map: read out of ENI files, searched by address.
#include "layout/shared_memory_map.h"
#include "pci_tarn/pi.h"
#include "pci_tarn/status.h"
#include "support/temp_dir.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using tarn::PiDirection;
using tarn::PiInfo;

const std::string kPdoList = "<!-- @@##ENI_PDO_LIST##@@";
const std::string kEniInfo = "<!-- @@##ENI_INFO##@@";
const std::string kXml = "<?xml version=\"1.0\"?><EtherCATConfig></EtherCATConfig>";

class LogicMap : public testing::Test {
  protected:
    // Writes the text as it stands and reads the map from it.
    uint32_t read(const std::string &text, uint32_t slaves) {
        std::ofstream("eni.xml", std::ios::binary) << text;
        return ecat_pi_logic_addr_map_init("eni.xml", slaves, &input(), &output());
    }

    // The same with the JSON in its comment at the end of a file.
    uint32_t read_json(const std::string &json, uint32_t slaves) {
        return read(kXml + std::string(100, ' ') + "\n" + kPdoList + json + " -->\n", slaves);
    }

    // `slaves` elements, each with the addresses that `address` gives for its index.
    template <typename Address>
    static std::string mapping(size_t slaves, Address address,
                               const std::string &switches = R"("input":true,"output":true)") {
        std::string json =
            R"({"master":{"slave_logic_addr_mapping":{)" + switches + R"(},"slave_infos":[)";
        for (size_t i = 0; i < slaves; ++i) {
            const std::string text = address(i);
            json += (i == 0 ? "" : ",");
            json += R"({"input_logic_addr":)" + text + R"(,"output_logic_addr":)" + text + "}";
        }
        return json + "]}}";
    }

    static std::string mapping(const std::vector<std::string> &addresses,
                               const std::string &switches = R"("input":true,"output":true)") {
        return mapping(
            addresses.size(), [&](size_t i) { return addresses[i]; }, switches);
    }

    void set_lengths(PiDirection &block, const std::vector<uint16_t> &lengths) {
        uint16_t offset = 0;
        for (size_t i = 0; i < lengths.size(); ++i) {
            block.physical[i] = {offset, lengths[i]};
            offset = static_cast<uint16_t>(offset + lengths[i]);
        }
    }

    PiDirection &output() { return info_->direction[ECAT_PI_DIRECTION_OUTPUT]; }
    PiDirection &input() { return info_->direction[ECAT_PI_DIRECTION_INPUT]; }

    void expect_no_mapping() {
        for (const PiDirection &block : info_->direction) {
            EXPECT_EQ(block.mapped, 0u);
            EXPECT_EQ(block.logical_length, 0u);
            EXPECT_EQ(block.entry_count, 0u);
        }
    }

    tarn::test::TempDir folder_;
    std::unique_ptr<PiInfo> info_ = std::make_unique<PiInfo>();
};

TEST_F(LogicMap, ReadsFlagsAddressesAndLengths) {
    set_lengths(input(), {8, 16});
    set_lengths(output(), {4, 12});
    EXPECT_EQ(read_json(mapping({"32", "0"}), 2), 0u);
    EXPECT_EQ(input().mapped, 1u);
    EXPECT_EQ(output().mapped, 1u);
    EXPECT_EQ(input().entry_count, 2u);
    EXPECT_EQ(input().sorted[0].address, 0);
    EXPECT_EQ(input().sorted[0].slave, 1);
    EXPECT_EQ(input().sorted[1].address, 32);
    EXPECT_EQ(input().sorted[1].slave, 0);
    EXPECT_EQ(input().logical_address[0], 32);
    EXPECT_EQ(input().logical_address[1], 0);
    EXPECT_EQ(input().logical_length, (32u + 7 + 8) / 8);
    EXPECT_EQ(output().logical_length, (32u + 7 + 4) / 8);
}

TEST_F(LogicMap, ClearsTheLogicalPartAndKeepsThePhysicalOne) {
    std::memset(info_.get(), 0xA5, sizeof *info_);
    EXPECT_EQ(read(kXml, 0), 0u);
    for (const PiDirection &block : info_->direction) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(&block);
        EXPECT_TRUE(std::all_of(bytes, bytes + 16900, [](uint8_t b) { return b == 0xA5; }));
        EXPECT_TRUE(std::all_of(bytes + 16900, bytes + 41488, [](uint8_t b) { return b == 0; }));
    }
    EXPECT_EQ(info_->fixed_address[0], 0xA5A5);
}

TEST_F(LogicMap, InputAndOutputAddressesAreReadFromTheirOwnKeys) {
    const std::string json =
        R"({"master":{"slave_logic_addr_mapping":{"input":true,"output":true},)"
        R"("slave_infos":[{"input_logic_addr":7,"output_logic_addr":9}]}})";
    EXPECT_EQ(read_json(json, 1), 0u);
    EXPECT_EQ(input().logical_address[0], 7);
    EXPECT_EQ(output().logical_address[0], 9);
}

TEST_F(LogicMap, ADirectionSwitchedOffKeepsItsPhysicalLength) {
    input().physical_length = 123;
    output().physical_length = 45;
    set_lengths(output(), {8});
    EXPECT_EQ(read_json(mapping({"80"}, R"("input":false,"output":true)"), 1), 0u);
    EXPECT_EQ(input().mapped, 0u);
    EXPECT_EQ(input().logical_length, 123u);
    EXPECT_EQ(input().entry_count, 1u);
    EXPECT_EQ(output().mapped, 1u);
    EXPECT_EQ(output().logical_length, (80u + 7 + 8) / 8);
}

TEST_F(LogicMap, NoSlavesGiveAnEmptyMapOfPhysicalLength) {
    input().physical_length = 5;
    EXPECT_EQ(read_json(mapping({}), 0), 0u);
    EXPECT_EQ(input().mapped, 1u);
    EXPECT_EQ(input().logical_length, 5u);
}

TEST_F(LogicMap, OfEqualAddressesTheLaterSlaveComesFirst) {
    EXPECT_EQ(read_json(mapping({"16", "16", "0", "16"}), 4), 0u);
    const uint16_t slaves[] = {2, 3, 1, 0};
    for (uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(output().sorted[i].slave, slaves[i]);
    }
}

TEST_F(LogicMap, TheLengthComesFromTheLastEntryNotFromTheFurthestEnd) {
    set_lengths(output(), {800, 8});
    EXPECT_EQ(read_json(mapping({"0", "8"}), 2), 0u);
    EXPECT_EQ(output().logical_length, (8u + 7 + 8) / 8);
}

TEST_F(LogicMap, TheLengthIsComputedInThirtyTwoBits) {
    set_lengths(output(), {65535});
    EXPECT_EQ(read_json(mapping({"65535"}), 1), 0u);
    EXPECT_EQ(output().logical_length, (65535u + 7 + 65535) / 8);
}

TEST_F(LogicMap, NumbersAreCutToSixteenBits) {
    EXPECT_EQ(read_json(mapping({"-1", "65537", "12.9", "1e300"}), 4), 0u);
    EXPECT_EQ(output().logical_address[0], 0xFFFF);
    EXPECT_EQ(output().logical_address[1], 1);
    EXPECT_EQ(output().logical_address[2], 12);
    EXPECT_EQ(output().logical_address[3], 0xFFFF);
}

TEST_F(LogicMap, StringsCarryTheirBase) {
    EXPECT_EQ(read_json(mapping({R"("12")", R"("0x12")", R"("012")", R"("-1")", R"("x")",
                                 R"("4294967299")"}),
                        6),
              0u);
    const uint16_t expected[] = {12, 18, 10, 0xFFFF, 0, 3};
    for (uint32_t i = 0; i < 6; ++i) {
        EXPECT_EQ(output().logical_address[i], expected[i]) << i;
    }
}

TEST_F(LogicMap, OtherKeysAreIgnored) {
    const std::string json =
        R"({"version":1,"master":{"name":"m","slave_logic_addr_mapping":{"x":0,"input":true,)"
        R"("output":false},"slave_infos":[{"name":"s","input_logic_addr":3,"output_logic_addr":4}])"
        R"(}})";
    EXPECT_EQ(read_json(json, 1), 0u);
    EXPECT_EQ(input().logical_address[0], 3);
}

TEST_F(LogicMap, WhatFollowsTheJsonValueIsIgnored) {
    EXPECT_EQ(read_json(mapping({"8"}) + " }}} not json --><more/>", 1), 0u);
    EXPECT_EQ(output().logical_address[0], 8);
}

TEST_F(LogicMap, TheSecondMarkerServesWhereTheFirstIsAbsent) {
    EXPECT_EQ(read(kXml + kEniInfo + mapping({"8"}) + " -->", 1), 0u);
    EXPECT_EQ(output().logical_address[0], 8);
}

TEST_F(LogicMap, TheFirstMarkerWinsWhereverItStands) {
    EXPECT_EQ(
        read(kXml + kEniInfo + mapping({"8"}) + " -->" + kPdoList + mapping({"24"}) + " -->", 1),
        0u);
    EXPECT_EQ(output().logical_address[0], 24);
}

TEST_F(LogicMap, FourThousandAndNinetySixSlavesFit) {
    const std::string json =
        mapping(4096, [](size_t i) { return std::to_string(16 * (4095 - i)); });
    EXPECT_EQ(read_json(json, 4096), 0u);
    EXPECT_EQ(output().entry_count, 4096u);
    EXPECT_EQ(output().sorted[0].slave, 4095);
    EXPECT_EQ(output().sorted[4095].slave, 0);
    EXPECT_EQ(output().logical_address[0], 16 * 4095);
}

TEST_F(LogicMap, NullBlocksAreRefused) {
    EXPECT_EQ(ecat_pi_logic_addr_map_init("eni.xml", 0, nullptr, &output()),
              uint32_t{PCI_TARN_E_INVALID_ARGUMENT});
    EXPECT_EQ(ecat_pi_logic_addr_map_init("eni.xml", 0, &input(), nullptr),
              uint32_t{PCI_TARN_E_INVALID_ARGUMENT});
}

// ---- no mapping: status 0 ---------------------------------------------------------------------

TEST_F(LogicMap, AMissingFileIsNoMapping) {
    EXPECT_EQ(ecat_pi_logic_addr_map_init("nothing.xml", 3, &input(), &output()), 0u);
    expect_no_mapping();
}

TEST_F(LogicMap, ANullPathIsNoMapping) {
    EXPECT_EQ(ecat_pi_logic_addr_map_init(nullptr, 3, &input(), &output()), 0u);
    expect_no_mapping();
}

TEST_F(LogicMap, ADirectoryIsNoMapping) {
    std::filesystem::create_directory("eni.d");
    EXPECT_EQ(ecat_pi_logic_addr_map_init("eni.d", 3, &input(), &output()), 0u);
    expect_no_mapping();
}

TEST_F(LogicMap, AFileWithoutMarkerIsNoMapping) {
    EXPECT_EQ(read(kXml + std::string(200, ' ') + "<!-- " + mapping({"8"}) + " -->", 1), 0u);
    expect_no_mapping();
}

// The JSON value "{}" right behind the marker is an object without a master, "[]" is no object:
// the status tells whether the text was looked at.
TEST_F(LogicMap, AFileOfNinetyNineBytesIsNotLookedAt) {
    const std::string text = kPdoList + "[]";
    EXPECT_EQ(read(text + std::string(99 - text.size(), ' '), 0), 0u);
    EXPECT_EQ(read(text + std::string(100 - text.size(), ' '), 0), uint32_t{PCI_TARN_E_MAP_FORMAT});
}

TEST_F(LogicMap, AFileOfFiveMebibytesIsNotLookedAt) {
    const std::string text = kPdoList + "[]";
    EXPECT_EQ(read(text + std::string(5'242'880 - text.size(), ' '), 0), 0u);
    EXPECT_EQ(read(text + std::string(5'242'879 - text.size(), ' '), 0),
              uint32_t{PCI_TARN_E_MAP_FORMAT});
}

TEST_F(LogicMap, TheLastFourBytesAreNotSearched) {
    const std::string text = std::string(200, ' ') + kPdoList;
    EXPECT_EQ(read(text + "[] ", 0), 0u); // the marker's end is cut off
    EXPECT_EQ(read(text + "[]  ", 0), uint32_t{PCI_TARN_E_MAP_FORMAT}); // the marker alone is there
    EXPECT_EQ(read(text + "{}  ", 0), uint32_t{PCI_TARN_E_MAP_FORMAT}); // and the JSON is not
    EXPECT_EQ(read(text + "{}    ", 0), 0u);
}

TEST_F(LogicMap, AMissingMasterIsNoMapping) {
    EXPECT_EQ(read_json(R"({"MASTER":{}})", 0), 0u);
    EXPECT_EQ(read_json(R"({"master":5})", 0), 0u);
    expect_no_mapping();
}

TEST_F(LogicMap, AMissingSwitchObjectIsNoMapping) {
    EXPECT_EQ(read_json(R"({"master":{"slave_infos":[{}]}})", 1), 0u);
    EXPECT_EQ(read_json(R"({"master":{"slave_logic_addr_mapping":[],"slave_infos":[{}]}})", 1), 0u);
    expect_no_mapping();
}

TEST_F(LogicMap, AMissingSlaveArrayIsNoMapping) {
    EXPECT_EQ(read_json(R"({"master":{"slave_logic_addr_mapping":{}}})", 0), 0u);
    EXPECT_EQ(read_json(R"({"master":{"slave_logic_addr_mapping":{},"slave_infos":{}}})", 0), 0u);
    expect_no_mapping();
}

TEST_F(LogicMap, KeysAreCaseSensitive) {
    std::string json = mapping({"8"});
    json.replace(json.find("slave_infos"), 11, "Slave_Infos");
    EXPECT_EQ(read_json(json, 1), 0u);
    expect_no_mapping();
}

// ---- format errors: 80016 ---------------------------------------------------------------------

TEST_F(LogicMap, BrokenJsonIsAFormatError) {
    EXPECT_EQ(read_json("{\"master\":", 0), 80016u);
    EXPECT_EQ(read_json("", 0), 80016u);
}

TEST_F(LogicMap, ARootThatIsNoObjectIsAFormatError) {
    EXPECT_EQ(read_json("[1]", 0), 80016u);
    EXPECT_EQ(read_json("7", 0), 80016u);
}

TEST_F(LogicMap, MoreThan4096ElementsAreAFormatError) {
    const std::string json = mapping(4097, [](size_t) { return std::string("0"); });
    EXPECT_EQ(read_json(json, 4097), 80016u);
    EXPECT_EQ(output().entry_count, 0u);
}

TEST_F(LogicMap, AnAddressThatIsNeitherNumberNorStringIsAFormatError) {
    for (const char *address : {"true", "null", "[]", "{}"}) {
        EXPECT_EQ(read_json(mapping({"0", address}), 2), 80016u) << address;
        EXPECT_EQ(input().entry_count, 1u); // what was read before stays
        EXPECT_EQ(output().entry_count, 1u);
        EXPECT_EQ(input().mapped, 0u);
    }
}

TEST_F(LogicMap, AMissingAddressIsAFormatError) {
    const std::string head =
        R"({"master":{"slave_logic_addr_mapping":{"input":true,"output":true},"slave_infos":[)";
    EXPECT_EQ(read_json(head + R"({"output_logic_addr":0}]}})", 1), 80016u);
    EXPECT_EQ(input().entry_count, 0u);
    EXPECT_EQ(read_json(head + R"({"input_logic_addr":0}]}})", 1), 80016u);
    EXPECT_EQ(input().entry_count, 1u); // the input comes first
    EXPECT_EQ(output().entry_count, 0u);
    EXPECT_EQ(read_json(head + R"({"Input_Logic_Addr":0,"output_logic_addr":0}]}})", 1), 80016u);
}

TEST_F(LogicMap, AnElementThatIsNoObjectIsAFormatError) {
    const std::string head =
        R"({"master":{"slave_logic_addr_mapping":{"input":true,"output":true},"slave_infos":[)";
    for (const char *element : {"5", "null", "[1,2]", "\"text\""}) {
        EXPECT_EQ(read_json(head + element + "]}}", 1), 80016u) << element;
    }
}

TEST_F(LogicMap, SwitchesThatAreNotBooleanAreAFormatError) {
    for (const char *switches : {R"("input":1,"output":true)", R"("input":true,"output":"true")",
                                 R"("input":true)", R"("output":true)", ""}) {
        EXPECT_EQ(read_json(mapping({"0"}, switches), 1), 80016u) << switches;
        EXPECT_EQ(output().entry_count, 1u);
        EXPECT_EQ(output().mapped, 0u);
    }
}

TEST_F(LogicMap, ASlaveCountThatDiffersIsAFormatErrorAndKeepsTheTables) {
    EXPECT_EQ(read_json(mapping({"0", "8"}), 3), 80016u);
    EXPECT_EQ(input().entry_count, 2u);
    EXPECT_EQ(input().mapped, 0u);
    EXPECT_EQ(input().logical_length, 0u);
    EXPECT_EQ(read_json(mapping({"0", "8"}), 1), 80016u);
}

// ---- searches ---------------------------------------------------------------------------------

class LogicRange : public testing::Test {
  protected:
    void add(uint16_t address, uint16_t length) {
        const auto slave = static_cast<uint16_t>(block_->entry_count);
        block_->physical[slave] = {static_cast<uint16_t>(1000 + address), length};
        block_->sorted[block_->entry_count++] = {address, slave};
    }

    // First and end as table positions; {0, 0} for none.
    std::pair<uint32_t, uint32_t> find(uint16_t start, uint16_t count) {
        const PiLogicEntry *begin = block_->sorted;
        const PiLogicEntry *end = block_->sorted;
        if (!ecat_pi_logic_addr_get_range(block_.get(), start, count, &begin, &end)) {
            EXPECT_EQ(begin, nullptr);
            EXPECT_EQ(end, nullptr);
            return {0, 0};
        }
        return {static_cast<uint32_t>(begin - block_->sorted),
                static_cast<uint32_t>(end - block_->sorted)};
    }

    using Range = std::pair<uint32_t, uint32_t>;
    std::unique_ptr<PiDirection> block_ = std::make_unique<PiDirection>();
};

TEST_F(LogicRange, FindsTheEntriesThatOverlap) {
    add(0, 8);
    add(8, 8);
    add(16, 8);
    EXPECT_EQ(find(8, 8), Range(1, 2));
    EXPECT_EQ(find(0, 24), Range(0, 3));
    EXPECT_EQ(find(7, 2), Range(0, 2));
}

TEST_F(LogicRange, ARequestThatStartsInsideARunFindsItFirst) {
    add(0, 8);
    add(10, 20);
    add(40, 8);
    EXPECT_EQ(find(25, 20), Range(1, 3));
    EXPECT_EQ(find(45, 1), Range(2, 3));
}

TEST_F(LogicRange, ARequestBeyondTheLastEndFindsNothing) {
    add(0, 8);
    add(8, 8);
    EXPECT_EQ(find(16, 100), Range(0, 0));
    EXPECT_EQ(find(15, 100), Range(1, 2));
}

TEST_F(LogicRange, ARequestInAGapFindsNothing) {
    add(0, 8);
    add(32, 8);
    EXPECT_EQ(find(8, 24), Range(0, 0));
}

TEST_F(LogicRange, AnEmptyTableHoldsNothing) {
    EXPECT_EQ(find(0, 100), Range(0, 0));
}

TEST_F(LogicRange, ZeroBitsFindNothing) {
    add(0, 8);
    EXPECT_EQ(find(0, 0), Range(0, 0));
}

TEST_F(LogicRange, ARequestThatWrapsFindsNothing) {
    add(0, 8);
    add(65000, 100);
    EXPECT_EQ(find(65000, 535), Range(1, 2));
    EXPECT_EQ(find(65000, 536), Range(0, 0)); // ends at bit 65,536
    EXPECT_EQ(find(65000, 1000), Range(0, 0));
}

TEST_F(LogicRange, ARunMayReachBeyondSixteenBits) {
    add(65530, 100);
    EXPECT_EQ(find(65534, 1), Range(0, 1));
}

TEST_F(LogicRange, OfEqualAddressesOneIsSteppedBackTo) {
    add(8, 8);
    add(8, 8);
    EXPECT_EQ(find(8, 8), Range(1, 2));
    EXPECT_EQ(find(0, 16), Range(0, 2));
}

TEST_F(LogicRange, ACountBeyondTheTableIsCutToIt) {
    for (uint32_t i = 0; i < 4096; ++i) {
        add(static_cast<uint16_t>(8 * i), 8);
    }
    block_->entry_count = 0xFFFFFFFF;
    EXPECT_EQ(find(8 * 4095, 100), Range(4095, 4096));
    EXPECT_EQ(find(8 * 4096, 100), Range(0, 0));
}

TEST_F(LogicRange, AnEntryOfASlaveBeyondTheTablesHasNoBits) {
    add(0, 8);
    block_->sorted[0].slave = 0xFFFF;
    EXPECT_EQ(find(1, 4), Range(0, 0));
}

TEST_F(LogicRange, NullArgumentsFindNothing) {
    const PiLogicEntry *begin = block_->sorted;
    EXPECT_FALSE(ecat_pi_logic_addr_get_range(nullptr, 0, 8, &begin, nullptr));
    EXPECT_EQ(begin, nullptr);
    add(0, 8);
    EXPECT_TRUE(ecat_pi_logic_addr_get_range(block_.get(), 0, 8, nullptr, nullptr));
}

TEST_F(LogicRange, EqualsAWalkOverRandomTables) {
    std::mt19937 engine(3);
    const auto dice = [&] { return static_cast<uint32_t>(engine()); };
    for (int round = 0; round < 100; ++round) {
        block_->entry_count = 0;
        uint32_t next = dice() % 20;
        while (block_->entry_count < 40) {
            add(static_cast<uint16_t>(next), static_cast<uint16_t>(1 + dice() % 30));
            next +=
                block_->physical[block_->entry_count - 1].bit_length + dice() % 2 * (dice() % 9);
        }
        for (int request = 0; request < 500; ++request) {
            const uint32_t start = dice() % (next + 10);
            const uint32_t count = dice() % 100;
            Range expected(0, 0);
            for (uint32_t i = 0; i < 40; ++i) {
                const uint32_t address = block_->sorted[i].address;
                if (count != 0 && address < start + count &&
                    start < address + block_->physical[i].bit_length) {
                    expected = {expected.second == 0 ? i : expected.first, i + 1};
                }
            }
            ASSERT_EQ(find(static_cast<uint16_t>(start), static_cast<uint16_t>(count)), expected)
                << start << " " << count;
        }
    }
}

class OffsetToSlave : public testing::Test {
  protected:
    OffsetToSlave() {
        info_->slave_count = 4;
        const PiPhyEntry runs[] = {{0, 8}, {8, 0}, {8, 16}, {24, 3}};
        std::copy(std::begin(runs), std::end(runs), output().physical);
    }

    PiDirection &output() { return info_->direction[ECAT_PI_DIRECTION_OUTPUT]; }

    bool find(uint16_t start, uint16_t count) {
        first_ = number_ = 0xFFFF;
        bitmap_ = &dummy_;
        return getPiInfo_offset2slave(info_.get(), ECAT_PI_DIRECTION_OUTPUT, start, count, &first_,
                                      &number_, &bitmap_);
    }

    std::unique_ptr<PiInfo> info_ = std::make_unique<PiInfo>();
    uint32_t dummy_ = 0;
    uint16_t first_ = 0;
    uint16_t number_ = 0;
    const uint32_t *bitmap_ = nullptr;
};

TEST_F(OffsetToSlave, GivesFirstSlaveNumberAndBitmap) {
    EXPECT_TRUE(find(0, 27));
    EXPECT_EQ(first_, 0);
    EXPECT_EQ(number_, 4);
    EXPECT_EQ(bitmap_, output().participation);
}

TEST_F(OffsetToSlave, StartsInsideARun) {
    EXPECT_TRUE(find(20, 1));
    EXPECT_EQ(first_, 2);
    EXPECT_EQ(number_, 1);
}

TEST_F(OffsetToSlave, GivesTheBitmapAlsoForAnEmptyRange) {
    EXPECT_FALSE(find(27, 100));
    EXPECT_EQ(first_, 0);
    EXPECT_EQ(number_, 0);
    EXPECT_EQ(bitmap_, output().participation);
    EXPECT_FALSE(find(65000, 1000)); // wraps
    EXPECT_EQ(bitmap_, output().participation);
}

TEST_F(OffsetToSlave, GivesNoBitmapForZeroBitsOrNoSlaves) {
    EXPECT_FALSE(find(0, 0));
    EXPECT_EQ(bitmap_, nullptr);
    info_->slave_count = 0;
    EXPECT_FALSE(find(0, 8));
    EXPECT_EQ(bitmap_, nullptr);
}

TEST_F(OffsetToSlave, ASlaveCountBeyondTheTablesIsCutToThem) {
    info_->slave_count = 65535;
    for (uint32_t i = 0; i < 4096; ++i) {
        output().physical[i] = {static_cast<uint16_t>(8 * i), 8};
    }
    EXPECT_TRUE(find(8 * 4095, 100));
    EXPECT_EQ(first_, 4095);
    EXPECT_EQ(number_, 1);
}

TEST_F(OffsetToSlave, NullArgumentsAndUnknownDirectionsFindNothing) {
    EXPECT_FALSE(getPiInfo_offset2slave(nullptr, 0, 0, 8, &first_, &number_, nullptr));
    EXPECT_EQ(first_, 0);
    EXPECT_FALSE(getPiInfo_offset2slave(info_.get(), 2, 0, 8, nullptr, nullptr, nullptr));
    EXPECT_TRUE(getPiInfo_offset2slave(info_.get(), 0, 0, 8, nullptr, nullptr, nullptr));
}

// ---- overlap of one run with a request --------------------------------------------------------

struct Overlap {
    uint16_t logic, length, start, count; // run and request
    bool any;
    uint16_t bit_in_request, phy_bit, bits; // with the run at physical bit 100
};

class CalcPhyLogicMixed : public testing::TestWithParam<Overlap> {};

TEST_P(CalcPhyLogicMixed, GivesTheOverlap) {
    const Overlap &p = GetParam();
    const PiPhyEntry phy = {100, p.length};
    uint16_t bit_in_request = 0xFFFF;
    uint16_t phy_bit = 0xFFFF;
    uint16_t bits = 0xFFFF;
    EXPECT_EQ(ecat_calc_phy_logic_mixed(&phy, p.logic, p.start, p.count, &bit_in_request, &phy_bit,
                                        &bits),
              p.any);
    EXPECT_EQ(bit_in_request, p.bit_in_request);
    EXPECT_EQ(phy_bit, p.phy_bit);
    EXPECT_EQ(bits, p.bits);
}

INSTANTIATE_TEST_SUITE_P(Runs, CalcPhyLogicMixed,
                         testing::Values(Overlap{16, 8, 16, 8, true, 0, 100, 8},   // equal
                                         Overlap{16, 8, 18, 2, true, 0, 102, 2},   // inside the run
                                         Overlap{16, 8, 20, 100, true, 0, 104, 4}, // its end
                                         Overlap{16, 8, 0, 20, true, 16, 100, 4},  // its start
                                         Overlap{16, 8, 10, 100, true, 6, 100, 8}, // around it
                                         Overlap{16, 8, 24, 8, false, 0, 0, 0},    // behind it
                                         Overlap{16, 8, 0, 16, false, 0, 0, 0},    // before it
                                         Overlap{16, 8, 16, 0, false, 0, 0, 0},    // no bits asked
                                         Overlap{16, 0, 16, 8, false, 0, 0, 0}, // run without bits
                                         Overlap{65530, 20, 65535, 65535, true, 0, 105, 15}));

TEST(CalcPhyLogicMixedArguments, MayBeNull) {
    const PiPhyEntry phy = {100, 8};
    EXPECT_TRUE(ecat_calc_phy_logic_mixed(&phy, 0, 0, 8, nullptr, nullptr, nullptr));
    uint16_t bits = 7;
    EXPECT_FALSE(ecat_calc_phy_logic_mixed(nullptr, 0, 0, 8, nullptr, nullptr, &bits));
    EXPECT_EQ(bits, 0);
}

} // namespace
