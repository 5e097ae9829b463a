#include "host/documents/ConfigurationManual.h"

#include "tests/unit/host/HostProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Rvl::Test {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(ConfigurationManualTest, TypeHasATableOfItsKeysAndAShortXml)
{
    CTypeCatalogue catalogue;
    catalogue.addText(R"({"plugin": "p", "types": [
        {"name": "Rvl::CPlate", "kind": "device", "meaning": "a plate | hot_one", "keys": [
            {"path": "<xmlattr>.Load", "type": "integer", "unit": "%", "minimum": 0, "maximum": 100, "default": 0,
             "meaning": "how much"},
            {"path": "Zone", "type": "section", "repeated": true, "meaning": "one zone"},
            {"path": "Zone.<xmlattr>.Mode", "type": "choice", "choices": ["A", "B_C"], "required": true,
             "meaning": "its mode"},
            {"path": "Zone.Limit", "type": "real", "maximum": 5, "requiredUnless": "Free", "meaning": "a limit"},
            {"path": "Free", "type": "boolean", "default": false, "meaning": "no limit"}]}]})",
                      "x");
    catalogue.resolve();
    const std::string manual = configurationManual(catalogue);
    EXPECT_THAT(manual, StartsWith("# Configuration files\n"));
    EXPECT_THAT(manual, HasSubstr("| `Plugins/Plugin/@Name` | text |  |  |  | yes | the plug-in's name"));
    EXPECT_THAT(
        manual,
        HasSubstr("\n## Devices\n\nA `Device` stands in `Devices` and names its type in an attribute.\n"
                  "\n### Rvl::CPlate\n\n"
                  "A plate \\| hot\\_one. Plug-in `p`. Its name may stand where a reference to device is "
                  "expected.\n\n"
                  "| key | type | unit | range | default | required | meaning |\n"
                  "|---|---|---|---|---|---|---|\n"
                  "| `@Name` | text |  |  |  | yes | the name |\n"
                  "| `@Type` | text |  |  |  | yes | the type name |\n"
                  "| `@Load` | integer | % | 0 to 100 | `0` | no | how much |\n"
                  "| `Zone` | section, any number of times |  |  |  | no | one zone |\n"
                  "| `Zone/@Mode` | choice |  | `A` or `B_C` |  | yes | its mode |\n"
                  "| `Zone/Limit` | real |  | &lt;= 5 |  | unless `Free` | a limit |\n"
                  "| `Free` | boolean |  |  | `false` | no | no limit |\n"
                  "\n```xml\n<Device Name=\"Plate\" Type=\"Rvl::CPlate\" Load=\"0\"/>\n```\n"));
    EXPECT_THAT(manual, Not(HasSubstr("## Channels"))) << "there is no type of that kind";
}

TEST(ConfigurationManualTest, HostPrintsIt)
{
    const SProgramResult result = runHost({"docs", "--plugin", "rivlink_fake"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("\n### Rvl::CFakeLoopOut\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("Rvl::CThermalBench")));
}

} // namespace Rvl::Test
