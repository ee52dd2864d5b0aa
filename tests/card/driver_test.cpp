// Kernel driver interface against virtual cards.
#include "driver_fixture.h"
#include "support/process.h"
#include "support/this_process.h"

#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

using namespace tarn;
using test::open_card;
using test::OpenCard;
using test::VirtualCards;

namespace {

constexpr uint32_t kTimedOut = 258;
constexpr uint32_t kFailed = 0xFFFFFFFF;
constexpr uint32_t kBar2 = 0x800000;

vcard::ServerOptions options_with_version(uint64_t version) {
    vcard::ServerOptions options;
    options.cards = VirtualCards::default_cards(1);
    options.driver_version = version;
    return options;
}

bool accepts(uint64_t version) {
    const VirtualCards cards(options_with_version(version));
    EXPECT_EQ(EtherCATGetDriverVersion(), version);
    return EtherCATVerifyDriverVersion();
}

// Makes the card raise an interrupt: a request with a code that it does not know, put straight into
// the board's own ring, so that nothing of the library is needed but the memory.
void post_unknown_request(EtherCAT *card) {
    auto *bar1 = static_cast<uint8_t *>(EtherCATMapBarAddress(card, 1));
    auto *area = static_cast<uint8_t *>(EtherCATMapBarAddress(card, 2)) + 0x1000;
    auto *words = reinterpret_cast<volatile uint32_t *>(area);
    auto *pointers = reinterpret_cast<uint32_t *>(area + words[0x34 / 4]);
    uint8_t *slot = area + words[0x38 / 4];
    const uint32_t mask = words[0x40 / 4];
    const uint32_t write = pointers[1];
    slot += (write & mask) * words[0x3C / 4];
    const uint16_t header[8] = {0, 0xFFFE, static_cast<uint16_t>(write), 0, 0, 0, 0, 0};
    std::memcpy(slot, header, sizeof(header));
    __atomic_store_n(&pointers[1], write + 1, __ATOMIC_RELEASE);
    __atomic_store_n(reinterpret_cast<uint32_t *>(bar1 + 4), 1U, __ATOMIC_RELEASE);
}

// Takes the answer out of the ring. False when there is none.
bool take_answer(EtherCAT *card) {
    auto *area = static_cast<uint8_t *>(EtherCATMapBarAddress(card, 2)) + 0x1000;
    auto *words = reinterpret_cast<volatile uint32_t *>(area);
    auto *pointers = reinterpret_cast<uint32_t *>(area + words[0x24 / 4]);
    if (__atomic_load_n(&pointers[1], __ATOMIC_ACQUIRE) == pointers[0]) {
        return false;
    }
    __atomic_store_n(&pointers[0], pointers[0] + 1, __ATOMIC_RELEASE);
    return true;
}

constexpr uint32_t kMailboxInterrupt = 1;

// Raises the interrupt of the board's mailbox and comes back when that has happened: the client
// that came last is told last.
void raise_interrupt(EtherCAT *card) {
    const OpenCard witness = open_card();
    ASSERT_NE(witness, nullptr);
    post_unknown_request(card);
    ASSERT_TRUE(test::eventually([card] { return take_answer(card); }));
    ASSERT_EQ(EtherCATWaitForInterrupt(witness.get(), kMailboxInterrupt, 60000), 0U);
}

// ---- enumeration -----------------------------------------------------------------------------

TEST(Driver, CountsTheCardsThatArePresent) {
    const VirtualCards cards(VirtualCards::default_cards(3));
    EXPECT_EQ(EtherCATGetCount(), 3U);
    EXPECT_EQ(EtherCAT::GetCount(), 3U);
}

TEST(Driver, CountFollowsCardsThatGo) {
    VirtualCards cards(VirtualCards::default_cards(2));
    EXPECT_EQ(EtherCATGetCount(), 2U);
    cards.stop();
    EXPECT_EQ(EtherCATGetCount(), 0U);
    EXPECT_EQ(EtherCATOpen(0), nullptr);
}

// ---- driver version --------------------------------------------------------------------------

TEST(DriverVersion, IsTheOneOfTheDriver) {
    const VirtualCards cards(options_with_version(0x0001000200030004));
    EXPECT_EQ(EtherCATGetDriverVersion(), 0x0001000200030004U);
    EXPECT_EQ(EtherCAT::GetDriverVersion(), 0x0001000200030004U);
}

TEST(DriverVersion, ZeroIsRejected) {
    EXPECT_FALSE(accepts(0));
}
TEST(DriverVersion, OneZeroZeroZeroIsRejected) {
    EXPECT_FALSE(accepts(0x0001000000000000));
}
TEST(DriverVersion, OneZeroZeroOneIsAccepted) {
    EXPECT_TRUE(accepts(0x0001000000000001));
}
TEST(DriverVersion, OneZeroOneZeroIsAccepted) {
    EXPECT_TRUE(accepts(0x0001000000010000));
}
TEST(DriverVersion, OneOneZeroZeroIsAccepted) {
    EXPECT_TRUE(accepts(0x0001000100000000));
}
TEST(DriverVersion, BelowOneZeroIsRejected) {
    EXPECT_FALSE(accepts(0x0000FFFFFFFFFFFF));
}
TEST(DriverVersion, TwoZeroZeroZeroIsAccepted) {
    EXPECT_TRUE(accepts(0x0002000000000000));
}
TEST(DriverVersion, TheOneBadNewerVersionIsRejected) {
    EXPECT_FALSE(accepts(0x0012000200180066));
}
TEST(DriverVersion, NeighboursOfTheBadVersionAreAccepted) {
    EXPECT_TRUE(accepts(0x0012000200180065));
    EXPECT_TRUE(accepts(0x0012000200180067));
}

// ---- opening and BARs ------------------------------------------------------------------------

TEST(DriverOpen, OnlyIndexesOfPresentCardsOpen) {
    const VirtualCards cards(VirtualCards::default_cards(2));
    EXPECT_NE(open_card(0), nullptr);
    EXPECT_NE(open_card(1), nullptr);
    EXPECT_EQ(open_card(2), nullptr);
}

TEST(DriverOpen, OneCardOpensManyTimes) {
    const VirtualCards cards;
    std::vector<OpenCard> all;
    for (int i = 0; i < 20; ++i) {
        all.push_back(open_card());
        ASSERT_NE(all.back(), nullptr) << i;
    }
}

TEST(DriverOpen, NothingIsLeftOpenAfterAThousandRounds) {
    const VirtualCards cards;
    open_card();
    const size_t before = test::open_handles();
    for (int i = 0; i < 1000; ++i) {
        const OpenCard card = open_card();
        ASSERT_NE(EtherCATMapBarAddress(card.get(), 2), nullptr);
    }
    EXPECT_TRUE(test::eventually([before] { return test::open_handles() <= before; }));
}

TEST(DriverBar, MapsThreeBars) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    for (uint32_t bar = 0; bar < 3; ++bar) {
        EXPECT_NE(EtherCATMapBarAddress(card.get(), bar), nullptr) << bar;
    }
    const auto *magic = static_cast<const uint32_t *>(EtherCATMapBarAddress(card.get(), 2));
    EXPECT_EQ(*magic, 0x5AA5C33CU);
}

