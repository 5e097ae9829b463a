#include "platform/rivlink_core/Environment.h"

#include "platform/rivlink_core/IoChannelInterface.h"

#include <gtest/gtest.h>

using namespace Rvl;

namespace {

class CTestChannelFactory : public IIoChannelFactory
{
public:
    std::string getTypeName() override { return "Rvl::CTestChannel"; }

protected:
    IIoChannelInterface* createObjectImpl(const boost::property_tree::ptree&) override { return nullptr; }
};

} // namespace

TEST(Environment, IsOneForTheProcess)
{
    ASSERT_NE(nullptr, CEnvironment::getInstance());
    EXPECT_EQ(CEnvironment::getInstance(), CEnvironment::getInstance());
}

TEST(Environment, SignalsReachTheirSlots)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    int registered = 0;
    int disconnecting = 0;
    environment.registerFactories().connect([&] { ++registered; });
    environment.aboutToDisconnect().connect([&] { ++disconnecting; });
    environment.registerFactories()();
    EXPECT_EQ(1, registered);
    EXPECT_EQ(0, disconnecting);
    environment.aboutToDisconnect()();
    EXPECT_EQ(1, disconnecting);
    environment.releasePlugins();
}

TEST(Environment, PlacesThatAskForTheRegistrationAreKnownUntilPluginsAreReleased)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    environment.releasePlugins();
    EXPECT_TRUE(environment.registrants().empty());
    environment.registerFactories();
    EXPECT_EQ(1U, environment.registrants().size());
    environment.registerFactories();
    EXPECT_EQ(2U, environment.registrants().size());
    environment.releasePlugins();
    EXPECT_TRUE(environment.registrants().empty());
}

TEST(Environment, ReleasingPluginsForgetsSlotsAndFactories)
{
    CEnvironment& environment = *CEnvironment::getInstance();
    int called = 0;
    environment.registerFactories().connect([&] { ++called; });
    environment.aboutToDisconnect().connect([&] { ++called; });
    auto factory = std::make_shared<CTestChannelFactory>();
    const std::weak_ptr<CTestChannelFactory> watched = factory;
    environment.getIoChannellFactoryRegistry().put(std::move(factory));

    environment.releasePlugins();

    EXPECT_TRUE(watched.expired());
    environment.registerFactories()();
    environment.aboutToDisconnect()();
    EXPECT_EQ(0, called);
}
