#include "driver/simulated/SimulatedDevice.h"

#include "driver/simulated/ThermalBench.h"
#include "platform/kor/EventListener.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "tests/support/DeviceTools.h"
#include "tests/support/VirtualTime.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <memory>
#include <string>

using namespace Rvl;
using namespace Rvl::Test;
using testing::ElementsAre;

namespace {

/// Integrates its one actuator: d Sum / dt = Drive. "Count" is the number of advances.
class CIntegrator final : public CSimulatedDevice
{
public:
    explicit CIntegrator(const std::string& name) : CSimulatedDevice(name)
    {
        addSensor("Sum");
        addSensor("Count");
        addActuator("Drive", 0.0, 100.0);
    }
    ~CIntegrator() override { disconnect(); }

    std::vector<double> applied; ///< read while no thread runs

protected:
    void applyActuator(std::size_t, double value) override { applied.push_back(drive_ = value); }
    void advance(double step_s) override
    {
        sum_ += drive_ * step_s;
        ++count_;
    }
    double maximumStep_s() const override { return 0.25; }
    double measure(std::size_t sensor) override { return sensor == 0 ? sum_ : count_; }

private:
    double drive_ = 0.0;
    double sum_ = 0.0;
    double count_ = 0.0;
};

class CEventCounter : public Kor::IEventListener
{
public:
    void deviceEvent(int event) override
    {
        if (event == IIoChannelInterface::EventNewValue) {
            ++values;
        }
    }
    std::atomic<int> values{0};
};

/// A device named Rig with one input per sensor and an output on its actuator.
struct SRig
{
    explicit SRig(const std::string& content = "") : device("Rig")
    {
        device.setProperties(nodeOf("<Device UpdateInterval_ms=\"1\">" + content + "</Device>"));
        sum.setProperties(nodeOf("<Channel><Device>Rig</Device><Signal>Sum</Signal></Channel>"));
        count.setProperties(nodeOf("<Channel><Device>Rig</Device><Signal>Count</Signal></Channel>"));
        drive.setProperties(nodeOf("<Channel><Device>Rig</Device><Signal>Drive</Signal></Channel>"));
        sum.connectToDevice();
        count.connectToDevice();
        drive.connectToDevice();
        sum.addEventListener(&events);
    }
    CIntegrator device;
    CEventCounter events;
    CSignalAnalogInChannel sum{"Sum", simulatedDevices};
    CSignalAnalogInChannel count{"Count", simulatedDevices};
    CSignalAnalogOutChannel drive{"Drive", simulatedDevices};
};

std::string configurationError(const std::string& content)
{
    return messageOf<CConfigurationException>([&] { SRig rig(content); });
}

constexpr auto offline = "Device Rig is offline";

} // namespace

TEST(SimulatedDevice, StepAdvancesInSubStepsAndPublishes)
{
    SRig rig;
    rig.drive.safeWriteOutput(10.0);
    rig.device.step(1.1);
    EXPECT_DOUBLE_EQ(11.0, rig.sum.readValue());
    EXPECT_EQ(5.0, rig.count.readValue()) << "no step longer than 0.25 s";
    EXPECT_EQ(1, rig.events.values);
    rig.device.step(0.0);
    EXPECT_EQ(5.0, rig.count.readValue());
    EXPECT_EQ(2, rig.events.values);
}

TEST(SimulatedDevice, AdvancesByTheTimeOfTheTimelineInForce)
{
    CVirtualTime time;
    SRig rig;
    rig.drive.safeWriteOutput(10.0);
    rig.device.connect();
    EXPECT_EQ(0.0, rig.sum.readValue());
    const int events = rig.events.values;
    time.runFor(std::chrono::seconds(3));
    EXPECT_NEAR(30.0, rig.sum.readValue(), 1e-9);
    EXPECT_EQ(events + 3000, rig.events.values) << "one each millisecond";
    rig.device.disconnect();
}

