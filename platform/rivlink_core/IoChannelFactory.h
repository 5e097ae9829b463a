#pragma once

#include "platform/rivlink_common/Factory.h"
#include "platform/rivlink_core/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Rvl {

class IIoChannelInterface;

/// Builds IO channels of one type.
class RIVLINK_CORE_EXPORT IIoChannelFactory : public IFactory
{
public:
    IIoChannelFactory();
    ~IIoChannelFactory() override;

protected:
    /// Builds the product, which then belongs to the caller; null if there is nothing to build.
    virtual IIoChannelInterface* createObjectImpl(const boost::property_tree::ptree& tree) = 0;

public:
    /// Builds a channel from its node of the configuration. It belongs to the caller.
    /// Throws std::runtime_error if the factory builds nothing; exceptions of the product's constructor pass
    /// unchanged.
    virtual IIoChannelInterface* createObject(const boost::property_tree::ptree& tree);

    /// The channel's name: the attribute "Name" of its node ("<xmlattr>.Name"). Throws the property tree's
    /// bad-path error if it is missing.
    static std::string channelNameFromProperties(const boost::property_tree::ptree& tree);

protected:
    IIoChannelFactory(const IIoChannelFactory&);
    IIoChannelFactory& operator=(const IIoChannelFactory&);
};

} // namespace Rvl
