// Processes of the test program's own that play a role beside a test.
//
//   TARN_PEER(reader) {                       // in any source file of the program
//       EcatHandle *handle = open_channel(arguments.at(0));
//       return handle != nullptr ? 0 : 1;     // exit status
//   }
//   ...
//   test::Peer peer("reader", {"0"});         // runs until join() or kill()
//   EXPECT_EQ(peer.join(), 0);
//
// A peer is started anew, nothing of the test's memory is in it: it loads the library for itself.
// It has the working folder and the environment that the test has when it starts the peer.
#pragma once

#include "support/process.h"

#include <filesystem>
#include <string>
#include <vector>

namespace tarn::test {

using PeerArguments = std::vector<std::string>;

class Peer {
  public:
    explicit Peer(const std::string &role, const PeerArguments &arguments = {},
                  const ProcessOptions &options = {});

    // Waits for its end. Exit status; kKilled after kill().
    int join();
    // Ends it at once.
    void kill() { process_.kill_now(); }

    BackgroundProcess &process() { return process_; }

  private:
    BackgroundProcess process_;
};

// A signal from one process to others: a file that is there or not.
class Flag {
  public:
    // A new one, which is not raised; removed at destruction.
    Flag();
    // The one that another process made and told the name of.
    explicit Flag(std::string name) : path_(std::move(name)), owned_(false) {}
    ~Flag();
    Flag(const Flag &) = delete;
    Flag &operator=(const Flag &) = delete;

    std::string name() const { return path_.string(); }
    void raise() const;
    bool is_raised() const;
    // False on time-out.
    bool wait() const;

  private:
    std::filesystem::path path_;
    bool owned_;
};

// Waits to be killed.
[[noreturn]] void wait_for_the_end();

struct PeerRole {
    PeerRole(const char *name, int (*play)(const PeerArguments &));
};

} // namespace tarn::test

#define TARN_PEER(name)                                                                            \
    static int tarn_peer_##name(const ::tarn::test::PeerArguments &arguments);                     \
    static const ::tarn::test::PeerRole tarn_peer_role_##name(#name, tarn_peer_##name);            \
    static int tarn_peer_##name([[maybe_unused]] const ::tarn::test::PeerArguments &arguments)
