#pragma once

#include "platform/rivlink_common/Export.h"

#include <stdexcept>
#include <string>

namespace Rvl {

/// The configuration cannot be carried out: an unknown type, the name of no object, a value out of range.
class RIVLINK_COMMON_EXPORT CConfigurationException : public std::logic_error
{
public:
    explicit CConfigurationException(const std::string& message);
    CConfigurationException(const CConfigurationException&);
    ~CConfigurationException() override;
};

} // namespace Rvl
