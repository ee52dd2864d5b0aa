// Several processes on one card: what one writes another reads, and the other channel stays apart.
#include "pci_tarn/pci_tarn.h"
#include "support/process.h"
#include "support/virtual_card.h"
#include "vcard/bus/make_eni.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <numeric>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace tarn;

#if defined(__SANITIZE_THREAD__)
#define SKIP_UNDER_THREAD_SANITIZER()                                                              \
    GTEST_SKIP() << "forks a process with threads, which the thread sanitizer does not follow"
#else
#define SKIP_UNDER_THREAD_SANITIZER() (void)0
#endif

// A process that was forked before the library looked for its cards; it is told when to go.
class Peer {
  public:
    explicit Peer(const std::function<int()> &body) {
        shared_ = new (mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Shared;
        pid_ = fork();
        if (pid_ == 0) {
            while (!shared_->go.load()) {
                test::short_pause();
            }
            setenv("XDG_RUNTIME_DIR", shared_->runtime_dir, 1);
            if (chdir(shared_->work_dir) != 0) {
                _exit(98);
            }
            initMutex();
            _exit(body());
        }
    }
    ~Peer() {
        kill();
        munmap(shared_, sizeof(Shared));
    }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    // From here on it shares the cards and the working folder.
    void go(const test::VirtualCards &cards) {
        std::strncpy(shared_->runtime_dir, cards.runtime_dir().c_str(), kPathSize - 1);
        std::strncpy(shared_->work_dir, cards.work_dir().c_str(), kPathSize - 1);
        shared_->go.store(true);
    }
    int join() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    void kill() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            join();
        }
    }

  private:
    static constexpr size_t kPathSize = 1024;
    struct Shared {
        std::atomic<bool> go{false};
        char runtime_dir[kPathSize] = {};
        char work_dir[kPathSize] = {};
    };
    Shared *shared_;
    pid_t pid_;
};

EcatHandle *open_channel(uint32_t channel) {
    EcatHandle *handle = nullptr;
    return EcatOpen(&handle, "ID0", channel) == 0 ? handle : nullptr;
}

std::vector<uint8_t> stamped_image(uint32_t stamp) {
    std::vector<uint8_t> image(4096);
    for (size_t i = 0; i < image.size(); i += sizeof(stamp)) {
        std::memcpy(image.data() + i, &stamp, sizeof(stamp));
    }
    return image;
}

void write_eni(const char *path, uint32_t slaves) {
    std::ofstream(path) << vcard::make_eni({.slaves = {{"dio8", slaves}}});
}

TEST(ChannelSharing, OneProcessWritesAnotherReadsAndTheOtherChannelSeesNothing) {
    SKIP_UNDER_THREAD_SANITIZER();
    Peer reader([] {
        EcatHandle *handle = open_channel(0);
        uint8_t value = 0;
        const bool seen = test::eventually([&] {
            EcatPIRead(handle, ECAT_PI_NORMAL_OUTPUT, 5, 1, &value);
            return value == 0x5A;
        });
        return seen ? 0 : 1;
    });
    Peer stranger([] {
        EcatHandle *handle = open_channel(1);
        uint8_t value = 0xEE;
        return EcatPIRead(handle, ECAT_PI_NORMAL_OUTPUT, 5, 1, &value) == 0 && value == 0 ? 0 : 1;
    });
    const test::VirtualCards cards;
    EcatHandle *handle = open_channel(0);
    ASSERT_NE(handle, nullptr);
    write_eni("io.xml", 16);
    ASSERT_EQ(EcatBusRun(handle, "io.xml"), 0U);
    const uint8_t value = 0x5A;
    ASSERT_EQ(EcatPIWrite(handle, ECAT_PI_NORMAL_OUTPUT, 5, 1, &value), 0U);
    reader.go(cards);
    stranger.go(cards);
    EXPECT_EQ(reader.join(), 0);
    EXPECT_EQ(stranger.join(), 0);
    EcatBusStop(handle);
    EcatClose(handle);
}

