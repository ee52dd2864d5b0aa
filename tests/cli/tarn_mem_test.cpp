// Registers and memory of slaves as a user of the tool sees them.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr const char *kNoCard = "Device not find (80004): no card named \"ID0\"";

// ---- usage --------------------------------------------------------------------------------------

using TarnMemUsage = TarnTool;

TEST_F(TarnMemUsage, HelpOfEveryCommandHasExamples) {
    for (const char *command : {"mem", "mem read", "mem write"}) {
        EXPECT_THAT(out(std::string(command) + " --help"),
                    AllOf(HasSubstr("Examples:\n  tarn "), HasSubstr("--board")))
            << command;
    }
    EXPECT_THAT(out("--help"), HasSubstr("\n  mem "));
}

TEST_F(TarnMemUsage, MissingArgumentIsNamed) {
    expect_usage_error("mem", "a command is missing");
    expect_usage_error("mem read", "--slave is required");
    expect_usage_error("mem read 1", "ADDRESS");
    expect_usage_error("mem write 1 0x300", "VALUE or --file FILE?");
}

TEST_F(TarnMemUsage, MemoryEndsAt64KiB) {
    expect_usage_error("mem read 1 0x10000 1", "no number from 0 to 65535");
    expect_usage_error("mem read 1 0xffff 2", "ends at 0x10000");
    expect_usage_error("mem read 1 1 0x10000", "ends at 0x10000");
    expect_usage_error("mem read 1 0 0x10001", "no number from 1 to 65536");
    expect_usage_error("mem read 1 0 0", "no number from 1 to 65536");
    expect_usage_error("mem write 1 0xffff -t uint16 1", "ends at 0x10000");
    expect_failure("mem read 1 0xffff 1", kNoCard);
    expect_failure("mem read 1 0 0x10000", kNoCard);
}

TEST_F(TarnMemUsage, UnknownAddressNeedsAWidth) {
    expect_usage_error("mem read 1 0x1000", "0x1000 is no register that is known; give a LENGTH");
    expect_usage_error("mem write 1 0x1000 5", "choose the width with --type");
    expect_failure("mem read 1 0x130", kNoCard);
    expect_failure("mem read 1 0x1000 -t int32", kNoCard);
}

TEST_F(TarnMemUsage, ValuesMustFitTheRegister) {
    expect_usage_error("mem write 1 0x300 65536", "does not fit");
    expect_usage_error("mem write 1 0x300 x", "is no number");
    expect_usage_error("mem write 1 0x300 -t uint8 256", "does not fit");
    expect_failure("mem write 1 0x300 65535", kNoCard);
}

TEST_F(TarnMemUsage, LengthIsAWholeNumberOfValues) {
    expect_usage_error("mem read 1 0x1000 3 -t int16", "no whole number of int16 values");
    expect_usage_error("mem read 1 0x1000 3 -t word", "\"word\" is no type");
}

TEST_F(TarnMemUsage, EmptyDataIsRefused) {
    write_file("empty.bin", "");
    expect_failure("mem write 1 0x1000 --file empty.bin", "there is nothing to write");
}

// ---- on a bus -----------------------------------------------------------------------------------

using TarnMem = TarnOnBus;

TEST_F(TarnMem, RegistersHaveTheirNames) {
    EXPECT_THAT(out("mem read 1 0x130"),
                AllOf(StartsWith("0130  AL status "), HasSubstr("  OP\n")));
    EXPECT_THAT(out("mem read 1 0x110"), HasSubstr("DL status"));
    const JsonDocument station = json("mem read 1 0x10");
    EXPECT_EQ(station["registers"][0]["name"].text(), "Configured station address");
    EXPECT_EQ(station["registers"][0]["value"].number(),
              json("slaves -p 1")[0]["address"].number());
}

TEST_F(TarnMem, RangesAreDumpedWithTheirRegisters) {
    EXPECT_THAT(out("mem read 1 0x300 0x14"),
                AllOf(StartsWith("0300  "), HasSubstr("\n0300  RX error counter port 0"),
                      HasSubstr("\n0313  Lost link counter port 3")));
}

TEST_F(TarnMem, TypedReadGivesTheValue) {
    EXPECT_EQ(out("mem read 1 0x10 -t uint16"), out("mem read 1 0x10 2 -t uint16"));
    EXPECT_EQ(json("mem read 1 0x10 -t uint16")["value"].number(),
              json("slaves -p 1")[0]["address"].number());
}

TEST_F(TarnMem, ReadFileHasTheBytes) {
    EXPECT_EQ(out("mem read 1 0 0x1000 -o esc.bin"), "Read 4096 bytes at 0x0000 of slave 1 to "
                                                     "esc.bin\n");
    EXPECT_EQ(read_file("esc.bin").size(), 4096U);
}

TEST_F(TarnMem, SlaveThatIsNotThereIsNamed) {
    expect_failure("mem read 99 0x130", "tarn slaves lists the positions");
    expect_failure("mem write 99 0x300 0", "tarn slaves lists the positions");
}

TEST_F(TarnMem, DeafCardEndsWithTheTimeout) {
    EXPECT_EQ(vcard("fault stop-draining on").status, 0);
    expect_failure("mem read 1 0x130 --timeout 20", "cannot read the memory at 0x0130 of slave 1");
    expect_failure("mem write 1 0x300 0 --timeout 20",
                   "cannot write the memory at 0x0300 of slave 1");
}

} // namespace
