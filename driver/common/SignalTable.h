#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Rvl {

class CAnalogInChannel;
class IIoChannelInterface;

/// A device's signals by name: sensors, whose values are published to the analog inputs bound to them, and
/// actuators, whose values the output channel bound to each hands over.
///
/// Each actuator has one safe value, which it takes whenever it is not driven: until something is written,
/// when takeActuatorsToSafeValues() says so (at the disconnection), when the device goes offline and until
/// the outputs are restored, and where a value that is not a number is refused. The channel that is bound to
/// the actuator brings it along from its configuration; without a channel it is 0, or the end of the range
/// that is nearest to 0. The range need not contain 0, as that of 4 to 20 mA.
///
/// Locks: the update lock is held while values are published and outputs are restored; bind and unbind take
/// it. A written actuator value takes only the state lock, which is never held for longer than a few
/// assignments: an output does not wait for an update. A listener of a channel's event may write outputs, but
/// must not destroy a channel of the same device.
class CSignalTable
{
public:
    /// The values that an actuator takes, ends included.
    struct SActuatorLimits
    {
        double minimum;
        double maximum;
        std::uint32_t lines; ///< of a digital port, one bit each; 0 for an actuator that is none

        /// On is the maximum and off is 0; between them in percent of the maximum, limited to the range.
        double atPercent(double percent) const;
    };
    /// A copy of what all actuators were given.
    struct SActuatorCommands
    {
        std::vector<double> values; ///< by actuator
        std::uint64_t change = 0;   ///< of which they are
    };

    virtual ~CSignalTable();
    CSignalTable(const CSignalTable&) = delete;
    CSignalTable& operator=(const CSignalTable&) = delete;

    /// The names, in the order of their declaration, which is that of their indices.
    const std::vector<std::string>& sensors() const;
    const std::vector<std::string>& actuators() const;

    /// Binds a channel to a sensor; several may be bound to one. The channel is not owned and must call
    /// unbind() before it is destroyed. Throws CConfigurationException, which lists the sensors, if there is
    /// none of that name.
    void bindSensor(const std::string& sensor, CAnalogInChannel& channel);
    /// What a channel brings along for the actuator that it is bound to.
    struct SActuatorUse
    {
        /// The safe value, given the actuator; must lie in its range.
        std::function<double(const SActuatorLimits&)> safeValue;
        std::function<void()> restore; ///< sends the last request again
    };

    /// Binds a channel to an actuator, which takes the channel's safe value unless something was written to
    /// it. Returns the index for writeActuator(). Throws CConfigurationException if there is no such actuator
    /// (listing those there are), if another channel drives it, or if the safe value is outside its range.
    std::size_t bindActuator(const std::string& actuator, IIoChannelInterface& channel, SActuatorUse use);
    /// Forgets the channel. On return no call to it is under way, unless it is the calling thread's own. What
    /// it wrote last stays.
    void unbind(const IIoChannelInterface& channel);

    /// Hands over an actuator's value, limited to its range. Throws CDeviceAccessException while the device
    /// is offline, and for a value that is not a number, in the place of which the safe value is taken.
    void writeActuator(std::size_t actuator, double value);
    SActuatorLimits actuatorLimits(std::size_t actuator) const;
    double actuatorSafeValue(std::size_t actuator) const;
    /// How often the actuators were taken to their safe values, because the device was disconnected or went
    /// offline.
    std::uint64_t timesTakenToSafeValues() const;
    /// The value last handed over, or the safe value if the device took it there. Throws
    /// CConfigurationException, which lists the actuators, if there is none of that name.
    double actuatorCommand(const std::string& actuator) const;

protected:
    /// `deviceName` is the one that messages show.
    explicit CSignalTable(const std::string& deviceName);

    /// Declares a signal and returns its index; each kind counts from 0. Only in a constructor.
    std::size_t addSensor(const std::string& name);
    std::size_t addActuator(const std::string& name, double minimum, double maximum);
    /// A digital port of 1 to 32 lines is an actuator whose value is the number that its lines make, line 0
    /// being the lowest bit.
    std::size_t addPort(const std::string& name, unsigned lineCount);
    /// Another range for an actuator. Command and safe value are limited to it. Not while connected.
    void setActuatorRange(std::size_t actuator, double minimum, double maximum);

    /// An actuator's value was handed over, or its safe value was taken. Called with the state lock held, on
    /// the thread that does so: must return at once and must not call back.
    virtual void actuatorWritten(std::size_t actuator, double value);

    /// Carries out `action` on the calling thread, with the update lock held.
    void withUpdateLock(const std::function<void()>& action) const;
    /// With the update lock: hands a value to every channel bound to the sensor, which raises its event 1.
    void publish(std::size_t sensor, double value);
    /// With the update lock: marks the channels bound to a sensor faulty, or takes the mark off with an empty
    /// text.
    void setSensorFault(std::size_t sensor, const std::string& fault);
    /// A copy of every actuator's value.
    std::vector<double> actuatorCommands() const;
    /// Brings a copy up to date; without a lock if nothing was written since the call before.
    void updateActuatorCommands(SActuatorCommands& commands) const;
    /// Each actuator has its safe value from now on, until something is written.
    void takeActuatorsToSafeValues();

    /// The device went offline, or is back. From now on it refuses every access, and its own watchdog has
    /// taken every actuator to its safe value; or it takes values again. Safe from any thread. The channels
    /// are marked in the next reportOffline().
    void setOffline(bool offline);
    bool isOffline() const;
    /// With the update lock: marks every bound channel faulty once after the device went offline, and takes
    /// the mark off and sends every output's last request again once after it came back.
    void reportOffline();

private:
    struct Private;
    std::unique_ptr<Private> private_;

    void setSafeValue(std::size_t actuator, const IIoChannelInterface& channel, double value);
    void takeToSafeValue(std::size_t actuator); // these two with the state lock held
    void takeAllToSafeValues();
    std::string offlineText() const;
};

/// "a, b, c", or "none" for an empty list.
std::string listed(const std::vector<std::string>& names);

} // namespace Rvl
