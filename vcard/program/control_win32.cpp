#include "vcard/host/runtime_directory.h"
#include "vcard/program/control_message.h"

#include <windows.h>

#include <sddl.h>

#include <array>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

namespace tarn::vcard {

namespace {

[[noreturn]] void fail(const std::string &what, DWORD error = GetLastError()) {
    throw std::runtime_error(what + ": " + std::system_category().message(static_cast<int>(error)));
}

// The process that serves a directory is the one that has its pid file; the pipe bears its number.
std::string pipe_name(int64_t owner) {
    return "\\\\.\\pipe\\tarn-vcard-" + std::to_string(owner);
}

class Handle {
  public:
    explicit Handle(HANDLE handle) : handle_(handle) {}
    ~Handle() {
        if (valid()) {
            CloseHandle(handle_);
        }
    }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
    [[nodiscard]] HANDLE get() const { return handle_; }
    [[nodiscard]] bool valid() const {
        return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE;
    }

  private:
    HANDLE handle_;
};

// One request to a pipe, with an event of its own.
class Overlapped {
  public:
    Overlapped() : event_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
        record_.hEvent = event_.get();
    }

    OVERLAPPED *get() { return &record_; }

    // Waits for the end of a request that was started with `result`, or until `stop` is signalled.
    // Gives the bytes moved; nothing when the request failed, was stopped or took too long.
    std::optional<DWORD> finish(HANDLE pipe, BOOL result, DWORD timeout_ms, HANDLE stop = nullptr) {
        if (result == FALSE && GetLastError() != ERROR_IO_PENDING) {
            return std::nullopt;
        }
        const HANDLE events[] = {event_.get(), stop};
        if (WaitForMultipleObjects(stop != nullptr ? 2 : 1, events, FALSE, timeout_ms) !=
            WAIT_OBJECT_0) {
            CancelIoEx(pipe, &record_);
        }
        DWORD bytes = 0;
        // The record is the system's until the request has ended.
        return GetOverlappedResult(pipe, &record_, &bytes, TRUE) != FALSE
                   ? std::optional<DWORD>(bytes)
                   : std::nullopt;
    }

  private:
    Handle event_;
    OVERLAPPED record_ = {};
};

// One message; empty when none comes in time or the other side has gone.
std::string receive(HANDLE pipe) {
    std::string message(kControlMessageLimit, '\0');
    Overlapped request;
    const BOOL started =
        ReadFile(pipe, message.data(), static_cast<DWORD>(message.size()), nullptr, request.get());
    message.resize(request.finish(pipe, started, kControlPatienceMs).value_or(0));
    return message;
}

bool send_message(HANDLE pipe, const std::string &message) {
    Overlapped request;
    const BOOL started =
        WriteFile(pipe, message.data(), static_cast<DWORD>(message.size()), nullptr, request.get());
    return request.finish(pipe, started, kControlPatienceMs).has_value();
}

// Lets the user who runs the service do everything and nobody else anything.
class OwnUserOnly {
  public:
    OwnUserOnly() {
        HANDLE token = nullptr;
        if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE) {
            fail("cannot tell who the user is");
        }
        const Handle closer(token);
        DWORD size = 0;
        GetTokenInformation(token, TokenUser, nullptr, 0, &size);
        std::vector<uint64_t> user(size / sizeof(uint64_t) + 1);
        char *sid = nullptr;
        if (GetTokenInformation(token, TokenUser, user.data(), size, &size) == FALSE ||
            ConvertSidToStringSidA(reinterpret_cast<TOKEN_USER *>(user.data())->User.Sid, &sid) ==
                FALSE) {
            fail("cannot tell who the user is");
        }
        const std::string rules = std::string("D:P(A;;GA;;;") + sid + ")";
        LocalFree(sid);
        if (ConvertStringSecurityDescriptorToSecurityDescriptorA(rules.c_str(), SDDL_REVISION_1,
                                                                 &attributes_.lpSecurityDescriptor,
                                                                 nullptr) == FALSE) {
            fail("cannot close the control pipe to others");
        }
    }
    ~OwnUserOnly() { LocalFree(attributes_.lpSecurityDescriptor); }
    OwnUserOnly(const OwnUserOnly &) = delete;
    OwnUserOnly &operator=(const OwnUserOnly &) = delete;
    SECURITY_ATTRIBUTES *get() { return &attributes_; }

