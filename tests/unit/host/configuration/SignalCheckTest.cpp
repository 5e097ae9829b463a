#include "host/configuration/SignalCheck.h"

#include "host/configuration/Configuration.h"
#include "host/configuration/ConfigurationCheck.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

constexpr const char* descriptions = R"({"plugin": "p", "types": [
    {"name": "device", "kind": "abstract", "keys": []},
    {"name": "Family", "kind": "abstract", "bases": ["device"], "signals": [
        {"name": "Mode", "kind": "port", "meaning": "m"}]},
    {"name": "Bench", "kind": "device", "bases": ["Family"], "signals": [
        {"name": "Level", "kind": "sensor", "unit": "mm", "meaning": "m"},
        {"name": "Valve", "kind": "actuator", "meaning": "m"}], "keys": [
        {"path": "Fault", "type": "section", "repeated": true},
        {"path": "Fault.<xmlattr>.Kind", "type": "choice", "choices": ["Stuck", "Dead", "Away"], "required": true},
        {"path": "Fault.<xmlattr>.Signal", "type": "text", "signal": {"choice": "Kind", "kinds":
            {"Stuck": ["sensor"], "Dead": ["actuator", "port"], "Away": []}}},
        {"path": "Fault.<xmlattr>.From", "type": "real", "default": 0},
        {"path": "Fault.<xmlattr>.To", "type": "real", "above": ".From"}]},
    {"name": "Other", "kind": "device", "bases": ["device"]},
    {"name": "In", "kind": "channel", "keys": [
        {"path": "Device", "type": "reference", "nameServer": "device", "ofType": "Family", "required": true},
        {"path": "Signal", "type": "text", "required": true,
         "signal": {"device": "Device", "kinds": ["sensor"]}}]},
    {"name": "Out", "kind": "channel", "keys": [
        {"path": "Device", "type": "reference", "nameServer": "device", "required": true},
        {"path": "Signal", "type": "text", "required": true,
         "signal": {"device": "Device", "kinds": ["actuator", "port"], "exclusive": true}},
        {"path": "<xmlattr>.Factor", "type": "real", "excluded": 0},
        {"path": "<xmlattr>.Safe", "type": "real", "default": 0},
        {"path": "<xmlattr>.Low", "type": "real", "notAbove": "<xmlattr>.Safe"},
        {"path": "<xmlattr>.High", "type": "real", "notBelow": "<xmlattr>.Safe"},
        {"path": "<xmlattr>.Part", "type": "real", "default": 50,
         "notAbove": {"key": "<xmlattr>.High", "times": 0.5}}]},
    {"name": "Rig", "kind": "device", "bases": ["device"], "signals": [
        {"name": "Current", "kind": "actuator", "minimum": 4, "maximum": 20, "meaning": "m"},
        {"name": "Lines", "kind": "port", "lines": 3, "meaning": "m"},
        {"name": "Free", "kind": "actuator", "meaning": "m"}]},
    {"name": "SafeOut", "kind": "channel", "keys": [
        {"path": "Device", "type": "reference", "nameServer": "device", "required": true},
        {"path": "Signal", "type": "text", "required": true, "signal": {"device": "Device", "kinds": ["actuator"]}},
        {"path": "Scaling", "type": "section"},
        {"path": "Scaling.<xmlattr>.Factor", "type": "real", "default": 1},
        {"path": "Scaling.<xmlattr>.Offset", "type": "real", "default": 0},
        {"path": "<xmlattr>.SafeValue", "type": "real", "default": 0, "role": "safeValue"}]},
    {"name": "SafePort", "kind": "channel", "keys": [
        {"path": "Device", "type": "reference", "nameServer": "device", "required": true},
        {"path": "Signal", "type": "text", "required": true, "signal": {"device": "Device", "kinds": ["port"]}},
        {"path": "<xmlattr>.SafeValue", "type": "hexadecimal", "default": "0", "role": "safeValue"}]}
]})";

