#include "benchmarks/StepFloor.h"

#include <algorithm>
#include <cmath>

namespace Rvl::Benchmark {

double SPlainAlgorithm::calculate(double newActualValue, double setPoint)
{
    previousActualValue = actualValue;
    actualValue = newActualValue;
    error = setPoint - actualValue;
    proportional = K * error;
    const int time_ms =
        timeOverride_ms != 0 ? timeOverride_ms : std::max(static_cast<int>(sampleTime_ms), 20);
    const double dt = time_ms == 0 ? 1.0 : time_ms / 1000.0;
    const double a1 = Td == 0.0 ? 0.0 : -(K * Td / dt);
    derivative = a1 * (actualValue - previousActualValue);
    if (std::fabs(derivative) > derivativeGainLimit) {
        derivative = derivative >= 0.0 ? derivativeGainLimit : -derivativeGainLimit;
    }
    unlimited = derivative + proportional + integral;
    controlValue = unlimited;
    if (minU > unlimited) {
        controlValue = minU;
    }
    if (unlimited > maxU) {
        controlValue = maxU;
    }
    if (Ti != 0.0) {
        const double tracking = Tt == 0.0 ? 0.8 * Ti : Tt;
        integral = ((K * dt / Ti) * error + (dt / tracking) * (controlValue - unlimited)) + integral;
    }
    return controlValue;
}

double SPlainLoop::calculate(double newActualValue)
{
    previousActualValue = actualValue;
    actualValue = newActualValue;
    error = setPoint - actualValue;
    proportional = K * error;
    if (Td == 0.0) {
        derivative = 0.0;
    } else {
        derivative = (actualValue - previousActualValue) * derivativeCoefficient;
        if (std::fabs(derivative) > derivativeGainLimit) {
            derivative = derivative >= 0.0 ? derivativeGainLimit : -derivativeGainLimit;
        }
    }
    unlimited = derivative + proportional + integral;
    controlValue = unlimited;
    if (minU > unlimited) {
        controlValue = minU;
    }
    if (unlimited > maxU) {
        controlValue = maxU;
    }
    if (Ti != 0.0) {
        integral = ((controlValue - unlimited) * a0 + b * error) + integral;
    }
    return controlValue;
}

CFloorLoop::CFloorLoop(SPlainLoop arithmetic, IFloorInput& input, IFloorOutput& output,
                       IFloorListener& listener)
    : mutex_(std::make_unique<std::recursive_mutex>()), arithmetic_(arithmetic), input_(input),
      output_(output), listeners_{&listener}
{}

CFloorLoop::~CFloorLoop() = default;

void CFloorLoop::process()
{
    const std::lock_guard<std::recursive_mutex> lock(*mutex_);
    if (isEnabled() && !manual_) {
        calculateOutput();
    }
    for (IFloorListener* const listener : listeners_) {
        listener->onActualValue(actualValue());
    }
}

bool CFloorLoop::isEnabled() const
{
    const std::lock_guard<std::recursive_mutex> lock(*mutex_);
    return enabled_;
}

void CFloorLoop::calculateOutput()
{
    const double value = arithmetic_.calculate(input_.read());
    if (value != lastWritten_) {
        lastWritten_ = value;
        output_.write(value);
    }
}

double CFloorLoop::actualValue() const
{
    const std::lock_guard<std::recursive_mutex> lock(*mutex_);
    return input_.read();
}

} // namespace Rvl::Benchmark
