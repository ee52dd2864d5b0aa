// The driver's operations over the Unix-domain sockets of a card server.
#include "base/wait_result.h"
#include "device/card_link_linux.h"
#include "device/driver_port.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <thread>
#include <utility>

using namespace tarn;
using namespace tarn::link;

namespace {

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

constexpr uint32_t kBarCount = 6;
// How long a server may take to answer what has no time-out of its own.
constexpr uint32_t kAnswerTimeoutMs = 5000;

Deadline after_ms(uint32_t ms) noexcept {
    return Clock::now() + std::chrono::milliseconds(ms);
}

// Time left for poll(), rounded up.
int poll_ms(Deadline end) noexcept {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    return static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX));
}

// A file descriptor that is closed with its owner.
class Descriptor {
  public:
    Descriptor() noexcept = default;
    explicit Descriptor(int fd) noexcept : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(other.release()) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Descriptor() { reset(); }

    [[nodiscard]] int get() const noexcept { return fd_; }
    [[nodiscard]] bool valid() const noexcept { return fd_ >= 0; }
    int release() noexcept { return std::exchange(fd_, -1); }
    void reset(int fd = -1) noexcept {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

using Descriptors = std::array<Descriptor, kOpenDescriptorCount>;

// Maps a whole memory file that must hold at least `size` bytes. A file that could still shrink is
// refused: touching its lost end would kill the process.
void *map_whole(const Descriptor &file, size_t size) noexcept {
    struct stat info = {};
    const int seals = file.valid() ? fcntl(file.get(), F_GET_SEALS) : -1;
    if (seals < 0 || (seals & F_SEAL_SHRINK) == 0 || fstat(file.get(), &info) != 0 || size == 0 ||
        static_cast<uint64_t>(info.st_size) < size) {
        return nullptr;
    }
    void *address = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    return address == MAP_FAILED ? nullptr : address;
}

// ---- finding the sockets ---------------------------------------------------------------------

// Sockets in a directory that others can write to would let them pose as a card.
bool is_directory_of(const char *path, uid_t owner, mode_t forbidden) noexcept {
    struct stat info = {};
    return lstat(path, &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == owner &&
           (info.st_mode & forbidden) == 0;
}

Descriptor connect_to(const char *directory, uint32_t index) noexcept {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const int length =
        std::snprintf(address.sun_path, sizeof(address.sun_path), kSocketFormat, directory, index);
    if (length < 0 || static_cast<size_t>(length) >= sizeof(address.sun_path)) {
        return {};
    }
    Descriptor fd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const Deadline end = after_ms(kAnswerTimeoutMs);
    while (fd.valid()) {
        if (connect(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0) {
            return fd;
        }
        // The queue of a server that lives may be full for a moment.
        if ((errno != EAGAIN && errno != EINTR) || Clock::now() >= end) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return {};
}

// The card with this index: of the caller's own directory when there is a card at all, else of the
// system's.
Descriptor connect_to(uint32_t index) noexcept {
    char own[PATH_MAX];
    if (user_directory(own, sizeof(own)) && is_directory_of(own, geteuid(), S_IRWXG | S_IRWXO)) {
        Descriptor first = connect_to(own, 0);
        if (first.valid()) {
            return index == 0 ? std::move(first) : connect_to(own, index);
        }
    }
    if (is_directory_of(kSystemDirectory, 0, S_IWOTH)) {
        return connect_to(kSystemDirectory, index);
    }
    return {};
}

// ---- one request and its answer --------------------------------------------------------------

// What a request carries and where its answer goes.
struct Exchange {
    CardRequest request = {};
    const void *send_data = nullptr;
    uint32_t send_size = 0;
    void *receive_data = nullptr;
    uint32_t receive_size = 0;
    Descriptors *descriptors = nullptr;
    CardReply reply = {};
};

bool wait_for(int fd, short events, Deadline end) noexcept {
    for (;;) {
        pollfd entry = {fd, events, 0};
        const int found = poll(&entry, 1, poll_ms(end));
        if (found >= 0 || errno != EINTR) {
            return found > 0;
        }
    }
}

bool send_request(int fd, const Exchange &exchange, Deadline end) noexcept {
    CardRequest request = exchange.request;
    std::array<iovec, 2> parts = {
        {{&request, sizeof(request)},
         {const_cast<void *>(exchange.send_data), exchange.send_size}}}; // NOLINT: only read
    msghdr message = {};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    for (;;) {
        if (sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0) {
            return true;
        }
        if (errno == EAGAIN ? !wait_for(fd, POLLOUT, end) : errno != EINTR) {
            return false;
        }
    }
}

// Takes the descriptors of a message, so that none is left open. Those beyond what the caller can
// hold are closed.
void take_descriptors(msghdr &message, Descriptors &to) noexcept {
    size_t taken = 0;
    for (cmsghdr *part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        const size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (size_t i = 0; i < count; ++i) {
            int fd = -1;
            std::memcpy(&fd, CMSG_DATA(part) + i * sizeof(int), sizeof(int));
            Descriptor owned(fd);
            if (taken < to.size()) {
                to[taken++] = std::move(owned);
            }
        }
    }
}

// True when a whole message with the wanted number was received.
enum class Received { Wanted, Other, Nothing, Gone };

Received receive_reply(int fd, Exchange &exchange) noexcept {
    std::array<iovec, 2> parts = {{{&exchange.reply, sizeof(exchange.reply)},
                                   {exchange.receive_data, exchange.receive_size}}};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * kOpenDescriptorCount)];
    msghdr message = {};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    const ssize_t size = recvmsg(fd, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (size < 0) {
        return errno == EAGAIN || errno == EINTR ? Received::Nothing : Received::Gone;
    }
    Descriptors descriptors;
    take_descriptors(message, descriptors);
    if (static_cast<size_t>(size) < sizeof(exchange.reply)) {
        return Received::Gone;
    }
    if (exchange.reply.id != exchange.request.id) {
        return Received::Other;
    }
    const auto data = static_cast<uint32_t>(static_cast<size_t>(size) - sizeof(exchange.reply));
    if (exchange.reply.ok != 0 && exchange.receive_data != nullptr &&
        exchange.reply.length != data) {
        return Received::Gone;
    }
    if (exchange.descriptors != nullptr) {
        *exchange.descriptors = std::move(descriptors);
    }
    return Received::Wanted;
}

bool await_reply(int fd, Exchange &exchange, Deadline end) noexcept {
    for (;;) {
        switch (receive_reply(fd, exchange)) {
        case Received::Wanted:
            return exchange.reply.ok != 0;
        case Received::Gone:
            return false;
        case Received::Other: // answers a request that was given up
            continue;
        case Received::Nothing:
            if (!wait_for(fd, POLLIN, end)) {
                return false;
            }
        }
    }
}

bool ask(int fd, Exchange &exchange, Deadline end) noexcept {
    return send_request(fd, exchange, end) && await_reply(fd, exchange, end);
}

// ---- an opened card --------------------------------------------------------------------------

// Lets one thread at a time ask, from its request to the answer. A lock with a time-out; the one of
// the standard library is unknown to thread sanitizers.
class Turn {
  public:
    bool take(Deadline end) noexcept {
        std::unique_lock lock(mutex_);
        if (!free_.wait_until(lock, end, [this] { return !taken_; })) {
            return false;
        }
        taken_ = true;
        return true;
    }
    void give_back() noexcept {
        const std::lock_guard lock(mutex_);
        taken_ = false;
        free_.notify_one();
    }

  private:
    std::mutex mutex_;
    std::condition_variable free_;
    bool taken_ = false;
};

struct Device {
    Descriptor socket;
    Descriptors opened;
    ClientPage *page = nullptr;
    std::array<size_t, kBarCount> bar_size = {};
    Turn turn;
    uint32_t last_id = 0;

    ~Device() {
        if (page != nullptr) {
            munmap(page, sizeof(ClientPage));
        }
    }

    bool ask(Exchange &exchange, Deadline end) noexcept {
        if (!turn.take(end)) {
            return false;
        }
        exchange.request.id = ++last_id;
        const bool answered = ::ask(socket.get(), exchange, end);
        turn.give_back();
        return answered;
    }

    InterruptCell &cell(uint32_t interrupt) const noexcept { return page->interrupts[interrupt]; }
    int event(uint32_t interrupt) const noexcept {
        return opened[kFirstInterruptDescriptor + interrupt].get();
    }

    bool set_up() noexcept {
        Exchange exchange;
        exchange.request.operation = Operation::Open;
        exchange.descriptors = &opened;
        if (!ask(exchange, after_ms(kAnswerTimeoutMs)) || !opened.back().valid()) {
            return false;
        }
        page = static_cast<ClientPage *>(map_whole(opened[kPageDescriptor], sizeof(ClientPage)));
        return page != nullptr;
    }

    // Card memory is plain memory: a server that sleeps has not seen what was written there.
    void wake_server() const noexcept {
        // The exchange also orders what was written there before the look at the flag.
        if (page->server_asleep.exchange(0, std::memory_order_seq_cst) != 0) {
            const uint64_t one = 1;
            [[maybe_unused]] const ssize_t count =
                write(opened[kKickDescriptor].get(), &one, sizeof(one));
        }
    }
};

Device &as_device(void *device) noexcept {
    return *static_cast<Device *>(device);
}

// What ends the sleep of a wait.
enum WakeUp : uint32_t { kSignal, kHangUp, kTimer };

// What a wait keeps in its own record. The timer is left running from one wait to the next and
// fires too early then: cheaper than to set it up and take it back for a wait of a few
// microseconds.
struct WaitRecord {
    int queue;
    int timer;
    int64_t expiry_ns; // 0 when the timer does not run
};
static_assert(sizeof(WaitRecord) <= 32);

WaitRecord &as_wait(void *request) noexcept {
    return *static_cast<WaitRecord *>(request);
}

bool watch(const Descriptor &queue, int fd, uint32_t events, WakeUp tag) noexcept {
    epoll_event event = {};
    event.events = events;
    event.data.u32 = tag;
    return epoll_ctl(queue.get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

// Sees to it that the timer fires at the deadline or before.
void run_timer(WaitRecord &wait, Deadline end) noexcept {
    constexpr int64_t kSecond = 1'000'000'000;
    const int64_t at = std::chrono::nanoseconds(end.time_since_epoch()).count();
    if (wait.expiry_ns == 0 || wait.expiry_ns > at) {
        const itimerspec setting = {{}, {at / kSecond, at % kSecond}};
        timerfd_settime(wait.timer, TFD_TIMER_ABSTIME, &setting, nullptr);
        wait.expiry_ns = at;
    }
}

// One message of a transfer, which begins at `exchange.request.first`.
bool move_chunk(Device &device, Exchange &exchange, void *buffer, uint32_t length,
                driver::Direction direction, Deadline end) noexcept {
    exchange.request.length = length;
    if (direction == driver::Direction::Read) {
        exchange.receive_data = buffer;
        exchange.receive_size = length;
    } else {
        exchange.send_data = buffer;
        exchange.send_size = length;
    }
    return device.ask(exchange, end);
}

} // namespace

uint32_t driver::count() noexcept {
    uint32_t found = 0;
    while (connect_to(found).valid()) {
        ++found;
    }
    return found;
}

uint64_t driver::version() noexcept {
    const Descriptor card = connect_to(0);
    uint64_t version = 0;
    Exchange exchange;
    exchange.request.operation = Operation::DriverVersion;
    exchange.receive_data = &version;
    exchange.receive_size = sizeof(version);
    const bool known = card.valid() && ask(card.get(), exchange, after_ms(kAnswerTimeoutMs)) &&
                       exchange.reply.length == sizeof(version);
    return known ? version : 0;
}

void *driver::open(uint32_t index) noexcept {
    auto *device = new (std::nothrow) Device;
    if (device != nullptr) {
        device->socket = connect_to(index);
        if (device->socket.valid() && device->set_up()) {
            return device;
        }
        delete device;
    }
    return kNoDevice;
}

void driver::close(void *device) noexcept {
    delete &as_device(device);
}

void *driver::map_bar(void *device, uint32_t bar) noexcept {
    uint64_t size = 0;
    Descriptors descriptors;
    Exchange exchange;
    exchange.request.operation = Operation::MapBar;
    exchange.request.first = bar;
    exchange.receive_data = &size;
    exchange.receive_size = sizeof(size);
    exchange.descriptors = &descriptors;
    if (!as_device(device).ask(exchange, after_ms(kAnswerTimeoutMs)) ||
        exchange.reply.length != sizeof(size)) {
        return nullptr;
    }
    void *address = map_whole(descriptors[0], size);
    if (address != nullptr) {
        as_device(device).bar_size[bar] = size;
    }
    return address;
}

void driver::unmap_bar(void *device, uint32_t bar, void *address) noexcept {
    munmap(address, as_device(device).bar_size[bar]);
}

uint32_t driver::dma(void *device, Direction direction, uint32_t card_address, void *buffer,
                     uint32_t length, uint32_t timeout_ms) noexcept {
    const Deadline end = after_ms(timeout_ms);
    for (uint32_t done = 0; done < length;) {
        const uint32_t chunk = std::min(length - done, kDataLimit);
        Exchange exchange;
        exchange.request.operation =
            direction == Direction::Read ? Operation::DmaRead : Operation::DmaWrite;
        exchange.request.first = card_address + done;
        exchange.request.second = length - done; // all of it is checked before any of it moves
        if (!move_chunk(as_device(device), exchange, static_cast<uint8_t *>(buffer) + done, chunk,
                        direction, end)) {
            return 0;
        }
        done += chunk;
    }
    return length;
}

uint32_t driver::transfer(void *device, Direction direction, uint32_t first, uint32_t second,
                          void *buffer, uint32_t length) noexcept {
    if (length > kDataLimit) {
        return 0;
    }
    Exchange exchange;
    exchange.request.operation = direction == Direction::Read ? Operation::Read : Operation::Write;
    exchange.request.first = first;
    exchange.request.second = second;
    if (!move_chunk(as_device(device), exchange, buffer, length, direction,
                    after_ms(kAnswerTimeoutMs))) {
        return 0;
    }
    return exchange.reply.length;
}

bool driver::create_event(void *device, uint32_t interrupt, void *request) noexcept {
    const Device &card = as_device(device);
    Descriptor queue(epoll_create1(EPOLL_CLOEXEC));
    Descriptor timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
    // Edge-triggered: event and timer are never read, they only end the sleep.
    if (!queue.valid() || !timer.valid() ||
        !watch(queue, card.event(interrupt), EPOLLIN | EPOLLET, kSignal) ||
        !watch(queue, timer.get(), EPOLLIN | EPOLLET, kTimer) ||
        !watch(queue, card.socket.get(), EPOLLRDHUP, kHangUp)) {
        return false;
    }
    as_wait(request) = {queue.release(), timer.release(), 0};
    return true;
}

void driver::close_event(void *, uint32_t, void *request) noexcept {
    ::close(as_wait(request).timer);
    ::close(as_wait(request).queue);
}

bool driver::issue_wait(void *device, uint32_t interrupt, void *) noexcept {
    // Pairs with the server's read after it has latched an interrupt: one of the two sees the
    // other.
    as_device(device).cell(interrupt).waiting.store(1, std::memory_order_seq_cst);
    return true;
}

uint32_t driver::await(void *device, uint32_t interrupt, void *request,
                       uint32_t timeout_ms) noexcept {
    const Device &card = as_device(device);
    WaitRecord &wait = as_wait(request);
    const Deadline end = after_ms(timeout_ms);
    card.wake_server();
    for (;;) {
        if (card.cell(interrupt).pending.exchange(0, std::memory_order_seq_cst) != 0) {
            return 0;
        }
        if (timeout_ms > 0) {
            run_timer(wait, end);
        }
        epoll_event event = {};
        const int found = epoll_wait(wait.queue, &event, 1, timeout_ms > 0 ? -1 : 0);
        if (found == 0) {
            return kWaitTimedOut;
        }
        if (found < 0 ? errno != EINTR : event.data.u32 == kHangUp) {
            return kWaitFailed;
        }
        if (found > 0 && event.data.u32 == kTimer) {
            wait.expiry_ns = 0;
            if (Clock::now() >= end) {
                return kWaitTimedOut;
            }
        }
    }
}

bool driver::finish_wait(void *device, uint32_t interrupt, void *) noexcept {
    as_device(device).cell(interrupt).waiting.store(0, std::memory_order_seq_cst);
    return true;
}

void driver::cancel_wait(void *device, uint32_t interrupt, void *) noexcept {
    finish_wait(device, interrupt, nullptr);
}
