// Object dictionaries of the slaves on a running bus: what they hold, and that it agrees with the
// configuration file and with what the slaves do.
#include "card/mailbox_fixture.h"
#include "support/process.h"
#include "tarn_vcard/records.h"
#include "vcard/bus/network.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

using namespace tarn::test;
using namespace tarn::vcard;
using testing::AllOf;
using testing::Contains;
using testing::Field;

namespace {

class ObjectDictionaryTest : public MailboxTest {
  protected:
    std::string text(uint16_t slave, uint16_t index) {
        const Bytes bytes = upload(slave, index, 0).payload;
        return {bytes.begin(), bytes.end()};
    }

    std::vector<VcardObjectEntry> list(uint16_t slave) {
        const Bytes bytes = upload(slave, VCARD_OBJECT_LIST_INDEX, 0).payload;
        std::vector<VcardObjectEntry> entries(bytes.size() / sizeof(VcardObjectEntry));
        std::memcpy(entries.data(), bytes.data(), entries.size() * sizeof(VcardObjectEntry));
        return entries;
    }

    // Bits of the PDOs that one direction's assignment lists.
    uint32_t assigned_bits(uint16_t slave, uint16_t assignment) {
        uint32_t bits = 0;
        const auto pdos = read<uint8_t>(slave, assignment, 0);
        for (uint8_t i = 1; i <= pdos; ++i) {
            const auto pdo = read<uint16_t>(slave, assignment, i);
            const auto entries = read<uint8_t>(slave, pdo, 0);
            for (uint8_t k = 1; k <= entries; ++k) {
                bits += read<uint32_t>(slave, pdo, k) & 0xFF;
            }
        }
        return bits;
    }

    template <typename Condition>
    static void wait_for(Condition condition) {
        EXPECT_TRUE(eventually(condition));
    }
};

} // namespace

// ---- every slave
// ----------------------------------------------------------------------------------

TEST_F(ObjectDictionaryTest, DeviceTypesTellTheKinds) {
    MakeEniOptions options;
    options.slaves = {{"coupler"}, {"drive"}, {"dio16"}, {"ai2"}, {"ao2"}, {"aio4"}};
    start(make_eni(options));
    EXPECT_EQ(read<uint32_t>(0, 0x1000, 0), 5001U);
    EXPECT_EQ(read<uint32_t>(1, 0x1000, 0), 0x00020192U);
    EXPECT_EQ(read<uint32_t>(2, 0x1000, 0), 0x00030191U);
    EXPECT_EQ(read<uint32_t>(3, 0x1000, 0), 0x00040191U);
    EXPECT_EQ(read<uint32_t>(4, 0x1000, 0), 0x00080191U);
    EXPECT_EQ(read<uint32_t>(5, 0x1000, 0), 0x000C0191U);
}

TEST_F(ObjectDictionaryTest, NamesAndVersions) {
    start();
    EXPECT_EQ(text(kDrive, 0x1008), "drive 1");
    EXPECT_EQ(text(kDrive, 0x1009), "1.0");
    EXPECT_EQ(text(kDrive, 0x100A), "1.0");
}

TEST_F(ObjectDictionaryTest, SyncManagerTypes) {
    start();
    EXPECT_EQ(upload(kDrive, 0x1C00, 0, true).payload, (Bytes{4, 0, 1, 2, 3, 4}));
}

TEST_F(ObjectDictionaryTest, MailboxSyncManagersHaveNoPdos) {
    start();
    EXPECT_EQ(read<uint8_t>(kDrive, 0x1C10, 0), 0);
    EXPECT_EQ(read<uint8_t>(kDrive, 0x1C11, 0), 0);
}

