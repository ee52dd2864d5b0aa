// The kernel driver of the virtual cards when users and cards are killed.
#include "card/raw_card_win32.h"
#include "pci_tarn/driver.h"
#include "support/peer.h"
#include "support/this_process.h"

#include <cstring>
#include <gtest/gtest.h>
#include <list>

using namespace tarn;
using test::Peer;
using test::RawCard;
using test::RawUser;
using test::RawWait;
using test::words;

namespace {

constexpr uint32_t kMapBar = 0x222012;
constexpr DWORD kPatience = 60000;

void say_ready() {
    std::puts("ready");
    std::fflush(stdout);
}

// Maps, waits for every interrupt and has a transfer outstanding when it is killed.
TARN_PEER(driver_user) {
    RawUser user;
    std::list<RawWait> waits;
    for (uint32_t number = 0; number < 8; ++number) {
        waits.emplace_back(user, number);
    }
    uint8_t data[64] = {};
    OVERLAPPED request = {};
    WriteFile(user.handle(), data, sizeof(data), nullptr, &request);
    if (user.control(kMapBar, words({0}), 8) != 0) {
        return 1;
    }
    say_ready();
    test::wait_for_the_end();
}

// Is the card when it is killed.
TARN_PEER(driver_card) {
    RawCard card;
    std::memset(card.node().map(0), 0x5A, 4096);
    say_ready();
    test::wait_for_the_end();
}

TEST(VirtualDriverProcess, UserThatIsKilledLeavesNothingBehind) {
    RawCard card;
    Peer user("driver_user");
    ASSERT_TRUE(user.process().wait_for_output("ready"));
    const vcard::FirmwareEvent transfer = card.next_transfer();
    user.kill();
    EXPECT_TRUE(test::eventually([&] { return !card.node().complete(transfer, true, 0); }));
    for (uint32_t number = 0; number < 8; ++number) {
        card.node().raise(number);
    }
    const RawUser other;
    RawWait wait(other, 3);
    card.node().raise(3);
    DWORD error = 1;
    EXPECT_TRUE(wait.over(kPatience, error));
    EXPECT_EQ(error, 0U);
}

TEST(VirtualDriverProcess, UsersThatAreKilledDoNotUseTheNodeUp) {
    RawCard card;
    for (int i = 0; i < 10; ++i) {
        Peer user("driver_user");
        ASSERT_TRUE(user.process().wait_for_output("ready")) << i;
        user.kill();
        card.node().raise(static_cast<uint32_t>(i) % 8);
    }
    RawUser other;
    EXPECT_EQ(other.control(kMapBar, words({2}), 8), 0U);
}

TEST(VirtualDriverProcess, CardThatIsKilledEndsWhatItsUsersWaitFor) {
    Peer card("driver_card");
    ASSERT_TRUE(card.process().wait_for_output("ready"));
    RawUser user;
    ASSERT_EQ(user.control(kMapBar, words({0}), 8), 0U);
    const uint8_t *bar = nullptr;
    std::memcpy(&bar, user.answer.data(), sizeof(bar));
    RawWait wait(user, 1);
    card.kill();
    DWORD error = 0;
    ASSERT_TRUE(wait.over(kPatience, error));
    EXPECT_NE(error, 0U);
    EXPECT_EQ(bar[100], 0x5A); // what was mapped stays
    EXPECT_NE(user.control(kMapBar, words({2}), 8), 0U);
}

TEST(VirtualDriverProcess, NodeOfACardThatWasKilledTakesTheNextOne) {
    for (int i = 0; i < 5; ++i) {
        Peer card("driver_card");
        ASSERT_TRUE(card.process().wait_for_output("ready")) << i;
        card.kill();
    }
    RawCard next;
    EXPECT_EQ(EtherCATGetCount(), 1U);
    EXPECT_EQ(next.node().map(0)[0], 0); // of memory of its own
}

} // namespace
