#include "driver/local/controller/controlloopinput/AnalogChannelLoopIn.h"

#include "driver/local/controller/controlloopinput/AnalogChannelLoopInFactory.h"
#include "platform/rivlink_device/AnalogInChannel.h"
#include "platform/rivlink_device/LinearScaling.h"
#include "tests/support/FakeDeviceChannels.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/driver/local/controller/ElementTesting.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>

using Rvl::CAnalogChannelLoopIn;
using Rvl::CAnalogInChannel;
using Rvl::IIoChannelInterface;
using Rvl::Test::CountingAnalogIn;
using Rvl::Test::faultOf;
using Rvl::Test::node;
using Rvl::Test::notRegistered;

namespace {

/// Does what the test says while its current value is read.
class InterruptedAnalogIn : public CAnalogInChannel
{
public:
    using CAnalogInChannel::CAnalogInChannel;
    double readValue() override
    {
        if (onRead) {
            onRead();
        }
        return CAnalogInChannel::readValue();
    }
    std::function<void()> onRead;
};

} // namespace

TEST(AnalogChannelLoopIn, IsZeroUntilInitOrTheFirstNewValue)
{
    CAnalogInChannel channel("Temperature");
    channel.publishValue(20.0);
    CAnalogChannelLoopIn input(node({{"Channel", "Temperature"}}));
    EXPECT_EQ(0.0, input.readInputValue());
    input.init();
    EXPECT_EQ(20.0, input.readInputValue());
    CAnalogChannelLoopIn other(node({{"Channel", "Temperature"}}));
    EXPECT_EQ(0.0, other.readInputValue());
    channel.publishValue(21.0);
    EXPECT_EQ(21.0, other.readInputValue());
}

TEST(AnalogChannelLoopIn, ReadingTheInputNeverReadsTheChannel)
{
    CountingAnalogIn channel("Temperature");
    CAnalogChannelLoopIn input(&channel);
    input.init();
    EXPECT_EQ(1, channel.reads);
    input.readInputValue();
    input.readInputValue();
    EXPECT_EQ(1, channel.reads);
    channel.publishValue(21.0);
    EXPECT_EQ(2, channel.reads);
}

TEST(AnalogChannelLoopIn, TakesTheScaledValue)
{
    CAnalogInChannel channel("Temperature");
    channel.setScaling(new Rvl::CLinearScaling(2.0, 1.0, "degC"));
    CAnalogChannelLoopIn input(&channel);
    channel.publishValue(10.0);
    EXPECT_EQ(21.0, input.readInputValue());
}

TEST(AnalogChannelLoopIn, EveryOtherEventIsIgnored)
{
    CountingAnalogIn channel("Temperature");
    CAnalogChannelLoopIn input(&channel);
    channel.publishValue(20.0);
    channel.reads = 0;
    for (const int event : {0, 2, 3, -1, -1000}) {
        input.deviceEvent(event);
        channel.raiseEvent(event);
    }
    EXPECT_EQ(0, channel.reads);
    EXPECT_EQ(20.0, input.readInputValue());
    input.deviceEvent(1);
    EXPECT_EQ(1, channel.reads);
}

TEST(AnalogChannelLoopIn, ReadingTheInputWaitsForTheValueThatIsOnItsWay)
{
    InterruptedAnalogIn channel("Temperature");
    CAnalogChannelLoopIn input(&channel);
    channel.publishValue(20.0);
    std::future<double> loopRead;
    bool waited = false;
    channel.onRead = [&] {
        loopRead = std::async(std::launch::async, [&] { return input.readInputValue(); });
        waited = loopRead.wait_for(std::chrono::milliseconds(40)) == std::future_status::timeout;
    };
    channel.publishValue(21.0);
    EXPECT_TRUE(waited);
    EXPECT_EQ(21.0, loopRead.get());
}

TEST(AnalogChannelLoopIn, NullChannelIsNotListenedTo)
{
    CAnalogInChannel channel("Temperature");
    CAnalogChannelLoopIn input(nullptr);
    channel.publishValue(4.0);
    EXPECT_EQ(0.0, input.readInputValue());
    input.setAnalogInputChannel(&channel);
    channel.publishValue(5.0);
    EXPECT_EQ(5.0, input.readInputValue());
}

