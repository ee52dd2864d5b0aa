// Every access of the board functions to registers and configuration block: order, width, value.
#include "board_fixture.h"
#include "pci_tarn/board.h"

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BoardRegisters : public PlainBoard {
  protected:
    void SetUp() override {
        if (!can_record_accesses()) {
            GTEST_SKIP() << "a thread sanitizer accesses memory on behalf of the program";
        }
    }

    // The call is accepted and does this.
    template <typename Call>
    std::vector<Access> accepted(Call &&call) {
        uint32_t status = 77;
        const std::vector<Access> all = accesses([&] { status = call(board()); });
        EXPECT_EQ(status, 0U);
        return all;
    }
};

// ---- digital inputs and outputs ----------------------------------------------------------------

TEST_F(BoardRegisters, DigitalInputsAreOneRead) {
    poke(bar1() + 0x06C, 0x12345678U);
    uint32_t value = 0;
    EXPECT_THAT(accepted([&](auto *board) { return BoardDIRead(board, &value); }),
                ElementsAre(load(0x06C, 0x12345678)));
    EXPECT_EQ(value, 0x12345678U);
}

TEST_F(BoardRegisters, DigitalOutputsReadBackIsOneRead) {
    poke(bar1() + 0x058, 0x9ABCDEF0U);
    uint32_t value = 0;
    EXPECT_THAT(accepted([&](auto *board) { return BoardDORead(board, &value); }),
                ElementsAre(load(0x058, 0x9ABCDEF0)));
    EXPECT_EQ(value, 0x9ABCDEF0U);
}

TEST_F(BoardRegisters, DigitalOutputsAreOneStore) {
    EXPECT_THAT(accepted([](auto *board) { return BoardDOWrite(board, 0x80000001); }),
                ElementsAre(store(0x058, 0x80000001)));
}

// ---- latches -----------------------------------------------------------------------------------

TEST_F(BoardRegisters, LatchSwitchesAreOneStoreEach) {
    EXPECT_THAT(accepted(BoardLatchEnable), ElementsAre(store(0x120, 1)));
    EXPECT_THAT(accepted(BoardLatchDisable), ElementsAre(store(0x120, 0)));
    EXPECT_THAT(accepted(BoardLatchRun), ElementsAre(store(0x128, 1)));
    EXPECT_THAT(accepted(BoardLatchStop), ElementsAre(store(0x128, 0)));
    EXPECT_THAT(accepted(BoardLatchClear), ElementsAre(store(0x12C, 1)));
}

TEST_F(BoardRegisters, LatchCounterResetIsAStoreOfOneByte) {
    EXPECT_THAT(accepted(BoardLatchCounterReset), ElementsAre(store_of(kBar1, 0x1E4, 1, 1)));
    EXPECT_EQ(bar1()[0x1E5], 0xEE);
}

TEST_F(BoardRegisters, LatchModeIsOneStore) {
    EXPECT_THAT(accepted([](auto *board) { return BoardLatchCfg(board, 7); }),
                ElementsAre(store(0x124, 7)));
}

TEST_F(BoardRegisters, LatchPortIsOneStore) {
    EXPECT_THAT(accepted([](auto *board) { return BoardLatchPortSel(board, 0xFFFFFFFF); }),
                ElementsAre(store(0x154, 0xFFFFFFFF)));
}

TEST_F(BoardRegisters, LatchStateIsTheChannelsBit) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        for (const uint32_t word : {1U << channel, ~(1U << channel)}) {
            poke(bar1() + 0x130, word);
            uint32_t latched = 77;
            EXPECT_THAT(
                accepted([&](auto *board) { return BoardLatchState(board, channel, &latched); }),
                ElementsAre(load(0x130, word)));
            EXPECT_EQ(latched, word == 1U << channel ? 1U : 0U);
        }
    }
}

TEST_F(BoardRegisters, LatchValueIsReadLowWordFirst) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        const size_t offset = 0x134 + channel * 8;
        poke(bar1() + offset, 0x0807060504030200 + channel);
        uint32_t low = 0;
        uint32_t high = 0;
        EXPECT_THAT(
            accepted([&](auto *board) { return BoardLatchOnRead(board, channel, &low, &high); }),
            ElementsAre(load(offset, 0x04030200 + channel), load(offset + 4, 0x08070605)));
        EXPECT_EQ(low, 0x04030200 + channel);
        EXPECT_EQ(high, 0x08070605U);
    }
}

