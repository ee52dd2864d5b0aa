// The kernel driver of the virtual cards: it checks what it is given and survives both sides.
#include "driver_fixture.h"
#include "pci_tarn/driver.h"
#include "raw_card_win32.h"
#include "support/process.h"
#include "support/this_process.h"
#include "vcard/host/device_nodes_win32.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <list>
#include <thread>

using namespace tarn;
using test::RawCard;
using test::RawUser;
using test::RawWait;
using test::words;

namespace {

constexpr DWORD kPatience = 60000;
constexpr DWORD kShort = 20;

// ---- who is the card -------------------------------------------------------------------------

TEST(VirtualDriver, OneProcessIsTheCard) {
    const RawCard card;
    vcard::DriverNode second(vcard::driver_node_paths().at(0));
    EXPECT_FALSE(second.attach(test::kRawBarSizes));
}

TEST(VirtualDriver, NodeIsFreeWhenTheCardHasGone) {
    { const RawCard first; }
    const RawCard second;
}

TEST(VirtualDriver, NodesAreIndependent) {
    const RawCard card;
    vcard::DriverNode other(vcard::driver_node_paths().at(1));
    EXPECT_TRUE(other.attach(test::kRawBarSizes));
    EXPECT_EQ(EtherCATGetCount(), 1U); // the other one is not shown
}

TEST(VirtualDriver, CardIsPresentOnlyWhileItIsShown) {
    RawCard card;
    EXPECT_EQ(EtherCATGetCount(), 1U);
    RawUser user;
    EXPECT_NE(user.control(vcard::kShow, words({0})), 0U); // not the card
    EXPECT_EQ(EtherCATGetCount(), 1U);
}

TEST(VirtualDriver, FirmwareShowsAndHidesItsCard) {
    test::enter_card_environment({}, 0x0001000000000004);
    RawUser card;
    ASSERT_EQ(card.control(vcard::kAttach, words({1, 0x1000, 0, 0, 0, 0, 0})), 0U);
    EXPECT_EQ(EtherCATGetCount(), 0U);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(card.control(vcard::kShow, words({1})), 0U);
        EXPECT_EQ(card.control(vcard::kShow, words({1})), 0U); // again
        EXPECT_EQ(EtherCATGetCount(), 1U);
        EXPECT_EQ(card.control(vcard::kShow, words({0})), 0U);
        EXPECT_EQ(EtherCATGetCount(), 0U);
    }
}

TEST(VirtualDriver, HandleAttachesOnce) {
    RawUser card;
    ASSERT_EQ(card.control(vcard::kAttach, words({1, 0x1000, 0, 0, 0, 0, 0})), 0U);
    EXPECT_EQ(card.control(vcard::kAttach, words({1, 0x1000, 0, 0, 0, 0, 0})), ERROR_BUSY);
}

TEST(VirtualDriver, HandleThatWasOpenedWithoutACardUsesNone) {
    RawUser early;
    const RawCard card;
    EXPECT_NE(early.control(0x222012, words({0}), 8), 0U);
    EXPECT_NE(early.control(0x222006, words({1, 1}), 4), 0U);
    EXPECT_FALSE(RawWait(early, 1).issued());
}

TEST(VirtualDriver, AttachingNeedsTheVersionOfTheDriver) {
    RawUser user;
    EXPECT_NE(user.control(vcard::kAttach, words({2, 0x1000, 0, 0, 0, 0, 0})), 0U);
    EXPECT_NE(user.control(vcard::kAttach, words({0, 0x1000, 0, 0, 0, 0, 0})), 0U);
}

TEST(VirtualDriver, BarSizesAreWholePagesUpToTheLimit) {
    RawUser user;
    EXPECT_NE(user.control(vcard::kAttach, words({1, 0xFFF, 0, 0, 0, 0, 0})), 0U);
    EXPECT_NE(user.control(vcard::kAttach, words({1, 0, 0, 0, 0, 0, vcard::kBarLimit + 0x1000})),
              0U);
    EXPECT_EQ(user.control(vcard::kAttach, words({1, 0, 0, 0, 0, 0, vcard::kBarLimit})), 0U);
}

