#pragma once

#include "driver/common/SignalTable.h"
#include "platform/rivlink_core/DeviceInterface.h"
#include "platform/rivlink_core/PendingWrites.h"

#include <memory>
#include <string>

namespace Rvl {

/// A device made of named signals. It has one worker of its own on the timeline in force
/// (runtime/Timelines.h), which calls update() every update interval while the device is connected.
///
/// What is written to an actuator while the device is not connected is kept and carried out once it is.
/// disconnect() carries out what was last written, then takes every actuator to its safe value.
///
/// A subclass declares its signals in its constructor and calls disconnect() first thing in its destructor,
/// because the worker calls its operations.
class CSignalDevice : public IDeviceInterface, public IPendingWrites, public CSignalTable
{
public:
    ~CSignalDevice() override;

    /// Reads the attribute "UpdateInterval_ms" (1 to 60000; the default is the subclass's).
    void setProperties(const boost::property_tree::ptree& tree) override;
    /// Starts the worker and returns once the device is ready(), usually after its first update. Until then
    /// it updates at least every 50 ms.
    void connect() override;
    void disconnect() override;
    bool isConnected() const override;
    /// By an update out of turn.
    void carryOutPendingWrites() override;

    int updateInterval_ms() const;

protected:
    CSignalDevice(const std::string& name, int updateInterval_ms);

    /// Called before the worker starts. May throw CDeviceAccessException: the device is then not connected.
    virtual void starting();
    /// Called by the device's worker with the update lock held, `elapsed_s` after the call before (0 in the
    /// first one after connecting). Must not throw.
    virtual void update(double elapsed_s) = 0;
    /// Whether connect() need not wait any longer, evaluated after each update until it is true. By default
    /// the first update is enough; a device whose sensors need longer for their first value says so.
    virtual bool ready() const;
    /// Called by disconnect() when the worker has ended and every actuator was taken to its
    /// safe value.
    virtual void stopped();

private:
    struct Private;
    std::unique_ptr<Private> private_;

    void updateOnce();
    void updateAndContinue();
};

} // namespace Rvl
