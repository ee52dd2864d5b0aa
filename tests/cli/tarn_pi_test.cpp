// The process image as a user of the tool sees it.
#include "tarn_fixture.h"

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// Slaves of the bus: 0 coupler, 1 drive (14 bytes each way), 2 and 3 digital I/O of 16 bits whose
// outputs come back as inputs, 4 digital inputs.

// ---- with logical addresses ---------------------------------------------------------------------

using TarnPi = TarnOnBus;

TEST_F(TarnPi, OutputsOfASlaveComeBackAsItsInputs) {
    out("pi write --slave 2 0xa5f0");
    EXPECT_TRUE(prints_soon("pi read --slave 2", "0xa5f0"));
    EXPECT_EQ(out("pi read --slave 3"), "0x0000\n");
}

TEST_F(TarnPi, WritesOnlyTheBitsOfTheSlave) {
    out("pi write --slave 2 0xffff");
    out("pi write --slave 3 0xffff");
    out("pi write --slave 2 0");
    EXPECT_EQ(out("pi read --slave 3 --area fast-output"), "0xffff\n");
    EXPECT_EQ(out("pi read --slave 2 --area fast-output"), "0x0000\n");
}

TEST_F(TarnPi, WritesSingleBitsOfASlave) {
    out("pi write --slave 2 --bit 3 1");
    out("pi write --slave 2 --bit 8:4 0xc");
    EXPECT_EQ(out("pi read --slave 2 --area 2"), "0x0c08\n");
    EXPECT_EQ(out("pi read --slave 2 --area 2 --bit 3"), "1\n");
    EXPECT_EQ(out("pi read --slave 2 --area 2 --bit 8:4 --format bin"), "1100\n");
}

TEST_F(TarnPi, MappedSlavesLieAtTheirLogicalAddress) {
    // In reverse order the slave behind comes first.
    out("pi write --slave 3 0x1234");
    const int bit = static_cast<int>(json("pi read --slave 3 --area 2")["bit"].number());
    EXPECT_LT(bit, json("pi read --slave 2 --area 2")["bit"].number());
    EXPECT_EQ(out("pi read --area 2 --bit " + std::to_string(bit) + ":16"), "0x1234\n");
}

TEST_F(TarnPi, TypedValuesAreWrittenAndRead) {
    out("pi write --slave 1 --offset 4 --format i32 -5000");
    EXPECT_EQ(out("pi read --slave 1 --offset 4 --format i32 --area fast-output"), "-5000\n");
    EXPECT_EQ(out("pi read --slave 1 --offset 4 --format u32 --area fast-output"), "4294962296\n");
    out("pi write --slave 1 --offset 0 --format u16 100 200 0xffff");
    EXPECT_EQ(out("pi read --slave 1 --offset 0 --length 6 --format u16 --area 2"),
              "100 200 65535\n");
    EXPECT_EQ(out("pi read --slave 1 --offset 0 --length 6 --format i16 --area 2"), "100 200 -1\n");
    out("pi write --slave 1 --offset 0 --format f32 1.5");
    EXPECT_EQ(out("pi read --slave 1 --offset 0 --format f32 --area 2"), "1.5\n");
}

TEST_F(TarnPi, WholeImageIsADump) {
    out("pi write --offset 0 --format hex 0102030405060708090a0b0c0d0e0f1011");
    EXPECT_EQ(out("pi read --area fast-output"),
              "0000  01 02 03 04 05 06 07 08  09 0a 0b 0c 0d 0e 0f 10\n"
              "0010  11 00\n");
    EXPECT_EQ(out("pi read --area 2 --offset 1 --length 2 --format bin"),
              "0001  00000010 00000011\n");
    EXPECT_EQ(out("pi read --area 2 --offset 1 --length 3 --format dec"), "0001    2   3   4\n");
}

