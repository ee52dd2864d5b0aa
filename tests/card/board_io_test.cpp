// Board services that talk to the firmware, but for flash and files.
#include "board_io_fixture.h"

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BoardIo : public BoardTest {};

class OlderBoard : public BoardTest {
  protected:
    OlderBoard() : BoardTest(config()) {}
    static vcard::CardConfig config() {
        vcard::CardConfig config = quick_card();
        config.config_version = 0x00060000;
        config.firmware_version = "1.3.9";
        return config;
    }
};

// ---- LEDs and time-out trigger -----------------------------------------------------------------

TEST_F(BoardIo, LedRequestCarriesTwoShortNumbers) {
    EXPECT_EQ(BoardLedCtrl(handle_, 0x1234, 0xABCD), 0U);
    const vcard::SeenRequest request = seen_request();
    EXPECT_EQ(request.code, 43);
    EXPECT_THAT(request.payload, ElementsAre(0x34, 0x12, 0xCD, 0xAB));
}

TEST_F(BoardIo, RequestsGoThroughTheSecondaryMailboxOfChannelZero) {
    BoardLedCtrl(handle_, 1, 2);
    const vcard::SeenRequest request = seen_request();
    EXPECT_EQ(request.channel, 0U);
    EXPECT_FALSE(request.primary);
}

TEST_F(BoardIo, TimeOutTriggerIsOneOfTwoRequests) {
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(handle_, 0x01020304), 0U);
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(handle_, -2), 0U);
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(handle_, 0), 0U);
    const std::vector<vcard::SeenRequest> seen = firmware().seen();
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[0].code, 60);
    EXPECT_THAT(seen[0].payload, ElementsAre(4, 3, 2, 1));
    EXPECT_EQ(seen[1].code, 60);
    EXPECT_THAT(seen[1].payload, ElementsAre(0xFE, 0xFF, 0xFF, 0xFF));
    EXPECT_EQ(seen[2].code, 102);
    EXPECT_THAT(seen[2].payload, ElementsAre(0, 0, 0, 0));
}

TEST_F(BoardIo, StatusOfTheFirmwareComesBackAsItIs) {
    answer(Command::LedControl, 0xDEADBEEF);
    EXPECT_EQ(BoardLedCtrl(handle_, 1, 2), 0xDEADBEEFU);
    answer(Command::TimeoutTriggerOn, 32772);
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(handle_, 1), 32772U);
    answer(Command::TimeoutTriggerOff, 32831);
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(handle_, 0), 32831U);
}

TEST_F(BoardIo, ReplyWithDataGives80002) {
    firmware().faults().oversize_replies = 3;
    EXPECT_EQ(BoardLedCtrl(handle_, 1, 2), 80002U);
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(handle_, 1), 80002U);
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(handle_, 0), 80002U);
}

TEST_F(BoardIo, TimeOutHoldsForRequests) {
    EXPECT_EQ(BoardSetTimeout(handle_, 50), 0U);
    EXPECT_EQ(handle_->timeout_ms, 50U);
    expect_loses_its_reply([this] { return BoardLedCtrl(handle_, 1, 2); });
    expect_loses_its_reply([this] { return BOARD_TIMEOUT_TRIGGER(handle_, 1); });
    EXPECT_EQ(BoardSetTimeout(handle_, 20000), 0U);
    EXPECT_EQ(BoardLedCtrl(handle_, 1, 2), 0U);
}

TEST_F(BoardIo, NoFreeSlotGives80001) {
    firmware().faults().stop_draining = true;
    BoardSetTimeout(handle_, 20);
    EXPECT_EQ(BoardLedCtrl(handle_, 1, 2), 80003U); // fills the one slot
    EXPECT_EQ(BoardLedCtrl(handle_, 1, 2), 80001U);
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(handle_, 1), 80001U);
}

TEST_F(BoardIo, RequestNeedsASlotOfTwentyBytes) {
    BoardSetTimeout(handle_, 20);
    handle_->channel.out.slot_size = 19;
    EXPECT_EQ(BoardLedCtrl(handle_, 1, 2), 80001U);
    EXPECT_EQ(BOARD_TIMEOUT_TRIGGER(handle_, 1), 80001U);
    EXPECT_THAT(firmware().seen(), IsEmpty());
    handle_->channel.out.slot_size = 20;
    BoardSetTimeout(handle_, 20000);
    EXPECT_EQ(BoardLedCtrl(handle_, 1, 2), 0U);
}

