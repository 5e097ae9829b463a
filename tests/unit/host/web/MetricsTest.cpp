#include "host/web/Metrics.h"

#include <gmock/gmock.h>

#include <cmath>

using namespace Rvl;
using testing::HasSubstr;

TEST(Metrics, SnapshotIsWrittenInTheTextFormat)
{
    SSnapshot snapshot;
    snapshot.controllers.resize(1);
    SControllerState& state = snapshot.controllers[0];
    state.name = "Vessel \"A\"\\\n";
    state.setPoint = 45.5;
    state.actualValue = std::nan("");
    state.enabled = true;
    state.loops.resize(2);
    state.loops[1].steps = 7;
    state.loops[1].worstPeriodError_ms = 2.0;
    state.loops[1].saturation = SLoopStatus::AtMinimum;
    const std::string text = metrics(snapshot, {3, "1.2"});
    EXPECT_THAT(text, HasSubstr("# HELP rivlink_set_point Set point in the channel's unit.\n"
                                "# TYPE rivlink_set_point gauge\n"
                                "rivlink_set_point{channel=\"Vessel \\\"A\\\"\\\\\\n\"} 45.5\n"));
    EXPECT_THAT(text, HasSubstr("rivlink_actual_value{channel=\"Vessel \\\"A\\\"\\\\\\n\"} NaN\n"));
    EXPECT_THAT(text, HasSubstr(",health=\"ok\"} 1\n"));
    EXPECT_THAT(text, HasSubstr(",health=\"fault\"} 0\n"));
    EXPECT_THAT(text, HasSubstr("# TYPE rivlink_loop_steps_total counter\n"));
    EXPECT_THAT(text, HasSubstr(",loop=\"1\"} 7\n"));
    EXPECT_THAT(text, HasSubstr("rivlink_loop_period_error_worst_seconds{channel=\"Vessel "
                                "\\\"A\\\"\\\\\\n\",loop=\"1\"} 0.002\n"));
    EXPECT_THAT(text,
                HasSubstr("rivlink_loop_saturated{channel=\"Vessel \\\"A\\\"\\\\\\n\",loop=\"1\"} -1\n"));
    EXPECT_THAT(text, HasSubstr("\nrivlink_event_clients 3\n"));
    EXPECT_THAT(text, HasSubstr("\nrivlink_build_info{version=\"1.2\"} 1\n"));
}
