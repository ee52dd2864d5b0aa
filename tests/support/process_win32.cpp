#include "support/process.h"

#include "support/driver_version_win32.h"
#include "support/remote_thread_win32.h"
#include "support/temp_dir.h"
#include "support/wine_win32.h"
#include "vcard/host/command_line_win32.h"

#include <cstring>
#include <stdexcept>
#include <system_error>
#include <windows.h>

namespace tarn::test {

namespace {

[[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error(what + ": " +
                             std::system_category().message(static_cast<int>(GetLastError())));
}

class Handle {
  public:
    explicit Handle(HANDLE handle = nullptr) : handle_(handle) {}
    ~Handle() {
        if (handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE) {
            CloseHandle(handle_);
        }
    }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;

    HANDLE get() const { return handle_; }

  private:
    HANDLE handle_;
};

HANDLE open_temporary(const std::string &path, DWORD access, DWORD creation, bool inherited) {
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), nullptr, inherited ? TRUE : FALSE};
    const HANDLE file = CreateFileA(
        path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &attributes,
        creation, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        fail("cannot use " + path);
    }
    return file;
}

// A file that is gone with its last handle: a program can print any amount without anybody reading
// along. The child has a handle, and so a position, of its own.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string &content = {})
        : path_(fresh_temp_path().string()),
          mine_(open_temporary(path_, GENERIC_READ | GENERIC_WRITE | DELETE, CREATE_NEW, false)),
          childs_(
              open_temporary(path_, GENERIC_READ | GENERIC_WRITE | DELETE, OPEN_EXISTING, true)) {
        DWORD written = 0;
        if (WriteFile(mine_.get(), content.data(), static_cast<DWORD>(content.size()), &written,
                      nullptr) == FALSE) {
            fail("cannot write " + path_);
        }
    }

    HANDLE for_child() const { return childs_.get(); }

    std::string content() const {
        std::string text;
        char block[4096];
        for (;;) {
            OVERLAPPED position = {};
            position.Offset = static_cast<DWORD>(text.size());
            DWORD count = 0;
            if (ReadFile(mine_.get(), block, sizeof(block), &count, &position) == FALSE ||
                count == 0) {
                return text;
            }
            text.append(block, count);
        }
    }

  private:
    std::string path_;
    Handle mine_;
    Handle childs_;
};

// What the C run time makes of line ends on their way into a file, undone.
std::string as_written(const std::string &text) {
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n') {
            result += text[i];
        }
    }
    return result;
}

std::string command_line(const std::string &program, const std::vector<std::string> &arguments) {
    std::string line = vcard::quoted(program);
    for (const std::string &argument : arguments) {
        line += " " + vcard::quoted(argument);
    }
    return line;
}

struct IgnoreCase {
    bool operator()(const std::string &a, const std::string &b) const {
        return _stricmp(a.c_str(), b.c_str()) < 0;
    }
};

// The block of a new process: NAME=VALUE, each closed by a zero, and one more at the end.
std::string environment_block(const std::map<std::string, std::string> &added) {
    std::map<std::string, std::string, IgnoreCase> settings;
    char *const own = GetEnvironmentStringsA();
    for (const char *entry = own; *entry != '\0'; entry += std::strlen(entry) + 1) {
        const std::string setting = entry;
        const size_t equals = setting.find('=', 1); // "=C:" is a name as well
        settings[setting.substr(0, equals)] = setting.substr(equals + 1);
    }
    FreeEnvironmentStringsA(own);
    for (const auto &[name, value] : added) {
        settings[name] = value;
    }
    std::string block;
    for (const auto &[name, value] : settings) {
        block += name + "=" + value + '\0';
    }
    return block + '\0';
}

// Only a process that has a console can send Ctrl-Break, and only to one with the same console.
void have_console() {
    [[maybe_unused]] static const bool made = AllocConsole() != FALSE;
}

// A child leads a process group, which has its id. Wine has no console without a screen or a
// terminal, and the members of such a group hear nothing there.
DWORD group_flag() {
    return under_wine() ? 0 : CREATE_NEW_PROCESS_GROUP;
}

void send_break(ProcessId child, HANDLE process) {
    // Under Wine the call that the console would make. Wine's C runtime hears Ctrl-C only.
    const bool sent =
        under_wine()
            ? call_in_process(process, "kernelbase.dll", "CtrlRoutine",
                              reinterpret_cast<void *>(static_cast<uintptr_t>(CTRL_C_EVENT)))
            : GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, static_cast<DWORD>(child)) != FALSE;
    if (!sent) {
        fail("cannot interrupt the program");
    }
}

// By name: they are not in the import library.
void call_ntdll(const char *name, HANDLE process) {
    const FARPROC found = GetProcAddress(GetModuleHandleA("ntdll.dll"), name);
    LONG(NTAPI * function)(HANDLE) = nullptr;
    static_assert(sizeof(function) == sizeof(found));
    std::memcpy(&function, &found, sizeof(function));
    if (function == nullptr || function(process) < 0) {
        throw std::runtime_error(std::string(name) + " failed");
    }
}

// A handle of a process that still runs.
HANDLE open_running(ProcessId process, DWORD access) {
    const HANDLE handle = OpenProcess(access | SYNCHRONIZE, FALSE, static_cast<DWORD>(process));
    if (handle != nullptr && WaitForSingleObject(handle, 0) != WAIT_TIMEOUT) {
        CloseHandle(handle);
        return nullptr;
    }
    return handle;
}

} // namespace

