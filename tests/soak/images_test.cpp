// Process images through the card and back for a long time: none may come torn, and none may be
// lost or repeated without being seen. Channel 0 carries them through the two queues, which hand
// over each image once, in order, and count what they drop. Channel 1 carries them through fast
// outputs and shadow inputs, where the newest wins: gaps show in the sequence, and it never goes
// back. A second process reads along in cycle mode, a third one is killed and started all the time.
//
// TARN_SOAK_SECONDS and TARN_SOAK_FAST_SECONDS say how long a test at 1 kHz and at 10 kHz runs.
// Cycles that the machine was too busy for are counted and told, and are no failure.
#include "pci_tarn/pci_tarn.h"
#include "soak/stamped_image.h"
#include "support/peer.h"
#include "support/thread_rights.h"
#include "support/virtual_card.h"
#include "vcard/bus/make_eni.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <thread>

namespace {

using namespace tarn;
using test::Flag;
using test::Peer;
using test::StampedImage;

constexpr uint32_t kSlaves = 512; // of 16 outputs and 16 inputs each
constexpr uint32_t kImageBytes = kSlaves * 2;
constexpr uint32_t kPatienceMs = 1000;
constexpr char kLastFile[] = "last.txt"; // last sequence that was written to channel 1

EcatHandle *open_channel(uint32_t channel) {
    EcatHandle *handle = nullptr;
    return EcatOpen(&handle, "ID0", channel) == 0 ? handle : nullptr;
}

uint32_t seconds_of(const char *variable) {
    const char *text = std::getenv(variable);
    return text != nullptr ? static_cast<uint32_t>(std::atoi(text)) : 2;
}

// ---- what a reader of the newest image checks -------------------------------------------------

class NewestReader {
  public:
    explicit NewestReader(EcatHandle *handle) : handle_(handle) {}

    // False when what it read cannot be.
    bool look() {
        if (const uint32_t status =
                EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, image_.bytes(), image_.data());
            status != 0) {
            return fail("read: status " + std::to_string(status));
        }
        if (!image_.whole()) {
            ++torn_;
            return fail("torn image behind sequence " + std::to_string(last_));
        }
        const uint32_t sequence = image_.sequence();
        if (sequence < last_) {
            return fail("sequence " + std::to_string(sequence) + " after " + std::to_string(last_));
        }
        images_ += sequence != last_ ? 1 : 0;
        skipped_ += sequence > last_ ? sequence - last_ - 1 : 0;
        last_ = sequence;
        return true;
    }

    [[nodiscard]] uint32_t last() const { return last_; }
    [[nodiscard]] const std::string &trouble() const { return trouble_; }
    [[nodiscard]] std::string text() const {
        return std::to_string(images_) + " images read, " + std::to_string(skipped_) +
               " replaced by newer ones";
    }

  private:
    bool fail(const std::string &what) {
        trouble_ = what;
        return false;
    }

    EcatHandle *handle_;
    StampedImage image_{kImageBytes};
    uint32_t last_ = 0;
    uint64_t images_ = 0;
    uint64_t skipped_ = 0;
    uint64_t torn_ = 0;
    std::string trouble_;
};

// ---- the other processes ----------------------------------------------------------------------

// Reads along on channel 1 until the flag is raised, then up to the last image that was written.
TARN_PEER(reads_along) {
    static const test::RealtimeAnswer granted(true);
    const Flag done(arguments.at(0));
    EcatHandle *handle = open_channel(1);
    if (handle == nullptr || EcatPIASyncModeSet(handle, ECAT_PI_MODE_CYCLE) != 0) {
        return 1;
    }
    NewestReader reader(handle);
    const auto read_on = [&] {
        EcatPIInputWaitNotify(handle, 100);
        return reader.look();
    };
    bool good = true;
    while (good && !done.is_raised()) {
        good = read_on();
    }
    uint32_t last = 0;
    std::ifstream(kLastFile) >> last;
    const bool reached = good && test::eventually([&] {
                             good = good && read_on();
                             return !good || reader.last() == last;
                         });
    if (!good) {
        std::fprintf(stderr, "reading along: %s\n", reader.trouble().c_str());
    } else if (!reached) {
        std::fprintf(stderr, "reading along: image %u was lost, the last one seen is %u\n", last,
                     reader.last());
    }
    std::printf("soak: reading along in cycle mode: %s\n", reader.text().c_str());
    EcatClose(handle);
    return good && reached ? 0 : 1;
}

