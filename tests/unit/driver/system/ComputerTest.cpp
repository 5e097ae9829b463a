#include "driver/system/Computer.h"

#include "platform/kor/EventListener.h"
#include "platform/rivlink_common/ConfigurationException.h"
#include "tests/support/CpuTime.h"
#include "tests/support/DeviceTools.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <mutex>
#include <thread>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

class CValues : public Kor::IEventListener
{
public:
    explicit CValues(CAnalogInChannel& channel) : channel_(channel) { channel.addEventListener(this); }
    void deviceEvent(int event) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (event == IIoChannelInterface::EventNewValue) {
            values_.push_back(channel_.readValue());
        }
    }
    std::vector<double> values() const
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return values_;
    }

private:
    CAnalogInChannel& channel_;
    mutable std::mutex mutex_;
    std::vector<double> values_;
};

struct SMachine
{
    explicit SMachine(const std::string& attributes) : device("Machine")
    {
        device.setProperties(nodeOf("<Device " + attributes + "/>"));
        use.setProperties(nodeOf("<Channel><Device>Machine</Device><Signal>CpuUse</Signal></Channel>"));
        load.setProperties(nodeOf("<Channel><Device>Machine</Device><Signal>Load</Signal></Channel>"));
        use.connectToDevice();
        load.connectToDevice();
    }
    CComputer device;
    CSignalAnalogInChannel use{"Use", systemDevices};
    CSignalDigitalOutChannel load{"Load", systemDevices};
};

} // namespace

TEST(Computer, PublishesItsCpuUse)
{
    SMachine machine("UpdateInterval_ms=\"50\" Threads=\"1\"");
    CValues values(machine.use);
    machine.device.connect();
    ASSERT_TRUE(waitUntil([&] { return values.values().size() >= 5; }));
    machine.device.disconnect();
    for (const double value : values.values()) {
        EXPECT_GE(value, 0.0);
        EXPECT_LE(value, 100.0);
    }
    EXPECT_EQ("", machine.use.fault());
}

TEST(Computer, HasAValueOnceItIsConnectedHoweverLongItsInterval)
{
    SMachine machine("UpdateInterval_ms=\"60000\" Threads=\"1\"");
    EXPECT_TRUE(std::isnan(machine.use.readValue()));
    machine.device.connect();
    EXPECT_FALSE(std::isnan(machine.use.readValue())) << "a loop may begin at once";
    machine.device.disconnect();
    machine.device.connect();
    EXPECT_FALSE(std::isnan(machine.use.readValue()));
}

TEST(Computer, SmoothingFollowsSlowly)
{
    SMachine machine("UpdateInterval_ms=\"50\" Threads=\"1\" SmoothingTimeConstant_s=\"3600\"");
    CValues values(machine.use);
    machine.device.connect();
    ASSERT_TRUE(waitUntil([&] { return values.values().size() >= 1; }));
    machine.load.writeOutput(true);
    ASSERT_TRUE(waitUntil([&] { return values.values().size() >= 8; }));
    machine.device.disconnect();
    const auto seen = values.values();
    EXPECT_NEAR(seen.front(), seen.back(), 0.5) << "within a fraction of the time constant";
}

TEST(Computer, LoadMakesItBusyAndDisconnectEndsIt)
{
    SMachine machine("UpdateInterval_ms=\"50\" Threads=\"1\" LoadPeriod_ms=\"20\"");
    machine.device.connect();
    EXPECT_EQ(1U, machine.device.runningLoadThreads());
    machine.load.setPWMMode(true);
    machine.load.safeWritePWMDutyCycle(60);
    EXPECT_EQ("", machine.load.fault());
    const double start_s = processCpuTime_s();
    ASSERT_TRUE(waitUntil([&] { return processCpuTime_s() - start_s > 0.2; }));
    EXPECT_GT(machine.use.readValue(), 0.0);
    machine.device.disconnect();
    EXPECT_EQ(0U, machine.device.runningLoadThreads());
    EXPECT_EQ(0.0, machine.device.actuatorCommand("Load"));
    const double idle_s = processCpuTime_s();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_LT(processCpuTime_s() - idle_s, 0.05);
}

TEST(Computer, HasOneLoadThreadPerCoreByDefault)
{
    SMachine machine("");
    EXPECT_EQ(std::max(std::thread::hardware_concurrency(), 1U), machine.device.loadThreads());
    machine.device.connect();
    EXPECT_EQ(machine.device.loadThreads(), machine.device.runningLoadThreads());
    machine.device.disconnect();
    machine.device.setProperties(nodeOf("<Device Threads=\"5\"/>"));
    machine.device.connect();
    EXPECT_EQ(5U, machine.device.runningLoadThreads());
}

TEST(Computer, ReconnectedItBeginsWithoutLoad)
{
    SMachine machine("Threads=\"1\" LoadPeriod_ms=\"20\"");
    machine.device.connect();
    machine.load.writeOutput(true);
    machine.device.disconnect();
    machine.device.connect();
    EXPECT_EQ(0.0, machine.device.actuatorCommand("Load"));
    EXPECT_EQ(1U, machine.device.runningLoadThreads());
}

TEST(Computer, ConfigurationIsChecked)
{
    const auto message = [](const std::string& attributes) {
        return messageOf<CConfigurationException>([&] { SMachine machine(attributes); });
    };
    EXPECT_EQ("Device Machine: attribute Threads is \"0\", but must be a whole number from 1 to 1024",
              message("Threads=\"0\""));
    EXPECT_EQ("Device Machine: attribute LoadPeriod_ms is \"fast\", but must be a whole number from 1 to "
              "60000 ms",
              message("LoadPeriod_ms=\"fast\""));
    EXPECT_EQ("Device Machine: attribute SmoothingTimeConstant_s is \"-1\", but must be a number from 0 to "
              "3600 s",
              message("SmoothingTimeConstant_s=\"-1\""));
    EXPECT_EQ("nothing was thrown", message("UpdateInterval_ms=\"100\" Threads=\"2\""));
}

TEST(Computer, ChannelsAreForComputersOnly)
{
    CComputer device("Machine");
    CSignalAnalogInChannel channel("Use", systemDevices);
    channel.setProperties(nodeOf("<Channel><Device>Bench</Device><Signal>CpuUse</Signal></Channel>"));
    EXPECT_EQ("Channel Use: there is no device Bench; computers are: Machine",
              messageOf<CConfigurationException>([&] { channel.connectToDevice(); }));
    channel.setProperties(nodeOf("<Channel><Device>Machine</Device><Signal>Load</Signal></Channel>"));
    EXPECT_EQ("Channel Use: device Machine has no sensor Load; its sensors are: CpuUse",
              messageOf<CConfigurationException>([&] { channel.connectToDevice(); }));
}