TEST_F(TarnPi, ReadsInputsByDefault) {
    EXPECT_EQ(json("pi read")["area"].text(), "shadow-input");
    EXPECT_EQ(json("pi read")["bits"].number(), 19 * 8);
    EXPECT_EQ(json("pi write --slave 2 1")["area"].text(), "fast-output");
}

TEST_F(TarnPi, GivesJson) {
    out("pi write --slave 2 0x1234");
    const JsonDocument one = json("pi read --slave 2 --area 2");
    EXPECT_EQ(one["hex"].text(), "3412");
    EXPECT_EQ(one["value"].number(), 0x1234);
    EXPECT_EQ(one["bits"].number(), 16);
    const JsonDocument typed = json("pi read --slave 2 --area 2 --format u8");
    EXPECT_EQ(typed["values"][0].number(), 0x34);
    EXPECT_EQ(typed["values"][1].number(), 0x12);
}

TEST_F(TarnPi, RawBytesGoThroughPipes) {
    const std::string bytes("\x01\x00\x0d\x0a\xff", 5);
    out("pi write -", bytes);
    ProcessOptions binary = options();
    binary.binary = true;
    EXPECT_EQ(run_program(program_path("tarn"),
                          words("pi read --raw --area fast-output --length 5"), binary)
                  .out,
              bytes);
}

TEST_F(TarnPi, AreasHaveNamesAndNumbers) {
    out("pi write --area output --offset 2 0x55");
    EXPECT_EQ(out("pi read --area 0 --offset 2 --length 1 --format u8"), "85\n");
    EXPECT_EQ(json("pi read --area card")["bits"].number(), 18 * 8);
    EXPECT_EQ(json("pi read --area 1")["area"].text(), "input");
}

TEST_F(TarnPi, ReadOnlyAreasSaySo) {
    expect_failure("pi write --area shadow-input --offset 0 1", "(32782)");
    expect_failure("pi write --area card --offset 0 1", "read only");
}

TEST_F(TarnPi, RunsOutsideTheImageAreRefused) {
    expect_failure("pi read --offset 19 --length 1",
                   "(34058): 8 bits at byte 19 of the input image, which has 152 bits");
    expect_failure("pi read --offset 18 --length 2", "(34058)");
    expect_failure("pi read --bit 152", "(34058)");
    expect_failure("pi read --bit 150:3", "(34058)");
    expect_failure("pi read --offset 65535 --length 65535", "(34058)");
    expect_failure("pi write --slave 2 --offset 2 1", "of the outputs of slave 2");
    expect_failure("pi read --length 0", "nothing at byte 0");
    out("pi read --bit 151");
}

TEST_F(TarnPi, ValuesThatDoNotFitAreRefused) {
    expect_usage_error("pi write --offset 0 256", "does not fit into 8 bits");
    expect_usage_error("pi write --slave 2 0x10000", "does not fit into 16 bits");
    expect_usage_error("pi write --bit 0 2", "does not fit into 1 bit");
    expect_usage_error("pi write --offset 0 --format i8 128", "does not fit");
    expect_usage_error("pi write --offset 0 --format i8 -129", "does not fit");
    expect_usage_error("pi write --offset 0 --format u8 -1", "does not fit");
    expect_failure("pi write --slave 2 1 2 3", "24 bits of values for 16 bits of data");
    out("pi write --offset 0 --format i8 -128");
}

TEST_F(TarnPi, ValuesThatAreNoNumbersAreRefused) {
    expect_usage_error("pi write --offset 0 twelve", "\"twelve\" is no number");
    expect_usage_error("pi write --offset 0 1.5", "is no number");
    expect_usage_error("pi write --offset 0 --format hex 123", "two digits each");
    expect_usage_error("pi write --offset 0 --format bin 102", "is no binary number");
    expect_usage_error("pi write --offset 0 --format f32 1e39", "does not fit into 32 bits");
    expect_usage_error("pi write --offset 0 --format f64 -1e309", "does not fit into 64 bits");
    expect_usage_error("pi write --offset 0 --format f32 x", "is no number");
}

