// EEPROM images: layout, agreement with the configuration, writing.
#include "card/bus_bench.h"

#include <gmock/gmock.h>

#include <map>
#include <set>

using namespace tarn::vcard;
using tarn::test::BusBench;
using Access = Bus::Access;

namespace {

using Bytes = std::vector<uint8_t>;

uint32_t sii_word(const Bytes &image, size_t address) {
    return image.at(address * 2) | static_cast<uint32_t>(image.at(address * 2 + 1)) << 8;
}
uint32_t sii_dword(const Bytes &image, size_t address) {
    return sii_word(image, address) | sii_word(image, address + 1) << 16;
}

// The checksum once more, in another way: the remainder of a long division bit by bit.
uint8_t remainder_of(const Bytes &image) {
    Bytes bits(14 + 1);
    std::copy_n(image.begin(), 14, bits.begin());
    bits[0] ^= 0xFF; // initial value
    for (size_t bit = 0; bit < 14 * 8; ++bit) {
        if ((bits[bit / 8] >> (7 - bit % 8) & 1) == 0) {
            continue;
        }
        const uint32_t divisor = 0x107U << (7 - bit % 8); // x^8 + x^2 + x + 1
        bits[bit / 8] ^= static_cast<uint8_t>(divisor >> 8);
        bits[bit / 8 + 1] ^= static_cast<uint8_t>(divisor);
    }
    return bits[14];
}

struct Category {
    uint32_t type;
    Bytes data;
};

std::vector<Category> categories_of(const Bytes &image) {
    std::vector<Category> found;
    size_t at = 0x40;
    while (sii_word(image, at) != 0xFFFF) {
        const size_t length = sii_word(image, at + 1);
        const auto begin = image.begin() + static_cast<ptrdiff_t>((at + 2) * 2);
        found.push_back({sii_word(image, at), {begin, begin + static_cast<ptrdiff_t>(length * 2)}});
        at += 2 + length;
    }
    return found;
}

const Bytes *find(const std::vector<Category> &categories, uint32_t type) {
    for (const Category &category : categories) {
        if (category.type == type) {
            return &category.data;
        }
    }
    return nullptr;
}

std::vector<std::string> strings_of(const std::vector<Category> &categories) {
    std::vector<std::string> texts = {""};
    const Bytes &data = *find(categories, 10);
    size_t at = 1;
    for (uint8_t i = 0; i < data.at(0); ++i) {
        const size_t length = data.at(at);
        texts.emplace_back(data.begin() + static_cast<ptrdiff_t>(at + 1),
                           data.begin() + static_cast<ptrdiff_t>(at + 1 + length));
        at += 1 + length;
    }
    return texts;
}

uint32_t bits_of(const std::vector<Category> &categories, uint32_t type, bool assigned_only) {
    uint32_t bits = 0;
    for (const Category &category : categories) {
        if (category.type != type || (assigned_only && category.data.at(3) == 0xFF)) {
            continue;
        }
        for (size_t i = 0; i < category.data.at(2); ++i) {
            bits += category.data.at(8 + i * 8 + 5);
        }
    }
    return bits;
}

class SiiTest : public BusBench {};

// ---- layout -----------------------------------------------------------------------------------

TEST_F(SiiTest, ChecksumOfAKnownImage) {
    // 7 words of zeros with the CRC-8 of a table: polynomial 0x07, initial value 0xFF
    Bytes zeros(128);
    EXPECT_EQ(sii_checksum(zeros), remainder_of(zeros));
    Bytes digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9', 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(sii_checksum(digits), remainder_of(digits));
    EXPECT_FALSE(sii_valid(zeros));
    zeros[14] = sii_checksum(zeros);
    EXPECT_TRUE(sii_valid(zeros));
    zeros[3] ^= 1;
    EXPECT_FALSE(sii_valid(zeros));
}

TEST_F(SiiTest, TheFirstWordsAreThoseOfTheConfiguration) {
    Network network = network_of({{"drive"}});
    network.slaves[0].alias = 0x1234;
    network.slaves[0].serial_no = 0x89ABCDEF;
    const SiiImage image = make_sii(network.slaves[0]);
    EXPECT_EQ(sii_word(image, 0x04), 0x1234U);
    EXPECT_EQ(sii_word(image, 0x07), remainder_of(image));
    EXPECT_EQ(sii_dword(image, 0x08), network.slaves[0].vendor_id);
    EXPECT_EQ(sii_dword(image, 0x0A), network.slaves[0].product_code);
    EXPECT_EQ(sii_dword(image, 0x0C), network.slaves[0].revision_no);
    EXPECT_EQ(sii_dword(image, 0x0E), 0x89ABCDEFU);
    EXPECT_EQ(sii_word(image, 0x18), 0x1000U); // receive mailbox
    EXPECT_EQ(sii_word(image, 0x19), 128U);
    EXPECT_EQ(sii_word(image, 0x1A), 0x1080U);
    EXPECT_EQ(sii_word(image, 0x1B), 128U);
    EXPECT_EQ(sii_word(image, 0x1C) & 0x04U, 0x04U); // CoE
    EXPECT_EQ(sii_word(image, 0x3E), image.size() / 128 - 1);
    EXPECT_EQ(sii_word(image, 0x3F), 1U);
}

TEST_F(SiiTest, ASlaveWithoutMailboxHasNoMailboxWords) {
    const SiiImage image = make_sii(network_of({{"dio8"}}).slaves[0]);
    for (size_t address = 0x14; address <= 0x1C; ++address) {
        EXPECT_EQ(sii_word(image, address), 0U) << address;
    }
}

TEST_F(SiiTest, BootstrapMailboxAndProtocols) {
    SlaveConfig slave = network_of({{"drive"}}).slaves[0];
    slave.mailbox_config.boot_send = {0x1800, 140};
    slave.mailbox_config.boot_receive = {0x1900, 144};
    slave.mailbox_config.eoe = slave.mailbox_config.foe = slave.mailbox_config.soe = true;
    const SiiImage image = make_sii(slave);
    EXPECT_EQ(sii_word(image, 0x14), 0x1800U);
    EXPECT_EQ(sii_word(image, 0x15), 140U);
    EXPECT_EQ(sii_word(image, 0x16), 0x1900U);
    EXPECT_EQ(sii_word(image, 0x17), 144U);
    EXPECT_EQ(sii_word(image, 0x1C), 0x02U | 0x04U | 0x08U | 0x10U);
}

TEST_F(SiiTest, NamesAreInTheStrings) {
    const Network network = network_of({{"drive"}});
    const auto categories = categories_of(make_sii(network.slaves[0]));
    const auto texts = strings_of(categories);
    const Bytes &general = *find(categories, 30);
    ASSERT_EQ(general.size(), 32U);
    EXPECT_EQ(texts.at(general[3]), network.slaves[0].name);
    EXPECT_EQ(texts.at(general[0]), "Drive");
    EXPECT_EQ(texts.at(general[16 - 2]), "Drive");
    EXPECT_EQ(general[5], 0x2D); // SDO, PDO assignment and configuration, complete access
    EXPECT_EQ(general[9], 1);    // CiA 402
    const Bytes &outputs = *find(categories, 51);
    EXPECT_EQ(texts.at(outputs[8 + 3]), "Controlword");
    EXPECT_EQ(std::set<std::string>(texts.begin(), texts.end()).size(), texts.size());
}

TEST_F(SiiTest, SyncManagersAndFmmusOfADrive) {
    const auto categories = categories_of(make_sii(network_of({{"drive"}}).slaves[0]));
    const Bytes &managers = *find(categories, 41);
    ASSERT_EQ(managers.size(), 4 * 8U);
    const auto manager = [&managers](size_t i) {
        return Bytes(managers.begin() + static_cast<ptrdiff_t>(i * 8),
                     managers.begin() + static_cast<ptrdiff_t>(i * 8 + 8));
    };
    EXPECT_EQ(manager(0), (Bytes{0x00, 0x10, 128, 0, 0x26, 0, 1, 1}));
    EXPECT_EQ(manager(1), (Bytes{0x80, 0x10, 128, 0, 0x22, 0, 1, 2}));
    EXPECT_EQ(manager(2)[2], 14);
    EXPECT_EQ(manager(2)[7], 3);
    EXPECT_EQ(manager(3)[2], 14);
    EXPECT_EQ(manager(3)[7], 4);
    EXPECT_EQ(*find(categories, 40), (Bytes{1, 2, 3, 0xFF}));
}

TEST_F(SiiTest, PdosOfADrive) {
    const auto categories = categories_of(make_sii(network_of({{"drive"}}).slaves[0]));
    const Bytes &outputs = *find(categories, 51);
    EXPECT_EQ(outputs[0] | outputs[1] << 8, 0x1600);
    EXPECT_EQ(outputs[2], 6);
    EXPECT_EQ(outputs[3], 2); // sync manager
    EXPECT_EQ(outputs[8] | outputs[9] << 8, 0x6040);
    EXPECT_EQ(outputs[8 + 4], 0x06); // UINT
    EXPECT_EQ(outputs[8 + 5], 16);
    const Bytes &inputs = *find(categories, 50);
    EXPECT_EQ(inputs[0] | inputs[1] << 8, 0x1A00);
    EXPECT_EQ(inputs[3], 3);
}

TEST_F(SiiTest, ClocksOfADrive) {
    const Network network = network_of({{"drive"}, {"dio8"}});
    const auto categories = categories_of(make_sii(network.slaves[0]));
    const Bytes &clocks = *find(categories, 60);
    ASSERT_EQ(clocks.size(), 24U);
    EXPECT_EQ(clocks[0] | clocks[1] << 8 | clocks[2] << 16, 500'000);
    EXPECT_EQ(clocks[14] | clocks[15] << 8, 0x0300);
    EXPECT_EQ(find(categories_of(make_sii(network.slaves[1])), 60), nullptr);
}

TEST_F(SiiTest, EveryKindOfSlaveHasAWholeImage) {
    for (const SlaveKindInfo &kind : slave_kinds()) {
        SCOPED_TRACE(kind.kind);
        const SlaveConfig slave = network_of({{kind.kind}}).slaves[0];
        const SiiImage image = make_sii(slave);
        const auto categories = categories_of(image);
        EXPECT_EQ(image.size(), 2048U);
        EXPECT_EQ(bits_of(categories, 51, true), slave.outputs.length);
        EXPECT_EQ(bits_of(categories, 50, true), slave.inputs.length);
        EXPECT_EQ(find(categories, 41) == nullptr,
                  !slave.mailbox && slave.outputs.length + slave.inputs.length == 0);
    }
}

TEST_F(SiiTest, LongNamesAndManyEntriesStillFit) {
    SlaveConfig slave = network_of({{"drive"}}).slaves[0];
    slave.name = std::string(300, 'n');
    slave.output_pdos[0].entries.assign(300, {0x7000, 1, 8, "Output", "USINT"});
    for (size_t i = 0; i < 300; ++i) {
        slave.output_pdos[0].entries[i].name += std::to_string(i);
    }
    const SiiImage image = make_sii(slave);
    const auto categories = categories_of(image);
    const auto texts = strings_of(categories);
    EXPECT_EQ(texts.size(), 256U);
    EXPECT_EQ(texts.at(find(categories, 30)->at(3)).size(), 255U);
    EXPECT_EQ(find(categories, 51)->at(2), 255);
    EXPECT_EQ(image.size() % 128, 0U);
    EXPECT_EQ(sii_word(image, 0x3E), image.size() / 128 - 1);
}

TEST_F(SiiTest, EntriesLongerThan255BitsAreSplit) {
    SlaveConfig slave = network_of({{"dio8"}}).slaves[0];
    slave.input_pdos[0].entries = {{0x6000, 1, 600, "Block", "ARRAY"}};
    EXPECT_EQ(bits_of(categories_of(make_sii(slave)), 50, true), 600U);
}

// Identity, addresses and sizes of all slaves of all files at hand.
TEST_F(SiiTest, ImagesAgreeWithTheirFiles) {
    for (const auto &file : eni_files()) {
        const Network network = read_eni(file);
        for (size_t i = 0; i < network.slaves.size(); ++i) {
            SCOPED_TRACE(file.filename().string() + ", slave " + std::to_string(i));
            const SlaveConfig &slave = network.slaves[i];
            const SiiImage image = make_sii(slave);
            const auto categories = categories_of(image);
            EXPECT_TRUE(sii_valid(image));
            EXPECT_EQ(sii_word(image, 0x07), remainder_of(image));
            EXPECT_EQ(sii_dword(image, 0x08), slave.vendor_id);
            EXPECT_EQ(sii_dword(image, 0x0A), slave.product_code);
            EXPECT_EQ(sii_dword(image, 0x0C), slave.revision_no);
            EXPECT_EQ(sii_dword(image, 0x0E), slave.serial_no);
            EXPECT_EQ(sii_word(image, 0x18), slave.mailbox ? slave.mailbox_config.send.start : 0U);
            EXPECT_EQ(sii_word(image, 0x1B),
                      slave.mailbox ? slave.mailbox_config.receive.length : 0U);
            EXPECT_EQ(strings_of(categories).at(find(categories, 30)->at(3)),
                      slave.name.substr(0, 255));
            const auto assigned = [](const std::vector<PdoConfig> &pdos) {
                uint32_t bits = 0;
                for (const PdoConfig &pdo : pdos) {
                    bits += pdo.assigned ? pdo.bits() : 0;
                }
                return bits;
            };
            EXPECT_EQ(bits_of(categories, 51, true), assigned(slave.output_pdos));
            EXPECT_EQ(bits_of(categories, 50, true), assigned(slave.input_pdos));
            EXPECT_EQ(bits_of(categories, 51, true), slave.outputs.length);
            EXPECT_EQ(bits_of(categories, 50, true), slave.inputs.length);
        }
    }
}

// ---- reading and writing ----------------------------------------------------------------------

TEST_F(SiiTest, AddressesCountWordsAndLengthsBytes) {
    run({{"dio8"}});
    const Bytes image = eeprom(0);
    Bytes part(5);
    EXPECT_EQ(bus_.read_eeprom(0, 0x08, part), Access::Done);
    EXPECT_EQ(part, Bytes(image.begin() + 16, image.begin() + 21));
}

TEST_F(SiiTest, AnOddLengthLeavesTheLastHighByte) {
    run({{"dio8"}});
    write_eeprom(0, 0x20, {0x11, 0x22, 0x33, 0x44});
    write_eeprom(0, 0x20, {0xAA, 0xBB, 0xCC});
    const Bytes image = eeprom(0);
    EXPECT_EQ(Bytes(image.begin() + 0x40, image.begin() + 0x44), (Bytes{0xAA, 0xBB, 0xCC, 0x44}));
}

TEST_F(SiiTest, NothingIsReadOrWrittenBeyondTheEnd) {
    run({{"dio8"}});
    Bytes two(2);
    EXPECT_EQ(bus_.read_eeprom(0, 1023, two), Access::Done);
    EXPECT_EQ(bus_.read_eeprom(0, 1024, two), Access::OutOfRange);
    two = {0, 0};
    EXPECT_EQ(bus_.write_eeprom(0, 1023, two), Access::Done);
    Bytes three(3);
    EXPECT_EQ(bus_.read_eeprom(0, 1023, three), Access::OutOfRange);
    EXPECT_EQ(bus_.write_eeprom(0, 1023, three), Access::OutOfRange);
    EXPECT_EQ(bus_.write_eeprom(0, 0xFFFF, two), Access::OutOfRange);
    EXPECT_EQ(eeprom(0)[2047], 0);
}

TEST_F(SiiTest, NoLengthIsNoAccess) {
    run({{"dio8"}});
    const Bytes before = eeprom(0);
    EXPECT_EQ(bus_.read_eeprom(0, 1024, {}), Access::Done);
    write_eeprom(0, 0, {});
    EXPECT_EQ(eeprom(0), before);
}

TEST_F(SiiTest, AnAbsentSlaveHasNoEeprom) {
    run({{"dio8", 2}});
    bus_.fault(1, "unplug");
    Bytes two(2);
    EXPECT_EQ(bus_.read_eeprom(1, 0, two), Access::NoAnswer);
    EXPECT_EQ(bus_.write_eeprom(1, 0, two), Access::NoAnswer);
    EXPECT_EQ(bus_.read_eeprom(0, 0, two), Access::Done);
}

TEST_F(SiiTest, WritesSurviveARestart) {
    run({{"dio8", 2}});
    write_eeprom(1, 0x30, {1, 2, 3, 4});
    restart();
    EXPECT_EQ(sii_word(eeprom(1), 0x30), 0x0201U);
    EXPECT_EQ(sii_word(eeprom(1), 0x31), 0x0403U);
    EXPECT_EQ(sii_word(eeprom(0), 0x30), 0U);
}

TEST_F(SiiTest, AnotherSlaveAtTheSamePlaceHasItsOwnEeprom) {
    run({{"dio8"}});
    write_eeprom(0, 0x30, {1, 2});
    run({{"dio16"}});
    EXPECT_EQ(sii_word(eeprom(0), 0x30), 0U);
    run({{"dio8"}});
    EXPECT_EQ(sii_word(eeprom(0), 0x30), 0x0201U);
}

// As tools do it: alias and checksum.
TEST_F(SiiTest, AWrittenAliasCountsFromTheNextStart) {
    run({{"dio8", 2}});
    Bytes image = eeprom(1);
    image[8] = 0x39;
    image[9] = 0x05;
    write_eeprom(1, 4, {0x39, 0x05});
    write_eeprom(1, 7, {remainder_of(image), 0});
    EXPECT_EQ(bus_.network().slaves[1].alias, 0);
    EXPECT_EQ(word(1, 0x0012), 0U);
    restart();
    EXPECT_EQ(bus_.network().slaves[1].alias, 0x0539);
    EXPECT_EQ(word(1, 0x0012), 0x0539U);
    EXPECT_EQ(bus_.network().slaves[0].alias, 0);
}

TEST_F(SiiTest, WithAWrongChecksumNothingIsTakenFromTheEeprom) {
    run({{"dio8"}});
    write_eeprom(0, 4, {0x39, 0x05});
    restart();
    EXPECT_EQ(bus_.network().slaves[0].alias, 0);
    EXPECT_EQ(word(0, 0x0012), 0U);
    EXPECT_EQ(word(0, 0x0502) & 0x1800U, 0x1800U); // checksum error, not loaded
    EXPECT_EQ(sii_word(eeprom(0), 4), 0x0539U);
}

} // namespace
