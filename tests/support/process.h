// Other programs, as a user runs them (Linux only).
#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tarn::test {

struct ProcessOptions {
    std::map<std::string, std::string> environment; // added to the test's own
    std::string input;                              // standard input; run_program() only
    std::filesystem::path directory;                // working folder; empty: the test's own
    std::chrono::milliseconds timeout{60000};       // run_program() only: killed after it
};

struct ProcessResult {
    int status = -1; // exit status; 128 + number when a signal ended it
    bool timed_out = false;
    std::string out;
    std::string err;
};

// Path of a program of this build, as "tarn" or "tarn-vcard".
std::filesystem::path program_path(const std::string &name);

// Path of a file or folder of the source tree, as "examples/eni".
std::filesystem::path source_path(const std::string &name);

// Runs a program to its end. `program` is a path or a name in PATH.
ProcessResult run_program(const std::filesystem::path &program,
                          const std::vector<std::string> &arguments,
                          const ProcessOptions &options = {});

// A program that runs beside the test. Killed at destruction.
class BackgroundProcess {
  public:
    BackgroundProcess(const std::filesystem::path &program,
                      const std::vector<std::string> &arguments,
                      const ProcessOptions &options = {});
    ~BackgroundProcess();
    BackgroundProcess(const BackgroundProcess &) = delete;
    BackgroundProcess &operator=(const BackgroundProcess &) = delete;

    pid_t pid() const;
    bool running();
    void send_signal(int number);
    // Kills it at once and waits for its end.
    void kill_now();
    // Waits for its end; false on time-out. `result` gets what it printed and its exit status.
    bool wait(std::chrono::milliseconds timeout, ProcessResult *result = nullptr);
    // Waits until its standard output contains `text`; false on time-out or when it ends first.
    bool wait_for_output(const std::string &text,
                         std::chrono::milliseconds timeout = std::chrono::seconds(20));
    // What it has printed so far.
    std::string out();
    std::string err();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// Sleeps a millisecond; what eventually() does between two looks.
void short_pause();

// Looks at `condition` until it is true; false on time-out.
template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        short_pause();
    }
    return true;
}

} // namespace tarn::test
