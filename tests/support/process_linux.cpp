#include "support/process.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace tarn::test {

namespace {

// A file in memory: a program can print any amount without anybody reading along.
class MemoryFile {
  public:
    explicit MemoryFile(const std::string &content = {})
        : fd_(memfd_create("tarn-test", MFD_CLOEXEC)) {
        if (fd_ < 0 || write(fd_, content.data(), content.size()) < 0 ||
            lseek(fd_, 0, SEEK_SET) != 0) {
            throw std::runtime_error(std::strerror(errno));
        }
    }
    ~MemoryFile() { close(fd_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    int fd() const { return fd_; }
    std::string content() const {
        std::string text;
        char block[4096];
        ssize_t count = 0;
        while ((count = pread(fd_, block, sizeof(block), static_cast<off_t>(text.size()))) > 0) {
            text.append(block, static_cast<size_t>(count));
        }
        return text;
    }

  private:
    int fd_;
};

} // namespace

const char *const kRuntimeVariable = "XDG_RUNTIME_DIR";

void short_pause() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

std::filesystem::path program_path(const std::string &name) {
    return std::filesystem::path(TARN_BIN_DIR) / name;
}

std::filesystem::path source_path(const std::string &name) {
    return std::filesystem::path(TARN_SOURCE_DIR) / name;
}

std::filesystem::path own_path() {
    return std::filesystem::read_symlink("/proc/self/exe");
}

ProcessId own_process() {
    return getpid();
}

bool kill_process(ProcessId process) {
    return kill(static_cast<pid_t>(process), SIGKILL) == 0;
}

bool process_exists(ProcessId process) {
    return kill(static_cast<pid_t>(process), 0) == 0;
}

void set_environment(const std::string &name, const std::string &value) {
    setenv(name.c_str(), value.c_str(), 1);
}

struct BackgroundProcess::State {
    explicit State(const std::string &input) : in(input) {}

    MemoryFile in;
    MemoryFile out;
    MemoryFile err;
    pid_t pid = -1;
    bool ended = false;
    int status = -1;

    bool look() {
        int raw = 0;
        if (!ended && waitpid(pid, &raw, WNOHANG) == pid) {
            ended = true;
            status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
        }
        return ended;
    }
};

BackgroundProcess::BackgroundProcess(const std::filesystem::path &program,
                                     const std::vector<std::string> &arguments,
                                     const ProcessOptions &options)
    : state_(std::make_unique<State>(options.input)) {
    // Everything is made before the fork: the test may have threads.
    std::vector<std::string> words = {program.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    std::vector<std::string> settings;
    for (char **entry = environ; *entry != nullptr; ++entry) {
        const std::string setting = *entry;
        if (options.environment.count(setting.substr(0, setting.find('='))) == 0) {
            settings.push_back(setting);
        }
    }
    for (const auto &[name, value] : options.environment) {
        settings.push_back(name + "=" + value);
    }
    std::vector<char *> envp;
    for (std::string &setting : settings) {
        envp.push_back(setting.data());
    }
    envp.push_back(nullptr);
    const std::string directory = options.directory.string();

    state_->pid = fork();
    if (state_->pid < 0) {
        throw std::runtime_error(std::strerror(errno));
    }
    if (state_->pid == 0) {
        if (!directory.empty() && chdir(directory.c_str()) != 0) {
            _exit(127);
        }
        dup2(state_->in.fd(), STDIN_FILENO);
        dup2(state_->out.fd(), STDOUT_FILENO);
        dup2(state_->err.fd(), STDERR_FILENO);
        execvpe(argv[0], argv.data(), envp.data());
        _exit(127);
    }
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
    constexpr int kNumbers[] = {SIGINT, SIGTERM, SIGSTOP, SIGCONT};
    if (running()) {
        kill(state_->pid, kNumbers[static_cast<int>(signal)]);
    }
}

void BackgroundProcess::kill_now() {
    if (running()) {
        kill(state_->pid, SIGKILL);
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
    return state_->out.content();
}

std::string BackgroundProcess::err() {
    return state_->err.content();
}

} // namespace tarn::test
