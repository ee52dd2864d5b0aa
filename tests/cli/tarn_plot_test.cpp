// Pictures of recordings as a user of the tool sees them.
#include "tarn_fixture.h"

#include <pugixml.hpp>

namespace fs = std::filesystem;
using namespace tarn::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

class TarnPlot : public TarnTool {
  protected:
    // The picture of a recording, which must be well-formed.
    std::string picture(const std::string &csv, const std::string &options = "") const {
        write_file("x.csv", csv);
        out("plot x.csv " + options);
        std::string text = read_file("x.svg");
        pugi::xml_document document;
        EXPECT_TRUE(document.load_string(text.c_str())) << text;
        EXPECT_STREQ(document.document_element().name(), "svg");
        EXPECT_THAT(text, AllOf(Not(HasSubstr("nan")), Not(HasSubstr("inf\""))));
        return text;
    }
    static int count(const std::string &text, const std::string &part) {
        int found = 0;
        for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
            ++found;
        }
        return found;
    }
};

TEST_F(TarnPlot, DrawsACurvePerColumn) {
    const std::string svg = picture("time_s,target_inc,position_inc,jitter_us\n"
                                    "0,0,0,1.5\n1,10,9,-2\n2,20,21,3e1\n");
    EXPECT_EQ(count(svg, "<polyline"), 3);
    EXPECT_THAT(svg, AllOf(HasSubstr(">target<"), HasSubstr(">position<"), HasSubstr(">jitter<"),
                           HasSubstr(">time [s]<"), HasSubstr(">increments<"),
                           HasSubstr(">\xC2\xB5s<")));
}

TEST_F(TarnPlot, SaysWhatItDrew) {
    write_file("x.csv", "a,b\n1,2\n3,4\n");
    EXPECT_EQ(out("plot x.csv"), "Drew 2 rows and 1 curve into x.svg\n");
    const JsonDocument drawn = json("plot x.csv -o y.svg");
    EXPECT_EQ(drawn["file"].text(), "y.svg");
    EXPECT_EQ(drawn["rows"].number(), 2);
    EXPECT_EQ(drawn["columns"][1]["name"].text(), "b");
    EXPECT_TRUE(fs::exists(file("y.svg")));
}

TEST_F(TarnPlot, ColumnsOfOneUnitShareAPanel) {
    const std::string apart = picture("t_s,a_us,b_ms\n0,1,2\n1,2,3\n");
    const std::string together = picture("t_s,a_us,b_us\n0,1,2\n1,2,3\n");
    EXPECT_EQ(count(apart, "rotate(-90"), 2);
    EXPECT_EQ(count(together, "rotate(-90"), 1);
}

TEST_F(TarnPlot, CyclesBecomeBars) {
    const std::string svg = picture("t_s,missed_cycles\n0,0\n1,3\n2,0\n3,1\n");
    EXPECT_EQ(count(svg, "<polyline"), 0);
    EXPECT_EQ(count(svg, "width=\"2\""), 2);
}

TEST_F(TarnPlot, ASpikeAmongManyValuesIsNotLost) {
    std::string csv = "t_s,a_us\n";
    for (int i = 0; i < 50000; ++i) {
        csv += std::to_string(i) + "," + (i == 12345 ? "1000" : "1") + "\n";
    }
    const std::string svg = picture(csv);
    EXPECT_LT(svg.size(), 200'000U);
    EXPECT_THAT(svg, HasSubstr(">1000</text>"));
    EXPECT_GT(count(svg, ","), 900);
}

TEST_F(TarnPlot, EqualValuesAreALine) {
    picture("t_s,a_us\n0,5\n1,5\n2,5\n");
    picture("t_s,a_us\n7,0\n7,0\n");
    picture("t_s,a_us\n0,1e12\n1,1e12\n");
}

TEST_F(TarnPlot, TitlesAreEscaped) {
    EXPECT_THAT(picture("t_s,<a&b>_us\n0,5\n1,6\n"), HasSubstr("&lt;a&amp;b&gt;"));
    EXPECT_THAT(picture("t_s,a\n0,5\n1,6\n", "--title <1kHz>"), HasSubstr("&lt;1kHz&gt;"));
}

TEST_F(TarnPlot, TakesLinesOfWindowsAndBlanks) {
    picture("t_s, a_us\r\n0, 5\r\n\r\n1, 6\r\n");
}

TEST_F(TarnPlot, GoesThroughPipes) {
    EXPECT_THAT(out("plot - -o -", "a,b\n1,2\n3,4\n"), HasSubstr("</svg>\n"));
    expect_usage_error("plot -", "-o is needed with standard input");
}

TEST_F(TarnPlot, WhatIsNoTableIsRefused) {
    const char *wrong[][2] = {
        {"", "there is nothing to draw"},
        {"a,b\n", "there is nothing to draw"},
        {"a,b\n1,2\n", "there is nothing to draw"},
        {"a\n1\n2\n", "there is nothing to draw"},
        {"a,b\n1,2\n3\n", "line 3 has 1 value for 2 columns"},
        {"a,b\n1,2\n3,four\n", "line 3 has no number in \"four\""},
        {"a,b\n1,nan\n3,4\n", "line 2 has no number in \"nan\""},
        {"a,b\n1,\n3,4\n", "line 2 has no number in \"\""},
    };
    for (const auto &[text, what] : wrong) {
        write_file("x.csv", text);
        expect_failure("plot x.csv", what);
        EXPECT_FALSE(fs::exists(file("x.svg")));
    }
}

TEST_F(TarnPlot, TooManyUnitsAreRefused) {
    std::string titles = "t_s";
    std::string row = "1";
    for (char unit = 'a'; unit < 'n'; ++unit) {
        titles += std::string(",x_") + unit;
        row += ",1";
    }
    write_file("x.csv", titles + "\n" + row + "\n" + row + "\n");
    expect_failure("plot x.csv", "13 units, but only 12 can be drawn");
}

TEST_F(TarnPlot, FilesAreToldApart) {
    expect_usage_error("plot", "FILE");
    expect_failure("plot none.csv", "(32848)");
    write_file("x.svg", "a,b\n1,2\n3,4\n");
    expect_usage_error("plot x.svg", "would replace the file that it is made from");
    expect_usage_error("plot x.svg -o ./x.svg", "would replace the file that it is made from");
    expect_failure("plot x.svg -o nowhere/x.svg", "nowhere");
    expect_usage_error("plot x.svg -o - --json", "standard output");
}

TEST_F(TarnPlot, HelpHasAnExample) {
    EXPECT_THAT(out("plot --help"), HasSubstr("tarn plot axis.csv"));
}

} // namespace
