#pragma once

#include "driver/local/controller/common/ControlParameters.h"
#include "driver/local/Export.h"

#include <vector>

namespace Rvl {

/// The parameters of the conditional loop: eight values, of which six have a meaning.
class RIVLINK_LOCAL_EXPORT CConditionalParameters : public CControlParameters
{
public:
    /// A limit of this value is no limit.
    static constexpr double NoLimit = 4294967295.0;

    /// The keys of the values that have a meaning, in the order of the type's description.
    static const std::vector<SKey>& keys();

    /// Eight zeros, no name, not immutable.
    CConditionalParameters();
    CConditionalParameters(const CConditionalParameters& other);
    CConditionalParameters& operator=(const CConditionalParameters& other);
    ~CConditionalParameters() override;

    /// Control value while the loop is disabled, and while the actual value is out of range.
    double getDisabledU() const override;

    /// Upper end of the permitted range of the actual value, or NoLimit.
    double getUpperLimit() const;
    /// Lower end of the permitted range of the actual value, or NoLimit.
    double getLowerLimit() const;
    /// How far inside the range the actual value must come before it counts as back, in its units.
    double getThreshold() const;
    /// Set point with which a loop begins.
    double initialSetpoint() const;
    /// Sample time in milliseconds, without its fraction and without any bound.
    int getSampleTime() const;

    void setUpperLimit(double limit);
    void setLowerLimit(double limit);
    void setThreshold(double threshold);
    void setDisabledU(double value);
    void setInitialSetpoint(double setpoint);
    void setSampleTime(int sampleTime_ms);
};

} // namespace Rvl
