#include "driver/local/controller/controlloop/PIDParameters.h"

#include "common/TreeValues.h"

#include <boost/property_tree/ptree.hpp>

#include <cstddef>

namespace Rvl {

namespace {

std::vector<double> zeros(std::size_t count)
{
    return std::vector<double>(count, 0.0);
}

} // namespace

const std::vector<CControlParameters::SKey>& CPIDParameters::keys()
{
    static const std::vector<SKey> keys{{"K", IndexK},
                                        {"Ti", IndexTi},
                                        {"Td", IndexTd},
                                        {"Tt", IndexTt},
                                        {"DerivativeGainLimit", IndexDerivativeGainLimit},
                                        {"MinU", IndexMinU},
                                        {"MaxU", IndexMaxU},
                                        {"DisabledU", IndexDisabledU},
                                        {"Setpoint", IndexSetpoint},
                                        {"SampleTime_ms", IndexSampleTime_ms}};
    return keys;
}

CPIDParameters::CPIDParameters()
{
    setData(zeros(IndexCount));
}

CPIDParameters::CPIDParameters(const std::string& name) : CControlParameters(name, zeros(IndexCount))
{
    setSampleTime(MinimumSampleTime);
}

CPIDParameters::CPIDParameters(const std::vector<double>& data, const std::string& name)
    : CControlParameters(name, data)
{}

CPIDParameters::CPIDParameters(const boost::property_tree::ptree& tree) : CControlParameters(tree)
{
    setData(zeros(IndexCount));
    setK(treeValue<double>(tree, "<xmlattr>.K"));
    setTd(treeValue<double>(tree, "<xmlattr>.Td"));
    setTi(treeValue<double>(tree, "<xmlattr>.Ti"));
    setTt(treeValue(tree, "<xmlattr>.Tt", 0.0));
    setDerivativeGainLimit(treeValue<double>(tree, "<xmlattr>.DerivativeGainLimit"));
    setMinU(treeValue<double>(tree, "<xmlattr>.MinU"));
    setMaxU(treeValue<double>(tree, "<xmlattr>.MaxU"));
    setDisabledU(treeValue<double>(tree, "<xmlattr>.DisabledU"));
    setSampleTime(truncated(treeValue<double>(tree, "<xmlattr>.SampleTime_ms")));
    setInitialSetpoint(treeValue<double>(tree, "<xmlattr>.Setpoint"));
}

CPIDParameters::CPIDParameters(const CPIDParameters& other) = default;

CPIDParameters& CPIDParameters::operator=(const CPIDParameters& other) = default;

CPIDParameters::~CPIDParameters() = default;

double CPIDParameters::getDisabledU() const
{
    return value(IndexDisabledU);
}

double CPIDParameters::getProportionalBand() const
{
    return 100.0 / getK();
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
