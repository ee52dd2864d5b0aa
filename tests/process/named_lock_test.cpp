// Named locks between processes: who holds one keeps the others out, and who dies with one hands it
// on.
#include "pci_tarn/pci_tarn.h"
#include "support/peer.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

using tarn::test::Flag;
using tarn::test::kKilled;
using tarn::test::Peer;
using tarn::test::PeerArguments;

// A lock by its place in the tables, as peers are told it: "mailbox", "sock" or "pi".
struct Lock {
    std::string role;
    uint32_t board;
    uint32_t channel;
    uint32_t index;

    void *handle() const {
        const auto get = role == "mailbox" ? getMutex_mailbox
                         : role == "sock"  ? getMutex_sock
                                           : getMutex_pi;
        return get(board, channel, index);
    }
};

constexpr size_t kWordsOfALock = 4;

PeerArguments told(const std::string &flag, const std::vector<Lock> &locks) {
    PeerArguments words = {flag};
    for (const Lock &lock : locks) {
        words.insert(words.end(), {lock.role, std::to_string(lock.board),
                                   std::to_string(lock.channel), std::to_string(lock.index)});
    }
    return words;
}

Lock lock_at(const PeerArguments &words, size_t at) {
    const auto number = [&](size_t i) { return static_cast<uint32_t>(std::stoul(words.at(i))); };
    return {words.at(at), number(at + 1), number(at + 2), number(at + 3)};
}

// Takes locks and holds them until it is killed.
TARN_PEER(lock_holder) {
    for (size_t at = 1; at < arguments.size(); at += kWordsOfALock) {
        driverLock(lock_at(arguments, at).handle());
    }
    Flag(arguments.at(0)).raise();
    tarn::test::wait_for_the_end();
}

class Holder {
  public:
    explicit Holder(const std::vector<Lock> &locks)
        : peer_("lock_holder", told(held_.name(), locks)) {
        EXPECT_TRUE(held_.wait());
    }
    void kill() {
        peer_.kill();
        EXPECT_EQ(peer_.join(), kKilled);
    }

  private:
    Flag held_;
    Peer peer_;
};

// Takes a lock and gives it back at once.
TARN_PEER(lock_visitor) {
    const Lock lock = lock_at(arguments, 2);
    Flag(arguments.at(0)).raise();
    driverLock(lock.handle());
    Flag(arguments.at(1)).raise();
    driverUnlock(lock.handle());
    return 0;
}

class Visitor {
  public:
    explicit Visitor(const Lock &lock) : peer_("lock_visitor", words(lock)) {
        EXPECT_TRUE(at_the_door_.wait());
    }

