// Direct, cycle and manual mode. Where the bus does not run, the test makes the cycles itself.
#include "card/pi_fixture.h"
#include "support/process.h"
#include "support/thread_rights.h"

#include <atomic>
#include <optional>
#include <thread>

namespace {

// A word that the data-swap thread writes.
uint32_t word(const uint32_t *at) {
    return __atomic_load_n(at, __ATOMIC_ACQUIRE);
}

using namespace tarn;
using tarn::test::Bytes;
using tarn::test::eventually;

constexpr uint32_t kDirect = 0;
constexpr uint32_t kCycle = 1;
constexpr uint32_t kManual = 2;

constexpr char kStartup[] = "[__EcatPIDataSwapThread:3163] thread startup.\r\n";
constexpr char kExit[] = "[__EcatPIDataSwapThread:3184] thread exit.\r\n";

size_t count_of(const std::string &text, const std::string &part) {
    size_t found = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

class AsyncTest : public test::PiTest {
  protected:
    void SetUp() override { open_generation(1); }
    void TearDown() override { close(); }

    void close() {
        if (handle_ != nullptr) {
            EcatClose(handle_);
            handle_ = nullptr;
        }
    }

    uint32_t set(uint32_t mode) { return EcatPIASyncModeSet(handle_, mode); }
    uint32_t mode() {
        uint32_t mode = 0xCCCCCCCC;
        EXPECT_EQ(EcatPIASyncModeGet(handle_, &mode), 0u);
        return mode;
    }
    EcatPIAsyncState &state() { return handle_->async; }

    bool has_cycle_tables() {
        const bool writes =
            pi_area(ECAT_PI_FAST_OUTPUT).ops->write == pi_buff_3p_master_write_cycle;
        const bool reads = pi_area(ECAT_PI_SHADOW_INPUT).ops->read == pi_buff_3p_slave_read_cycle;
        EXPECT_EQ(writes, reads);
        return writes;
    }
    void expect_mode(uint32_t expected) {
        EXPECT_EQ(mode(), expected);
        EXPECT_EQ(has_cycle_tables(), expected != kDirect);
        EXPECT_EQ(state().thread != nullptr, expected == kCycle);
        EXPECT_EQ(state().wakeup, expected == kCycle ? __Ecat_PI_ASync_WakeupByCycleSign
                                                     : __Ecat_PI_ASync_WakeupByInterrup);
    }

    // Images of eight bytes, all of them plain.
    void use_images() {
        use_tables({{0, 64, 0}}, {{0, 64, 0}}, 8, false);
        set_all_active();
    }
    void use_own_cycles() { handle_->pi_interrupt = handle_->secondary.interrupt; }
    // A request that nobody waits for, so that the interrupt of its answer is a cycle.
    void make_cycle() {
        MailboxRing &out = handle_->secondary.out;
        const uint16_t request[8] = {0, 0xFFFE, static_cast<uint16_t>(out.pointers[1])};
        ASSERT_EQ(mailbox_queue_push(&out, request, sizeof request), 0);
        __atomic_store_n(handle_->secondary.doorbell, 1U, __ATOMIC_RELEASE);
        Bytes answer(handle_->secondary.in.slot_size);
        ASSERT_TRUE(eventually(
            [&] { return mailbox_queue_pop(&handle_->secondary.in, answer.data()) == 0; }));
    }

    uint32_t published() { return __atomic_load_n(&card().fast_output.counter, __ATOMIC_ACQUIRE); }
    const uint8_t *newest_output() {
        return card().fast_output_buffers[card().fast_output.host % 4];
    }
    uint32_t write(uint8_t value) {
        return EcatPIWrite(handle_, ECAT_PI_FAST_OUTPUT, 0, 1, &value);
    }
    uint8_t read() {
        uint8_t value = 0;
        EcatPIRead(handle_, ECAT_PI_SHADOW_INPUT, 0, 1, &value);
        return value;
    }
    // As the card of the first generation does it.
    void offer_input(uint8_t value) {
        const uint32_t next = (card().shadow_input.host + 1) % 3;
        card().shadow_input_buffers[next][0] = value;
        __atomic_store_n(&card().shadow_input.card, next, __ATOMIC_RELEASE);
    }

    void run_bus() {
        vcard::MakeEniOptions options;
        options.slaves = {{"dio8", 4}};
        ASSERT_EQ(EcatBusRun(handle_, write_eni(vcard::make_eni(options))), 0u);
    }

    // Counts the cycles it sees.
    static void count(void *arg, EcatHandle *) { ++*static_cast<std::atomic<uint32_t> *>(arg); }

    test::RealtimeAnswer realtime_{true};
    std::atomic<uint32_t> calls = 0; // outlive the thread that counts them
    std::atomic<uint32_t> other_calls = 0;
};

// ---- changing the mode ------------------------------------------------------------------------

class AsyncMode : public AsyncTest {};

TEST_F(AsyncMode, AChannelStartsInDirectMode) {
    expect_mode(kDirect);
}

TEST_F(AsyncMode, EveryModeFollowsEveryOther) {
    for (const uint32_t from : {kDirect, kCycle, kManual}) {
        for (const uint32_t to : {kDirect, kCycle, kManual}) {
            EXPECT_EQ(set(from), 0u);
            expect_mode(from);
            EXPECT_EQ(set(to), 0u);
            expect_mode(to);
        }
    }
}

TEST_F(AsyncMode, TheSecondGenerationHasTablesOfItsOwn) {
    const PiOps *const first[] = {pi_area(2).ops, pi_area(4).ops};
    set(kManual);
    const PiOps *const first_cycle[] = {pi_area(2).ops, pi_area(4).ops};
    handle_->pd_version = kPdVersionSecond;
    set(kDirect);
    EXPECT_NE(pi_area(2).ops->exchange, first[0]->exchange);
    EXPECT_NE(pi_area(4).ops->exchange, first[1]->exchange);
    expect_mode(kDirect);
    set(kManual);
    EXPECT_NE(pi_area(2).ops->exchange, first_cycle[0]->exchange);
    EXPECT_NE(pi_area(4).ops->exchange, first_cycle[1]->exchange);
    expect_mode(kManual);
}

TEST_F(AsyncMode, ThePresentModeChangesNothing) {
    EXPECT_EQ(set(kManual), 0u);
    state().wakeup = nullptr;
    pi_area(ECAT_PI_FAST_OUTPUT).ops = nullptr;
    EXPECT_EQ(set(kManual), 0u);
    EXPECT_EQ(state().wakeup, nullptr);
    EXPECT_EQ(pi_area(ECAT_PI_FAST_OUTPUT).ops, nullptr);
}

TEST_F(AsyncMode, WantsAHandle) {
    uint32_t mode = 7;
    EXPECT_EQ(EcatPIASyncModeSet(nullptr, kCycle), 80013u);
    EXPECT_EQ(EcatPIASyncModeSet(nullptr, 5), 80013u);
    EXPECT_EQ(EcatPIASyncModeGet(nullptr, &mode), 80013u);
    EXPECT_EQ(EcatPIASyncModeGet(nullptr, nullptr), 80013u);
    EXPECT_EQ(mode, 7u);
    EXPECT_EQ(__EcatPIASyncCycleAccessModeInit(nullptr), 80013u);
    EXPECT_EQ(__EcatPIASyncManualAccessModeInit(nullptr), 80013u);
    EXPECT_EQ(EcatPIAsyncModeCycleCallbackHook(nullptr, nullptr, nullptr), 80013u);
    EXPECT_EQ(EcatPIInputWaitNotify(nullptr, 0), 80013u);
    EXPECT_EQ(EcatPIASyncUpdateData(nullptr, 2), 80013u);
    EXPECT_EQ(EcatPIASyncUpdateData(nullptr, 0), 80013u);
    EXPECT_NE(__Ecat_PI_ASync_WakeupByCycleSign(nullptr, 0), 0u);
}

TEST_F(AsyncMode, NowhereToPutTheModeIsABadArgument) {
    EXPECT_EQ(EcatPIASyncModeGet(handle_, nullptr), 32770u);
}

TEST_F(AsyncMode, AnUnknownModeIsRefusedWithALineAndKeepsTheModeWord) {
    std::string text;
    {
        const test::StdoutCapture capture;
        EXPECT_EQ(set(5), 80006u);
        text = capture.text();
    }
    EXPECT_EQ(text, "mode:5 not support.\r\n");
    EXPECT_EQ(mode(), kDirect);
    EXPECT_FALSE(has_cycle_tables());
    EXPECT_EQ(state().wakeup, nullptr);
}

TEST_F(AsyncMode, AModeThatIsNoSmallNumberIsPrintedAsASignedOne) {
    const test::StdoutCapture capture;
    EXPECT_EQ(set(0xFFFFFFFF), 80006u);
    EXPECT_EQ(capture.text(), "mode:-1 not support.\r\n");
}

TEST_F(AsyncMode, AnUnknownModeStopsTheThreadOfTheCycleMode) {
    std::string text;
    {
        const test::StdoutCapture capture;
        EXPECT_EQ(set(kCycle), 0u);
        EXPECT_EQ(set(5), 80006u);
        text = capture.text();
    }
    EXPECT_EQ(text, std::string(kStartup) + kExit + "mode:5 not support.\r\n");
    EXPECT_EQ(state().thread, nullptr);
    EXPECT_EQ(state().wakeup, nullptr);
    EXPECT_EQ(mode(), kCycle);
    EXPECT_TRUE(has_cycle_tables());
}

TEST_F(AsyncMode, AfterARefusedModeTheFormerOneIsStillThePresentOne) {
    set(kCycle);
    set(5);
    EXPECT_EQ(set(kCycle), 0u); // changes nothing, so that there is no thread
    EXPECT_EQ(state().thread, nullptr);
    EXPECT_EQ(set(5), 80006u);
    EXPECT_EQ(mode(), kCycle);
}

TEST_F(AsyncMode, AnotherModeMendsWhatARefusedOneLeft) {
    set(kCycle);
    set(5);
    EXPECT_EQ(set(kManual), 0u);
    expect_mode(kManual);
    EXPECT_EQ(set(kCycle), 0u);
    expect_mode(kCycle);
}

TEST_F(AsyncMode, AfterARefusedModeNothingWakesUp) {
    set(5);
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 20), 80003u);
    EXPECT_EQ(EcatPIInputQueuePop(handle_, 0, 20), 80003u);
}

