#include "host/console/LiveTable.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

const std::vector<SControllerState> states{
    {"Vessel",
     "\xC2\xB0"
     "C",
     60.0,
     59.87654321,
     45.0,
     true,
     false,
     {},
     {}},
    {"CPU", "", 1.0, 2.0, 3.0, false, false, {EHealth::Off, "off"}, {}},
    {"Valve", "%", 1.0, 2.0, 3.0, true, true, {EHealth::Fault, "fault: Out: the valve is stuck"}, {}}};

} // namespace

TEST(LiveTableTest, TableStaysInItsPlace)
{
    CLiveTable table;
    const std::string first = table.draw(states, {200, 24});
    EXPECT_EQ(
        first,
        "\r\x1b[2Kname    mode    set point  actual value  control value  unit  state\n"
        "\r\x1b[2KVessel  auto    60         59.8765       45             \xC2\xB0"
        "C    ok\n"
        "\r\x1b[2KCPU     off     1          2             3                    off\n"
        "\r\x1b[2KValve   manual  1          2             3              %     fault: Out: the valve is "
        "stuck\n");
    EXPECT_EQ(table.draw(states, {200, 24}), "\x1b[4A" + first);
}

TEST(LiveTableTest, LinesAreCutAtTheTerminalsWidth)
{
    EXPECT_EQ(CLiveTable().draw({states[0]}, {8, 24}), "\r\x1b[2Kname    \n\r\x1b[2KVessel  \n");
}

TEST(LiveTableTest, LinesWithoutRoomAreCounted)
{
    CLiveTable table;
    EXPECT_EQ(table.draw(states, {4, 4}), "\r\x1b[2Kname\n\r\x1b[2KVess\n\r\x1b[2K... \n");
    EXPECT_EQ(table.draw(states, {13, 5}).substr(0, 4), "\x1b[3A") << "up to where it began, and no further";
    const std::string rest = table.draw(states, {14, 4});
    EXPECT_EQ(rest.substr(rest.find("...")), "... and 2 more\n");
}

TEST(LiveTableTest, LineHoldsEveryController)
{
    EXPECT_EQ(stateLine({states[0], states[2]},
                        std::chrono::system_clock::time_point(std::chrono::milliseconds(1'700'000'000'007))),
              "2023-11-14T22:13:20.007Z  Vessel: auto, set point 60 \xC2\xB0"
              "C, actual value 59.8765 \xC2\xB0"
              "C, "
              "control value 45, ok; Valve: manual, set point 1 %, actual value 2 %, control value 3, "
              "fault: Out: the valve is stuck");
}

} // namespace Rvl::Test