std::string checked(const std::string& devices, const std::string& channels, bool complete = true)
{
    CTypeCatalogue catalogue;
    catalogue.addText(descriptions, "x");
    catalogue.resolve();
    const CConfiguration configuration =
        CConfiguration::parse("<Configuration><Plugins><Plugin Name=\"p\"/></Plugins><Devices>" + devices +
                                  "</Devices>\n<Channels>" + channels + "</Channels></Configuration>",
                              "c.xml");
    CFaultList faults;
    CConfigurationCheck(configuration, catalogue, complete, {}, faults).run();
    return faults.report("c.xml");
}

const std::string bench = "<Device Name=\"B\" Type=\"Bench\"/>";

std::string in(const std::string& device, const std::string& signal)
{
    return "<Channel Name=\"" + device + signal + "\" Type=\"In\"><Device>" + device + "</Device><Signal>" +
           signal + "</Signal></Channel>\n";
}

std::string out(const std::string& device, const std::string& signal, const std::string& attributes = "")
{
    return "<Channel Name=\"O\" Type=\"Out\"" + attributes + "><Device>" + device + "</Device><Signal>" +
           signal + "</Signal></Channel>\n";
}

/// What is wrong with an output's safe value.
std::string checkedSafeValue(const std::string& type, const std::string& signal,
                             const std::string& attributes, const std::string& content = "")
{
    const std::string report =
        checked("<Device Name=\"R\" Type=\"Rig\"/>", "<Channel Name=\"O\" Type=\"" + type + "\"" +
                                                         attributes + "><Device>R</Device><Signal>" + signal +
                                                         "</Signal>" + content + "</Channel>");
    const std::string where = "c.xml:2: /Configuration/Channels/Channel[@SafeValue]: ";
    return report.starts_with(where) ? report.substr(where.size()) : report;
}

/// What is wrong with a fault of the bench.
std::string checkedFault(const std::string& attributes)
{
    const std::string report =
        checked("<Device Name=\"B\" Type=\"Bench\">\n<Fault " + attributes + "/></Device>", "");
    const std::string where = "c.xml:2: /Configuration/Devices/Device/Fault";
    return report.starts_with(where) ? report.substr(where.size()) : report;
}

} // namespace

TEST(SignalCheckTest, SensorOfTheDeviceIsFound)
{
    EXPECT_EQ("", checked(bench, in("B", "Level")));
}

TEST(SignalCheckTest, SignalOfAnotherKindOrOfNoneIsReportedAtItsOwnLine)
{
    EXPECT_EQ("c.xml:2: /Configuration/Channels/Channel[1]/Signal: \"Valve\" is no sensor of device \"B\"; "
              "expected \"Level\"\n"
              "c.xml:3: /Configuration/Channels/Channel[2]/Signal: \"Mod\" is no actuator or port of device "
              "\"B\"; expected one of Mode, Valve (did you mean \"Mode\"?)\n",
              checked(bench, in("B", "Valve") + out("B", "Mod")));
}

TEST(SignalCheckTest, InheritedSignalIsTheDevicesToo)
{
    EXPECT_EQ("", checked(bench, out("B", "Mode")));
}

TEST(SignalCheckTest, SecondDriverOfASignalIsReportedWithTheFirstOne)
{
    EXPECT_EQ(
        "c.xml:4: /Configuration/Channels/Channel[3]/Signal: \"Valve\" of device \"B\" is already driven by "
        "/Configuration/Channels/Channel[1]; expected one that is not driven\n",
        checked(bench + "<Device Name=\"C\" Type=\"Bench\"/>",
                "<Channel Name=\"1\" Type=\"Out\"><Device>B</Device><Signal>Valve</Signal></Channel>\n"
                "<Channel Name=\"2\" Type=\"Out\"><Device>C</Device><Signal>Valve</Signal></Channel>\n"
                "<Channel Name=\"3\" Type=\"Out\"><Device>B</Device><Signal>Valve</Signal></Channel>\n"));
}

