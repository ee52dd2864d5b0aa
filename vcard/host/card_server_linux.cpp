#include "vcard/host/card_server_linux.h"

#include "device/card_link_linux.h"
#include "vcard/host/serving.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <list>
#include <map>
#include <mutex>
#include <new>
#include <span>
#include <stdexcept>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace tarn::vcard {

namespace {

using link::CardReply;
using link::CardRequest;
using link::ClientPage;
using link::InterruptCell;
using link::Operation;

constexpr size_t kClientLimit = 256;
constexpr size_t kSelectorLimit = 1024;

[[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

class Descriptor {
  public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    [[nodiscard]] int get() const { return fd_; }
    // Throws when the call that made the descriptor failed.
    static Descriptor checked(int fd, const char *what) {
        if (fd < 0) {
            fail(what);
        }
        return Descriptor(fd);
    }

  private:
    int fd_;
};

Descriptor make_event(unsigned count = 0) {
    return Descriptor::checked(eventfd(count, EFD_CLOEXEC | EFD_NONBLOCK), "cannot make an event");
}

// Signals every tick. Cheaper than a time-out, which the system would set up anew at every sleep.
Descriptor make_ticker() {
    Descriptor ticker = Descriptor::checked(
        timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "cannot make a timer");
    const timespec period = {0, std::chrono::nanoseconds(kServingTick).count()};
    const itimerspec setting = {period, period};
    if (timerfd_settime(ticker.get(), 0, &setting, nullptr) != 0) {
        fail("cannot set a timer");
    }
    return ticker;
}

void signal_event(const Descriptor &event) {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t count = write(event.get(), &one, sizeof(one));
}

// Wakes whoever watches the event for edges. A client shares the event's flags, so that it can make
// writes wait, and its count, so that it can leave no room in it: nothing is added, which waits for
// no room. An edge comes nevertheless, as long as nobody takes the one that the event began with.
void wake(const Descriptor &event) {
    const uint64_t nothing = 0;
    [[maybe_unused]] const ssize_t count = write(event.get(), &nothing, sizeof(nothing));
}

// Memory that other processes map as well. Nobody can change its size, so that no mapping of it can
// lose its end.
class SharedMemory {
  public:
    SharedMemory(const std::string &name, size_t size)
        : file_(Descriptor::checked(memfd_create(name.c_str(), MFD_CLOEXEC | MFD_ALLOW_SEALING),
                                    "cannot make shared memory")),
          size_(size) {
        if (ftruncate(file_.get(), static_cast<off_t>(size)) != 0 ||
            fcntl(file_.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
            fail("cannot size shared memory");
        }
        void *address = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file_.get(), 0);
        if (address == MAP_FAILED) {
            fail("cannot map shared memory");
        }
        address_ = static_cast<uint8_t *>(address);
    }
    ~SharedMemory() { munmap(address_, size_); }
    SharedMemory(const SharedMemory &) = delete;
    SharedMemory &operator=(const SharedMemory &) = delete;

    [[nodiscard]] int file() const { return file_.get(); }
    [[nodiscard]] std::span<uint8_t> bytes() const { return {address_, size_}; }

  private:
    Descriptor file_;
    uint8_t *address_ = nullptr;
    size_t size_;
};

// What a client gets when it opens the card.
struct ClientLink {
    SharedMemory memory{"tarn-client", sizeof(ClientPage)};
    ClientPage *page = new (memory.bytes().data()) ClientPage{};
    Descriptor kick = make_event();
    std::array<Descriptor, link::kInterruptCount> interrupts;

    // The events stand at one from the beginning, see wake().
    ClientLink() {
        for (Descriptor &interrupt : interrupts) {
            interrupt = make_event(1);
        }
    }

    // Every interrupt is latched; a client that waits is woken. A client that is about to wait sets
    // `waiting` first and looks at `pending` after it, so one of the two sides sees the other.
    void raise(unsigned number) {
        InterruptCell &cell = page->interrupts[number];
        if (cell.pending.exchange(1, std::memory_order_seq_cst) == 0 &&
            cell.waiting.load(std::memory_order_seq_cst) != 0) {
            wake(interrupts[number]);
        }
    }

    [[nodiscard]] std::vector<int> descriptors() const {
        std::vector<int> all = {memory.file(), kick.get()};
        for (const Descriptor &interrupt : interrupts) {
            all.push_back(interrupt.get());
        }
        return all;
    }
};

struct Client {
    Descriptor socket;
    std::unique_ptr<ClientLink> link; // null until the client has opened the card
};

// An answer before it is sent.
struct Answer {
    bool ok = false;
    std::vector<uint8_t> data;
    uint32_t length = 0; // bytes moved, when there is no data
    std::vector<int> descriptors;

    static Answer refused() { return {}; }
    static Answer moved(uint32_t length) { return {true, {}, length, {}}; }
    static Answer value(uint64_t value, std::vector<int> descriptors = {}) {
        std::vector<uint8_t> bytes(sizeof(value));
        std::memcpy(bytes.data(), &value, sizeof(value));
        return {true, std::move(bytes), 0, std::move(descriptors)};
    }
};

} // namespace

struct CardServer::State {
    State(const CardConfig &config, uint64_t version, const LogLine &log_line);

    void watch(int fd, void *tag, uint32_t events) const;
    void run();
    void handle(const epoll_event &event);
    void accept_client();
    void hear(Client &client);
    void leave(Client &client);
    bool receive(Client &client);
    Answer answer(Client &client, const CardRequest &request, std::span<const uint8_t> data);
    Answer open(Client &client);
    Answer map_bar(uint32_t bar);
    Answer dma_read(const CardRequest &request);
    Answer dma_write(const CardRequest &request, std::span<const uint8_t> data);
    Answer read(const CardRequest &request);
    Answer write(const CardRequest &request, std::span<const uint8_t> data);
    static void send(const Client &client, uint32_t id, Answer answer);
    void raise(unsigned interrupt);
    void set_asleep(uint32_t asleep);
    void wake_for_stop() const { signal_event(stop); }

    const uint64_t driver_version;
    const LogLine log;
    std::array<SharedMemory, kBarSizes.size()> bars = {
        {{"tarn-bar0", kBar0Size}, {"tarn-bar1", kBar1Size}, {"tarn-bar2", kBar2Size}}};
    std::map<std::pair<uint32_t, uint32_t>, std::vector<uint8_t>> selectors;
    std::vector<uint8_t> message = std::vector<uint8_t>(sizeof(CardRequest) + link::kDataLimit);
    Descriptor epoll =
        Descriptor::checked(epoll_create1(EPOLL_CLOEXEC), "cannot make an event queue");
    Descriptor stop = make_event();
    Descriptor ticker = make_ticker();
    Descriptor listener;
    SpinCredit spin;
    // The serving thread changes the list, with the lock; threads of the firmware read it to raise
    // interrupts.
    std::mutex clients_mutex;
    std::list<Client> clients;
    Firmware firmware;
    std::thread thread;
};

CardServer::State::State(const CardConfig &config, uint64_t version, const LogLine &log_line)
    : driver_version(version), log(log_line),
      firmware(
          config, CardMemory{{bars[0].bytes(), bars[1].bytes(), bars[2].bytes()}},
          [this](unsigned interrupt) { raise(interrupt); }, log_line) {
    watch(stop.get(), &stop, EPOLLIN);
    watch(ticker.get(), &ticker, EPOLLIN);
}

void CardServer::State::watch(int fd, void *tag, uint32_t events) const {
    epoll_event event = {};
    event.events = events;
    event.data.ptr = tag;
    if (epoll_ctl(epoll.get(), EPOLL_CTL_ADD, fd, &event) != 0) {
        fail("cannot watch a descriptor");
    }
}

// ---- the serving thread ----------------------------------------------------------------------

void CardServer::State::run() {
    // The threads of the buses inherit it: cycles begin on time, not up to 50 us later.
    prctl(PR_SET_TIMERSLACK, 1UL);
    for (;;) {
        bool busy = serve_until_quiet(firmware, spin);
        if (!busy) {
            set_asleep(1);
            // A request that came before the flag was seen has kicked nobody. The look must not
            // come before the flag, which the exchange there sees to.
            busy = firmware.serve();
        }
        std::array<epoll_event, 16> events;
        const int count =
            epoll_wait(epoll.get(), events.data(), static_cast<int>(events.size()), busy ? 0 : -1);
        set_asleep(0);
        for (int i = 0; i < count; ++i) {
            if (events[static_cast<size_t>(i)].data.ptr == &stop) {
                return;
            }
            handle(events[static_cast<size_t>(i)]);
        }
    }
}

void CardServer::State::set_asleep(uint32_t asleep) {
    // The list is changed by this thread only.
    for (const Client &client : clients) {
        if (client.link != nullptr) {
            client.link->page->server_asleep.exchange(asleep, std::memory_order_seq_cst);
        }
    }
}

void CardServer::State::raise(unsigned interrupt) {
    if (interrupt >= link::kInterruptCount) {
        return;
    }
    const std::lock_guard guard(clients_mutex);
    for (const Client &client : clients) {
        if (client.link != nullptr) {
            client.link->raise(interrupt);
        }
    }
}

// ---- clients ---------------------------------------------------------------------------------

void CardServer::State::handle(const epoll_event &event) {
    if (event.data.ptr == &listener) {
        accept_client();
    } else if (event.data.ptr == &ticker) {
        uint64_t ticks = 0;
        [[maybe_unused]] const ssize_t count = ::read(ticker.get(), &ticks, sizeof(ticks));
    } else if (event.data.ptr != nullptr) { // a kick has no client: it only ends the sleep
        hear(*static_cast<Client *>(event.data.ptr));
    }
}

void CardServer::State::accept_client() {
    Descriptor socket(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (socket.get() < 0) {
        return;
    }
    if (clients.size() >= kClientLimit) {
        log("a client was sent away: there are " + std::to_string(kClientLimit) + " already");
        return;
    }
    std::list<Client> fresh;
    Client &client = fresh.emplace_back(Client{std::move(socket), nullptr});
    try {
        watch(client.socket.get(), &client, EPOLLIN | EPOLLRDHUP);
    } catch (const std::exception &error) {
        log(std::string("a client was sent away: ") + error.what());
        return;
    }
    const std::lock_guard guard(clients_mutex);
    clients.splice(clients.end(), fresh);
}

void CardServer::State::hear(Client &client) {
    try {
        if (receive(client)) {
            return;
        }
    } catch (const std::exception &error) {
        log(std::string("a client was sent away: ") + error.what());
    }
    leave(client);
}

void CardServer::State::leave(Client &client) {
    // Closing does not end the watch while others hold the descriptor, too: a child of this process
    // before it begins its own program, and the client its end of the kick event.
    epoll_ctl(epoll.get(), EPOLL_CTL_DEL, client.socket.get(), nullptr);
    if (client.link != nullptr) {
        epoll_ctl(epoll.get(), EPOLL_CTL_DEL, client.link->kick.get(), nullptr);
    }
    const std::lock_guard guard(clients_mutex);
    clients.remove_if([&client](const Client &other) { return &other == &client; });
}

// One message of a client. False when the client has gone or does not keep to the rules.
bool CardServer::State::receive(Client &client) {
    iovec part = {message.data(), message.size()};
    msghdr header = {};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    const ssize_t size = recvmsg(client.socket.get(), &header, MSG_DONTWAIT);
    if (size < 0) {
        return errno == EAGAIN || errno == EINTR;
    }
    if (size == 0) {
        return false;
    }
    CardRequest request = {};
    if (static_cast<size_t>(size) < sizeof(request) || (header.msg_flags & MSG_TRUNC) != 0) {
        log("a client was sent away: malformed message");
        return false;
    }
    std::memcpy(&request, message.data(), sizeof(request));
    const std::span<const uint8_t> data(message.data() + sizeof(request),
                                        static_cast<size_t>(size) - sizeof(request));
    send(client, request.id, answer(client, request, data));
    return true;
}

// Does not wait for a client that lets its answers lie: it has to do without this one.
void CardServer::State::send(const Client &client, uint32_t id, Answer answer) {
    const auto data_size = static_cast<uint32_t>(answer.data.size());
    CardReply reply = {id, answer.ok ? 1U : 0U, data_size > 0 ? data_size : answer.length};
    std::array<iovec, 2> parts = {
        {{&reply, sizeof(reply)}, {answer.data.data(), answer.data.size()}}};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * link::kOpenDescriptorCount)] = {};
    msghdr header = {};
    header.msg_iov = parts.data();
    header.msg_iovlen = parts.size();
    if (!answer.descriptors.empty()) {
        const size_t bytes = answer.descriptors.size() * sizeof(int);
        header.msg_control = control;
        header.msg_controllen = CMSG_SPACE(bytes);
        cmsghdr *rights = CMSG_FIRSTHDR(&header);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(bytes);
        std::memcpy(CMSG_DATA(rights), answer.descriptors.data(), bytes);
    }
    [[maybe_unused]] const ssize_t sent =
        sendmsg(client.socket.get(), &header, MSG_NOSIGNAL | MSG_DONTWAIT);
}

// ---- operations ------------------------------------------------------------------------------

Answer CardServer::State::answer(Client &client, const CardRequest &request,
                                 std::span<const uint8_t> data) {
    if (request.length > link::kDataLimit) {
        return Answer::refused();
    }
    switch (request.operation) {
    case Operation::DriverVersion:
        return Answer::value(driver_version);
    case Operation::Open:
        return open(client);
    case Operation::MapBar:
        return map_bar(request.first);
    case Operation::DmaRead:
        return dma_read(request);
    case Operation::DmaWrite:
        return dma_write(request, data);
    case Operation::Read:
        return read(request);
    case Operation::Write:
        return write(request, data);
    }
    return Answer::refused();
}

Answer CardServer::State::open(Client &client) {
    if (client.link == nullptr) {
        auto opened = std::make_unique<ClientLink>();
        // Edge-triggered: a kick is never read, it only ends the sleep.
        watch(opened->kick.get(), nullptr, EPOLLIN | EPOLLET);
        const std::lock_guard guard(clients_mutex);
        client.link = std::move(opened);
    }
    Answer answer = Answer::moved(0);
    answer.descriptors = client.link->descriptors();
    return answer;
}

Answer CardServer::State::map_bar(uint32_t bar) {
    if (bar >= bars.size()) {
        return Answer::refused();
    }
    return Answer::value(bars[bar].bytes().size(), {bars[bar].file()});
}

namespace {

// Card addresses of DMA count from the start of BAR2. `second` covers what is still to come.
bool dma_fits(const CardRequest &request) {
    return request.length <= request.second &&
           uint64_t{request.first} + request.second <= kBar2Size;
}

} // namespace

// Through the file, as a device that reads and writes memory behind the processor's back.
Answer CardServer::State::dma_read(const CardRequest &request) {
    if (!dma_fits(request)) {
        return Answer::refused();
    }
    Answer answer = Answer::moved(0);
    answer.data.resize(request.length);
    const ssize_t count = pread(bars[2].file(), answer.data.data(), request.length, request.first);
    return count == static_cast<ssize_t>(request.length) ? answer : Answer::refused();
}

Answer CardServer::State::dma_write(const CardRequest &request, std::span<const uint8_t> data) {
    if (!dma_fits(request) || data.size() != request.length) {
        return Answer::refused();
    }
    const ssize_t count = pwrite(bars[2].file(), data.data(), data.size(), request.first);
    return count == static_cast<ssize_t>(data.size()) ? Answer::moved(request.length)
                                                      : Answer::refused();
}

// What the selectors name is whatever was written there last.
Answer CardServer::State::read(const CardRequest &request) {
    const auto found = selectors.find({request.first, request.second});
    if (found == selectors.end()) {
        return Answer::refused();
    }
    Answer answer = Answer::moved(0);
    answer.data = found->second;
    answer.data.resize(std::min<size_t>(answer.data.size(), request.length));
    return answer;
}

Answer CardServer::State::write(const CardRequest &request, std::span<const uint8_t> data) {
    const std::pair key(request.first, request.second);
    if (data.size() != request.length ||
        (selectors.size() >= kSelectorLimit && selectors.count(key) == 0)) {
        return Answer::refused();
    }
    selectors[key].assign(data.begin(), data.end());
    return Answer::moved(request.length);
}

// ---- the outside -----------------------------------------------------------------------------

CardServer::CardServer(const CardConfig &config, uint64_t driver_version, const LogLine &log)
    : state_(std::make_unique<State>(config, driver_version, log)) {
    state_->firmware.boot();
}

CardServer::~CardServer() {
    if (state_->thread.joinable()) {
        state_->wake_for_stop();
        state_->thread.join();
    }
    state_->firmware.shut_down();
}

void CardServer::listen_at(const std::string &path) {
    State &state = *state_;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw std::runtime_error("the path of a card's socket is too long: " + path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    state.listener = Descriptor::checked(
        socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "cannot make a socket");
    if (bind(state.listener.get(), reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0 ||
        listen(state.listener.get(), SOMAXCONN) != 0) {
        fail("cannot offer the card at " + path);
    }
    state.watch(state.listener.get(), &state.listener, EPOLLIN);
    state.thread = std::thread([&state] { state.run(); });
}

Firmware &CardServer::firmware() {
    return state_->firmware;
}

} // namespace tarn::vcard
