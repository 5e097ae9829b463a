#include "platform/rivlink_device/LinearScaling.h"

#include "common/LoggedThrow.h"
#include "common/TreeValues.h"
#include "platform/rivlink_common/ConfigurationException.h"

#include <boost/property_tree/ptree.hpp>

#include <cmath>

namespace Rvl {

CLinearScaling::CLinearScaling(double factor, double offset, const std::string& unit)
    : factor_(factor), offset_(offset), unit_(unit)
{
    if (factor == 0.0 || !std::isfinite(factor) || !std::isfinite(offset)) {
        RVL_THROW(CConfigurationException,
                  "A scaling needs a finite factor other than 0 and a finite offset");
    }
}

CLinearScaling::CLinearScaling(const boost::property_tree::ptree& tree)
    : CLinearScaling(treeValueIfThere(tree, "<xmlattr>.Factor", 1.0),
                     treeValueIfThere(tree, "<xmlattr>.Offset", 0.0),
                     tree.get<std::string>("<xmlattr>.Unit", std::string()))
{}

CLinearScaling::~CLinearScaling() = default;

double CLinearScaling::scaled(double unscaledValue) const
{
    return factor_ * unscaledValue + offset_;
}

double CLinearScaling::unscaled(double scaledValue) const
{
    return (scaledValue - offset_) / factor_;
}

const std::string& CLinearScaling::unit() const
{
    return unit_;
}

} // namespace Rvl
