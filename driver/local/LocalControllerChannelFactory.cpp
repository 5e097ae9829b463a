#include "driver/local/LocalControllerChannelFactory.h"

#include "common/TreeValues.h"
#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/ControlLoopFactory.h"
#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/controller/common/LoopInOutFactory.h"
#include "driver/local/controller/controlloopinput/LoopInFactory.h"
#include "driver/local/controller/controlloopoutput/LoopOutFactory.h"
#include "driver/local/LocalControllerChannel.h"

#include <boost/property_tree/ptree.hpp>

#include <limits>

namespace Rvl {

std::string CLocalControllerChannelFactory::getTypeName()
{
    return "Rvl::CLocalControllerChannel";
}

IIoChannelInterface* CLocalControllerChannelFactory::createObjectImpl(const boost::property_tree::ptree& tree)
{
    const std::string name = channelNameFromProperties(tree);
    const boost::property_tree::ptree loopTree = tree.get_child("ControlLoop");
    std::unique_ptr<CLocalControllerChannel> channel(
        createControlChannelObject(name, createControlLoop(loopTree)));
    const double maximum =
        treeValue<double>(tree, "SetpointRange.<xmlattr>.Maximum", std::numeric_limits<double>::max());
    const double minimum =
        treeValue<double>(tree, "SetpointRange.<xmlattr>.Minimum", std::numeric_limits<double>::lowest());
    channel->setSetpointRange(minimum, maximum);
    return channel.release();
}

CLocalControllerChannel*
CLocalControllerChannelFactory::createControlChannelObject(const std::string& name,
                                                           std::shared_ptr<IControlLoop> loop) const
{
    return new CLocalControllerChannel(name, std::move(loop));
}

std::shared_ptr<IControlLoop>
CLocalControllerChannelFactory::createControlLoop(const boost::property_tree::ptree& tree)
{
    const auto typeName = tree.get<std::string>("Type");
    std::shared_ptr<IControlLoop> loop(
        CLocalControllerChannel::controlLoopFactories().get(typeName)->createObject(tree));
    const std::shared_ptr<ILoopInInterface> input = createControlLoopInput(tree.get_child("Input"));
    loop->setInput(input);
    if (treeValue<bool>(tree, "InputSameAsOutput", false)) {
        loop->setOutput(std::dynamic_pointer_cast<ILoopOutInterface>(input));
    } else {
        loop->setOutput(createControlLoopOutput(tree.get_child("Output")));
    }
    return loop;
}

std::shared_ptr<ILoopInInterface>
CLocalControllerChannelFactory::createControlLoopInput(const boost::property_tree::ptree& tree)
{
    const auto typeName = tree.get<std::string>("Type");
    auto& inOutFactories = CLocalControllerChannel::loopInOutFactories();
    if (inOutFactories.contains(typeName)) {
        return std::shared_ptr<ILoopInOut>(inOutFactories.get(typeName)->createObject(tree));
    }
    return std::shared_ptr<ILoopIn>(
        CLocalControllerChannel::loopInFactories().get(typeName)->createObject(tree));
}

std::shared_ptr<ILoopOutInterface>
CLocalControllerChannelFactory::createControlLoopOutput(const boost::property_tree::ptree& tree)
{
    const auto typeName = tree.get<std::string>("Type");
    auto& inOutFactories = CLocalControllerChannel::loopInOutFactories();
    if (inOutFactories.contains(typeName)) {
        return std::shared_ptr<ILoopInOut>(inOutFactories.get(typeName)->createObject(tree));
    }
    auto& outFactories = CLocalControllerChannel::loopOutFactories();
    if (!outFactories.contains(typeName)) {
        return createControlLoop(tree);
    }
    return std::shared_ptr<ILoopOut>(outFactories.get(typeName)->createObject(tree));
}

} // namespace Rvl