TEST_F(BoardRegisters, SequenceLatchModeIsOneStore) {
    EXPECT_THAT(accepted([](auto *board) { return BoardSeqLatchCfg(board, 100); }),
                ElementsAre(store(0x124, 100)));
}

TEST_F(BoardRegisters, SequenceLatchRunStoresTheCountThenStarts) {
    EXPECT_THAT(accepted([](auto *board) { return BoardSeqLatchRun(board, 1023); }),
                ElementsAre(store(0x158, 1023), store(0x128, 1)));
}

TEST_F(BoardRegisters, SequenceLatchValueIsReadAfterItsIndexIsStored) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        const size_t offset = 0x16C + channel * 8;
        poke(bar1() + offset, 0x1817161514131200 + channel);
        uint32_t low = 0;
        uint32_t high = 0;
        EXPECT_THAT(accepted([&](auto *board) {
                        return BoardSeqLatchOnRead(board, channel, 5, &low, &high);
                    }),
                    ElementsAre(store(0x15C + channel * 4, 5), load(offset, 0x14131200 + channel),
                                load(offset + 4, 0x18171615)));
        EXPECT_EQ(low, 0x14131200 + channel);
        EXPECT_EQ(high, 0x18171615U);
    }
}

TEST_F(BoardRegisters, SequenceLatchIndexGoesUnchecked) {
    uint32_t low = 0;
    uint32_t high = 0;
    EXPECT_EQ(BoardSeqLatchOnRead(board(), 0, 0xFFFFFFFF, &low, &high), 0U);
    EXPECT_EQ(peek<uint32_t>(bar1() + 0x15C), 0xFFFFFFFFU);
}

// ---- PWM and pulse outputs ---------------------------------------------------------------------

TEST_F(BoardRegisters, PwmOutputEnablesThenStoresFourHalves) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        poke(bar1() + 0x054, 0x80000000U);
        const size_t base = 0x0D8 + channel * 16;
        EXPECT_THAT(accepted([&](auto *board) { return BoardPWMOutput(board, channel, 1000, 75); }),
                    ElementsAre(load(0x054, 0x80000000), store(0x054, 0x80000000 | 1U << channel),
                                store(base, 0xE848), store(base + 4, 1), store(base + 8, 0x6E36),
                                store(base + 12, 1)));
    }
}

TEST_F(BoardRegisters, PwmStopClearsTheChannelsBit) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        poke(bar1() + 0x054, 0xFFFFFFFFU);
        EXPECT_THAT(
            accepted([&](auto *board) { return BoardPWMStop(board, channel); }),
            ElementsAre(load(0x054, 0xFFFFFFFF), store(0x054, 0xFFFFFFFF & ~(1U << channel))));
    }
}

TEST_F(BoardRegisters, PwmConfigReadsTheFourHalves) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        const size_t base = 0x0D8 + channel * 16;
        // Only the low halves count, but for the shift, which drops the high one.
        const uint32_t halves[] = {0xABCDE848, 0xABCD0001, 0xABCDF424, 0xABCD0000};
        memcpy(bar1() + base, halves, sizeof halves);
        uint32_t frequency = 0;
        uint32_t duty = 0;
        EXPECT_THAT(accepted([&](auto *board) {
                        return BoardPWMGetConfig(board, channel, &frequency, &duty);
                    }),
                    ElementsAre(load(base, halves[0]), load(base + 4, halves[1]),
                                load(base + 8, halves[2]), load(base + 12, halves[3])));
        EXPECT_EQ(frequency, 1000U);
        EXPECT_EQ(duty, 50U);
    }
}

TEST_F(BoardRegisters, PulseConfigStoresInItsOrder) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        poke(bar1() + 0x054, 0x00000001U);
        poke(bar1() + 0x1E0, 0x80000000U);
        const size_t base = 0x18C + channel * 16;
        const uint32_t enable = 0x00000001U | 0xC000U >> 2 * channel;
        EXPECT_THAT(accepted([&](auto *board) {
                        return BoardPulseConfig(board, channel, 0x11111111, -1, 0x22222222, 1000,
                                                75);
                    }),
                    ElementsAre(load(0x054, 1), store(0x054, enable), store(base, 0x11111111),
                                load(0x1E0, 0x80000000), store(0x1E0, 0x80000000 | 1U << channel),
                                store(base + 4, 0x22222222), store(base + 8, 125000),
                                store(base + 12, 93750)));
    }
}

