#include "driver/local/controller/controlloop/PIDAlgorithm.h"

#include <cmath>

namespace Rvl {

CPIDAlgorithm::CPIDAlgorithm()
    : previousGain_(0.0), error_(0.0), actualValue_(0.0), previousActualValue_(0.0), proportional_(0.0),
      integral_(0.0), derivative_(0.0), controlValue_(0.0), unlimitedControlValue_(0.0),
      sampleTimeOverride_ms_(0)
{}

CPIDAlgorithm::CPIDAlgorithm(const CPIDAlgorithm& other) = default;

CPIDAlgorithm& CPIDAlgorithm::operator=(const CPIDAlgorithm& other) = default;

CPIDAlgorithm::~CPIDAlgorithm() = default;

double CPIDAlgorithm::calculate(double actualValue, double setpoint)
{
    stepTime_s_ = deltaT_s();
    calculateControlLoopError(actualValue, setpoint);
    calculateProportional();
    calculateDerivative();
    limitDerivative();
    calculateAndLimitControlValue();
    calculateIntegral();
    return controlValue_;
}

double CPIDAlgorithm::calculate(double actualValue, double setpoint, int sampleTime_ms)
{
    sampleTimeOverride_ms_ = sampleTime_ms;
    return calculate(actualValue, setpoint);
}

void CPIDAlgorithm::setParameters(const CPIDParameters& parameters)
{
    // element by element: a NaN equals nothing and so counts as a change
    if (parameters.data() == parameters_.data()) {
        return;
    }
    previousGain_ = parameters_.getK();
    parameters_ = parameters;
    onParameterChange();
}

CPIDParameters& CPIDAlgorithm::parameters()
{
    return parameters_;
}

const CPIDParameters& CPIDAlgorithm::parameters() const
{
    return parameters_;
}

void CPIDAlgorithm::calculateControlLoopError(double actualValue, double setpoint)
{
    previousActualValue_ = actualValue_;
    actualValue_ = actualValue;
    error_ = setpoint - actualValue_;
}

void CPIDAlgorithm::calculateProportional()
{
    proportional_ = parameters_.getK() * error_;
}

void CPIDAlgorithm::calculateDerivative()
{
    derivative_ = a1() * (actualValue_ - previousActualValue_);
}

void CPIDAlgorithm::limitDerivative()
{
    const double limit = parameters_.getDerivativeGainLimit();
    if (std::fabs(derivative_) > limit) {
        derivative_ = derivative_ >= 0.0 ? limit : -limit;
    }
}

void CPIDAlgorithm::calculateAndLimitControlValue()
{
    unlimitedControlValue_ = derivative_ + proportional_ + integral_;
    controlValue_ = unlimitedControlValue_;
    if (parameters_.getMinU() > unlimitedControlValue_) {
        controlValue_ = parameters_.getMinU();
    }
    // the upper limit comes second: it wins if the limits are the wrong way round
    if (unlimitedControlValue_ > parameters_.getMaxU()) {
        controlValue_ = parameters_.getMaxU();
    }
}

void CPIDAlgorithm::calculateIntegral()
{
    if (parameters_.getTi() != 0.0) {
        integral_ = (integral() * error_ + a0() * (controlValue_ - unlimitedControlValue_)) + integral_;
    }
}

void CPIDAlgorithm::bumplessParameterChange()
{
    integral_ = integral_ + (previousGain_ - parameters_.getK()) * error_;
}

void CPIDAlgorithm::onParameterChange()
{
    integral_ = 0.0;
}

double CPIDAlgorithm::a0() const
{
    return parameters_.getTi() == 0.0 ? 0.0 : stepTime_s_ / parameters_.getTt();
}

double CPIDAlgorithm::a1() const
{
    return parameters_.getTd() == 0.0 ? 0.0 : -(parameters_.getK() * parameters_.getTd() / stepTime_s_);
}

double CPIDAlgorithm::integral() const
{
    return parameters_.getTi() == 0.0 ? 0.0 : parameters_.getK() * stepTime_s_ / parameters_.getTi();
}

double CPIDAlgorithm::deltaT_s() const
{
    const int sampleTime_ms =
        sampleTimeOverride_ms_ != 0 ? sampleTimeOverride_ms_ : parameters_.sampleTime_ms();
    return sampleTime_ms == 0 ? 1.0 : sampleTime_ms / 1000.0;
}

} // namespace Rvl
