#include "vcard/program/service.h"

#include "vcard/host/runtime_directory_linux.h"
#include "vcard/host/server.h"
#include "vcard/program/card_options.h"
#include "vcard/program/control.h"
#include "vcard/program/fault.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <functional>
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

std::string log_path(const std::string &directory) {
    return directory + "/tarn-vcard.log";
}

void log_line(const std::string &line) {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    char stamp[32];
    std::strftime(stamp, sizeof(stamp), "%F %T", &local);
    std::fprintf(stderr, "%s %s\n", stamp, line.c_str());
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

std::string card_line(size_t index, const CardConfig &card) {
    return "card " + std::to_string(index) + ": name " + card.name + ", alias " +
           std::to_string(card.alias) + ", model " + card.model + ", firmware " +
           card.firmware_version + ", " + std::to_string(card.channels) +
           (card.channels == 1 ? " channel" : " channels") + ", " +
           std::to_string(card.rings.slots) + " x " + std::to_string(card.rings.slot_size) +
           " bytes, generation " + std::to_string(card.generation) + "\n";
}

std::string indented(const std::string &text) {
    std::string result;
    bool line_start = true;
    for (const char c : text) {
        result += line_start ? "  " : "";
        result += c;
        line_start = c == '\n';
    }
    return result;
}

class Service {
  public:
    explicit Service(const ServiceOptions &options)
        : server_({options.cards, options.directory, options.driver_version, log_line}),
          control_(
              options.directory, [this](const ControlRequest &request) { return handle(request); },
              [](const ControlRequest &request) {
                  if (request.front() == "die") {
                      kill(getpid(), SIGKILL);
                  }
              }) {}

  private:
    ControlAnswer handle(const ControlRequest &request) {
        const std::string &command = request.front();
        if (command == "status") {
            return {true, status()};
        }
        if (command == "fault" && request.size() > 3) {
            const uint32_t card = parse_number("card", request[1]);
            if (card >= server_.card_count()) {
                throw std::invalid_argument("there is no card " + request[1]);
            }
            set_fault(server_.card(card), parse_number("channel", request[2]),
                      {request.begin() + 3, request.end()});
            return {true, ""};
        }
        return {command == "die", "unknown request"};
    }

    std::string status() {
        std::string text;
        for (size_t i = 0; i < server_.card_count(); ++i) {
            text += card_line(i, server_.card(i).config());
            text += indented(server_.card(i).describe());
        }
        return text;
    }

    Server server_;
    ControlServer control_;
};

// Serves until a signal comes; `ready` is called once the cards can be opened.
void serve(const ServiceOptions &options, const std::function<void()> &ready) {
    const sigset_t signals = end_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    raise_descriptor_limit();
    const Service service(options);
    ready();
    int signal = 0;
    sigwait(&signals, &signal);
    log_line("ended by signal " + std::to_string(signal));
}

// The background process's end of the pipe to the one that started it. One byte, '+' or '-', and
// the text of an error.
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
        serve(options, [&starter] { starter.report("+"); });
    } catch (const std::invalid_argument &error) {
        starter.report(std::string("?") + error.what());
        status = 1;
    } catch (const std::exception &error) {
        starter.report(std::string("-") + error.what());
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

void run_service(const ServiceOptions &options) {
    serve(options, [&options] {
        std::printf("serving %zu card%s in %s; Ctrl-C ends it\n", options.cards.size(),
                    options.cards.size() == 1 ? "" : "s", options.directory.c_str());
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
    if (report.empty()) {
        throw std::runtime_error("the service ended before the cards were ready; see " +
                                 log_path(options.directory));
    }
    if (report.front() == '?') {
        throw std::invalid_argument(report.substr(1));
    }
    if (report.front() == '-') {
        throw std::runtime_error(report.substr(1));
    }
    std::printf("tarn-vcard started (process %d): %zu card%s in %s, log in %s\n",
                static_cast<int>(child), options.cards.size(), options.cards.size() == 1 ? "" : "s",
                options.directory.c_str(), log_path(options.directory).c_str());
}

void stop_service(const std::string &directory) {
    const std::optional<pid_t> owner = runtime_owner(directory);
    if (!owner) {
        throw std::runtime_error("no service runs in " + directory);
    }
    if (*owner <= 0 || kill(*owner, SIGTERM) != 0) {
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

bool print_status(const std::string &directory) {
    const std::optional<pid_t> owner = runtime_owner(directory);
    if (!owner) {
        std::printf("tarn-vcard is not running in %s\n", directory.c_str());
        return false;
    }
    const ControlAnswer answer = ask_service(directory, {"status"});
    std::printf("tarn-vcard runs (process %d) in %s\n%s", static_cast<int>(*owner),
                directory.c_str(), answer.text.c_str());
    return answer.ok;
}

void send_fault(const std::string &directory, uint32_t card, uint32_t channel,
                const std::vector<std::string> &words) {
    ControlRequest request = {"fault", std::to_string(card), std::to_string(channel)};
    if (words.front() == "die") {
        request = {"die"};
    } else {
        request.insert(request.end(), words.begin(), words.end());
    }
    const ControlAnswer answer = ask_service(directory, request);
    if (!answer.ok) {
        throw std::runtime_error(answer.text);
    }
}

} // namespace tarn::vcard
