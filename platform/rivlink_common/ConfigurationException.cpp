#include "platform/rivlink_common/ConfigurationException.h"

namespace Rvl {

CConfigurationException::CConfigurationException(const std::string& message) : std::logic_error(message) {}

CConfigurationException::CConfigurationException(const CConfigurationException&) = default;

CConfigurationException::~CConfigurationException() = default;

} // namespace Rvl
