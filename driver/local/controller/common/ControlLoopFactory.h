#pragma once

#include "driver/local/Export.h"
#include "platform/rivlink_common/Factory.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Rvl {

class IControlLoop;

/// Builds control loops of one type. Stateless; usable from any thread.
class RIVLINK_LOCAL_EXPORT IControlLoopFactory : public IFactory
{
public:
    IControlLoopFactory();
    ~IControlLoopFactory() override;

    std::string getTypeName() override = 0;

protected:
    /// Builds the product, which then belongs to the caller; null if there is nothing to build.
    virtual IControlLoop* createObjectImpl(const boost::property_tree::ptree& tree) = 0;

public:
    /// Builds an object from its node of the configuration. It belongs to the caller.
    /// Throws std::runtime_error if the factory makes nothing; what the product's own construction throws
    /// passes unchanged.
    virtual IControlLoop* createObject(const boost::property_tree::ptree& tree);

protected:
    IControlLoopFactory(const IControlLoopFactory&);
    IControlLoopFactory& operator=(const IControlLoopFactory&);
};

} // namespace Rvl
