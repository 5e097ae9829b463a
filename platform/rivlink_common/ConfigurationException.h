#pragma once

#include "platform/rivlink_common/Export.h"

#include <stdexcept>
#include <string>

namespace Rvl {

/// The configuration asks for something that cannot be: an unknown type, a name that nobody bears, a value
/// out of range.
class RIVLINK_COMMON_EXPORT CConfigurationException : public std::logic_error
{
public:
    explicit CConfigurationException(const std::string& message);
    CConfigurationException(const CConfigurationException&);
    ~CConfigurationException() override;
};

} // namespace Rvl
