// The data stream: what lies in the slots, which lock is held when, and how long things wait.
#include "fake_master.h"

#include "pci_tarn/board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace tarn;
using namespace tarn::test;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kSlotSize = 2048;
constexpr uint32_t kPieceSize = 1024;

// One transfer that the bulk copy engine was asked for.
struct Transfer {
    bool to_card;
    const void *device;
    uint32_t address;
    int32_t length;
    uint32_t timeout_ms;
};

struct Engine {
    std::vector<Transfer> transfers;
    uint32_t status = 0;
    uint8_t *memory = nullptr; // that the addresses count from
};
Engine *engine = nullptr;

uint32_t run_engine(const Transfer &transfer, void *buffer) {
    engine->transfers.push_back(transfer);
    if (engine->status != 0) {
        return engine->status;
    }
    uint8_t *memory = engine->memory + transfer.address;
    std::memcpy(transfer.to_card ? memory : buffer, transfer.to_card ? buffer : memory,
                static_cast<size_t>(transfer.length));
    return 0;
}

} // namespace

uint32_t CDMA_WriteDataToDevice(EtherCAT *card, uint32_t card_address, void *buffer, int32_t length,
                                uint32_t timeout_ms) {
    return run_engine({true, card, card_address, length, timeout_ms}, buffer);
}

uint32_t CDMA_ReadDataFromDevice(EtherCAT *card, uint32_t card_address, void *buffer,
                                 int32_t length, uint32_t timeout_ms) {
    return run_engine({false, card, card_address, length, timeout_ms}, buffer);
}

namespace {

// The outgoing ring is the first card's and the incoming one the second's; each direction's lock is
// its card.
class SocketTest : public testing::Test {
  protected:
    static constexpr Geometry kRing = {
        .slots = 4, .slot_size = kSlotSize, .first_counter = 0xFFFFFFFE};

    SocketTest() : sender(kRing), receiver(kRing) {
        engine = &bulk_engine;
        handle->timeout_ms = 200;
        handle->socket = sender.channel();
        handle->socket.second_lock = &receiver;
        handle->socket.device = &receiver;
        handle->socket.in = receiver.channel().in;
        receiver.on_wait = [this](uint32_t limit_ms) {
            sender.pass_ms(limit_ms);
            return 258U;
        };
    }

    uint32_t post(const Bytes &data) {
        return _EcatSockClientPostData(handle.get(), 0x11223344, 0x55667788, data.data(),
                                       static_cast<uint32_t>(data.size()));
    }
    uint8_t *posted(uint32_t n) { return sender.out_slot(kRing.first_counter + n); }
    uint32_t posted_count() { return sender.out_write() - kRing.first_counter; }
    static uint32_t length_of(const uint8_t *slot) { return at<uint32_t>(slot + 8); }
    static Bytes payload_of(const uint8_t *slot) {
        return Bytes(slot + 16, slot + 16 + length_of(slot));
    }
    void use_engine(uint8_t *memory, uint64_t base) {
        bulk_engine.memory = memory;
        handle->bulk = {1, reinterpret_cast<EtherCAT *>(&device), base};
    }

    // As the card does it.
    void offer(uint32_t kind, const Bytes &data) {
        uint8_t *slot = receiver.in_slot(receiver.in_write());
        const auto size = static_cast<uint32_t>(data.size());
        std::memcpy(slot, &kind, 4);
        std::memcpy(slot + 8, &size, 4);
        std::copy(data.begin(), data.end(), slot + 16);
        ++receiver.in_write();
    }
    uint32_t fetch() { return _EcatSockClientGetData(handle.get(), &type, buffer.data(), &length); }

    // A ring of one slot that claims to be of that size, with a message that claims to be endless.
    void use_single_slot(uint32_t slot_size) {
        const uint32_t kind = 3;
        const uint32_t endless = 0xFFFFFFFF;
        std::memcpy(single_slot.data(), &kind, 4);
        std::memcpy(single_slot.data() + 8, &endless, 4);
        handle->socket.in = {single_pointers, single_slot.data(), 0, slot_size};
        buffer.assign(single_slot.size(), 0xCC);
    }

