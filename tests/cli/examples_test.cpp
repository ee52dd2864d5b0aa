// The examples, as a user runs them.
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;

namespace {

class Examples : public TarnWithCard {
  protected:
    ProcessResult run(const std::string &name, const std::vector<std::string> &arguments) const {
        return run_program(program_path("example-" + name), arguments, options());
    }

    // Eight bytes of outputs come back as inputs: the digital slaves lie first.
    void expect_first_light(const std::string &name) {
        EXPECT_EQ(vcard("make-eni -o io.xml --slave dio8:8").status, 0);
        const ProcessResult result = run(name, {"io.xml", "tarn1"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_THAT(result.out, AllOf(HasSubstr("starting 100 %"),
                                      HasSubstr("wrote 0a, read 0a 0a 0a 0a 0a 0a 0a 0a\n")));
        EXPECT_TRUE(json("status --board tarn1")["running"].is_false());
    }
    void expect_failures_are_told(const std::string &name) {
        EXPECT_EQ(run(name, {}).status, 2);
        const ProcessResult no_card = run(name, {"cell.xml", "nobody"});
        EXPECT_EQ(no_card.status, 1);
        EXPECT_THAT(no_card.err, HasSubstr("open: Device not find (80004)"));
        const ProcessResult no_file = run(name, {"none.xml"});
        EXPECT_EQ(no_file.status, 1);
        EXPECT_THAT(no_file.err, HasSubstr("start: Can't open file (32848)"));
    }
};

TEST_F(Examples, FirstLightInC) {
    expect_first_light("first_light-c");
}

TEST_F(Examples, FirstLightInCpp) {
    expect_first_light("first_light-cpp");
}

TEST_F(Examples, FirstLightInCTellsFailures) {
    expect_failures_are_told("first_light-c");
}

TEST_F(Examples, FirstLightInCppTellsFailures) {
    expect_failures_are_told("first_light-cpp");
}

} // namespace
