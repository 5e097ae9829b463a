#include "platform/rivlink_core/BusFactory.h"
#include "platform/rivlink_core/DeviceFactory.h"
#include "platform/rivlink_core/IoChannelFactory.h"

#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlot.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>

using namespace Rvl;
using boost::property_tree::ptree;
using Rvl::Test::LogCapture;

namespace {

/// A factory that returns what it was constructed with.
template <class Interface, class Product> class CTestFactory : public Interface
{
public:
    std::string getTypeName() override { return "Rvl::CNothing"; }
    Product* product = nullptr;
    static std::size_t createObjectImplSlot()
    {
        return Rvl::Test::virtualSlot(&CTestFactory::createObjectImpl);
    }

protected:
    Product* createObjectImpl(const ptree&) override { return product; }
};

template <class Interface, class Product> void nothingMadeIsLoggedAndThrown()
{
    CTestFactory<Interface, Product> factory;
    LogCapture log("ExceptionLogger");
    try {
        factory.createObject(ptree());
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& exception) {
        EXPECT_STREQ("Could not create object of type Rvl::CNothing", exception.what());
    }
    EXPECT_THAT(log.lines(), testing::ElementsAre("ERROR Exception std::runtime_error thrown: Could not "
                                                  "create object of type Rvl::CNothing"));
    char place = 0;
    factory.product = reinterpret_cast<Product*>(&place);
    EXPECT_EQ(factory.product, factory.createObject(ptree())) << "what is made is handed on";
}

template <class Interface, class Product> void operationsStandInTheirSlots()
{
    using Rvl::Test::virtualSlot;
    EXPECT_EQ(2u, virtualSlot(&Interface::getTypeName)); // after the destructor's two
    EXPECT_EQ(3u, (CTestFactory<Interface, Product>::createObjectImplSlot()));
    EXPECT_EQ(4u, virtualSlot(&Interface::createObject));
}

} // namespace

TEST(BusFactory, OperationsStandInTheirSlots)
{
    operationsStandInTheirSlots<IBusFactory, IBus>();
}

TEST(IoChannelFactory, OperationsStandInTheirSlots)
{
    operationsStandInTheirSlots<IIoChannelFactory, IIoChannelInterface>();
}

TEST(BusFactory, NothingMadeIsLoggedAndThrown)
{
    nothingMadeIsLoggedAndThrown<IBusFactory, IBus>();
}

TEST(DeviceFactory, NothingMadeIsLoggedAndThrown)
{
    nothingMadeIsLoggedAndThrown<IDeviceFactory, IDeviceInterface>();
}

TEST(IoChannelFactory, NothingMadeIsLoggedAndThrown)
{
    nothingMadeIsLoggedAndThrown<IIoChannelFactory, IIoChannelInterface>();
}

TEST(IoChannelFactory, NameIsTheAttribute)
{
    ptree tree;
    EXPECT_THROW(IIoChannelFactory::channelNameFromProperties(tree), boost::property_tree::ptree_bad_path);
    tree.put("<xmlattr>.Name", "Vessel temperature");
    EXPECT_EQ("Vessel temperature", IIoChannelFactory::channelNameFromProperties(tree));
}

TEST(DeviceFactory, NameIsTheAttribute)
{
    ptree tree;
    EXPECT_THROW(IDeviceFactory::deviceNameFromProperties(tree), boost::property_tree::ptree_bad_path);
    tree.put("<xmlattr>.Name", "Bench");
    EXPECT_EQ("Bench", IDeviceFactory::deviceNameFromProperties(tree));
}
