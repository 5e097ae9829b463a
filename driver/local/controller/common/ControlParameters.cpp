#include "driver/local/controller/common/ControlParameters.h"

#include "common/TreeValues.h"

#include <boost/optional.hpp>
#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <cstddef>
#include <limits>

namespace Rvl {

CControlParameters::CControlParameters() : immutable_(false) {}

CControlParameters::CControlParameters(const std::string& name, const std::vector<double>& data)
    : data_(data), name_(name), immutable_(false)
{}

CControlParameters::CControlParameters(const boost::property_tree::ptree& tree)
    : name_(tree.get<std::string>("<xmlattr>.Name")),
      immutable_(optionalTreeValue<bool>(tree, "<xmlattr>.Protected").value_or(true))
{}

CControlParameters::CControlParameters(const CControlParameters& other) = default;

CControlParameters& CControlParameters::operator=(const CControlParameters& other) = default;

CControlParameters::~CControlParameters() = default;

double CControlParameters::getDisabledU() const
{
    return 0.0;
}

void CControlParameters::setData(const std::vector<double>& data)
{
    data_ = data;
}

const std::string& CControlParameters::name() const
{
    return name_;
}

void CControlParameters::setName(const std::string& name)
{
    name_ = name;
}

void CControlParameters::setValue(int index, double value)
{
    data_[static_cast<std::size_t>(index)] = value;
}

bool CControlParameters::isImmutable() const
{
    return immutable_;
}

void CControlParameters::setImmutable(bool immutable)
{
    immutable_ = immutable;
}

bool CControlParameters::isValid() const
{
    return !name_.empty() &&
           std::any_of(data_.begin(), data_.end(), [](double value) { return value != 0.0; });
}

int CControlParameters::nearest(double value)
{
    if (std::isnan(value)) {
        return 0;
    }
    return value < 0.0 ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
}

} // namespace Rvl
