#pragma once

#include "platform/rivlink_common/Factory.h"
#include "platform/rivlink_core/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Rvl {

class IBus;

/// Builds buses of one type.
class RIVLINK_CORE_EXPORT IBusFactory : public IFactory
{
public:
    IBusFactory();
    ~IBusFactory() override;

protected:
    /// Builds the product, which then belongs to the caller; null if there is nothing to build.
    virtual IBus* createObjectImpl(const boost::property_tree::ptree& tree) = 0;

public:
    /// Builds a bus from its node of the configuration. It belongs to the caller.
    /// Throws std::runtime_error if the factory builds nothing; exceptions of the product's constructor pass
    /// unchanged.
    virtual IBus* createObject(const boost::property_tree::ptree& tree);

protected:
    IBusFactory(const IBusFactory&);
    IBusFactory& operator=(const IBusFactory&);
};

} // namespace Rvl
