#include "terminal.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarn::terminal {

namespace {

int g_output = -1;
volatile std::sig_atomic_t g_interrupted = 0;

// What the handler removes: it may call nothing that could be interrupted halfway, so the path
// lies ready.
std::array<char, 4096> g_leftover{};
std::atomic<bool> g_leaves_a_file{false};
constexpr int kEnds[] = {SIGINT, SIGTERM, SIGHUP};

void remove_and_end(int signal) {
    if (g_leaves_a_file) {
        unlink(g_leftover.data());
    }
    ::signal(signal, SIG_DFL);
    raise(signal); // what waits for this program learns that it was interrupted
}

// Only where nobody else has said what is to happen.
void install_removal() {
    for (const int signal : kEnds) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_DFL) {
            action.sa_handler = remove_and_end;
            sigaction(signal, &action, nullptr);
        }
    }
}

// Runs before the start-up code of any library, which may print as well. Plain system calls,
// because sanitizers have not set up their wrappers by then.
__attribute__((no_sanitize("address", "thread", "undefined"))) void redirect(int, char **,
                                                                             char **) {
    g_output = static_cast<int>(syscall(SYS_dup, STDOUT_FILENO));
    if (g_output >= 0) {
        syscall(SYS_dup2, STDERR_FILENO, STDOUT_FILENO);
    }
}

__attribute__((section(".preinit_array"), used)) void (*g_before_libraries)(int, char **,
                                                                            char **) = redirect;

} // namespace

FILE *take_output() {
    FILE *stream = g_output >= 0 ? fdopen(g_output, "w") : nullptr;
    return stream != nullptr ? stream : stdout;
}

bool is_terminal(FILE *stream) {
    return isatty(fileno(stream)) == 1;
}

Size size(FILE *stream) {
    winsize window{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &window) != 0 || window.ws_col == 0 ||
        window.ws_row == 0) {
        return {};
    }
    return {window.ws_col, window.ws_row};
}

void catch_interrupt() {
    struct sigaction action {};
    action.sa_handler = [](int) { g_interrupted = 1; };
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool interrupted() {
    return g_interrupted != 0;
}

void remove_on_interrupt(const std::string &path) {
    g_leaves_a_file = false;
    if (path.empty() || path.size() >= g_leftover.size()) {
        return;
    }
    std::memcpy(g_leftover.data(), path.c_str(), path.size() + 1);
    g_leaves_a_file = true;
    install_removal();
}

void set_binary(FILE *) {}

} // namespace tarn::terminal