TEST(DriverBar, NumberBeyondTheLastIsRefused) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    EXPECT_EQ(EtherCATMapBarAddress(card.get(), 6), nullptr);
    EXPECT_EQ(EtherCATMapBarAddress(card.get(), 0xFFFFFFFF), nullptr);
}

TEST(DriverBar, BarThatTheCardDoesNotHaveIsRefused) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    for (uint32_t bar = 3; bar < 6; ++bar) {
        EXPECT_EQ(EtherCATMapBarAddress(card.get(), bar), nullptr) << bar;
    }
}

TEST(DriverBar, SecondMappingIsTheFirstOneAndAsksNobody) {
    VirtualCards cards;
    const OpenCard card = open_card();
    void *first = EtherCATMapBarAddress(card.get(), 2);
    ASSERT_NE(first, nullptr);
    cards.stop(); // a second request would fail now
    EXPECT_EQ(EtherCATMapBarAddress(card.get(), 2), first);
    EXPECT_EQ(card->EtherCATMapBarAddress(2), first);
    EXPECT_EQ(EtherCATMapBarAddress(card.get(), 1), nullptr);
}

TEST(DriverBar, TwoClientsSeeTheSameMemory) {
    const VirtualCards cards;
    const OpenCard first = open_card();
    const OpenCard second = open_card();
    auto *mine = static_cast<volatile uint8_t *>(EtherCATMapBarAddress(first.get(), 0));
    auto *yours = static_cast<volatile uint8_t *>(EtherCATMapBarAddress(second.get(), 0));
    ASSERT_NE(mine, yours);
    mine[100] = 0x5A;
    EXPECT_EQ(yours[100], 0x5A);
}

