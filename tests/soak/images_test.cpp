// Process images through the card and back for a long time: none may come torn, and none may be
// lost or repeated without being seen. Channel 0 carries them through the two queues, which hand
// over each image once, in order, and count what they drop. Channel 1 carries them through fast
// outputs and shadow inputs, where the newest wins: gaps show in the sequence, and it never goes
// back. A second process reads along in cycle mode, a third one is killed and started all the time;
// it also pushes and pops on a card of its own, whose queues must outlive it.
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
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
constexpr uint32_t kVictimSlaves = 16;
constexpr uint32_t kVictimBytes = kVictimSlaves * 2;
constexpr uint32_t kPatienceMs = 1000;
constexpr char kLastFile[] = "last.txt"; // last sequence that was written to channel 1

EcatHandle *open_channel(uint32_t channel, const char *card = "ID0") {
    EcatHandle *handle = nullptr;
    return EcatOpen(&handle, card, channel) == 0 ? handle : nullptr;
}

// 0 when the variable says no whole number of seconds.
uint32_t seconds_of(const char *variable) {
    const char *text = std::getenv(variable);
    if (text == nullptr) {
        return 2;
    }
    uint32_t seconds = 0;
    const char *const end = text + std::strlen(text);
    const auto [stopped, error] = std::from_chars(text, end, seconds);
    return error == std::errc() && stopped == end ? seconds : 0;
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

// Pushes an image and pops one if there is any. False when that one is torn.
bool push_and_pop(EcatHandle *handle, StampedImage &image, uint32_t sequence) {
    image.stamp(sequence);
    EcatPIWrite(handle, ECAT_PI_NORMAL_OUTPUT, 0, image.bytes(), image.data());
    EcatPIOutputQueuePush(handle, 0, 0);
    uint32_t waiting = 0;
    EcatPIInputQueueSize(handle, &waiting);
    if (waiting == 0 || EcatPIInputQueuePop(handle, 0, 0) != 0) {
        return true;
    }
    EcatPIRead(handle, ECAT_PI_NORMAL_INPUT, 0, image.bytes(), image.data());
    return image.whole();
}

// Uses locks, images, queues and requests without end, and raises the flag when it has done so some
// times.
TARN_PEER(victim) {
    constexpr uint32_t kRoundsBefore = 3;
    const Flag ready(arguments.at(0));
    EcatHandle *queues = open_channel(0);
    EcatHandle *newest = open_channel(1);
    EcatHandle *own = open_channel(0, "ID1");
    if (queues == nullptr || newest == nullptr || own == nullptr) {
        return 1;
    }
    std::vector<uint8_t> image(kImageBytes);
    StampedImage queued(kVictimBytes);
    uint32_t rounds = 0;
    for (uint32_t sequence = 1;; ++sequence) {
        if (!push_and_pop(own, queued, sequence)) {
            std::fprintf(stderr, "torn image out of the queue of a program that was killed\n");
            return 1;
        }
        uint8_t state = 0;
        const bool done =
            EcatPIRead(newest, ECAT_PI_SHADOW_INPUT, 0, kImageBytes, image.data()) == 0 &&
            EcatPIRead(newest, ECAT_PI_FAST_OUTPUT, 0, kImageBytes, image.data()) == 0 &&
            EcatPIRead(queues, ECAT_PI_NORMAL_INPUT, 0, kImageBytes, image.data()) == 0 &&
            EcatPIWatchDogFeed(queues) == 0 && EcatGetMasterState(queues, &state) == 0;
        rounds += done ? 1U : 0U;
        if (done && rounds == kRoundsBefore) {
            ready.raise();
        }
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
        std::vector<vcard::CardConfig> configs = test::VirtualCards::default_cards(2);
        for (vcard::CardConfig &config : configs) {
            config.generation = GetParam().generation;
        }
        cards = std::make_unique<test::VirtualCards>(configs);
        for (uint32_t channel = 0; channel < 2; ++channel) {
            channels[channel] = open_channel(channel);
            start(channels[channel], kSlaves, GetParam().cycle_us);
        }
        of_victim = open_channel(0, "ID1");
        start(of_victim, kVictimSlaves, 1000);
    }
    ~Images() override {
        for (EcatHandle *handle : {channels[0], channels[1], of_victim}) {
            EcatClose(handle);
        }
    }
    static void start(EcatHandle *channel, uint32_t slaves, uint32_t cycle_us) {
        vcard::MakeEniOptions options;
        options.slaves = {{"dio16", slaves}};
        options.cycle_us = cycle_us;
        options.logical_mapping = options.reversed_mapping = GetParam().mapped;
        std::ofstream("soak.xml", std::ios::binary) << vcard::make_eni(options);
        ASSERT_NE(channel, nullptr);
        ASSERT_EQ(EcatBusRun(channel, "soak.xml"), 0u);
        ASSERT_EQ(EcatRequestMasterState(channel, ECAT_STATE_OP), 0u);
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
    void use_queues_of_the_dead();

    std::unique_ptr<test::VirtualCards> cards;
    EcatHandle *channels[2] = {};
    EcatHandle *of_victim = nullptr;
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

// Each image of a cycle once out of the input queue, until the last one that was pushed is there:
// it stays on the bus, so that it comes even where the full queue dropped images before.
void Images::pop_images() {
    constexpr uint64_t kMostRepeatsAtTheEnd = 100'000;
    StampedImage image(kImageBytes);
    uint32_t last = 0;
    uint64_t repeats_at_the_end = 0;
    for (uint32_t silent = 0;
         (pushing || last != pushed) && silent < 20 && repeats_at_the_end < kMostRepeatsAtTheEnd;) {
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
        repeats_at_the_end += sequence == last && !pushing ? 1U : 0U;
        missing += sequence > last ? sequence - last - 1 : 0;
        last = sequence;
        if (missing > status(0).inputs_dropped) {
            stop_all("an image was lost before " + std::to_string(sequence));
            return;
        }
    }
    EXPECT_EQ(last, pushed) << "the last images were lost";
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
        const Flag ready;
        Peer victim("victim", {ready.name()});
        if (!ready.wait()) {
            stop_all("the process that is to be killed does not get to work");
        }
        __usleep_window(static_cast<uint32_t>(random() % 60000));
        victim.kill();
        const bool was_alive = victim.join() == test::kKilled;
        killed += was_alive ? 1 : 0;
        if (!was_alive) {
            stop_all("the process that is to be killed ended by itself");
        }
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

// An image goes through the queues behind everything that the last victim left in them.
void Images::use_queues_of_the_dead() {
    StampedImage image(kVictimBytes);
    const uint32_t last = UINT32_MAX;
    image.stamp(last);
    EcatPIWrite(of_victim, ECAT_PI_NORMAL_OUTPUT, 0, image.bytes(), image.data());
    ASSERT_EQ(EcatPIOutputQueuePush(of_victim, 0, 60 * kPatienceMs), 0u);
    EXPECT_TRUE(test::eventually([&] {
        EXPECT_EQ(EcatPIInputQueuePop(of_victim, 0, 60 * kPatienceMs), 0u);
        EcatPIRead(of_victim, ECAT_PI_NORMAL_INPUT, 0, image.bytes(), image.data());
        EXPECT_TRUE(image.whole());
        return image.sequence() == last || HasFailure();
    }));
    EXPECT_EQ(cards->card(1).pi_status(0).queue_restarts, 0u);
}

// What there was to do in a run, and how much of it was done. Told and not judged: how fast a
// machine is, is no matter of right and wrong.
void print_pace(const char *what, uint64_t done, uint64_t of) {
    const double part = of == 0 ? 0 : 100.0 * static_cast<double>(done) / static_cast<double>(of);
    constexpr double kPoor = 50;
    std::printf("soak: pace: %s: %llu of %llu, %.0f %%%s\n", what,
                static_cast<unsigned long long>(done), static_cast<unsigned long long>(of), part,
                part < kPoor ? " - POOR: is the machine busy with something else?" : "");
}

TEST_P(Images, NoneIsTornOrLostOrRepeatedUnnoticed) {
    const char *const variable =
        GetParam().cycle_us == 1000 ? "TARN_SOAK_SECONDS" : "TARN_SOAK_FAST_SECONDS";
    const uint32_t seconds = seconds_of(variable);
    ASSERT_GT(seconds, 0u) << variable << " is no number of seconds";
    const Flag done;
    Peer along("reads_along", {done.name()});
    run_for(std::chrono::seconds(seconds));
    std::ofstream(kLastFile) << published;
    done.raise();
    EXPECT_EQ(along.join(), 0) << along.process().err();
    use_queues_of_the_dead();

    ASSERT_EQ(EcatBusStop(channels[0]), 0u);
    const vcard::Bus::PiStatus queues = status(0);
    const vcard::Bus::PiStatus fast = status(1);
    EXPECT_GT(pushed, 0u);
    EXPECT_GT(killed, 0u);
    EXPECT_EQ(queues.outputs_taken, pushed);
    EXPECT_EQ(popped + queues.input_queue + queues.inputs_dropped, queues.cycles);
    EXPECT_EQ(queues.queue_restarts, 0u);
    std::printf("%ssoak: queues: %u images pushed, %llu popped in %llu cycles, %llu cycles without "
                "a new image, %llu dropped by the full queue, %llu cycles left out\n"
                "soak: newest: %u images written, %s; %llu cycles, %llu left out\n"
                "soak: %u processes killed at work\n",
                along.process().out().c_str(), pushed, static_cast<unsigned long long>(popped),
                static_cast<unsigned long long>(queues.cycles),
                static_cast<unsigned long long>(repeated),
                static_cast<unsigned long long>(queues.inputs_dropped),
                static_cast<unsigned long long>(queues.cycles_left_out), published, newest.c_str(),
                static_cast<unsigned long long>(fast.cycles),
                static_cast<unsigned long long>(fast.cycles_left_out), killed);
    print_pace("images through the queues", pushed,
               uint64_t{seconds} * 1'000'000 / GetParam().cycle_us);
    print_pace("cycles of the queues in time", queues.cycles,
               queues.cycles + queues.cycles_left_out);
    print_pace("cycles of the newest in time", fast.cycles, fast.cycles + fast.cycles_left_out);
}

INSTANTIATE_TEST_SUITE_P(OneKilohertz, Images,
                         testing::Values(Kind{1, false, 1000}, Kind{1, true, 1000},
                                         Kind{2, false, 1000}, Kind{2, true, 1000}));
INSTANTIATE_TEST_SUITE_P(TenKilohertz, Images,
                         testing::Values(Kind{1, false, 100}, Kind{1, true, 100},
                                         Kind{2, false, 100}, Kind{2, true, 100}));

} // namespace
