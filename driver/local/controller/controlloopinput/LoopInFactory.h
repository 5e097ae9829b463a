#pragma once

#include "driver/local/Export.h"
#include "platform/rivlink_common/Factory.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Rvl {

class ILoopIn;

/// Builds loop inputs of one type. Stateless; usable from any thread.
class RIVLINK_LOCAL_EXPORT ILoopInFactory : public IFactory
{
public:
    ILoopInFactory();
    ~ILoopInFactory() override;

    std::string getTypeName() override = 0;

protected:
    /// Builds the product, which then belongs to the caller; null if there is nothing to build.
    virtual ILoopIn* createObjectImpl(const boost::property_tree::ptree& tree) = 0;

public:
    /// Builds an object from its node of the configuration. It belongs to the caller.
    /// Throws std::runtime_error if the factory makes nothing; what the product's own construction throws
    /// passes unchanged.
    virtual ILoopIn* createObject(const boost::property_tree::ptree& tree);

protected:
    ILoopInFactory(const ILoopInFactory&);
    ILoopInFactory& operator=(const ILoopInFactory&);
};

} // namespace Rvl
