// Start, stop and reset of the bus, and what the card says of its configuration.

#include "master_fixture.h"
#include "support/this_process.h"

#include <array>
#include <ctime>
#include <filesystem>

namespace {

using tarn::Command;
using tarn::PiInfo;
using tarn::test::StdoutCapture;
using tarn::test::VirtualCards;

using Codes = std::vector<uint16_t>;

constexpr uint32_t kRefused = 32771;
constexpr size_t kEniSizeMax = 0x1400000;

struct Progress {
    std::vector<float> fractions;
    static void note(void *self, float fraction) {
        static_cast<Progress *>(self)->fractions.push_back(fraction);
    }
};

class BusTest : public tarn::test::MasterTest {
  protected:
    bool pi_info_is_empty() const {
        const auto *bytes = reinterpret_cast<const uint8_t *>(&pi_info());
        return std::all_of(bytes, bytes + sizeof(PiInfo), [](uint8_t byte) { return byte == 0; });
    }

    // The network's file with another text for its CRC element.
    static std::string eni_with_crc(const std::string &crc) {
        std::string text = tarn::vcard::make_eni(small_network());
        const size_t begin = text.find("<CRC>");
        const size_t end = text.find("</CRC>");
        EXPECT_NE(begin, std::string::npos);
        return text.replace(begin, end - begin, "<CRC>" + crc);
    }

    // The network's file with a mapping that is not well-formed.
    static std::string eni_with_broken_mapping() {
        const std::string marker = "<!-- @@##ENI_PDO_LIST##@@";
        std::string text = tarn::vcard::make_eni(small_network());
        const size_t at = text.find(marker);
        EXPECT_NE(at, std::string::npos);
        return text.insert(at + marker.size(), "{ \"open\": ");
    }

