// What the host's check says of configurations of the real plug-ins, beyond what the tests' own plug-in has.

#include "tests/integration/HostProgram.h"
#include "tests/support/ProgramRun.h"

#include <gmock/gmock.h>

using namespace Rvl::Test;

namespace {

/// The example pid.xml with one part of it replaced.
std::string pidExampleWith(const std::string& part, const std::string& replacement)
{
    std::string text = readFile(examples + "/pid/pid.xml");
    const std::size_t at = text.find(part);
    EXPECT_NE(std::string::npos, at) << part;
    return text.replace(at, part.size(), replacement);
}

struct SCheck
{
    std::string out; ///< with the file's name cut off each line
    int exitCode;
};

SCheck check(const std::string& text)
{
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", text);
    const SProgramResult result = runProgram(host, {"check", "--log", "off", file});
    EXPECT_EQ("", result.err);
    std::string out = result.out;
    for (std::size_t at; (at = out.find(file)) != std::string::npos;) {
        out.erase(at, file.size());
    }
    return {out, result.exitCode};
}

} // namespace

TEST(LocalConfiguration, InputThatIsNoOutputCannotBeTheOutput)
{
    const SCheck result = check(pidExampleWith("<Output>\n"
                                               "          <Type>Rvl::CAnalogChannelLoopOut</Type>\n"
                                               "          <Channel>Heater</Channel>\n"
                                               "        </Output>",
                                               "<InputSameAsOutput>true</InputSameAsOutput>"));
    EXPECT_EQ(":31: /Configuration/Channels/Channel[3]/ControlLoop/Input/Type: \"Rvl::CAnalogChannelLoopIn\" "
              "is a loopIn while InputSameAsOutput is true; expected \"Rvl::CPT1Element\"\n",
              result.out);
    EXPECT_EQ(78, result.exitCode);
}

TEST(LocalConfiguration, LagElementMayBeInputAndOutput)
{
    const SCheck result = check(pidExampleWith("<Type>Rvl::CAnalogChannelLoopIn</Type>\n"
                                               "          <Channel>Jacket temperature</Channel>\n"
                                               "        </Input>\n"
                                               "        <Output>\n"
                                               "          <Type>Rvl::CAnalogChannelLoopOut</Type>\n"
                                               "          <Channel>Heater</Channel>\n"
                                               "        </Output>",
                                               "<Type>Rvl::CPT1Element</Type>\n"
                                               "        </Input>\n"
                                               "        <InputSameAsOutput>true</InputSameAsOutput>"));
    EXPECT_EQ(": no faults\n", result.out);
    EXPECT_EQ(0, result.exitCode);
}

TEST(LocalConfiguration, NumberThatTheLoopWouldQuietlyIgnoreIsAFault)
{
    const SCheck result = check(pidExampleWith("Maximum=\"80\"", "Maximum=\"eighty\""));
    EXPECT_EQ(":39: /Configuration/Channels/Channel[3]/SetpointRange[@Maximum]: \"eighty\" is not a "
              "number; expected a real number\n",
              result.out);
    EXPECT_EQ(78, result.exitCode);
}

TEST(LocalConfiguration, SetPointOutsideItsRangeIsAFault)
{
    const SCheck result = check(pidExampleWith("Setpoint=\"40\"", "Setpoint=\"500\""));
    EXPECT_EQ(
        ":39: /Configuration/Channels/Channel[3]/SetpointRange: the loop's set point, 500, lies outside "
        "the range; expected a range that it lies in, from 20 to 80\n",
        result.out);
    EXPECT_EQ(78, result.exitCode);
}

TEST(LocalConfiguration, LimitsTheWrongWayRoundAreReported)
{
    EXPECT_EQ(":28: warning: /Configuration/Channels/Channel[3]/ControlLoop/PIDParam[@MinU]: \"101\" is "
              "above MaxU; "
              "expected at most 100\n: no faults, 1 warning\n",
              check(pidExampleWith("MinU=\"0\"", "MinU=\"101\"")).out);
    EXPECT_EQ(":39: /Configuration/Channels/Channel[3]/SetpointRange[@Minimum]: \"81\" is above Maximum; "
              "expected at most 80\n",
              check(pidExampleWith("Minimum=\"20\"", "Minimum=\"81\"")).out);
}

TEST(LocalConfiguration, SwitchThatIsNotReadIsAFault)
{
    EXPECT_EQ(
        ":24: /Configuration/Channels/Channel[3][@ManualControlValue]: is not read unless Manual is true; "
        "expected it to be true, or neither\n",
        check(pidExampleWith("Enabled=\"true\"", "Enabled=\"true\" ManualControlValue=\"5\"")).out);
    EXPECT_EQ(
        ":24: /Configuration/Channels/Channel[3][@Manual]: is not read unless Enabled is true; expected "
        "it to be true, or neither\n",
        check(pidExampleWith("Enabled=\"true\"", "Enabled=\"false\" Manual=\"true\"")).out);
}

