#pragma once

#include "driver/local/Export.h"
#include "platform/rivlink_common/Factory.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Rvl {

class ILoopInOut;

/// Builds elements that are input and output in one, of one type. Stateless; usable from any thread.
class RIVLINK_LOCAL_EXPORT ILoopInOutFactory : public IFactory
{
public:
    ILoopInOutFactory();
    ~ILoopInOutFactory() override;

    std::string getTypeName() override = 0;

protected:
    /// Builds the product, which then belongs to the caller; null if there is nothing to build.
    virtual ILoopInOut* createObjectImpl(const boost::property_tree::ptree& tree) = 0;

public:
    /// Builds an object from its node of the configuration. It belongs to the caller.
    /// Throws std::runtime_error if the factory makes nothing; what the product's own construction throws
    /// passes unchanged.
    virtual ILoopInOut* createObject(const boost::property_tree::ptree& tree);

protected:
    ILoopInOutFactory(const ILoopInOutFactory&);
    ILoopInOutFactory& operator=(const ILoopInOutFactory&);
};

} // namespace Rvl