TEST_F(AsyncMode, AChannelIsClosedAfterARefusedMode) {
    set(kCycle);
    set(5);
    EXPECT_EQ(EcatClose(handle_), 0u);
    handle_ = nullptr;
}

TEST_F(AsyncMode, ThreadsThatChangeItAtOnceLeaveOneMode) {
    std::string text;
    {
        const test::StdoutCapture capture;
        std::vector<std::thread> threads;
        for (uint32_t seed = 0; seed < 4; ++seed) {
            threads.emplace_back([this, seed] {
                std::mt19937 engine(seed);
                for (int i = 0; i < 30; ++i) {
                    EXPECT_EQ(set(static_cast<uint32_t>(engine() % 3)), 0u);
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        expect_mode(mode());
        EXPECT_EQ(set(kManual), 0u);
        text = capture.text();
    }
    expect_mode(kManual);
    EXPECT_EQ(count_of(text, kStartup), count_of(text, kExit));
}

TEST_F(AsyncMode, ThreadsThatSetTheCycleModeAtOnceStartOneThread) {
    std::string text;
    {
        const test::StdoutCapture capture;
        std::vector<std::thread> threads;
        for (int n = 0; n < 4; ++n) {
            threads.emplace_back([this] { EXPECT_EQ(set(kCycle), 0u); });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        set(kDirect);
        text = capture.text();
    }
    EXPECT_EQ(count_of(text, kStartup), 1u);
    EXPECT_EQ(count_of(text, kExit), 1u);
}

// A reset takes the thread from under whoever changes the mode. It ends that thread and no other,
// and one that is started meanwhile does not keep it waiting.
TEST_F(AsyncMode, ResetsWhileOthersChangeTheModeLeaveNoThread) {
    std::string text;
    {
        const test::StdoutCapture capture;
        std::atomic<bool> changing{true};
        std::vector<std::thread> resetting;
        for (int n = 0; n < 2; ++n) {
            resetting.emplace_back([this, &changing] {
                while (changing) {
                    EXPECT_EQ(__EcatPIASyncModeReset(&state()), 0u);
                }
            });
        }
        std::vector<std::thread> threads;
        for (int n = 0; n < 2; ++n) {
            threads.emplace_back([this] {
                for (int i = 0; i < 100; ++i) {
                    EXPECT_EQ(set(kCycle), 0u);
                    EXPECT_EQ(set(kDirect), 0u);
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        changing = false;
        for (std::thread &thread : resetting) {
            thread.join();
        }
        EXPECT_EQ(set(kManual), 0u);
        text = capture.text();
    }
    expect_mode(kManual);
    EXPECT_GT(count_of(text, kStartup), 0u);
    EXPECT_EQ(count_of(text, kStartup), count_of(text, kExit));
}

TEST_F(AsyncMode, BelongsToTheHandle) {
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 0), 0u);
    EXPECT_EQ(set(kManual), 0u);
    uint32_t other = 7;
    EXPECT_EQ(EcatPIASyncModeGet(second, &other), 0u);
    EXPECT_EQ(other, kDirect);
    EcatClose(second);
}

// ---- cycle mode -------------------------------------------------------------------------------

class CycleMode : public AsyncTest {
  protected:
    // Cycle mode in which only make_cycle() makes cycles.
    void enter() {
        use_images();
        use_own_cycles();
        ASSERT_EQ(set(kCycle), 0u);
    }
    // A cycle, seen to its end.
    void swap_once() {
        ecat_os_sem_time_wait(state().semaphore, 0);
        make_cycle();
        ASSERT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
    }
};

TEST_F(CycleMode, EnteringItPutsTheCycleTablesAndStartsTheThread) {
    const test::StdoutCapture capture;
    EXPECT_EQ(__EcatPIASyncCycleAccessModeInit(handle_), 0u);
    expect_mode(kCycle);
    EXPECT_TRUE(eventually([&] { return capture.text() == kStartup; }));
}

TEST_F(CycleMode, LeavingItEndsTheThread) {
    const test::StdoutCapture capture;
    set(kCycle);
    set(kDirect);
    EXPECT_EQ(capture.text(), std::string(kStartup) + kExit);
    EXPECT_EQ(state().thread, nullptr);
}

TEST_F(CycleMode, SettingItTwiceStartsOneThread) {
    const test::StdoutCapture capture;
    EXPECT_EQ(set(kCycle), 0u);
    EcatOsThread *const thread = state().thread;
    EXPECT_EQ(set(kCycle), 0u);
    EXPECT_EQ(state().thread, thread);
    set(kDirect);
    EXPECT_EQ(count_of(capture.text(), kStartup), 1u);
}

TEST_F(CycleMode, EnteringItAgainKeepsTheThread) {
    set(kCycle);
    EcatOsThread *const thread = state().thread;
    EXPECT_EQ(__EcatPIASyncCycleAccessModeInit(handle_), 0u);
    EXPECT_EQ(state().thread, thread);
}

TEST_F(CycleMode, AWriteIsPublishedByTheNextCycle) {
    enter();
    const uint32_t before = published();
    EXPECT_EQ(write(0x42), 0u);
    EXPECT_EQ(word(&pi_info().fast_output_dirty), 1u);
    EXPECT_EQ(published(), before);
    swap_once();
    EXPECT_EQ(published(), before + 1);
    EXPECT_EQ(newest_output()[0], 0x42);
    EXPECT_EQ(word(&pi_info().fast_output_dirty), 0u);
}

TEST_F(CycleMode, SeveralWritesAreOneImage) {
    enter();
    const uint32_t before = published();
    write(1);
    write(2);
    write(3);
    swap_once();
    EXPECT_EQ(published(), before + 1);
    EXPECT_EQ(newest_output()[0], 3);
}

TEST_F(CycleMode, ACycleWithoutAWritePublishesNothing) {
    enter();
    const uint32_t before = published();
    swap_once();
    swap_once();
    EXPECT_EQ(published(), before);
}

TEST_F(CycleMode, AReadGivesTheLocalImageUntilTheNextCycle) {
    enter();
    offer_input(0x42);
    EXPECT_EQ(read(), 0);
    EXPECT_NE(word(&card().shadow_input.host), word(&card().shadow_input.card));
    swap_once();
    EXPECT_EQ(read(), 0x42);
    EXPECT_EQ(word(&card().shadow_input.host), word(&card().shadow_input.card));
}

TEST_F(CycleMode, WithoutACycleTheThreadDoesNothing) {
    enter();
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, count);
    write(1);
    const uint32_t before = published();
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 50), 80003u);
    EXPECT_EQ(published(), before);
    EXPECT_EQ(calls, 0u);
}

TEST_F(CycleMode, TheCycleSignIsTheSemaphore) {
    enter();
    EXPECT_EQ(__Ecat_PI_ASync_WakeupByCycleSign(handle_, 0), 258u);
    ecat_os_sem_post(state().semaphore);
    EXPECT_EQ(__Ecat_PI_ASync_WakeupByCycleSign(handle_, 0), 0u);
    EXPECT_EQ(__Ecat_PI_ASync_WakeupByCycleSign(handle_, 10), 258u);
    make_cycle();
    EXPECT_EQ(__Ecat_PI_ASync_WakeupByCycleSign(handle_, 60000), 0u);
}

TEST_F(CycleMode, CyclesThatNobodyWaitedForAreOneSign) {
    enter();
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, count);
    make_cycle();
    ASSERT_TRUE(eventually([&] { return calls == 1; }));
    make_cycle();
    ASSERT_TRUE(eventually([&] { return calls == 2; }));
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 10), 80003u);
}

TEST_F(CycleMode, SignsFromBeforeDoNotCount) {
    ecat_os_sem_post(state().semaphore);
    enter();
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 10), 80003u);
}

