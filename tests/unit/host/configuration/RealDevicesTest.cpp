#include "host/configuration/RealDevices.h"

#include <gtest/gtest.h>

namespace Rvl::Test {

namespace {

std::string refused(const std::string& content)
{
    CTypeCatalogue catalogue;
    catalogue.addText(R"({"plugin": "p", "types": [
        {"name": "Bench", "kind": "device"},
        {"name": "Machine", "kind": "device", "real": true},
        {"name": "Wire", "kind": "bus", "real": true}]})",
                      "x");
    catalogue.resolve();
    const CConfiguration configuration =
        CConfiguration::parse("<Configuration>\n" + content + "</Configuration>", "c.xml");
    CFaultList faults;
    refuseRealDevices(configuration, catalogue, faults);
    return faults.report("c.xml");
}

} // namespace

TEST(RealDevices, EachOneIsRefusedAtItsLine)
{
    EXPECT_EQ(
        "c.xml:2: /Configuration/Buses/Bus[@Name]: \"W\" is real, and does not go by virtual time; expected "
        "only "
        "simulated ones with --virtual\n"
        "c.xml:4: /Configuration/Devices/Device[2][@Name]: \"M\" is real, and does not go by virtual time; "
        "expected only simulated ones with --virtual\n",
        refused(
            "<Buses><Bus Name=\"W\" Type=\"Wire\"/></Buses>\n<Devices><Device Name=\"B\" Type=\"Bench\"/>\n"
            "<Device Name=\"M\" Type=\"Machine\"/></Devices>"));
}

TEST(RealDevices, SimulatedOnesAndUnknownTypesAreNot)
{
    EXPECT_EQ("", refused("<Devices><Device Name=\"B\" Type=\"Bench\"/><Device Name=\"C\" Type=\"Else\"/>"
                          "<Device Name=\"D\"/></Devices>"));
}

} // namespace Rvl::Test
