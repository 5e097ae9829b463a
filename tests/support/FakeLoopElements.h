#pragma once

#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/ControlLoopValueListener.h"
#include "driver/local/controller/common/ControlParameters.h"
#include "driver/local/controller/common/LoopElements.h"

#include <atomic>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Rvl::Test {

/// An input that gives what the test says and counts the reads.
class FakeLoopIn : public ILoopIn
{
public:
    double readInputValue() override
    {
        ++reads;
        if (onRead) {
            onRead();
        }
        return value;
    }

    double value = 0.0;
    int reads = 0;
    std::function<void()> onRead;
};

/// An output that records its calls.
class FakeLoopOut : public ILoopOut
{
public:
    void writeOutputValue(double value) override
    {
        written.push_back(value);
        if (onWrite) {
            onWrite();
        }
    }
    void setEnabled(bool enabled) override { enabledCalls.push_back(enabled); }

    std::vector<double> written;
    std::vector<bool> enabledCalls;
    std::function<void()> onWrite;
};

/// An input that is no element.
class FakeBareInput : public ILoopInInterface
{
public:
    double readInputValue() override { return 0.0; }
};

/// An output that is no element.
class FakeBareOutput : public ILoopOutInterface
{
public:
    void writeOutputValue(double) override {}
};

/// Records the actual values, and calls a function for each.
class FakeValueListener : public IControlLoopValueListener
{
public:
    void onActualValue(double actualValue) override
    {
        values.push_back(actualValue);
        if (onValue) {
            onValue();
        }
    }

    std::vector<double> values;
    std::function<void()> onValue;
};

/// The parameters of FakeControlLoop: a name, one value, and a disabled value.
class FakeParameters : public CControlParameters
{
public:
    FakeParameters() : CControlParameters("fake", {1.0}) {}
    double getDisabledU() const override
    {
        ++disabledUReads;
        return disabledU;
    }

    double disabledU = 0.0;
    mutable int disabledUReads = 0;
};

/// A loop on the real base whose calculation is the test's.
class FakeControlLoop : public IControlLoop
{
public:
    explicit FakeControlLoop(int sampleTime_ms = 20) : sampleTime(sampleTime_ms) {}

    int sampleTime_ms() const override { return sampleTime; }
    std::string getTypeName() override { return "Rvl::Test::FakeControlLoop"; }
    void setParameters(const CControlParameters&) override {}
    CControlParameters& controlParameters() override { return parameters; }
    double actualValue() const override { return readInput(); }

    FakeParameters parameters;
    std::atomic<int> sampleTime;
    std::atomic<int> calculations{0};
    std::function<void()> onCalculate;

protected:
    void calculateOutput() override
    {
        ++calculations;
        if (onCalculate) {
            onCalculate();
        }
    }
};

} // namespace Rvl::Test
