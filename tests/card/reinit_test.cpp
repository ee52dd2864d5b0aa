// What a bus start keeps of the images, by reinit mode.
#include "card/pi_fixture.h"

namespace {

using namespace tarn;
using tarn::test::Bytes;

class Reinit : public test::PiTest {
  protected:
    void SetUp() override {
        open();
        ASSERT_EQ(run(), 0u);
        ASSERT_EQ(EcatBusStop(handle_), 0u);
        fill_images();
    }

    uint32_t run() {
        vcard::MakeEniOptions options;
        options.slaves = {{"dio8", 8}};
        return EcatBusRun(handle_, write_eni(vcard::make_eni(options)));
    }

    // Something recognisable everywhere.
    void fill_images() {
        memset(handle_->normal_output_cache, 0x11, kImageBytes);
        memset(handle_->normal_output_buffer, 0x12, kPhysicalBytes);
        memset(handle_->normal_input_cache, 0x21, kImageBytes);
        memset(handle_->normal_input_buffer, 0x22, kPhysicalBytes);
        memset(handle_->fast_output, 0x31, kImageBytes);
        memset(handle_->card_area_object.local, 0x41, kImageBytes);
        memset(handle_->shadow_input, 0x51, kImageBytes);
    }

    static bool all_are(const uint8_t *bytes, uint32_t count, uint8_t value) {
        return std::all_of(bytes, bytes + count, [=](uint8_t byte) { return byte == value; });
    }
    void expect_normal_images(bool kept) {
        EXPECT_TRUE(all_are(handle_->normal_output_cache, kImageBytes, kept ? 0x11 : 0));
        EXPECT_TRUE(all_are(handle_->normal_output_buffer, kPhysicalBytes, kept ? 0x12 : 0));
        EXPECT_TRUE(all_are(handle_->normal_input_cache, kImageBytes, kept ? 0x21 : 0));
        EXPECT_TRUE(all_are(handle_->normal_input_buffer, kPhysicalBytes, kept ? 0x22 : 0));
    }
    void expect_triple_images(bool kept) {
        EXPECT_TRUE(all_are(handle_->fast_output, kImageBytes, kept ? 0x31 : 0));
        EXPECT_TRUE(all_are(handle_->shadow_input, kImageBytes, kept ? 0x51 : 0));
    }
    void expect_empty_card_area() {
        EXPECT_TRUE(all_are(handle_->card_area_object.local, kImageBytes, 0));
    }
};

TEST_F(Reinit, AStartEmptiesAllImages) {
    ASSERT_EQ(run(), 0u);
    expect_normal_images(false);
    expect_triple_images(false);
    expect_empty_card_area();
}

TEST_F(Reinit, AnUnknownModeEmptiesAllImages) {
    EcatPIReinitModeSet(handle_, 1);
    ASSERT_EQ(run(), 0u);
    expect_normal_images(false);
    expect_triple_images(false);
    fill_images();
    EcatPIReinitModeSet(handle_, 4);
    ASSERT_EQ(EcatBusStop(handle_), 0u);
    ASSERT_EQ(run(), 0u);
    expect_normal_images(false);
    expect_triple_images(false);
}

TEST_F(Reinit, ModeTwoKeepsTheTripleBuffersAndSendsTheirOutputsAgain) {
    EcatPIReinitModeSet(handle_, 2);
    const uint32_t published = card().fast_output.counter;
    ASSERT_EQ(run(), 0u);
    expect_normal_images(false);
    expect_triple_images(true);
    expect_empty_card_area();
    EXPECT_EQ(card().fast_output.counter, published + 1);
    EXPECT_EQ(pi_info().fast_output_dirty, 0u);
    EXPECT_TRUE(all_are(card().fast_output_buffers[card().fast_output.host & 3], 8, 0x31));
}

TEST_F(Reinit, ModeThreeKeepsTheNormalImagesAndPushesTheOutputs) {
    EcatPIReinitModeSet(handle_, 3);
    const uint32_t entry = card().output_queue_write;
    ASSERT_EQ(run(), 0u);
    expect_normal_images(true);
    expect_triple_images(false);
    expect_empty_card_area();
    EXPECT_EQ(card().output_queue_write, entry + 1);
    EXPECT_TRUE(all_are(card().output_queue[entry % 128], 8, 0x11));
    EXPECT_EQ(card().output_queue[entry % 128][4095], 1);
}

TEST_F(Reinit, OtherModesSendNothing) {
    const uint32_t published = card().fast_output.counter;
    const uint32_t pushed = card().output_queue_write;
    ASSERT_EQ(run(), 0u);
    EXPECT_EQ(card().fast_output.counter, published);
    EXPECT_EQ(card().output_queue_write, pushed);
}

TEST_F(Reinit, AMarkFromBeforeTheStartIsForgotten) {
    pi_info().fast_output_dirty = 1;
    const uint32_t published = card().fast_output.counter;
    ASSERT_EQ(run(), 0u);
    EXPECT_EQ(pi_info().fast_output_dirty, 0u);
    EXPECT_EQ(card().fast_output.counter, published);
}

TEST_F(Reinit, TheSharedModeHoldsForHandlesWithoutOne) {
    EXPECT_EQ(EcatPIReinitModeSetGlobal(handle_, 3), 0u);
    ASSERT_EQ(run(), 0u);
    expect_normal_images(true);
    expect_triple_images(false);
}

TEST_F(Reinit, AHandlesOwnModeComesFirst) {
    EcatPIReinitModeSetGlobal(handle_, 3);
    EcatPIReinitModeSet(handle_, 2);
    ASSERT_EQ(run(), 0u);
    expect_normal_images(false);
    expect_triple_images(true);
}

TEST_F(Reinit, AFailedDownloadKeepsAllImages) {
    EXPECT_EQ(EcatBusRun(handle_, "no-such-file.xml"), 32848u);
    expect_normal_images(true);
    expect_triple_images(true);
}

class ReinitMode : public test::PiTest {
  protected:
    void SetUp() override { open(); }
};

TEST_F(ReinitMode, IsZeroAtOpenAndKeepsWhatIsSet) {
    uint32_t mode = 7;
    EXPECT_EQ(EcatPIReinitModeGet(handle_, &mode), 0u);
    EXPECT_EQ(mode, 0u);
    EXPECT_EQ(EcatPIReinitModeSet(handle_, 0x12345678), 0u);
    EXPECT_EQ(EcatPIReinitModeGet(handle_, &mode), 0u);
    EXPECT_EQ(mode, 0x12345678u);
}

TEST_F(ReinitMode, TheSharedModeIsAWordOfTheChannelsControlBlock) {
    uint32_t mode = 7;
    EXPECT_EQ(EcatPIReinitModeGetGlobal(handle_, &mode), 0u);
    EXPECT_EQ(mode, 0u);
    auto *shared = static_cast<uint8_t *>(__pi_shared_memory);
    poke<uint32_t>(shared + 0x608708, 0xFFFFFFFF);
    EXPECT_EQ(EcatPIReinitModeSetGlobal(handle_, 0xFFFE), 0u);
    EXPECT_EQ(peek<uint32_t>(shared + 0x608708), 0xFFFEu);
    EXPECT_EQ(peek<uint32_t>(shared + 0x608808), 0u); // the other channel
    EXPECT_EQ(EcatPIReinitModeGetGlobal(handle_, &mode), 0u);
    EXPECT_EQ(mode, 0xFFFEu);
}

TEST_F(ReinitMode, OtherHandlesSeeTheSharedModeOnly) {
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 0), 0u);
    EcatPIReinitModeSet(handle_, 2);
    EcatPIReinitModeSetGlobal(handle_, 3);
    uint32_t mode = 7;
    EcatPIReinitModeGet(second, &mode);
    EXPECT_EQ(mode, 0u);
    EcatPIReinitModeGetGlobal(second, &mode);
    EXPECT_EQ(mode, 3u);
    EcatClose(second);
}

TEST_F(ReinitMode, NullOutsAreInvalidPointers) {
    EXPECT_EQ(EcatPIReinitModeGet(handle_, nullptr), 32789u);
    EXPECT_EQ(EcatPIReinitModeGetGlobal(handle_, nullptr), 32789u);
}

} // namespace
