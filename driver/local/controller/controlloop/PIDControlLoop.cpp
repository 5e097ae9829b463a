#include "driver/local/controller/controlloop/PIDControlLoop.h"

#include "common/LoggedThrow.h"
#include "common/TreeValues.h"

#include <boost/optional.hpp>
#include <boost/property_tree/ptree.hpp>

#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace Rvl {

namespace {

constexpr std::size_t pidParameterCount = 10;

} // namespace

CPIDControlLoop::CPIDControlLoop()
    : previousGain_(0.0), error_(0.0), actualValue_(0.0), previousActualValue_(0.0), proportional_(0.0),
      integral_(0.0), derivative_(0.0), unlimitedControlValue_(0.0), derivativeCoefficient_(0.0), m_a0(0.0),
      m_bIntegral(0.0), bumplessParameterChange_(true)
{
    controlType_ = TypePID;
}

CPIDControlLoop::CPIDControlLoop(const boost::property_tree::ptree& tree) : CPIDControlLoop()
{
    bumplessParameterChange_ = optionalTreeValue<bool>(tree, "BumplessParameterChange").value_or(true);
    enabled_ = treeValue<bool>(tree, "Enabled");
    parameters_ = CPIDParameters(tree.get_child("PIDParam"));
    setpoint_ = parameters_.initialSetpoint();
    CPIDControlLoop::setParameters(parameters_);
}

CPIDControlLoop::CPIDControlLoop(const CPIDControlLoop& other) = default;

CPIDControlLoop& CPIDControlLoop::operator=(const CPIDControlLoop& other) = default;

CPIDControlLoop::~CPIDControlLoop() = default;

void CPIDControlLoop::setEnabled(bool enabled)
{
    CControlLoopElementGuard guard(this);
    IControlLoop::setEnabled(enabled);
    if (!enabled) {
        resetTerms();
    }
}

void CPIDControlLoop::calculateOutput()
{
    if (!input_) {
        return;
    }
    calculateControlLoopError();
    calculateProportional();
    calculateDerivative();
    calculateAndLimitControlValue();
    calculateIntegral();
    writeOutput(controlValue_);
}

void CPIDControlLoop::writeFixedControlValue(double value)
{
    CControlLoopElementGuard guard(this);
    resetTerms();
    IControlLoop::writeFixedControlValue(value);
}

bool CPIDControlLoop::isEnabled() const
{
    return IControlLoop::isEnabled();
}

int CPIDControlLoop::sampleTime_ms() const
{
    // the processor reads it while another thread may be setting parameters
    CControlLoopElementGuard guard(this);
    return parameters_.sampleTime_ms();
}

std::string CPIDControlLoop::getTypeName()
{
    return "Rvl::CPIDControlLoop";
}

void CPIDControlLoop::setParameters(const CControlParameters& parameters)
{
    if (parameters.data().size() != pidParameterCount) {
        RVL_THROW(std::invalid_argument, "Parameters is not of type Rvl::CPIDParameters");
    }
    CControlLoopElementGuard guard(this);
    previousGain_ = parameters_.getK();
    parameters_ = CPIDParameters(parameters.data(), parameters.name());
    onParameterChange();
}

CControlParameters& CPIDControlLoop::controlParameters()
{
    return parameters_;
}

double CPIDControlLoop::actualValue() const
{
    return readInput();
}

void CPIDControlLoop::resume(double actualValue)
{
    CControlLoopElementGuard guard(this);
    actualValue_ = actualValue;
    if (parameters_.getTi() != 0.0) {
        integral_ = limited(controlValue_) - parameters_.getK() * (setpoint_ - actualValue);
    }
}

CPIDParameters CPIDControlLoop::parameters() const
{
    return parameters_;
}

double CPIDControlLoop::proportionalControlValue() const
{
    CControlLoopElementGuard guard(this);
    return proportional_;
}

double CPIDControlLoop::integralControlValue() const
{
    CControlLoopElementGuard guard(this);
    return integral_;
}

double CPIDControlLoop::derivativeControlValue() const
{
    CControlLoopElementGuard guard(this);
    return derivative_;
}

void CPIDControlLoop::calculateControlLoopError()
{
    previousActualValue_ = actualValue_;
    actualValue_ = readInputOfStep();
    error_ = setpoint_ - actualValue_;
}

void CPIDControlLoop::calculateProportional()
{
    proportional_ = parameters_.getK() * error_;
}

void CPIDControlLoop::calculateDerivative()
{
    if (parameters_.getTd() == 0.0) {
        derivative_ = 0.0;
        return;
    }
    derivative_ = (actualValue_ - previousActualValue_) * derivativeCoefficient_;
    limitDerivative();
}

void CPIDControlLoop::limitDerivative()
{
    const double limit = parameters_.getDerivativeGainLimit();
    if (std::fabs(derivative_) > limit) {
        derivative_ = derivative_ >= 0.0 ? limit : -limit;
    }
}

void CPIDControlLoop::calculateAndLimitControlValue()
{
    unlimitedControlValue_ = derivative_ + proportional_ + integral_;
    controlValue_ = limited(unlimitedControlValue_);
}

double CPIDControlLoop::limited(double controlValue) const
{
    double result = controlValue;
    if (parameters_.getMinU() > controlValue) {
        result = parameters_.getMinU();
    }
    // the upper limit comes second: it wins if the limits are the wrong way round
    if (controlValue > parameters_.getMaxU()) {
        result = parameters_.getMaxU();
    }
    return result;
}

void CPIDControlLoop::calculateIntegral()
{
    if (parameters_.getTi() != 0.0) {
        integral_ = ((controlValue_ - unlimitedControlValue_) * m_a0 + m_bIntegral * error_) + integral_;
    }
}

void CPIDControlLoop::recalculateIntegralActionParameters()
{
    if (parameters_.getTi() == 0.0) {
        m_a0 = 0.0;
        m_bIntegral = 0.0;
        return;
    }
    m_a0 = sampleTime_s() / parameters_.getTt();
    m_bIntegral = (parameters_.getK() * sampleTime_s()) / parameters_.getTi();
    LOG4CPLUS_TRACE(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("LocalLogger")),
                    "m_a0 = [" << m_a0 << "] m_bIntegral = [" << m_bIntegral << "]");
}

void CPIDControlLoop::recalculateDifferentialActionParameters()
{
    derivativeCoefficient_ =
        parameters_.getTd() == 0.0 ? 0.0 : -(parameters_.getK() * parameters_.getTd() / sampleTime_s());
}

void CPIDControlLoop::bumplessParameterChange()
{
    integral_ = integral_ + (previousGain_ - parameters_.getK()) * error_;
}

void CPIDControlLoop::onParameterChange()
{
    if (bumplessParameterChange_) {
        bumplessParameterChange();
    }
    recalculateIntegralActionParameters();
    recalculateDifferentialActionParameters();
}

void CPIDControlLoop::resetTerms()
{
    proportional_ = 0.0;
    integral_ = 0.0;
    derivative_ = 0.0;
}

double CPIDControlLoop::sampleTime_s() const
{
    return sampleTime_ms() / 1000.0;
}

} // namespace Rvl
