// The virtual card and its clients in processes of their own, some of which are killed.
#include "pci_tarn/driver.h"
#include "support/process.h"
#include "support/temp_dir.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using tarn::test::BackgroundProcess;
using tarn::test::eventually;
using tarn::test::program_path;
using tarn::test::TempDir;

namespace {

constexpr uint32_t kFailed = 0xFFFFFFFF;
constexpr uint32_t kTimedOut = 258;

class VcardService : public testing::Test {
  protected:
    VcardService() {
        setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
        start();
    }

    void start(const std::string &cards = "2") {
        service_ = std::make_unique<BackgroundProcess>(
            program_path("tarn-vcard"), std::vector<std::string>{"run", "--cards", cards});
        ASSERT_TRUE(service_->wait_for_output("serving")) << service_->err();
    }

    // Runs `body` in a child process that has opened the card and says so; comes back then.
    template <typename Body>
    pid_t client(Body body) {
        int ready[2];
        EXPECT_EQ(pipe(ready), 0);
        const pid_t pid = fork();
        if (pid == 0) {
            EtherCAT *card = EtherCATOpen(0);
            const char byte = card != nullptr ? 1 : 0;
            if (write(ready[1], &byte, 1) == 1 && card != nullptr) {
                body(card);
            }
            _exit(0);
        }
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 1);
        EXPECT_EQ(byte, 1);
        close(ready[0]);
        close(ready[1]);
        return pid;
    }

    static void end(pid_t pid) {
        kill(pid, SIGKILL);
        EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
    }

    // Descriptors that the service has open.
    size_t service_descriptors() const {
        size_t count = 0;
        for ([[maybe_unused]] const auto &entry :
             fs::directory_iterator("/proc/" + std::to_string(service_->pid()) + "/fd")) {
            ++count;
        }
        return count;
    }

    TempDir folder_;
    std::unique_ptr<BackgroundProcess> service_;
};

TEST_F(VcardService, SeveralProcessesUseTheCardAtOnce) {
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    auto *mine = static_cast<volatile uint32_t *>(EtherCATMapBarAddress(card, 0));
    mine[10] = 1;
    const pid_t pid = client([](EtherCAT *other) {
        auto *bar = static_cast<volatile uint32_t *>(EtherCATMapBarAddress(other, 0));
        bar[11] = bar[10] + 41;
    });
    EXPECT_TRUE(eventually([mine] { return mine[11] == 42; }));
    waitpid(pid, nullptr, 0);
    EtherCATClose(card);
}

TEST_F(VcardService, ClientKilledWhileItWaitsLeavesNothingBehind) {
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    const size_t before = service_descriptors();
    for (int i = 0; i < 10; ++i) {
        const pid_t pid =
            client([](EtherCAT *other) { EtherCATWaitForInterrupt(other, 1, 60000); });
        EXPECT_GT(service_descriptors(), before);
        end(pid);
    }
    EXPECT_TRUE(eventually([&] { return service_descriptors() == before; }));
    EXPECT_EQ(EtherCATWaitForInterrupt(card, 1, 1), kTimedOut);
    EXPECT_NE(EtherCATMapBarAddress(card, 2), nullptr);
    EtherCATClose(card);
    EXPECT_TRUE(service_->running());
}

