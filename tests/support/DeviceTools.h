#pragma once

#include "tests/support/Messages.h"

#include <boost/property_tree/ptree.hpp>
#include <nlohmann/json.hpp>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace Rvl::Test {

/// The one node of an XML text as factories get it, attributes under "<xmlattr>".
boost::property_tree::ptree nodeOf(const std::string& xml);

/// Waits, for at most a minute, and returns whether the condition came true.
bool waitUntil(const std::function<bool()>& condition);

/// The type descriptions that stand beside a plug-in.
nlohmann::json typeDescriptions(const std::string& library);
/// What is wrong with the descriptions themselves: unknown fields, kinds or bases, ranges upside down,
/// defaults out of range, sections that are not listed.
std::vector<std::string> faultsOf(const nlohmann::json& descriptions);
/// The names of the signals of some kinds that a type describes, in the order of the description.
std::vector<std::string> signalsOf(const nlohmann::json& descriptions, const std::string& typeName,
                                   const std::set<std::string>& kinds);
/// What signals a device has that its type does not describe so; empty if they are the same, in the same
/// order.
template <class Device>
std::string wrongSignals(const nlohmann::json& descriptions, const std::string& typeName,
                         const Device& device)
{
    std::string wrong;
    const auto compare = [&](const std::vector<std::string>& names, const std::set<std::string>& kinds) {
        if (names != signalsOf(descriptions, typeName, kinds)) {
            wrong += typeName + " has as " + *kinds.begin() + ": " + nlohmann::json(names).dump() + "\n";
        }
    };
    const std::vector<std::string> actuators = device.actuators();
    std::vector<std::string> ports;
    for (std::size_t i = 0; i < actuators.size(); ++i) {
        if (device.actuatorLimits(i).lines > 0) {
            ports.push_back(actuators[i]);
        }
    }
    compare(device.sensors(), {"sensor"});
    compare(actuators, {"actuator", "port"});
    compare(ports, {"port"});
    return wrong;
}
/// The names of the types of a kind, in ascending order.
std::vector<std::string> typeNames(const nlohmann::json& descriptions, const std::string& kind);
/// The keys of a type and of all its bases.
std::vector<nlohmann::json> keysOf(const nlohmann::json& descriptions, const std::string& typeName);

/// Builds a device or channel from its node with its factory, gives it the node, binds it, and destroys it
/// again.
void buildOnce(const std::string& kind, const boost::property_tree::ptree& node);
/// For each required key of the described types that `samples` has (a complete node for each of them): takes
/// it out and lists those for which building it throws nothing that names the key.
std::vector<std::string> requiredKeysNotMissed(const nlohmann::json& descriptions,
                                               const std::vector<std::string>& samples);
/// For each attribute that is a number: writes what is not one, what is too small and what is too large, and
/// lists what building accepts all the same or refuses without naming the key.
std::vector<std::string> badNumbersAccepted(const nlohmann::json& descriptions,
                                            const std::vector<std::string>& samples);

} // namespace Rvl::Test
