#pragma once

#include "driver/local/controller/common/ControlLoop.h"
#include "driver/local/controller/common/ControlLoopValueListener.h"
#include "driver/local/controller/common/ControlParameters.h"
#include "tests/support/FakeDeviceChannels.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace Rvl::Test {

/// An input of a settable value that notes "NAME init".
class FakeLoopIn : public ILoopIn
{
public:
    FakeLoopIn(std::string name, Journal& journal) : name_(std::move(name)), journal_(journal) {}
    void init() override { journal_.note(name_ + " init"); }
    double readInputValue() override { return value; }

    std::atomic<double> value{0.0};

private:
    const std::string name_;
    Journal& journal_;
};

/// An output that notes "NAME init" and "NAME VALUE".
class FakeLoopOut : public ILoopOut
{
public:
    FakeLoopOut(std::string name, Journal& journal) : name_(std::move(name)), journal_(journal) {}
    void init() override { journal_.note(name_ + " init"); }
    void writeOutputValue(double value) override
    {
        std::ostringstream entry;
        entry << name_ << " " << value;
        journal_.note(entry.str());
    }

private:
    const std::string name_;
    Journal& journal_;
};

/// A loop that reads its input and calculates nothing. It notes "NAME sample time" when that is read on the
/// thread that made the loop, "NAME step" for each step in which it is enabled, and "NAME init".
class FakeLoop : public IControlLoop
{
public:
    FakeLoop(std::string name, Journal& journal) : name_(std::move(name)), journal_(journal) {}

    void init() override
    {
        journal_.note(name_ + " init");
        IControlLoop::init();
    }
    int sampleTime_ms() const override
    {
        if (std::this_thread::get_id() == maker_) {
            journal_.note(name_ + " sample time");
        }
        return sampleTime;
    }
    std::string getTypeName() override { return name_; }
    void setParameters(const CControlParameters& newParameters) override { parameters = newParameters; }
    CControlParameters& controlParameters() override { return parameters; }
    double actualValue() const override { return readInput(); }
    void setControlValue(double value) { controlValue_ = value; }

    std::atomic<int> sampleTime{5};
    CControlParameters parameters;

protected:
    void calculateOutput() override
    {
        if (input_) {
            readInputOfStep();
        }
        journal_.note(name_ + " step");
    }

private:
    const std::string name_;
    Journal& journal_;
    const std::thread::id maker_ = std::this_thread::get_id();
};

/// Counts the steps of the loops that it is added to, enabled or not.
class StepCounter : public IControlLoopValueListener
{
public:
    void onActualValue(double) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++steps_;
        changed_.notify_all();
    }

    int steps() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return steps_;
    }

    /// Waits for so many more steps; false if they did not come within a generous time.
    bool waitForMore(int steps)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const int enough = steps_ + steps;
        return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return steps_ >= enough; });
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    int steps_ = 0;
};

} // namespace Rvl::Test
