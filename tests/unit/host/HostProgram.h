#pragma once

#include "tests/support/ProgramRun.h"

#include <map>
#include <string>
#include <vector>

namespace Rvl::Test {

/// The arguments with the folder of the tests' plug-ins put before them.
inline std::vector<std::string> withTestPlugins(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {"--plugin-path", RIVLINK_TEST_PLUGIN_DIRECTORY});
    return arguments;
}

/// Runs rivlink-host to its end, in `folder`.
inline SProgramResult runHost(const std::vector<std::string>& arguments, const std::string& folder = {},
                              const std::map<std::string, std::string>& environment = {})
{
    return runProgram(RIVLINK_HOST_PROGRAM, withTestPlugins(arguments), folder, environment);
}

/// A configuration of the tests' plug-in: the device Bench with the input Temperature and the output Heater,
/// and what else is given. `vessel` are further attributes of the controller Vessel, `bench` of the device,
/// `temperature` of the input, `heater` of the output, `vesselContent` is further content of the controller.
struct SFakeConfiguration
{
    std::string vessel = "Enabled=\"true\"";
    std::string vesselContent;
    std::string bench;
    std::string temperature = "Value=\"25\"";
    std::string heater;
    std::string moreChannels;
    std::string plugins = "<Plugin Name=\"rivlink_fake\"/>";

    std::string text() const
    {
        return "<Configuration><Plugins>" + plugins +
               "</Plugins>\n"
               "<Devices><Device Name=\"Bench\" Type=\"Rvl::CFakeDevice\" " +
               bench +
               "/></Devices>\n"
               "<Channels>\n" +
               controller("Vessel", vessel, vesselContent) +
               "<Channel Name=\"Temperature\" Type=\"Rvl::CFakeInput\" Device=\"Bench\" " + temperature +
               "/>\n"
               "<Channel Name=\"Heater\" Type=\"Rvl::CFakeOutput\" Device=\"Bench\" " +
               heater + "/>\n" + moreChannels + "</Channels></Configuration>\n";
    }

    /// A controller with the set point 30, the gain 2 and the disabled value 7 from Temperature to Heater.
    static std::string controller(const std::string& name, const std::string& attributes,
                                  const std::string& content = {})
    {
        return "<Channel Name=\"" + name + "\" Type=\"Rvl::CFakeController\" " + attributes + ">" + content +
               "<ControlLoop><Type>Rvl::CFakeLoop</Type>"
               "<Parameters Gain=\"2\" Setpoint=\"30\" DisabledU=\"7\" SampleTime_ms=\"10\"/>"
               "<Input><Type>Rvl::CFakeLoopIn</Type><Channel>Temperature</Channel></Input>"
               "<Output><Type>Rvl::CFakeLoopOut</Type><Channel>Heater</Channel></Output>"
               "</ControlLoop></Channel>\n";
    }
};

} // namespace Rvl::Test
