// The data stream with the real locks and rings. Where the card must not take part, the stream runs
// over rings of the test's own.
#include "card/master_fixture.h"
#include "handle/ecat_handle.h"

#include <numeric>
#include <thread>

namespace {

using namespace tarn;
using Bytes = std::vector<uint8_t>;

class Socket : public test::MasterTest {
  protected:
    static constexpr uint32_t kSlots = 4;
    static constexpr uint32_t kSlotSize = 1024 + 16;

    void SetUp() override { open(); }

    // A stream of which the test is the other end.
    void use_own_rings() {
        handle_->socket.out = {out_pointers, out_slots.data(), kSlots - 1, kSlotSize};
        handle_->socket.in = {in_pointers, in_slots.data(), kSlots - 1, kSlotSize};
        EcatSetTimeout(handle_, 20);
    }
    uint32_t post(uint8_t value) { return _EcatSockClientPostData(handle_, 1, 2, &value, 1); }
    void offer(uint32_t type) {
        poke<uint32_t>(&in_slots[in_pointers[1] % kSlots * kSlotSize], type);
        poke<uint32_t>(&in_slots[in_pointers[1] % kSlots * kSlotSize] + 8, 0);
        __atomic_store_n(&in_pointers[1], in_pointers[1] + 1, __ATOMIC_RELEASE);
    }
    uint32_t fetch(uint32_t *type) {
        uint32_t length = 0;
        Bytes buffer(kSlotSize);
        return _EcatSockClientGetData(handle_, type, buffer.data(), &length);
    }
    void fill() { out_pointers[1] = out_pointers[0] + kSlots; }
    void drain() { out_pointers[0] = out_pointers[1]; }

    uint32_t out_pointers[2] = {};
    uint32_t in_pointers[2] = {};
    Bytes out_slots = Bytes(size_t{kSlots} * kSlotSize);
    Bytes in_slots = Bytes(size_t{kSlots} * kSlotSize);
};

TEST_F(Socket, EachDirectionHasANamedLockOfTheChannel) {
    EXPECT_EQ(handle_->socket.lock, getMutex_sock(0, 0, 0));
    EXPECT_EQ(handle_->socket.second_lock, getMutex_sock(0, 0, 1));
    EXPECT_NE(handle_->socket.lock, handle_->socket.second_lock);
}

TEST_F(Socket, BulkCopyIsOffInAFreshHandle) {
    EXPECT_EQ(handle_->bulk.enabled, 0u);
    EXPECT_EQ(handle_->bulk.device, nullptr);
    EXPECT_EQ(handle_->bulk.base, 0u);
}

TEST_F(Socket, APostLiesInTheCardsRing) {
    auto *const words = reinterpret_cast<const uint32_t *>(area());
    auto *const pointers = reinterpret_cast<const uint32_t *>(area() + words[21]);
    const uint32_t write = pointers[1];
    Bytes data(1025);
    std::iota(data.begin(), data.end(), uint8_t{0});
    EXPECT_EQ(_EcatSockClientPostData(handle_, 0x11223344, 0x55667788, data.data(), 1025), 0u);
    EXPECT_EQ(pointers[1], write + 2);
    const auto slot = [&](uint32_t n) {
        return area() + words[22] + size_t{(write + n) & words[24]} * words[23];
    };
    for (uint32_t n = 0; n < 2; ++n) {
        EXPECT_EQ(peek<uint32_t>(slot(n)), 0x11223344u);
        EXPECT_EQ(peek<uint32_t>(slot(n) + 4), 0x55667788u);
    }
    EXPECT_EQ(peek<uint32_t>(slot(0) + 8), 1024u);
    EXPECT_EQ(peek<uint32_t>(slot(1) + 8), 1u);
    EXPECT_EQ(Bytes(slot(0) + 16, slot(0) + 16 + 1024), Bytes(data.begin(), data.end() - 1));
    EXPECT_EQ(slot(1)[16], data.back());
}

TEST_F(Socket, AnEmptyRingTimesOut) {
    use_own_rings();
    uint32_t type = 7;
    const uint64_t start = get_tick_ms();
    EXPECT_EQ(fetch(&type), 80003u);
    EXPECT_GE(get_tick_ms() - start, 500u);
    EXPECT_EQ(type, 7u);
}

TEST_F(Socket, OneThreadFetchesWhileAnotherHoldsThePost) {
    use_own_rings();
    fill();
    EXPECT_EQ(post(1), 80011u);
    std::thread([&] {
        offer(42);
        uint32_t type = 0;
        EXPECT_EQ(fetch(&type), 0u);
        EXPECT_EQ(type, 42u);
    }).join();
}

TEST_F(Socket, TheThreadWhosePostTimedOutMayPostAgain) {
    use_own_rings();
    fill();
    EXPECT_EQ(post(1), 80011u);
    drain();
    EXPECT_EQ(post(2), 0u);
    EXPECT_EQ(out_slots[16], 2);
}

TEST_F(Socket, AfterATimeOutOthersPostWhenThatThreadHasEnded) {
    use_own_rings();
    fill();
    std::thread([&] { EXPECT_EQ(post(1), 80011u); }).join();
    drain();
    EXPECT_EQ(post(2), 0u);
}

TEST_F(Socket, APostThatSucceedsLeavesTheWayFree) {
    use_own_rings();
    std::thread first([&] {
        EXPECT_EQ(post(1), 0u);
        std::thread([&] { EXPECT_EQ(post(2), 0u); }).join(); // while the first one still lives
    });
    first.join();
    EXPECT_EQ(out_pointers[1], 2u);
}

TEST_F(Socket, AFetchThatTimesOutLeavesTheWayFree) {
    use_own_rings();
    uint32_t type = 0;
    EXPECT_EQ(fetch(&type), 80003u);
    std::thread([&] {
        offer(42);
        EXPECT_EQ(fetch(&type), 0u);
    }).join();
    EXPECT_EQ(type, 42u);
}

// ---- rings that cannot be ---------------------------------------------------------------------

// Descriptor words as a card with broken firmware would have them.
class SocketPlace : public Socket {
  protected:
    enum Word : uint32_t { kPointers, kSlots, kSize, kMask }; // of a descriptor
    static constexpr uint32_t kIn = 17;
    static constexpr uint32_t kOut = 21;
    static constexpr uint32_t kAreaBytes = 0x1FFC00; // from one channel's area to the next