TEST_F(CycleMode, TheCallbackGetsItsArgumentAndTheHandle) {
    enter();
    struct Seen {
        void *arg = nullptr;
        EcatHandle *handle = nullptr;
        std::atomic<bool> called = false;
    } seen;
    EXPECT_EQ(EcatPIAsyncModeCycleCallbackHook(handle_, &seen,
                                               [](void *arg, EcatHandle *handle) {
                                                   auto &own = *static_cast<Seen *>(arg);
                                                   own.arg = arg;
                                                   own.handle = handle;
                                                   own.called = true;
                                               }),
              0u);
    make_cycle();
    ASSERT_TRUE(eventually([&] { return seen.called.load(); }));
    EXPECT_EQ(seen.arg, &seen);
    EXPECT_EQ(seen.handle, handle_);
}

TEST_F(CycleMode, TheCallbackComesAfterBothExchangesAndTheSign) {
    enter();
    struct Seen {
        uint32_t dirty = 7;
        uint8_t input = 0;
        uint32_t sign = 7;
        std::atomic<bool> called = false;
    } seen;
    write(1);
    offer_input(0x42);
    EcatPIAsyncModeCycleCallbackHook(handle_, &seen, [](void *arg, EcatHandle *handle) {
        auto &own = *static_cast<Seen *>(arg);
        own.dirty = word(&handle->pi_info->fast_output_dirty);
        EcatPIRead(handle, ECAT_PI_SHADOW_INPUT, 0, 1, &own.input);
        own.sign = __Ecat_PI_ASync_WakeupByCycleSign(handle, 0);
        own.called = true;
    });
    make_cycle();
    ASSERT_TRUE(eventually([&] { return seen.called.load(); }));
    EXPECT_EQ(seen.dirty, 0u);
    EXPECT_EQ(seen.input, 0x42);
    EXPECT_EQ(seen.sign, 0u);
}

