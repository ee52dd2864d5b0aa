// What the other tests rely on: programs are started and ended as told.
#include "support/peer.h"
#include "support/temp_dir.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <string>

namespace {

using namespace tarn::test;

// Prints its arguments, a variable, its working folder and what it reads.
TARN_PEER(echo) {
    for (const std::string &argument : arguments) {
        std::printf("[%s]\n", argument.c_str());
    }
    const char *variable = std::getenv("TARN_TEST_VARIABLE");
    std::printf("%s\n%s\n", variable != nullptr ? variable : "none",
                std::filesystem::current_path().filename().string().c_str());
    for (std::string line; std::getline(std::cin, line);) {
        std::fprintf(stderr, "%s\n", line.c_str());
    }
    return 7;
}

TEST(Process, GetsArgumentsEnvironmentFolderAndInput) {
    const TempDir folder;
    std::filesystem::create_directory("inner folder");
    ProcessOptions options;
    options.environment["TARN_TEST_VARIABLE"] = "a b";
    options.directory = folder.path() / "inner folder";
    options.input = "one\ntwo\n";
    Peer peer("echo", {"a b", "c\"d\\"}, options);
    ProcessResult result;
    ASSERT_TRUE(peer.process().wait(kPatience, &result));
    EXPECT_EQ(result.status, 7);
    EXPECT_NE(result.out.find("[a b]\n[c\"d\\]\na b\ninner folder\n"), std::string::npos)
        << result.out;
    EXPECT_EQ(result.err, "one\ntwo\n");
}

TEST(Process, WordsOfTheCommandLineStayWhatTheyAre) {
    for (const char *word : {"a b", "c\"d", "e\\", "f\\\"", "g\\\\", "%PATH%", "*"}) {
        const ProcessResult result =
            run_program(program_path("tarn-vcard"), {"make-eni", "--cycle-us", word});
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.err.find("--cycle-us = " + std::string(word) + "\n"), std::string::npos)
            << word << ": " << result.err;
    }
}

TEST(Process, OneThatDoesNotExistHasStatus127) {
    EXPECT_EQ(run_program("no-such-program", {}).status, 127);
}

TARN_PEER(sleeper) {
    std::printf("asleep\n");
    std::fflush(stdout);
    wait_for_the_end();
}

TEST(Process, TakesTooLong) {
    ProcessOptions options;
    options.environment["TARN_TEST_PEER"] = "sleeper";
    options.timeout = std::chrono::milliseconds(50);
    const ProcessResult result = run_program(own_path(), {}, options);
    EXPECT_TRUE(result.timed_out);
    EXPECT_EQ(result.status, kKilled);
}

TEST(Process, IsKilledByItsId) {
    Peer peer("sleeper");
    ASSERT_TRUE(peer.process().wait_for_output("asleep"));
    const ProcessId id = peer.process().pid();
    EXPECT_TRUE(process_exists(id));
    EXPECT_TRUE(kill_process(id));
    EXPECT_EQ(peer.join(), kKilled);
    EXPECT_FALSE(process_exists(id));
    EXPECT_TRUE(process_exists(own_process()));
}

} // namespace
