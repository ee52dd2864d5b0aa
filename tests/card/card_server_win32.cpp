// The server of virtual cards and the device nodes that it serves on.
#include "driver_fixture.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace tarn;
using test::expect_alive;
using test::open_card;
using test::OpenCard;
using test::VirtualCards;

namespace {

vcard::ServerOptions silent_server(size_t cards) {
    vcard::ServerOptions options;
    options.cards = VirtualCards::default_cards(cards);
    options.log = [](const std::string &) {};
    return options;
}

TEST(CardServer, TwoServersDoNotShareTheNodes) {
    const VirtualCards cards;
    try {
        const vcard::Server second(silent_server(1));
        FAIL() << "a second server has started";
    } catch (const std::runtime_error &error) {
        EXPECT_NE(std::string(error.what()).find("already running"), std::string::npos);
    }
    EXPECT_EQ(EtherCATGetCount(), 1U);
    expect_alive();
}

TEST(CardServer, MoreCardsThanNodesAreRefused) {
    const VirtualCards none(silent_server(1));
    try {
        const vcard::Server server(silent_server(17));
        FAIL() << "a server has started with more cards than there can be nodes";
    } catch (const std::runtime_error &error) {
        EXPECT_NE(std::string(error.what()).find("device nodes"), std::string::npos);
    }
}

TEST(CardServer, TakesOverTheNodesOfOneThatHasEnded) {
    VirtualCards first;
    first.stop();
    EXPECT_EQ(EtherCATGetCount(), 0U);
    const vcard::Server second(silent_server(2));
    EXPECT_EQ(EtherCATGetCount(), 2U);
    expect_alive();
}

TEST(CardServer, ManyClientsComeAndGo) {
    const VirtualCards cards;
    for (int i = 0; i < 500; ++i) {
        // Each leaves with a wait that is outstanding and a BAR that is mapped.
        const OpenCard card = open_card();
        ASSERT_NE(EtherCATMapBarAddress(card.get(), 1), nullptr) << i;
        ASSERT_EQ(EtherCATWaitForInterrupt(card.get(), 5, 0), 258U) << i;
    }
    expect_alive();
}

TEST(CardServer, ClientsOfManyThreadsAreServedAtOnce) {
    const VirtualCards cards;
    std::vector<std::thread> threads;
    for (uint32_t t = 0; t < 8; ++t) {
        threads.emplace_back([t] {
            for (uint32_t i = 0; i < 20; ++i) {
                const OpenCard card = open_card();
                uint32_t sent = t * 1000 + i;
                uint32_t back = 0;
                EXPECT_EQ(EtherCATWrite(card.get(), 1, t, &sent, sizeof(sent)), sizeof(sent));
                EXPECT_EQ(EtherCATRead(card.get(), 1, t, &back, sizeof(back)), sizeof(back));
                EXPECT_EQ(back, sent);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    expect_alive();
}

} // namespace
