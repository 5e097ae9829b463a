#pragma once

#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/controlloop/TwoLevelParameters.h"
#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Rvl {

/// On/off controller with hysteresis. With the set point w and the actual value y, each step does
///
///     if the control value is Up and y > w + upper offset: write Down
///     if the control value, as it now is, is Down and y < w - lower offset: write Up
///
/// and reads y anew for each comparison. Nothing else is written. The loop has no other memory than its
/// control value, and compares it exactly: while it is neither Up nor Down, as after construction or
/// disabling with a disabled value that is neither, the loop never switches, until a fixed control value in
/// manual mode makes it Up or Down. So the disabled value should be one of the two.
class RIVLINK_LOCAL_EXPORT CTwoLevelControlLoop : public IControlLoop
{
public:
    /// From the loop's node of the configuration, the attributes of "Parameters", all required:
    /// "SampleTime_ms", "Setpoint", "LowerThreshold", "UpperThreshold", "U_Up" and "U_Down" (whole numbers),
    /// "U_Disabled". The property tree's errors pass. The control value starts as U_Disabled; nothing is
    /// written to the output.
    explicit CTwoLevelControlLoop(const boost::property_tree::ptree& tree);
    ~CTwoLevelControlLoop() override;
    CTwoLevelControlLoop(const CTwoLevelControlLoop&) = delete;
    CTwoLevelControlLoop& operator=(const CTwoLevelControlLoop&) = delete;

protected:
    void calculateOutput() override;

public:
    int sampleTime_ms() const override;
    /// "Rvl::CTwoLevelControlLoop".
    std::string getTypeName() override;
    /// Throws std::invalid_argument, and leaves the loop as it is, if `parameters` are no
    /// CTwoLevelParameters.
    void setParameters(const CControlParameters& parameters) override;
    CControlParameters& controlParameters() override;
    double actualValue() const override;

    void setParameters(const CTwoLevelParameters& parameters);
    /// To be called before a step that follows steps which did not calculate. A control value that is neither
    /// U_Up nor U_Down, with which the loop would be inert, gives way to `controlValue`, which is written.
    void resume(double controlValue);

    /// A copy of the parameters. Not locked, as controlParameters().
    CTwoLevelParameters parameters() const;

private:
    CTwoLevelParameters parameters_;
};

} // namespace Rvl