TEST_F(CycleMode, TheCallbackRunsOutsideTheLocks) {
    enter();
    std::atomic<bool> written = false;
    EcatPIAsyncModeCycleCallbackHook(handle_, &written, [](void *arg, EcatHandle *handle) {
        std::thread([=] { // another thread could not write under the lock
            const uint8_t value = 1;
            EcatPIWrite(handle, ECAT_PI_FAST_OUTPUT, 0, 1, &value);
        })
            .join();
        *static_cast<std::atomic<bool> *>(arg) = true;
    });
    make_cycle();
    EXPECT_TRUE(eventually([&] { return written.load(); }));
}

TEST_F(CycleMode, NoCallbackRemovesTheCallback) {
    enter();
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, count);
    make_cycle();
    ASSERT_TRUE(eventually([&] { return calls == 1; }));
    EXPECT_EQ(EcatPIAsyncModeCycleCallbackHook(handle_, nullptr, nullptr), 0u);
    swap_once();
    swap_once();
    EXPECT_EQ(calls, 1u);
}

TEST_F(CycleMode, TheCallbackMayRemoveItself) {
    enter();
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, [](void *arg, EcatHandle *handle) {
        EcatPIAsyncModeCycleCallbackHook(handle, nullptr, nullptr);
        ++*static_cast<std::atomic<uint32_t> *>(arg);
    });
    make_cycle();
    ASSERT_TRUE(eventually([&] { return calls == 1; }));
    swap_once();
    swap_once();
    EXPECT_EQ(calls, 1u);
}

