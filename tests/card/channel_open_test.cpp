// Opening and closing a channel.

#include "master_fixture.h"

#include "handle/ecat_handle.h"

#include <cstdio>

namespace {

using tarn::test::StdoutCapture;
using tarn::test::VirtualCards;

constexpr uint32_t kAreaStride = 0x1FFC00;
constexpr uint32_t kPdVersionOffset = 803400;

struct OpenResult {
    uint32_t status;
    std::string printed;
};

class ChannelOpen : public tarn::test::MasterTest {
  protected:
    // Opens and closes channel 0 once, with both version words of its area replaced.
    OpenResult open_with_versions(uint32_t interface, uint32_t pd, int32_t check_skip = 0) {
        if (cards_ == nullptr) {
            open();
        }
        poke(area(), interface);
        poke(area() + kPdVersionOffset, pd);
        EcatHandle *other = nullptr;
        const StdoutCapture capture;
        OpenResult result = {EcatOpenEx(&other, "ID0", 0, check_skip), capture.text()};
        EXPECT_EQ(other == nullptr, result.status != 0);
        if (other != nullptr) {
            decoded_ = other->pd_version;
            EcatClose(other);
        }
        return result;
    }

    // What must happen when the mailbox interface is another one.
    static std::string mailbox_table(const char *version) {
        return std::string("[libpci_tarn] EcatOpen version error\r\n"
                           "|  Module  | Device Firmware |     SDK    |\r\n"
                           "| Mailbox  |   ") +
               version + "    | 0x00000003 |\r\n";
    }

    // And when it is the process data interface.
    static std::string pdo_table(const char *version) {
        return mailbox_table("0x00000003") + "|   PDO    |   " + version + "    | 0x06000000 |\r\n";
    }

    uint32_t decoded_ = 0;
};

const char *const kUpdateFirmware = "Please update device's firmware\r\n";
const char *const kUpdateSdk = "Please update SDK.\r\n";

TEST_F(ChannelOpen, GivesAHandleAndPrintsNothing) {
    insert_card();
    const StdoutCapture capture;
    EXPECT_EQ(EcatOpen(&handle_, "ID0", 0), 0u);
    EXPECT_NE(handle_, nullptr);
    EXPECT_EQ(capture.text(), "");
}

TEST_F(ChannelOpen, SendsNothing) {
    insert_card();
    EXPECT_EQ(EcatOpen(&handle_, "ID0", 0), 0u);
    EXPECT_TRUE(firmware().seen().empty());
}

TEST_F(ChannelOpen, FindsTheCardByNameAndByAlias) {
    auto config = VirtualCards::default_card();
    config.name = "press 4";
    config.alias = 11;
    insert_card(config);
    for (const char *name : {"press 4", "AL11", "ID0"}) {
        EXPECT_EQ(EcatOpen(&handle_, name, 0), 0u) << name;
        EXPECT_EQ(EcatClose(handle_), 0u);
        handle_ = nullptr;
    }
}

TEST_F(ChannelOpen, GivesTheAddressesOfEachChannel) {
    open();
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 1), 0u);
    uint32_t channel = 9;
    EXPECT_EQ(EcatGetCurrentChannel(handle_, &channel), 0u);
    EXPECT_EQ(channel, 0u);
    EXPECT_EQ(EcatGetCurrentChannel(second, &channel), 0u);
    EXPECT_EQ(channel, 1u);
    EXPECT_EQ(area(), bar2() + 4096);
    EXPECT_EQ(__EcatGetConfigPtr(second), bar2());
    EXPECT_EQ(__EcatGetMailBoxPtr(second), bar2() + 4096 + kAreaStride);
    EcatClose(second);
}

TEST_F(ChannelOpen, GivesTheProcessImageRecordOfItsChannel) {
    open();
    EXPECT_EQ(__EcatGetPiInfo(handle_), getSharedMemory_piinfo(0, 0));
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 1), 0u);
    EXPECT_EQ(__EcatGetPiInfo(second), getSharedMemory_piinfo(0, 1));
    EcatClose(second);
}