TEST(AnalogChannelLoopIn, StaysRegisteredOnTheFormerChannel)
{
    CountingAnalogIn first("First");
    CountingAnalogIn second("Second");
    CAnalogChannelLoopIn input(nullptr);
    input.setAnalogInputChannel(&first);
    input.setAnalogInputChannel(&second);
    second.publishValue(2.0);
    EXPECT_EQ(2.0, input.readInputValue());
    second.reads = 0;
    first.publishValue(1.0);
    EXPECT_EQ(1, second.reads) << "an event of either refreshes the value from the present channel";
    EXPECT_EQ(2.0, input.readInputValue());
}

TEST(AnalogChannelLoopIn, DestructionDeregistersFromEveryChannel)
{
    CountingAnalogIn first("First");
    CountingAnalogIn second("Second");
    {
        CAnalogChannelLoopIn input(&first);
        input.setAnalogInputChannel(&second);
        input.setAnalogInputChannel(&second);
    }
    first.reads = 0;
    second.reads = 0;
    first.publishValue(1.0);
    second.publishValue(2.0);
    EXPECT_EQ(0, first.reads);
    EXPECT_EQ(0, second.reads);
}

TEST(AnalogChannelLoopIn, ChannelsMayBeDestroyedBeforeTheInput)
{
    auto first = std::make_unique<CountingAnalogIn>("First");
    auto second = std::make_unique<CountingAnalogIn>("Second");
    auto input = std::make_unique<CAnalogChannelLoopIn>(first.get());
    input->setAnalogInputChannel(second.get());
    second->publishValue(2.0);
    first.reset(); // replaced before
    second.reset();
    EXPECT_EQ(2.0, input->readInputValue());
    CountingAnalogIn other("Second"); // another one by the name of a channel that is gone
    input.reset();
    EXPECT_EQ(0, other.reads);
}

TEST(AnalogChannelLoopIn, DestructionMeetsEventsOfAnotherThread)
{
    CAnalogInChannel channel("Temperature");
    channel.publishValue(0.0);
    std::atomic<bool> over{false};
    std::thread device([&] {
        for (double value = 1.0; !over; value += 1.0) {
            channel.publishValue(value);
        }
    });
    for (int i = 0; i < 200; ++i) {
        CAnalogChannelLoopIn input(&channel);
        input.init();
        const double before = input.readInputValue();
        EXPECT_GE(channel.readValue(), before);
    }
    over = true;
    device.join();
}

TEST(AnalogChannelLoopIn, MissingChannelKeyIsABadPath)
{
    EXPECT_EQ("ptree_bad_path: No such node (Channel)", faultOf([] { CAnalogChannelLoopIn(node({})); }));
}

TEST(AnalogChannelLoopIn, NamesDifferInLetterCase)
{
    CAnalogInChannel channel("Temperature");
    Rvl::Test::LogCapture log("ExceptionLogger");
    const std::string fault = notRegistered("temperature", CAnalogInChannel::NameServer);
    EXPECT_EQ(fault, faultOf([] { CAnalogChannelLoopIn(node({{"Channel", "temperature"}})); }));
    const auto colon = fault.find(": ");
    EXPECT_THAT(log.lines(), testing::ElementsAre("ERROR Exception CConfigurationException thrown: " +
                                                  fault.substr(colon + 2)));
}

TEST(AnalogChannelLoopInFactory, BuildsTheInput)
{
    CAnalogInChannel channel("Temperature");
    Rvl::CAnalogChannelLoopInFactory factory;
    EXPECT_EQ("Rvl::CAnalogChannelLoopIn", factory.getTypeName());
    const std::unique_ptr<Rvl::ILoopIn> input(factory.createObject(node({{"Channel", "Temperature"}})));
    ASSERT_NE(nullptr, dynamic_cast<CAnalogChannelLoopIn*>(input.get()));
    channel.publishValue(4.0);
    EXPECT_EQ(4.0, input->readInputValue());
}

TEST(AnalogChannelLoopInFactory, LetsTheFaultPass)
{
    Rvl::CAnalogChannelLoopInFactory factory;
    EXPECT_EQ("ptree_bad_path: No such node (Channel)", faultOf([&] { factory.createObject(node({})); }));
}

TEST(AnalogChannelLoopIn, ReportsWhichChannelItReads)
{
    CAnalogInChannel first("First");
    CAnalogInChannel second("Second");
    CAnalogChannelLoopIn input(&first);
    EXPECT_EQ(&first, input.analogInputChannel());
    input.setAnalogInputChannel(&second);
    EXPECT_EQ(&second, input.analogInputChannel());
    EXPECT_EQ(nullptr, CAnalogChannelLoopIn(nullptr).analogInputChannel());
}
