#include "driver/local/controller/common/ControlLoop.h"

#include "driver/local/controller/common/ControlLoopValueListener.h"
#include "driver/local/controller/common/ControlParameters.h"
#include "driver/local/controller/common/LoopStepGuard.h"
#include "driver/local/controller/common/LoopStepObserver.h"

#include <limits>

namespace Rvl {

IControlLoop::IControlLoop()
    : controlType_(TypeUndefined), enabled_(false), manualMode_(false), setpoint_(0.0), controlValue_(0.0),
      fixedControlValue_(0.0)
{}

IControlLoop::IControlLoop(const IControlLoop& other)
    : ILoopOut(), controlType_(other.controlType_), listeners_(other.listeners_), input_(other.input_),
      output_(other.output_), enabled_(other.enabled_), manualMode_(other.manualMode_.load()),
      setpoint_(other.setpoint_), controlValue_(other.controlValue_),
      fixedControlValue_(other.fixedControlValue_)
{
    adoptLastWrittenValue(other);
}

IControlLoop& IControlLoop::operator=(const IControlLoop& other)
{
    adoptLastWrittenValue(other);
    controlType_ = other.controlType_;
    listeners_ = other.listeners_;
    input_ = other.input_;
    output_ = other.output_;
    enabled_ = other.enabled_;
    manualMode_ = other.manualMode_.load();
    setpoint_ = other.setpoint_;
    controlValue_ = other.controlValue_;
    fixedControlValue_ = other.fixedControlValue_;
    return *this;
}

IControlLoop::~IControlLoop() = default;

void IControlLoop::writeOutputValue(double value)
{
    writeSetpoint(value);
}

void IControlLoop::setEnabled(bool enabled)
{
    CControlLoopElementGuard guard(this);
    if (isEnabled() == enabled) {
        return;
    }
    enabled_ = enabled;
    if (stepGuard_) {
        stepGuard_->switched();
    }
    if (output_) {
        output_->setEnabled(enabled);
    }
    if (enabled) {
        writeFixedControlValue(fixedControlValue_);
    } else {
        controlValue_ = controlParameters().getDisabledU();
        writeOutput(controlParameters().getDisabledU());
    }
}

void IControlLoop::setInput(std::shared_ptr<ILoopInInterface> input)
{
    // the former input, now in the argument, is released after the guard
    CControlLoopElementGuard guard(this);
    input_.swap(input);
}

void IControlLoop::setOutput(std::shared_ptr<ILoopOutInterface> output)
{
    CControlLoopElementGuard guard(this);
    output_.swap(output);
}

std::shared_ptr<IControlLoopElement> IControlLoop::inputElement()
{
    return std::dynamic_pointer_cast<IControlLoopElement>(input_);
}

std::shared_ptr<IControlLoopElement> IControlLoop::outputElement()
{
    return std::dynamic_pointer_cast<IControlLoopElement>(output_);
}

double IControlLoop::readSetpoint() const
{
    CControlLoopElementGuard guard(this);
    return setpoint_;
}

void IControlLoop::writeSetpoint(double setpoint)
{
    CControlLoopElementGuard guard(this);
    setpoint_ = setpoint;
}

void IControlLoop::writeFixedControlValue(double value)
{
    CControlLoopElementGuard guard(this);
    fixedControlValue_ = value;
    if (isEnabled() && manualMode_) {
        if (stepGuard_) {
            stepGuard_->wroteFixedValue();
        }
        controlValue_ = value;
        writeOutput(value);
    }
}

void IControlLoop::setManualMode(bool manual)
{
    CControlLoopElementGuard guard(this);
    manualMode_ = manual;
    writeFixedControlValue(fixedControlValue_);
}

void IControlLoop::process()
{
    CControlLoopElementGuard guard(this);
    const bool automatic = isEnabled() && !manualMode_;
    if (automatic) {
        if (mayCalculate()) {
            calculateOutput();
        }
    } else if (stepGuard_) {
        stepGuard_->passedStep();
    }
    for (ILoopStepObserver* const observer : stepObservers_) {
        observer->onStep(automatic);
    }
    callActualValueListeners();
}

double IControlLoop::readControlValue() const
{
    CControlLoopElementGuard guard(this);
    return controlValue_;
}

void IControlLoop::addActualValueListener(IControlLoopValueListener* listener)
{
    CControlLoopElementGuard guard(this);
    listeners_.insert(listener);
}

void IControlLoop::removeActualValueListener(IControlLoopValueListener* listener)
{
    CControlLoopElementGuard guard(this);
    listeners_.erase(listener);
}

void IControlLoop::init()
{
    // the switch itself: a derived loop may say of it what it likes, and init() is not to turn it; under the
    // guard throughout, so that no other thread turns it in between
    CControlLoopElementGuard guard(this);
    setEnabled(enabled_);
}

IControlLoop::eType IControlLoop::controlType() const
{
    return controlType_;
}

bool IControlLoop::isManualMode() const
{
    return manualMode_;
}

void IControlLoop::setStepGuard(ILoopStepGuard* guard)
{
    CControlLoopElementGuard elementGuard(this);
    stepGuard_ = guard;
}

void IControlLoop::addStepObserver(ILoopStepObserver* observer)
{
    CControlLoopElementGuard elementGuard(this);
    stepObservers_.push_back(observer);
}

void IControlLoop::removeStepObserver(ILoopStepObserver* observer)
{
    CControlLoopElementGuard elementGuard(this);
    std::erase(stepObservers_, observer);
}

std::shared_ptr<ILoopInInterface> IControlLoop::input() const
{
    CControlLoopElementGuard guard(this);
    return input_;
}

void IControlLoop::driveControlValue(double value)
{
    CControlLoopElementGuard guard(this);
    controlValue_ = value;
    writeOutput(value);
}

bool IControlLoop::mayCalculate()
{
    if (!stepGuard_) {
        return true;
    }
    stepGuard_->beforeReading();
    lastActualValue_ = readInput();
    isFirstReading_ = true;
    return stepGuard_->mayCalculate(lastActualValue_);
}

double IControlLoop::readGuarded()
{
    if (!isFirstReading_) {
        // another thread may have brought a worse value in between
        const double value = input_->readInputValue();
        if (stepGuard_->isGoodValue(value)) {
            lastActualValue_ = value;
        }
    }
    isFirstReading_ = false;
    return lastActualValue_;
}

void IControlLoop::callActualValueListeners()
{
    // a listener may add or remove listeners, itself too, so the next one is looked up by its address
    for (auto next = listeners_.begin(); next != listeners_.end();) {
        IControlLoopValueListener* const listener = *next;
        listener->onActualValue(actualValue());
        next = listeners_.upper_bound(listener);
    }
}

} // namespace Rvl