    std::string printed_by(uint32_t (*function)(EcatHandle *), uint32_t *status) {
        const StdoutCapture capture;
        *status = function(handle_);
        return capture.text();
    }
};

// ---- start ------------------------------------------------------------------------------------

class BusRun : public BusTest {};

TEST_F(BusRun, SendsItsRequestsInOrder) {
    open();
    ASSERT_EQ(EcatBusRun(handle_, write_eni()), 0u);
    EXPECT_EQ(seen_codes(), (Codes{1, 2, 5, 9,                     // the file, the start
                                   19, 32, 23, 22, 23, 22, 23, 22, // lengths, then runs
                                   19, 29, 29, 29}));              // station addresses
}

TEST_F(BusRun, UsesThePrimaryMailboxOfItsChannel) {
    insert_card();
    ASSERT_EQ(EcatOpen(&handle_, "ID0", 1), 0u);
    ASSERT_EQ(EcatBusRun(handle_, write_eni()), 0u);
    for (const tarn::vcard::SeenRequest &request : firmware().seen()) {
        EXPECT_EQ(request.channel, 1u);
        EXPECT_TRUE(request.primary);
    }
}

TEST_F(BusRun, StoresTheFileUnderItsCardName) {
    open();
    ASSERT_EQ(EcatBusRun(handle_, write_eni()), 0u);
    const tarn::vcard::SeenRequest open_request = firmware().seen().front();
    ASSERT_EQ(open_request.payload.size(), 144u);
    EXPECT_STREQ(reinterpret_cast<const char *>(open_request.payload.data()), "eni_temp.xml");
    EXPECT_EQ(open_request.payload[128], 'w');
    EXPECT_EQ(open_request.payload[129], 0);
}

TEST_F(BusRun, LeavesARunningBus) {
    open();
    EXPECT_FALSE(EcatBusIsRunning(handle_));
    start_bus();
    EXPECT_TRUE(EcatBusIsRunning(handle_));
    uint32_t status = 0;
    EXPECT_EQ(EcatBusStatus(handle_, &status), 0u);
    EXPECT_EQ(status, 2u);
}

TEST_F(BusRun, StartsAgainAfterAStop) {
    open();
    for (int round = 0; round < 3; ++round) {
        start_bus();
        EXPECT_EQ(EcatBusStop(handle_), 0u);
    }
}

TEST_F(BusRun, LearnsTheProcessImage) {
    open();
    start_bus();
    const PiInfo &info = pi_info();
    EXPECT_EQ(info.slave_count, 3u);
    EXPECT_GT(info.direction[0].physical_length, 0u);
    EXPECT_GT(info.direction[1].physical_length, 0u);
    // The coupler, the last slave, takes no part.
    EXPECT_EQ(info.direction[0].participation[0], 0b011u);
    EXPECT_EQ(info.direction[1].participation[0], 0b011u);
    for (uint16_t slave = 0; slave < 3; ++slave) {
        uint16_t address = 0;
        ASSERT_EQ(EcatGetSlaveFixAddr(handle_, slave, &address), 0u);
        EXPECT_EQ(info.fixed_address[slave], address);
    }
}

TEST_F(BusRun, ReportsTheProgressOfTheStartOnly) {
    auto config = VirtualCards::default_card();
    config.start_ms = 200;
    open(config);
    Progress progress;
    ASSERT_EQ(EcatBusRunEx(handle_, write_eni(), Progress::note, &progress), 0u);
    ASSERT_GE(progress.fractions.size(), 2u);
    EXPECT_LT(progress.fractions.front(), 1.0f);
    EXPECT_TRUE(std::is_sorted(progress.fractions.begin(), progress.fractions.end()));
    EXPECT_EQ(progress.fractions.back(), 1.0f);
    EXPECT_EQ(std::count(progress.fractions.begin(), progress.fractions.end(), 1.0f), 1);
}

TEST_F(BusRun, ReportsOneAlsoWhenTheStartIsRefused) {
    open();
    refuse(Command::BusStart, kRefused);
    Progress progress;
    EXPECT_EQ(EcatBusRunEx(handle_, write_eni(), Progress::note, &progress), kRefused);
    ASSERT_FALSE(progress.fractions.empty());
    EXPECT_EQ(progress.fractions.back(), 1.0f);
}

TEST_F(BusRun, WaitsForTheStartBeyondTheHandlesTimeout) {
    auto config = VirtualCards::default_card();
    config.start_ms = 1200;
    open(config);
    EcatSetTimeout(handle_, 500); // enough for the requests around the start
    EXPECT_EQ(EcatBusRun(handle_, write_eni()), 0u);
}

TEST_F(BusRun, CountsAsWork) {
    open();
    const uint32_t before = work_count();
    ASSERT_EQ(EcatBusRun(handle_, write_eni()), 0u);
    EXPECT_EQ(work_count(), before + 1);
}

TEST_F(BusRun, CountsAsWorkOnItsChannelOnly) {
    open();
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 1), 0u);
    ASSERT_EQ(EcatBusRun(handle_, write_eni()), 0u);
    EXPECT_EQ(__EcatBusCtrlWorkCntGet(second), 0u);
    EXPECT_EQ(peek<uint32_t>(static_cast<uint8_t *>(__pi_shared_memory) + 0x60870C), 1u);
    EcatClose(second);
}

TEST_F(BusRun, MissingFileIsNotSent) {
    open();
    const uint32_t before = work_count();
    const StdoutCapture capture;
    EXPECT_EQ(EcatBusRun(handle_, "missing.xml"), 32848u);
    EXPECT_EQ(capture.text(), "File:missing.xml not found.");
    EXPECT_TRUE(firmware().seen().empty());
    EXPECT_EQ(work_count(), before);
}

TEST_F(BusRun, NullPathIsAMissingFile) {
    open();
    const StdoutCapture capture;
    EXPECT_EQ(EcatBusRun(handle_, nullptr), 32848u);
    EXPECT_EQ(capture.text(), "File:(null) not found.");
}

TEST_F(BusRun, FolderIsNotAFile) {
    open();
    std::filesystem::create_directory("folder");
    const StdoutCapture capture;
    EXPECT_EQ(EcatBusRun(handle_, "folder"), 32848u);
    EXPECT_TRUE(firmware().seen().empty());
}

