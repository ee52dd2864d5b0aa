#include "support/process.h"

namespace tarn::test {

bool BackgroundProcess::wait_for_output(const std::string &text,
                                        std::chrono::milliseconds timeout) {
    bool ended = false;
    const auto found = [this, &text] { return out().find(text) != std::string::npos; };
    eventually(
        [&] {
            ended = !running();
            return ended || found();
        },
        timeout);
    return found();
}

ProcessResult run_program(const std::filesystem::path &program,
                          const std::vector<std::string> &arguments,
                          const ProcessOptions &options) {
    BackgroundProcess process(program, arguments, options);
    ProcessResult result;
    if (!process.wait(options.timeout, &result)) {
        process.kill_now();
        process.wait(options.timeout, &result);
        result.timed_out = true;
    }
    return result;
}

} // namespace tarn::test
