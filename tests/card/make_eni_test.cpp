// Generated ENI files: readable by the card, and laid out so that hosts find what they look for.
#include "vcard/bus/make_eni.h"
#include "vcard/bus/network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

using namespace tarn::vcard;
using testing::HasSubstr;

namespace {

MakeEniOptions network_of(std::vector<MakeEniSlave> slaves) {
    MakeEniOptions options;
    options.slaves = std::move(slaves);
    return options;
}

Network parsed(const MakeEniOptions &options) {
    Network network;
    const EniVerdict verdict = parse_eni(make_eni(options), network);
    EXPECT_EQ(verdict.status, 0U) << verdict.text;
    return network;
}

std::string refusal(const MakeEniOptions &options) {
    try {
        make_eni(options);
    } catch (const std::invalid_argument &error) {
        return error.what();
    }
    return "accepted";
}

// The numbers behind every `key` of the mapping comment.
std::vector<uint32_t> addresses(const std::string &xml, const std::string &key) {
    std::vector<uint32_t> found;
    const std::string label = "\"" + key + "\":";
    for (size_t at = xml.find(label); at != std::string::npos; at = xml.find(label, at + 1)) {
        found.push_back(static_cast<uint32_t>(std::stoul(xml.substr(at + label.size()))));
    }
    return found;
}

TEST(MakeEni, EveryKindIsRead) {
    for (const SlaveKindInfo &kind : slave_kinds()) {
        const Network network = parsed(network_of({{kind.kind, 2}}));
        ASSERT_EQ(network.slaves.size(), 2U) << kind.kind;
        EXPECT_GT(std::string(kind.text).size(), 5U);
    }
}

TEST(MakeEni, KindsBehaveAsNamed) {
    const Network network =
        parsed(network_of({{"coupler"}, {"dio16"}, {"ai4"}, {"ao2"}, {"drive"}}));
    EXPECT_EQ(network.slaves[0].kind, SlaveKind::Coupler);
    EXPECT_EQ(network.slaves[1].kind, SlaveKind::DigitalIo);
    EXPECT_EQ(network.slaves[1].outputs.length, 16U);
    EXPECT_EQ(network.slaves[1].inputs.length, 16U);
    EXPECT_EQ(network.slaves[2].kind, SlaveKind::AnalogIo);
    EXPECT_EQ(network.slaves[2].inputs.length, 64U);
    EXPECT_EQ(network.slaves[3].outputs.length, 32U);
    EXPECT_EQ(network.slaves[4].kind, SlaveKind::Drive);
    EXPECT_TRUE(network.slaves[4].mailbox);
    EXPECT_NE(network.slaves[4].drive.actual_torque, SlaveConfig::DriveMap::kUnmapped);
}

TEST(MakeEni, SlavesFollowEachOther) {
    const Network network = parsed(network_of({{"do8", 2}, {"di4"}, {"drive"}}));
    EXPECT_EQ(network.slaves[1].outputs.offset, 8U);
    EXPECT_EQ(network.slaves[3].outputs.offset, 16U);
    EXPECT_EQ(network.slaves[3].inputs.offset, 4U);
    EXPECT_EQ(network.slaves[3].previous_port_slave, 2);
    EXPECT_EQ(network.slaves[3].fixed_address, 1004);
}

TEST(MakeEni, StatesTheCycle) {
    MakeEniOptions options = network_of({{"dio8"}});
    options.cycle_us = 250;
    EXPECT_EQ(parsed(options).cycle_us, 250U);
}

TEST(MakeEni, StatesTheImages) {
    MakeEniOptions options = network_of({{"dio8"}});
    EXPECT_EQ(parsed(options).output_bytes, 1U);
    options.output_bytes = 4096;
    options.input_bytes = 100;
    EXPECT_EQ(parsed(options).output_bytes, 4096U);
    EXPECT_EQ(parsed(options).input_bytes, 100U);
}

TEST(MakeEni, CrcElementStandsWholeInTheFirstBlock) {
    const std::string xml = make_eni(network_of({{"dio8"}}));
    const size_t begin = xml.find("<CRC>");
    const size_t end = xml.find("</CRC>");
    EXPECT_LT(begin, 100U);
    EXPECT_EQ(end - begin - 5, 64U);
    EXPECT_LE(end + 6, 149U);
}

TEST(MakeEni, CrcChangesWithTheNetworkOnly) {
    const std::string one = parsed(network_of({{"dio8"}})).crc;
    EXPECT_EQ(one, parsed(network_of({{"dio8"}})).crc);
    EXPECT_NE(one, parsed(network_of({{"dio8", 2}})).crc);
}

TEST(MakeEni, MappingEndsBeforeTheLastBytes) {
    const std::string xml = make_eni(network_of({{"dio8"}}));
    const size_t begin = xml.find("<!-- @@##ENI_PDO_LIST##@@{\"master\":");
    ASSERT_NE(begin, std::string::npos);
    EXPECT_LT(xml.find("]}} -->", begin), xml.size() - 8);
}

TEST(MakeEni, MappingSaysWhetherItApplies) {
    MakeEniOptions options = network_of({{"dio8"}});
    EXPECT_THAT(make_eni(options), HasSubstr("{\"input\":false,\"output\":false}"));
    options.logical_mapping = true;
    EXPECT_THAT(make_eni(options), HasSubstr("{\"input\":true,\"output\":true}"));
}

TEST(MakeEni, EverySlaveHasBothAddresses) {
    const std::string xml = make_eni(network_of({{"coupler"}, {"di8"}, {"do8"}, {"dio8", 3}}));
    EXPECT_EQ(addresses(xml, "input_logic_addr"), (std::vector<uint32_t>{32, 0, 32, 8, 16, 24}));
    EXPECT_EQ(addresses(xml, "output_logic_addr"), (std::vector<uint32_t>{32, 32, 0, 8, 16, 24}));
}

TEST(MakeEni, MappingCanBeReversed) {
    MakeEniOptions options = network_of({{"dio8", 2}, {"dio16"}});
    options.reversed_mapping = true;
    EXPECT_EQ(addresses(make_eni(options), "output_logic_addr"),
              (std::vector<uint32_t>{24, 16, 0}));
}

TEST(MakeEni, LogicalImageCanBeSpread) {
    MakeEniOptions options = network_of({{"dio8", 3}});
    options.logical_bytes = 100;
    EXPECT_EQ(addresses(make_eni(options), "output_logic_addr"),
              (std::vector<uint32_t>{0, 392, 792}));
}

TEST(MakeEni, LargestNetworkFits) {
    MakeEniOptions options = network_of({{"dio8", 4096}});
    options.logical_mapping = true;
    options.logical_bytes = 8192;
    const std::string xml = make_eni(options);
    EXPECT_LT(xml.size(), 5'242'880U);
    Network network;
    ASSERT_EQ(parse_eni(xml, network).status, 0U);
    EXPECT_EQ(network.slaves.size(), 4096U);
    EXPECT_EQ(network.output_bytes, 4096U);
    EXPECT_EQ(network.input_bytes, 4096U);
    const std::vector<uint32_t> outputs = addresses(xml, "output_logic_addr");
    ASSERT_EQ(outputs.size(), 4096U);
    EXPECT_EQ(outputs.back(), 65528U);
    EXPECT_TRUE(std::is_sorted(outputs.begin(), outputs.end()));
}

TEST(MakeEni, RefusesUnknownKinds) {
    EXPECT_THAT(refusal(network_of({{"robot"}})), HasSubstr("\"robot\""));
    EXPECT_THAT(refusal(network_of({{"robot"}})), HasSubstr("dio8"));
}

TEST(MakeEni, RefusesEmptyNetworks) {
    EXPECT_THAT(refusal(network_of({})), HasSubstr("at least one"));
    EXPECT_THAT(refusal(network_of({{"dio8", 0}})), HasSubstr("at least one"));
}

TEST(MakeEni, RefusesTooManySlaves) {
    EXPECT_THAT(refusal(network_of({{"coupler", 4097}})), HasSubstr("4096"));
    EXPECT_THAT(refusal(network_of({{"coupler", 4096}, {"coupler", 0xFFFFFFFF}})),
                HasSubstr("4096"));
}

TEST(MakeEni, RefusesImagesThatDoNotFit) {
    EXPECT_THAT(refusal(network_of({{"dio16", 2049}})), HasSubstr("at most 4096"));
    MakeEniOptions options = network_of({{"dio8", 2}});
    options.output_bytes = 1;
    EXPECT_THAT(refusal(options), HasSubstr("1 are asked for"));
    options.output_bytes = 5000;
    EXPECT_THAT(refusal(options), HasSubstr("at most 4096"));
}

TEST(MakeEni, RefusesLogicalImagesThatDoNotFit) {
    MakeEniOptions options = network_of({{"dio8", 2}});
    options.logical_bytes = 8193;
    EXPECT_THAT(refusal(options), HasSubstr("at most 8192"));
    options.logical_bytes = 1;
    EXPECT_THAT(refusal(options), HasSubstr("1 are asked for"));
}

TEST(MakeEni, RefusesImpossibleCycles) {
    MakeEniOptions options = network_of({{"dio8"}});
    options.cycle_us = 61;
    EXPECT_THAT(refusal(options), HasSubstr("61 us"));
    options.cycle_us = 1'000'001;
    EXPECT_THAT(refusal(options), HasSubstr("1000001 us"));
}

} // namespace
