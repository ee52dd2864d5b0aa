// The sockets behind the kernel driver interface: their folder, servers that do not serve, clients
// that do not keep to the rules.
#include "driver_fixture.h"

#include "device/card_link_linux.h"
#include "pci_tarn/board.h"
#include "support/process.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

using namespace tarn;
using test::expect_alive;
using test::VirtualCards;

namespace {

// ---- the folder of the sockets ---------------------------------------------------------------

TEST(Driver, CountEndsAtTheFirstGap) {
    const VirtualCards cards(VirtualCards::default_cards(3));
    ASSERT_EQ(unlink((cards.socket_dir() / "kpcidev1").c_str()), 0);
    EXPECT_EQ(EtherCATGetCount(), 1U);
}

TEST(Driver, SocketWithoutAServerIsNoCard) {
    VirtualCards cards;
    cards.stop();
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, (cards.socket_dir() / "kpcidev0").c_str());
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    close(fd);
    EXPECT_EQ(EtherCATGetCount(), 0U);
    EXPECT_EQ(EtherCATGetDriverVersion(), 0U);
}

TEST(Driver, DirectoryThatOthersCanEnterIsNotLookedAt) {
    const VirtualCards cards;
    ASSERT_EQ(EtherCATGetCount(), 1U);
    ASSERT_EQ(chmod(cards.socket_dir().c_str(), 0755), 0);
    EXPECT_EQ(EtherCATGetCount(), 0U);
}

TEST(Driver, DirectoryBehindALinkIsNotLookedAt) {
    const VirtualCards cards;
    const std::string real = cards.socket_dir();
    const std::string moved = real + "-moved";
    ASSERT_EQ(rename(real.c_str(), moved.c_str()), 0);
    ASSERT_EQ(symlink(moved.c_str(), real.c_str()), 0);
    EXPECT_EQ(EtherCATGetCount(), 0U);
    ASSERT_EQ(unlink(real.c_str()), 0);
    ASSERT_EQ(rename(moved.c_str(), real.c_str()), 0);
    EXPECT_EQ(EtherCATGetCount(), 1U);
}

// ---- servers that do not serve ---------------------------------------------------------------

// A server that accepts and then says nothing.
class MuteServer {
  public:
    explicit MuteServer(const std::string &path) : fd_(socket(AF_UNIX, SOCK_SEQPACKET, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, path.c_str());
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
        EXPECT_EQ(listen(fd_, 16), 0);
    }
    ~MuteServer() { close(fd_); }

  private:
    int fd_;
};

TEST(DriverOpen, ServerThatSaysNothingIsGivenUp) {
    VirtualCards cards;
    cards.stop();
    const MuteServer mute(cards.socket_dir() / "kpcidev0");
    EXPECT_EQ(EtherCATGetCount(), 1U);
    EXPECT_EQ(EtherCATOpen(0), nullptr);
}

// ---- clients that do not keep to the rules ---------------------------------------------------

