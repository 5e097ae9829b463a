#include "driver/local/Bus/LocalBus.h"

#include "platform/rivlink_common/DeviceAccessException.h"
#include "platform/rivlink_core/CommunicationStateRequest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlot.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

using Rvl::CCommunicationStateRequest;
using Rvl::CLocalBus;
using Rvl::Test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string messageOfWriteData(CLocalBus& bus)
{
    try {
        bus.writeData();
    } catch (const Rvl::CDeviceAccessException& exception) {
        return exception.what();
    }
    return "nothing was thrown";
}

} // namespace

TEST(LocalBus, KeepsTheNameItWasGiven)
{
    EXPECT_EQ("LocalBus", CLocalBus("LocalBus").getName());
    EXPECT_EQ("", CLocalBus("").getName());
}

TEST(LocalBus, TypeNameIsThatOfItsFactory)
{
    const CLocalBus bus("LocalBus");
    EXPECT_EQ("Rvl::CLocalBus", bus.getTypeName());
    EXPECT_EQ(&bus.getTypeName(), &bus.getTypeName());
}

TEST(LocalBus, IsConnectedBetweenConnectAndDisconnect)
{
    CLocalBus bus("LocalBus");
    EXPECT_FALSE(bus.isConnected());
    bus.connect();
    EXPECT_TRUE(bus.isConnected());
    bus.disconnect();
    EXPECT_FALSE(bus.isConnected());
}

TEST(LocalBus, RepeatedConnectsAndDisconnectsAreHarmless)
{
    CLocalBus bus("LocalBus");
    bus.disconnect();
    EXPECT_FALSE(bus.isConnected());
    bus.connect();
    bus.connect();
    EXPECT_TRUE(bus.isConnected());
    bus.disconnect();
    bus.disconnect();
    EXPECT_FALSE(bus.isConnected());
}

TEST(LocalBus, OtherRequestsChangeNothing)
{
    CLocalBus bus("LocalBus");
    bus.connect();
    bus.init();
    bus.shutdown();
    bus.requestCommunicationStateChange(CCommunicationStateRequest(CCommunicationStateRequest::Stopped));
    boost::property_tree::ptree tree;
    tree.put("BusName", "Other");
    bus.setProperties(tree);
    EXPECT_TRUE(bus.isConnected());
    EXPECT_EQ("LocalBus", bus.getName());
}

TEST(LocalBus, LogsEveryRequest)
{
    LogCapture log("LocalLogger");
    CLocalBus bus("LocalBus");
    bus.setProperties(boost::property_tree::ptree());
    bus.init();
    bus.connect();
    bus.requestCommunicationStateChange(CCommunicationStateRequest(CCommunicationStateRequest::Operational));
    bus.disconnect();
    bus.shutdown();
    EXPECT_THAT(log.lines(),
                ElementsAre("TRACE Creating CLocalBus with name LocalBus", "TRACE CLocalBus LocalBus init",
                            "TRACE CLocalBus LocalBus connect",
                            "TRACE CLocalBus LocalBus request comm. state Operational",
                            "TRACE CLocalBus LocalBus disconnect", "TRACE CLocalBus LocalBus shutdown"));
    EXPECT_EQ("driver/local/Bus/LocalBus.cpp", log.records().front().file);
}

TEST(LocalBus, WriteDataThrowsWhileNotConnected)
{
    LogCapture log("ExceptionLogger");
    CLocalBus bus("LocalBus");
    EXPECT_EQ("Data link layer error - bus LocalBus not connected", messageOfWriteData(bus));
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Exception CDeviceAccessException thrown: Data link layer "
                                         "error - bus LocalBus not connected"));
}

TEST(LocalBus, WriteDataDoesNothingWhileConnected)
{
    CLocalBus bus("LocalBus");
    bus.connect();
    LogCapture exceptions("ExceptionLogger");
    LogCapture log("LocalLogger");
    EXPECT_EQ("nothing was thrown", messageOfWriteData(bus));
    EXPECT_THAT(exceptions.lines(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
    bus.disconnect();
    EXPECT_EQ("Data link layer error - bus LocalBus not connected", messageOfWriteData(bus));
}

TEST(LocalBus, WriteDataHonoursIsConnectedOfADerivedBus)
{
    class AlwaysConnected : public CLocalBus
    {
    public:
        using CLocalBus::CLocalBus;
        bool isConnected() const override { return true; }
    };
    AlwaysConnected bus("LocalBus");
    EXPECT_EQ("nothing was thrown", messageOfWriteData(bus));
}

TEST(LocalBus, OperationsStandInTheirSlots)
{
    using Rvl::Test::virtualSlot;
    const std::vector<std::size_t> slots = {
        virtualSlot(&CLocalBus::getName), // after the destructor's two
        virtualSlot(&CLocalBus::addDevice),
        virtualSlot(&CLocalBus::removeDevice),
        virtualSlot(&CLocalBus::setProperties),
        virtualSlot(&CLocalBus::init),
        virtualSlot(&CLocalBus::connect),
        virtualSlot(&CLocalBus::disconnect),
        virtualSlot(&CLocalBus::requestCommunicationStateChange),
        virtualSlot(&CLocalBus::isConnected),
        virtualSlot(&CLocalBus::getTypeName),
        virtualSlot(&CLocalBus::shutdown),
    };
    EXPECT_THAT(slots, ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
}