TEST_F(BoardRegisters, PulseConfigWithoutFlagClearsTheChannelsBit) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        poke(bar1() + 0x1E0, 0xFFFFFFFFU);
        const size_t base = 0x18C + channel * 16;
        const uint32_t enable = 0xC000U >> 2 * channel;
        poke(bar1() + 0x054, 0U);
        EXPECT_THAT(accepted([&](auto *board) {
                        return BoardPulseConfig(board, channel, 1, 0, 2, 1000, 50);
                    }),
                    ElementsAre(load(0x054, 0), store(0x054, enable), store(base, 1),
                                load(0x1E0, 0xFFFFFFFF), store(0x1E0, ~(1U << channel)),
                                store(base + 4, 2), store(base + 8, 125000),
                                store(base + 12, 62500)));
    }
}

TEST_F(BoardRegisters, PulseConfigReadsFiveRegisters) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        const size_t base = 0x18C + channel * 16;
        const uint32_t settings[] = {0xA1A2A3A4, 0xB1B2B3B4, 125000, 93750};
        memcpy(bar1() + base, settings, sizeof settings);
        poke(bar1() + 0x1E0, 1U << channel);
        uint32_t first = 0;
        int32_t flag = 0;
        uint32_t second = 0;
        uint32_t frequency = 0;
        uint32_t duty = 0;
        EXPECT_THAT(accepted([&](auto *board) {
                        return BoardPulseGetConfig(board, channel, &first, &flag, &second,
                                                   &frequency, &duty);
                    }),
                    ElementsAre(load(base, settings[0]), load(0x1E0, 1U << channel),
                                load(base + 4, settings[1]), load(base + 8, settings[2]),
                                load(base + 12, settings[3])));
        EXPECT_EQ(first, 0xA1A2A3A4U);
        EXPECT_EQ(flag, 1);
        EXPECT_EQ(second, 0xB1B2B3B4U);
        EXPECT_EQ(frequency, 1000U);
        EXPECT_EQ(duty, 75U);
    }
}

TEST_F(BoardRegisters, PulseFlagOfOtherChannelsReadsAsZero) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        poke(bar1() + 0x1E0, ~(1U << channel));
        int32_t flag = 77;
        EXPECT_EQ(BoardPulseGetConfig(board(), channel, nullptr, &flag, nullptr, nullptr, nullptr),
                  0U);
        EXPECT_EQ(flag, 0);
    }
}

TEST_F(BoardRegisters, PulseOutputStoresTheCountThenStarts) {
    for (uint32_t channel = 0; channel < 4; ++channel) {
        poke(bar1() + 0x1CC, 0x80000000U);
        EXPECT_THAT(accepted([&](auto *board) { return BoardPulseOutput(board, channel, 1234); }),
                    ElementsAre(store(0x1D0 + channel * 4, 1234), load(0x1CC, 0x80000000),
                                store(0x1CC, 0x80000000 | 1U << channel)));
    }
}

TEST_F(BoardRegisters, PulseStopClearsTheChannelsBits) {
    const uint32_t left[] = {0xFFFF3FFF, 0xFFFFCFFF, 0xFFFFF3FF, 0xFFFFFCFF};
    for (uint32_t channel = 0; channel < 4; ++channel) {
        poke(bar1() + 0x054, 0xFFFFFFFFU);
        EXPECT_THAT(accepted([&](auto *board) { return BoardPulseStop(board, channel); }),
                    ElementsAre(load(0x054, 0xFFFFFFFF), store(0x054, left[channel])));
    }
}

// ---- raw registers -----------------------------------------------------------------------------

TEST_F(BoardRegisters, RawReadIsOneRead) {
    poke(bar1() + 0xFFC, 0x01020304U);
    uint32_t value = 0;
    EXPECT_THAT(accepted([&](auto *board) { return BoardBAR1Read(board, 0xFFC, &value); }),
                ElementsAre(load(0xFFC, 0x01020304)));
    EXPECT_EQ(value, 0x01020304U);
}

