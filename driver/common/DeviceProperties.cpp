#include "driver/common/DeviceProperties.h"

#include "common/LoggedThrow.h"
#include "common/Numbers.h"
#include "platform/rivlink_common/ConfigurationException.h"

#include <boost/property_tree/ptree.hpp>

#include <limits>
#include <locale>
#include <sstream>

namespace Rvl {

CDeviceProperties::CDeviceProperties(const std::string& owner, const boost::property_tree::ptree& tree)
    : owner_(owner), tree_(tree)
{}

double CDeviceProperties::real(const std::string& attribute, double absent, const SNumberRange& range) const
{
    return optionalReal(attribute, range).value_or(absent);
}

std::optional<double> CDeviceProperties::optionalReal(const std::string& attribute,
                                                      const SNumberRange& range) const
{
    const auto written = text(attribute);
    if (!written) {
        return std::nullopt;
    }
    const auto number = parseReal(*written);
    if (!number || !(range.minimum <= *number && *number <= range.maximum)) {
        refuse(attribute, *written, "number", range);
    }
    return number;
}

long long CDeviceProperties::integer(const std::string& attribute, long long absent,
                                     const SNumberRange& range) const
{
    return optionalInteger(attribute, range).value_or(absent);
}

std::optional<long long> CDeviceProperties::optionalInteger(const std::string& attribute,
                                                            const SNumberRange& range) const
{
    const auto written = text(attribute);
    if (!written) {
        return std::nullopt;
    }
    const auto number = parseInteger(*written);
    if (!number ||
        !(range.minimum <= static_cast<double>(*number) && static_cast<double>(*number) <= range.maximum)) {
        refuse(attribute, *written, "whole number", range);
    }
    return number;
}

std::optional<std::string> CDeviceProperties::text(const std::string& attribute) const
{
    const auto found = tree_.get_child_optional("<xmlattr>." + attribute);
    return found ? std::optional<std::string>(found->data()) : std::nullopt;
}

void CDeviceProperties::refuse(const std::string& attribute, const std::string& value, const char* kind,
                               const SNumberRange& range) const
{
    std::ostringstream message;
    message.imbue(std::locale::classic());
    message.precision(std::numeric_limits<double>::digits10);
    message << owner_ << ": attribute " << attribute << " is \"" << value << "\", but must be a " << kind
            << " from " << range.minimum << " to " << range.maximum;
    if (!range.unit.empty()) {
        message << ' ' << range.unit;
    }
    RVL_THROW(CConfigurationException, message.str());
}

} // namespace Rvl
