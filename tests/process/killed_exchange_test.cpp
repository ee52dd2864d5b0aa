// A process that is killed in the middle of an exchange of the inputs leaves half an image, which
// the card's words say was taken. Who gets the lock next makes it whole.
#include "card/pi_fixture.h"
#include "support/peer.h"

namespace {

using namespace tarn;
using test::Bytes;
using test::Flag;
using test::Peer;

TARN_PEER(exchanger) {
    driverLock(getMutex_pi(0, 0, ECAT_PI_SHADOW_INPUT));
    Flag(arguments.at(0)).raise();
    test::wait_for_the_end();
}

class KilledExchange : public test::PiTest {
  protected:
    static constexpr uint32_t kBytes = 64;
    static constexpr uint32_t kHeld = 1; // buffer

    void open_with(uint32_t generation, bool mapped) {
        open_generation(generation);
        use_tables({{0, kBytes * 8, 0}}, {{0, kBytes * 8, 0}}, kBytes, mapped);
        set_all_active();
    }

    // As it is after a kill in the middle of the copy: in the first generation the host word tells
    // of the new image by then, in the second it does not yet.
    void leave_half_an_image() {
        const bool first = handle_->pd_version == kPdVersionFirst;
        const uint32_t sequence = 256;
        card().shadow_input.card = first ? kHeld : sequence + kHeld;
        card().shadow_input.host = first ? kHeld : 0;
        memset(card().shadow_input_buffers[kHeld], kNew, kBytes);
        memset(image(ECAT_PI_SHADOW_INPUT), kOld, kBytes);
        memset(image(ECAT_PI_SHADOW_INPUT), kNew, kBytes / 2);
        const Flag holds;
        Peer peer("exchanger", {holds.name()});
        ASSERT_TRUE(holds.wait());
        peer.kill();
        ASSERT_EQ(peer.join(), test::kKilled);
    }

    template <typename Access>
    bool is_whole_after(Access &&access) {
        leave_half_an_image();
        access();
        return bytes_at(handle_->shadow_input, kBytes) == Bytes(kBytes, kNew);
    }

    Bytes read() {
        Bytes seen(kBytes);
        EXPECT_EQ(EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, kBytes, seen.data()), 0U);
        return seen;
    }

    static constexpr uint8_t kOld = 0x11;
    static constexpr uint8_t kNew = 0x22;
};

TEST_F(KilledExchange, TheNextReadIsWhole) {
    open_with(1, false);
    Bytes seen;
    EXPECT_TRUE(is_whole_after([&] { seen = read(); }));
    EXPECT_EQ(seen, Bytes(kBytes, kNew));
}

TEST_F(KilledExchange, AMappedImageIsWhole) {
    open_with(1, true);
    Bytes seen;
    EXPECT_TRUE(is_whole_after([&] { seen = read(); }));
    EXPECT_EQ(seen, Bytes(kBytes, kNew));
}

TEST_F(KilledExchange, AReadThatDoesNotExchangeIsWhole) {
    open_with(1, false);
    ASSERT_EQ(EcatPIASyncModeSet(handle_, ECAT_PI_MODE_MANUAL), 0U);
    Bytes seen;
    EXPECT_TRUE(is_whole_after([&] { seen = read(); }));
    EXPECT_EQ(seen, Bytes(kBytes, kNew));
}

TEST_F(KilledExchange, InTheSecondGenerationTooAReadThatDoesNotExchangeIsWhole) {
    open_with(2, false);
    ASSERT_EQ(EcatPIASyncModeSet(handle_, ECAT_PI_MODE_MANUAL), 0U);
    EXPECT_TRUE(is_whole_after([&] { EXPECT_EQ(read(), Bytes(kBytes, kNew)); }));
}

TEST_F(KilledExchange, InTheSecondGenerationTooAMappedImageIsWhole) {
    open_with(2, true);
    ASSERT_EQ(EcatPIASyncModeSet(handle_, ECAT_PI_MODE_MANUAL), 0U);
    EXPECT_TRUE(is_whole_after([&] { EXPECT_EQ(read(), Bytes(kBytes, kNew)); }));
}

TEST_F(KilledExchange, AnAccessToAnotherAreaMendsTheInputs) {
    open_with(1, false);
    const uint8_t value = 1;
    EXPECT_TRUE(is_whole_after(
        [&] { EXPECT_EQ(EcatPIWrite(handle_, ECAT_PI_NORMAL_OUTPUT, 0, 1, &value), 0U); }));
}

TEST_F(KilledExchange, AnUpdateOfTheOutputsMendsTheInputs) {
    open_with(1, false);
    EXPECT_TRUE(is_whole_after(
        [&] { EXPECT_EQ(EcatPIASyncUpdateData(handle_, ECAT_PI_FAST_OUTPUT), 0U); }));
}

TEST_F(KilledExchange, AnOpenMendsTheInputs) {
    open_with(1, false);
    EXPECT_TRUE(is_whole_after([&] {
        EcatHandle *second = nullptr;
        EXPECT_EQ(EcatOpen(&second, "ID0", 0), 0U);
        EcatClose(second);
    }));
}

TEST_F(KilledExchange, ABufferThatIsNoneIsNotTaken) {
    open_with(1, false);
    leave_half_an_image();
    card().shadow_input.card = 3;
    card().shadow_input.host = 3;
    Bytes half(kBytes, kOld);
    std::fill_n(half.begin(), kBytes / 2, kNew);
    EXPECT_EQ(read(), half);
}

} // namespace