TEST(SignalCheckTest, SensorMayBeReadByMany)
{
    EXPECT_EQ("", checked(bench, in("B", "Level") + "<Channel Name=\"2\" Type=\"In\"><Device>B</Device>"
                                                    "<Signal>Level</Signal></Channel>"));
}

TEST(SignalCheckTest, DeviceOfAnotherFamilyIsReported)
{
    EXPECT_EQ(
        "c.xml:2: /Configuration/Channels/Channel/Device: \"D\" is of the type Other, which is no Family; "
        "expected \"B\"\n",
        checked(bench + "<Device Name=\"D\" Type=\"Other\"/>", in("D", "Level")));
    EXPECT_EQ(
        "c.xml:2: /Configuration/Channels/Channel/Device: \"D\" is of the type Other, which is no Family; "
        "expected one that is, but the configuration has none\n",
        checked("<Device Name=\"D\" Type=\"Other\"/>", in("D", "Level")));
}

TEST(SignalCheckTest, WhatIsNotKnownIsNotChecked)
{
    // a device without described signals; one of an unknown type; one that is not there
    EXPECT_EQ("", checked("<Device Name=\"D\" Type=\"Other\"/>", out("D", "Anything")));
    EXPECT_EQ("", checked("<Device Name=\"D\" Type=\"Elsewhere\"/>", out("D", "Anything"), false));
    EXPECT_EQ("c.xml:2: /Configuration/Channels/Channel/Device: \"D\" is not the name of a device; "
              "expected \"B\"\n",
              checked(bench, out("D", "Anything")));
}

TEST(SignalCheckTest, ChoiceBesideTheKeyDecidesOnTheKind)
{
    EXPECT_EQ("", checkedFault("Kind=\"Stuck\" Signal=\"Level\""));
    EXPECT_EQ("", checkedFault("Kind=\"Dead\" Signal=\"Mode\""));
    EXPECT_EQ("[@Signal]: \"Level\" is no actuator or port of device \"B\"; expected one of Mode, Valve\n",
              checkedFault("Kind=\"Dead\" Signal=\"Level\""));
    EXPECT_EQ("[@Kind]: \"Odd\" is no choice; expected one of Stuck, Dead, Away\n",
              checkedFault("Kind=\"Odd\" Signal=\"Level\""));
}

TEST(SignalCheckTest, ChoiceDecidesWhetherASignalIsNamedAtAll)
{
    EXPECT_EQ("", checkedFault("Kind=\"Away\""));
    EXPECT_EQ("", checkedFault("Kind=\"Away\" Signal=\"\""));
    EXPECT_EQ("[@Signal]: \"Level\" is not read while Kind is Away; expected no signal\n",
              checkedFault("Kind=\"Away\" Signal=\"Level\""));
    EXPECT_EQ("[@Signal]: is missing; expected \"Level\"\n", checkedFault("Kind=\"Stuck\""));
    EXPECT_EQ("[@Signal]: is missing; expected one of Mode, Valve\n", checkedFault("Kind=\"Dead\""));
}

TEST(SignalCheckTest, NumberIsCheckedAgainstItsNeighbourInTheSameSection)
{
    EXPECT_EQ("", checkedFault("Kind=\"Away\" From=\"1\" To=\"1.5\""));
    EXPECT_EQ("[@To]: \"1\" is not above From; expected more than 1\n",
              checkedFault("Kind=\"Away\" From=\"1\" To=\"1\""));
    // not against that of another section
    EXPECT_EQ("", checked("<Device Name=\"B\" Type=\"Bench\"><Fault Kind=\"Away\" From=\"5\"/>"
                          "<Fault Kind=\"Away\" From=\"1\" To=\"2\"/></Device>",
                          ""));
}

