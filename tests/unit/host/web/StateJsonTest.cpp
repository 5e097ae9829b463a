#include "host/web/StateJson.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Rvl;

namespace {

SControllerState someState()
{
    SControllerState state;
    state.name = "Vessel";
    state.setPoint = 45.0;
    state.actualValue = std::numeric_limits<double>::quiet_NaN();
    state.controlValue = 12.5;
    state.enabled = true;
    state.health = {EHealth::BadInput, "bad input: Temperature: not a number; disabled"};
    state.loops.resize(1);
    state.loops[0].saturation = SLoopStatus::AtMaximum;
    return state;
}

} // namespace

TEST(StateJson, NumbersThatDoNotExistAreNull)
{
    EXPECT_EQ(Json(), numberJson(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(Json(), numberJson(-std::numeric_limits<double>::infinity()));
    EXPECT_EQ(Json(), numberJson(std::numeric_limits<double>::max())) << "no limit";
    EXPECT_EQ(Json(-2.5), numberJson(-2.5));
}

TEST(StateJson, StateHasItsModeAndHealth)
{
    const Json json = stateJson(someState());
    EXPECT_EQ(45.0, json.at("setPoint"));
    EXPECT_EQ(Json(), json.at("actualValue"));
    EXPECT_EQ("auto", json.at("mode"));
    EXPECT_EQ("badInput", json.at("health").at("kind"));
    EXPECT_EQ("bad input: Temperature: not a number; disabled", json.at("health").at("text"));
    EXPECT_EQ("maximum", json.at("loops").at(0).at("saturation"));
}

TEST(StateJson, ChangesAreTheMembersThatDiffer)
{
    const Json before = stateJson(someState());
    EXPECT_EQ(std::nullopt, changes(before, before));
    SControllerState later = someState();
    later.controlValue = 13.0;
    later.health.text = "ok";
    EXPECT_EQ((Json{{"controlValue", 13.0}, {"health", {{"text", "ok"}}}}),
              changes(before, stateJson(later)));
    later = someState();
    later.loops[0].steps = 7;
    EXPECT_EQ(stateJson(later).at("loops"), changes(before, stateJson(later))->at("loops"))
        << "arrays are whole";
    EXPECT_EQ((Json{{"b", 2}}), changes({{"a", 1}}, {{"a", 1}, {"b", 2}}));
}
