#pragma once

#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/controlloop/PIDParameters.h"
#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <string>

namespace Rvl {

/// PID controller as a control loop.
///
/// With the actual value y, the set point w, the sample time dt and e = w - y, each step gives
///
///     P = K e
///     D = (y - y of the step before) (-(K Td / dt)), bounded to +-DerivativeGainLimit; 0 if Td is 0
///     v = D + P + I
///     u = v, limited to MinU and then to MaxU
///     I = ((u - v) (dt / Tt) + (K dt / Ti) e) + I             (only if Ti is not 0)
///
/// and writes u. It differs from CPIDAlgorithm where a running process requires it: the coefficients are
/// calculated when parameters are set, a parameter change keeps I, and P, I and D are set to 0 when the loop
/// is disabled and when a fixed control value is written. The y of the step before is kept meanwhile.
///
/// Unlike other elements the loop can be copied; the copy has a lock of its own and shares input, output and
/// listeners.
class RIVLINK_LOCAL_EXPORT CPIDControlLoop : public IControlLoop
{
public:
    /// What one step leaves for the next one, and for a parameter change, beside set point and control value.
    struct SMemory
    {
        double error;
        double actualValue;
        double proportional;
        double integral;
        double derivative;
    };

    /// Parameters of ten zeros; the coefficients are 0 until parameters are set.
    CPIDControlLoop();
    /// From the loop's node of the configuration: "BumplessParameterChange" (true unless it is there and
    /// says otherwise), "Enabled" (required), "PIDParam" (required, see CPIDParameters). The property tree's
    /// errors pass. Nothing is written to the output.
    explicit CPIDControlLoop(const boost::property_tree::ptree& tree);
    CPIDControlLoop(const CPIDControlLoop& other);
    CPIDControlLoop& operator=(const CPIDControlLoop& other);
    ~CPIDControlLoop() override;

    void setEnabled(bool enabled) override;

protected:
    void calculateOutput() override;

public:
    void writeFixedControlValue(double value) override;
    bool isEnabled() const override;
    /// At least CPIDParameters::MinimumSampleTime.
    int sampleTime_ms() const override;
    /// "Rvl::CPIDControlLoop".
    std::string getTypeName() override;
    /// Takes any set of ten values as PID parameters, for another number throws std::invalid_argument and
    /// leaves the loop as it is. The set held afterwards is not immutable, whatever the given one was.
    /// If parameter changes are bumpless, I is adjusted so that P + I of the last step stays.
    void setParameters(const CControlParameters& parameters) override;
    CControlParameters& controlParameters() override;
    double actualValue() const override;

    /// To be called before a step that follows steps which did not calculate. That step, with this actual
    /// value and the set point of now, then gives the present control value, limited to MinU and MaxU: D
    /// begins at 0, and I becomes what is left. With Ti = 0 there is nothing that could make up for a bump,
    /// as I never changes again by itself: I stays.
    void resume(double actualValue);

    /// A copy of the parameters. Not locked, as controlParameters().
    CPIDParameters parameters() const;
    /// P of the last step.
    double proportionalControlValue() const;
    /// I after the last step.
    double integralControlValue() const;
    /// D of the last step.
    double derivativeControlValue() const;

    SMemory memory() const
    {
        CControlLoopElementGuard guard(this);
        return {error_, actualValue_, proportional_, integral_, derivative_};
    }
    /// The next step goes on from there.
    void setMemory(const SMemory& memory)
    {
        CControlLoopElementGuard guard(this);
        error_ = memory.error;
        actualValue_ = memory.actualValue;
        proportional_ = memory.proportional;
        integral_ = memory.integral;
        derivative_ = memory.derivative;
    }

private:
    void calculateControlLoopError();
    void calculateProportional();
    void calculateDerivative();
    void limitDerivative();
    void calculateAndLimitControlValue();
    double limited(double controlValue) const;
    void calculateIntegral();
    void recalculateIntegralActionParameters();
    void recalculateDifferentialActionParameters();
    void bumplessParameterChange();
    void onParameterChange();
    void resetTerms();
    double sampleTime_s() const;

    CPIDParameters parameters_;
    double previousGain_;
    double error_;
    double actualValue_;
    double previousActualValue_;
    double proportional_;
    double integral_;
    double derivative_;
    double unlimitedControlValue_;
    double derivativeCoefficient_;
    double m_a0;        ///< gain of the anti-windup; called by the name that the trace line gives it
    double m_bIntegral; ///< gain of the integral; called by the name that the trace line gives it
    bool bumplessParameterChange_;
};

} // namespace Rvl
