#include "platform/rivlink_core/Bus.h"

#include "platform/rivlink_common/ConfigurationException.h"
#include "platform/rivlink_core/BusRegistry.h"
#include "platform/rivlink_core/CommunicationStateRequest.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <sstream>

using namespace Rvl;

namespace {

class CTestBus : public IBus
{
public:
    explicit CTestBus(std::string name) : name_(std::move(name)) {}
    const std::string& getName() const override { return name_; }
    void setProperties(const boost::property_tree::ptree&) override {}
    void init() override {}
    void connect() override {}
    void disconnect() override {}
    void requestCommunicationStateChange(const CCommunicationStateRequest&) override {}
    bool isConnected() const override { return false; }
    const std::string& getTypeName() const override { return name_; }
    void shutdown() override {}

private:
    std::string name_;
};

IDeviceInterface* device(int number)
{
    static char places[3];
    return reinterpret_cast<IDeviceInterface*>(&places[number]);
}

std::string text(CCommunicationStateRequest::eState state)
{
    std::ostringstream stream;
    stream << CCommunicationStateRequest(state);
    return stream.str();
}

} // namespace

TEST(Bus, KeepsDevicesInOrderAndOnce)
{
    CTestBus bus("A");
    bus.addDevice(device(1));
    bus.addDevice(device(0));
    bus.addDevice(device(1));
    EXPECT_THAT(bus.devices(), testing::ElementsAre(device(1), device(0)));
}

TEST(Bus, RemovingAnUnknownDeviceDoesNothing)
{
    CTestBus bus("A");
    bus.addDevice(device(0));
    bus.removeDevice(device(2));
    EXPECT_THAT(bus.devices(), testing::ElementsAre(device(0)));
    bus.removeDevice(device(0));
    EXPECT_THAT(bus.devices(), testing::IsEmpty());
}

TEST(Bus, OperationsStandInTheirSlots)
{
    using Rvl::Test::virtualSlot;
    const std::vector<std::size_t> slots = {
        virtualSlot(&IBus::getName), // after the destructor's two
        virtualSlot(&IBus::addDevice),
        virtualSlot(&IBus::removeDevice),
        virtualSlot(&IBus::setProperties),
        virtualSlot(&IBus::init),
        virtualSlot(&IBus::connect),
        virtualSlot(&IBus::disconnect),
        virtualSlot(&IBus::requestCommunicationStateChange),
        virtualSlot(&IBus::isConnected),
        virtualSlot(&IBus::getTypeName),
        virtualSlot(&IBus::shutdown),
    };
    EXPECT_THAT(slots, testing::ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
}

TEST(BusRegistry, FirstBusOfANameStays)
{
    CBusRegistry registry;
    const auto first = std::make_shared<CTestBus>("LocalBus");
    EXPECT_TRUE(registry.put(first));
    EXPECT_FALSE(registry.put(std::make_shared<CTestBus>("LocalBus")));
    EXPECT_EQ(first, registry.get("LocalBus"));
    EXPECT_EQ(1u, registry.size());
}

TEST(BusRegistry, UnknownNameThrows)
{
    CBusRegistry registry;
    try {
        registry.get("CAN");
        FAIL() << "nothing was thrown";
    } catch (const CConfigurationException& exception) {
        EXPECT_STREQ("Bus CAN does not exist in bus registry", exception.what());
    }
}

TEST(CommunicationStateRequest, IsWrittenByName)
{
    EXPECT_EQ("Stopped", text(CCommunicationStateRequest::Stopped));
    EXPECT_EQ("PreOperational", text(CCommunicationStateRequest::PreOperational));
    EXPECT_EQ("Operational", text(CCommunicationStateRequest::Operational));
}