TEST_F(BoardRegisters, RawReadWithoutAPlaceReadsNothing) {
    EXPECT_THAT(accepted([](auto *board) { return BoardBAR1Read(board, 0, nullptr); }), IsEmpty());
}

TEST_F(BoardRegisters, RawWriteIsOneStore) {
    EXPECT_THAT(accepted([](auto *board) { return BoardBAR1Write(board, 0xFFC, 0x05060708); }),
                ElementsAre(store(0xFFC, 0x05060708)));
}

// ---- configuration block -----------------------------------------------------------------------

TEST_F(BoardRegisters, HeartbeatIsOneRead) {
    for (uint32_t counter = 0; counter < 4; ++counter) {
        const size_t offset = 0x190 + counter * 4;
        poke(bar2() + offset, 0xFFFFFF00 + counter);
        uint32_t value = 0;
        EXPECT_THAT(accepted([&](auto *board) { return BoardHeardCnt(board, counter, &value); }),
                    ElementsAre(load_of(kBar2, offset, 4, 0xFFFFFF00 + counter)));
        EXPECT_EQ(value, 0xFFFFFF00 + counter);
    }
}

TEST_F(BoardRegisters, AliveIsOneRead) {
    poke(bar2() + 0x18C, 0U);
    bool alive = false;
    EXPECT_THAT(accesses([&] { alive = BoardIsAlive(board()); }),
                ElementsAre(load_of(kBar2, 0x18C, 4, 0)));
    EXPECT_TRUE(alive);
}

TEST_F(BoardRegisters, AliveIsZeroAndNothingElse) {
    for (const uint32_t word : {1U, 0x80000000U, 0xFFFFFFFFU}) {
        poke(bar2() + 0x18C, word);
        EXPECT_FALSE(BoardIsAlive(board())) << word;
    }
}

TEST_F(BoardRegisters, SettingsOfTheHostTouchNothing) {
    EXPECT_THAT(accepted([](auto *board) { return BoardSetTimeout(board, 5); }), IsEmpty());
    EXPECT_THAT(accepted(BoardCDMAIsEnable), IsEmpty());
    EXPECT_THAT(accesses(BoardUpdateUnlimitSize), IsEmpty());
}

// ---- nothing is touched before the arguments are accepted --------------------------------------

TEST_F(BoardRegisters, RefusedArgumentsTouchNothing) {
    const auto refused = [this](auto call) {
        uint32_t status = 0;
        EXPECT_THAT(accesses([&] { status = call(board()); }), IsEmpty());
        EXPECT_EQ(status, 32770U);
    };
    uint32_t value = 0;
    refused([&](auto *board) { return BoardLatchCfg(board, 22); });
    refused([&](auto *board) { return BoardLatchState(board, 4, &value); });
    refused([&](auto *board) { return BoardLatchOnRead(board, 4, &value, &value); });
    refused([&](auto *board) { return BoardLatchOnRead(board, 0, nullptr, &value); });
    refused([&](auto *board) { return BoardLatchOnRead(board, 0, &value, nullptr); });
    refused([&](auto *board) { return BoardSeqLatchCfg(board, 22); });
    refused([&](auto *board) { return BoardSeqLatchRun(board, 1024); });
    refused([&](auto *board) { return BoardSeqLatchOnRead(board, 4, 0, &value, &value); });
    refused([&](auto *board) { return BoardSeqLatchOnRead(board, 0, 0, nullptr, &value); });
    refused([&](auto *board) { return BoardSeqLatchOnRead(board, 0, 0, &value, nullptr); });
    refused([&](auto *board) { return BoardPWMOutput(board, 4, 1000, 50); });
    refused([&](auto *board) { return BoardPWMStop(board, 4); });
    refused([&](auto *board) { return BoardPWMGetConfig(board, 4, &value, &value); });
    refused([&](auto *board) { return BoardPulseConfig(board, 4, 0, 0, 0, 1000, 50); });
    refused([&](auto *board) {
        return BoardPulseGetConfig(board, 4, &value, nullptr, &value, &value, &value);
    });
    refused([&](auto *board) { return BoardPulseOutput(board, 4, 1); });
    refused([&](auto *board) { return BoardPulseStop(board, 4); });
    refused([&](auto *board) { return BoardHeardCnt(board, 4, &value); });
}

} // namespace
