#pragma once

#include "driver/local/controller/common/ControlParameters.h"
#include "driver/local/Export.h"

#include <vector>

namespace Rvl {

/// The parameters of the two-level loop: seven values with fixed meanings.
class RIVLINK_LOCAL_EXPORT CTwoLevelParameters : public CControlParameters
{
public:
    /// The keys of the values, in the order of the type's description.
    static const std::vector<SKey>& keys();

    /// Seven zeros, no name, not immutable.
    CTwoLevelParameters();
    CTwoLevelParameters(const CTwoLevelParameters& other);
    CTwoLevelParameters& operator=(const CTwoLevelParameters& other);
    ~CTwoLevelParameters() override;

    /// Control value while the loop is disabled.
    double getDisabledU() const override;

    /// Distance of the band's upper end above the set point, in units of the actual value.
    double getUpperThresholdOffset() const;
    /// Distance of the band's lower end below the set point, in units of the actual value.
    double getLowerThresholdOffset() const;
    /// Control value that lets the actual value rise.
    double getControlValueUp() const;
    /// Control value that lets the actual value fall.
    double getControlValueDown() const;
    /// Set point with which a loop begins.
    double initialSetpoint() const;
    /// Sample time in milliseconds, without its fraction and without any bound.
    int getSampleTime() const;

    void setUpperThresholdOffset(double offset);
    void setLowerThresholdOffset(double offset);
    void setControlValueUp(double value);
    void setControlValueDown(double value);
    void setDisabledU(double value);
    void setInitialSetpoint(double setpoint);
    void setSampleTime(int sampleTime_ms);
};

} // namespace Rvl