    Bytes single_slot = Bytes(200'000, 0x5A);
    uint32_t single_pointers[2] = {0, 1};
    FakeCard sender;
    FakeCard receiver;
    Engine bulk_engine;
    int device = 0;
    std::unique_ptr<EcatHandle> handle = std::make_unique<EcatHandle>();
    uint32_t type = 0xCCCCCCCC;
    uint32_t length = 0xCCCCCCCC;
    Bytes buffer = Bytes(kSlotSize, 0xCC);
};

class SocketPost : public SocketTest {};
class SocketFetch : public SocketTest {};
class SocketBulkCopy : public SocketTest {};

// ---- posting -----------------------------------------------------------------------------------

TEST_F(SocketPost, WritesTypeParameterLengthAndPayloadAndPublishes) {
    EXPECT_EQ(post({0xA1, 0xA2, 0xA3}), 0U);
    EXPECT_EQ(posted_count(), 1U);
    EXPECT_EQ(Bytes(posted(0), posted(0) + 20),
              (Bytes{0x44, 0x33, 0x22, 0x11, 0x88, 0x77, 0x66, 0x55, 3, 0, 0, 0, // header
                     0xEE, 0xEE, 0xEE, 0xEE,                                     // not written
                     0xA1, 0xA2, 0xA3, 0xEE}));
    EXPECT_EQ(sender.doorbell, 1U);
}

TEST_F(SocketPost, ASlotIsFilledThenPublishedThenTheDoorbellRings) {
    sender.on_copy = [&] {
        EXPECT_EQ(at<uint32_t>(posted(0)), 0x11223344U);
        EXPECT_EQ(at<uint32_t>(posted(0) + 4), 0x55667788U);
        EXPECT_EQ(length_of(posted(0)), 1U);
        EXPECT_EQ(posted(0)[16], 0xEE);
        EXPECT_EQ(posted_count(), 0U);
        EXPECT_EQ(sender.doorbell, 0U);
    };
    EXPECT_EQ(post({7}), 0U);
    EXPECT_EQ(sender.copies, 1);
}

TEST_F(SocketPost, NothingIsOneEmptyPiece) {
    EXPECT_EQ(_EcatSockClientPostData(handle.get(), 1, 2, nullptr, 0), 0U);
    EXPECT_EQ(posted_count(), 1U);
    EXPECT_EQ(length_of(posted(0)), 0U);
    EXPECT_EQ(posted(0)[16], 0xEE);
}

TEST_F(SocketPost, AWholePieceIsOneSlot) {
    const Bytes data = counted(kPieceSize);
    EXPECT_EQ(post(data), 0U);
    EXPECT_EQ(posted_count(), 1U);
    EXPECT_EQ(payload_of(posted(0)), data);
}

TEST_F(SocketPost, TwoPiecesAreExactlyTwoSlots) {
    const Bytes data = counted(2048);
    EXPECT_EQ(post(data), 0U);
    EXPECT_EQ(posted_count(), 2U);
    EXPECT_EQ(length_of(posted(0)), 1024U);
    EXPECT_EQ(length_of(posted(1)), 1024U);
    EXPECT_EQ(payload_of(posted(0)) + payload_of(posted(1)), data);
}

TEST_F(SocketPost, OneByteMoreIsAThirdSlotOfOneByte) {
    const Bytes data = counted(2049);
    EXPECT_EQ(post(data), 0U);
    EXPECT_EQ(posted_count(), 3U);
    EXPECT_EQ(length_of(posted(2)), 1U);
    EXPECT_EQ(payload_of(posted(0)) + payload_of(posted(1)) + payload_of(posted(2)), data);
}

TEST_F(SocketPost, AllPiecesCarryTypeAndParameter) {
    EXPECT_EQ(post(counted(2049)), 0U);
    for (uint32_t n = 0; n < 3; ++n) {
        EXPECT_EQ(at<uint32_t>(posted(n)), 0x11223344U);
        EXPECT_EQ(at<uint32_t>(posted(n) + 4), 0x55667788U);
    }
}

TEST_F(SocketPost, TheDoorbellRingsForEachPiece) {
    int rung = 0;
    sender.on_copy = [&] {
        rung += static_cast<int>(sender.doorbell);
        sender.doorbell = 0;
    };
    EXPECT_EQ(post(counted(2049)), 0U);
    EXPECT_EQ(rung + static_cast<int>(sender.doorbell), 3);
}

TEST_F(SocketPost, HoldsTheFirstLockAndGivesItBack) {
    sender.on_copy = [&] {
        EXPECT_EQ(sender.locks, 1);
        EXPECT_EQ(receiver.locks, 0);
    };
    EXPECT_EQ(post(counted(2049)), 0U);
    EXPECT_EQ(sender.locked, 1);
    EXPECT_EQ(sender.locks, 0);
}

TEST_F(SocketPost, TheLastFreeSlotIsUsed) {
    sender.out_write() += 3;
    EXPECT_EQ(post({1}), 0U);
    EXPECT_EQ(posted_count(), 4U);
}

TEST_F(SocketPost, AFullRingIsLookedAtEveryFiftyMicroseconds) {
    sender.out_write() += 4;
    EXPECT_EQ(post({1}), 80011U);
    EXPECT_THAT(sender.sleeps, Each(50U));
    EXPECT_EQ(sender.sleeps.size(), 200U * 20U);
    EXPECT_EQ(posted_count(), 4U);
    EXPECT_EQ(sender.doorbell, 0U);
}

TEST_F(SocketPost, TheTimeOutIsTheHandles) {
    handle->timeout_ms = 7;
    sender.out_write() += 4;
    const uint64_t start = sender.now_ms();
    EXPECT_EQ(post({1}), 80011U);
    EXPECT_EQ(sender.now_ms() - start, 7U);
}

TEST_F(SocketPost, ATimeOutOfZeroTriesOnce) {
    handle->timeout_ms = 0;
    EXPECT_EQ(post({1}), 0U);
    sender.out_write() = sender.out_read() + 4;
    EXPECT_EQ(post({1}), 80011U);
    EXPECT_THAT(sender.sleeps, IsEmpty());
}

TEST_F(SocketPost, EachPieceHasTheWholeTimeOut) {
    sender.out_write() += 4;
    // The card takes a slot every 150 ms of the 200.
    sender.on_sleep = [&, last = sender.now_ms()]() mutable {
        if (sender.now_ms() - last >= 150) {
            last = sender.now_ms();
            ++sender.out_read();
        }
    };
    EXPECT_EQ(post(counted(3 * kPieceSize)), 0U);
    EXPECT_EQ(posted_count(), 7U);
}

TEST_F(SocketPost, AfterATimeOutTheLockIsStillHeld) {
    sender.out_write() += 4;
    EXPECT_EQ(post({1}), 80011U);
    EXPECT_EQ(sender.locks, 1);
    EXPECT_EQ(receiver.locks, 0);
}

TEST_F(SocketPost, PiecesBeforeATimeOutStayPosted) {
    sender.out_write() += 2;
    EXPECT_EQ(post(counted(3 * kPieceSize)), 80011U);
    EXPECT_EQ(posted_count(), 4U);
    EXPECT_EQ(payload_of(posted(2)), Bytes(counted(kPieceSize)));
}

TEST_F(SocketPost, PieceAndSlotSizesAreNotCompared) {
    handle->socket.out.slot_size = 256; // the next slots lie in the piece
    EXPECT_EQ(post(counted(512)), 0U);
    EXPECT_EQ(posted_count(), 1U);
    const uint8_t *slot = sender.channel().out.slots + size_t{256} * (kRing.first_counter & 3);
    EXPECT_EQ(Bytes(slot + 16, slot + 16 + 512), counted(512));
}

TEST_F(SocketPost, BadArgumentsTakeNoLock) {
    EXPECT_EQ(_EcatSockClientPostData(nullptr, 1, 2, "x", 1), 32770U);
    EXPECT_EQ(_EcatSockClientPostData(handle.get(), 1, 2, nullptr, 1), 32770U);
    EXPECT_EQ(sender.locked, 0);
    EXPECT_EQ(posted_count(), 0U);
}

// ---- fetching ----------------------------------------------------------------------------------

TEST_F(SocketFetch, GivesTypeLengthAndPayloadOfTheOldestMessage) {
    offer(0x01020304, {9, 8, 7});
    offer(5, {6});
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(type, 0x01020304U);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 4), (Bytes{9, 8, 7, 0xCC}));
    EXPECT_EQ(receiver.in_read(), kRing.first_counter + 1);
}