TEST_F(ChannelOpen, GivesItsCard) {
    open();
    BoardHandle *board = nullptr;
    ASSERT_EQ(EcatGetBoardHandle(handle_, &board), 0u);
    ASSERT_NE(board, nullptr);
    EXPECT_EQ(BoardCheckVersion(board, 0), 0u);
    EXPECT_EQ(getBarPtr(board, 2), static_cast<void *>(bar2()));
    EXPECT_EQ(__EcatGetDevHandle(handle_), board->driver);
    EXPECT_EQ(EcatGetBoardHandle(handle_, nullptr), 32770u);
    EXPECT_EQ(EcatGetCurrentChannel(handle_, nullptr), 32770u);
}

TEST_F(ChannelOpen, GivesWhatTheCardSaysOfItself) {
    auto config = VirtualCards::default_card();
    config.name = "press 4";
    config.firmware_version = "1.12.13";
    open(config);
    BoardInfo info = {};
    EXPECT_EQ(EcatGetInfo(handle_, &info), 0u);
    EXPECT_STREQ(info.name, "press 4");
    EXPECT_STREQ(info.firmware_version, "1.12.13");
    EXPECT_EQ(info.channel_count, 2u);
    EXPECT_EQ(EcatGetInfo(handle_, nullptr), 32770u);
}

TEST_F(ChannelOpen, InfoFailsWithoutItsMagic) {
    open();
    poke<uint32_t>(bar2(), 0);
    BoardInfo info = {};
    const StdoutCapture capture;
    EXPECT_EQ(EcatGetInfo(handle_, &info), 32771u);
}

// ---- what the handle holds --------------------------------------------------------------------

class ChannelOpenHandle : public ChannelOpen, public testing::WithParamInterface<uint32_t> {
  protected:
    void SetUp() override {
        insert_card();
        ASSERT_EQ(EcatOpen(&handle_, "ID0", GetParam()), 0u);
    }
    uint32_t word(uint32_t index) const { return peek<uint32_t>(area() + index * 4); }
    void expect_ring(const MailboxRing &ring, uint32_t first_word) const {
        EXPECT_EQ(reinterpret_cast<uint8_t *>(ring.pointers), area() + word(first_word));
        EXPECT_EQ(ring.slots, area() + word(first_word + 1));
        EXPECT_EQ(ring.slot_size, word(first_word + 2));
        EXPECT_EQ(ring.mask, word(first_word + 3));
    }
    void expect_channel(const CommandChannel &channel, uint32_t out_word, uint32_t in_word,
                        uint32_t interrupt) const {
        expect_ring(channel.out, out_word);
        expect_ring(channel.in, in_word);
        EXPECT_EQ(reinterpret_cast<uint8_t *>(channel.doorbell),
                  bar1() + (GetParam() == 0 ? 4 : 16));
        EXPECT_EQ(channel.interrupt, GetParam() * 4 + interrupt);
        EXPECT_EQ(channel.device, handle_->board);
    }
};

TEST_P(ChannelOpenHandle, BindsThePrimaryMailbox) {
    expect_channel(handle_->primary, 5, 1, 0);
    EXPECT_EQ(handle_->primary.lock, mailbox_mutex[0][GetParam()][0]);
    EXPECT_EQ(handle_->primary.second_lock, nullptr);
}

TEST_P(ChannelOpenHandle, BindsTheSecondaryMailbox) {
    expect_channel(handle_->secondary, 13, 9, 1);
    EXPECT_EQ(handle_->secondary.lock, mailbox_mutex[0][GetParam()][1]);
    EXPECT_EQ(handle_->secondary.second_lock, nullptr);
}

TEST_P(ChannelOpenHandle, BindsTheSocketChannel) {
    expect_channel(handle_->socket, 21, 17, 3);
    EXPECT_EQ(handle_->socket.lock, sock_mutex[0][GetParam()][0]);
    EXPECT_EQ(handle_->socket.second_lock, sock_mutex[0][GetParam()][1]);
}

TEST_P(ChannelOpenHandle, StartsWithItsDefaults) {
    EXPECT_EQ(handle_->pi_interrupt, GetParam() == 0 ? 2u : 6u);
    EXPECT_EQ(handle_->timeout_ms, 20000u);
    EXPECT_EQ(handle_->reinit_mode, 0u);
    EXPECT_EQ(handle_->pd_version, 0x06000000u);
    EXPECT_EQ(handle_->registers, bar1());
    EXPECT_EQ(handle_->async.mode, 0u);
}