// Uses locks, images and requests without end.
TARN_PEER(victim) {
    EcatHandle *queues = open_channel(0);
    EcatHandle *newest = open_channel(1);
    std::vector<uint8_t> image(kImageBytes);
    for (;;) {
        EcatPIRead(newest, ECAT_PI_SHADOW_INPUT, 0, kImageBytes, image.data());
        EcatPIRead(newest, ECAT_PI_FAST_OUTPUT, 0, kImageBytes, image.data());
        EcatPIRead(queues, ECAT_PI_NORMAL_INPUT, 0, kImageBytes, image.data());
        EcatPIWatchDogFeed(queues);
        uint8_t state = 0;
        EcatGetMasterState(queues, &state);
        __usleep_window(200);
    }
}

// ---- the test ---------------------------------------------------------------------------------

struct Kind {
    uint32_t generation;
    bool mapped;
    uint32_t cycle_us;
};

class Images : public testing::TestWithParam<Kind> {
  protected:
    void SetUp() override {
        vcard::CardConfig card = test::VirtualCards::default_card();
        card.generation = GetParam().generation;
        cards = std::make_unique<test::VirtualCards>(std::vector{card});
        vcard::MakeEniOptions options;
        options.slaves = {{"dio16", kSlaves}};
        options.cycle_us = GetParam().cycle_us;
        options.logical_mapping = options.reversed_mapping = GetParam().mapped;
        std::ofstream("soak.xml", std::ios::binary) << vcard::make_eni(options);
        for (uint32_t channel = 0; channel < 2; ++channel) {
            channels[channel] = open_channel(channel);
            ASSERT_NE(channels[channel], nullptr);
            ASSERT_EQ(EcatBusRun(channels[channel], "soak.xml"), 0u);
            ASSERT_EQ(EcatRequestMasterState(channels[channel], ECAT_STATE_OP), 0u);
        }
    }
    ~Images() override {
        for (EcatHandle *handle : channels) {
            EcatClose(handle);
        }
    }

    [[nodiscard]] vcard::Bus::PiStatus status(uint32_t channel) const {
        return cards->card().pi_status(channel);
    }
    void stop_all(const std::string &why) {
        ADD_FAILURE() << why;
        stop = true;
    }

    void push_images();
    void pop_images();
    void publish_images();
    void read_newest();
    void kill_again_and_again();
    void run_for(std::chrono::seconds time);

    std::unique_ptr<test::VirtualCards> cards;
    EcatHandle *channels[2] = {};
    std::atomic<bool> stop{false};
    std::atomic<bool> pushing{true};
    uint32_t pushed = 0;
    uint64_t popped = 0;
    uint64_t repeated = 0; // cycles without a new image: the output queue was empty
    uint64_t missing = 0;  // images that the input queue dropped
    uint32_t published = 0;
    uint32_t killed = 0;
    std::string newest;
};

// Each image once into the output queue.
void Images::push_images() {
    StampedImage image(kImageBytes);
    while (!stop) {
        image.stamp(pushed + 1);
        EcatPIWrite(channels[0], ECAT_PI_NORMAL_OUTPUT, 0, image.bytes(), image.data());
        const uint32_t result = EcatPIOutputQueuePush(channels[0], 0, kPatienceMs);
        if (result == 0) {
            ++pushed;
        } else if (result != 80011) {
            stop_all("push: status " + std::to_string(result));
        }
    }
    pushing = false;
}

