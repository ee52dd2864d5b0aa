// The demo, a shell script, as a user runs it.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

using Demo = TarnTool;

TEST_F(Demo, ShowsADriveAndLeavesNothingRunning) {
    ProcessOptions demo;
    demo.environment["TARN_BIN"] = program_path("tarn").parent_path();
    demo.environment["TARN_DEMO"] = file("demo");
    demo.environment["TMPDIR"] = folder_.path();
    // It gives the bus a moment to carry what it writes, which is too short on a busy machine.
    const auto shown =
        testing::Matches(AllOf(HasSubstr("1010010111110000\n"), HasSubstr(" s  50000\n")));
    ProcessResult result;
    EXPECT_TRUE(eventually([&] {
        result = run_program(source_path("scripts/demo.sh"), {}, demo);
        return result.status != 0 || shown(result.out);
    })) << result.out;
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("$ tarn start cell.xml\n"), HasSubstr("tarn-vcard stopped")));
    EXPECT_THAT(result.err, Not(HasSubstr("tarn: ")));
    ProcessOptions there = options();
    there.environment["XDG_RUNTIME_DIR"] = file("demo") / "run";
    EXPECT_EQ(run_program(program_path("tarn-vcard"), {"status"}, there).status, 1);
}

} // namespace