TEST_F(VcardService, ClientKilledDuringDmaHindersNobody) {
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    const size_t before = service_descriptors();
    for (int i = 0; i < 10; ++i) {
        const pid_t pid = client([](EtherCAT *other) {
            static uint8_t data[1 << 20];
            for (;;) {
                EtherCATDmaRead(other, 0, data, sizeof(data), 10000);
                EtherCATDmaWrite(other, 0x400000, data, sizeof(data), 10000);
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        end(pid);
        uint8_t byte = 0;
        EXPECT_EQ(EtherCATDmaRead(card, 0x400000, &byte, 1, 10000), 1U);
    }
    EXPECT_TRUE(eventually([&] { return service_descriptors() == before; }));
    EtherCATClose(card);
}

TEST_F(VcardService, ClientThatIsStoppedHindersNobody) {
    const pid_t pid = client([](EtherCAT *other) {
        for (;;) {
            EtherCATWaitForInterrupt(other, 1, 1);
        }
    });
    kill(pid, SIGSTOP);
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    uint8_t data[64] = {};
    EXPECT_EQ(EtherCATDmaRead(card, 0, data, sizeof(data), 10000), sizeof(data));
    EtherCATClose(card);
    end(pid);
}

TEST_F(VcardService, ServerKilledUnderAWaitingClientEndsTheWait) {
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    const auto *bar = static_cast<const volatile uint32_t *>(EtherCATMapBarAddress(card, 2));
    std::thread killer([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        service_->kill_now();
    });
    EXPECT_EQ(EtherCATWaitForInterrupt(card, 1, 100000), kFailed);
    killer.join();
    uint8_t data[4] = {};
    EXPECT_EQ(EtherCATWaitForInterrupt(card, 1, 100000), kFailed);
    EXPECT_EQ(EtherCATDmaRead(card, 0, data, sizeof(data), 100000), 0U);
    EXPECT_EQ(EtherCATDmaWrite(card, 0, data, sizeof(data), 100000), 0U);
    EXPECT_EQ(EtherCATRead(card, 0, 0, data, sizeof(data)), 0U);
    EXPECT_EQ(EtherCATMapBarAddress(card, 1), nullptr);
    EXPECT_EQ(*bar, 0x5AA5C33CU);
    EXPECT_EQ(EtherCATGetCount(), 0U);
    EtherCATClose(card);
}

TEST_F(VcardService, ServerKilledDuringDmaFailsIt) {
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    std::thread killer([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        service_->kill_now();
    });
    std::vector<uint8_t> data(1 << 20);
    while (EtherCATDmaRead(card, 0, data.data(), static_cast<uint32_t>(data.size()), 100000) != 0) {
    }
    killer.join();
    EtherCATClose(card);
}

TEST_F(VcardService, ServerThatIsStoppedLetsDmaTimeOutAndGoesOnLater) {
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    service_->send_signal(SIGSTOP);
    uint8_t data[4] = {};
    EXPECT_TRUE(eventually(
        [&] { return EtherCATDmaRead(card, 0, data, sizeof(data), 20) == 0; })); // stops soon
    EXPECT_EQ(EtherCATDmaRead(card, 0, data, sizeof(data), 0), 0U);
    EXPECT_EQ(EtherCATWaitForInterrupt(card, 1, 20), kTimedOut);
    service_->send_signal(SIGCONT);
    // The late answers to the requests that were given up are not taken for this one's.
    std::memset(data, 0, sizeof(data));
    EXPECT_EQ(EtherCATDmaRead(card, 8, data, sizeof(data), 20000), sizeof(data));
    EXPECT_EQ(std::memcmp(data, "1.13", sizeof(data)), 0);
    EtherCATClose(card);
}

TEST_F(VcardService, KilledServerLeavesStaleSocketsThatAreNoCards) {
    EXPECT_EQ(EtherCATGetCount(), 2U);
    service_->kill_now();
    EXPECT_TRUE(fs::exists(folder_.path() / "pci_tarn" / "kpcidev0"));
    EXPECT_EQ(EtherCATGetCount(), 0U);
    EXPECT_EQ(EtherCATOpen(0), nullptr);
}

TEST_F(VcardService, NewServerTakesOverStaleSockets) {
    service_->kill_now();
    start("1");
    EXPECT_EQ(EtherCATGetCount(), 1U);
    EXPECT_FALSE(fs::exists(folder_.path() / "pci_tarn" / "kpcidev1"));
    EtherCAT *card = EtherCATOpen(0);
    EXPECT_NE(card, nullptr);
    EtherCATClose(card);
}

TEST_F(VcardService, CardsOfTheUserComeBeforeAnyOthers) {
    // Nothing of another directory is counted on top.
    EXPECT_EQ(EtherCATGetCount(), 2U);
    EXPECT_EQ(EtherCATOpen(2), nullptr);
}

TEST_F(VcardService, StoppingRemovesAllSockets) {
    service_->send_signal(SIGTERM);
    tarn::test::ProcessResult result;
    ASSERT_TRUE(service_->wait(std::chrono::seconds(20), &result));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(fs::is_empty(folder_.path() / "pci_tarn"));
}

TEST_F(VcardService, RegistryClosesItsCardsWhenAProgramEnds) {
    const size_t before = service_descriptors();
    const pid_t pid = fork();
    if (pid == 0) {
        exit(initDevice() == 0 ? 0 : 1);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(eventually([&] { return service_descriptors() == before; }));
    EXPECT_EQ(service_->err().find("sent away"), std::string::npos);
}

} // namespace
