#pragma once

#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

namespace Rvl {

/// The parameters of any control loop: a name and a vector of numbers. What an index means is up to the
/// derived class, which adds named access to the vector but no data of its own, so that parameter sets can be
/// handed on and copied without knowing their kind.
class RIVLINK_LOCAL_EXPORT CControlParameters
{
public:
    /// A value by its name in the configuration, an attribute of the parameter set's node.
    struct SKey
    {
        const char* name;
        int index; ///< in data()
    };

    /// No values, no name, not immutable.
    CControlParameters();
    /// Not immutable.
    CControlParameters(const std::string& name, const std::vector<double>& data);
    /// From the configuration's node of one parameter set; the values are left to the derived class.
    /// Reads "<xmlattr>.Name" (required; the property tree's bad-path error if it is missing) and
    /// "<xmlattr>.Protected", the immutable flag: true unless it is there and says otherwise.
    explicit CControlParameters(const boost::property_tree::ptree& tree);
    /// Copies the immutable flag along.
    CControlParameters(const CControlParameters& other);
    /// Copies the immutable flag along, and is not hindered by it.
    CControlParameters& operator=(const CControlParameters& other);
    virtual ~CControlParameters();

    /// The value that a loop writes to its output when it is disabled: 0.0 unless overridden.
    virtual double getDisabledU() const;

    const std::vector<double>& data() const { return data_; }
    /// Replaces all values, by any number of them.
    void setData(const std::vector<double>& data);
    const std::string& name() const;
    void setName(const std::string& name);
    /// Writes one value. Unchecked: `index` must lie inside data().
    void setValue(int index, double value);

    /// A mark for code that offers the parameters for change; nothing here refuses a change because of it.
    bool isImmutable() const;
    void setImmutable(bool immutable);

    /// Whether the set has a name and at least one value other than 0.0 (NaN is other than 0.0).
    bool isValid() const;

protected:
    /// The value at `index`. Unchecked as setValue().
    double value(int index) const { return data_[static_cast<std::size_t>(index)]; }
    /// `value` without its fraction. What an int cannot hold becomes the int nearest to it, NaN becomes 0.
    static int truncated(double value)
    {
        return std::fabs(value) < tooLarge ? static_cast<int>(value) : nearest(value);
    }

private:
    static constexpr double tooLarge = 2147483648.0; // the first magnitude that not every int has
    static int nearest(double value);

    std::vector<double> data_;
    std::string name_;
    bool immutable_;
};

} // namespace Rvl