TEST_F(CycleMode, TheCallbackStaysWhenTheModeChanges) {
    enter();
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, count);
    set(kDirect);
    make_cycle();
    EXPECT_EQ(calls, 0u); // nobody calls it there
    set(kCycle);
    make_cycle();
    EXPECT_TRUE(eventually([&] { return calls > 0; }));
}

TEST_F(CycleMode, FromTheCallbackTheModeCannotBeChanged) {
    enter();
    struct Seen {
        uint32_t same = 7;
        uint32_t other = 7;
        uint32_t unknown = 7;
        std::atomic<bool> called = false;
    } seen;
    EcatPIAsyncModeCycleCallbackHook(handle_, &seen, [](void *arg, EcatHandle *handle) {
        auto &own = *static_cast<Seen *>(arg);
        own.same = EcatPIASyncModeSet(handle, kCycle);
        own.other = EcatPIASyncModeSet(handle, kDirect);
        own.unknown = EcatPIASyncModeSet(handle, 5);
        own.called = true;
    });
    make_cycle();
    ASSERT_TRUE(eventually([&] { return seen.called.load(); }));
    EXPECT_EQ(seen.same, 0u);
    EXPECT_EQ(seen.other, 80006u);
    EXPECT_EQ(seen.unknown, 80006u);
    expect_mode(kCycle);
}

TEST_F(CycleMode, FromTheCallbackTheChannelCannotBeClosed) {
    enter();
    struct Seen {
        std::vector<uint32_t> statuses;
        std::atomic<bool> called = false;
    } seen;
    EcatPIAsyncModeCycleCallbackHook(handle_, &seen, [](void *arg, EcatHandle *handle) {
        auto &own = *static_cast<Seen *>(arg);
        if (!own.called) {
            own.statuses = {EcatClose(handle), __EcatClose(handle),
                            __EcatPIASyncModeReset(&handle->async),
                            __EcatPIASyncModeDestroy(&handle->async)};
        }
        own.called = true;
    });
    make_cycle();
    ASSERT_TRUE(eventually([&] { return seen.called.load(); }));
    EXPECT_EQ(seen.statuses, std::vector<uint32_t>(4, 80006u));
    expect_mode(kCycle);
}