TEST_F(ObjectDictionaryTest, SyncManagerParametersHaveTheCycleTime) {
    MakeEniOptions options;
    options.slaves = {{"drive"}, {"ai2"}};
    options.cycle_us = 500;
    start(make_eni(options));
    EXPECT_EQ(read<uint32_t>(0, 0x1C32, 2), 500'000U);
    EXPECT_EQ(read<uint32_t>(1, 0x1C33, 2), 500'000U);
    EXPECT_EQ(read<uint16_t>(0, 0x1C32, 1), 2);
    EXPECT_EQ(read<uint16_t>(1, 0x1C32, 1), 1);
}

TEST_F(ObjectDictionaryTest, ErrorRegisterShowsASlaveInError) {
    start();
    EXPECT_EQ(read<uint8_t>(kCoupler, 0x1001, 0), 0);
    fault(kCoupler, "safeop-error");
    EXPECT_EQ(read<uint8_t>(kCoupler, 0x1001, 0), 0x11);
}

// It is the EtherCAT cable that is pulled, not the power.
TEST_F(ObjectDictionaryTest, ValuesStayWhileASlaveIsUnplugged) {
    start();
    write<uint32_t>(kDrive, 0x5F00, 1, 5);
    fault(kDrive, "unplug");
    fault(kDrive, "none");
    EXPECT_EQ(read<uint32_t>(kDrive, 0x5F00, 1), 5U);
}

TEST_F(ObjectDictionaryTest, ValuesAreLostWhenTheBusStarts) {
    start();
    write<uint32_t>(kDrive, 0x5F00, 1, 5);
    bench_.ask(kStop);
    start();
    EXPECT_EQ(read<uint32_t>(kDrive, 0x5F00, 1), 0U);
}

// ---- process data
// ---------------------------------------------------------------------------------

TEST_F(ObjectDictionaryTest, MappingObjectsNameTheMappedEntries) {
    start();
    EXPECT_EQ(read<uint16_t>(kDrive, 0x1C12, 1), 0x1600);
    EXPECT_EQ(read<uint32_t>(kDrive, 0x1600, 1), 0x60400010U);
    EXPECT_EQ(read<uint32_t>(kDrive, 0x1600, 2), 0x60600008U);
    EXPECT_EQ(read<uint32_t>(kDrive, 0x1600, 3), 0x00000008U); // padding
    EXPECT_EQ(read<uint32_t>(kAnalog, 0x1A00, 4), 0x60100410U);
}

TEST_F(ObjectDictionaryTest, AnalogueInputsShowTheirProcessData) {
    MakeEniOptions options;
    options.slaves = {{"ai2"}};
    start(make_eni(options));
    wait_for([&] { return read<int16_t>(0, 0x6010, 2) != 0; }); // they swing
}

TEST_F(ObjectDictionaryTest, InputsAreReadOnly) {
    start();
    EXPECT_EQ(write<int16_t>(kAnalog, 0x6010, 1, 1), 33025U);
}

TEST_F(ObjectDictionaryTest, OutputsAreTheHostsInOp) {
    start();
    EXPECT_EQ(write<int16_t>(kAnalog, 0x7010, 1, 1), 32795U);
    EXPECT_EQ(read<int16_t>(kAnalog, 0x7010, 1), 0);
}

TEST_F(ObjectDictionaryTest, OutputsTakeValuesInPreop) {
    start();
    request_state(2);
    EXPECT_EQ(write<int16_t>(kAnalog, 0x7010, 1, 77), 0U);
    EXPECT_EQ(read<int16_t>(kAnalog, 0x7010, 1), 77);
}

TEST_F(ObjectDictionaryTest, AnotherAssignmentIsRefusedAtSafeop) {
    start();
    request_state(2);
    ASSERT_EQ(write<uint8_t>(kAnalog, 0x1C12, 0, 0), 0U);
    request_state(4);
    EXPECT_EQ(state(kAnalog), 0x12);
    EXPECT_EQ(al_status_code(kAnalog), 0x001D);
    EXPECT_EQ(state(kDrive), 4);
}

TEST_F(ObjectDictionaryTest, AnotherInputAssignmentIsRefusedAtSafeop) {
    start();
    request_state(2);
    ASSERT_EQ(write<uint8_t>(kAnalog, 0x1C13, 0, 0), 0U);
    request_state(8);
    EXPECT_EQ(state(kAnalog), 0x12);
    EXPECT_EQ(al_status_code(kAnalog), 0x001E);
}

TEST_F(ObjectDictionaryTest, TheOldAssignmentIsTakenAgain) {
    start();
    request_state(2);
    write<uint8_t>(kAnalog, 0x1C12, 0, 0);
    write<uint16_t>(kAnalog, 0x1C12, 1, 0x1600);
    write<uint8_t>(kAnalog, 0x1C12, 0, 1);
    request_state(8);
    EXPECT_EQ(state(kAnalog), 8);
}

// ---- drives
// ---------------------------------------------------------------------------------------

TEST_F(ObjectDictionaryTest, DrivesShowTheirStateAndMode) {
    start();
    wait_for([&] { return (read<uint16_t>(kDrive, 0x6041, 0) & 0x4F) == 0x40; });
    EXPECT_EQ(read<int8_t>(kDrive, 0x6061, 0), 8);
    EXPECT_EQ(read<uint16_t>(kDrive, 0x603F, 0), 0);
    EXPECT_EQ(read<uint32_t>(kDrive, 0x6502, 0), 0x385U);
}

TEST_F(ObjectDictionaryTest, AModeWrittenInPreopIsTheDrives) {
    start();
    request_state(2);
    EXPECT_EQ(write<int8_t>(kDrive, 0x6060, 0, 3), 0U);
    EXPECT_EQ(read<int8_t>(kDrive, 0x6061, 0), 3);
    EXPECT_EQ(read<int8_t>(kDrive, 0x6060, 0), 3);
}

TEST_F(ObjectDictionaryTest, ProfileValuesHaveLimits) {
    start();
    EXPECT_EQ(read<uint32_t>(kDrive, 0x6081, 0), 50'000U);
    EXPECT_EQ(write<uint32_t>(kDrive, 0x6081, 0, 1'000'000), 0U);
    EXPECT_EQ(write<uint32_t>(kDrive, 0x6081, 0, 1'000'001), 33806U);
    EXPECT_EQ(write<uint32_t>(kDrive, 0x6083, 0, 0), 33807U);
    EXPECT_EQ(read<uint32_t>(kDrive, 0x6084, 0), 200'000U);
}

// Without them in the process data, all of a drive's commands can be given by SDO.
TEST_F(ObjectDictionaryTest, UnmappedCommandsMoveTheDrive) {
    std::string eni = usual_eni();
    const auto replace = [&](const std::string &object, const std::string &other) {
        const size_t at = eni.find("<Index>#x" + object);
        ASSERT_NE(at, std::string::npos);
        eni.replace(at, 9 + object.size(), "<Index>#x" + other);
    };
    replace("607a", "2001");
    replace("60ff", "2002");
    replace("6060", "2003"); // in the PDO; the start command comes later in the file
    start(eni);
    ASSERT_EQ(write<int8_t>(kDrive, 0x6060, 0, 3), 0U);
    EXPECT_EQ(write<int32_t>(kDrive, 0x60FF, 0, -500), 0U);
    EXPECT_EQ(read<int32_t>(kDrive, 0x60FF, 0), -500);
    EXPECT_EQ(read<int8_t>(kDrive, 0x6061, 0), 3);
}

// ---- the object list
// ------------------------------------------------------------------------------

TEST_F(ObjectDictionaryTest, TheListNamesEveryEntryOnce) {
    start();
    std::set<std::pair<uint16_t, uint8_t>> seen;
    for (const VcardObjectEntry &entry : list(kDrive)) {
        EXPECT_TRUE(seen.insert({entry.index, entry.subindex}).second);
        const uint32_t status = upload(kDrive, entry.index, entry.subindex).status;
        EXPECT_EQ(status, (entry.access & VCARD_OBJECT_READ) != 0 ? 0U : 33026U)
            << std::hex << entry.index << ":" << int{entry.subindex};
    }
    EXPECT_GT(seen.size(), 80U);
}

TEST_F(ObjectDictionaryTest, TheListTellsTypesAccessAndMapping) {
    start();
    EXPECT_THAT(
        list(kDrive),
        Contains(AllOf(
            Field(&VcardObjectEntry::index, 0x6041), Field(&VcardObjectEntry::subindex, 0),
            Field(&VcardObjectEntry::object_code, VCARD_OBJECT_VARIABLE),
            Field(&VcardObjectEntry::data_type, 6), Field(&VcardObjectEntry::bits, 16U),
            Field(&VcardObjectEntry::access, VCARD_OBJECT_READ | VCARD_OBJECT_MAPPED_TO_INPUTS),
            Field(&VcardObjectEntry::name, testing::StrEq("Statusword")))));
}

TEST_F(ObjectDictionaryTest, AListThatNoSlotHasRoomForIsRefused) {
    std::string pdo = "<TxPdo><Index>#x1A80</Index>";
    for (int i = 0; i < 1600; ++i) {
        pdo += "<Entry><Index>" + std::to_string(0x2100 + i / 200) + "</Index><SubIndex>" +
               std::to_string(1 + i % 200) + "</SubIndex><BitLen>8</BitLen></Entry>";
    }
    std::string eni = usual_eni();
    eni.insert(eni.find("</ProcessData>"), pdo + "</TxPdo>");
    start(eni);
    EXPECT_EQ(upload(kDrive, VCARD_OBJECT_LIST_INDEX, 0).status, 34360U);
    EXPECT_EQ(read<uint8_t>(kDrive, 0x2107, 200), 0U);
}

TEST_F(ObjectDictionaryTest, TheListIsReadOnlyAndHasNoSubindices) {
    start();
    EXPECT_EQ(download(kDrive, VCARD_OBJECT_LIST_INDEX, 0, {1}).status, 33025U);
    EXPECT_EQ(upload(kDrive, VCARD_OBJECT_LIST_INDEX, 1).status, 33805U);
    EXPECT_EQ(upload(kDrive, VCARD_OBJECT_LIST_INDEX, 0, true).status, 33801U);
}

// ---- configuration files
// --------------------------------------------------------------------------

namespace {

std::vector<std::filesystem::path> eni_files() {
    std::vector<std::filesystem::path> files;
    const auto add = [&](const std::filesystem::path &folder) {
        for (const auto &entry : std::filesystem::directory_iterator(folder)) {
            if (entry.path().extension() == ".xml") {
                files.push_back(entry.path());
            }
        }
    };
    add(tarn::test::source_path("examples/eni"));
    if (const char *folder = std::getenv("TARN_ENI_DIR")) {
        add(folder);
    }
    return files;
}

std::string content_of(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace

TEST_F(ObjectDictionaryTest, DictionariesAgreeWithTheirConfigurationFiles) {
    for (const std::filesystem::path &path : eni_files()) {
        SCOPED_TRACE(path.filename().string());
        const std::string eni = content_of(path);
        Network network;
        ASSERT_EQ(parse_eni(eni, network).status, 0U);
        start(eni);
        for (uint16_t i = 0; i < network.slaves.size(); ++i) {
            SCOPED_TRACE(i);
            const SlaveConfig &slave = network.slaves[i];
            EXPECT_EQ(state(i), 8);
            if (!slave.mailbox || !slave.mailbox_config.coe) {
                EXPECT_NE(upload(i, 0x1000, 0).status, 0U);
                continue;
            }
            EXPECT_EQ(read<uint32_t>(i, 0x1018, 1), slave.vendor_id);
            EXPECT_EQ(read<uint32_t>(i, 0x1018, 2), slave.product_code);
            EXPECT_EQ(read<uint32_t>(i, 0x1018, 3), slave.revision_no);
            EXPECT_EQ(assigned_bits(i, 0x1C12), slave.outputs.length);
            EXPECT_EQ(assigned_bits(i, 0x1C13), slave.inputs.length);
        }
        bench_.ask(kStop);
    }
}

TEST_F(ObjectDictionaryTest, EverySlaveKindAgreesWithItsMaker) {
    MakeEniOptions options;
    for (const SlaveKindInfo &kind : slave_kinds()) {
        options.slaves.push_back({kind.kind});
    }
    const std::string eni = make_eni(options);
    Network network;
    ASSERT_EQ(parse_eni(eni, network).status, 0U);
    start(eni);
    for (uint16_t i = 0; i < network.slaves.size(); ++i) {
        SCOPED_TRACE(network.slaves[i].name);
        if (network.slaves[i].mailbox) {
            EXPECT_EQ(assigned_bits(i, 0x1C12), network.slaves[i].outputs.length);
            EXPECT_EQ(assigned_bits(i, 0x1C13), network.slaves[i].inputs.length);
        } else {
            EXPECT_EQ(upload(i, 0x1018, 1).status, 32818U);
        }
    }
}
