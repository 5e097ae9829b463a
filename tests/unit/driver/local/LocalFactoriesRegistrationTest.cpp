#include "driver/local/LocalFactoriesRegistration.h"

#include "driver/local/Bus/LocalBus.h"
#include "driver/local/Bus/LocalBusFactory.h"
#include "driver/local/LocalControllerChannelFactory.h"
#include "driver/local/VelonixControlChannelFactory.h"
#include "platform/rivlink_core/Environment.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>

using Rvl::CEnvironment;
using Rvl::Test::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

class LocalFactoriesRegistration : public testing::Test
{
protected:
    LocalFactoriesRegistration() { environment.releasePlugins(); }
    ~LocalFactoriesRegistration() override { environment.releasePlugins(); }

    CEnvironment& environment = *CEnvironment::getInstance();
};

TEST_F(LocalFactoriesRegistration, FilesChannelFactoriesBusFactoryAndBusInThisOrder)
{
    LogCapture environmentLog("EnvLogger");
    LogCapture localLog("LocalLogger");
    Rvl::RegisterLocalFactories()();
    EXPECT_THAT(environmentLog.lines(),
                ElementsAre("TRACE Registering Local plugin factories",
                            "INFO Factory Rvl::CLocalControllerChannel registered in registry",
                            "INFO Factory Rvl::CVelonixController registered in registry",
                            "INFO Factory Rvl::CLocalBus registered in registry"));
    EXPECT_THAT(localLog.lines(), ElementsAre("TRACE Creating CLocalBus with name LocalBus"));
    EXPECT_EQ("driver/local/LocalFactoriesRegistration.cpp", environmentLog.records().front().file);

    auto& channels = environment.getIoChannellFactoryRegistry();
    EXPECT_THAT(channels.names(), ElementsAre("Rvl::CLocalControllerChannel", "Rvl::CVelonixController"));
    EXPECT_TRUE(std::dynamic_pointer_cast<Rvl::CLocalControllerChannelFactory>(
        channels.get("Rvl::CLocalControllerChannel")));
    EXPECT_TRUE(std::dynamic_pointer_cast<Rvl::CVelonixControlChannelFactory>(
        channels.get("Rvl::CVelonixController")));
    EXPECT_THAT(environment.getBusFactoryRegistry().names(), ElementsAre("Rvl::CLocalBus"));
    EXPECT_THAT(environment.busRegistry().names(), ElementsAre("LocalBus"));
    EXPECT_TRUE(std::dynamic_pointer_cast<Rvl::CLocalBus>(environment.busRegistry().get("LocalBus")));
}

TEST_F(LocalFactoriesRegistration, NothingIsFiledBeforeTheSignal)
{
    Rvl::registerLocalPlugin();
    EXPECT_EQ(1u, environment.registerFactories().num_slots());
    EXPECT_THAT(environment.getIoChannellFactoryRegistry().names(), IsEmpty());
    EXPECT_THAT(environment.getBusFactoryRegistry().names(), IsEmpty());
    EXPECT_THAT(environment.busRegistry().names(), IsEmpty());
    environment.registerFactories()();
    EXPECT_THAT(environment.busRegistry().names(), ElementsAre("LocalBus"));
}

TEST_F(LocalFactoriesRegistration, EveryConnectionRunsTheRegistrationOnceMore)
{
    Rvl::registerLocalPlugin();
    Rvl::registerLocalPlugin();
    EXPECT_EQ(2u, environment.registerFactories().num_slots());
    LogCapture log("EnvLogger");
    environment.registerFactories()();
    EXPECT_THAT(log.lines(), ElementsAre("TRACE Registering Local plugin factories",
                                         "INFO Factory Rvl::CLocalControllerChannel registered in registry",
                                         "INFO Factory Rvl::CVelonixController registered in registry",
                                         "INFO Factory Rvl::CLocalBus registered in registry",
                                         "TRACE Registering Local plugin factories",
                                         "INFO Factory Rvl::CLocalControllerChannel registered in registry",
                                         "INFO Factory Rvl::CVelonixController registered in registry",
                                         "INFO Factory Rvl::CLocalBus registered in registry"));
}

TEST_F(LocalFactoriesRegistration, SecondRegistrationLeavesTheFirst)
{
    Rvl::RegisterLocalFactories()();
    const auto channelFactory =
        environment.getIoChannellFactoryRegistry().get("Rvl::CLocalControllerChannel");
    const auto bus = environment.busRegistry().get("LocalBus");
    Rvl::RegisterLocalFactories()();
    EXPECT_EQ(channelFactory, environment.getIoChannellFactoryRegistry().get("Rvl::CLocalControllerChannel"));
    EXPECT_EQ(bus, environment.busRegistry().get("LocalBus"));
    EXPECT_EQ(1u, environment.busRegistry().size());
}

TEST_F(LocalFactoriesRegistration, ExceptionOfTheBusFactoryPassesAndWhatWasFiledStays)
{
    class FailingBusFactory : public Rvl::IBusFactory
    {
    public:
        std::string getTypeName() override { return "Rvl::CLocalBus"; }

    protected:
        Rvl::IBus* createObjectImpl(const boost::property_tree::ptree&) override { return nullptr; }
    };
    environment.getBusFactoryRegistry().put(std::make_shared<FailingBusFactory>());
    Rvl::registerLocalPlugin();
    try {
        environment.registerFactories()();
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& exception) {
        EXPECT_STREQ("Could not create object of type Rvl::CLocalBus", exception.what());
    }
    EXPECT_EQ(2u, environment.getIoChannellFactoryRegistry().size());
    EXPECT_EQ(0u, environment.busRegistry().size());
}

TEST_F(LocalFactoriesRegistration, BusIsBuiltAndSetUpFromTheSameTree)
{
    static std::vector<std::string> seen;
    seen.clear();
    class NotingBus : public Rvl::CLocalBus
    {
    public:
        using CLocalBus::CLocalBus;
        void setProperties(const boost::property_tree::ptree& tree) override
        {
            seen.push_back("set " + std::to_string(tree.size()) + " " + tree.get<std::string>("BusName"));
        }
    };
    class NotingBusFactory : public Rvl::CLocalBusFactory
    {
    protected:
        Rvl::IBus* createObjectImpl(const boost::property_tree::ptree& tree) override
        {
            seen.push_back("create " + std::to_string(tree.size()) + " " + tree.get<std::string>("BusName"));
            return new NotingBus("Noting");
        }
    };
    environment.getBusFactoryRegistry().put(std::make_shared<NotingBusFactory>());
    Rvl::RegisterLocalFactories()();
    EXPECT_THAT(seen, ElementsAre("create 1 LocalBus", "set 1 LocalBus"));
    EXPECT_THAT(environment.busRegistry().names(), ElementsAre("Noting"));
}
