// The card's side of the triple buffers against a host that follows the exchange rules.
#include "vcard/bus/triple_buffer.h"

#include "card/host_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using namespace tarn;
using namespace tarn::vcard;
using tarn::test::HostInputs;
using tarn::test::HostOutputs;

namespace {

// An image whose every word is its number, so that a torn one shows.
struct Stamped {
    explicit Stamped(uint32_t number = 0) { words.fill(number); }
    [[nodiscard]] bool whole() const {
        return std::all_of(words.begin(), words.end(), [&](uint32_t w) { return w == words[0]; });
    }
    [[nodiscard]] uint32_t number() const { return words[0]; }
    uint8_t *bytes() { return reinterpret_cast<uint8_t *>(words.data()); }
    std::array<uint32_t, kPiBufferSize / 4> words;
};

class TripleBufferCard : public testing::TestWithParam<uint32_t> {
  protected:
    void host_writes(uint32_t number) {
        Stamped image(number);
        host_outputs.publish(image.bytes(), kPiBufferSize);
    }
    void card_writes(uint32_t number) {
        Stamped image(number);
        writer.publish(image.bytes(), kPiBufferSize);
    }

    std::unique_ptr<PiCardArea> memory = std::make_unique<PiCardArea>();
    PiCardArea &area = *memory;
    HostOutputs host_outputs{area, GetParam()};
    HostInputs host_inputs{area, GetParam()};
    FastOutputReader reader{&area.fast_output, area.fast_output_buffers, GetParam()};
    ShadowInputWriter writer{&area.shadow_input, area.shadow_input_buffers, GetParam()};
    Stamped seen;
};

INSTANTIATE_TEST_SUITE_P(Generation, TripleBufferCard, testing::Values(1U, 2U));

// ---- fast outputs -----------------------------------------------------------------------------

TEST_P(TripleBufferCard, NothingPublishedIsNothingToTake) {
    EXPECT_FALSE(reader.take(seen.bytes(), kPiBufferSize));
}

TEST_P(TripleBufferCard, TakesAnImageOnce) {
    host_writes(7);
    EXPECT_TRUE(reader.take(seen.bytes(), kPiBufferSize));
    EXPECT_EQ(seen.number(), 7U);
    EXPECT_FALSE(reader.take(seen.bytes(), kPiBufferSize));
}

TEST_P(TripleBufferCard, TakesTheNewestOfSeveral) {
    for (uint32_t round = 0; round < 20; ++round) {
        for (uint32_t i = 0; i <= round % 5; ++i) {
            host_writes(round * 10 + i);
        }
        ASSERT_TRUE(reader.take(seen.bytes(), kPiBufferSize));
        EXPECT_EQ(seen.number(), round * 10 + round % 5);
    }
}

TEST_P(TripleBufferCard, CopiesNoMoreThanTheImage) {
    host_writes(5);
    ASSERT_TRUE(reader.take(seen.bytes(), 8));
    EXPECT_EQ(seen.words[1], 5U);
    EXPECT_EQ(seen.words[2], 0U);
}

TEST_P(TripleBufferCard, SkippedImagesAreNotTaken) {
    host_writes(7);
    reader.skip();
    EXPECT_FALSE(reader.take(seen.bytes(), kPiBufferSize));
    host_writes(8);
    EXPECT_TRUE(reader.take(seen.bytes(), kPiBufferSize));
    EXPECT_EQ(seen.number(), 8U);
}

TEST_P(TripleBufferCard, HostNeverWritesWhatTheCardTakes) {
    std::atomic<bool> done{false};
    constexpr uint32_t kLast = 100'000;
    std::thread host([&] {
        for (uint32_t i = 1; i <= kLast; ++i) {
            host_writes(i);
        }
        done = true;
    });
    uint32_t torn = 0;
    uint32_t backwards = 0;
    uint32_t starved = 0;
    uint32_t newest = 0;
    for (bool last = false; !last;) {
        last = done;
        const uint32_t before = card::load32(&area.fast_output.counter);
        const bool taken = reader.take(seen.bytes(), kPiBufferSize);
        starved += !taken && before > newest + 1 ? 1U : 0U;
        if (taken) {
            torn += seen.whole() ? 0U : 1U;
            backwards += seen.number() < newest ? 1U : 0U;
            newest = seen.number();
        }
    }
    host.join();
    EXPECT_EQ(torn, 0U);
    EXPECT_EQ(backwards, 0U);
    EXPECT_EQ(starved, 0U);
    while (reader.take(seen.bytes(), kPiBufferSize)) {
        newest = seen.number();
    }
    EXPECT_EQ(newest, kLast);
}

TEST(TripleBufferCardOutputs, FirstGenerationAnnouncesTheBufferRead) {
    PiCardArea area{};
    HostOutputs host(area, 1);
    FastOutputReader reader(&area.fast_output, area.fast_output_buffers, 1);
    Stamped image(3);
    host.publish(image.bytes(), 16); // newest 0, read 0: buffer 1
    EXPECT_EQ(area.fast_output.host, 1U);
    ASSERT_TRUE(reader.take(image.bytes(), 16));
    EXPECT_EQ(area.fast_output.card, 1U);
    host.publish(image.bytes(), 16);
    EXPECT_EQ(area.fast_output.host, 0U);
    host.publish(image.bytes(), 16); // neither 0, the newest, nor 1, which the card reads
    EXPECT_EQ(area.fast_output.host, 2U);
}

TEST(TripleBufferCardOutputs, SecondGenerationNotesTheSequenceTaken) {
    PiCardArea area{};
    HostOutputs host(area, 2);
    FastOutputReader reader(&area.fast_output, area.fast_output_buffers, 2);
    Stamped image(3);
    host.publish(image.bytes(), 16);
    ASSERT_TRUE(reader.take(image.bytes(), 16));
    EXPECT_EQ(area.fast_output.card, area.fast_output.host);
    EXPECT_EQ(area.fast_output.card & 4, 0U); // holds nothing
}

TEST(TripleBufferCardOutputs, SecondGenerationTakesTheImageBeforeTheOneBeingWritten) {
    PiCardArea area{};
    HostOutputs host(area, 2);
    FastOutputReader reader(&area.fast_output, area.fast_output_buffers, 2);
    Stamped image(3);
    Stamped seen;
    host.publish(image.bytes(), kPiBufferSize);
    host.begin();
    std::memset(host.buffer(), 0xEE, kPiBufferSize / 2);
    ASSERT_TRUE(reader.take(seen.bytes(), kPiBufferSize));
    EXPECT_TRUE(seen.whole());
    EXPECT_EQ(seen.number(), 3U);
    std::memset(host.buffer(), 0xEE, kPiBufferSize);
    host.end();
    ASSERT_TRUE(reader.take(seen.bytes(), kPiBufferSize));
    EXPECT_EQ(seen.number(), 0xEEEEEEEEU);
}

TEST(TripleBufferCardOutputs, SecondGenerationDoesNotTakeABegunPublicationForNews) {
    PiCardArea area{};
    HostOutputs host(area, 2);
    FastOutputReader reader(&area.fast_output, area.fast_output_buffers, 2);
    Stamped image(3);
    host.publish(image.bytes(), 16);
    ASSERT_TRUE(reader.take(image.bytes(), 16));
    host.begin();
    EXPECT_FALSE(reader.take(image.bytes(), 16));
}

// ---- shadow inputs ----------------------------------------------------------------------------

TEST_P(TripleBufferCard, HostSeesNothingBeforeTheFirstImage) {
    EXPECT_FALSE(host_inputs.pull(seen.bytes(), kPiBufferSize));
}

TEST_P(TripleBufferCard, HostSeesAnImageOnce) {
    card_writes(9);
    EXPECT_TRUE(host_inputs.pull(seen.bytes(), kPiBufferSize));
    EXPECT_EQ(seen.number(), 9U);
    EXPECT_FALSE(host_inputs.pull(seen.bytes(), kPiBufferSize));
}

TEST_P(TripleBufferCard, HostSeesTheNewestOfSeveral) {
    for (uint32_t round = 0; round < 20; ++round) {
        for (uint32_t i = 0; i <= round % 5; ++i) {
            card_writes(round * 10 + i);
        }
        ASSERT_TRUE(host_inputs.pull(seen.bytes(), kPiBufferSize));
        EXPECT_EQ(seen.number(), round * 10 + round % 5);
    }
}

TEST_P(TripleBufferCard, EveryPublicationIsCounted) {
    card_writes(1);
    card_writes(2);
    EXPECT_EQ(area.shadow_input.counter, 2U);
}

TEST(TripleBufferCardInputs, FirstGenerationSparesTheBufferThatTheHostNames) {
    PiCardArea area{};
    ShadowInputWriter writer(&area.shadow_input, area.shadow_input_buffers, 1);
    for (uint32_t host = 0; host < 3; ++host) {
        card::store32(&area.shadow_input.host, host);
        for (uint32_t i = 0; i < 10; ++i) {
            const uint32_t newest = area.shadow_input.card;
            Stamped image(100 + i);
            const Stamped mark(55);
            std::memcpy(area.shadow_input_buffers[host], mark.words.data(), kPiBufferSize);
            writer.publish(image.bytes(), kPiBufferSize);
            EXPECT_NE(area.shadow_input.card, newest);
            EXPECT_EQ(area.shadow_input_buffers[host][0], 55);
        }
    }
}

// A host that takes each word in hand before the card has published twice.
TEST(TripleBufferCardInputs, FirstGenerationLetsTheHostCopyInPeace) {
    PiCardArea area{};
    ShadowInputWriter writer(&area.shadow_input, area.shadow_input_buffers, 1);
    uint32_t number = 0;
    const auto publish = [&](uint32_t times) {
        for (uint32_t i = 0; i < times; ++i) {
            Stamped image(++number);
            writer.publish(image.bytes(), kPiBufferSize);
        }
    };
    for (uint32_t choice = 1, round = 0; round < 5000; ++round) {
        choice = choice * 1664525 + 1013904223;
        publish(1 + (choice >> 20) % 3);
        const uint32_t newest = area.shadow_input.card;
        publish((choice >> 24) % 2);
        card::store32(&area.shadow_input.host, newest);
        Stamped seen;
        std::memcpy(seen.bytes(), area.shadow_input_buffers[newest], kPiBufferSize / 2);
        publish((choice >> 28) % 4);
        std::memcpy(seen.bytes() + kPiBufferSize / 2,
                    area.shadow_input_buffers[newest] + kPiBufferSize / 2, kPiBufferSize / 2);
        ASSERT_TRUE(seen.whole()) << round;
    }
}

TEST(TripleBufferCardInputs, SecondGenerationIsOddWhileWritingAndEvenAfter) {
    PiCardArea area{};
    ShadowInputWriter writer(&area.shadow_input, area.shadow_input_buffers, 2);
    Stamped image(1);
    writer.publish(image.bytes(), 16);
    EXPECT_EQ(area.shadow_input.card >> 8, 2U);
    writer.publish(image.bytes(), 16);
    EXPECT_EQ(area.shadow_input.card >> 8, 4U);
}

TEST(TripleBufferCardInputs, SecondGenerationEchoesTheRequest) {
    PiCardArea area{};
    ShadowInputWriter writer(&area.shadow_input, area.shadow_input_buffers, 2);
    Stamped image(1);
    card::store32(&area.shadow_input.host, 0x5A00 | 0xAC | 1);
    writer.publish(image.bytes(), 16);
    EXPECT_EQ(area.shadow_input.card & 0xFC, 0xACU);
}

TEST(TripleBufferCardInputs, SecondGenerationKeepsTheHeldBufferUntilReleased) {
    PiCardArea area{};
    ShadowInputWriter writer(&area.shadow_input, area.shadow_input_buffers, 2);
    for (uint32_t held = 0; held < 3; ++held) {
        card::store32(&area.shadow_input.host, 4 | held);
        std::vector<uint32_t> used;
        for (uint32_t i = 0; i < 10; ++i) {
            const uint32_t newest = area.shadow_input.card & 3;
            Stamped image(i);
            writer.publish(image.bytes(), 16);
            used.push_back(area.shadow_input.card & 3);
            EXPECT_NE(used.back(), held);
            EXPECT_NE(used.back(), newest);
        }
        card::store32(&area.shadow_input.host, held);
        for (uint32_t i = 0; i < 3; ++i) {
            Stamped image(i);
            writer.publish(image.bytes(), 16);
            used.push_back(area.shadow_input.card & 3);
        }
        EXPECT_NE(std::find(used.begin(), used.end(), held), used.end());
    }
}

TEST(TripleBufferCardInputs, SecondGenerationHostNeverSeesATornImage) {
    auto memory = std::make_unique<PiCardArea>();
    PiCardArea &area = *memory;
    HostInputs host(area, 2);
    ShadowInputWriter writer(&area.shadow_input, area.shadow_input_buffers, 2);
    std::atomic<bool> done{false};
    constexpr uint32_t kLast = 100'000;
    std::thread card([&] {
        for (uint32_t i = 1; i <= kLast; ++i) {
            Stamped image(i);
            writer.publish(image.bytes(), kPiBufferSize);
        }
        done = true;
    });
    Stamped seen;
    uint32_t torn = 0;
    uint32_t backwards = 0;
    uint32_t in_vain = 0;
    uint32_t longest = 0;
    uint32_t newest = 0;
    for (bool last = false; !last;) {
        last = done;
        const uint32_t before = card::load32(&area.shadow_input.counter);
        if (host.pull(seen.bytes(), kPiBufferSize)) {
            torn += seen.whole() ? 0U : 1U;
            backwards += seen.number() < newest ? 1U : 0U;
            newest = seen.number();
            in_vain = 0;
        } else if (before > newest + 1) {
            longest = std::max(longest, ++in_vain);
        }
    }
    card.join();
    EXPECT_EQ(torn, 0U);
    EXPECT_EQ(backwards, 0U);
    EXPECT_LT(longest, 8U); // a request is granted with the second publication after it
    while (host.pull(seen.bytes(), kPiBufferSize)) {
        newest = seen.number();
    }
    EXPECT_EQ(newest, kLast);
}

// ---- hosts that follow no rules ---------------------------------------------------------------

TEST_P(TripleBufferCard, AnyHostWordIsHarmless) {
    for (uint32_t x = 1, i = 0; i < 10'000; ++i) {
        x = x * 1664525 + 1013904223;
        const uint32_t word = (i % 2) != 0 ? x : x >> 29;
        card::store32(&area.fast_output.host, word);
        card::store32(&area.fast_output.card, ~word);
        card::store32(&area.shadow_input.host, word);
        card::store32(&area.shadow_input.card, ~word);
        reader.take(seen.bytes(), kPiBufferSize);
        if (i % 7 == 0) {
            reader.skip();
        }
        card_writes(i);
        EXPECT_LE(area.shadow_input.card & 3, 2U);
    }
    card::store32(&area.fast_output.host, 0);
    card::store32(&area.fast_output.card, 0);
    host_writes(1);
    host_writes(2);
    EXPECT_TRUE(reader.take(seen.bytes(), kPiBufferSize));
    EXPECT_EQ(seen.number(), 2U);
}

} // namespace
