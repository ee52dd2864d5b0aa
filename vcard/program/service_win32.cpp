#include "vcard/program/service.h"

#include "vcard/host/command_line_win32.h"
#include "vcard/host/runtime_directory.h"
#include "vcard/program/program_path_win32.h"
#include "vcard/program/service_core.h"

#include <windows.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace tarn::vcard {

namespace {

constexpr auto kEndTimeout = std::chrono::seconds(10);
constexpr DWORD kCloseTimeoutMs = 5000; // what the system grants when a console is closed

// In the environment of a background process: its end of the pipe to the one that started it.
constexpr char kStarterVariable[] = "TARN_VCARD_STARTER";

[[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error(what + ": " +
                             std::system_category().message(static_cast<int>(GetLastError())));
}

// ---- the end -----------------------------------------------------------------------------------

// Set when the service is to end, and when it has.
HANDLE g_end = nullptr;
HANDLE g_ended = nullptr;

const char *name_of(DWORD event) {
    switch (event) {
    case CTRL_C_EVENT:
        return "Ctrl-C";
    case CTRL_BREAK_EVENT:
        return "Ctrl-Break";
    case CTRL_CLOSE_EVENT:
        return "the end of its console";
    default:
        return "the end of the session";
    }
}

// On a thread of the system. After a return from the last three the process is ended.
BOOL WINAPI on_console_event(DWORD event) {
    log_line(std::string("ended by ") + name_of(event));
    SetEvent(g_end);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        WaitForSingleObject(g_ended, kCloseTimeoutMs);
    }
    return TRUE;
}

// Serves until a console event or a client asks for the end; `ready` is called once the cards can
// be opened.
template <typename Ready>
void serve(const ServiceOptions &options, Ready ready) {
    g_end = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    g_ended = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (g_end == nullptr || g_ended == nullptr ||
        SetConsoleCtrlHandler(on_console_event, TRUE) == FALSE) {
        fail("cannot take console events");
    }
    make_runtime_directory(options.directory, false);
    {
        const RuntimeOwnership ownership(options.directory);
        const Service service(options, [] {
            log_line("ended by a client");
            SetEvent(g_end);
        });
        ready();
        WaitForSingleObject(g_end, INFINITE);
    }
    SetEvent(g_ended);
}

// ---- the background process
// ----------------------------------------------------------------------

// The background process's end of the pipe; none in a process that runs in the foreground.
class Starter {
  public:
    Starter() {
        const char *const number = std::getenv(kStarterVariable);
        if (number != nullptr) {
            pipe_ = reinterpret_cast<HANDLE>(std::strtoull(number, nullptr, 10));
        }
    }
    [[nodiscard]] bool waits() const { return pipe_ != nullptr; }
    void report(const std::string &text) {
        DWORD written = 0;
        WriteFile(pipe_, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        CloseHandle(pipe_);
        pipe_ = nullptr;
    }

  private:
    HANDLE pipe_ = nullptr;
};

void be_service(const ServiceOptions &options, Starter &starter) {
    try {
        // It must not hold on to the folder it was started in.
        SetCurrentDirectoryA(options.directory.c_str());
        serve(options, [&starter] { starter.report(StartReport::ready()); });
    } catch (const std::exception &error) {
        if (starter.waits()) {
            starter.report(StartReport::failed(error));
        }
        throw; // into the log
    }
}

class Handle {
  public:
    Handle() = default;
    explicit Handle(HANDLE handle) : handle_(handle) {}
    ~Handle() { reset(); }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
    [[nodiscard]] HANDLE get() const { return handle_; }
    HANDLE *out() { return &handle_; }
    void reset() {
        if (handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE) {
            CloseHandle(handle_);
        }
        handle_ = nullptr;
    }