// The rings lie behind the configuration block, in pages of their own.
TEST_F(BoardIo, DoorbellIsTheOnlyRegisterThatARequestTouches) {
    if (!can_record_accesses()) {
        GTEST_SKIP() << "a thread sanitizer accesses memory on behalf of the program";
    }
    char data[4] = {};
    uint32_t statuses[6] = {};
    AccessRecorder recorder({{bar1(), 0x1000}, {bar2(), 0x1000}});
    statuses[0] = BoardLedCtrl(handle_, 1, 2);
    statuses[1] = BOARD_TIMEOUT_TRIGGER(handle_, 1);
    statuses[2] = BOARD_TIMEOUT_TRIGGER(handle_, 0);
    statuses[3] = BoardFlashErase(handle_, 0, 4096);
    statuses[4] = BoardFlashWrite(handle_, 0, "abc");
    statuses[5] = BoardFlashRead(handle_, 0, sizeof data, data);
    const std::vector<Access> accesses = recorder.stop();
    EXPECT_THAT(statuses, testing::Each(0U));
    expect_doorbells_only(accesses, 6);
}

// ---- registers at work -------------------------------------------------------------------------

TEST_F(BoardIo, OutputsComeBackOnTheInputs) {
    EXPECT_EQ(BoardDOWrite(handle_, 0x5), 0U);
    EXPECT_TRUE(eventually([this] {
        uint32_t inputs = 0;
        EXPECT_EQ(BoardDIRead(handle_, &inputs), 0U);
        return inputs == 0x5;
    }));
    uint32_t outputs = 0;
    EXPECT_EQ(BoardDORead(handle_, &outputs), 0U);
    EXPECT_EQ(outputs, 0x5U);
}

TEST_F(BoardIo, IoModuleResetLeavesTheUpperOutputsOn) {
    EXPECT_EQ(BoardDOWrite(handle_, 0xFFFFFFFF), 0U);
    EXPECT_EQ(__BoardIOModuleReset(handle_), 0U);
    uint32_t outputs = 0;
    EXPECT_EQ(BoardDORead(handle_, &outputs), 0U);
    EXPECT_EQ(outputs, 0xFFFF0000U);
    EXPECT_TRUE(eventually([this] {
        uint32_t inputs = 0;
        BoardDIRead(handle_, &inputs);
        return inputs == 0xFFFF0000;
    }));
}

TEST_F(BoardIo, PulseTrainCountsDownAndTakesItsStartBitBack) {
    EXPECT_EQ(BoardPulseConfig(handle_, 2, 0, 0, 0, 100000, 50), 0U);
    EXPECT_EQ(BoardPulseOutput(handle_, 2, 500), 0U);
    EXPECT_TRUE(eventually([this] {
        uint32_t starts = 1;
        uint32_t count = 1;
        BoardBAR1Read(handle_, 0x1CC, &starts);
        BoardBAR1Read(handle_, 0x1D8, &count);
        return starts == 0 && count == 0;
    }));
    EXPECT_NE(firmware().describe_board().find("pulse 2: 500 pulses\n"), std::string::npos);
}

TEST_F(BoardIo, RawAccessReachesTheSameRegisters) {
    uint32_t value = 0;
    EXPECT_EQ(BoardBAR1Write(handle_, 0x058, 0x3), 0U);
    EXPECT_EQ(BoardDORead(handle_, &value), 0U);
    EXPECT_EQ(value, 0x3U);
    EXPECT_EQ(BoardBAR1Read(handle_, 0x000, &value), 0U);
    BoardInfo info = {};
    BoardGetInfo(handle_, &info);
    EXPECT_EQ(value, info.id);
}

