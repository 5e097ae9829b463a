#pragma once

#include "platform/rivlink_core/DeviceInterface.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

class CAnalogInChannel;
class IIoChannelInterface;

/// A device made of named signals: sensors, whose values it publishes to the analog inputs bound to them, and
/// actuators, whose values the output channel bound to each hands over. It has one thread of its own, which
/// calls update() every update interval while the device is connected.
///
/// An actuator is 0 until something is written. What is written while the device is not connected is kept and
/// carried out once it is. disconnect() carries out what was last written, then takes every actuator to 0.
///
/// Locks: the update lock is held while update() runs, and so while values are published and outputs are
/// restored; bind and unbind take it. Handing over an actuator value takes only the state lock, which is
/// never held for longer than a few assignments: whoever writes an output does not wait for update().
/// A listener of a channel's event may write outputs, but must not destroy a channel of the same device.
///
/// A subclass declares its signals in its constructor and calls disconnect() first thing in its destructor,
/// because the thread calls its operations.
class CSignalDevice : public IDeviceInterface
{
public:
    ~CSignalDevice() override;

    /// Reads the attribute "UpdateInterval_ms" (1 to 60000; the default is the subclass's).
    void setProperties(const boost::property_tree::ptree& tree) override;
    /// Starts the thread and returns once the device is ready(), usually after its first update. Until then
    /// it updates at least every 50 ms.
    void connect() override;
    void disconnect() override;
    bool isConnected() const override;

    int updateInterval_ms() const;
    const std::vector<std::string>& sensors() const;
    std::vector<std::string> actuators() const;

    /// Binds a channel to a sensor; several may be bound to one. The channel is not owned and must call
    /// unbind() before it is destroyed. Throws CConfigurationException, which lists the sensors, if there is
    /// none of that name.
    void bindSensor(const std::string& sensor, CAnalogInChannel& channel);
    /// Binds a channel to an actuator, with what sends its last request again. Returns the index for
    /// writeActuator(). Throws CConfigurationException if there is no such actuator (listing those there
    /// are), or if another channel drives it.
    std::size_t bindActuator(const std::string& actuator, IIoChannelInterface& channel,
                             std::function<void()> restore);
    /// Forgets the channel. On return no call to it is under way, unless it is the calling thread's own. What
    /// it wrote last stays.
    void unbind(const IIoChannelInterface& channel);

    /// Hands over an actuator's value, limited to its range. Throws CDeviceAccessException while the device
    /// is away, and for a value that is not a number.
    void writeActuator(std::size_t actuator, double value);
    /// What an actuator gives when it is switched on or driven at 100 percent.
    double actuatorMaximum(std::size_t actuator) const;
    /// The lines of a digital port, one bit each; 0 for an actuator that is none.
    std::uint32_t actuatorLines(std::size_t actuator) const;
    /// How often the device itself has taken its actuators to 0, because it was disconnected or went away.
    std::uint64_t timesTakenToZero() const;
    /// The value last handed over, or 0 if the device took it there.
    double actuatorCommand(const std::string& actuator) const;

protected:
    CSignalDevice(const std::string& name, int updateInterval_ms);

    /// Declares a signal and returns its index; each kind counts from 0. Only in a constructor.
    std::size_t addSensor(const std::string& name);
    /// An actuator's range must contain 0, its safe value.
    std::size_t addActuator(const std::string& name, double minimum, double maximum);
    /// A digital port of 1 to 32 lines is an actuator whose value is the number that its lines make, line 0
    /// being the lowest bit.
    std::size_t addPort(const std::string& name, unsigned lineCount);
    /// Another range for an actuator, which must contain 0. Not while connected.
    void setActuatorRange(std::size_t actuator, double minimum, double maximum);

    /// Called before the thread starts. May throw CDeviceAccessException: the device is then not connected.
    virtual void starting();
    /// Called on the device's thread with the update lock held, `elapsed_s` after the call before on the
    /// clock in force (0 in the first one after connecting). Must not throw.
    virtual void update(double elapsed_s) = 0;
    /// Whether connect() need not wait any longer, asked after each update until it is true. By default the
    /// first update is enough; a device whose sensors need longer for their first value says so.
    virtual bool ready() const;
    /// An actuator's value was handed over. Called with the state lock held by whoever wrote: must return at
    /// once and must not call back.
    virtual void actuatorWritten(std::size_t actuator, double value);
    /// Called by disconnect() when the thread has ended and every actuator was taken to 0.
    virtual void stopped();

    /// Runs `action` on the calling thread, with the update lock held.
    void withUpdateLock(const std::function<void()>& action) const;
    /// For update(): hands a value to every channel bound to the sensor, which raises its event 1.
    void publish(std::size_t sensor, double value);
    /// For update(): marks the channels bound to a sensor faulty, or takes the mark off with an empty text.
    void setSensorFault(std::size_t sensor, const std::string& fault);
    /// A copy of every actuator's value.
    std::vector<double> actuatorCommands() const;

    /// The device went away, or is back. From now on it refuses every access, and its own watchdog has taken
    /// every actuator to 0; or it takes values again. Safe from any thread. The channels learn of it in the
    /// next reportOffline().
    void setOffline(bool away);
    bool isOffline() const;
    /// For update(): marks every bound channel faulty once after the device went away, and takes the mark off
    /// and sends every output's last request again once after it came back.
    void reportOffline();

private:
    struct Private;
    std::unique_ptr<Private> private_;

    void run();
    void takeActuatorsToZero(); // with the state lock held
    std::string offlineText() const;
};

/// "a, b, c", or "none" for an empty list.
std::string listed(const std::vector<std::string>& names);

} // namespace Rvl
