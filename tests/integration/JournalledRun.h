#pragma once

#include "tests/support/ProgramRun.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace Rvl::Test {

/// A configuration of rivlink_local over channels of the tests' plug-in, whose outputs keep a journal: the
/// controllers "Sound" and "Other" with the disabled value 7. The second is called
/// as `other` says, and its output likewise; one called "Broken output" throws.
inline std::string journalledConfiguration(const std::string& other = "Other",
                                           const std::string& secondDevice = "Name=\"Bench 2\"")
{
    const auto controller = [](const std::string& name) {
        return "<Channel Name=\"" + name +
               "\" Type=\"Rvl::CLocalControllerChannel\" Enabled=\"true\">"
               "<ControlLoop><Type>Rvl::CPIDControlLoop</Type><Enabled>true</Enabled>"
               "<PIDParam Name=\"p\" K=\"1\" Ti=\"0\" Td=\"0\" DerivativeGainLimit=\"0\" MinU=\"0\" "
               "MaxU=\"100\" "
               "DisabledU=\"7\" Setpoint=\"45\" SampleTime_ms=\"" +
               (name == "Sound" ? "20" : "300") +
               "\"/><Input><Type>Rvl::CAnalogChannelLoopIn</Type><Channel>Temperature</Channel></Input>"
               "<Output><Type>Rvl::CAnalogChannelLoopOut</Type><Channel>" +
               name + " output</Channel></Output></ControlLoop></Channel>\n";
    };
    return "<Configuration><Plugins><Plugin Name=\"rivlink_local\"/><Plugin Name=\"rivlink_fake\" Path=\"" +
           std::string(RIVLINK_FAKE_PLUGIN) +
           "\"/></Plugins>\n"
           "<Devices><Device Name=\"Bench\" Type=\"Rvl::CFakeDevice\"/>"
           "<Device " +
           secondDevice +
           " Type=\"Rvl::CFakeDevice\"/></Devices>\n"
           "<Channels><Channel Name=\"Temperature\" Type=\"Rvl::CFakeInput\" Device=\"Bench\" "
           "Value=\"25\"/>\n"
           "<Channel Name=\"Sound output\" Type=\"Rvl::CFakeOutput\" Device=\"Bench\"/>\n"
           "<Channel Name=\"" +
           other + " output\" Type=\"Rvl::CFakeOutput\" Device=\"" +
           (secondDevice.find("Strange") == std::string::npos ? "Bench 2" : "Strange") + "\"/>\n" +
           controller("Sound") + controller(other) + "</Channels></Configuration>\n";
}

/// Where the tests' plug-in keeps its journal of a run, and the configuration that is run.
class CJournal
{
public:
    explicit CJournal(const std::string& configuration = journalledConfiguration())
        : configuration_(folder_.write("c.xml", configuration))
    {}
    std::vector<std::string> arguments(const std::vector<std::string>& more = {},
                                       const std::string& logLevel = "off") const
    {
        std::vector<std::string> result{"run", "--log", logLevel, configuration_};
        result.insert(result.end(), more.begin(), more.end());
        return result;
    }
    /// A program's environment, with more variables that the tests' plug-in reads.
    std::map<std::string, std::string> environment(std::map<std::string, std::string> more = {}) const
    {
        more["RIVLINK_FAKE_JOURNAL"] = folder_.file("journal");
        return more;
    }
    /// The same for a run in which the operation that this line notes takes so long.
    std::map<std::string, std::string> slowAt(const std::string& line, int time_ms = 3600000) const
    {
        return environment(
            {{"RIVLINK_FAKE_SLOW_AT", line}, {"RIVLINK_FAKE_SLOW_FOR_MS", std::to_string(time_ms)}});
    }
    std::string text() const { return readFile(folder_.file("journal")); }
    std::vector<std::string> lines() const { return linesOf(text()); }
    /// Whether the line is there, or comes in time.
    bool gets(const std::string& line) const
    {
        return eventually([&] {
            const std::vector<std::string> all = lines();
            return std::find(all.begin(), all.end(), line) != all.end();
        });
    }
    std::string file(const std::string& name) const { return folder_.file(name); }

private:
    CTemporaryFolder folder_;
    std::string configuration_;
};

} // namespace Rvl::Test
