#include "vcard/program/control_message.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace tarn::vcard {

namespace {

std::string control_path(const std::string &directory) {
    return directory + "/control";
}

sockaddr_un address_of(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw std::runtime_error("the path of the control socket is too long: " + path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

[[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

// One message; empty when none comes in time or the other side has gone.
std::string receive(int fd) {
    pollfd entry = {fd, POLLIN, 0};
    std::string message(kControlMessageLimit, '\0');
    const ssize_t size = poll(&entry, 1, int{kControlPatienceMs}) > 0
                             ? recv(fd, message.data(), message.size(), MSG_DONTWAIT)
                             : 0;
    message.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return message;
}

bool send_message(int fd, const std::string &message) {
    return send(fd, message.data(), std::min(message.size(), kControlMessageLimit),
                MSG_NOSIGNAL | MSG_DONTWAIT) >= 0;
}

} // namespace

struct ControlServer::State {
    std::string path;
    std::function<ControlAnswer(const ControlRequest &)> handler;
    std::function<void(const ControlRequest &)> after_answer;
    int listener = -1;
    int stop = -1;
    std::thread thread;

    ~State();
    void run() const;
    void serve(int client) const;
};

ControlServer::ControlServer(const std::string &directory,
                             std::function<ControlAnswer(const ControlRequest &)> handler,
                             std::function<void(const ControlRequest &)> after_answer)
    : state_(std::make_unique<State>()) {
    State &state = *state_;
    state.path = control_path(directory);
    state.handler = std::move(handler);
    state.after_answer = std::move(after_answer);
    const sockaddr_un address = address_of(state.path);
    unlink(state.path.c_str()); // of a service that was killed; there is one service per directory
    state.listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    state.stop = eventfd(0, EFD_CLOEXEC);
    if (state.listener < 0 || state.stop < 0 ||
        bind(state.listener, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        listen(state.listener, SOMAXCONN) != 0) {
        fail("cannot offer the control socket " + state.path);
    }
    state.thread = std::thread([&state] { state.run(); });
}

ControlServer::~ControlServer() = default;

ControlServer::State::~State() {
    if (thread.joinable()) {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t count = write(stop, &one, sizeof(one));
        thread.join();
        unlink(path.c_str());
    }
    close(listener);
    close(stop);
}

void ControlServer::State::run() const {
    std::array<pollfd, 2> entries = {{{listener, POLLIN, 0}, {stop, POLLIN, 0}}};
    for (;;) {
        if (poll(entries.data(), entries.size(), -1) < 0) {
            continue;
        }
        if (entries[1].revents != 0) {
            return;
        }
        const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client >= 0) {
            serve(client);
            close(client);
        }
    }
}

void ControlServer::State::serve(int client) const {
    const std::string message = receive(client);
    if (message.empty()) {
        return;
    }
    const ControlRequest request = decode_request(message);
    send_message(client, answer_to(request, handler));
    after_answer(request);
}

ControlAnswer ask_service(const std::string &directory, const ControlRequest &request) {
    const std::string path = control_path(directory);
    const sockaddr_un address = address_of(path);
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        const int error = errno;
        close(fd);
        if (error == ENOENT || error == ECONNREFUSED) {
            throw std::runtime_error("no service runs in " + directory);
        }
        errno = error;
        fail("cannot reach the service at " + path);
    }
    const std::string answer = send_message(fd, encode(request)) ? receive(fd) : "";
    close(fd);
    if (answer.empty()) {
        throw std::runtime_error("the service at " + path + " does not answer");
    }
    return decode_answer(answer);
}

} // namespace tarn::vcard