TEST(SimulatedDevice, ANewValueCountsFromTheUpdateThatTakesIt)
{
    CVirtualTime time;
    SRig rig;
    rig.device.connect();
    rig.drive.safeWriteOutput(10.0);
    time.runFor(std::chrono::milliseconds(1)); // taken at its end
    EXPECT_EQ(0.0, rig.sum.readValue());
    rig.drive.safeWriteOutput(20.0);
    time.runFor(std::chrono::milliseconds(1));
    EXPECT_DOUBLE_EQ(0.01, rig.sum.readValue());
    time.runFor(std::chrono::milliseconds(1));
    EXPECT_DOUBLE_EQ(0.03, rig.sum.readValue());
    rig.device.disconnect();
    EXPECT_THAT(rig.device.applied, ElementsAre(10.0, 20.0, 0.0));
}

TEST(SimulatedDevice, DisconnectCarriesOutTheLastValueThenTakesOutputsTo0)
{
    for (int round = 0; round < 20; ++round) {
        SRig rig;
        rig.device.connect();
        rig.drive.safeWriteOutput(50.0);
        rig.device.disconnect();
        EXPECT_THAT(rig.device.applied, ElementsAre(50.0, 0.0));
        EXPECT_EQ(0.0, rig.device.actuatorCommand("Drive"));
    }
}

TEST(SimulatedDevice, OutputThatWasNeverWrittenIs0)
{
    SRig rig;
    rig.device.connect();
    rig.device.disconnect();
    EXPECT_THAT(rig.device.applied, ElementsAre());
    EXPECT_EQ(0.0, rig.sum.readValue());
}

TEST(SimulatedDevice, StuckSensorRepeatsItsValue)
{
    SRig rig;
    rig.drive.safeWriteOutput(10.0);
    rig.device.step(1.0);
    rig.device.setFault(CSimulatedDevice::SensorStuck, "Sum", true);
    rig.device.step(1.0);
    rig.device.step(1.0);
    EXPECT_DOUBLE_EQ(10.0, rig.sum.readValue());
    EXPECT_EQ(3, rig.events.values) << "it still publishes";
    EXPECT_EQ(12.0, rig.count.readValue()) << "the other sensor is sound";
    rig.device.setFault(CSimulatedDevice::SensorStuck, "Sum", false);
    rig.device.step(0.0);
    EXPECT_DOUBLE_EQ(30.0, rig.sum.readValue());
}

TEST(SimulatedDevice, SensorStuckFromTheStartShowsItsFirstValue)
{
    SRig rig("<Fault Kind=\"SensorStuck\" Signal=\"Count\"/>");
    rig.device.step(1.0);
    rig.device.step(1.0);
    EXPECT_EQ(4.0, rig.count.readValue());
}

TEST(SimulatedDevice, NaNSensorPublishesNotANumber)
{
    SRig rig;
    rig.device.step(1.0);
    rig.device.setFault(CSimulatedDevice::SensorNaN, "Sum", true);
    rig.device.step(1.0);
    EXPECT_TRUE(std::isnan(rig.sum.readValue()));
    EXPECT_EQ(2, rig.events.values);
    EXPECT_FALSE(rig.sum.isFaulty());
    EXPECT_FALSE(std::isnan(rig.count.readValue()));
    rig.device.setFault(CSimulatedDevice::SensorNaN, "Sum", false);
    rig.device.step(1.0);
    EXPECT_EQ(0.0, rig.sum.readValue());
}

TEST(SimulatedDevice, SilentSensorPublishesNothing)
{
    SRig rig;
    rig.drive.safeWriteOutput(10.0);
    rig.device.step(1.0);
    rig.device.setFault(CSimulatedDevice::SensorSilent, "Sum", true);
    rig.device.setFault(CSimulatedDevice::SensorNaN, "Sum", true);
    rig.device.step(1.0);
    EXPECT_DOUBLE_EQ(10.0, rig.sum.readValue());
    EXPECT_EQ(1, rig.events.values);
    EXPECT_FALSE(rig.sum.isFaulty()) << "the device does not detect it";
    rig.device.setFault(CSimulatedDevice::SensorSilent, "Sum", false);
    rig.device.setFault(CSimulatedDevice::SensorNaN, "Sum", false);
    rig.device.step(1.0);
    EXPECT_DOUBLE_EQ(30.0, rig.sum.readValue());
}

