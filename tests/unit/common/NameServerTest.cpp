#include "common/NameServer.h"

#include "tests/support/LogCapture.h"
#include "tests/support/Messages.h"
#include "tests/support/VirtualSlot.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>

using Rvl::CConfigurationException;
using Rvl::Test::hexAddress;
using Rvl::Test::LogCapture;
using Rvl::Test::messageOf;
using NameServer = Rvl::CNameServer<int*>;
using Registrator = Rvl::CNameServerRegistrator<int*, NameServer>;

TEST(NameServer, FindsWhatWasRegistered)
{
    NameServer server;
    int object = 0;
    EXPECT_TRUE(server.registerObject(&object, "Temperature"));
    EXPECT_EQ(&object, server.lookupObject("Temperature"));
}

TEST(NameServer, RegistrationIsLoggedWithTheServersAddress)
{
    LogCapture log("CfgLogger");
    NameServer server;
    int object = 0;
    server.registerObject(&object, "Temperature");
    EXPECT_THAT(log.lines(), testing::ElementsAre("INFO Named object Temperature registered on name server " +
                                                  hexAddress(&server)));
}

TEST(NameServer, TakenNameIsRefusedAndFirstRegistrationStays)
{
    NameServer server;
    int first = 0;
    int second = 0;
    server.registerObject(&first, "Temperature");
    LogCapture exceptions("ExceptionLogger");
    LogCapture registrations("CfgLogger");
    EXPECT_EQ("Object Temperature is already registered on this name server",
              messageOf<CConfigurationException>([&] { server.registerObject(&second, "Temperature"); }));
    EXPECT_EQ(&first, server.lookupObject("Temperature"));
    EXPECT_THAT(exceptions.lines(),
                testing::ElementsAre("ERROR Exception CConfigurationException thrown: Object Temperature is "
                                     "already registered on this name server"));
    EXPECT_THAT(registrations.lines(), testing::IsEmpty());
    server.unregisterObject(&second);
    EXPECT_EQ(&first, server.lookupObject("Temperature")) << "the refused object owns nothing";
}

TEST(NameServer, UnknownNameThrowsWithTrailingBlankAndAddress)
{
    NameServer server;
    int object = 0;
    server.registerObject(&object, "Temperature");
    EXPECT_EQ("Object temperature is not registered on this name server " + hexAddress(&server),
              messageOf<CConfigurationException>([&] { server.lookupObject("temperature"); }))
        << "letter case counts";
}

TEST(NameServer, EmptyNameIsAName)
{
    NameServer server;
    int object = 0;
    EXPECT_TRUE(server.registerObject(&object, ""));
    EXPECT_EQ(&object, server.lookupObject(""));
}

TEST(NameServer, UnregisteringTwiceOrNeverRegisteredDoesNothing)
{
    NameServer server;
    int object = 0;
    int other = 0;
    server.registerObject(&object, "Temperature");
    server.unregisterObject(&other);
    EXPECT_EQ(&object, server.lookupObject("Temperature"));
    server.unregisterObject(&object);
    server.unregisterObject(&object);
    EXPECT_THAT(server.names(), testing::IsEmpty());
}

TEST(NameServer, NamesAreOrderedByByte)
{
    NameServer server;
    int a = 0;
    int b = 0;
    int c = 0;
    server.registerObject(&a, "b");
    server.registerObject(&b, "B");
    server.registerObject(&c, "a");
    EXPECT_THAT(server.names(), testing::ElementsAre("B", "a", "b"));
}

TEST(NameServer, ContainsEveryTakenName)
{
    NameServer server;
    int object = 0;
    EXPECT_FALSE(server.contains("Temperature"));
    server.registerObject(&object, "Temperature");
    EXPECT_TRUE(server.contains("Temperature"));
    EXPECT_FALSE(server.contains("temperature"));
    server.unregisterObject(&object);
    EXPECT_FALSE(server.contains("Temperature"));
}

TEST(NameServerRegistrator, RegistersForItsLifetime)
{
    NameServer server;
    int object = 0;
    {
        Registrator registrator(server, "Temperature", &object);
        EXPECT_EQ(&object, server.lookupObject("Temperature"));
    }
    EXPECT_THAT(server.names(), testing::IsEmpty());
}

TEST(NameServerRegistrator, TakenNamePassesTheException)
{
    NameServer server;
    int first = 0;
    int second = 0;
    Registrator registrator(server, "Temperature", &first);
    EXPECT_EQ("Object Temperature is already registered on this name server",
              messageOf<CConfigurationException>([&] { Registrator(server, "Temperature", &second); }));
    EXPECT_EQ(&first, server.lookupObject("Temperature"));
}

TEST(NameServerRegistrator, RemoveThenDestroyLeavesTheServerConsistent)
{
    NameServer server;
    int object = 0;
    int successor = 0;
    {
        Registrator registrator(server, "Temperature", &object);
        registrator.removeFromNameServer();
        EXPECT_THAT(server.names(), testing::IsEmpty());
        server.registerObject(&successor, "Temperature");
    }
    EXPECT_EQ(&successor, server.lookupObject("Temperature"));
}

TEST(NameServerRegistrator, StaysAttachedAfterRemoval)
{
    NameServer server;
    int object = 0;
    {
        Registrator registrator(server, "Temperature", &object);
        registrator.removeFromNameServer();
        server.registerObject(&object, "Temperature");
        registrator.removeFromNameServer();
        EXPECT_THAT(server.names(), testing::IsEmpty());
        server.registerObject(&object, "Temperature");
    }
    EXPECT_THAT(server.names(), testing::IsEmpty());
}

TEST(NameServerRegistrator, UnattachedDoesNothing)
{
    Registrator registrator;
    EXPECT_NO_THROW(registrator.removeFromNameServer());
}

TEST(NameServedObject, RemovalStandsBeforeTheDestructor)
{
    EXPECT_EQ(0u, Rvl::Test::virtualSlot(&Rvl::INameServedObject::removeFromNameServer));
}
