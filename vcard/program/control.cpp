#include "vcard/program/control.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace tarn::vcard {

namespace {

constexpr size_t kMessageLimit = 65536;
constexpr int kPatienceMs = 5000;
constexpr char kSeparator = '\n'; // between the words of a request

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
    std::string message(kMessageLimit, '\0');
    const ssize_t size = poll(&entry, 1, kPatienceMs) > 0
                             ? recv(fd, message.data(), message.size(), MSG_DONTWAIT)
                             : 0;
    message.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return message;
}

bool send_message(int fd, const std::string &message) {
    return send(fd, message.data(), std::min(message.size(), kMessageLimit),
                MSG_NOSIGNAL | MSG_DONTWAIT) >= 0;
}

ControlRequest split(const std::string &message) {
    ControlRequest words(1);
    for (const char c : message) {
        if (c == kSeparator) {
            words.emplace_back();
        } else {
            words.back() += c;
        }
    }
    return words;
}

std::string join(const ControlRequest &words) {
    std::string message;
    for (const std::string &word : words) {
        message += message.empty() ? word : kSeparator + word;
    }
    return message;
}

} // namespace

ControlServer::ControlServer(const std::string &directory,
                             std::function<ControlAnswer(const ControlRequest &)> handler,
                             std::function<void(const ControlRequest &)> after_answer)
    : path_(control_path(directory)), handler_(std::move(handler)),
      after_answer_(std::move(after_answer)) {
    const sockaddr_un address = address_of(path_);
    unlink(path_.c_str()); // of a service that was killed; there is one service per directory
    listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    stop_ = eventfd(0, EFD_CLOEXEC);
    if (listener_ < 0 || stop_ < 0 ||
        bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        listen(listener_, SOMAXCONN) != 0) {
        fail("cannot offer the control socket " + path_);
    }
    thread_ = std::thread([this] { run(); });
}

ControlServer::~ControlServer() {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t count = write(stop_, &one, sizeof(one));
    thread_.join();
    unlink(path_.c_str());
    close(listener_);
    close(stop_);
}

void ControlServer::run() const {
    std::array<pollfd, 2> entries = {{{listener_, POLLIN, 0}, {stop_, POLLIN, 0}}};
    for (;;) {
        if (poll(entries.data(), entries.size(), -1) < 0) {
            continue;
        }
        if (entries[1].revents != 0) {
            return;
        }
        const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client >= 0) {
            serve(client);
            close(client);
        }
    }
}

void ControlServer::serve(int client) const {
    const std::string message = receive(client);
    if (message.empty()) {
        return;
    }
    const ControlRequest request = split(message);
    ControlAnswer answer;
    try {
        answer = handler_(request);
    } catch (const std::exception &error) {
        answer = {false, error.what()};
    }
    send_message(client, (answer.ok ? "+" : "-") + answer.text);
    after_answer_(request);
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
    const std::string answer = send_message(fd, join(request)) ? receive(fd) : "";
    close(fd);
    if (answer.empty()) {
        throw std::runtime_error("the service at " + path + " does not answer");
    }
    return {answer.front() == '+', answer.substr(1)};
}

} // namespace tarn::vcard
