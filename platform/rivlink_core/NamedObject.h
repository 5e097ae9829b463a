#pragma once

#include "platform/rivlink_core/Export.h"

#include <string>

namespace Rvl {

/// Something with a name that does not change during its life.
class RIVLINK_CORE_EXPORT INamedObject
{
public:
    virtual ~INamedObject();
    virtual const std::string& getName() const = 0;

protected:
    INamedObject();
    INamedObject(const INamedObject&) = delete;
    INamedObject& operator=(const INamedObject&) = delete;
};

} // namespace Rvl
