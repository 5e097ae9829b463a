#include "host/session/ParameterCheck.h"

#include "host/session/Commands.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>

using testing::HasSubstr;

namespace Rvl::Test {

namespace {

/// What keeps these times from being put in force; empty if nothing does.
std::string refusalOf(double integral_s, double tracking_s, double sample_ms, double gain = 1.0)
{
    const std::filesystem::path root =
        std::filesystem::path(RIVLINK_HOST_TEST_FOLDER).parent_path().parent_path().parent_path();
    CTypeCatalogue catalogue;
    catalogue.addFile(root / "platform" / "rivlink_platform.types.json");
    catalogue.addFile(root / "driver" / "local" / "rivlink_local.types.json");
    catalogue.resolve();
    const SLoopParameters parameters{"p",
                                     false,
                                     {{"K", gain},
                                      {"Ti", integral_s},
                                      {"Tt", tracking_s},
                                      {"Td", 0.0},
                                      {"MinU", 0.0},
                                      {"MaxU", 100.0},
                                      {"SampleTime_ms", sample_ms}}};
    try {
        checkDescribed(*catalogue.find("Rvl::CPIDControlLoop"), parameters);
    } catch (const CCommandRefused& refused) {
        return refused.field() + ": " + refused.what();
    }
    return {};
}

} // namespace

TEST(ParameterCheckTest, AntiWindupThatRunsAwayIsRefusedAsInAConfiguration)
{
    EXPECT_EQ("", refusalOf(5.0, 0.0, 100.0));
    EXPECT_EQ("", refusalOf(5.0, 0.05, 100.0)) << "which overshoots, but is stable";
    EXPECT_THAT(refusalOf(5.0, 0.01, 100.0),
                HasSubstr("Tt: a sample time of 100 ms is above twice the tracking"));
    EXPECT_THAT(refusalOf(0.01, 0.0, 100.0), HasSubstr("which is 0.8 times the integral time"));
    EXPECT_EQ("", refusalOf(0.0, 0.01, 100.0)) << "without integral action";
}

} // namespace Rvl::Test
