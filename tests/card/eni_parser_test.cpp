// What the virtual card's master reads from ENI files, and what it refuses.
#include "vcard/bus/network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

using namespace tarn::vcard;
using testing::HasSubstr;

namespace {

std::string slave(const std::string &info, const std::string &rest = "") {
    return "<Slave><Info><Name>Box</Name>" + info + "</Info>" + rest + "</Slave>";
}

std::string runs(const std::string &send, const std::string &recv) {
    const auto run = [](const std::string &element, const std::string &value) {
        const size_t comma = value.find(',');
        return value.empty() ? ""
                             : "<" + element + "><BitStart>" + value.substr(0, comma) +
                                   "</BitStart><BitLength>" + value.substr(comma + 1) +
                                   "</BitLength></" + element + ">";
    };
    return "<ProcessData>" + run("Send", send) + run("Recv", recv) + "</ProcessData>";
}

std::string file(const std::string &config) {
    return "<EtherCATConfig><Config>" + config + "</Config></EtherCATConfig>";
}

std::string image(const std::string &outputs, const std::string &inputs) {
    return "<ProcessImage><Inputs><ByteSize>" + inputs + "</ByteSize></Inputs><Outputs><ByteSize>" +
           outputs + "</ByteSize></Outputs></ProcessImage>";
}

Network accepted(const std::string &xml) {
    Network network;
    const EniVerdict verdict = parse_eni(xml, network);
    EXPECT_EQ(verdict.status, 0U) << verdict.text;
    EXPECT_FALSE(network.slaves.empty());
    if (network.slaves.empty()) {
        network.slaves.resize(1);
    }
    return network;
}

EniVerdict refused(const std::string &xml) {
    Network network;
    const EniVerdict verdict = parse_eni(xml, network);
    EXPECT_TRUE(network.slaves.empty());
    EXPECT_EQ(verdict.text.find('\n'), std::string::npos);
    return verdict;
}

std::string pdo(const std::string &element, const std::string &attributes, const std::string &index,
                const std::string &entries) {
    return "<" + element + " " + attributes + "><Index>" + index + "</Index>" + entries + "</" +
           element + ">";
}

std::string entry(const std::string &index, const std::string &bits, const std::string &type = "") {
    return "<Entry><Index>" + index + "</Index><BitLen>" + bits + "</BitLen><DataType>" + type +
           "</DataType></Entry>";
}

// ---- what is read -----------------------------------------------------------------------------

TEST(EniParser, ReadsIdentity) {
    const Network network = accepted(
        file(slave("<PhysAddr>1007</PhysAddr><AutoIncAddr>65535</AutoIncAddr><VendorId>2</VendorId>"
                   "<ProductCode>#x044C2C52</ProductCode><RevisionNo>0x00110000</RevisionNo>"
                   "<SerialNo>77</SerialNo><Identification Value=\"5\"/>",
                   "<Mailbox/><DC><ReferenceClock>1</ReferenceClock></DC>")));
    const SlaveConfig &read = network.slaves[0];
    EXPECT_EQ(read.name, "Box");
    EXPECT_EQ(read.fixed_address, 1007);
    EXPECT_EQ(read.auto_increment_address, 65535);
    EXPECT_EQ(read.vendor_id, 2U);
    EXPECT_EQ(read.product_code, 0x044C2C52U);
    EXPECT_EQ(read.revision_no, 0x00110000U);
    EXPECT_EQ(read.serial_no, 77U);
    EXPECT_EQ(read.alias, 5);
    EXPECT_FALSE(read.dc && !read.mailbox);
}

TEST(EniParser, SeesMailboxAndClock) {
    const Network network = accepted(
        file(slave("", "<Mailbox><CoE/></Mailbox><DC><ReferenceClock>0</ReferenceClock></DC>") +
             slave("")));
    EXPECT_TRUE(network.slaves[0].mailbox);
    EXPECT_TRUE(network.slaves[0].dc);
    EXPECT_FALSE(network.slaves[1].mailbox);
    EXPECT_FALSE(network.slaves[1].dc);
}

TEST(EniParser, TakesNegativeRevisionsAsBits) {
    const Network network = accepted(file(slave("<RevisionNo>-1</RevisionNo>")));
    EXPECT_EQ(network.slaves[0].revision_no, 0xFFFFFFFFU);
}

TEST(EniParser, InventsWhatIsAbsent) {
    const Network network = accepted(file(slave("") + slave("<SerialNo>0</SerialNo>")));
    EXPECT_EQ(network.slaves[0].fixed_address, 1001);
    EXPECT_EQ(network.slaves[1].fixed_address, 1002);
    EXPECT_EQ(network.slaves[1].auto_increment_address, 0xFFFF);
    EXPECT_NE(network.slaves[0].serial_no, 0U);
    EXPECT_NE(network.slaves[0].serial_no, network.slaves[1].serial_no);
}

TEST(EniParser, InventsTheSameSerialNumbersEveryTime) {
    const std::string xml = file(slave(""));
    EXPECT_EQ(accepted(xml).slaves[0].serial_no, accepted(xml).slaves[0].serial_no);
}

TEST(EniParser, ReadsNamesFromCdata) {
    const Network network =
        accepted(file("<Slave><Info><Name> <![CDATA[Drive [a]\r\n  x ]]> </Name></Info></Slave>"));
    EXPECT_EQ(network.slaves[0].name, "Drive [a] x");
}

TEST(EniParser, NamesSlavesWithoutName) {
    const Network network = accepted(file("<Slave><Info/></Slave>"));
    EXPECT_EQ(network.slaves[0].name, "Slave 1");
}

TEST(EniParser, ReadsRuns) {
    const Network network = accepted(file(slave("", runs("#x10,8", "24,16"))));
    EXPECT_EQ(network.slaves[0].outputs.offset, 16U);
    EXPECT_EQ(network.slaves[0].outputs.length, 8U);
    EXPECT_EQ(network.slaves[0].inputs.offset, 24U);
    EXPECT_EQ(network.slaves[0].inputs.length, 16U);
}

TEST(EniParser, TakesReceiveForRecv) {
    const Network network = accepted(
        file(slave("", "<ProcessData><Receive><BitStart>8</BitStart><BitLength>4</BitLength>"
                       "</Receive></ProcessData>")));
    EXPECT_EQ(network.slaves[0].inputs.offset, 8U);
    EXPECT_EQ(network.slaves[0].inputs.length, 4U);
}

TEST(EniParser, EmptyProcessDataIsNoData) {
    const Network network = accepted(file(slave("", "<ProcessData><Send/></ProcessData>")));
    EXPECT_EQ(network.slaves[0].outputs.length, 0U);
    EXPECT_EQ(network.slaves[0].kind, SlaveKind::Coupler);
}

TEST(EniParser, ImageReachesToTheFurthestRunWhenNotStated) {
    const Network network = accepted(file(slave("", runs("0,9", "208,16"))));
    EXPECT_EQ(network.output_bytes, 2U);
    EXPECT_EQ(network.input_bytes, 28U);
}

TEST(EniParser, ImageIsAsLongAsStated) {
    const Network network = accepted(file(slave("", runs("208,8", "208,8")) + image("1536", "64")));
    EXPECT_EQ(network.output_bytes, 1536U);
    EXPECT_EQ(network.input_bytes, 64U);
}

TEST(EniParser, RunMayEndWithTheImage) {
    const Network network = accepted(file(slave("", runs("0,16", "")) + image("2", "0")));
    EXPECT_EQ(network.output_bytes, 2U);
}

TEST(EniParser, LargestImageIsAccepted) {
    const Network network = accepted(file(slave("", runs("32760,8", "")) + image("4096", "4096")));
    EXPECT_EQ(network.output_bytes, 4096U);
}

TEST(EniParser, SlavesMayLieInAnyOrder) {
    const Network network =
        accepted(file(slave("", runs("", "64,8")) + slave("", runs("", "0,8"))));
    EXPECT_EQ(network.slaves[0].inputs.offset, 64U);
    EXPECT_EQ(network.slaves[1].inputs.offset, 0U);
}

TEST(EniParser, CycleIsAMillisecondWhenNotStated) {
    EXPECT_EQ(accepted(file(slave(""))).cycle_us, 1000U);
    EXPECT_EQ(accepted(file(slave("") + "<Cyclic/>")).cycle_us, 1000U);
}

TEST(EniParser, ShortestCycleCounts) {
    const Network network =
        accepted(file(slave("") + "<Cyclic><CycleTime>4000</CycleTime></Cyclic>"
                                  "<Cyclic><CycleTime>500</CycleTime></Cyclic>"));
    EXPECT_EQ(network.cycle_us, 500U);
}

TEST(EniParser, CycleStaysInBounds) {
    EXPECT_EQ(accepted(file(slave("") + "<Cyclic><CycleTime>1</CycleTime></Cyclic>")).cycle_us,
              62U);
    EXPECT_EQ(
        accepted(file(slave("") + "<Cyclic><CycleTime>4000000000</CycleTime></Cyclic>")).cycle_us,
        1'000'000U);
}

TEST(EniParser, ReadsCrcWhereverItStands) {
    const std::string xml =
        "<EtherCATConfig><CRC>0123abcd</CRC><Config>" + slave("") + "</Config></EtherCATConfig>";
    EXPECT_EQ(accepted(xml).crc, "0123abcd");
    EXPECT_EQ(accepted(file("<Master><CRC>ff</CRC></Master>" + slave(""))).crc, "ff");
    EXPECT_EQ(accepted(file(slave(""))).crc, "");
}

TEST(EniParser, FindsTheSlaveBefore) {
    const auto port = [](const std::string &attributes, const std::string &address) {
        return "<PreviousPort " + attributes + "><PhysAddr>" + address +
               "</PhysAddr></PreviousPort>";
    };
    const Network network = accepted(
        file(slave("<PhysAddr>10</PhysAddr>") + slave("<PhysAddr>20</PhysAddr>", port("", "10")) +
             slave("", port("", "20") + port("Selected=\"true\"", "10")) +
             slave("", port("Selected=\"1\"", "999")) + slave("")));
    EXPECT_EQ(network.slaves[1].previous_port_slave, 0);
    EXPECT_EQ(network.slaves[2].previous_port_slave, 0); // the selected one
    EXPECT_EQ(network.slaves[3].previous_port_slave, 2); // unknown address: the one before
    EXPECT_EQ(network.slaves[4].previous_port_slave, 3);
}

TEST(EniParser, ReadsThePortOfTheSlaveBefore) {
    const auto port = [](const std::string &letter) {
        return "<PreviousPort><Port>" + letter + "</Port></PreviousPort>";
    };
    const Network network =
        accepted(file(slave("", port("B")) + slave("", port("B")) + slave("", port(" D ")) +
                      slave("", port("A")) + slave("", port("E")) + slave("")));
    EXPECT_EQ(network.slaves[0].previous_port, 0); // hangs on the master
    EXPECT_EQ(network.slaves[1].previous_port, 1);
    EXPECT_EQ(network.slaves[2].previous_port, 3);
    EXPECT_EQ(network.slaves[3].previous_port, 0);
    EXPECT_EQ(network.slaves[4].previous_port, 0);
    EXPECT_EQ(network.slaves[5].previous_port, 0);
}

TEST(EniParser, OnlySlavesOfTheConfigurationCount) {
    const Network network =
        accepted("<EtherCATConfig><Tool><Slave/><Config><Slave/></Config></Tool><Config>" +
                 slave("") + "<Hotplug><Slave/></Hotplug></Config></EtherCATConfig>");
    EXPECT_EQ(network.slaves.size(), 1U);
}

TEST(EniParser, CommentsMayStandBeforeTheRoot) {
    accepted("<?xml version=\"1.0\"?><!-- a --><!-- <Slave/> -->" + file(slave("")));
}

// ---- encodings --------------------------------------------------------------------------------

TEST(EniParser, ReadsLatin1ByItsName) {
    for (const char *name : {"ISO-8859-1", "iso-8859-1", "ISO8859-1"}) {
        const Network network =
            accepted(std::string("<?xml version=\"1.0\" encoding=\"") + name + "\"?>" +
                     file("<Slave><Info><Name>Kl\xE4mme</Name></Info></Slave>"));
        EXPECT_EQ(network.slaves[0].name, "Kl\xC3\xA4mme") << name;
    }
}

TEST(EniParser, ReadsUtf8WithByteOrderMark) {
    const Network network =
        accepted("\xEF\xBB\xBF" + file("<Slave><Info><Name>Kl\xC3\xA4mme</Name></Info></Slave>"));
    EXPECT_EQ(network.slaves[0].name, "Kl\xC3\xA4mme");
}

TEST(EniParser, ReadsUtf16) {
    std::string wide = "\xFF\xFE";
    for (const char c : file("<Slave><Info><Name>Box</Name></Info></Slave>")) {
        wide += c;
        wide += '\0';
    }
    EXPECT_EQ(accepted(wide).slaves[0].name, "Box");
}

TEST(EniParser, ReadsWindowsLineEnds) {
    const Network network = accepted("<EtherCATConfig>\r\n<Config>\r\n" +
                                     slave("<PhysAddr>\r\n1005\r\n</PhysAddr>\r\n") +
                                     "\r\n</Config>\r\n</EtherCATConfig>\r\n");
    EXPECT_EQ(network.slaves[0].fixed_address, 1005);
}

// ---- kinds ------------------------------------------------------------------------------------

TEST(EniParser, SmallEntriesAreDigital) {
    const Network network = accepted(
        file(slave("", "<ProcessData><Send><BitStart>0</BitStart><BitLength>24</BitLength></Send>" +
                           pdo("RxPdo", "Sm=\"2\"", "#x1600",
                               entry("#x7000", "8") + entry("#x7001", "16", "BITARR16")) +
                           "</ProcessData>")));
    EXPECT_EQ(network.slaves[0].kind, SlaveKind::DigitalIo);
}

TEST(EniParser, WordsAreAnalogue) {
    const Network network = accepted(
        file(slave("", "<ProcessData><Recv><BitStart>0</BitStart><BitLength>16</BitLength></Recv>" +
                           pdo("TxPdo", "Sm=\"3\"", "#x1A00", entry("#x6000", "16", "INT")) +
                           "</ProcessData>")));
    EXPECT_EQ(network.slaves[0].kind, SlaveKind::AnalogIo);
}

TEST(EniParser, WithoutObjectsTheLengthDecides) {
    EXPECT_EQ(accepted(file(slave("", runs("0,16", "0,4")))).slaves[0].kind, SlaveKind::DigitalIo);
    EXPECT_EQ(accepted(file(slave("", runs("0,17", "")))).slaves[0].kind, SlaveKind::AnalogIo);
}

TEST(EniParser, DriveObjectsAreFoundInTheOrderOfTheSyncManager) {
    const std::string data =
        "<ProcessData><Send><BitStart>100</BitStart><BitLength>56</BitLength></Send>"
        "<Recv><BitStart>50</BitStart><BitLength>48</BitLength></Recv>"
        "<Sm2><Pdo>#x1602</Pdo><Pdo>5632</Pdo></Sm2><Sm3><Pdo>#x1A00</Pdo></Sm3>" +
        pdo("RxPdo", "Sm=\"2\"", "#x1600", entry("#x6040", "16")) +
        pdo("RxPdo", "", "#x1601", entry("#x6071", "16")) + // not assigned
        pdo("RxPdo", "Sm=\"2\"", "#x1602", entry("#x607A", "32") + entry("0", "8")) +
        pdo("TxPdo", "Sm=\"3\"", "#x1A00", entry("#x6064", "32") + entry("#x6041", "16")) +
        "</ProcessData>";
    const Network network = accepted(file(slave("", data)));
    const SlaveConfig &drive = network.slaves[0];
    EXPECT_EQ(drive.kind, SlaveKind::Drive);
    EXPECT_EQ(drive.drive.target_position, 0U);
    EXPECT_EQ(drive.drive.controlword, 40U); // behind the padding
    EXPECT_EQ(drive.drive.target_torque, SlaveConfig::DriveMap::kUnmapped);
    EXPECT_EQ(drive.drive.actual_position, 0U);
    EXPECT_EQ(drive.drive.statusword, 32U);
}

TEST(EniParser, PdosWithSyncManagerAttributeAreAssignedWithoutAList) {
    const std::string data =
        "<ProcessData><Send><BitStart>0</BitStart><BitLength>16</BitLength></Send>"
        "<Recv><BitStart>0</BitStart><BitLength>16</BitLength></Recv>" +
        pdo("RxPdo", "", "#x1600", entry("#x607A", "32")) +
        pdo("RxPdo", "Sm=\"2\"", "#x1601", entry("#x6040", "16")) +
        pdo("TxPdo", "Sm=\"3\"", "#x1A00", entry("#x6041", "16")) + "</ProcessData>";
    const Network network = accepted(file(slave("", data)));
    EXPECT_EQ(network.slaves[0].kind, SlaveKind::Drive);
    EXPECT_EQ(network.slaves[0].drive.controlword, 0U);
}

TEST(EniParser, DriveObjectsOutsideTheRunAreNotMapped) {
    const std::string data =
        "<ProcessData><Send><BitStart>0</BitStart><BitLength>8</BitLength></Send>" +
        pdo("RxPdo", "Sm=\"2\"", "#x1600", entry("#x6040", "16")) + "</ProcessData>";
    const Network network = accepted(file(slave("", data)));
    EXPECT_EQ(network.slaves[0].drive.controlword, SlaveConfig::DriveMap::kUnmapped);
}

TEST(EniParser, DriveWithoutPdosIsFoundByItsVariables) {
    const auto variable = [](const std::string &name, const std::string &offset) {
        return "<Variable><Name>a.b." + name + "</Name><BitOffs>" + offset +
               "</BitOffs></Variable>";
    };
    const Network network = accepted(file(
        slave("", runs("16,32", "8,16")) + "<ProcessImage><Inputs>" + variable("Status word", "8") +
        "</Inputs><Outputs>" + variable("Control word", "32") + "</Outputs></ProcessImage>"));
    EXPECT_EQ(network.slaves[0].kind, SlaveKind::Drive);
    EXPECT_EQ(network.slaves[0].drive.controlword, 16U);
    EXPECT_EQ(network.slaves[0].drive.statusword, 0U);
}

// ---- what is refused --------------------------------------------------------------------------

TEST(EniParser, RefusesEmptyText) {
    EXPECT_EQ(refused("").status, 32774U);
}

TEST(EniParser, RefusesBrokenXml) {
    const EniVerdict verdict = refused("<EtherCATConfig>\n<Config></Slave></EtherCATConfig>");
    EXPECT_EQ(verdict.status, 32774U);
    EXPECT_THAT(verdict.text, HasSubstr("line 2"));
}

TEST(EniParser, RefusesCutXml) {
    const std::string xml = file(slave("", runs("0,8", "0,8")) + image("1", "1"));
    Network network;
    for (size_t length = 0; length < xml.size(); ++length) {
        EXPECT_EQ(parse_eni(xml.substr(0, length), network).status, 32774U) << length;
    }
}

TEST(EniParser, RefusesBinaryNonsense) {
    std::string bytes;
    for (uint32_t i = 0, x = 1; i < 10'000; ++i, x = x * 1664525 + 1013904223) {
        bytes += static_cast<char>(x >> 24);
    }
    EXPECT_EQ(refused(bytes).status, 32774U);
}

TEST(EniParser, RefusesAnotherRoot) {
    const EniVerdict verdict = refused("<EtherCATInfo><Config/></EtherCATInfo>");
    EXPECT_EQ(verdict.status, 32774U);
    EXPECT_THAT(verdict.text, HasSubstr("EtherCATInfo"));
}

TEST(EniParser, RefusesEncryptedFilesByName) {
    const EniVerdict verdict = refused("<EncryptedEtherCATConfig/>");
    EXPECT_EQ(verdict.status, 32774U);
    EXPECT_THAT(verdict.text, HasSubstr("EncryptedEtherCATConfig"));
}

TEST(EniParser, RefusesMissingConfig) {
    const EniVerdict verdict = refused("<EtherCATConfig/>");
    EXPECT_EQ(verdict.status, 32774U);
    EXPECT_THAT(verdict.text, HasSubstr("Config"));
}

TEST(EniParser, RefusesAConfigurationWithoutSlaves) {
    const EniVerdict verdict = refused(file("<Master/>"));
    EXPECT_EQ(verdict.status, 32774U);
    EXPECT_THAT(verdict.text, HasSubstr("Config/Slave"));
}

TEST(EniParser, RefusesSlavesWithoutInfo) {
    const EniVerdict verdict = refused(file(slave("") + "<Slave/>"));
    EXPECT_EQ(verdict.status, 32774U);
    EXPECT_THAT(verdict.text, HasSubstr("Slave[2]/Info"));
}

TEST(EniParser, AcceptsAsManySlavesAsTheReadyWordsHold) {
    std::string slaves;
    for (int i = 0; i < 4096; ++i) {
        slaves += "<Slave><Info/></Slave>";
    }
    EXPECT_EQ(accepted(file(slaves)).slaves.size(), 4096U);
}

TEST(EniParser, RefusesMoreSlaves) {
    std::string slaves;
    for (int i = 0; i < 4097; ++i) {
        slaves += "<Slave><Info/></Slave>";
    }
    const EniVerdict verdict = refused(file(slaves));
    EXPECT_EQ(verdict.status, 32827U);
    EXPECT_THAT(verdict.text, HasSubstr("Slave"));
}

TEST(EniParser, RefusesNumbersThatAreNone) {
    for (const char *text :
         {"twelve", "0x", "#xZZ", "1.5", "99999999999999999999", "-", "4294967296"}) {
        const EniVerdict verdict =
            refused(file(slave(std::string("<VendorId>") + text + "</VendorId>")));
        EXPECT_EQ(verdict.status, 32774U) << text;
        EXPECT_THAT(verdict.text, HasSubstr("VendorId")) << text;
    }
}

TEST(EniParser, RefusesAddressesOfMoreThan16Bits) {
    const EniVerdict verdict = refused(file(slave("<PhysAddr>65536</PhysAddr>")));
    EXPECT_EQ(verdict.status, 32774U);
    EXPECT_THAT(verdict.text, HasSubstr("PhysAddr"));
}

TEST(EniParser, RefusesOutputsOutsideTheImage) {
    const EniVerdict verdict =
        refused(file(slave("") + slave("", runs("0,17", "")) + image("2", "2")));
    EXPECT_EQ(verdict.status, 34058U);
    EXPECT_THAT(verdict.text, HasSubstr("Slave[2]/ProcessData/Send"));
}

TEST(EniParser, RefusesInputsOutsideTheImage) {
    const EniVerdict verdict = refused(file(slave("", runs("", "16,1")) + image("2", "2")));
    EXPECT_EQ(verdict.status, 34058U);
    EXPECT_THAT(verdict.text, HasSubstr("Slave[1]/ProcessData/Recv"));
}

TEST(EniParser, RefusesRunsOutsideTheLargestImage) {
    EXPECT_EQ(refused(file(slave("", runs("32761,8", "")))).status, 34058U);
    EXPECT_EQ(refused(file(slave("", runs("4294967295,4294967295", "")))).status, 34058U);
}

TEST(EniParser, RefusesImagesThatDoNotFit) {
    const EniVerdict verdict = refused(file(slave("") + image("4097", "0")));
    EXPECT_EQ(verdict.status, 34058U);
    EXPECT_THAT(verdict.text, HasSubstr("Outputs/ByteSize"));
}

// ---- comparison -------------------------------------------------------------------------------

TEST(CompareNetworks, SameNetworksFit) {
    const Network network = accepted(file(slave("<VendorId>1</VendorId>")));
    EXPECT_EQ(compare_networks(network, network).status, 0U);
}

TEST(CompareNetworks, AnotherCountDoesNotFit) {
    const EniVerdict verdict =
        compare_networks(accepted(file(slave("") + slave(""))), accepted(file(slave(""))));
    EXPECT_EQ(verdict.status, 32811U);
    EXPECT_THAT(verdict.text, HasSubstr("2 slaves configured, 1 are present"));
}

TEST(CompareNetworks, AnotherIdentityDoesNotFit) {
    const Network present = accepted(file(
        slave("") +
        slave("<VendorId>1</VendorId><ProductCode>2</ProductCode><RevisionNo>3</RevisionNo>")));
    for (const char *element : {"VendorId", "ProductCode", "RevisionNo"}) {
        Network configured = present;
        SlaveConfig &last = configured.slaves[1];
        (*element == 'V'   ? last.vendor_id
         : *element == 'P' ? last.product_code
                           : last.revision_no) = 9;
        const EniVerdict verdict = compare_networks(configured, present);
        EXPECT_EQ(verdict.status, 32811U);
        EXPECT_THAT(verdict.text, HasSubstr(std::string("Slave[2]/Info/") + element));
    }
}

// ---- files of other tools ---------------------------------------------------------------------

TEST(EniParser, ReadsTheFilesOfOtherTools) {
    const char *folder = std::getenv("TARN_ENI_DIR");
    if (folder == nullptr) {
        GTEST_SKIP() << "TARN_ENI_DIR names no folder";
    }
    size_t files = 0;
    for (const auto &item : std::filesystem::directory_iterator(folder)) {
        if (item.path().extension() != ".xml") {
            continue;
        }
        ++files;
        std::ifstream stream(item.path(), std::ios::binary);
        const std::string xml{std::istreambuf_iterator<char>(stream), {}};
        SCOPED_TRACE(item.path().filename().string());
        const Network network = accepted(xml);
        uint32_t bits = 0;
        for (const SlaveConfig &slave : network.slaves) {
            EXPECT_LE(slave.outputs.offset + slave.outputs.length, network.output_bytes * 8);
            EXPECT_LE(slave.inputs.offset + slave.inputs.length, network.input_bytes * 8);
            EXPECT_NE(slave.vendor_id, 0U);
            EXPECT_FALSE(slave.name.empty());
            bits += slave.outputs.length + slave.inputs.length;
        }
        EXPECT_GT(bits, 0U);
        EXPECT_LE(network.output_bytes, 4096U);
        EXPECT_GE(network.cycle_us, 62U);
        EXPECT_EQ(compare_networks(network, network).status, 0U);
    }
    EXPECT_GT(files, 0U);
}

} // namespace
