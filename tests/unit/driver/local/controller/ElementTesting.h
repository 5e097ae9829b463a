#pragma once

#include "platform/rivlink_common/ConfigurationException.h"

#include <boost/property_tree/ptree.hpp>

#include <functional>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>

namespace Rvl::Test {

/// A configuration node with these paths and values.
inline boost::property_tree::ptree
node(std::initializer_list<std::pair<const char*, std::string>> pathsAndValues)
{
    boost::property_tree::ptree tree;
    for (const auto& [path, value] : pathsAndValues) {
        tree.put(path, value);
    }
    return tree;
}

/// "CLASS: MESSAGE" of what the action throws, for the classes that configuration faults have.
inline std::string faultOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const boost::property_tree::ptree_bad_path& exception) {
        return std::string("ptree_bad_path: ") + exception.what();
    } catch (const boost::property_tree::ptree_bad_data& exception) {
        return std::string("ptree_bad_data: ") + exception.what();
    } catch (const CConfigurationException& exception) {
        return std::string("CConfigurationException: ") + exception.what();
    }
    return "nothing was thrown";
}

/// What faultOf() gives for a name that is not on the name server.
template <class NameServer> std::string notRegistered(const std::string& name, const NameServer& nameServer)
{
    std::ostringstream message;
    message << "CConfigurationException: Object " << name << " is not registered on this name server "
            << std::hex << static_cast<const void*>(&nameServer);
    return message.str();
}

} // namespace Rvl::Test
