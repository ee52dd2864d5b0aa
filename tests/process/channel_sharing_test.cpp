// Several processes on one card: what one writes another reads, and the other channel stays apart.
#include "pci_tarn/pci_tarn.h"
#include "support/peer.h"
#include "support/virtual_card.h"
#include "vcard/bus/make_eni.h"

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace {

using namespace tarn;
using test::Flag;
using test::Peer;

EcatHandle *open_channel(uint32_t channel) {
    EcatHandle *handle = nullptr;
    return EcatOpen(&handle, "ID0", channel) == 0 ? handle : nullptr;
}

std::vector<uint8_t> stamped_image(uint32_t stamp) {
    std::vector<uint8_t> image(4096);
    for (size_t i = 0; i < image.size(); i += sizeof(stamp)) {
        std::memcpy(image.data() + i, &stamp, sizeof(stamp));
    }
    return image;
}

void write_eni(const char *path, uint32_t slaves) {
    std::ofstream(path, std::ios::binary) << vcard::make_eni({.slaves = {{"dio8", slaves}}});
}

// Until a byte of an area of channel 0 has a value: arguments area, offset, value.
TARN_PEER(byte_reader) {
    EcatHandle *handle = open_channel(0);
    const auto area = static_cast<uint32_t>(std::stoul(arguments.at(0)));
    const auto offset = static_cast<uint32_t>(std::stoul(arguments.at(1)));
    const auto expected = static_cast<uint8_t>(std::stoul(arguments.at(2)));
    uint8_t value = 0;
    return test::eventually([&] {
        EcatPIRead(handle, area, offset, 1, &value);
        return value == expected;
    })
               ? 0
               : 1;
}

TARN_PEER(stranger) {
    EcatHandle *handle = open_channel(1);
    uint8_t value = 0xEE;
    return EcatPIRead(handle, ECAT_PI_NORMAL_OUTPUT, 5, 1, &value) == 0 && value == 0 ? 0 : 1;
}

TEST(ChannelSharing, OneProcessWritesAnotherReadsAndTheOtherChannelSeesNothing) {
    const test::VirtualCards cards;
    EcatHandle *handle = open_channel(0);
    ASSERT_NE(handle, nullptr);
    write_eni("io.xml", 16);
    ASSERT_EQ(EcatBusRun(handle, "io.xml"), 0U);
    const uint8_t value = 0x5A;
    ASSERT_EQ(EcatPIWrite(handle, ECAT_PI_NORMAL_OUTPUT, 5, 1, &value), 0U);
    Peer reader("byte_reader", {std::to_string(ECAT_PI_NORMAL_OUTPUT), "5", "90"});
    Peer stranger("stranger");
    EXPECT_EQ(reader.join(), 0);
    EXPECT_EQ(stranger.join(), 0);
    EcatBusStop(handle);
    EcatClose(handle);
}

TEST(ChannelSharing, InputsOfTheCardReachEveryProcess) {
    const test::VirtualCards cards;
    EcatHandle *handle = open_channel(0);
    write_eni("io.xml", 16);
    ASSERT_EQ(EcatBusRun(handle, "io.xml"), 0U);
    const uint8_t value = 0xC4;
    ASSERT_EQ(EcatPIWrite(handle, ECAT_PI_FAST_OUTPUT, 3, 1, &value), 0U);
    Peer reader("byte_reader", {std::to_string(ECAT_PI_SHADOW_INPUT), "3", "196"});
    EXPECT_EQ(reader.join(), 0);
    EcatClose(handle);
}

TARN_PEER(image_writer) {
    EcatHandle *handle = open_channel(0);
    for (uint32_t stamp = 1;; ++stamp) {
        EcatPIWrite(handle, ECAT_PI_NORMAL_OUTPUT, 0, 4096, stamped_image(stamp).data());
    }
}

TEST(ChannelSharing, NoReaderEverSeesAHalfWrittenImage) {
    const test::VirtualCards cards;
    EcatHandle *handle = open_channel(0);
    ASSERT_EQ(EcatPIClear(handle, ECAT_PI_NORMAL_OUTPUT), 0U);
    Peer writer("image_writer");
    uint32_t first = 0;
    uint32_t last = 0;
    ASSERT_TRUE(test::eventually([&] {
        std::vector<uint8_t> image(4096);
        EXPECT_EQ(EcatPIRead(handle, ECAT_PI_NORMAL_OUTPUT, 0, 4096, image.data()), 0U);
        std::memcpy(&last, image.data(), sizeof(last));
        EXPECT_EQ(image, stamped_image(last));
        first = first != 0 ? first : last;
        return HasFailure() || last > first + 2000;
    }));
    writer.kill();
    EcatClose(handle);
}

TARN_PEER(busy_user) {
    EcatHandle *handle = open_channel(0);
    for (uint32_t stamp = 1;; ++stamp) {
        uint16_t count = 0;
        EcatGetSlaveCount(handle, &count);
        EcatPIWrite(handle, ECAT_PI_FAST_OUTPUT, 0, 16, stamped_image(stamp).data());
        if (stamp == 5) {
            Flag(arguments.at(0)).raise();
        }
    }
}

TEST(ChannelSharing, AProcessThatDiesInTheMiddleLeavesTheChannelUsable) {
    const test::VirtualCards cards;
    EcatHandle *handle = open_channel(0);
    write_eni("io.xml", 16);
    ASSERT_EQ(EcatBusRun(handle, "io.xml"), 0U);
    for (int i = 0; i < 8; ++i) {
        const Flag busy;
        Peer peer("busy_user", {busy.name()});
        ASSERT_TRUE(busy.wait());
        peer.kill();
        uint16_t count = 0;
        EXPECT_EQ(EcatGetSlaveCount(handle, &count), 0U);
        EXPECT_EQ(count, 16);
        uint8_t value = 0;
        EXPECT_EQ(EcatPIRead(handle, ECAT_PI_SHADOW_INPUT, 0, 1, &value), 0U);
    }
    EXPECT_EQ(EcatBusStop(handle), 0U);
    EcatClose(handle);
}

// Asks for one slave's address again and again.
TARN_PEER(address_reader) {
    const auto slave = static_cast<uint16_t>(std::stoul(arguments.at(0)));
    EcatHandle *handle = open_channel(0);
    for (int i = 0; i < 500; ++i) {
        uint16_t address = 0;
        if (EcatGetSlaveFixAddr(handle, slave, &address) != 0 || address != 1001 + slave) {
            return 1;
        }
    }
    return 0;
}

TEST(ChannelSharing, RequestsOfManyProcessesNeverMixTheirReplies) {
    const test::VirtualCards cards;
    EcatHandle *handle = open_channel(0);
    write_eni("io.xml", 4);
    ASSERT_EQ(EcatBusRun(handle, "io.xml"), 0U);
    std::vector<std::unique_ptr<Peer>> peers;
    for (int slave = 0; slave < 4; ++slave) {
        peers.push_back(
            std::make_unique<Peer>("address_reader", test::PeerArguments{std::to_string(slave)}));
    }
    for (const auto &peer : peers) {
        EXPECT_EQ(peer->join(), 0);
    }
    EcatClose(handle);
}

} // namespace