  private:
    HANDLE handle_ = nullptr;
};

// For the background process, which inherits it.
HANDLE open_inherited(const char *path, DWORD access, DWORD creation) {
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    const HANDLE file = CreateFileA(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                    creation, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        fail(std::string("cannot use ") + path);
    }
    return file;
}

// Passes exactly these handles to a new process.
class InheritedHandles {
  public:
    explicit InheritedHandles(std::array<HANDLE, 3> handles) : handles_(handles) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        storage_.resize(size);
        if (InitializeProcThreadAttributeList(list(), 1, 0, &size) == FALSE ||
            UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                      sizeof(handles_), nullptr, nullptr) == FALSE) {
            fail("cannot start the service");
        }
    }
    ~InheritedHandles() { DeleteProcThreadAttributeList(list()); }
    InheritedHandles(const InheritedHandles &) = delete;
    InheritedHandles &operator=(const InheritedHandles &) = delete;
    LPPROC_THREAD_ATTRIBUTE_LIST list() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage_.data());
    }

  private:
    std::array<HANDLE, 3> handles_;
    std::string storage_;
};

// Starts this program once more, as "run" with the arguments of "start". Returns its number.
DWORD start_process(const ServiceOptions &options, HANDLE starter) {
    std::string line = quoted(program_path()) + " run";
    for (const std::string &argument : options.arguments) {
        line += " " + quoted(argument);
    }
    const Handle null(open_inherited("NUL", GENERIC_READ, OPEN_EXISTING));
    const Handle log(
        open_inherited(log_path(options.directory).c_str(), FILE_APPEND_DATA, OPEN_ALWAYS));
    InheritedHandles handles({null.get(), log.get(), starter});
    STARTUPINFOEXA startup = {};
    startup.StartupInfo.cb = sizeof(startup);
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = null.get();
    startup.StartupInfo.hStdOutput = log.get();
    startup.StartupInfo.hStdError = log.get();
    startup.lpAttributeList = handles.list();
    SetEnvironmentVariableA(kStarterVariable,
                            std::to_string(reinterpret_cast<uintptr_t>(starter)).c_str());
    PROCESS_INFORMATION child = {};
    const BOOL started =
        CreateProcessA(program_path().c_str(), line.data(), nullptr, nullptr, TRUE,
                       DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP | EXTENDED_STARTUPINFO_PRESENT,
                       nullptr, nullptr, &startup.StartupInfo, &child);
    if (started == FALSE) {
        fail("cannot start the service");
    }
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
    return child.dwProcessId;
}

std::string read_all(HANDLE pipe) {
    std::string text;
    char block[512];
    DWORD count = 0;
    while (ReadFile(pipe, block, sizeof(block), &count, nullptr) != FALSE && count > 0) {
        text.append(block, count);
    }
    return text;
}

} // namespace

void die() {
    TerminateProcess(GetCurrentProcess(), 1);
    std::abort(); // the end of one's own process is not refused
}

void run_service(const ServiceOptions &options) {
    Starter starter;
    if (starter.waits()) {
        be_service(options, starter);
        return;
    }
    serve(options, [&options] {
        std::printf("serving %s; Ctrl-C ends it\n", what_is_served(options).c_str());
        std::fflush(stdout);
    });
}

void start_service(const ServiceOptions &options) {
    make_runtime_directory(options.directory, false);
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    Handle from;
    Handle to;
    if (CreatePipe(from.out(), to.out(), &inherited, 0) == FALSE ||
        SetHandleInformation(from.get(), HANDLE_FLAG_INHERIT, 0) == FALSE) {
        fail("cannot start the service");
    }
    const DWORD child = start_process(options, to.get());
    to.reset();
    StartReport::check(read_all(from.get()), options);
    std::printf("tarn-vcard started (process %lu): %s, log in %s\n", child,
                what_is_served(options).c_str(), log_path(options.directory).c_str());
}

void stop_service(const std::string &directory) {
    const std::optional<int64_t> owner = runtime_owner(directory);
    const ControlAnswer answer = ask_service(directory, {"stop"});
    if (!owner || !answer.ok) {
        throw std::runtime_error("the service in " + directory + " does not end: " + answer.text);
    }
    const auto end = std::chrono::steady_clock::now() + kEndTimeout;
    while (runtime_owner(directory) == owner) {
        if (std::chrono::steady_clock::now() >= end) {
            throw std::runtime_error("process " + std::to_string(*owner) +
                                     " does not end; end it with: taskkill /F /PID " +
                                     std::to_string(*owner));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::printf("tarn-vcard stopped (process %lld)\n", static_cast<long long>(*owner));
}

} // namespace tarn::vcard