TEST(ChannelSharing, InputsOfTheCardReachEveryProcess) {
    SKIP_UNDER_THREAD_SANITIZER();
    Peer reader([] {
        EcatHandle *handle = open_channel(0);
        uint8_t value = 0;
        return test::eventually([&] {
            EcatPIRead(handle, ECAT_PI_SHADOW_INPUT, 3, 1, &value);
            return value == 0xC4;
        })
                   ? 0
                   : 1;
    });
    const test::VirtualCards cards;
    EcatHandle *handle = open_channel(0);
    write_eni("io.xml", 16);
    ASSERT_EQ(EcatBusRun(handle, "io.xml"), 0U);
    const uint8_t value = 0xC4;
    ASSERT_EQ(EcatPIWrite(handle, ECAT_PI_FAST_OUTPUT, 3, 1, &value), 0U);
    reader.go(cards);
    EXPECT_EQ(reader.join(), 0);
    EcatClose(handle);
}

TEST(ChannelSharing, NoReaderEverSeesAHalfWrittenImage) {
    SKIP_UNDER_THREAD_SANITIZER();
    Peer writer([] {
        EcatHandle *handle = open_channel(0);
        for (uint32_t stamp = 1;; ++stamp) {
            EcatPIWrite(handle, ECAT_PI_NORMAL_OUTPUT, 0, 4096, stamped_image(stamp).data());
        }
        return 0;
    });
    const test::VirtualCards cards;
    EcatHandle *handle = open_channel(0);
    ASSERT_EQ(EcatPIClear(handle, ECAT_PI_NORMAL_OUTPUT), 0U);
    writer.go(cards);
    uint32_t first = 0;
    uint32_t last = 0;
    ASSERT_TRUE(test::eventually([&] {
        std::vector<uint8_t> image(4096);
        EXPECT_EQ(EcatPIRead(handle, ECAT_PI_NORMAL_OUTPUT, 0, 4096, image.data()), 0U);
        std::memcpy(&last, image.data(), sizeof(last));
        EXPECT_EQ(image, stamped_image(last));
        first = first != 0 ? first : last;
        return HasFailure() || last > first + 2000;
    }));
    writer.kill();
    EcatClose(handle);
}

TEST(ChannelSharing, AProcessThatDiesInTheMiddleLeavesTheChannelUsable) {
    SKIP_UNDER_THREAD_SANITIZER();
    std::vector<std::unique_ptr<Peer>> peers;
    for (int i = 0; i < 8; ++i) {
        peers.push_back(std::make_unique<Peer>([] {
            EcatHandle *handle = open_channel(0);
            for (uint32_t stamp = 1;; ++stamp) {
                uint16_t count = 0;
                EcatGetSlaveCount(handle, &count);
                EcatPIWrite(handle, ECAT_PI_FAST_OUTPUT, 0, 16, stamped_image(stamp).data());
            }
            return 0;
        }));
    }
    const test::VirtualCards cards;
    EcatHandle *handle = open_channel(0);
    write_eni("io.xml", 16);
    ASSERT_EQ(EcatBusRun(handle, "io.xml"), 0U);
    for (const auto &peer : peers) {
        peer->go(cards);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        peer->kill();
        uint16_t count = 0;
        EXPECT_EQ(EcatGetSlaveCount(handle, &count), 0U);
        EXPECT_EQ(count, 16);
        uint8_t value = 0;
        EXPECT_EQ(EcatPIRead(handle, ECAT_PI_SHADOW_INPUT, 0, 1, &value), 0U);
    }
    EXPECT_EQ(EcatBusStop(handle), 0U);
    EcatClose(handle);
}

TEST(ChannelSharing, RequestsOfManyProcessesNeverMixTheirReplies) {
    SKIP_UNDER_THREAD_SANITIZER();
    std::vector<std::unique_ptr<Peer>> peers;
    for (uint16_t slave = 0; slave < 4; ++slave) {
        peers.push_back(std::make_unique<Peer>([slave] {
            EcatHandle *handle = open_channel(0);
            for (int i = 0; i < 500; ++i) {
                uint16_t address = 0;
                if (EcatGetSlaveFixAddr(handle, slave, &address) != 0 || address != 1001 + slave) {
                    return 1;
                }
            }
            return 0;
        }));
    }
    const test::VirtualCards cards;
    EcatHandle *handle = open_channel(0);
    write_eni("io.xml", 4);
    ASSERT_EQ(EcatBusRun(handle, "io.xml"), 0U);
    for (const auto &peer : peers) {
        peer->go(cards);
    }
    for (const auto &peer : peers) {
        EXPECT_EQ(peer->join(), 0);
    }
    EcatClose(handle);
}

} // namespace
