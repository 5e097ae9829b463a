#include "host/TypeReport.h"

#include "tests/unit/host/HostProgram.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Rvl::Test {

TEST(TypeReportTest, TypeIsToldWithItsInheritedKeys)
{
    const SProgramResult result = runHost({"types", "--plugin", "rivlink_fake", "Rvl::CFakeOutput"});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(
        result.out,
        "Rvl::CFakeOutput  (channel, rivlink_fake)\n"
        "  an output that keeps a journal\n"
        "  provides: analogOut\n"
        "  key                       type       unit  range   default  required  meaning\n"
        "  <xmlattr>.Name            text                              yes       the channel's name\n"
        "  <xmlattr>.Type            text                              yes       the channel's type\n"
        "  Scaling                   section                           no        scaled = Factor * "
        "unscaled + Offset\n"
        "  Scaling.<xmlattr>.Factor  real                     1        no        factor\n"
        "  Scaling.<xmlattr>.Offset  real                     0        no        offset\n"
        "  Scaling.<xmlattr>.Unit    text                     \"\"       no        unit of scaled values\n"
        "  <xmlattr>.Device          reference        device           yes       its device\n"
        "  <xmlattr>.Stuck           boolean                  false    no        refuses every write\n");
}

TEST(TypeReportTest, JsonHoldsEveryTypeOfThePlugin)
{
    const SProgramResult result = runHost({"types", "--plugin", "rivlink_fake", "--json"});
    const auto json = nlohmann::json::parse(result.out);
    std::vector<std::string> names;
    for (const auto& type : json.at("types")) {
        names.push_back(type.at("name"));
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Rvl::CFakeBus", "Rvl::CFakeDevice", "Rvl::CFakeInput",
                                               "Rvl::CFakeOutput", "Rvl::CFakeController", "Rvl::CFakeLoop",
                                               "Rvl::CFakeLoopIn", "Rvl::CFakeLoopOut"}));
    const auto& gain = json.at("types").at(5).at("keys").at(3);
    EXPECT_EQ(gain.dump(), R"({"exclusiveMinimum":true,"meaning":"gain","minimum":0.0,)"
                           R"("path":"Parameters.<xmlattr>.Gain","required":true,"type":"real"})");
}

TEST(TypeReportTest, UnknownTypeIsAnsweredWithTheChoices)
{
    const SProgramResult result = runHost({"types", "--plugin", "rivlink_fake", "Rvl::CFakeLop"});
    EXPECT_EQ(result.err,
              "\"Rvl::CFakeLop\" is a type of no loaded plug-in; expected one of Rvl::CFakeBus, "
              "Rvl::CFakeDevice, Rvl::CFakeInput, Rvl::CFakeOutput, Rvl::CFakeController, "
              "Rvl::CFakeLoop, Rvl::CFakeLoopIn, Rvl::CFakeLoopOut (did you mean \"Rvl::CFakeLoop\"?)\n");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.exitCode, 64);
}

} // namespace Rvl::Test
