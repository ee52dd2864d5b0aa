// The memory object that holds the named locks on Linux: who may use it, and what becomes of it
// when the processes that make it die. Each test has an empty folder of such objects of its own.
#include "pci_tarn/pci_tarn.h"
#include "support/peer.h"
#include "support/program/own_locks_linux.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using tarn::test::Peer;

constexpr int kCannotIsolate = 77;

pid_t start(const std::function<int()> &body) {
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(body());
    }
    return pid;
}

// Exit status; 128 and more when a signal ended the process.
int finish(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Opens the locks when it is loaded, as every program does, and takes every one of every table.
TARN_PEER(user_of_all_locks) {
    for (uint32_t board = 0; board < 16; ++board) {
        for (uint32_t channel = 0; channel < 2; ++channel) {
            for (uint32_t index = 0; index < 5; ++index) {
                void *lock = index < 2   ? getMutex_mailbox(board, channel, index)
                             : index < 4 ? getMutex_sock(board, channel, index - 2)
                                         : getMutex_pi(board, channel, index);
                if (lock == nullptr) {
                    return 1;
                }
                driverLock(lock);
                driverUnlock(lock);
            }
        }
    }
    return 0;
}

TARN_PEER(program_without_locks) {
    return getMutex_mailbox(0, 0, 0) == nullptr && getMutex_pi(15, 1, 4) == nullptr ? 0 : 1;
}

int run_peer(const char *role) {
    return Peer(role).join();
}

std::string user_object() {
    return "/dev/shm/pci_tarn_locks_v1_" + std::to_string(geteuid());
}

std::string content(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool isolate() {
    const int user = geteuid() == 0 ? 0 : CLONE_NEWUSER;
    return unshare(user | CLONE_NEWNS) == 0 &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", "/dev/shm", "tmpfs", 0, nullptr) == 0 &&
           mkdir(tarn::test::kOwnLocksMark, 0700) == 0;
}

// Runs a body in a process with an empty folder of shared memory objects of its own.
int in_fresh_system(const std::function<int()> &body) {
    return finish(start([&] { return isolate() ? body() : kCannotIsolate; }));
}

#define EXPECT_IN_FRESH_SYSTEM(...)                                                                \
    do {                                                                                           \
        const tarn::test::TempDir folder;                                                          \
        const int result_of_body = in_fresh_system(__VA_ARGS__);                                   \
        if (result_of_body == kCannotIsolate) {                                                    \
            GTEST_SKIP() << "this process may not have a file system of its own";                  \
        }                                                                                          \
        EXPECT_EQ(result_of_body, 0);                                                              \
    } while (false)

TEST(NamedLockObject, BelongsToTheUserAlone) {
    EXPECT_IN_FRESH_SYSTEM([] {
        if (run_peer("user_of_all_locks") != 0) {
            return 1;
        }
        struct stat status = {};
        if (stat(user_object().c_str(), &status) != 0) {
            return 2;
        }
        return (status.st_mode & 07777) == 0600 && status.st_uid == geteuid() ? 0 : 3;
    });
}

TEST(NamedLockObject, HoldsTheNamesByRole) {
    EXPECT_IN_FRESH_SYSTEM([] {
        if (run_peer("user_of_all_locks") != 0) {
            return 1;
        }
        const std::string object = content(user_object());
        const auto has = [&](const char *name) {
            return object.find(std::string(name) + '\0') != std::string::npos;
        };
        const bool all = has("obr_mutex_str_1_3_0_1") && has("obr_mutex_str_1_15_1_0") &&
                         has("obr_mutex_str_2_0_0_0") && has("obr_mutex_str_2_10_1_1") &&
                         has("obr_mutex_str_3_0_0") && has("obr_mutex_str_3_15_1");
        const bool others = has("obr_mutex_str_3_0_0_0") || has("obr_mutex_str_1_16_0_0");
        return all && !others ? 0 : 2;
    });
}

TEST(NamedLockObject, IsMadeByManyProcessesAtOnce) {
    EXPECT_IN_FRESH_SYSTEM([] {
        constexpr int kProcesses = 8;
        constexpr int kTurns = 100;
        std::vector<std::unique_ptr<Peer>> peers;
        for (int i = 0; i < kProcesses; ++i) {
            peers.push_back(std::make_unique<Peer>(
                "counter", tarn::test::PeerArguments{"count", std::to_string(kTurns)}));
        }
        for (const auto &peer : peers) {
            if (peer->join() != 0) {
                return 1;
            }
        }
        // Nobody was in at the same time.
        return content("count") == std::to_string(kProcesses * kTurns) ? 0 : 2;
    });
}

TEST(NamedLockObject, EmptyOneOfACrashIsCompleted) {
    EXPECT_IN_FRESH_SYSTEM([] {
        close(open(user_object().c_str(), O_CREAT | O_RDWR, 0600));
        return run_peer("user_of_all_locks");
    });
}

TEST(NamedLockObject, HalfMadeEntriesOfACrashAreMadeAgain) {
    EXPECT_IN_FRESH_SYSTEM([] {
        // All but the words that make the entries count, at byte 40 of each 128.
        std::string object(1024 * 128, '\xEE');
        for (size_t entry = 0; entry < object.size(); entry += 128) {
            object.replace(entry + 40, 4, 4, '\0');
        }
        std::ofstream(user_object(), std::ios::binary) << object;
        chmod(user_object().c_str(), 0600);
        return run_peer("user_of_all_locks");
    });
}

TEST(NamedLockObject, SurvivesProcessesThatAreKilledWhileTheyLoad) {
    EXPECT_IN_FRESH_SYSTEM([] {
        for (uint32_t round = 0; round < 40; ++round) {
            Peer first("user_of_all_locks");
            Peer second("user_of_all_locks");
            __usleep_window(500 * round);
            first.kill();
            second.kill();
            if (round % 10 == 0) {
                unlink(user_object().c_str());
            }
        }
        return run_peer("user_of_all_locks");
    });
}

TEST(NamedLockObject, OneThatOthersCanOpenIsNotTrusted) {
    EXPECT_IN_FRESH_SYSTEM([] {
        close(open(user_object().c_str(), O_CREAT | O_RDWR, 0600));
        chmod(user_object().c_str(), 0666);
        return run_peer("program_without_locks");
    });
}

TEST(NamedLockObject, LinkIsNotFollowed) {
    EXPECT_IN_FRESH_SYSTEM([] {
        close(open("elsewhere", O_CREAT | O_RDWR, 0600));
        if (symlink((std::filesystem::current_path() / "elsewhere").c_str(),
                    user_object().c_str()) != 0) {
            return 1;
        }
        const int status = run_peer("program_without_locks");
        return status == 0 && content("elsewhere").empty() ? 0 : 2;
    });
}

TEST(NamedLockObject, OneThatAnAdministratorMadeForAGroupIsUsed) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only an administrator can make it";
    }
    EXPECT_IN_FRESH_SYSTEM([] {
        const char *system_wide = "/dev/shm/pci_tarn_locks_v1";
        close(open(system_wide, O_CREAT | O_RDWR, 0600));
        chmod(system_wide, 0660);
        if (run_peer("user_of_all_locks") != 0) {
            return 1;
        }
        const bool used = content(system_wide).find("obr_mutex_str_3_15_1") != std::string::npos;
        return used && access(user_object().c_str(), F_OK) != 0 ? 0 : 2;
    });
}

TEST(NamedLockObject, SystemWideOneThatIsOpenToEverybodyIsPassedOver) {
    EXPECT_IN_FRESH_SYSTEM([] {
        const char *system_wide = "/dev/shm/pci_tarn_locks_v1";
        close(open(system_wide, O_CREAT | O_RDWR, 0600));
        chmod(system_wide, 0666);
        if (run_peer("user_of_all_locks") != 0) {
            return 1;
        }
        return content(system_wide).empty() && access(user_object().c_str(), F_OK) == 0 ? 0 : 2;
    });
}

} // namespace