TEST_F(CycleMode, LeavingItWaitsForACallbackThatIsUnderWay) {
    enter();
    struct Seen {
        std::atomic<bool> entered = false;
        std::atomic<bool> left = false;
    } seen;
    EcatPIAsyncModeCycleCallbackHook(handle_, &seen, [](void *arg, EcatHandle *) {
        auto &own = *static_cast<Seen *>(arg);
        own.entered = true;
        __usleep_window(50000);
        own.left = true;
    });
    make_cycle();
    ASSERT_TRUE(eventually([&] { return seen.entered.load(); }));
    EXPECT_EQ(set(kDirect), 0u);
    EXPECT_TRUE(seen.left);
}

TEST_F(CycleMode, ClosingTheChannelEndsTheThread) {
    const test::StdoutCapture capture;
    set(kCycle);
    close();
    EXPECT_EQ(capture.text(), std::string(kStartup) + kExit);
}

TEST_F(CycleMode, AResetEndsTheThread) {
    set(kCycle);
    EXPECT_EQ(__EcatPIASyncModeReset(&state()), 0u);
    EXPECT_EQ(state().thread, nullptr);
    EXPECT_EQ(state().wakeup, nullptr);
    EXPECT_NE(state().semaphore, nullptr);
}

TEST_F(CycleMode, WithoutThreadTheChannelIsInDirectMode) {
    set(kManual);
    {
        const test::NoThreads none;
        EXPECT_EQ(set(kCycle), 32816u);
    }
    expect_mode(kDirect);
    EXPECT_EQ(set(kCycle), 0u);
    expect_mode(kCycle);
}

TEST_F(CycleMode, AWaitOfNoTimeDoesNotEvenLook) {
    enter();
    ecat_os_sem_post(state().semaphore);
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 0), 80003u);
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
}

TEST_F(CycleMode, WaitNotifyReturnsOncePerCycle) {
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, count);
    set(kCycle);
    run_bus();
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
    }
    EXPECT_GE(calls, 18u); // the one under way counts itself after it has woken us
}

TEST_F(CycleMode, ItGoesOnWhenTheBusIsStartedAgain) {
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, count);
    set(kCycle);
    for (int round = 0; round < 3; ++round) {
        run_bus();
        const uint32_t before = calls;
        EXPECT_TRUE(eventually([&] { return calls > before + 10; }));
        ASSERT_EQ(EcatBusStop(handle_), 0u);
    }
    expect_mode(kCycle);
}

TEST_F(CycleMode, TwoHandlesOfAProcessBothGetTheCycles) {
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 0), 0u);
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, count);
    EcatPIAsyncModeCycleCallbackHook(second, &other_calls, count);
    set(kCycle);
    EXPECT_EQ(EcatPIASyncModeSet(second, kCycle), 0u);
    run_bus();
    EXPECT_TRUE(eventually([&] { return calls > 50 && other_calls > 50; }));
    EXPECT_EQ(EcatClose(second), 0u); // the other one goes on
    const uint32_t before = calls;
    EXPECT_TRUE(eventually([&] { return calls > before + 10; }));
}

TEST_F(CycleMode, ACycleWakesBothHandles) {
    enter();
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 0), 0u);
    second->pi_interrupt = handle_->pi_interrupt;
    ASSERT_EQ(EcatPIASyncModeSet(second, kCycle), 0u);
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, count);
    EcatPIAsyncModeCycleCallbackHook(second, &other_calls, count);
    for (uint32_t cycle = 1; cycle <= 20; ++cycle) {
        make_cycle();
        EXPECT_TRUE(eventually([&] { return calls == cycle && other_calls == cycle; }));
    }
    EcatClose(second);
}

TEST_F(CycleMode, TheSecondChannelHasItsOwnCycles) {
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 1), 0u);
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, count);
    EcatPIAsyncModeCycleCallbackHook(second, &other_calls, count);
    set(kCycle);
    EXPECT_EQ(EcatPIASyncModeSet(second, kCycle), 0u);
    ASSERT_EQ(EcatBusRun(second, write_eni()), 0u);
    EXPECT_TRUE(eventually([&] { return other_calls > 20; }));
    EXPECT_EQ(calls, 0u);
    EcatClose(second);
}

TEST_F(CycleMode, OutputsComeBackAsInputsWithoutAnExchangeOfTheProgram) {
    set(kCycle);
    run_bus();
    ASSERT_EQ(EcatRequestMasterState(handle_, ECAT_STATE_OP), 0u);
    for (uint8_t value = 1; value < 20; ++value) {
        ASSERT_EQ(write(value), 0u);
        EXPECT_TRUE(eventually([&] { return read() == value; }));
    }
}

TEST_F(CycleMode, AStartWithReinitModeTwoSendsTheKeptOutputs) {
    use_images();
    use_own_cycles();
    set(kCycle);
    EcatPIReinitModeSet(handle_, 2);
    write(0x42);
    run_bus();
    EXPECT_EQ(handle_->fast_output[0], 0x42);
    EXPECT_EQ(newest_output()[0], 0x42);
    EXPECT_EQ(word(&pi_info().fast_output_dirty), 0u);
}