TEST_F(SocketFetch, MessagesComeInOrderAcrossTheWrapOfTheCounters) {
    for (uint8_t n = 0; n < 4; ++n) {
        offer(n, Bytes(n, n));
    }
    for (uint8_t n = 0; n < 4; ++n) {
        EXPECT_EQ(fetch(), 0U);
        EXPECT_EQ(type, n);
        EXPECT_EQ(length, n);
    }
    EXPECT_EQ(receiver.in_read(), 2U);
}

TEST_F(SocketFetch, AnEmptyMessageIsAMessage) {
    offer(3, {});
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(type, 3U);
    EXPECT_EQ(length, 0U);
    EXPECT_THAT(buffer, Each(0xCC));
}

TEST_F(SocketFetch, AWholeSlotsPayloadIsGiven) {
    offer(3, counted(kSlotSize - 16));
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(length, kSlotSize - 16);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.end() - 16), counted(kSlotSize - 16));
}

TEST_F(SocketFetch, ALengthThatNoSlotHoldsIsCutToTheSlot) {
    offer(3, counted(8));
    const uint32_t wrong = 0xFFFFFFFF;
    std::memcpy(receiver.in_slot(kRing.first_counter) + 8, &wrong, 4);
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(length, kSlotSize - 16);
}

// A slot size that the card made up: the length it names is cut to nothing below a header, and to
// the longest message above it.
TEST_F(SocketFetch, ASlotOfNoSizeCarriesNothing) {
    use_single_slot(0);
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(type, 3U);
    EXPECT_EQ(length, 0U);
    EXPECT_THAT(buffer, Each(0xCC));
}

