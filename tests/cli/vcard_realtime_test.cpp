// What tarn-vcard shows of the real-time half of its cards, and its faults there.
#include "vcard_fixture.h"

#include <string>
#include <vector>

using namespace tarn::test;
using testing::HasSubstr;
using testing::Not;

namespace {

class VcardRealtime : public Vcard {
  protected:
    void serve() { ASSERT_EQ(run({"start", "--each", "start-ms=0"}).status, 0); }
    void start_bus() {
        serve();
        ASSERT_EQ(run({"make-eni", "-o", file("io.xml"), "--slave", "dio16:2"}).status, 0);
        const ProcessResult started =
            run_program(program_path("tarn"), {"start", file("io.xml")}, options());
        ASSERT_EQ(started.status, 0) << started.err;
    }
    std::string status() const { return run({"status"}).out; }
};

TEST_F(VcardRealtime, StatusShowsQueuesAndWatchdogOfAConfiguredBus) {
    start_bus();
    EXPECT_THAT(status(), HasSubstr("queues: input "));
    EXPECT_THAT(status(), HasSubstr("watchdog: 0 slaves configured, disabled, stopped"));
    EXPECT_THAT(status(), Not(HasSubstr("socket:")));
}

TEST_F(VcardRealtime, StatusShowsNothingOfThemWithoutAConfiguration) {
    serve();
    EXPECT_THAT(status(), Not(HasSubstr("queues:")));
    EXPECT_THAT(status(), Not(HasSubstr("watchdog:")));
}

TEST_F(VcardRealtime, StatusCountsTheImagesThatAFullQueueDropped) {
    start_bus();
    EXPECT_TRUE(eventually([this] {
        const std::string text = status();
        return text.find("input 128 of 128, ") != std::string::npos &&
               text.find("128 of 128, 0 dropped") == std::string::npos;
    }));
}

TEST_F(VcardRealtime, LossOfCycleInterruptsIsTaken) {
    serve();
    EXPECT_EQ(run({"fault", "lose-cycle-interrupts", "3"}).status, 0);
    EXPECT_EQ(run({"fault", "clear"}).status, 0);
    expect_usage_error({"fault", "lose-cycle-interrupts", "some"}, "is no number");
}

} // namespace
