#include "driver/local/controller/controlloop/ConditionalParameters.h"

namespace Rvl {

namespace {

enum Index
{
    IndexUpperLimit = 0,
    IndexLowerLimit = 1,
    IndexThreshold = 2,
    // 3 is reserved
    IndexDisabledU = 4,
    // 5 is reserved
    IndexSetpoint = 6,
    IndexSampleTime_ms = 7,
    IndexCount = 8,
};

} // namespace

const std::vector<CControlParameters::SKey>& CConditionalParameters::keys()
{
    static const std::vector<SKey> keys{
        {"SampleTime_ms", IndexSampleTime_ms}, {"Setpoint", IndexSetpoint},   {"LowerLimit", IndexLowerLimit},
        {"UpperLimit", IndexUpperLimit},       {"Threshold", IndexThreshold}, {"U_Disabled", IndexDisabledU}};
    return keys;
}

CConditionalParameters::CConditionalParameters()
{
    setData(std::vector<double>(IndexCount, 0.0));
}

CConditionalParameters::CConditionalParameters(const CConditionalParameters& other) = default;

CConditionalParameters& CConditionalParameters::operator=(const CConditionalParameters& other) = default;

CConditionalParameters::~CConditionalParameters() = default;

double CConditionalParameters::getDisabledU() const
{
    return value(IndexDisabledU);
}

double CConditionalParameters::getUpperLimit() const
{
    return value(IndexUpperLimit);
}

double CConditionalParameters::getLowerLimit() const
{
    return value(IndexLowerLimit);
}

double CConditionalParameters::getThreshold() const
{
    return value(IndexThreshold);
}

double CConditionalParameters::initialSetpoint() const
{
    return value(IndexSetpoint);
}

int CConditionalParameters::getSampleTime() const
{
    return truncated(value(IndexSampleTime_ms));
}

void CConditionalParameters::setUpperLimit(double limit)
{
    setValue(IndexUpperLimit, limit);
}

void CConditionalParameters::setLowerLimit(double limit)
{
    setValue(IndexLowerLimit, limit);
}

void CConditionalParameters::setThreshold(double threshold)
{
    setValue(IndexThreshold, threshold);
}

void CConditionalParameters::setDisabledU(double value)
{
    setValue(IndexDisabledU, value);
}

void CConditionalParameters::setInitialSetpoint(double setpoint)
{
    setValue(IndexSetpoint, setpoint);
}

void CConditionalParameters::setSampleTime(int sampleTime_ms)
{
    setValue(IndexSampleTime_ms, sampleTime_ms);
}

} // namespace Rvl