const char *const kRuntimeVariable = "LOCALAPPDATA";

void short_pause() {
    Sleep(1);
}

std::filesystem::path program_path(const std::string &name) {
    return own_path().parent_path() / (name + ".exe");
}

// A path of the machine that built this; Wine shows that machine as drive Z.
std::filesystem::path source_path(const std::string &name) {
    const std::string root = TARN_SOURCE_DIR;
    return std::filesystem::path(root.starts_with('/') ? "Z:" + root : root) / name;
}

std::filesystem::path own_path() {
    char path[MAX_PATH] = {};
    if (GetModuleFileNameA(nullptr, path, sizeof(path) - 1) == 0) {
        fail("the program does not know its name");
    }
    return path;
}

ProcessId own_process() {
    return GetCurrentProcessId();
}

bool kill_process(ProcessId process) {
    const Handle handle(open_running(process, PROCESS_TERMINATE));
    return handle.get() != nullptr && TerminateProcess(handle.get(), kKilled) != FALSE;
}

bool process_exists(ProcessId process) {
    return Handle(open_running(process, 0)).get() != nullptr;
}

void set_environment(const std::string &name, const std::string &value) {
    _putenv_s(name.c_str(), value.c_str()); // sets the system's as well
}

struct BackgroundProcess::State {
    explicit State(const ProcessOptions &options) : in(options.input), binary(options.binary) {}
    ~State() {
        if (process != nullptr) {
            CloseHandle(process);
        }
    }
    State(const State &) = delete;
    State &operator=(const State &) = delete;

    TemporaryFile in;
    TemporaryFile out;
    TemporaryFile err;
    bool binary;
    HANDLE process = nullptr;
    ProcessId pid = 0;
    bool ended = false;
    int status = -1;

    bool look() {
        DWORD code = 0;
        if (!ended && WaitForSingleObject(process, 0) == WAIT_OBJECT_0 &&
            GetExitCodeProcess(process, &code) != FALSE) {
            ended = true;
            status = static_cast<int>(code);
        }
        return ended;
    }

    void not_started() {
        ended = true;
        status = 127;
    }
};

BackgroundProcess::BackgroundProcess(const std::filesystem::path &program,
                                     const std::vector<std::string> &arguments,
                                     const ProcessOptions &options)
    : state_(std::make_unique<State>(options)) {
    have_console();
    HANDLE inherited[] = {state_->in.for_child(), state_->out.for_child(), state_->err.for_child()};
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<char> storage(size);
    auto *const list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage.data());
    if (InitializeProcThreadAttributeList(list, 1, 0, &size) == FALSE ||
        UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited,
                                  sizeof(inherited), nullptr, nullptr) == FALSE) {
        fail("cannot pass handles on");
    }
    STARTUPINFOEXA startup = {};
    startup.StartupInfo.cb = sizeof(startup);
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = inherited[0];
    startup.StartupInfo.hStdOutput = inherited[1];
    startup.StartupInfo.hStdError = inherited[2];
    startup.lpAttributeList = list;
    std::string line = command_line(program.string(), arguments);
    std::string environment = environment_block(options.environment);
    const std::string directory = options.directory.string();
    PROCESS_INFORMATION child = {};
    const BOOL started = CreateProcessA(
        nullptr, line.data(), nullptr, nullptr, TRUE,
        CREATE_SUSPENDED | group_flag() | EXTENDED_STARTUPINFO_PRESENT, environment.data(),
        directory.empty() ? nullptr : directory.c_str(), &startup.StartupInfo, &child);
    DeleteProcThreadAttributeList(list);
    if (started == FALSE) {
        state_->not_started();
        return;
    }
    const Handle thread(child.hThread);
    state_->process = child.hProcess;
    state_->pid = child.dwProcessId;
    if (under_wine()) {
        inject_driver_version(child.hProcess);
    }
    ResumeThread(thread.get());
}

BackgroundProcess::~BackgroundProcess() {
    kill_now();
}

ProcessId BackgroundProcess::pid() const {
    return state_->pid;
}

bool BackgroundProcess::running() {
    return !state_->look();
}

void BackgroundProcess::send_signal(Signal signal) {
    if (!running()) {
        return;
    }
    switch (signal) {
    case Signal::kInterrupt:
    case Signal::kTerminate:
        send_break(state_->pid, state_->process);
        break;
    case Signal::kFreeze:
        call_ntdll("NtSuspendProcess", state_->process);
        break;
    case Signal::kThaw:
        call_ntdll("NtResumeProcess", state_->process);
        break;
    }
}

void BackgroundProcess::kill_now() {
    if (running()) {
        TerminateProcess(state_->process, kKilled);
    }
    while (!state_->look()) {
        short_pause();
    }
}

bool BackgroundProcess::wait(std::chrono::milliseconds timeout, ProcessResult *result) {
    if (!eventually([this] { return state_->look(); }, timeout)) {
        return false;
    }
    if (result != nullptr) {
        *result = {state_->status, false, out(), err()};
    }
    return true;
}

std::string BackgroundProcess::out() {
    return state_->binary ? state_->out.content() : as_written(state_->out.content());
}

std::string BackgroundProcess::err() {
    return state_->binary ? state_->err.content() : as_written(state_->err.content());
}

} // namespace tarn::test
