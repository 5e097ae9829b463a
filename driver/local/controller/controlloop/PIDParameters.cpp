#include "driver/local/controller/controlloop/PIDParameters.h"

#include <boost/property_tree/ptree.hpp>

#include <algorithm>

namespace Rvl {

namespace {

enum Index
{
    IndexK,
    IndexTi,
    IndexTd,
    IndexDerivativeGainLimit,
    IndexTt,
    IndexMaxU,
    IndexMinU,
    IndexDisabledU,
    IndexSetpoint,
    IndexSampleTime_ms,
    IndexCount,
};

std::vector<double> zeros()
{
    return std::vector<double>(IndexCount, 0.0);
}

} // namespace

CPIDParameters::CPIDParameters()
{
    setData(zeros());
}

CPIDParameters::CPIDParameters(const std::string& name) : CControlParameters(name, zeros())
{
    setSampleTime(MinimumSampleTime);
}

CPIDParameters::CPIDParameters(const std::vector<double>& data, const std::string& name)
    : CControlParameters(name, data)
{}

CPIDParameters::CPIDParameters(const boost::property_tree::ptree& tree) : CControlParameters(tree)
{
    setData(zeros());
    setK(tree.get<double>("<xmlattr>.K"));
    setTd(tree.get<double>("<xmlattr>.Td"));
    setTi(tree.get<double>("<xmlattr>.Ti"));
    setTt(tree.get("<xmlattr>.Tt", 0.0));
    setDerivativeGainLimit(tree.get<double>("<xmlattr>.DerivativeGainLimit"));
    setMinU(tree.get<double>("<xmlattr>.MinU"));
    setMaxU(tree.get<double>("<xmlattr>.MaxU"));
    setDisabledU(tree.get<double>("<xmlattr>.DisabledU"));
    setSampleTime(truncated(tree.get<double>("<xmlattr>.SampleTime_ms")));
    setInitialSetpoint(tree.get<double>("<xmlattr>.Setpoint"));
}

CPIDParameters::CPIDParameters(const CPIDParameters& other) = default;

CPIDParameters& CPIDParameters::operator=(const CPIDParameters& other) = default;

CPIDParameters::~CPIDParameters() = default;

double CPIDParameters::getDisabledU() const
{
    return value(IndexDisabledU);
}

double CPIDParameters::getK() const
{
    return value(IndexK);
}

double CPIDParameters::getTi() const
{
    return value(IndexTi);
}

double CPIDParameters::getTd() const
{
    return value(IndexTd);
}

double CPIDParameters::getDerivativeGainLimit() const
{
    return value(IndexDerivativeGainLimit);
}

double CPIDParameters::getTt() const
{
    if (getTi() != 0.0 && value(IndexTt) == 0.0) {
        return 0.8 * getTi();
    }
    return value(IndexTt);
}

double CPIDParameters::getMaxU() const
{
    return value(IndexMaxU);
}

double CPIDParameters::getMinU() const
{
    return value(IndexMinU);
}

double CPIDParameters::initialSetpoint() const
{
    return value(IndexSetpoint);
}

double CPIDParameters::getProportionalBand() const
{
    return 100.0 / getK();
}

int CPIDParameters::sampleTime_ms() const
{
    return std::max(truncated(value(IndexSampleTime_ms)), +MinimumSampleTime);
}

double CPIDParameters::sampleTime_s() const
{
    return sampleTime_ms() / 1000.0;
}

void CPIDParameters::setK(double gain)
{
    setValue(IndexK, gain);
}

void CPIDParameters::setTi(double integralTime_s)
{
    setValue(IndexTi, integralTime_s);
}

void CPIDParameters::setTd(double derivativeTime_s)
{
    setValue(IndexTd, derivativeTime_s);
}

void CPIDParameters::setDerivativeGainLimit(double limit)
{
    setValue(IndexDerivativeGainLimit, limit);
}

void CPIDParameters::setTt(double trackingTime_s)
{
    setValue(IndexTt, trackingTime_s);
}

void CPIDParameters::setMaxU(double value)
{
    setValue(IndexMaxU, value);
}

void CPIDParameters::setMinU(double value)
{
    setValue(IndexMinU, value);
}

void CPIDParameters::setDisabledU(double value)
{
    setValue(IndexDisabledU, value);
}

void CPIDParameters::setInitialSetpoint(double setpoint)
{
    setValue(IndexSetpoint, setpoint);
}

void CPIDParameters::setProportionalBand(double band)
{
    setK(100.0 / band);
}

void CPIDParameters::setSampleTime(int sampleTime_ms)
{
    setValue(IndexSampleTime_ms, sampleTime_ms);
}

void CPIDParameters::setSampleTimeInSeconds(double sampleTime_s)
{
    setSampleTime(truncated(sampleTime_s * 1000.0));
}

} // namespace Rvl
