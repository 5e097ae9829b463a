#pragma once

#include "driver/common/SignalChannels.h"
#include "driver/common/SignalDevice.h"
#include "platform/rivlink_core/FaultSimulation.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

/// A device that exists in software only. Its physics advances by the time that passes on the timeline in
/// force (runtime/Timelines.h), and it can be made to fail.
///
/// A subclass declares its signals and says how an actuator acts, how its state advances and what a sensor
/// measures. One update is: advance the state by the time since the update before, with the actuator values
/// taken then; see which faults are in force; take the actuator values for the time to come; publish what
/// the sensors measure.
///
/// Faults are in force while they are switched on or while one of the intervals configured for them lasts.
/// They begin and end with an update.
///
/// - SensorStuck, of a sensor: publishes the value that it had when the fault began, again and again.
/// - SensorNaN, of a sensor: publishes "not a number".
/// - SensorSilent, of a sensor: publishes nothing, neither a value nor an event. Its channel is not marked as
///   faulty.
/// - ActuatorDead, of an actuator: accepts values without an error, but gives 0.
/// - DeviceAway, of no signal: the device does not respond. No sensor publishes, every output access throws
///   CDeviceAccessException, every bound channel is marked as faulty, and the device's own watchdog has taken
///   every actuator to its safe value. When the device is back, the marks go and the last value requested of
///   each output is sent again.
///
/// Of several faults of one sensor silent comes first, then NaN, then stuck.
class CSimulatedDevice : public CSignalDevice, public IFaultSimulation
{
public:
    enum eFault
    {
        SensorStuck,
        SensorNaN,
        SensorSilent,
        ActuatorDead,
        DeviceAway
    };

    ~CSimulatedDevice() override;

    /// The kind of that name, such as "SensorStuck". Throws CConfigurationException, which lists the kinds.
    static eFault faultOfName(const std::string& name);

    /// Reads the attribute "UpdateInterval_ms" (default 20) and any number of elements "Fault" with the
    /// attributes "Kind", "Signal" (none for DeviceAway), "From_s" (default 0) and "To_s" (absent: for ever),
    /// in seconds after connect(). They replace those read before.
    void setProperties(const boost::property_tree::ptree& tree) override;

    /// Switches a fault on or off, besides what is configured. `signal` is empty for DeviceAway. Throws
    /// CConfigurationException if the fault does not go with the signal. Safe from any thread.
    void setFault(eFault kind, const std::string& signal, bool on);
    /// Throws what setFault() would throw, and changes nothing.
    void checkFault(eFault kind, const std::string& signal) const;
    std::vector<SFault> simulatedFaults() const override;
    /// As setFault(), with the kind's name.
    void simulateFault(const std::string& kind, const std::string& signal, bool on) override;

    /// Takes what was written to the actuators, advances by `duration_s` (finite, not negative) at once and
    /// publishes: the physics without a thread. The time for configured faults runs from the construction.
    void step(double duration_s);

protected:
    explicit CSimulatedDevice(const std::string& name);

    /// The actuator gives this value from now on. Called when the value changes; every actuator begins at 0.
    virtual void applyActuator(std::size_t actuator, double value) = 0;
    /// Advances the state by a time of at most maximumStep_s(), never 0.
    virtual void advance(double step_s) = 0;
    /// The longest step in which advance() is accurate. Default 1 ms.
    virtual double maximumStep_s() const;
    /// What the sensor shows now. Called once per update for each sensor.
    virtual double measure(std::size_t sensor) = 0;

    void starting() override;
    void update(double elapsed_s) final;
    void stopped() override;

private:
    struct Private;
    std::unique_ptr<Private> private_;

    std::size_t indexOfSignal(eFault kind, const std::string& signal) const;
    void followFaults();
    void takeActuators();
    void publishSensors();
};

/// The devices to which the channels of this plug-in can be bound.
extern const SDeviceFamily simulatedDevices;

} // namespace Rvl
