#pragma once

#include "common/NameServer.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/AnalogOutChannel.h"
#include "platform/rivlink_device/DigitalOutChannel.h"
#include "platform/rivlink_device/DigitalOutInterface.h"
#include "platform/rivlink_device/PumpInterface.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Rvl::Test {

/// What reached the fake devices, in order. Safe from any thread.
class Journal
{
public:
    void note(const std::string& entry)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        entries_.push_back(entry);
        changed_.notify_all();
    }

    std::vector<std::string> entries() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return entries_;
    }

    void clear()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        entries_.clear();
    }

    /// Waits until the entries fulfil the condition; false if they did not within a generous time.
    bool waitFor(const std::function<bool(const std::vector<std::string>&)>& condition)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return condition(entries_); });
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> entries_;
};

/// An analog input that counts how often its current value is read.
class CountingAnalogIn : public CAnalogInChannel
{
public:
    using CAnalogInChannel::CAnalogInChannel;
    double readValue() override
    {
        ++reads;
        return CAnalogInChannel::readValue();
    }

    std::atomic<int> reads{0};
};

/// An analog output whose device notes "NAME VALUE".
class FakeAnalogOut : public CAnalogOutChannel
{
public:
    FakeAnalogOut(const std::string& name, Journal& journal) : CAnalogOutChannel(name), journal_(journal) {}

protected:
    void driveOutput(double unscaledValue) override
    {
        std::ostringstream entry;
        entry << getName() << " " << unscaledValue;
        journal_.note(entry.str());
    }

private:
    Journal& journal_;
};

/// A digital output whose device notes "NAME on", "NAME off", "NAME PWM on", "NAME PWM off", "NAME duty N".
class FakeDigitalOut : public CDigitalOutChannel
{
public:
    FakeDigitalOut(const std::string& name, Journal& journal) : CDigitalOutChannel(name), journal_(journal) {}

    void writeOutput(bool on) override
    {
        if (onWrite) {
            onWrite();
        }
        CDigitalOutChannel::writeOutput(on);
    }

    /// Called at the beginning of each on/off write, if set; may throw.
    std::function<void()> onWrite;

protected:
    void driveOutput(bool on) override { journal_.note(getName() + (on ? " on" : " off")); }
    void drivePWMMode(bool on) override { journal_.note(getName() + (on ? " PWM on" : " PWM off")); }
    void driveDutyCycle(unsigned percent) override
    {
        journal_.note(getName() + " duty " + std::to_string(percent));
    }

private:
    Journal& journal_;
};

/// A digital port that notes "NAME MASK PATTERN", both in decimal.
class FakeDigitalPort : public IDigitalOutInterface
{
public:
    FakeDigitalPort(const std::string& name, Journal& journal)
        : name_(name), journal_(journal), registrator_(NameServer, name, this)
    {}

    void writeMasked(std::uint32_t mask, std::uint32_t value) override
    {
        journal_.note(name_ + " " + std::to_string(mask) + " " + std::to_string(value));
        if (onWrite) {
            onWrite();
        }
    }

    /// Called at the end of each write, if set; may throw.
    std::function<void()> onWrite;

private:
    std::string name_;
    Journal& journal_;
    CNameServerRegistrator<IDigitalOutInterface*, CNameServer<IDigitalOutInterface*>> registrator_;
};

/// A pump that notes "NAME maximum" for each question for its maximum and "NAME flow VALUE".
class FakePump : public IPumpInterface
{
public:
    FakePump(const std::string& name, Journal& journal)
        : name_(name), journal_(journal), registrator_(NameServer, name, this)
    {}

    double maximumFlow() override
    {
        journal_.note(name_ + " maximum");
        return nextMaximum ? nextMaximum() : maximum;
    }

    void generateFlow(double flow) override
    {
        std::ostringstream entry;
        entry << name_ << " flow " << flow;
        journal_.note(entry.str());
        if (onFlow) {
            onFlow();
        }
    }

    double maximum = 10.0;
    /// Asked instead of `maximum`, if set; may throw.
    std::function<double()> nextMaximum;
    /// Called at the end of each flow command, if set; may throw.
    std::function<void()> onFlow;

private:
    std::string name_;
    Journal& journal_;
    CNameServerRegistrator<IPumpInterface*, CNameServer<IPumpInterface*>> registrator_;
};

} // namespace Rvl::Test
