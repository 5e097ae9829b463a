#include "host/documents/TypeReport.h"

#include "tests/unit/host/HostProgram.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Rvl::Test {

TEST(TypeReportTest, TypeIsListedWithItsInheritedKeys)
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

TEST(TypeReportTest, SignalsAndReferencesToThemAreListed)
{
    CTypeCatalogue catalogue;
    catalogue.addText(R"({"plugin": "p", "types": [
        {"name": "D", "kind": "device", "meaning": "m", "signals": [
            {"name": "Level", "kind": "sensor", "unit": "mm", "meaning": "how high"},
            {"name": "Valve", "kind": "actuator", "meaning": "how open"}], "keys": []},
        {"name": "C", "kind": "channel", "meaning": "m", "keys": [
            {"path": "A", "type": "text", "signal": {"device": "B", "kinds": ["sensor"], "exclusive": true}},
            {"path": "B", "type": "reference", "nameServer": "device", "ofType": "D"},
            {"path": "E", "type": "text", "signal": {"choice": "F", "kinds": {"x": ["sensor"], "y": []}}},
            {"path": "G", "type": "real", "notAbove": "H", "notBelow": {"key": "I", "times": 0.5},
             "above": "J", "excluded": 0}]}
    ]})",
                      "x");
    catalogue.resolve();
    const std::string report = typeReport({catalogue.find("D")});
    EXPECT_NE(report.find("  m\n  provides: device\n"
                          "  signal  kind      unit  meaning\n"
                          "  Level   sensor    mm    how high\n"
                          "  Valve   actuator        how open\n"
                          "\n"
                          "  key "),
              std::string::npos)
        << report;

    const auto types = nlohmann::json::parse(typeReportAsJson(catalogue.types())).at("types");
    EXPECT_EQ(R"([{"kind":"sensor","meaning":"how high","name":"Level","unit":"mm"},)"
              R"({"kind":"actuator","meaning":"how open","name":"Valve"}])",
              types.at(0).at("signals").dump());
    const auto& keys = types.at(1).at("keys"); // behind the name and the type
    EXPECT_EQ(R"({"device":"B","exclusive":true,"kinds":["sensor"]})", keys.at(2).at("signal").dump());
    EXPECT_EQ("D", keys.at(3).at("ofType"));
    EXPECT_EQ(R"({"choice":"F","kinds":{"x":["sensor"],"y":[]}})", keys.at(4).at("signal").dump());
    EXPECT_EQ(R"({"above":"J","excluded":0.0,"meaning":"","notAbove":"H",)"
              R"("notBelow":{"key":"I","times":0.5},"path":"G","required":false,"type":"real"})",
              keys.at(5).dump());
}

TEST(TypeReportTest, UnknownTypeIsReportedWithTheChoices)
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
