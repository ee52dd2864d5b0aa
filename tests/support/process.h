// Other programs, as a user runs them.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tarn::test {

using ProcessId = int64_t;

// How long tests wait for what comes at once on a free machine: only a hang takes longer, also
// where a sanitizer or Wine runs them and other tests run beside them.
inline constexpr std::chrono::seconds kPatience{60};

// What a test does to a program that runs. Windows knows one way to ask a program for its end
// (Ctrl-Break), so the first two are the same there.
enum class Signal { kInterrupt, kTerminate, kFreeze, kThaw };

struct ProcessOptions {
    std::map<std::string, std::string> environment;    // added to the test's own
    std::string input;                                 // standard input; run_program() only
    std::filesystem::path directory;                   // working folder; empty: the test's own
    bool binary = false;                               // output is no text: line ends stay
    std::chrono::milliseconds timeout = 2 * kPatience; // run_program() only: killed after it
};

struct ProcessResult {
    int status = -1; // exit status; kKilled after kill_now(), 127 when it could not be started
    bool timed_out = false;
    std::string out; // text: line ends are "\n" as in the program's source, on both systems
    std::string err;
};

// Exit status of a program that was killed.
inline constexpr int kKilled = 128 + 9;

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

    ProcessId pid() const;
    bool running();
    void send_signal(Signal signal);
    // Kills it at once and waits for its end.
    void kill_now();
    // Waits for its end; false on time-out. `result` gets what it printed and its exit status.
    bool wait(std::chrono::milliseconds timeout, ProcessResult *result = nullptr);
    // Waits until its standard output contains `text`; false on time-out or when it ends first.
    bool wait_for_output(const std::string &text, std::chrono::milliseconds timeout = kPatience);
    // What it has printed so far.
    std::string out();
    std::string err();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// The program that the test itself is.
std::filesystem::path own_path();

// Id of the test's own process.
ProcessId own_process();

// Ends any process at once, whoever started it. False when there is none.
bool kill_process(ProcessId process);

// Whether there is such a process.
bool process_exists(ProcessId process);

// Sets a variable of the test's own environment.
void set_environment(const std::string &name, const std::string &value);

// The variable under whose folder the virtual card keeps its runtime folder "pci_tarn".
extern const char *const kRuntimeVariable;

// Sleeps a millisecond; what eventually() does between two looks.
void short_pause();

// Looks at `condition` until it is true; false on time-out.
template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds timeout = kPatience) {
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
