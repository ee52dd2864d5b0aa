// The virtual card and its clients in processes of their own, some of which are killed.
#include "vcard_service_fixture.h"

#include <cstring>
#include <thread>
#include <vector>

namespace {

using namespace tarn::test;

TARN_PEER(adder) {
    const CardClient client(arguments);
    auto *bar = static_cast<volatile uint32_t *>(EtherCATMapBarAddress(client.card(), 0));
    bar[11] = bar[10] + 41;
    return 0;
}

TEST_F(VcardService, SeveralProcessesUseTheCardAtOnce) {
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    auto *mine = static_cast<volatile uint32_t *>(EtherCATMapBarAddress(card, 0));
    mine[10] = 1;
    EXPECT_EQ(client("adder")->join(), 0);
    EXPECT_EQ(mine[11], 42U);
    EtherCATClose(card);
}

TEST_F(VcardService, ClientKilledWhileItWaitsHindersNobody) {
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    for (int i = 0; i < 3; ++i) {
        client("waiter")->kill();
    }
    EXPECT_EQ(EtherCATWaitForInterrupt(card, 1, 1), kTimedOut);
    EXPECT_NE(EtherCATMapBarAddress(card, 2), nullptr);
    EtherCATClose(card);
    EXPECT_TRUE(service_->running());
}

TEST_F(VcardService, ClientKilledDuringDmaHindersNobody) {
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    for (int i = 0; i < 3; ++i) {
        const auto peer = client("dma_user");
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        peer->kill();
        uint8_t byte = 0;
        EXPECT_EQ(EtherCATDmaRead(card, 0x400000, &byte, 1, 10000), 1U);
    }
    EtherCATClose(card);
}

TARN_PEER(short_waiter) {
    const CardClient client(arguments);
    for (;;) {
        EtherCATWaitForInterrupt(client.card(), 1, 1);
    }
}

TEST_F(VcardService, ClientThatIsStoppedHindersNobody) {
    const auto peer = client("short_waiter");
    peer->process().send_signal(Signal::kFreeze);
    EtherCAT *card = EtherCATOpen(0);
    ASSERT_NE(card, nullptr);
    uint8_t data[64] = {};
    EXPECT_EQ(EtherCATDmaRead(card, 0, data, sizeof(data), 10000), sizeof(data));
    EtherCATClose(card);
    peer->kill();
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
    EXPECT_TRUE(eventually([] { return EtherCATGetCount() == 0; }));
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
    service_->send_signal(Signal::kFreeze);
    uint8_t data[4] = {};
    EXPECT_TRUE(eventually(
        [&] { return EtherCATDmaRead(card, 0, data, sizeof(data), 20) == 0; })); // stops soon
    EXPECT_EQ(EtherCATDmaRead(card, 0, data, sizeof(data), 0), 0U);
    EXPECT_EQ(EtherCATWaitForInterrupt(card, 1, 20), kTimedOut);
    service_->send_signal(Signal::kThaw);
    // The late answers to the requests that were given up are not taken for this one's.
    std::memset(data, 0, sizeof(data));
    EXPECT_EQ(EtherCATDmaRead(card, 8, data, sizeof(data), 20000), sizeof(data));
    EXPECT_EQ(std::memcmp(data, "1.13", sizeof(data)), 0);
    EtherCATClose(card);
}

TEST_F(VcardService, KilledServerLeavesNoCards) {
    EXPECT_EQ(EtherCATGetCount(), 2U);
    service_->kill_now();
    EXPECT_TRUE(eventually([] { return EtherCATGetCount() == 0; }));
    EXPECT_EQ(EtherCATOpen(0), nullptr);
}

TEST_F(VcardService, NewServerTakesOverFromAKilledOne) {
    service_->kill_now();
    start("1");
    EXPECT_EQ(EtherCATGetCount(), 1U);
    EtherCAT *card = EtherCATOpen(0);
    EXPECT_NE(card, nullptr);
    EtherCATClose(card);
}

TEST_F(VcardService, CardsOfTheUserComeBeforeAnyOthers) {
    // Nothing of another service is counted on top.
    EXPECT_EQ(EtherCATGetCount(), 2U);
    EXPECT_EQ(EtherCATOpen(2), nullptr);
}

TEST_F(VcardService, StoppedServerLeavesNoCards) {
    service_->send_signal(Signal::kTerminate);
    ProcessResult result;
    ASSERT_TRUE(service_->wait(kPatience, &result));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(EtherCATGetCount(), 0U);
    EXPECT_FALSE(fs::exists(folder_.path() / "pci_tarn" / "tarn-vcard.pid"));
}

// Ends as programs do, with the library's own clean-up.
TARN_PEER(registry_user) {
    std::exit(initDevice() == 0 ? 0 : 1);
}

TEST_F(VcardService, RegistryClosesItsCardsWhenAProgramEnds) {
    EXPECT_EQ(Peer("registry_user").join(), 0);
    EtherCAT *card = EtherCATOpen(0);
    EXPECT_NE(card, nullptr);
    EtherCATClose(card);
    EXPECT_TRUE(service_->running());
    EXPECT_EQ(service_->err().find("sent away"), std::string::npos);
}

} // namespace