TEST_F(CycleMode, AStartWithReinitModeThreePushesTheNormalOutputs) {
    set(kCycle);
    run_bus();
    ASSERT_EQ(EcatBusStop(handle_), 0u);
    EcatPIReinitModeSet(handle_, 3);
    handle_->normal_output_cache[0] = 0x42;
    const uint32_t entry = card().output_queue_write;
    run_bus();
    EXPECT_EQ(card().output_queue_write, entry + 1);
    EXPECT_EQ(card().output_queue[entry % 128][0], 0x42);
    EXPECT_EQ(card().output_queue[entry % 128][4095], 1);
}

// ---- a system that refuses the priority -------------------------------------------------------

class RefusedPriority : public AsyncTest {
  protected:
    void SetUp() override {
        refused_.emplace(false);
        open_generation(1);
    }
    std::optional<test::RealtimeAnswer> refused_;
};

TEST_F(RefusedPriority, TheModeIsEnteredAndItsThreadEndsWithoutAWord) {
    const test::StdoutCapture capture;
    EXPECT_EQ(set(kCycle), 0u);
    expect_mode(kCycle);
    EXPECT_EQ(set(kDirect), 0u);
    EXPECT_EQ(capture.text(), "");
    expect_mode(kDirect);
}

TEST_F(RefusedPriority, NoCycleIsServed) {
    EcatPIAsyncModeCycleCallbackHook(handle_, &calls, count);
    set(kCycle);
    run_bus();
    const uint32_t before = published();
    write(1);
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 50), 80003u);
    EXPECT_EQ(published(), before);
    EXPECT_EQ(calls, 0u);
}

TEST_F(RefusedPriority, TheProgramCanStillExchangeByItself) {
    use_images();
    set(kCycle);
    const uint32_t before = published();
    write(1);
    EXPECT_EQ(EcatPIASyncUpdateData(handle_, ECAT_PI_FAST_OUTPUT), 0u);
    EXPECT_EQ(published(), before + 1);
}

TEST_F(RefusedPriority, TheOtherModesDoNotMind) {
    EXPECT_EQ(set(kManual), 0u);
    EXPECT_EQ(set(kDirect), 0u);
    run_bus();
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
}

// ---- manual mode ------------------------------------------------------------------------------

class ManualMode : public AsyncTest {
  protected:
    void enter() {
        use_images();
        ASSERT_EQ(set(kManual), 0u);
    }
};

TEST_F(ManualMode, EnteringItPutsTheCycleTablesWithoutAThread) {
    const test::StdoutCapture capture;
    EXPECT_EQ(__EcatPIASyncManualAccessModeInit(handle_), 0u);
    expect_mode(kManual);
    EXPECT_EQ(capture.text(), "");
}

TEST_F(ManualMode, AWriteIsPublishedByTheUpdate) {
    enter();
    const uint32_t before = published();
    EXPECT_EQ(write(0x42), 0u);
    EXPECT_EQ(published(), before);
    EXPECT_EQ(EcatPIASyncUpdateData(handle_, ECAT_PI_FAST_OUTPUT), 0u);
    EXPECT_EQ(published(), before + 1);
    EXPECT_EQ(newest_output()[0], 0x42);
}

TEST_F(ManualMode, AnUpdatePublishesTheOutputsAlsoWhenNothingWasWritten) {
    enter();
    const uint32_t before = published();
    EXPECT_EQ(EcatPIASyncUpdateData(handle_, ECAT_PI_FAST_OUTPUT), 0u);
    EXPECT_EQ(EcatPIASyncUpdateData(handle_, ECAT_PI_FAST_OUTPUT), 0u);
    EXPECT_EQ(published(), before + 2);
    EXPECT_EQ(word(&pi_info().fast_output_dirty), 0u);
}

TEST_F(ManualMode, AReadGivesTheLocalImageUntilTheUpdate) {
    enter();
    offer_input(0x42);
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(EcatPIASyncUpdateData(handle_, ECAT_PI_SHADOW_INPUT), 0u);
    EXPECT_EQ(read(), 0x42);
}

TEST_F(ManualMode, AnUpdateOfOneDirectionLeavesTheOther) {
    enter();
    write(1);
    offer_input(0x42);
    const uint32_t before = published();
    EcatPIASyncUpdateData(handle_, ECAT_PI_SHADOW_INPUT);
    EXPECT_EQ(published(), before);
    offer_input(0x43);
    EcatPIASyncUpdateData(handle_, ECAT_PI_FAST_OUTPUT);
    EXPECT_EQ(read(), 0x42);
}

TEST_F(ManualMode, OtherAreasHaveNoUpdate) {
    enter();
    const uint32_t before = published();
    for (const uint32_t index : {0U, 1U, 3U, 5U, 0xFFFFFFFFU}) {
        EXPECT_EQ(EcatPIASyncUpdateData(handle_, index), 32770u) << index;
    }
    EXPECT_EQ(published(), before);
    EXPECT_EQ(word(&pi_info().fast_output_dirty), 0u);
}

