#pragma once

#include "driver/common/SignalChannels.h"
#include "driver/common/SignalDevice.h"

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Rvl::Test {

/// A device with the sensors "Level" and "Flow" and the actuators "Valve" (0 to 100) and "Pump" (-2 to 5).
/// Its level is the number of its update, and it notes what is done to it.
class CTestDevice final : public CSignalDevice
{
public:
    explicit CTestDevice(const std::string& name) : CSignalDevice(name, 1)
    {
        addSensor("Level");
        addSensor("Flow");
        addActuator("Valve", 0.0, 100.0);
        addActuator("Pump", -2.0, 5.0);
    }
    ~CTestDevice() override { disconnect(); }

    using CSignalDevice::setOffline;
    using CSignalDevice::setSensorFault;

    /// One update on the calling thread.
    void updateOnce()
    {
        withUpdateLock([this] { update(0.0); });
    }
    std::vector<std::string> notes() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return notes_;
    }
    unsigned updates() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return updates_;
    }
    std::thread::id updateThread() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return updateThread_;
    }

protected:
    void starting() override { note("starting"); }
    void update(double) override
    {
        reportOffline();
        const double valve = actuatorCommands()[0];
        unsigned number = 0;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            updateThread_ = std::this_thread::get_id();
            number = ++updates_;
            if (valve != valve_) {
                valve_ = valve;
                notes_.push_back("carried out " + std::to_string(static_cast<int>(valve)));
            }
        }
        publish(0, number);
    }
    void actuatorWritten(std::size_t actuator, double value) override
    {
        note("written " + std::to_string(actuator) + " " + std::to_string(static_cast<int>(value)));
    }
    void stopped() override { note("stopped"); }

private:
    void note(const std::string& text)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        notes_.push_back(text);
    }

    mutable std::mutex mutex_;
    std::vector<std::string> notes_;
    unsigned updates_ = 0;
    double valve_ = 0.0;
    std::thread::id updateThread_;
};

inline const SDeviceFamily testDevices{
    "a test device", "test devices",
    [](IDeviceInterface* device) -> CSignalDevice* { return dynamic_cast<CTestDevice*>(device); }};

} // namespace Rvl::Test
