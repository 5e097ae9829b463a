#pragma once

#include <memory>
#include <mutex>
#include <set>

// What a step cannot do without, written as plainly as possible: what the steps of rivlink_local are
// compared with.
namespace Rvl::Benchmark {

/// The arithmetic of CPIDAlgorithm on plain doubles.
struct SPlainAlgorithm
{
    double K = 0, Ti = 0, Td = 0, Tt = 0, derivativeGainLimit = 0, minU = 0, maxU = 0;
    double sampleTime_ms = 0;
    int timeOverride_ms = 0;
    double actualValue = 0, previousActualValue = 0, error = 0;
    double proportional = 0, integral = 0, derivative = 0, unlimited = 0, controlValue = 0;

    double calculate(double newActualValue, double setPoint);
};

/// The arithmetic of CPIDControlLoop on plain doubles, whose coefficients were calculated before.
struct SPlainLoop
{
    double K = 0, Ti = 0, Td = 0, derivativeGainLimit = 0, minU = 0, maxU = 0;
    double derivativeCoefficient = 0, a0 = 0, b = 0;
    double setPoint = 0, actualValue = 0, previousActualValue = 0, error = 0;
    double proportional = 0, integral = 0, derivative = 0, unlimited = 0, controlValue = 0;

    double calculate(double newActualValue);
};

class IFloorInput
{
public:
    virtual ~IFloorInput() = default;
    virtual double read() = 0;
};

class IFloorOutput
{
public:
    virtual ~IFloorOutput() = default;
    virtual void write(double value) = 0;
};

class IFloorListener
{
public:
    virtual ~IFloorListener() = default;
    virtual void onActualValue(double value) = 0;
};

/// That arithmetic with what surrounds it in a loop that other threads may use and that others derive from:
/// three pairs of locking and unlocking one recursive mutex (the step's, that of asking whether the loop is
/// enabled, that of reading the actual value for the listener) and eight virtual calls (the step, whether it
/// is enabled, the calculation, two reads of the input, the write of a value that changed, the actual value,
/// the listener).
class CFloorLoop
{
public:
    CFloorLoop(SPlainLoop arithmetic, IFloorInput& input, IFloorOutput& output, IFloorListener& listener);
    virtual ~CFloorLoop();
    CFloorLoop(const CFloorLoop&) = delete;
    CFloorLoop& operator=(const CFloorLoop&) = delete;

    virtual void process();
    virtual bool isEnabled() const;
    virtual void calculateOutput();
    virtual double actualValue() const;

private:
    const std::unique_ptr<std::recursive_mutex> mutex_;
    SPlainLoop arithmetic_;
    bool enabled_ = true;
    bool manual_ = false;
    IFloorInput& input_;
    IFloorOutput& output_;
    double lastWritten_ = 0.0;
    std::set<IFloorListener*> listeners_;
};

} // namespace Rvl::Benchmark