TEST_F(TarnPi, SelectionsAreChecked) {
    expect_usage_error("pi read --bit 1 --offset 1", "--bit");
    expect_usage_error("pi read --bit 1:0", "is no BIT or BIT:COUNT");
    expect_usage_error("pi read --bit x", "is no BIT or BIT:COUNT");
    expect_usage_error("pi read --area 5", "\"5\" is no area");
    expect_usage_error("pi read --format u24", "\"u24\" is no format");
    expect_usage_error("pi read --offset -1", "--offset");
    expect_usage_error("pi read --length 3 --format u16", "24 bits are no whole number of 16-bit");
}

TEST_F(TarnPi, SlaveWithoutDataSaysSo) {
    expect_failure("pi read --slave 0", "(32834): the inputs of slave 0");
    expect_failure("pi write --slave 4 1", "(32834): the outputs of slave 4");
    expect_failure("pi read --slave 5", "Invalid slave index (32778)");
}

TEST_F(TarnPi, TheLargestFloatAndInfinityAreTaken) {
    out("pi write --slave 1 --offset 0 --format f32 3.40282347e+38 inf");
    EXPECT_EQ(out("pi read --slave 1 --offset 0 --length 8 --format f32 --area 2"),
              "3.40282347e+38 inf\n");
}

TEST_F(TarnPi, DataOfASlaveThatIsNotReadyComesWithAWarning) {
    out("state --set SAFEOP");
    const ProcessResult result = tarn("pi read --slave 2");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, StartsWith("0x"));
    EXPECT_THAT(result.err, HasSubstr("warning: Slave not ready in operator mode(8). (80015)"));
    EXPECT_EQ(json("pi read --slave 2")["warning"]["code"].number(), 80015);
    EXPECT_EQ(json("pi write --slave 2 1")["warning"]["code"].number(), 80015);
}

TEST_F(TarnPi, AnotherDirectoryIsToldApart) {
    fs::create_directory("elsewhere");
    ProcessOptions there = options();
    there.directory = file("elsewhere");
    const ProcessResult result = run_program(program_path("tarn"), {"pi", "read"}, there);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("run tarn in the directory where the bus was started"));
}

TEST_F(TarnPi, DriveMovesToItsTarget) {
    out("pi write --slave 1 --offset 2 --format i8 1"); // profile position
    const char *steps[][2] = {{"0x06", "0x0631"}, {"0x07", "0x0633"}, {"0x0f", "0x0637"}};
    for (const auto &[controlword, statusword] : steps) {
        out(std::string("pi write --slave 1 --offset 0 --format u16 ") + controlword);
        EXPECT_TRUE(
            prints_soon("pi read --slave 1 --bit 0:4", std::string("0x") + (statusword + 5)));
    }
    out("pi write --slave 1 --offset 4 --format i32 -1000");
    out("pi write --slave 1 --offset 0 --format u16 0x1f");
    EXPECT_TRUE(prints_soon("pi read --slave 1 --offset 4 --format i32", "-1000\n"));
}

// ---- without ------------------------------------------------------------------------------------

using TarnPiPhysical = TarnWithCard;

TEST_F(TarnPiPhysical, SlavesAreReachedWithoutMapping) {
    out("start plain.xml");
    out("pi write --slave 3 0xbeef");
    EXPECT_TRUE(prints_soon("pi read --slave 3", "0xbeef"));
    EXPECT_EQ(json("pi read --slave 3")["bit"].number(), 128);
    EXPECT_EQ(out("pi read --slave 2"), "0x0000\n");
}