TEST_F(SocketFetch, ASlotSmallerThanItsHeaderCarriesNothing) {
    use_single_slot(15);
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(type, 3U);
    EXPECT_EQ(length, 0U);
    EXPECT_THAT(buffer, Each(0xCC));
}

TEST_F(SocketFetch, ASlotThatIsAHeaderCarriesNothing) {
    use_single_slot(16);
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(length, 0U);
    EXPECT_THAT(buffer, Each(0xCC));
}

TEST_F(SocketFetch, ASlotOfOneByteMoreCarriesOneByte) {
    use_single_slot(17);
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(length, 1U);
    EXPECT_EQ(buffer[0], 0x5A);
    EXPECT_EQ(buffer[1], 0xCC);
}

TEST_F(SocketFetch, NoSlotCarriesMoreThanTheLongestMessage) {
    use_single_slot(0xFFFFFFFF);
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(length, 102384U);
    EXPECT_EQ(buffer[102383], 0x5A);
    EXPECT_EQ(buffer[102384], 0xCC);
}

TEST_F(SocketFetch, AnEmptyRingTimesOutAfterHalfASecondInSlicesOfAHundredMilliseconds) {
    const uint64_t start = sender.now_ms();
    EXPECT_EQ(fetch(), 80003U);
    EXPECT_EQ(sender.now_ms() - start, 500U);
    EXPECT_THAT(receiver.waits, ElementsAre(100U, 100U, 100U, 100U, 100U));
    EXPECT_EQ(type, 0xCCCCCCCC);
    EXPECT_EQ(length, 0xCCCCCCCC);
}

TEST_F(SocketFetch, TheHandlesTimeOutDoesNotMatter) {
    for (const uint32_t timeout_ms : {0U, 20U, 600000U}) {
        handle->timeout_ms = timeout_ms;
        const uint64_t start = sender.now_ms();
        EXPECT_EQ(fetch(), 80003U);
        EXPECT_EQ(sender.now_ms() - start, 500U);
    }
}

TEST_F(SocketFetch, AMessageEndsTheWait) {
    receiver.on_wait = [this](uint32_t) {
        offer(8, {1});
        return 0U;
    };
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(type, 8U);
    EXPECT_EQ(receiver.waits.size(), 1U);
}

TEST_F(SocketFetch, AnInterruptWithoutAMessageGoesOnWaiting) {
    receiver.on_wait = [this](uint32_t) {
        sender.pass_ms(1);
        if (receiver.waits.size() == 3) {
            offer(8, {1});
        }
        return 0U;
    };
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(receiver.waits.size(), 3U);
}

TEST_F(SocketFetch, AMessageThatIsThereNeedsNoWait) {
    offer(8, {1});
    EXPECT_EQ(fetch(), 0U);
    EXPECT_THAT(receiver.waits, IsEmpty());
}

TEST_F(SocketFetch, AWaitThatFailsIsSpacedOut) {
    receiver.on_wait = [](uint32_t) { return 0xFFFFFFFFU; };
    EXPECT_EQ(fetch(), 80003U);
    EXPECT_THAT(sender.sleeps, Each(1000U));
    EXPECT_EQ(sender.sleeps.size(), 500U);
}

TEST_F(SocketFetch, HoldsTheSecondLockAndGivesItBack) {
    offer(1, {1});
    sender.on_copy = [&] {
        EXPECT_EQ(receiver.locks, 1);
        EXPECT_EQ(sender.locks, 0);
    };
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(sender.copies, 1);
    EXPECT_EQ(receiver.locks, 0);
}

TEST_F(SocketFetch, ATimeOutGivesTheLockBack) {
    EXPECT_EQ(fetch(), 80003U);
    EXPECT_EQ(receiver.locked, 1);
    EXPECT_EQ(receiver.locks, 0);
}