TEST(DriverBar, UnmappedBarCanBeMappedAgain) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    void *address = EtherCATMapBarAddress(card.get(), 2);
    EtherCATUnmapBarAddress(card.get(), address);
    EXPECT_FALSE(test::is_mapped(address));
    EXPECT_NE(EtherCATMapBarAddress(card.get(), 2), nullptr);
}

TEST(DriverBar, UnmappingAForeignAddressDoesNothing) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    auto *bar = static_cast<uint8_t *>(EtherCATMapBarAddress(card.get(), 2));
    EtherCATUnmapBarAddress(card.get(), bar + 4096);
    EtherCATUnmapBarAddress(card.get(), nullptr);
    EXPECT_EQ(bar[0], 0x3C);
    EXPECT_EQ(EtherCATMapBarAddress(card.get(), 2), bar);
}

TEST(DriverBar, StaysReadableWhenTheServerHasGone) {
    VirtualCards cards;
    const OpenCard card = open_card();
    const auto *bar = static_cast<const volatile uint32_t *>(EtherCATMapBarAddress(card.get(), 2));
    cards.stop();
    EXPECT_EQ(*bar, 0x5AA5C33CU);
}

// ---- interrupts ------------------------------------------------------------------------------

TEST(DriverInterrupt, NumberBeyondTheLastIsAnError) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 8, 0), kFailed);
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 0xFFFFFFFF, 0), kFailed);
    EXPECT_EQ(card->EtherCATWaitForInterrupt(8, 0), kFailed);
}

TEST(DriverInterrupt, EveryNumberTimesOutWhenNothingHappens) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    for (uint32_t number = 0; number < 8; ++number) {
        EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), number, 1), kTimedOut) << number;
    }
}

TEST(DriverInterrupt, CardIsClosedAfterTheThreadThatWaitedHasGone) {
    const VirtualCards cards;
    OpenCard card = open_card();
    std::thread([&card] {
        EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 1), kTimedOut);
    }).join();
    card.reset();
    EXPECT_NE(open_card(), nullptr);
}

TEST(DriverInterrupt, WakesAClientThatWaits) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    std::thread waker([] {
        const OpenCard other = open_card();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        post_unknown_request(other.get());
    });
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 20000), 0U);
    waker.join();
}

TEST(DriverInterrupt, IsLatchedOnceForAClientThatDoesNotWait) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    raise_interrupt(card.get());
    raise_interrupt(card.get());
    raise_interrupt(card.get());
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 20000), 0U);
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 30), kTimedOut);
}

TEST(DriverInterrupt, IsLatchedForEveryClient) {
    const VirtualCards cards;
    const OpenCard first = open_card();
    const OpenCard second = open_card();
    raise_interrupt(first.get());
    EXPECT_EQ(EtherCATWaitForInterrupt(second.get(), kMailboxInterrupt, 20000), 0U);
    EXPECT_EQ(EtherCATWaitForInterrupt(first.get(), kMailboxInterrupt, 20000), 0U);
}

