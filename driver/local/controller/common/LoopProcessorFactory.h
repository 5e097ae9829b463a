#pragma once

#include "driver/local/Export.h"
#include "platform/rivlink_common/Factory.h"

#include <string>

namespace Rvl {

class ILoopProcessor;

/// Builds loop processors of one type. Stateless; usable from any thread.
class RIVLINK_LOCAL_EXPORT ILoopProcessorFactory : public IFactory
{
public:
    ILoopProcessorFactory();
    ~ILoopProcessorFactory() override;

    std::string getTypeName() override = 0;

protected:
    /// Builds the product, which then belongs to the caller; null if there is nothing to build.
    virtual ILoopProcessor* createObjectImpl() = 0;

public:
    /// Builds an object without any configuration. It belongs to the caller.
    /// Throws std::runtime_error if the factory makes nothing; what the product's own construction throws
    /// passes unchanged.
    virtual ILoopProcessor* createObject();

protected:
    ILoopProcessorFactory(const ILoopProcessorFactory&);
    ILoopProcessorFactory& operator=(const ILoopProcessorFactory&);
};

} // namespace Rvl