    void reopen_with(uint32_t ring, Word word, uint32_t value) {
        poke<uint32_t>(area() + (ring + word) * 4, value);
        EcatClose(handle_);
        handle_ = nullptr;
        ASSERT_EQ(EcatOpen(&handle_, "ID0", 0), 0u);
    }
    uint32_t slots_of(uint32_t ring) { return peek<uint32_t>(area() + (ring + kSlots) * 4); }
    void expect_no_post() {
        EXPECT_EQ(handle_->socket.out.pointers, nullptr);
        EXPECT_EQ(post(1), 80006u);
        EXPECT_NE(handle_->socket.in.pointers, nullptr);
    }
    void expect_no_fetch() {
        uint32_t type = 0xCCCCCCCC;
        EXPECT_EQ(handle_->socket.in.pointers, nullptr);
        EXPECT_EQ(fetch(&type), 80006u);
        EXPECT_EQ(type, 0xCCCCCCCC);
        EXPECT_EQ(post(1), 0u);
    }
};

TEST_F(SocketPlace, CountersOutsideTheAreaAreNoRing) {
    reopen_with(kOut, kPointers, kAreaBytes - 4);
    expect_no_post();
}

TEST_F(SocketPlace, SlotsOutsideTheAreaAreNoRing) {
    reopen_with(kOut, kSlots, 0xFFFFFFF0);
    expect_no_post();
}

TEST_F(SocketPlace, ALastSlotThatLeavesTheAreaIsNoRing) {
    reopen_with(kOut, kMask, 0xFFFFFFFF);
    expect_no_post();
}

TEST_F(SocketPlace, APieceThatWouldLeaveTheAreaIsNoRing) {
    reopen_with(kOut, kSlots, kAreaBytes - 15 * 1040 - 1039);
    expect_no_post();
}

TEST_F(SocketPlace, ARingMayEndWithTheArea) {
    reopen_with(kOut, kSlots, kAreaBytes - 16 * 1040);
    EXPECT_NE(handle_->socket.out.pointers, nullptr);
    EXPECT_EQ(post(1), 0u);
}

TEST_F(SocketPlace, SmallSlotsAtTheEndAreTooSmallForAPiece) {
    reopen_with(kOut, kSlots, kAreaBytes - 16 * 64);
    reopen_with(kOut, kSize, 64);
    expect_no_post();
}

TEST_F(SocketPlace, SlotsWithoutRoomForAHeaderAreNoRing) {
    reopen_with(kOut, kSize, 15);
    expect_no_post();
}

TEST_F(SocketPlace, FetchesKeepToTheAreaToo) {
    reopen_with(kIn, kPointers, 0xFFFFFFFC);
    expect_no_fetch();
}

TEST_F(SocketPlace, SlotsToFetchFromThatLeaveTheAreaAreNoRing) {
    reopen_with(kIn, kSize, 0x80000000);
    expect_no_fetch();
}

TEST_F(SocketPlace, SlotsToFetchFromWithoutAHeaderAreNoRing) {
    reopen_with(kIn, kSize, 0);
    expect_no_fetch();
}

TEST_F(SocketPlace, TheMailboxesDoNotMind) {
    reopen_with(kOut, kSlots, 0xFFFFFFF0);
    uint8_t state = 0;
    EXPECT_EQ(EcatGetMasterState(handle_, &state), 0u);
}

} // namespace