TEST(VirtualDriver, RequestsOfTheFirmwareNeedItsHandle) {
    const RawCard card;
    RawUser user;
    EXPECT_EQ(user.control(vcard::kShow, words({1})), ERROR_ACCESS_DENIED);
    EXPECT_EQ(user.control(vcard::kRaise, words({1})), ERROR_ACCESS_DENIED);
    EXPECT_EQ(user.control(vcard::kNextEvent, {}, 20), ERROR_ACCESS_DENIED);
    EXPECT_EQ(user.control(vcard::kFetch, words({1, 0, 4}), 4), ERROR_ACCESS_DENIED);
    EXPECT_EQ(user.control(vcard::kStore, words({1, 0, 4, 0})), ERROR_ACCESS_DENIED);
    EXPECT_EQ(user.control(vcard::kComplete, words({1, 1, 0})), ERROR_ACCESS_DENIED);
}

// ---- lengths and numbers ---------------------------------------------------------------------

struct WrongLength {
    uint32_t code;
    size_t input;
    size_t output;
};

TEST(VirtualDriver, EveryRequestIsRefusedWithAnotherLength) {
    const RawCard card;
    RawUser user;
    const std::vector<WrongLength> requests = {
        {0x222006, 7, 4},  {0x222006, 9, 4},  {0x222006, 0, 4},  {0x222009, 7, 4},
        {0x222009, 9, 4},  {0x22200D, 3, 0},  {0x22200D, 5, 0},  {0x22200D, 0, 0},
        {0x22200D, 4, 1},  {0x222012, 3, 8},  {0x222012, 5, 8},  {0x222012, 4, 7},
        {0x222012, 4, 9},  {0x222012, 4, 0},  {0x222015, 8, 0},  {0x222015, 10, 0},
        {0x222015, 16, 0}, {0x222404, 27, 0}, {0x222404, 29, 0}, {0x222404, 0, 0},
    };
    for (const WrongLength &request : requests) {
        EXPECT_NE(user.control(request.code, std::vector<uint8_t>(request.input), request.output),
                  0U)
            << std::hex << request.code << " " << request.input << " " << request.output;
    }
    EXPECT_EQ(user.control(0x222012, words({0}), 8), 0U); // it lives
}

TEST(VirtualDriver, FirmwaresRequestsAreRefusedWithAnotherLength) {
    RawUser card;
    ASSERT_EQ(card.control(vcard::kAttach, words({1, 0x1000, 0, 0, 0, 0, 0})), 0U);
    const std::vector<WrongLength> requests = {
        {vcard::kShow, 3, 0},       {vcard::kShow, 5, 0},       {vcard::kRaise, 0, 0},
        {vcard::kRaise, 8, 0},      {vcard::kNextEvent, 0, 19}, {vcard::kNextEvent, 0, 21},
        {vcard::kNextEvent, 4, 20}, {vcard::kFetch, 11, 4},     {vcard::kFetch, 13, 4},
        {vcard::kStore, 11, 0},     {vcard::kComplete, 11, 0},  {vcard::kComplete, 13, 0},
    };
    for (const WrongLength &request : requests) {
        EXPECT_NE(card.control(request.code, std::vector<uint8_t>(request.input), request.output),
                  0U)
            << std::hex << request.code << " " << request.input << " " << request.output;
    }
    EXPECT_NE(card.control(vcard::kShow, words({2})), 0U);
    EXPECT_NE(card.control(vcard::kRaise, words({8})), 0U);
    EXPECT_NE(card.control(vcard::kRaise, words({0xFFFFFFFF})), 0U);
}

TEST(VirtualDriver, UnknownCodesAreRefused) {
    const RawCard card;
    RawUser user;
    for (const uint32_t code : {0x222000U, 0x222002U, 0x22200EU, 0x222400U, 0x222420U, 0U}) {
        EXPECT_NE(user.control(code, words({1, 2}), 8), 0U) << std::hex << code;
    }
}

TEST(VirtualDriver, NumbersBeyondTheLastAreRefused) {
    const RawCard card;
    RawUser user;
    EXPECT_NE(user.control(0x22200D, words({8})), 0U);
    EXPECT_NE(user.control(0x22200D, words({0xFFFFFFFF})), 0U);
    EXPECT_NE(user.control(0x222012, words({6}), 8), 0U);
    EXPECT_NE(user.control(0x222012, words({0xFFFFFFFF}), 8), 0U);
    EXPECT_NE(user.control(0x222012, words({1}), 8), 0U); // the card has no such BAR
    EXPECT_EQ(user.control(0x222012, words({2}), 8), 0U);
}

