// The data stream between programs and firmware as a user of the tool sees it.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;

namespace {

// ---- without a card -----------------------------------------------------------------------------

using TarnSockUsage = TarnTool;

TEST_F(TarnSockUsage, CommandsNeedACard) {
    expect_failure("sock send echo hello", "Device not find (80004)");
    expect_failure("sock recv", "Device not find (80004)");
}

TEST_F(TarnSockUsage, NonsenseIsRefused) {
    expect_usage_error("sock", "a command is missing");
    expect_usage_error("sock send", "TYPE");
    expect_usage_error("sock send 1", "DATA or --file is missing");
    expect_usage_error("sock send parrot hello", "\"parrot\" is no message type");
    expect_usage_error("sock send 4294967296 hello", "is no message type");
    expect_usage_error("sock send 1 first hello", "\"first\" is no message parameter");
    expect_usage_error("sock send 1 2 hello more", "At Most 2 required");
    expect_usage_error("sock send 1 2 hello --file x", "either DATA or --file");
    expect_usage_error("sock send 1 --hex 123", "two digits each");
    expect_usage_error("sock send 1 --hex zz", "two digits each");
    expect_usage_error("sock recv --count 0", "--count");
    expect_usage_error("sock recv --count 2 --follow", "excludes");
}

TEST_F(TarnSockUsage, OneOutputAtATime) {
    const ProcessResult result = tarn("sock recv --json -o x.bin");
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("either --json or --output"));
}

TEST_F(TarnSockUsage, HelpHasExamples) {
    EXPECT_THAT(out("sock send --help"), HasSubstr("tarn sock send echo hello"));
    EXPECT_THAT(out("sock recv --help"), HasSubstr("--follow"));
}

// ---- with a card --------------------------------------------------------------------------------

class TarnSock : public TarnWithBoard {
  protected:
    // Until the card has answered so many messages of a channel: when the machine is busy that may
    // take longer than a fetch waits.
    bool answered(int messages) const {
        const std::string count = std::to_string(messages);
        const std::string text = "socket: " + count + " messages in, " + count + " out";
        return eventually([&] { return vcard("status").out.find(text) != std::string::npos; });
    }
};

TEST_F(TarnSock, NothingComesUnasked) {
    expect_failure("sock recv", "(80003): no message came from the card within 500 ms");
}

TEST_F(TarnSock, TheEchoComesBack) {
    EXPECT_EQ(out("sock send echo hello"), "Sent 5 bytes in 1 piece, type 1 (echo), parameter 0\n");
    ASSERT_TRUE(answered(1));
    EXPECT_EQ(out("sock recv"), "type 1 (echo), 5 bytes: hello\n");
}

TEST_F(TarnSock, BytesAreShownInHexadecimal) {
    out("sock send 1 7 --hex 00ff10");
    ASSERT_TRUE(answered(1));
    const JsonDocument messages = json("sock recv");
    ASSERT_EQ(messages.size(), 1);
    EXPECT_EQ(messages[0]["hex"].text(), "00ff10");
    EXPECT_EQ(messages[0]["bytes"].number(), 3);
    EXPECT_FALSE(messages[0].has("text"));
    out("sock send 1 --hex 00ff10");
    ASSERT_TRUE(answered(2));
    EXPECT_THAT(out("sock recv"), HasSubstr("00 ff 10"));
}

TEST_F(TarnSock, NoDataIsAMessageToo) {
    out("sock send 1 -", "");
    ASSERT_TRUE(answered(1));
    EXPECT_EQ(out("sock recv"), "type 1 (echo), 0 bytes\n");
}

TEST_F(TarnSock, LongDataGoesInPieces) {
    write_file("data.bin", std::string(2049, '\x07'));
    EXPECT_EQ(json("sock send 1 --file data.bin")["pieces"].number(), 3);
    ASSERT_TRUE(answered(3));
    out("sock recv --count 3 -o back.bin");
    EXPECT_EQ(read_file("back.bin"), read_file("data.bin"));
}

TEST_F(TarnSock, BytesGoThroughPipes) {
    const std::string bytes("\x01\x00\x0d\x0a\xff", 5);
    out("sock send 1 -", bytes);
    ASSERT_TRUE(answered(1));
    ProcessOptions binary = options();
    binary.binary = true;
    EXPECT_EQ(run_program(program_path("tarn"), words("sock recv -o -"), binary).out, bytes);
}

