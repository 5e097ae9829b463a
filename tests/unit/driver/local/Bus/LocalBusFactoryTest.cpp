#include "driver/local/Bus/LocalBusFactory.h"

#include "driver/local/Bus/LocalBus.h"
#include "tests/support/LogCapture.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <memory>

using Rvl::CLocalBusFactory;
using Rvl::Test::LogCapture;

TEST(LocalBusFactory, TypeName)
{
    EXPECT_EQ("Rvl::CLocalBus", CLocalBusFactory().getTypeName());
}

TEST(LocalBusFactory, BuildsADisconnectedLocalBusOfTheName)
{
    boost::property_tree::ptree tree;
    tree.put("BusName", "LocalBus");
    const std::unique_ptr<Rvl::IBus> bus(CLocalBusFactory().createObject(tree));
    ASSERT_NE(nullptr, dynamic_cast<Rvl::CLocalBus*>(bus.get()));
    EXPECT_EQ("LocalBus", bus->getName());
    EXPECT_FALSE(bus->isConnected());
}

TEST(LocalBusFactory, MissingNameIsABadPathAndBuildsNothing)
{
    LogCapture log("LocalLogger");
    try {
        CLocalBusFactory().createObject(boost::property_tree::ptree());
        FAIL() << "nothing was thrown";
    } catch (const boost::property_tree::ptree_bad_path& exception) {
        EXPECT_STREQ("No such node (BusName)", exception.what());
    }
    EXPECT_THAT(log.lines(), testing::IsEmpty()) << "no bus announced itself";
}

TEST(LocalBusFactory, CopyBuildsOnItsOwn)
{
    auto original = std::make_unique<CLocalBusFactory>();
    CLocalBusFactory copy(*original);
    CLocalBusFactory assigned;
    assigned = *original;
    original.reset();
    boost::property_tree::ptree tree;
    tree.put("BusName", "Copy");
    const std::unique_ptr<Rvl::IBus> first(copy.createObject(tree));
    const std::unique_ptr<Rvl::IBus> second(assigned.createObject(tree));
    EXPECT_EQ("Copy", first->getName());
    EXPECT_EQ("Copy", second->getName());
    EXPECT_NE(first, second);
}

TEST(LocalBusFactory, DestructionIsLogged)
{
    LogCapture log("CtorDtorLogger");
    {
        const CLocalBusFactory factory;
        EXPECT_THAT(log.lines(), testing::IsEmpty());
    }
    EXPECT_THAT(log.lines(), testing::ElementsAre("TRACE DTOR CLocalBusFactory"));
}
