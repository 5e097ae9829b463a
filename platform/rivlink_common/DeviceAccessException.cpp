#include "platform/rivlink_common/DeviceAccessException.h"

namespace Rvl {

CDeviceAccessException::CDeviceAccessException(const std::string& message) : std::runtime_error(message) {}

CDeviceAccessException::CDeviceAccessException(const CDeviceAccessException&) = default;

CDeviceAccessException::~CDeviceAccessException() = default;

} // namespace Rvl