TEST(SimulatedDevice, DeadActuatorTakesValuesWithoutEffect)
{
    SRig rig;
    rig.drive.safeWriteOutput(10.0);
    rig.device.step(1.0);
    rig.device.setFault(CSimulatedDevice::ActuatorDead, "Drive", true);
    rig.drive.safeWriteOutput(20.0);
    EXPECT_FALSE(rig.drive.isFaulty());
    EXPECT_EQ(20.0, rig.drive.outputValue());
    rig.device.step(1.0);
    EXPECT_DOUBLE_EQ(10.0, rig.sum.readValue());
    rig.device.setFault(CSimulatedDevice::ActuatorDead, "Drive", false);
    rig.device.step(1.0);
    EXPECT_DOUBLE_EQ(30.0, rig.sum.readValue()) << "the value given meanwhile acts now";
}

TEST(SimulatedDevice, OfflineDeviceIsSilentRefusesWritesAndIsUndriven)
{
    SRig rig;
    rig.drive.safeWriteOutput(10.0);
    rig.device.step(1.0);
    rig.device.setFault(CSimulatedDevice::DeviceAway, "", true);
    rig.drive.safeWriteOutput(20.0);
    EXPECT_EQ(offline, rig.drive.fault());
    rig.device.step(1.0);
    EXPECT_EQ(offline, rig.sum.fault());
    EXPECT_EQ(offline, rig.count.fault());
    EXPECT_EQ(1, rig.events.values);
    EXPECT_THAT(rig.device.applied, ElementsAre(10.0, 0.0)) << "its own watchdog";

    rig.device.setFault(CSimulatedDevice::DeviceAway, "", false);
    rig.device.step(0.0);
    EXPECT_EQ("", rig.drive.fault());
    EXPECT_EQ("", rig.sum.fault());
    EXPECT_EQ("", rig.count.fault());
    EXPECT_EQ(2, rig.events.values);
    EXPECT_DOUBLE_EQ(10.0, rig.sum.readValue()) << "nothing was driven meanwhile";
    EXPECT_THAT(rig.device.applied, ElementsAre(10.0, 0.0, 20.0)) << "the newest request is restored";
}

TEST(SimulatedDevice, GoesOfflineAndReturnsWhileRunning)
{
    SRig rig;
    rig.device.connect();
    rig.drive.safeWriteOutput(40.0);
    for (int round = 0; round < 10; ++round) {
        rig.device.setFault(CSimulatedDevice::DeviceAway, "", true);
        ASSERT_TRUE(waitUntil([&] { return rig.sum.isFaulty() && rig.drive.isFaulty(); }));
        EXPECT_EQ(0.0, rig.device.actuatorCommand("Drive"));
        rig.device.setFault(CSimulatedDevice::DeviceAway, "", false);
        ASSERT_TRUE(waitUntil([&] { return rig.device.actuatorCommand("Drive") == 40.0; }));
        ASSERT_TRUE(waitUntil([&] { return !rig.sum.isFaulty() && !rig.drive.isFaulty(); }));
    }
}

TEST(SimulatedDevice, ConfiguredFaultsComeAndGo)
{
    SRig rig("<Fault Kind=\"SensorNaN\" Signal=\"Sum\" From_s=\"2\" To_s=\"4\"/>"
             "<Fault Kind=\"SensorNaN\" Signal=\"Sum\" From_s=\"6\"/>"
             "<Fault Kind=\"ActuatorDead\" Signal=\"Drive\" To_s=\"3\"/>");
    rig.drive.safeWriteOutput(10.0);
    std::string seen;
    for (int second = 1; second <= 8; ++second) {
        rig.device.step(1.0);
        seen += std::isnan(rig.sum.readValue()) ? "x" : ".";
    }
    EXPECT_EQ(".xx..xxx", seen);
    rig.device.setProperties(nodeOf("<Device/>"));
    rig.device.step(0.0);
    EXPECT_DOUBLE_EQ(50.0, rig.sum.readValue()) << "dead for the first 3 of 8 seconds";
}

