// The tool and the version of the driver, which a test can choose under Wine only.
#include "support/wine_win32.h"
#include "tarn_fixture.h"

using namespace tarn::test;
using testing::HasSubstr;
using testing::Not;

namespace {

class TarnDriverVersion : public TarnWithCard {
  protected:
    ProcessResult boards_with_driver(const char *version) const {
        ProcessOptions with_version = options();
        with_version.environment["TARN_TEST_DRIVER_VERSION"] = version;
        return run_program(program_path("tarn"), {"boards"}, with_version);
    }
};

TEST_F(TarnDriverVersion, OldDriverIsRefusedWithTheWholeMessage) {
    if (!under_wine()) {
        GTEST_SKIP() << "the version is the one of the driver that is installed";
    }
    const ProcessResult result = boards_with_driver("1.0.0.0");
    EXPECT_THAT(
        result.err,
        HasSubstr("InitBoardNodeDataByIndex(238): EtherCAT verify driver version failed!"
                  "\r\nCurrent: 1.0.0.0\r\nSupport: 1.0.0.1\r\nplease check pci driver.\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("tarn0")));
}

TEST_F(TarnDriverVersion, OldestDriverIsAccepted) {
    if (!under_wine()) {
        GTEST_SKIP() << "the version is the one of the driver that is installed";
    }
    EXPECT_THAT(boards_with_driver("1.0.0.1").out, HasSubstr("tarn0"));
}

} // namespace
