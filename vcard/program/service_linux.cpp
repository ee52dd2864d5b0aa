#include "vcard/program/service.h"

#include "vcard/host/runtime_directory.h"
#include "vcard/program/service_core.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <optional>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace tarn::vcard {

namespace {

constexpr auto kEndTimeout = std::chrono::seconds(10);

[[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

// Every client costs a dozen descriptors.
void raise_descriptor_limit() {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// Signals that end the service. They are blocked in all threads and taken by one that waits.
sigset_t end_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    return signals;
}

// Serves until a signal comes; `ready` is called once the cards can be opened.
void serve(const ServiceOptions &options, const std::function<void()> &ready) {
    const sigset_t signals = end_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    raise_descriptor_limit();
    const Service service(options, [] { kill(getpid(), SIGTERM); });
    ready();
    int signal = 0;
    sigwait(&signals, &signal);
    log_line("ended by signal " + std::to_string(signal));
}

// The background process's end of the pipe to the one that started it.
class Starter {
  public:
    explicit Starter(int pipe) : pipe_(pipe) {}
    void report(const std::string &text) {
        if (pipe_ >= 0) {
            [[maybe_unused]] const ssize_t count = write(pipe_, text.data(), text.size());
            close(pipe_);
            pipe_ = -1;
        }
    }

  private:
    int pipe_;
};

void redirect_output(const std::string &log) {
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    const int file =
        open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (null < 0 || file < 0) {
        fail("cannot write " + log);
    }
    dup2(null, STDIN_FILENO);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    close(null);
    close(file);
}

// The background process, from its fork to its end.
[[noreturn]] void be_service(const ServiceOptions &options, Starter starter) {
    int status = 0;
    try {
        setsid();
        redirect_output(log_path(options.directory));
        if (chdir("/") != 0) {
            fail("cannot leave the current folder");
        }
        serve(options, [&starter] { starter.report(StartReport::ready()); });
    } catch (const std::exception &error) {
        starter.report(StartReport::failed(error));
        status = 1;
    }
    std::fflush(nullptr);
    _exit(status);
}

std::string read_all(int fd) {
    std::string text;
    char block[512];
    ssize_t count = 0;
    while ((count = read(fd, block, sizeof(block))) > 0) {
        text.append(block, static_cast<size_t>(count));
    }
    return text;
}

} // namespace

void die() {
    kill(getpid(), SIGKILL);
    std::abort(); // the kill is not refused
}

void run_service(const ServiceOptions &options) {
    serve(options, [&options] {
        std::printf("serving %s; Ctrl-C ends it\n", what_is_served(options).c_str());
        std::fflush(stdout);
    });
}

void start_service(const ServiceOptions &options) {
    make_runtime_directory(options.directory, options.directory == user_runtime_directory());
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail("cannot start the service");
    }
    const pid_t child = fork();
    if (child < 0) {
        fail("cannot start the service");
    }
    if (child == 0) {
        close(ends[0]);
        be_service(options, Starter(ends[1]));
    }
    close(ends[1]);
    const std::string report = read_all(ends[0]);
    close(ends[0]);
    StartReport::check(report, options);
    std::printf("tarn-vcard started (process %d): %s, log in %s\n", static_cast<int>(child),
                what_is_served(options).c_str(), log_path(options.directory).c_str());
}

void stop_service(const std::string &directory) {
    const std::optional<int64_t> owner = runtime_owner(directory);
    if (!owner) {
        throw std::runtime_error("no service runs in " + directory);
    }
    if (*owner <= 0 || kill(static_cast<pid_t>(*owner), SIGTERM) != 0) {
        fail("cannot end process " + std::to_string(*owner));
    }
    const auto end = std::chrono::steady_clock::now() + kEndTimeout;
    while (runtime_owner(directory) == owner) {
        if (std::chrono::steady_clock::now() >= end) {
            throw std::runtime_error("process " + std::to_string(*owner) +
                                     " does not end; end it with: kill -KILL " +
                                     std::to_string(*owner));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::printf("tarn-vcard stopped (process %d)\n", static_cast<int>(*owner));
}

} // namespace tarn::vcard