class RawClient {
  public:
    explicit RawClient(const VirtualCards &cards) : fd_(socket(AF_UNIX, SOCK_SEQPACKET, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, (cards.socket_dir() / "kpcidev0").c_str());
        EXPECT_EQ(connect(fd_, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    }
    ~RawClient() { close(fd_); }

    bool send_bytes(const std::vector<uint8_t> &bytes) const {
        return send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0;
    }
    bool send_words(const std::vector<uint32_t> &words) const {
        std::vector<uint8_t> bytes(words.size() * 4);
        std::memcpy(bytes.data(), words.data(), bytes.size());
        return send_bytes(bytes);
    }
    // Opens the card. What comes with the answer: the shared page, the kick event, the interrupt
    // events.
    std::vector<int> open_card() const {
        constexpr size_t kCount = link::kOpenDescriptorCount;
        send_words({2, 1, 0, 0, 0});
        uint32_t words[3] = {};
        iovec part = {words, sizeof(words)};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * kCount)] = {};
        msghdr header = {};
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control;
        header.msg_controllen = sizeof(control);
        EXPECT_EQ(recvmsg(fd_, &header, MSG_CMSG_CLOEXEC), ssize_t{sizeof(words)});
        std::vector<int> descriptors(kCount, -1);
        const cmsghdr *rights = CMSG_FIRSTHDR(&header);
        if (rights == nullptr || rights->cmsg_len != CMSG_LEN(sizeof(int) * kCount)) {
            ADD_FAILURE() << "no descriptors";
            return descriptors;
        }
        std::memcpy(descriptors.data(), CMSG_DATA(rights), sizeof(int) * kCount);
        return descriptors;
    }
    // First three words of the next answer; empty when the server has closed the connection.
    std::vector<uint32_t> answer() const {
        std::vector<uint32_t> words(20'000);
        const ssize_t size = recv(fd_, words.data(), words.size() * 4, 0);
        words.resize(size <= 0 ? 0 : 3);
        return words;
    }

  private:
    int fd_;
};

TEST(CardServer, ShortMessageEndsTheConnection) {
    const VirtualCards cards;
    const RawClient client(cards);
    ASSERT_TRUE(client.send_bytes({1, 2, 3}));
    EXPECT_TRUE(client.answer().empty());
    expect_alive();
    EXPECT_NE(cards.log().find("malformed message"), std::string::npos);
}

TEST(CardServer, OverlongMessageEndsTheConnection) {
    const VirtualCards cards;
    const RawClient client(cards);
    ASSERT_TRUE(client.send_bytes(std::vector<uint8_t>(100'000, 1)));
    EXPECT_TRUE(client.answer().empty());
    expect_alive();
}

TEST(CardServer, UnknownOperationIsRefused) {
    const VirtualCards cards;
    const RawClient client(cards);
    for (const uint32_t operation : {0U, 8U, 0xFFFFFFFFU}) {
        ASSERT_TRUE(client.send_words({operation, 77, 0, 0, 0}));
        EXPECT_EQ(client.answer(), (std::vector<uint32_t>{77, 0, 0})) << operation;
    }
    expect_alive();
}

TEST(CardServer, ImpossibleLengthsAreRefused) {
    const VirtualCards cards;
    const RawClient client(cards);
    // DMA read and write, selector write: more than a message, other than what is there, beyond
    // the end, a sum that wraps around.
    const std::vector<std::vector<uint32_t>> requests = {{4, 1, 0, 0xFFFFFFFF, 0xFFFFFFFF},
                                                         {4, 1, 0, 4, 8},
                                                         {4, 1, 0xFFFFFFF0, 0x20, 0x20},
                                                         {4, 1, 0x800000, 4, 4},
                                                         {5, 1, 0, 4, 4},
                                                         {5, 1, 0, 65537, 65537},
                                                         {7, 1, 0, 0, 4},
                                                         {6, 1, 0, 0, 4'000'000},
                                                         {3, 1, 6, 0, 0},
                                                         {3, 1, 0xFFFFFFFF, 0, 0}};
    for (const std::vector<uint32_t> &request : requests) {
        ASSERT_TRUE(client.send_words(request));
        EXPECT_EQ(client.answer(), (std::vector<uint32_t>{1, 0, 0}))
            << request[0] << " " << request[2];
    }
    expect_alive();
}

TEST(CardServer, ClientThatDoesNotTakeItsAnswersBlocksNobody) {
    const VirtualCards cards;
    const RawClient lazy(cards);
    for (int i = 0; i < 200; ++i) {
        if (!lazy.send_words({4, static_cast<uint32_t>(i), 0, 65536, 65536})) {
            break;
        }
    }
    expect_alive();
}

// The client makes writes to its events wait, leaves no room in them, and says that it waits for
// every interrupt.
TEST(CardServer, ClientThatWouldBlockItsInterruptsBlocksNobody) {
    const VirtualCards cards;
    const RawClient client(cards);
    const std::vector<int> descriptors = client.open_card();
    auto *page = static_cast<link::ClientPage *>(mmap(nullptr, sizeof(link::ClientPage),
                                                      PROT_READ | PROT_WRITE, MAP_SHARED,
                                                      descriptors[link::kPageDescriptor], 0));
    ASSERT_NE(page, MAP_FAILED);
    for (uint32_t i = 0; i < link::kInterruptCount; ++i) {
        const int event = descriptors[link::kFirstInterruptDescriptor + i];
        for (uint64_t room = UINT64_MAX - 2; room > 0; room /= 2) {
            while (write(event, &room, sizeof(room)) == ssize_t{sizeof(room)}) {
            }
        }
        ASSERT_EQ(fcntl(event, F_SETFL, 0), 0);
        page->interrupts[i].waiting = 1;
    }
    BoardHandle *board = nullptr;
    ASSERT_EQ(BoardOpen(&board, "ID0"), 0U);
    char text[16] = {};
    EXPECT_EQ(BoardFlashRead(board, 0, sizeof(text), text), 0U); // its answer raises an interrupt
    BoardClose(board);
    EXPECT_TRUE(test::eventually([page] { return page->interrupts[1].pending == 1; }));
    for (uint32_t i = 0; i < link::kInterruptCount; ++i) { // ends the wait of a server that waits
        uint64_t count = 0;
        EXPECT_EQ(read(descriptors[link::kFirstInterruptDescriptor + i], &count, sizeof(count)), 8);
    }
    munmap(page, sizeof(*page));
    for (const int descriptor : descriptors) {
        close(descriptor);
    }
    expect_alive();
}

TEST(CardServer, ManyClientsComeAndGo) {
    const VirtualCards cards;
    for (int i = 0; i < 500; ++i) {
        const RawClient client(cards);
        client.send_words({2, 1, 0, 0, 0}); // opens the card and leaves without the answer
    }
    expect_alive();
}

TEST(CardServer, TwoServersDoNotShareADirectory) {
    const VirtualCards cards;
    vcard::ServerOptions options;
    options.cards = VirtualCards::default_cards(1);
    try {
        const vcard::Server second(options);
        FAIL() << "a second server has started";
    } catch (const std::runtime_error &error) {
        EXPECT_NE(std::string(error.what()).find("already running"), std::string::npos);
    }
    EXPECT_EQ(EtherCATGetCount(), 1U);
}

TEST(CardServer, RemovesItsSocketsAtTheEnd) {
    VirtualCards cards(VirtualCards::default_cards(2));
    EXPECT_TRUE(std::filesystem::exists(cards.socket_dir() / "kpcidev1"));
    cards.stop();
    EXPECT_TRUE(std::filesystem::is_empty(cards.socket_dir()));
}

TEST(CardServer, TakesOverWhatAKilledServerLeftBehind) {
    VirtualCards first;
    first.stop();
    for (const char *name : {"kpcidev0", "kpcidev7", "tarn-vcard.pid"}) {
        const int fd = open((first.socket_dir() / name).c_str(), O_CREAT | O_WRONLY, 0600);
        ASSERT_GE(fd, 0);
        close(fd);
    }
    vcard::ServerOptions options;
    options.cards = VirtualCards::default_cards(2);
    options.log = [](const std::string &) {};
    const vcard::Server second(options);
    EXPECT_EQ(EtherCATGetCount(), 2U);
    EXPECT_FALSE(std::filesystem::exists(first.socket_dir() / "kpcidev7"));
}

} // namespace
