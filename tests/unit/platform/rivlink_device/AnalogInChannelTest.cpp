#include "platform/rivlink_device/AnalogInChannel.h"

#include "platform/kor/EventListener.h"
#include "platform/rivlink_device/LinearScaling.h"

#include <gmock/gmock.h>

#include <cmath>

using namespace Rvl;

namespace {

struct Reader : Kor::IEventListener
{
    explicit Reader(CAnalogInChannel& source) : channel(source) {}
    void deviceEvent(int event) override
    {
        events.push_back(event);
        values.push_back(channel.readValue());
    }
    CAnalogInChannel& channel;
    std::vector<int> events;
    std::vector<double> values;
};

} // namespace

TEST(AnalogInChannel, IsNotANumberBeforeTheFirstValue)
{
    CAnalogInChannel channel("Temperature");
    EXPECT_TRUE(std::isnan(channel.readValue()));
}

TEST(AnalogInChannel, NewValueIsThereWhenItsEventIsRaised)
{
    CAnalogInChannel channel("Temperature");
    Reader reader(channel);
    channel.addEventListener(&reader);
    channel.publishValue(21.5);
    channel.publishValue(21.5);
    EXPECT_THAT(reader.events, testing::ElementsAre(1, 1)) << "each announcement, also of an equal value";
    EXPECT_THAT(reader.values, testing::ElementsAre(21.5, 21.5));
}

TEST(AnalogInChannel, ReadsScaled)
{
    CAnalogInChannel channel("Pressure");
    channel.setScaling(new CLinearScaling(0.5, 1.0, "bar"));
    channel.publishValue(4.0);
    EXPECT_DOUBLE_EQ(3.0, channel.readValue());
    EXPECT_DOUBLE_EQ(4.0, channel.readValueUnscaled());
}

TEST(AnalogInChannel, IsOnItsNameServerForItsLife)
{
    {
        CAnalogInChannel channel("Temperature");
        EXPECT_EQ(&channel, CAnalogInChannel::NameServer.lookupObject("Temperature"));
        EXPECT_THROW(CAnalogInChannel("Temperature"), CConfigurationException);
    }
    EXPECT_THAT(CAnalogInChannel::NameServer.names(), testing::IsEmpty());
}
