#pragma once

#include "driver/local/controller/common/ControlLoopElement.h"
#include "driver/local/Export.h"

namespace Rvl {

/// Where a loop reads its actual value.
class RIVLINK_LOCAL_EXPORT ILoopInInterface
{
public:
    ILoopInInterface();
    virtual ~ILoopInInterface();
    ILoopInInterface(const ILoopInInterface&) = delete;
    ILoopInInterface& operator=(const ILoopInInterface&) = delete;

    /// The present value of the controlled quantity.
    virtual double readInputValue() = 0;
};

/// Where a loop writes its control value. A value is delivered only if it differs from the one before it.
class RIVLINK_LOCAL_EXPORT ILoopOutInterface
{
public:
    ILoopOutInterface();

    /// Delivers `value` to the target, whatever was delivered before.
    virtual void writeOutputValue(double value) = 0;

    virtual ~ILoopOutInterface();
    ILoopOutInterface(const ILoopOutInterface&) = delete;
    ILoopOutInterface& operator=(const ILoopOutInterface&) = delete;

    /// Tells the output that the loop in front of it was enabled or disabled. Does nothing unless overridden.
    virtual void setEnabled(bool enabled);

    /// Delivers `value` unless it equals the last written value exactly, without any tolerance. The first
    /// value and every NaN are always delivered. The value counts as written even if its delivery throws.
    void write(double value)
    {
        if (value != lastWrittenValue_) {
            lastWrittenValue_ = value;
            writeOutputValue(value);
        }
    }

protected:
    /// Filters from now on as `other` does.
    void adoptLastWrittenValue(const ILoopOutInterface& other);

private:
    double lastWrittenValue_;
};

/// Base of the inputs.
class RIVLINK_LOCAL_EXPORT ILoopIn : public ILoopInInterface, public IControlLoopElement
{
public:
    ILoopIn();
    ~ILoopIn() override;
    /// Does nothing unless overridden.
    void init() override;
};

/// Base of the outputs.
class RIVLINK_LOCAL_EXPORT ILoopOut : public ILoopOutInterface, public IControlLoopElement
{
public:
    ILoopOut();
    ~ILoopOut() override;
    /// Does nothing unless overridden.
    void init() override;
};

/// Base of elements that are input and output in one, such as a lag between two loops.
class RIVLINK_LOCAL_EXPORT ILoopInOut : public ILoopInInterface,
                                        public ILoopOutInterface,
                                        public IControlLoopElement
{
public:
    ILoopInOut();
    ~ILoopInOut() override;
    /// Does nothing unless overridden.
    void init() override;
};

} // namespace Rvl