  private:
    SECURITY_ATTRIBUTES attributes_ = {sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

// The only end of the pipe that this side has: whoever comes meanwhile waits for it.
HANDLE make_pipe(const std::string &name) {
    OwnUserOnly security;
    const HANDLE pipe = CreateNamedPipeA(
        name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1,
        kControlMessageLimit, kControlMessageLimit, 0, security.get());
    if (pipe == INVALID_HANDLE_VALUE) {
        fail("cannot offer the control pipe " + name);
    }
    return pipe;
}

// Waits for its turn. Whoever else may have taken the name learns who the user is and can do
// nothing as this user.
HANDLE connect_to(const std::string &name, const std::string &directory) {
    for (;;) {
        const HANDLE pipe = CreateFileA(
            name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
            FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr);
        if (pipe != INVALID_HANDLE_VALUE) {
            return pipe;
        }
        if (GetLastError() == ERROR_PIPE_BUSY &&
            WaitNamedPipeA(name.c_str(), kControlPatienceMs) != FALSE) {
            continue;
        }
        if (GetLastError() == ERROR_FILE_NOT_FOUND) {
            throw std::runtime_error("no service runs in " + directory);
        }
        fail("cannot reach the service at " + name);
    }
}

} // namespace

struct ControlServer::State {
    std::function<ControlAnswer(const ControlRequest &)> handler;
    std::function<void(const ControlRequest &)> after_answer;
    Handle pipe{make_pipe(pipe_name(GetCurrentProcessId()))};
    Handle stop{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
    std::thread thread;

    void run() const {
        for (;;) {
            Overlapped request;
            const BOOL started = ConnectNamedPipe(pipe.get(), request.get());
            const bool there = started == FALSE && GetLastError() == ERROR_PIPE_CONNECTED;
            if (there || request.finish(pipe.get(), started, INFINITE, stop.get())) {
                serve();
            }
            DisconnectNamedPipe(pipe.get());
            if (WaitForSingleObject(stop.get(), 0) == WAIT_OBJECT_0) {
                return;
            }
        }
    }

    void serve() const {
        const std::string message = receive(pipe.get());
        if (message.empty()) {
            return;
        }
        const ControlRequest request = decode_request(message);
        send_message(pipe.get(), answer_to(request, handler));
        // What the client has not read when the pipe is disconnected is lost: let it go first.
        receive(pipe.get());
        after_answer(request);
    }
};

ControlServer::ControlServer(const std::string &,
                             std::function<ControlAnswer(const ControlRequest &)> handler,
                             std::function<void(const ControlRequest &)> after_answer)
    : state_(std::make_unique<State>()) {
    state_->handler = std::move(handler);
    state_->after_answer = std::move(after_answer);
    state_->thread = std::thread([this] { state_->run(); });
}

ControlServer::~ControlServer() {
    SetEvent(state_->stop.get());
    state_->thread.join();
}

ControlAnswer ask_service(const std::string &directory, const ControlRequest &request) {
    const int64_t owner = runtime_owner(directory).value_or(0);
    if (owner == 0) {
        throw std::runtime_error("no service runs in " + directory);
    }
    const std::string name = pipe_name(owner);
    const Handle pipe(connect_to(name, directory));
    DWORD mode = PIPE_READMODE_MESSAGE;
    ULONG server = 0;
    if (SetNamedPipeHandleState(pipe.get(), &mode, nullptr, nullptr) == FALSE ||
        GetNamedPipeServerProcessId(pipe.get(), &server) == FALSE || server != owner) {
        fail("cannot use the pipe of the service at " + name, ERROR_BAD_PIPE);
    }
    const std::string answer = send_message(pipe.get(), encode(request)) ? receive(pipe.get()) : "";
    if (answer.empty()) {
        throw std::runtime_error("the service at " + name + " does not answer");
    }
    return decode_answer(answer);
}

} // namespace tarn::vcard
