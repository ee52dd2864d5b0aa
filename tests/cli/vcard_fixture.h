// tarn-vcard in a runtime folder of its own.
#pragma once

#include "support/process.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace tarn::test {

class Vcard : public testing::Test {
  protected:
    Vcard() {
        std::filesystem::create_directory(runtime());
        std::filesystem::permissions(runtime(), std::filesystem::perms::owner_all);
    }
    ~Vcard() override { run({"stop"}); }

    std::filesystem::path runtime() const { return folder_.path() / "run"; }
    // Pid file and log; on Linux the sockets as well.
    std::filesystem::path service_dir() const { return runtime() / "pci_tarn"; }
    std::string file(const std::string &name) const { return (folder_.path() / name).string(); }

    ProcessOptions options() const {
        ProcessOptions options;
        options.environment[kRuntimeVariable] = runtime().string();
        return options;
    }
    ProcessResult run(const std::vector<std::string> &arguments) const {
        return run_program(program_path("tarn-vcard"), arguments, options());
    }
    void expect_usage_error(const std::vector<std::string> &arguments, const char *text) const {
        const ProcessResult result = run(arguments);
        EXPECT_EQ(result.status, 2) << result.out;
        EXPECT_THAT(result.out + result.err, testing::HasSubstr(text));
    }
    ProcessId service_pid() const {
        std::ifstream stream(service_dir() / "tarn-vcard.pid");
        ProcessId pid = 0;
        stream >> pid;
        return pid;
    }
    // How many cards a program finds.
    int cards_found() const {
        const std::string list = run_program(program_path("tarn"), {"boards"}, options()).out;
        int count = 0;
        while (list.find("ID" + std::to_string(count) + " ") != std::string::npos) {
            ++count;
        }
        return count;
    }

    TempDir folder_;
};

} // namespace tarn::test
