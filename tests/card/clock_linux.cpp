// Time zones with rules of their own.
#include "master_fixture.h"
#include "support/this_process.h"

namespace {

class BusRunClockRules : public tarn::test::MasterTest {};

TEST_F(BusRunClockRules, AFixedDayCountsAlsoWhereItLiesInSummer) {
    tarn::test::set_time_zone("AEST-10AEDT,M10.1.0,M4.1.0/3");
    open();
    start_bus();
    EXPECT_EQ(peek<int64_t>(bar2() + 424), 39600);
}

} // namespace