TEST(LocalConfiguration, EveryFaultOfACascadeIsReportedAtOnce)
{
    std::string text = readFile(examples + "/cascade/cascade.xml");
    const auto replace = [&text](const std::string& part, const std::string& replacement) {
        const std::size_t at = text.find(part);
        ASSERT_NE(std::string::npos, at) << part;
        text.replace(at, part.size(), replacement);
    };
    replace("<Channel>Vessel temperature</Channel>", "<Channel>Vessel temperatur</Channel>");
    replace("<Channel>Heater</Channel>", "<Channel>Heather</Channel>");
    replace("<PIDParam Name=\"jacket\"", "<PIDParam Title=\"jacket\"");
    const SCheck result = check(text);
    const std::string loop = "/Configuration/Channels/Channel[4]/ControlLoop";
    EXPECT_EQ(":37: " + loop +
                  "/Input/Channel: \"Vessel temperatur\" is not the name of an analog input; expected one of "
                  "Jacket temperature, Vessel temperature (did you mean \"Vessel temperature\"?)\n"
                  ":43: " +
                  loop +
                  "/Output/PIDParam[@Name]: is missing; expected a text\n"
                  ":43: " +
                  loop +
                  "/Output/PIDParam[@Title]: unknown attribute; expected one of Name, Protected, K, Ti, Td, "
                  "Tt, DerivativeGainLimit, MinU, MaxU, DisabledU, Setpoint, SampleTime_ms\n"
                  ":51: " +
                  loop +
                  "/Output/Output/Channel: \"Heather\" is not the name of a digital output; expected "
                  "\"Heater\"\n",
              result.out);
    EXPECT_EQ(78, result.exitCode);
}

TEST(LocalConfiguration, WrongSignalsAreReportedWithAllOtherFaultsAndEachAtItsLine)
{
    // the devices, and with them every channel, have other faults too: what only building finds would wait
    const SCheck result =
        check("<Configuration>\n"
              "  <Plugins><Plugin Name=\"rivlink_local\"/><Plugin Name=\"rivlink_simulated\"/></Plugins>\n"
              "  <Devices>\n"
              "    <Device Name=\"Bench\" Type=\"Rvl::CThermalBench\" HeaterPower=\"-1\">\n"
              "      <Fault Kind=\"SensorNaN\" Signal=\"Heater\" From_s=\"2\" To_s=\"1\"/>\n"
              "      <Fault Kind=\"DeviceAway\" Signal=\"Heater\"/>\n"
              "      <Fault Kind=\"ActuatorDead\"/>\n"
              "    </Device>\n"
              "    <Device Name=\"Vessel\" Type=\"Rvl::CPumpedVessel\" Volume=\"10\" InitialLiquid=\"10\"/>\n"
              "  </Devices>\n"
              "  <Channels>\n"
              "    <Channel Name=\"Temperature\" Type=\"Rvl::CSimulatedAnalogInChannel\" Odd=\"1\">\n"
              "      <Device>Bench</Device>\n"
              "      <Signal>Jacket</Signal>\n"
              "      <Scaling Factor=\"0\"/>\n"
              "    </Channel>\n"
              "    <Channel Name=\"Heater\" Type=\"Rvl::CSimulatedAnalogOutChannel\">\n"
              "      <Device>Bench</Device>\n"
              "      <Signal>Heater</Signal>\n"
              "      <Range Minimum=\"10\" Maximum=\"100\"/>\n"
              "    </Channel>\n"
              "    <Channel Name=\"Heater too\" Type=\"Rvl::CSimulatedDigitalOutChannel\">\n"
              "      <Device>Bench</Device>\n"
              "      <Signal>Heater</Signal>\n"
              "    </Channel>\n"
              "    <Channel Name=\"Direction\" Type=\"Rvl::CSimulatedDigitalPortChannel\">\n"
              "      <Device>Bench</Device>\n"
              "      <Signal>Heater</Signal>\n"
              "    </Channel>\n"
              "  </Channels>\n"
              "</Configuration>\n");
    const std::string devices = " /Configuration/Devices/";
    const std::string channels = " /Configuration/Channels/";
    EXPECT_EQ(":4:" + devices +
                  "Device[1][@HeaterPower]: \"-1\" is too low; expected a real number from 0 W to 1e+09 W\n"
                  ":5:" +
                  devices +
                  "Device[1]/Fault[1][@Signal]: \"Heater\" is no sensor of device \"Bench\"; expected one of "
                  "JacketTemperature, VesselTemperature\n"
                  ":5:" +
                  devices +
                  "Device[1]/Fault[1][@To_s]: \"1\" is not above From_s; expected more than 2\n"
                  ":6:" +
                  devices +
                  "Device[1]/Fault[2][@Signal]: \"Heater\" is not read while Kind is DeviceAway; expected no "
                  "signal\n"
                  ":7:" +
                  devices +
                  "Device[1]/Fault[3][@Signal]: is missing; expected \"Heater\"\n"
                  ":9:" +
                  devices +
                  "Device[2][@InitialLiquid]: \"10\" is above 0.99 of Volume; expected at most 9.9\n"
                  ":12:" +
                  channels +
                  "Channel[1][@Odd]: unknown attribute; expected one of Name, Type\n"
                  ":14:" +
                  channels +
                  "Channel[1]/Signal: \"Jacket\" is no sensor of device \"Bench\"; expected one of "
                  "JacketTemperature, VesselTemperature\n"
                  ":15:" +
                  channels +
                  "Channel[1]/Scaling[@Factor]: \"0\" is refused; expected a real number other than 0\n"
                  ":20:" +
                  channels +
                  "Channel[2]/Range[@Minimum]: \"10\" is above SafeValue, by default 0; expected at most 0\n"
                  ":24:" +
                  channels +
                  "Channel[3]/Signal: \"Heater\" of device \"Bench\" is already driven by "
                  "/Configuration/Channels/Channel[2]; expected one that is not driven\n"
                  ":28:" +
                  channels + "Channel[4]/Signal: \"Heater\" is no port of device \"Bench\"; expected none\n",
              result.out);
    EXPECT_EQ(78, result.exitCode);
}