TEST(DriverInterrupt, WaitThatTimedOutGoesOnAndReturnsWhenTheInterruptComes) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 1), kTimedOut);
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 1), kTimedOut);
    raise_interrupt(card.get()); // between two calls, while the request is outstanding
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 20000), 0U);
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 30), kTimedOut);
}

TEST(DriverInterrupt, OtherNumbersAreNotWoken) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    raise_interrupt(card.get());
    for (const uint32_t other : {0U, 5U, 6U, 7U}) {
        EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), other, 1), kTimedOut) << other;
    }
}

TEST(DriverInterrupt, WakesASleepingCardSoThatItSeesTheDoorbell) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    for (int i = 0; i < 200; ++i) {
        post_unknown_request(card.get());
        ASSERT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 20000), 0U) << i;
        ASSERT_TRUE(test::eventually([&card] { return take_answer(card.get()); })) << i;
    }
}

TEST(DriverInterrupt, ServerThatGoesEndsTheWaitWithAnError) {
    VirtualCards cards;
    const OpenCard card = open_card();
    std::thread stopper([&cards] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        cards.stop();
    });
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 60000), kFailed);
    stopper.join();
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 60000), kFailed);
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 0, 60000), kFailed);
}

TEST(DriverInterrupt, LatchedInterruptIsStillGivenWhenTheServerHasGone) {
    VirtualCards cards;
    const OpenCard card = open_card();
    raise_interrupt(card.get());
    cards.stop();
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 0), 0U);
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 0), kFailed);
}

TEST(DriverInterrupt, ClientThatLeavesWhileWaitingHindersNobody) {
    const VirtualCards cards;
    {
        const OpenCard gone = open_card();
        EXPECT_EQ(EtherCATWaitForInterrupt(gone.get(), kMailboxInterrupt, 1), kTimedOut);
    }
    const OpenCard card = open_card();
    raise_interrupt(card.get());
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), kMailboxInterrupt, 20000), 0U);
}

// ---- DMA -------------------------------------------------------------------------------------

TEST(DriverDma, ReadsWhatTheBarShows) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    auto *bar = static_cast<uint8_t *>(EtherCATMapBarAddress(card.get(), 2));
    std::memcpy(bar + 0x700000, "from the card", 13);
    char buffer[13] = {};
    EXPECT_EQ(EtherCATDmaRead(card.get(), 0x700000, buffer, sizeof(buffer), 1000), 13U);
    EXPECT_EQ(std::string(buffer, sizeof(buffer)), "from the card");
}

TEST(DriverDma, WritesWhatTheBarShows) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    char text[] = "to the card";
    EXPECT_EQ(EtherCATDmaWrite(card.get(), 0x700001, text, sizeof(text), 1000), sizeof(text));
    const auto *bar = static_cast<const char *>(EtherCATMapBarAddress(card.get(), 2));
    EXPECT_STREQ(bar + 0x700001, "to the card");
}

TEST(DriverDma, MovesMoreThanOneMessageHolds) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    std::vector<uint32_t> sent(1'000'003 / 4);
    for (size_t i = 0; i < sent.size(); ++i) {
        sent[i] = static_cast<uint32_t>(i * 2654435761U);
    }
    const auto bytes = static_cast<uint32_t>(sent.size() * 4);
    ASSERT_EQ(EtherCATDmaWrite(card.get(), kBar2 - bytes, sent.data(), bytes, 20000), bytes);
    std::vector<uint32_t> received(sent.size());
    ASSERT_EQ(EtherCATDmaRead(card.get(), kBar2 - bytes, received.data(), bytes, 20000), bytes);
    EXPECT_EQ(received, sent);
}

