#pragma once

#include <boost/property_tree/ptree_fwd.hpp>

#include <optional>
#include <string>

namespace Rvl {

/// The numbers that an attribute may hold, both ends included, and their unit (empty: none).
struct SNumberRange
{
    double minimum;
    double maximum;
    std::string unit;
};

/// Reads the attributes of one node of a device's configuration. What is written is never replaced by a
/// default: a value that cannot be used throws a CConfigurationException with the owner, the attribute, the
/// value and the allowed range. Numbers use the decimal point whatever the locale.
class CDeviceProperties
{
public:
    /// `owner` begins the messages ("Device Bench"). The tree is not copied and must live longer.
    CDeviceProperties(const std::string& owner, const boost::property_tree::ptree& tree);

    double real(const std::string& attribute, double absent, const SNumberRange& range) const;
    std::optional<double> optionalReal(const std::string& attribute, const SNumberRange& range) const;
    long long integer(const std::string& attribute, long long absent, const SNumberRange& range) const;
    std::optional<long long> optionalInteger(const std::string& attribute, const SNumberRange& range) const;

private:
    std::optional<std::string> text(const std::string& attribute) const;
    [[noreturn]] void refuse(const std::string& attribute, const std::string& value, const char* kind,
                             const SNumberRange& range) const;

    std::string owner_;
    const boost::property_tree::ptree& tree_;
};

} // namespace Rvl