TEST_F(BusRun, MissingFileKeepsTheProcessImageOfBefore) {
    open();
    start_bus();
    const StdoutCapture capture;
    EXPECT_EQ(EcatBusRun(handle_, "missing.xml"), 32848u);
    EXPECT_FALSE(pi_info_is_empty());
}

TEST_F(BusRun, LargestFileIsAccepted) {
    open();
    std::string text = tarn::vcard::make_eni(small_network());
    text.resize(kEniSizeMax, ' ');
    EXPECT_EQ(EcatBusRun(handle_, write_eni(text)), 0u);
    EXPECT_EQ(seen_count(Command::FileWrite), (kEniSizeMax + 102383) / 102384);
}

TEST_F(BusRun, OneByteMoreIsTooLarge) {
    open();
    write_eni();
    std::filesystem::resize_file("bus.xml", kEniSizeMax + 1);
    EXPECT_EQ(EcatBusRun(handle_, "bus.xml"), 80008u);
    EXPECT_TRUE(firmware().seen().empty());
}

TEST_F(BusRun, FileWithoutCrcStarts) {
    open();
    std::string text = tarn::vcard::make_eni(small_network());
    const size_t begin = text.find("<CRC>");
    text.erase(begin, text.find("</CRC>") + 6 - begin);
    EXPECT_EQ(EcatBusRun(handle_, write_eni(text)), 0u);
}

TEST_F(BusRun, FailedTransferIsLeftToTheStart) {
    open();
    firmware().faults().refuse_chunks = true;
    EXPECT_NE(EcatBusRun(handle_, write_eni()), 0u);
    EXPECT_EQ(seen_count(Command::FileOpen), 5u);
    EXPECT_EQ(seen_count(Command::FileClose), 5u);
    EXPECT_EQ(seen_count(Command::BusStart), 1u);
    EXPECT_TRUE(pi_info_is_empty());
}

TEST_F(BusRun, RefusedStartCountsAsWork) {
    open();
    refuse(Command::BusStart, kRefused);
    EXPECT_EQ(EcatBusRun(handle_, write_eni()), kRefused);
    EXPECT_EQ(work_count(), 1u);
}

// Every request behind the start ends it with its status and leaves no process image behind.
class BusRunFailure : public BusTest, public testing::WithParamInterface<Command> {};

TEST_P(BusRunFailure, EmptiesTheProcessImage) {
    open();
    start_bus();
    ASSERT_EQ(EcatBusStop(handle_), 0u);
    ASSERT_FALSE(pi_info_is_empty());
    refuse(GetParam(), kRefused);
    EXPECT_EQ(EcatBusRun(handle_, write_eni()), kRefused);
    EXPECT_TRUE(pi_info_is_empty());
    uint32_t offset = 0;
    uint8_t byte = 0;
    EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, offset, 1, &byte), 0u);
}

INSTANTIATE_TEST_SUITE_P(Requests, BusRunFailure,
                         testing::Values(Command::BusStart, Command::SlaveCount, Command::EniInfo,
                                         Command::SlaveOutputs, Command::SlaveInputs,
                                         Command::SlaveFixedAddress));

TEST_F(BusRun, BrokenMappingEmptiesTheProcessImage) {
    open();
    EXPECT_EQ(EcatBusRun(handle_, write_eni(eni_with_broken_mapping())), 80016u);
    EXPECT_TRUE(pi_info_is_empty());
    // The card runs nevertheless.
    EXPECT_TRUE(EcatBusIsRunning(handle_));
}

TEST_F(BusRun, ForeignSharedMemoryIsInitialised) {
    open();
    poke<uint32_t>(static_cast<uint8_t *>(__pi_shared_memory), 0x1597A571);
    const StdoutCapture capture;
    EXPECT_EQ(EcatBusRun(handle_, write_eni()), 0u);
    EXPECT_EQ(capture.text(), "pi_shared_memory version update. 362259825 -> 362259833\r\n");
}