TEST_F(TarnSock, FewerMessagesThanAskedForComeWithAWarning) {
    out("sock send 1 hello");
    ASSERT_TRUE(answered(1));
    const ProcessResult result = tarn("sock recv --count 3");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("hello"));
    EXPECT_THAT(result.err, HasSubstr("only 1 message came"));
}

TEST_F(TarnSock, AnUnknownTypeIsRefusedByTheCard) {
    out("sock send 99 5 hello");
    ASSERT_TRUE(answered(1));
    EXPECT_THAT(out("sock recv"),
                AllOf(HasSubstr("type 3 (error)"),
                      HasSubstr("refused: type 99, parameter 5, 5 bytes: no service has this")));
}

TEST_F(TarnSock, TheLogServiceWritesTheCardsLog) {
    out("sock send log cell-3-starts");
    EXPECT_TRUE(eventually([this] {
        return read_file("run/pci_tarn/tarn-vcard.log").find("cell-3-starts") != std::string::npos;
    }));
    expect_failure("sock recv", "(80003)");
}

TEST_F(TarnSock, FollowShowsMessagesUntilCtrlC) {
    BackgroundProcess follow(program_path("tarn"), words("sock recv --follow"), options());
    out("sock send echo one");
    ASSERT_TRUE(follow.wait_for_output("one"));
    out("sock send echo two");
    ASSERT_TRUE(follow.wait_for_output("two"));
    follow.send_signal(Signal::kInterrupt);
    ProcessResult result;
    ASSERT_TRUE(follow.wait(kPatience, &result));
    EXPECT_EQ(result.status, 0);
}

TEST_F(TarnSock, FollowWritesEachMessageWhenItComes) {
    write_file("back.bin", "old");
    BackgroundProcess follow(program_path("tarn"), words("sock recv --follow -o back.bin"),
                             options());
    out("sock send 1 one");
    EXPECT_TRUE(eventually([this] { return read_file("back.bin") == "one"; }));
    out("sock send 1 two");
    EXPECT_TRUE(eventually([this] { return read_file("back.bin") == "onetwo"; }));
    follow.send_signal(Signal::kInterrupt);
    ProcessResult result;
    ASSERT_TRUE(follow.wait(kPatience, &result));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(read_file("back.bin"), "onetwo");
}

TEST_F(TarnSock, FollowStreamsBytes) {
    BackgroundProcess follow(program_path("tarn"), words("sock recv --follow -o -"), options());
    out("sock send 1 one");
    EXPECT_TRUE(follow.wait_for_output("one"));
    follow.send_signal(Signal::kInterrupt);
    ASSERT_TRUE(follow.wait(kPatience));
}

TEST_F(TarnSock, NothingIsTakenForAFileThatCannotBeWritten) {
    out("sock send 1 hello");
    const ProcessResult result = tarn("sock recv -o nowhere/back.bin");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("cannot write in the folder"));
    EXPECT_TRUE(
        eventually([this] { return tarn("sock recv").out.find("hello") != std::string::npos; }));
}

TEST_F(TarnSock, NoMessageLeavesTheFileAsItWas) {
    write_file("back.bin", "old");
    EXPECT_EQ(tarn("sock recv -o back.bin").status, 1);
    EXPECT_EQ(read_file("back.bin"), "old");
}

TEST_F(TarnSock, FollowGivesOneArray) {
    BackgroundProcess follow(program_path("tarn"), words("sock recv --follow --json"), options());
    out("sock send echo one");
    ASSERT_TRUE(follow.wait_for_output("one"));
    follow.send_signal(Signal::kInterrupt);
    ProcessResult result;
    ASSERT_TRUE(follow.wait(kPatience, &result));
    EXPECT_EQ(JsonDocument(result.out)[0]["text"].text(), "one");
}

TEST_F(TarnSock, ChannelsHaveStreamsOfTheirOwn) {
    out("sock send echo hello --channel 1");
    ASSERT_TRUE(answered(1));
    expect_failure("sock recv", "(80003)");
    EXPECT_THAT(out("sock recv --channel 1"), HasSubstr("hello"));
}

} // namespace
