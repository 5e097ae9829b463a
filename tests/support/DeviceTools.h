#pragma once

#include <boost/property_tree/ptree.hpp>
#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

namespace Rvl::Test {

/// The one node of an XML text as factories get it, attributes under "<xmlattr>".
boost::property_tree::ptree nodeOf(const std::string& xml);

/// What the exception of that class says which `action` throws; "nothing was thrown" if it throws none.
/// Others pass.
template <class Exception, class Action> std::string messageOf(Action action)
{
    try {
        action();
    } catch (const Exception& exception) {
        return exception.what();
    }
    return "nothing was thrown";
}

/// Waits, for at most a minute, and tells whether the condition came true.
bool waitUntil(const std::function<bool()>& condition);

/// The type descriptions that stand beside a plug-in.
nlohmann::json typeDescriptions(const std::string& library);
/// What is wrong with the descriptions themselves: unknown fields, kinds or bases, ranges upside down,
/// defaults out of range, sections that are not listed.
std::vector<std::string> faultsOf(const nlohmann::json& descriptions);
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
