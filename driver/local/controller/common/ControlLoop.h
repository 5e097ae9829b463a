#pragma once

#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/Export.h"

#include <atomic>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace Rvl {

class CControlParameters;
class IControlLoopValueListener;
class ILoopStepGuard;
class ILoopStepObserver;

/// Base of the control loops. Each step, process(), lets the derived class read the input, calculate, and
/// write the output, and passes the actual value to the listeners.
///
/// A loop is disabled (it calculates nothing; its output was left at the parameters' disabled value), enabled
/// in automatic mode (it calculates), or enabled in manual mode (its output holds the fixed control value).
/// It is an output itself: what an outer loop writes to it becomes its set point.
///
/// Every operation is safe from any thread, except that input and output are looked at
/// (inputElement(), outputElement()) without the lock: they are wired before the loop runs. A loop without an
/// input does not calculate, and one without an output writes nothing.
class RIVLINK_LOCAL_EXPORT IControlLoop : public ILoopOut
{
public:
    /// The kind of loop.
    enum eType
    {
        TypeUndefined = 0,
        TypePID = 1,
        TypeConditional = 2,
        TypeTwoLevel = 3,
    };

    /// Disabled, automatic, all values 0.0; no input, output or listeners.
    IControlLoop();

    /// As an output of another loop: makes `value` the set point.
    void writeOutputValue(double value) override;

    ~IControlLoop() override;

    /// Switches the loop on or off and notifies its output; nothing happens if it is in that state already. A
    /// loop that is enabled in manual mode writes its fixed control value at once, one that is disabled
    /// writes its parameters' disabled value.
    void setEnabled(bool enabled) override;

protected:
    /// One calculation: reads the input, updates the control value, writes the output. Called with the lock
    /// held, only while the loop is enabled and in automatic mode.
    virtual void calculateOutput() = 0;

public:
    virtual void setInput(std::shared_ptr<ILoopInInterface> input);
    virtual void setOutput(std::shared_ptr<ILoopOutInterface> output);
    /// The input as an element; empty if there is none, or if it is not an element.
    virtual std::shared_ptr<IControlLoopElement> inputElement();
    /// The output as an element; empty if there is none, or if it is not an element.
    virtual std::shared_ptr<IControlLoopElement> outputElement();

    virtual double readSetpoint() const;
    /// Any value is taken.
    virtual void writeSetpoint(double setpoint);
    /// Sets the value for manual mode. It reaches the output at once if the loop is enabled and in manual
    /// mode.
    virtual void writeFixedControlValue(double value);
    /// Switches between manual and automatic mode. An enabled loop that goes to manual mode writes its fixed
    /// control value at once; one that goes to automatic mode waits for its next step.
    virtual void setManualMode(bool manual);
    virtual bool isEnabled() const
    {
        CControlLoopElementGuard guard(this);
        return enabled_;
    }

    /// One step, to be called every sampleTime_ms(). The listeners are called in every state of the loop.
    /// Exceptions of the input, the output or a listener pass, with the lock released.
    virtual void process();

    /// The time between two steps, in milliseconds.
    virtual int sampleTime_ms() const = 0;
    /// The value most recently calculated, or written to the output.
    virtual double readControlValue() const;
    /// The loop's type name.
    virtual std::string getTypeName() = 0;
    /// Replaces the parameters. Throws std::invalid_argument if they are not of the loop's kind.
    virtual void setParameters(const CControlParameters& parameters) = 0;
    /// The parameters in force. Not locked: to read them while the loop runs takes the loop's guard.
    virtual CControlParameters& controlParameters() = 0;

    /// Adds a listener, which is not owned; one that is there already is not added again.
    virtual void addActualValueListener(IControlLoopValueListener* listener);
    /// Nothing happens if the listener is not there.
    virtual void removeActualValueListener(IControlLoopValueListener* listener);

    /// The present actual value, freshly read from the input; NaN without an input.
    virtual double actualValue() const = 0;

    /// Calls setEnabled() with the present state of the switch, for the sake of loops that do more there.
    void init() override;

    eType controlType() const;

    /// Whether the loop is in manual mode. Takes no lock, so that one loop's step may ask another loop.
    bool isManualMode() const;
    /// Puts a guard in charge of which steps calculate; null: every step does. Not owned, and not copied with
    /// the loop.
    void setStepGuard(ILoopStepGuard* guard);
    /// Adds an observer. Not owned, and not copied with the loop.
    void addStepObserver(ILoopStepObserver* observer);
    /// Nothing happens if the observer is not there.
    void removeStepObserver(ILoopStepObserver* observer);
    /// The actual value that a step read last, under the lock; NaN before the first one. Reads nothing.
    double lastActualValue() const { return lastActualValue_; }
    /// The input itself; it may be no element.
    std::shared_ptr<ILoopInInterface> input() const;
    /// For a step guard: makes `value` the control value and writes it to the output, in any state.
    void driveControlValue(double value);

protected:
    /// For loops that can be copied. The copy shares input, output and listeners with the original and has a
    /// lock of its own. The original must not be running, or the caller holds its guard.
    IControlLoop(const IControlLoop& other);
    IControlLoop& operator=(const IControlLoop& other);

    /// Tells each listener, in the order of their addresses, a freshly read actual value.
    void callActualValueListeners();
    /// Reads the input under the lock; NaN without an input.
    double readInput() const
    {
        CControlLoopElementGuard guard(this);
        return input_ ? input_->readInputValue() : std::numeric_limits<double>::quiet_NaN();
    }
    /// For calculateOutput(): the actual value of the step under way; each call is one reading of the input.
    /// With a step guard the first call gives the value that the guard has read, so that there are as many
    /// readings as without it. Not without an input.
    double readInputOfStep()
    {
        if (stepGuard_) {
            return readGuarded();
        }
        lastActualValue_ = input_->readInputValue();
        return lastActualValue_;
    }
    /// Writes the output, if there is one.
    void writeOutput(double value)
    {
        if (output_) {
            output_->write(value);
        }
    }

    // guarded by the element's lock
    eType controlType_;
    std::set<IControlLoopValueListener*> listeners_;
    std::shared_ptr<ILoopInInterface> input_;
    std::shared_ptr<ILoopOutInterface> output_;
    bool enabled_;
    std::atomic<bool> manualMode_; ///< read without the lock by isManualMode()
    double setpoint_;
    double controlValue_;
    double fixedControlValue_;

private:
    bool mayCalculate();
    double readGuarded();

    ILoopStepGuard* stepGuard_ = nullptr;
    std::vector<ILoopStepObserver*> stepObservers_;
    bool isFirstReading_ = false; ///< of the step: the value that the guard has read is still unused
    double lastActualValue_ = std::numeric_limits<double>::quiet_NaN();
};

} // namespace Rvl