TEST_F(BusRun, KeepsTheSharedMemoryOfOtherChannels) {
    open();
    auto *other = static_cast<uint8_t *>(getSharedMemory_piNormalCacheOutput(3, 1));
    other[100] = 77;
    start_bus();
    EXPECT_EQ(other[100], 77);
}

// ---- clock ------------------------------------------------------------------------------------

class BusRunClock : public BusTest {
  protected:
    int64_t offset_in(const char *zone) {
        tarn::test::set_time_zone(zone);
        open();
        poke<uint64_t>(bar2() + 424, ~uint64_t{0});
        start_bus();
        return peek<int64_t>(bar2() + 424);
    }
};

TEST_F(BusRunClock, GivesWholeSecondsOfUtc) {
    open();
    const auto before = static_cast<uint64_t>(time(nullptr));
    start_bus();
    const auto after = static_cast<uint64_t>(time(nullptr));
    const auto told = peek<uint64_t>(bar2() + 416);
    EXPECT_EQ(told % 1'000'000'000, 0u);
    EXPECT_GE(told / 1'000'000'000, before);
    EXPECT_LE(told / 1'000'000'000, after);
}

TEST_F(BusRunClock, IsSetBeforeTheStart) {
    open();
    refuse(Command::BusStart, kRefused);
    ASSERT_EQ(EcatBusRun(handle_, write_eni()), kRefused);
    EXPECT_NE(peek<uint64_t>(bar2() + 416), 0u);
}

TEST_F(BusRunClock, GivesNoOffsetForUtc) {
    EXPECT_EQ(offset_in("UTC0"), 0);
}

TEST_F(BusRunClock, GivesAPositiveOffsetEastOfGreenwich) {
    EXPECT_EQ(offset_in("IST-5:30"), 19800);
}

TEST_F(BusRunClock, GivesANegativeOffsetWestOfGreenwichInAllEightBytes) {
    EXPECT_EQ(offset_in("PST8"), -28800);
}

TEST_F(BusRunClock, CountsSecondsOfTheOffset) {
    EXPECT_EQ(offset_in("LMT-0:53:28"), 3208);
}

TEST_F(BusRunClock, TakesTheOffsetOfAFixedDayInWinter) {
    EXPECT_EQ(offset_in("CET-1CEST,M3.5.0,M10.5.0/3"), 3600);
}

// ---- stop -------------------------------------------------------------------------------------

class BusStop : public BusTest {
  protected:
    void SetUp() override {
        open();
        start_bus();
        work_before_ = work_count();
    }
    uint32_t work() const { return work_count() - work_before_; }
    std::string stop() { return printed_by(EcatBusStop, &status_); }

    uint32_t work_before_ = 0;
    uint32_t status_ = 0;
};

TEST_F(BusStop, StopsWithOneRequest) {
    EXPECT_EQ(stop(), "");
    EXPECT_EQ(status_, 0u);
    EXPECT_EQ(seen_codes(), (Codes{10}));
    EXPECT_EQ(work(), 1u);
    EXPECT_FALSE(EcatBusIsRunning(handle_));
}

TEST_F(BusStop, LeavesTheStopWordAloneWhenTheRequestSucceeds) {
    EXPECT_EQ(stop(), "");
    EXPECT_EQ(cards_->log().find("stop word"), std::string::npos);
}

TEST_F(BusStop, TriesAgainAfterAFailure) {
    refuse(Command::BusStop, kRefused, 1);
    EXPECT_EQ(stop(), "EcatBusStop retry\n");
    EXPECT_EQ(status_, 0u);
    EXPECT_EQ(seen_codes(), (Codes{10, 10}));
    EXPECT_EQ(work(), 3u);
}

TEST_F(BusStop, GivesUpAfterThreeRounds) {
    refuse(Command::BusStop, kRefused, 9);
    EXPECT_EQ(stop(), "EcatBusStop retry\nEcatBusStop retry\nEcatBusStop retry\n");
    EXPECT_EQ(status_, kRefused);
    EXPECT_EQ(seen_codes(), (Codes{10, 10, 10}));
    EXPECT_EQ(work(), 6u);
}

TEST_F(BusStop, SetsTheStopWordAfterAFailure) {
    refuse(Command::BusStop, kRefused, 9);
    stop();
    EXPECT_FALSE(EcatBusIsRunning(handle_));
}

TEST_F(BusStop, ReplyWithDataIsAFailure) {
    poke<uint32_t>(area(), 1);
    firmware().faults().oversize_replies = 1;
    EXPECT_EQ(stop(), "");
    EXPECT_EQ(status_, 80002u);
}

TEST_F(BusStop, DoesNotUseTheHandlesTimeout) {
    EcatSetTimeout(handle_, 0);
    firmware().faults().delay_ms = 100;
    EXPECT_EQ(stop(), "");
    EXPECT_EQ(status_, 0u);
}

TEST_F(BusStop, AsksOlderFirmwareOnce) {
    poke<uint32_t>(area(), 0x101);
    refuse(Command::BusStop, kRefused, 9);
    EXPECT_EQ(stop(), "");
    EXPECT_EQ(status_, kRefused);
    EXPECT_EQ(seen_codes(), (Codes{10}));
    EXPECT_EQ(work(), 1u);
    EXPECT_TRUE(EcatBusIsRunning(handle_));
}

TEST_F(BusStop, TakesAHighByteAsNewerFirmware) {
    poke<uint32_t>(area(), 0x01000000);
    refuse(Command::BusStop, kRefused, 1);
    EXPECT_EQ(stop(), "EcatBusStop retry\n");
    EXPECT_EQ(status_, 0u);
}

TEST_F(BusStop, KeepsTheProcessImageRecord) {
    stop();
    EXPECT_FALSE(pi_info_is_empty());
}

// ---- reset ------------------------------------------------------------------------------------

class BusReset : public BusTest {
  protected:
    void SetUp() override {
        open();
        start_bus();
        work_before_ = work_count();
        poke<uint32_t>(bar1() + kDigitalOutputs, 0x5);
    }
    uint32_t work() const { return work_count() - work_before_; }
    std::string reset() { return printed_by(EcatReset, &status_); }
    bool outputs_are_cleared() const { return peek<uint16_t>(bar1() + kDigitalOutputs) == 0; }

    static constexpr size_t kDigitalOutputs = 0x58;
    uint32_t work_before_ = 0;
    uint32_t status_ = 0;
};

TEST_F(BusReset, StopsTheBusAndClearsTheCardsOutputs) {
    EXPECT_EQ(reset(), "");
    EXPECT_EQ(status_, 0u);
    EXPECT_FALSE(EcatBusIsRunning(handle_));
    EXPECT_TRUE(outputs_are_cleared());
}

TEST_F(BusReset, SetsTheStopWordBeforeItsOneRequest) {
    EXPECT_EQ(reset(), "");
    EXPECT_EQ(seen_codes(), (Codes{10}));
    EXPECT_NE(cards_->log().find("stop word"), std::string::npos);
    EXPECT_EQ(work(), 2u);
}

TEST_F(BusReset, TriesAgainAfterAFailure) {
    refuse(Command::BusStop, kRefused, 2);
    EXPECT_EQ(reset(), "EcatReset retry\nEcatReset retry\n");
    EXPECT_EQ(status_, 0u);
    EXPECT_EQ(seen_codes(), (Codes{10, 10, 10}));
    EXPECT_EQ(work(), 6u);
}

TEST_F(BusReset, GivesUpAfterThreeRounds) {
    refuse(Command::BusStop, kRefused, 9);
    EXPECT_EQ(reset(), "EcatReset retry\nEcatReset retry\nEcatReset retry\n");
    EXPECT_EQ(status_, kRefused);
    EXPECT_EQ(seen_codes(), (Codes{10, 10, 10}));
    EXPECT_EQ(work(), 6u);
    EXPECT_FALSE(EcatBusIsRunning(handle_));
}

TEST_F(BusReset, OlderFirmwareIsNotAsked) {
    poke<uint32_t>(area(), 0x101);
    EXPECT_EQ(reset(), "");
    EXPECT_EQ(status_, 80006u);
    EXPECT_TRUE(firmware().seen().empty());
    EXPECT_EQ(work(), 0u);
    EXPECT_TRUE(EcatBusIsRunning(handle_));
}

TEST_F(BusReset, ClearsTheOutputsOfOlderFirmwareAllTheSame) {
    poke<uint32_t>(area(), 0x101);
    reset();
    EXPECT_TRUE(outputs_are_cleared());
}

TEST_F(BusReset, TakesAHighByteAsNewerFirmware) {
    poke<uint32_t>(area(), 0x01000000);
    EXPECT_EQ(reset(), "");
    EXPECT_EQ(status_, 0u);
}

// ---- running, status, master state --------------------------------------------------------------

class BusState : public BusTest {};

TEST_F(BusState, RunningIsFalseOnATimeout) {
    open();
    start_bus();
    EcatSetTimeout(handle_, 50);
    firmware().faults().drop_replies = 1;
    EXPECT_FALSE(EcatBusIsRunning(handle_));
    EXPECT_TRUE(has_lost_replies());
    EcatSetTimeout(handle_, 20000);
    EXPECT_TRUE(EcatBusIsRunning(handle_));
}

TEST_F(BusState, RunningIsFalseWhenRefused) {
    open();
    start_bus();
    refuse(Command::BusIsRunning, kRefused);
    EXPECT_FALSE(EcatBusIsRunning(handle_));
}

TEST_F(BusState, RunningIsFalseWhenTheReplyIsTooLarge) {
    open();
    start_bus();
    firmware().faults().oversize_replies = 1;
    EXPECT_FALSE(EcatBusIsRunning(handle_));
}

TEST_F(BusState, StatusIsAskedOfTheFirmware) {
    open();
    uint32_t status = 9;
    EXPECT_EQ(EcatBusStatus(handle_, &status), 0u);
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(seen_codes(), (Codes{56}));
}

TEST_F(BusState, StatusNeedsAnOutput) {
    open();
    EXPECT_EQ(EcatBusStatus(handle_, nullptr), 80002u);
}

TEST_F(BusState, MasterStateIsRequestedWithOneByte) {
    open();
    start_bus();
    EXPECT_EQ(EcatRequestMasterState(handle_, ECAT_STATE_SAFEOP), 0u);
    ASSERT_EQ(firmware().seen().size(), 1u);
    EXPECT_EQ(firmware().seen()[0].code, 17);
    EXPECT_EQ(firmware().seen()[0].payload, (std::vector<uint8_t>{4}));
}

TEST_F(BusState, RequestedMasterStateFeedsTheWatchdog) {
    open();
    start_bus();
    const uint32_t before = access_counter();
    EXPECT_EQ(EcatRequestMasterState(handle_, ECAT_STATE_OP), 0u);
    EXPECT_EQ(access_counter(), before + 1);
}

TEST_F(BusState, RefusedMasterStateDoesNotFeedTheWatchdog) {
    open();
    start_bus();
    const uint32_t before = access_counter();
    refuse(Command::RequestMasterState, kRefused);
    EXPECT_EQ(EcatRequestMasterState(handle_, ECAT_STATE_OP), kRefused);
    EXPECT_EQ(access_counter(), before);
}

// ---- identity of the configuration ------------------------------------------------------------

class RunningEni : public BusTest {
  protected:
    uint32_t start_and_check(const std::string &running, const std::string &file) {
        open();
        EXPECT_EQ(EcatBusRun(handle_, write_eni(eni_with_crc(running))), 0u);
        return EcatCheckRunningEni(handle_, write_eni(eni_with_crc(file)));
    }
};

TEST_F(RunningEni, IsTheOneThatWasStarted) {
    EXPECT_EQ(start_and_check("4f2a", "4f2a"), 0u);
}

TEST_F(RunningEni, IsNotAnother) {
    EXPECT_EQ(start_and_check("4f2a", "4f2b"), 80018u);
}

TEST_F(RunningEni, IsNotALongerText) {
    EXPECT_EQ(start_and_check("4f2a", "4f2a0"), 80018u);
}

TEST_F(RunningEni, IsDecidedBy64Bytes) {
    const std::string same(64, 'c');
    EXPECT_EQ(start_and_check(same + "1", same + "2"), 0u);
}

TEST_F(RunningEni, IsDecidedByTheByte64) {
    const std::string same(63, 'c');
    EXPECT_EQ(start_and_check(same + "1", same + "2"), 80018u);
}

TEST_F(RunningEni, IsAskedWithTheSizeOfTheReply) {
    open();
    start_bus();
    EXPECT_EQ(EcatCheckRunningEni(handle_, "bus.xml"), 0u);
    ASSERT_EQ(firmware().seen().size(), 1u);
    EXPECT_EQ(firmware().seen()[0].code, 82);
    EXPECT_EQ(firmware().seen()[0].payload, (std::vector<uint8_t>{144, 0, 0, 0}));
}

TEST_F(RunningEni, CheckOfAMissingFileFailsAfterTheRequest) {
    open();
    start_bus();
    const StdoutCapture capture;
    EXPECT_EQ(EcatCheckRunningEni(handle_, "missing.xml"), 0xFFFFFFFFu);
    EXPECT_EQ(capture.text(), "file isn't exist.");
    EXPECT_EQ(seen_codes(), (Codes{82}));
}

TEST_F(RunningEni, CheckDoesNotReadTheFileWhenTheRequestFails) {
    open();
    start_bus();
    refuse(Command::EniInfoEx, kRefused);
    const StdoutCapture capture;
    EXPECT_EQ(EcatCheckRunningEni(handle_, "missing.xml"), kRefused);
    EXPECT_EQ(capture.text(), "");
}

// ---- information ------------------------------------------------------------------------------

class EniInformation : public BusTest {
  protected:
    void start_mapped_bus() {
        auto options = small_network();
        options.logical_mapping = true;
        open();
        ASSERT_EQ(EcatBusRun(handle_, write_eni(tarn::vcard::make_eni(options))), 0u);
        // Lengths that only the record can have given.
        pi_info().direction[0].logical_length = 0x1234;
        pi_info().direction[1].logical_length = 0x5678;
        firmware().clear_seen();
    }

    // Calls the sized form with a buffer of exactly `size` bytes, and looks behind it.
    std::vector<uint8_t> read_sized(uint32_t size) {
        std::vector<uint8_t> buffer(size + 32, 0xEE);
        EXPECT_EQ(EcatGetEniInfoEx(handle_, buffer.data(), size), 0u);
        for (size_t i = size; i < buffer.size(); ++i) {
            EXPECT_EQ(buffer[i], 0xEE) << i;
        }
        buffer.resize(size);
        return buffer;
    }
};

TEST_F(EniInformation, GivesThePhysicalLengthsWithoutMapping) {
    open();
    start_bus();
    EniInfo info = {};
    EXPECT_EQ(EcatGetEniInfo(handle_, &info), 0u);
    EXPECT_EQ(seen_codes(), (Codes{32}));
    EXPECT_GT(info.output_length, 0u);
    EXPECT_EQ(info.output_length, pi_info().direction[0].physical_length);
    EXPECT_EQ(info.input_length, pi_info().direction[1].physical_length);
}

TEST_F(EniInformation, GivesTheLogicalLengthsWithMapping) {
    start_mapped_bus();
    EniInfo info = {};
    EXPECT_EQ(EcatGetEniInfo(handle_, &info), 0u);
    EXPECT_EQ(info.output_length, 0x1234u);
    EXPECT_EQ(info.input_length, 0x5678u);
}

TEST_F(EniInformation, TellsTheDirectionsOfTheMappingApart) {
    start_mapped_bus();
    pi_info().direction[0].mapped = 0;
    EniInfo info = {};
    EXPECT_EQ(EcatGetEniInfo(handle_, &info), 0u);
    EXPECT_EQ(info.output_length, pi_info().direction[0].physical_length);
    EXPECT_EQ(info.input_length, 0x5678u);
}

TEST_F(EniInformation, FailureLeavesZeros) {
    start_mapped_bus();
    refuse(Command::EniInfo, kRefused);
    EniInfo info = {1, 2, 3, 4};
    EXPECT_EQ(EcatGetEniInfo(handle_, &info), kRefused);
    EXPECT_EQ(info.word0, 0u);
    EXPECT_EQ(info.output_length, 0u);
    EXPECT_EQ(info.input_length, 0u);
}

TEST_F(EniInformation, NeedsAnOutput) {
    open();
    start_bus();
    EXPECT_EQ(EcatGetEniInfo(handle_, nullptr), 80002u);
    EXPECT_EQ(EcatGetEniInfoEx(handle_, nullptr, 16), 80002u);
}

TEST_F(EniInformation, SizedFormAsksWithItsSize) {
    open();
    start_bus();
    read_sized(144);
    ASSERT_EQ(firmware().seen().size(), 1u);
    EXPECT_EQ(firmware().seen()[0].code, 82);
    EXPECT_EQ(firmware().seen()[0].payload, (std::vector<uint8_t>{144, 0, 0, 0}));
}

TEST_F(EniInformation, SizedFormGivesTheCrcText) {
    open();
    ASSERT_EQ(EcatBusRun(handle_, write_eni(eni_with_crc("4f2a"))), 0u);
    const std::vector<uint8_t> reply = read_sized(144);
    EXPECT_STREQ(reinterpret_cast<const char *>(reply.data()) + 16, "4f2a");
}

TEST_F(EniInformation, SizedFormGivesTheLogicalLengths) {
    start_mapped_bus();
    const std::vector<uint8_t> reply = read_sized(16);
    EXPECT_EQ(peek<uint32_t>(reply.data() + 8), 0x1234u);
    EXPECT_EQ(peek<uint32_t>(reply.data() + 12), 0x5678u);
}

TEST_F(EniInformation, SizedFormPatchesOnlyWhatFits) {
    start_mapped_bus();
    EXPECT_EQ(peek<uint32_t>(read_sized(12).data() + 8), 0x1234u);
    EXPECT_EQ(peek<uint32_t>(read_sized(15).data() + 8), 0x1234u);
    read_sized(11);
    read_sized(8);
    read_sized(0);
}

TEST_F(EniInformation, SizedFormZeroesWhatTheReplyDoesNotFill) {
    open();
    start_bus();
    const std::vector<uint8_t> reply = read_sized(200);
    EXPECT_EQ(std::vector<uint8_t>(reply.begin() + 144, reply.end()), std::vector<uint8_t>(56, 0));
}

TEST_F(EniInformation, CompileMessageIsCopiedWithoutTerminator) {
    open();
    std::array<char, 256> text;
    text.fill('~');
    ASSERT_EQ(EcatGetFirmwareCompileMsg(handle_, text.data(), text.size()), 0u);
    EXPECT_EQ(seen_codes(), (Codes{101}));
    const std::string all(text.begin(), text.end());
    const size_t end = all.find('~');
    ASSERT_NE(end, std::string::npos);
    EXPECT_GT(end, 1u);
    EXPECT_EQ(all.substr(end), std::string(all.size() - end, '~'));
}

TEST_F(EniInformation, CompileMessageIsNotCut) {
    open();
    std::array<char, 4> text = {'~', '~', '~', '~'};
    EXPECT_EQ(EcatGetFirmwareCompileMsg(handle_, text.data(), text.size()), 80002u);
    EXPECT_EQ(text, (std::array<char, 4>{'~', '~', '~', '~'}));
}

} // namespace