TEST_F(BoardIo, LatchTakesTheCounterAtAnEdge) {
    EXPECT_EQ(BoardLatchCfg(handle_, 0), 0U);
    EXPECT_EQ(BoardLatchEnable(handle_), 0U);
    EXPECT_EQ(BoardLatchClear(handle_), 0U);
    EXPECT_EQ(BoardLatchRun(handle_), 0U);
    const auto latched = [this] {
        uint32_t state = 0;
        EXPECT_EQ(BoardLatchState(handle_, 0, &state), 0U);
        return state == 1;
    };
    uint32_t outputs = 0;
    EXPECT_TRUE(eventually([&] {
        outputs ^= 1;
        BoardDOWrite(handle_, outputs);
        return latched();
    }));
    uint32_t low = 0;
    uint32_t high = 0;
    EXPECT_EQ(BoardLatchOnRead(handle_, 0, &low, &high), 0U);
    EXPECT_NE(static_cast<uint64_t>(high) << 32 | low, 0U);
}

TEST_F(BoardIo, HeartbeatsCount) {
    for (uint32_t counter = 0; counter < 4; ++counter) {
        uint32_t first = 0;
        EXPECT_EQ(BoardHeardCnt(handle_, counter, &first), 0U);
        EXPECT_TRUE(eventually([&] {
            uint32_t now = first;
            BoardHeardCnt(handle_, counter, &now);
            return now != first;
        }));
    }
}

TEST_F(BoardIo, CardIsAlive) {
    EXPECT_TRUE(BoardIsAlive(handle_));
}

TEST_F(BoardIo, CardTakesTheTimeOver) {
    EXPECT_EQ(BoardSetDeviceSystemTime(handle_, 0), 0U);
    EXPECT_TRUE(eventually([this] {
        return cards_.log().find("time taken over from the host") != std::string::npos;
    }));
}

// ---- reset -------------------------------------------------------------------------------------

TEST_F(BoardIo, CardAnswersAgainAfterAReset) {
    BoardDOWrite(handle_, 0xF);
    EXPECT_EQ(BoardReset(handle_), 0U);
    EXPECT_TRUE(eventually([this] {
        uint32_t request = 1;
        memcpy(&request, bar2() + 0x188, sizeof request);
        return request == 0 && BoardIsAlive(handle_);
    }));
    EXPECT_EQ(BoardLedCtrl(handle_, 1, 2), 0U);
}

TEST_F(BoardIo, ResetIsNoticedByTheChannelsOfTheCard) {
    EcatHandle *channels[2] = {};
    uint32_t before[2] = {};
    for (uint32_t i = 0; i < 2; ++i) {
        ASSERT_EQ(EcatOpen(&channels[i], "ID0", i), 0U);
        before[i] = __EcatBusCtrlWorkCntGet(channels[i]);
    }
    EXPECT_EQ(BoardReset(handle_), 0U);
    for (uint32_t i = 0; i < 2; ++i) {
        EXPECT_EQ(__EcatBusCtrlWorkCntGet(channels[i]), before[i] + 1);
        EcatClose(channels[i]);
    }
}

TEST_F(OlderBoard, ResetIsRefusedWithTheFirmwareVersion) {
    const StdoutCapture capture;
    EXPECT_EQ(BoardReset(handle_), 80006U);
    EXPECT_EQ(capture.text(), "ERROR: config version(393216) has not board reset. \r\n"
                              "Please update software to or late: 1.4.0, Current: 1.3.9\r\n");
}

TEST(BoardOfTwo, ResetCountsForTheSecondCardAlone) {
    const VirtualCards cards(VirtualCards::default_cards(2));
    EcatHandle *channels[2][2] = {};
    uint32_t before[2][2] = {};
    for (uint32_t card = 0; card < 2; ++card) {
        for (uint32_t i = 0; i < 2; ++i) {
            ASSERT_EQ(EcatOpen(&channels[card][i], card == 0 ? "ID0" : "ID1", i), 0U);
            before[card][i] = __EcatBusCtrlWorkCntGet(channels[card][i]);
        }
    }
    BoardHandle *second = nullptr;
    ASSERT_EQ(BoardOpen(&second, "ID1"), 0U);
    EXPECT_EQ(BoardReset(second), 0U);
    for (uint32_t card = 0; card < 2; ++card) {
        for (uint32_t i = 0; i < 2; ++i) {
            EXPECT_EQ(__EcatBusCtrlWorkCntGet(channels[card][i]), before[card][i] + card);
            EcatClose(channels[card][i]);
        }
    }
    BoardClose(second);
}

} // namespace
