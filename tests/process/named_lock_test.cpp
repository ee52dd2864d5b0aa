// Named locks between processes: who holds one keeps the others out, and who dies with one hands it
// on.

#include "pci_tarn/pci_tarn.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <iterator>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

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

void kill_hard(pid_t pid) {
    kill(pid, SIGKILL);
    EXPECT_EQ(finish(pid), 128 + SIGKILL);
}

// One-way signal between processes.
class Flag {
  public:
    Flag() {
        if (pipe(ends_) != 0) {
            std::abort();
        }
    }
    ~Flag() {
        close(ends_[0]);
        close(ends_[1]);
    }
    Flag(const Flag &) = delete;
    Flag &operator=(const Flag &) = delete;

    void raise() const { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
    void wait() const {
        char byte;
        EXPECT_EQ(read(ends_[0], &byte, 1), 1);
    }
    bool is_raised() const {
        fcntl(ends_[0], F_SETFL, O_NONBLOCK);
        char byte;
        const bool raised = read(ends_[0], &byte, 1) == 1;
        fcntl(ends_[0], F_SETFL, 0);
        return raised;
    }

  private:
    int ends_[2];
};

// A process that takes locks and holds them until it is killed.
pid_t start_holder(const std::vector<void *> &locks, const Flag &held) {
    const pid_t pid = start([&]() -> int {
        for (void *lock : locks) {
            driverLock(lock);
        }
        held.raise();
        for (;;) {
            pause();
        }
    });
    held.wait();
    return pid;
}

// A process that takes a lock and gives it back at once.
pid_t start_visitor(void *lock, const Flag &entered) {
    return start([&, lock] {
        driverLock(lock);
        entered.raise();
        driverUnlock(lock);
        return 0;
    });
}

// Long enough for a process that is not kept out to be seen.
void give_time() {
    __usleep_window(50'000);
}

TEST(NamedLock, KeepsOtherProcessesOutUntilItIsGivenBack) {
    void *lock = getMutex_mailbox(0, 0, 0);
    Flag entered;
    driverLock(lock);
    const pid_t visitor = start_visitor(lock, entered);
    give_time();
    EXPECT_FALSE(entered.is_raised());
    driverUnlock(lock);
    entered.wait();
    EXPECT_EQ(finish(visitor), 0);
}

TEST(NamedLock, IsHandedOnWhenItsOwnerIsKilled) {
    void *lock = getMutex_mailbox(0, 0, 0);
    Flag held;
    kill_hard(start_holder({lock}, held));
    EXPECT_EQ(driverLock(lock), 0u);
    EXPECT_EQ(driverUnlock(lock), 0u);
}

TEST(NamedLock, WaitingProcessGetsTheLockOfAKilledOwner) {
    void *lock = getMutex_mailbox(0, 0, 0);
    Flag held, entered;
    const pid_t holder = start_holder({lock}, held);
    const pid_t visitor = start_visitor(lock, entered);
    give_time();
    EXPECT_FALSE(entered.is_raised());
    kill_hard(holder);
    entered.wait();
    EXPECT_EQ(finish(visitor), 0);
}

TEST(NamedLock, WorksAsBeforeAfterItWasHandedOn) {
    void *lock = getMutex_mailbox(0, 0, 0);
    for (int round = 0; round < 3; ++round) {
        Flag held, entered;
        kill_hard(start_holder({lock}, held));
        driverLock(lock);
        const pid_t visitor = start_visitor(lock, entered);
        give_time();
        EXPECT_FALSE(entered.is_raised());
        driverUnlock(lock);
        entered.wait();
        EXPECT_EQ(finish(visitor), 0);
    }
}

TEST(NamedLock, DepthOfAKilledOwnerIsForgotten) {
    void *lock = getMutex_sock(0, 0, 0);
    Flag held, entered;
    kill_hard(start_holder({lock, lock, lock}, held));
    driverLock(lock);
    driverUnlock(lock);
    EXPECT_EQ(finish(start_visitor(lock, entered)), 0);
}

TEST(NamedLock, HandedOnLockIsRecursive) {
    void *lock = getMutex_sock(0, 0, 1);
    Flag held, entered;
    kill_hard(start_holder({lock}, held));
    driverLock(lock);
    driverLock(lock);
    driverUnlock(lock);
    const pid_t visitor = start_visitor(lock, entered);
    give_time();
    EXPECT_FALSE(entered.is_raised());
    driverUnlock(lock);
    EXPECT_EQ(finish(visitor), 0);
}

TEST(NamedLock, IsRecursiveAcrossProcesses) {
    void *lock = getMutex_mailbox(1, 0, 0);
    Flag entered;
    driverLock(lock);
    driverLock(lock);
    const pid_t visitor = start_visitor(lock, entered);
    driverUnlock(lock);
    give_time();
    EXPECT_FALSE(entered.is_raised());
    driverUnlock(lock);
    EXPECT_EQ(finish(visitor), 0);
}

TEST(NamedLock, FiveHandlesOfOneImageAreOneLock) {
    for (uint32_t taken = 0; taken < 5; ++taken) {
        Flag entered;
        driverLock(getMutex_pi(3, 1, taken));
        const pid_t visitor = start_visitor(getMutex_pi(3, 1, (taken + 1) % 5), entered);
        give_time();
        EXPECT_FALSE(entered.is_raised()) << taken;
        driverUnlock(getMutex_pi(3, 1, taken));
        EXPECT_EQ(finish(visitor), 0);
    }
}

TEST(NamedLock, KilledOwnerOfOneHandleFreesAllFive) {
    Flag held;
    kill_hard(start_holder({getMutex_pi(3, 0, 2), getMutex_pi(3, 0, 0)}, held));
    for (uint32_t index = 0; index < 5; ++index) {
        Flag entered;
        EXPECT_EQ(finish(start_visitor(getMutex_pi(3, 0, index), entered)), 0);
    }
}

TEST(NamedLock, OtherRolesIndicesChannelsAndBoardsAreFree) {
    Flag held;
    const pid_t holder = start_holder({getMutex_mailbox(3, 0, 1)}, held);
    for (void *other : {getMutex_mailbox(3, 0, 0), getMutex_mailbox(3, 1, 1),
                        getMutex_mailbox(2, 0, 1), getMutex_sock(3, 0, 1), getMutex_pi(3, 0, 1)}) {
        Flag entered;
        EXPECT_EQ(finish(start_visitor(other, entered)), 0);
    }
    kill_hard(holder);
}

TEST(NamedLock, ProcessThatMapsTheFolderAnewSharesTheMemory) {
    const tarn::test::TempDir folder;
    ASSERT_NE(initMutex(), nullptr);
    auto *memory = static_cast<uint8_t *>(__pi_shared_memory);
    memory[0x60A000] = 1;
    EXPECT_EQ(finish(start([] {
                  auto *own = static_cast<uint8_t *>(initMutex());
                  const bool seen = own != nullptr && own[0x60A000] == 1;
                  own[0x60A000] = 2;
                  return seen ? 0 : 1;
              })),
              0);
    EXPECT_EQ(memory[0x60A000], 2);
}

// Programs of their own, which open the locks when they are loaded.

// Takes every lock of every table; with TARN_COUNTER set, adds to the number in that file.
TEST(NamedLockProgram, DISABLED_UsesAllLocks) {
    for (uint32_t board = 0; board < 16; ++board) {
        for (uint32_t channel = 0; channel < 2; ++channel) {
            for (uint32_t index = 0; index < 5; ++index) {
                void *lock = index < 2   ? getMutex_mailbox(board, channel, index)
                             : index < 4 ? getMutex_sock(board, channel, index - 2)
                                         : getMutex_pi(board, channel, index);
                ASSERT_NE(lock, nullptr);
                driverLock(lock);
                driverUnlock(lock);
            }
        }
    }
    const char *counter = std::getenv("TARN_COUNTER");
    for (int i = 0; counter != nullptr && i < 100; ++i) {
        driverLock(getMutex_pi(9, 1, 3));
        int number = 0;
        std::ifstream(counter) >> number;
        std::ofstream(counter) << number + 1;
        driverUnlock(getMutex_pi(9, 1, 3));
    }
}

TEST(NamedLockProgram, DISABLED_HasNoLocks) {
    EXPECT_EQ(getMutex_mailbox(0, 0, 0), nullptr);
    EXPECT_EQ(getMutex_pi(15, 1, 4), nullptr);
}

pid_t start_program(const std::string &test) {
    return start([&] {
        const std::string filter = "--gtest_filter=NamedLockProgram.DISABLED_" + test;
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        execl("/proc/self/exe", "test-process", filter.c_str(), "--gtest_also_run_disabled_tests",
              static_cast<char *>(nullptr));
        return 99;
    });
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
           mount("tmpfs", "/dev/shm", "tmpfs", 0, nullptr) == 0;
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
        if (finish(start_program("UsesAllLocks")) != 0) {
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
        if (finish(start_program("UsesAllLocks")) != 0) {
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
        setenv("TARN_COUNTER", "counter", 1);
        std::vector<pid_t> programs;
        for (int i = 0; i < 8; ++i) {
            programs.push_back(start_program("UsesAllLocks"));
        }
        for (const pid_t program : programs) {
            if (finish(program) != 0) {
                return 1;
            }
        }
        return content("counter") == "800" ? 0 : 2; // nobody was in at the same time
    });
}

TEST(NamedLockObject, EmptyOneOfACrashIsCompleted) {
    EXPECT_IN_FRESH_SYSTEM([] {
        close(open(user_object().c_str(), O_CREAT | O_RDWR, 0600));
        return finish(start_program("UsesAllLocks"));
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
        return finish(start_program("UsesAllLocks"));
    });
}

TEST(NamedLockObject, SurvivesProcessesThatAreKilledWhileTheyLoad) {
    EXPECT_IN_FRESH_SYSTEM([] {
        for (uint32_t round = 0; round < 40; ++round) {
            const pid_t first = start_program("UsesAllLocks");
            const pid_t second = start_program("UsesAllLocks");
            __usleep_window(500 * round);
            kill(first, SIGKILL);
            kill(second, SIGKILL);
            finish(first);
            finish(second);
            if (round % 10 == 0) {
                unlink(user_object().c_str());
            }
        }
        return finish(start_program("UsesAllLocks"));
    });
}

TEST(NamedLockObject, OneThatOthersCanOpenIsNotTrusted) {
    EXPECT_IN_FRESH_SYSTEM([] {
        close(open(user_object().c_str(), O_CREAT | O_RDWR, 0600));
        chmod(user_object().c_str(), 0666);
        return finish(start_program("HasNoLocks"));
    });
}

TEST(NamedLockObject, LinkIsNotFollowed) {
    EXPECT_IN_FRESH_SYSTEM([] {
        close(open("elsewhere", O_CREAT | O_RDWR, 0600));
        if (symlink((std::filesystem::current_path() / "elsewhere").c_str(),
                    user_object().c_str()) != 0) {
            return 1;
        }
        const int status = finish(start_program("HasNoLocks"));
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
        if (finish(start_program("UsesAllLocks")) != 0) {
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
        if (finish(start_program("UsesAllLocks")) != 0) {
            return 1;
        }
        return content(system_wide).empty() && access(user_object().c_str(), F_OK) == 0 ? 0 : 2;
    });
}

} // namespace