// Each image of a cycle once out of the input queue, until the last one that was pushed is there.
void Images::pop_images() {
    StampedImage image(kImageBytes);
    uint32_t last = 0;
    for (uint32_t silent = 0; (pushing || last != pushed) && silent < 20;) {
        const uint32_t result = EcatPIInputQueuePop(channels[0], 0, kPatienceMs);
        if (result == 80003) {
            ++silent;
            continue;
        }
        silent = 0;
        ++popped;
        EcatPIRead(channels[0], ECAT_PI_NORMAL_INPUT, 0, image.bytes(), image.data());
        if (!image.whole()) {
            stop_all("torn image out of the input queue behind " + std::to_string(last));
            return;
        }
        const uint32_t sequence = image.sequence();
        if (sequence < last) {
            stop_all(std::to_string(sequence) + " after " + std::to_string(last));
            return;
        }
        repeated += sequence == last ? 1 : 0;
        missing += sequence > last ? sequence - last - 1 : 0;
        last = sequence;
        if (missing > status(0).inputs_dropped) {
            stop_all("an image was lost before " + std::to_string(sequence));
            return;
        }
    }
    EXPECT_TRUE(last == pushed || missing > 0) << last << " of " << pushed;
}

void Images::publish_images() {
    StampedImage image(kImageBytes);
    while (!stop) {
        image.stamp(++published);
        const uint32_t result =
            EcatPIWrite(channels[1], ECAT_PI_FAST_OUTPUT, 0, image.bytes(), image.data());
        if (result != 0) {
            stop_all("write: status " + std::to_string(result));
        }
        __usleep_window(GetParam().cycle_us / 2);
    }
}

void Images::read_newest() {
    NewestReader reader(channels[1]);
    while (!stop) {
        if (!reader.look()) {
            stop_all(reader.trouble());
        }
        __usleep_window(GetParam().cycle_us / 3);
    }
    newest = reader.text();
}

void Images::kill_again_and_again() {
    std::minstd_rand random(1);
    while (!stop) {
        Peer victim("victim");
        __usleep_window(20000 + static_cast<uint32_t>(random() % 60000));
        victim.kill();
        victim.join();
        ++killed;
    }
}

void Images::run_for(std::chrono::seconds time) {
    std::thread threads[] = {
        std::thread([this] { push_images(); }), std::thread([this] { pop_images(); }),
        std::thread([this] { publish_images(); }), std::thread([this] { read_newest(); }),
        std::thread([this] { kill_again_and_again(); })};
    const auto end = std::chrono::steady_clock::now() + time;
    while (!stop && std::chrono::steady_clock::now() < end) {
        test::short_pause();
    }
    stop = true;
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST_P(Images, NoneIsTornOrLostOrRepeatedUnnoticed) {
    const Flag done;
    Peer along("reads_along", {done.name()});
    run_for(std::chrono::seconds(
        seconds_of(GetParam().cycle_us == 1000 ? "TARN_SOAK_SECONDS" : "TARN_SOAK_FAST_SECONDS")));
    std::ofstream(kLastFile) << published;
    done.raise();
    EXPECT_EQ(along.join(), 0) << along.process().err();

    ASSERT_EQ(EcatBusStop(channels[0]), 0u);
    const vcard::Bus::PiStatus queues = status(0);
    const vcard::Bus::PiStatus fast = status(1);
    EXPECT_EQ(queues.outputs_taken, pushed);
    EXPECT_EQ(popped + queues.input_queue + queues.inputs_dropped, queues.cycles);
    EXPECT_EQ(queues.queue_restarts, 0u);
    std::printf("%ssoak: queues: %u images pushed, %llu popped in %llu cycles, %llu cycles without "
                "a new image, %llu dropped by the full queue, %llu cycles left out\n"
                "soak: newest: %u images written, %s; %llu cycles, %llu left out\n"
                "soak: %u processes killed\n",
                along.process().out().c_str(), pushed, static_cast<unsigned long long>(popped),
                static_cast<unsigned long long>(queues.cycles),
                static_cast<unsigned long long>(repeated),
                static_cast<unsigned long long>(queues.inputs_dropped),
                static_cast<unsigned long long>(queues.cycles_left_out), published, newest.c_str(),
                static_cast<unsigned long long>(fast.cycles),
                static_cast<unsigned long long>(fast.cycles_left_out), killed);
}

INSTANTIATE_TEST_SUITE_P(OneKilohertz, Images,
                         testing::Values(Kind{1, false, 1000}, Kind{1, true, 1000},
                                         Kind{2, false, 1000}, Kind{2, true, 1000}));
INSTANTIATE_TEST_SUITE_P(TenKilohertz, Images,
                         testing::Values(Kind{1, false, 100}, Kind{1, true, 100},
                                         Kind{2, false, 100}, Kind{2, true, 100}));

} // namespace