TEST(DriverDma, AddressBeyondTheCardFailsAndMovesNothing) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    std::vector<uint8_t> data(200'000, 0xA5);
    EXPECT_EQ(EtherCATDmaRead(card.get(), kBar2, data.data(), 1, 1000), 0U);
    EXPECT_EQ(EtherCATDmaRead(card.get(), kBar2 - 3, data.data(), 4, 1000), 0U);
    EXPECT_EQ(EtherCATDmaRead(card.get(), 0xFFFFFFFF, data.data(), 4, 1000), 0U);
    EXPECT_EQ(EtherCATDmaWrite(card.get(), kBar2 - 100'000, data.data(), 200'000, 1000), 0U);
    const auto *bar = static_cast<const uint8_t *>(EtherCATMapBarAddress(card.get(), 2));
    EXPECT_EQ(bar[kBar2 - 100'000], 0);
}

TEST(DriverDma, NothingToMoveIsNothingMoved) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    uint8_t byte = 0;
    EXPECT_EQ(EtherCATDmaRead(card.get(), 0, &byte, 0, 1000), 0U);
    EXPECT_EQ(EtherCATDmaRead(card.get(), 0, nullptr, 4, 1000), 0U);
    EXPECT_EQ(EtherCATDmaWrite(card.get(), 0, nullptr, 4, 1000), 0U);
}

TEST(DriverDma, SeveralThreadsMoveAtOnce) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    std::vector<std::thread> threads;
    for (uint32_t t = 0; t < 4; ++t) {
        threads.emplace_back([&card, t] {
            const uint32_t address = 0x600000 + t * 0x10000;
            for (uint32_t round = 0; round < 100; ++round) {
                std::vector<uint8_t> sent(1000 + t, static_cast<uint8_t>(round + t));
                std::vector<uint8_t> back(sent.size());
                const auto length = static_cast<uint32_t>(sent.size());
                ASSERT_EQ(EtherCATDmaWrite(card.get(), address, sent.data(), length, 20000),
                          length);
                ASSERT_EQ(EtherCATDmaRead(card.get(), address, back.data(), length, 20000), length);
                ASSERT_EQ(back, sent);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST(DriverDma, FailsAtOnceWhenTheServerHasGone) {
    VirtualCards cards;
    const OpenCard card = open_card();
    cards.stop();
    uint8_t data[4] = {};
    EXPECT_EQ(EtherCATDmaRead(card.get(), 0, data, sizeof(data), 60000), 0U);
    EXPECT_EQ(EtherCATDmaWrite(card.get(), 0, data, sizeof(data), 60000), 0U);
    EXPECT_EQ(EtherCATRead(card.get(), 0, 0, data, sizeof(data)), 0U);
}

// ---- selectors -------------------------------------------------------------------------------

TEST(DriverSelectors, WhatWasWrittenIsReadBack) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    char one[] = "one";
    char two[] = "number two";
    EXPECT_EQ(EtherCATWrite(card.get(), 1, 7, one, sizeof(one)), sizeof(one));
    EXPECT_EQ(EtherCATWrite(card.get(), 2, 7, two, sizeof(two)), sizeof(two));
    char buffer[32] = {};
    EXPECT_EQ(EtherCATRead(card.get(), 1, 7, buffer, sizeof(buffer)), sizeof(one));
    EXPECT_STREQ(buffer, "one");
    EXPECT_EQ(EtherCATRead(card.get(), 2, 7, buffer, 6), 6U);
    EXPECT_EQ(std::string(buffer, 6), "number");
}

TEST(DriverSelectors, UnknownSelectorsFail) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    char buffer[4] = {};
    EXPECT_EQ(EtherCATRead(card.get(), 3, 4, buffer, sizeof(buffer)), 0U);
    EXPECT_EQ(EtherCATRead(card.get(), 3, 4, nullptr, 4), 0U);
    EXPECT_EQ(EtherCATWrite(card.get(), 3, 4, nullptr, 4), 0U);
}

} // namespace