TEST_F(ManualMode, TheResultOfAnUpdateIsTheExchanges) {
    enter();
    PiOps failing = *pi_area(ECAT_PI_FAST_OUTPUT).ops;
    failing.exchange = [](void *, PiTransfer *) -> uint32_t { return 34058; };
    for (const uint32_t index : {2U, 4U}) {
        pi_area(index).ops = &failing;
        EXPECT_EQ(EcatPIASyncUpdateData(handle_, index), 34058u);
    }
    set(kDirect);
}

TEST_F(ManualMode, AnUpdateWorksInEveryMode) {
    use_images();
    use_own_cycles();
    for (const uint32_t mode : {kDirect, kCycle, kManual}) {
        set(mode);
        const uint32_t before = published();
        EXPECT_EQ(EcatPIASyncUpdateData(handle_, ECAT_PI_FAST_OUTPUT), 0u);
        EXPECT_EQ(published(), before + 1);
    }
}

TEST_F(ManualMode, TheCycleWakesUp) {
    enter();
    use_own_cycles();
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 20), 80003u);
    make_cycle();
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
}

// ---- waiting for the cycle --------------------------------------------------------------------

class WaitNotify : public AsyncTest {
  protected:
    static inline std::vector<uint32_t> asked;
    static inline uint32_t fails;

    void use_wakeup(uint32_t failures) {
        asked.clear();
        fails = failures;
        state().wakeup = [](EcatHandle *, uint32_t timeout_ms) -> uint32_t {
            asked.push_back(timeout_ms);
            __usleep_window(1000);
            return asked.size() > fails ? 0 : 258;
        };
    }
};

TEST_F(WaitNotify, CallsTheWakeUpFunctionWithTheTimeOut) {
    use_wakeup(0);
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 12345), 0u);
    EXPECT_EQ(asked, (std::vector<uint32_t>{12345}));
}

TEST_F(WaitNotify, CallsItUntilItIsWoken) {
    use_wakeup(2);
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
    EXPECT_EQ(asked, (std::vector<uint32_t>{60000, 60000, 60000}));
}

TEST_F(WaitNotify, CallsItUntilTheTimeOutHasPassed) {
    use_wakeup(0xFFFFFFFF);
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 500), 80003u);
    EXPECT_FALSE(asked.empty());
}

TEST_F(WaitNotify, ATimeOutOfZeroHasPassed) {
    use_wakeup(0);
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 0), 80003u);
    EXPECT_TRUE(asked.empty());
}

// Cycles from before: none comes any more, and the driver keeps none.
class FormerCycles : public AsyncTest {
  protected:
    void see_cycles() {
        use_own_cycles();
        for (int i = 0; i < 3; ++i) {
            make_cycle();
            ASSERT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
        }
        forget_kept_cycle();
    }
    void forget_kept_cycle() {
        const auto number = static_cast<uint8_t>(handle_->pi_interrupt);
        while (waitInterrupt(handle_->board, number, 2) == 0) {
        }
    }
    void open_again() {
        reopen();
        use_own_cycles();
        forget_kept_cycle();
    }
};

TEST_F(FormerCycles, DoNotWakeAChannelThatIsOpenedLater) {
    see_cycles();
    open_again();
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 10), 80003u);
}

TEST_F(FormerCycles, DoNotWakeASecondHandle) {
    see_cycles();
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 0), 0u);
    second->pi_interrupt = handle_->pi_interrupt;
    forget_kept_cycle();
    EXPECT_EQ(EcatPIInputWaitNotify(second, 10), 80003u);
    EcatClose(second);
}

TEST_F(FormerCycles, DoNotCountAsASignal) {
    see_cycles();
    open_again();
    EXPECT_EQ(__EcatPIWaitSignal(handle_), 1u);
}

TEST_F(FormerCycles, OfAnotherHandleDoNotWakeInTheManualMode) {
    EcatHandle *second = nullptr;
    ASSERT_EQ(EcatOpen(&second, "ID0", 0), 0u);
    see_cycles();
    second->pi_interrupt = handle_->pi_interrupt;
    ASSERT_EQ(EcatPIASyncModeSet(second, kManual), 0u);
    EXPECT_EQ(EcatPIInputWaitNotify(second, 10), 80003u);
    EcatClose(second);
}

TEST_F(FormerCycles, LeaveALaterHandleItsOwnCycles) {
    see_cycles();
    open_again();
    make_cycle();
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
}

TEST_F(WaitNotify, InDirectModeTheInterruptOfARunningBusWakesUp) {
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 10), 80003u);
    run_bus();
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
    EXPECT_EQ(EcatPIInputWaitNotify(handle_, 60000), 0u);
}

} // namespace