TEST(VirtualDriver, OnlyTheHandlesOwnMappingsAreUnmapped) {
    const RawCard card;
    RawUser first;
    RawUser second;
    ASSERT_EQ(first.control(0x222012, words({0}), 8), 0U);
    std::vector<uint8_t> unmap = {0};
    unmap.insert(unmap.end(), first.answer.begin(), first.answer.end());
    EXPECT_NE(second.control(0x222015, unmap), 0U);
    unmap[0] = 2; // another BAR
    EXPECT_NE(first.control(0x222015, unmap), 0U);
    unmap[0] = 0;
    EXPECT_EQ(first.control(0x222015, unmap), 0U);
    EXPECT_NE(first.control(0x222015, unmap), 0U); // it is gone
}

TEST(VirtualDriver, MappingsOfOneHandleAreLimited) {
    const RawCard card;
    RawUser user;
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(user.control(0x222012, words({0}), 8), 0U) << i;
    }
    EXPECT_NE(user.control(0x222012, words({0}), 8), 0U);
}

// The driver does not reach into a process that has closed its handle and may be ending.
TEST(VirtualDriver, MappingsStayWhenTheHandleIsClosed) {
    RawCard card;
    uint8_t *address = nullptr;
    {
        RawUser user;
        ASSERT_EQ(user.control(0x222012, words({0}), 8), 0U);
        std::memcpy(&address, user.answer.data(), sizeof(address));
    }
    card.node().map(0)[7] = 0x77;
    EXPECT_EQ(address[7], 0x77);
}

TEST(VirtualDriver, UnmappedMemoryIsGone) {
    const RawCard card;
    RawUser user;
    ASSERT_EQ(user.control(0x222012, words({0}), 8), 0U);
    void *address = nullptr;
    std::memcpy(&address, user.answer.data(), sizeof(address));
    ASSERT_TRUE(test::is_mapped(address));
    std::vector<uint8_t> unmap = {0};
    unmap.insert(unmap.end(), user.answer.begin(), user.answer.end());
    ASSERT_EQ(user.control(0x222015, unmap), 0U);
    EXPECT_FALSE(test::is_mapped(address));
}

// ---- transfers -------------------------------------------------------------------------------

// A DMA of a user, waiting for the card.
struct PendingDma {
    explicit PendingDma(const RawUser &user, bool write, uint32_t length)
        : device(user.handle()), data(length) {
        for (uint32_t i = 0; i < length; ++i) {
            data[i] = static_cast<uint8_t>(i * 7);
        }
        request.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        request.Offset = 0x1234;
        const BOOL done = write ? WriteFile(device, data.data(), length, nullptr, &request)
                                : ReadFile(device, data.data(), length, nullptr, &request);
        issued = done != FALSE || GetLastError() == ERROR_IO_PENDING;
    }
    ~PendingDma() {
        DWORD bytes = 0;
        if (issued) {
            CancelIoEx(device, &request);
            GetOverlappedResult(device, &request, &bytes, TRUE);
        }
        CloseHandle(request.hEvent);
    }
    bool over(DWORD timeout_ms) const {
        return !issued || WaitForSingleObject(request.hEvent, timeout_ms) == WAIT_OBJECT_0;
    }
    HANDLE device;
    std::vector<uint8_t> data;
    mutable OVERLAPPED request = {};
    bool issued = false; // false: refused at once
};

