#pragma once

#include "driver/local/controller/controlloop/PIDParameters.h"
#include "driver/local/Export.h"

namespace Rvl {

/// A discrete PID controller on its own: no elements, no lock, driven by its caller once per sample.
///
/// With the actual value y, the set point w, the sample time dt and e = w - y, each step gives
///
///     P = K e
///     D = -(K Td / dt) (y - y of the step before), bounded to +-DerivativeGainLimit
///     v = D + P + I
///     u = v, limited to MinU and then to MaxU
///     I = ((K dt / Ti) e + (dt / Tt) (u - v)) + I            (only if Ti is not 0)
///
/// The derivative acts on the measurement, so a step of the set point does not kick. I is advanced after u
/// was formed, so an error reaches the integral part of the output one step later; where the output is
/// limited, I is pulled back (anti-windup). Everything is 0 before the first step, so that step's
/// derivative is against y = 0. A DerivativeGainLimit of 0, as in parameters never set, switches the
/// derivative action off.
class RIVLINK_LOCAL_EXPORT CPIDAlgorithm
{
public:
    /// Parameters of ten zeros.
    CPIDAlgorithm();
    CPIDAlgorithm(const CPIDAlgorithm& other);
    CPIDAlgorithm& operator=(const CPIDAlgorithm& other);
    virtual ~CPIDAlgorithm();

    /// One step; returns u.
    double calculate(double actualValue, double setpoint);
    /// One step with another sample time, which stays in force for later steps too; 0 returns to that of the
    /// parameters. Unlike theirs it has no lower bound.
    double calculate(double actualValue, double setpoint, int sampleTime_ms);

    /// Replaces the parameters and sets I to 0. Does nothing if every value is the same as before.
    void setParameters(const CPIDParameters& parameters);
    /// Changes made here bypass setParameters(): they take effect in the next step, and I stays.
    CPIDParameters& parameters();
    const CPIDParameters& parameters() const;

private:
    void calculateControlLoopError(double actualValue, double setpoint);
    void calculateProportional();
    void calculateDerivative();
    void limitDerivative();
    void calculateAndLimitControlValue();
    void calculateIntegral();
    /// Keeps P + I of the last step across a change of K. Not used: a parameter change resets I here.
    void bumplessParameterChange();
    void onParameterChange();
    /// Gain of the anti-windup, dt / Tt. The coefficients are those of the step under way.
    double a0() const;
    /// Gain of the derivative, -(K Td / dt).
    double a1() const;
    /// Gain of the integral, K dt / Ti.
    double integral() const;
    double deltaT_s() const;

    double previousGain_;
    double error_;
    double actualValue_;
    double previousActualValue_;
    double proportional_;
    double integral_;
    double derivative_;
    double controlValue_;
    double unlimitedControlValue_;
    int sampleTimeOverride_ms_;
    CPIDParameters parameters_;

    /// deltaT_s() for the step under way: its division is not worth repeating for each coefficient.
    double stepTime_s_ = 0.0;
};

} // namespace Rvl
