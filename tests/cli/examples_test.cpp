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

    // Eight bytes of outputs come back as inputs: the digital slaves lie first. When the machine is
    // busy the bus may miss the last of them.
    void expect_first_light(const std::string &name) {
        EXPECT_EQ(vcard("make-eni -o io.xml --slave dio8:8").status, 0);
        const std::string last = "wrote 0a, read 0a 0a 0a 0a 0a 0a 0a 0a\n";
        ProcessResult result;
        EXPECT_TRUE(eventually([&] {
            result = run(name, {"io.xml", "tarn1"});
            return result.status != 0 || result.out.find(last) != std::string::npos;
        })) << result.out;
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_THAT(result.out, HasSubstr("starting 100 %"));
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

// ---- axis ---------------------------------------------------------------------------------------

class AxisExample : public Examples {
  protected:
    static std::string eni() { return source_path("examples/eni/axis.xml").string(); }
    std::vector<std::string> arguments(const std::string &options) const {
        std::vector<std::string> result = {eni()};
        for (const std::string &word : words(options)) {
            result.push_back(word);
        }
        return result;
    }
    ProcessResult move(const std::string &options) const {
        return run("axis-cpp", arguments(options));
    }
    // The same until the axis got that far: when the machine is busy a short move may be over
    // before it has begun.
    ProcessResult move_until(const std::string &options, const std::string &recording,
                             double position) const {
        ProcessResult result;
        EXPECT_TRUE(eventually([&] {
            result = move(options);
            return result.status != 0 || highest(column(recording, 2)) > position;
        })) << result.out;
        return result;
    }
    static double highest(const std::vector<double> &values) {
        return values.empty() ? 0 : *std::max_element(values.begin(), values.end());
    }
    // A move that is under way soon and does not end.
    static constexpr char kLongMove[] = "--mode direct --seconds 600 --distance 10000000";
    // Whether the axis of a program that runs has left its first position.
    bool moves_soon() const {
        return eventually([this] {
            const ProcessResult position =
                tarn("pi read --slave 1 --offset 4 --length 4 --format i32");
            return position.status == 0 && position.out != "0\n";
        });
    }
    // One column of a recording.
    std::vector<double> column(const std::string &file, size_t number) const {
        std::istringstream lines(read_file(file));
        std::vector<double> values;
        std::string line;
        std::getline(lines, line); // titles
        while (std::getline(lines, line)) {
            std::istringstream cells(line);
            std::string cell;
            for (size_t i = 0; i <= number; ++i) {
                std::getline(cells, cell, ',');
            }
            values.push_back(std::stod(cell));
        }
        return values;
    }
};

TEST_F(AxisExample, MovesThereAndBackAndRecordsIt) {
    const ProcessResult result =
        move_until("--mode direct --seconds 0.6 --distance 3000", "axis.csv", 100);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("moved there and back after "));
    EXPECT_THAT(read_file("axis.csv"),
                testing::StartsWith("time_s,target_inc,position_inc,jitter_us,missed_cycles\n0."));
    const std::vector<double> targets = column("axis.csv", 1);
    EXPECT_GT(highest(targets), 100);
    EXPECT_LE(highest(targets), 3000);
    EXPECT_TRUE(json("status")["running"].is_false());
}

TEST_F(AxisExample, RunsInEachMode) {
    const bool granted = json("mode")["realtime"]["granted"].is_true();
    for (const std::string mode : {"manual", "cycle"}) {
        if (mode == "cycle" && !granted) {
            continue;
        }
        const std::string recording = mode + ".csv";
        const ProcessResult result =
            move_until("--seconds 0.3 --csv " + recording + " --mode " + mode, recording, 1);
        EXPECT_EQ(result.status, 0) << result.err;
    }
}

TEST_F(AxisExample, TheRecordingIsDrawn) {
    ASSERT_EQ(move_until("--mode manual --seconds 0.2", "axis.csv", 1).status, 0);
    out("plot axis.csv");
    EXPECT_THAT(read_file("axis.svg"), AllOf(HasSubstr(">target<"), HasSubstr("</svg>")));
}

TEST_F(AxisExample, CtrlCStopsTheAxisAndTheBus) {
    BackgroundProcess moving(program_path("example-axis-cpp"), arguments(kLongMove), options());
    ASSERT_TRUE(moves_soon());
    moving.send_signal(Signal::kInterrupt);
    ProcessResult result;
    ASSERT_TRUE(moving.wait(kPatience, &result));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("interrupted after "));
    EXPECT_TRUE(json("status")["running"].is_false());
    EXPECT_GT(column("axis.csv", 0).size(), 1U);
}

TEST_F(AxisExample, ADriveThatFallsOutIsTold) {
    BackgroundProcess moving(program_path("example-axis-cpp"), arguments(kLongMove), options());
    ASSERT_TRUE(moves_soon());
    EXPECT_EQ(vcard("fault al-status 1 0x1b").status, 0);
    ProcessResult result;
    ASSERT_TRUE(moving.wait(kPatience, &result));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("the drive"));
    EXPECT_TRUE(json("status")["running"].is_false());
}

TEST_F(AxisExample, NonsenseIsRefused) {
    for (const char *options : {"--mode quick", "--seconds 0", "--seconds", "--slave x",
                                "--speed 3", "--cycle-us 1", "--distance 1x"}) {
        const ProcessResult result = move(options);
        EXPECT_EQ(result.status, 2) << options;
        EXPECT_THAT(result.err, HasSubstr("usage: ")) << options;
    }
    EXPECT_EQ(run("axis-cpp", {}).status, 2);
}

TEST_F(AxisExample, HelpIsNoError) {
    const ProcessResult result = run("axis-cpp", {"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("usage: "));
}

TEST_F(AxisExample, TellsFailures) {
    const ProcessResult no_card = move("--board nobody");
    EXPECT_EQ(no_card.status, 1);
    EXPECT_THAT(no_card.err, HasSubstr("open: Device not find (80004)"));
    const ProcessResult no_file = run("axis-cpp", {"none.xml"});
    EXPECT_EQ(no_file.status, 1);
    EXPECT_THAT(no_file.err, HasSubstr("start: Can't open file (32848)"));
    const ProcessResult no_folder = move("--mode direct --seconds 0.05 --csv nowhere/axis.csv");
    EXPECT_EQ(no_folder.status, 1);
    EXPECT_THAT(no_folder.err, HasSubstr("cannot write nowhere/axis.csv"));
    EXPECT_TRUE(json("status")["running"].is_false());
}

TEST_F(AxisExample, ASlaveThatIsNoDriveIsTold) {
    EXPECT_EQ(move("--mode direct --slave 9").status, 1);
}

} // namespace
