#pragma once

#include "driver/local/Export.h"
#include "platform/rivlink_core/IoChannelFactory.h"

#include <memory>
#include <string>

namespace Rvl {

class CLocalControllerChannel;
class IControlLoop;
class ILoopInInterface;
class ILoopOutInterface;

/// Builds local controller channels, each with its whole loop graph, from the channel's node:
///
///     <xmlattr>.Name                     the channel's name, required
///     ControlLoop                        the outermost loop, required
///     SetpointRange.<xmlattr>.Minimum    limits of the set point, both optional and then unlimited;
///     SetpointRange.<xmlattr>.Maximum    what is not a number counts as absent
///
/// A loop's node holds, besides its own parameters:
///
///     Type                 a type name of CLocalControllerChannel::controlLoopFactories()
///     Input                the input: its Type is one of loopInOutFactories() or else loopInFactories()
///     InputSameAsOutput    optional boolean, default false: the input element is the output as well
///     Output               the output, not looked at if the input is the output as well: its Type is one of
///                          loopInOutFactories(), or else loopOutFactories(), or else a control loop, so that
///                          a whole inner loop stands here
///
/// Throws the property tree's bad-path error for a missing node and CConfigurationException for an unknown
/// type name or a name that is taken; what an element's own construction throws passes. Nothing of the graph
/// is left behind then.
class RIVLINK_LOCAL_EXPORT CLocalControllerChannelFactory : public IIoChannelFactory
{
public:
    /// "Rvl::CLocalControllerChannel".
    std::string getTypeName() override;

protected:
    IIoChannelInterface* createObjectImpl(const boost::property_tree::ptree& tree) override;

    /// The one place where the class of the channel is chosen. It belongs to the caller.
    virtual CLocalControllerChannel* createControlChannelObject(const std::string& name,
                                                                std::shared_ptr<IControlLoop> loop) const;

private:
    std::shared_ptr<IControlLoop> createControlLoop(const boost::property_tree::ptree& tree);
    std::shared_ptr<ILoopInInterface> createControlLoopInput(const boost::property_tree::ptree& tree);
    std::shared_ptr<ILoopOutInterface> createControlLoopOutput(const boost::property_tree::ptree& tree);
};

} // namespace Rvl