TEST_F(TarnPiPhysical, SlavesThatShareAByteAreKeptApart) {
    EXPECT_EQ(vcard("make-eni -o small.xml --slave do4:3 --slave di4").status, 0);
    out("start small.xml");
    out("pi write --slave 0 0x5");
    out("pi write --slave 1 0xa");
    out("pi write --slave 2 0x9");
    EXPECT_EQ(out("pi read --area fast-output"), "0000  a5 09\n");
    EXPECT_EQ(out("pi read --slave 1 --area fast-output"), "0xa\n");
    expect_usage_error("pi write --slave 1 0x10", "does not fit into 4 bits");
}

TEST_F(TarnPiPhysical, NoBusIsToldWithAHint) {
    expect_failure("pi read", "Master not configured. You must configure master before call "
                              "(32775): cannot ask for the image lengths; start the bus first");
}

TEST_F(TarnPiPhysical, FirstGenerationWorksAlike) {
    vcard("stop");
    EXPECT_EQ(vcard("start --each generation=1,start-ms=30").status, 0);
    out("start cell.xml");
    out("pi write --slave 2 0x7e57");
    EXPECT_TRUE(prints_soon("pi read --slave 2", "0x7e57"));
}

TEST_F(TarnPiPhysical, ChannelsDoNotSeeEachOther) {
    out("start cell.xml");
    out("start cell.xml --channel 1");
    out("pi write --slave 2 0x1111");
    EXPECT_TRUE(prints_soon("pi read --slave 2", "0x1111"));
    EXPECT_EQ(out("pi read --slave 2 --channel 1"), "0x0000\n");
}

// ---- watch --------------------------------------------------------------------------------------

using TarnWatch = TarnOnBus;

TEST_F(TarnWatch, PrintsOnlyWhatChanged) {
    const std::string text = out("pi watch --slave 3 --count 3 --interval-ms 1");
    EXPECT_THAT(text, HasSubstr(" s  0x0000\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

TEST_F(TarnWatch, SeesWhatAnotherProcessWrites) {
    BackgroundProcess watch(program_path("tarn"),
                            words("pi watch --slave 2 --interval-ms 5 --count 0"), options());
    ASSERT_TRUE(watch.wait_for_output("0x0000"));
    out("pi write --slave 2 0x00aa");
    EXPECT_TRUE(watch.wait_for_output("0x00aa"));
    out("pi write --slave 2 0x00bb");
    EXPECT_TRUE(watch.wait_for_output("0x00bb"));
}

TEST_F(TarnWatch, WrongFormatIsToldBeforeTheFirstSample) {
    expect_usage_error("pi watch --format i32 --length 3", "24 bits are no whole number of 32-bit");
}

TEST_F(TarnWatch, EndsInOrderOnCtrlC) {
    BackgroundProcess watch(program_path("tarn"), words("pi watch --json --interval-ms 5"),
                            options());
    ASSERT_TRUE(watch.wait_for_output("shadow-input"));
    watch.send_signal(Signal::kInterrupt);
    ProcessResult result;
    ASSERT_TRUE(watch.wait(kPatience, &result));
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(JsonDocument(result.out).is_array());
}

TEST_F(TarnWatch, GivesOneArrayOfSamples) {
    const JsonDocument samples = json("pi watch --slave 2 --count 3 --interval-ms 1");
    ASSERT_EQ(samples.size(), 3);
    EXPECT_EQ(samples[2]["bits"].number(), 16);
    EXPECT_LE(samples[0]["seconds"].number(), samples[2]["seconds"].number());
}

TEST_F(TarnWatch, DocumentIsCompletedWhenTheCardIsLost) {
    BackgroundProcess watch(program_path("tarn"),
                            words("pi watch --json --interval-ms 5 --timeout 2000"), options());
    ASSERT_TRUE(watch.wait_for_output("shadow-input"));
    vcard("fault die");
    ProcessResult result;
    ASSERT_TRUE(watch.wait(kPatience, &result));
    EXPECT_EQ(result.status, 1);
    const JsonDocument samples(result.out);
    EXPECT_TRUE(samples[samples.size() - 1].has("error"));
}

} // namespace
