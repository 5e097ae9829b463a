#pragma once

#include "platform/rivlink_device/ScalingInterface.h"

#include <boost/property_tree/ptree_fwd.hpp>

namespace Rvl {

/// scaled = factor * unscaled + offset.
class RIVLINK_DEVICE_EXPORT CLinearScaling : public IScalingInterface
{
public:
    /// Throws CConfigurationException if the factor is 0 or either number is not finite, as the inverse does
    /// not exist then.
    CLinearScaling(double factor, double offset, const std::string& unit);
    /// From a node with the optional attributes "Factor" (default 1), "Offset" (default 0) and "Unit"
    /// (default none). Throws the property tree's bad-data error for an attribute that is not a number.
    explicit CLinearScaling(const boost::property_tree::ptree& tree);
    ~CLinearScaling() override;

    double scaled(double unscaledValue) const override;
    double unscaled(double scaledValue) const override;
    const std::string& unit() const override;

private:
    double factor_;
    double offset_;
    std::string unit_;
};

} // namespace Rvl
