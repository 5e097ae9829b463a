#include "platform/rivlink_core/DeviceInterface.h"

#include <gmock/gmock.h>

using namespace Rvl;

namespace {

class CTestDevice : public IDeviceInterface
{
public:
    explicit CTestDevice(const std::string& name) : IDeviceInterface(name) {}
    void connect() override {}
    void disconnect() override {}
    bool isConnected() const override { return false; }
};

} // namespace

TEST(DeviceInterface, IsFoundByNameDuringItsLife)
{
    {
        CTestDevice device("Bench");
        EXPECT_EQ("Bench", device.getName());
        EXPECT_EQ(&device, IDeviceInterface::NameServer.lookupObject("Bench"));
    }
    EXPECT_THAT(IDeviceInterface::NameServer.names(), testing::IsEmpty());
}

TEST(DeviceInterface, SecondOfANameIsRefused)
{
    CTestDevice device("Bench");
    EXPECT_THROW(CTestDevice("Bench"), CConfigurationException);
    EXPECT_EQ(&device, IDeviceInterface::NameServer.lookupObject("Bench"));
}