TEST_F(SocketFetch, BadArgumentsTakeNoLockAndNoMessage) {
    offer(1, {1});
    EXPECT_EQ(_EcatSockClientGetData(nullptr, &type, buffer.data(), &length), 32770U);
    EXPECT_EQ(_EcatSockClientGetData(handle.get(), nullptr, buffer.data(), &length), 32770U);
    EXPECT_EQ(_EcatSockClientGetData(handle.get(), &type, nullptr, &length), 32770U);
    EXPECT_EQ(_EcatSockClientGetData(handle.get(), &type, buffer.data(), nullptr), 32770U);
    EXPECT_EQ(receiver.locked, 0);
    EXPECT_EQ(receiver.in_read(), kRing.first_counter);
}

// ---- bulk copy ---------------------------------------------------------------------------------

TEST_F(SocketBulkCopy, IsOffByItself) {
    EXPECT_EQ(post({1, 2}), 0U);
    offer(1, {1});
    EXPECT_EQ(fetch(), 0U);
    EXPECT_THAT(bulk_engine.transfers, IsEmpty());
}

TEST_F(SocketBulkCopy, APayloadGoesThroughTheEngineAtItsDistanceFromTheBase) {
    uint8_t *const memory = sender.channel().out.slots;
    use_engine(memory, reinterpret_cast<uint64_t>(memory));
    EXPECT_EQ(post({5, 6, 7}), 0U);
    ASSERT_EQ(bulk_engine.transfers.size(), 1U);
    const Transfer &transfer = bulk_engine.transfers[0];
    EXPECT_TRUE(transfer.to_card);
    EXPECT_EQ(transfer.device, &device);
    EXPECT_EQ(transfer.address, 2 * kSlotSize + 16);
    EXPECT_EQ(transfer.length, 3);
    EXPECT_EQ(transfer.timeout_ms, 50U);
    EXPECT_EQ(payload_of(posted(0)), (Bytes{5, 6, 7}));
    EXPECT_EQ(sender.copies, 0);
}

TEST_F(SocketBulkCopy, EveryPieceIsATransfer) {
    uint8_t *const memory = sender.channel().out.slots;
    use_engine(memory, reinterpret_cast<uint64_t>(memory));
    const Bytes data = counted(2049);
    EXPECT_EQ(post(data), 0U);
    EXPECT_EQ(bulk_engine.transfers.size(), 3U);
    EXPECT_EQ(payload_of(posted(0)) + payload_of(posted(1)) + payload_of(posted(2)), data);
}

TEST_F(SocketBulkCopy, WhenTheEngineFailsTheProcessorCopies) {
    use_engine(nullptr, 0);
    bulk_engine.status = 32771;
    EXPECT_EQ(post({5, 6, 7}), 0U);
    EXPECT_EQ(bulk_engine.transfers.size(), 1U);
    EXPECT_EQ(sender.copies, 1);
    EXPECT_EQ(payload_of(posted(0)), (Bytes{5, 6, 7}));
}

TEST_F(SocketBulkCopy, AMessageComesThroughTheEngine) {
    uint8_t *const memory = receiver.channel().in.slots;
    use_engine(memory, reinterpret_cast<uint64_t>(memory));
    offer(4, {5, 6, 7});
    EXPECT_EQ(fetch(), 0U);
    ASSERT_EQ(bulk_engine.transfers.size(), 1U);
    const Transfer &transfer = bulk_engine.transfers[0];
    EXPECT_FALSE(transfer.to_card);
    EXPECT_EQ(transfer.device, &device);
    EXPECT_EQ(transfer.address, 2 * kSlotSize + 16);
    EXPECT_EQ(transfer.length, 3);
    EXPECT_EQ(transfer.timeout_ms, 50U);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 4), (Bytes{5, 6, 7, 0xCC}));
    EXPECT_EQ(sender.copies, 0);
}

TEST_F(SocketBulkCopy, AFailedFetchThroughTheEngineIsCopiedByTheProcessor) {
    use_engine(nullptr, 0);
    bulk_engine.status = 32771;
    offer(4, {5, 6, 7});
    EXPECT_EQ(fetch(), 0U);
    EXPECT_EQ(sender.copies, 1);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 4), (Bytes{5, 6, 7, 0xCC}));
}

TEST_F(SocketBulkCopy, NothingIsNotTransferred) {
    use_engine(nullptr, 0);
    EXPECT_EQ(post({}), 0U);
    offer(4, {});
    EXPECT_EQ(fetch(), 0U);
    EXPECT_THAT(bulk_engine.transfers, IsEmpty());
}

} // namespace