TEST(VirtualDriver, TransferIsDescribedAndMovedPieceByPiece) {
    RawCard card;
    const RawUser user;
    const PendingDma dma(user, true, 150'000);
    const vcard::FirmwareEvent transfer = card.next_transfer();
    EXPECT_EQ(transfer.kind, vcard::kDmaWrite);
    EXPECT_EQ(transfer.first, 0x1234U);
    EXPECT_EQ(transfer.length, 150'000U);
    std::vector<uint8_t> seen(150'000);
    EXPECT_TRUE(card.node().fetch(transfer, seen));
    EXPECT_EQ(seen, dma.data);
    EXPECT_FALSE(dma.over(0));
    EXPECT_TRUE(card.node().complete(transfer, true, 150'000));
    EXPECT_TRUE(dma.over(kPatience));
}

TEST(VirtualDriver, PiecesStayInsideTheTransfer) {
    RawUser card;
    ASSERT_EQ(card.control(vcard::kAttach, words({1, 0x1000, 0, 0, 0, 0, 0})), 0U);
    const RawUser user;
    const PendingDma dma(user, true, 100);
    ASSERT_EQ(card.control(vcard::kNextEvent, {}, 20), 0U);
    uint32_t id = 0;
    std::memcpy(&id, card.answer.data() + 4, sizeof(id));
    EXPECT_NE(card.control(vcard::kFetch, words({id, 97, 4}), 4), 0U);
    EXPECT_NE(card.control(vcard::kFetch, words({id, 101, 0}), 0), 0U);
    EXPECT_NE(card.control(vcard::kFetch, words({id, 0xFFFFFFFF, 4}), 4), 0U);
    EXPECT_NE(card.control(vcard::kFetch, words({id, 0, 101}), 101), 0U);
    EXPECT_NE(card.control(vcard::kFetch, words({id, 0, 4}), 8), 0U);
    EXPECT_NE(card.control(vcard::kFetch, words({id + 1, 0, 4}), 4), 0U);
    EXPECT_NE(card.control(vcard::kStore, words({id, 0, 4, 0})), 0U); // the other way round
    EXPECT_NE(card.control(vcard::kComplete, words({id, 1, 101})), 0U);
    EXPECT_NE(card.control(vcard::kComplete, words({id + 1, 1, 0})), 0U);
    EXPECT_EQ(card.control(vcard::kFetch, words({id, 96, 4}), 4), 0U);
    EXPECT_EQ(card.control(vcard::kComplete, words({id, 1, 100})), 0U);
    EXPECT_NE(card.control(vcard::kComplete, words({id, 1, 100})), 0U); // over
    EXPECT_TRUE(dma.over(kPatience));
}

TEST(VirtualDriver, StoredPiecesStayInsideTheTransfer) {
    RawUser card;
    ASSERT_EQ(card.control(vcard::kAttach, words({1, 0x1000, 0, 0, 0, 0, 0})), 0U);
    const RawUser user;
    const PendingDma dma(user, false, 8);
    ASSERT_EQ(card.control(vcard::kNextEvent, {}, 20), 0U);
    uint32_t id = 0;
    std::memcpy(&id, card.answer.data() + 4, sizeof(id));
    EXPECT_NE(card.control(vcard::kStore, words({id, 6, 4, 1})), 0U);
    EXPECT_NE(card.control(vcard::kStore, words({id, 0, 8, 1})), 0U); // fewer bytes than it says
    EXPECT_NE(card.control(vcard::kStore, words({id, 0, 0xFFFFFFFF, 1})), 0U);
    EXPECT_NE(card.control(vcard::kFetch, words({id, 0, 4}), 4), 0U); // the other way round
    EXPECT_EQ(card.control(vcard::kStore, words({id, 4, 4, 0x04030201})), 0U);
    EXPECT_EQ(card.control(vcard::kComplete, words({id, 1, 8})), 0U);
    ASSERT_TRUE(dma.over(kPatience));
    EXPECT_EQ(dma.data[4], 1);
    EXPECT_EQ(dma.data[7], 4);
}

TEST(VirtualDriver, CardAddressesHave32Bits) {
    const RawCard card;
    const RawUser user;
    uint8_t data[4] = {};
    for (const bool write : {false, true}) {
        OVERLAPPED request = {};
        request.OffsetHigh = 1;
        DWORD bytes = 0;
        const BOOL issued = write ? WriteFile(user.handle(), data, 4, nullptr, &request)
                                  : ReadFile(user.handle(), data, 4, nullptr, &request);
        EXPECT_TRUE((issued == FALSE && GetLastError() != ERROR_IO_PENDING) ||
                    GetOverlappedResult(user.handle(), &request, &bytes, TRUE) == FALSE);
    }
}

TEST(VirtualDriver, NothingToMoveIsMovedAtOnce) {
    const RawCard card;
    RawUser user;
    EXPECT_EQ(user.control(0x222006, words({1, 1}), 0), 0U);
    EXPECT_EQ(user.control(0x222009, words({1, 1}), 0), 0U);
    const PendingDma dma(user, true, 0);
    EXPECT_TRUE(dma.over(kPatience));
}

TEST(VirtualDriver, PieceOfMoreThanTheLimitIsRefused) {
    RawUser card;
    ASSERT_EQ(card.control(vcard::kAttach, words({1, 0x1000, 0, 0, 0, 0, 0})), 0U);
    const RawUser user;
    const PendingDma dma(user, true, 2 * vcard::kPieceLimit);
    ASSERT_EQ(card.control(vcard::kNextEvent, {}, 20), 0U);
    uint32_t id = 0;
    std::memcpy(&id, card.answer.data() + 4, sizeof(id));
    EXPECT_NE(
        card.control(vcard::kFetch, words({id, 0, vcard::kPieceLimit + 1}), vcard::kPieceLimit + 1),
        0U);
    EXPECT_EQ(card.control(vcard::kFetch, words({id, 0, vcard::kPieceLimit}), vcard::kPieceLimit),
              0U);
}

TEST(VirtualDriver, RefusedSelectorsMoveNothing) {
    RawCard card;
    std::thread firmware([&card] { card.node().complete(card.next_transfer(), false, 0); });
    RawUser user;
    EXPECT_NE(user.control(0x222006, words({1, 1}), 4), 0U);
    firmware.join();
}

TEST(VirtualDriver, EveryTransferIsToldOnce) {
    RawCard card;
    const RawUser user;
    const PendingDma first(user, true, 4);
    const PendingDma second(user, true, 8);
    const uint32_t one = card.next_transfer().id;
    const uint32_t two = card.next_transfer().id;
    EXPECT_NE(one, two);
    EXPECT_EQ(WaitForSingleObject(card.node().event(), kShort), WAIT_TIMEOUT);
}

// ---- interrupts ------------------------------------------------------------------------------

TEST(VirtualDriver, EachOfSeveralWaitersIsWoken) {
    RawCard card;
    const RawUser first;
    const RawUser second;
    std::list<RawWait> waits;
    for (const RawUser *user : {&first, &first, &second, &second}) {
        ASSERT_TRUE(waits.emplace_back(*user, 4).issued());
    }
    card.node().raise(4);
    for (RawWait &wait : waits) {
        DWORD error = 1;
        EXPECT_TRUE(wait.over(kPatience, error));
        EXPECT_EQ(error, 0U);
    }
}

TEST(VirtualDriver, EveryInterruptHasWaitersOfItsOwn) {
    RawCard card;
    const RawUser user;
    std::list<RawWait> waits;
    for (uint32_t number = 0; number < 8; ++number) {
        waits.emplace_back(user, number);
    }
    uint32_t number = 0;
    for (RawWait &wait : waits) {
        DWORD error = 1;
        EXPECT_FALSE(wait.over(0, error)) << number;
        card.node().raise(number++);
        EXPECT_TRUE(wait.over(kPatience, error)) << number;
    }
}

TEST(VirtualDriver, CancelledWaitIsOverAndTakesNoInterrupt) {
    RawCard card;
    const RawUser user;
    RawWait cancelled(user, 1);
    RawWait stays(user, 1);
    EXPECT_TRUE(cancelled.cancel());
    DWORD error = 0;
    ASSERT_TRUE(cancelled.over(kPatience, error));
    EXPECT_EQ(error, ERROR_OPERATION_ABORTED);
    card.node().raise(1);
    ASSERT_TRUE(stays.over(kPatience, error));
    EXPECT_EQ(error, 0U);
}

TEST(VirtualDriver, WaitsOfOneHandleAreLimited) {
    const RawCard card;
    const RawUser user;
    std::list<RawWait> waits;
    for (int i = 0; i < 256; ++i) {
        ASSERT_TRUE(waits.emplace_back(user, 0).issued()) << i;
    }
    EXPECT_FALSE(waits.emplace_back(user, 0).issued());
}

TEST(VirtualDriver, HandleThatIsClosedEndsItsWaits) {
    RawCard card;
    std::list<OVERLAPPED> requests;
    {
        const RawUser user;
        for (uint32_t number = 0; number < 8; ++number) {
            DeviceIoControl(user.handle(), 0x22200D, &number, sizeof(number), nullptr, 0, nullptr,
                            &requests.emplace_back());
            EXPECT_FALSE(HasOverlappedIoCompleted(&requests.back()));
        }
    }
    for (const OVERLAPPED &request : requests) {
        EXPECT_TRUE(test::eventually([&request] { return HasOverlappedIoCompleted(&request); }));
    }
    const RawUser other;
    RawWait wait(other, 3);
    card.node().raise(3);
    DWORD error = 1;
    EXPECT_TRUE(wait.over(kPatience, error));
    EXPECT_EQ(error, 0U);
}

// Whether the wait ends by the interrupt or by being cancelled: then the interrupt is latched.
TEST(VirtualDriver, InterruptIsNotLostWhenItsWaitIsBeingCancelled) {
    RawCard card;
    const RawUser user;
    for (int round = 0; round < 300; ++round) {
        DWORD error = 1;
        {
            RawWait wait(user, 2);
            std::thread canceller([&wait] { wait.cancel(); });
            card.node().raise(2);
            canceller.join();
            ASSERT_TRUE(wait.over(kPatience, error)) << round;
        }
        if (error != 0) {
            RawWait next(user, 2);
            ASSERT_TRUE(next.over(kPatience, error)) << round;
            ASSERT_EQ(error, 0U) << round;
        }
    }
}

TEST(VirtualDriver, TransferThatIsCompletedWhileItIsBeingCancelledEndsOnce) {
    RawCard card;
    const RawUser user;
    for (int round = 0; round < 300; ++round) {
        const PendingDma dma(user, true, 16);
        const vcard::FirmwareEvent transfer = card.next_transfer();
        std::thread canceller([&dma] { CancelIoEx(dma.device, &dma.request); });
        card.node().complete(transfer, true, 16);
        canceller.join();
        ASSERT_TRUE(dma.over(kPatience)) << round;
        ASSERT_FALSE(card.node().complete(transfer, true, 16)) << round;
    }
}

TEST(VirtualDriver, CardThatGoesWhileUsersAskLeavesNothingHanging) {
    for (int round = 0; round < 20; ++round) {
        auto card = std::make_unique<RawCard>();
        std::thread user([] {
            const RawUser asks;
            for (int i = 0; i < 5; ++i) {
                const PendingDma dma(asks, true, 16);
                RawWait wait(asks, 1);
                DWORD error = 0;
                dma.over(kShort);
                wait.over(kShort, error);
            }
        });
        card->node().raise(1);
        card.reset();
        user.join();
    }
    const RawCard next;
}

TEST(VirtualDriver, WaitTellsTheFirmwareThatADoorbellMayHaveRung) {
    RawCard card;
    const RawUser user;
    const RawWait wait(user, 0);
    EXPECT_EQ(card.next_event().kind, vcard::kKick);
}

// ---- cards that go ---------------------------------------------------------------------------

TEST(VirtualDriver, CardThatGoesEndsWaitsAndTransfers) {
    auto card = std::make_unique<RawCard>();
    const RawUser user;
    RawWait wait(user, 2);
    const PendingDma dma(user, true, 64);
    card.reset();
    DWORD error = 0;
    ASSERT_TRUE(wait.over(kPatience, error));
    EXPECT_NE(error, 0U);
    ASSERT_TRUE(dma.over(kPatience));
    EXPECT_EQ(EtherCATGetCount(), 0U);
}

TEST(VirtualDriver, UserOfACardThatHasGoneIsNoUserOfTheNextOne) {
    auto first = std::make_unique<RawCard>();
    RawUser old;
    ASSERT_EQ(old.control(0x222012, words({0}), 8), 0U);
    first.reset();
    RawCard second;
    EXPECT_NE(old.control(0x222012, words({2}), 8), 0U);
    EXPECT_FALSE(RawWait(old, 1).issued());
    RawUser fresh;
    EXPECT_EQ(fresh.control(0x222012, words({2}), 8), 0U);
}

TEST(VirtualDriver, MemoryOfANewCardIsEmpty) {
    {
        RawCard first;
        first.node().map(0)[5] = 0xA5;
    }
    RawCard second;
    EXPECT_EQ(second.node().map(0)[5], 0);
}

TEST(VirtualDriver, CardsComeAndGoManyTimes) {
    for (int i = 0; i < 200; ++i) {
        RawCard card;
        RawUser user;
        ASSERT_EQ(user.control(0x222012, words({0}), 8), 0U) << i;
    }
    EXPECT_EQ(EtherCATGetCount(), 0U);
}

TEST(VirtualDriver, HasANodeForEveryCard) {
    EXPECT_EQ(vcard::driver_node_paths().size(), vcard::kMaxDeviceNodes);
    EXPECT_EQ(vcard::device_node_count(), vcard::kMaxDeviceNodes);
}

} // namespace