TEST(SignalCheckTest, NeighbourThatIsAbsentCountsAsItsDefault)
{
    EXPECT_EQ("", checkedFault("Kind=\"Away\" To=\"0.1\""));
    EXPECT_EQ("[@To]: \"0\" is not above From, by default 0; expected more than 0\n",
              checkedFault("Kind=\"Away\" To=\"0\""));
    EXPECT_EQ("", checked(bench, out("B", "Mode", " Low=\"0\" High=\"0\"")));
    EXPECT_EQ(
        "c.xml:2: /Configuration/Channels/Channel[@Low]: \"1\" is above Safe, by default 0; expected at "
        "most 0\n"
        "c.xml:2: /Configuration/Channels/Channel[@High]: \"-1\" is below Safe, by default 0; expected at "
        "least 0\n",
        checked(bench, out("B", "Mode", " Low=\"1\" High=\"-1\"")));
}

TEST(SignalCheckTest, LimitMayBeAShareOfAnotherNumber)
{
    EXPECT_EQ("", checked(bench, out("B", "Mode", " High=\"10\" Part=\"5\"")));
    EXPECT_EQ("", checked(bench, out("B", "Mode", " High=\"10\" Part=\"50\""))) << "as if it were absent";
    EXPECT_EQ("", checked(bench, out("B", "Mode", " Part=\"5\""))) << "nothing to hold it against";
    EXPECT_EQ(
        "c.xml:2: /Configuration/Channels/Channel[@Part]: \"6\" is above 0.5 of High; expected at most 5\n",
        checked(bench, out("B", "Mode", " High=\"10\" Part=\"6\"")));
}

TEST(SignalCheckTest, OneNumberWithinTheRangeMayBeRefused)
{
    EXPECT_EQ("", checked(bench, out("B", "Mode", " Factor=\"-1\"")));
    EXPECT_EQ("c.xml:2: /Configuration/Channels/Channel[@Factor]: \"0.0\" is refused; expected a real number "
              "other than 0\n",
              checked(bench, out("B", "Mode", " Factor=\"0.0\"")));
}

TEST(SignalCheckTest, SafeValueMustLieInTheActuatorsRange)
{
    EXPECT_EQ("", checkedSafeValue("SafeOut", "Current", " SafeValue=\"4\""));
    EXPECT_EQ("\"3.9\" is outside the range of actuator \"Current\"; expected one from 4 to 20\n",
              checkedSafeValue("SafeOut", "Current", " SafeValue=\"3.9\""));
    EXPECT_EQ("is missing; expected one from 4 to 20, as the default, 0, is outside the range of actuator "
              "\"Current\"\n",
              checkedSafeValue("SafeOut", "Current", ""));
    EXPECT_EQ("", checkedSafeValue("SafeOut", "Free", " SafeValue=\"-1e9\"")) << "its range is not known";
}

TEST(SignalCheckTest, SafeValueIsOnTheChannelsScale)
{
    const std::string falling = "<Scaling Factor=\"-6.25\" Offset=\"125\"/>"; // 4 to 20 are 100 to 0
    EXPECT_EQ("", checkedSafeValue("SafeOut", "Current", "", falling)) << "0 is 20 unscaled";
    EXPECT_EQ("", checkedSafeValue("SafeOut", "Current", " SafeValue=\"100\"", falling));
    EXPECT_EQ("\"101\" is outside the range of actuator \"Current\"; expected one from 0 to 100\n",
              checkedSafeValue("SafeOut", "Current", " SafeValue=\"101\"", falling));
}

TEST(SignalCheckTest, SafeValueOfAPortIsAPatternOfItsLines)
{
    EXPECT_EQ("", checkedSafeValue("SafePort", "Lines", ""));
    EXPECT_EQ("", checkedSafeValue("SafePort", "Lines", " SafeValue=\"0x7\""));
    EXPECT_EQ("\"0x10\" is outside the range of actuator \"Lines\"; expected one from 0 to 7\n",
              checkedSafeValue("SafePort", "Lines", " SafeValue=\"0x10\""));
}

} // namespace Rvl::Test
