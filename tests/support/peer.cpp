#include "support/peer.h"

#include "support/temp_dir.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

namespace tarn::test {

namespace {

constexpr char kRoleVariable[] = "TARN_TEST_PEER";
constexpr char kArgumentsVariable[] = "TARN_TEST_PEER_ARGUMENTS"; // a line each

using Play = int (*)(const PeerArguments &);

std::map<std::string, Play> &roles() {
    static std::map<std::string, Play> all;
    return all;
}

std::string joined(const PeerArguments &arguments) {
    std::string text;
    for (const std::string &argument : arguments) {
        text += argument + "\n";
    }
    return text;
}

PeerArguments split(const char *text) {
    std::istringstream lines(text != nullptr ? text : "");
    PeerArguments arguments;
    for (std::string line; std::getline(lines, line);) {
        arguments.push_back(line);
    }
    return arguments;
}

ProcessOptions with_role(ProcessOptions options, const std::string &role,
                         const PeerArguments &arguments) {
    options.environment[kRoleVariable] = role;
    options.environment[kArgumentsVariable] = joined(arguments);
    return options;
}

// Plays the role instead of the tests.
class PeerEnvironment : public testing::Environment {
    void SetUp() override {
        const char *const role = std::getenv(kRoleVariable);
        if (role == nullptr) {
            return;
        }
        const auto found = roles().find(role);
        if (found == roles().end()) {
            std::fprintf(stderr, "no peer has the role %s\n", role);
            std::_Exit(127);
        }
        const int status = found->second(split(std::getenv(kArgumentsVariable)));
        std::fflush(nullptr);
        // A role that wants the library's clean-up calls exit() itself.
        std::_Exit(status);
    }
};

[[maybe_unused]] const testing::Environment *const registered =
    testing::AddGlobalTestEnvironment(new PeerEnvironment);

} // namespace

PeerRole::PeerRole(const char *name, Play play) {
    roles()[name] = play;
}

Peer::Peer(const std::string &role, const PeerArguments &arguments, const ProcessOptions &options)
    : process_(own_path(), {}, with_role(options, role, arguments)) {}

int Peer::join() {
    constexpr auto kTimeout = 2 * kPatience;
    ProcessResult result;
    if (!process_.wait(kTimeout, &result)) {
        kill();
        process_.wait(kTimeout, &result);
        ADD_FAILURE() << "a peer does not end";
    }
    if (result.status != 0 && result.status != kKilled) {
        std::fprintf(stderr, "%s%s", result.out.c_str(), result.err.c_str());
    }
    return result.status;
}

Flag::Flag() : path_(fresh_temp_path()), owned_(true) {}

Flag::~Flag() {
    if (owned_) {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
}

void Flag::raise() const {
    const std::ofstream file(path_);
    EXPECT_TRUE(file) << path_;
}

bool Flag::is_raised() const {
    std::error_code ignored;
    return std::filesystem::exists(path_, ignored);
}

bool Flag::wait() const {
    return eventually([this] { return is_raised(); });
}

void wait_for_the_end() {
    for (;;) {
        short_pause();
    }
}

} // namespace tarn::test
