#pragma once

#include "driver/simulated/SimulatedDevice.h"
#include "tests/support/DeviceTools.h"

#include <memory>
#include <string>

namespace Rvl::Test {

/// The node of a channel on a signal of the device named "Rig".
inline boost::property_tree::ptree channelNode(const std::string& signal)
{
    return nodeOf("<Channel><Device>Rig</Device><Signal>" + signal + "</Signal></Channel>");
}

/// A channel named after its signal, bound to the device named "Rig".
template <class Channel> std::unique_ptr<Channel> channelOn(const std::string& signal)
{
    auto channel = std::make_unique<Channel>(signal, simulatedDevices);
    channel->setProperties(channelNode(signal));
    channel->connectToDevice();
    return channel;
}

/// A device named "Rig" with these attributes and elements.
template <class Device>
std::unique_ptr<Device> rig(const std::string& attributes, const std::string& content = "")
{
    auto device = std::make_unique<Device>("Rig");
    device->setProperties(nodeOf("<Device " + attributes + ">" + content + "</Device>"));
    return device;
}

} // namespace Rvl::Test
