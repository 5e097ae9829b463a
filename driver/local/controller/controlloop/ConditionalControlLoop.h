#pragma once

#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/controlloop/ConditionalParameters.h"
#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Rvl {

/// Passes its set point on to its output while the actual value is inside the permitted range. Once the
/// actual value is below the lower or above the upper limit, it writes the disabled value instead, until the
/// actual value has come back into the range by more than the threshold. A limit of
/// CConditionalParameters::NoLimit counts for neither.
/// In the beginning the actual value counts as inside, so the threshold plays no part before the first
/// excursion.
class RIVLINK_LOCAL_EXPORT CConditionalControlLoop : public IControlLoop
{
public:
    /// From the loop's node of the configuration, the attributes of "Parameters": "SampleTime_ms",
    /// "Setpoint", "U_Disabled" (a whole number), and optionally "LowerLimit" and "UpperLimit" (no limit if
    /// absent) and "Threshold" (0.0 if absent). For missing keys and values that do not convert the property
    /// tree's errors pass. Nothing is written to the output.
    explicit CConditionalControlLoop(const boost::property_tree::ptree& tree);
    ~CConditionalControlLoop() override;
    CConditionalControlLoop(const CConditionalControlLoop&) = delete;
    CConditionalControlLoop& operator=(const CConditionalControlLoop&) = delete;

protected:
    void calculateOutput() override;

public:
    int sampleTime_ms() const override;
    /// "Rvl::CConditional", which is not the type name of the loop's factory.
    std::string getTypeName() override;
    /// Throws std::invalid_argument, and leaves the loop as it is, if `parameters` are no
    /// CConditionalParameters. (The message names the two-level parameters, as it always did.)
    void setParameters(const CControlParameters& parameters) override;
    CControlParameters& controlParameters() override;
    double actualValue() const override;

    void setParameters(const CConditionalParameters& parameters);
    /// A copy of the parameters. Not locked, as controlParameters().
    CConditionalParameters parameters() const;

    /// Whether the actual value was out of range and has not come back yet, as of the last step.
    bool isOutOfRange() const
    {
        CControlLoopElementGuard guard(this);
        return outOfRange_;
    }
    /// The next step goes on from there.
    void setOutOfRange(bool outOfRange)
    {
        CControlLoopElementGuard guard(this);
        outOfRange_ = outOfRange;
    }

private:
    bool valueOutOfRange(double actualValue);
    bool valueReenteredRange(double actualValue);

    bool outOfRange_;
    CConditionalParameters parameters_;
};

} // namespace Rvl
