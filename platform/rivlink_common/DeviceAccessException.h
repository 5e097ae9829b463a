#pragma once

#include "platform/rivlink_common/Export.h"

#include <stdexcept>
#include <string>

namespace Rvl {

/// A device could not be reached or refused an access. The message names the device and the reason.
class RIVLINK_COMMON_EXPORT CDeviceAccessException : public std::runtime_error
{
public:
    explicit CDeviceAccessException(const std::string& message);
    CDeviceAccessException(const CDeviceAccessException&);
    ~CDeviceAccessException() override;
};

} // namespace Rvl
