#include "driver/local/controller/controlloop/TwoLevelParameters.h"

namespace Rvl {

namespace {

enum Index
{
    IndexUpperThresholdOffset,
    IndexLowerThresholdOffset,
    IndexControlValueUp,
    IndexControlValueDown,
    IndexDisabledU,
    IndexSetpoint,
    IndexSampleTime_ms,
    IndexCount,
};

} // namespace

const std::vector<CControlParameters::SKey>& CTwoLevelParameters::keys()
{
    static const std::vector<SKey> keys{{"SampleTime_ms", IndexSampleTime_ms},
                                        {"Setpoint", IndexSetpoint},
                                        {"LowerThreshold", IndexLowerThresholdOffset},
                                        {"UpperThreshold", IndexUpperThresholdOffset},
                                        {"U_Up", IndexControlValueUp},
                                        {"U_Down", IndexControlValueDown},
                                        {"U_Disabled", IndexDisabledU}};
    return keys;
}

CTwoLevelParameters::CTwoLevelParameters()
{
    setData(std::vector<double>(IndexCount, 0.0));
}

CTwoLevelParameters::CTwoLevelParameters(const CTwoLevelParameters& other) = default;

CTwoLevelParameters& CTwoLevelParameters::operator=(const CTwoLevelParameters& other) = default;

CTwoLevelParameters::~CTwoLevelParameters() = default;

double CTwoLevelParameters::getDisabledU() const
{
    return value(IndexDisabledU);
}

double CTwoLevelParameters::getUpperThresholdOffset() const
{
    return value(IndexUpperThresholdOffset);
}

double CTwoLevelParameters::getLowerThresholdOffset() const
{
    return value(IndexLowerThresholdOffset);
}

double CTwoLevelParameters::getControlValueUp() const
{
    return value(IndexControlValueUp);
}

double CTwoLevelParameters::getControlValueDown() const
{
    return value(IndexControlValueDown);
}

double CTwoLevelParameters::initialSetpoint() const
{
    return value(IndexSetpoint);
}

int CTwoLevelParameters::getSampleTime() const
{
    return truncated(value(IndexSampleTime_ms));
}

void CTwoLevelParameters::setUpperThresholdOffset(double offset)
{
    setValue(IndexUpperThresholdOffset, offset);
}

void CTwoLevelParameters::setLowerThresholdOffset(double offset)
{
    setValue(IndexLowerThresholdOffset, offset);
}

void CTwoLevelParameters::setControlValueUp(double value)
{
    setValue(IndexControlValueUp, value);
}

void CTwoLevelParameters::setControlValueDown(double value)
{
    setValue(IndexControlValueDown, value);
}

void CTwoLevelParameters::setDisabledU(double value)
{
    setValue(IndexDisabledU, value);
}

void CTwoLevelParameters::setInitialSetpoint(double setpoint)
{
    setValue(IndexSetpoint, setpoint);
}

void CTwoLevelParameters::setSampleTime(int sampleTime_ms)
{
    setValue(IndexSampleTime_ms, sampleTime_ms);
}

} // namespace Rvl