    // Whether it is kept out: looked at after a time that is long enough to come in.
    bool waits() const {
        __usleep_window(50'000);
        return !entered_.is_raised();
    }
    bool enters() { return entered_.wait() && peer_.join() == 0; }

  private:
    PeerArguments words(const Lock &lock) const {
        PeerArguments result = told(entered_.name(), {lock});
        result.insert(result.begin(), at_the_door_.name());
        return result;
    }

    Flag at_the_door_;
    Flag entered_;
    Peer peer_;
};

const Lock kMailbox = {"mailbox", 0, 0, 0};

TEST(NamedLock, KeepsOtherProcessesOutUntilItIsGivenBack) {
    driverLock(kMailbox.handle());
    Visitor visitor(kMailbox);
    EXPECT_TRUE(visitor.waits());
    driverUnlock(kMailbox.handle());
    EXPECT_TRUE(visitor.enters());
}

TEST(NamedLock, IsHandedOnWhenItsOwnerIsKilled) {
    Holder({kMailbox}).kill();
    EXPECT_EQ(driverLock(kMailbox.handle()), 0u);
    EXPECT_EQ(driverUnlock(kMailbox.handle()), 0u);
}

TEST(NamedLock, WaitingProcessGetsTheLockOfAKilledOwner) {
    Holder holder({kMailbox});
    Visitor visitor(kMailbox);
    EXPECT_TRUE(visitor.waits());
    holder.kill();
    EXPECT_TRUE(visitor.enters());
}

TEST(NamedLock, WorksAsBeforeAfterItWasHandedOn) {
    for (int round = 0; round < 3; ++round) {
        Holder({kMailbox}).kill();
        driverLock(kMailbox.handle());
        Visitor visitor(kMailbox);
        EXPECT_TRUE(visitor.waits());
        driverUnlock(kMailbox.handle());
        EXPECT_TRUE(visitor.enters());
    }
}

TEST(NamedLock, DepthOfAKilledOwnerIsForgotten) {
    const Lock lock = {"sock", 0, 0, 0};
    Holder({lock, lock, lock}).kill();
    driverLock(lock.handle());
    driverUnlock(lock.handle());
    EXPECT_TRUE(Visitor(lock).enters());
}

TEST(NamedLock, HandedOnLockIsRecursive) {
    const Lock lock = {"sock", 0, 0, 1};
    Holder({lock}).kill();
    driverLock(lock.handle());
    driverLock(lock.handle());
    driverUnlock(lock.handle());
    Visitor visitor(lock);
    EXPECT_TRUE(visitor.waits());
    driverUnlock(lock.handle());
    EXPECT_TRUE(visitor.enters());
}

TEST(NamedLock, IsRecursiveAcrossProcesses) {
    const Lock lock = {"mailbox", 1, 0, 0};
    driverLock(lock.handle());
    driverLock(lock.handle());
    Visitor visitor(lock);
    driverUnlock(lock.handle());
    EXPECT_TRUE(visitor.waits());
    driverUnlock(lock.handle());
    EXPECT_TRUE(visitor.enters());
}

TEST(NamedLock, FiveHandlesOfOneImageAreOneLock) {
    for (uint32_t taken = 0; taken < 5; ++taken) {
        driverLock(getMutex_pi(3, 1, taken));
        Visitor visitor({"pi", 3, 1, (taken + 1) % 5});
        EXPECT_TRUE(visitor.waits()) << taken;
        driverUnlock(getMutex_pi(3, 1, taken));
        EXPECT_TRUE(visitor.enters());
    }
}

TEST(NamedLock, KilledOwnerOfOneHandleFreesAllFive) {
    Holder({{"pi", 3, 0, 2}, {"pi", 3, 0, 0}}).kill();
    for (uint32_t index = 0; index < 5; ++index) {
        EXPECT_TRUE(Visitor({"pi", 3, 0, index}).enters());
    }
}

TEST(NamedLock, OtherRolesIndicesChannelsAndBoardsAreFree) {
    Holder holder({{"mailbox", 3, 0, 1}});
    const Lock others[] = {{"mailbox", 3, 0, 0},
                           {"mailbox", 3, 1, 1},
                           {"mailbox", 2, 0, 1},
                           {"sock", 3, 0, 1},
                           {"pi", 3, 0, 1}};
    for (const Lock &other : others) {
        EXPECT_TRUE(Visitor(other).enters());
    }
    holder.kill();
}

// Counts a number in a file up: arguments file and how often.
TARN_PEER(counter) {
    for (int i = std::stoi(arguments.at(1)); i > 0; --i) {
        driverLock(getMutex_pi(9, 1, 3));
        int number = 0;
        std::ifstream(arguments.at(0)) >> number;
        std::ofstream(arguments.at(0)) << number + 1;
        driverUnlock(getMutex_pi(9, 1, 3));
    }
    return 0;
}

TEST(NamedLock, OfManyProcessesOneIsInAtATime) {
    const tarn::test::TempDir folder;
    std::vector<std::unique_ptr<Peer>> peers;
    for (int i = 0; i < 4; ++i) {
        peers.push_back(std::make_unique<Peer>("counter", PeerArguments{"count", "100"}));
    }
    for (const auto &peer : peers) {
        EXPECT_EQ(peer->join(), 0);
    }
    int count = 0;
    std::ifstream("count") >> count;
    EXPECT_EQ(count, 400);
}

// Adds one to a byte of its folder's memory that nobody uses, when that is 1.
TARN_PEER(memory_user) {
    auto *memory = static_cast<uint8_t *>(__pi_shared_memory);
    if (memory == nullptr || memory[0x60A000] != 1) {
        return 1;
    }
    memory[0x60A000] = 2;
    return 0;
}

class SharedFolder : public testing::Test {
  protected:
    SharedFolder() {
        initMutex(); // the library mapped the file of another folder when it was loaded
        memory_ = static_cast<uint8_t *>(__pi_shared_memory);
        memory_[0x60A000] = 1;
    }

    tarn::test::TempDir folder_;
    uint8_t *memory_;
};

TEST_F(SharedFolder, ProcessesInOneFolderShareTheMemory) {
    EXPECT_EQ(Peer("memory_user").join(), 0);
    EXPECT_EQ(memory_[0x60A000], 2);
}

TEST_F(SharedFolder, ProcessesInOtherFoldersHaveMemoryOfTheirOwn) {
    tarn::test::ProcessOptions elsewhere;
    elsewhere.directory = folder_.path() / "other";
    std::filesystem::create_directory(elsewhere.directory);
    EXPECT_EQ(Peer("memory_user", {}, elsewhere).join(), 1);
    EXPECT_EQ(memory_[0x60A000], 1);
}

} // namespace
