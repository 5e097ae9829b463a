#pragma once

#include "platform/rivlink_common/Export.h"

#include <string>

namespace Rvl {

/// Base of everything that builds objects of one type. Factories are registered under their type
/// name (common/FactoryRegistry.h).
class RIVLINK_COMMON_EXPORT IFactory
{
public:
    IFactory();
    virtual ~IFactory();

    /// The type name under which the factory is registered, such as "Rvl::CPIDControlLoop".
    virtual std::string getTypeName() = 0;

protected:
    IFactory(const IFactory&);
    IFactory& operator=(const IFactory&);
};

} // namespace Rvl
