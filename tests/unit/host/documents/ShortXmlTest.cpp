#include "host/documents/ShortXml.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

std::string shortXmlOf(const std::string& types, const std::string& name)
{
    CTypeCatalogue catalogue;
    catalogue.addText(R"({"plugin": "p", "types": [)" + types + "]}", "x");
    catalogue.resolve();
    return shortXml(catalogue, *catalogue.find(name));
}

} // namespace

TEST(ShortXmlTest, TypeIsShownWithItsRequiredKeys)
{
    EXPECT_EQ(shortXmlOf(R"(
        {"name": "Rvl::CHotPlate", "kind": "device", "keys": [
            {"path": "<xmlattr>.Bus", "type": "text"},
            {"path": "<xmlattr>.Count", "type": "integer", "minimum": 5, "required": true},
            {"path": "<xmlattr>.Share", "type": "real", "maximum": 0.5, "required": true},
            {"path": "<xmlattr>.On", "type": "boolean", "required": true},
            {"path": "<xmlattr>.Bits", "type": "hexadecimal", "required": true},
            {"path": "<xmlattr>.Mode", "type": "choice", "choices": ["Fast", "Slow"], "required": true},
            {"path": "Sensor", "type": "reference", "nameServer": "analogIn", "required": true},
            {"path": "Above", "type": "real", "minimum": 2, "exclusiveMinimum": true, "required": true},
            {"path": "Note", "type": "text", "required": true},
            {"path": "Zone", "type": "section", "required": true},
            {"path": "Zone.<xmlattr>.Width", "type": "real", "required": true},
            {"path": "Zone.<xmlattr>.Depth", "type": "real"},
            {"path": "More", "type": "section"},
            {"path": "More.<xmlattr>.Key", "type": "real", "required": true}]},
        {"name": "Rvl::CPT100Sensor", "kind": "channel", "provides": ["analogIn"]})",
                         "Rvl::CHotPlate"),
              "<Device Name=\"Hot plate\" Type=\"Rvl::CHotPlate\" Count=\"5\" Share=\"0.5\" On=\"true\" "
              "Bits=\"0x01\"\n"
              "        Mode=\"Fast\">\n"
              "  <Sensor>PT100 sensor</Sensor>\n"
              "  <Above>3</Above>\n"
              "  <Note>Hot plate</Note>\n"
              "  <Zone Width=\"1\"/>\n"
              "</Device>\n");
}

TEST(ShortXmlTest, ExamplesOfTheDescriptionsAreShownAndBringOptionalKeys)
{
    EXPECT_EQ(shortXmlOf(R"(
        {"name": "Rvl::CHotPlate", "kind": "device", "example": "Plate <1>", "keys": [
            {"path": "<xmlattr>.A", "type": "real", "default": 1, "example": 2.5},
            {"path": "<xmlattr>.B", "type": "real", "default": 1},
            {"path": "C", "type": "text", "required": true, "example": "a & b"},
            {"path": "D", "type": "section"},
            {"path": "D.<xmlattr>.E", "type": "real", "required": true},
            {"path": "D.<xmlattr>.F", "type": "real", "example": 7}]})",
                         "Rvl::CHotPlate"),
              "<Device Name=\"Plate &lt;1&gt;\" Type=\"Rvl::CHotPlate\" A=\"2.5\">\n"
              "  <C>a &amp; b</C>\n"
              "  <D E=\"1\" F=\"7\"/>\n"
              "</Device>\n");
}

TEST(ShortXmlTest, WithoutExamplesTheFirstTwoDefaultsAreShown)
{
    EXPECT_EQ(shortXmlOf(R"(
        {"name": "T", "kind": "device", "keys": [
            {"path": "<xmlattr>.Empty", "type": "text", "default": ""},
            {"path": "<xmlattr>.Huge", "type": "real", "default": 1.7976931348623157e+308},
            {"path": "<xmlattr>.A", "type": "real", "default": 1},
            {"path": "B", "type": "boolean", "default": false},
            {"path": "C", "type": "real", "default": 3}]})",
                         "T"),
              "<Device Name=\"T\" Type=\"T\" A=\"1\">\n"
              "  <B>false</B>\n"
              "</Device>\n");
}

TEST(ShortXmlTest, ElementsWithinAreCompleteAndDoNotContainThemselves)
{
    const std::string types = R"(
        {"name": "Controller", "kind": "channel", "keys": [
            {"path": "ControlLoop", "type": "element", "kinds": ["controlLoop"], "required": true}]},
        {"name": "Loop", "kind": "controlLoop", "keys": [
            {"path": "Same", "type": "boolean", "default": false},
            {"path": "Output", "type": "element", "kinds": ["controlLoop", "loopOut"],
             "requiredUnless": "Same"}]},
        {"name": "Out", "kind": "loopOut", "keys": [{"path": "Channel", "type": "text", "required": true}]})";
    const std::string out = "<Output>\n  <Type>Out</Type>\n  <Channel>Out</Channel>\n</Output>\n";
    EXPECT_EQ(shortXmlOf(types, "Out"), out);
    EXPECT_EQ(shortXmlOf(types, "Controller"), "<Channel Name=\"Controller\" Type=\"Controller\">\n"
                                               "  <ControlLoop>\n"
                                               "    <Type>Loop</Type>\n"
                                               "    <Output>\n"
                                               "      <Type>Out</Type>\n"
                                               "      <Channel>Out</Channel>\n"
                                               "    </Output>\n"
                                               "  </ControlLoop>\n"
                                               "</Channel>\n");
}

} // namespace Rvl::Test