TEST_P(ChannelOpenHandle, WiresTheProcessImageOfTheChannel) {
    const uint32_t channel = GetParam();
    EXPECT_EQ(handle_->pi_info, getSharedMemory_piinfo(0, channel));
    EXPECT_EQ(handle_->normal_output_cache, getSharedMemory_piNormalCacheOutput(0, channel));
    EXPECT_EQ(handle_->normal_output_buffer, getSharedMemory_piNormalBuffOutput(0, channel));
    EXPECT_EQ(handle_->normal_input_cache, getSharedMemory_piNormalCacheInput(0, channel));
    EXPECT_EQ(handle_->normal_input_buffer, getSharedMemory_piNormalBuffInput(0, channel));
    EXPECT_EQ(handle_->fast_output, getSharedMemory_pifast(0, channel));
    EXPECT_EQ(handle_->shadow_input, getSharedMemory_pishadowinput(0, channel));
    for (uint32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(handle_->areas[i].lock, pi_mutex[0][channel][i]) << i;
        EXPECT_NE(handle_->areas[i].ops, nullptr) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Channels, ChannelOpenHandle, testing::Values(0u, 1u));

// ---- refusals ---------------------------------------------------------------------------------

TEST_F(ChannelOpen, RefusesChannelTwo) {
    insert_card();
    int other = 0;
    handle_ = reinterpret_cast<EcatHandle *>(&other);
    EXPECT_EQ(EcatOpen(&handle_, "ID0", 2), 80005u);
    EXPECT_EQ(handle_, nullptr);
}

TEST_F(ChannelOpen, RefusesChannelOneOfAOneChannelCard) {
    auto config = VirtualCards::default_card();
    config.channels = 1;
    insert_card(config);
    EXPECT_EQ(EcatOpen(&handle_, "ID0", 1), 80005u);
    EXPECT_EQ(handle_, nullptr);
    EXPECT_EQ(EcatOpen(&handle_, "ID0", 0), 0u);
}

TEST_F(ChannelOpen, TakesTheStatusOfTheCardsOpen) {
    insert_card();
    int other = 0;
    handle_ = reinterpret_cast<EcatHandle *>(&other);
    EXPECT_EQ(EcatOpen(&handle_, "ID1", 0), 80004u);
    EXPECT_EQ(handle_, nullptr);
}

TEST_F(ChannelOpen, SkippedCheckDoesNotSkipTheCardsOwn) {
    auto config = VirtualCards::default_card();
    config.config_version = 0x00050000;
    insert_card(config);
    const StdoutCapture capture;
    EXPECT_EQ(EcatOpenEx(&handle_, "ID0", 0, 1), 80012u);
    EXPECT_EQ(handle_, nullptr);
}

TEST_F(ChannelOpen, FailsWithoutTheMagicOfTheConfigurationBlock) {
    open();
    poke<uint32_t>(bar2(), 0);
    int something = 0;
    auto *other = reinterpret_cast<EcatHandle *>(&something);
    const StdoutCapture capture;
    EXPECT_EQ(EcatOpen(&other, "ID0", 0), 32771u);
    EXPECT_EQ(other, nullptr);
}

TEST_F(ChannelOpen, FailsWithoutSharedMemory) {
    insert_card();
    void *const memory = __pi_shared_memory;
    __pi_shared_memory = nullptr;
    EXPECT_EQ(EcatOpen(&handle_, "ID0", 0), 32771u);
    EXPECT_EQ(handle_, nullptr);
    __pi_shared_memory = memory;
}

// ---- versions ---------------------------------------------------------------------------------

TEST_F(ChannelOpen, DecodesAVersionThatIsNotSet) {
    EXPECT_EQ(open_with_versions(0x103, 0, 1).status, 0u);
    EXPECT_EQ(decoded_, 0x01000000u);
}

TEST_F(ChannelOpen, DecodesTheFirstProtocol) {
    EXPECT_EQ(open_with_versions(0x103, 0x00030000).status, 0u);
    EXPECT_EQ(decoded_, 0x03000000u);
}

TEST_F(ChannelOpen, DecodesTheSecondProtocol) {
    EXPECT_EQ(open_with_versions(0x103, 0x00060000).status, 0u);
    EXPECT_EQ(decoded_, 0x06000000u);
}

TEST_F(ChannelOpen, DecodesTheShortForm) {
    EXPECT_EQ(open_with_versions(0x103, 0x00000301, 1).status, 0u);
    EXPECT_EQ(decoded_, 0x0003u);
}

TEST_F(ChannelOpen, DropsTheHighByteOfTheVersion) {
    EXPECT_EQ(open_with_versions(0x103, 0x12030000).status, 0u);
    EXPECT_EQ(decoded_, 0x03000000u);
}

TEST_F(ChannelOpen, RefusesAnOlderMailbox) {
    const OpenResult result = open_with_versions(0x102, 0x00060000);
    EXPECT_EQ(result.status, 80012u);
    EXPECT_EQ(result.printed, mailbox_table("0x00000002") + kUpdateFirmware);
}

TEST_F(ChannelOpen, RefusesANewerMailbox) {
    const OpenResult result = open_with_versions(0x104, 0x00060000);
    EXPECT_EQ(result.status, 80012u);
    EXPECT_EQ(result.printed, mailbox_table("0x00000004") + kUpdateSdk);
}

TEST_F(ChannelOpen, CountsTheHighByteOfTheMailbox) {
    const OpenResult result = open_with_versions(0x01000103, 0x00060000);
    EXPECT_EQ(result.status, 80012u);
    EXPECT_EQ(result.printed, mailbox_table("0x01000003") + kUpdateSdk);
}

TEST_F(ChannelOpen, TakesAMailboxWithoutMiddleBits) {
    EXPECT_EQ(open_with_versions(0x003, 0x00060000).status, 0u);
}

TEST_F(ChannelOpen, RefusesProcessDataWithoutVersion) {
    const OpenResult result = open_with_versions(0x103, 0);
    EXPECT_EQ(result.status, 80012u);
    EXPECT_EQ(result.printed, pdo_table("0x01000000") + kUpdateFirmware);
}

TEST_F(ChannelOpen, RefusesOlderProcessData) {
    const OpenResult result = open_with_versions(0x103, 0x00020000);
    EXPECT_EQ(result.status, 80012u);
    EXPECT_EQ(result.printed, pdo_table("0x02000000") + kUpdateFirmware);
}

TEST_F(ChannelOpen, AdvisesByTheRawWordOfNewerProcessData) {
    const OpenResult result = open_with_versions(0x103, 0x00070000);
    EXPECT_EQ(result.status, 80012u);
    EXPECT_EQ(result.printed, pdo_table("0x07000000") + kUpdateFirmware);
}

TEST_F(ChannelOpen, AdvisesAnSdkUpdateByTheHighByteOfProcessData) {
    const OpenResult result = open_with_versions(0x103, 0x07000501);
    EXPECT_EQ(result.status, 80012u);
    EXPECT_EQ(result.printed, pdo_table("0x00000005") + kUpdateSdk);
}

TEST_F(ChannelOpen, SkippedCheckOpensAnOlderMailbox) {
    const OpenResult result = open_with_versions(0x102, 0x00060000, 1);
    EXPECT_EQ(result.status, 0u);
    EXPECT_EQ(result.printed, "");
}

TEST_F(ChannelOpen, VersionCheckPassesSilently) {
    open();
    const StdoutCapture capture;
    EXPECT_EQ(EcatCheckPdoVersionMatch(handle_), 0u);
    EXPECT_EQ(capture.text(), "");
}

TEST_F(ChannelOpen, VersionCheckOfASkippedChannelFails) {
    auto config = VirtualCards::default_card();
    config.interface_version = 0x102;
    open(config, 1);
    const StdoutCapture capture;
    EXPECT_EQ(EcatCheckPdoVersionMatch(handle_), 80012u);
    EXPECT_EQ(capture.text(), mailbox_table("0x00000002") + kUpdateFirmware);
}

// ---- close ------------------------------------------------------------------------------------

TEST_F(ChannelOpen, TwoHandlesOfOneChannelLiveApart) {
    open();
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 0), 0u);
    EXPECT_NE(second->board, handle_->board);
    EXPECT_EQ(EcatClose(handle_), 0u);
    handle_ = nullptr;
    uint32_t status = 9;
    EXPECT_EQ(EcatBusStatus(second, &status), 0u);
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(__EcatClose(second), 0u);
}

TEST_F(ChannelOpen, OpensAndClosesAsOftenAsWanted) {
    insert_card();
    for (int round = 0; round < 200; ++round) {
        ASSERT_EQ(EcatOpen(&handle_, "ID0", round % 2 == 0 ? 0 : 1), 0u);
        ASSERT_EQ(EcatClose(handle_), 0u);
        handle_ = nullptr;
    }
}

} // namespace
