#include "terminal.h"

#include <atomic>
#include <fcntl.h>
#include <io.h>
#include <mutex>
#include <windows.h>

namespace tarn::terminal {

namespace {

std::atomic<bool> g_interrupted{false};
std::atomic<bool> g_catches{false}; // an interrupt does not end the program

HANDLE console_of(FILE *stream) {
    return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
}

// What the handler, which runs in a thread of its own, removes.
std::mutex g_leftover_mutex;
std::string g_leftover;

// Runs before the system ends the program. A file that is being written cannot be removed, so this
// tries for a while.
BOOL WINAPI remove_leftover(DWORD) {
    if (g_catches) {
        return FALSE;
    }
    const std::lock_guard lock(g_leftover_mutex);
    constexpr int kTries = 100;
    for (int i = 0; i < kTries && !g_leftover.empty(); ++i) {
        if (DeleteFileA(g_leftover.c_str()) != 0 || GetLastError() == ERROR_FILE_NOT_FOUND) {
            break;
        }
        Sleep(10);
    }
    return FALSE; // the system goes on
}

BOOL WINAPI on_control(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        return FALSE;
    }
    g_interrupted = true;
    return TRUE;
}

} // namespace

FILE *take_output() {
    const int output = _dup(1);
    if (output < 0) {
        return stdout;
    }
    _dup2(2, 1);
    FILE *stream = _fdopen(output, "w");
    return stream != nullptr ? stream : stdout;
}

bool is_terminal(FILE *stream) {
    DWORD mode = 0;
    const HANDLE console = console_of(stream);
    return GetConsoleMode(console, &mode) != 0 &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

Size size(FILE *stream) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(console_of(stream), &info) == 0) {
        return {};
    }
    return {static_cast<unsigned>(info.srWindow.Right - info.srWindow.Left + 1),
            static_cast<unsigned>(info.srWindow.Bottom - info.srWindow.Top + 1)};
}

void catch_interrupt() {
    g_catches = true;
    SetConsoleCtrlHandler(on_control, TRUE);
}

bool interrupted() {
    return g_interrupted;
}

void remove_on_interrupt(const std::string &path) {
    static const bool installed = SetConsoleCtrlHandler(remove_leftover, TRUE) != 0;
    const std::lock_guard lock(g_leftover_mutex);
    g_leftover = installed ? path : "";
}

void set_binary(FILE *stream) {
    _setmode(_fileno(stream), _O_BINARY);
}

} // namespace tarn::terminal