TEST(SimulatedDevice, ConfiguredAbsenceEnds)
{
    SRig rig("<Fault Kind=\"DeviceAway\" From_s=\"1\" To_s=\"2\"/>");
    rig.drive.safeWriteOutput(10.0);
    rig.device.step(1.0);
    EXPECT_EQ(offline, rig.sum.fault());
    rig.device.step(1.0);
    EXPECT_EQ("", rig.sum.fault());
    rig.device.step(1.0);
    EXPECT_DOUBLE_EQ(20.0, rig.sum.readValue()) << "driven in the first and in the third second";
}

TEST(SimulatedDevice, FaultTimesCountFromConnecting)
{
    CVirtualTime time;
    SRig rig("<Fault Kind=\"SensorNaN\" Signal=\"Sum\" To_s=\"1\"/>");
    rig.device.step(5.0);
    EXPECT_FALSE(std::isnan(rig.sum.readValue()));
    rig.device.connect();
    EXPECT_TRUE(std::isnan(rig.sum.readValue()));
    time.runFor(std::chrono::milliseconds(999));
    EXPECT_TRUE(std::isnan(rig.sum.readValue()));
    time.runFor(std::chrono::milliseconds(2));
    EXPECT_FALSE(std::isnan(rig.sum.readValue()));
    rig.device.disconnect();
}

TEST(SimulatedDevice, SwitchingOffLeavesAConfiguredFault)
{
    SRig rig("<Fault Kind=\"SensorNaN\" Signal=\"Sum\"/>");
    rig.device.setFault(CSimulatedDevice::SensorNaN, "Sum", false);
    rig.device.step(1.0);
    EXPECT_TRUE(std::isnan(rig.sum.readValue()));
}

TEST(SimulatedDevice, FaultConfigurationIsChecked)
{
    EXPECT_EQ("There is no kind of fault SensorMad; kinds are: SensorStuck, SensorNaN, SensorSilent, "
              "ActuatorDead, DeviceAway",
              configurationError("<Fault Kind=\"SensorMad\" Signal=\"Sum\"/>"));
    EXPECT_EQ("Device Rig: there is no sensor Drive for fault SensorNaN; sensors are: Sum, Count",
              configurationError("<Fault Kind=\"SensorNaN\" Signal=\"Drive\"/>"));
    EXPECT_EQ("Device Rig: there is no actuator Sum for fault ActuatorDead; actuators are: Drive",
              configurationError("<Fault Kind=\"ActuatorDead\" Signal=\"Sum\"/>"));
    EXPECT_EQ("Device Rig: fault SensorStuck needs the name of a signal; sensors are: Sum, Count",
              configurationError("<Fault Kind=\"SensorStuck\"/>"));
    EXPECT_EQ("Device Rig: fault DeviceAway takes no signal",
              configurationError("<Fault Kind=\"DeviceAway\" Signal=\"Sum\"/>"));
    EXPECT_EQ("Device Rig, fault SensorNaN: attribute From_s is \"-1\", but must be a number from 0 to "
              "1000000000 s",
              configurationError("<Fault Kind=\"SensorNaN\" Signal=\"Sum\" From_s=\"-1\"/>"));
    EXPECT_EQ("Device Rig, fault SensorNaN: attribute To_s must be greater than From_s",
              configurationError("<Fault Kind=\"SensorNaN\" Signal=\"Sum\" From_s=\"3\" To_s=\"3\"/>"));
    EXPECT_EQ("No such node (<xmlattr>.Kind)",
              messageOf<boost::property_tree::ptree_error>([] { SRig rig("<Fault Signal=\"Sum\"/>"); }));
}

TEST(SimulatedDevice, RunTimeFaultIsChecked)
{
    SRig rig;
    EXPECT_EQ("Device Rig: there is no sensor Some for fault SensorNaN; sensors are: Sum, Count",
              messageOf<CConfigurationException>(
                  [&] { rig.device.setFault(CSimulatedDevice::SensorNaN, "Some", true); }));
}
