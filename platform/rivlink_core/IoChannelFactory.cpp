#include "platform/rivlink_core/IoChannelFactory.h"

#include "common/LoggedThrow.h"

#include <boost/property_tree/ptree.hpp>

#include <stdexcept>

namespace Rvl {

IIoChannelFactory::IIoChannelFactory() = default;
IIoChannelFactory::~IIoChannelFactory() = default;
IIoChannelFactory::IIoChannelFactory(const IIoChannelFactory&) = default;
IIoChannelFactory& IIoChannelFactory::operator=(const IIoChannelFactory&) = default;

IIoChannelInterface* IIoChannelFactory::createObject(const boost::property_tree::ptree& tree)
{
    IIoChannelInterface* object = createObjectImpl(tree);
    if (!object) {
        RVL_THROW(std::runtime_error, "Could not create object of type " + getTypeName());
    }
    return object;
}

std::string IIoChannelFactory::channelNameFromProperties(const boost::property_tree::ptree& tree)
{
    return tree.get<std::string>("<xmlattr>.Name");
}

} // namespace Rvl
