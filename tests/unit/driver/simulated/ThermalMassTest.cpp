#include "driver/simulated/ThermalMass.h"

#include "driver/common/DeviceProperties.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "tests/support/DeviceTools.h"

#include <gmock/gmock.h>

#include <cmath>
#include <string>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

CThermalMass mass(const std::string& attributes)
{
    const auto node = nodeOf("<Device " + attributes + "/>");
    CThermalMass body;
    body.configure(CDeviceProperties("Device Rig", node));
    return body;
}

std::vector<double> noiseOf(const std::string& attributes)
{
    CThermalMass body = mass(attributes);
    std::vector<double> values;
    for (int i = 0; i < 10000; ++i) {
        values.push_back(body.measure() - body.temperature());
    }
    return values;
}

} // namespace

TEST(ThermalMass, BeginsAtAmbientTemperatureByDefault)
{
    EXPECT_EQ(18.5, mass("AmbientTemperature=\"18.5\"").temperature());
    EXPECT_EQ(30.0, mass("AmbientTemperature=\"18.5\" InitialTemperature=\"30\"").temperature());
}

TEST(ThermalMass, StepResponseIsOfFirstOrder)
{
    CThermalMass body = mass("HeatCapacity=\"3\" AmbientConductance=\"1.5\"");
    for (const double time_s : {1.0, 2.0, 3.0, 4.0}) {
        body.advance(1.0, 12.0);
        EXPECT_NEAR(22.0 + 8.0 * (1.0 - std::exp(-time_s / 2.0)), body.temperature(), 1e-12);
    }
    body.advance(1000.0, 12.0);
    EXPECT_NEAR(30.0, body.temperature(), 1e-9);
    body.advance(2.0, 0.0);
    EXPECT_NEAR(22.0 + 8.0 * std::exp(-1.0), body.temperature(), 1e-9) << "and back";
}

TEST(ThermalMass, ManyShortStepsGiveTheSameAsOneLong)
{
    CThermalMass body = mass("");
    CThermalMass other = mass("");
    body.advance(3.0, 7.0);
    for (int i = 0; i < 300; ++i) {
        other.advance(0.01, 7.0);
    }
    EXPECT_NEAR(body.temperature(), other.temperature(), 1e-9);
}

TEST(ThermalMass, InsulatedBodyKeepsItsHeat)
{
    CThermalMass body = mass("HeatCapacity=\"4\" AmbientConductance=\"0\"");
    body.advance(10.0, 2.0);
    body.advance(1e6, 0.0);
    EXPECT_NEAR(27.0, body.temperature(), 1e-9);
}

TEST(ThermalMass, NoiseHasTheGivenDeviationAndIsReproducedByItsSeed)
{
    const auto noise = noiseOf("Noise=\"0.5\" Seed=\"7\"");
    double squares = 0.0;
    for (const double value : noise) {
        squares += value * value;
    }
    EXPECT_NEAR(0.5, std::sqrt(squares / 10000.0), 0.02);
    EXPECT_EQ(noise, noiseOf("Noise=\"0.5\" Seed=\"7\""));
    EXPECT_NE(noise, noiseOf("Noise=\"0.5\" Seed=\"8\""));
}

TEST(ThermalMass, RefusedAttributeChangesNothing)
{
    CThermalMass body = mass("InitialTemperature=\"40\"");
    const auto node = nodeOf("<Device InitialTemperature=\"50\" HeatCapacity=\"0\"/>");
    EXPECT_EQ(
        "Device Rig: attribute HeatCapacity is \"0\", but must be a number from 0.001 to "
        "1000000000 J/K",
        messageOf<CConfigurationException>([&] { body.configure(CDeviceProperties("Device Rig", node)); }));
    EXPECT_EQ(40.0, body.temperature());
}
