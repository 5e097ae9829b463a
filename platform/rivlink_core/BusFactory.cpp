#include "platform/rivlink_core/BusFactory.h"

#include "common/LoggedThrow.h"

#include <stdexcept>

namespace Rvl {

IBusFactory::IBusFactory() = default;
IBusFactory::~IBusFactory() = default;
IBusFactory::IBusFactory(const IBusFactory&) = default;
IBusFactory& IBusFactory::operator=(const IBusFactory&) = default;

IBus* IBusFactory::createObject(const boost::property_tree::ptree& tree)
{
    IBus* object = createObjectImpl(tree);
    if (!object) {
        RVL_THROW(std::runtime_error, "Could not create object of type " + getTypeName());
    }
    return object;
}

} // namespace Rvl
