#include "platform/rivlink_core/IoChannelInterface.h"

#include "platform/kor/EventListener.h"
#include "tests/support/VirtualSlot.h"

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <thread>

using namespace Rvl;

namespace {

class CTestChannel : public IIoChannelInterface
{
public:
    explicit CTestChannel(const std::string& name = "Channel") : IIoChannelInterface(name) {}
};

struct Listener : Kor::IEventListener
{
    void deviceEvent(int event) override
    {
        events.push_back(event);
        if (onEvent) {
            onEvent();
        }
    }
    std::vector<int> events;
    std::function<void()> onEvent;
};

} // namespace

TEST(IoChannelInterface, KeepsNameAndProperties)
{
    CTestChannel channel("Vessel temperature");
    EXPECT_EQ("Vessel temperature", channel.getName());
    EXPECT_TRUE(channel.properties().empty());
    boost::property_tree::ptree tree;
    tree.put("Device", "Bench");
    channel.setProperties(tree);
    EXPECT_EQ("Bench", channel.properties().get<std::string>("Device"));
}

TEST(IoChannelInterface, OperationsStandInTheirSlots)
{
    using Rvl::Test::virtualSlot;
    EXPECT_EQ(2u, virtualSlot(&IIoChannelInterface::getName)); // after the destructor's two
    EXPECT_EQ(3u, virtualSlot(&IIoChannelInterface::connectToDevice));
    EXPECT_EQ(4u, virtualSlot(&IIoChannelInterface::setProperties));
}

TEST(IoChannelInterface, NewValueIsEventOne)
{
    EXPECT_EQ(1, static_cast<int>(IIoChannelInterface::EventNewValue));
}

TEST(IoChannelInterface, EventReachesEveryListenerOnce)
{
    CTestChannel channel;
    Listener first;
    Listener second;
    channel.addEventListener(&first);
    channel.addEventListener(&second);
    channel.addEventListener(&first);
    channel.raiseEvent(1);
    channel.raiseEvent(-3);
    EXPECT_THAT(first.events, testing::ElementsAre(1, -3));
    EXPECT_THAT(second.events, testing::ElementsAre(1, -3));
}

TEST(IoChannelInterface, RemovedListenerIsNotCalled)
{
    CTestChannel channel;
    Listener listener;
    channel.removeEventListener(&listener);
    channel.addEventListener(&listener);
    channel.removeEventListener(&listener);
    channel.raiseEvent(1);
    EXPECT_THAT(listener.events, testing::IsEmpty());
}

TEST(IoChannelInterface, ListenerMayRemoveItselfWhileCalled)
{
    CTestChannel channel;
    Listener leaving;
    Listener staying;
    leaving.onEvent = [&] { channel.removeEventListener(&leaving); };
    channel.addEventListener(&leaving);
    channel.addEventListener(&staying);
    channel.raiseEvent(1);
    channel.raiseEvent(2);
    EXPECT_THAT(leaving.events, testing::ElementsAre(1));
    EXPECT_THAT(staying.events, testing::ElementsAre(1, 2));
}

TEST(IoChannelInterface, ListenerThatIsAddedWhileOthersAreCalledWaitsForTheNextEvent)
{
    CTestChannel channel;
    Listener leavingAndComing;
    Listener staying;
    leavingAndComing.onEvent = [&] {
        channel.removeEventListener(&leavingAndComing);
        ASSERT_LT(leavingAndComing.events.size(), 10U) << "the same event comes again and again";
        channel.addEventListener(&leavingAndComing);
    };
    channel.addEventListener(&leavingAndComing);
    channel.addEventListener(&staying);
    channel.raiseEvent(1);
    EXPECT_THAT(leavingAndComing.events, testing::ElementsAre(1));
    EXPECT_THAT(staying.events, testing::ElementsAre(1));
    channel.raiseEvent(2);
    EXPECT_THAT(leavingAndComing.events, testing::ElementsAre(1, 2));
    EXPECT_THAT(staying.events, testing::ElementsAre(1, 2));
}

TEST(IoChannelInterface, ListenerMayRemoveThoseBeforeItAndItselfWithoutHidingTheNext)
{
    CTestChannel channel;
    Listener first;
    Listener removing;
    Listener last;
    removing.onEvent = [&] {
        channel.removeEventListener(&first);
        channel.removeEventListener(&removing);
    };
    for (Listener* const listener : {&first, &removing, &last}) {
        channel.addEventListener(listener);
    }
    channel.raiseEvent(1);
    EXPECT_THAT(first.events, testing::ElementsAre(1));
    EXPECT_THAT(removing.events, testing::ElementsAre(1));
    EXPECT_THAT(last.events, testing::ElementsAre(1));
}

TEST(IoChannelInterface, RemovalWaitsForACallUnderWay)
{
    CTestChannel channel;
    std::atomic<bool> entered{false};
    std::atomic<bool> release{false};
    std::atomic<bool> left{false};
    Listener listener;
    listener.onEvent = [&] {
        entered = true;
        while (!release) {
            std::this_thread::yield();
        }
        left = true;
    };
    channel.addEventListener(&listener);
    std::thread device([&] { channel.raiseEvent(1); });
    while (!entered) {
        std::this_thread::yield();
    }
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        release = true;
    });
    channel.removeEventListener(&listener);
    EXPECT_TRUE(left);
    releaser.join();
    device.join();
}

TEST(IoChannelInterface, FaultIsAnnouncedWhenItChanges)
{
    CTestChannel channel;
    Listener listener;
    channel.addEventListener(&listener);
    EXPECT_FALSE(channel.isFaulty());

    channel.setFault("device Bench is offline");
    EXPECT_TRUE(channel.isFaulty());
    EXPECT_EQ("device Bench is offline", channel.fault());
    channel.setFault("device Bench is offline");
    EXPECT_THAT(listener.events, testing::ElementsAre(2)) << "the same fault is no news";

    channel.setFault("");
    EXPECT_FALSE(channel.isFaulty());
    EXPECT_THAT(listener.events, testing::ElementsAre(2, 2));
}
